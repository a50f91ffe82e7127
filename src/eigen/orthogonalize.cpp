#include "eigen/orthogonalize.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "eigen/random_vector.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

constexpr int32_t kRandomRounds = 11;
constexpr int32_t kPasses = 2;
constexpr int32_t kCoefficientRounds = 3;
constexpr double kSquareRootOfRoundoff = 1.053671212772351e-8;  // below it the norm by Pythagoras has no digits left
constexpr double kSquareRootOfHalf = 0.7071067811865475;        // at most a turn by 45 degrees: one pass was enough
constexpr double kNothingLeft = 5.551115123125785e-16;          // 5 roundoffs of a unit vector

// coefficients := V'v, v -= V coefficients.
void projectOut(int32_t n, int32_t count, const double* V, int32_t ldV, double* v, double* coefficients) {
  if (count < 1) return;
  blas::dgemv("T", n, count, 1.0, V, ldV, v, 1, 0.0, coefficients, 1);
  blas::dgemv("N", n, count, -1.0, V, ldV, coefficients, 1, 1.0, v, 1);
}

// Makes v orthogonal to the first `count` columns. Returns its norm afterwards, or 0 when it lies in their span.
double orthogonalize(int32_t n, int32_t count, const double* V, double* v, double* work) {
  double before = blas::dnrm2(n, v, 1);
  double norm = before;
  for (int32_t pass = 0; pass < kPasses; ++pass) {
    projectOut(n, count, V, n, v, work);
    const double taken = count > 0 ? blas::ddot(count, work, 1, work, 1) : 0.0;
    norm = std::sqrt(std::max(0.0, before * before - taken));
    if (kSquareRootOfRoundoff * before > norm || pass == kPasses - 1) norm = std::sqrt(blas::ddot(n, v, 1, v, 1));
    if (!(norm > kUnitRoundoff * before)) return 0.0;
    if (norm > kSquareRootOfHalf * before) break;
    before = norm;
  }
  return norm;
}

}  // namespace

int32_t LA_AddAndOrthogonalize(int32_t first, int32_t last, double* V, int32_t ldV, double* work, uint32_t* seed) {
  const int32_t n = ldV;
  for (int32_t j = first; j <= last; ++j) {
    double* v = V + static_cast<int64_t>(j) * ldV;
    double norm = orthogonalize(n, j, V, v, work);
    for (int32_t round = 0; norm == 0.0; ++round) {
      if (round == kRandomRounds) return kEigenNoVector;
      RandSeedVector(n, seed, v);
      norm = orthogonalize(n, j, V, v, work);
    }
    blas::dscal(n, 1.0 / norm, v, 1);
  }
  return 0;
}

int32_t LA_OrthogonalizeICGS(int32_t count, double* V, int32_t ldV, int32_t m, const double* Q, double* work) {
  for (int32_t j = 0; j < count;) {
    double* v = V + static_cast<int64_t>(j) * ldV;
    bool vanished = false;
    for (int32_t round = 0; round < kCoefficientRounds && !vanished; ++round) {
      projectOut(ldV, j, V, ldV, v, work);
      projectOut(ldV, m, Q, ldV, v, work);
      const double norm = blas::dnrm2(ldV, v, 1);
      vanished = !(norm >= kNothingLeft);
      if (!vanished) blas::dscal(ldV, 1.0 / norm, v, 1);
    }
    if (vanished) {
      --count;
      if (j < count) std::copy_n(V + static_cast<int64_t>(count) * ldV, ldV, v);
    } else {
      ++j;
    }
  }
  return count;
}

}  // namespace qz
