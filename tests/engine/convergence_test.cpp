// The stages in the order of an iteration, on the sparse LDL solver: start, measure, factor, predict, correct, step.
// What comes out is judged by a certificate recomputed from the dense model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/constructed_model.h"
#include "engine/directions.h"
#include "engine/engine_case.h"
#include "engine/linear_algebra.h"
#include "engine/measures.h"
#include "engine/start_point.h"

namespace {

using qztest::construct;
using qztest::Constructed;
using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

void iterate(qz::Ipm* ipm) {
  const auto solve = [ipm](double* v) {
    return qz::ldlSolve(ipm->env, 0, ipm->numDim, 0, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, v,
                        ipm->laEnv, ipm->ldlFactor, ipm->ldlMemory, nullptr, nullptr);
  };
  for (ipm->numIter = 0; ipm->numIter < 100; ++ipm->numIter) {
    qz::computeMeasurement(ipm);
    ipm->status =
        qz::getSolutionStatus(ipm->tolPrimal, ipm->tolDual, ipm->tolOptimality, ipm->tolComplement, ipm->primalInfeas,
                              ipm->boundInfeas, ipm->dualInfeas, ipm->dualityGap, ipm->complementarity);
    if (ipm->status == 1) return;
    qz::computeAugmentDiag(ipm);
    ASSERT_EQ(qz::ldlFactorize(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                               ipm->ldlFactor, ipm->ldlMemory, nullptr, nullptr),
              0);
    ASSERT_EQ(solve(ipm->rhsPredictor), 0);
    qz::computePredictor(ipm);
    qz::computeMuAffine(ipm);
    qz::computeSigma(ipm);
    ipm->sigma = std::min(ipm->sigma, 1.0);
    qz::computeRhsCorrector(ipm);
    ASSERT_EQ(solve(ipm->rhsCorrector), 0);
    qz::computeStepCombined(ipm);
    qz::updateSolution(ipm);
  }
}

// Feasibility of x and the objective, from the dense model alone.
void expectOptimal(const EngineCase& engine, double objective) {
  const DenseModel& model = engine.dense();
  const Vector x = engine.x();
  double value = model.c.dot(x);
  if (model.quadratic()) value += 0.5 * x.dot(model.Q * x);
  EXPECT_NEAR(value, objective, 1e-4 * (1.0 + std::fabs(objective)));
  const Vector residual = model.A * x - model.b;
  const double scale = 1e-5 * (1.0 + model.b.norm());
  for (int i = 0; i < model.rows(); ++i) {
    EXPECT_GT(residual[i], -scale);
    if (model.sense[static_cast<size_t>(i)] == 'E') {
      EXPECT_LT(residual[i], scale);
    }
  }
  for (int j = 0; j < model.cols(); ++j) {
    EXPECT_GT(x[j], model.lower[j] - 1e-4);
    EXPECT_LT(x[j], model.upper[j] + 1e-4);
  }
}

TEST(Convergence, RandomModelsReachTheirConstructedOptimum) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 120; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape;
    shape.rows = 1 + static_cast<int>(seed % 20);
    shape.cols = shape.rows + static_cast<int>(seed % 31);
    shape.density = seed % 4 == 0 ? 0.9 : 0.3;
    shape.ineqnShare = 0.25 * static_cast<double>(seed % 5);
    shape.quadratic = seed % 2 == 0;
    shape.quadDensity = seed % 6 == 0 ? 0.0 : 0.2;
    const Constructed constructed = construct(random, shape);
    EngineCase engine(host, constructed.model);
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(shape.quadratic ? qz::ipmInitQP(engine.ipm, nullptr) : qz::ipmInitLP(engine.ipm, nullptr), 0);
    iterate(engine.ipm);
    EXPECT_EQ(engine.ipm->status, 1);
    EXPECT_LT(engine.ipm->numIter, 60);
    expectOptimal(engine, constructed.objective);
  }
}

TEST(Convergence, DependentEqualityRowsAreNoObstacle) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape;
    shape.rows = 6;
    shape.cols = 15;
    shape.ineqnShare = 0.0;
    shape.lowerShare = 1.0;
    Constructed constructed = construct(random, shape);
    DenseModel& model = constructed.model;
    model.A.row(5) = model.A.row(0) + 2.0 * model.A.row(1);  // the right-hand side and the cost follow
    std::uniform_real_distribution<double> positive(0.5, 2.0);
    Vector x = Vector::NullaryExpr(15, [&] { return positive(random); });
    Vector reduced = Vector::Zero(15);
    for (int j = 0; j < 15; ++j) {
      model.lower[j] = x[j] - 1.0;
      model.upper[j] = kNone;
      if (j % 3 == 0) {
        model.lower[j] = x[j];
        reduced[j] = 1.0;
      }
    }
    model.b = model.A * x;
    model.c = model.A.transpose() * Vector::Constant(6, 0.5) + reduced;
    EngineCase engine(host, model);
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
    iterate(engine.ipm);
    EXPECT_EQ(engine.ipm->status, 1);
    expectOptimal(engine, model.c.dot(x));
  }
}

TEST(Convergence, EveryFailedAllocationOfAStartIsReportedAndNothingLeaks) {
  TestHost host;
  for (bool quadratic : {false, true}) {
    std::mt19937 random(31);
    RandomShape shape;
    shape.quadratic = quadratic;
    const Constructed constructed = construct(random, shape);
    const int64_t before = host.outstanding();
    int failures = 0;
    for (int64_t k = 1;; ++k) {
      SCOPED_TRACE("allocation " + std::to_string(k));
      int32_t status = 0;
      {
        EngineCase engine(host, constructed.model);
        ASSERT_TRUE(engine.start());
        host.failAllocation(k);
        status = quadratic ? qz::ipmInitQP(engine.ipm, nullptr) : qz::ipmInitLP(engine.ipm, nullptr);
        host.failAllocation(0);
      }
      EXPECT_EQ(host.outstanding(), before);
      if (status == 0) break;
      ASSERT_EQ(status, -1086);
      ++failures;
    }
    EXPECT_GT(failures, 10);
  }
}

// Rounding can leave a slack or dual at or below 0; the solve then answers with numbers or with its failure.
TEST(Convergence, NonPositivePairsDoNoHarm) {
  TestHost host;
  for (const bool quadratic : {false, true}) {
    for (const double bad : {0.0, -1e-16}) {
      std::mt19937 random(7);
      RandomShape shape;
      shape.lowerShare = shape.upperShare = 1.0;
      shape.quadratic = quadratic;
      EngineCase engine(host, randomModel(random, shape));
      ASSERT_TRUE(engine.start());
      qz::Ipm* ipm = engine.ipm;
      ASSERT_EQ(qz::ipmInitAugmat(ipm, 1), 0);
      for (double* array : {ipm->lowerDual, ipm->upperDual, ipm->lowerSlack}) {
        SCOPED_TRACE(std::to_string(bad) + (array == ipm->lowerSlack ? " slack" : " dual"));
        engine.randomIterate(random);
        array[0] = array[3] = bad;
        qz::computeAugmentDiag(ipm);
        const int32_t factored =
            qz::ldlFactorize(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                             ipm->ldlFactor, ipm->ldlMemory, nullptr, nullptr);
        Vector v = Vector::Ones(ipm->numDim);
        const int32_t solved =
            qz::ldlSolve(ipm->env, 0, ipm->numDim, 0, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, v.data(),
                         ipm->laEnv, ipm->ldlFactor, ipm->ldlMemory, nullptr, nullptr);
        if (array == ipm->lowerSlack && bad == 0.0) continue;  // a quotient by 0: no answer is expected
        EXPECT_EQ(factored, 0);
        EXPECT_EQ(solved, 0);
        EXPECT_TRUE(v.allFinite());
      }
    }
  }
}

TEST(Convergence, TransportProblemSolvedByHand) {
  // Two plants (supply 30, 20), two markets (demand 25, 25), costs 1 3 / 4 2: ship 25 and 5 from the first, 20 from the
  // second; cost 25 + 15 + 40 = 80.
  TestHost host;
  DenseModel model;
  model.A = Matrix{{-1, -1, 0, 0}, {0, 0, -1, -1}, {1, 0, 1, 0}, {0, 1, 0, 1}};
  model.c = Vector{{1, 3, 4, 2}};
  model.b = Vector{{-30, -20, 25, 25}};
  model.lower = Vector::Zero(4);
  model.upper = Vector::Constant(4, kNone);
  model.sense = "GGEE";
  EngineCase engine(host, model);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
  iterate(engine.ipm);
  EXPECT_EQ(engine.ipm->status, 1);
  const Vector expected{{25, 5, 0, 20}};
  EXPECT_LT((engine.x() - expected).norm(), 1e-3);
  EXPECT_NEAR(engine.ipm->objValuePrimal, 80.0, 1e-3);
}

TEST(Convergence, QuadraticProblemSolvedByHand) {
  // minimise (x - 1)^2 + (y - 2)^2 subject to x + y <= 2, as -x - y >= -2: the point (0.5, 1.5), multiplier 1.
  TestHost host;
  DenseModel model;
  model.A = Matrix{{-1, -1}};
  model.Q = 2.0 * Matrix::Identity(2, 2);
  model.c = Vector{{-2, -4}};
  model.b = Vector::Constant(1, -2.0);
  model.lower = Vector::Constant(2, -kNone);
  model.upper = Vector::Constant(2, kNone);
  model.sense = "G";
  EngineCase engine(host, model);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitQP(engine.ipm, nullptr), 0);
  iterate(engine.ipm);
  EXPECT_EQ(engine.ipm->status, 1);
  EXPECT_NEAR(engine.ipm->primal[0], 0.5, 1e-4);
  EXPECT_NEAR(engine.ipm->primal[1], 1.5, 1e-4);
  EXPECT_NEAR(engine.ipm->dual[0], 1.0, 1e-4);
  EXPECT_NEAR(engine.ipm->objValuePrimal, -4.5, 1e-4);
}

}  // namespace
