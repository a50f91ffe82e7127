// Where the lines of a solve go: standard output, a log file, both, or neither.
#pragma once

#include <cstdio>
#include <string>

namespace qzlpApp {

class Journal {
 public:
  // `file` may be null, and must outlive the journal.
  Journal(bool onScreen, std::FILE* file) : onScreen_(onScreen), file_(file) {}

  // True when somebody reads it.
  bool isRead() const { return onScreen_ || file_ != nullptr; }

  // A line, handed on at once, so that a reader at the end of a pipe or of the file sees a table grow.
  void line(const std::string& text) {
    if (onScreen_) put(stdout, text);
    if (file_ != nullptr) put(file_, text);
  }

  // The same for the file alone.
  void fileLine(const std::string& text) {
    if (file_ != nullptr) put(file_, text);
  }

 private:
  static void put(std::FILE* file, const std::string& text) {
    std::fputs(text.c_str(), file);
    std::fputc('\n', file);
    std::fflush(file);
  }

  bool onScreen_;
  std::FILE* file_;
};

}  // namespace qzlpApp
