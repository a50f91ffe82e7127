// A sparse matrix by lines, rows or columns, whose lines change: entries go in place, new ones use the room behind the
// line, and a line without room moves to the end of the arrays. What it leaves behind is collected when it is half.
#pragma once

#include <cstdint>

#include "growing_array.h"

namespace qzpresol {

class CompressedLines {
 public:
  explicit CompressedLines(QzPool* pool) : index_(pool), value_(pool) {}

  // Lines of the given lengths, without entries yet: `length` has numLine entries. 0 or -1086.
  [[nodiscard]] int32_t create(QzPool* pool, int32_t numLine, const int32_t* length);

  [[nodiscard]] int32_t length(int32_t line) const { return length_[line]; }
  [[nodiscard]] const int32_t* index(int32_t line) const { return index_.get() + begin_[line]; }
  [[nodiscard]] double* value(int32_t line) const { return value_.get() + begin_[line]; }

  // Position of `index` in the line, or -1.
  [[nodiscard]] int32_t find(int32_t line, int32_t index) const;
  // Appends an entry. Pointers into the lines are void afterwards. 0 or -1086.
  [[nodiscard]] int32_t append(int32_t line, int32_t index, double value);
  // The last entry of the line takes the place of the one at `position`.
  void drop(int32_t line, int32_t position);
  // Drops the entries whose index is not alive; the order of the others stays.
  void compact(int32_t line, const uint8_t* alive);

 private:
  [[nodiscard]] int32_t relocate(int32_t line);
  [[nodiscard]] int32_t collect();

  QzPool* pool_ = nullptr;
  int32_t numLine_ = 0;
  qz::PoolArray<int64_t> begin_;
  qz::PoolArray<int32_t> length_;
  qz::PoolArray<int32_t> room_;  // at least the length
  GrowingArray<int32_t> index_;
  GrowingArray<double> value_;
  int64_t left_ = 0;  // places that moved lines have left behind
};

}  // namespace qzpresol
