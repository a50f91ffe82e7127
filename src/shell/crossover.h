// The hand-off to the simplex module `qzsimpx`, which turns the interior answer into a basic one.
#pragma once

#include <cstdint>

#include "qzipsolve/record.h"
#include "shell/records.h"

namespace qz {

// Scales lpRecord and solution by the presolver module's factors, runs the simplex module from there, and undoes the
// scaling. The record is the presolver module's, whose solPrimal and solDual are the arrays of the solution; the
// solution has the signs of FormatSolution. Returns 0 when the simplex module came to an answer, which then stands in
// the record; the status of the step that failed; or `status` itself where it leaves no point to start from. When the
// simplex module can't be had the record stays scaled: that answer is void. keptSolution is not read.
int32_t iplpCrossover(Env* env, LpRecord* lpRecord, Solution* solution, const KeptSolution* keptSolution,
                      const IpmOption* option, int32_t status);

}  // namespace qz
