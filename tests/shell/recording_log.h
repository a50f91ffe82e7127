// A log that keeps codes with their arguments, which it reads off by the table of messages.h.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <vector>

#include "qzipsolve/messages.h"
#include "support/test_host.h"

namespace qztest {

struct Recorded {
  int32_t level;
  uint32_t code;     // 0 for a text
  std::string text;  // the format
  std::vector<double> arguments;
};

class RecordingLog {
 public:
  RecordingLog() {
    sink_.log.logCode = code;
    sink_.log.logText = text;
    sink_.owner = this;
  }
  RecordingLog(const RecordingLog&) = delete;
  RecordingLog& operator=(const RecordingLog&) = delete;

  QzLog* log() { return &sink_.log; }
  std::vector<Recorded> sent;

  std::vector<uint32_t> codes() const {
    std::vector<uint32_t> out;
    for (const Recorded& message : sent) out.push_back(message.code);
    return out;
  }
  const Recorded* find(uint32_t wanted) const {
    for (const Recorded& message : sent)
      if (message.code == wanted) return &message;
    return nullptr;
  }

 private:
  struct Sink {
    QzLog log{};
    RecordingLog* owner = nullptr;
  };
  static int numReals(uint32_t messageCode) {
    switch (messageCode) {
      case QZ_MSG_OBJECTIVE:
      case QZ_MSG_SOLVE_TIME:
      case QZ_MSG_TOL_OPTIMALITY:
      case QZ_MSG_TOL_PRIMAL:
      case QZ_MSG_TOL_DUAL:
        return 1;
      case QZ_MSG_CHECK_PRIMAL:
      case QZ_MSG_CHECK_BOUND:
      case QZ_MSG_CHECK_DUAL:
        return 2;
      default:
        return 0;
    }
  }
  static void code(QzLog* log, int32_t level, uint32_t messageCode, ...) {
    Recorded message{level, messageCode, {}, {}};
    va_list list;
    va_start(list, messageCode);
    for (int k = 0; k < numReals(messageCode); ++k) message.arguments.push_back(va_arg(list, double));
    if (messageCode == QZ_MSG_THREADS) message.arguments.push_back(va_arg(list, int));
    va_end(list);
    reinterpret_cast<Sink*>(log)->owner->sent.push_back(message);
  }
  // Texts of the shell carry integers only.
  static void text(QzLog* log, int32_t level, const wchar_t* format, int32_t length, ...) {
    Recorded message{level, 0, {}, {}};
    va_list list;
    va_start(list, length);
    for (int32_t i = 0; i < length; ++i) {
      message.text.push_back(static_cast<char>(format[i]));
      if (format[i] == L'%') message.arguments.push_back(va_arg(list, int));
    }
    va_end(list);
    reinterpret_cast<Sink*>(log)->owner->sent.push_back(message);
  }
  Sink sink_;
};

}  // namespace qztest
