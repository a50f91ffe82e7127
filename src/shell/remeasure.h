// The last check of an answer: measured again on the caller's own data, untouched by any presolve or scaling.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "qzipsolve/record.h"
#include "shell/records.h"

namespace qz {

// The quadratic part of a caller's objective, 1/2 x'Qx: the diagonal of Q, numCol entries, and the strict lower
// triangle by columns. Nothing is owned.
struct QuadraticTerm {
  const double* diag;
  const int32_t* colBegin;
  const int32_t* colLength;
  const int32_t* rowIndex;
  const double* matValue;
};

// Fills reducedCost = obj + Q solPrimal - A' solDual and rowActivity = A solPrimal, and from them primalInfeas,
// boundInfeas, dualInfeas, dualityGap, objValue and complementarity (the smaller of the new value and the one in the
// record). Residuals are relative to 1 + the norm of their data; infinite right-hand sides, costs and bounds take no
// part. Senses count in either case; any other row is reported to log and skipped. Complementarity sums |residual *
// dual| over the pairs that have not separated: neither side below 1e-6 of the other, or both at least the larger of
// tolPrimal and tolDual. The gap lies between c'x + x'Qx / 2 and b'y + the bounds' shares - x'Qx / 2. A null
// `quadratic` is Q = 0. False, with nothing written, when an array of the answer is missing.
[[nodiscard]] bool remeasureAnswer(QzLog* log, LpRecord* record, const QuadraticTerm* quadratic, double tolPrimal,
                                   double tolDual);

// The status of a claimed optimum by the measures in the record: 1 or 15 when they bear it out, else 10, and then each
// measure above ten times its tolerance is reported to log.
[[nodiscard]] int32_t judgeAnswer(QzLog* log, const LpRecord* record, const IpmOption* option);

}  // namespace qz
