// Each reduction alone on the programs that are made for it, judged in the original program: status, objective,
// certificate, and the basis that Clp's basis of what is left is brought back to.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "dependent_equations.h"
#include "dominated_columns.h"
#include "free_substitution.h"
#include "models/basic_answer.h"
#include "models/certificate.h"
#include "models/oracle.h"
#include "models/reduction_programs.h"
#include "parallel_columns.h"
#include "parallel_rows.h"
#include "qzipsolve/status.h"
#include "qzpresol/round_trip.h"
#include "sparsification.h"

namespace {

using namespace models;
using qztest::RoundTrip;
using qztest::RoundTripOptions;

constexpr uint64_t kAll = ~uint64_t{0};

// The switch of one pass.
uint64_t only(qzpresol::Pass pass) {
  size_t number = qzpresol::rowReductions().size() + qzpresol::columnReductions().size();
  for (const qzpresol::PassReduction& reduction : qzpresol::passReductions()) {
    if (reduction.run == pass) return uint64_t{1} << number;
    ++number;
  }
  return 0;
}

int solverStatus(int status) {
  if (status == QZ_PRESOL_OPTIMAL) return 1;
  if (status == QZ_PRESOL_PRIMAL_INFEASIBLE) return 3;
  return status == QZ_PRESOL_DUAL_INFEASIBLE ? 4 : status;
}

void judge(const LinearProgram& program, const RoundTrip& trip, bool basic) {
  ASSERT_GE(trip.reduceCode, 0);
  const Verdict verdict = askOracle(program);
  ASSERT_TRUE(isTrueStatus(verdict, solverStatus(trip.answer.status))) << "status " << trip.answer.status;
  if (solverStatus(trip.answer.status) != 1) return;
  EXPECT_NEAR(trip.answer.objective, verdict.objective, 1e-8 * (1.0 + std::fabs(verdict.objective)));
  const Certificate certificate = certify(program, trip.answer);
  EXPECT_TRUE(certificate.holds(1e-8)) << certificate.text();
  if (basic) expectBasic(program, trip.answer);
}

// Takes the programs of the trigger through the module, and counts how often the reduction was applied.
int runAlone(Trigger trigger, uint64_t enabled, const std::string& reduction, uint64_t last, bool basic = true) {
  int applied = 0;
  qztest::TestHost host;
  for (uint64_t seed = 1; seed <= last && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << nameOf(trigger) << ", seed " << seed);
    const LinearProgram program = reductionProgram(trigger, seed);
    RoundTripOptions options;
    options.enabled = enabled;
    const RoundTrip trip = takeTrip(host, program, options);
    judge(program, trip, basic);
    if (const auto at = trip.applied.find(reduction); at != trip.applied.end()) applied += at->second;
  }
  EXPECT_EQ(host.outstanding(), 0);
  return applied;
}

constexpr uint64_t kSeeds = 500;

TEST(LoneReduction, FreeColumnSubstitution) {
  const uint64_t alone = only(qzpresol::passFreeSubstitution);
  EXPECT_GT(runAlone(Trigger::kFreeSubstitution, alone, "substituted columns", kSeeds), 300);
}
TEST(LoneReduction, ImpliedFreeColumnSubstitution) {
  const uint64_t alone = only(qzpresol::passFreeSubstitution);
  EXPECT_GT(runAlone(Trigger::kImpliedFreeSubstitution, alone, "substituted columns", kSeeds), 300);
}
TEST(LoneReduction, ParallelRows) {
  const uint64_t alone = only(qzpresol::passParallelRows);
  EXPECT_GT(runAlone(Trigger::kParallelRows, alone, "parallel rows", kSeeds), 300);
}
TEST(LoneReduction, ParallelColumns) {
  const uint64_t alone = only(qzpresol::passParallelColumns);
  EXPECT_GT(runAlone(Trigger::kParallelColumns, alone, "parallel columns", kSeeds), 300);
}
TEST(LoneReduction, DominatedParallelColumns) {
  const uint64_t alone = only(qzpresol::passParallelColumns);
  EXPECT_GT(runAlone(Trigger::kDominatingTwin, alone, "dominated parallel columns", kSeeds), 150);
}
TEST(LoneReduction, DominatedColumns) {
  const uint64_t alone = only(qzpresol::passDominatedColumns);
  EXPECT_GT(runAlone(Trigger::kDominatedColumn, alone, "dominated columns", kSeeds), 300);
}
TEST(LoneReduction, WeaklyDominatedColumns) {
  const uint64_t alone = only(qzpresol::passDominatedColumns);
  EXPECT_GT(runAlone(Trigger::kWeaklyDominatedColumn, alone, "weakly dominated columns", kSeeds), 100);
}
TEST(LoneReduction, Sparsification) {
  const uint64_t alone = only(qzpresol::passSparsification);
  EXPECT_GT(runAlone(Trigger::kSparsification, alone, "rows made sparser", kSeeds), 300);
}
TEST(LoneReduction, DependentEquations) {
  const uint64_t alone = only(qzpresol::passDependentEquations);
  EXPECT_GT(runAlone(Trigger::kDependentEquations, alone, "dependent equations", kSeeds), 300);
}

TEST(AllReductions, OnProgramsForEach) {
  for (int t = 0; t < kNumTrigger && !HasFailure(); ++t)
    runAlone(static_cast<Trigger>(t), kAll, "empty rows", 100, false);
}

}  // namespace
