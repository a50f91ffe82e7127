#include "submodel/variable_shift.h"

#include <algorithm>
#include <cmath>

#include "shell/log.h"
#include "shell/pool.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// What moves with a variable.
struct Origin {
  double* x;
  double* lower;
  double* upper;
  double* rhs;
  double infinity;
  const int32_t* colBegin;
  const int32_t* colLength;
  const int32_t* rowIndex;
  const double* matValue;
};

// Bounds and sides where the origin of column j is `shift`; the negative of a shift takes it back.
void moveData(const Origin& o, int32_t j, double shift) {
  if (o.lower[j] > -o.infinity) o.lower[j] -= shift;
  if (o.upper[j] < o.infinity) o.upper[j] -= shift;
  const int32_t begin = o.colBegin[j];
  for (int32_t e = begin; e < begin + o.colLength[j]; ++e) o.rhs[o.rowIndex[e]] -= o.matValue[e] * shift;
}

void moveOrigin(const Origin& o, int32_t j, double shift) {
  o.x[j] -= shift;
  moveData(o, j, shift);
}

Origin originOf(const Ipm* ipm) {
  return {ipm->primal,   ipm->lower,     ipm->upper,    ipm->rhs,     ipm->infinityValue,
          ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue};
}

// A bound that is near becomes the origin, so that it is met exactly.
double chooseShift(const Origin& o, int32_t j, double thresholdBig) {
  const double x = o.x[j];
  const double toLower = o.lower[j] > -o.infinity ? x - o.lower[j] : o.infinity;
  const double toUpper = o.upper[j] < o.infinity ? o.upper[j] - x : o.infinity;
  const double near = std::min(0.05 * std::fabs(x), 0.5 * thresholdBig);
  if (near >= toLower) return o.lower[j];
  if (near >= toUpper) return o.upper[j];
  return x;
}

}  // namespace

int32_t subShiftPrimal(Env* env, SubModel* submodel, double* x, double* lower, double* upper, double* rhs,
                       double infinity, const int32_t* colBegin, const int32_t* colLength, const int32_t* rowIndex,
                       const double* matValue) {
  if (submodel == nullptr || submodel->numBigVar == 0) return QZ_STATUS_OK;
  if (submodel->shiftPrimal != nullptr) {
    logText(env->log, QZ_LOG_DEBUG, L"Error subShiftPrimal: submodel->shiftPrimal should be NULL");
    return QZ_STATUS_FAILED;
  }
  submodel->shiftPrimal = poolAllocate<double>(env->pool, submodel->numBigVar);
  if (submodel->shiftPrimal == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  const Origin origin{x, lower, upper, rhs, infinity, colBegin, colLength, rowIndex, matValue};
  for (int32_t k = 0; k < submodel->numBigVar; ++k) {
    const int32_t j = submodel->idxBigVar[k];
    submodel->shiftPrimal[k] = chooseShift(origin, j, submodel->thresholdBig);
    moveOrigin(origin, j, submodel->shiftPrimal[k]);
  }
  return QZ_STATUS_OK;
}

int32_t subShiftPrimalQP(Env* env, const SubModel* submodel, int32_t sign, int32_t numCol, int32_t numQuad,
                         double* gradient, const double* quadDiag, const int32_t* quadColBegin,
                         const int32_t* quadColLength, const int32_t* quadRowIndex, const double* quadValue) {
  if (submodel == nullptr || submodel->numBigVar <= 0 || submodel->shiftPrimal == nullptr) return QZ_STATUS_OK;
  const double direction = sign < 0 ? -1.0 : 1.0;
  if (numQuad <= 0) {
    for (int32_t k = 0; k < submodel->numBigVar; ++k) {
      const int32_t j = submodel->idxBigVar[k];
      gradient[j] += direction * submodel->shiftPrimal[k] * quadDiag[j];
    }
    return QZ_STATUS_OK;
  }
  PoolArray<double> shift;
  const int32_t status = shift.allocateZero(env->pool, numCol);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < submodel->numBigVar; ++k) shift[submodel->idxBigVar[k]] = submodel->shiftPrimal[k];
  symmatrixTimesVector(numCol, quadColBegin, quadColLength, quadRowIndex, quadValue, quadDiag, shift.get(), gradient,
                       direction);
  return QZ_STATUS_OK;
}

void subShiftData(const Ipm* ipm, const SubModel* submodel) {
  if (submodel == nullptr || submodel->shiftPrimal == nullptr) return;
  const Origin origin = originOf(ipm);
  for (int32_t k = 0; k < submodel->numBigVar; ++k) moveData(origin, submodel->idxBigVar[k], submodel->shiftPrimal[k]);
}

void subUnshiftPrimal(Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr || submodel->numBigVar <= 0 || submodel->shiftPrimal == nullptr) return;
  const Origin origin = originOf(ipm);
  for (int32_t k = 0; k < submodel->numBigVar; ++k)
    moveOrigin(origin, submodel->idxBigVar[k], -submodel->shiftPrimal[k]);
  poolFree(ipm->env->pool, submodel->shiftPrimal);
}

}  // namespace qz
