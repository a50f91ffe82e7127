#include "host/log_sink.h"

#include <cstdarg>
#include <new>

#include "host/catalogue.h"
#include "host/format.h"

namespace qzhost {

namespace {

LogSink* sinkOf(QzLog* log) {
  return reinterpret_cast<LogSink*>(log);
}

// Hands on every line of the text; line ends at its end add no empty line.
void send(LogSink* sink, int32_t level, uint32_t code, std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (level == QZ_LOG_ERROR) sink->lastError = text;
  if (sink->callback == nullptr) return;
  for (size_t begin = 0; begin <= text.size();) {
    size_t end = text.find('\n', begin);
    if (end == std::string::npos) end = text.size();
    sink->callback(level, code, text.substr(begin, end - begin).c_str(), sink->userData);
    begin = end + 1;
  }
}

// A line is lost rather than a solve when memory is short.
void logCode(QzLog* log, int32_t level, uint32_t code, ...) {
  va_list arguments;
  va_start(arguments, code);
  try {
    send(sinkOf(log), level, code, messageLine(code, arguments));
  } catch (const std::bad_alloc&) {
  }
  va_end(arguments);
}

void logText(QzLog* log, int32_t level, const wchar_t* text, int32_t length, ...) {
  va_list arguments;
  va_start(arguments, length);
  try {
    send(sinkOf(log), level, 0, formatWide(text, length, arguments));
  } catch (const std::bad_alloc&) {
  }
  va_end(arguments);
}

}  // namespace

LogSink::LogSink() : log{logCode, logText} {}

}  // namespace qzhost
