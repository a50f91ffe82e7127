// Dense symmetric matrices for the eigen-solver tests.
#pragma once

#include <cmath>
#include <eigen3/Eigen/Dense>
#include <random>

namespace qztest {

using Eigen::MatrixXd;
using Eigen::VectorXd;

inline MatrixXd randomMatrix(int rows, int cols, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  return MatrixXd::NullaryExpr(rows, cols, [&] { return uniform(random); });
}

inline MatrixXd randomSymmetric(int n, std::mt19937& random) {
  const MatrixXd r = randomMatrix(n, n, random);
  return 0.5 * (r + r.transpose());
}

// Q diag(values) Q' with Q a product of a few random reflectors.
inline MatrixXd withSpectrum(const VectorXd& values, std::mt19937& random) {
  MatrixXd a = values.asDiagonal();
  for (int k = 0; k < 3; ++k) {
    const VectorXd v = randomMatrix(static_cast<int>(values.size()), 1, random).col(0).normalized();
    a -= 2.0 * v * (v.transpose() * a).eval();
    a -= 2.0 * (a * v).eval() * v.transpose();
  }
  return 0.5 * (a + a.transpose());
}

// All magnitudes from 1 down to 10^-decades.
inline MatrixXd graded(int n, double decades, std::mt19937& random) {
  MatrixXd a = randomSymmetric(n, random);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) a(i, j) *= std::pow(10.0, -decades * (i + j) / (2.0 * n));
  return a;
}

// Few distinct values, split by roundoff-sized and larger gaps.
inline MatrixXd clustered(int n, std::mt19937& random) {
  VectorXd values(n);
  for (int j = 0; j < n; ++j) values(j) = 1.0 + (j % 3) + 1e-13 * (j % 7);
  return withSpectrum(values, random);
}

// Copies of Wilkinson's W21+, coupled weakly: pairs that agree to working precision, many times over.
inline MatrixXd glued(int n, double glue) {
  MatrixXd a = MatrixXd::Zero(n, n);
  for (int i = 0; i < n; ++i) {
    a(i, i) = std::abs(i % 21 - 10);
    if (i + 1 < n) a(i, i + 1) = a(i + 1, i) = i % 21 == 20 ? glue : 1.0;
  }
  return a;
}

inline MatrixXd secondDifference(int n) {
  MatrixXd a = 2.0 * MatrixXd::Identity(n, n);
  for (int i = 0; i + 1 < n; ++i) a(i, i + 1) = a(i + 1, i) = -1.0;
  return a;
}

}  // namespace qztest
