// The normal equations on the sparse Cholesky solver: pattern, values, solves, and whole solves beside the augmented
// system.
#include "engine/normal_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/augmented_system.h"
#include "engine/controller.h"
#include "engine/linear_algebra.h"
#include "engine/linear_algebra_cholesky.h"
#include "engine/newton_system.h"
#include "engine/normal_case.h"
#include "qzipsolve/timer_module.h"

namespace {

using qztest::boundedModel;
using qztest::DenseModel;
using qztest::denseNormal;
using qztest::diagonalD;
using qztest::diagonalE;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::newtonMatrix;
using qztest::NormalCase;
using qztest::randomModel;
using qztest::RandomShape;
using qztest::shapeOf;
using qztest::storedNormal;
using qztest::TestHost;
using qztest::Vector;

class NormalSystem : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(host.outstanding(), 0); }

  TestHost host;
};

TEST_F(NormalSystem, PatternIsThatOfTheProductWithAscendingRowsAndItsDiagonals) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    NormalCase engine(host, boundedModel(random, shapeOf(seed)), random);
    ASSERT_TRUE(engine.started);
    ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
    const qz::Ipm& ipm = *engine.ipm;
    const Matrix pattern = (engine.dense().A.array() != 0.0).cast<double>().matrix();
    Matrix product = pattern * pattern.transpose();
    for (int i = 0; i < ipm.numRow; ++i)
      if (engine.dense().sense[static_cast<size_t>(i)] == 'G') product(i, i) += 1.0;
    int32_t position = 0;
    for (int j = 0; j < ipm.numRow; ++j) {
      EXPECT_EQ(ipm.ipmColBegin[j], position);
      int32_t diagonal = -1;
      for (int i = 0; i < ipm.numRow; ++i) {
        if (product(i, j) == 0.0) continue;
        if (i == j) diagonal = position;
        ASSERT_EQ(ipm.ipmRowIndex[position++], i);
      }
      EXPECT_EQ(ipm.ineqnDiagIndex[j], diagonal);
    }
    EXPECT_EQ(ipm.ipmColBegin[ipm.numRow], position);
    EXPECT_EQ(ipm.numIpmCoef, position);
    EXPECT_NE(ipm.cholFactor, nullptr);
    EXPECT_EQ(engine.env.cholFactor, ipm.cholFactor);
    EXPECT_EQ(engine.env.cholMemory, ipm.cholMemory);
    EXPECT_EQ(ipm.laEnv->problemKind, 0);
    EXPECT_TRUE(host.loggedText("Number of nonzeros in lower triangle of A*A'"));
    EXPECT_TRUE(host.loggedText("Density ratio of A*A'"));
    EXPECT_FALSE(host.loggedText("is not sorted"));
  }
}

TEST_F(NormalSystem, ValuesAreTheDenseProductAndExactlySymmetric) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    NormalCase engine(host, boundedModel(random, shapeOf(seed)), random);
    ASSERT_TRUE(engine.started);
    ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
    // With 0 every column clears the whole accumulator, with 1 none does; either way twice, over the first values.
    for (double denseRatio : {0.5, 0.0, 1.0}) {
      engine.ipm->denseRatio = denseRatio;
      engine.randomIterate(random);
      std::fill_n(engine.ipm->normalWork, engine.ipm->numRow, std::nan(""));
      ASSERT_EQ(qz::formSystem(engine.ipm), 0);
      const Matrix stored = storedNormal(*engine.ipm);
      EXPECT_TRUE(stored == stored.transpose());
      EXPECT_LE((stored - denseNormal(engine)).norm(), 1e-13 * (1.0 + stored.norm()));
    }
  }
}

TEST_F(NormalSystem, DiagonalOfEachKindOfColumn) {
  DenseModel model;
  model.A = Matrix::Ones(1, 3);
  model.c = Vector::Zero(3);
  model.b = Vector::Zero(1);
  model.sense = "E";
  model.lower.resize(3);
  model.upper.resize(3);
  model.lower << 0.0, -kNone, 0.0;
  model.upper << 1.0, 1.0, kNone;
  std::mt19937 random(1);
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  for (int j = 0; j < 3; ++j) {
    ipm->upperSlack[j] = 2.0;
    ipm->upperDual[j] = 8.0;
    ipm->lowerSlack[j] = 16.0;
    ipm->lowerDual[j] = 32.0;
  }
  ASSERT_EQ(qz::computeNormalDiag(ipm), 0);
  EXPECT_EQ(ipm->normalDiag[0], 1.0 / (4.0 + 2.0));
  EXPECT_EQ(ipm->normalDiag[1], 0.25);
  EXPECT_EQ(ipm->normalDiag[2], 0.5);
}

TEST_F(NormalSystem, FreeColumnIsRefusedAndEndsTheLoop) {
  DenseModel model;
  model.A = Matrix::Ones(1, 3);
  model.c = Vector::Zero(3);
  model.b = Vector::Zero(1);
  model.sense = "E";
  model.lower = Vector::Constant(3, 0.0);
  model.upper = Vector::Constant(3, kNone);
  model.lower[1] = -kNone;
  std::mt19937 random(1);
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  engine.ipm->normalDiag[2] = -7.0;
  EXPECT_EQ(qz::computeNormalDiag(engine.ipm), 10);
  EXPECT_EQ(engine.ipm->normalDiag[2], -7.0);
  EXPECT_TRUE(host.loggedText("Find free variable %d in normal equation method."));
  EXPECT_EQ(qz::formSystem(engine.ipm), 10);
}

TEST_F(NormalSystem, EqualityRowsGetNoAdditionAndInequalityRowsDo) {
  std::mt19937 random(2);
  for (double share : {0.3, 1.0}) {  // by the list of G rows, by the scan
    RandomShape shape;
    shape.rows = 20;
    shape.cols = 30;
    shape.ineqnShare = share;
    NormalCase engine(host, boundedModel(random, shape), random);
    ASSERT_TRUE(engine.started);
    ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
    ASSERT_EQ(qz::computeNormalDiag(engine.ipm), 0);
    qz::computeNormalMatrix(engine.ipm);
    const Matrix before = storedNormal(*engine.ipm);
    qz::updateNormalDiag(engine.ipm);
    Matrix expected = before;
    expected.diagonal() += diagonalE(engine);
    EXPECT_TRUE(storedNormal(*engine.ipm) == expected);
  }
}

TEST_F(NormalSystem, ColumnOfOneElementGivesOneDiagonalContribution) {
  DenseModel model;
  model.A = Matrix::Zero(3, 3);
  model.A(0, 0) = 2.0;
  model.A(1, 1) = -3.0;
  model.A(2, 2) = 5.0;
  model.c = Vector::Zero(3);
  model.b = Vector::Zero(3);
  model.sense = "EEE";
  model.lower = Vector::Zero(3);
  model.upper = Vector::Constant(3, kNone);
  std::mt19937 random(3);
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
  EXPECT_EQ(engine.ipm->numIpmCoef, 3);
  std::fill_n(engine.ipm->lowerSlack, 3, 1.0);
  std::fill_n(engine.ipm->lowerDual, 3, 1.0);
  ASSERT_EQ(qz::formSystem(engine.ipm), 0);
  EXPECT_EQ(engine.ipm->ipmMatValue[0], 4.0);
  EXPECT_EQ(engine.ipm->ipmMatValue[1], 9.0);
  EXPECT_EQ(engine.ipm->ipmMatValue[2], 25.0);
}

TEST_F(NormalSystem, UnsortedColumnsAreSortedOnceWithTheirValues) {
  std::mt19937 random(4);
  RandomShape shape;
  shape.rows = 12;
  shape.cols = 15;
  shape.density = 0.7;
  NormalCase engine(host, boundedModel(random, shape), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  for (int j : {3, 8}) {
    ASSERT_GT(ipm->colLength[j], 1);
    std::reverse(ipm->rowIndex + ipm->colBegin[j], ipm->rowIndex + ipm->colBegin[j] + ipm->colLength[j]);
    std::reverse(ipm->matValue + ipm->colBegin[j], ipm->matValue + ipm->colBegin[j] + ipm->colLength[j]);
  }
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  const auto lines = std::count_if(host.messages.begin(), host.messages.end(), [](const qztest::LoggedMessage& m) {
    return m.text == "column %d is not sorted." && m.level == 0;
  });
  EXPECT_EQ(lines, 2);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  EXPECT_LE((storedNormal(*ipm) - denseNormal(engine)).norm(), 1e-13 * (1.0 + denseNormal(engine).norm()));
}

TEST_F(NormalSystem, SolutionMeetsTheWholeNewtonSystem) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    DenseModel model = boundedModel(random, shapeOf(seed));
    // A row of its own for every row of A makes M safely regular.
    for (int i = 0; i < model.rows(); ++i) model.A(i, i) += model.A(i, i) < 0.0 ? -3.0 : 3.0;
    NormalCase engine(host, model, random);
    ASSERT_TRUE(engine.started);
    qz::Ipm* ipm = engine.ipm;
    ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
    engine.randomIterate(random);
    ASSERT_EQ(qz::formSystem(ipm), 0);
    ASSERT_EQ(qz::factorSystem(ipm), 0);
    const int m = ipm->numRow;
    const int n = ipm->numCol;
    std::normal_distribution<double> normal;
    const Vector rhs = Vector::NullaryExpr(n + m, [&] { return normal(random); });
    Vector v = rhs;
    ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);

    const Matrix kkt = newtonMatrix(engine);
    EXPECT_LE((kkt * v - rhs).norm(), 1e-11 * (kkt.norm() * v.norm() + rhs.norm()));
    const Vector oracle =
        denseNormal(engine).ldlt().solve(-rhs.tail(m) - model.A * diagonalD(engine).asDiagonal() * rhs.head(n));
    EXPECT_LE((oracle - v.tail(m)).norm(), 1e-8 * (1.0 + oracle.norm()));
  }
}

TEST_F(NormalSystem, BothMethodsGiveTheSameDirection) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    DenseModel model = boundedModel(random, shapeOf(seed));
    for (int i = 0; i < model.rows(); ++i) model.A(i, i) += model.A(i, i) < 0.0 ? -3.0 : 3.0;
    std::normal_distribution<double> normal;
    const Vector rhs = Vector::NullaryExpr(model.rows() + model.cols(), [&] { return normal(random); });
    Vector result[2];
    for (int k : {0, 1}) {
      EngineCase engine(host, model, k == 0 ? qz::IPM_METHOD_AUGMENTED : qz::IPM_METHOD_NORMAL);
      ASSERT_TRUE(engine.start());
      std::mt19937 same(seed + 1000);
      engine.randomIterate(same);
      ASSERT_EQ(k == 0 ? qz::ipmInitAugmat(engine.ipm, 0) : qz::ipmInitNormal(engine.ipm), 0);
      ASSERT_EQ(qz::formSystem(engine.ipm), 0);
      ASSERT_EQ(qz::factorSystem(engine.ipm), 0);
      result[k] = rhs;
      ASSERT_EQ(qz::solveSystem(engine.ipm, result[k].data()), 0);
    }
    EXPECT_LE((result[0] - result[1]).norm(), 1e-7 * (1.0 + result[0].norm()));
  }
}

TEST_F(NormalSystem, EqualityRowWithoutElementsHasNoDiagonalAndDoesNotMove) {
  std::mt19937 random(5);
  RandomShape shape;
  shape.rows = 9;
  shape.cols = 20;
  shape.density = 0.8;
  DenseModel model = boundedModel(random, shape);
  for (int i : {0, 4, 8}) {
    model.A.row(i).setZero();
    model.sense[static_cast<size_t>(i)] = 'E';
  }
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  std::fill_n(ipm->ineqnDiagIndex, 9, 1 << 28);  // what another system may have left
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  for (int i : {0, 4, 8}) {
    EXPECT_EQ(ipm->ineqnDiagIndex[i], -1);
    EXPECT_EQ(ipm->ipmColBegin[i], ipm->ipmColBegin[i + 1]);
  }
  ASSERT_EQ(qz::formSystem(ipm), 0);
  EXPECT_LE((storedNormal(*ipm) - denseNormal(engine)).norm(), 1e-13 * denseNormal(engine).norm());
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  Vector v = Vector::Ones(ipm->numDim);
  ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
  ASSERT_TRUE(v.allFinite());
  for (int i : {0, 4, 8}) EXPECT_LE(std::fabs(v[ipm->numCol + i]), 1e-100);
}

TEST_F(NormalSystem, InequalityRowWithoutElementsKeepsItsDiagonal) {
  std::mt19937 random(5);
  RandomShape shape;
  shape.rows = 9;
  shape.cols = 20;
  shape.density = 0.8;
  DenseModel model = boundedModel(random, shape);
  for (int i : {0, 4, 8}) {
    model.A.row(i).setZero();
    model.sense[static_cast<size_t>(i)] = 'G';
  }
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  EXPECT_LE((storedNormal(*ipm) - denseNormal(engine)).norm(), 1e-13 * denseNormal(engine).norm());
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  Vector v = Vector::Ones(ipm->numDim);
  ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
  for (int i : {0, 4, 8})
    EXPECT_NEAR(v[ipm->numCol + i], -ipm->dual[i] / ipm->ineqnSlack[i], 1e-13 * std::fabs(v[ipm->numCol + i]));
}

TEST_F(NormalSystem, ModelWithoutRowsOrWithoutElements) {
  for (int rows : {0, 3}) {
    DenseModel model;
    model.A = Matrix::Zero(rows, 4);
    model.c = Vector::Ones(4);
    model.b = Vector::Zero(rows);
    model.sense = std::string(static_cast<size_t>(rows), 'E');
    model.lower = Vector::Zero(4);
    model.upper = Vector::Constant(4, kNone);
    std::mt19937 random(6);
    NormalCase engine(host, model, random);
    ASSERT_TRUE(engine.started);
    ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
    EXPECT_EQ(engine.ipm->numIpmCoef, 0) << "rows of nothing";
    ASSERT_EQ(qz::formSystem(engine.ipm), 0);
    ASSERT_EQ(qz::factorSystem(engine.ipm), 0);
    Vector v = Vector::Ones(4 + rows);
    ASSERT_EQ(qz::solveSystem(engine.ipm, v.data()), 0);
    for (int j = 0; j < 4; ++j) EXPECT_EQ(v[j], engine.ipm->normalDiag[j]);
  }
}

// A column over 46400 rows makes a product of more elements than 32 bits can count.
TEST_F(NormalSystem, ProductTooLargeForItsIndicesIsOutOfMemory) {
  const int rows = 46400;
  DenseModel model;
  model.A = Matrix::Ones(rows, 1);
  model.c = Vector::Zero(1);
  model.b = Vector::Zero(rows);
  model.sense.assign(static_cast<size_t>(rows), 'E');
  model.lower = Vector::Zero(1);
  model.upper = Vector::Constant(1, kNone);
  EngineCase engine(host, model, qz::IPM_METHOD_NORMAL);
  ASSERT_TRUE(engine.start());
  EXPECT_EQ(qz::ipmInitNormal(engine.ipm), -1086);
  EXPECT_EQ(engine.ipm->cholFactor, nullptr);
}

TEST_F(NormalSystem, NonPositivePairsDoNoHarm) {
  // Rounding can leave a slack or dual at or below 0.
  std::mt19937 random(7);
  RandomShape shape;
  shape.lowerShare = 1.0;
  NormalCase engine(host, boundedModel(random, shape), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  for (double bad : {0.0, -1e-16}) {
    engine.randomIterate(random);
    ipm->lowerDual[0] = bad;
    ipm->upperDual[0] = bad;
    ipm->lowerSlack[3] = bad;
    ASSERT_EQ(qz::formSystem(ipm), 0);
    EXPECT_EQ(qz::factorSystem(ipm), 0);
    Vector v = Vector::Ones(ipm->numDim);
    EXPECT_EQ(qz::solveSystem(ipm, v.data()), 0);
  }
}

TEST_F(NormalSystem, StartsThatDoNotFitThePatternAreTold) {
  std::mt19937 random(8);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
  ASSERT_EQ(qz::createNormalMatrix(engine.ipm), 0);
  ++engine.ipm->ipmColBegin[3];
  EXPECT_EQ(qz::setupNormalMatrix(engine.ipm), 10);
  EXPECT_TRUE(host.loggedText("Error setupAugmentMatrix: nonzero pattern doesn't match, pos=%d  ipmColBegin=%d "));
}

TEST_F(NormalSystem, SecondCallDoesNothingWhileTheHandlesStand) {
  std::mt19937 random(9);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
  const auto* factor = engine.ipm->cholFactor;
  const int64_t before = host.allocations();
  EXPECT_EQ(qz::ipmInitNormal(engine.ipm), 0);
  EXPECT_EQ(engine.ipm->cholFactor, factor);
  EXPECT_EQ(host.allocations(), before);
}

TEST_F(NormalSystem, RestartTakesASmallerModelIntoTheSameArrays) {
  std::mt19937 random(10);
  RandomShape shape;
  shape.rows = 20;
  shape.cols = 30;
  NormalCase engine(host, boundedModel(random, shape), random);
  NormalCase smaller(host, boundedModel(random, RandomShape{}), random);
  ASSERT_TRUE(engine.started && smaller.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  ASSERT_GT(ipm->numIpmCoef, 36);
  EXPECT_EQ(qz::restartNormalSystem(ipm), 10) << "the handles stand";
  qz::chCleanUp(&engine.env, ipm->laEnv, &ipm->cholFactor, &ipm->cholMemory);
  qz::ipmCopyDimensions(ipm, &smaller.model);
  qz::AssignIpm(ipm, &smaller.model, &smaller.solution);
  qz::AnalyzeIpm(ipm);
  ASSERT_EQ(qz::restartNormalSystem(ipm), 0);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  EXPECT_LE((storedNormal(*ipm) - denseNormal(smaller)).norm(), 1e-13 * (1.0 + denseNormal(smaller).norm()));
  EXPECT_EQ(qz::factorSystem(ipm), 0);
  qz::ipmCopyDimensions(ipm, &engine.model);
}

TEST_F(NormalSystem, RowCopyFollowsTheValues) {
  std::mt19937 random(11);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  for (int j = 0; j < ipm->numCol; ++j)
    for (int32_t k = 0; k < ipm->colLength[j]; ++k) ipm->matValue[ipm->colBegin[j] + k] *= 4.0;
  ASSERT_EQ(qz::copyMatrixByRows(ipm), 0);
  ASSERT_EQ(qz::computeNormalDiag(ipm), 0);
  qz::computeNormalMatrix(ipm);
  const Matrix& a = engine.dense().A;
  const Matrix expected = 16.0 * (a * diagonalD(engine).asDiagonal() * a.transpose());
  EXPECT_LE((storedNormal(*ipm) - expected).norm(), 1e-13 * expected.norm());
}

TEST_F(NormalSystem, EveryFailingAllocationIsToldAndFreed) {
  std::mt19937 random(12);
  const DenseModel model = boundedModel(random, shapeOf(6));
  for (int64_t k = 1;; ++k) {
    ASSERT_LT(k, 100);
    NormalCase engine(host, model, random);
    ASSERT_TRUE(engine.started);
    qz::ldlCleanUpAll(&engine.env, &engine.ipm->laEnv, &engine.ipm->ldlFactor, &engine.ipm->ldlMemory);
    host.failAllocation(k);
    const int32_t status = qz::ipmInitNormal(engine.ipm);
    host.failAllocation(0);
    if (status == 0) break;
    EXPECT_EQ(status, -1086) << k;
    EXPECT_EQ(engine.ipm->cholFactor, nullptr);
    EXPECT_EQ(engine.env.cholFactor, nullptr);
  }
}

TEST_F(NormalSystem, PhasesRefuseHandlesInTheWrongState) {
  std::mt19937 random(13);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  Vector v = Vector::Ones(ipm->numDim);
  EXPECT_EQ(qz::chFactorize(&engine.env, ipm), 10);
  EXPECT_EQ(qz::chSolve(&engine.env, ipm, v.data()), 10);
  EXPECT_EQ(qz::solveNormalEquation(ipm, v.data()), 10);
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  EXPECT_EQ(qz::chAnalyze(&engine.env, ipm), 10);
  qz::LAEnv* laEnv = ipm->laEnv;
  ipm->laEnv = nullptr;
  EXPECT_EQ(qz::chAnalyze(&engine.env, ipm), 10);
  EXPECT_EQ(qz::chFactorize(&engine.env, ipm), 10);
  EXPECT_EQ(qz::chSolve(&engine.env, ipm, v.data()), 10);
  ipm->laEnv = laEnv;
  qz::chCleanUpAll(&engine.env, &ipm->laEnv, &ipm->cholFactor, &ipm->cholMemory);
  EXPECT_EQ(ipm->laEnv, nullptr);
  EXPECT_EQ(engine.env.laEnv, nullptr);
  EXPECT_EQ(engine.env.cholMemory, nullptr);
}

TEST_F(NormalSystem, CancelledFactorisationIsAnInterruption) {
  std::mt19937 random(14);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  ASSERT_EQ(qz::ipmInitNormal(engine.ipm), 0);
  ASSERT_EQ(qz::formSystem(engine.ipm), 0);
  host.cancelThread(true);
  EXPECT_EQ(qz::factorSystem(engine.ipm), 12);
  host.cancelThread(false);
  EXPECT_EQ(qz::factorSystem(engine.ipm), 0);
}

// A processor clock that stands still, or advances by a second at each reading.
struct FakeTimer {
  static inline int64_t step = 0;
  static inline int64_t seconds = 0;
  QzTimerModule module{};
  qz::IPM_timer timer{};

  explicit FakeTimer(int64_t stepSeconds) {
    step = stepSeconds;
    seconds = 0;
    module.takeSample = [](QzTimerModule*, QzTimerSample*) -> int32_t { return 0; };
    module.difference = [](QzTimerModule*, const QzTimerSample*, const QzTimerSample*,
                           QzTimerDifference* out) -> int32_t {
      *out = QzTimerDifference{};
      out->seconds = seconds += step;
      return 0;
    };
    timer.ticksPerSecond = 1000000.0;
    timer.perfModule = &module;
    timer.cpuLimit = std::numeric_limits<double>::max();
    timer.realLimit = std::numeric_limits<double>::max();
  }
};

TEST_F(NormalSystem, TimesAreAddedUpByPhase) {
  std::mt19937 random(15);
  FakeTimer clock(1);
  NormalCase engine(host, boundedModel(random, shapeOf(6)), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ipm->timer = &clock.timer;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  EXPECT_EQ(ipm->timeCholAnalyze, 1.0);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  EXPECT_EQ(ipm->timeCholFactor, 2.0);
  Vector v = Vector::Ones(ipm->numDim);
  for (int k = 0; k < 3; ++k) ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
  EXPECT_EQ(ipm->timeCholSolve, 3.0);
}

// A model with a known optimal value: x* and y* are drawn with complementary slacks, and b, c, bounds follow.
DenseModel constructed(std::mt19937& random, RandomShape shape, double* objective) {
  std::uniform_real_distribution<double> positive(0.5, 2.0);
  std::normal_distribution<double> normal;
  shape.lowerShare = 1.0;
  DenseModel model = randomModel(random, shape);
  const int m = model.rows();
  Vector x(model.cols()), reduced = Vector::Zero(model.cols()), y(m), slack = Vector::Zero(m);
  for (int j = 0; j < model.cols(); ++j) {
    x[j] = normal(random);
    const bool atLower = random() % 2 == 0;
    model.lower[j] = atLower ? x[j] : x[j] - positive(random);
    if (atLower) reduced[j] = positive(random);
    if (model.hasUpper(j)) model.upper[j] = x[j] + positive(random);
  }
  for (int i = 0; i < m; ++i) {
    y[i] = normal(random);
    if (model.sense[static_cast<size_t>(i)] != 'G') continue;
    const bool active = random() % 2 == 0;
    y[i] = active ? positive(random) : 0.0;
    slack[i] = active ? 0.0 : positive(random);
  }
  model.b = model.A * x - slack;
  model.c = model.A.transpose() * y + reduced;
  *objective = model.c.dot(x);
  return model;
}

struct Solved {
  int32_t result = -1;
  int32_t status = -1;
  double objective = 0.0;
};

bool endedWell(const Solved& solved) {
  return solved.result == 0 && solved.status == 1;
}

Solved solveWhole(TestHost& host, const DenseModel& model, int32_t method) {
  EngineCase engine(host, model, method);
  FakeTimer clock(0);
  Solved solved;
  solved.result = qz::ipmSolve(&engine.env, &engine.model, &engine.option, &engine.hub, &engine.solution, &clock.timer);
  solved.status = engine.model.status;
  solved.objective = model.c.dot(EngineCase::view(engine.solution.primal, model.cols()));
  EXPECT_EQ(engine.env.cholFactor, nullptr);
  EXPECT_EQ(engine.env.laEnv, nullptr);
  return solved;
}

TEST_F(NormalSystem, WholeSolvesReachTheConstructedOptimum) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    double objective = 0.0;
    const DenseModel model = constructed(random, shapeOf(seed), &objective);
    const Solved solved = solveWhole(host, model, qz::IPM_METHOD_NORMAL);
    EXPECT_TRUE(endedWell(solved)) << solved.status;
    EXPECT_NEAR(solved.objective, objective, 1e-4 * (1.0 + std::fabs(objective)));
  }
}

TEST_F(NormalSystem, DependentEqualityRowsAreNoObstacle) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape;
    shape.rows = 6;
    shape.cols = 20;
    shape.ineqnShare = 0.0;
    double objective = 0.0;
    DenseModel model = constructed(random, shape, &objective);
    // Two rows more: a repetition, and a combination.
    Matrix a(8, 20);
    a << model.A, model.A.row(2), model.A.row(0) - 2.0 * model.A.row(5);
    Vector b(8);
    b << model.b, model.b[2], model.b[0] - 2.0 * model.b[5];
    model.A = a;
    model.b = b;
    model.sense = "EEEEEEEE";
    const Solved solved = solveWhole(host, model, qz::IPM_METHOD_NORMAL);
    EXPECT_TRUE(endedWell(solved)) << solved.status;
    EXPECT_NEAR(solved.objective, objective, 1e-4 * (1.0 + std::fabs(objective)));
  }
}

TEST_F(NormalSystem, EveryFailingAllocationOfAWholeSolveIsTold) {
  std::mt19937 random(16);
  double objective = 0.0;
  const DenseModel model = constructed(random, shapeOf(2), &objective);
  int64_t refused = 0;
  for (int64_t k = 1;; ++k) {
    ASSERT_LT(k, 1000);
    const int64_t before = host.allocations();
    host.failAllocation(k);
    const Solved solved = solveWhole(host, model, qz::IPM_METHOD_NORMAL);
    host.failAllocation(0);
    ASSERT_EQ(host.outstanding(), 0) << k;
    if (host.allocations() - before < k) {
      EXPECT_TRUE(endedWell(solved)) << solved.status;
      break;
    }
    // Only a reset to an exact point may do without memory: the iteration goes on.
    if (endedWell(solved)) continue;
    ++refused;
    EXPECT_EQ(solved.result, -1086) << k;
    EXPECT_EQ(solved.status, -1086) << k;
  }
  EXPECT_GT(refused, 50);
}

// The caller's break at its k-th question ends the solve with 12, wherever it stands.
TEST_F(NormalSystem, EveryBreakEndsTheSolve) {
  static int64_t asked;
  static int64_t breakAt;
  std::mt19937 random(17);
  double objective = 0.0;
  const DenseModel model = constructed(random, shapeOf(6), &objective);
  for (breakAt = 1;; breakAt += breakAt < 30 ? 1 : 7) {
    ASSERT_LT(breakAt, 2000);
    asked = 0;
    EngineCase engine(host, model, qz::IPM_METHOD_NORMAL);
    FakeTimer clock(0);
    engine.model.checkSolverBreak = [](void*) -> int32_t { return ++asked >= breakAt ? 1 : 0; };
    const int32_t result =
        qz::ipmSolve(&engine.env, &engine.model, &engine.option, &engine.hub, &engine.solution, &clock.timer);
    if (asked < breakAt) {
      EXPECT_TRUE(endedWell({result, engine.model.status}));
      break;
    }
    EXPECT_EQ(result, 12);
    EXPECT_EQ(engine.model.status, 12);
  }
}

}  // namespace
