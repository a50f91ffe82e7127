// The exact-point reset on models with a known optimal pair: what the iterate tells, what is solved, what is accepted,
// and that a refused candidate leaves no trace.
#include "engine/reset.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "engine/augmented_system.h"
#include "engine/engine_case.h"
#include "engine/iteration.h"
#include "engine/measures.h"
#include "engine/reset_partition.h"
#include "engine/reset_system.h"
#include "shell/fake_timer_module.h"

namespace {

using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

class Reset : public ::testing::Test {
 protected:
  TestHost host;
};

// One column and one row of each kind that a test asks for.
DenseModel oneColumn(bool lower, bool upper, char sense) {
  DenseModel model;
  model.A = Matrix::Ones(1, 1);
  model.c = Vector::Zero(1);
  model.b = Vector::Zero(1);
  model.lower = Vector::Constant(1, lower ? -1.0 : -kNone);
  model.upper = Vector::Constant(1, upper ? 1.0 : kNone);
  model.sense = sense;
  return model;
}

constexpr int32_t kNoDecision = -100;

struct Pair {
  double slack;
  double dual;
};

class ResetPartitionTest : public Reset {
 protected:
  // The state of the column, kNoDecision when the partition failed.
  int32_t column(bool hasLower, Pair lower, bool hasUpper, Pair upper) {
    EngineCase engine(host, oneColumn(hasLower, hasUpper, 'E'));
    EXPECT_TRUE(engine.start());
    engine.ipm->lowerSlack[0] = lower.slack;
    engine.ipm->lowerDual[0] = lower.dual;
    engine.ipm->upperSlack[0] = upper.slack;
    engine.ipm->upperDual[0] = upper.dual;
    qz::ResetPartition partition;
    const int32_t status = qz::makeResetPartition(engine.ipm, &partition);
    if (status == 10) return kNoDecision;
    EXPECT_EQ(status, 0);
    return partition.colState[0];
  }
  int32_t lowerOnly(Pair pair) { return column(true, pair, false, {}); }
  int32_t upperOnly(Pair pair) { return column(false, {}, true, pair); }

  int32_t row(char sense, Pair pair) {
    EngineCase engine(host, oneColumn(false, false, sense));
    EXPECT_TRUE(engine.start());
    engine.ipm->ineqnSlack[0] = pair.slack;
    engine.ipm->dual[0] = pair.dual;
    qz::ResetPartition partition;
    const int32_t status = qz::makeResetPartition(engine.ipm, &partition);
    if (status == 10) return kNoDecision;
    EXPECT_EQ(status, 0);
    return partition.rowState[0];
  }
};

TEST_F(ResetPartitionTest, FreeColumnsStay) {
  EXPECT_EQ(column(false, {}, false, {}), 0);
}

TEST_F(ResetPartitionTest, SmallPairDecidesByTheRatioAlone) {
  for (const bool lower : {true, false}) {
    const int32_t atBound = lower ? qz::RESET_AT_LOWER : qz::RESET_AT_UPPER;
    const auto decide = [&](Pair pair) { return lower ? lowerOnly(pair) : upperOnly(pair); };
    EXPECT_EQ(decide({0.99e-6, 1e-5}), atBound);
    EXPECT_EQ(decide({1.01e-6, 1e-5}), kNoDecision);
    EXPECT_EQ(decide({1e-5, 0.99e-6}), 0);
    EXPECT_EQ(decide({1e-5, 1.01e-6}), kNoDecision);
    EXPECT_EQ(decide({1e-6, 1e-6}), kNoDecision);
    EXPECT_EQ(decide({0.0, 0.0}), kNoDecision);
  }
}

TEST_F(ResetPartitionTest, OtherPairsHaveAFloor) {
  for (const bool lower : {true, false}) {
    const int32_t atBound = lower ? qz::RESET_AT_LOWER : qz::RESET_AT_UPPER;
    const auto decide = [&](Pair pair) { return lower ? lowerOnly(pair) : upperOnly(pair); };
    EXPECT_EQ(decide({0.99e-4, 1e-4}), atBound);  // just not small: the floor decides
    EXPECT_EQ(decide({0.09, 1.0}), atBound);
    EXPECT_EQ(decide({0.11, 1.0}), kNoDecision);
    EXPECT_EQ(decide({1e-4, 0.99e-4}), 0);
    EXPECT_EQ(decide({1.0, 0.09}), 0);
    EXPECT_EQ(decide({1.0, 0.11}), kNoDecision);
    EXPECT_EQ(decide({1.0, 1.0}), kNoDecision);
  }
}

TEST_F(ResetPartitionTest, BoxFollowsItsSmallPairTheLowerFirst) {
  const Pair away{1.0, 1e-9};
  EXPECT_EQ(column(true, {1e-9, 1e-5}, true, away), qz::RESET_AT_LOWER);
  EXPECT_EQ(column(true, {1e-5, 1e-9}, true, {1e-9, 1.0}), 0);  // the small lower pair decides alone
  EXPECT_EQ(column(true, {1e-5, 1e-5}, true, away), kNoDecision);
  EXPECT_EQ(column(true, away, true, {1e-9, 1e-5}), qz::RESET_AT_UPPER);
  EXPECT_EQ(column(true, {1e-9, 1.0}, true, {1e-5, 1e-9}), 0);
  EXPECT_EQ(column(true, away, true, {1e-5, 1e-5}), kNoDecision);
}

TEST_F(ResetPartitionTest, BoxWithoutASmallPairNeedsOneBoundOrNone) {
  EXPECT_EQ(column(true, {1e-9, 1.0}, true, {2.0, 1e-9}), qz::RESET_AT_LOWER);
  EXPECT_EQ(column(true, {1e-9, 1.0}, true, {1e-9, 1.0}), qz::RESET_AT_LOWER);
  EXPECT_EQ(column(true, {2.0, 1e-9}, true, {1e-9, 1.0}), qz::RESET_AT_UPPER);
  EXPECT_EQ(column(true, {1.0, 0.99e-4}, true, {1.0, 0.09}), 0);
  EXPECT_EQ(column(true, {1.0, 1e-9}, true, {1.0, 0.11}), kNoDecision);
  EXPECT_EQ(column(true, {1.0, 0.11}, true, {1.0, 1e-9}), kNoDecision);
}

TEST_F(ResetPartitionTest, RowsHaveAFloorWhateverTheirSize) {
  EXPECT_EQ(row('E', {1.0, 1.0}), 0);
  EXPECT_EQ(row('G', {0.99e-4, 0.0}), 0);
  EXPECT_EQ(row('G', {1e-5, 1e-5}), 0);  // asked first
  EXPECT_EQ(row('G', {1.01e-4, 0.99e-4}), qz::RESET_ROW_DROPPED);
  EXPECT_EQ(row('G', {0.09, 1.0}), 0);
  EXPECT_EQ(row('G', {0.11, 1.0}), kNoDecision);
  EXPECT_EQ(row('G', {1.0, 0.09}), qz::RESET_ROW_DROPPED);
  EXPECT_EQ(row('G', {1.0, 0.11}), kNoDecision);
}

// A model with a known strictly complementary pair, and an iterate near it.
struct Known {
  DenseModel model;
  Vector x, y, slack, reduced;
  std::vector<int> atLower, atUpper;
};

// A random shape, or with `vertex` as many kept columns as rows, all of sense E.
Known construct(std::mt19937& random, int rows, int cols, bool quadratic, bool vertex) {
  std::uniform_real_distribution<double> positive(0.5, 2.0);
  std::normal_distribution<double> normal;
  RandomShape shape;
  shape.rows = rows;
  shape.cols = cols;
  shape.density = 0.6;
  shape.quadratic = quadratic;
  shape.ineqnShare = vertex ? 0.0 : 0.5;
  Known known{randomModel(random, shape), Vector(cols), Vector(rows), Vector::Zero(rows), Vector::Zero(cols), {}, {}};
  DenseModel& model = known.model;
  for (int j = 0; j < cols; ++j) {
    known.x[j] = normal(random);
    const bool fixed = vertex ? j >= rows : random() % 2 == 0;
    if (fixed && vertex) model.lower[j] = 0.0;
    if (model.hasLower(j)) model.lower[j] = known.x[j] - positive(random);
    if (model.hasUpper(j)) model.upper[j] = known.x[j] + positive(random);
    if (!fixed) continue;
    if (model.hasLower(j) && random() % 2 == 0) {
      model.lower[j] = known.x[j];
      known.reduced[j] = positive(random);
    } else if (model.hasUpper(j)) {
      model.upper[j] = known.x[j];
      known.reduced[j] = -positive(random);
    } else if (vertex) {
      model.lower[j] = known.x[j];
      known.reduced[j] = positive(random);
    }
  }
  for (int i = 0; i < rows; ++i) {
    known.y[i] = normal(random);
    if (model.sense[static_cast<size_t>(i)] != 'G') continue;
    const bool active = random() % 2 == 0;
    known.y[i] = active ? positive(random) : 0.0;
    known.slack[i] = active ? 0.0 : positive(random);
  }
  model.b = model.A * known.x - known.slack;
  model.c = model.A.transpose() * known.y + known.reduced;
  if (quadratic) model.c -= model.Q * known.x;
  return known;
}

// Sets the iterate at the known pair, moved by `distance`; its complementary products stay positive.
void comeNear(const Known& known, qz::Ipm* ipm, double distance, std::mt19937& random) {
  std::uniform_real_distribution<double> unit(0.5, 1.0);
  const DenseModel& model = known.model;
  for (int j = 0; j < model.cols(); ++j) {
    ipm->primal[j] = known.x[j] + distance * unit(random);
    ipm->lowerSlack[j] = ipm->upperSlack[j] = ipm->lowerDual[j] = ipm->upperDual[j] = 0.0;
    if (model.hasLower(j)) {
      ipm->lowerSlack[j] = known.x[j] - model.lower[j] + distance * unit(random);
      ipm->lowerDual[j] = std::max(known.reduced[j], 0.0) + distance * unit(random);
    }
    if (model.hasUpper(j)) {
      ipm->upperSlack[j] = model.upper[j] - known.x[j] + distance * unit(random);
      ipm->upperDual[j] = std::max(-known.reduced[j], 0.0) + distance * unit(random);
    }
  }
  for (int i = 0; i < model.rows(); ++i) {
    const bool inequality = model.sense[static_cast<size_t>(i)] == 'G';
    ipm->dual[i] = known.y[i] + distance * unit(random);
    ipm->ineqnSlack[i] = inequality ? known.slack[i] + distance * unit(random) : 0.0;
  }
}

// Every array and number that a refused reset must not touch.
std::vector<double> snapshot(const qz::Ipm* ipm) {
  std::vector<double> all;
  const auto add = [&all](const double* from, int32_t n) { all.insert(all.end(), from, from + n); };
  for (const double* array : {ipm->primal, ipm->lowerSlack, ipm->upperSlack, ipm->lowerDual, ipm->upperDual})
    add(array, ipm->numCol);
  add(ipm->dual, ipm->numRow);
  add(ipm->ineqnSlack, ipm->numRow);
  for (const double* array : {ipm->obj, ipm->lower, ipm->upper}) add(array, ipm->numCol);
  add(ipm->rhs, ipm->numRow);
  for (const double* array : {ipm->rhsPredictor, ipm->rhsCorrector, ipm->rhsWork}) add(array, ipm->numDim);
  all.insert(all.end(), {ipm->primalInfeas, ipm->dualInfeas, ipm->boundInfeas, ipm->dualityGap, ipm->complementarity,
                         ipm->mu, static_cast<double>(ipm->status), static_cast<double>(ipm->numReset)});
  return all;
}

void expectSame(const std::vector<double>& before, const std::vector<double>& after) {
  ASSERT_EQ(before.size(), after.size());
  EXPECT_EQ(std::memcmp(before.data(), after.data(), before.size() * sizeof(double)), 0);
}

// A certificate from the dense model alone, with exact zeros on the decided sides.
void expectExact(const EngineCase& engine, const Known& known) {
  const qz::Ipm* ipm = engine.ipm;
  const DenseModel& model = known.model;
  const Vector x = engine.x();
  const Vector y = engine.y();
  Vector dualResidual = model.c - model.A.transpose() * y;
  if (model.quadratic()) dualResidual += model.Q * x;
  Vector rowResidual = model.A * x - model.b;
  for (int j = 0; j < model.cols(); ++j) {
    dualResidual[j] -= ipm->lowerDual[j] - ipm->upperDual[j];
    EXPECT_EQ(ipm->lowerSlack[j] * ipm->lowerDual[j], 0.0);
    EXPECT_EQ(ipm->upperSlack[j] * ipm->upperDual[j], 0.0);
    if (known.reduced[j] > 0.0) {
      EXPECT_EQ(x[j], model.lower[j]);
    } else if (known.reduced[j] < 0.0) {
      EXPECT_EQ(x[j], model.upper[j]);
    } else {
      EXPECT_EQ(ipm->lowerDual[j], 0.0);
      EXPECT_EQ(ipm->upperDual[j], 0.0);
    }
  }
  for (int i = 0; i < model.rows(); ++i) {
    rowResidual[i] -= ipm->ineqnSlack[i];
    if (model.sense[static_cast<size_t>(i)] == 'G') {
      EXPECT_EQ(known.slack[i] > 0.0 ? y[i] : ipm->ineqnSlack[i], 0.0);
    }
  }
  EXPECT_LT(dualResidual.norm(), 1e-8 * (1.0 + model.c.norm() + y.norm()));
  EXPECT_LT(rowResidual.norm(), 1e-8 * (1.0 + model.b.norm() + x.norm()));
}

TEST_F(Reset, JumpsToTheVertexOfALinearModel) {
  std::mt19937 random(21);
  for (int trial = 0; trial < 30; ++trial) {
    SCOPED_TRACE(trial);
    const Known known = construct(random, 5, 12, false, true);
    if (std::fabs(known.model.A.leftCols(5).determinant()) < 0.05) continue;
    EngineCase engine(host, known.model);
    ASSERT_TRUE(engine.start());
    comeNear(known, engine.ipm, 1e-6, random);
    ASSERT_EQ(qz::ipmReset(engine.ipm), 0);
    EXPECT_EQ(engine.ipm->status, 1);
    EXPECT_LT((engine.x() - known.x).norm(), 1e-9);
    EXPECT_LT((engine.y() - known.y).norm(), 1e-9);
    EXPECT_EQ(engine.ipm->complementarity, 0.0);
    expectExact(engine, known);
  }
}

// Any face: the kept columns may be more or fewer than the kept rows. What is taken is a certificate.
TEST_F(Reset, AcceptedPointsOfAnyFaceAreExact) {
  std::mt19937 random(22);
  int accepted = 0;
  for (int trial = 0; trial < 80; ++trial) {
    SCOPED_TRACE(trial);
    const bool quadratic = trial % 2 == 1;
    const Known known = construct(random, 5, 10, quadratic, false);
    EngineCase engine(host, known.model);
    ASSERT_TRUE(engine.start());
    comeNear(known, engine.ipm, 1e-9, random);
    const std::vector<double> before = snapshot(engine.ipm);
    const int32_t result = qz::ipmReset(engine.ipm);
    if (result != 0) {
      expectSame(before, snapshot(engine.ipm));
      continue;
    }
    ++accepted;
    EXPECT_TRUE(engine.ipm->status == 1 || engine.ipm->status == 15);
    expectExact(engine, known);
    if (quadratic) {
      EXPECT_LT((engine.x() - known.x).norm(), 1e-6);
    }
  }
  EXPECT_GT(accepted, 60);
}

TEST_F(Reset, SystemIsTheOneOfTheFace) {
  std::mt19937 random(23);
  for (int trial = 0; trial < 20; ++trial) {
    SCOPED_TRACE(trial);
    const Known known = construct(random, 5, 8, trial % 2 == 1, false);
    const DenseModel& model = known.model;
    EngineCase engine(host, model);
    ASSERT_TRUE(engine.start());
    comeNear(known, engine.ipm, 1e-9, random);
    qz::ResetPartition partition;
    ASSERT_EQ(qz::makeResetPartition(engine.ipm, &partition), 0);
    qz::ResetSystem system;
    ASSERT_EQ(qz::makeResetSystem(engine.ipm, partition, &system), 0);
    Matrix matrix = Matrix::Zero(system.numDim, system.numDim);
    for (int j = 0; j < system.numDim; ++j)
      for (int32_t k = system.begin[j]; k < system.begin[j + 1]; ++k) matrix(system.index[k], j) += system.value[k];

    std::vector<int> cols, rows;
    Vector fixed = Vector::Zero(model.cols());
    for (int j = 0; j < model.cols(); ++j) {
      if (known.reduced[j] == 0.0)
        cols.push_back(j);
      else
        fixed[j] = known.x[j];
    }
    for (int i = 0; i < model.rows(); ++i)
      if (known.slack[i] == 0.0) rows.push_back(i);
    const auto nc = static_cast<int>(cols.size());
    const auto nr = static_cast<int>(rows.size());
    Matrix expected = Matrix::Zero(nc + nr, nc + nr);
    Vector rhs(nc + nr);
    const Matrix Q = model.quadratic() ? model.Q : Matrix::Zero(model.cols(), model.cols());
    expected.topLeftCorner(nc, nc) = -Q(cols, cols);
    expected.bottomLeftCorner(nr, nc) = model.A(rows, cols);
    expected.topRightCorner(nc, nr) = model.A(rows, cols).transpose();
    rhs << Vector(model.c + Q * fixed)(cols), Vector(model.b - model.A * fixed)(rows);
    ASSERT_EQ(system.numDim, nc + nr);
    EXPECT_EQ(matrix, expected);
    EXPECT_LT((EngineCase::view(system.rhs.get(), nc + nr) - rhs).norm(), 1e-12 * (1.0 + rhs.norm()));
  }
}

TEST_F(Reset, WrongPartitionIsRejectedWithoutATrace) {
  std::mt19937 random(24);
  const Known known = construct(random, 5, 12, false, true);
  EngineCase engine(host, known.model);
  ASSERT_TRUE(engine.start());
  comeNear(known, engine.ipm, 1e-6, random);
  // A column of the basis that pretends to sit at a bound that it does not have near.
  int turned = -1;
  for (int j = 0; j < 5 && turned < 0; ++j)
    if (known.model.hasLower(j)) turned = j;
  ASSERT_GE(turned, 0);
  engine.ipm->lowerSlack[turned] = 1e-9;
  engine.ipm->lowerDual[turned] = 1.0;
  const std::vector<double> before = snapshot(engine.ipm);
  EXPECT_NE(qz::ipmReset(engine.ipm), 0);
  expectSame(before, snapshot(engine.ipm));
}

TEST_F(Reset, UndecidedPairLeavesEverything) {
  std::mt19937 random(25);
  const Known known = construct(random, 5, 12, false, true);
  EngineCase engine(host, known.model);
  ASSERT_TRUE(engine.start());
  comeNear(known, engine.ipm, 1e-6, random);
  for (int j = 0; j < 12; ++j) engine.ipm->lowerSlack[j] = engine.ipm->lowerDual[j] = 1e-7;
  const std::vector<double> before = snapshot(engine.ipm);
  EXPECT_EQ(qz::ipmReset(engine.ipm), 10);
  expectSame(before, snapshot(engine.ipm));
}

// x = 1 on the row; the bound stands above it by `gap`, in numbers that subtract exactly.
int32_t resetBehindABound(TestHost& host, double tolerance, double gap, double* slack) {
  DenseModel model = oneColumn(true, false, 'E');
  model.b[0] = 1.0;
  model.lower[0] = 1.0 + gap;
  EngineCase engine(host, model);
  EXPECT_TRUE(engine.start());
  engine.ipm->tolPrimal = tolerance;
  engine.ipm->primal[0] = 1.0;
  engine.ipm->lowerSlack[0] = 1.0;
  engine.ipm->lowerDual[0] = 1e-9;
  const int32_t result = qz::ipmReset(engine.ipm);
  *slack = engine.ipm->lowerSlack[0];
  return result;
}

TEST_F(Reset, SlackSlightlyBelowZeroIsAcceptedAsItIs) {
  const double tolerance = std::ldexp(1.0, -20);
  double slack = 0.0;
  EXPECT_EQ(resetBehindABound(host, tolerance, tolerance / 2.0, &slack), 0);
  EXPECT_EQ(slack, -tolerance / 2.0);
  EXPECT_EQ(resetBehindABound(host, tolerance, tolerance, &slack), 1003);
  EXPECT_EQ(slack, 1.0);
}

// min -2 x on one row x >= b, at the upper bound 1: the dual of the bound is exact.
TEST_F(Reset, EverythingFixedAndDroppedLeavesNoSystem) {
  DenseModel model = oneColumn(true, true, 'G');
  model.c[0] = -2.0;
  model.b[0] = -3.0;
  EngineCase engine(host, model);
  ASSERT_TRUE(engine.start());
  engine.ipm->lowerSlack[0] = 2.0;
  engine.ipm->upperDual[0] = 2.0;
  engine.ipm->ineqnSlack[0] = 4.0;
  engine.ipm->lowerDual[0] = engine.ipm->upperSlack[0] = engine.ipm->dual[0] = 1e-9;
  ASSERT_EQ(qz::ipmReset(engine.ipm), 0);
  EXPECT_EQ(engine.ipm->status, 1);
  EXPECT_EQ(engine.ipm->primal[0], 1.0);
  EXPECT_EQ(engine.ipm->upperDual[0], 2.0);
  EXPECT_EQ(engine.ipm->upperSlack[0], 0.0);
  EXPECT_EQ(engine.ipm->lowerSlack[0], 2.0);
  EXPECT_EQ(engine.ipm->ineqnSlack[0], 4.0);
  EXPECT_EQ(engine.ipm->dual[0], 0.0);
}

// The same with costs that leave the bound a dual of `dual`.
int32_t resetToADualOf(TestHost& host, double tolerance, double dual) {
  DenseModel model = oneColumn(true, true, 'G');
  model.c[0] = -dual;
  model.b[0] = -3.0;
  EngineCase engine(host, model);
  EXPECT_TRUE(engine.start());
  engine.ipm->tolDual = tolerance;
  engine.ipm->lowerSlack[0] = 2.0;
  engine.ipm->upperDual[0] = 2.0;
  engine.ipm->ineqnSlack[0] = 4.0;
  engine.ipm->lowerDual[0] = engine.ipm->upperSlack[0] = engine.ipm->dual[0] = 1e-9;
  return qz::ipmReset(engine.ipm);
}

TEST_F(Reset, DualSlightlyBelowZeroIsAcceptedAndOneAtTheToleranceIsNot) {
  const double tolerance = std::ldexp(1.0, -20);
  EXPECT_EQ(resetToADualOf(host, tolerance, -tolerance / 2.0), 0);
  EXPECT_EQ(resetToADualOf(host, tolerance, -tolerance), 1003);
}

TEST_F(Reset, EveryFailedAllocationLeavesEverything) {
  std::mt19937 random(26);
  const Known known = construct(random, 5, 12, true, true);
  EngineCase engine(host, known.model);
  ASSERT_TRUE(engine.start());
  comeNear(known, engine.ipm, 1e-8, random);
  const std::vector<double> before = snapshot(engine.ipm);
  const int64_t outstanding = host.outstanding();
  int64_t k = 1;
  for (;; ++k) {
    host.failAllocation(k);
    const int32_t result = qz::ipmReset(engine.ipm);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), outstanding) << k;
    if (result == 0) break;
    ASSERT_EQ(result, -1086) << k;
    expectSame(before, snapshot(engine.ipm));
  }
  EXPECT_GT(k, 30);
}

TEST_F(Reset, MeasuresOfAPointAreThoseOfTheIteration) {
  std::mt19937 random(27);
  for (const bool quadratic : {false, true}) {
    RandomShape shape;
    shape.quadratic = quadratic;
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    qz::Ipm* ipm = engine.ipm;
    const std::vector<double> before = snapshot(ipm);
    double P = 0, D = 0, B = 0, G = 0, C = 0;
    ASSERT_EQ(qz::computeMeasurementReset(ipm, ipm->primal, ipm->dual, ipm->ineqnSlack, ipm->lowerSlack,
                                          ipm->upperSlack, ipm->lowerDual, ipm->upperDual, &P, &D, &B, &G, &C),
              0);
    expectSame(before, snapshot(ipm));
    qz::computeMeasurement(ipm);
    EXPECT_DOUBLE_EQ(P, ipm->primalInfeas);
    EXPECT_DOUBLE_EQ(D, ipm->dualInfeas);
    EXPECT_DOUBLE_EQ(B, ipm->boundInfeas);
    EXPECT_DOUBLE_EQ(G, ipm->dualityGap);
    EXPECT_DOUBLE_EQ(C, ipm->complementarity);
  }
}

// The loop. The iterate is feasible, its pairs have separated, and its gap is open.

class ResetInTheLoop : public Reset {
 protected:
  // The engine at the open point, ready to iterate.
  bool prepare(EngineCase& engine) {
    if (!engine.start()) return false;
    timer.type = 1;  // real time
    timer.ticksPerSecond = 1e6;
    timer.perfModule = &clock.module;
    timer.cpuLimit = timer.realLimit = 1e9;
    timer.realStart = host.now;
    engine.ipm->timer = &timer;
    setIterate(engine.ipm);
    return qz::ipmInitAugmat(engine.ipm, 1) == 0;
  }
  qztest::FakeTimerModule clock;
  qz::IPM_timer timer{};

  // min x1 + 2 x2 subject to x1 + x2 = b, x >= 0: optimum (b, 0) with y = 1. The point lies between.
  static DenseModel smallModel(double b) {
    DenseModel model;
    model.A = Matrix::Ones(1, 2);
    model.c = (Vector(2) << 1, 2).finished();
    model.b = Vector::Constant(1, b);
    model.lower = Vector::Zero(2);
    model.upper = Vector::Constant(2, kNone);
    model.sense.assign(1, 'E');
    return model;
  }
  // With a third column without reduced cost at the iterate's y, whose tiny pair tells nothing.
  static DenseModel undecidedModel(double b) {
    DenseModel model = smallModel(b);
    model.A = Matrix::Ones(1, 3);
    model.c = (Vector(3) << 1, 2, 1.0 - kAway).finished();
    model.lower = Vector::Zero(3);
    model.upper = Vector::Constant(3, kNone);
    return model;
  }
  static void setIterate(qz::Ipm* ipm) {
    ipm->primal[0] = ipm->lowerSlack[0] = ipm->rhs[0] - kAway;
    ipm->primal[1] = ipm->lowerSlack[1] = kAway;
    ipm->lowerDual[0] = kAway;
    ipm->lowerDual[1] = 1.0 + kAway;
    ipm->dual[0] = 1.0 - kAway;
    ipm->minPositive = kAway;
    if (ipm->numCol == 3) ipm->primal[2] = ipm->lowerSlack[2] = ipm->lowerDual[2] = ipm->minPositive = 1e-7;
  }
  // Two stalled iterations lie behind, so the coming one stops the run. With b = 0.01 the pairs have not separated so
  // far that the run may go on without a question.
  static void stall(qz::Ipm* ipm) {
    ipm->countStall = 2;
    ipm->mu = 0.0;
  }

  static constexpr double kAway = 1e-4;
};

TEST_F(ResetInTheLoop, SeparatedPointGoesOnToFullAccuracyWithoutAReset) {
  EngineCase engine(host, smallModel(1.0));
  ASSERT_TRUE(prepare(engine));
  EXPECT_EQ(qz::ipmMethod(engine.ipm, &engine.hub, nullptr), 1);
  EXPECT_GT(engine.ipm->numIter, 1);
  EXPECT_EQ(engine.ipm->numReset, 0);
  EXPECT_GT(engine.x()[1], 0.0);  // still an interior point
}

TEST_F(ResetInTheLoop, SeparatedPointMeetsTheIterationLimit) {
  EngineCase engine(host, smallModel(1.0));
  ASSERT_TRUE(prepare(engine));
  engine.ipm->maxIter = 1;
  EXPECT_EQ(qz::ipmMethod(engine.ipm, &engine.hub, nullptr), 7);
}

TEST_F(ResetInTheLoop, AcceptedPointEndsAStalledRunOneIterationLater) {
  EngineCase engine(host, smallModel(0.01));
  ASSERT_TRUE(prepare(engine));
  stall(engine.ipm);
  EXPECT_EQ(qz::ipmMethod(engine.ipm, &engine.hub, nullptr), 1);
  EXPECT_EQ(engine.ipm->status, 1);
  EXPECT_EQ(engine.ipm->numIter, 1);
  EXPECT_EQ(engine.ipm->numReset, 0);
  EXPECT_EQ(engine.x(), (Vector(2) << 0.01, 0).finished());
  EXPECT_EQ(engine.ipm->dual[0], 1.0);
}

TEST_F(ResetInTheLoop, FailedResetOfAStalledRunIsCountedAndLeavesItsStatus) {
  EngineCase engine(host, undecidedModel(0.01));
  ASSERT_TRUE(prepare(engine));
  stall(engine.ipm);
  const int32_t result = qz::ipmMethod(engine.ipm, &engine.hub, nullptr);
  EXPECT_EQ(result, engine.ipm->status);
  EXPECT_EQ(result, 10);  // feasible, but the gap is not closed
  EXPECT_EQ(engine.ipm->numReset, 1);
  EXPECT_EQ(engine.ipm->numIter, 0);
}

// The factor vanishes at a poll, right behind the factorisation: the solve fails on a model that is still scaled.
TEST_F(ResetInTheLoop, FailedSolveLeavesTheScaledTermsOnItsWayOut) {
  struct Thief {
    qz::Ipm* ipm;
    int pollsLeft;
    qz::NumericFactor* stolen;
  };
  EngineCase engine(host, smallModel(1.0));
  ASSERT_TRUE(prepare(engine));
  engine.ipm->lowerDual[0] = 1.0;  // not dual feasible
  engine.ipm->minPositive = kAway;
  engine.hub.scaleState = 1;
  engine.hub.objScale = 0.25;
  engine.hub.typeMethod = engine.ipm->typeMethod;
  engine.hub.numRowSaved = 1;
  engine.hub.numColSaved = 2;
  Thief thief{engine.ipm, 3, nullptr};  // behind the measure, the decision and the forming of the system
  engine.ipm->callerDataStruct = &thief;
  engine.ipm->checkSolverBreak = [](void* data) -> int32_t {
    auto* t = static_cast<Thief*>(data);
    if (t->pollsLeft-- == 0) t->stolen = std::exchange(t->ipm->ldlMemory, nullptr);
    return 0;
  };
  EXPECT_EQ(qz::ipmMethod(engine.ipm, &engine.hub, nullptr), 4) << "what the measure said";
  ASSERT_NE(thief.stolen, nullptr);
  engine.ipm->ldlMemory = thief.stolen;
  EXPECT_EQ(engine.ipm->numIter, 0);
  EXPECT_EQ(engine.hub.scaleState, 0);
  EXPECT_EQ(engine.hub.objScale, 1.0);
  EXPECT_EQ(engine.ipm->obj[0], 4.0);
  EXPECT_EQ(engine.ipm->obj[1], 8.0);
  EXPECT_EQ(engine.ipm->lowerDual[0], 4.0);
}

TEST_F(ResetInTheLoop, ShortMemoryIsHandedOn) {
  EngineCase engine(host, smallModel(0.01));
  ASSERT_TRUE(prepare(engine));
  stall(engine.ipm);
  host.failAllocation(1);  // the first work array of the reset
  EXPECT_EQ(qz::ipmMethod(engine.ipm, &engine.hub, nullptr), -1086);
  EXPECT_EQ(engine.ipm->numReset, 0);
  EXPECT_EQ(engine.ipm->numIter, 0);
}

}  // namespace
