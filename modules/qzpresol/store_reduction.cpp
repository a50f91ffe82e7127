#include "store_reduction.h"

#include <algorithm>
#include <new>
#include <utility>

#include "presolve_object.h"
#include "reduced_record.h"
#include "shell/pool.h"

namespace qzpresol {

namespace {

int32_t makeStoreReduction(Reduction& r) {
  auto* memory = qz::poolAllocate<unsigned char>(r.pool, sizeof(StoreReduction));
  if (memory == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  r.store = new (memory) StoreReduction(r.pool);
  const LpRecord& in = *r.caller;
  const bool all = r.store->x.allocateZero(r.pool, in.numCol) == QZ_STATUS_OK &&
                   r.store->z.allocateZero(r.pool, in.numCol) == QZ_STATUS_OK &&
                   r.store->y.allocateZero(r.pool, in.numRow) == QZ_STATUS_OK &&
                   r.store->columnBasis.allocateZero(r.pool, in.numCol) == QZ_STATUS_OK &&
                   r.store->rowBasis.allocateZero(r.pool, in.numRow) == QZ_STATUS_OK;
  return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
}

// Numbers what stays, and counts it.
void numberKept(Reduction& r, const Store& s) {
  for (int32_t i = 0; i < s.numRow; ++i) {
    r.rowMap[i] = s.rowAlive[i] != 0 ? 0 : -1;
    r.rowLower[i] = s.rowLower[i];
    r.rowUpper[i] = s.rowUpper[i];
  }
  numberRows(r);
  for (int32_t j = 0; j < s.numCol; ++j) {
    r.colMap[j] = s.columnAlive[j] != 0 ? r.reduced.numCol++ : -1;
    if (r.colMap[j] < 0 || !infinite(s.lower[j]) || !infinite(s.upper[j])) continue;
    ++r.numFree;
    r.numFreeCoef += s.columnCount[j];
  }
  r.reduced.numCoef = static_cast<int32_t>(s.liveEntries);
}

void copyColumns(Reduction& r, const Store& s) {
  LpRecord& out = r.reduced;
  int32_t position = 0;
  for (int32_t j = 0; j < s.numCol; ++j) {
    const int32_t to = r.colMap[j];
    if (to < 0) continue;
    out.obj[to] = s.cost[j];
    out.lower[to] = s.lower[j];
    out.upper[to] = s.upper[j];
    out.colBegin[to] = position;
    s.eachInColumn(j, [&](int32_t i, double a) {
      out.rowIndex[position] = r.rowMap[i];
      out.matValue[position++] = a;
    });
    out.colLength[to] = position - out.colBegin[to];
    sortColumn(out.colLength[to], out.rowIndex + out.colBegin[to], out.matValue + out.colBegin[to]);
  }
  out.colBegin[out.numCol] = position;
}

int32_t writeReduced(Reduction& r, const Store& s) {
  if (s.liveEntries > INT32_MAX) return QZ_STATUS_OUT_OF_MEMORY;
  numberKept(r, s);
  if (s.liveEntries == 0) {
    r.outcome = QZ_PRESOL_OPTIMAL;
    return QZ_STATUS_OK;
  }
  const int32_t status = allocateReduced(r);
  if (status != QZ_STATUS_OK) return status;
  // The solver minimises whatever the sense says, and turns the objective value back by it.
  r.reduced.objSense = r.caller->objSense;
  r.reduced.objValue = r.objOffset;
  copyRows(r);
  copyColumns(r, s);
  return QZ_STATUS_OK;
}

// A column at its bound takes the bound: the reduced one may have been rounded on its way through the solver.
double reducedPrimal(const Reduction& r, int32_t j) {
  const int32_t k = r.colMap[j];
  if (r.reduced.colBasis[k] == QZ_BASIS_LOWER) return r.store->lower[j];
  if (r.reduced.colBasis[k] == QZ_BASIS_UPPER) return r.store->upper[j];
  return r.reduced.solPrimal[k];
}

// The reduced record's cost less A'y: the reduced costs of a solver may keep the dual residual to themselves.
double reducedCost(const LpRecord& reduced, int32_t k) {
  double z = reduced.obj[k];
  for (int32_t p = reduced.colBegin[k], end = p + reduced.colLength[k]; p < end; ++p)
    z -= reduced.matValue[p] * reduced.solDual[reduced.rowIndex[p]];
  return z;
}

void spreadReduced(Reduction& r) {
  StoreReduction& s = *r.store;
  s.hasBasis = r.reduced.numRow > 0 && r.reduced.rowBasis[0] != QZ_BASIS_NONE;
  for (int32_t i = 0; i < r.caller->numRow; ++i) {
    if (r.rowMap[i] < 0) continue;
    s.y[i] = r.reduced.solDual[r.rowMap[i]];
    s.rowBasis[i] = r.reduced.rowBasis[r.rowMap[i]];
  }
  for (int32_t j = 0; j < r.caller->numCol; ++j) {
    if (r.colMap[j] < 0) continue;
    s.x[j] = reducedPrimal(r, j);
    s.z[j] = reducedCost(r.reduced, r.colMap[j]);
    s.columnBasis[j] = r.reduced.colBasis[r.colMap[j]];
  }
}

bool isEquation(const LpRecord& in, int32_t i) {
  if (in.rowSense[i] == 'E' || in.rowSense[i] == 'e') return true;
  const bool range = in.rowSense[i] == 'R' || in.rowSense[i] == 'r';
  return range && (in.range == nullptr || in.range[i] == 0.0);
}

// What stands at bounds that are one value stands at the lower one by convention.
void settlePlaces(Reduction& r) {
  const LpRecord& in = *r.caller;
  StoreReduction& s = *r.store;
  for (int32_t j = 0; j < in.numCol; ++j)
    if (s.columnBasis[j] == QZ_BASIS_UPPER && in.lower[j] == in.upper[j]) s.columnBasis[j] = QZ_BASIS_LOWER;
  for (int32_t i = 0; i < in.numRow; ++i)
    if (s.rowBasis[i] == QZ_BASIS_UPPER && isEquation(in, i)) s.rowBasis[i] = QZ_BASIS_LOWER;
}

}  // namespace

namespace {

// A contradiction of rows, or a direction without end, as the answer that the undo stack is to bring back: y with
// z = -A'y, or x with z = c.
void startProof(Reduction& r, const Reducer& reducer) {
  StoreReduction& to = *r.store;
  const Store& s = reducer.store;
  to.hasProof = reducer.numProof > 0;
  for (int32_t k = 0; k < reducer.numProof; ++k) {
    const auto [line, value] = reducer.proof[k];
    if (r.outcome == QZ_PRESOL_DUAL_INFEASIBLE) {
      to.x[line] = value;
      continue;
    }
    to.y[line] = value;
    s.eachInRow(line, [&](int32_t j, double a) { to.z[j] -= value * a; });
  }
}

}  // namespace

int32_t reduceByStore(Reduction& r) {
  int32_t status = makeStoreReduction(r);
  if (status != QZ_STATUS_OK) return status;
  Reducer reducer(r.pool, r.owner->settings);
  status = reducer.store.load(*r.caller, r.rowLower, r.rowUpper);
  if (status == QZ_STATUS_OK) status = reduceModel(reducer, *r.caller);
  if (status != QZ_STATUS_OK) return status;
  reportReductions(reducer, r.owner->slots.log, *r.caller);
  r.outcome = reducer.outcome;
  if (r.outcome == 0) {
    r.objOffset = reducer.store.offset.value();
    status = writeReduced(r, reducer.store);
  } else {
    startProof(r, reducer);
  }
  r.store->undo = std::move(reducer.undo);
  r.store->lower = std::move(reducer.store.lower);
  r.store->upper = std::move(reducer.store.upper);
  return status;
}

void restoreByStore(Reduction& r) {
  StoreReduction& s = *r.store;
  const bool infeasible = r.outcome == QZ_PRESOL_PRIMAL_INFEASIBLE;
  const bool unbounded = r.outcome == QZ_PRESOL_DUAL_INFEASIBLE;
  if (r.outcome != 0 && r.outcome != QZ_PRESOL_OPTIMAL && !(s.hasProof && (infeasible || unbounded))) return;
  s.hasBasis = !s.hasProof;
  if (r.outcome == 0) spreadReduced(r);
  Answer answer{s.x.get(),
                s.y.get(),
                s.z.get(),
                s.hasBasis ? s.columnBasis.get() : nullptr,
                s.hasBasis ? s.rowBasis.get() : nullptr,
                infeasible ? 0.0 : 1.0,
                unbounded ? 0.0 : 1.0};
  undoReductions(s.undo, answer);
  if (s.hasBasis) settlePlaces(r);
}

void freeStoreReduction(QzPool* pool, StoreReduction*& store) {
  if (store == nullptr) return;
  store->~StoreReduction();
  qz::poolFree(pool, store);
}

}  // namespace qzpresol
