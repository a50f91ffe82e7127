#include "sparse/ldl_hand_made.h"

#include <algorithm>
#include <numeric>

#include "dense/dense_ldl.h"

namespace qztest {

SymmetricMatrix SymmetricMatrix::fromDense(const MatrixXd& dense, bool fullDiagonal) {
  SymmetricMatrix matrix;
  matrix.n = static_cast<int32_t>(dense.rows());
  matrix.dense = dense;
  matrix.colBegin.push_back(0);
  for (int j = 0; j < matrix.n; ++j) {
    for (int i = 0; i < matrix.n; ++i) {
      if (dense(i, j) == 0.0 && !(fullDiagonal && i == j)) continue;
      matrix.rowIndex.push_back(i);
      matrix.value.push_back(dense(i, j));
    }
    matrix.colBegin.push_back(static_cast<int32_t>(matrix.rowIndex.size()));
  }
  return matrix;
}

namespace {

// Rows of each supernode: its columns, the entries of the matrix, and what its children pass on.
std::vector<std::vector<int32_t>> rowLists(const SymmetricMatrix& matrix, const std::vector<int32_t>& perm,
                                           const std::vector<int32_t>& invPerm, const std::vector<int32_t>& snStart,
                                           const std::vector<int32_t>& colToSn) {
  const size_t numSupernodes = snStart.size() - 1;
  std::vector<std::vector<bool>> has(numSupernodes, std::vector<bool>(static_cast<size_t>(matrix.n), false));
  std::vector<std::vector<int32_t>> lists(numSupernodes);
  for (size_t s = 0; s < numSupernodes; ++s) {
    for (int32_t j = snStart[s]; j < snStart[s + 1]; ++j) {
      has[s][static_cast<size_t>(j)] = true;
      const size_t column = static_cast<size_t>(perm[static_cast<size_t>(j)]);
      for (int32_t p = matrix.colBegin[column]; p < matrix.colBegin[column + 1]; ++p) {
        const int32_t row = invPerm[static_cast<size_t>(matrix.rowIndex[static_cast<size_t>(p)])];
        if (row >= snStart[s]) has[s][static_cast<size_t>(row)] = true;
      }
    }
    size_t parent = numSupernodes;
    for (int32_t i = snStart[s]; i < matrix.n; ++i) {
      if (!has[s][static_cast<size_t>(i)]) continue;
      lists[s].push_back(i);
      if (i < snStart[s + 1]) continue;
      if (parent == numSupernodes) parent = static_cast<size_t>(colToSn[static_cast<size_t>(i)]);
      has[parent][static_cast<size_t>(i)] = true;
    }
  }
  return lists;
}

}  // namespace

HandMadeFactor::HandMadeFactor(const SymmetricMatrix& matrix, const std::vector<int32_t>& perm,
                               const std::vector<int32_t>& snStart, int32_t blockSize)
    : perm_(perm), snStart_(snStart) {
  const int32_t n = matrix.n;
  const size_t size = static_cast<size_t>(n);
  const size_t numSupernodes = snStart.size() - 1;
  invPerm_.resize(size + 1);
  colToSn_.resize(size + 1);
  for (int32_t j = 0; j < n; ++j) invPerm_[static_cast<size_t>(perm[static_cast<size_t>(j)])] = j;
  for (size_t s = 0; s < numSupernodes; ++s)
    for (int32_t j = snStart[s]; j < snStart[s + 1]; ++j) colToSn_[static_cast<size_t>(j)] = static_cast<int32_t>(s);
  const auto lists = rowLists(matrix, perm_, invPerm_, snStart_, colToSn_);

  int64_t largestUpdate = 0;
  int64_t largestPanel = 0;
  lIndexBegin_.push_back(0);
  lValueBegin_.push_back(0);
  for (size_t s = 0; s < numSupernodes; ++s) {
    const int64_t w = snStart[s + 1] - snStart[s];
    const int64_t h = static_cast<int64_t>(lists[s].size());
    lIndex_.insert(lIndex_.end(), lists[s].begin(), lists[s].end());
    int64_t values = w * h;
    if (blockSize > 0) {
      values = 0;
      for (int64_t offset = 0; offset < w; offset += blockSize)
        values += std::min<int64_t>(blockSize, w - offset) * (h - offset);
    }
    lIndexBegin_.push_back(static_cast<int64_t>(lIndex_.size()));
    lValueBegin_.push_back(lValueBegin_.back() + values);
    largestUpdate = std::max(largestUpdate, (h - w) * (h - w));
    largestPanel = std::max(largestPanel, h == w ? w * 96 : w * h);
  }
  largestUpdate = (largestUpdate + 31) / 32 * 32;

  int32_t numEntries = 0;
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = matrix.colBegin[static_cast<size_t>(j)]; p < matrix.colBegin[static_cast<size_t>(j) + 1]; ++p)
      numEntries += matrix.rowIndex[static_cast<size_t>(p)] >= j ? 1 : 0;
  }

  pivotKind_.assign(size + 1, -2);
  lValues_.assign(static_cast<size_t>(lValueBegin_.back()) + 1, 1e300);
  threadScratch_.assign(static_cast<size_t>(largestUpdate + largestPanel), 1e300);
  work_.assign(5 * size + 8, 1e300);
  packA_.assign(96 * 96, 1e300);
  packB_.assign(96 * 96, 1e300);
  colBegin_.assign(size + 1, 0);
  rowIndex_.assign(static_cast<size_t>(numEntries), 0);
  matValue_.assign(static_cast<size_t>(numEntries), 0.0);

  symbolic.numRows = n;
  symbolic.numSupernodes = static_cast<int32_t>(numSupernodes);
  symbolic.rightLooking = 1;
  symbolic.factorState = -1;
  symbolic.blocked = blockSize > 0 ? 1 : 0;
  symbolic.blockSize = blockSize;
  symbolic.numThreads = 1;
  symbolic.numIndices = lIndexBegin_.back();
  symbolic.numValues = lValueBegin_.back();
  symbolic.maxBlockEntries = static_cast<int32_t>(largestUpdate);
  symbolic.maxPanelEntries = static_cast<int32_t>(largestPanel);
  symbolic.perm = perm_.data();
  symbolic.invPerm = invPerm_.data();
  symbolic.snStart = snStart_.data();
  symbolic.colToSn = colToSn_.data();
  symbolic.pivotKind = pivotKind_.data();
  symbolic.lIndexBegin = lIndexBegin_.data();
  symbolic.lIndex = lIndex_.data();
  symbolic.lValueBegin = lValueBegin_.data();
  symbolic.lValues = lValues_.data();
  symbolic.threadScratch = threadScratch_.data();
  symbolic.threadScratchBytes = static_cast<int64_t>(threadScratch_.size()) * 8;
  numeric.numRows = n;
  numeric.numEntries = numEntries;
  numeric.colBegin = colBegin_.data();
  numeric.rowIndex = rowIndex_.data();
  numeric.matValue = matValue_.data();
  numeric.work = work_.data();
  numeric.panelWidth = blockSize > 0 ? blockSize : 96;
  numeric.packA = packA_.data();
  numeric.packB = packB_.data();
}

MatrixXd HandMadeFactor::permuted(const SymmetricMatrix& matrix) const {
  MatrixXd result(matrix.n, matrix.n);
  for (int j = 0; j < matrix.n; ++j)
    for (int i = 0; i < matrix.n; ++i)
      result(i, j) = matrix.dense(perm_[static_cast<size_t>(i)], perm_[static_cast<size_t>(j)]);
  return result;
}

namespace {

// The diagonal blocks of a factor: every supernode, or its block columns.
struct DiagonalBlock {
  int32_t first;
  int32_t width;
  int64_t height;
  const int32_t* rows;
  double* values;
  bool rowMajor;

  double& entry(int64_t i, int64_t k) const { return rowMajor ? values[i * width + k] : values[i + k * height]; }
};

std::vector<DiagonalBlock> blocksOf(const qz::SymbolicFactor& symbolic) {
  std::vector<DiagonalBlock> blocks;
  for (int32_t s = 0; s < symbolic.numSupernodes; ++s) {
    const int32_t first = symbolic.snStart[s];
    const int32_t w = symbolic.snStart[s + 1] - first;
    const int64_t h = symbolic.lIndexBegin[s + 1] - symbolic.lIndexBegin[s];
    const int32_t step = symbolic.blocked != 0 ? symbolic.blockSize : w;
    double* values = symbolic.lValues + symbolic.lValueBegin[s];
    for (int32_t offset = 0; offset < w; offset += step) {
      const int32_t width = std::min(step, w - offset);
      blocks.push_back({first + offset, width, h - offset, symbolic.lIndex + symbolic.lIndexBegin[s] + offset, values,
                        symbolic.blocked != 0});
      values += width * (h - offset);
    }
  }
  return blocks;
}

}  // namespace

Factor HandMadeFactor::dense() const {
  const int n = symbolic.numRows;
  Factor f;
  f.m = f.n = n;
  f.a = MatrixXd::Zero(n, n);
  f.pivots.resize(static_cast<size_t>(n));
  f.perturbed = symbolic.numPerturbed;
  for (const DiagonalBlock& block : blocksOf(symbolic)) {
    for (int32_t k = 0; k < block.width; ++k) {
      const int32_t pivot = symbolic.pivotKind[block.first + k];
      f.pivots[static_cast<size_t>(block.first) + static_cast<size_t>(k)] =
          pivot >= 0 ? pivot + block.first : pivot - block.first;
      for (int64_t i = k; i < block.height; ++i) f.a(block.rows[i], block.first + k) = block.entry(i, k);
    }
  }
  return f;
}

void HandMadeFactor::factorBlocked(const MatrixXd& permutedMatrix) {
  MatrixXd rest = permutedMatrix;
  symbolic.numPerturbed = 0;
  for (const DiagonalBlock& block : blocksOf(symbolic)) {
    const int32_t w = block.width;
    const int32_t below = static_cast<int32_t>(block.height) - w;
    for (int64_t i = 0; i < block.height; ++i)
      for (int32_t k = 0; k < w; ++k) block.entry(i, k) = i >= k ? rest(block.rows[i], block.first + k) : 1e300;
    int32_t* pivots = symbolic.pivotKind + block.first;
    MatrixXd diagonal(w, w);
    for (int32_t i = 0; i < w; ++i)
      for (int32_t k = 0; k < w; ++k) diagonal(i, k) = block.entry(i, k);
    qz::DenseLDLNonBlock(kTolerance, w, diagonal.data(), w, pivots, &symbolic.numPerturbed);
    for (int32_t i = 0; i < w; ++i)
      for (int32_t k = 0; k <= i; ++k) block.entry(i, k) = diagonal(i, k);
    std::vector<double> product(static_cast<size_t>(below) * static_cast<size_t>(w) + 1);
    double* lower = block.values + static_cast<int64_t>(w) * w;
    qz::SolveLD(below, w, block.values, w, pivots, lower, w, product.data(), w);
    for (int32_t i = 0; i < below; ++i) {
      for (int32_t j = 0; j <= i; ++j) {
        double sum = 0.0;
        for (int32_t k = 0; k < w; ++k)
          sum += lower[static_cast<int64_t>(i) * w + k] *
                 product[static_cast<size_t>(j) * static_cast<size_t>(w) + static_cast<size_t>(k)];
        rest(block.rows[w + i], block.rows[w + j]) -= sum;
      }
    }
  }
}

std::vector<int32_t> identityOrder(int32_t n) {
  std::vector<int32_t> order(static_cast<size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  return order;
}

std::vector<int32_t> randomOrder(int32_t n, std::mt19937& rng) {
  std::vector<int32_t> order = identityOrder(n);
  std::shuffle(order.begin(), order.end(), rng);
  return order;
}

std::vector<int32_t> randomSupernodes(int32_t n, int32_t widest, std::mt19937& rng) {
  std::vector<int32_t> starts = {0};
  std::uniform_int_distribution<int32_t> width(1, widest);
  while (starts.back() < n) starts.push_back(std::min(n, starts.back() + width(rng)));
  return starts;
}

std::vector<int32_t> equalSupernodes(int32_t n, int32_t width) {
  std::vector<int32_t> starts = {0};
  while (starts.back() < n) starts.push_back(std::min(n, starts.back() + width));
  return starts;
}

}  // namespace qztest
