// The module loader: built-in modules, shared objects along a path, counting and unloading, what it refuses.
#include "host/loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "host/pools.h"
#include "host/service_table.h"
#include "qzipsolve/timer_module.h"
#include "timer_core.h"

namespace {

QzHostTable* host() {
  return qzhost::hostTable();
}

QzModule* load(const std::wstring& name) {
  return host()->loadExtension(host(), name.c_str(), static_cast<int64_t>(name.size()), 0);
}

// A module made of nothing but its object, with faults to choose.
struct FakeModule {
  static inline int made = 0;
  static inline int destroyed = 0;
  static inline int32_t extentResult = 0;
  static inline bool failMake = false;
  static inline bool badTag = false;
  static inline int32_t requiredMajor = 5;
  static inline int32_t requiredMinor = 1;
  static inline QzHostTable* table = nullptr;
  static inline QzModule object{};

  static int32_t extent(QzHostTable* handle) {
    table = handle;
    return extentResult;
  }
  static int32_t required(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
    *major = requiredMajor;
    *minor = requiredMinor;
    *fix = 1;
    return 0;
  }
  static int32_t destroy(QzModule*) {
    ++destroyed;
    return 0;
  }
  static QzModule* make(void*, QzPool*) {
    if (failMake) return nullptr;
    ++made;
    std::memset(&object, 0xa5, sizeof(object));  // a module need not clear its object
    std::memcpy(object.tag, badTag ? "even" : "nevo", 4);
    object.getReqVersion = required;
    object.getVersion = required;
    object.realDestroy = destroy;
    return &object;
  }
};

const QzBuiltinModule fakeBuiltin = {L"fakemodule", FakeModule::extent, FakeModule::make};

class Loader : public testing::Test {
 protected:
  void SetUp() override {
    qzhost::registerBuiltin(&fakeBuiltin);
    qzhost::registerBuiltin(&qztimer_builtin);
    qzhost::setModulePath("/no/such/folder::" QZ_TEST_MODULES);
    FakeModule::made = FakeModule::destroyed = 0;
    FakeModule::extentResult = 0;
    FakeModule::failMake = FakeModule::badTag = false;
    FakeModule::requiredMajor = 5;
    FakeModule::requiredMinor = 1;
    qzhost::clearLoaderError();
    blocks_ = qzhost::allPoolCounts().blocks;
  }
  void TearDown() override {
    qzhost::useBuiltins(true);
    EXPECT_EQ(qzhost::loadedModules(), 0);
    EXPECT_EQ(qzhost::allPoolCounts().blocks, blocks_) << "a module left memory behind";
  }
  int64_t blocks_ = 0;
};

// CPU time grows while the process works.
void expectTimerWorks(QzModule* module) {
  ASSERT_NE(module, nullptr) << qzhost::loaderError();
  auto* timer = reinterpret_cast<QzTimerModule*>(module);
  QzTimerSample start{};
  QzTimerSample stop{};
  QzTimerDifference difference{};
  ASSERT_EQ(timer->takeSample(timer, &start), 0);
  const std::clock_t begin = std::clock();
  while (std::clock() - begin < CLOCKS_PER_SEC / 50) {
  }
  ASSERT_EQ(timer->takeSample(timer, &stop), 0);
  ASSERT_EQ(timer->difference(timer, &start, &stop, &difference), 0);
  const double seconds = static_cast<double>(difference.seconds) + 1e-6 * static_cast<double>(difference.microseconds);
  EXPECT_GE(seconds, 0.019);
  EXPECT_LT(seconds, 5.0);
  EXPECT_GE(difference.microseconds, 0);
  EXPECT_LT(difference.microseconds, 1000000);
  // The microseconds of the later sample may be the smaller ones.
  const QzTimerSample early{3, 900000, {}};
  const QzTimerSample late{5, 100000, {}};
  timer->difference(timer, &early, &late, &difference);
  EXPECT_EQ(difference.seconds, 1);
  EXPECT_EQ(difference.microseconds, 200000);
  timer->difference(timer, &late, &late, &difference);
  EXPECT_EQ(difference.seconds, 0);
  EXPECT_EQ(difference.microseconds, 0);
  EXPECT_NE(timer->takeSample(timer, nullptr), 0);
  EXPECT_NE(timer->difference(timer, &early, nullptr, &difference), 0);
  int32_t version[3] = {0, 0, 0};
  EXPECT_EQ(module->getVersion(module, &version[0], &version[1], &version[2]), 0);
  EXPECT_EQ(version[0], 1);
}

TEST_F(Loader, BuiltInModulesComeFirst) {
  QzModule* module = load(L"fakemodule");
  ASSERT_EQ(module, &FakeModule::object);
  EXPECT_EQ(FakeModule::table, host());
  EXPECT_TRUE(qzhost::loaderError().empty());
  module->unload(module);
  EXPECT_EQ(FakeModule::destroyed, 1);
}

TEST_F(Loader, CountsLoadsOfOneModule) {
  QzModule* first = load(L"fakemodule");
  QzModule* second = load(L"fakemodule");
  EXPECT_EQ(first, second);
  EXPECT_EQ(FakeModule::made, 1);
  EXPECT_EQ(qzhost::loadedModules(), 2);
  first->unload(first);
  EXPECT_EQ(FakeModule::destroyed, 0);
  second->unload(second);
  EXPECT_EQ(FakeModule::destroyed, 1);
  QzModule* again = load(L"fakemodule");
  EXPECT_EQ(FakeModule::made, 2);
  again->unload(again);
}

TEST_F(Loader, TheTimerWorksBuiltIn) {
  QzModule* module = load(L"qztimer");
  expectTimerWorks(module);
  module->unload(module);
}

TEST_F(Loader, TheTimerWorksAsASharedObjectAlongThePath) {
  qzhost::useBuiltins(false);
  for (int round = 0; round < 3; ++round) {
    QzModule* module = load(L"qztimer");
    expectTimerWorks(module);
    module->unload(module);
  }
}

// Modules export the same names; those of one must never be bound in another.
TEST_F(Loader, NamesOfASharedObjectStayItsOwn) {
  qzhost::useBuiltins(false);
  QzModule* module = load(L"qztimer");
  ASSERT_NE(module, nullptr);
  for (const char* name : {"qztimer", "qzextent", "qzextver", "qzvercn1", "Exported_QZHandle"})
    EXPECT_EQ(dlsym(RTLD_DEFAULT, name), nullptr) << name;
  module->unload(module);
}

TEST_F(Loader, AMissingModuleGivesNullAndAReason) {
  EXPECT_EQ(load(L"nosuchmodule"), nullptr);
  EXPECT_NE(qzhost::loaderError().find("nosuchmodule"), std::string::npos);
  qzhost::useBuiltins(false);
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  qzhost::setModulePath("");
  EXPECT_EQ(load(L"qztimer"), nullptr);
  EXPECT_NE(qzhost::loaderError().find("path is empty"), std::string::npos);
}

TEST_F(Loader, NamesNeverLeadOutOfThePath) {
  for (const wchar_t* name : {L"../qztimer", L"a/b", L"qztimer.so", L"qz timer", L"\u00e9"})
    EXPECT_EQ(load(name), nullptr);
  EXPECT_EQ(host()->loadExtension(host(), nullptr, 7, 0), nullptr);
  EXPECT_EQ(host()->loadExtension(host(), L"qztimer", 0, 0), nullptr);
  EXPECT_EQ(host()->loadExtension(host(), L"qztimer", -3, 0), nullptr);
}

TEST_F(Loader, TheNameEndsAtItsLength) {
  QzModule* module = host()->loadExtension(host(), L"fakemoduleXYZ", 10, 0);
  ASSERT_NE(module, nullptr);
  module->unload(module);
}

TEST_F(Loader, RefusesAModuleThatNeedsANewerHost) {
  FakeModule::requiredMinor = 2;
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  FakeModule::requiredMajor = 6;
  FakeModule::requiredMinor = 0;
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  EXPECT_NE(qzhost::loaderError().find("6.0"), std::string::npos);
  EXPECT_EQ(FakeModule::destroyed, 2);
}

TEST_F(Loader, RefusesAnObjectWithoutTheMark) {
  FakeModule::badTag = true;
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  EXPECT_EQ(FakeModule::destroyed, 0) << "what is no module is not called";
}

TEST_F(Loader, AModuleMayRefuseTheHostOrFailToMakeItsObject) {
  FakeModule::extentResult = 1;
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  FakeModule::extentResult = 0;
  FakeModule::failMake = true;
  EXPECT_EQ(load(L"fakemodule"), nullptr);
  EXPECT_FALSE(qzhost::loaderError().empty());
}

TEST_F(Loader, UnloadOfAnUnknownObjectDoesNothing) {
  QzModule* module = load(L"fakemodule");
  QzModule stranger{};
  module->unload(&stranger);
  EXPECT_EQ(qzhost::loadedModules(), 1);
  module->unload(module);
}

}  // namespace
