// The road through the working model: load the caller's record, reduce it, write what is left as the reduced record,
// and bring the reduced answer back through the undo stack.
#pragma once

#include "reducer.h"

namespace qzpresol {

struct Reduction;

// What stays between reduce and postsolve. The answer's arrays are made beforehand, so that a postsolve cannot fail.
struct StoreReduction {
  explicit StoreReduction(QzPool* pool) : undo(pool) {}
  UndoStack undo;
  qz::PoolArray<double> lower;  // bounds of the reduced model, by the caller's columns
  qz::PoolArray<double> upper;
  qz::PoolArray<double> x;             // caller's columns, like the next
  qz::PoolArray<double> z;             // of the minimisation
  qz::PoolArray<double> y;             // caller's rows, of the minimisation
  qz::PoolArray<uint8_t> columnBasis;  // QZ_BASIS_..., when hasBasis
  qz::PoolArray<uint8_t> rowBasis;
  bool hasBasis = false;
  bool hasProof = false;  // x or y is what a proof of an infeasible or unbounded model begins with
};

// Fills `reduction`, whose rowLower, rowUpper, rowMap and caller are set, as reduceRecord promises. 0 or -1086.
[[nodiscard]] int32_t reduceByStore(Reduction& reduction);
// Computes the caller's x, y and basis from the reduced record's answer.
void restoreByStore(Reduction& reduction);
// Destroys the record and clears the pointer; null is no fault.
void freeStoreReduction(QzPool* pool, StoreReduction*& store);

}  // namespace qzpresol
