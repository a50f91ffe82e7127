// The serial Cholesky factorisation.
#pragma once

#include <cstdint>

#include "sparse/cholesky_factor.h"
#include "sparse/factor.h"

namespace qz {

// Left-looking sweep over the supernodes of a factor that is not blocked: every supernode takes its matrix entries and
// all updates of its descendants, and is then factored (Ng and Peyton, "Block sparse Cholesky algorithms on advanced
// uniprocessor computers", SIAM J. Sci. Comput. 14, 1993). pivotTolerance is set. `numeric` lends its work vector only;
// nothing is allocated.
// LA_OK; LA_CANCELLED when the cancel word of the calling thread reads 1; LA_INCONSISTENT when an entry of the matrix
// has no place in the structure.
[[nodiscard]] int32_t NumericCholSerial(const LowerMatrix& matrix, SymbolicFactor* symbolic, NumericFactor* numeric);

}  // namespace qz
