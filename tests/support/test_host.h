// A small host for unit tests: pools that count, can fail, and abort at an overrun or a second free, settable options,
// a thread whose cancel word tests may set, a log that keeps what it was sent. Independent of the stand-alone host.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qzipsolve/host.h"

namespace qztest {

// One message as it reached the log.
struct LoggedMessage {
  int32_t level;
  uint32_t code;     // 0 for a literal text
  std::string text;  // the literal format text, narrowed
};

class TestHost {
 public:
  TestHost();   // stores its table in Exported_QZHandle
  ~TestHost();  // puts the old table back
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  QzHostTable* table() { return &table_; }
  QzPool* pool() { return pool_; }  // a pool that lives as long as the host
  QzLog* log();

  // The k-th allocation from now on (k from 1) fails, and all behind it too when `andAllBehind`; 0 switches off.
  void failAllocation(int64_t k, bool andAllBehind = false);
  int64_t allocations() const;  // made since the host was made
  int64_t outstanding() const;  // blocks in use, all pools together
  int64_t outstandingBytes() const;

  void setOption(const std::wstring& name, int64_t value) { options_[name] = value; }
  void removeOption(const std::wstring& name) { options_.erase(name); }

  QzThread* thread();  // the object of the calling thread
  void cancelThread(bool cancel);

  double now = 1000.0;  // what the clock shows
  double tick = 0.0;    // added at every reading

  std::vector<LoggedMessage> messages;
  bool logged(uint32_t code) const;
  bool loggedText(const std::string& text) const;  // some literal text contains it

  std::map<std::wstring, int64_t> options_;

 private:
  QzHostTable table_{};
  QzHostTable* previous_ = nullptr;
  QzPool* pool_ = nullptr;
  struct Sink;
  Sink* sink_ = nullptr;
};

}  // namespace qztest
