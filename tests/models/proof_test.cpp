// Proofs of programs without an optimum: found by presolve, brought back to the caller's rows and columns, and judged
// by code that shares nothing with the library.
#include <gtest/gtest.h>

#include "models/certificate.h"
#include "models/linear_program.h"
#include "models/solving.h"

namespace {

using namespace models;

// A program by columns of cost, bounds and entries.
struct Column {
  double cost, low, high;
  std::vector<double> entries;
};
struct Row {
  double low, high;
};
LinearProgram program(int sense, const std::vector<Row>& rows, const std::vector<Column>& columns) {
  LinearProgram p;
  p.sense = sense;
  for (const Row& row : rows) p.addRow(row.low, row.high);
  for (const Column& column : columns) {
    p.addColumn(column.cost, column.low, column.high);
    for (size_t i = 0; i < rows.size(); ++i)
      if (column.entries[i] != 0.0) p.addEntry(static_cast<int>(i), column.entries[i]);
  }
  return p;
}

void expectInfeasible(const LinearProgram& p) {
  const Answer answer = solve(p, {{"presolve", 3}});
  EXPECT_EQ(answer.status, QZLP_STATUS_PRIMAL_INFEASIBLE);
  ASSERT_FALSE(answer.proof.empty());
  EXPECT_TRUE(provesInfeasible(p, answer.proof));
  EXPECT_TRUE(answer.ray.empty());
}

void expectUnbounded(const LinearProgram& p) {
  const Answer answer = solve(p, {{"presolve", 3}});
  EXPECT_EQ(answer.status, QZLP_STATUS_DUAL_INFEASIBLE);
  ASSERT_FALSE(answer.ray.empty());
  EXPECT_TRUE(provesUnbounded(p, answer.ray));
  EXPECT_TRUE(answer.proof.empty());
}

TEST(Proof, RowOutOfReachBelowAndAbove) {
  const std::vector<Column> columns = {{1, 0, 2, {1}}, {1, 0, 3, {2}}};
  expectInfeasible(program(1, {{9, infinite}}, columns));
  expectInfeasible(program(1, {{-infinite, -1}}, columns));
}
TEST(Proof, HasTheSameSignsWhenMaximising) {
  const std::vector<Column> columns = {{1, 0, 2, {1}}, {1, 0, 3, {2}}};
  expectInfeasible(program(-1, {{9, 12}}, columns));
}
TEST(Proof, SingletonRowsThatCross) {
  expectInfeasible(
      program(1, {{4, infinite}, {-infinite, 6}, {0, 9}}, {{1, -infinite, infinite, {1, 2, 1}}, {1, 0, 5, {0, 0, 1}}}));
}
TEST(Proof, ParallelRowsThatContradict) {
  const std::vector<Column> columns = {{1, -infinite, infinite, {1, -2}}, {1, -infinite, infinite, {3, -6}}};
  expectInfeasible(program(1, {{5, infinite}, {-8, 4}}, columns));
  expectInfeasible(program(1, {{1, 2}, {-30, -10}}, columns));
}
TEST(Proof, IsBroughtBackThroughColumnsThatWent) {
  // x = 2 by its bounds, then y = 4 - x = 2 by the equation, and x + 2 y >= 9 is out of reach.
  expectInfeasible(program(1, {{4, 4}, {9, infinite}}, {{1, 2, 2, {1, 1}}, {1, -infinite, infinite, {1, 2}}}));
}
TEST(Proof, RowWithoutEntries) {
  expectInfeasible(program(1, {{3, 5}, {0, 9}}, {{1, 0, 9, {0, 1}}, {1, 0, 9, {0, 1}}}));
}
TEST(Proof, RayOfAnEmptyColumnInBothSenses) {
  expectUnbounded(program(1, {{0, 5}}, {{1, 0, 3, {1}}, {1, 0, 3, {1}}, {-1, 0, infinite, {0}}}));
  expectUnbounded(program(-1, {{0, 5}}, {{1, 0, 3, {1}}, {1, 0, 3, {1}}, {-1, -infinite, 0, {0}}}));
}
TEST(Proof, RayOfAColumnThatAllRowsLetGo) {
  expectUnbounded(program(1, {{-4, infinite}, {-infinite, 7}}, {{-1, 0, infinite, {1, -2}}, {1, 0, 3, {1, 1}}}));
}
TEST(Proof, RayOfTwoParallelColumns) {
  expectUnbounded(
      program(1, {{2, 2}, {3, 3}},
              {{1, 0, infinite, {1, 1}}, {-2, -infinite, infinite, {-1, -1}}, {0, 0, 8, {1, 2}}, {3, 0, 8, {2, 1}}}));
}
TEST(Proof, NoneOfAnOptimumNorBeforeASolve) {
  const Answer answer = solve(program(1, {{1, 5}}, {{1, 0, 3, {1}}, {2, 0, 3, {1}}}), {{"presolve", 3}});
  EXPECT_EQ(answer.status, QZLP_STATUS_OPTIMAL);
  EXPECT_TRUE(answer.proof.empty());
  EXPECT_TRUE(answer.ray.empty());
  EXPECT_EQ(qzlp_infeasibilityProof(nullptr), nullptr);
  EXPECT_EQ(qzlp_unboundedRay(nullptr), nullptr);
  qzlp* lp = qzlp_create();
  EXPECT_EQ(qzlp_infeasibilityProof(lp), nullptr);
  EXPECT_EQ(qzlp_unboundedRay(lp), nullptr);
  qzlp_destroy(lp);
}

}  // namespace
