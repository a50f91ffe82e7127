#include "reduced_record.h"

#include "shell/pool.h"
#include "store.h"

namespace qzpresol {

void numberRows(Reduction& r) {
  for (int32_t i = 0; i < r.caller->numRow; ++i) {
    if (r.rowMap[i] < 0) continue;
    r.rowMap[i] = r.reduced.numRow++;
    const bool below = !infinite(r.rowLower[i]);
    const bool above = !infinite(r.rowUpper[i]);
    r.rowSense[i] = below && above ? 'R' : (above ? 'L' : 'G');
    if (below && above && r.rowUpper[i] - r.rowLower[i] <= kFixedWidth) r.rowSense[i] = 'E';
    if (r.rowSense[i] == 'R') ++r.numRange;
  }
}

void copyRows(Reduction& r) {
  LpRecord& out = r.reduced;
  for (int32_t i = 0; i < r.caller->numRow; ++i) {
    const int32_t to = r.rowMap[i];
    if (to < 0) continue;
    out.rowSense[to] = r.rowSense[i];
    out.rhs[to] = r.rowSense[i] == 'G' ? r.rowLower[i] : r.rowUpper[i];
    out.range[to] = r.rowSense[i] == 'R' ? r.rowUpper[i] - r.rowLower[i] : 0.0;
  }
}

int32_t allocateReduced(Reduction& r) {
  LpRecord& out = r.reduced;
  QzPool* pool = r.pool;
  const int64_t columns = int64_t{out.numCol} + r.numRange + r.numFree;
  const int64_t elements = int64_t{out.numCoef} + r.numRange + r.numFreeCoef + out.numRow + columns;
  out.matValue = qz::poolAllocate<double>(pool, elements);
  out.rowIndex = qz::poolAllocate<int32_t>(pool, elements);
  out.colBegin = qz::poolAllocateZero<int32_t>(pool, columns + 2);
  out.colLength = qz::poolAllocateZero<int32_t>(pool, columns + 1);
  out.obj = qz::poolAllocateZero<double>(pool, columns);
  out.lower = qz::poolAllocateZero<double>(pool, columns);
  out.upper = qz::poolAllocateZero<double>(pool, columns);
  out.solPrimal = qz::poolAllocateZero<double>(pool, columns);
  out.reducedCost = qz::poolAllocateZero<double>(pool, columns);
  out.rhs = qz::poolAllocateZero<double>(pool, out.numRow);
  out.range = qz::poolAllocateZero<double>(pool, out.numRow);
  out.rowSense = qz::poolAllocateZero<char>(pool, out.numRow);
  out.solDual = qz::poolAllocateZero<double>(pool, out.numRow);
  out.rowActivity = qz::poolAllocateZero<double>(pool, out.numRow);
  out.colBasis = qz::poolAllocateZero<uint8_t>(pool, out.numCol);
  out.rowBasis = qz::poolAllocateZero<uint8_t>(pool, out.numRow);
  const bool all = out.matValue != nullptr && out.rowIndex != nullptr && out.colBegin != nullptr &&
                   out.colLength != nullptr && out.obj != nullptr && out.lower != nullptr && out.upper != nullptr &&
                   out.solPrimal != nullptr && out.reducedCost != nullptr && out.rhs != nullptr &&
                   out.range != nullptr && out.rowSense != nullptr && out.solDual != nullptr &&
                   out.rowActivity != nullptr && out.colBasis != nullptr && out.rowBasis != nullptr;
  return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
}

void freeReduced(Reduction& r) {
  QzPool* pool = r.pool;
  LpRecord& out = r.reduced;
  qz::poolFree(pool, out.matValue);
  qz::poolFree(pool, out.rowIndex);
  qz::poolFree(pool, out.colBegin);
  qz::poolFree(pool, out.colLength);
  qz::poolFree(pool, out.obj);
  qz::poolFree(pool, out.lower);
  qz::poolFree(pool, out.upper);
  qz::poolFree(pool, out.solPrimal);
  qz::poolFree(pool, out.reducedCost);
  qz::poolFree(pool, out.rhs);
  qz::poolFree(pool, out.range);
  qz::poolFree(pool, out.rowSense);
  qz::poolFree(pool, out.solDual);
  qz::poolFree(pool, out.rowActivity);
  qz::poolFree(pool, out.colBasis);
  qz::poolFree(pool, out.rowBasis);
}

// Shell's method on the two arrays at once. Columns mostly arrive sorted, and then this is one pass a gap.
void sortColumn(int32_t length, int32_t* row, double* value) {
  for (int32_t gap = length / 2; gap > 0; gap = gap == 2 ? 1 : static_cast<int32_t>(gap / 2.2)) {
    for (int32_t k = gap; k < length; ++k) {
      const int32_t keyRow = row[k];
      const double keyValue = value[k];
      int32_t p = k;
      for (; p >= gap && row[p - gap] > keyRow; p -= gap) {
        row[p] = row[p - gap];
        value[p] = value[p - gap];
      }
      row[p] = keyRow;
      value[p] = keyValue;
    }
  }
}

}  // namespace qzpresol
