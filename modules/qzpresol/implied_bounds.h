// Bounds of a column that a row and the bounds of its other columns imply:
//
//     a x_j + rest = activity in [rowLower, rowUpper],  rest in [low, high]   =>   a x_j in [rowLower - high, rowUpper
//     - low]
//
// They are never handed on. They tell that the column's own bound can go, because no point of the others passes it.
#pragma once

#include <cstdint>

#include "shell/pool.h"
#include "store.h"

namespace qzpresol {

struct Interval {
  double low;
  double high;
};

// What row i implies for its column j with the entry `a`, from the row's reach. Infinite where it implies nothing, or
// nothing that the roundoff of large terms leaves sure.
[[nodiscard]] Interval impliedBounds(const Store& s, int32_t i, int32_t j, double a, const RowActivity& reach);

// Whether the bound of column j below, above is one that no point passes when it goes.
[[nodiscard]] bool impliesLower(const Store& s, int32_t j, const Interval& implied);
[[nodiscard]] bool impliesUpper(const Store& s, int32_t j, const Interval& implied);

// The reaches of rows over one pass: computed when first asked for, then kept up with what the pass says that it
// changes.
class RowReaches {
 public:
  explicit RowReaches(Store& s) : s_(s) {}
  [[nodiscard]] int32_t create();  // 0 or -1086

  const RowActivity& of(int32_t i);
  void forget(int32_t i) { known_[i] = 0; }
  // Before column j goes, its value taken into the sides, or changes its bounds; and after that.
  void takeOut(int32_t j) { shift(j, -1); }
  void putIn(int32_t j) { shift(j, 1); }

  // Whether a row implies the column's bound, or it has none.
  [[nodiscard]] bool lowerIsImplied(int32_t j);
  [[nodiscard]] bool upperIsImplied(int32_t j);
  // Whether it has none, or a row implies it and it can go: the column keeps the other one. (A column that is free so,
  // and nonbasic at 0, would have no place in a basis.)
  [[nodiscard]] bool lowerCanGo(int32_t j) {
    return infinite(s_.lower[j]) || (!infinite(s_.upper[j]) && lowerIsImplied(j));
  }
  [[nodiscard]] bool upperCanGo(int32_t j) {
    return infinite(s_.upper[j]) || (!infinite(s_.lower[j]) && upperIsImplied(j));
  }
  // Take away a bound that a row implies.
  void openLower(int32_t j);
  void openUpper(int32_t j);

 private:
  void shift(int32_t j, int32_t sign);

  Store& s_;
  qz::PoolArray<RowActivity> reach_;  // numRow, as far as known
  qz::PoolArray<uint8_t> known_;
};

}  // namespace qzpresol
