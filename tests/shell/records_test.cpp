// Solutions, pool arrays, the host table's helpers.
#include "shell/records.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "shell/pool.h"
#include "support/test_host.h"
#include "transform/hub.h"

namespace {

using namespace qz;

class Records : public ::testing::Test {
 protected:
  Records() { env.pool = host.pool(); }
  qztest::TestHost host;
  Env env{};
};

TEST_F(Records, SolutionOwnsFiveZeroArraysAndNotTheGivenOnes) {
  std::vector<double> primal = {1, 2, 3}, dual = {4, 5};
  Solution* solution = nullptr;
  ASSERT_EQ(NewSolution(&env, &solution, 2, 3, primal.data(), dual.data()), 0);
  EXPECT_EQ(solution->primal, primal.data());
  EXPECT_EQ(solution->dual, dual.data());
  for (const double* array : {solution->lowerSlack, solution->upperSlack, solution->lowerDual, solution->upperDual})
    for (int j = 0; j < 3; ++j) EXPECT_EQ(array[j], 0.0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(solution->ineqnSlack[i], 0.0);
  EXPECT_EQ(host.outstanding(), 6);
  FreeSolution(&env, &solution);
  EXPECT_EQ(solution, nullptr);
  EXPECT_EQ(host.outstanding(), 0);
  EXPECT_EQ(primal, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(dual, (std::vector<double>{4, 5}));
}

TEST_F(Records, EmptySolutionIsNoFailure) {
  Solution* solution = nullptr;
  ASSERT_EQ(NewSolution(&env, &solution, 0, 0, nullptr, nullptr), 0);
  FreeSolution(&env, &solution);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(Records, FreeSolutionAcceptsNull) {
  Solution* none = nullptr;
  FreeSolution(&env, nullptr);
  FreeSolution(&env, &none);
}

TEST_F(Records, SolutionGivesBackWhatItHadOnEachFailure) {
  for (int64_t k = 1; k <= 6; ++k) {
    Solution* solution = nullptr;
    host.failAllocation(k);
    EXPECT_EQ(NewSolution(&env, &solution, 4, 5, nullptr, nullptr), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(solution, nullptr);
    EXPECT_EQ(host.outstanding(), 0);
  }
}

TEST_F(Records, FormatTurnsTheUpperDualsAndAddsUp) {
  std::vector<double> reducedCost = {9, 9, 9}, lowerDual = {2, 0, 0}, upperDual = {0, 3, 0.5};
  std::vector<double> primal = {1, 1, 1}, lowerSlack = {5, 5, 5}, dual = {6};
  std::vector<double> keptUpper = {1, -2, 3}, keptLower = {4, 5, 6};
  Model model{};
  model.numCol = 3;
  model.reducedCost = reducedCost.data();
  Solution solution{};
  solution.primal = primal.data();
  solution.dual = dual.data();
  solution.lowerSlack = lowerSlack.data();
  solution.lowerDual = lowerDual.data();
  solution.upperDual = upperDual.data();
  Hub hub{};
  FormatSolution(&model, &solution, &hub);
  EXPECT_EQ(upperDual, (std::vector<double>{-0.0, -3, -0.5}));
  EXPECT_EQ(reducedCost, (std::vector<double>{2, -3, -0.5}));
  EXPECT_EQ(lowerDual, (std::vector<double>{2, 0, 0}));
  EXPECT_EQ(primal, (std::vector<double>{1, 1, 1}));
  EXPECT_EQ(lowerSlack, (std::vector<double>{5, 5, 5}));
  EXPECT_EQ(dual, (std::vector<double>{6}));

  KeptSolution kept{};
  kept.upperDualDelta = keptUpper.data();
  kept.lowerDualDelta = keptLower.data();
  hub.keptSolution = &kept;
  FormatSolution(&model, &solution, &hub);
  EXPECT_EQ(keptUpper, (std::vector<double>{-1, 2, -3}));
  EXPECT_EQ(keptLower, (std::vector<double>{4, 5, 6}));
  EXPECT_EQ(upperDual, (std::vector<double>{0, 3, 0.5}));
}

TEST_F(Records, DestructorsGiveOnlyTheRecordsBack) {
  auto* model = poolAllocateZero<Model>(env.pool, 1);
  model->obj = poolAllocate<double>(env.pool, 4);
  double* obj = model->obj;
  DestroyModel(env.pool, model);
  EXPECT_EQ(host.outstanding(), 1);
  poolFree(env.pool, obj);
  DestroyOption(env.pool, poolAllocateZero<IpmOption>(env.pool, 1));
  EXPECT_EQ(host.outstanding(), 0);
  DestroyModel(env.pool, nullptr);
  DestroyOption(env.pool, nullptr);
}

TEST_F(Records, PoolArraysMoveReleaseAndFree) {
  {
    PoolArray<double> a;
    EXPECT_FALSE(a);
    ASSERT_EQ(a.allocateZero(env.pool, 10), 0);
    EXPECT_EQ(a[9], 0.0);
    PoolArray<double> b = std::move(a);
    EXPECT_EQ(b.size(), 10);
    PoolArray<double> c;
    ASSERT_EQ(c.allocate(env.pool, 3), 0);
    c = std::move(b);
    EXPECT_EQ(c.size(), 10);
    EXPECT_EQ(host.outstanding(), 1);
    double* kept = c.release();
    EXPECT_FALSE(c);
    poolFree(env.pool, kept);
    EXPECT_EQ(kept, nullptr);
    ASSERT_EQ(c.allocate(env.pool, 0), 0) << "no entries is no failure";
    ASSERT_EQ(c.allocate(env.pool, 7), 0);
  }
  EXPECT_EQ(host.outstanding(), 0);
  PoolArray<double> none;
  EXPECT_EQ(none.allocate(env.pool, -1), -1086);
  EXPECT_EQ(none.allocate(env.pool, INT64_MAX), -1086);
  host.failAllocation(1);
  EXPECT_EQ(none.allocate(env.pool, 1), -1086);
}

TEST(HostTable, HelpersWorkWithAndWithoutAHost) {
  EXPECT_EQ(wvStrTLen(L"host.cpucount"), QZ_OPTION_CPUCOUNT_LENGTH);
  EXPECT_EQ(wvStrTLen(L"host.cpucorecount"), QZ_OPTION_CPUCORECOUNT_LENGTH);
  EXPECT_EQ(wvStrTLen(L""), 0);
  EXPECT_EQ(wvStrTLen(nullptr), 0);
  int64_t value = 7;
  ASSERT_EQ(Exported_QZHandle, nullptr);
  EXPECT_FALSE(hostIntegerOption(L"a", 1, value));
  EXPECT_EQ(qzzdtgmt(), 0.0);
  EXPECT_EQ(hostCurrentThread(), nullptr);
  EXPECT_FALSE(threadCancelled(nullptr));
  qztest::TestHost host;
  EXPECT_EQ(qzzdtgmt(), 1000.0);
  EXPECT_FALSE(hostIntegerOption(L"a", 1, value));
  EXPECT_EQ(value, 7);
  host.setOption(L"a", 12);
  EXPECT_TRUE(hostIntegerOption(L"abc", 1, value)) << "the length counts, not an end mark";
  EXPECT_EQ(value, 12);
  EXPECT_FALSE(threadCancelled(hostCurrentThread()));
  host.cancelThread(true);
  EXPECT_TRUE(threadCancelled(hostCurrentThread()));
}

}  // namespace
