// A log that keeps its lines as a reader would see them, and the question that most tests of the checks ask.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <string>
#include <vector>

#include "host/format.h"
#include "qzipsolve/host.h"

namespace qztest {

class SpokenLog {
 public:
  SpokenLog() {
    sink_.log.logCode = code;
    sink_.log.logText = text;
    sink_.owner = this;
  }
  SpokenLog(const SpokenLog&) = delete;
  SpokenLog& operator=(const SpokenLog&) = delete;

  QzLog* log() { return &sink_.log; }
  bool says(const std::string& part) const {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(part) != std::string::npos; });
  }
  int errors() const {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [](const std::string& line) { return line.rfind("Error ", 0) == 0; }));
  }
  std::string all() const {
    std::string joined;
    for (const std::string& line : lines) joined += line + "\n";
    return joined;
  }
  std::vector<std::string> lines;

 private:
  struct Sink {
    QzLog log{};
    SpokenLog* owner = nullptr;
  };
  static void code(QzLog*, int32_t, uint32_t, ...) {}
  static void text(QzLog* log, int32_t level, const wchar_t* format, int32_t length, ...) {
    EXPECT_EQ(level, QZ_LOG_DEBUG);
    va_list arguments;
    va_start(arguments, length);
    reinterpret_cast<Sink*>(log)->owner->lines.push_back(qzhost::formatWide(format, length, arguments));
    va_end(arguments);
  }
  Sink sink_;
};

// A check on intact data: 0, with the line that it ran and no error; nothing at all one level below `least`.
template <class Verify>
void expectSound(SpokenLog& log, int32_t least, Verify verify) {
  log.lines.clear();
  EXPECT_EQ(verify(least - 1), 0);
  EXPECT_TRUE(log.lines.empty()) << log.all();
  EXPECT_EQ(verify(least), 0) << log.all();
  EXPECT_EQ(log.errors(), 0) << log.all();
  EXPECT_TRUE(log.says("running debug code......"));
}

// The same check on damaged data: 10, and a text that names the damage; still nothing one level below.
template <class Verify>
void expectBreach(SpokenLog& log, int32_t least, Verify verify, const std::string& text) {
  log.lines.clear();
  EXPECT_EQ(verify(least - 1), 0);
  EXPECT_TRUE(log.lines.empty()) << log.all();
  EXPECT_EQ(verify(least), 10) << text;
  EXPECT_TRUE(log.says("Error " + text)) << "wanted: " << text << "\n" << log.all();
}

}  // namespace qztest
