#include "diagnostics/verify_input.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kSmallestElement = 1e-20;
constexpr double kLargestElement = 1e20;

// One of the two matrices of a model, with the names of its arrays.
struct Matrix {
  int32_t numMinor;
  const int32_t* begin;
  const int32_t* length;
  const int32_t* index;
  const double* value;
  const wchar_t* beginName;
  const wchar_t* lengthName;
  const wchar_t* indexName;
  const wchar_t* valueName;
};

char capital(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

void checkCounts(Check& check, const Model* m) {
  check.atLeast(L"numRow", -1, m->numRow, 0.0);
  check.atLeast(L"numCol", -1, m->numCol, 0.0);
  check.atLeast(L"numCoef", -1, m->numCoef, 0.0);
  check.atLeast(L"numQuadCoef", -1, m->numQuadCoef, 0.0);
  if (m->typeModel != IPM_MODEL_LP && m->typeModel != IPM_MODEL_QP) check.breach(L"typeModel", -1, L"is unknown");
  if (m->objSense != 1 && m->objSense != -1) check.breach(L"objSense", -1, L"should be 1 or -1");
  if (m->typeModel == IPM_MODEL_LP) check.same(L"numQuadCoef", -1, m->numQuadCoef, 0);
  check.present(L"checkSolverBreak", reinterpret_cast<const void*>(m->checkSolverBreak),
                m->callerDataStruct != nullptr);
}

// A pointer that the counts ask for; an array without entries may be null or not.
void need(Check& check, const wchar_t* field, const void* pointer, bool needed) {
  if (needed) check.present(field, pointer, true);
}

void checkPointers(Check& check, const Model* m) {
  const bool columns = m->numCol > 0;
  const bool rows = m->numRow > 0;
  const bool quadratic = m->typeModel == IPM_MODEL_QP && columns;
  need(check, L"colBegin", m->colBegin, columns);
  need(check, L"colLength", m->colLength, columns);
  need(check, L"rowIndex", m->rowIndex, m->numCoef > 0);
  need(check, L"matValue", m->matValue, m->numCoef > 0);
  need(check, L"obj", m->obj, columns);
  need(check, L"lower", m->lower, columns);
  need(check, L"upper", m->upper, columns);
  need(check, L"solPrimal", m->solPrimal, columns);
  need(check, L"reducedCost", m->reducedCost, columns);
  need(check, L"rowSense", m->rowSense, rows);
  need(check, L"rhs", m->rhs, rows);
  need(check, L"solDual", m->solDual, rows);
  need(check, L"rowActivity", m->rowActivity, rows);
  need(check, L"quadDiag", m->quadDiag, quadratic);
  need(check, L"quadColBegin", m->quadColBegin, quadratic && m->numQuadCoef > 0);
  need(check, L"quadColLength", m->quadColLength, quadratic && m->numQuadCoef > 0);
  need(check, L"quadRowIndex", m->quadRowIndex, m->numQuadCoef > 0);
  need(check, L"quadMatValue", m->quadMatValue, m->numQuadCoef > 0);
}

// Column j: `first` is the smallest index that it may hold, `mark` remembers the column that last held an index.
void checkColumn(Check& check, const Matrix& m, int32_t j, int32_t first, int32_t* mark) {
  check.atLeast(m.beginName, j, m.begin[j], 0.0);
  if (m.length[j] < 0 || m.length[j] > m.numMinor) {
    check.breach(m.lengthName, j, L"is out of range");
    return;
  }
  if (m.begin[j] < 0) return;
  for (int32_t k = m.begin[j]; k < m.begin[j] + m.length[j]; ++k) {
    const double magnitude = std::fabs(m.value[k]);
    if (!(magnitude >= kSmallestElement && magnitude <= kLargestElement))
      check.breach(m.valueName, k, L"should be from 1e-20 to 1e20 in magnitude");
    if (!check.inRange(m.indexName, k, m.index[k], m.numMinor)) continue;
    if (m.index[k] < first) check.breach(m.indexName, k, L"should lie below the diagonal");
    if (mark[m.index[k]] == j) check.breach(m.indexName, k, L"occurs twice in its column");
    mark[m.index[k]] = j;
  }
}

int64_t sumLengths(const int32_t* length, int32_t n) {
  int64_t sum = 0;
  for (int32_t j = 0; j < n; ++j) sum += length[j];
  return sum;
}

int32_t checkMatrices(Env* env, Check& check, const Model* model) {
  const int32_t n = model->numCol;
  PoolArray<int32_t> mark;
  if (mark.allocate(env->pool, std::max(model->numRow, n)) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  std::fill_n(mark.get(), mark.size(), -1);
  const Matrix matrix{model->numRow, model->colBegin, model->colLength, model->rowIndex, model->matValue,
                      L"colBegin",   L"colLength",    L"rowIndex",      L"matValue"};
  for (int32_t j = 0; j < n; ++j) checkColumn(check, matrix, j, 0, mark.get());
  check.same(L"numCoef", -1, model->numCoef, static_cast<int32_t>(sumLengths(model->colLength, n)));
  if (model->typeModel != IPM_MODEL_QP || model->numQuadCoef == 0) return QZ_STATUS_OK;
  std::fill_n(mark.get(), mark.size(), -1);
  const Matrix triangle{n,
                        model->quadColBegin,
                        model->quadColLength,
                        model->quadRowIndex,
                        model->quadMatValue,
                        L"quadColBegin",
                        L"quadColLength",
                        L"quadRowIndex",
                        L"quadMatValue"};
  for (int32_t j = 0; j < n; ++j) checkColumn(check, triangle, j, j + 1, mark.get());
  check.same(L"numQuadCoef", -1, model->numQuadCoef, static_cast<int32_t>(sumLengths(model->quadColLength, n)));
  return QZ_STATUS_OK;
}

void checkRows(Check& check, const Model* m) {
  for (int32_t i = 0; i < m->numRow; ++i) {
    const char sense = capital(m->rowSense[i]);
    const double width = m->range != nullptr ? m->range[i] : 0.0;
    switch (sense) {
      case 'R':
        if (m->range == nullptr) check.breach(L"rowSense", i, L"is R, and there is no range");
        check.atLeast(L"range", i, width, 0.0);
        break;
      case 'E':
      case 'L':
      case 'G':
      case 'N':
        check.close(L"range", i, width, 0.0, kSmallestElement);
        break;
      default:
        check.breach(L"rowSense", i, L"is unknown");
    }
    check.close(L"rowActivity", i, m->rowActivity[i], 0.0, kSmallestElement);
  }
}

}  // namespace

int32_t ipmVerifyInput(Env* env, int32_t level, const Model* model) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"input");
  checkCounts(check, model);
  checkPointers(check, model);
  if (check.numBreach() > 0) return check.result();  // nothing can be read behind a wrong pointer or count
  const int32_t status = checkMatrices(env, check, model);
  if (status != QZ_STATUS_OK) return status;
  checkRows(check, model);
  return check.result();
}

}  // namespace qz
