// The shared object as a foreign host sees it: opened by name, its entries looked up, its slots called.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "qzipsolve/instance.h"
#include "shell/fake_presolver.h"
#include "shell/fake_timer_module.h"
#include "shell/recording_log.h"
#include "support/test_host.h"

std::function<int32_t(const qztest::EngineCall&)> qztest::fakeEngine;  // the module brings its own engine
std::vector<std::string> qztest::events;

namespace {

class SharedObject : public ::testing::Test {
 protected:
  SharedObject() : library(dlopen(QZ_TEST_MODULE, RTLD_NOW | RTLD_LOCAL)) {}
  ~SharedObject() override {
    if (library != nullptr) dlclose(library);
  }
  template <class Function>
  Function entry(const char* name) {
    return reinterpret_cast<Function>(dlsym(library, name));
  }
  void* library;
};

TEST_F(SharedObject, LoadsWithNothingUnresolvedAndKeepsItsOwnTable) {
  ASSERT_NE(library, nullptr) << dlerror();
  auto* extent = entry<decltype(&qzextent)>("qzextent");
  auto* table = entry<QzHostTable**>("Exported_QZHandle");
  ASSERT_NE(extent, nullptr);
  ASSERT_NE(table, nullptr);
  EXPECT_NE(table, &Exported_QZHandle) << "not the table of the program that opened it";
  qztest::TestHost host;
  EXPECT_EQ(*table, nullptr);
  EXPECT_EQ(extent(host.table()), 0);
  EXPECT_EQ(*table, host.table());
  EXPECT_EQ(extent(nullptr), 0);
}

TEST_F(SharedObject, OffersEveryEntry) {
  ASSERT_NE(library, nullptr) << dlerror();
  for (const char* name :
       {"qzextent", "qzextver", "qzvercn1", "qzipsolve", "qzipsolve_getReqVersion", "qzipsolve_getVersion",
        "qzipsolve_realDestroy", "qzipsolve_create_instance", "qzipsolve_destroy_instance"})
    EXPECT_NE(dlsym(library, name), nullptr) << name;
  EXPECT_EQ(dlsym(library, "qzipsolve_builtin"), nullptr);
}

// From the load to the teardown as a host does it, on a model that the presolver solves alone.
TEST_F(SharedObject, WalksTheWholeRoadOfAHost) {
  ASSERT_NE(library, nullptr) << dlerror();
  qztest::TestHost host;
  qztest::RecordingLog log;
  qztest::FakePresolver presolver;
  static qztest::FakeTimerModule clock;
  host.table()->loadExtension = [](QzHostTable*, const wchar_t* name, int64_t, int64_t) -> QzModule* {
    return std::wstring(name) == L"qztimer" ? &clock.module.module : &qztest::FakePresolver::current()->module;
  };
  int32_t major = 0, minor = 0;
  ASSERT_EQ(entry<decltype(&qzextver)>("qzextver")(host.table(), &major, &minor), 0);
  EXPECT_EQ(major, 5);
  EXPECT_EQ(minor, 1);
  QzModule* module = entry<decltype(&qzipsolve)>("qzipsolve")(nullptr, nullptr);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(std::memcmp(module->tag, "nevo", 4), 0);
  auto* instance = static_cast<QzInstance*>(module->create_instance());
  ASSERT_NE(instance, nullptr);
  instance->log = log.log();
  LpOptions* options = instance->createLpOptions(instance);
  ASSERT_NE(options, nullptr);
  presolver.reduceCode = 1;
  presolver.solvedStatus = QZ_PRESOL_OPTIMAL;
  qztest::LpData data(1, "E", {1}, {}, {{1, 0, 1, {{0, 1}}}});
  EXPECT_EQ(instance->iplpMain(instance, &data.record, options), 1);
  EXPECT_EQ(instance->destroy(instance), 0);
  EXPECT_EQ(module->realDestroy(module), 0);
  EXPECT_EQ(host.outstanding(), 0);
  EXPECT_TRUE(log.sent.empty());
}

}  // namespace
