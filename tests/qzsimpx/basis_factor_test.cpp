// The factorisation of a basis against Eigen.
#include "basis_factor.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>

#include "qzsimpx/interior_record.h"
#include "support/test_host.h"

namespace {

using namespace qzsimpx;
using qztest::InteriorRecord;

class Factor : public ::testing::Test {
 protected:
  Factor() {
    models::Recipe recipe;
    recipe.numRow = 30;
    recipe.numCol = 60;
    known = models::knownOptimum(recipe, 5);
    data = std::make_unique<InteriorRecord>(known.program, known.primal, known.dual, 0.0, 1);
    program = std::make_unique<Program>(host.pool(), data->record);
  }
  Eigen::MatrixXd columnsOf(const Array<int32_t>& head) const {
    Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(program->numRow, head.size());
    for (int32_t k = 0; k < head.size(); ++k)
      program->forColumn(head[k], [&](int32_t i, double value) { matrix(i, k) += value; });
    return matrix;
  }
  // Columns as far as they are independent, activities for the rest.
  Array<int32_t> someBasis(BasisFactor& factor, Array<char>& covered) {
    Array<int32_t> head(host.pool());
    for (int32_t j = 0; j < program->numRow; ++j) head.push_back(j);
    while (factor.factor(head, covered) < program->numRow) {
      int32_t row = 0;
      for (int32_t& j : head) {
        if (j >= 0) continue;
        while (covered[row] != 0) ++row;
        j = program->numCol + row++;
      }
    }
    return head;
  }
  void expectSolves(BasisFactor& factor, const Array<int32_t>& head) {
    const Eigen::MatrixXd basis = columnsOf(head);
    const Eigen::PartialPivLU<Eigen::MatrixXd> lu(basis);
    const int32_t numRow = program->numRow;
    for (int32_t j = 0; j < program->numVar; j += 7) {
      Eigen::VectorXd column = Eigen::VectorXd::Zero(numRow);
      program->forColumn(j, [&](int32_t i, double value) { column(i) = value; });
      const Eigen::VectorXd expected = lu.solve(column);
      const CoinIndexedVector& found = factor.solveColumn(j);
      for (int32_t q = 0; q < numRow; ++q)
        ASSERT_NEAR(found.denseVector()[q], expected(q), 1e-9 * (1.0 + expected.norm()));
    }
    for (int32_t q = 0; q < numRow; q += 5) {
      const Eigen::VectorXd expected = basis.transpose().partialPivLu().solve(Eigen::VectorXd::Unit(numRow, q));
      const CoinIndexedVector& found = factor.solveUnit(q);
      for (int32_t i = 0; i < numRow; ++i)
        ASSERT_NEAR(found.denseVector()[i], expected(i), 1e-9 * (1.0 + expected.norm()));
    }
    Eigen::VectorXd dense = Eigen::VectorXd::LinSpaced(numRow, -1.0, 2.0);
    const Eigen::VectorXd expected = lu.solve(dense);
    factor.solveDense(dense.data());
    EXPECT_LE((dense - expected).norm(), 1e-9 * (1.0 + expected.norm()));
  }

  qztest::TestHost host;
  models::KnownOptimum known;
  std::unique_ptr<InteriorRecord> data;
  std::unique_ptr<Program> program;
};

TEST_F(Factor, SolvesWithABasisAndItsTranspose) {
  BasisFactor factor(host.pool(), *program);
  Array<char> covered(host.pool());
  const Array<int32_t> head = someBasis(factor, covered);
  EXPECT_EQ(std::count(covered.begin(), covered.end(), 1), program->numRow);
  expectSolves(factor, head);
}

TEST_F(Factor, RankAndCoveredRowsOfDependentColumns) {
  BasisFactor factor(host.pool(), *program);
  Array<char> covered(host.pool());
  Array<int32_t> head(host.pool());
  for (int32_t i = 0; i < program->numRow - 3; ++i) head.push_back(program->numCol + i);
  head.push_back(program->numCol);  // a second time
  EXPECT_EQ(factor.factor(head, covered), program->numRow - 3);
  EXPECT_EQ(std::count(head.begin(), head.end(), -1), 1);
  for (int32_t i = 0; i < program->numRow; ++i) EXPECT_EQ(covered[i], i < program->numRow - 3 ? 1 : 0) << i;
}

TEST_F(Factor, RankIsThatOfTheColumns) {
  BasisFactor factor(host.pool(), *program);
  for (int32_t first = 0; first < 30; ++first) {
    Array<char> covered(host.pool());
    Array<int32_t> head(host.pool());
    for (int32_t k = 0; k < program->numRow; ++k) head.push_back(first + k);
    Eigen::FullPivLU<Eigen::MatrixXd> lu(columnsOf(head));
    lu.setThreshold(1e-10);
    EXPECT_EQ(factor.factor(head, covered), lu.rank());
  }
}

TEST_F(Factor, UpdatesGiveTheSolvesOfTheNewBasis) {
  BasisFactor factor(host.pool(), *program);
  Array<char> covered(host.pool());
  Array<int32_t> head = someBasis(factor, covered);
  int32_t numUpdate = 0;
  for (int32_t j = program->numRow; j < program->numCol; ++j) {
    const CoinIndexedVector& column = factor.solveColumn(j);
    int32_t best = 0;
    for (int32_t q = 0; q < program->numRow; ++q)
      if (std::fabs(column.denseVector()[q]) > std::fabs(column.denseVector()[best])) best = q;
    if (std::fabs(column.denseVector()[best]) < 1e-3) continue;
    if (!factor.replace(best, column.denseVector()[best])) {
      ASSERT_EQ(factor.factor(head, covered), program->numRow);
    }
    head[best] = j;
    ++numUpdate;
    expectSolves(factor, head);
  }
  EXPECT_GT(numUpdate, 10);
}

}  // namespace
