// One trip through the presolver module alone: reduce a program, let Clp answer what is left, take the answer back. So
// the reductions are tested on vertices that are exact, by code that shares nothing with the solver.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "models/linear_program.h"
#include "support/test_host.h"

namespace qztest {

struct RoundTrip {
  int reduceCode = 0;     // what reduce gave: 0 something is left, above 0 nothing, below 0 an error
  int postsolveCode = 0;  // of a trip that got so far
  int numRow = 0;         // of the reduced record
  int numCol = 0;
  int numCoef = 0;
  int clpStatus = 0;      // 0 optimal, 1 infeasible, 2 unbounded; of a reduced record
  models::Answer answer;  // status 1, 3, 4 as told by the module or by Clp, 12, 88 ...; the basis of an optimum
  std::map<std::string, int> applied;  // how often each reduction was, by its name in the log
};

struct RoundTripOptions {
  int mode = 3;                  // presolveMode
  uint64_t enabled = ~0ULL;      // the reductions that run, as in ReducerSettings
  long long failAllocation = 0;  // the k-th allocation of reduce fails, k from 1
  int breakAt = 0;               // the k-th poll of the break callback asks to stop, k from 1
  double timeLimit = 1e300;      // seconds
};

// Throws std::runtime_error when Clp gives up.
RoundTrip takeTrip(TestHost& host, const models::LinearProgram& program, const RoundTripOptions& options = {});

}  // namespace qztest
