// The text of a model file: plain, gzip or bzip2, told apart by the first bytes and not by the name.
#pragma once

#include <stdexcept>
#include <string>

namespace qzfiles {

// What is wrong with a file, in words that follow "FILE: ".
class ModelFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The whole file, decompressed. Throws ModelFileError when it can't be read, is cut short, is empty, or isn't text.
std::string readFileText(const std::string& path);

// The same for the bytes of a file.
std::string decompressedText(std::string bytes);

}  // namespace qzfiles
