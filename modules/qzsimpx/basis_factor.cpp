#include "basis_factor.h"

#include <algorithm>
#include <new>

namespace qzsimpx {

namespace {

constexpr int kOutOfMemory = -99;
constexpr int kRoomPerElement = 3;  // guess of the fill-in
constexpr int kRoomAtLeast = 20000;
constexpr int kSingular = -1;
constexpr double kStrictPivoting = 0.95;

void copyOut(CoinIndexedVector& from, int32_t count, double* to) {
  std::fill_n(to, count, 0.0);
  const double* value = from.denseVector();
  const int* index = from.getIndices();
  for (int k = 0; k < from.getNumElements(); ++k) to[index[k]] = value[index[k]];
  from.clear();
}

void copyIn(const double* from, int32_t count, CoinIndexedVector& to) {
  to.clear();
  for (int32_t i = 0; i < count; ++i)
    if (from[i] != 0.0) to.quickInsert(i, from[i]);
}

}  // namespace

BasisFactor::BasisFactor(QzPool* pool, const Program& program)
    : program_(program), elementRow_(pool), elementColumn_(pool), element_(pool), position_(pool) {
  factor_.maximumPivots(kMostUpdates);
  for (CoinIndexedVector* vector : {&work_, &column_, &unit_, &dense_})
    vector->reserve(program.numRow + kMostUpdates + 1);
}

int32_t BasisFactor::factor(Array<int32_t>& head, Array<char>& rowIsCovered) {
  const int32_t numRow = program_.numRow;
  elementRow_.clear();
  elementColumn_.clear();
  element_.clear();
  for (int32_t k = 0; k < head.size(); ++k)
    program_.forColumn(head[k], [&](int32_t i, double value) {
      elementRow_.push_back(i);
      elementColumn_.push_back(k);
      element_.push_back(value);
    });
  if (!factorElements()) dropOneColumn(head);
  rowIsCovered.assign(numRow, 0);
  int32_t rank = 0;
  for (int32_t k = 0; k < head.size(); ++k) {
    if (position_[k] < 0) {
      head[k] = -1;
      continue;
    }
    rowIsCovered[position_[k]] = 1;
    ++rank;
  }
  if (rank < numRow) return rank;
  elementRow_.assign(numRow, 0);
  for (int32_t k = 0; k < numRow; ++k) elementRow_[position_[k]] = head[k];
  std::copy(elementRow_.begin(), elementRow_.end(), head.begin());
  factor_.goSparse();
  return rank;
}

bool BasisFactor::factorElements() {
  const double usual = factor_.pivotTolerance();
  for (const double tolerance : {usual, kStrictPivoting}) {
    factor_.pivotTolerance(tolerance);
    const int32_t numRow = program_.numRow;
    position_.assign(numRow, -1);
    const int room = kRoomPerElement * (element_.size() + numRow) + kRoomAtLeast;
    const int status = factor_.factorize(numRow, numRow, element_.size(), room, room, elementRow_.data(),
                                         elementColumn_.data(), element_.data(), position_.data());
    factor_.pivotTolerance(usual);
    if (status == kOutOfMemory) throw std::bad_alloc();
    if (status != kSingular || std::find(position_.begin(), position_.end(), -1) != position_.end()) return true;
  }
  return false;
}

void BasisFactor::dropOneColumn(const Array<int32_t>& head) {
  for (int32_t k = head.size() - 1; k >= 0; --k) {
    if (head[k] >= program_.numCol) continue;
    position_[k] = -1;
    return;
  }
}

CoinIndexedVector& BasisFactor::solveColumn(int32_t j) {
  column_.clear();
  program_.forColumn(j, [&](int32_t i, double value) { column_.quickInsert(i, value); });
  factor_.updateColumnFT(&work_, &column_);
  return column_;
}

void BasisFactor::solveDense(double* vector) {
  copyIn(vector, program_.numRow, dense_);
  factor_.updateColumn(&work_, &dense_);
  copyOut(dense_, program_.numRow, vector);
}

CoinIndexedVector& BasisFactor::solveUnit(int32_t p) {
  unit_.clear();
  unit_.quickInsert(p, 1.0);
  factor_.updateColumnTranspose(&work_, &unit_);
  return unit_;
}

bool BasisFactor::replace(int32_t p, double pivot) {
  return factor_.replaceColumn(&work_, p, pivot) == 0;
}

}  // namespace qzsimpx
