// Entries, module object, instance, and the order of the teardown.
#include "qzipsolve/instance.h"

#include <cstring>

#include "qzipsolve/builtin.h"
#include "shell/solver_world.h"

extern "C" const QzBuiltinModule qzipsolve_builtin;

namespace {

using qztest::events;

template <class T>
T slot(const void* object, size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const char*>(object) + offset, sizeof(T));
  return value;
}

TEST(Entries, StoreTheHostTable) {
  QzHostTable table{};
  int32_t major = 0, minor = 0;
  EXPECT_EQ(qzextver(&table, &major, &minor), 0);
  EXPECT_EQ(major, 5);
  EXPECT_EQ(minor, 1);
  EXPECT_EQ(Exported_QZHandle, &table);
  EXPECT_EQ(qzextent(nullptr), 0);
  EXPECT_EQ(Exported_QZHandle, nullptr);
  EXPECT_EQ(qzextent(&table), 0);
  EXPECT_EQ(Exported_QZHandle, &table);
  EXPECT_EQ(qzipsolve_builtin.extent(nullptr), 0);
  EXPECT_EQ(Exported_QZHandle, nullptr);
  EXPECT_EQ(std::wstring(qzipsolve_builtin.name), L"qzipsolve");
  EXPECT_EQ(qzipsolve_builtin.make, &qzipsolve);
}

TEST(Entries, VersionRecordHasItsFixedSize) {
  unsigned char buffer[24];
  std::memset(buffer, 0xee, sizeof buffer);
  qzvercn1(buffer);
  EXPECT_EQ(slot<uint32_t>(buffer, 0), 16u);
  EXPECT_EQ(slot<int32_t>(buffer, 4), 1);
  EXPECT_EQ(slot<int32_t>(buffer, 8), 0);
  EXPECT_EQ(slot<int32_t>(buffer, 12), 0);
  EXPECT_EQ(buffer[16], 0xee);
}

TEST(Entries, NothingIsMadeWithoutAHost) {
  ASSERT_EQ(Exported_QZHandle, nullptr);
  EXPECT_EQ(qzipsolve(nullptr, nullptr), nullptr);
  EXPECT_EQ(qzipsolve_create_instance(), nullptr);
}

// What the pool's creation was given, and what became of the pool.
struct PoolWatch {
  QzPool* parent = nullptr;
  std::wstring name;
  uint64_t words = 1;
  int64_t zeros = 1;
  void (*destroy)(QzPool*) = nullptr;
  static PoolWatch*& self() {
    static PoolWatch* watch = nullptr;
    return watch;
  }
};

class ModuleObject : public qztest::SolverWorld {
 protected:
  ModuleObject() {
    PoolWatch::self() = &watch;
    watch.destroy = host.pool()->destroy;
    createPool() = host.table()->createPool;
    host.table()->createPool = [](QzHostTable* table, QzPoolParameters* parameters, QzPool* parent, const wchar_t* name,
                                  int64_t zero1, int64_t zero2) -> QzPool* {
      PoolWatch& w = *PoolWatch::self();
      w.parent = parent;
      w.name = name;
      w.words = parameters->word[0] | parameters->word[1] | parameters->word[2];
      w.zeros = zero1 | zero2;
      QzPool* pool = createPool()(table, parameters, parent, name, zero1, zero2);
      pool->destroy = [](QzPool* dying) {
        events.push_back("destroy pool");
        PoolWatch::self()->destroy(dying);
      };
      return pool;
    };
    // Thread signals show in the events.
    thread.signal = [](QzThread*, int32_t mode, int64_t argument) -> int32_t {
      EXPECT_EQ(argument, 0);
      events.push_back(mode == 0 ? "signal 0" : "signal 1");
      return 0;
    };
    threadOf() = &thread;
    host.table()->currentThread = [](QzHostTable*) { return threadOf(); };
  }
  static decltype(QzHostTable::createPool)& createPool() {
    static decltype(QzHostTable::createPool) original = nullptr;
    return original;
  }
  static QzThread*& threadOf() {
    static QzThread* object = nullptr;
    return object;
  }
  PoolWatch watch;
  QzThread thread{};
};

TEST_F(ModuleObject, HasItsSlotsAtTheirOffsets) {
  QzModule* module = qzipsolve(nullptr, host.pool());
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(watch.parent, host.pool());
  EXPECT_EQ(watch.name, L"QZIPSOLVE POOL");
  EXPECT_EQ(watch.words, 0u);
  EXPECT_EQ(watch.zeros, 0);
  EXPECT_EQ(std::memcmp(module, "nevo", 4), 0);
  EXPECT_EQ(host.outstandingBytes(), 88);
  using Version = int32_t (*)(QzModule*, int32_t*, int32_t*, int32_t*);
  EXPECT_EQ(slot<Version>(module, 24), &qzipsolve_getReqVersion);
  EXPECT_EQ(slot<Version>(module, 32), &qzipsolve_getVersion);
  EXPECT_EQ(slot<int32_t (*)(QzModule*)>(module, 48), &qzipsolve_realDestroy);
  EXPECT_EQ(slot<QzPool*>(module, 72), module->pool);
  EXPECT_EQ(slot<void* (*)()>(module, 80), &qzipsolve_create_instance);
  int32_t v[3] = {};
  EXPECT_EQ(module->getReqVersion(module, &v[0], &v[1], &v[2]), 0);
  EXPECT_EQ(v[0] * 100 + v[1] * 10 + v[2], 511);
  EXPECT_EQ(module->getVersion(module, &v[0], &v[1], &v[2]), 0);
  EXPECT_EQ(v[0] * 100 + v[1] * 10 + v[2], 100);
  EXPECT_EQ(module->realDestroy(module), 0);
  EXPECT_EQ(events, (std::vector<std::string>{"destroy pool"}));
  EXPECT_EQ(host.outstanding(), 0);
  EXPECT_EQ(qzipsolve_realDestroy(nullptr), 0);
}

TEST_F(ModuleObject, FailuresGiveNullAndDestroyThePool) {
  host.failAllocation(1);
  EXPECT_EQ(qzipsolve(nullptr, nullptr), nullptr);
  EXPECT_EQ(events, (std::vector<std::string>{"destroy pool"}));
  events.clear();
  host.failAllocation(1);
  EXPECT_EQ(qzipsolve_create_instance(), nullptr);
  EXPECT_EQ(events, (std::vector<std::string>{"destroy pool"}));
  host.failAllocation(0);
  host.table()->createPool = [](QzHostTable*, QzPoolParameters*, QzPool*, const wchar_t*, int64_t, int64_t) -> QzPool* {
    return nullptr;
  };
  EXPECT_EQ(qzipsolve(nullptr, nullptr), nullptr);
  EXPECT_EQ(qzipsolve_create_instance(), nullptr);
}

TEST_F(ModuleObject, InstanceHasFourSlotsAndElseZeros) {
  makeInstance();
  EXPECT_EQ(watch.parent, nullptr);
  EXPECT_EQ(watch.name, L"QZIPSOLVE POOL");
  EXPECT_EQ(host.outstandingBytes(), 160);
  EXPECT_EQ(slot<QzPool*>(instance, 0), instance->pool);
  EXPECT_EQ(slot<int32_t (*)(QzInstance*)>(instance, 24), &qzipsolve_destroy_instance);
  for (size_t offset : {32u, 48u, 56u}) EXPECT_NE(slot<uint64_t>(instance, offset), 0u) << offset;
  EXPECT_EQ(slot<void*>(instance, 16), static_cast<void*>(log.log())) << "the test's own";
  for (size_t offset : {8u, 40u, 64u, 72u, 80u, 88u, 96u, 104u, 112u, 120u, 128u, 136u, 144u, 152u})
    EXPECT_EQ(slot<uint64_t>(instance, offset), 0u) << offset;
  LpOptions* options = instance->createLpOptions(instance);
  ASSERT_NE(options, nullptr);
  options->maxIter = 3;
  instance->resetLpOptions(options);
  EXPECT_EQ(options->maxIter, 0x7fffffff);
}

TEST_F(ModuleObject, FreshInstanceReleasesOnlyItsPool) {
  makeInstance();
  EXPECT_EQ(instance->destroy(instance), 0);
  instance = nullptr;
  EXPECT_EQ(events, (std::vector<std::string>{"signal 0", "clean-up", "signal 1", "destroy pool"}))
      << "the clean-up of a null environment does nothing";
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(ModuleObject, NullInstanceIsNoFault) {
  EXPECT_EQ(qzipsolve_destroy_instance(nullptr), 0);
  EXPECT_TRUE(events.empty());
}

TEST_F(ModuleObject, MissingThreadObjectLeavesTheSignalsOut) {
  makeInstance();
  threadOf() = nullptr;
  instance->destroy(instance);
  instance = nullptr;
  EXPECT_EQ(events, (std::vector<std::string>{"clean-up", "destroy pool"}));
}

TEST_F(ModuleObject, TeardownKeepsItsOrder) {
  makeInstance();
  // A solve that stops at the presolver leaves module, object and timer; handle and simplex are put in by hand.
  presolver.reduceCode = -5;
  qztest::LpData data(1, "E", {1}, {}, {{1, 0, 1, {{0, 1}}}});
  instance->iplpMain(instance, &data.record, nullptr);
  QzModule simplexModule{};
  simplexModule.unload = [](QzModule*) { events.push_back("unload simplex"); };
  QzSimplexObject simplexObject{};
  simplexObject.destroy = [](QzSimplexObject*) { events.push_back("destroy simplex"); };
  instance->simplexModule = &simplexModule;
  instance->simplexObject = &simplexObject;
  instance->presolveHandle = &presolver.handle;
  int somewhere = 0;
  instance->laEnv = &somewhere;
  events.clear();
  instance->destroy(instance);
  instance = nullptr;
  EXPECT_EQ(events, (std::vector<std::string>{"free handle", "destroy presolver", "unload presolver", "destroy simplex",
                                              "unload simplex", "signal 0", "clean-up", "signal 1", "unload timer",
                                              "destroy pool"}));
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(ModuleObject, HandleWithoutAnObjectIsNotFreed) {
  makeInstance();
  instance->presolveHandle = &presolver.handle;
  instance->presolveModule = &presolver.module;
  instance->destroy(instance);
  instance = nullptr;
  EXPECT_EQ(events, (std::vector<std::string>{"unload presolver", "signal 0", "clean-up", "signal 1", "destroy pool"}));
}

}  // namespace
