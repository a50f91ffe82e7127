// The modes of presolve against each other and against Clp, over programs made to trigger each reduction.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace models {

// How often each reduction was applied, by the name under which the log tells it.
using ReductionCounts = std::map<std::string, long>;

// The counts that the log of a solve tells.
ReductionCounts readCounts(const std::string& log);

// Solves the programs of every trigger, seeds first to last, in the modes -1, 0, 1, 2 and 3. Each answer must be what
// Clp says and certified; a fault is a failure of the test with its trigger and seed, and the shrunken program is left
// in a file. Prints for every trigger what its programs were and what mode 3 applied to them; returns the sums of the
// latter.
//
// Up to `spared` answers may say of a program without an optimum that both sides are infeasible where one is, or give
// up: the iteration gains no proof there. Their seeds are printed.
ReductionCounts compareModes(uint64_t first, uint64_t last, int spared);

}  // namespace models
