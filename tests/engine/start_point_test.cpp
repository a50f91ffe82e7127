// Starting points against dense least-squares problems, and their order, shifts, far bounds, partial forms, failures.
#include "engine/start_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/dense_ldl.h"
#include "engine/engine_case.h"
#include "engine/linear_algebra.h"

namespace {

using qztest::DenseLdl;
using qztest::denseLdl;
using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

constexpr double kMargin = 1e-4;  // of tolerances up to 1e-6

bool isG(const DenseModel& model, int i) {
  return model.sense[static_cast<size_t>(i)] == 'G';
}

// Solves minimise 1/2 w'H w + g'w subject to E w = e through its optimality conditions. H must be positive definite on
// the null space of E; a singular system fails the test.
Vector equalityProgram(const Matrix& H, const Vector& g, const Matrix& E, const Vector& e) {
  const auto n = H.rows();
  const auto m = E.rows();
  Matrix K = Matrix::Zero(n + m, n + m);
  K.topLeftCorner(n, n) = H;
  K.topRightCorner(n, m) = E.transpose();
  K.bottomLeftCorner(m, n) = E;
  Vector r(n + m);
  r << -g, e;
  const Vector w = K.fullPivLu().solve(r);
  EXPECT_LT((K * w - r).norm(), 1e-8 * (1.0 + r.norm()));
  return w.head(n);
}

// minimise 1/2 sum over bounds (x - bound)^2 + 1/2 |s|^2 subject to A x - s = b on the given rows (s only on G rows).
// Unknowns (x, s of the G rows in order).
Vector primalLeastSquares(const DenseModel& model, const std::vector<int>& rows) {
  const int n = model.cols();
  int numG = 0;
  for (int i : rows) numG += isG(model, i) ? 1 : 0;
  Matrix H = Matrix::Zero(n + numG, n + numG);
  Vector g = Vector::Zero(n + numG);
  for (int j = 0; j < n; ++j)
    for (double bound : {model.lower[j], model.upper[j]})
      if (std::fabs(bound) < kNone) {
        H(j, j) += 1.0;
        g[j] -= bound;
      }
  H.bottomRightCorner(numG, numG).setIdentity();
  Matrix E = Matrix::Zero(static_cast<int>(rows.size()), n + numG);
  Vector e(static_cast<int>(rows.size()));
  int at = n;
  for (size_t k = 0; k < rows.size(); ++k) {
    const int row = static_cast<int>(k);
    E.block(row, 0, 1, n) = model.A.row(rows[k]);
    e[row] = model.b[rows[k]];
    if (isG(model, rows[k])) E(row, at++) = -1.0;
  }
  return equalityProgram(H, g, E, e);
}

// minimise 1/2 sum z^2 + 1/2 |y_G|^2 subject to A'y + zl - zu = c on the given columns. Unknowns (y, zl and zu of every
// column; those of absent bounds and of other columns are held at 0).
Vector dualLeastSquares(const DenseModel& model, const std::vector<int>& cols) {
  const int m = model.rows();
  const int n = model.cols();
  const int size = m + 2 * n;
  Matrix H = Matrix::Zero(size, size);
  for (int i = 0; i < m; ++i) H(i, i) = isG(model, i) ? 1.0 : 0.0;
  H.bottomRightCorner(2 * n, 2 * n).setIdentity();
  Matrix E = Matrix::Zero(static_cast<int>(cols.size()), size);
  Vector e(static_cast<int>(cols.size()));
  for (size_t k = 0; k < cols.size(); ++k) {
    const int row = static_cast<int>(k);
    const int j = cols[k];
    for (int i = 0; i < m; ++i) E(row, i) = model.A(i, j);
    if (model.hasLower(j)) E(row, m + j) = 1.0;
    if (model.hasUpper(j)) E(row, m + n + j) = -1.0;
    e[row] = model.c[j];
  }
  return equalityProgram(H, Vector::Zero(size), E, e);
}

std::vector<int> range(int n) {
  std::vector<int> all;
  for (int k = 0; k < n; ++k) all.push_back(k);
  return all;
}

// The shift, from its definition.
double shiftFor(double smallest, double tol, bool quadratic) {
  const double s = std::max(100 * tol, kMargin);
  if (!(smallest < s)) return 0.0;
  const double g = smallest < 0 ? -smallest + std::max(s, -s * smallest) : 100 * s;
  return quadratic ? std::max(0.1, g) : g;
}

struct Raw {
  Vector x, rowSlack, lowerSlack, upperSlack;
  double smallest = kNone;
};

// Slacks that belong to x and the row slacks; absent ones are 0.
Raw slacksOf(const DenseModel& model, const Vector& x, const Vector& rowSlack) {
  Raw raw{x, rowSlack, Vector::Zero(model.cols()), Vector::Zero(model.cols())};
  for (int j = 0; j < model.cols(); ++j) {
    if (model.hasLower(j)) raw.smallest = std::min(raw.smallest, raw.lowerSlack[j] = x[j] - model.lower[j]);
    if (model.hasUpper(j)) raw.smallest = std::min(raw.smallest, raw.upperSlack[j] = model.upper[j] - x[j]);
  }
  for (int i = 0; i < model.rows(); ++i)
    if (isG(model, i)) raw.smallest = std::min(raw.smallest, rowSlack[i]);
  return raw;
}

Raw primalOf(const DenseModel& model) {
  const Vector w = primalLeastSquares(model, range(model.rows()));
  Vector rowSlack = Vector::Zero(model.rows());
  int at = model.cols();
  for (int i = 0; i < model.rows(); ++i)
    if (isG(model, i)) rowSlack[i] = w[at++];
  return slacksOf(model, w.head(model.cols()), rowSlack);
}

void expectPrimal(const EngineCase& engine, const Raw& raw, double tolerance = 1e-7) {
  const DenseModel& model = engine.dense();
  const qz::Ipm& ipm = *engine.ipm;
  double g = shiftFor(raw.smallest, ipm.tolPrimal, model.quadratic());
  if (std::fabs(raw.smallest) < 1e-9) {
    // The rule jumps at 0, where rounding decides: take the side that the first slack shows.
    for (int j = 0; j < model.cols(); ++j) {
      if (!model.hasLower(j)) continue;
      const double seen = ipm.lowerSlack[j] - raw.lowerSlack[j];
      const double other = shiftFor(raw.smallest < 0.0 ? 0.0 : -1e-300, ipm.tolPrimal, model.quadratic());
      if (std::fabs(other - seen) < std::fabs(g - seen)) g = other;
      break;
    }
  }
  const double scale = tolerance * (1.0 + g);
  for (int j = 0; j < model.cols(); ++j) {
    EXPECT_NEAR(ipm.primal[j], raw.x[j], scale) << j;
    EXPECT_NEAR(ipm.lowerSlack[j], model.hasLower(j) ? raw.lowerSlack[j] + g : 0.0, scale) << j;
    EXPECT_NEAR(ipm.upperSlack[j], model.hasUpper(j) ? raw.upperSlack[j] + g : 0.0, scale) << j;
  }
  for (int i = 0; i < model.rows(); ++i)
    EXPECT_NEAR(ipm.ineqnSlack[i], isG(model, i) ? raw.rowSlack[i] + g : 0.0, scale) << i;
}

void expectPositiveStart(const EngineCase& engine) {
  const qz::Ipm& ipm = *engine.ipm;
  const DenseModel& model = engine.dense();
  for (int j = 0; j < model.cols(); ++j) {
    if (model.hasLower(j)) {
      EXPECT_GE(ipm.lowerSlack[j], 0.999 * kMargin);
      EXPECT_GE(ipm.lowerDual[j], 0.999 * kMargin);
    } else {
      EXPECT_EQ(ipm.lowerSlack[j], 0.0);
      EXPECT_EQ(ipm.lowerDual[j], 0.0);
    }
    if (model.hasUpper(j)) {
      EXPECT_GE(ipm.upperSlack[j], 0.999 * kMargin);
      EXPECT_GE(ipm.upperDual[j], 0.999 * kMargin);
    } else {
      EXPECT_EQ(ipm.upperSlack[j], 0.0);
      EXPECT_EQ(ipm.upperDual[j], 0.0);
    }
  }
  for (int i = 0; i < model.rows(); ++i) {
    if (isG(model, i)) {
      EXPECT_GE(ipm.ineqnSlack[i], 0.999 * kMargin);
      EXPECT_GE(ipm.dual[i], 0.999 * kMargin);
    } else {
      EXPECT_EQ(ipm.ineqnSlack[i], 0.0);
    }
  }
}

void expectZeroDiagonals(const qz::Ipm& ipm) {
  for (int j = 0; j < ipm.numCol; ++j) EXPECT_EQ(ipm.ipmMatValue[ipm.varBndDiagIndex[j]], 0.0);
  for (int i = 0; i < ipm.numRow; ++i) EXPECT_EQ(ipm.ipmMatValue[ipm.ineqnDiagIndex[i]], 0.0);
}

// Every column has a bound and there are fewer rows than columns, so that both least-squares problems have one answer.
RandomShape regularShape(uint32_t seed) {
  RandomShape shape;
  shape.rows = 1 + static_cast<int>(seed % 5);
  shape.cols = shape.rows + 2 + static_cast<int>(seed % 5);
  shape.density = 0.9;
  shape.lowerShare = 1.0;
  shape.ineqnShare = 0.5 * static_cast<double>(seed % 3);
  return shape;
}

// A submodel made by hand.
struct Aside {
  Aside(const DenseModel& model, const std::vector<int>& rows, const std::vector<int>& cols) {
    const int m = model.rows();
    const int n = model.cols();
    int32_t next = 0;
    for (int i = 0; i < m; ++i) rowMap.push_back(std::count(rows.begin(), rows.end(), i) ? -1 : next++);
    next = 0;
    for (int j = 0; j < n; ++j) colMap.push_back(std::count(cols.begin(), cols.end(), j) ? -1 : next++);
    for (int i : rows) {
      idxRow.push_back(i);
      rowBegin.push_back(static_cast<int32_t>(colIndex.size()));
      for (int j = 0; j < n; ++j)
        if (model.A(i, j) != 0.0) {
          colIndex.push_back(j);
          rowValue.push_back(model.A(i, j));
        }
      rowLength.push_back(static_cast<int32_t>(colIndex.size()) - rowBegin.back());
    }
    for (int j : cols) {
      idxCol.push_back(j);
      colBegin.push_back(static_cast<int32_t>(rowIndex.size()));
      for (int i = 0; i < m; ++i)
        if (model.A(i, j) != 0.0) {
          rowIndex.push_back(i);
          colValue.push_back(model.A(i, j));
        }
      colLength.push_back(static_cast<int32_t>(rowIndex.size()) - colBegin.back());
    }
    statusBound.assign(static_cast<size_t>(n) + 1, 0);
    record.numRow = m;
    record.numCol = n;
    record.thresholdRow = record.thresholdCol = kNone;
    record.rowMapSub = rowMap.data();
    record.colMapSub = colMap.data();
    record.numRowSub = static_cast<int32_t>(rows.size());
    record.numColSub = static_cast<int32_t>(cols.size());
    record.idxRowSub = idxRow.data();
    record.idxColSub = idxCol.data();
    record.rowBeginSub = rowBegin.data();
    record.rowLengthSub = rowLength.data();
    record.colIndexSub = colIndex.data();
    record.rowMatValueSub = rowValue.data();
    record.colBeginSub = colBegin.data();
    record.colLengthSub = colLength.data();
    record.rowIndexSub = rowIndex.data();
    record.matValueSub = colValue.data();
    record.statusBoundSub = statusBound.data();
  }
  void far(int j, int32_t marks) {
    statusBound[static_cast<size_t>(j)] = marks;
    idxBound.push_back(j);
    record.idxBoundSub = idxBound.data();
    record.numBoundSub = static_cast<int32_t>(idxBound.size());
  }
  qz::SubModel record{};
  std::vector<int32_t> rowMap, colMap, idxRow, idxCol, rowBegin, rowLength, colIndex, colBegin, colLength, rowIndex,
      statusBound, idxBound;
  std::vector<double> rowValue, colValue;
};

class StartPoint : public testing::Test {
 protected:
  StartPoint() { denseLdl = DenseLdl{}; }
  TestHost host;
};

// The shift rule.

TEST(StartShift, NothingMovesFromTheMarginOn) {
  EXPECT_EQ(qz::startShift(kMargin, 1e-6, 1), 0.0);  // exactly at it
  EXPECT_EQ(qz::startShift(1.0, 1e-6, 1), 0.0);
  EXPECT_EQ(qz::startShift(kMargin, 1e-6, 2), 0.0);
  EXPECT_EQ(qz::startShift(kNone, 1e-6, 2), 0.0);
}

TEST(StartShift, SmallPositiveValuesMoveByAHundredMargins) {
  EXPECT_DOUBLE_EQ(qz::startShift(std::nextafter(kMargin, 0.0), 1e-6, 1), 1e-2);
  EXPECT_DOUBLE_EQ(qz::startShift(0.0, 1e-6, 1), 1e-2);
}

TEST(StartShift, NegativeValuesComeUpToTheMarginOrAShareOfTheirSize) {
  EXPECT_DOUBLE_EQ(qz::startShift(-1e-3, 1e-6, 1), 1e-3 + 1e-4);
  EXPECT_DOUBLE_EQ(qz::startShift(-1e4, 1e-6, 1), 1e4 + 1.0);
}

TEST(StartShift, MarginFollowsLooseTolerances) {
  EXPECT_EQ(qz::startShift(0.1, 1e-3, 1), 0.0);
  EXPECT_DOUBLE_EQ(qz::startShift(0.09, 1e-3, 1), 10.0);
  EXPECT_DOUBLE_EQ(qz::startShift(-2.0, 1e-3, 1), 2.2);
}

TEST(StartShift, QuadraticModelsMoveByATenthAtLeast) {
  EXPECT_DOUBLE_EQ(qz::startShift(0.0, 1e-6, 2), 0.1);
  EXPECT_DOUBLE_EQ(qz::startShift(-1e-3, 1e-6, 2), 0.1);
  EXPECT_DOUBLE_EQ(qz::startShift(-3.0, 1e-6, 2), 3.0 + 3e-4);
}

// Linear models.

TEST_F(StartPoint, LinearStartIsTheShiftedLeastSquaresPoint) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, regularShape(seed)));
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
    const DenseModel& model = engine.dense();
    const int m = model.rows();
    const int n = model.cols();
    expectPrimal(engine, primalOf(model));

    const Vector w = dualLeastSquares(model, range(n));
    double smallest = kNone;
    for (int i = 0; i < m; ++i)
      if (isG(model, i)) smallest = std::min(smallest, w[i]);
    for (int j = 0; j < n; ++j) {
      if (model.hasLower(j)) smallest = std::min(smallest, w[m + j]);
      if (model.hasUpper(j)) smallest = std::min(smallest, w[m + n + j]);
    }
    const double g = shiftFor(smallest, 1e-6, false);
    for (int i = 0; i < m; ++i) EXPECT_NEAR(engine.ipm->dual[i], w[i] + (isG(model, i) ? g : 0.0), 1e-7 * (1 + g));
    for (int j = 0; j < n; ++j) {
      EXPECT_NEAR(engine.ipm->lowerDual[j], model.hasLower(j) ? w[m + j] + g : 0.0, 1e-7 * (1 + g));
      EXPECT_NEAR(engine.ipm->upperDual[j], model.hasUpper(j) ? w[m + n + j] + g : 0.0, 1e-7 * (1 + g));
    }
    expectPositiveStart(engine);
    expectZeroDiagonals(*engine.ipm);
    EXPECT_EQ(denseLdl.analyses, static_cast<int>(seed));  // one per model
    EXPECT_NE(engine.ipm->ldlFactor, nullptr);
  }
}

TEST_F(StartPoint, PrimalStartMeetsItsRowsAndBoundsBeforeTheShift) {
  // x + y >= 3 with x, y in [0, 10]: x = y = 5 up to the slack's pull, strictly inside; no shift happens.
  DenseModel dense;
  dense.A = Matrix{{1.0, 1.0}};
  dense.c = Vector::Zero(2);
  dense.b = Vector::Constant(1, 3.0);
  dense.lower = Vector::Zero(2);
  dense.upper = Vector::Constant(2, 10.0);
  dense.sense = "G";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::initPrimal(engine.ipm, nullptr), 0);
  const qz::Ipm& ipm = *engine.ipm;
  EXPECT_NEAR(ipm.primal[0] + ipm.primal[1] - ipm.ineqnSlack[0], 3.0, 1e-12);
  for (int j = 0; j < 2; ++j) {
    EXPECT_NEAR(ipm.lowerSlack[j], ipm.primal[j], 1e-12);
    EXPECT_NEAR(ipm.upperSlack[j], 10.0 - ipm.primal[j], 1e-12);
    EXPECT_NEAR(ipm.primal[j], 3.25, 1e-12);  // 2(2x - 10) + s = 0 with s = 2x - 3, per column: 2x - 10 + s = 0
  }
}

TEST_F(StartPoint, AFloorMovesEveryStartInside) {
  DenseModel dense;
  dense.A = Matrix{{1.0, 1.0}};
  dense.c = Vector::Zero(2);
  dense.b = Vector::Constant(1, 3.0);
  dense.lower = Vector::Zero(2);
  dense.upper = Vector::Constant(2, 10.0);
  dense.sense = "G";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
  const qz::Ipm& ipm = *engine.ipm;
  const double slack = ipm.ineqnSlack[0], lower = ipm.lowerSlack[1], upper = ipm.upperSlack[1];
  ASSERT_GT(std::min(slack, lower), 1e-2) << "inside by itself";
  engine.ipm->startFloor = 10.0;
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
  EXPECT_NEAR(ipm.ineqnSlack[0], slack + 10.0, 1e-12);
  EXPECT_NEAR(ipm.lowerSlack[1], lower + 10.0, 1e-12);
  EXPECT_NEAR(ipm.upperSlack[1], upper + 10.0, 1e-12);
  EXPECT_NEAR(ipm.dual[0], 10.0, 1e-12);
  EXPECT_NEAR(ipm.lowerDual[0], 10.0, 1e-12);
}

TEST_F(StartPoint, DiagonalsOfTheTwoSolves) {
  // Columns: free with small cost, free with big cost, one bound, two bounds. Rows: E, E with big right-hand side, G.
  DenseModel dense;
  dense.A = Matrix{{1, 1, 1, 1}, {1, 2, 3, 4}, {4, 3, 2, 2}};
  dense.c = Vector{{9.9, 10.0, 1.0, 1.0}};
  dense.b = Vector{{99.0, -100.0, 5.0}};
  dense.lower = Vector{{-kNone, -kNone, 0.0, -1.0}};
  dense.upper = Vector{{kNone, kNone, kNone, 1.0}};
  dense.sense = "EEG";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  Aside aside(dense, {}, {});
  aside.record.thresholdRow = 100.0;
  aside.record.thresholdCol = 10.0;
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, &aside.record), 0);
  ASSERT_EQ(denseLdl.matrices.size(), 2u);
  const qz::Ipm& ipm = *engine.ipm;
  const auto columns = [&](size_t k) {
    std::vector<double> out;
    for (int j = 0; j < 4; ++j) out.push_back(denseLdl.matrices[k][static_cast<size_t>(ipm.varBndDiagIndex[j])]);
    return out;
  };
  const auto rows = [&](size_t k) {
    std::vector<double> out;
    for (int i = 0; i < 3; ++i) out.push_back(denseLdl.matrices[k][static_cast<size_t>(ipm.ineqnDiagIndex[i])]);
    return out;
  };
  EXPECT_EQ(columns(0), (std::vector<double>{0, 0, -1, -2}));
  EXPECT_EQ(rows(0), (std::vector<double>{0, 1, 1}));
  EXPECT_EQ(columns(1), (std::vector<double>{0, 1, 1, 2}));
  EXPECT_EQ(rows(1), (std::vector<double>{0, 0, -1}));
}

TEST_F(StartPoint, NullSubmodelSetsNothingAside) {
  DenseModel dense;
  dense.A = Matrix{{1.0, 1.0}};
  dense.c = Vector{{1e19, 1.0}};
  dense.b = Vector::Constant(1, 1e19);
  dense.lower = Vector{{-kNone, 0.0}};
  dense.upper = Vector::Constant(2, kNone);
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, nullptr), 0);
  EXPECT_EQ(denseLdl.matrices[0][static_cast<size_t>(engine.ipm->ineqnDiagIndex[0])], 0.0);
  EXPECT_EQ(denseLdl.matrices[1][static_cast<size_t>(engine.ipm->varBndDiagIndex[0])], 0.0);
}

TEST_F(StartPoint, AbsentBoundsAndEqualityRowsDoNotForceAShift) {
  // One free column pinned by an equality row, and a column well inside its box.
  DenseModel dense;
  dense.A = Matrix{{1.0, 0.0}};
  dense.c = Vector::Zero(2);
  dense.b = Vector::Constant(1, -7.0);
  dense.lower = Vector{{-kNone, 0.0}};
  dense.upper = Vector{{kNone, 10.0}};
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::initPrimal(engine.ipm, nullptr), 0);
  EXPECT_NEAR(engine.ipm->primal[0], -7.0, 1e-12);
  EXPECT_NEAR(engine.ipm->lowerSlack[1], 5.0, 1e-12);
  EXPECT_NEAR(engine.ipm->upperSlack[1], 5.0, 1e-12);
  EXPECT_EQ(engine.ipm->lowerSlack[0], 0.0);
  EXPECT_EQ(engine.ipm->ineqnSlack[0], 0.0);
}

// Far bounds.

// n columns, no rows, each with lower bound -200 marked as far and an ordinary lower bound nowhere else.
DenseModel farColumns(int n) {
  DenseModel dense;
  dense.A = Matrix::Zero(0, n);
  dense.c = Vector::Zero(n);
  dense.b = Vector::Zero(0);
  dense.lower = Vector::Constant(n, -200.0);
  dense.upper = Vector::Constant(n, kNone);
  return dense;
}

TEST_F(StartPoint, FarBoundsTakeNoPartInTheSolveAndComeBack) {
  DenseModel dense;
  dense.A = Matrix{{1.0, 1.0}};
  dense.c = Vector::Zero(2);
  dense.b = Vector::Constant(1, 4.0);
  dense.lower = Vector{{0.0, -5000.0}};
  dense.upper = Vector{{10.0, 6000.0}};
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  Aside aside(dense, {}, {});
  aside.far(1, 1 + 2);
  const std::vector<uint8_t> before(engine.ipm->statusBound, engine.ipm->statusBound + 2);
  ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
  EXPECT_EQ(denseLdl.factorisations, 1);
  EXPECT_EQ(denseLdl.matrices[0][static_cast<size_t>(engine.ipm->varBndDiagIndex[0])], -2.0);
  EXPECT_EQ(denseLdl.matrices[0][static_cast<size_t>(engine.ipm->varBndDiagIndex[1])], 0.0);
  EXPECT_EQ(std::vector<uint8_t>(engine.ipm->statusBound, engine.ipm->statusBound + 2), before);
  EXPECT_NEAR(engine.ipm->primal[0], 5.0, 1e-9);
  EXPECT_NEAR(engine.ipm->primal[1], -1.0, 1e-9);
  EXPECT_NEAR(engine.ipm->lowerSlack[1], 4999.0, 1e-9);
  EXPECT_NEAR(engine.ipm->upperSlack[1], 6001.0, 1e-9);
  EXPECT_EQ(aside.statusBound[1], 3);
}

TEST_F(StartPoint, OnlyTheMarkedSideOfAFarColumnIsHidden) {
  DenseModel dense = farColumns(2);
  dense.upper = Vector::Constant(2, 50.0);
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  Aside aside(dense, {}, {});
  aside.far(0, 1);
  aside.far(1, 2);
  ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
  EXPECT_NEAR(engine.ipm->primal[0], 50.0, 1e-9);  // only the upper bound pulls
  EXPECT_NEAR(engine.ipm->primal[1], -200.0, 1e-9);
}

TEST_F(StartPoint, BadlyViolatedFarBoundCountsInTheNextPass) {
  // The row insists on x = -5000; the far bound -1000 is violated whatever is done.
  DenseModel dense;
  dense.A = Matrix{{1.0}};
  dense.c = Vector::Zero(1);
  dense.b = Vector::Constant(1, -5000.0);
  dense.lower = Vector::Constant(1, -1000.0);
  dense.upper = Vector::Constant(1, kNone);
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  Aside aside(dense, {}, {});
  aside.far(0, 1);
  ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
  EXPECT_EQ(denseLdl.factorisations, 2);
  EXPECT_EQ(aside.statusBound[0], 0);
  EXPECT_EQ(denseLdl.matrices[1][static_cast<size_t>(engine.ipm->varBndDiagIndex[0])], -1.0);
  EXPECT_NEAR(engine.ipm->lowerSlack[0], -4000.0 + shiftFor(-4000.0, 1e-6, false), 1e-6);
  EXPECT_GT(engine.ipm->lowerSlack[0], 0.0);
}

TEST_F(StartPoint, AViolationOfExactlyAHundredIsTolerated) {
  for (const auto& [x, passes] : {std::pair{-300.0, 1}, {std::nextafter(-300.0, -1e3), 2}}) {
    denseLdl = DenseLdl{};
    const double value = x;
    denseLdl.editSolution = [value](int, int, double* w) { w[0] = value; };
    EngineCase engine(host, farColumns(1));
    ASSERT_TRUE(engine.start());
    Aside aside(engine.dense(), {}, {});
    aside.far(0, 1);
    ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
    EXPECT_EQ(denseLdl.factorisations, passes);
  }
}

TEST_F(StartPoint, WithViolatedNearBoundsAFarBoundCountsOnceItIsViolatedMore) {
  for (const auto& [far, passes] : {std::pair{-203.0, 1}, {-203.5, 2}}) {
    denseLdl = DenseLdl{};
    DenseModel dense = farColumns(2);
    dense.lower[0] = 0.0;  // near, violated by 3
    const double value = far;
    denseLdl.editSolution = [value](int, int, double* w) {
      w[0] = -3.0;
      w[1] = value;
    };
    EngineCase engine(host, dense);
    ASSERT_TRUE(engine.start());
    Aside aside(dense, {}, {});
    aside.far(1, 1);
    ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
    EXPECT_EQ(denseLdl.factorisations, passes);
  }
}

TEST_F(StartPoint, ElevenPassesAtMostAndTheShiftCoversTheRest) {
  const int n = 15;
  EngineCase engine(host, farColumns(n));
  ASSERT_TRUE(engine.start());
  Aside aside(engine.dense(), {}, {});
  for (int j = 0; j < n; ++j) aside.far(j, 1);
  // In pass k the far bound of column k - 1 is violated by 1000, all others are met.
  denseLdl.editSolution = [](int call, int size, double* w) {
    for (int j = 0; j < size; ++j) w[j] = j == call - 1 ? -1200.0 : -150.0;
  };
  ASSERT_EQ(qz::initPrimal(engine.ipm, &aside.record), 0);
  EXPECT_EQ(denseLdl.factorisations, 11);
  for (int j = 0; j < n; ++j) {
    EXPECT_EQ(aside.statusBound[static_cast<size_t>(j)], j <= 10 ? 0 : 1);
    EXPECT_EQ(engine.ipm->statusBound[j], qz::BOUND_LOWER);
    EXPECT_GT(engine.ipm->lowerSlack[j], 0.0);
  }
  EXPECT_NEAR(engine.ipm->lowerSlack[10], shiftFor(-1000.0, 1e-6, false) - 1000.0, 1e-9);
}

TEST_F(StartPoint, FailedSolveStillPutsTheFarBoundsBack) {
  EngineCase engine(host, farColumns(3));
  ASSERT_TRUE(engine.start());
  Aside aside(engine.dense(), {}, {});
  aside.far(1, 1);
  denseLdl.solveStatus = 8;
  EXPECT_EQ(qz::initPrimal(engine.ipm, &aside.record), 10);
  EXPECT_EQ(engine.ipm->statusBound[1], qz::BOUND_LOWER);
}

// Partial starts.

TEST_F(StartPoint, RowsSetAsideGetTheirSlacksFromTheSolution) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    denseLdl = DenseLdl{};
    std::mt19937 random(seed);
    RandomShape shape = regularShape(seed);
    shape.rows += 2;
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    const DenseModel& model = engine.dense();
    std::vector<int> ignored, kept;
    for (int i = 0; i < model.rows(); ++i) (i % 2 == 0 ? ignored : kept).push_back(i);
    Aside aside(model, ignored, {});
    engine.ipm->debugLevel = 1;  // the recomputed activities must agree
    ASSERT_EQ(qz::initPrimalPartial(engine.ipm, &aside.record), 0);
    EXPECT_EQ(engine.ipm->ldlFactor, nullptr);  // the engine's own matrix is not touched
    EXPECT_FALSE(host.loggedText("lpAdjustIgnoredRow"));

    const Vector w = primalLeastSquares(model, kept);
    Vector rowSlack = Vector::Zero(model.rows());
    int at = model.cols();
    for (int i : kept)
      if (isG(model, i)) rowSlack[i] = w[at++];
    for (int i : ignored)
      if (isG(model, i)) rowSlack[i] = model.A.row(i).dot(w.head(model.cols())) - model.b[i];
    expectPrimal(engine, slacksOf(model, w.head(model.cols()), rowSlack));
  }
}

TEST_F(StartPoint, IgnoredRowsOfOtherSensesAndWrongCopies) {
  DenseModel dense;
  dense.A = Matrix{{1.0}, {1.0}, {1.0}};
  dense.c = Vector::Zero(1);
  dense.b = Vector{{7.0, 1.0, 2.0}};
  dense.lower = Vector::Zero(1);
  dense.upper = Vector::Constant(1, 10.0);
  dense.sense = "LXE";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  Aside aside(dense, {0, 1, 2}, {});
  aside.rowValue[0] = 1.25;  // not what the matrix says
  engine.ipm->debugLevel = 1;
  ASSERT_EQ(qz::initPrimalPartial(engine.ipm, &aside.record), 0);
  EXPECT_NEAR(engine.ipm->primal[0], 5.0, 1e-12);
  EXPECT_NEAR(engine.ipm->ineqnSlack[0], 7.0 - 6.25, 1e-12);
  EXPECT_EQ(engine.ipm->ineqnSlack[2], 0.0);
  EXPECT_TRUE(host.loggedText("Error lpAdjustIgnoredRow: row %d  activity=%15.7g <> calculated=%15.7g"));
  EXPECT_TRUE(host.loggedText("Error lpAdjustIgnoredRow: unknown row sense(%d) = %c"));
}

TEST_F(StartPoint, ColumnsSetAsideGetTheirDualsFromTheReducedCosts) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    denseLdl = DenseLdl{};
    std::mt19937 random(seed);
    RandomShape shape = regularShape(seed);
    shape.cols += 4;
    shape.lowerShare = 0.7;
    DenseModel dense = randomModel(random, shape);
    std::vector<int> ignored, kept;
    for (int j = 0; j < dense.cols(); ++j) {
      (j % 3 == 0 ? ignored : kept).push_back(j);
      if (j % 3 != 0 && !dense.hasLower(j)) dense.lower[j] = dense.hasUpper(j) ? dense.upper[j] - 1.0 : 0.0;
    }
    EngineCase engine(host, dense);
    ASSERT_TRUE(engine.start());
    const DenseModel& model = engine.dense();
    Aside aside(model, {}, ignored);
    engine.ipm->debugLevel = 1;
    ASSERT_EQ(qz::lpInitDualPartial(engine.ipm, &aside.record), 0);
    EXPECT_EQ(engine.ipm->ldlFactor, nullptr);
    EXPECT_FALSE(host.loggedText("lpAdjustIgnoredCol"));

    const int m = model.rows();
    const int n = model.cols();
    const Vector w = dualLeastSquares(model, kept);
    Vector lower = Vector::Zero(n), upper = Vector::Zero(n);
    double smallest = kNone;
    for (int i = 0; i < m; ++i)
      if (isG(model, i)) smallest = std::min(smallest, w[i]);
    for (int j : kept) {
      lower[j] = w[m + j];
      upper[j] = w[m + n + j];
      if (model.hasLower(j)) smallest = std::min(smallest, lower[j]);
      if (model.hasUpper(j)) smallest = std::min(smallest, upper[j]);
    }
    for (int j : ignored) {
      const double r = model.c[j] - model.A.col(j).dot(w.head(m));
      if (model.hasLower(j) && model.hasUpper(j)) {
        lower[j] = r >= 0 ? r + 100 : 100;
        upper[j] = r >= 0 ? 100 : 100 - r;
      } else if (model.hasLower(j)) {
        smallest = std::min(smallest, lower[j] = r);
      } else if (model.hasUpper(j)) {
        smallest = std::min(smallest, upper[j] = -r);
      }
    }
    const double g = shiftFor(smallest, 1e-6, false);
    for (int i = 0; i < m; ++i) EXPECT_NEAR(engine.ipm->dual[i], w[i] + (isG(model, i) ? g : 0.0), 1e-7 * (1 + g));
    for (int j = 0; j < n; ++j) {
      EXPECT_NEAR(engine.ipm->lowerDual[j], model.hasLower(j) ? lower[j] + g : 0.0, 1e-7 * (1 + g)) << j;
      EXPECT_NEAR(engine.ipm->upperDual[j], model.hasUpper(j) ? upper[j] + g : 0.0, 1e-7 * (1 + g)) << j;
    }
  }
}

TEST_F(StartPoint, WrongCopyOfAnIgnoredColumnIsReported) {
  std::mt19937 random(3);
  EngineCase engine(host, randomModel(random, regularShape(3)));
  ASSERT_TRUE(engine.start());
  Aside aside(engine.dense(), {}, {0});
  ASSERT_FALSE(aside.colValue.empty());
  for (double& value : aside.colValue) value += 1.0;
  engine.ipm->debugLevel = 1;
  ASSERT_EQ(qz::lpInitDualPartial(engine.ipm, &aside.record), 0);
  EXPECT_TRUE(host.loggedText("Error lpAdjustIgnoredCol: col %d  activity=%15.7g <> calculated=%15.7g"));
}

TEST_F(StartPoint, NullColumnMapIsTheIdentity) {
  std::mt19937 random(3);
  EngineCase engine(host, randomModel(random, regularShape(3)));
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::initDual(engine.ipm, nullptr), 0);
  const Vector whole = engine.y();
  Aside aside(engine.dense(), {}, {});
  aside.record.colMapSub = nullptr;
  ASSERT_EQ(qz::lpInitDualPartial(engine.ipm, &aside.record), 0);
  EXPECT_LT((engine.y() - whole).norm(), 1e-10);
}

TEST_F(StartPoint, UnsolvablePartIsReplacedByTheWholeStart) {
  std::mt19937 random(6);
  EngineCase engine(host, randomModel(random, regularShape(8)));
  ASSERT_TRUE(engine.start());
  Aside aside(engine.dense(), {0}, {1});
  denseLdl.solveScript = {8, 0, 8, 0};
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, &aside.record), 0);
  EXPECT_EQ(denseLdl.solves, 4);
  expectPrimal(engine, primalOf(engine.dense()));
  expectPositiveStart(engine);
}

TEST_F(StartPoint, OrderOfTheLinearStarts) {
  struct Row {
    std::vector<int> rows, cols;
    int analyses;
  };
  // A partial start analyses a matrix of its own, the whole ones share one.
  for (const Row& row : {Row{{}, {}, 1}, Row{{0}, {}, 2}, Row{{}, {0}, 2}, Row{{0}, {0}, 3}}) {
    denseLdl = DenseLdl{};
    std::mt19937 random(6);
    EngineCase engine(host, randomModel(random, regularShape(8)));
    ASSERT_TRUE(engine.start());
    Aside aside(engine.dense(), row.rows, row.cols);
    const int64_t before = host.outstanding();
    ASSERT_EQ(qz::ipmInitLP(engine.ipm, &aside.record), 0);
    EXPECT_EQ(denseLdl.analyses, row.analyses);
    EXPECT_EQ(denseLdl.solves, 2);
    EXPECT_NE(engine.ipm->ldlFactor, nullptr);
    EXPECT_EQ(engine.env.ldlFactor, engine.ipm->ldlFactor);
    EXPECT_EQ(host.outstanding(), before + 2);
    expectPositiveStart(engine);
    expectZeroDiagonals(*engine.ipm);
  }
}

TEST_F(StartPoint, BothKindsAsideUnderTheNormalMethodNeedNoMatrix) {
  std::mt19937 random(6);
  EngineCase engine(host, randomModel(random, regularShape(8)), qz::IPM_METHOD_NORMAL);
  ASSERT_TRUE(engine.start());
  Aside aside(engine.dense(), {0}, {0});
  ASSERT_EQ(qz::ipmInitLP(engine.ipm, &aside.record), 0);
  EXPECT_EQ(denseLdl.analyses, 2);
  EXPECT_EQ(engine.ipm->ldlFactor, nullptr);
  expectPositiveStart(engine);
}

TEST_F(StartPoint, BothKindsAsideRefuseAStandingFactor) {
  std::mt19937 random(6);
  EngineCase engine(host, randomModel(random, regularShape(8)));
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  Aside aside(engine.dense(), {0}, {0});
  EXPECT_EQ(qz::ipmInitLP(engine.ipm, &aside.record), 10);
  EXPECT_TRUE(host.loggedText("Error ipmInitLP: LDL_factor and LDL_memory should not be initialized."));
}

TEST_F(StartPoint, EveryFailedAllocationOfAPartialStartIsReported) {
  std::mt19937 random(6);
  EngineCase engine(host, randomModel(random, regularShape(8)));
  ASSERT_TRUE(engine.start());
  const int64_t before = host.outstanding();
  int64_t k = 1;
  for (;; ++k) {
    Aside aside(engine.dense(), {0}, {0});
    host.failAllocation(k);
    const int32_t status = qz::ipmInitLP(engine.ipm, &aside.record);
    host.failAllocation(0);
    if (status == 0) break;
    ASSERT_EQ(status, -1086) << k;
    EXPECT_EQ(host.outstanding(), before) << k;
  }
  // Per part six arrays, the presolve of its system, an environment and two handles; then the whole's handles.
  EXPECT_GT(k, 2 * (6 + 3) + 2 + 1);
}

// Failures.

TEST_F(StartPoint, StatusesOfTheSolverReachTheCaller) {
  std::mt19937 random(6);
  const auto run = [&](bool quadratic) {
    RandomShape shape = regularShape(8);
    shape.quadratic = quadratic;
    EngineCase engine(host, randomModel(random, shape));
    EXPECT_TRUE(engine.start());
    return quadratic ? qz::ipmInitQP(engine.ipm, nullptr) : qz::ipmInitLP(engine.ipm, nullptr);
  };
  for (bool quadratic : {false, true}) {
    for (auto [from, to] : {std::pair{13, 12}, {1, -1086}, {2, 10}}) {
      denseLdl = DenseLdl{};
      denseLdl.analyzeStatus = from;
      EXPECT_EQ(run(quadratic), to);
      denseLdl = DenseLdl{};
      denseLdl.factorStatus = from;
      EXPECT_EQ(run(quadratic), to);
      denseLdl = DenseLdl{};
      denseLdl.solveStatus = from;
      EXPECT_EQ(run(quadratic), to);
      denseLdl = DenseLdl{};
      denseLdl.solveScript = {0, from};  // the second solve, that of the dual start
      EXPECT_EQ(run(quadratic), to);
    }
    denseLdl = DenseLdl{};
    denseLdl.solveStatus = 8;  // the solve's own failure is no status of a start
    EXPECT_EQ(run(quadratic), 10);
  }
}

TEST_F(StartPoint, UnknownModelTypeIsRefusedByTheDualStart) {
  std::mt19937 random(6);
  EngineCase engine(host, randomModel(random, regularShape(8)));
  ASSERT_TRUE(engine.start());
  engine.ipm->typeModel = 10;
  EXPECT_EQ(qz::initDual(engine.ipm, nullptr), 10);
  EXPECT_TRUE(host.loggedText("unknown parameter ipm->modelType = %d"));
}

// Quadratic models.

TEST_F(StartPoint, QuadraticStartSolvesItsRegularisedSystems) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    denseLdl = DenseLdl{};
    std::mt19937 random(seed);
    RandomShape shape = regularShape(seed);
    shape.lowerShare = 0.6;
    shape.quadratic = true;
    shape.quadDensity = seed % 4 == 0 ? 0.0 : 0.4;
    DenseModel dense = randomModel(random, shape);
    if (seed % 4 == 0) dense.Q = Matrix(dense.Q.diagonal().asDiagonal());
    EngineCase engine(host, dense);
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitQP(engine.ipm, nullptr), 0);
    const int m = dense.rows();
    const int n = dense.cols();
    const bool offDiagonal = engine.ipm->numQuadCoef > 0;
    EXPECT_EQ(denseLdl.analyses, offDiagonal ? 3 : 1);

    Matrix K = Matrix::Zero(n + m, n + m);
    K.topRightCorner(n, m) = -dense.A.transpose();
    K.bottomLeftCorner(m, n) = -dense.A;
    Matrix P = K;
    Vector r(n + m);
    P.topLeftCorner(n, n) = -dense.Q;
    for (int j = 0; j < n; ++j) {
      r[j] = dense.c[j];
      for (double bound : {dense.lower[j], dense.upper[j]})
        if (std::fabs(bound) < kNone) {
          P(j, j) -= 1.0;
          r[j] -= bound;
        }
      P(j, j) = std::min(P(j, j), -1e-6);
    }
    for (int i = 0; i < m; ++i) {
      P(n + i, n + i) = isG(dense, i) ? 1.0 : -1e-6;
      r[n + i] = -dense.b[i];
    }
    const Vector w = P.fullPivLu().solve(r);
    Vector rowSlack = Vector::Zero(m);
    for (int i = 0; i < m; ++i)
      if (isG(dense, i)) rowSlack[i] = w[n + i];
    expectPrimal(engine, slacksOf(dense, w.head(n), rowSlack), 1e-6);

    Matrix D = K;
    for (int j = 0; j < n; ++j) D(j, j) = std::max(1, (dense.hasLower(j) ? 1 : 0) + (dense.hasUpper(j) ? 1 : 0));
    for (int i = 0; i < m; ++i) D(n + i, n + i) = isG(dense, i) ? -1.0 : -1e-6;
    r.head(n) = -dense.c - dense.Q * engine.x();
    r.tail(m).setZero();
    const Vector u = D.fullPivLu().solve(r);
    double smallest = kNone;
    for (int j = 0; j < n; ++j) {
      if (dense.hasUpper(j)) smallest = std::min(smallest, u[j]);
      if (dense.hasLower(j)) smallest = std::min(smallest, -u[j]);
    }
    for (int i = 0; i < m; ++i)
      if (isG(dense, i)) smallest = std::min(smallest, u[n + i]);
    const double g = shiftFor(smallest, 1e-6, true);
    const double scale = 1e-6 * (1.0 + u.cwiseAbs().maxCoeff());
    for (int j = 0; j < n; ++j) {
      EXPECT_NEAR(engine.ipm->upperDual[j], dense.hasUpper(j) ? u[j] + g : 0.0, scale);
      EXPECT_NEAR(engine.ipm->lowerDual[j], dense.hasLower(j) ? -u[j] + g : 0.0, scale);
    }
    for (int i = 0; i < m; ++i) EXPECT_NEAR(engine.ipm->dual[i], u[n + i] + (isG(dense, i) ? g : 0.0), scale);

    expectPositiveStart(engine);
    expectZeroDiagonals(*engine.ipm);
    // The matrix that stands is the iteration's: quadratic block with its own sign.
    const qz::Ipm& ipm = *engine.ipm;
    Matrix standing = Matrix::Zero(n + m, n + m);
    for (int j = 0; j < n + m; ++j)
      for (int32_t k = ipm.ipmColBegin[j]; k < ipm.ipmColBegin[j + 1]; ++k)
        standing(ipm.ipmRowIndex[k], j) += ipm.ipmMatValue[k];
    Matrix expected = K;
    expected.topLeftCorner(n, n) = dense.Q - Matrix(dense.Q.diagonal().asDiagonal());
    EXPECT_EQ(standing, expected);
  }
}

TEST_F(StartPoint, QuadraticPrimalStartWithoutEqualityRowsIsTheLeastSquaresMinimiser) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape = regularShape(seed);
    shape.quadratic = true;
    shape.ineqnShare = 1.0;
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitQP(engine.ipm, nullptr), 0);
    // Gradient of c'x + x'Qx/2 + 1/2 sum (x - bound)^2 + 1/2 |Ax - b|^2.
    const DenseModel& model = engine.dense();
    const Vector x = engine.x();
    Vector gradient = model.c + model.Q * x + model.A.transpose() * (model.A * x - model.b);
    for (int j = 0; j < model.cols(); ++j) {
      if (model.hasLower(j)) gradient[j] += x[j] - model.lower[j];
      if (model.hasUpper(j)) gradient[j] += x[j] - model.upper[j];
    }
    EXPECT_LT(gradient.norm(), 1e-8 * (1.0 + x.norm()));
  }
}

// initInternal

TEST_F(StartPoint, InternalStateIsPutInOrder) {
  std::mt19937 random(12);
  RandomShape shape = regularShape(14);
  shape.lowerShare = 0.5;
  for (int32_t method : {qz::IPM_METHOD_AUGMENTED, qz::IPM_METHOD_NORMAL}) {
    EngineCase engine(host, randomModel(random, shape), method);
    ASSERT_TRUE(engine.start());
    qz::Ipm* ipm = engine.ipm;
    ASSERT_EQ(qz::ipmInitAugmat(ipm, 0), 0);
    const DenseModel& model = engine.dense();
    std::uniform_real_distribution<double> uniform(0.5, 2.0);
    double smallest = kNone;
    for (int k = 0; k < ipm->numIpmCoef; ++k) ipm->ipmMatValue[k] = 7.0;
    for (int j = 0; j < ipm->numCol; ++j) {
      for (double* array : {ipm->lowerSlack, ipm->upperSlack, ipm->lowerDual, ipm->upperDual, ipm->lowerSlackDelta,
                            ipm->upperSlackDelta, ipm->lowerDualDelta, ipm->upperDualDelta})
        array[j] = uniform(random);
      if (model.hasLower(j)) smallest = std::min(smallest, ipm->lowerSlack[j]);
      if (model.hasUpper(j)) smallest = std::min(smallest, ipm->upperSlack[j]);
      ipm->lowerDual[j] *= 0.01;  // bound duals do not enter
    }
    for (int i = 0; i < ipm->numRow; ++i) {
      ipm->dual[i] = isG(model, i) ? uniform(random) : -5.0;
      ipm->ineqnSlackDelta[i] = 3.0;
      if (isG(model, i)) smallest = std::min(smallest, ipm->dual[i]);
    }
    qz::initInternal(ipm);
    EXPECT_EQ(ipm->minPositive, smallest);
    for (int i = 0; i < ipm->numRow; ++i) EXPECT_EQ(ipm->ineqnSlackDelta[i], isG(model, i) ? 3.0 : 0.0);
    for (int j = 0; j < ipm->numCol; ++j) {
      for (const double* array : {ipm->lowerSlack, ipm->lowerDual, ipm->lowerSlackDelta, ipm->lowerDualDelta})
        EXPECT_EQ(array[j] != 0.0, model.hasLower(j));
      for (const double* array : {ipm->upperSlack, ipm->upperDual, ipm->upperSlackDelta, ipm->upperDualDelta})
        EXPECT_EQ(array[j] != 0.0, model.hasUpper(j));
    }
    if (method == qz::IPM_METHOD_AUGMENTED) {
      expectZeroDiagonals(*ipm);
    } else {
      for (int k = 0; k < ipm->numIpmCoef; ++k) EXPECT_EQ(ipm->ipmMatValue[k], 7.0);
    }
  }
}

TEST_F(StartPoint, NothingPositiveLeavesTheInfinityValue) {
  DenseModel dense;
  dense.A = Matrix{{1.0}};
  dense.c = Vector::Zero(1);
  dense.b = Vector::Zero(1);
  dense.lower = Vector::Constant(1, -kNone);
  dense.upper = Vector::Constant(1, kNone);
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  qz::initInternal(engine.ipm);
  EXPECT_EQ(engine.ipm->minPositive, kNone);
}

}  // namespace
