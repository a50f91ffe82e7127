// What must be undone: one record per step of the presolver, in one arena, taken back in reverse order.
//
// Every record turns an answer of the model as it stood right behind its step into one of the model right before it.
// An answer consists of
//     x     of every column,
//     y     of every row, >= 0 where the lower side holds it, <= 0 where the upper side does,
//     z     = cost - A'y of every column, >= 0 where the lower bound holds it, <= 0 where the upper bound does,
// and, behind a crossover, the places of columns and rows in a basis. An undo may read x, z and the place of every
// column that was alive behind its step and y and the place of every row that was; it writes those of what its step
// removed, and mends those that its step has changed. The y of a row that is still to come is 0. Activities need no
// care: they are the caller's A x at the end.
//
// The answer of an interior-point method is not exactly complementary: an undo decides by what its record says and by
// signs, never by how near x is to a bound. With a basis, it decides by the places.
//
// The same records take back a ray, an answer of the model with all costs 0 (a dual ray: y of a proof that no point
// is feasible) or with all sides and bounds 0 (a primal ray): an undo takes every cost times `costFactor` and every
// constant of a row or column times `sideFactor`.
#pragma once

#include <cstdint>

#include "growing_array.h"

namespace qzpresol {

struct Answer {
  double* x;             // caller's columns
  double* y;             // caller's rows
  double* z;             // caller's columns
  uint8_t* columnBasis;  // QZ_BASIS_..., or null without a basis
  uint8_t* rowBasis;
  double costFactor;  // 1, or 0 for a dual ray
  double sideFactor;  // 1, or 0 for a primal ray
};

// One per kind of record. A new kind gets a line in the table of undo functions in reductions.cpp.
enum class UndoKind : int32_t {
  kRedundantRow,
  kFixedColumn,
  kSingletonRow,
  kForcingRow,
  kOpenColumn,
  kSlackColumn,
  kDoubletonEquation,
  kFreeSubstitution,
  kParallelRow,
  kMergedColumn,
  kSparsification,
  kTightRow,
  kCount
};

// Reads one record in the order in which it was written.
struct UndoReader {
  const int32_t* nextIndex;
  const double* nextValue;
  int32_t index() { return *nextIndex++; }
  double value() { return *nextValue++; }
};

class UndoStack {
 public:
  explicit UndoStack(QzPool* pool) : record_(pool), index_(pool), value_(pool) {}

  // Opens a record with room for so many indices and values, which index() and value() write. 0 or -1086.
  [[nodiscard]] int32_t open(UndoKind kind, int64_t indices, int64_t values) {
    if (record_.makeRoom(1) != QZ_STATUS_OK || index_.makeRoom(indices) != QZ_STATUS_OK ||
        value_.makeRoom(values) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    record_.push({kind, index_.size(), value_.size()});
    return QZ_STATUS_OK;
  }
  void index(int32_t element) { index_.push(element); }
  void value(double element) { value_.push(element); }

  [[nodiscard]] int64_t size() const { return record_.size(); }
  [[nodiscard]] UndoKind kind(int64_t r) const { return record_[r].kind; }
  [[nodiscard]] UndoReader read(int64_t r) const {
    return {index_.get() + record_[r].firstIndex, value_.get() + record_[r].firstValue};
  }

 private:
  struct Record {
    UndoKind kind;
    int64_t firstIndex;
    int64_t firstValue;
  };
  GrowingArray<Record> record_;
  GrowingArray<int32_t> index_;
  GrowingArray<double> value_;
};

}  // namespace qzpresol
