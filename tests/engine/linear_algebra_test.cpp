// The engine's side of the sparse solvers: statuses, handles and their mirror in the instance, times.
#include "engine/linear_algebra.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "engine/dense_ldl.h"
#include "shell/pool.h"
#include "support/test_host.h"

namespace {

using qztest::DenseLdl;
using qztest::denseLdl;
using qztest::TestHost;

// A timer module whose CPU clock advances by one second at each reading.
struct FakeTimer {
  QzTimerModule module{};
  qz::IPM_timer timer{};

  FakeTimer() {
    module.takeSample = [](QzTimerModule*, QzTimerSample*) -> int32_t { return 0; };
    module.difference = [](QzTimerModule*, const QzTimerSample*, const QzTimerSample*,
                           QzTimerDifference* out) -> int32_t {
      static int64_t seconds = 0;
      *out = QzTimerDifference{};
      out->seconds = ++seconds;
      return 0;
    };
    timer.ticksPerSecond = 1000000.0;
    timer.perfModule = &module;
  }
};

// The matrix [2 1; 1 3], both triangles.
struct Small {
  int32_t begin[3] = {0, 2, 4};
  int32_t index[4] = {0, 1, 0, 1};
  double value[4] = {2, 1, 1, 3};
  double v[2] = {3, 4};  // solution (1, 1)
};

class LinearAlgebra : public testing::Test {
 protected:
  LinearAlgebra() {
    denseLdl = DenseLdl{};
    env.pool = host.pool();
  }
  void TearDown() override {
    qz::laCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory, &cholFactor, &cholMemory);
    EXPECT_EQ(host.outstanding(), 0);
  }
  void create() {
    ASSERT_EQ(qz::laEnvCreate(&env, nullptr, &laEnv), 0);
    ASSERT_EQ(qz::ldlSetup(laEnv, 1, 1), 0);
  }
  int32_t analyze(qz::IPM_timer* timer = nullptr, double* time = nullptr) {
    return qz::ldlAnalyze(&env, 2, small.begin, small.index, small.value, laEnv, &ldlFactor, &ldlMemory, timer, time);
  }
  int32_t factorize(qz::IPM_timer* timer = nullptr, double* time = nullptr) {
    return qz::ldlFactorize(&env, 2, small.begin, small.index, small.value, laEnv, ldlFactor, ldlMemory, timer, time);
  }
  int32_t solve(qz::IPM_timer* timer = nullptr, double* time = nullptr) {
    return qz::ldlSolve(&env, 0, 2, 0, small.begin, small.index, small.value, small.v, laEnv, ldlFactor, ldlMemory,
                        timer, time);
  }

  TestHost host;
  qz::Env env{};
  Small small;
  qz::LAEnv* laEnv = nullptr;
  qz::SymbolicFactor* ldlFactor = nullptr;
  qz::NumericFactor* ldlMemory = nullptr;
  qz::SymbolicFactor* cholFactor = nullptr;
  qz::NumericFactor* cholMemory = nullptr;
};

TEST_F(LinearAlgebra, EnvironmentComesFromTheGivenPoolOrTheInstances) {
  EXPECT_EQ(qz::laEnvCreate(&env, nullptr, &laEnv), 0);
  EXPECT_EQ(laEnv->memory, env.pool);
  EXPECT_EQ(env.laEnv, laEnv);
  qz::ldlCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory);
  EXPECT_EQ(env.laEnv, nullptr);

  QzPool* other = host.table()->createPool(host.table(), nullptr, nullptr, L"other", 5, 0);
  EXPECT_EQ(qz::laEnvCreate(&env, other, &laEnv), 0);
  EXPECT_EQ(laEnv->memory, other);
  qz::ldlCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory);
  EXPECT_EQ(qz::laEnvCreate(nullptr, other, &laEnv), 0);  // no instance at all
  qz::ldlCleanUpAll(nullptr, &laEnv, &ldlFactor, &ldlMemory);
  other->destroy(other);
}

TEST_F(LinearAlgebra, EnvironmentWithoutPoolOrMemory) {
  EXPECT_EQ(qz::laEnvCreate(nullptr, nullptr, &laEnv), 10);
  EXPECT_EQ(laEnv, nullptr);
  qz::Env poolless{};
  EXPECT_EQ(qz::laEnvCreate(&poolless, nullptr, &laEnv), 10);
  host.failAllocation(1);
  EXPECT_EQ(qz::laEnvCreate(&env, nullptr, &laEnv), -1086);
  host.failAllocation(0);
  EXPECT_EQ(laEnv, nullptr);
  EXPECT_EQ(env.laEnv, nullptr);
}

TEST_F(LinearAlgebra, SetUpsSetTheirKeysAndRestoreWhatASolveLeft) {
  host.setOption(L"host.cpucorecount", 4);
  ASSERT_EQ(qz::laEnvCreate(&env, nullptr, &laEnv), 0);
  laEnv->maxRefine = 1;
  laEnv->orderingMethod = 3;
  laEnv->numThreads = 1;
  EXPECT_EQ(qz::ldlSetup(laEnv, 17, 3), 0);
  EXPECT_EQ(laEnv->problemKind, 1);
  EXPECT_EQ(laEnv->orderingMethod, -1);
  EXPECT_EQ(laEnv->numLeadingRows, 17);
  EXPECT_EQ(laEnv->numThreads, 3);
  EXPECT_EQ(laEnv->maxRefine, 64);
  laEnv->orderingMethod = 3;
  EXPECT_EQ(qz::chSetup(laEnv, 2), 0);
  EXPECT_EQ(laEnv->problemKind, 0);
  EXPECT_EQ(laEnv->orderingMethod, -1);
  EXPECT_EQ(laEnv->numThreads, 2);
}

TEST_F(LinearAlgebra, SetUpsRefuseBadValues) {
  ASSERT_EQ(qz::laEnvCreate(&env, nullptr, &laEnv), 0);
  EXPECT_EQ(qz::ldlSetup(laEnv, 1, 0), 10);
  EXPECT_EQ(qz::ldlSetup(laEnv, -1, 1), 10);
  EXPECT_EQ(qz::ldlSetup(laEnv, 0, 1), 0);
  EXPECT_EQ(qz::chSetup(laEnv, 0), 10);
  EXPECT_EQ(qz::ldlSetup(nullptr, 1, 1), 10);
  EXPECT_EQ(qz::chSetup(nullptr, 1), 10);
}

TEST_F(LinearAlgebra, PhasesSolveAndTheInstanceMirrorsTheHandles) {
  create();
  EXPECT_EQ(analyze(), 0);
  EXPECT_EQ(env.ldlFactor, ldlFactor);
  EXPECT_EQ(env.ldlMemory, ldlMemory);
  EXPECT_EQ(factorize(), 0);
  EXPECT_EQ(solve(), 0);
  EXPECT_NEAR(small.v[0], 1.0, 1e-14);
  EXPECT_NEAR(small.v[1], 1.0, 1e-14);
  qz::ldlCleanUp(&env, laEnv, &ldlFactor, &ldlMemory);
  EXPECT_EQ(ldlFactor, nullptr);
  EXPECT_EQ(ldlMemory, nullptr);
  EXPECT_EQ(env.ldlFactor, nullptr);
  EXPECT_EQ(env.ldlMemory, nullptr);
  EXPECT_NE(laEnv, nullptr);
}

TEST_F(LinearAlgebra, AnalysisStatuses) {
  create();
  for (auto [from, to] :
       {std::pair{0, 0}, {1, -1086}, {4, -1086}, {13, 12}, {2, 10}, {5, 10}, {9, 10}, {6, 10}, {8, 10}}) {
    denseLdl.analyzeStatus = from;
    EXPECT_EQ(analyze(), to) << from;
    EXPECT_EQ(env.ldlFactor, ldlFactor);
    qz::ldlCleanUp(&env, laEnv, &ldlFactor, &ldlMemory);
  }
}

TEST_F(LinearAlgebra, FactorisationStatuses) {
  create();
  ASSERT_EQ(analyze(), 0);
  for (auto [from, to] : {std::pair{0, 0}, {1, -1086}, {4, 10}, {13, 12}, {2, 10}, {9, 10}, {8, 10}}) {
    denseLdl.factorStatus = from;
    EXPECT_EQ(factorize(), to) << from;
  }
}

TEST_F(LinearAlgebra, SolveStatuses) {
  create();
  ASSERT_EQ(analyze(), 0);
  for (auto [from, to] :
       {std::pair{0, 0}, {6, 0}, {7, 0}, {1, -1086}, {13, 12}, {8, 100}, {2, 100}, {4, 100}, {9, 100}}) {
    denseLdl.solveStatus = from;
    EXPECT_EQ(solve(), to) << from;
  }
}

TEST_F(LinearAlgebra, PhasesRefuseHandlesInTheWrongState) {
  EXPECT_EQ(analyze(), 10);  // no environment
  EXPECT_EQ(factorize(), 10);
  EXPECT_EQ(solve(), 10);
  create();
  EXPECT_EQ(factorize(), 10);  // no handles
  EXPECT_EQ(solve(), 10);
  ASSERT_EQ(analyze(), 0);
  EXPECT_EQ(analyze(), 10);  // handles in use
  qz::SymbolicFactor* const factor = std::exchange(ldlFactor, nullptr);
  EXPECT_EQ(analyze(), 10);  // one of them
  EXPECT_EQ(factorize(), 10);
  EXPECT_EQ(solve(), 10);
  ldlFactor = factor;
  qz::NumericFactor* const memory = std::exchange(ldlMemory, nullptr);
  EXPECT_EQ(analyze(), 10);
  EXPECT_EQ(factorize(), 10);
  EXPECT_EQ(solve(), 10);
  ldlMemory = memory;
  EXPECT_EQ(denseLdl.analyses, 1);
  EXPECT_EQ(denseLdl.factorisations, 0);
  EXPECT_EQ(denseLdl.solves, 0);
}

TEST_F(LinearAlgebra, TimesAddUpWithATimerOnly) {
  create();
  FakeTimer clock;
  double times[3] = {10.0, 20.0, 30.0};
  ASSERT_EQ(analyze(&clock.timer, &times[0]), 0);
  ASSERT_EQ(factorize(&clock.timer, &times[1]), 0);
  ASSERT_EQ(factorize(&clock.timer, &times[1]), 0);
  ASSERT_EQ(solve(&clock.timer, &times[2]), 0);
  EXPECT_DOUBLE_EQ(times[0], 11.0);
  EXPECT_DOUBLE_EQ(times[1], 22.0);
  EXPECT_DOUBLE_EQ(times[2], 31.0);
  ASSERT_EQ(solve(nullptr, &times[2]), 0);
  ASSERT_EQ(solve(&clock.timer, nullptr), 0);
  EXPECT_DOUBLE_EQ(times[2], 31.0);
}

TEST_F(LinearAlgebra, CleanUpsDoNothingWithoutEnvironment) {
  qz::ldlCleanUp(&env, nullptr, &ldlFactor, &ldlMemory);
  qz::chCleanUp(&env, nullptr, &cholFactor, &cholMemory);
  qz::ldlCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory);
  qz::chCleanUpAll(&env, &laEnv, &cholFactor, &cholMemory);
  qz::laCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory, &cholFactor, &cholMemory);
  EXPECT_EQ(denseLdl.cleanUpsLdl, 0);
  EXPECT_EQ(denseLdl.cleanUpsChol, 0);
}

TEST_F(LinearAlgebra, CleanUpsCallTheSolverOnlyForHandlesThatAreSet) {
  create();
  qz::ldlCleanUp(&env, laEnv, &ldlFactor, &ldlMemory);
  EXPECT_EQ(denseLdl.cleanUpsLdl, 0);
  ldlFactor = qz::poolAllocateZero<qz::SymbolicFactor>(env.pool, 1);  // one of the two is enough
  qz::ldlCleanUp(&env, laEnv, &ldlFactor, &ldlMemory);
  EXPECT_EQ(denseLdl.cleanUpsLdl, 1);
  cholMemory = qz::poolAllocateZero<qz::NumericFactor>(env.pool, 1);
  env.cholMemory = cholMemory;
  qz::chCleanUp(&env, laEnv, &cholFactor, &cholMemory);
  EXPECT_EQ(denseLdl.cleanUpsChol, 1);
  EXPECT_EQ(env.cholMemory, nullptr);
  qz::chCleanUpAll(&env, &laEnv, &cholFactor, &cholMemory);
  EXPECT_EQ(denseLdl.cleanUpsChol, 1);
  EXPECT_EQ(laEnv, nullptr);
  EXPECT_EQ(env.laEnv, nullptr);
}

TEST_F(LinearAlgebra, TheLastCleanUpClearsAllHandlesInBothPlaces) {
  create();
  ASSERT_EQ(analyze(), 0);
  cholFactor = qz::poolAllocateZero<qz::SymbolicFactor>(env.pool, 1);
  env.cholFactor = cholFactor;
  qz::laCleanUpAll(&env, &laEnv, &ldlFactor, &ldlMemory, &cholFactor, &cholMemory);
  EXPECT_EQ(laEnv, nullptr);
  EXPECT_EQ(ldlFactor, nullptr);
  EXPECT_EQ(ldlMemory, nullptr);
  EXPECT_EQ(cholFactor, nullptr);
  EXPECT_EQ(cholMemory, nullptr);
  EXPECT_EQ(env.laEnv, nullptr);
  EXPECT_EQ(env.ldlFactor, nullptr);
  EXPECT_EQ(env.ldlMemory, nullptr);
  EXPECT_EQ(env.cholFactor, nullptr);
  EXPECT_EQ(env.cholMemory, nullptr);
  EXPECT_EQ(host.outstanding(), 0);
}

// solveEquationLDL

class EquationSolve : public LinearAlgebra {
 protected:
  int32_t run(QzPool* memory = nullptr) {
    return qz::solveEquationLDL(&env, 0, memory, 2, 1, 1, small.begin, small.index, small.value, small.v, nullptr,
                                nullptr, nullptr, nullptr);
  }
  // Runs with an engine's handles in the instance and expects them untouched.
  int32_t runBesideTheEngine() {
    int engine[3];
    env.laEnv = &engine[0];
    env.ldlFactor = &engine[1];
    env.ldlMemory = &engine[2];
    const int64_t before = host.outstanding();
    const int32_t status = run();
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(env.laEnv, &engine[0]);
    EXPECT_EQ(env.ldlFactor, &engine[1]);
    EXPECT_EQ(env.ldlMemory, &engine[2]);
    env.laEnv = env.ldlFactor = env.ldlMemory = nullptr;
    return status;
  }
};

TEST_F(EquationSolve, SolvesAndLeavesTheInstanceAsItWas) {
  EXPECT_EQ(runBesideTheEngine(), 0);
  EXPECT_NEAR(small.v[0], 1.0, 1e-14);
  EXPECT_NEAR(small.v[1], 1.0, 1e-14);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(env.laEnv, nullptr);
  EXPECT_EQ(env.ldlFactor, nullptr);
  EXPECT_EQ(env.ldlMemory, nullptr);
}

TEST_F(EquationSolve, EveryFailureLeavesTheInstanceAsItWas) {
  for (int32_t status : {1, 2, 4, 9, 13}) {
    denseLdl = DenseLdl{};
    denseLdl.analyzeStatus = status;
    EXPECT_NE(runBesideTheEngine(), 0) << status;
    denseLdl.analyzeLeavesHandles = false;
    EXPECT_NE(runBesideTheEngine(), 0) << status;
    EXPECT_EQ(denseLdl.factorisations, 0);
    denseLdl = DenseLdl{};
    denseLdl.factorStatus = status;
    EXPECT_NE(runBesideTheEngine(), 0) << status;
    EXPECT_EQ(denseLdl.solves, 0);
    denseLdl = DenseLdl{};
    denseLdl.solveStatus = status;
    EXPECT_NE(runBesideTheEngine(), 0) << status;
  }
}

TEST_F(EquationSolve, HandsOnTheFirstFailure) {
  denseLdl.analyzeStatus = 13;
  denseLdl.factorStatus = 1;
  EXPECT_EQ(run(), 12);
  denseLdl.analyzeStatus = 0;
  EXPECT_EQ(run(), -1086);
  denseLdl.factorStatus = 0;
  denseLdl.solveStatus = 8;
  EXPECT_EQ(run(), 100);
  denseLdl.solveStatus = 7;
  EXPECT_EQ(run(), 0);
}

TEST_F(EquationSolve, EveryFailedAllocationIsReported) {
  int64_t k = 1;
  for (;; ++k) {
    host.failAllocation(k);
    const int32_t status = runBesideTheEngine();
    host.failAllocation(0);
    if (status == 0) break;
    EXPECT_EQ(status, -1086) << k;
  }
  EXPECT_EQ(k, 4);  // environment and two handles
}

TEST_F(EquationSolve, NeedsAPool) {
  env.pool = nullptr;
  EXPECT_EQ(run(), 10);
  EXPECT_EQ(run(host.pool()), 0);
  EXPECT_EQ(qz::solveEquationLDL(nullptr, 0, host.pool(), 2, 1, 1, small.begin, small.index, small.value, small.v,
                                 nullptr, nullptr, nullptr, nullptr),
            0);
}

TEST_F(EquationSolve, SetsTheLeadingSizeAndAddsTheTimes) {
  FakeTimer clock;
  double times[3] = {0.0, 0.0, 0.0};
  EXPECT_EQ(qz::solveEquationLDL(&env, 0, nullptr, 2, 1, 1, small.begin, small.index, small.value, small.v,
                                 &clock.timer, &times[0], &times[1], &times[2]),
            0);
  EXPECT_EQ(denseLdl.lastLeading, 1);
  for (double time : times) EXPECT_DOUBLE_EQ(time, 1.0);
  EXPECT_EQ(qz::solveEquationLDL(&env, 0, nullptr, 2, 1, 0, small.begin, small.index, small.value, small.v, nullptr,
                                 nullptr, nullptr, nullptr),
            10);  // no threads
}

}  // namespace
