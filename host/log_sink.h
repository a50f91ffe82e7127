// The log object of an instance: turns codes and format texts into lines and hands them to a callback.
#pragma once

#include <cstdint>
#include <string>

#include "qzipsolve/host.h"
#include "qzlp.h"

namespace qzhost {

struct LogSink {
  QzLog log;  // first: a QzLog pointer is a LogSink pointer
  qzlp_logCallback callback = nullptr;
  void* userData = nullptr;
  std::string lastError;  // the last line at the level of an error since it was cleared

  LogSink();
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
};

}  // namespace qzhost
