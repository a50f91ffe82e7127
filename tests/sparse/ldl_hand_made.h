// A factor record made by hand, without the analysis: the caller names the order and the supernodes, the row structure
// comes from a dense boolean elimination. Serves both storage layouts. All arrays belong to the object.
#pragma once

#include <cstdint>
#include <eigen3/Eigen/Dense>
#include <random>
#include <vector>

#include "dense/ldl_oracle.h"
#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qztest {

// A symmetric matrix by columns, both triangles, in the caller's order.
struct SymmetricMatrix {
  int32_t n = 0;
  std::vector<int32_t> colBegin;
  std::vector<int32_t> rowIndex;
  std::vector<double> value;
  MatrixXd dense;

  // All entries that are not zero, and the whole diagonal when `fullDiagonal`.
  static SymmetricMatrix fromDense(const MatrixXd& dense, bool fullDiagonal = true);
};

class HandMadeFactor {
 public:
  // `snStart` lists the first columns of the supernodes and n; blockSize 0 makes the layout that is not blocked.
  HandMadeFactor(const SymmetricMatrix& matrix, const std::vector<int32_t>& perm, const std::vector<int32_t>& snStart,
                 int32_t blockSize = 0);

  qz::SymbolicFactor symbolic{};
  qz::NumericFactor numeric{};

  // The matrix in the factor's order.
  MatrixXd permuted(const SymmetricMatrix& matrix) const;
  // The factor spread over a dense matrix, pivots counted from row 0.
  Factor dense() const;
  // Factors the permuted matrix into a blocked record: the dense family on each block column, right-looking.
  void factorBlocked(const MatrixXd& permutedMatrix);

 private:
  std::vector<int32_t> perm_, invPerm_, snStart_, colToSn_, pivotKind_, lIndex_;
  std::vector<int64_t> lIndexBegin_, lValueBegin_;
  std::vector<double> lValues_, threadScratch_, work_, packA_, packB_;
  std::vector<int32_t> colBegin_, rowIndex_;
  std::vector<double> matValue_;
};

std::vector<int32_t> identityOrder(int32_t n);
std::vector<int32_t> randomOrder(int32_t n, std::mt19937& rng);
// Supernodes of random widths from 1 to `widest`.
std::vector<int32_t> randomSupernodes(int32_t n, int32_t widest, std::mt19937& rng);
// Supernodes of one width.
std::vector<int32_t> equalSupernodes(int32_t n, int32_t width);

}  // namespace qztest
