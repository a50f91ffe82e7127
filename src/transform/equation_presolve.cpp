#include <algorithm>
#include <cmath>
#include <limits>

#include "diagnostics/verify_matrix.h"
#include "diagnostics/verify_model.h"
#include "diagnostics/verify_presolve.h"
#include "shell/log.h"
#include "transform/bound_maps.h"
#include "transform/column_reductions.h"
#include "transform/equation_system.h"
#include "transform/noise.h"
#include "transform/reduced_model.h"
#include "transform/row_reductions.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr int32_t kMaxPass = 1000;
// A diagonal this small beside the other element of its row is no pivot: the elimination would drown row k.
constexpr double kSmallestPivot = 1e-8;
// A diagonal that an elimination leaves at no more than this share of its two terms is their rounding error.
constexpr double kCancelled = 4.0 * std::numeric_limits<double>::epsilon();

struct Equations {
  Env* env;
  Model* model;
  IpmOption* options;
  Presolver* p;
};

// Position of the element with this minor in a major, -1 for none.
int32_t findElement(const int32_t* begin, const int32_t* length, const int32_t* index, int32_t major, int32_t minor) {
  for (int32_t k = begin[major], end = k + length[major]; k < end; ++k)
    if (index[k] == minor) return k;
  return -1;
}

int32_t findInRow(const Presolver* p, int32_t row, int32_t col) {
  return findElement(p->rowBegin, p->rowLength, p->colIndex, row, col);
}

int32_t findInCol(const Presolver* p, int32_t col, int32_t row) {
  return findElement(p->colBegin, p->colLength, p->rowIndex, col, row);
}

// Takes a row out of the columns. Its own copy stays as it is now, for the determination afterwards.
void detachRow(const Equations& e, int32_t row) {
  Presolver* p = e.p;
  ++p->numRemovedRow;
  p->numRemovedElement += p->rowLength[row];
  for (int32_t k = p->rowBegin[row], end = k + p->rowLength[row]; k < end; ++k)
    removeElement(e.env, row, p->colIndex[k], p->colBegin, p->colLength, p->rowIndex, p->matValue);
}

// Notes that `row` gives `col` its value after the solve.
void determineAfterwards(const Equations& e, int32_t col, int32_t row) {
  Presolver* p = e.p;
  p->rowMap[row] = ROWMAP_POSTDET;
  updateMapLower(e.env, p->rowMap, p->lbMap, col, row);
  updateMapUpper(e.env, p->rowMap, p->ubMap, col, row);
  p->lower[col] = 0.0;
  p->upper[col] = 0.0;
  p->colMap[col] = COLMAP_POSTDET;
  p->postdetList[p->numPostdet++] = col;
}

int32_t removeEmptyEquation(const Equations& e, int32_t i) {
  const int32_t status = removeEmptyRow(e.env, e.model, e.options, e.p, i, nullptr);
  if (status != QZ_STATUS_OK) return status;
  return removeEmptyCol(e.env, e.model, e.options, e.p, i);
}

// Row i has one element, in column k: it gives x_k. With k = i that is all. Otherwise row k is the only one left that
// holds x_i, by symmetry, and determines it afterwards.
int32_t removeSingletonEquation(const Equations& e, int32_t i) {
  Presolver* p = e.p;
  const int32_t k = p->colIndex[p->rowBegin[i]];
  int32_t status = removeSingletonRow(e.env, e.model, e.options, p, i);
  if (status != QZ_STATUS_OK) return status;
  status = removeFixedCol(e.env, e.model, e.options, p, k);
  if (status != QZ_STATUS_OK) return status;
  if (k == i) {
    p->colChecked[k] = 1;
    return QZ_STATUS_OK;
  }
  if (p->colLength[i] != 1) {
    logText(e.env->log, QZ_LOG_DEBUG, L"Error removeSingletonEquation: length of column %d must be 1", i);
    return QZ_STATUS_FAILED;
  }
  if (p->rowIndex[p->colBegin[i]] != k) {
    logText(e.env->log, QZ_LOG_DEBUG, L"Error removeSingletonEquation: row index of column %d must be %d", i, k);
    return QZ_STATUS_FAILED;
  }
  detachRow(e, k);
  status = removeEmptyCol(e.env, e.model, e.options, p, i);
  if (status != QZ_STATUS_OK) return status;
  determineAfterwards(e, i, k);
  return QZ_STATUS_OK;
}

// The diagonal of row k, once the pair (i, k) and (k, i) is out of both copies: a change is added to it, a missing one
// takes the place that the pair left behind. One that cancels goes away, since an element 0 would count as a singleton.
void changeDiagonal(const Equations& e, int32_t k, double change) {
  Presolver* p = e.p;
  const int32_t inRow = findInRow(p, k, k);
  if (inRow < 0) {
    const int32_t rowEnd = p->rowBegin[k] + p->rowLength[k]++;
    const int32_t colEnd = p->colBegin[k] + p->colLength[k]++;
    p->colIndex[rowEnd] = p->rowIndex[colEnd] = k;
    p->rowValue[rowEnd] = p->matValue[colEnd] = change;
    --p->numRemovedElement;
    return;
  }
  const double old = p->rowValue[inRow];
  const double diagonal = old + change;
  if (std::fabs(diagonal) <= kCancelled * std::max(std::fabs(old), std::fabs(change))) {
    removeElement(e.env, k, k, p->rowBegin, p->rowLength, p->colIndex, p->rowValue);
    removeElement(e.env, k, k, p->colBegin, p->colLength, p->rowIndex, p->matValue);
    ++p->numRemovedElement;
    return;
  }
  p->rowValue[inRow] = diagonal;
  p->matValue[findInCol(p, k, k)] = diagonal;
}

// Whether column i mirrors row i of two elements, and column k has the diagonal of row k.
bool isMirrored(const Equations& e, int32_t i, int32_t k) {
  const Presolver* p = e.p;
  for (const int32_t j : {i, k}) {
    if (findInRow(p, j, j) < 0 || findInCol(p, j, j) >= 0) continue;
    logText(e.env->log, QZ_LOG_DEBUG, L"Error replaceVarOne: column %d should have nonzero main diagonal element", j);
    return false;
  }
  const int32_t first = p->colBegin[i];
  const int32_t other =
      p->colLength[i] == 2 ? (p->rowIndex[first] == i ? p->rowIndex[first + 1] : p->rowIndex[first]) : -1;
  if (other == k) return true;
  logText(e.env->log, QZ_LOG_DEBUG, L"Error replaceVarOne: matrix is not symmetric %d<>%d", other, k);
  return false;
}

// Row i has two elements, a on the diagonal and b in column k: x_i = (rhs_i - b x_k) / a leaves the system,
//   M_kk -= b^2 / a,   rhs_k -= b rhs_i / a,
// without any fill. Row i determines x_i afterwards.
int32_t replaceVarOne(const Equations& e, int32_t i) {
  Presolver* p = e.p;
  const int32_t first = p->rowBegin[i];
  const int32_t diagonal = p->colIndex[first] == i ? first : first + 1;
  if (p->colIndex[diagonal] != i) return QZ_STATUS_OK;
  const int32_t other = diagonal == first ? first + 1 : first;
  const int32_t k = p->colIndex[other];
  const double a = p->rowValue[diagonal];
  const double b = p->rowValue[other];
  if (std::fabs(a) <= kSmallestPivot * std::fabs(b) || p->rowLength[k] == 1) return QZ_STATUS_OK;
  if (!isMirrored(e, i, k)) return QZ_STATUS_FAILED;

  p->rhs[k] -= b * p->rhs[i] / a;
  detachRow(e, i);
  determineAfterwards(e, i, i);
  const int32_t status = removeFixedCol(e.env, e.model, e.options, p, i);
  if (status != QZ_STATUS_OK) return status;
  p->colMap[i] = COLMAP_POSTDET;
  changeDiagonal(e, k, -b * b / a);
  p->colChecked[k] = 0;
  return QZ_STATUS_OK;
}

int32_t reduceAt(const Equations& e, int32_t i) {
  switch (e.p->rowLength[i]) {
    case 0:
      return removeEmptyEquation(e, i);
    case 1:
      return removeSingletonEquation(e, i);
    case 2:
      return replaceVarOne(e, i);
    default:
      return QZ_STATUS_OK;
  }
}

// Sweeps over rows and columns together until nothing changes: each reduction opens the equations that it touched.
int32_t sweep(const Equations& e) {
  Presolver* p = e.p;
  do {
    p->changed = 0;
    for (int32_t i = 0; i < e.model->numRow; ++i) {
      if (p->rowChecked[i] != 0 && p->colChecked[i] != 0) continue;
      p->rowChecked[i] = 1;
      p->colChecked[i] = 1;
      if (p->rowMap[i] < 0) continue;
      const int32_t status = reduceAt(e, i);
      if (status != QZ_STATUS_OK) return status;
    }
    ++p->numPass;
  } while (p->changed != 0 && p->numPass < p->maxPass);
  return QZ_STATUS_OK;
}

// Rewrites the model by the maps, in its own arrays.
int32_t reduceEquation(const Equations& e) {
  Model* model = e.model;
  const Presolver* p = e.p;
  const int32_t numRow = model->numRow - p->numRemovedRow;
  const int32_t numCol = model->numCol - p->numRemovedCol;
  if (numRow != numCol) {
    logText(e.env->log, QZ_LOG_DEBUG, L"Error reduceEquation: not symmetric matrix  numRow=%d  numCol=%d", numRow,
            numCol);
    return QZ_STATUS_FAILED;
  }
  int32_t count = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const int32_t place = p->colMap[j];
    if (place < 0) continue;
    model->colBegin[place] = count;
    for (int32_t k = p->colBegin[j], end = k + p->colLength[j]; k < end; ++k) {
      const int32_t row = p->rowMap[p->rowIndex[k]];
      if (row < 0) continue;
      model->rowIndex[count] = row;
      model->matValue[count++] = p->matValue[k];
    }
    model->colLength[place] = count - model->colBegin[place];
  }
  model->colBegin[numCol] = count;
  const int32_t expected = model->numCoef - p->numRemovedElement;
  if (count != expected) {
    logText(e.env->log, QZ_LOG_DEBUG, L"Error reduceEquation: nonzeros=%d should be %d", count, expected);
    return QZ_STATUS_FAILED;
  }
  for (int32_t i = 0; i < model->numRow; ++i)
    if (p->rowMap[i] >= 0) model->rhs[p->rowMap[i]] = p->rhs[i];
  model->numRow = numRow;
  model->numCol = numCol;
  model->numCoef = count;
  return QZ_STATUS_OK;
}

// The system as it came in, for the checks behind the reduction; empty at level 0.
class InputCopy {
 public:
  InputCopy(Env* env, int32_t level) : env_(env), level_(level) {}
  InputCopy(const InputCopy&) = delete;
  InputCopy& operator=(const InputCopy&) = delete;
  ~InputCopy() { VerifyDeleteModel(env_, level_, &model); }
  [[nodiscard]] int32_t take(const Model* from) { return VerifyCopyModel(env_, level_, from, &model); }

  Model model{};

 private:
  Env* env_;
  int32_t level_;
};

// The working copies are symmetric, transposes of each other, and packed in the model.
int32_t verifyInput(const Equations& e) {
  const int32_t level = e.options->debugLevel;
  const int32_t n = e.model->numCol;
  const Presolver* p = e.p;
  const SparseView columns{n, n, p->colBegin, p->colLength, p->rowIndex, p->matValue};
  int32_t status = VerifySymMatrix(e.env, level, columns);
  if (status != QZ_STATUS_OK) return status;
  status = ipmVerifyRowMatrix(e.env, level, columns, {n, n, p->rowBegin, p->rowLength, p->colIndex, p->rowValue});
  if (status != QZ_STATUS_OK) return status;
  const Model* m = e.model;
  return VerifySymMatrixFormat(e.env, level, {n, n, m->colBegin, m->colLength, m->rowIndex, m->matValue}, m->numCoef);
}

int32_t verifyReduced(const Equations& e, const Model* in) {
  const int32_t level = e.options->debugLevel;
  int32_t status = VerifyPresolveStructure(e.env, level, in, e.options, e.p);
  if (status != QZ_STATUS_OK) return status;
  const Model* m = e.model;
  status = VerifySymMatrix(e.env, level, {m->numCol, m->numRow, m->colBegin, m->colLength, m->rowIndex, m->matValue});
  return status != QZ_STATUS_OK ? status : VerifyPresolveValue(e.env, level, in, m, e.p);
}

}  // namespace

int32_t eqnPresolve(Env* env, Model* model, IpmOption* options, Presolver* presolver) {
  int32_t status = CreatePresolver(env, model, options, presolver);
  if (status != QZ_STATUS_OK) return status;
  presolver->maxPass = kMaxPass;
  detectNoise(env, model, presolver);
  if (presolver->noiseThreshold < kInfinity) removeNoiseA(env, model, presolver);

  const Equations equations{env, model, options, presolver};
  InputCopy input(env, options->debugLevel);
  status = input.take(model);
  if (status != QZ_STATUS_OK) return status;
  status = verifyInput(equations);
  if (status != QZ_STATUS_OK) return status;
  status = sweep(equations);
  if (status != QZ_STATUS_OK) return status;
  if (presolver->numRemovedRow != presolver->numRemovedCol) return QZ_STATUS_FAILED;
  presolver->preControl = PRECONTROL_NONE;
  if (presolver->numRemovedRow == 0) return QZ_STATUS_OK;
  presolver->preControl = PRECONTROL_REDUCED;
  setMapping(env, model, presolver);
  status = reduceEquation(equations);
  return status != QZ_STATUS_OK ? status : verifyReduced(equations, &input.model);
}

}  // namespace qz
