// The serial LDL factorisation.
#pragma once

#include <cstdint>

#include "sparse/factor.h"

namespace qz {

// Right-looking sweep over the supernodes of a factor that is not blocked: every supernode takes its matrix entries, is
// factored, and updates its ancestors at once. The permuted lower triangle stands in `numeric`; pivotTolerance is set.
// Stores numPerturbed. Nothing is allocated.
// LA_OK; LA_CANCELLED when the cancel word of the calling thread reads 1; LA_INCONSISTENT when an entry of the matrix
// has no place in the structure.
[[nodiscard]] int32_t NumericLDLSerial(SymbolicFactor* symbolic, const NumericFactor* numeric);

}  // namespace qz
