// A host with fake sibling modules around a real instance.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "qzipsolve/instance.h"
#include "qzipsolve/simplex_module.h"
#include "shell/fake_engine.h"
#include "shell/fake_presolver.h"
#include "shell/fake_simplex.h"
#include "shell/fake_timer_module.h"
#include "shell/recording_log.h"
#include "support/test_host.h"

namespace qztest {

class SolverWorld : public ::testing::Test {
 protected:
  SolverWorld() {
    self() = this;
    events.clear();
    host.table()->loadExtension = [](QzHostTable*, const wchar_t* name, int64_t length, int64_t zero) -> QzModule* {
      const std::wstring asked(name, static_cast<size_t>(length));
      EXPECT_EQ(zero, 0);
      if (asked == L"qztimer") return self()->timerLoads ? &self()->clock.module.module : nullptr;
      if (asked == L"qzpresol") {
        events.push_back("load presolver");
        return self()->presolverLoads ? &self()->presolver.module : nullptr;
      }
      if (asked == L"qzsimpx") {
        events.push_back("load simplex");
        return self()->simplexLoads ? &self()->simplex.module : nullptr;
      }
      return nullptr;
    };
    clock.module.module.unload = [](QzModule*) { events.push_back("unload timer"); };
  }
  ~SolverWorld() override {
    if (instance != nullptr) instance->destroy(instance);
    EXPECT_EQ(host.outstanding(), 0);
    fakeEngine = nullptr;
    self() = nullptr;
  }
  void makeInstance() {
    instance = static_cast<QzInstance*>(qzipsolve_create_instance());
    ASSERT_NE(instance, nullptr);
    instance->log = log.log();
  }
  // Seconds pass on both clocks.
  void pass(double seconds) {
    clock.cpu += seconds;
    host.now += seconds;
  }
  static SolverWorld*& self() {
    static SolverWorld* world = nullptr;
    return world;
  }

 public:
  TestHost host;
  FakeTimerModule clock;
  FakePresolver presolver;
  FakeSimplex simplex;
  RecordingLog log;
  bool timerLoads = true;
  bool presolverLoads = true;
  bool simplexLoads = true;
  QzInstance* instance = nullptr;
};

}  // namespace qztest
