#include "diagnostics/verify_submodel.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "engine/engine_state.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kExact = 0.0;
constexpr double kLeastBig = 1e4;    // thresholdBig behind the screening
constexpr double kLeastBound = 1e3;  // thresholdBound behind the screening

// A list of distinct numbers below n. `mark` has n entries.
void checkList(Check& check, const wchar_t* field, int32_t count, const int32_t* list, int32_t n, int32_t* mark) {
  std::fill_n(mark, n, 0);
  for (int32_t k = 0; k < count; ++k) {
    if (!check.inRange(field, k, list[k], n)) continue;
    if (mark[list[k]] != 0) check.breach(field, k, L"is listed twice");
    mark[list[k]] = 1;
  }
}

// A count that its list can hold, and a list when it holds any.
bool validCount(Check& check, const wchar_t* field, int32_t count, int32_t most, const int32_t* list) {
  if (!check.inRange(field, -1, count, most + 1)) return false;
  if (count > 0 && list == nullptr) {
    check.breach(field, -1, L"has no list");
    return false;
  }
  return true;
}

int32_t countMarked(const SubModel* s) {
  int32_t count = 0;
  for (int32_t j = 0; j < s->numCol; ++j) count += s->statusBoundSub[j] != 0 ? 1 : 0;
  return count;
}

bool checkLists(Env* env, Check& check, const SubModel* s) {
  PoolArray<int32_t> mark;
  if (mark.allocate(env->pool, std::max(s->numRow, s->numCol)) != QZ_STATUS_OK) return false;
  const struct {
    const wchar_t* name;
    int32_t count;
    const int32_t* list;
    int32_t most;
  } lists[] = {{L"idxRowSub", std::max(s->numRowSub, s->numBigIneqnSlack), s->idxRowSub, s->numRow},
               {L"idxColSub", std::max(s->numColSub, s->numBigBoundDual), s->idxColSub, s->numCol},
               {L"idxBoundSub", std::max(s->numBoundSub, s->numBigBoundSlack), s->idxBoundSub, s->numCol},
               {L"idxBigVar", s->numBigVar, s->idxBigVar, s->numCol},
               {L"idxBigDual", s->numBigDual, s->idxBigDual, s->numRow}};
  for (const auto& list : lists)
    if (validCount(check, list.name, list.count, list.most, list.list))
      checkList(check, list.name, list.count, list.list, list.most, mark.get());
  return true;
}

// Each listed one is out of the map, and no other.
void checkMap(Check& check, const wchar_t* field, int32_t n, const int32_t* map, int32_t count, const int32_t* list) {
  int32_t removed = 0;
  for (int32_t k = 0; k < n; ++k) removed += map[k] < 0 ? 1 : 0;
  check.same(field, -1, removed, count);
  for (int32_t k = 0; k < count; ++k)
    if (list[k] >= 0 && list[k] < n && map[list[k]] >= 0) check.breach(field, list[k], L"keeps what is listed");
}

void checkSubMatrices(Check& check, const SubModel* s) {
  const bool rows = s->numRowSub > 0;
  const bool cols = s->numColSub > 0;
  check.present(L"rowBeginSub", s->rowBeginSub, rows);
  check.present(L"rowLengthSub", s->rowLengthSub, rows);
  check.present(L"colIndexSub", s->colIndexSub, rows);
  check.present(L"rowMatValueSub", s->rowMatValueSub, rows);
  check.present(L"rhsSub", s->rhsSub, rows);
  check.present(L"rowSenseSub", s->rowSenseSub, rows);
  check.present(L"colBeginSub", s->colBeginSub, cols);
  check.present(L"colLengthSub", s->colLengthSub, cols);
  check.present(L"rowIndexSub", s->rowIndexSub, cols);
  check.present(L"matValueSub", s->matValueSub, cols);
  check.present(L"objSub", s->objSub, cols);
  check.present(L"lowerSub", s->lowerSub, s->numBoundSub > 0);
  check.present(L"upperSub", s->upperSub, s->numBoundSub > 0);
  if (!rows) check.same(L"numCoefRowSub", -1, s->numCoefRowSub, 0);
  if (!cols) check.same(L"numCoefColSub", -1, s->numCoefColSub, 0);
}

void checkThresholds(Check& check, const SubModel* s) {
  check.atLeast(L"thresholdBig", -1, s->thresholdBig, kLeastBig);
  check.atLeast(L"thresholdBound", -1, s->thresholdBound, kLeastBound);
  check.atLeast(L"thresholdRow", -1, s->thresholdRow, s->thresholdBig);
  check.atLeast(L"thresholdCol", -1, s->thresholdCol, s->thresholdBig);
}

// Column j of the model, element by element.
const double* findElement(const Model* m, int32_t row, int32_t col) {
  for (int32_t k = m->colBegin[col]; k < m->colBegin[col] + m->colLength[col]; ++k)
    if (m->rowIndex[k] == row) return m->matValue + k;
  return nullptr;
}

void checkElement(Check& check, const wchar_t* field, int32_t at, const Model* m, int32_t row, int32_t col,
                  double value) {
  const double* element =
      row >= 0 && row < m->numRow && col >= 0 && col < m->numCol ? findElement(m, row, col) : nullptr;
  if (element == nullptr)
    check.breach(field, at, L"is no element of the model");
  else
    check.close(field, at, value, *element, kExact);
}

void checkColumnSub(Check& check, const Model* m, const SubModel* s) {
  int32_t count = 0;
  for (int32_t k = 0; k < s->numColSub; ++k) {
    const int32_t col = s->idxColSub[k];
    check.same(L"colLengthSub", k, s->colLengthSub[k], m->colLength[col]);
    check.close(L"objSub", k, s->objSub[k], m->obj[col], kExact);
    count += s->colLengthSub[k];
    for (int32_t e = s->colBeginSub[k]; e < s->colBeginSub[k] + s->colLengthSub[k]; ++e)
      checkElement(check, L"matValueSub", e, m, s->rowIndexSub[e], col, s->matValueSub[e]);
  }
  check.same(L"numCoefColSub", -1, s->numCoefColSub, count);
}

void checkRowSub(Check& check, const Model* m, const SubModel* s, int32_t* rowLength) {
  std::fill_n(rowLength, m->numRow, 0);
  for (int32_t j = 0; j < m->numCol; ++j)
    for (int32_t k = m->colBegin[j]; k < m->colBegin[j] + m->colLength[j]; ++k) ++rowLength[m->rowIndex[k]];
  int32_t count = 0;
  for (int32_t k = 0; k < s->numRowSub; ++k) {
    const int32_t row = s->idxRowSub[k];
    check.same(L"rowLengthSub", k, s->rowLengthSub[k], rowLength[row]);
    check.close(L"rhsSub", k, s->rhsSub[k], m->rhs[row], kExact);
    check.same(L"rowSenseSub", k, s->rowSenseSub[k], m->rowSense[row]);
    count += s->rowLengthSub[k];
    for (int32_t e = s->rowBeginSub[k]; e < s->rowBeginSub[k] + s->rowLengthSub[k]; ++e)
      checkElement(check, L"rowMatValueSub", e, m, row, s->colIndexSub[e], s->rowMatValueSub[e]);
  }
  check.same(L"numCoefRowSub", -1, s->numCoefRowSub, count);
}

// Marked exactly where `wanted` says so. `listed` counts the marks.
template <class Wanted>
void checkMarks(Check& check, const wchar_t* field, int32_t n, const int32_t* map, int32_t numListed,
                const Wanted& wanted) {
  int32_t count = 0;
  for (int32_t k = 0; k < n; ++k) {
    const bool marked = map[k] < 0;
    count += marked ? 1 : 0;
    if (marked == wanted(k)) continue;
    check.breach(field, k, marked ? L"is marked below the threshold" : L"is not marked above the threshold");
  }
  check.same(field, -1, numListed, count);
}

// A list against the values that belong into it: all of them when `complete`.
template <class Value>
void checkBig(Check& check, const wchar_t* field, int32_t n, int32_t count, const int32_t* list, double big,
              bool complete, const Value& value) {
  for (int32_t k = 0; k < count; ++k)
    if (check.inRange(field, k, list[k], n) && !(value(list[k]) > big))
      check.breach(field, k, L"names a value that is not big");
  if (!complete) return;
  int32_t expected = 0;
  for (int32_t k = 0; k < n; ++k) expected += value(k) > big ? 1 : 0;
  check.same(field, -1, count, expected);
}

struct Flags {
  int32_t all;
  int32_t plans;

  explicit Flags(const SubModel* s)
      : all(s->bBigVar | s->bBigBoundSlack | s->bBigIneqnSlack | s->bBigDual | s->bBigBoundDual),
        plans(s->planBigVar | s->planBigBoundSlack | s->planBigIneqnSlack | s->planBigDual | s->planBigBoundDual) {}
};

void checkMapped(Check& check, const wchar_t* field, int32_t count, const int32_t* map, const double* source,
                 const double* kept) {
  for (int32_t k = 0; k < count; ++k) {
    const int32_t from = map == nullptr ? k : map[k];
    check.close(field, k, kept[k], from < 0 ? 0.0 : source[from], kExact);
  }
}

double squareSum(int32_t n, const double* v) {
  double sum = 0.0;
  for (int32_t k = 0; k < n; ++k) sum += v[k] * v[k];
  return sum;
}

}  // namespace

int32_t VerifyDispSubmodel(Env* env, int32_t level, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifyDispSubmodel");
  logText(env->log, QZ_LOG_DEBUG,
          L"submodel: numRowSub=%d  numColSub=%d  numBoundSub=%d  numCoefRowSub=%d  numCoefColSub=%d", s->numRowSub,
          s->numColSub, s->numBoundSub, s->numCoefRowSub, s->numCoefColSub);
  check.same(L"numBoundSub", -1, s->numBoundSub, countMarked(s));
  return check.result();
}

int32_t VerifySubmodelStruct(Env* env, int32_t level, const SubModel* s, bool screened) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifySubmodelStruct");
  check.present(L"rowMapSub", s->rowMapSub, true);
  check.present(L"colMapSub", s->colMapSub, true);
  check.present(L"statusBoundSub", s->statusBoundSub, true);
  check.present(L"idxRowSub", s->idxRowSub, true);
  check.present(L"idxColSub", s->idxColSub, true);
  check.present(L"idxBoundSub", s->idxBoundSub, true);
  check.inRange(L"numRowSub", -1, s->numRowSub, s->numRow + 1);
  check.inRange(L"numColSub", -1, s->numColSub, s->numCol + 1);
  check.inRange(L"numBoundSub", -1, s->numBoundSub, s->numCol + 1);
  if (check.numBreach() > 0) return check.result();
  if (!checkLists(env, check, s)) return QZ_STATUS_OUT_OF_MEMORY;
  checkMap(check, L"rowMapSub", s->numRow, s->rowMapSub, s->numRowSub, s->idxRowSub);
  checkMap(check, L"colMapSub", s->numCol, s->colMapSub, s->numColSub, s->idxColSub);
  for (int32_t k = 0; k < s->numBoundSub; ++k)
    if (s->statusBoundSub[s->idxBoundSub[k]] == 0) check.breach(L"idxBoundSub", k, L"names a column without a mark");
  checkSubMatrices(check, s);
  if (screened) checkThresholds(check, s);
  return check.result();
}

int32_t VerifySubmodelValue(Env* env, int32_t level, const Model* model, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifySubmodelValue");
  if (s->numColSub > 0) checkColumnSub(check, model, s);
  if (s->numRowSub > 0) {
    PoolArray<int32_t> rowLength;
    if (rowLength.allocate(env->pool, model->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    checkRowSub(check, model, s, rowLength.get());
  }
  for (int32_t k = 0; k < s->numBoundSub; ++k) {
    check.close(L"lowerSub", k, s->lowerSub[k], model->lower[s->idxBoundSub[k]], kExact);
    check.close(L"upperSub", k, s->upperSub[k], model->upper[s->idxBoundSub[k]], kExact);
  }
  return check.result();
}

int32_t VerifySubmodelRowThreshold(Env* env, int32_t level, const Model* model, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifySubmodelRowThreshold");
  checkMarks(check, L"rowMapSub", model->numRow, s->rowMapSub, s->numRowSub,
             [&](int32_t i) { return model->rowSense[i] != 'E' && std::fabs(model->rhs[i]) > s->thresholdRow; });
  return check.result();
}

int32_t VerifySubmodelColThreshold(Env* env, int32_t level, const Model* model, const SubModel* s, double infinity) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifySubmodelColThreshold");
  checkMarks(check, L"colMapSub", model->numCol, s->colMapSub, s->numColSub, [&](int32_t j) {
    const bool bounded = model->lower[j] > -infinity || model->upper[j] < infinity;
    return bounded && std::fabs(model->obj[j]) > s->thresholdCol;
  });
  return check.result();
}

int32_t VerifyStatBig(const Ipm* ipm, int32_t level, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyStatBig");
  const double big = s->thresholdBig;
  if (s->bBigVar == 0 && s->bBigBoundSlack == 0) {
    checkBig(check, L"idxBigVar", ipm->numCol, s->numBigVar, s->idxBigVar, big, true,
             [&](int32_t j) { return std::fabs(ipm->primal[j]); });
    checkBig(check, L"idxBoundSub", ipm->numCol, s->numBigBoundSlack, s->idxBoundSub, big, false,
             [&](int32_t j) { return std::max(ipm->lowerSlack[j], ipm->upperSlack[j]); });
    check.same(L"statusBoundSub", -1, countMarked(s), s->numBigBoundSlack);
  }
  if (s->bBigIneqnSlack == 0)
    checkBig(check, L"idxRowSub", ipm->numRow, s->numBigIneqnSlack, s->idxRowSub, big, true,
             [&](int32_t i) { return ipm->rowSense[i] == 'E' ? 0.0 : ipm->ineqnSlack[i]; });
  if (s->bBigDual == 0)
    checkBig(check, L"idxBigDual", ipm->numRow, s->numBigDual, s->idxBigDual, big, true,
             [&](int32_t i) { return std::fabs(ipm->dual[i]); });
  if (s->bBigBoundDual == 0)
    checkBig(check, L"idxColSub", ipm->numCol, s->numBigBoundDual, s->idxColSub, big, false,
             [&](int32_t j) { return std::max(ipm->lowerDual[j], ipm->upperDual[j]); });
  return check.result();
}

int32_t VerifyBigList(Env* env, int32_t level, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(env, L"VerifyBigList");
  return checkLists(env, check, s) ? check.result() : static_cast<int32_t>(QZ_STATUS_OUT_OF_MEMORY);
}

int32_t VerifyRecordDirection(const Ipm* ipm, int32_t level, const Model* model, const Hub* hub,
                              const SubModel* submodel) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyRecordDirection");
  check.present(L"keptSolution", hub->keptSolution, true);
  if (check.numBreach() > 0) return check.result();
  const KeptSolution* kept = hub->keptSolution;
  const int32_t* colMap = submodel != nullptr ? submodel->colMapSub : nullptr;
  const int32_t* rowMap = submodel != nullptr ? submodel->rowMapSub : nullptr;
  check.close(L"alphaPrimal", -1, kept->alphaPrimal, ipm->alphaPrimal, kExact);
  check.close(L"alphaDual", -1, kept->alphaDual, ipm->alphaDual, kExact);
  checkMapped(check, L"primalDelta", model->numCol, colMap, ipm->rhsCorrector, kept->primalDelta);
  checkMapped(check, L"lowerSlackDelta", model->numCol, colMap, ipm->lowerSlackDelta, kept->lowerSlackDelta);
  checkMapped(check, L"upperSlackDelta", model->numCol, colMap, ipm->upperSlackDelta, kept->upperSlackDelta);
  checkMapped(check, L"lowerDualDelta", model->numCol, colMap, ipm->lowerDualDelta, kept->lowerDualDelta);
  checkMapped(check, L"upperDualDelta", model->numCol, colMap, ipm->upperDualDelta, kept->upperDualDelta);
  checkMapped(check, L"dualDelta", model->numRow, rowMap, ipm->rhsCorrector + ipm->numCol, kept->dualDelta);
  checkMapped(check, L"ineqnSlackDelta", model->numRow, rowMap, ipm->ineqnSlackDelta, kept->ineqnSlackDelta);
  return check.result();
}

int32_t VerifySubRestoreReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifySubRestoreReport");
  check.same(L"routeSubmodel", -1, hub->routeSubmodel, ROUTE_RESTORE);
  if (Flags(s).all == 0) check.breach(L"flags", -1, L"are clear, and there is nothing to restore");
  return check.result();
}

int32_t VerifyInvivoReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyInvivoReport");
  if (hub->routeSubmodel != ROUTE_INVIVO && hub->routeSubmodel != ROUTE_BOTH)
    check.breach(L"routeSubmodel", -1, L"should be INVIVO or BOTH");
  if ((Flags(s).all & BIG_INVIVO) == 0) check.breach(L"flags", -1, L"tell of nothing done in vivo");
  if ((s->bBigVar & BIG_INVIVO) != 0 && s->numBigVar > 0) check.present(L"shiftPrimal", s->shiftPrimal, true);
  if ((s->bBigDual & BIG_INVIVO) != 0 && s->numBigDual > 0) check.present(L"shiftDual", s->shiftDual, true);
  if ((s->bBigBoundSlack & BIG_INVIVO) != 0 && s->numBigBoundSlack > 0) check.present(L"lowerSub", s->lowerSub, true);
  return check.result();
}

int32_t VerifyInvitroReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* s) {
  if (!verifies(level, VERIFY_STRUCTURE) || s == nullptr) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyInvitroReport");
  check.same(L"routeSubmodel", -1, hub->routeSubmodel, ROUTE_INVITRO);
  if ((Flags(s).plans & BIG_INVIVO) != 0) check.breach(L"plan flags", -1, L"wish for something in vivo");
  return check.result();
}

int32_t VerifyScalingReport(const Ipm* ipm, int32_t level, const Hub* hub) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyScalingReport");
  logText(ipm->env->log, QZ_LOG_DEBUG, L"scaling: scaleState=%d  objScale=%15.7g  routeSubmodel=%d", hub->scaleState,
          hub->objScale, hub->routeSubmodel);
  check.inRange(L"scaleState", -1, hub->scaleState, 3);
  check.inRange(L"routeSubmodel", -1, hub->routeSubmodel, ROUTE_UNSCALE + 1);
  if (!(hub->objScale > 0.0)) check.breach(L"objScale", -1, L"should be positive");
  check.present(L"colScale", hub->colScale, hub->scaleState == 2);
  check.present(L"rowScale", hub->rowScale, hub->scaleState == 2);
  return check.result();
}

int32_t VerifyDomainShape(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyDomainShape");
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t status = ipm->statusBound[j];
    const bool lower = ipm->lower[j] > -ipm->infinityValue;
    const bool upper = ipm->upper[j] < ipm->infinityValue;
    if (lower != hasLower(status)) check.breach(L"statusBound", j, L"and the lower bound disagree");
    if (upper != hasUpper(status)) check.breach(L"statusBound", j, L"and the upper bound disagree");
    if ((status == BOUND_FREE) == (lower || upper)) check.breach(L"statusBound", j, L"and the bounds disagree");
    if ((status & BOUND_ANY_LOWER) == BOUND_ANY_LOWER) check.breach(L"statusBound", j, L"has two lower bounds");
  }
  return check.result();
}

int32_t VerifyStatistics(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyStatistics");
  int32_t numLower = 0;
  int32_t numUpper = 0;
  int32_t numFree = 0;
  double lowerSquares = 0.0;
  double upperSquares = 0.0;
  double matSquares = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const bool lower = ipm->lower[j] > -ipm->infinityValue;
    const bool upper = ipm->upper[j] < ipm->infinityValue;
    numLower += lower ? 1 : 0;
    numUpper += upper ? 1 : 0;
    numFree += lower || upper ? 0 : 1;
    if (lower) lowerSquares += ipm->lower[j] * ipm->lower[j];
    if (upper) upperSquares += ipm->upper[j] * ipm->upper[j];
    matSquares += squareSum(ipm->colLength[j], ipm->matValue + ipm->colBegin[j]);
  }
  int32_t numIneqn = 0;
  for (int32_t i = 0; i < ipm->numRow; ++i) numIneqn += ipm->rowSense[i] == 'G' ? 1 : 0;
  check.same(L"numLower", -1, ipm->numLower, numLower);
  check.same(L"numUpper", -1, ipm->numUpper, numUpper);
  check.same(L"numFreeVar", -1, ipm->numFreeVar, numFree);
  check.same(L"numIneqn", -1, ipm->numIneqn, numIneqn);
  check.same(L"numCompl", -1, ipm->numCompl, numLower + numUpper + numIneqn);
  const auto norm = [&](const wchar_t* field, double value, double squares) {
    check.close(field, -1, value, std::sqrt(squares), 1e-8 * (1.0 + std::sqrt(squares)));
  };
  norm(L"normLower", ipm->normLower, lowerSquares);
  norm(L"normUpper", ipm->normUpper, upperSquares);
  norm(L"normRhs", ipm->normRhs, squareSum(ipm->numRow, ipm->rhs));
  norm(L"normObj", ipm->normObj, squareSum(ipm->numCol, ipm->obj));
  norm(L"normMatrix", ipm->normMatrix, matSquares);
  return check.result();
}

}  // namespace qz
