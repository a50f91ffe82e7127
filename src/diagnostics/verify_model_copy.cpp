#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/verify_model.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kValueTolerance = 1e-8;

// Where the last element of a matrix ends.
int64_t extentOf(int32_t n, const int32_t* begin, const int32_t* length) {
  int64_t extent = 0;
  for (int32_t j = 0; j < n; ++j) extent = std::max(extent, int64_t{begin[j]} + length[j]);
  return extent;
}

template <class T>
bool copyArray(QzPool* pool, T*& to, const T* from, int64_t count) {
  if (from == nullptr) return true;
  to = poolAllocate<T>(pool, count);
  if (to != nullptr) std::copy_n(from, count, to);
  return to != nullptr;
}

bool hasTriangle(const Model* m) {
  return m->numQuadCoef > 0;
}

bool copyArrays(QzPool* pool, const Model* m, Model* copy) {
  const int64_t extent = extentOf(m->numCol, m->colBegin, m->colLength);
  bool copied =
      copyArray(pool, copy->colBegin, m->colBegin, m->numCol) &&
      copyArray(pool, copy->colLength, m->colLength, m->numCol) &&
      copyArray(pool, copy->rowIndex, m->rowIndex, extent) && copyArray(pool, copy->matValue, m->matValue, extent) &&
      copyArray(pool, copy->obj, m->obj, m->numCol) && copyArray(pool, copy->lower, m->lower, m->numCol) &&
      copyArray(pool, copy->upper, m->upper, m->numCol) && copyArray(pool, copy->rhs, m->rhs, m->numRow) &&
      copyArray(pool, copy->range, m->range, m->numRow) && copyArray(pool, copy->rowSense, m->rowSense, m->numRow);
  if (!copied || m->typeModel != IPM_MODEL_QP) return copied;
  copied = copyArray(pool, copy->quadDiag, m->quadDiag, m->numCol);
  if (!copied || !hasTriangle(m)) return copied;
  const int64_t quadExtent = extentOf(m->numCol, m->quadColBegin, m->quadColLength);
  return copyArray(pool, copy->quadColBegin, m->quadColBegin, m->numCol) &&
         copyArray(pool, copy->quadColLength, m->quadColLength, m->numCol) &&
         copyArray(pool, copy->quadRowIndex, m->quadRowIndex, quadExtent) &&
         copyArray(pool, copy->quadMatValue, m->quadMatValue, quadExtent);
}

bool isInfinite(double bound) {
  return std::fabs(bound) >= kInfinity;
}

void compareValues(Check& check, const wchar_t* field, int64_t n, const double* now, const double* then) {
  if (now == nullptr || then == nullptr) return;
  for (int64_t k = 0; k < n; ++k) {
    if (isInfinite(now[k]) && isInfinite(then[k]) && (now[k] > 0.0) == (then[k] > 0.0)) continue;
    check.close(field, static_cast<int32_t>(k), now[k], then[k], kValueTolerance * (1.0 + std::fabs(then[k])));
  }
}

void compareMatrix(Check& check, int32_t n, const int32_t* const now[3], const double* nowValue,
                   const int32_t* const then[3], const double* thenValue, const wchar_t* const names[4]) {
  for (int32_t j = 0; j < n; ++j) {
    check.same(names[0], j, now[0][j], then[0][j]);
    check.same(names[1], j, now[1][j], then[1][j]);
    if (now[0][j] != then[0][j] || now[1][j] != then[1][j]) continue;
    for (int32_t k = then[0][j]; k < then[0][j] + then[1][j]; ++k) {
      check.same(names[2], k, now[2][k], then[2][k]);
      check.close(names[3], k, nowValue[k], thenValue[k], kValueTolerance * (1.0 + std::fabs(thenValue[k])));
    }
  }
}

}  // namespace

int32_t VerifyCopyModel(Env* env, int32_t level, const Model* model, Model* copy) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  copy->typeModel = model->typeModel;
  copy->numRow = model->numRow;
  copy->numCol = model->numCol;
  copy->numCoef = model->numCoef;
  copy->numQuadCoef = model->numQuadCoef;
  copy->objSense = model->objSense;
  copy->objConstant = model->objConstant;
  if (copyArrays(env->pool, model, copy)) return QZ_STATUS_OK;
  VerifyDeleteModel(env, level, copy);
  return QZ_STATUS_OUT_OF_MEMORY;
}

int32_t VerifyCompareModel(Env* env, int32_t level, const Model* model, const Model* copy) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifyCompareModel");
  check.same(L"typeModel", -1, model->typeModel, copy->typeModel);
  check.same(L"numRow", -1, model->numRow, copy->numRow);
  check.same(L"numCol", -1, model->numCol, copy->numCol);
  check.same(L"numCoef", -1, model->numCoef, copy->numCoef);
  check.same(L"numQuadCoef", -1, model->numQuadCoef, copy->numQuadCoef);
  check.same(L"objSense", -1, model->objSense, copy->objSense);
  if (check.numBreach() > 0) return check.result();
  check.close(L"objConstant", -1, model->objConstant, copy->objConstant,
              kValueTolerance * (1.0 + std::fabs(copy->objConstant)));
  compareValues(check, L"obj", copy->numCol, model->obj, copy->obj);
  compareValues(check, L"lower", copy->numCol, model->lower, copy->lower);
  compareValues(check, L"upper", copy->numCol, model->upper, copy->upper);
  compareValues(check, L"rhs", copy->numRow, model->rhs, copy->rhs);
  compareValues(check, L"range", copy->numRow, model->range, copy->range);
  for (int32_t i = 0; i < copy->numRow; ++i)
    check.same(L"rowSense", i, static_cast<unsigned char>(model->rowSense[i]),
               static_cast<unsigned char>(copy->rowSense[i]));
  const int32_t* const now[3] = {model->colBegin, model->colLength, model->rowIndex};
  const int32_t* const then[3] = {copy->colBegin, copy->colLength, copy->rowIndex};
  const wchar_t* const names[4] = {L"colBegin", L"colLength", L"rowIndex", L"matValue"};
  compareMatrix(check, copy->numCol, now, model->matValue, then, copy->matValue, names);
  if (copy->typeModel != IPM_MODEL_QP) return check.result();
  compareValues(check, L"quadDiag", copy->numCol, model->quadDiag, copy->quadDiag);
  if (!hasTriangle(copy)) return check.result();
  const int32_t* const quadNow[3] = {model->quadColBegin, model->quadColLength, model->quadRowIndex};
  const int32_t* const quadThen[3] = {copy->quadColBegin, copy->quadColLength, copy->quadRowIndex};
  const wchar_t* const quadNames[4] = {L"quadColBegin", L"quadColLength", L"quadRowIndex", L"quadMatValue"};
  compareMatrix(check, copy->numCol, quadNow, model->quadMatValue, quadThen, copy->quadMatValue, quadNames);
  return check.result();
}

void VerifyDeleteModel(Env* env, int32_t level, Model* copy) {
  if (!verifies(level, VERIFY_STRUCTURE) || copy == nullptr) return;
  QzPool* pool = env->pool;
  for (double** array : {&copy->matValue, &copy->quadDiag, &copy->quadMatValue, &copy->obj, &copy->rhs, &copy->range,
                         &copy->lower, &copy->upper})
    poolFree(pool, *array);
  for (int32_t** array : {&copy->colBegin, &copy->colLength, &copy->rowIndex, &copy->quadColBegin, &copy->quadColLength,
                          &copy->quadRowIndex})
    poolFree(pool, *array);
  poolFree(pool, copy->rowSense);
}

}  // namespace qz
