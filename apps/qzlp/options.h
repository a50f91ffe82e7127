// The solver's options as people write them: flags of the command line and lines of an options file.
//
// Both take the names of the library, either as they stand (tolPrimal) or in the form of a flag (tol-primal), and
// `tol` for the three tolerances at once. Values are numbers, or the words that some options have.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qzlp.h"

namespace qzlpApp {

// Names of the library with values, in the order to set them.
using OptionValues = std::vector<std::pair<std::string, double>>;

// What is wrong with an option, in words.
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// "tol-primal" for "tolPrimal".
std::string flagName(const std::string& optionName);

// The words for the values 0, 1, ... of an option; empty for one that has only numbers.
const std::vector<std::string>& wordsOf(const qzlp_option& option);

// The value that a text stands for. Throws OptionError when it is none, or out of the option's range.
double valueOf(const qzlp_option& option, const std::string& text);

// The text of a value, to be read back by valueOf.
std::string textOf(const qzlp_option& option, double value);

// What an options file sets: lines "name = value"; empty lines and what follows a # count for nothing. Of two lines for
// one option the later one wins, but an option of its own wins over `tol`. Throws OptionError, with the line.
OptionValues parseOptions(const std::string& text);

// The same for a file. Throws OptionError, with words that begin with the file's name.
OptionValues readOptionsFile(const std::string& path);

// An options file of all options, each with its meaning: with the values of `set`, and the defaults for the others.
std::string optionsFileText(const OptionValues& set);

// `text` with line breaks, so that no line is longer than `width` unless a word is, and with `indent` before each line.
std::string wrapped(const std::string& text, size_t width, const std::string& indent);

}  // namespace qzlpApp
