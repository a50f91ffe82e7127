#include "support/test_host.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

#include "qzipsolve/instance.h"

namespace qztest {

namespace {

TestHost* current = nullptr;
std::atomic<int64_t> allocationCount{0};
std::atomic<int64_t> blockCount{0};
std::atomic<int64_t> byteCount{0};
std::atomic<int64_t> failAt{0};
std::atomic<bool> failBehind{false};
std::atomic<int64_t> clockReadings{0};

struct CountingPool {
  QzPool pool;  // first, so that a pool pointer is a CountingPool pointer
  std::mutex mutex;
  std::map<void*, uint64_t> blocks;
};

CountingPool* counting(QzPool* pool) {
  return reinterpret_cast<CountingPool*>(pool);
}

// Behind every block stand bytes that nobody may write, so that a build without a sanitizer sees an overrun too.
constexpr size_t kGuardBytes = 64;
constexpr unsigned char kGuard = 0x5b;

void checkGuard(const void* block, uint64_t size) {
  const auto* guard = static_cast<const unsigned char*>(block) + size;
  if (std::all_of(guard, guard + kGuardBytes, [](unsigned char byte) { return byte == kGuard; })) return;
  std::fprintf(stderr, "a block of %llu bytes was written beyond its end\n", static_cast<unsigned long long>(size));
  std::abort();
}

void poolDestroy(QzPool* pool) {
  CountingPool* self = counting(pool);
  for (auto& [block, size] : self->blocks) {
    --blockCount;
    byteCount -= static_cast<int64_t>(size);
    checkGuard(block, size);
    std::free(block);
  }
  delete self;
}

void* poolAllocate(QzPool* pool, uint64_t size, uint32_t flags) {
  const int64_t number = ++allocationCount;
  const int64_t fail = failAt.load();
  if (fail != 0 && (number == fail || (failBehind && number > fail))) return nullptr;
  if (size > (uint64_t{1} << 40)) return nullptr;
  void* block = std::malloc(size + kGuardBytes);
  if (block == nullptr) return nullptr;
  std::memset(block, (flags & QZ_POOL_ZERO) != 0 ? 0 : 0xa5, size);
  std::memset(static_cast<char*>(block) + size, kGuard, kGuardBytes);
  CountingPool* self = counting(pool);
  std::lock_guard<std::mutex> guard(self->mutex);
  self->blocks[block] = size;
  ++blockCount;
  byteCount += static_cast<int64_t>(size);
  return block;
}

void poolFree(QzPool* pool, void* block) {
  if (block == nullptr) return;
  CountingPool* self = counting(pool);
  std::lock_guard<std::mutex> guard(self->mutex);
  auto found = self->blocks.find(block);
  if (found == self->blocks.end()) std::abort();  // a double free, or memory of another pool
  --blockCount;
  byteCount -= static_cast<int64_t>(found->second);
  checkGuard(block, found->second);
  self->blocks.erase(found);
  std::free(block);
}

QzPool* createPool(QzHostTable*, QzPoolParameters*, QzPool*, const wchar_t*, int64_t, int64_t) {
  auto* self = new CountingPool;
  self->pool = QzPool{};
  self->pool.destroy = poolDestroy;
  self->pool.allocate = poolAllocate;
  self->pool.free = poolFree;
  return &self->pool;
}

thread_local QzThread threadObject{};

int32_t threadSignal(QzThread* thread, int32_t mode, int64_t) {
  __atomic_store_n(&thread->cancelled, mode == 0 ? 1 : 0, __ATOMIC_RELAXED);
  return 0;
}

QzThread* currentThread(QzHostTable*) {
  threadObject.signal = threadSignal;
  return &threadObject;
}

int32_t optionExists(QzHostTable*, const wchar_t* name, int64_t length) {
  return current->options_.count(std::wstring(name, static_cast<size_t>(length))) != 0 ? 1 : 0;
}

int32_t getOption(QzHostTable*, const wchar_t* name, int64_t length, int32_t type, void* value, int64_t* size) {
  auto found = current->options_.find(std::wstring(name, static_cast<size_t>(length)));
  if (found == current->options_.end() || type != QZ_OPTION_INTEGER || *size < 8) return 1;
  std::memcpy(value, &found->second, 8);
  *size = 8;
  return 0;
}

// All bytes of the buffer are written, and the zone of every reading is another one.
int32_t readClock(int32_t, void* buffer, uint32_t) {
  auto* out = static_cast<QzClockBuffer*>(buffer);
  std::memset(out, static_cast<int>(0x40 + ++clockReadings % 64), sizeof *out);
  out->seconds = current->now;
  current->now += current->tick;
  return 0;
}

}  // namespace

struct TestHost::Sink {
  QzLog log;  // first
  TestHost* owner;

  static void code(QzLog* log, int32_t level, uint32_t code, ...) {
    reinterpret_cast<Sink*>(log)->owner->messages.push_back({level, code, {}});
  }
  static void text(QzLog* log, int32_t level, const wchar_t* text, int32_t length, ...) {
    std::string narrow;
    for (int32_t i = 0; i < length; ++i) narrow.push_back(static_cast<char>(text[i]));
    reinterpret_cast<Sink*>(log)->owner->messages.push_back({level, 0, narrow});
  }
};

TestHost::TestHost() {
  previous_ = Exported_QZHandle;
  current = this;
  failAt = 0;
  failBehind = false;
  table_.createPool = createPool;
  table_.currentThread = currentThread;
  table_.optionExists = optionExists;
  table_.getOption = getOption;
  table_.clock = readClock;
  Exported_QZHandle = &table_;
  pool_ = createPool(&table_, nullptr, nullptr, L"test", 0, 0);
  sink_ = new Sink{};
  sink_->log.logCode = Sink::code;
  sink_->log.logText = Sink::text;
  sink_->owner = this;
  cancelThread(false);
}

TestHost::~TestHost() {
  failAt = 0;
  pool_->destroy(pool_);
  delete sink_;
  Exported_QZHandle = previous_;
  current = nullptr;
}

QzLog* TestHost::log() {
  return &sink_->log;
}

void TestHost::failAllocation(int64_t k, bool andAllBehind) {
  failAt = k == 0 ? 0 : allocationCount + k;
  failBehind = andAllBehind;
}

int64_t TestHost::allocations() const {
  return allocationCount;
}
int64_t TestHost::outstanding() const {
  return blockCount;
}
int64_t TestHost::outstandingBytes() const {
  return byteCount;
}

QzThread* TestHost::thread() {
  return currentThread(&table_);
}

void TestHost::cancelThread(bool cancel) {
  threadSignal(thread(), cancel ? 0 : 1, 0);
}

bool TestHost::logged(uint32_t code) const {
  for (const LoggedMessage& message : messages)
    if (message.code == code) return true;
  return false;
}

bool TestHost::loggedText(const std::string& text) const {
  for (const LoggedMessage& message : messages)
    if (message.code == 0 && message.text.find(text) != std::string::npos) return true;
  return false;
}

}  // namespace qztest
