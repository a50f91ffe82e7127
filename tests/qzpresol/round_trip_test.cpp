// Reductions and their undoing on vertices: each alone on models solved by hand, and all together on random ones.
#include "round_trip.h"

#include <gtest/gtest.h>

#include <cmath>

#include "models/basic_answer.h"
#include "models/certificate.h"
#include "models/oracle.h"
#include "models/presolve_differential.h"
#include "qzipsolve/status.h"

namespace {

using models::infinite;
using models::LinearProgram;
using qztest::RoundTrip;
using qztest::RoundTripOptions;
using qztest::TestHost;

// A program by rows of coefficients, one per column.
struct Row {
  double low, high;
  std::vector<double> value;
};
struct Column {
  double cost, low, high;
};
LinearProgram program(const std::vector<Column>& columns, const std::vector<Row>& rows, int sense = 1) {
  LinearProgram p;
  p.sense = sense;
  for (const Row& row : rows) p.addRow(row.low, row.high);
  for (size_t j = 0; j < columns.size(); ++j) {
    p.addColumn(columns[j].cost, columns[j].low, columns[j].high);
    for (size_t i = 0; i < rows.size(); ++i)
      if (rows[i].value[j] != 0.0) p.addEntry(static_cast<int>(i), rows[i].value[j]);
  }
  return p;
}

class ReductionTrip : public ::testing::Test {
 protected:
  RoundTrip trip(const LinearProgram& p, int mode = 3) {
    RoundTripOptions options;
    options.mode = mode;
    const RoundTrip result = takeTrip(host, p, options);
    EXPECT_EQ(host.outstanding(), 0);
    return result;
  }
  // The answer is optimal with this objective, a vertex, and the reduction was applied.
  RoundTrip expectOptimum(const LinearProgram& p, double objective, const std::string& reduction, int mode = 3) {
    const RoundTrip result = trip(p, mode);
    EXPECT_GE(result.reduceCode, 0);
    EXPECT_TRUE(result.answer.status == QZ_STATUS_OPTIMAL || result.answer.status == QZ_PRESOL_OPTIMAL);
    EXPECT_NEAR(result.answer.objective, objective, 1e-9 * (1.0 + std::fabs(objective)));
    const models::Certificate certificate = models::certify(p, result.answer);
    EXPECT_TRUE(certificate.holds(1e-9)) << certificate.text();
    models::expectBasic(p, result.answer);
    EXPECT_GT(result.applied.count(reduction), 0U);
    return result;
  }
  TestHost host;
};

TEST_F(ReductionTrip, RowWithoutEntriesGoesOrIsInfeasible) {
  expectOptimum(program({{1, 2, 9}}, {{-3, 5, {0}}}), 2, "empty rows");
  EXPECT_EQ(trip(program({{1, 2, 9}}, {{3, 5, {0}}})).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(trip(program({{1, 2, 9}}, {{-5, -3, {0}}})).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
}

TEST_F(ReductionTrip, SingletonRowGivesTheBoundThatItsDualPaysFor) {
  // x >= 6 / 2 by the row; its dual is 1 / 2 and the reduced cost 0.
  const RoundTrip r = expectOptimum(program({{1, 0, 9}}, {{6, infinite, {2}}}), 3, "singleton rows");
  EXPECT_EQ(r.answer.primal[0], 3.0);
  EXPECT_EQ(r.answer.dual[0], 0.5);
  EXPECT_EQ(r.answer.reducedCost[0], 0.0);
}

TEST_F(ReductionTrip, SingletonRowOfNegativeEntryBoundsFromTheOtherSide) {
  const RoundTrip r = expectOptimum(program({{1, -9, 9}}, {{-infinite, 6, {-2}}}), -3, "singleton rows");
  EXPECT_EQ(r.answer.dual[0], -0.5);
  expectOptimum(program({{1, -9, 9}}, {{-infinite, 6, {-2}}}, -1), 9, "singleton rows");
}

TEST_F(ReductionTrip, SingletonEquationFixesItsColumn) {
  const RoundTrip r =
      expectOptimum(program({{-4, 0, 9}, {1, 0, 9}}, {{6, 6, {2, 0}}, {4, 90, {1, 1}}}), -11, "singleton rows");
  EXPECT_EQ(r.answer.primal[0], 3.0);
}

TEST_F(ReductionTrip, SingletonRowBeyondTheBoundsIsInfeasible) {
  EXPECT_EQ(trip(program({{1, 0, 2}}, {{6, infinite, {2}}})).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(trip(program({{1, 4, 9}}, {{6, 6, {2}}})).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
}

TEST_F(ReductionTrip, SingletonRowThatMeetsTheBoundFixesTheColumn) {
  for (const double cost : {-1.0, 0.0, 1.0})
    expectOptimum(program({{cost, 0, 3}}, {{6, infinite, {2}}}), 3 * cost, "singleton rows");
}

TEST_F(ReductionTrip, SingletonRowBehindTheBoundsGivesNothing) {
  const RoundTrip r = expectOptimum(program({{1, 4, 9}}, {{6, infinite, {2}}}), 4, "singleton rows");
  EXPECT_EQ(r.answer.dual[0], 0.0);
}

TEST_F(ReductionTrip, TwoSingletonRowsOnOneColumnLetTheTighterOnePay) {
  const RoundTrip r = expectOptimum(program({{1, 0, 9}}, {{6, infinite, {2}}, {4, infinite, {1}}, {3, infinite, {1}}}),
                                    4, "singleton rows");
  EXPECT_EQ(r.answer.dual[1], 1.0);
}

TEST_F(ReductionTrip, RedundantRowGoes) {
  const RoundTrip r = expectOptimum(program({{1, 0, 2}, {1, 1, 3}}, {{-infinite, 5, {1, 1}}, {2, infinite, {1, 3}}}), 1,
                                    "redundant rows");
  EXPECT_EQ(r.answer.dual[0], 0.0);
  expectOptimum(program({{1, 0, infinite}, {1, 0, 2}}, {{-infinite, infinite, {1, 1}}}), 0, "redundant rows");
}

TEST_F(ReductionTrip, RowThatCannotReachItsSideIsInfeasible) {
  EXPECT_EQ(trip(program({{1, 0, 2}, {1, 1, 3}}, {{6, infinite, {1, 1}}})).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(trip(program({{1, 0, 2}, {1, 1, 3}}, {{-infinite, 0.5, {1, 1}}})).answer.status,
            QZ_PRESOL_PRIMAL_INFEASIBLE);
}

TEST_F(ReductionTrip, ForcingRowPutsItsColumnsToTheirBoundsAndPaysForThem) {
  // x + y - z <= 1 with x, y >= 1 and z <= 1: all at these bounds. The costs pull x the other way.
  const auto p = program({{-3, 1, 4}, {-1, 1, 4}, {0, -2, 1}, {1, 0, 5}},
                         {{-infinite, 1, {1, 1, -1, 0}}, {2, infinite, {1, 0, 0, 1}}});
  const RoundTrip r = expectOptimum(p, -3, "forcing rows");
  EXPECT_LE(r.answer.dual[0], -2.0);
}

TEST_F(ReductionTrip, ForcingRowAtItsLowerSide) {
  const auto p = program({{3, 0, 4}, {1, 0, 4}, {0, -2, 1}}, {{10, infinite, {1, 1, -1}}, {-1, 90, {1, 2, 1}}});
  expectOptimum(p, 16, "forcing rows");
}

TEST_F(ReductionTrip, ForcingEquationWhoseCostsAgreeHasNoDual) {
  const auto p = program({{3, 0, 4}, {1, 0, 4}}, {{0, 0, {1, 1}}, {-1, 3, {1, -1}}});
  const RoundTrip r = expectOptimum(p, 0, "forcing rows");
  EXPECT_EQ(r.answer.dual[0], 0.0);
}

TEST_F(ReductionTrip, FixedColumnGoesIntoTheSides) {
  const auto p = program({{2, 3, 3}, {1, 0, 9}, {1, 0, 9}}, {{8, infinite, {1, 1, 1}}, {-2, 4, {0, 1, -1}}});
  expectOptimum(p, 11, "fixed columns");
}

TEST_F(ReductionTrip, EmptyColumnGoesWhereItsCostPoints) {
  expectOptimum(program({{2, 3, 7}, {-2, 3, 7}, {0, -3, 7}}, {}), -8, "empty columns");
  EXPECT_EQ(trip(program({{2, -infinite, 7}}, {})).answer.status, QZ_PRESOL_DUAL_INFEASIBLE);
  EXPECT_EQ(trip(program({{2, 0, infinite}}, {}, -1)).answer.status, QZ_PRESOL_DUAL_INFEASIBLE);
  EXPECT_EQ(trip(program({{0, -infinite, infinite}}, {})).answer.primal[0], 0.0);
}

TEST_F(ReductionTrip, ColumnThatRowsAndCostPushDownIsFixedThere) {
  const auto p = program({{1, 2, 9}, {-1, 0, 9}, {1, 0, 8}}, {{-infinite, 7, {1, 1, 1}}, {-infinite, 12, {2, 1, -1}}});
  const RoundTrip r = expectOptimum(p, -3, "dually fixed columns");
  EXPECT_EQ(r.answer.primal[0], 2.0);
}

TEST_F(ReductionTrip, ColumnWithoutCostThatMeetsItsRowsAloneTakesThemAlong) {
  const auto p = program({{0, -infinite, 9}, {-1, 0, 4}}, {{-infinite, -7, {1, 1}}, {-9, infinite, {-2, 3}}});
  const RoundTrip r = expectOptimum(p, -4, "dually fixed columns");
  EXPECT_EQ(r.answer.primal[0], -11.0);  // what the first row asks for
}

TEST_F(ReductionTrip, ColumnPushedToAMissingBoundHasNoDualPoint) {
  const auto p = program({{1, -infinite, 9}, {-1, 0, 4}}, {{-infinite, -7, {1, 1}}, {-infinite, 4, {1, -1}}});
  EXPECT_EQ(trip(p).answer.status, QZ_PRESOL_DUAL_INFEASIBLE);
}

TEST_F(ReductionTrip, SlackOfAnEquationMakesItARange) {
  // x + y + s = 10 with 2 <= s <= 5: 5 <= x + y <= 8.
  for (const double cost : {-1.0, 1.0}) {
    const auto p = program({{cost, 0, 9}, {2 * cost, 0, 9}, {0, 2, 5}, {0, 0, 3}},
                           {{10, 10, {1, 1, 1, 0}}, {-3, 3, {1, -1, 0, 1}}, {0, 6, {1, 2, 0, 3}}});
    const models::Verdict verdict = models::askOracle(p);
    expectOptimum(p, verdict.objective, "singleton columns");
  }
}

TEST_F(ReductionTrip, SlackWithCostShiftsTheDualOfItsEquation) {
  for (const double cost : {-3.0, 0.25, 3.0})
    for (const double entry : {-2.0, 0.5, 2.0}) {
      const double side = entry > 0.0 ? 10.0 : 4.0;
      const auto p = program({{1, 0, 9}, {2, 0, 9}, {cost, 1, 4}, {1, 0, 3}},
                             {{side, side, {1, 1, entry, 0}}, {-3, 3, {1, -1, 0, 1}}, {2, 16, {1, 2, 0, 3}}});
      const models::Verdict verdict = models::askOracle(p);
      expectOptimum(p, verdict.objective, "singleton columns");
    }
}

TEST_F(ReductionTrip, FreeSingletonTakesItsEquationAlong) {
  const auto p = program({{1, 0, 9}, {2, 1, 9}, {3, -infinite, infinite}, {1, 0, 3}},
                         {{10, 10, {1, 1, 2, 0}}, {-3, 3, {1, -1, 0, 1}}, {2, 16, {1, 2, 0, 3}}});
  const RoundTrip r = expectOptimum(p, models::askOracle(p).objective, "singleton columns");
  EXPECT_NEAR(r.answer.dual[0], 1.5, 1e-12);
}

TEST_F(ReductionTrip, FreeSingletonWithCostEndsAnInequalityWhereItsCostPoints) {
  for (const double cost : {-3.0, 3.0})
    for (const double entry : {-2.0, 2.0}) {
      const auto p = program({{1, 0, 9}, {2, 1, 9}, {cost, -infinite, infinite}, {1, 0, 3}},
                             {{-4, 10, {1, 1, entry, 0}}, {-3, 3, {1, -1, 0, 1}}, {2, 16, {1, 2, 0, 3}}});
      const RoundTrip r = expectOptimum(p, models::askOracle(p).objective, "singleton columns");
      EXPECT_NEAR(r.answer.dual[0], cost / entry, 1e-12);
    }
}

TEST_F(ReductionTrip, ImpliedFreeSingletonEndsAnInequality) {
  // x >= 4 - y - z >= 0 by the row alone.
  const auto p = program({{1, 0, infinite}, {-2, 0, 2}, {-1, 0, 2}}, {{4, infinite, {1, 1, 1}}, {-1, 2, {0, 1, -3}}});
  expectOptimum(p, models::askOracle(p).objective, "singleton columns");
}

TEST_F(ReductionTrip, SingletonWithACostTooLargeForItsEntryStays) {
  const auto p = program({{1, 0, 9}, {2, 1, 9}, {3, -infinite, infinite}, {1, 0, 3}},
                         {{10, 10, {1, 1, 1e-6, 0}}, {-3, 3, {1, -1, 0, 1}}, {2, 16, {1, 2, 0, 3}}});
  const RoundTrip r = trip(p);
  EXPECT_EQ(r.applied.at("singleton columns"), 0);
}

TEST_F(ReductionTrip, DoubletonEquationHandsBoundsOnAndBack) {
  // x = (6 - b y) / 2, so that bounds of x are bounds of y.
  for (const double b : {-3.0, 3.0})
    for (const double cost : {-5.0, 5.0}) {
      const auto p = program({{1, -1, 4}, {cost, -9, 9}, {1, 0, 5}},
                             {{6, 6, {2, b, 0}}, {1, 30, {1, 4, 1}}, {-20, 20, {3, -1, 2}}, {-30, 9, {1, 1, 1}}});
      expectOptimum(p, models::askOracle(p).objective, "doubleton equations");
    }
}

TEST_F(ReductionTrip, DoubletonEquationWhoseBoundsCrossIsInfeasible) {
  const auto p =
      program({{1, 0, 1}, {1, 0, 1}, {1, 0, 5}}, {{6, 6, {2, 2, 0}}, {1, 30, {1, 4, 1}}, {-20, 20, {3, -1, 2}}});
  EXPECT_EQ(trip(p).answer.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
}

TEST_F(ReductionTrip, ModesThatDoNotExistReduceNothing) {
  const auto p = program({{1, 0, 9}}, {{6, infinite, {2}}});
  for (const int mode : {0, 4, -2}) EXPECT_TRUE(trip(p, mode).applied.empty());
}

TEST_F(ReductionTrip, RandomProgramsComeBackAsVertices) {
  int optimal = 0;
  for (uint64_t seed = 1; seed <= 3000; ++seed) {
    const LinearProgram p = models::presolveProgram(seed);
    const models::Verdict verdict = models::askOracle(p);
    for (const int mode : {1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " mode " << mode);
      const RoundTrip r = trip(p, mode);
      if (r.answer.status != QZ_STATUS_OPTIMAL && r.answer.status != QZ_PRESOL_OPTIMAL) {
        EXPECT_NE(verdict.kind, models::Kind::kOptimal);
        continue;
      }
      ++optimal;
      ASSERT_EQ(verdict.kind, models::Kind::kOptimal);
      EXPECT_NEAR(r.answer.objective, verdict.objective, 1e-7 * (1.0 + std::fabs(verdict.objective)));
      const models::Certificate certificate = models::certify(p, r.answer);
      EXPECT_TRUE(certificate.holds(1e-7)) << certificate.text();
      models::expectBasic(p, r.answer);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(optimal, 3000);
}

TEST_F(ReductionTrip, EveryAllocationThatFailsEndsTheReductionAndLeaksNothing) {
  int failed = 0;
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    const LinearProgram p = models::presolveProgram(seed);
    for (long long k = 1;; ++k) {
      const int64_t before = host.allocations();
      RoundTripOptions options;
      options.failAllocation = k;
      const RoundTrip r = takeTrip(host, p, options);
      ASSERT_EQ(host.outstanding(), 0);
      if (r.reduceCode >= 0) {
        // The k-th allocation never came: the trip was whole.
        EXPECT_LT(host.allocations() - before, k + 100);
        break;
      }
      EXPECT_EQ(r.reduceCode, QZ_STATUS_OUT_OF_MEMORY);
      ++failed;
    }
  }
  EXPECT_GT(failed, 1000);
}

TEST_F(ReductionTrip, BreakAtAnyPollEndsTheReduction) {
  RoundTripOptions options;
  options.breakAt = 1;
  EXPECT_EQ(takeTrip(host, models::presolveProgram(3), options).answer.status, QZ_PRESOL_INTERRUPTED);
}

TEST_F(ReductionTrip, NoTimeLeftReducesNothingButWhatMustGo) {
  RoundTripOptions options;
  options.timeLimit = 0.0;
  const auto p = program({{2, 3, 3}, {1, 0, 9}, {1, 0, 9}}, {{8, infinite, {1, 1, 1}}, {-2, 4, {0, 1, -1}}});
  const RoundTrip r = takeTrip(host, p, options);
  EXPECT_EQ(r.numCol, 2);
  EXPECT_EQ(r.numRow, 2);
  EXPECT_TRUE(models::certify(p, r.answer).holds(1e-9));
}

}  // namespace
