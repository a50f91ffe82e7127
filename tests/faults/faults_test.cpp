// What can go wrong around a solve, made to go wrong at every place: memory, the user's wish to stop, the limits.
// Afterwards: the right status, nothing leaked, and the same handle still solves the next model.
#include <gtest/gtest.h>

#include <memory>

#include "host/faults.h"
#include "host/pools.h"
#include "host/service_table.h"
#include "host/threads.h"
#include "models/certificate.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;

using Handle = std::unique_ptr<qzlp, void (*)(qzlp*)>;

Handle newHandle() {
  return Handle(qzlp_create(), qzlp_destroy);
}

void setOption(qzlp* lp, const char* name, double value) {
  ASSERT_EQ(qzlp_setDoubleOption(lp, name, value), QZLP_OK) << qzlp_error(lp);
}

// Two rows, three columns; optimum 19.
LinearProgram tiny() {
  LinearProgram program;
  program.addRow(36.0, infinite);
  program.addRow(42.0, infinite);
  const double columns[3][3] = {{3.0, 4.0, 10.0}, {4.0, 6.0, 5.0}, {5.0, 12.0, 6.0}};
  for (const auto& column : columns) {
    program.addColumn(column[0], 0.0, infinite);
    program.addEntry(0, column[1]);
    program.addEntry(1, column[2]);
  }
  return program;
}

// With free, boxed and upper-bounded columns, ranges and equations: every kind of stage has something to do.
LinearProgram mixed() {
  Recipe recipe;
  recipe.numRow = 12;
  recipe.numCol = 18;
  recipe.freeColumns = 0.15;
  recipe.ranges = 0.2;
  return knownOptimum(recipe, 7).program;
}

void expectSolves(qzlp* lp, const LinearProgram& program) {
  const Answer answer = solveIn(lp, program);
  EXPECT_EQ(answer.status, QZLP_STATUS_OPTIMAL) << answer.log;
  EXPECT_TRUE(certify(program, answer).holds(1e-6)) << certify(program, answer).text();
}

class Faults : public testing::Test {
 protected:
  void TearDown() override {
    qzhost::failAllocation(0);
    EXPECT_EQ(qzhost::allPoolCounts().blocks, 0) << "blocks are left when all handles are gone";
    EXPECT_EQ(qzhost::allPoolCounts().bytes, 0);
  }
};

// Fails the k-th request for a resource of a solve for every k, until a solve needs fewer.
void failEveryRequest(const LinearProgram& program, bool andAllBehind, std::initializer_list<Choice> choices) {
  bool failed = true;
  int64_t k = 1;
  for (; failed; ++k) {
    SCOPED_TRACE("request " + std::to_string(k));
    const Handle lp = newHandle();
    ASSERT_NE(lp, nullptr);
    for (const Choice& choice : choices) setOption(lp.get(), choice.name.c_str(), choice.value);
    const ApiModel arrays(program);
    const qzlp_model model = arrays.view();
    ASSERT_EQ(qzlp_loadModel(lp.get(), &model), QZLP_OK) << qzlp_error(lp.get());
    const int64_t before = qzhost::allocationCount();
    qzhost::failAllocation(k, andAllBehind);
    const int returnCode = qzlp_solve(lp.get());
    failed = qzhost::allocationCount() - before >= k;
    qzhost::failAllocation(0);
    if (failed) {
      EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_OUT_OF_MEMORY);
      EXPECT_NE(returnCode, QZLP_OK);
    } else {
      EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_OPTIMAL);
    }
    const int64_t blocks = qzhost::allPoolCounts().blocks;
    expectSolves(lp.get(), program);
    const int64_t blocksAfterSuccess = qzhost::allPoolCounts().blocks;
    EXPECT_LE(blocks, blocksAfterSuccess) << "the failed solve keeps more than a successful one";
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(k, 20) << "a solve makes more requests than that";
}

TEST_F(Faults, EveryAllocationFailsOnceAugmented) {
  failEveryRequest(tiny(), false, {});
}
TEST_F(Faults, EveryAllocationFailsOnceNormal) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  failEveryRequest(tiny(), false, {{"method", 1}});
}
TEST_F(Faults, EveryAllocationFailsOnceMixedModel) {
  failEveryRequest(mixed(), false, {});
}
TEST_F(Faults, EveryAllocationFailsOnceMixedModelOwnPresolve) {
  failEveryRequest(mixed(), false, {{"presolve", 0}, {"method", hasNormalEquations() ? 1.0 : 0.0}});
}
TEST_F(Faults, EveryAllocationFromOneOnFails) {
  failEveryRequest(mixed(), true, {});
}

// Whether the build has the simplex module that a crossover needs.
bool hasCrossover() {
  static const bool has = solve(tiny(), {{"crossover", 1}}).status == QZLP_STATUS_OPTIMAL;
  return has;
}

TEST_F(Faults, EveryAllocationFailsOnceCrossover) {
  if (!hasCrossover()) GTEST_SKIP() << "this build has no simplex module";
  failEveryRequest(mixed(), false, {{"crossover", 1}});
}

struct BreakAt {
  int poll = 0;  // the poll that asks to stop
  int seen = 0;
};

int breakAtPoll(void* userData) {
  auto* at = static_cast<BreakAt*>(userData);
  return ++at->seen >= at->poll ? 1 : 0;
}

void breakEveryPoll(std::initializer_list<Choice> choices) {
  const LinearProgram program = mixed();
  const Handle lp = newHandle();
  ASSERT_NE(lp, nullptr);
  for (const Choice& choice : choices) setOption(lp.get(), choice.name.c_str(), choice.value);
  for (int k = 1;; ++k) {
    SCOPED_TRACE("poll " + std::to_string(k));
    BreakAt at{k};
    ASSERT_EQ(qzlp_setBreakCallback(lp.get(), breakAtPoll, &at), QZLP_OK);
    const Answer answer = solveIn(lp.get(), program);
    ASSERT_EQ(qzlp_setBreakCallback(lp.get(), nullptr, nullptr), QZLP_OK);
    if (at.seen < k) {
      EXPECT_EQ(answer.status, QZLP_STATUS_OPTIMAL);
      EXPECT_GT(k, 5) << "a solve polls more often than that";
      break;
    }
    ASSERT_EQ(answer.status, QZLP_STATUS_INTERRUPTED) << answer.log;
    ASSERT_EQ(answer.returnCode, QZLP_OK);
    expectSolves(lp.get(), tiny());
  }
  expectSolves(lp.get(), program);
}

TEST_F(Faults, ABreakAtEveryPollAugmented) {
  breakEveryPoll({});
}
TEST_F(Faults, ABreakAtEveryPollNormal) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  breakEveryPoll({{"method", 1}});
}
TEST_F(Faults, ABreakAtEveryPollOwnPresolve) {
  breakEveryPoll({{"presolve", 0}});
}

// Sets the cancel word of the calling thread at a poll, without asking to stop: the next analysis, factorisation or
// solve finds it set.
int cancelAtPoll(void* userData) {
  auto* at = static_cast<BreakAt*>(userData);
  QzThread* thread = qzhost::currentThread(qzhost::hostTable());
  if (++at->seen == at->poll) thread->signal(thread, 0, 0);
  return 0;
}

void cancelAtEveryPoll(const LinearProgram& program, std::initializer_list<Choice> choices) {
  const Handle lp = newHandle();
  ASSERT_NE(lp, nullptr);
  for (const Choice& choice : choices) setOption(lp.get(), choice.name.c_str(), choice.value);
  QzThread* thread = qzhost::currentThread(qzhost::hostTable());
  int interrupted = 0;
  for (int k = 1;; ++k) {
    SCOPED_TRACE("poll " + std::to_string(k));
    BreakAt at{k};
    ASSERT_EQ(qzlp_setBreakCallback(lp.get(), cancelAtPoll, &at), QZLP_OK);
    const Answer answer = solveIn(lp.get(), program);
    thread->signal(thread, 1, 0);
    ASSERT_EQ(qzlp_setBreakCallback(lp.get(), nullptr, nullptr), QZLP_OK);
    if (at.seen < k) {
      EXPECT_EQ(answer.status, QZLP_STATUS_OPTIMAL);
      break;
    }
    if (k == 1) {
      EXPECT_EQ(answer.status, QZLP_STATUS_INTERRUPTED) << "the ordering comes behind the first poll";
    }
    // Behind the last factorisation nobody looks at the word any more.
    ASSERT_TRUE(answer.status == QZLP_STATUS_INTERRUPTED || answer.status == QZLP_STATUS_OPTIMAL) << answer.log;
    ASSERT_EQ(answer.returnCode, QZLP_OK);
    interrupted += answer.status == QZLP_STATUS_INTERRUPTED ? 1 : 0;
  }
  EXPECT_GE(interrupted, 5);
  expectSolves(lp.get(), program);
}

// Models whose augmented systems differ in their average degree, by which the ordering is chosen: with 3 and 9 entries
// a column the dissection (3.58 and 10.4), with 4 minimum fill (4.63), with 6 minimum degree (7.03).
LinearProgram ofDegree(int entriesPerColumn) {
  Recipe recipe;
  recipe.numRow = 60;
  recipe.numCol = 90;
  recipe.entriesPerColumn = entriesPerColumn;
  return knownOptimum(recipe, static_cast<uint64_t>(entriesPerColumn)).program;
}

TEST_F(Faults, ACancelledThreadEndsTheSolveAugmented) {
  for (const int entries : {3, 4, 6, 9}) {
    SCOPED_TRACE(entries);
    cancelAtEveryPoll(ofDegree(entries), {});
  }
}
TEST_F(Faults, ACancelledThreadEndsTheSolveNormal) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  cancelAtEveryPoll(mixed(), {{"method", 1}});
}

TEST_F(Faults, ABreakAtEveryPollCrossover) {
  if (!hasCrossover()) GTEST_SKIP() << "this build has no simplex module";
  breakEveryPoll({{"crossover", 1}});
  breakEveryPoll({{"crossover", 2}});
}

TEST_F(Faults, NoIterationsGiveTheIterationLimit) {
  const Handle lp = newHandle();
  setOption(lp.get(), "maxIter", 0);
  EXPECT_EQ(solveIn(lp.get(), mixed()).status, QZLP_STATUS_ITERATION_LIMIT);
  EXPECT_EQ(qzlp_iterations(lp.get()), 0);
  ASSERT_EQ(qzlp_resetOptions(lp.get()), QZLP_OK);
  expectSolves(lp.get(), mixed());
}

TEST_F(Faults, EveryIterationLimitIsKept) {
  const Handle lp = newHandle();
  for (int limit = 1; limit <= 4; ++limit) {
    setOption(lp.get(), "maxIter", limit);
    const Answer answer = solveIn(lp.get(), mixed());
    EXPECT_EQ(answer.status, QZLP_STATUS_ITERATION_LIMIT);
    EXPECT_EQ(answer.iterations, limit);
  }
}

TEST_F(Faults, NoTimeGivesTheTimeLimit) {
  const Handle lp = newHandle();
  for (const double timeType : {0.0, 1.0}) {
    setOption(lp.get(), "timeType", timeType);
    setOption(lp.get(), "timeLimit", 0.0);
    EXPECT_EQ(solveIn(lp.get(), mixed()).status, QZLP_STATUS_TIME_LIMIT) << "time type " << timeType;
    setOption(lp.get(), "timeLimit", 1e6);
    expectSolves(lp.get(), mixed());
  }
}

TEST_F(Faults, EverySolveHasTheWholeTimeLimit) {
  const Handle lp = newHandle();
  setOption(lp.get(), "timeLimit", 1000.0);
  for (int i = 0; i < 3; ++i) expectSolves(lp.get(), tiny());
  double limit = 0.0;
  ASSERT_EQ(qzlp_getDoubleOption(lp.get(), "timeLimit", &limit), QZLP_OK);
  EXPECT_EQ(limit, 1000.0);
}

}  // namespace
