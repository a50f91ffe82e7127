// Runs a program as a child and keeps what it said.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qztest {

struct ProgramRun {
  int exitCode = -1;  // minus the signal's number when one ended it
  std::string out, err;
};

// Runs `program` with the arguments and waits for its end. When `waitFor` is not empty, `signal` is sent as soon as the
// standard output holds that text.
ProgramRun run(const std::string& program, const std::vector<std::string>& arguments, const std::string& waitFor = {},
               int signal = 0);

}  // namespace qztest
