#include "host/log_sink.h"

#include <new>
#include <utility>

#include "host/catalogue.h"
#include "host/format.h"
#include "qzipsolve/messages.h"

namespace qzhost {

namespace {

LogSink* sinkOf(QzLog* log) {
  return reinterpret_cast<LogSink*>(log);
}

// A line is lost rather than a solve when memory is short.
void logCode(QzLog* log, int32_t level, uint32_t code, ...) {
  va_list arguments;
  va_start(arguments, code);
  try {
    sinkOf(log)->takeCode(level, code, arguments);
  } catch (const std::bad_alloc&) {
  }
  va_end(arguments);
}

void logText(QzLog* log, int32_t level, const wchar_t* text, int32_t length, ...) {
  va_list arguments;
  va_start(arguments, length);
  try {
    sinkOf(log)->takeText(level, formatWide(text, length, arguments));
  } catch (const std::bad_alloc&) {
  }
  va_end(arguments);
}

// What the solver leaves out at print level 0 beside the notes and the table.
bool isOfASummary(uint32_t code) {
  return code == QZ_MSG_OUT_OF_MEMORY || code == QZ_MSG_INTERRUPTED || code == QZ_MSG_NOT_CONVEX_HINT ||
         code == QZ_MSG_THREAD_MODE;
}

}  // namespace

LogSink::LogSink() : log{logCode, logText} {}

void LogSink::begin(int32_t printLevel, int32_t logFrequency) {
  start_ = std::chrono::steady_clock::now();
  stopAsked = false;
  lastError.clear();
  keptBack_.clear();
  // As in the solver: without a frequency only the summary is left.
  printLevel_ = logFrequency < 1 && printLevel >= kTableLevel ? kTableLevel - 1 : printLevel;
  logFrequency_ = logFrequency;
}

void LogSink::takeCode(int32_t level, uint32_t code, va_list arguments) {
  if (progress == nullptr) return send(level, code, messageLine(code, arguments));
  va_list copy;
  va_copy(copy, arguments);
  const int32_t iteration = code == QZ_MSG_ITERATION ? tellProgress(copy) : 0;
  va_end(copy);
  if (code == QZ_MSG_ITERATION)
    keptBack_.clear();
  else
    end();
  if (!isShown(level, code)) return;
  std::string line = messageLine(code, arguments);
  if (code == QZ_MSG_ITERATION && iteration % logFrequency_ != 0)
    keptBack_ = std::move(line);
  else
    send(level, code, std::move(line));
}

void LogSink::takeText(int32_t level, std::string text) {
  if (progress != nullptr && !isShown(level, 0)) return;
  send(level, 0, std::move(text));
}

void LogSink::end() {
  if (!keptBack_.empty()) send(QZ_LOG_ITERATION, QZ_MSG_ITERATION, std::exchange(keptBack_, {}));
}

int32_t LogSink::tellProgress(va_list arguments) {
  qzlp_progress now{};
  now.iteration = va_arg(arguments, int32_t);
  now.complementarity = va_arg(arguments, double);
  now.dualityGap = va_arg(arguments, double);
  now.primalInfeasibility = va_arg(arguments, double);
  now.boundInfeasibility = va_arg(arguments, double);
  now.dualInfeasibility = va_arg(arguments, double);
  now.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  if (progress(&now, progressData) != 0) stopAsked = true;
  return now.iteration;
}

// By the caller's print level.
bool LogSink::isShown(int32_t level, uint32_t code) const {
  const bool ofTable = level == QZ_LOG_HEADER || level == QZ_LOG_ITERATION;
  if (printLevel_ >= kTableLevel) return true;
  if (printLevel_ > 0) return !ofTable;
  return !ofTable && level != QZ_LOG_NOTE && !isOfASummary(code);
}

// Hands on every line of the text; line ends at its end add no empty line.
void LogSink::send(int32_t level, uint32_t code, std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (level == QZ_LOG_ERROR) lastError = text;
  if (callback == nullptr) return;
  for (size_t begin = 0; begin <= text.size();) {
    size_t end = text.find('\n', begin);
    if (end == std::string::npos) end = text.size();
    callback(level, code, text.substr(begin, end - begin).c_str(), userData);
    begin = end + 1;
  }
}

}  // namespace qzhost
