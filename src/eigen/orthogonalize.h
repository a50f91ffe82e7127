// Repeated classical Gram-Schmidt. One projection can lose all digits, two are enough unless the vector lies in the
// span: Daniel, Gragg, Kaufman, Stewart (1976), Math. Comp. 30; Giraud, Langou, Rozloznik (2005), Comput. Math. Appl.
// 50.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kEigenNoVector = 11;  // no further independent vector could be found

// Orthonormalises the columns `first` to `last` (inclusive, from 0) of V, ldV entries each, against all columns before
// them. A column that lies in their span is replaced by a random one. work: last entries, at least 1. Returns 0, or
// kEigenNoVector when 11 random columns for one place lay in the span too.
[[nodiscard]] int32_t LA_AddAndOrthogonalize(int32_t first, int32_t last, double* V, int32_t ldV, double* work,
                                             uint32_t* seed);

// Orthonormalises the `count` columns of V, of unit size and ldV entries each, against each other and against the m
// orthonormal columns of Q (leading dimension ldV). A column without a part of its own is replaced by the last one.
// work: max(m, count) entries. Returns how many are left.
[[nodiscard]] int32_t LA_OrthogonalizeICGS(int32_t count, double* V, int32_t ldV, int32_t m, const double* Q,
                                           double* work);

}  // namespace qz
