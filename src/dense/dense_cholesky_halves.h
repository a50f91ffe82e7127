// The recursion that all dense Cholesky forms on the lower triangle share.
#pragma once

#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_cholesky.h"

namespace qz {

// Factors by halves; `unblocked(n, a, first)` factors a diagonal block of fewer than kCholeskyBlock columns that begins
// at column `first` of the whole. With [A11; A21, A22]: A11 = L11 L11', L21 := A21 L11^-T, A22 := A22 - L21 L21'.
template <class Unblocked>
void factorByHalves(int32_t n, double* a, int32_t lda, int32_t first, const Unblocked& unblocked) {
  if (n < kCholeskyBlock) {
    unblocked(n, a, first);
    return;
  }
  const int32_t n1 = n / 2;
  const int32_t n2 = n - n1;
  double* below = a + n1;
  double* trailing = below + static_cast<int64_t>(n1) * lda;
  factorByHalves(n1, a, lda, first, unblocked);
  blas::dtrsm("R", "L", "T", "N", n2, n1, 1.0, a, lda, below, lda);
  blas::dsyrk("L", "N", n2, n1, -1.0, below, lda, 1.0, trailing, lda);
  factorByHalves(n2, trailing, lda, first + n1, unblocked);
}

}  // namespace qz
