// The augmented matrix against its dense definition, its storage order, and the regularised diagonals.
#include "engine/augmented_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

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

Matrix toDense(int n, const int32_t* begin, const int32_t* index, const double* value) {
  Matrix dense = Matrix::Zero(n, n);
  for (int j = 0; j < n; ++j)
    for (int32_t k = begin[j]; k < begin[j + 1]; ++k) {
      EXPECT_GE(index[k], 0);
      EXPECT_LT(index[k], n);
      dense(index[k], j) += value[k];
    }
  return dense;
}

Matrix expectedPattern(const DenseModel& model, bool withQuadratic) {
  const int m = model.rows();
  const int n = model.cols();
  Matrix K = Matrix::Zero(n + m, n + m);
  if (withQuadratic) K.topLeftCorner(n, n) = model.Q - Matrix(model.Q.diagonal().asDiagonal());
  K.topRightCorner(n, m) = -model.A.transpose();
  K.bottomLeftCorner(m, n) = -model.A;
  return K;
}

RandomShape shapeOf(uint32_t seed, bool quadratic) {
  RandomShape shape;
  shape.rows = static_cast<int>(seed % 8);
  shape.cols = 1 + static_cast<int>(seed % 11);
  shape.density = 0.15 * static_cast<double>(seed % 6);
  shape.quadratic = quadratic;
  return shape;
}

// Rows of each column ascend strictly, and every diagonal stands where the index arrays say.
void expectOrder(const qz::Ipm& ipm) {
  for (int j = 0; j < ipm.numDim; ++j)
    for (int32_t k = ipm.ipmColBegin[j] + 1; k < ipm.ipmColBegin[j + 1]; ++k)
      EXPECT_LT(ipm.ipmRowIndex[k - 1], ipm.ipmRowIndex[k]) << "column " << j;
  for (int j = 0; j < ipm.numCol; ++j) {
    const int32_t at = ipm.varBndDiagIndex[j];
    EXPECT_GE(at, ipm.ipmColBegin[j]);
    EXPECT_LT(at, ipm.ipmColBegin[j + 1]);
    EXPECT_EQ(ipm.ipmRowIndex[at], j);
  }
  for (int i = 0; i < ipm.numRow; ++i) {
    const int32_t at = ipm.ineqnDiagIndex[i];
    EXPECT_EQ(at, ipm.ipmColBegin[ipm.numCol + i + 1] - 1);
    EXPECT_EQ(ipm.ipmRowIndex[at], ipm.numCol + i);
  }
}

class AugmentedMatrix : public testing::Test {
 protected:
  AugmentedMatrix() { denseLdl = DenseLdl{}; }
  TestHost host;
};

TEST_F(AugmentedMatrix, LinearFormIsTheDenseDefinition) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed, false)));
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
    const qz::Ipm& ipm = *engine.ipm;
    EXPECT_EQ(toDense(ipm.numDim, ipm.ipmColBegin, ipm.ipmRowIndex, ipm.ipmMatValue),
              expectedPattern(engine.dense(), false));
    EXPECT_EQ(ipm.numIpmCoef, ipm.ipmColBegin[ipm.numDim]);
    EXPECT_EQ(ipm.numIpmCoef, ipm.numDim + 2 * ipm.numCoef);
    expectOrder(ipm);
    for (int j = 0; j < ipm.numCol; ++j) EXPECT_EQ(ipm.varBndDiagIndex[j], ipm.ipmColBegin[j]);
  }
}

TEST_F(AugmentedMatrix, QuadraticFormIsTheDenseDefinition) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape = shapeOf(seed, true);
    shape.quadDensity = seed % 3 == 0 ? 0.9 : 0.2;
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 1), 0);
    const qz::Ipm& ipm = *engine.ipm;
    EXPECT_EQ(toDense(ipm.numDim, ipm.ipmColBegin, ipm.ipmRowIndex, ipm.ipmMatValue),
              expectedPattern(engine.dense(), true));
    EXPECT_EQ(ipm.numIpmCoef, ipm.numDim + 2 * (ipm.numCoef + ipm.numQuadCoef));
    expectOrder(ipm);
  }
}

TEST_F(AugmentedMatrix, QuadraticModelGetsTheLinearPatternOnRequestAndWithoutOffDiagonalElements) {
  std::mt19937 random(4);
  EngineCase full(host, randomModel(random, shapeOf(21, true)));
  ASSERT_TRUE(full.start());
  ASSERT_GT(full.ipm->numQuadCoef, 0);
  ASSERT_EQ(qz::ipmInitAugmat(full.ipm, 0), 0);
  EXPECT_EQ(full.ipm->numIpmCoef, full.ipm->numDim + 2 * full.ipm->numCoef);

  DenseModel dense = randomModel(random, shapeOf(21, true));
  dense.Q = Matrix(dense.Q.diagonal().asDiagonal());
  EngineCase diagonal(host, dense);
  ASSERT_TRUE(diagonal.start());
  ASSERT_EQ(diagonal.ipm->numQuadCoef, 0);
  ASSERT_EQ(qz::ipmInitAugmat(diagonal.ipm, 1), 0);
  EXPECT_EQ(diagonal.ipm->numIpmCoef, diagonal.ipm->numDim + 2 * diagonal.ipm->numCoef);
  diagonal.randomIterate(random);
  qz::computeAugmentDiag(diagonal.ipm);
  for (int j = 0; j < diagonal.ipm->numCol; ++j)
    EXPECT_GE(diagonal.ipm->ipmMatValue[diagonal.ipm->varBndDiagIndex[j]], dense.Q(j, j));
}

TEST_F(AugmentedMatrix, PartialFormIsTheKeptPartOfTheWhole) {
  for (uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed, false)));
    ASSERT_TRUE(engine.start());
    const int m = engine.dense().rows();
    const int n = engine.dense().cols();
    std::vector<int32_t> colMap, rowMap;
    std::vector<int> kept;  // places of the whole matrix
    int32_t numCols = 0, numRows = 0;
    for (int j = 0; j < n; ++j) {
      const bool keep = random() % 3 != 0;
      colMap.push_back(keep ? numCols++ : -1);
      if (keep) kept.push_back(j);
    }
    for (int i = 0; i < m; ++i) {
      const bool keep = random() % 3 != 0;
      rowMap.push_back(keep ? numRows++ : -1);
      if (keep) kept.push_back(n + i);
    }
    const size_t capacity = static_cast<size_t>(n + m + 2 * engine.model.numCoef) + 1;
    std::vector<int32_t> begin(capacity), index(capacity), varDiag(capacity), rowDiag(capacity);
    std::vector<double> value(capacity);
    const Matrix whole = expectedPattern(engine.dense(), false);
    const auto check = [&](const std::vector<int>& places, int columns) {
      const int size = static_cast<int>(places.size());
      const Matrix part = toDense(size, begin.data(), index.data(), value.data());
      for (int r = 0; r < size; ++r)
        for (int c = 0; c < size; ++c)
          EXPECT_EQ(part(r, c), whole(places[static_cast<size_t>(r)], places[static_cast<size_t>(c)]));
      for (int k = 0; k < size; ++k) {
        const int32_t at = k < columns ? varDiag[static_cast<size_t>(k)] : rowDiag[static_cast<size_t>(k - columns)];
        EXPECT_EQ(index[static_cast<size_t>(at)], k);
        EXPECT_GE(at, begin[static_cast<size_t>(k)]);
        EXPECT_LT(at, begin[static_cast<size_t>(k) + 1]);
      }
    };
    qz::createAugmentMatrixPartial(engine.ipm, begin.data(), index.data(), value.data(), varDiag.data(), rowDiag.data(),
                                   colMap.data(), numCols, rowMap.data(), numRows);
    check(kept, numCols);

    std::vector<int> all(static_cast<size_t>(n) + static_cast<size_t>(m));
    std::iota(all.begin(), all.end(), 0);
    qz::createAugmentMatrixPartial(engine.ipm, begin.data(), index.data(), value.data(), varDiag.data(), rowDiag.data(),
                                   nullptr, n, nullptr, m);
    check(all, n);
  }
}

TEST_F(AugmentedMatrix, QuadraticFormGivesEverythingBackWhenMemoryIsShort) {
  std::mt19937 random(9);
  EngineCase engine(host, randomModel(random, shapeOf(21, true)));
  ASSERT_TRUE(engine.start());
  const int64_t before = host.outstanding();
  int failures = 0;
  for (int64_t k = 1;; ++k) {
    host.failAllocation(k);
    const int32_t status = qz::ipmInitAugmat(engine.ipm, 1);
    host.failAllocation(0);
    if (status == 0) break;
    ++failures;
    ASSERT_EQ(status, -1086) << "allocation " << k;
    EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
    EXPECT_EQ(engine.ipm->ldlFactor, nullptr);
    EXPECT_EQ(engine.env.ldlFactor, nullptr);
  }
  EXPECT_EQ(failures, 10);  // two transposes of four arrays, two handles
}

TEST_F(AugmentedMatrix, StandingFactorKeepsTheMatrix) {
  std::mt19937 random(9);
  EngineCase engine(host, randomModel(random, shapeOf(21, false)));
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  engine.ipm->ipmMatValue[0] = 42.0;
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  EXPECT_EQ(denseLdl.analyses, 1);
  EXPECT_EQ(engine.ipm->ipmMatValue[0], 42.0);
}

TEST_F(AugmentedMatrix, EveryAnalysisStartsFromAFreshSetUp) {
  std::mt19937 random(9);
  EngineCase engine(host, randomModel(random, shapeOf(21, false)));
  ASSERT_TRUE(engine.start());
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
    EXPECT_EQ(denseLdl.lastLeading, engine.ipm->numCol);
    EXPECT_EQ(denseLdl.lastOrdering, -1);
    EXPECT_EQ(denseLdl.lastMaxRefine, 64);
    qz::ldlCleanUp(&engine.env, engine.ipm->laEnv, &engine.ipm->ldlFactor, &engine.ipm->ldlMemory);
  }
  EXPECT_EQ(denseLdl.analyses, 2);
}

TEST_F(AugmentedMatrix, FailedAnalysisLeavesNoHandles) {
  std::mt19937 random(9);
  EngineCase engine(host, randomModel(random, shapeOf(21, false)));
  ASSERT_TRUE(engine.start());
  denseLdl.analyzeStatus = 13;
  EXPECT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 12);
  EXPECT_EQ(engine.ipm->ldlFactor, nullptr);
  EXPECT_EQ(engine.ipm->ldlMemory, nullptr);
  denseLdl.analyzeStatus = 0;
  EXPECT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);  // not taken for a standing factor
  EXPECT_EQ(denseLdl.analyses, 2);
}

// The diagonals.

TEST_F(AugmentedMatrix, DiagonalsAreThoseOfTheReducedNewtonSystem) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    EngineCase engine(host, randomModel(random, shapeOf(seed, seed % 2 == 0)));
    ASSERT_TRUE(engine.start());
    ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 1), 0);
    engine.randomIterate(random);
    qz::computeAugmentDiag(engine.ipm);
    const qz::Ipm& ipm = *engine.ipm;
    const DenseModel& model = engine.dense();
    for (int j = 0; j < ipm.numCol; ++j) {
      double expected = model.quadratic() ? model.Q(j, j) : 0.0;
      if (model.hasUpper(j)) expected += ipm.upperDual[j] / ipm.upperSlack[j];
      if (model.hasLower(j)) expected += ipm.lowerDual[j] / ipm.lowerSlack[j];
      if (expected == 0.0) expected = 1e-10;
      EXPECT_DOUBLE_EQ(ipm.ipmMatValue[ipm.varBndDiagIndex[j]], expected);
    }
    for (int i = 0; i < ipm.numRow; ++i) {
      const bool inequality = model.sense[static_cast<size_t>(i)] == 'G';
      EXPECT_DOUBLE_EQ(ipm.ipmMatValue[ipm.ineqnDiagIndex[i]], inequality ? -ipm.ineqnSlack[i] / ipm.dual[i] : -1e-10);
    }
  }
}

TEST_F(AugmentedMatrix, ListAndScanWriteTheSameRowDiagonals) {
  std::mt19937 random(13);
  EngineCase engine(host, randomModel(random, shapeOf(23, false)));
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  engine.randomIterate(random);
  engine.ipm->denseRatio = 0.0;
  qz::computeAugmentDiag(engine.ipm);
  const std::vector<double> scanned(engine.ipm->ipmMatValue, engine.ipm->ipmMatValue + engine.ipm->numIpmCoef);
  engine.ipm->denseRatio = 2.0;
  qz::computeAugmentDiag(engine.ipm);
  EXPECT_EQ(std::vector<double>(engine.ipm->ipmMatValue, engine.ipm->ipmMatValue + engine.ipm->numIpmCoef), scanned);
}

// Two columns with the given quadratic diagonals and no bound, one row of the given sense.
struct Diagonals {
  Diagonals(TestHost& host, double first, double second, char sense) : engine(host, make(first, second, sense)) {
    EXPECT_TRUE(engine.start());
    EXPECT_EQ(qz::ipmInitAugmat(engine.ipm, 1), 0);
  }
  static DenseModel make(double first, double second, char sense) {
    DenseModel dense;
    dense.A = Matrix{{1.0, 1.0}};
    dense.Q = Matrix::Zero(2, 2);
    dense.Q(0, 0) = first;
    dense.Q(1, 1) = second;
    dense.c = Vector::Zero(2);
    dense.b = Vector::Zero(1);
    dense.lower = Vector::Constant(2, -kNone);
    dense.upper = Vector::Constant(2, kNone);
    dense.sense = std::string(1, sense);
    return dense;
  }
  double column(int j) { return engine.ipm->ipmMatValue[engine.ipm->varBndDiagIndex[j]]; }
  double& row() { return engine.ipm->ipmMatValue[engine.ipm->ineqnDiagIndex[0]]; }
  EngineCase engine;
};

TEST_F(AugmentedMatrix, AllZeroDiagonalsTakeTenToMinusTen) {
  Diagonals d(host, 0.0, 0.0, 'E');
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.column(0), 1e-10);
  EXPECT_EQ(d.column(1), 1e-10);
  EXPECT_EQ(d.row(), -1e-10);
}

TEST_F(AugmentedMatrix, SmallestMagnitudeLowersTheRegularisation) {
  Diagonals d(host, 3e-13, 0.0, 'E');
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.column(0), 3e-13);  // exactly t stays
  EXPECT_EQ(d.column(1), 3e-13);
  EXPECT_EQ(d.row(), -3e-13);
}

TEST_F(AugmentedMatrix, ColumnDiagonalsOfExactlyPlusOrMinusTStay) {
  Diagonals d(host, -2e-12, 2e-12, 'E');
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.column(0), -2e-12);
  EXPECT_EQ(d.column(1), 2e-12);
  Diagonals e(host, -1e-10, 1e-10, 'E');
  qz::computeAugmentDiag(e.engine.ipm);
  EXPECT_EQ(e.column(0), -1e-10);
  EXPECT_EQ(e.column(1), 1e-10);
}

TEST_F(AugmentedMatrix, RowDiagonalsBelowMinusTStayAndPositiveOnesFromTOn) {
  Diagonals d(host, 1.0, 1.0, 'G');
  qz::Ipm* ipm = d.engine.ipm;
  ipm->ineqnSlack[0] = 1.0;
  ipm->dual[0] = 4.0;
  qz::computeAugmentDiag(ipm);
  EXPECT_EQ(d.row(), -0.25);
  ipm->ineqnSlack[0] = -1.0;  // a slack that has turned negative must not crash anything
  qz::computeAugmentDiag(ipm);
  EXPECT_EQ(d.row(), 0.25);
  ipm->ineqnSlack[0] = -1e-12;
  ipm->dual[0] = 1.0;
  qz::computeAugmentDiag(ipm);  // its own magnitude is t, so that it stays
  EXPECT_EQ(d.row(), 1e-12);
}

TEST_F(AugmentedMatrix, EqualityDiagonalKeepsTheLargestRegularisationUntilItIsZeroed) {
  Diagonals d(host, 1.0, 0.0, 'E');
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.row(), -1e-10);
  d.engine.ipm->quadDiag[0] = 1e-14;
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.column(1), 1e-14);
  EXPECT_EQ(d.row(), -1e-10);
  d.row() = 0.0;
  qz::computeAugmentDiag(d.engine.ipm);
  EXPECT_EQ(d.row(), -1e-14);
}

}  // namespace
