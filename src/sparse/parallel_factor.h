// The parallel engines of blocked factors: each fills lValues from the permuted lower triangle of the matrix.
//
// The static pipeline (the D of the names: deterministic) gives the same bits for any timing; the dynamic scheduler
// differs in the order of additions. All run numThreads - 1 workers of the host beside the calling thread; the static
// pipeline on one thread needs no host at all. They return LA_OK; LA_NO_MEMORY when a lock or an end event can't be
// made or the task pool can't grow; LA_INCONSISTENT when an entry of the matrix has no place in the structure, or a
// worker can't be started or waited for; LA_CANCELLED when the calling thread or a worker was cancelled. The factor is
// undefined then. No worker is left behind in any case.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/lower_matrix.h"

namespace qz {

[[nodiscard]] int32_t NumericCholParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                                          const NumericFactor* numeric);
[[nodiscard]] int32_t NumericCholDParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                                           const NumericFactor* numeric);

// Both LDL engines store numPerturbed.
[[nodiscard]] int32_t NumericLDLParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                                         const NumericFactor* numeric);
[[nodiscard]] int32_t NumericLDLDParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                                          const NumericFactor* numeric);

}  // namespace qz
