// The last check of an answer: measured again on the caller's own data, untouched by any presolve or scaling.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "qzipsolve/record.h"

namespace qz {

// Fills reducedCost = obj - A' solDual and rowActivity = A solPrimal, and from them primalInfeas, boundInfeas,
// dualInfeas, dualityGap, objValue and complementarity (the smaller of the new value and the one in the record).
// Residuals are relative to 1 + the norm of their data; infinite right-hand sides, costs and bounds take no part.
// Senses count in either case; any other row is reported to log and skipped. Complementarity sums |residual * dual|
// over the pairs that have not separated: neither side below 1e-6 of the other, or both at least the larger of
// tolPrimal and tolDual. False, with nothing written, when an array of the answer is missing.
[[nodiscard]] bool remeasureAnswer(QzLog* log, LpRecord* record, double tolPrimal, double tolDual);

}  // namespace qz
