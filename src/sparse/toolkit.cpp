#include "sparse/toolkit.h"

#include <algorithm>
#include <cstddef>

#include "shell/pool.h"

namespace qz {

namespace {

constexpr double bytesLimit = 2147483647.0;

// Values and, behind them, row indices in one block.
struct EntryBlock {
  double* value = nullptr;
  int32_t* index = nullptr;
};

int32_t allocateEntries(QzPool* memory, int64_t count, EntryBlock* block) {
  const double bytes = static_cast<double>(count) * static_cast<double>(sizeof(double) + sizeof(int32_t));
  if (bytes > bytesLimit) return LA_NO_MEMORY;
  char* start = poolAllocate<char>(memory, static_cast<int64_t>(bytes));
  if (start == nullptr) return LA_NO_MEMORY;
  block->value = reinterpret_cast<double*>(start);
  block->index = reinterpret_cast<int32_t*>(block->value + count);
  return LA_OK;
}

// Column starts for a new matrix, given back to the pool unless handed out.
int32_t allocateColumns(QzPool* memory, int32_t numCols, PoolArray<int32_t>* begin) {
  const double bytes = (static_cast<double>(numCols) + 1.0) * static_cast<double>(sizeof(int32_t));
  if (bytes > bytesLimit) return LA_NO_MEMORY;
  return begin->allocate(memory, static_cast<int64_t>(numCols) + 1) == QZ_STATUS_OK ? LA_OK : LA_NO_MEMORY;
}

void handOut(PoolArray<int32_t>* begin, const EntryBlock& block, int32_t** outColBegin, int32_t** outRowIndex,
             double** outValue) {
  *outColBegin = begin->release();
  *outRowIndex = block.index;
  *outValue = block.value;
}

// Counting transpose; the values are passed over when matValue is null.
void transpose(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
               const double* matValue, int32_t* outColBegin, int32_t* outRowIndex, double* outValue) {
  std::fill(outColBegin, outColBegin + numRows + 1, 0);
  for (int32_t p = colBegin[0]; p < colBegin[numCols]; ++p) ++outColBegin[rowIndex[p] + 1];
  for (int32_t i = 0; i < numRows; ++i) outColBegin[i + 1] += outColBegin[i];
  for (int32_t j = 0; j < numCols; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t q = outColBegin[rowIndex[p]]++;
      outRowIndex[q] = j;
      if (matValue != nullptr) outValue[q] = matValue[p];
    }
  }
  for (int32_t i = numRows; i > 0; --i) outColBegin[i] = outColBegin[i - 1];
  outColBegin[0] = 0;
}

}  // namespace

void LA_TransposeMatrix(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                        const double* matValue, int32_t* outColBegin, int32_t* outRowIndex, double* outValue) {
  transpose(numRows, numCols, colBegin, rowIndex, matValue, outColBegin, outRowIndex, outValue);
}

void LA_TransposeMatrixPattern(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                               int32_t* outColBegin, int32_t* outRowIndex) {
  transpose(numRows, numCols, colBegin, rowIndex, nullptr, outColBegin, outRowIndex, nullptr);
}

int32_t LA_CreateAAt(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                     const double* matValue, int32_t** outColBegin, int32_t** outRowIndex, double** outValue,
                     QzPool* memory) {
  const int32_t numEntries = colBegin[numCols];
  PoolArray<int32_t> rowBegin;
  PoolArray<int32_t> begin;
  PoolArray<int32_t> stamp;
  PoolArray<char> transposedBlock;
  if (allocateColumns(memory, numRows, &rowBegin) != LA_OK) return LA_NO_MEMORY;
  if (allocateColumns(memory, numRows, &begin) != LA_OK) return LA_NO_MEMORY;
  if (allocateColumns(memory, numRows, &stamp) != LA_OK) return LA_NO_MEMORY;
  const double transposedBytes = 12.0 * numEntries;
  if (transposedBytes > bytesLimit) return LA_NO_MEMORY;
  if (transposedBlock.allocate(memory, static_cast<int64_t>(transposedBytes)) != QZ_STATUS_OK) return LA_NO_MEMORY;
  auto* rowValue = reinterpret_cast<double*>(transposedBlock.get());
  auto* columnOf = reinterpret_cast<int32_t*>(rowValue + numEntries);
  LA_TransposeMatrix(numRows, numCols, colBegin, rowIndex, matValue, rowBegin.get(), columnOf, rowValue);

  std::fill(stamp.get(), stamp.get() + numRows, -1);
  int64_t count = 0;
  for (int32_t i = 0; i < numRows; ++i) {
    for (int32_t q = rowBegin[i]; q < rowBegin[i + 1]; ++q) {
      for (int32_t p = colBegin[columnOf[q]]; p < colBegin[columnOf[q] + 1]; ++p) {
        if (stamp[rowIndex[p]] == i) continue;
        stamp[rowIndex[p]] = i;
        ++count;
      }
    }
  }
  EntryBlock block;
  if (allocateEntries(memory, count, &block) != LA_OK) return LA_NO_MEMORY;

  // stamp[r] is now where row r stands in the current column, valid from the column's start on.
  std::fill(stamp.get(), stamp.get() + numRows, -1);
  int32_t filled = 0;
  for (int32_t i = 0; i < numRows; ++i) {
    begin[i] = filled;
    for (int32_t q = rowBegin[i]; q < rowBegin[i + 1]; ++q) {
      for (int32_t p = colBegin[columnOf[q]]; p < colBegin[columnOf[q] + 1]; ++p) {
        const int32_t row = rowIndex[p];
        if (stamp[row] < begin[i]) {
          stamp[row] = filled;
          block.index[filled] = row;
          block.value[filled++] = 0.0;
        }
        block.value[stamp[row]] += rowValue[q] * matValue[p];
      }
    }
  }
  begin[numRows] = filled;
  handOut(&begin, block, outColBegin, outRowIndex, outValue);
  return LA_OK;
}

int32_t LA_ExtractSubmatrix(int32_t numRows, int32_t numCols, int32_t rowFrom, int32_t rowTo, int32_t colFrom,
                            int32_t colTo, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                            QzPool* memory, int32_t** outColBegin, int32_t** outRowIndex, double** outValue) {
  rowFrom = std::max(rowFrom, 0);
  colFrom = std::max(colFrom, 0);
  rowTo = std::min(rowTo, numRows);
  colTo = std::min(colTo, numCols);
  if (rowTo <= rowFrom || colTo <= colFrom) return LA_BAD_PARAMETER;
  PoolArray<int32_t> begin;
  if (allocateColumns(memory, colTo - colFrom, &begin) != LA_OK) return LA_NO_MEMORY;
  int32_t count = 0;
  for (int32_t j = colFrom; j < colTo; ++j) {
    begin[j - colFrom] = count;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      count += rowIndex[p] >= rowFrom && rowIndex[p] < rowTo ? 1 : 0;
    }
  }
  begin[colTo - colFrom] = count;
  EntryBlock block;
  if (allocateEntries(memory, count, &block) != LA_OK) return LA_NO_MEMORY;
  int32_t filled = 0;
  for (int32_t p = colBegin[colFrom]; p < colBegin[colTo]; ++p) {
    if (rowIndex[p] < rowFrom || rowIndex[p] >= rowTo) continue;
    block.index[filled] = rowIndex[p] - rowFrom;
    block.value[filled++] = matValue[p];
  }
  handOut(&begin, block, outColBegin, outRowIndex, outValue);
  return LA_OK;
}

namespace {

// One term of a sum of sparse columns: the entries of one column, scaled.
struct ColumnTerm {
  double scale;
  const int32_t* index;
  const double* value;
  int32_t from;
  int32_t to;
};

// Adds a term to the column that began at `columnBegin`; stamp[r] is where row r stands. Returns the new end.
int32_t addTerm(const ColumnTerm& term, int32_t columnBegin, int32_t filled, int32_t* stamp, const EntryBlock& block) {
  for (int32_t p = term.from; p < term.to; ++p) {
    const int32_t row = term.index[p];
    if (stamp[row] < columnBegin) {
      stamp[row] = filled;
      block.index[filled] = row;
      block.value[filled++] = term.scale * term.value[p];
    } else {
      block.value[stamp[row]] += term.scale * term.value[p];
    }
  }
  return filled;
}

}  // namespace

int32_t LA_AddSparseMatrices(double a, double b, int32_t n, const int32_t* colBeginA, const int32_t* rowIndexA,
                             const double* matValueA, const int32_t* colBeginB, const int32_t* rowIndexB,
                             const double* matValueB, QzPool* memory, int32_t** outColBegin, int32_t** outRowIndex,
                             double** outValue) {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> stamp;
  if (allocateColumns(memory, n, &begin) != LA_OK) return LA_NO_MEMORY;
  if (allocateColumns(memory, n, &stamp) != LA_OK) return LA_NO_MEMORY;
  EntryBlock block;
  const int64_t room = static_cast<int64_t>(colBeginA[n]) + colBeginB[n];
  if (allocateEntries(memory, room, &block) != LA_OK) return LA_NO_MEMORY;
  // stamp[r] is where row r stands in the current column, -1 elsewhere; a column is compacted as soon as it is summed.
  std::fill(stamp.get(), stamp.get() + n, -1);
  int32_t filled = 0;
  for (int32_t j = 0; j < n; ++j) {
    begin[j] = filled;
    int32_t end =
        addTerm({a, rowIndexA, matValueA, colBeginA[j], colBeginA[j + 1]}, begin[j], filled, stamp.get(), block);
    end = addTerm({b, rowIndexB, matValueB, colBeginB[j], colBeginB[j + 1]}, begin[j], end, stamp.get(), block);
    for (int32_t p = begin[j]; p < end; ++p) {
      stamp[block.index[p]] = -1;
      if (block.value[p] == 0.0) continue;
      block.index[filled] = block.index[p];
      block.value[filled++] = block.value[p];
    }
  }
  begin[n] = filled;
  handOut(&begin, block, outColBegin, outRowIndex, outValue);
  return LA_OK;
}

void LA_ConvertSparseToDense(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                             const double* matValue, double* dense) {
  std::fill(dense, dense + static_cast<int64_t>(numRows) * numCols, 0.0);
  for (int32_t j = 0; j < numCols; ++j) {
    double* column = dense + static_cast<int64_t>(j) * numRows;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) column[rowIndex[p]] = matValue[p];
  }
}

int32_t LA_ConvertDenseToSparse(int32_t numRows, int32_t numCols, const double* dense, QzPool* memory,
                                int32_t** outColBegin, int32_t** outRowIndex, double** outValue) {
  if (numRows <= 0 || numCols <= 0) return LA_BAD_PARAMETER;
  PoolArray<int32_t> begin;
  if (allocateColumns(memory, numCols, &begin) != LA_OK) return LA_NO_MEMORY;
  const int64_t size = static_cast<int64_t>(numRows) * numCols;
  const int64_t count = size - std::count(dense, dense + size, 0.0);
  EntryBlock block;
  if (allocateEntries(memory, count, &block) != LA_OK) return LA_NO_MEMORY;
  int32_t filled = 0;
  for (int32_t j = 0; j < numCols; ++j) {
    begin[j] = filled;
    const double* column = dense + static_cast<int64_t>(j) * numRows;
    for (int32_t i = 0; i < numRows; ++i) {
      if (column[i] == 0.0) continue;
      block.index[filled] = i;
      block.value[filled++] = column[i];
    }
  }
  begin[numCols] = filled;
  handOut(&begin, block, outColBegin, outRowIndex, outValue);
  return LA_OK;
}

void LA_ConvertSparseSymToLowerDense(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                     const double* matValue, double* dense) {
  for (int32_t j = 0; j < n; ++j) {
    double* column = dense + static_cast<int64_t>(j) * n;
    std::fill(column + j, column + n, 0.0);
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      if (rowIndex[p] >= j) column[rowIndex[p]] = matValue[p];
    }
  }
}

int32_t LA_ConvertUpperToFull(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                              QzPool* memory, int32_t** outColBegin, int32_t** outRowIndex, double** outValue) {
  PoolArray<int32_t> begin;
  if (allocateColumns(memory, n, &begin) != LA_OK) return LA_NO_MEMORY;
  std::fill(begin.get(), begin.get() + n + 1, 0);
  int64_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      if (rowIndex[p] > j) continue;
      ++begin[j + 1];
      if (rowIndex[p] != j) ++begin[rowIndex[p] + 1];
      count += rowIndex[p] == j ? 1 : 2;
    }
  }
  EntryBlock block;
  if (allocateEntries(memory, count, &block) != LA_OK) return LA_NO_MEMORY;
  for (int32_t j = 0; j < n; ++j) begin[j + 1] += begin[j];
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t i = rowIndex[p];
      if (i > j) continue;
      block.index[begin[j]] = i;
      block.value[begin[j]++] = matValue[p];
      if (i == j) continue;
      block.index[begin[i]] = j;
      block.value[begin[i]++] = matValue[p];
    }
  }
  for (int32_t j = n; j > 0; --j) begin[j] = begin[j - 1];
  begin[0] = 0;
  handOut(&begin, block, outColBegin, outRowIndex, outValue);
  return LA_OK;
}

int32_t LA_ConvertLinkedListToCSR(int32_t n, const double* values, const int32_t* nodeRow, const int32_t* next,
                                  const int32_t* head, QzPool* memory, int32_t* outColBegin, int32_t** outRowIndex,
                                  double** outValue) {
  int64_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t k = head[j]; k != -1; k = next[k]) ++count;
  }
  EntryBlock block;
  if (allocateEntries(memory, count, &block) != LA_OK) return LA_NO_MEMORY;
  int32_t filled = 0;
  for (int32_t j = 0; j < n; ++j) {
    outColBegin[j] = filled;
    for (int32_t k = head[j]; k != -1; k = next[k]) {
      block.index[filled] = nodeRow[k];
      block.value[filled++] = values[k];
    }
  }
  outColBegin[n] = filled;
  *outRowIndex = block.index;
  *outValue = block.value;
  return LA_OK;
}

int32_t LA_IsMatrixSymmetric(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                             const double* matValue) {
  if (numRows != numCols) return 0;
  for (int32_t j = 0; j < numCols; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t i = rowIndex[p];
      if (i < 0 || i >= numRows || matValue[p] != matValue[p]) return 0;
      if (i == j) continue;
      int32_t q = colBegin[i];
      while (q < colBegin[i + 1] && rowIndex[q] != j) ++q;
      if (q == colBegin[i + 1] || matValue[q] != matValue[p]) return 0;
    }
  }
  return 1;
}

void PermuteMatrixPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const int32_t* invPerm,
                          const int32_t* perm, int32_t* outColBegin, int32_t* outRowIndex) {
  int32_t filled = 0;
  for (int32_t j = 0; j < n; ++j) {
    outColBegin[j] = filled;
    for (int32_t p = colBegin[perm[j]]; p < colBegin[perm[j] + 1]; ++p) outRowIndex[filled++] = invPerm[rowIndex[p]];
  }
  outColBegin[n] = filled;
}

void PermuteUnsMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                      const int32_t* invPerm, const int32_t* perm, int32_t* outColBegin, int32_t* outRowIndex,
                      double* outValue) {
  int32_t filled = 0;
  for (int32_t j = 0; j < n; ++j) {
    outColBegin[j] = filled;
    for (int32_t p = colBegin[perm[j]]; p < colBegin[perm[j] + 1]; ++p) {
      outRowIndex[filled] = invPerm[rowIndex[p]];
      outValue[filled++] = matValue[p];
    }
  }
  outColBegin[n] = filled;
}

}  // namespace qz
