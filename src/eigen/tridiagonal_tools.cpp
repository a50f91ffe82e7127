#include "eigen/tridiagonal_tools.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_qr_reflector.h"

namespace qz {

void EigV2by2(double* rt1, double* rt2, double a, double b, double c) {
  const double sum = a + c;
  const double root = SqrtSumSquares(a - c, b + b);
  if (sum == 0.0) {
    *rt1 = 0.5 * root;
    *rt2 = -0.5 * root;
    return;
  }
  const double larger = std::fabs(a) > std::fabs(c) ? a : c;
  const double smaller = std::fabs(a) > std::fabs(c) ? c : a;
  *rt1 = 0.5 * (sum < 0.0 ? sum - root : sum + root);
  // The determinant over the larger root, in this order of operations so that nothing overflows.
  *rt2 = (larger / *rt1) * smaller - (b / *rt1) * b;
}

void EigS2by2(double* rt1, double* rt2, double* cs, double* sn, double a, double b, double c) {
  EigV2by2(rt1, rt2, a, b, c);
  const double difference = a - c;
  const double twice = b + b;
  const double root = SqrtSumSquares(difference, twice);
  const bool negative = a + c < 0.0;
  const bool plus = difference >= 0.0;
  const double side = plus ? difference + root : difference - root;
  double cosine = 1.0;
  double sine = 0.0;
  if (std::fabs(side) > std::fabs(twice)) {
    const double cotangent = -twice / side;
    sine = 1.0 / std::sqrt(1.0 + cotangent * cotangent);
    cosine = cotangent * sine;
  } else if (b != 0.0) {
    const double tangent = -side / twice;
    cosine = 1.0 / std::sqrt(1.0 + tangent * tangent);
    sine = tangent * cosine;
  }
  // (cosine, sine) belongs to the root on the other side of the mean; turn it when that is not rt1.
  if (negative == plus) {
    *cs = cosine;
    *sn = sine;
  } else {
    *cs = -sine;
    *sn = cosine;
  }
}

void makeRotation(double f, double g, double* c, double* s, double* r) {
  if (g == 0.0) {
    *c = 1.0;
    *s = 0.0;
    *r = f;
    return;
  }
  *r = SqrtSumSquares(f, g);
  *c = f / *r;
  *s = g / *r;
}

void ApplyGivensSeq(const char* side, const char* direction, int32_t m, int32_t n, const double* c, const double* s,
                    double* a, int32_t lda) {
  if (m < 1 || n < 1) return;
  const bool left = *side == 'L';
  const bool forward = *direction == 'F';
  const int32_t count = (left ? m : n) - 1;
  for (int32_t step = 0; step < count; ++step) {
    const int32_t k = forward ? step : count - 1 - step;
    if (c[k] == 1.0 && s[k] == 0.0) continue;
    if (left) {
      blas::drot(n, a + k, lda, a + k + 1, lda, c[k], s[k]);
    } else {
      double* column = a + static_cast<int64_t>(k) * lda;
      blas::drot(m, column, 1, column + lda, 1, c[k], s[k]);
    }
  }
}

double NormTridiag(int32_t n, const double* diag, const double* offDiag) {
  double norm = 0.0;
  for (int32_t i = 0; i < n; ++i) {
    const double before = i > 0 ? std::fabs(offDiag[i - 1]) : 0.0;
    const double behind = i + 1 < n ? std::fabs(offDiag[i]) : 0.0;
    norm = std::max(norm, before + std::fabs(diag[i]) + behind);
  }
  return norm;
}

void SortEigenSystem(int32_t n, double* values, double* vectors, int32_t ld) {
  for (int32_t i = 0; i + 1 < n; ++i) {
    int32_t least = i;
    for (int32_t j = i + 1; j < n; ++j)
      if (values[j] < values[least]) least = j;
    if (least == i) continue;
    std::swap(values[i], values[least]);
    if (vectors == nullptr) continue;
    blas::dswap(n, vectors + static_cast<int64_t>(i) * ld, 1, vectors + static_cast<int64_t>(least) * ld, 1);
  }
}

void MergeSortedLists(int32_t n1, int32_t n2, const double* values, int32_t stride1, int32_t stride2, int32_t* index) {
  int32_t first = stride1 > 0 ? 0 : n1 - 1;
  int32_t second = stride2 > 0 ? n1 : n1 + n2 - 1;
  int32_t left1 = n1;
  int32_t left2 = n2;
  for (int32_t at = 0; at < n1 + n2; ++at) {
    if (left2 == 0 || (left1 > 0 && values[first] <= values[second])) {
      index[at] = first;
      first += stride1;
      --left1;
    } else {
      index[at] = second;
      second += stride2;
      --left2;
    }
  }
}

}  // namespace qz
