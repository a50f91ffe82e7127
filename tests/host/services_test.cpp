// The service table: byte offsets, option store, clock.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <set>

#include "host/clock.h"
#include "host/loader.h"
#include "host/option_store.h"
#include "host/pools.h"
#include "host/service_table.h"
#include "host/threads.h"

namespace {

QzHostTable* host() {
  return qzhost::hostTable();
}

void* slot(const void* object, size_t offset) {
  void* function = nullptr;
  std::memcpy(&function, static_cast<const char*>(object) + offset, sizeof(function));
  return function;
}

TEST(ServiceTable, SlotsStandAtTheirBytes) {
  EXPECT_EQ(slot(host(), 16), reinterpret_cast<void*>(&qzhost::createEvent));
  EXPECT_EQ(slot(host(), 24), reinterpret_cast<void*>(&qzhost::createLock));
  EXPECT_EQ(slot(host(), 48), reinterpret_cast<void*>(&qzhost::createPool));
  EXPECT_EQ(slot(host(), 72), reinterpret_cast<void*>(&qzhost::loadExtension));
  EXPECT_EQ(slot(host(), 80), reinterpret_cast<void*>(&qzhost::startThread));
  EXPECT_EQ(slot(host(), 88), reinterpret_cast<void*>(&qzhost::currentThread));
  EXPECT_EQ(slot(host(), 104), reinterpret_cast<void*>(&qzhost::optionExists));
  EXPECT_EQ(slot(host(), 112), reinterpret_cast<void*>(&qzhost::getOption));
  EXPECT_EQ(slot(host(), 264), reinterpret_cast<void*>(&qzhost::readClock));
}

TEST(ServiceTable, ObjectsCarryTheirSlots) {
  QzPool* pool = host()->createPool(host(), nullptr, nullptr, L"pool", 0, 0);
  EXPECT_EQ(slot(pool, 16), reinterpret_cast<void*>(pool->destroy));
  EXPECT_EQ(slot(pool, 24), reinterpret_cast<void*>(pool->allocate));
  EXPECT_EQ(slot(pool, 32), reinterpret_cast<void*>(pool->free));
  pool->destroy(pool);
  QzLock* lock = host()->createLock(host(), nullptr, 0, L"lock");
  for (size_t offset : {16, 24, 32}) EXPECT_NE(slot(lock, offset), nullptr);
  lock->destroy(lock);
  QzEvent* event = host()->createEvent(host(), nullptr, 0, L"event");
  for (size_t offset : {16, 200, 208}) EXPECT_NE(slot(event, offset), nullptr);
  event->destroy(event);
  QzThread* thread = host()->currentThread(host());
  for (size_t offset : {16, 200, 208}) EXPECT_NE(slot(thread, offset), nullptr);
}

TEST(OptionStore, KnowsTheMachine) {
  for (const wchar_t* name : {QZ_OPTION_CPUCOUNT, QZ_OPTION_CPUCORECOUNT}) {
    const auto length = static_cast<int64_t>(std::wcslen(name));
    EXPECT_EQ(length,
              name == std::wstring(QZ_OPTION_CPUCOUNT) ? QZ_OPTION_CPUCOUNT_LENGTH : QZ_OPTION_CPUCORECOUNT_LENGTH);
    EXPECT_NE(host()->optionExists(host(), name, length), 0);
    int64_t value = -1;
    int64_t size = 8;
    EXPECT_EQ(host()->getOption(host(), name, length, QZ_OPTION_INTEGER, &value, &size), 0);
    EXPECT_GE(value, 1);
    EXPECT_EQ(size, 8);
  }
  EXPECT_LE(qzhost::machineCores(), qzhost::machineProcessors());
}

TEST(OptionStore, TheNameEndsAtItsLength) {
  EXPECT_NE(host()->optionExists(host(), L"host.cpucountXYZ", 13), 0);
  EXPECT_EQ(host()->optionExists(host(), L"host.cpucountXYZ", 16), 0);
  EXPECT_EQ(host()->optionExists(host(), L"host.cpucount", 12), 0);
  EXPECT_EQ(host()->optionExists(host(), nullptr, 13), 0);
  EXPECT_EQ(host()->optionExists(host(), L"host.cpucount", 0), 0);
  EXPECT_EQ(host()->optionExists(host(), L"host.cpucount", -1), 0);
}

TEST(OptionStore, ReadsWriteNothingWhenTheyFail) {
  int64_t value = -1;
  int64_t size = 8;
  EXPECT_NE(host()->getOption(host(), L"no.such", 7, QZ_OPTION_INTEGER, &value, &size), 0);
  EXPECT_NE(host()->getOption(host(), L"host.cpucount", 13, 4, &value, &size), 0);
  EXPECT_NE(host()->getOption(host(), L"host.cpucount", 13, QZ_OPTION_INTEGER, nullptr, &size), 0);
  EXPECT_NE(host()->getOption(host(), L"host.cpucount", 13, QZ_OPTION_INTEGER, &value, nullptr), 0);
  size = 4;
  EXPECT_NE(host()->getOption(host(), L"host.cpucount", 13, QZ_OPTION_INTEGER, &value, &size), 0);
  EXPECT_EQ(value, -1);
  EXPECT_EQ(size, 4);
}

TEST(OptionStore, ValuesCanBeSetAndRemoved) {
  qzhost::setHostOption(L"test.value", INT64_C(1) << 40);
  int64_t value = 0;
  int64_t size = 16;
  EXPECT_EQ(host()->getOption(host(), L"test.value", 10, QZ_OPTION_INTEGER, &value, &size), 0);
  EXPECT_EQ(value, INT64_C(1) << 40);
  EXPECT_EQ(size, 8);
  qzhost::removeHostOption(L"test.value");
  EXPECT_EQ(host()->optionExists(host(), L"test.value", 10), 0);
}

TEST(Clock, TellsTheDateAndNeverRunsBackwards) {
  QzClockBuffer buffer{};
  ASSERT_EQ(host()->clock(QZ_CLOCK_SELECTOR, &buffer, QZ_CLOCK_FLAGS), 0);
  EXPECT_NEAR(buffer.seconds, static_cast<double>(std::time(nullptr)), 5.0);
  EXPECT_LE(std::abs(buffer.zone), 15 * 3600.0);
  double before = buffer.seconds;
  for (int i = 0; i < 10000; ++i) {
    host()->clock(QZ_CLOCK_SELECTOR, &buffer, QZ_CLOCK_FLAGS);
    ASSERT_GE(buffer.seconds, before);
    before = buffer.seconds;
  }
}

TEST(Clock, RejectsAnotherSelectorAndANullBuffer) {
  QzClockBuffer buffer{};
  buffer.seconds = -1.0;
  EXPECT_NE(host()->clock(15, &buffer, QZ_CLOCK_FLAGS), 0);
  EXPECT_EQ(buffer.seconds, -1.0);
  EXPECT_NE(host()->clock(QZ_CLOCK_SELECTOR, nullptr, QZ_CLOCK_FLAGS), 0);
}

}  // namespace
