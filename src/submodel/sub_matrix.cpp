#include "submodel/sub_matrix.h"

#include <algorithm>
#include <numeric>

#include "shell/log.h"
#include "shell/pool.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// A matrix major by major.
struct Majors {
  const int32_t* begin;
  const int32_t* length;
  const int32_t* index;
  const double* value;
};

int32_t totalLength(const int32_t* length, int32_t count, const int32_t* list) {
  int32_t total = 0;
  for (int32_t k = 0; k < count; ++k) total += length[list[k]];
  return total;
}

// Places the listed majors one behind the other, with an end mark. Returns the end.
int32_t placeListed(const int32_t* length, int32_t count, const int32_t* list, int32_t* outBegin, int32_t* outLength) {
  int32_t pos = 0;
  for (int32_t k = 0; k < count; ++k) {
    outBegin[k] = pos;
    outLength[k] = std::max(length[list[k]], 0);
    pos += outLength[k];
  }
  outBegin[count] = pos;
  return pos;
}

void copyListed(const Majors& from, int32_t count, const int32_t* list, const int32_t* outBegin,
                const int32_t* outLength, int32_t* outIndex, double* outValue) {
  for (int32_t k = 0; k < count; ++k) {
    const int32_t begin = from.begin[list[k]];
    std::copy_n(from.index + begin, outLength[k], outIndex + outBegin[k]);
    std::copy_n(from.value + begin, outLength[k], outValue + outBegin[k]);
  }
}

template <class T>
bool make(QzPool* pool, T*& array, int64_t count) {
  poolFree(pool, array);
  array = poolAllocate<T>(pool, count);
  return array != nullptr;
}

bool makeColumnArrays(QzPool* pool, SubModel* s) {
  const int32_t n = s->numColSub;
  return make(pool, s->colBeginSub, int64_t{n} + 1) && make(pool, s->colLengthSub, n) &&
         make(pool, s->rowIndexSub, s->numCoefColSub) && make(pool, s->matValueSub, s->numCoefColSub) &&
         make(pool, s->objSub, n);
}

bool makeRowArrays(QzPool* pool, SubModel* s, int32_t count) {
  return make(pool, s->rowBeginSub, int64_t{count} + 1) && make(pool, s->rowLengthSub, count) &&
         make(pool, s->colIndexSub, s->numCoefRowSub) && make(pool, s->rowMatValueSub, s->numCoefRowSub) &&
         make(pool, s->rhsSub, count) && make(pool, s->rowSenseSub, count);
}

int32_t createColumns(Env* env, const Model* model, SubModel* s) {
  FreeColSub(env, s);
  if (s->numColSub <= 0) return QZ_STATUS_OK;
  s->numCoefColSub = totalLength(model->colLength, s->numColSub, s->idxColSub);
  if (!makeColumnArrays(env->pool, s)) {
    FreeColSub(env, s);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  const int32_t pos = placeListed(model->colLength, s->numColSub, s->idxColSub, s->colBeginSub, s->colLengthSub);
  if (pos != s->numCoefColSub) {
    logText(env->log, QZ_LOG_DEBUG, L"Error CreateColSub: pos=%d  numCoefColSub=%d", pos, s->numCoefColSub);
    FreeColSub(env, s);
    return QZ_STATUS_FAILED;
  }
  copyListed({model->colBegin, model->colLength, model->rowIndex, model->matValue}, s->numColSub, s->idxColSub,
             s->colBeginSub, s->colLengthSub, s->rowIndexSub, s->matValueSub);
  for (int32_t k = 0; k < s->numColSub; ++k) s->objSub[k] = model->obj[s->idxColSub[k]];
  return QZ_STATUS_OK;
}

int32_t createBounds(Env* env, const Model* model, SubModel* s) {
  poolFree(env->pool, s->lowerSub);
  poolFree(env->pool, s->upperSub);
  if (s->numBoundSub <= 0) return QZ_STATUS_OK;
  if (!make(env->pool, s->lowerSub, s->numBoundSub) || !make(env->pool, s->upperSub, s->numBoundSub)) {
    poolFree(env->pool, s->lowerSub);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  for (int32_t k = 0; k < s->numBoundSub; ++k) {
    s->lowerSub[k] = model->lower[s->idxBoundSub[k]];
    s->upperSub[k] = model->upper[s->idxBoundSub[k]];
  }
  return QZ_STATUS_OK;
}

// The listed rows of a matrix by rows.
int32_t copyRows(Env* env, const Model* model, SubModel* s, const Majors& rows, int32_t count, const int32_t* list) {
  s->numCoefRowSub = totalLength(rows.length, count, list);
  if (!makeRowArrays(env->pool, s, count)) return QZ_STATUS_OUT_OF_MEMORY;
  const int32_t pos = placeListed(rows.length, count, list, s->rowBeginSub, s->rowLengthSub);
  if (pos != s->numCoefRowSub) {
    logText(env->log, QZ_LOG_DEBUG, L"Error CreateRowSub: pos=%d  numCoefRowSub=%d", pos, s->numCoefRowSub);
    return QZ_STATUS_FAILED;
  }
  copyListed(rows, count, list, s->rowBeginSub, s->rowLengthSub, s->colIndexSub, s->rowMatValueSub);
  for (int32_t k = 0; k < count; ++k) {
    s->rhsSub[k] = model->rhs[list[k]];
    s->rowSenseSub[k] = model->rowSense[list[k]];
  }
  return QZ_STATUS_OK;
}

}  // namespace

int32_t CreateSubModel(Env* env, const Model* model, SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  int32_t status = createColumns(env, model, submodel);
  if (status != QZ_STATUS_OK) return status;
  status = createBounds(env, model, submodel);
  if (status != QZ_STATUS_OK) return status;
  if (submodel->numRowSub > 0) return CreateRowSub(env, model, submodel, submodel->numRowSub, submodel->idxRowSub);
  FreeRowSub(env, submodel);
  return QZ_STATUS_OK;
}

int32_t CreateRowSub(Env* env, const Model* model, SubModel* submodel, int32_t count, const int32_t* list) {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> length;
  PoolArray<int32_t> index;
  PoolArray<double> value;
  FreeRowSub(env, submodel);
  int32_t status = begin.allocate(env->pool, int64_t{model->numRow} + 1);
  if (status == QZ_STATUS_OK) status = length.allocate(env->pool, model->numRow);
  if (status == QZ_STATUS_OK) status = index.allocate(env->pool, model->numCoef);
  if (status == QZ_STATUS_OK) status = value.allocate(env->pool, model->numCoef);
  if (status != QZ_STATUS_OK) return status;
  toggleMatrixWithLength(model->numCol, model->numRow, nullptr, model->colBegin, model->colLength, model->rowIndex,
                         model->matValue, begin.get(), length.get(), index.get(), value.get());
  status = copyRows(env, model, submodel, {begin.get(), length.get(), index.get(), value.get()}, count, list);
  if (status != QZ_STATUS_OK) FreeRowSub(env, submodel);
  return status;
}

void MapSubmodel(Env* /*env*/, SubModel* submodel, const Presolver* presolver) {
  if (submodel == nullptr) return;
  submodel->numRowSub = submodel->numBigIneqnSlack;
  submodel->numColSub = submodel->numBigBoundDual;
  submodel->numBoundSub = submodel->numBigBoundSlack;
  std::copy_n(presolver->rowMap, submodel->numRow, submodel->rowMapSub);
  std::copy_n(presolver->colMap, submodel->numCol, submodel->colMapSub);
}

void ResetMapSubmodel(Env* /*env*/, SubModel* submodel) {
  if (submodel == nullptr) return;
  std::iota(submodel->rowMapSub, submodel->rowMapSub + submodel->numRow, 0);
  std::iota(submodel->colMapSub, submodel->colMapSub + submodel->numCol, 0);
}

}  // namespace qz
