#include "transform/presolver.h"

#include <algorithm>

#include "diagnostics/verify_matrix.h"
#include "shell/pool.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// Allocates array after array and remembers whether one failed.
class Maker {
 public:
  explicit Maker(QzPool* pool) : pool_(pool) {}
  template <class T>
  void make(T*& array, int64_t count) {
    array = poolAllocateZero<T>(pool_, count);
    failed_ = failed_ || array == nullptr;
  }
  template <class T>
  void makeCopy(T*& array, const T* source, int64_t count) {
    array = poolAllocate<T>(pool_, count);
    failed_ = failed_ || array == nullptr;
    if (array != nullptr) std::copy_n(source, count, array);
  }
  [[nodiscard]] int32_t status() const { return failed_ ? QZ_STATUS_OUT_OF_MEMORY : QZ_STATUS_OK; }

 private:
  QzPool* pool_;
  bool failed_ = false;
};

int32_t copyConstraints(Env* env, const Model* model, Presolver& p) {
  Maker maker(env->pool);
  maker.make(p.rowBegin, int64_t{model->numRow} + 1);
  maker.make(p.rowLength, model->numRow);
  maker.make(p.colIndex, model->numCoef);
  maker.make(p.rowValue, model->numCoef);
  maker.make(p.colBegin, int64_t{model->numCol} + 1);
  maker.make(p.colLength, model->numCol);
  maker.make(p.rowIndex, model->numCoef);
  maker.make(p.matValue, model->numCoef);
  if (maker.status() != QZ_STATUS_OK) return maker.status();
  toggleMatrixWithLength(model->numCol, model->numRow, nullptr, model->colBegin, model->colLength, model->rowIndex,
                         model->matValue, p.rowBegin, p.rowLength, p.colIndex, p.rowValue);
  copyMatrix(model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue, p.colBegin,
             p.colLength, p.rowIndex, p.matValue);
  return QZ_STATUS_OK;
}

int32_t copyQuadratic(Env* env, const Model* model, Presolver& p) {
  if (model->numQuadCoef <= 0) return QZ_STATUS_OK;
  const int32_t n = model->numCol;
  Maker maker(env->pool);
  maker.make(p.quadRowBegin, int64_t{n} + 1);
  maker.make(p.quadRowLength, n);
  maker.make(p.quadColIndex, model->numQuadCoef);
  maker.make(p.quadRowValue, model->numQuadCoef);
  maker.make(p.quadColBegin, int64_t{n} + 1);
  maker.make(p.quadColLength, n);
  maker.make(p.quadRowIndex, model->numQuadCoef);
  maker.make(p.quadMatValue, model->numQuadCoef);
  if (maker.status() != QZ_STATUS_OK) return maker.status();
  toggleMatrixWithLength(n, n, nullptr, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                         model->quadMatValue, p.quadRowBegin, p.quadRowLength, p.quadColIndex, p.quadRowValue);
  copyMatrix(n, model->quadColBegin, model->quadColLength, model->quadRowIndex, model->quadMatValue, p.quadColBegin,
             p.quadColLength, p.quadRowIndex, p.quadMatValue);
  return QZ_STATUS_OK;
}

int32_t copyVectors(Env* env, const Model* model, Presolver& p) {
  Maker maker(env->pool);
  maker.makeCopy(p.rowSense, model->rowSense, model->numRow);
  maker.makeCopy(p.rhs, model->rhs, model->numRow);
  maker.makeCopy(p.obj, model->obj, model->numCol);
  maker.makeCopy(p.lower, model->lower, model->numCol);
  maker.makeCopy(p.upper, model->upper, model->numCol);
  return maker.status();
}

int32_t makeMaps(Env* env, const Model* model, Presolver& p) {
  Maker maker(env->pool);
  maker.make(p.rowMap, model->numRow);
  maker.make(p.colMap, model->numCol);
  maker.make(p.lbMap, model->numCol);
  maker.make(p.ubMap, model->numCol);
  maker.make(p.postdetList, model->numCol);
  maker.make(p.rowChecked, model->numRow);
  maker.make(p.colChecked, model->numCol);
  if (maker.status() != QZ_STATUS_OK) return maker.status();
  std::fill_n(p.lbMap, model->numCol, -1);
  std::fill_n(p.ubMap, model->numCol, -1);
  return QZ_STATUS_OK;
}

void freeRowCopy(QzPool* pool, Presolver& p) {
  poolFree(pool, p.rowBegin);
  poolFree(pool, p.rowLength);
  poolFree(pool, p.colIndex);
  poolFree(pool, p.rowValue);
  poolFree(pool, p.rhs);
}

}  // namespace

namespace {

int32_t verifyCopies(Env* env, const Model* model, const IpmOption* options, const Presolver& p) {
  const SparseView columns{model->numCol,    model->numRow,   model->colBegin,
                           model->colLength, model->rowIndex, model->matValue};
  const int32_t status = VerifySparseIndex(env, options->debugLevel, columns);
  if (status != QZ_STATUS_OK) return status;
  return ipmVerifyRowMatrix(env, options->debugLevel, columns,
                            {model->numRow, model->numCol, p.rowBegin, p.rowLength, p.colIndex, p.rowValue});
}

}  // namespace

int32_t CreatePresolver(Env* env, const Model* model, const IpmOption* options, Presolver* presolver) {
  Presolver& p = *presolver;
  p.typeModel = model->typeModel;
  p.numRemovedRow = p.numRemovedCol = p.numRemovedElement = p.numRemovedQuadElement = p.numChangeRange = 0;
  p.numPostdet = 0;
  p.numBoundChange = p.maxBoundChange = 0;
  p.infeasRow = p.infeasCol = -1;
  p.tightenEnabled = p.singletonEnabled = 1;
  p.changed = p.boundChanged = 0;
  p.numPass = 0;
  p.maxPass = 100;
  int32_t status = copyConstraints(env, model, p);
  if (status != QZ_STATUS_OK) return status;
  status = verifyCopies(env, model, options, p);
  if (status != QZ_STATUS_OK) return status;
  status = copyQuadratic(env, model, p);
  if (status != QZ_STATUS_OK) return status;
  status = copyVectors(env, model, p);
  if (status != QZ_STATUS_OK) return status;
  return makeMaps(env, model, p);
}

void FreePresolver(Env* env, Presolver* presolver) {
  if (presolver == nullptr) return;
  QzPool* pool = env->pool;
  Presolver& p = *presolver;
  poolFree(pool, p.colBegin);
  poolFree(pool, p.colLength);
  poolFree(pool, p.rowIndex);
  poolFree(pool, p.matValue);
  poolFree(pool, p.quadColBegin);
  poolFree(pool, p.quadColLength);
  poolFree(pool, p.quadRowIndex);
  poolFree(pool, p.quadMatValue);
  poolFree(pool, p.quadRowBegin);
  poolFree(pool, p.quadRowLength);
  poolFree(pool, p.quadColIndex);
  poolFree(pool, p.quadRowValue);
  poolFree(pool, p.rowChecked);
  poolFree(pool, p.colChecked);
  if (p.numPostdet == 0) freeRowCopy(pool, p);
}

void DestroyPresolver(Env* env, Presolver** presolver) {
  if (presolver == nullptr || *presolver == nullptr) return;
  QzPool* pool = env->pool;
  Presolver& p = **presolver;
  FreePresolver(env, *presolver);
  freeRowCopy(pool, p);
  poolFree(pool, p.rowSense);
  poolFree(pool, p.obj);
  poolFree(pool, p.lower);
  poolFree(pool, p.upper);
  poolFree(pool, p.rowMap);
  poolFree(pool, p.colMap);
  poolFree(pool, p.lbMap);
  poolFree(pool, p.ubMap);
  poolFree(pool, p.postdetList);
  poolFree(pool, p.boundChanges);
  poolFree(pool, p.shiftValue);
  poolFree(pool, p.shiftStatus);
  poolFree(pool, *presolver);
}

}  // namespace qz
