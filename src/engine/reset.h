// The jump from a late iterate to the exact point on the optimal face.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Derives the optimal partition from the iterate, fixes the columns at their bounds, drops the inactive rows, and
// solves one symmetric linear system for the point on that face. A candidate that is feasible within tolPrimal and
// tolDual and that getSolutionStatus calls optimal or near-optimal takes the place of the iterate; slacks and duals of
// the sides that were decided are exact zeros, and a slack may stand slightly below zero, which is fine because the
// solve ends here.
//
// 0: the seven arrays of the iterate, its five measures and status (1 or 15) are replaced. Otherwise nothing has
// changed: 1003 the candidate was rejected, 10 a pair gave no decision, -1086, or the status of the failed solve.
[[nodiscard]] int32_t ipmReset(Ipm* ipm);

}  // namespace qz
