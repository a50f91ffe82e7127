// The correction equation of a Davidson step, solved roughly by symmetric QMR.
//
//   (I - x x') (A - theta I) (I - x x') t = -r,    r = A x - theta x, |x| = 1, t from 0.
//
// Freund and Nachtigal (1994), Appl. Numer. Math. 15, for the recurrences; Notay (2002), Numer. Linear Algebra Appl. 9,
// and Stathopoulos (2007), SIAM J. Sci. Comput. 29(2), for stopping as soon as the eigenvalue residual of x + t, known
// from scalars alone, no longer follows the residual of the linear system.
#pragma once

#include <cstdint>

#include "eigen/sparse_product.h"

namespace qz {

struct SparseSymMatrix {
  int32_t n;
  const int32_t* colStart;
  const int32_t* rowIndex;
  const double* value;
  SymMatVec multiply;
};

struct Correction {
  const double* x;      // n: Ritz vector
  const double* r;      // n: its residual
  double theta;         // Ritz value
  double residualNorm;  // |r| > 0
  double normEstimate;  // of A
  double target;        // a smaller residual of x + t is not asked for
  bool smallest;        // theta must not rise, or, at the other end of the spectrum, not fall
  int64_t maxMatVec;
};

// Room of n entries each.
struct CorrectionSpace {
  double* t;  // result
  double* residual;
  double* direction;
  double* image;
  double* step;
};

// Solves. *numProducts receives the products with A; returns false when no step could be made, t being 0.
[[nodiscard]] bool solveCorrection(const SparseSymMatrix& matrix, const Correction& problem,
                                   const CorrectionSpace& space, int64_t* numProducts);

}  // namespace qz
