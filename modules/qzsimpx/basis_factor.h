// The factorisation of a basis, with its updates, by CoinFactorization (sparse LU with Forrest-Tomlin updates).
#pragma once

#include <CoinFactorization.hpp>
#include <CoinIndexedVector.hpp>
#include <cstdint>

#include "program.h"

namespace qzsimpx {

class BasisFactor {
 public:
  BasisFactor(QzPool* pool, const Program& program);

  // Factors the columns of at most numRow variables. On success, `head` is permuted: head[p] is the variable that
  // pivots in position p. Returns the rank; below numRow nothing is factored, the variables that are dependent stand as
  // -1 in their place in `head`, and `rowIsCovered` tells the rows that the others pivot in.
  int32_t factor(Array<int32_t>& head, Array<char>& rowIsCovered);

  // Solves B v = column of variable j, and keeps what a replacement needs. The result is indexed by position.
  CoinIndexedVector& solveColumn(int32_t j);
  // Solves B v = `vector`, dense over the rows, in place; the result is dense over the positions.
  void solveDense(double* vector);
  // Solves B' v = e_p. The result is indexed by row.
  CoinIndexedVector& solveUnit(int32_t p);

  // Replaces the variable in position p by the one of the last solveColumn, with `pivot` its entry p.
  // False: the update did not work, and the basis must be factored anew.
  [[nodiscard]] bool replace(int32_t p, double pivot);
  [[nodiscard]] bool wantsFactor() const { return factor_.pivots() >= kMostUpdates; }

 private:
  static constexpr int kMostUpdates = 100;

  // Factors what stands in the element arrays and fills position_, with -1 for dependent columns; strictly pivoted when
  // the usual way fails. False: the library calls the basis singular and names no column.
  bool factorElements();
  // Names one: any structural column will do, since a basis of logical variables alone is never singular.
  void dropOneColumn(const Array<int32_t>& head);

  const Program& program_;
  CoinFactorization factor_;
  CoinIndexedVector work_;    // zero between calls
  CoinIndexedVector column_;  // result of solveColumn
  CoinIndexedVector unit_;    // result of solveUnit
  CoinIndexedVector dense_;
  Array<int32_t> elementRow_;
  Array<int32_t> elementColumn_;
  Array<double> element_;
  Array<int32_t> position_;
};

}  // namespace qzsimpx
