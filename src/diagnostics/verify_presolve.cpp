#include "diagnostics/verify_presolve.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/verify_matrix.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kValueTolerance = 1e-6;

char capital(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

struct Structure {
  Check& check;
  const Model* model;
  const Presolver* p;

  void checkProcessed() const {
    if (p->numPass >= p->maxPass) return;
    for (int32_t i = 0; i < model->numRow; ++i)
      if (p->rowChecked[i] == 0) check.breach(L"rowChecked", i, L"should be 1");
    for (int32_t j = 0; j < model->numCol; ++j)
      if (p->colChecked[j] == 0) check.breach(L"colChecked", j, L"should be 1");
  }

  void checkCounts() const {
    int32_t numRow = 0;
    int32_t numCol = 0;
    int32_t byRow = 0;
    int32_t byCol = 0;
    for (int32_t i = 0; i < model->numRow; ++i) {
      numRow += p->rowMap[i] < 0 ? 1 : 0;
      byRow += p->rowMap[i] < 0 ? 0 : p->rowLength[i];
    }
    for (int32_t j = 0; j < model->numCol; ++j) {
      numCol += p->colMap[j] < 0 ? 1 : 0;
      byCol += p->colMap[j] < 0 ? 0 : p->colLength[j];
    }
    check.same(L"numRemovedRow", -1, p->numRemovedRow, numRow);
    check.same(L"numRemovedCol", -1, p->numRemovedCol, numCol);
    check.same(L"numRemovedElement by row", -1, p->numRemovedElement, model->numCoef - byRow);
    check.same(L"numRemovedElement by column", -1, p->numRemovedElement, model->numCoef - byCol);
    if (p->quadColBegin == nullptr) return;
    int32_t left = 0;
    for (int32_t j = 0; j < model->numCol; ++j) left += p->colMap[j] < 0 ? 0 : p->quadColLength[j];
    check.same(L"numRemovedQuadElement", -1, p->numRemovedQuadElement, model->numQuadCoef - left);
  }

  void checkNumbers(const wchar_t* field, int32_t n, const int32_t* map, int32_t lowestCode) const {
    int32_t next = 0;
    for (int32_t k = 0; k < n; ++k) {
      if (map[k] >= 0)
        check.same(field, k, map[k], next++);
      else
        check.atLeast(field, k, map[k], lowestCode);
    }
  }

  void checkBounds(double tolerance) const {
    for (int32_t j = 0; j < model->numCol; ++j) {
      if (p->colMap[j] == COLMAP_POSTDET) continue;
      const double l = model->lower[j];
      const double u = model->upper[j];
      if (l > -kInfinity) check.atLeast(L"lower", j, p->lower[j], l - tolerance * (1.0 + std::fabs(l)));
      if (u < kInfinity) check.atMost(L"upper", j, p->upper[j], u + tolerance * (1.0 + std::fabs(u)));
    }
  }

  [[nodiscard]] bool holds(int32_t row, int32_t col) const {
    for (int32_t k = model->colBegin[col]; k < model->colBegin[col] + model->colLength[col]; ++k)
      if (model->rowIndex[k] == row) return true;
    // An elimination may have given the equation a diagonal that the model does not have.
    return p->rowMap[row] == ROWMAP_POSTDET && row == col;
  }

  // One bound map; counts how often each row stands in it.
  void checkBoundMap(const wchar_t* field, const int32_t* map, int32_t* count) const {
    for (int32_t j = 0; j < model->numCol; ++j) {
      const int32_t row = map[j];
      if (row == -1) continue;
      if (!check.inRange(field, j, row, model->numRow)) continue;
      ++count[row];
      if (!holds(row, j)) check.breach(field, j, L"names a row that does not hold the column");
    }
  }

  // The row copy of a singleton keeps its element behind its removal.
  [[nodiscard]] int32_t singletonCol(int32_t i) const { return p->colIndex[p->rowBegin[i]]; }

  // Row i, whose code says that it set the bound of its column on this side, stands in the map of this side.
  void checkSetter(int32_t i, const wchar_t* field, const int32_t* map, bool sets) const {
    if ((map[singletonCol(i)] == i) == sets) return;
    check.breach(field, singletonCol(i),
                 sets ? L"misses the row that set the bound" : L"names a row of the other side");
  }

  void checkRowCode(int32_t i, const int32_t* numLower, const int32_t* numUpper) const {
    const int32_t code = p->rowMap[i];
    const bool lower = code == ROWMAP_LOWER || code == ROWMAP_RANGE;
    const bool upper = code == ROWMAP_UPPER || code == ROWMAP_RANGE;
    if (lower || upper) {
      checkSetter(i, L"lbMap", p->lbMap, lower);
      checkSetter(i, L"ubMap", p->ubMap, upper);
    } else if (code == ROWMAP_FIXED && numLower[i] + numUpper[i] == 0) {
      check.breach(L"rowMap", i, L"says that the row fixed a column, and it did not");
    } else if (code == ROWMAP_POSTDET && (numLower[i] != 1 || numUpper[i] != 1)) {
      check.breach(L"rowMap", i, L"should determine exactly one column");
    }
  }

  void checkPostdet() const {
    check.atMost(L"numPostdet", -1, p->numPostdet, p->numRemovedCol);
    int32_t count = 0;
    for (int32_t j = 0; j < model->numCol; ++j) count += p->colMap[j] == COLMAP_POSTDET ? 1 : 0;
    check.same(L"numPostdet", -1, p->numPostdet, count);
    for (int32_t k = 0; k < p->numPostdet; ++k) {
      if (check.inRange(L"postdetList", k, p->postdetList[k], model->numCol) &&
          p->colMap[p->postdetList[k]] != COLMAP_POSTDET)
        check.breach(L"postdetList", k, L"names a column that is not determined afterwards");
    }
  }
};

// A pair of points: of the reduced model, and of the input model.
struct PointPair {
  PoolArray<double> reduced;
  PoolArray<double> whole;

  [[nodiscard]] int32_t make(Env* env, const Model* in, const Model* out, const Presolver* p) {
    if (reduced.allocate(env->pool, out->numCol) != QZ_STATUS_OK ||
        whole.allocateZero(env->pool, in->numCol) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    uint32_t state = kRandomState;
    for (int32_t k = 0; k < out->numCol; ++k) reduced[k] = zranuni(&state);
    for (int32_t j = 0; j < in->numCol; ++j) {
      const int32_t place = p->colMap[j];
      if (place >= 0)
        whole[j] = reduced[place];
      else
        whole[j] = place == COLMAP_FIXED ? p->lower[j] : zranuni(&state);  // an empty column may take any value
    }
    return QZ_STATUS_OK;
  }

  // Columns that a row gives: last removed first, since each row holds only columns removed later or not at all.
  void determine(const Presolver* p) const {
    for (int32_t n = p->numPostdet - 1; n >= 0; --n) {
      const int32_t col = p->postdetList[n];
      const int32_t row = p->lbMap[col];
      double rest = p->rhs[row];
      double pivot = 1.0;
      for (int32_t k = p->rowBegin[row]; k < p->rowBegin[row] + p->rowLength[row]; ++k) {
        if (p->colIndex[k] == col)
          pivot = p->rowValue[k];
        else
          rest -= p->rowValue[k] * whole[p->colIndex[k]];
      }
      whole[col] = rest / pivot;
    }
  }
};

void addProduct(const Model* m, const double* x, const PoolArray<Sum>& rows) {
  for (int32_t j = 0; j < m->numCol; ++j)
    for (int32_t k = m->colBegin[j]; k < m->colBegin[j] + m->colLength[j]; ++k)
      rows[m->rowIndex[k]].add(m->matValue[k] * x[j]);
}

// The right-hand side that a kept row of the input model stands for in the reduced one: a range row that has become
// sense G is measured from its lower side.
double sideOf(const Model* in, const Presolver* p, int32_t i) {
  const bool lowerSide = capital(in->rowSense[i]) == 'R' && p->rowSense[i] == 'G';
  return lowerSide && in->range != nullptr ? in->rhs[i] - in->range[i] : in->rhs[i];
}

int32_t compareRows(Env* env, Check& check, const Model* in, const Model* reduced, const Presolver* p,
                    const PointPair& points) {
  PoolArray<Sum> wholeRows;
  PoolArray<Sum> reducedRows;
  if (wholeRows.allocateZero(env->pool, in->numRow) != QZ_STATUS_OK ||
      reducedRows.allocateZero(env->pool, reduced->numRow) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  addProduct(in, points.whole.get(), wholeRows);
  addProduct(reduced, points.reduced.get(), reducedRows);
  for (int32_t i = 0; i < in->numRow; ++i) {
    const int32_t place = p->rowMap[i];
    if (place < 0) continue;
    Sum& whole = wholeRows[i];
    Sum& small = reducedRows[place];
    whole.add(-sideOf(in, p, i));
    small.add(-reduced->rhs[place]);
    check.close(L"row residual", i, small.value, whole.value, kValueTolerance * (1.0 + whole.size + small.size));
  }
  return QZ_STATUS_OK;
}

// c'x + x'Qx / 2 over the columns that `counts` lets in.
template <class Counts>
Sum objective(const Model* m, const double* x, const Counts& counts) {
  Sum sum;
  for (int32_t j = 0; j < m->numCol; ++j) {
    if (!counts(j)) continue;
    sum.add(m->obj[j] * x[j]);
    if (m->typeModel != IPM_MODEL_QP) continue;
    sum.add(0.5 * m->quadDiag[j] * x[j] * x[j]);
    if (m->numQuadCoef == 0) continue;
    for (int32_t k = m->quadColBegin[j]; k < m->quadColBegin[j] + m->quadColLength[j]; ++k)
      if (counts(m->quadRowIndex[k])) sum.add(m->quadMatValue[k] * x[j] * x[m->quadRowIndex[k]]);
  }
  return sum;
}

void compareObjective(Check& check, const Model* in, const Model* reduced, const Presolver* p,
                      const PointPair& points) {
  if (in->obj == nullptr || reduced->obj == nullptr) return;
  const Sum whole = objective(in, points.whole.get(), [](int32_t) { return true; });
  const Sum removed = objective(in, points.whole.get(), [p](int32_t j) { return p->colMap[j] < 0; });
  const Sum small = objective(reduced, points.reduced.get(), [](int32_t) { return true; });
  check.close(L"objective", -1, small.value, whole.value - removed.value,
              kValueTolerance * (1.0 + whole.size + small.size));
}

// Lengths of the kept majors, 0 for the removed ones.
int32_t keptLengths(QzPool* pool, int32_t n, const int32_t* length, const int32_t* map, PoolArray<int32_t>* kept) {
  if (kept->allocate(pool, n) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; k < n; ++k) (*kept)[k] = map[k] >= 0 ? length[k] : 0;
  return QZ_STATUS_OK;
}

}  // namespace

int32_t verifyWorkingCopies(Env* env, int32_t level, const Model* model, const Presolver* p) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  QzPool* pool = env->pool;
  const int32_t m = model->numRow;
  const int32_t n = model->numCol;
  PoolArray<int32_t> cols;
  PoolArray<int32_t> rows;
  if (keptLengths(pool, n, p->colLength, p->colMap, &cols) != QZ_STATUS_OK ||
      keptLengths(pool, m, p->rowLength, p->rowMap, &rows) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  const int32_t status = ipmVerifyRowMatrix(env, level, {n, m, p->colBegin, cols.get(), p->rowIndex, p->matValue},
                                            {m, n, p->rowBegin, rows.get(), p->colIndex, p->rowValue});
  if (status != QZ_STATUS_OK || p->quadColBegin == nullptr) return status;
  PoolArray<int32_t> quadRows;
  if (keptLengths(pool, n, p->quadColLength, p->colMap, &cols) != QZ_STATUS_OK ||
      keptLengths(pool, n, p->quadRowLength, p->colMap, &quadRows) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  return ipmVerifyRowMatrix(env, level, {n, n, p->quadColBegin, cols.get(), p->quadRowIndex, p->quadMatValue},
                            {n, n, p->quadRowBegin, quadRows.get(), p->quadColIndex, p->quadRowValue});
}

int32_t VerifyPresolveStructure(Env* env, int32_t level, const Model* model, const IpmOption* options,
                                const Presolver* presolver) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifyPresolveStructure");
  const Structure structure{check, model, presolver};
  structure.checkProcessed();
  structure.checkCounts();
  structure.checkNumbers(L"rowMap", model->numRow, presolver->rowMap, ROWMAP_POSTDET);
  structure.checkNumbers(L"colMap", model->numCol, presolver->colMap, COLMAP_POSTDET);
  // Without these rules bounds change only where a submodel shifts and removes them.
  if (presolver->tightenEnabled != 0 || presolver->singletonEnabled != 0)
    structure.checkBounds(std::max(kValueTolerance, options->tolPrimal));
  PoolArray<int32_t> numLower;
  PoolArray<int32_t> numUpper;
  if (numLower.allocateZero(env->pool, model->numRow) != QZ_STATUS_OK ||
      numUpper.allocateZero(env->pool, model->numRow) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  structure.checkBoundMap(L"lbMap", presolver->lbMap, numLower.get());
  structure.checkBoundMap(L"ubMap", presolver->ubMap, numUpper.get());
  for (int32_t i = 0; i < model->numRow; ++i) structure.checkRowCode(i, numLower.get(), numUpper.get());
  structure.checkPostdet();
  return check.result();
}

int32_t VerifyPresolveValue(Env* env, int32_t level, const Model* in, const Model* reduced,
                            const Presolver* presolver) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  if (presolver->preControl != PRECONTROL_REDUCED) return QZ_STATUS_OK;
  Check check(env, L"VerifyPresolveValue");
  check.same(L"numRow", -1, reduced->numRow, in->numRow - presolver->numRemovedRow);
  check.same(L"numCol", -1, reduced->numCol, in->numCol - presolver->numRemovedCol);
  if (check.numBreach() > 0) return check.result();
  PointPair points;
  if (points.make(env, in, reduced, presolver) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  points.determine(presolver);
  if (compareRows(env, check, in, reduced, presolver, points) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  compareObjective(check, in, reduced, presolver, points);
  return check.result();
}

int32_t VerifyPresolveDisabled(Env* env, int32_t level, const Model* model, const IpmOption* options, const Hub* hub) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifyPresolveDisabled");
  int32_t numFreeVar = 0;
  int32_t numFreeElement = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->lower[j] > -options->infinityValue || model->upper[j] < options->infinityValue) continue;
    ++numFreeVar;
    numFreeElement += model->colLength[j];
  }
  int32_t numRange = 0;
  int32_t numLcont = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    numRange += model->rowSense[i] == 'R' ? 1 : 0;
    numLcont += model->rowSense[i] == 'L' ? 1 : 0;
  }
  check.same(L"numFreeVar", -1, hub->numFreeVar, numFreeVar);
  check.same(L"numFreeElement", -1, hub->numFreeElement, numFreeElement);
  check.same(L"numRange", -1, hub->numRange, numRange);
  check.same(L"numLcont", -1, hub->numLcont, numLcont);
  return check.result();
}

}  // namespace qz
