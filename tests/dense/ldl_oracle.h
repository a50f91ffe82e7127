// Multiplies an LDL factor out and compares it with the factored matrix, entry by entry, with a bound from |L| |D|
// |L'|: the componentwise backward error of a stable elimination (Higham 2002, chapter 11).
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <eigen3/Eigen/Dense>
#include <limits>
#include <vector>

namespace qztest {

using Eigen::MatrixXd;

constexpr double kTolerance = 1.053671212772351e-8;  // the factorisation's threshold of a zero column
constexpr double kEps = std::numeric_limits<double>::epsilon();

// A factored trapezoid, m by n, and what came with it.
struct Factor {
  int m = 0;
  int n = 0;
  MatrixXd a;
  std::vector<int32_t> pivots;
  int32_t perturbed = 0;
  std::vector<double> w;
};

// P_1 L_1 P_2 L_2 ... D ... L_2' P_2' L_1' P_1'; with `magnitudes` of all factors.
inline MatrixXd multiplyOut(const Factor& f, bool magnitudes) {
  const auto value = [&](double x) { return magnitudes ? std::fabs(x) : x; };
  std::vector<int> starts;
  for (int k = 0; k < f.n; k += f.pivots[static_cast<size_t>(k)] >= 0 ? 1 : 2) starts.push_back(k);
  MatrixXd product = MatrixXd::Zero(f.m, f.m);
  for (int k : starts) {
    product(k, k) = value(f.a(k, k));
    if (f.pivots[static_cast<size_t>(k)] < 0) {
      product(k + 1, k + 1) = value(f.a(k + 1, k + 1));
      product(k + 1, k) = product(k, k + 1) = value(f.a(k + 1, k));
    }
  }
  for (size_t index = starts.size(); index-- > 0;) {
    const int k = starts[index];
    const int32_t pivot = f.pivots[static_cast<size_t>(k)];
    const int width = pivot >= 0 ? 1 : 2;
    const int last = k + width - 1;
    const int row = pivot >= 0 ? pivot : -pivot;
    const int rest = f.m - k - width;
    MatrixXd lower = f.a.block(k + width, k, rest, width);
    if (magnitudes) lower = lower.cwiseAbs();
    // Row k holds nothing but D yet: the steps in front have not been multiplied in.
    const MatrixXd scaled = lower * product.block(k, k, width, width);
    product.block(k + width, k, rest, width) = scaled;
    product.block(k, k + width, width, rest) = scaled.transpose();
    product.block(k + width, k + width, rest, rest) += scaled * lower.transpose();
    product.row(last).swap(product.row(row));
    product.col(last).swap(product.col(row));
  }
  return product;
}

inline void expectValidPivots(const Factor& f) {
  for (int k = 0; k < f.n;) {
    const int32_t pivot = f.pivots[static_cast<size_t>(k)];
    if (pivot >= 0) {
      ASSERT_GE(pivot, k);
      ASSERT_LT(pivot, f.n);
      k += 1;
    } else {
      ASSERT_LT(k + 1, f.n);
      ASSERT_EQ(pivot, f.pivots[static_cast<size_t>(k) + 1]);
      ASSERT_GE(-pivot, k + 1);
      ASSERT_LT(-pivot, f.n);
      k += 2;
    }
  }
}

inline void expectFactorOf(const Factor& f, const MatrixXd& matrix, double tolerance = kTolerance) {
  expectValidPivots(f);
  if (::testing::Test::HasFatalFailure()) return;
  const MatrixXd product = multiplyOut(f, false);
  const MatrixXd bound = multiplyOut(f, true);
  const double perturbation = f.perturbed > 0 ? 2.0 * tolerance : 0.0;
  double worst = 0.0;
  for (int j = 0; j < f.n; ++j) {
    for (int i = j; i < f.m; ++i) {
      const double allowed =
          8.0 * (f.n + 8) * kEps * (bound(i, j) + std::fabs(matrix(i, j))) + (i == j ? perturbation : 0.0);
      const double error = std::fabs(product(i, j) - matrix(i, j));
      ASSERT_TRUE(error <= allowed) << "entry " << i << ", " << j << " of m " << f.m << " n " << f.n << ": "
                                    << product(i, j) << " for " << matrix(i, j);
      if (allowed > 0) worst = std::max(worst, error / allowed);
    }
  }
}

}  // namespace qztest
