#include "eigen/tridiagonal_qr.h"

#include <cmath>
#include <cstdint>

#include "dense/dense_qr_reflector.h"
#include "eigen/tridiagonal_block.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

// The vectors that go with a block: column k of the view is column first + k * step of z.
struct BlockVectors {
  double* z;
  int32_t ldz;
  int32_t rows;
  int32_t first;
  double* cosines;
  double* sines;
};

// Applies the rotations of the view's planes l to m - 1, the last plane first. Read backwards, plane k of the view is
// the plane before column first - k of z, with the two columns swapped, which turns the sign of the sine.
void applyRotations(const TridiagonalBlock& block, const BlockVectors& v, int32_t l, int32_t m) {
  const int32_t planes = m - l;
  if (block.step > 0) {
    ApplyGivensSeq("R", "B", v.rows, planes + 1, v.cosines + l, v.sines + l,
                   v.z + static_cast<int64_t>(v.first + l) * v.ldz, v.ldz);
    return;
  }
  std::reverse(v.cosines + l, v.cosines + m);
  std::reverse(v.sines + l, v.sines + m);
  for (int32_t k = l; k < m; ++k) v.sines[k] = -v.sines[k];
  ApplyGivensSeq("R", "F", v.rows, planes + 1, v.cosines + l, v.sines + l,
                 v.z + static_cast<int64_t>(v.first - m) * v.ldz, v.ldz);
}

// The end of the part that starts at l: the first m with a negligible off-diagonal behind it, which is zeroed.
int32_t findPartEnd(const TridiagonalBlock& block, int32_t l) {
  constexpr double kSquare = kUnitRoundoff * kUnitRoundoff;
  for (int32_t m = l; m + 1 < block.size; ++m) {
    const double e = block.e(m);
    if (e * e <= kSquare * std::fabs(block.d(m)) * std::fabs(block.d(m + 1)) + kSmallestNormal) {
      block.e(m) = 0.0;
      return m;
    }
  }
  return block.size - 1;
}

void solvePair(const TridiagonalBlock& block, const BlockVectors& vectors, int32_t l) {
  double rt1 = 0.0;
  double rt2 = 0.0;
  EigS2by2(&rt1, &rt2, vectors.cosines + l, vectors.sines + l, block.d(l), block.e(l), block.d(l + 1));
  applyRotations(block, vectors, l, l + 1);
  block.d(l) = rt1;
  block.d(l + 1) = rt2;
  block.e(l) = 0.0;
}

// One implicit QL sweep on the entries l to m: the bulge starts behind m - 1 and leaves at l.
void sweep(const TridiagonalBlock& block, const BlockVectors& vectors, int32_t l, int32_t m) {
  double p = block.d(l);
  double g = (block.d(l + 1) - p) / (2.0 * block.e(l));
  double r = SqrtSumSquares(g, 1.0);
  g = block.d(m) - p + block.e(l) / (g + std::copysign(r, g));
  double c = 1.0;
  double s = 1.0;
  p = 0.0;
  for (int32_t i = m - 1; i >= l; --i) {
    const double f = s * block.e(i);
    const double b = c * block.e(i);
    makeRotation(g, f, &c, &s, &r);
    if (i != m - 1) block.e(i + 1) = r;
    g = block.d(i + 1) - p;
    r = (block.d(i) - g) * s + 2.0 * c * b;
    p = s * r;
    block.d(i + 1) = g + p;
    g = c * r - b;
    vectors.cosines[i] = c;
    vectors.sines[i] = -s;
  }
  applyRotations(block, vectors, l, m);
  block.d(l) -= p;
  block.e(l) = g;
}

bool iterateWithVectors(const TridiagonalBlock& block, const BlockVectors& vectors, int64_t* sweepsLeft) {
  for (int32_t l = 0; l < block.size;) {
    const int32_t m = findPartEnd(block, l);
    if (m == l) {
      l += 1;
    } else if (m == l + 1) {
      solvePair(block, vectors, l);
      l += 2;
    } else {
      if (*sweepsLeft == 0) return false;
      --*sweepsLeft;
      sweep(block, vectors, l, m);
    }
  }
  return true;
}

// As findPartEnd, for squared off-diagonals.
int32_t findPartEndOfSquares(const TridiagonalBlock& block, int32_t l) {
  constexpr double kSquare = kUnitRoundoff * kUnitRoundoff;
  for (int32_t m = l; m + 1 < block.size; ++m) {
    if (block.e(m) <= kSquare * std::fabs(block.d(m)) * std::fabs(block.d(m + 1)) + kSmallestNormal) {
      block.e(m) = 0.0;
      return m;
    }
  }
  return block.size - 1;
}

// One QL sweep without square roots; e holds squares.
void sweepSquares(const TridiagonalBlock& block, int32_t l, int32_t m) {
  const double root = std::sqrt(block.e(l));
  double sigma = (block.d(l + 1) - block.d(l)) / (2.0 * root);
  sigma = block.d(l) - root / (sigma + std::copysign(SqrtSumSquares(sigma, 1.0), sigma));
  double c = 1.0;
  double s = 0.0;
  double gamma = block.d(m) - sigma;
  double p = gamma * gamma;
  for (int32_t i = m - 1; i >= l; --i) {
    const double square = block.e(i);
    const double r = p + square;
    if (i != m - 1) block.e(i + 1) = s * r;
    const double oldCosine = c;
    const double oldGamma = gamma;
    c = p / r;
    s = square / r;
    const double alpha = block.d(i);
    gamma = c * (alpha - sigma) - s * oldGamma;
    block.d(i + 1) = oldGamma + (alpha - gamma);
    p = c != 0.0 ? (gamma * gamma) / c : oldCosine * square;
  }
  block.e(l) = s * p;
  block.d(l) = sigma + gamma;
}

bool iterateValues(const TridiagonalBlock& block, int64_t* sweepsLeft) {
  for (int32_t l = 0; l < block.size;) {
    const int32_t m = findPartEndOfSquares(block, l);
    if (m == l) {
      l += 1;
    } else if (m == l + 1) {
      double rt1 = 0.0;
      double rt2 = 0.0;
      EigV2by2(&rt1, &rt2, block.d(l), std::sqrt(block.e(l)), block.d(l + 1));
      block.d(l) = rt1;
      block.d(l + 1) = rt2;
      block.e(l) = 0.0;
      l += 2;
    } else {
      if (*sweepsLeft == 0) return false;
      --*sweepsLeft;
      sweepSquares(block, l, m);
    }
  }
  return true;
}

}  // namespace

int32_t EigenSolverTridiagQR(int32_t n, double* diag, double* offDiag, double* z, int32_t ldz, double* work) {
  const int32_t unconverged =
      forEachUnreducedBlock(n, diag, offDiag, [&](int32_t start, int32_t end, int64_t* sweepsLeft) {
        const TridiagonalBlock block = viewBlock(start, end, diag, offDiag);
        const BlockVectors vectors{z, ldz, n, block.step > 0 ? start : end - 1, work, work + n};
        return iterateWithVectors(block, vectors, sweepsLeft);
      });
  if (unconverged != 0) return unconverged;
  SortEigenSystem(n, diag, z, ldz);
  return 0;
}

int32_t EigenValuesTridiagPWK(int32_t n, double* diag, double* offDiag) {
  const int32_t unconverged =
      forEachUnreducedBlock(n, diag, offDiag, [&](int32_t start, int32_t end, int64_t* sweepsLeft) {
        for (int32_t i = start; i + 1 < end; ++i) offDiag[i] *= offDiag[i];
        return iterateValues(viewBlock(start, end, diag, offDiag), sweepsLeft);
      });
  if (unconverged != 0) return unconverged;
  std::sort(diag, diag + n);
  return 0;
}

}  // namespace qz
