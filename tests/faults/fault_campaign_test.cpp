// Every kind of fault at every place of every route. Afterwards the status is the one that belongs to the fault, no
// more is kept than a good solve keeps, and the same handle solves the model and another one as if nothing had been.
//
// Every QZ_FAULT_STRIDE-th place is tried, from one on that differs by the route; with 1 all of them are.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "faults/fault_routes.h"
#include "host/faults.h"
#include "host/pools.h"
#include "host/service_table.h"
#include "host/threads.h"
#include "models/certificate.h"

namespace {

using namespace faults;
using models::Answer;
using models::ApiModel;
using models::Choice;
using qzhost::Request;

using Handle = std::unique_ptr<qzlp, void (*)(qzlp*)>;

// A kind of fault, and the statuses that a solve may end with when it has struck.
struct Fault {
  const char* name;
  std::vector<int> statuses;
  bool mayPass = false;  // it may strike too late to matter; then the route's own status stands
  virtual void arm(int64_t k) const = 0;
  virtual int64_t count() const = 0;  // of the places passed so far
  virtual void disarm() const { arm(0); }
  Fault(const char* itsName, std::vector<int> itsStatuses, bool itMayPass = false)
      : name(itsName), statuses(std::move(itsStatuses)), mayPass(itMayPass) {}
  virtual ~Fault() = default;
};

// The k-th request of a kind fails.
struct RequestFault : Fault {
  Request kind;
  RequestFault(const char* itsName, Request itsKind, std::vector<int> itsStatuses, bool itMayPass = false)
      : Fault(itsName, std::move(itsStatuses), itMayPass), kind(itsKind) {}
  void arm(int64_t k) const override { qzhost::failRequest(kind, k); }
  int64_t count() const override { return qzhost::requestCount(kind); }
};

// Where the first request to fail is a thread, the factorisation has failed.
struct MemoryFromOneOn : Fault {
  MemoryFromOneOn() : Fault("all memory from the k-th request on", {-1086, 10}) {}
  void arm(int64_t k) const override { qzhost::failAllocation(k, true); }
  int64_t count() const override { return qzhost::allocationCount(); }
};

// What the break callback does at its k-th call.
struct Poll {
  int64_t at = 0;
  int64_t seen = 0;
  bool cancels = false;  // cancels the calling thread in place of asking for a break
};
Poll poll;

void cancelCaller(bool cancel) {
  QzThread* thread = qzhost::currentThread(qzhost::hostTable());
  thread->signal(thread, cancel ? 0 : 1, 0);
}

int answerPoll(void*) {
  if (++poll.seen != poll.at) return 0;
  if (!poll.cancels) return 1;
  cancelCaller(true);
  return 0;
}

struct PollFault : Fault {
  bool cancels;
  PollFault(const char* itsName, bool itCancels) : Fault(itsName, {12}, itCancels), cancels(itCancels) {}
  void arm(int64_t k) const override {
    poll.at = k == 0 ? 0 : poll.seen + k;
    poll.cancels = cancels;
  }
  int64_t count() const override { return poll.seen; }
  void disarm() const override {
    arm(0);
    cancelCaller(false);
  }
};

struct Tally {
  int points = 0, struck = 0, failures = 0;
};

class FaultCampaign : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(qzhost::allPoolCounts().blocks, 0) << "blocks are left when all handles are gone";
    EXPECT_EQ(qzhost::allPoolCounts().bytes, 0);
  }

  static Handle open(const Route& route) {
    Handle lp(qzlp_create(), qzlp_destroy);
    for (const Choice& choice : route.choices)
      EXPECT_EQ(qzlp_setDoubleOption(lp.get(), choice.name.c_str(), choice.value), QZLP_OK) << qzlp_error(lp.get());
    EXPECT_EQ(qzlp_setDoubleOption(lp.get(), "timeType", 1), QZLP_OK);
    EXPECT_EQ(qzlp_setDoubleOption(lp.get(), "timeLimit", 1e6), QZLP_OK);
    EXPECT_EQ(qzlp_setBreakCallback(lp.get(), answerPoll, nullptr), QZLP_OK);
    return lp;
  }

  // A solve without a fault.
  static bool solvesAsEver(qzlp* lp, const models::LinearProgram& program, int status) {
    const Answer answer = solveIn(lp, program);
    EXPECT_EQ(answer.status, status) << answer.log;
    if (status != 1) return answer.status == status;
    const bool certified = certify(program, answer).holds(1e-6);
    EXPECT_TRUE(certified) << certify(program, answer).text();
    return answer.status == status && certified;
  }

  static bool isExpected(const Route& route, const Fault& fault, int status) {
    const auto& list = fault.statuses;
    return std::find(list.begin(), list.end(), status) != list.end() || (fault.mayPass && status == route.status);
  }

  // One place. False when the solve does not get there.
  static bool strike(const Route& route, const Fault& fault, int64_t k, Tally& tally) {
    const Handle lp = open(route);
    const ApiModel arrays(route.program);
    const qzlp_model model = arrays.view();
    const qzlp_quadratic quadratic = arrays.quadraticView();
    EXPECT_EQ(qzlp_loadModel(lp.get(), &model), QZLP_OK) << qzlp_error(lp.get());
    if (!route.program.curvature.empty()) {
      EXPECT_EQ(qzlp_loadQuadratic(lp.get(), &quadratic), QZLP_OK);
    }
    const int64_t before = fault.count();
    fault.arm(k);
    (void)qzlp_solve(lp.get());
    const bool reached = fault.count() - before >= k;
    fault.disarm();
    const int status = qzlp_status(lp.get());
    bool good = reached ? isExpected(route, fault, status) : status == route.status;
    EXPECT_TRUE(good) << "status " << status << (reached ? "" : " without the fault");
    const int64_t kept = qzhost::allPoolCounts().blocks;
    good = solvesAsEver(lp.get(), route.program, route.status) && good;
    const bool keepsMore = kept > qzhost::allPoolCounts().blocks;
    EXPECT_FALSE(keepsMore) << "the solve with the fault keeps more than one without";
    good = solvesAsEver(lp.get(), tinyProgram(), 1) && good && !keepsMore;
    if (reached) {
      ++tally.points;
      tally.struck += status != route.status ? 1 : 0;
      tally.failures += good ? 0 : 1;
    }
    return reached;
  }

  static void runRoute(const Route& route, const Fault& fault, int64_t first, Tally& tally) {
    SCOPED_TRACE(route.name + ", " + fault.name);
    forcePlan(route.plan);
    const int failuresBefore = tally.failures;
    for (int64_t k = first; tally.failures < failuresBefore + 3; k += QZ_FAULT_STRIDE) {
      SCOPED_TRACE("place " + std::to_string(k));
      if (!strike(route, fault, k, tally)) break;
    }
    forcePlan(nullptr);
  }

  static Tally run(const Fault& fault) {
    Tally tally;
    int64_t number = 0;
    for (const Route& route : allRoutes()) runRoute(route, fault, 1 + number++ % QZ_FAULT_STRIDE, tally);
    std::printf("%s: %d places on %d routes, %d changed the status, %d failures\n", fault.name, tally.points,
                static_cast<int>(number), tally.struck, tally.failures);
    return tally;
  }
};

TEST_F(FaultCampaign, RoutesAreWhatTheyAreMeantToBe) {
  for (const Route& route : allRoutes()) {
    SCOPED_TRACE(route.name);
    forcePlan(route.plan);
    std::vector<Choice> choices = route.choices;
    if (!route.sign.empty()) choices.push_back({"debugLevel", 1});
    const Answer answer = solve(route.program, choices);
    EXPECT_EQ(answer.status, route.status) << answer.log;
    EXPECT_NE(answer.log.find(route.sign), std::string::npos) << answer.log;
    forcePlan(nullptr);
  }
}

TEST_F(FaultCampaign, MemoryFails) {
  const Tally tally = run(RequestFault("an allocation", Request::kMemory, {-1086}));
  EXPECT_EQ(tally.struck, tally.points);
  EXPECT_GT(tally.points, 4000 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, MemoryFailsFromOneRequestOn) {
  EXPECT_GT(run(MemoryFromOneOn()).points, 4000 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, PoolsFail) {
  EXPECT_GT(run(RequestFault("a pool", Request::kPool, {-1086})).points, 0);
}
TEST_F(FaultCampaign, EventsFail) {
  EXPECT_GT(run(RequestFault("an event", Request::kEvent, {-1086})).points, 20 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, LocksFail) {
  EXPECT_GT(run(RequestFault("a lock", Request::kLock, {-1086})).points, 20 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, ThreadsFailToStart) {
  EXPECT_GT(run(RequestFault("a thread that does not start", Request::kThread, {10}, true)).points,
            20 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, WaitsFail) {
  EXPECT_GT(run(RequestFault("a wait", Request::kWait, {10}, true)).points, 10 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, WorkersAreCancelled) {
  EXPECT_GT(run(RequestFault("a cancelled worker", Request::kWorkerRun, {12}, true)).points, 20 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, ModulesFailToLoad) {
  EXPECT_GT(run(RequestFault("a module", Request::kModule, {-1086})).points, 0);
}
TEST_F(FaultCampaign, TheTimeLimitStrikes) {
  const Tally tally = run(RequestFault("the clock", Request::kClock, {8}, true));
  EXPECT_GT(tally.struck, 50 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, TheUserBreaks) {
  const Tally tally = run(PollFault("a break", false));
  EXPECT_EQ(tally.struck, tally.points);
  EXPECT_GT(tally.points, 200 / QZ_FAULT_STRIDE);
}
TEST_F(FaultCampaign, TheCallingThreadIsCancelled) {
  EXPECT_GT(run(PollFault("a cancelled caller", true)).struck, 50 / QZ_FAULT_STRIDE);
}

}  // namespace
