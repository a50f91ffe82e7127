// The command line of qzlp.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "options.h"

namespace qzlpApp {

struct Arguments {
  std::vector<std::string> words;  // the command line as it was given
  std::string file;
  std::string exportFile;    // empty for none; the model is written there and not solved
  std::string solutionFile;  // empty for none
  std::string basisFile;     // empty for none; asks for the crossover
  std::string logFile;       // empty for none
  std::string plotFile;      // empty for none
  bool json = false;
  bool quiet = false;
  OptionValues options;  // those of the options file, then those of the flags

  // The value that the options leave of one: the last one set, else its default.
  double option(const char* name) const;
};

// What the program exits with.
enum ExitCode {
  exitOptimal = 0,      // statuses 1 and 15
  exitBadInput = 2,     // bad usage, or a file that can't be read or written
  exitInfeasible = 10,  // statuses 3, 4, 14 and 256
  exitStopped = 20,     // statuses 7, 8 and 12
  exitFailed = 30       // all others
};
ExitCode exitCodeOf(int status);

// Parses the command line. Without a value everything is said already (help, version, the options, or what is wrong
// with the usage, in one line on standard error), and `exitCode` is what the program exits with.
std::optional<Arguments> parseArguments(int argc, const char* const* argv, int& exitCode);

}  // namespace qzlpApp
