// From the reduced record's answer back to the caller's arrays, and the end of a reduction.

#include <cmath>

#include "presolve_object.h"
#include "reduced_record.h"
#include "shell/pool.h"

namespace qzpresol {

namespace {

bool hasMaps(const Reduction& r) {
  return r.fixedValue != nullptr;
}

// A record that was refused as inconsistent is not walked again: only its results are set.
bool readable(const Reduction& r) {
  return hasMaps(r) && r.outcome != QZ_PRESOL_FAILED;
}

// A column at its bound takes the caller's: the reduced one may have been rounded on its way through the solver.
double primalOf(const Reduction& r, int32_t j) {
  if (r.store != nullptr) return r.store->x[j];
  const int32_t reduced = r.outcome == 0 ? r.colMap[j] : -1;
  if (reduced < 0) return r.fixedValue[j];
  if (r.reduced.colBasis[reduced] == QZ_BASIS_LOWER) return r.caller->lower[j];
  if (r.reduced.colBasis[reduced] == QZ_BASIS_UPPER) return r.caller->upper[j];
  return r.reduced.solPrimal[reduced];
}

// Duals are of the objective as the caller wrote it, but those of a proof, which knows no objective; a removed row does
// not bind and has dual 0.
double dualOf(const Reduction& r, int32_t i) {
  if (r.store != nullptr) return (r.store->hasProof ? 1 : r.caller->objSense) * r.store->y[i];
  const int32_t reduced = r.outcome == 0 ? r.rowMap[i] : -1;
  return reduced < 0 ? 0.0 : r.caller->objSense * r.reduced.solDual[reduced];
}

void writeColumns(const Reduction& r) {
  LpRecord& out = *r.caller;
  for (int32_t j = 0; j < out.numCol; ++j) {
    const double x = primalOf(r, j);
    double reducedCost = out.obj[j];
    for (int64_t k = out.colBegin[j], end = k + out.colLength[j]; k < end; ++k) {
      const int32_t i = out.rowIndex[k];
      reducedCost -= out.matValue[k] * dualOf(r, i);
      if (out.rowActivity != nullptr) out.rowActivity[i] += out.matValue[k] * x;
    }
    if (out.solPrimal != nullptr) out.solPrimal[j] = x;
    if (out.reducedCost != nullptr) out.reducedCost[j] = reducedCost;
  }
}

void writeArrays(const Reduction& r) {
  LpRecord& out = *r.caller;
  for (int32_t i = 0; i < out.numRow; ++i) {
    if (out.rowActivity != nullptr) out.rowActivity[i] = 0.0;
    if (out.solDual != nullptr) out.solDual[i] = dualOf(r, i);
  }
  writeColumns(r);
}

// Whether there is a basis to bring back: the simplex module's, or the empty one of a model without elements.
bool hasBasis(const Reduction& r) {
  if (r.store != nullptr) return r.store->hasBasis;
  if (r.outcome != 0) return r.outcome == QZ_PRESOL_OPTIMAL;
  return r.reduced.numRow > 0 && r.reduced.rowBasis[0] != QZ_BASIS_NONE;
}

// A removed column stands at the bound that it was fixed at.
uint8_t columnBasis(const Reduction& r, int32_t j) {
  if (r.store != nullptr) return r.store->columnBasis[j];
  const LpRecord& in = *r.caller;
  const int32_t reduced = r.outcome == 0 ? r.colMap[j] : -1;
  if (reduced >= 0) return r.reduced.colBasis[reduced];
  if (r.fixedValue[j] == in.lower[j]) return QZ_BASIS_LOWER;
  return r.fixedValue[j] == in.upper[j] ? QZ_BASIS_UPPER : QZ_BASIS_FREE;
}

// A removed row does not bind: its activity is basic.
uint8_t rowBasis(const Reduction& r, int32_t i) {
  if (r.store != nullptr) return r.store->rowBasis[i];
  const int32_t reduced = r.outcome == 0 ? r.rowMap[i] : -1;
  return reduced >= 0 ? r.reduced.rowBasis[reduced] : uint8_t{QZ_BASIS_BASIC};
}

void writeBasis(const Reduction& r) {
  LpRecord& out = *r.caller;
  const bool has = readable(r) && hasBasis(r);
  for (int32_t j = 0; out.colBasis != nullptr && j < out.numCol; ++j)
    out.colBasis[j] = has ? columnBasis(r, j) : uint8_t{QZ_BASIS_NONE};
  for (int32_t i = 0; out.rowBasis != nullptr && i < out.numRow; ++i)
    out.rowBasis[i] = has ? rowBasis(r, i) : uint8_t{QZ_BASIS_NONE};
}

void writeResults(const Reduction& r) {
  LpRecord& out = *r.caller;
  const bool solved = r.outcome == 0;
  out.status = solved ? r.reduced.status : r.outcome;
  out.numIter = solved ? r.reduced.numIter : 0;
  out.numSimplexIter = solved ? r.reduced.numSimplexIter : 0;
  out.primalInfeas = solved ? r.reduced.primalInfeas : 0.0;
  out.dualInfeas = solved ? r.reduced.dualInfeas : 0.0;
  out.boundInfeas = solved ? r.reduced.boundInfeas : 0.0;
  out.dualityGap = solved ? r.reduced.dualityGap : 0.0;
  out.complementarity = solved ? r.reduced.complementarity : 0.0;
  out.objValue = 0.0;
  if (solved)
    out.objValue = r.reduced.objValue;
  else if (r.outcome == QZ_PRESOL_OPTIMAL)
    out.objValue = out.objSense * r.objOffset;
}

}  // namespace

void restoreRecord(Reduction& reduction) {
  if (reduction.store != nullptr) restoreByStore(reduction);
  writeResults(reduction);
  if (readable(reduction)) writeArrays(reduction);
  writeBasis(reduction);
}

void freeReduction(Reduction& r) {
  QzPool* pool = r.pool;
  qz::poolFree(pool, r.rowSense);
  qz::poolFree(pool, r.rowLower);
  qz::poolFree(pool, r.rowUpper);
  qz::poolFree(pool, r.rowLength);
  qz::poolFree(pool, r.rowMap);
  qz::poolFree(pool, r.colMap);
  qz::poolFree(pool, r.fixedValue);
  freeStoreReduction(pool, r.store);
  freeReduced(r);
}

}  // namespace qzpresol
