// Checks of the engine's systems, iterate, directions, starting point and standard form: a sound state passes every one
// of them, and each planted fault is told.
#include <gtest/gtest.h>

#include <functional>

#include "diagnostics/iteration_checks.h"
#include "diagnostics/spoken_log.h"
#include "diagnostics/verify_extended.h"
#include "diagnostics/verify_iteration.h"
#include "diagnostics/verify_linear_system.h"
#include "diagnostics/verify_start.h"
#include "diagnostics/verify_submodel.h"
#include "engine/augmented_system.h"
#include "engine/directions.h"
#include "engine/engine_case.h"
#include "engine/linear_algebra.h"
#include "engine/linear_algebra_cholesky.h"
#include "engine/measures.h"
#include "engine/newton_system.h"
#include "engine/normal_system.h"
#include "engine/reset_partition.h"
#include "engine/reset_system.h"
#include "engine/start_point.h"

namespace qz {
namespace {

using qztest::EngineCase;
using qztest::expectBreach;
using qztest::expectSound;
using qztest::RandomShape;

using Verify = std::function<int32_t(int32_t)>;

class VerifyEngine : public ::testing::Test {
 protected:
  // A random model, started, with its matrix analysed for the method.
  void make(bool quadratic, int32_t method = IPM_METHOD_AUGMENTED) {
    std::mt19937 random(11);
    RandomShape shape;
    shape.quadratic = quadratic;
    if (method == IPM_METHOD_NORMAL) shape.upperShare = 1.0;
    engine = std::make_unique<EngineCase>(host, qztest::randomModel(random, shape), method);
    engine->env.log = log.log();
    ASSERT_TRUE(engine->start());
    ipm = engine->ipm;
    if (method == IPM_METHOD_NORMAL)
      ASSERT_EQ(ipmInitNormal(ipm), 0);
    else
      ASSERT_EQ(ipmInitAugmat(ipm, 1), 0);
    engine->randomIterate(random);
  }
  // Measures and takes the predictor, up to muAffine and sigma.
  void predict() {
    computeMeasurement(ipm);
    ASSERT_EQ(formSystem(ipm), 0);
    ASSERT_EQ(factorSystem(ipm), 0);
    ASSERT_EQ(solveSystem(ipm, ipm->rhsPredictor), 0);
    computePredictor(ipm);
    computeMuAffine(ipm);
    computeSigma(ipm);
    ipm->sigma = std::min(ipm->sigma, 1.0);
  }
  void correct() {
    computeRhsCorrector(ipm);
    ASSERT_EQ(solveSystem(ipm, ipm->rhsCorrector), 0);
  }
  // Moves a number, sees the breach, and puts it back.
  void breaks(int32_t least, const Verify& verify, double& number, double by, const std::string& text) {
    const double old = number;
    number += by;
    expectBreach(log, least, verify, text);
    number = old;
  }
  void breaks(int32_t least, const Verify& verify, int32_t& number, int32_t value, const std::string& text) {
    const int32_t old = number;
    number = value;
    expectBreach(log, least, verify, text);
    number = old;
  }
  int32_t columnWith(bool (*has)(uint8_t)) const {
    for (int32_t j = 0; j < ipm->numCol; ++j)
      if (has(ipm->statusBound[j])) return j;
    ADD_FAILURE() << "no such column";
    return 0;
  }
  int32_t upperColumn() const {
    return columnWith([](uint8_t s) { return hasUpper(s); });
  }
  int32_t lowerColumn() const {
    return columnWith([](uint8_t s) { return hasLower(s); });
  }
  int32_t noUpperColumn() const {
    return columnWith([](uint8_t s) { return !hasUpper(s); });
  }
  int32_t row(char sense) const {
    for (int32_t i = 0; i < ipm->numRow; ++i)
      if (ipm->rowSense[i] == sense) return i;
    ADD_FAILURE() << "no such row";
    return 0;
  }

  qztest::TestHost host;
  qztest::SpokenLog log;
  std::unique_ptr<EngineCase> engine;
  Ipm* ipm = nullptr;
};

// ---- the system matrix ----

TEST_F(VerifyEngine, DiagonalIndicesPointAtDiagonals) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    const Verify rows = [&](int32_t l) { return VerifyIneqnEnv(ipm, l); };
    const Verify cols = [&](int32_t l) { return VerifyBoundEnv(ipm, l); };
    expectSound(log, 1, rows);
    expectSound(log, 1, cols);
    breaks(1, rows, ipm->ineqnDiagIndex[2], ipm->ineqnDiagIndex[3],
           "VerifyIneqnEnv: ineqnDiagIndex(2) lies outside of its column");
    breaks(1, rows, ipm->ineqnDiagIndex[2], ipm->ineqnDiagIndex[2] - 1, "VerifyIneqnEnv: ineqnDiagIndex(2)");
    breaks(1, cols, ipm->varBndDiagIndex[0], -1, "VerifyBoundEnv: varBndDiagIndex(0) lies outside of its column");
    breaks(1, cols, ipm->varBndDiagIndex[4], ipm->varBndDiagIndex[4] + 1, "VerifyBoundEnv: varBndDiagIndex(4)");
  }
}

TEST_F(VerifyEngine, AugmentedStructure) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    const Verify verify = [&](int32_t l) { return VerifyAugmentedMatrix(ipm, l, quadratic); };
    expectSound(log, 1, verify);
    breaks(1, verify, ipm->numIpmCoef, ipm->numIpmCoef - 1, "VerifyAugmentedMatrix: numIpmCoef = ");
    breaks(1, verify, ipm->ipmColBegin[3], ipm->ipmColBegin[4] + 1, "VerifyAugmentedMatrix: ipmColBegin(4)");
    const int32_t at = ipm->ipmColBegin[ipm->numCol + 1];
    breaks(1, verify, ipm->ipmRowIndex[at], ipm->numDim, "VerifyAugmentedMatrix: ipmRowIndex(");
    breaks(1, verify, ipm->ipmRowIndex[at], ipm->ipmRowIndex[at + 1], "VerifyAugmentedMatrix: ipmRowIndex(");
    EXPECT_TRUE(log.says("occurs twice in its column"));
    breaks(1, verify, ipm->rowIndex[0], (ipm->rowIndex[0] + 1) % ipm->numRow, "VerifyAugmentedMatrix: rowIndex(0)");
  }
}

TEST_F(VerifyEngine, AugmentedValues) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    const Verify verify = [&](int32_t l) { return VerifyAugValue(ipm, l, quadratic); };
    expectSound(log, 1, verify);
    const int32_t at = ipm->ipmColBegin[1] - 1;  // the last element of column 0, one of A
    breaks(1, verify, ipm->ipmMatValue[at], -2.0 * ipm->ipmMatValue[at], "VerifyAugValue: product(");
  }
}

TEST_F(VerifyEngine, QuadraticBlockIsTheTriangleAndItsMirror) {
  make(true);
  const Verify verify = [&](int32_t l) { return VerifyQuadToSym(ipm, l); };
  expectSound(log, 1, verify);
  int32_t below = ipm->ipmColBegin[0];
  while (ipm->ipmRowIndex[below] == 0) ++below;
  breaks(1, verify, ipm->ipmMatValue[below], 1e-6, "VerifyQuadToSym: ipmMatValue(");
  breaks(1, verify, ipm->quadColLength[0], ipm->quadColLength[0] - 1, "VerifyQuadToSym: quadColLength(0)");
  breaks(1, verify, ipm->numQuadCoef, ipm->numQuadCoef + 1, "VerifyQuadToSym: numQuadCoef = ");
}

TEST_F(VerifyEngine, DiagonalsOfTheIterate) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    computeAugmentDiag(ipm);
    const Verify verify = [&](int32_t l) { return VerifyKKTmatrix(ipm, l); };
    expectSound(log, 1, verify);
    breaks(1, verify, ipm->ipmMatValue[ipm->varBndDiagIndex[1]], 1e-3, "VerifyKKTmatrix: column diagonal(1)");
    const int32_t i = row('G');
    breaks(1, verify, ipm->ipmMatValue[ipm->ineqnDiagIndex[i]], -2.0 * ipm->ipmMatValue[ipm->ineqnDiagIndex[i]],
           "VerifyKKTmatrix: row diagonal(");
    breaks(1, verify, ipm->ipmMatValue[ipm->ineqnDiagIndex[row('E')]], -1e-6, "VerifyKKTmatrix: row diagonal(");
    const int32_t at = ipm->ipmColBegin[1] - 1;
    breaks(1, verify, ipm->ipmMatValue[at], 1e-3, "VerifyKKTmatrix: product(");
  }
}

TEST_F(VerifyEngine, NormalMatrixWithAndWithoutItsInequalities) {
  make(false, IPM_METHOD_NORMAL);
  ASSERT_EQ(computeNormalDiag(ipm), 0);
  computeNormalMatrix(ipm);
  const Verify product = [&](int32_t l) { return VerifyNormalMatrix(ipm, l); };
  const Verify diagonal = [&](int32_t l) { return VerifyNormalMatValue(ipm, l); };
  const Verify places = [&](int32_t l) { return VerifyIneqnEnv(ipm, l); };
  expectSound(log, 1, product);
  expectSound(log, 1, places);
  breaks(1, product, ipm->ipmMatValue[1], -2.0 * ipm->ipmMatValue[1] - 1e-3, "VerifyNormalMatrix: product(");
  breaks(1, places, ipm->ineqnDiagIndex[row('G')], -1, "VerifyIneqnEnv: ineqnDiagIndex(");
  updateNormalDiag(ipm);
  expectSound(log, 1, diagonal);
  breaks(1, diagonal, ipm->ipmMatValue[ipm->ineqnDiagIndex[0]], 1e-3, "VerifyNormalMatValue: diagonal(0)");
}

// ---- measures ----

TEST_F(VerifyEngine, EveryMeasureIsRecomputed) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    computeMeasurement(ipm);
    const struct {
      std::string name;
      Verify verify;
      std::vector<std::pair<double*, std::string>> fields;
    } measures[] = {
        {"VerifyMeasurePrimal",
         [&](int32_t l) { return VerifyMeasurePrimal(ipm, l); },
         {{&ipm->primalInfeas, "primalInfeas"}}},
        {"VerifyMeasureBound",
         [&](int32_t l) { return VerifyMeasureBound(ipm, l); },
         {{&ipm->boundInfeas, "boundInfeas"}}},
        {"VerifyMeasureDual", [&](int32_t l) { return VerifyMeasureDual(ipm, l); }, {{&ipm->dualInfeas, "dualInfeas"}}},
        {"VerifyMeasureDualityGap",
         [&](int32_t l) { return VerifyMeasureDualityGap(ipm, l); },
         {{&ipm->objValuePrimal, "objValuePrimal"},
          {&ipm->objValueDual, "objValueDual"},
          {&ipm->dualityGap, "dualityGap"}}},
        {"VerifyMeasureComplementarity",
         [&](int32_t l) { return VerifyMeasureComplementarity(ipm, l); },
         {{&ipm->complementarity, "complementarity"}, {&ipm->mu, "mu"}}}};
    for (const auto& measure : measures) {
      expectSound(log, 5, measure.verify);
      EXPECT_EQ(measure.verify(7), 0);
      EXPECT_TRUE(log.says(measure.name + " passed."));
      for (const auto& [field, name] : measure.fields)
        breaks(5, measure.verify, *field, 1e-4 * (1.0 + std::fabs(*field)), measure.name + ": " + name + " = ");
    }
    breaks(5, measures[4].verify, ipm->numCompl, ipm->numCompl + 1, "VerifyMeasureComplementarity: numCompl = ");
  }
}

TEST_F(VerifyEngine, PredictorsRightHandSide) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    computeMeasurement(ipm);
    const Verify verify = [&](int32_t l) { return VerifyPredictorRhs(ipm, l); };
    expectSound(log, 5, verify);
    breaks(5, verify, ipm->rhsPredictor[3], 1e-4, "VerifyPredictorRhs: rhsPredictor(3)");
    breaks(5, verify, ipm->rhsPredictor[ipm->numCol + 1], 1e-4, "VerifyPredictorRhs: rhsPredictor(11)");
  }
}

TEST_F(VerifyEngine, SummaryRefusesWhatIsNoMeasure) {
  make(false);
  computeMeasurement(ipm);
  const Verify verify = [&](int32_t l) { return VerifySummaryReport(ipm, l); };
  expectSound(log, 5, verify);
  EXPECT_EQ(verify(7), 0);
  EXPECT_TRUE(log.says("iteration 0: primalInfeas="));
  for (double* field :
       {&ipm->primalInfeas, &ipm->boundInfeas, &ipm->dualInfeas, &ipm->dualityGap, &ipm->complementarity})
    breaks(5, verify, *field, std::nan(""), "VerifySummaryReport: ");
}

TEST_F(VerifyEngine, SignsOfTheIterate) {
  make(false);
  const Verify verify = [&](int32_t l) { return VerifySolution(ipm, l); };
  expectSound(log, 5, verify);
  const int32_t up = upperColumn();
  const int32_t low = lowerColumn();
  const int32_t g = row('G');
  breaks(5, verify, ipm->upperSlack[up], -10.0, "VerifySolution: upperSlack(");
  breaks(5, verify, ipm->upperDual[up], -10.0, "VerifySolution: upperDual(");
  breaks(5, verify, ipm->lowerSlack[low], -ipm->lowerSlack[low] - 1e-11, "VerifySolution: lowerSlack(");
  breaks(5, verify, ipm->lowerDual[low], std::nan(""), "VerifySolution: lowerDual(");
  breaks(5, verify, ipm->ineqnSlack[g], -10.0, "VerifySolution: ineqnSlack(");
  breaks(5, verify, ipm->dual[g], -10.0, "VerifySolution: dual(");
  breaks(5, verify, ipm->upperSlack[noUpperColumn()], 1e-9, "VerifySolution: upperSlack(");
  breaks(5, verify, ipm->ineqnSlack[row('E')], 1e-9, "VerifySolution: ineqnSlack(");
}

// ---- directions ----

TEST_F(VerifyEngine, PredictorFulfilsTheNewtonEquations) {
  for (const int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    for (const bool quadratic : {false, true}) {
      if (quadratic && method == IPM_METHOD_NORMAL) continue;
      make(quadratic, method);
      predict();
      const Verify verify = [&](int32_t l) { return VerifyKktPredictor(ipm, l); };
      expectSound(log, 5, verify);
      const int32_t up = upperColumn();
      const int32_t g = row('G');
      breaks(5, verify, ipm->upperSlackDelta[up], 1e-2, "VerifyKktCommon: upperSlack(");
      breaks(5, verify, ipm->upperDualDelta[up], 1e-2, "VerifyKktPredictor: upperDual(");
      breaks(5, verify, ipm->lowerDualDelta[lowerColumn()], -1e-2, "VerifyKktPredictor: lowerDual(");
      breaks(5, verify, ipm->ineqnSlackDelta[g], 1e-2, "VerifyKktPredictor: ineqnSlack(");
      breaks(5, verify, ipm->rhsPredictor[ipm->numCol + row('E')], 1e-1,
             "VerifyKktPredictor: columns of the direction");
      // A free column moves without a bound to notice it: the rows do.
      if (method == IPM_METHOD_AUGMENTED) {
        const int32_t free = columnWith([](uint8_t s) { return s == BOUND_FREE; });
        breaks(5, verify, ipm->rhsPredictor[free], 1e-1, "VerifyKktPredictor: rows of the direction");
        breaks(5, verify, ipm->upperSlackDelta[free], 1e-9, "VerifyKktCommon: upperSlack(");
      }
      breaks(5, verify, ipm->ineqnSlackDelta[row('E')], 1e-9, "VerifyKktCommon: ineqnSlackDelta(");
    }
  }
}

TEST_F(VerifyEngine, CorrectionSolvesItsSystem) {
  for (const int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    make(false, method);
    predict();
    correct();
    const Verify verify = [&](int32_t l) { return VerifyCorrector(ipm, l); };
    expectSound(log, 5, verify);
    breaks(5, verify, ipm->rhsCorrector[0], 1e-1, "VerifyCorrector: rhsCorrector");
    breaks(5, verify, ipm->sigma, 0.5, "VerifyCorrector: rhsCorrector");
  }
}

TEST_F(VerifyEngine, CombinedDirectionFulfilsItsEquations) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    predict();
    correct();
    computeStepCombined(ipm);
    const Verify verify = [&](int32_t l) { return VerifyKktOverall(ipm, l); };
    expectSound(log, 5, verify);
    breaks(5, verify, ipm->lowerSlackDelta[lowerColumn()], 1e-2, "VerifyKktCommon: lowerSlack(");
    breaks(5, verify, ipm->lowerDualDelta[lowerColumn()], 1e-1, "VerifyKktOverall: columns of the direction");
    breaks(5, verify, ipm->ineqnSlackDelta[row('G')], 1e-1, "VerifyKktOverall: rows of the direction");
  }
}

TEST_F(VerifyEngine, StepsAreNeitherTooLongNorTooShort) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    predict();
    const Verify verify = [&](int32_t l) { return VerifyStepsize(ipm, l, ipm->rhsPredictor); };
    expectSound(log, 5, verify);
    ASSERT_LT(ipm->alphaPrimal, 1.0);
    ASSERT_LT(ipm->alphaDual, 1.0);
    breaks(5, verify, ipm->alphaPrimal, 0.01, quadratic ? "VerifyStepsize: alphaDual = " : "VerifyStepsize: ");
    breaks(5, verify, ipm->alphaDual, -2.0, "VerifyStepsize: alphaDual should be above 0 and at most 1");
    breaks(5, verify, ipm->alphaPrimal, 2.0, "VerifyStepsize: alphaPrimal should be above 0 and at most 1");
    const double primal = ipm->alphaPrimal;
    const double dual = ipm->alphaDual;
    ipm->alphaPrimal *= 0.9;
    ipm->alphaDual *= 0.9;
    expectBreach(log, 5, verify, "VerifyStepsize: alphaPrimal is shorter than anything asks for");
    EXPECT_TRUE(log.says("alphaDual is shorter than anything asks for"));
    ipm->alphaPrimal = primal;
    ipm->alphaDual = dual;
  }
}

TEST_F(VerifyEngine, PredictorReportRecomputesMuAffine) {
  make(false);
  predict();
  const Verify verify = [&](int32_t l) { return VerifyPredictorReport(ipm, l); };
  expectSound(log, 5, verify);
  breaks(5, verify, ipm->muAffine, 1e-4, "VerifyPredictorReport: muAffine = ");
  EXPECT_EQ(verify(7), 0);
  EXPECT_TRUE(log.says("predictor: alphaPrimal="));
}

TEST_F(VerifyEngine, GroupsStopAtTheFirstBreach) {
  make(false);
  ipm->debugLevel = 9;
  Hub hub{};
  hub.numRowSaved = ipm->numRow;
  hub.numColSaved = ipm->numCol;
  hub.numCoefSaved = ipm->numCoef;
  computeMeasurement(ipm);
  EXPECT_EQ(verifyMeasured(ipm, &hub, nullptr), 0) << log.all();
  ipm->dualInfeas += 1.0;
  log.lines.clear();
  EXPECT_EQ(verifyMeasured(ipm, &hub, nullptr), 10);
  EXPECT_EQ(log.errors(), 1);
  EXPECT_FALSE(log.says("VerifyMeasureDualityGap"));
  ipm->debugLevel = 0;
  EXPECT_EQ(verifyMeasured(ipm, &hub, nullptr), 0) << "level 0 asks nothing";
}

// ---- starting point ----

TEST_F(VerifyEngine, StartingPointUnderItsOwnChecks) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    ldlCleanUp(ipm->env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
    ipm->debugLevel = 9;
    log.lines.clear();
    EXPECT_EQ(quadratic ? ipmInitQP(ipm, nullptr) : ipmInitLP(ipm, nullptr), 0) << log.all();
    EXPECT_EQ(log.errors(), 0) << log.all();
    for (const char* name : {"VerifyBoundFeasible", "VerifyPrimalFeasible", "VerifyInitDerivPrimal",
                             "VerifyDualFeasible", "VerifyInitDerivDual"})
      EXPECT_TRUE(log.says(std::string(name) + " passed.")) << name;
  }
}

// min (x - 1)^2 / 2 + s^2 / 2 with 2 x - s = 4: x = 9 / 5, s = -2 / 5 = w; and its dual start.
TEST_F(VerifyEngine, LeastSquaresOfTheStartAreCheckedOnValuesFoundByHand) {
  qztest::DenseModel model;
  model.A = qztest::Matrix::Constant(1, 1, 2.0);
  model.c = qztest::Vector::Constant(1, 3.0);
  model.b = qztest::Vector::Constant(1, 4.0);
  model.lower = qztest::Vector::Constant(1, 1.0);
  model.upper = qztest::Vector::Constant(1, qztest::kNone);
  model.sense = "G";
  EngineCase one(host, model);
  one.env.log = log.log();
  ASSERT_TRUE(one.start());
  ipm = one.ipm;
  const StartScope scope{nullptr, nullptr, 1e20, 1e20};
  std::vector<double> w{-0.4};
  ipm->primal[0] = 1.8;
  ipm->lowerSlack[0] = 0.8;
  ipm->upperSlack[0] = 0.0;
  ipm->ineqnSlack[0] = -0.4;
  const Verify bounds = [&](int32_t l) { return VerifyBoundFeasible(ipm, l); };
  const Verify rows = [&](int32_t l) { return VerifyPrimalFeasible(ipm, l, scope, w.data()); };
  const Verify derivative = [&](int32_t l) { return VerifyInitDerivPrimal(ipm, l, scope, w.data()); };
  expectSound(log, 5, bounds);
  expectSound(log, 5, rows);
  expectSound(log, 5, derivative);
  breaks(5, bounds, ipm->lowerSlack[0], 1e-2, "VerifyBoundFeasible: lowerSlack(0)");
  breaks(5, bounds, ipm->upperSlack[0], 1e-2, "VerifyBoundFeasible: upperSlack(0)");
  breaks(5, rows, ipm->ineqnSlack[0], 1e-2, "VerifyPrimalFeasible: rows of the start");
  breaks(5, derivative, w[0], 1e-2, "VerifyInitDerivPrimal: derivative of the start");
  breaks(5, derivative, ipm->ineqnSlack[0], 1e-2, "VerifyInitDerivPrimal: ineqnSlack(0)");

  // min z^2 / 2 + y^2 / 2 with 2 y + z = 3: y = 6 / 5, z = 3 / 5, w = -z.
  std::vector<double> v{-0.6};
  ipm->dual[0] = 1.2;
  ipm->lowerDual[0] = 0.6;
  const Verify columns = [&](int32_t l) { return VerifyDualFeasible(ipm, l, scope, v.data()); };
  const Verify dualDerivative = [&](int32_t l) { return VerifyInitDerivDual(ipm, l, scope, v.data()); };
  expectSound(log, 5, columns);
  expectSound(log, 5, dualDerivative);
  breaks(5, columns, ipm->dual[0], 1e-2, "VerifyDualFeasible: columns of the start");
  breaks(5, dualDerivative, ipm->dual[0], 1e-2, "VerifyInitDerivDual: derivative of the start");
  breaks(5, dualDerivative, ipm->lowerDual[0], 1e-2, "VerifyInitDerivDual: lowerDual(0)");
  breaks(5, dualDerivative, ipm->upperDual[0], 1e-2, "VerifyInitDerivDual: upperDual(0)");
}

// One free column without curvature under 2 x = b, where the 1e-6 of a quadratic start shows in the derivatives: the
// first start is far from 0, the second has a large multiplier.
TEST_F(VerifyEngine, DerivativesOfAQuadraticStartCarryItsRegularisation) {
  const double cases[][2] = {{0.0, 8e4}, {1e3, 4.0}};
  for (const auto& [cost, rhs] : cases) {
    qztest::DenseModel model;
    model.A = qztest::Matrix::Constant(1, 1, 2.0);
    model.c = qztest::Vector::Constant(1, cost);
    model.b = qztest::Vector::Constant(1, rhs);
    model.lower = qztest::Vector::Constant(1, -qztest::kNone);
    model.upper = qztest::Vector::Constant(1, qztest::kNone);
    model.Q = qztest::Matrix::Zero(1, 1);
    model.sense = "E";
    EngineCase one(host, model);
    one.env.log = log.log();
    ASSERT_TRUE(one.start());
    ldlCleanUp(one.ipm->env, one.ipm->laEnv, &one.ipm->ldlFactor, &one.ipm->ldlMemory);
    one.ipm->debugLevel = 9;
    log.lines.clear();
    EXPECT_EQ(ipmInitQP(one.ipm, nullptr), 0) << log.all();
    EXPECT_TRUE(log.says("VerifyInitDerivPrimal passed.")) << log.all();
    EXPECT_TRUE(log.says("VerifyInitDerivDual passed.")) << log.all();
  }
}

// ---- statistics, standard form, scaling, reset, kept direction ----

TEST_F(VerifyEngine, StatisticsOfTheModel) {
  make(false);
  const Verify verify = [&](int32_t l) { return VerifyStatistics(ipm, l); };
  expectSound(log, 1, verify);
  for (int32_t* field : {&ipm->numLower, &ipm->numUpper, &ipm->numFreeVar, &ipm->numIneqn, &ipm->numCompl})
    breaks(1, verify, *field, *field + 1, "VerifyStatistics: num");
  for (double* field : {&ipm->normLower, &ipm->normUpper, &ipm->normRhs, &ipm->normObj, &ipm->normMatrix})
    breaks(1, verify, *field, 1e-4, "VerifyStatistics: norm");
}

TEST_F(VerifyEngine, StatusOfEachColumn) {
  make(false);
  const Verify verify = [&](int32_t l) { return VerifyDomainShape(ipm, l); };
  expectSound(log, 1, verify);
  uint8_t& status = ipm->statusBound[upperColumn()];
  const uint8_t old = status;
  status &= static_cast<uint8_t>(~BOUND_UPPER);
  expectBreach(log, 1, verify, "VerifyDomainShape: statusBound(");
  status = old | BOUND_FREE | BOUND_ANY_LOWER;
  expectBreach(log, 1, verify, "VerifyDomainShape: statusBound(");
  EXPECT_TRUE(log.says("has two lower bounds"));
}

TEST_F(VerifyEngine, ScalingState) {
  make(false);
  Hub hub{};
  hub.objScale = 1.0;
  const Verify verify = [&](int32_t l) { return VerifyScalingReport(ipm, l, &hub); };
  expectSound(log, 1, verify);
  EXPECT_TRUE(log.says("scaling: scaleState=0"));
  breaks(1, verify, hub.scaleState, 3, "VerifyScalingReport: scaleState = 3 should be from 0 to 2");
  breaks(1, verify, hub.scaleState, 2, "VerifyScalingReport: colScale is null");
  breaks(1, verify, hub.routeSubmodel, 6, "VerifyScalingReport: routeSubmodel = 6");
  breaks(1, verify, hub.objScale, -2.0, "VerifyScalingReport: objScale should be positive");
}

// Rows 0 (range), 1; columns 0, 1 free; slack column 2; halves 3, 4.
struct ExtendedCase {
  std::vector<int32_t> begin{0, 1, 3, 4, 5}, length{1, 2, 1, 1, 2}, index{0, 0, 1, 0, 0, 0, 1};
  std::vector<double> value{2, 1, 3, 1, -2, -1, -3}, lower{0, 0, 0, 0, 0}, upper{1e30, 1e30, 7, 1e30, 1e30},
      range{7, 0};
  std::vector<int32_t> rangeRow{0}, plus{0, 1}, minus{3, 4};
  Model model{};
  Hub hub{};
  Ipm ipm{};

  explicit ExtendedCase(Env* env) {
    model.range = range.data();
    hub.numRowSaved = 2;
    hub.numColSaved = 2;
    hub.numCoefSaved = 3;
    hub.numRange = 1;
    hub.numFreeVar = 2;
    hub.numFreeElement = 3;
    hub.rangeRowList = rangeRow.data();
    hub.colPlus = plus.data();
    hub.colMinus = minus.data();
    ipm.env = env;
    ipm.model = &model;
    ipm.typeMethod = IPM_METHOD_NORMAL;
    ipm.numRow = 2;
    ipm.numCol = 5;
    ipm.numCoef = 7;
    ipm.colBegin = begin.data();
    ipm.colLength = length.data();
    ipm.rowIndex = index.data();
    ipm.matValue = value.data();
    ipm.lower = lower.data();
    ipm.upper = upper.data();
  }
};

TEST_F(VerifyEngine, InvariantsOfTheStandardForm) {
  Env env{};
  env.log = log.log();
  env.pool = host.pool();
  ExtendedCase c(&env);
  const Verify verify = [&](int32_t l) { return VerifyExtendedModel(&c.ipm, l, &c.hub, nullptr); };
  expectSound(log, 1, verify);
  const std::string name = "VerifyExtendedModel: ";
  breaks(1, verify, c.ipm.numCol, 4, name + "numCol = 4 should be 5");
  breaks(1, verify, c.ipm.numRow, 3, name + "numRow = 3 should be 2");
  breaks(1, verify, c.ipm.numCoef, 6, name + "numCoef = 6 should be 7");
  breaks(1, verify, c.length[2], 2, name + "colLength(2) = 2 should be 1");
  breaks(1, verify, c.index[3], 1, name + "rowIndex(3) = 1 should be 0");
  breaks(1, verify, c.value[3], 1e-15, name + "matValue(3)");
  breaks(1, verify, c.lower[2], 1e-9, name + "lower(2)");
  breaks(1, verify, c.upper[2], 1e-9, name + "upper(2)");
  breaks(1, verify, c.minus[0], 4, name + "colMinus(0) = 4 should be 3");
  breaks(1, verify, c.length[4], 1, name + "colLength(4) = 1 should be 2");
  breaks(1, verify, c.index[5], 1, name + "rowIndex(5) = 1 should be 0");
  breaks(1, verify, c.value[6], 1e-9, name + "matValue(6)");
  breaks(1, verify, c.lower[3], 1e-9, name + "lower(3)");
  breaks(1, verify, c.upper[3], -1e29, name + "upper(3)");
  c.ipm.typeMethod = IPM_METHOD_AUGMENTED;  // nothing is split: two columns and three elements too many
  expectBreach(log, 1, verify, name + "numCol = 5 should be 3");
  c.hub.routeSubmodel = ROUTE_INVITRO;  // a reduced copy may be smaller, never larger
  c.ipm.numCol = 2;
  c.ipm.numRow = 1;
  expectSound(log, 1, verify);
  c.ipm.numRow = 3;
  expectBreach(log, 1, verify, name + "numRow = 3 should be at most 2");
}

TEST_F(VerifyEngine, SystemOfTheExactPoint) {
  for (const bool quadratic : {false, true}) {
    make(quadratic);
    // Every decided side: slacks or duals that vanish.
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (hasLower(ipm->statusBound[j])) ipm->lowerDual[j] = j % 3 == 0 ? 1.0 : 1e-9;
      if (hasLower(ipm->statusBound[j])) ipm->lowerSlack[j] = j % 3 == 0 ? 1e-9 : 1.0;
      if (hasUpper(ipm->statusBound[j])) ipm->upperDual[j] = 1e-9;
      if (hasUpper(ipm->statusBound[j])) ipm->upperSlack[j] = 1.0;
    }
    for (int32_t i = 0; i < ipm->numRow; ++i) {
      if (ipm->rowSense[i] != 'G') continue;
      ipm->dual[i] = i % 2 == 0 ? 1.0 : 1e-9;
      ipm->ineqnSlack[i] = i % 2 == 0 ? 1e-9 : 1.0;
    }
    ResetPartition partition;
    ResetSystem system;
    ASSERT_EQ(makeResetPartition(ipm, &partition), 0);
    ASSERT_EQ(makeResetSystem(ipm, partition, &system), 0);
    ASSERT_LT(partition.numColKept, ipm->numCol);
    ASSERT_LT(partition.numRowKept, ipm->numRow);
    const Verify verify = [&](int32_t l) { return VerifyResetSystem(ipm, l, partition, system); };
    expectSound(log, 1, verify);
    breaks(1, verify, system.value[system.begin[1] - 1], 1e-3, "VerifyResetSystem: product(");
    breaks(1, verify, system.rhs[0], 1e-3, "VerifyResetSystem: sysRhs(0)");
    breaks(1, verify, system.start[0], 1e-3, "VerifyResetSystem: sol(0)");
    breaks(1, verify, system.numDim, system.numDim - 1, "VerifyResetSystem: numDim = ");
  }
}

TEST_F(VerifyEngine, ChecksWithoutMemorySaySo) {
  make(true);
  predict();
  correct();
  const Verify checks[] = {[&](int32_t l) { return VerifyAugmentedMatrix(ipm, l, true); },
                           [&](int32_t l) { return VerifyAugValue(ipm, l, true); },
                           [&](int32_t l) { return VerifyQuadToSym(ipm, l); },
                           [&](int32_t l) { return VerifyKKTmatrix(ipm, l); },
                           [&](int32_t l) { return VerifyMeasurePrimal(ipm, l); },
                           [&](int32_t l) { return VerifyMeasureDual(ipm, l); },
                           [&](int32_t l) { return VerifyPredictorRhs(ipm, l); },
                           [&](int32_t l) { return VerifyKktPredictor(ipm, l); },
                           [&](int32_t l) { return VerifyCorrector(ipm, l); }};
  const int64_t before = host.outstanding();
  for (const Verify& verify : checks) {
    const int64_t first = host.allocations();
    (void)verify(9);
    const int64_t needed = host.allocations() - first;
    ASSERT_GT(needed, 0);
    for (int64_t k = 1; k <= needed; ++k) {
      host.failAllocation(k);
      EXPECT_EQ(verify(9), -1086) << k;
      host.failAllocation(0);
      EXPECT_EQ(host.outstanding(), before);
    }
  }
}

}  // namespace
}  // namespace qz
