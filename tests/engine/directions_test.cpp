// The directions against the full Newton system: all unknowns (x, y, s, bound slacks, bound duals) kept, no
// elimination, solved densely. The reduced system is solved densely here too, so that no sparse solver takes part.
#include "engine/directions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/engine_case.h"
#include "engine/measures.h"

namespace {

using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

// A direction in all unknowns; entries of absent bounds and of E rows' slacks are 0.
struct FullDirection {
  Vector x, y, rowSlack, upperSlack, lowerSlack, upperDual, lowerDual;
};

// Newton's equations at the iterate for the complementarity targets
//   z ds + s dz = target - s z - secondOrder,
// where secondOrder holds the products ds dz of an earlier direction (null for none).
FullDirection newton(const EngineCase& engine, double target, const FullDirection* earlier) {
  const DenseModel& model = engine.dense();
  const qz::Ipm& ipm = *engine.ipm;
  const int m = model.rows();
  const int n = model.cols();
  const int size = n + m + m + 4 * n;
  const int atY = n, atS = n + m, atSu = atS + m, atSl = atSu + n, atZu = atSl + n, atZl = atZu + n;
  Matrix K = Matrix::Zero(size, size);
  Vector r = Vector::Zero(size);
  int row = 0;
  const Vector x = engine.x();
  const Vector y = engine.y();
  for (int i = 0; i < m; ++i, ++row) {  // A dx - ds = b + s - A x
    K.block(row, 0, 1, n) = model.A.row(i);
    K(row, atS + i) = -1.0;
    r[row] = model.b[i] + ipm.ineqnSlack[i] - model.A.row(i).dot(x);
  }
  for (int j = 0; j < n; ++j, ++row) {  // A'dy - Q dx + dzl - dzu = c + Q x - A'y - zl + zu
    for (int i = 0; i < m; ++i) K(row, atY + i) = model.A(i, j);
    r[row] = model.c[j] - model.A.col(j).dot(y) - ipm.lowerDual[j] + ipm.upperDual[j];
    if (model.quadratic()) {
      K.block(row, 0, 1, n) = -model.Q.row(j);
      r[row] += model.Q.row(j).dot(x);
    }
    K(row, atZl + j) = 1.0;
    K(row, atZu + j) = -1.0;
  }
  const auto products = [&](double s, double z, double ds, double dz) { return target - s * z - ds * dz; };
  for (int j = 0; j < n; ++j) {
    if (model.hasUpper(j)) {
      K(row, j) = 1.0;  // dx + dsu = u - x - su
      K(row, atSu + j) = 1.0;
      r[row++] = model.upper[j] - x[j] - ipm.upperSlack[j];
      K(row, atSu + j) = ipm.upperDual[j];
      K(row, atZu + j) = ipm.upperSlack[j];
      r[row++] = products(ipm.upperSlack[j], ipm.upperDual[j], earlier ? earlier->upperSlack[j] : 0.0,
                          earlier ? earlier->upperDual[j] : 0.0);
    } else {
      K(row++, atSu + j) = 1.0;
      K(row++, atZu + j) = 1.0;
    }
    if (model.hasLower(j)) {
      K(row, j) = 1.0;  // dx - dsl = l - x + sl
      K(row, atSl + j) = -1.0;
      r[row++] = model.lower[j] - x[j] + ipm.lowerSlack[j];
      K(row, atSl + j) = ipm.lowerDual[j];
      K(row, atZl + j) = ipm.lowerSlack[j];
      r[row++] = products(ipm.lowerSlack[j], ipm.lowerDual[j], earlier ? earlier->lowerSlack[j] : 0.0,
                          earlier ? earlier->lowerDual[j] : 0.0);
    } else {
      K(row++, atSl + j) = 1.0;
      K(row++, atZl + j) = 1.0;
    }
  }
  for (int i = 0; i < m; ++i, ++row) {
    if (model.sense[static_cast<size_t>(i)] == 'G') {
      K(row, atS + i) = ipm.dual[i];
      K(row, atY + i) = ipm.ineqnSlack[i];
      r[row] =
          products(ipm.ineqnSlack[i], ipm.dual[i], earlier ? earlier->rowSlack[i] : 0.0, earlier ? earlier->y[i] : 0.0);
    } else {
      K(row, atS + i) = 1.0;
    }
  }
  EXPECT_EQ(row, size);
  const Vector d = K.fullPivLu().solve(r);
  return {d.segment(0, n),    d.segment(atY, m),  d.segment(atS, m), d.segment(atSu, n),
          d.segment(atSl, n), d.segment(atZu, n), d.segment(atZl, n)};
}

// The reduced matrix from its definition, without regularisation.
Matrix reducedMatrix(const EngineCase& engine) {
  const DenseModel& model = engine.dense();
  const qz::Ipm& ipm = *engine.ipm;
  const int m = model.rows();
  const int n = model.cols();
  Matrix K = Matrix::Zero(n + m, n + m);
  if (model.quadratic()) K.topLeftCorner(n, n) = model.Q;
  K.topRightCorner(n, m) = -model.A.transpose();
  K.bottomLeftCorner(m, n) = -model.A;
  for (int j = 0; j < n; ++j) {
    if (model.hasUpper(j)) K(j, j) += ipm.upperDual[j] / ipm.upperSlack[j];
    if (model.hasLower(j)) K(j, j) += ipm.lowerDual[j] / ipm.lowerSlack[j];
  }
  for (int i = 0; i < m; ++i)
    if (model.sense[static_cast<size_t>(i)] == 'G') K(n + i, n + i) = -ipm.ineqnSlack[i] / ipm.dual[i];
  return K;
}

void solveReduced(const EngineCase& engine, double* v) {
  Eigen::Map<Vector> map(v, engine.ipm->numDim);
  const Vector rhs = map;
  map = reducedMatrix(engine).fullPivLu().solve(rhs);
}

void expectVector(const Vector& expected, const double* actual, double tolerance, const char* what) {
  for (int k = 0; k < expected.size(); ++k)
    EXPECT_NEAR(actual[k], expected[k], tolerance * std::max(1.0, std::fabs(expected[k]))) << what << ' ' << k;
}

void expectDirection(const EngineCase& engine, const FullDirection& expected, const double* xy, double tolerance) {
  const qz::Ipm& ipm = *engine.ipm;
  expectVector(expected.x, xy, tolerance, "dx");
  expectVector(expected.y, xy + ipm.numCol, tolerance, "dy");
  expectVector(expected.rowSlack, ipm.ineqnSlackDelta, tolerance, "ds");
  expectVector(expected.upperSlack, ipm.upperSlackDelta, tolerance, "dsu");
  expectVector(expected.lowerSlack, ipm.lowerSlackDelta, tolerance, "dsl");
  expectVector(expected.upperDual, ipm.upperDualDelta, tolerance, "dzu");
  expectVector(expected.lowerDual, ipm.lowerDualDelta, tolerance, "dzl");
}

// The longest step in (0, 1] that keeps every q + alpha dq non-negative, by brute force.
struct Steps {
  double primal = 1.0;
  double dual = 1.0;
};

double longest(double best, double q, double dq) {
  return dq < -1e-15 ? std::min(best, -q / dq) : best;
}

Steps bruteSteps(const EngineCase& engine, const FullDirection& d) {
  const DenseModel& model = engine.dense();
  const qz::Ipm& ipm = *engine.ipm;
  Steps steps;
  for (int j = 0; j < model.cols(); ++j) {
    if (model.hasUpper(j)) {
      steps.primal = longest(steps.primal, ipm.upperSlack[j], d.upperSlack[j]);
      steps.dual = longest(steps.dual, ipm.upperDual[j], d.upperDual[j]);
    }
    if (model.hasLower(j)) {
      steps.primal = longest(steps.primal, ipm.lowerSlack[j], d.lowerSlack[j]);
      steps.dual = longest(steps.dual, ipm.lowerDual[j], d.lowerDual[j]);
    }
  }
  for (int i = 0; i < model.rows(); ++i) {
    if (model.sense[static_cast<size_t>(i)] != 'G') continue;
    steps.primal = longest(steps.primal, ipm.ineqnSlack[i], d.rowSlack[i]);
    steps.dual = longest(steps.dual, ipm.dual[i], d.y[i]);
  }
  if (model.quadratic()) steps.primal = steps.dual = std::min(steps.primal, steps.dual);
  return steps;
}

RandomShape shapeOf(uint32_t seed) {
  RandomShape shape;
  shape.rows = 1 + static_cast<int>(seed % 6);
  shape.cols = shape.rows + static_cast<int>(seed % 7);
  shape.density = 0.7;
  shape.ineqnShare = 0.5 * static_cast<double>(seed % 3);
  shape.lowerShare = seed % 5 == 0 ? 0.9 : 0.6;
  shape.quadratic = seed % 2 == 0;
  return shape;
}

// A model whose Newton system is well conditioned enough to compare directions; others are skipped by the caller.
bool wellConditioned(const EngineCase& engine) {
  const Matrix K = reducedMatrix(engine);
  const Eigen::JacobiSVD<Matrix> svd(K);
  const Vector values = svd.singularValues();
  return values.size() > 0 && values[values.size() - 1] > 1e-4 * values[0];
}

TEST(Directions, PredictorAndCombinedStepSolveTheFullNewtonSystem) {
  TestHost host;
  int compared = 0;
  for (uint32_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed)));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    if (!wellConditioned(engine)) continue;
    ++compared;
    qz::Ipm* ipm = engine.ipm;

    qz::computeMeasurement(ipm);
    solveReduced(engine, ipm->rhsPredictor);
    qz::computePredictor(ipm);
    const FullDirection affine = newton(engine, 0.0, nullptr);
    expectDirection(engine, affine, ipm->rhsPredictor, 1e-8);
    Steps steps = bruteSteps(engine, affine);
    EXPECT_NEAR(ipm->alphaPrimal, steps.primal, 1e-7);
    EXPECT_NEAR(ipm->alphaDual, steps.dual, 1e-7);

    qz::computeMuAffine(ipm);
    qz::computeSigma(ipm);
    ipm->sigma = std::min(std::max(ipm->sigma, 0.01), 1.0);
    qz::computeRhsCorrector(ipm);
    solveReduced(engine, ipm->rhsCorrector);
    qz::computeStepCombined(ipm);
    const FullDirection combined = newton(engine, ipm->sigma * ipm->mu, &affine);
    expectDirection(engine, combined, ipm->rhsCorrector, 1e-7);
    steps = bruteSteps(engine, combined);
    EXPECT_NEAR(ipm->alphaPrimal, steps.primal, 1e-6);
    EXPECT_NEAR(ipm->alphaDual, steps.dual, 1e-6);
  }
  EXPECT_GT(compared, 80);
}

TEST(Directions, StepKeepsEveryPositiveQuantityPositive) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed)));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    qz::Ipm* ipm = engine.ipm;
    std::normal_distribution<double> normal(0.0, 3.0);
    for (int k = 0; k < ipm->numDim; ++k) ipm->rhsPredictor[k] = normal(random);
    qz::computePredictor(ipm);
    ipm->mu = 1.0;
    ipm->sigma = 0.1;
    qz::computeRhsCorrector(ipm);
    for (int k = 0; k < ipm->numDim; ++k) ipm->rhsCorrector[k] = normal(random);
    qz::computeStepCombined(ipm);
    qz::updateSolution(ipm);
    double smallest = kNone;
    for (int j = 0; j < ipm->numCol; ++j) {
      if (engine.dense().hasUpper(j)) {
        EXPECT_GT(ipm->upperSlack[j], 0.0);
        EXPECT_GT(ipm->upperDual[j], 0.0);
        smallest = std::min(smallest, ipm->upperSlack[j]);
      }
      if (engine.dense().hasLower(j)) {
        EXPECT_GT(ipm->lowerSlack[j], 0.0);
        EXPECT_GT(ipm->lowerDual[j], 0.0);
        smallest = std::min(smallest, ipm->lowerSlack[j]);
      }
    }
    for (int i = 0; i < ipm->numRow; ++i) {
      if (engine.dense().sense[static_cast<size_t>(i)] != 'G') continue;
      EXPECT_GT(ipm->ineqnSlack[i], 0.0);
      EXPECT_GT(ipm->dual[i], 0.0);
      smallest = std::min(smallest, ipm->dual[i]);
    }
    EXPECT_EQ(ipm->minPositive, smallest);
    EXPECT_DOUBLE_EQ(ipm->maxPrimal, engine.x().size() ? engine.x().cwiseAbs().maxCoeff() : 0.0);
    EXPECT_DOUBLE_EQ(ipm->maxDual, engine.y().size() ? engine.y().cwiseAbs().maxCoeff() : 0.0);
    if (engine.dense().quadratic()) {
      EXPECT_EQ(ipm->alphaPrimal, ipm->alphaDual);
    }
  }
}

// One column with the given bounds, and one row over it.
DenseModel tiny(double lower, double upper, char sense) {
  DenseModel dense;
  dense.A = Matrix{{1.0}};
  dense.c = Vector::Constant(1, 1.0);
  dense.b = Vector::Zero(1);
  dense.lower = Vector::Constant(1, lower);
  dense.upper = Vector::Constant(1, upper);
  dense.sense = std::string(1, sense);
  return dense;
}

TEST(Directions, NothingBlocksAFreeColumnInAnEqualityRow) {
  TestHost host;
  EngineCase engine(host, tiny(-kNone, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  engine.ipm->rhsPredictor[0] = -1e6;
  engine.ipm->rhsPredictor[1] = -1e6;
  engine.ipm->ineqnSlackDelta[0] = 0.25;
  qz::computePredictor(engine.ipm);
  EXPECT_EQ(engine.ipm->alphaPrimal, 1.0);
  EXPECT_EQ(engine.ipm->alphaDual, 1.0);
  EXPECT_EQ(engine.ipm->blockPrimal, -1);
  EXPECT_EQ(engine.ipm->blockDual, -1);
  EXPECT_EQ(engine.ipm->ineqnSlackDelta[0], 0.25);  // an E row's slack delta is not touched
}

TEST(Directions, EqualityDualMovesFreelyAcrossZero) {
  TestHost host;
  EngineCase engine(host, tiny(-kNone, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->dual[0] = 1.0;
  ipm->sigma = ipm->mu = 0.0;
  ipm->rhsPredictor[0] = ipm->rhsPredictor[1] = 0.0;
  ipm->rhsCorrector[0] = 0.0;
  ipm->rhsCorrector[1] = -100.0;
  qz::computeStepCombined(ipm);
  EXPECT_EQ(ipm->blockDual, -1);
  EXPECT_EQ(ipm->alphaDual, 1.0);
  qz::updateSolution(ipm);
  EXPECT_DOUBLE_EQ(ipm->dual[0], 1.0 - 99.0);
  EXPECT_DOUBLE_EQ(ipm->maxDual, 98.0);  // E rows count here
  EXPECT_EQ(ipm->minPositive, kNone);    // and not there
}

TEST(Directions, AFallOfTenToMinusSixteenDoesNotBlock) {
  TestHost host;
  EngineCase engine(host, tiny(0.0, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->primal[0] = ipm->lowerSlack[0] = 0.0;
  ipm->lowerSlack[0] = 1e-16;
  ipm->lowerDual[0] = 1.0;
  ipm->rhsPredictor[0] = 0.0;  // slack delta -1e-16, dual delta 0
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->lowerSlackDelta[0], -1e-16);
  EXPECT_EQ(ipm->blockPrimal, -1);
  EXPECT_EQ(ipm->alphaPrimal, 1.0);
}

TEST(Directions, AFallThatDoesNotBlockLeavesNothingNegative) {
  TestHost host;
  EngineCase engine(host, tiny(0.0, kNone, 'G'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->lowerSlack[0] = ipm->lowerDual[0] = ipm->ineqnSlack[0] = ipm->dual[0] = 1e-20;
  ipm->lowerSlackDelta[0] = ipm->lowerDualDelta[0] = ipm->ineqnSlackDelta[0] = -1e-16;
  ipm->rhsCorrector[0] = 0.0;
  ipm->rhsCorrector[1] = -1e-16;
  ipm->alphaPrimal = ipm->alphaDual = 1.0;
  qz::updateSolution(ipm);
  EXPECT_DOUBLE_EQ(ipm->lowerSlack[0], 1e-22);
  EXPECT_DOUBLE_EQ(ipm->lowerDual[0], 1e-22);
  EXPECT_DOUBLE_EQ(ipm->ineqnSlack[0], 1e-22);
  EXPECT_DOUBLE_EQ(ipm->dual[0], 1e-22);
}

TEST(Directions, AFallJustBeyondTenToMinusFifteenBlocks) {
  TestHost host;
  EngineCase engine(host, tiny(0.0, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->primal[0] = 0.0;
  ipm->lowerDual[0] = 1.0;
  ipm->lowerSlack[0] = 1e-15;
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->blockPrimal, -1);
  ipm->lowerSlack[0] = std::nextafter(1e-15, 1.0);
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->blockPrimal, 0);
}

TEST(Directions, OnATieTheFirstBlockerStays) {
  TestHost host;
  DenseModel dense;
  dense.A = Matrix::Zero(0, 3);
  dense.c = Vector::Zero(3);
  dense.b = Vector::Zero(0);
  dense.lower = Vector{{-kNone, 0.0, 0.0}};
  dense.upper = Vector::Constant(3, kNone);
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  for (int j = 1; j < 3; ++j) {
    ipm->primal[j] = ipm->lowerSlack[j] = 1.0;
    ipm->lowerDual[j] = 1.0;
    ipm->rhsPredictor[j] = -4.0;
  }
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->blockPrimal, 1);
  EXPECT_DOUBLE_EQ(ipm->alphaPrimal, 0.25);
  ipm->rhsPredictor[2] = -5.0;  // strictly shorter: takes over
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->blockPrimal, 2);
  EXPECT_DOUBLE_EQ(ipm->alphaPrimal, 0.2);
}

TEST(Directions, BlockingRowIsReportedByItsRowIndex) {
  TestHost host;
  EngineCase engine(host, tiny(-kNone, kNone, 'G'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->ineqnSlack[0] = 2.0;
  ipm->dual[0] = 1.0;
  ipm->rhsPredictor[1] = 1.0;  // ds = -2 (1 + 1)
  qz::computePredictor(ipm);
  EXPECT_DOUBLE_EQ(ipm->ineqnSlackDelta[0], -4.0);
  EXPECT_EQ(ipm->blockPrimal, 0);
  EXPECT_DOUBLE_EQ(ipm->alphaPrimal, 0.5);
  EXPECT_EQ(ipm->blockDual, -1);
  ipm->rhsPredictor[1] = -4.0;
  qz::computePredictor(ipm);
  EXPECT_EQ(ipm->blockDual, 0);
  EXPECT_DOUBLE_EQ(ipm->alphaDual, 0.25);
}

TEST(Directions, QuadraticModelTakesTheShorterStepOnBothSidesAlsoInThePredictor) {
  TestHost host;
  DenseModel dense = tiny(0.0, kNone, 'E');
  dense.Q = Matrix{{1.0}};
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->primal[0] = ipm->lowerSlack[0] = 1.0;
  ipm->lowerDual[0] = 1.0;
  ipm->rhsPredictor[0] = -4.0;  // primal 0.25; the dual grows
  qz::computePredictor(ipm);
  EXPECT_DOUBLE_EQ(ipm->alphaPrimal, 0.25);
  EXPECT_DOUBLE_EQ(ipm->alphaDual, 0.25);
  EXPECT_EQ(ipm->blockDual, -1);
}

TEST(Directions, AStepOfOneMovesByTheStepFactor) {
  TestHost host;
  EngineCase engine(host, tiny(0.0, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->primal[0] = 1.0;
  ipm->lowerSlack[0] = 1.0;
  ipm->lowerDual[0] = 2.0;
  ipm->dual[0] = 1.0;
  ipm->alphaPrimal = ipm->alphaDual = 1.0;
  ipm->rhsCorrector[0] = 10.0;
  ipm->rhsCorrector[1] = -3.0;
  ipm->lowerSlackDelta[0] = 10.0;
  ipm->lowerDualDelta[0] = -1.0;
  qz::updateSolution(ipm);
  EXPECT_DOUBLE_EQ(ipm->primal[0], 10.9);
  EXPECT_DOUBLE_EQ(ipm->lowerSlack[0], 10.9);
  EXPECT_DOUBLE_EQ(ipm->lowerDual[0], 1.01);
  EXPECT_DOUBLE_EQ(ipm->dual[0], 1.0 - 2.97);
  EXPECT_DOUBLE_EQ(ipm->minPositive, 10.9);  // the bound dual, smaller, does not enter
}

TEST(Directions, CorrectorRightHandSideIsZeroWhereNothingIsComplementary) {
  TestHost host;
  EngineCase engine(host, tiny(-kNone, kNone, 'E'));
  ASSERT_TRUE(engine.start());
  engine.ipm->sigma = std::nan("");  // must not leak through absent pairs
  engine.ipm->mu = std::nan("");
  engine.ipm->rhsCorrector[0] = engine.ipm->rhsCorrector[1] = 7.0;
  qz::computeRhsCorrector(engine.ipm);
  EXPECT_EQ(engine.ipm->rhsCorrector[0], 0.0);
  EXPECT_EQ(engine.ipm->rhsCorrector[1], 0.0);
  engine.ipm->rhsPredictor[0] = 1.0;
  engine.ipm->rhsPredictor[1] = 2.0;
  qz::computeStepCombined(engine.ipm);
  EXPECT_EQ(engine.ipm->rhsCorrector[0], 1.0);
  EXPECT_EQ(engine.ipm->rhsCorrector[1], 2.0);
  EXPECT_EQ(engine.ipm->alphaPrimal, 1.0);
}

TEST(Directions, ListAndScanGiveTheSameSteps) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed)));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    std::normal_distribution<double> normal(0.0, 2.0);
    for (int k = 0; k < engine.ipm->numDim; ++k) engine.ipm->rhsPredictor[k] = normal(random);
    engine.ipm->denseRatio = 0.0;
    qz::computePredictor(engine.ipm);
    const double primal = engine.ipm->alphaPrimal;
    const double dual = engine.ipm->alphaDual;
    const Vector delta = EngineCase::view(engine.ipm->ineqnSlackDelta, engine.ipm->numRow);
    engine.ipm->denseRatio = 2.0;
    qz::computePredictor(engine.ipm);
    EXPECT_EQ(engine.ipm->alphaPrimal, primal);
    EXPECT_EQ(engine.ipm->alphaDual, dual);
    EXPECT_EQ(EngineCase::view(engine.ipm->ineqnSlackDelta, engine.ipm->numRow), delta);
  }
}

// updateSolution2 on one column x >= 0 with the given slack and dual, blocked by both.
struct Reserve {
  explicit Reserve(TestHost& host) : engine(host, tiny(0.0, kNone, 'E')) {
    EXPECT_TRUE(engine.start());
    ipm = engine.ipm;
    ipm->primal[0] = ipm->lowerSlack[0] = 1.0;
    ipm->lowerDual[0] = 1.0;
    ipm->alphaPrimal = ipm->alphaDual = 0.5;
    ipm->blockPrimal = ipm->blockDual = 0;
    ipm->rhsCorrector[0] = ipm->lowerSlackDelta[0] = -2.0;
    ipm->lowerDualDelta[0] = -2.0;
  }
  EngineCase engine;
  qz::Ipm* ipm;
};

TEST(ReserveStep, GoesTheFullWayAndLiftsTheBlockedSides) {
  TestHost host;
  Reserve reserve(host);
  qz::updateSolution2(reserve.ipm);
  EXPECT_DOUBLE_EQ(reserve.ipm->primal[0], 0.0);  // x itself is not lifted
  EXPECT_DOUBLE_EQ(reserve.ipm->lowerSlack[0], 1e-8);
  EXPECT_DOUBLE_EQ(reserve.ipm->lowerDual[0], 1e-8);
  EXPECT_DOUBLE_EQ(reserve.ipm->minPositive, 1e-8);
  EXPECT_TRUE(host.loggedText("divisor=%15.7g   deltaPrimal=%15.7g   deltaDual=%15.7g"));
}

TEST(ReserveStep, ASideWithoutBlockerIsNotLifted) {
  TestHost host;
  Reserve reserve(host);
  reserve.ipm->blockDual = -1;
  reserve.ipm->lowerDualDelta[0] = 1.0;
  qz::updateSolution2(reserve.ipm);
  EXPECT_DOUBLE_EQ(reserve.ipm->lowerSlack[0], 1e-8);
  EXPECT_DOUBLE_EQ(reserve.ipm->lowerDual[0], 1.5);
}

TEST(ReserveStep, IsTheOrdinaryStepWhenABlockerWouldComeOutTooSmall) {
  TestHost host;
  Reserve reserve(host);
  reserve.ipm->lowerDual[0] = 5e-7;  // keeps 0.01 * 5e-7
  reserve.ipm->lowerDualDelta[0] = -1e-6;
  qz::updateSolution2(reserve.ipm);
  EXPECT_NEAR(reserve.ipm->lowerSlack[0], 0.01, 1e-16);
  EXPECT_NEAR(reserve.ipm->lowerDual[0], 5e-9, 1e-20);
}

TEST(ReserveStep, ABlockingRowIsFoundByItsIndex) {
  TestHost host;
  EngineCase engine(host, tiny(-kNone, kNone, 'G'));
  ASSERT_TRUE(engine.start());
  qz::Ipm* ipm = engine.ipm;
  ipm->ineqnSlack[0] = 1.0;
  ipm->dual[0] = 1.0;
  ipm->alphaPrimal = ipm->alphaDual = 0.5;
  ipm->blockPrimal = ipm->blockDual = 0;
  ipm->ineqnSlackDelta[0] = -2.0;
  ipm->rhsPredictor[1] = ipm->rhsCorrector[1] = -2.0;
  qz::updateSolution2(ipm);
  EXPECT_DOUBLE_EQ(ipm->ineqnSlack[0], 1e-8);
  EXPECT_DOUBLE_EQ(ipm->dual[0], 1e-8);
  ipm->ineqnSlack[0] = ipm->dual[0] = 1.0;
  ipm->ineqnSlackDelta[0] = -1e-6;  // the row's slack keeps 0.5e-8
  qz::updateSolution2(ipm);
  EXPECT_DOUBLE_EQ(ipm->ineqnSlack[0], 1.0 - 0.495e-6);
}

// A split pair in an otherwise irrelevant record.
struct SplitPair {
  qz::Ipm ipm{};
  int32_t plus[1] = {0};
  int32_t minus[1] = {1};
  double x[2];
  double slack[2];
  double dual[2];

  SplitPair(double plusValue, double minusValue) : x{plusValue, minusValue}, slack{plusValue, minusValue}, dual{2, 3} {
    ipm.freeVarPlus = plus;
    ipm.freeVarMinus = minus;
    ipm.numFreeVar = 1;
    ipm.freeVarLimit = 1000.0;
  }
};

TEST(SplitPairs, APairWithinTheLimitStays) {
  for (double smallest : {0.0, 1.0, 1000.0}) {
    SplitPair pair(smallest, smallest + 7.0);
    qz::updateFreeVar(&pair.ipm, pair.x, pair.slack);
    EXPECT_EQ(pair.x[0], smallest);
    EXPECT_EQ(pair.slack[1], smallest + 7.0);
  }
}

TEST(SplitPairs, ALargePairComesBackToTheLimitWithItsDifference) {
  SplitPair pair(5000.0, 5007.0);
  qz::updateFreeVar(&pair.ipm, pair.x, pair.slack);
  EXPECT_DOUBLE_EQ(pair.x[0], 1000.0);
  EXPECT_DOUBLE_EQ(pair.x[1], 1007.0);
  EXPECT_DOUBLE_EQ(pair.slack[0], 1000.0);
  EXPECT_DOUBLE_EQ(pair.slack[1], 1007.0);
}

TEST(SplitPairs, ANegativePairComesUpToTheLimit) {
  SplitPair pair(-3.0, 4.0);
  qz::updateFreeVar(&pair.ipm, pair.x, pair.slack);
  EXPECT_DOUBLE_EQ(pair.x[0], 1000.0);
  EXPECT_DOUBLE_EQ(pair.x[1], 1007.0);
}

TEST(SplitPairs, AdjustmentKeepsTheProductsOfSlackAndDual) {
  SplitPair pair(5000.0, 8000.0);
  qz::adjustFreeVar(&pair.ipm, pair.x, pair.slack, pair.dual);
  EXPECT_DOUBLE_EQ(pair.slack[0], 1000.0);
  EXPECT_DOUBLE_EQ(pair.slack[1], 4000.0);
  EXPECT_DOUBLE_EQ(pair.slack[0] * pair.dual[0], 5000.0 * 2.0);
  EXPECT_DOUBLE_EQ(pair.slack[1] * pair.dual[1], 8000.0 * 3.0);
}

TEST(SplitPairs, NoPairsIsNoFault) {
  qz::Ipm ipm{};
  ipm.numFreeVar = 4;
  qz::updateFreeVar(&ipm, nullptr, nullptr);
  qz::adjustFreeVar(&ipm, nullptr, nullptr, nullptr);
}

}  // namespace
