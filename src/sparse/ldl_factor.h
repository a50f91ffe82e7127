// Numeric LDL factorisation of a symmetric indefinite matrix on the structures of its analysis.
//
// P A P' = L D L' with D block-diagonal (1-by-1 and 2-by-2 blocks). The pivot search runs inside a diagonal block only:
// a pivot never leaves its supernode, so the structure of the analysis stays valid and no pivot is delayed. A pivot
// that the search can't make large enough is replaced by +-pivotTolerance, keeping its sign, and counted in
// numPerturbed; the refinement of LA_SolveMatrixLDL repairs the solve (static pivoting, Schenk and Gaertner 2006).
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Magnitude at or below which a pivot column counts as zero: the square root of 2^-53, not scaled by the matrix.
inline constexpr double kLDLPivotTolerance = 1.053671212772351e-8;

// Factors the n-by-n matrix. alreadyPermuted 0: colBegin, rowIndex, matValue hold both triangles in the caller's order.
// Otherwise they are in the factor's order and their lower triangle (row >= column) is read. The pattern must be the
// one that was analysed. With computeInertia set in `env` the pivot statistics are left there. LA_OK; LA_INCONSISTENT
// for a matrix that does not fit the analysis; LA_CANCELLED; LA_BAD_PARAMETER for a null handle. factorState is -1
// afterwards in all cases.
[[nodiscard]] int32_t LA_FactorMatrixLDL(int32_t alreadyPermuted, int32_t n, const int32_t* colBegin,
                                         const int32_t* rowIndex, const double* matValue, LAEnv* env,
                                         SymbolicFactor* symbolic, NumericFactor* numeric);

}  // namespace qz
