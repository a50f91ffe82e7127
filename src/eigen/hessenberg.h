// Q'A Q = H for a general square matrix, H zero below the first subdiagonal.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kHessenbergBlock = 32;

[[nodiscard]] constexpr int64_t genToHessWorkEntries(int32_t n) {
  return 2 * static_cast<int64_t>(kHessenbergBlock) * n + kHessenbergBlock * (kHessenbergBlock + 2);
}

// Reduces rows and columns ilo to ihi (from 0, ihi included) of the n-by-n matrix a, which is upper triangular outside
// of them. H comes in place; the reflectors stand below the subdiagonal with their leading 1 implied, tau (n - 1
// entries) holds their scalars, 0 outside ilo to ihi - 1. work: genToHessWorkEntries(n). Blocks of 32 columns, Y = A V
// T gathered on the way: Quintana-Orti and van de Geijn (2006), ACM TOMS 32(2).
void GenToHess(int32_t n, int32_t ilo, int32_t ihi, double* a, int32_t lda, double* tau, double* work);

}  // namespace qz
