// The log object of an instance: turns codes and format texts into lines and hands them to a callback, and what an
// iteration tells to another.
#pragma once

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "qzipsolve/host.h"
#include "qzlp.h"

namespace qzhost {

// From this print level on the solver tells each iteration.
constexpr int32_t kTableLevel = 2;

// With a progress callback the solver must run with kTableLevel or more and a frequency of 1. The sink then keeps from
// the log what the caller's own print level and frequency would not have let through.
struct LogSink {
  QzLog log;  // first: a QzLog pointer is a LogSink pointer
  qzlp_logCallback callback = nullptr;
  void* userData = nullptr;
  qzlp_progressCallback progress = nullptr;
  void* progressData = nullptr;
  bool stopAsked = false;  // by the progress callback
  std::string lastError;   // the last line at the level of an error since the solve began

  LogSink();
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

  // A solve begins, for a caller with these options.
  void begin(int32_t printLevel, int32_t logFrequency);

  // Hands on one message of the solver.
  void takeCode(int32_t level, uint32_t code, va_list arguments);
  void takeText(int32_t level, std::string text);

  // The solve is over: shows the line of the last iteration when it was kept back.
  void end();

 private:
  // Takes the arguments of an iteration's message, whose number it returns.
  int32_t tellProgress(va_list arguments);
  bool isShown(int32_t level, uint32_t code) const;
  void send(int32_t level, uint32_t code, std::string text);

  std::chrono::steady_clock::time_point start_;
  int32_t printLevel_ = kTableLevel;
  int32_t logFrequency_ = 1;
  std::string keptBack_;  // the line of an iteration that is shown only when it is the last one
};

}  // namespace qzhost
