// The simplex module through its object: from an interior answer to a basic one, and every other end.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "models/certificate.h"
#include "qzipsolve/builtin.h"
#include "qzipsolve/instance.h"
#include "qzipsolve/messages.h"
#include "qzipsolve/simplex_module.h"
#include "qzipsolve/status.h"
#include "qzsimpx/interior_record.h"
#include "support/test_host.h"

extern "C" const QzBuiltinModule qzsimpx_builtin;

namespace {

using qztest::crossoverCase;
using qztest::InteriorRecord;

struct BreakAt {
  int poll = 0;  // the poll that asks to stop; 0 for none
  int seen = 0;
};

int32_t breakAtPoll(void* data) {
  auto* at = static_cast<BreakAt*>(data);
  return ++at->seen == at->poll ? 1 : 0;
}

class SimplexModule : public ::testing::Test {
 protected:
  SimplexModule() {
    qzsimpx_builtin.extent(host.table());
    module = qzsimpx_builtin.make(nullptr, nullptr);
    settings.printLevel = 1;
    settings.timeType = 1;
    settings.tolPrimal = settings.tolDual = 1e-6;
    settings.startMode = 1;
    settings.iterLimit = 0x7fffffff;
    settings.field960 = -1;
    settings.mode968 = 3;
    settings.interiorStatus = 1;
    limits.timeLimit = 1e6;
  }
  ~SimplexModule() override {
    module->realDestroy(module);
    EXPECT_EQ(host.outstanding(), 0);
  }
  // One run in an object of its own.
  int32_t run(LpRecord& record) {
    host.messages.clear();
    auto* object = static_cast<QzSimplexObject*>(module->create_instance());
    if (object == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
    object->log = host.log();
    const int32_t result = object->run(object, nullptr, &handle, &record);
    object->destroy(object);
    return result;
  }
  static void expectBasic(const InteriorRecord& data) {
    const LpRecord& r = data.record;
    int32_t numBasic = 0;
    for (int32_t j = 0; j < r.numCol; ++j) {
      numBasic += data.colBasis[j] == QZ_BASIS_BASIC ? 1 : 0;
      if (data.colBasis[j] == QZ_BASIS_LOWER) {
        EXPECT_EQ(data.x[j], data.lower[j]);
      }
      if (data.colBasis[j] == QZ_BASIS_UPPER) {
        EXPECT_EQ(data.x[j], data.upper[j]);
      }
      if (data.colBasis[j] == QZ_BASIS_FREE) {
        EXPECT_EQ(data.x[j], 0.0);
      }
      if (data.colBasis[j] == QZ_BASIS_BASIC) {
        EXPECT_NEAR(data.d[j], 0.0, 1e-9);
      }
    }
    for (int32_t i = 0; i < r.numRow; ++i) {
      const double upper = data.sense[i] == 'G' ? 1e30 : data.rhs[i];
      const double lower = data.sense[i] == 'L' ? -1e30 : data.rhs[i] - data.range[i];
      numBasic += data.rowBasis[i] == QZ_BASIS_BASIC ? 1 : 0;
      if (data.rowBasis[i] == QZ_BASIS_LOWER) {
        EXPECT_NEAR(data.activity[i], lower, 1e-9 * (1.0 + std::fabs(lower)));
      }
      if (data.rowBasis[i] == QZ_BASIS_UPPER) {
        EXPECT_NEAR(data.activity[i], upper, 1e-9 * (1.0 + std::fabs(upper)));
      }
    }
    EXPECT_EQ(numBasic, r.numRow);
  }

  qztest::TestHost host;
  QzModule* module = nullptr;
  QzPresolveSettings settings{};
  QzPresolveLimits limits{};
  QzPresolveHandle handle{&settings, &limits};
};

TEST_F(SimplexModule, FindsABasicOptimumInBothStartModes) {
  for (int number = 0; number < 120; ++number) {
    for (int32_t mode : {1, 2}) {
      SCOPED_TRACE(testing::Message() << "case " << number << " mode " << mode);
      const models::KnownOptimum known = crossoverCase(number);
      InteriorRecord data(known.program, known.primal, known.dual, 1e-7, 3);
      data.record.objValue = 50.0;
      settings.startMode = mode;
      ASSERT_EQ(run(data.record), 0);
      ASSERT_EQ(data.record.status, 1);
      const double expected = known.objective - known.program.constant + 50.0;
      EXPECT_NEAR(data.record.objValue, expected, 1e-9 * (1.0 + std::fabs(expected)));
      EXPECT_LE(data.record.primalInfeas, 1e-9);
      EXPECT_LE(data.record.boundInfeas, 1e-9);
      EXPECT_LE(data.record.dualInfeas, 1e-9);
      expectBasic(data);
      models::LinearProgram program = known.program;
      program.constant = 50.0;
      const models::Certificate certificate = models::certify(program, data.answer());
      EXPECT_TRUE(certificate.holds(1e-8)) << certificate.text();
    }
  }
}

TEST_F(SimplexModule, ObjectiveOfAMaximisationIsTurned) {
  const models::KnownOptimum known = crossoverCase(3);
  InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
  data.record.objSense = -1;  // the model has been turned into a minimisation already
  data.record.objValue = 50.0;
  ASSERT_EQ(run(data.record), 0);
  const double minimum = known.objective - known.program.constant + 50.0;
  EXPECT_NEAR(data.record.objValue, -minimum, 1e-9 * (1.0 + std::fabs(minimum)));
}

TEST_F(SimplexModule, RoughAnswersAreGoodEnoughToStartFrom) {
  for (int number = 0; number < 40; ++number) {
    for (double noise : {1e-4, 1e-1}) {
      SCOPED_TRACE(number);
      const models::KnownOptimum known = crossoverCase(number);
      InteriorRecord data(known.program, known.primal, known.dual, noise, 3);
      settings.interiorStatus = 15;
      settings.startMode = 1 + number % 2;
      ASSERT_EQ(run(data.record), 0);
      ASSERT_EQ(data.record.status, 1);
      const double expected = known.objective - known.program.constant;
      EXPECT_NEAR(data.record.objValue, expected, 1e-8 * (1.0 + std::fabs(expected)));
      expectBasic(data);
    }
  }
}

TEST_F(SimplexModule, AnswersAreReportedUnlessSilent) {
  const models::KnownOptimum known = crossoverCase(4);
  InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
  ASSERT_EQ(run(data.record), 0);
  EXPECT_TRUE(host.logged(QZ_MSG_OPTIMAL));
  EXPECT_TRUE(host.logged(QZ_MSG_OBJECTIVE));
  EXPECT_TRUE(host.loggedText("interior variables in the first basis"));
  settings.printLevel = 0;
  ASSERT_EQ(run(data.record), 0);
  EXPECT_TRUE(host.messages.empty());
}

TEST_F(SimplexModule, RecordsWithoutRoomForABasisAreSolvedToo) {
  const models::KnownOptimum known = crossoverCase(4);
  InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
  data.record.colBasis = nullptr;
  data.record.rowBasis = nullptr;
  ASSERT_EQ(run(data.record), 0);
  EXPECT_EQ(data.record.status, 1);
}

TEST_F(SimplexModule, TheIterationLimitEndsItWhereverItIs) {
  const models::KnownOptimum known = crossoverCase(14);
  InteriorRecord whole(known.program, known.primal, known.dual, 1e-8, 3);
  ASSERT_EQ(run(whole.record), 0);
  const int32_t needed = whole.record.numSimplexIter;
  ASSERT_GT(needed, 3);
  for (int32_t limit = 0; limit <= needed + 1; ++limit) {
    SCOPED_TRACE(limit);
    InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
    const std::vector<double> x = data.x, y = data.y;
    settings.iterLimit = limit;
    ASSERT_EQ(run(data.record), 0);
    EXPECT_LE(data.record.numSimplexIter, limit);
    if (data.record.status == QZ_STATUS_OPTIMAL) {
      EXPECT_GE(limit, needed);
      continue;
    }
    EXPECT_EQ(data.record.status, QZ_STATUS_ITERATION_LIMIT);
    EXPECT_LE(limit, needed);
    EXPECT_EQ(data.x, x) << "the interior point stays";
    EXPECT_EQ(data.y, y);
    EXPECT_EQ(data.rowBasis[0], QZ_BASIS_NONE);
    EXPECT_TRUE(host.logged(QZ_MSG_ITERATION_LIMIT));
  }
}

TEST_F(SimplexModule, TheTimeLimitEndsItByTheClockOfTheTimeType) {
  const models::KnownOptimum known = crossoverCase(4);
  for (int32_t timeType : {0, 1}) {
    for (double limit : {0.0, -3.0}) {
      InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
      const std::vector<double> x = data.x;
      settings.timeType = timeType;
      limits.timeLimit = limit;
      ASSERT_EQ(run(data.record), 0);
      EXPECT_EQ(data.record.status, QZ_STATUS_TIME_LIMIT);
      EXPECT_EQ(data.x, x);
      EXPECT_TRUE(host.logged(timeType == 0 ? QZ_MSG_CPU_LIMIT : QZ_MSG_REAL_LIMIT));
      EXPECT_NEAR(data.record.objValue, known.objective - known.program.constant,
                  1e-5 * (1.0 + std::fabs(known.objective)))
          << "of the point that is there";
    }
  }
}

TEST_F(SimplexModule, ABreakAtEveryPollEndsIt) {
  const models::KnownOptimum known = crossoverCase(14);
  int poll = 1;
  for (;; ++poll) {
    SCOPED_TRACE(poll);
    InteriorRecord data(known.program, known.primal, known.dual, 1e-2, 3);
    BreakAt at{poll, 0};
    data.record.checkSolverBreak = breakAtPoll;
    data.record.callerDataStruct = &at;
    ASSERT_EQ(run(data.record), 0);
    if (at.seen < poll) {
      EXPECT_EQ(data.record.status, QZ_STATUS_OPTIMAL);
      break;
    }
    ASSERT_EQ(data.record.status, QZ_STATUS_INTERRUPTED);
    EXPECT_EQ(at.seen, poll) << "it is not asked again";
    EXPECT_TRUE(host.logged(QZ_MSG_INTERRUPTED));
  }
  EXPECT_GT(poll, 5);
}

TEST_F(SimplexModule, EveryFailingAllocationIsOutOfMemory) {
  const models::KnownOptimum known = crossoverCase(14);
  int64_t k = 1;
  for (;; ++k) {
    SCOPED_TRACE(k);
    InteriorRecord data(known.program, known.primal, known.dual, 1e-8, 3);
    const std::vector<double> x = data.x;
    const int64_t before = host.outstanding();
    const int64_t made = host.allocations();
    host.failAllocation(k);
    const int32_t result = run(data.record);
    const bool failed = host.allocations() - made >= k;
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), before);
    if (!failed) {
      EXPECT_EQ(result, 0);
      break;
    }
    ASSERT_EQ(result, QZ_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(data.x, x);
  }
  EXPECT_GT(k, 15);
}

// x + y = 2 twice, the second time a little off: optimal within the tolerance of the options alone.
TEST_F(SimplexModule, RowsThatDisagreeWithinTheTolerancesOfTheOptionsHaveAnOptimum) {
  for (double off : {1e-8, 2e-7}) {
    models::LinearProgram program;
    program.addRow(2.0, 2.0);
    program.addRow(2.0 + off, 2.0 + off);
    for (double cost : {1.0, 3.0}) {
      program.addColumn(cost, 0.0, models::infinite);
      program.addEntry(0, 1.0);
      program.addEntry(1, 1.0);
    }
    for (int32_t mode : {1, 2}) {
      SCOPED_TRACE(testing::Message() << off << " mode " << mode);
      InteriorRecord data(program, {2.0, 1e-9}, {0.5, 0.5}, 0.0, 1);
      settings.startMode = mode;
      ASSERT_EQ(run(data.record), 0);
      EXPECT_EQ(data.record.status, QZ_STATUS_OPTIMAL);
      EXPECT_NEAR(data.record.objValue, 2.0, 1e-6);
    }
  }
}

// The interior answer may be wrong: what the simplex method then finds is what counts.
TEST_F(SimplexModule, ModelsWithoutAnOptimumAreToldAsSuch) {
  const models::KnownInfeasible infeasible = models::infeasible(8, 12, 5);
  InteriorRecord data(infeasible.program, std::vector<double>(12, 1.0), std::vector<double>(8, 0.0), 0.0, 3);
  ASSERT_EQ(run(data.record), 0);
  EXPECT_EQ(data.record.status, QZ_STATUS_PRIMAL_INFEASIBLE);
  EXPECT_TRUE(host.logged(QZ_MSG_PRIMAL_INFEASIBLE));
  const models::KnownUnbounded unbounded = models::unbounded(8, 12, 5);
  InteriorRecord other(unbounded.program, unbounded.point, std::vector<double>(8, 0.0), 0.0, 3);
  ASSERT_EQ(run(other.record), 0);
  EXPECT_EQ(other.record.status, QZ_STATUS_DUAL_INFEASIBLE);
  EXPECT_TRUE(host.logged(QZ_MSG_DUAL_INFEASIBLE));
}

TEST_F(SimplexModule, ModuleTellsItsVersionsAndTag) {
  EXPECT_EQ(std::string(module->tag, 4), "nevo");
  int32_t major = 0, minor = 0, fix = 0;
  EXPECT_EQ(module->getReqVersion(module, &major, &minor, &fix), 0);
  EXPECT_EQ(major * 100 + minor * 10 + fix, 511);
  EXPECT_EQ(module->getVersion(module, &major, &minor, &fix), 0);
  EXPECT_EQ(major * 100 + minor * 10 + fix, 100);
  EXPECT_EQ(module->realDestroy(nullptr), 0);
}

}  // namespace
