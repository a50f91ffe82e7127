#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/verify_submodel.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kTolerance = 1e-8;

// From the engine's numbering to the system's.
struct Places {
  const ResetPartition& partition;

  [[nodiscard]] int32_t col(int32_t j) const { return partition.colState[j]; }
  [[nodiscard]] int32_t row(int32_t i) const {
    const int32_t state = partition.rowState[i];
    return state < 0 ? state : partition.numColKept + state;
  }
};

// Vector of the columns and rows with v on the kept places and the bounds on the fixed columns.
struct Point {
  const Ipm* ipm;
  const Places& places;
  const double* v;

  [[nodiscard]] double keptCol(int32_t j) const { return places.col(j) < 0 ? 0.0 : v[places.col(j)]; }
  [[nodiscard]] double keptRow(int32_t i) const { return places.row(i) < 0 ? 0.0 : v[places.row(i)]; }
  [[nodiscard]] double fixed(int32_t j) const { return places.col(j) < 0 ? fixedValue(ipm, places.partition, j) : 0.0; }
};

void add(const PoolArray<Sum>& sums, int32_t place, double term) {
  if (place >= 0) sums[place].add(term);
}

// product += M v; rhs += what the fixed columns contribute to the right-hand side, both from the model.
void addFromModel(const Ipm* ipm, const Places& places, const Point& point, const PoolArray<Sum>& product,
                  const PoolArray<Sum>& rhs) {
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = places.col(j);
    add(rhs, place, ipm->obj[j]);
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k) {
      const int32_t i = ipm->rowIndex[k];
      add(product, place, ipm->matValue[k] * point.keptRow(i));
      add(product, places.row(i), ipm->matValue[k] * point.keptCol(j));
      add(rhs, places.row(i), -ipm->matValue[k] * point.fixed(j));
    }
    if (!quadratic) continue;
    add(product, place, -ipm->quadDiag[j] * point.keptCol(j));
    if (ipm->numQuadCoef == 0) continue;
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k) {
      const int32_t other = ipm->quadRowIndex[k];
      const double q = ipm->quadMatValue[k];
      add(product, place, -q * point.keptCol(other));
      add(product, places.col(other), -q * point.keptCol(j));
      add(rhs, place, q * point.fixed(other));
      add(rhs, places.col(other), q * point.fixed(j));
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) add(rhs, places.row(i), ipm->rhs[i]);
}

}  // namespace

int32_t VerifyResetSystem(const Ipm* ipm, int32_t level, const ResetPartition& partition, const ResetSystem& system) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyResetSystem");
  check.same(L"numDim", -1, system.numDim, partition.numColKept + partition.numRowKept);
  if (check.numBreach() > 0) return check.result();
  QzPool* pool = ipm->env->pool;
  PoolArray<double> v;
  PoolArray<Sum> product;
  PoolArray<Sum> found;
  PoolArray<Sum> rhs;
  if (v.allocate(pool, system.numDim) != QZ_STATUS_OK || product.allocateZero(pool, system.numDim) != QZ_STATUS_OK ||
      found.allocateZero(pool, system.numDim) != QZ_STATUS_OK || rhs.allocateZero(pool, system.numDim) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  uint32_t state = kRandomState;
  for (int32_t k = 0; k < system.numDim; ++k) v[k] = zranuni(&state);
  const Places places{partition};
  const Point point{ipm, places, v.get()};
  addFromModel(ipm, places, point, product, rhs);
  for (int32_t k = 0; k < system.numDim; ++k)
    for (int32_t e = system.begin[k]; e < system.begin[k + 1]; ++e) add(found, system.index[e], system.value[e] * v[k]);
  for (int32_t k = 0; k < system.numDim; ++k) {
    check.close(L"product", k, found[k].value, product[k].value, kTolerance * (1.0 + product[k].size));
    check.close(L"sysRhs", k, system.rhs[k], rhs[k].value, kTolerance * (1.0 + rhs[k].size));
  }
  for (int32_t j = 0; j < ipm->numCol; ++j)
    if (places.col(j) >= 0) check.close(L"sol", places.col(j), system.start[places.col(j)], ipm->primal[j], 0.0);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (places.row(i) >= 0) check.close(L"sol", places.row(i), system.start[places.row(i)], ipm->dual[i], 0.0);
  return check.result();
}

}  // namespace qz
