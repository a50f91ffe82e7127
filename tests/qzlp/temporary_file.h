// A file that goes away with the test.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace qztest {

class TemporaryFile {
 public:
  // The name ends in `ending`.
  explicit TemporaryFile(const std::string& ending, const std::string& content = {}) {
    path_ = "/tmp/qzlp_test_XXXXXX" + ending;
    const int file = mkstemps(path_.data(), static_cast<int>(ending.size()));
    if (file < 0) throw std::runtime_error("no temporary file");
    close(file);
    write(content);
  }
  ~TemporaryFile() { std::remove(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void write(const std::string& content) const {
    std::ofstream file(path_, std::ios::binary);
    file << content;
  }
  std::string read() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace qztest
