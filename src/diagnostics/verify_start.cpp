#include "diagnostics/verify_start.h"

#include <cmath>

#include "diagnostics/check.h"
#include "engine/engine_state.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kSolveTolerance = 1e-6;
constexpr double kQuadraticRegularisation = 1e-6;  // least diagonal of the systems of a quadratic start

using Sums = PoolArray<Sum>;

// sums += Q x, the whole of Q.
void addHessian(const Ipm* ipm, const double* x, double alpha, const Sums& sums) {
  if (ipm->typeModel != IPM_MODEL_QP) return;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    sums[j].add(alpha * ipm->quadDiag[j] * x[j]);
    if (ipm->numQuadCoef == 0) continue;
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k) {
      sums[j].add(alpha * ipm->quadMatValue[k] * x[ipm->quadRowIndex[k]]);
      sums[ipm->quadRowIndex[k]].add(alpha * ipm->quadMatValue[k] * x[j]);
    }
  }
}

template <class Visit>
void forEachElement(const Ipm* ipm, const Visit& visit) {
  for (int32_t j = 0; j < ipm->numCol; ++j)
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      visit(ipm->rowIndex[k], j, ipm->matValue[k]);
}

// The norm over the entries that take part, against the norm of their terms.
template <class TakesPart>
void compareNorm(Check& check, const wchar_t* field, const Sums& sums, const TakesPart& takesPart) {
  double squares = 0.0;
  double sizes = 0.0;
  for (int64_t k = 0; k < sums.size(); ++k) {
    if (!takesPart(static_cast<int32_t>(k))) continue;
    squares += sums[k].value * sums[k].value;
    sizes += sums[k].size * sums[k].size;
  }
  check.close(field, -1, std::sqrt(squares), 0.0, kSolveTolerance * (1.0 + std::sqrt(sizes)));
}

bool hasBound(const Ipm* ipm, int32_t j) {
  return hasLower(ipm->statusBound[j]) || hasUpper(ipm->statusBound[j]);
}

}  // namespace

int32_t VerifyBoundFeasible(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyBoundFeasible");
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double x = ipm->primal[j];
    const double below = hasLower(ipm->statusBound[j]) ? x - ipm->lower[j] : 0.0;
    const double above = hasUpper(ipm->statusBound[j]) ? ipm->upper[j] - x : 0.0;
    check.close(L"lowerSlack", j, ipm->lowerSlack[j], below, kSolveTolerance * (1.0 + std::fabs(x)));
    check.close(L"upperSlack", j, ipm->upperSlack[j], above, kSolveTolerance * (1.0 + std::fabs(x)));
  }
  return check.report(level);
}

int32_t VerifyPrimalFeasible(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyPrimalFeasible");
  Sums rows;
  if (rows.allocateZero(ipm->env->pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  forEachElement(ipm, [&](int32_t i, int32_t j, double a) { rows[i].add(a * ipm->primal[j]); });
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    rows[i].add(-ipm->ineqnSlack[i]);
    rows[i].add(-ipm->rhs[i]);
    if (scope.hasRow(i) && ipm->rowSense[i] == 'E') rows[i].size += std::fabs(w[scope.row(i)]);
  }
  compareNorm(check, L"rows of the start", rows, [&](int32_t i) {
    return scope.hasRow(i) && (ipm->rowSense[i] != 'E' || std::fabs(ipm->rhs[i]) < scope.thresholdRow);
  });
  return check.report(level);
}

int32_t VerifyInitDerivPrimal(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyInitDerivPrimal");
  Sums columns;
  if (columns.allocateZero(ipm->env->pool, ipm->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (quadratic) columns[j].add(ipm->obj[j]);
    if (quadratic && !hasBound(ipm, j) && ipm->quadDiag[j] < kQuadraticRegularisation)
      columns[j].add((kQuadraticRegularisation - ipm->quadDiag[j]) * ipm->primal[j]);
    if (hasLower(ipm->statusBound[j])) columns[j].add(ipm->primal[j] - ipm->lower[j]);
    if (hasUpper(ipm->statusBound[j])) columns[j].add(ipm->primal[j] - ipm->upper[j]);
  }
  addHessian(ipm, ipm->primal, 1.0, columns);
  forEachElement(ipm, [&](int32_t i, int32_t j, double a) {
    if (scope.hasRow(i)) columns[j].add(a * w[scope.row(i)]);
  });
  compareNorm(check, L"derivative of the start", columns, [](int32_t) { return true; });
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const double expected = ipm->rowSense[i] != 'E' && scope.hasRow(i) ? w[scope.row(i)] : 0.0;
    check.close(L"ineqnSlack", i, ipm->ineqnSlack[i], expected, 0.0);
  }
  return check.report(level);
}

int32_t VerifyDualFeasible(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyDualFeasible");
  Sums columns;
  if (columns.allocateZero(ipm->env->pool, ipm->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  forEachElement(ipm, [&](int32_t i, int32_t j, double a) { columns[j].add(a * ipm->dual[i]); });
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    columns[j].add(ipm->lowerDual[j]);
    columns[j].add(-ipm->upperDual[j]);
    columns[j].add(-ipm->obj[j]);
    if (scope.hasCol(j) && !hasBound(ipm, j)) columns[j].size += std::fabs(w[scope.col(j)]);
  }
  addHessian(ipm, ipm->primal, -1.0, columns);
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP;
  compareNorm(check, L"columns of the start", columns, [&](int32_t j) {
    const bool insisted = hasBound(ipm, j) || (!quadratic && std::fabs(ipm->obj[j]) < scope.thresholdCol);
    return scope.hasCol(j) && insisted;
  });
  return check.report(level);
}

int32_t VerifyInitDerivDual(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyInitDerivDual");
  Sums rows;
  if (rows.allocateZero(ipm->env->pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  forEachElement(ipm, [&](int32_t i, int32_t j, double a) {
    if (scope.hasCol(j)) rows[i].add(a * w[scope.col(j)]);
  });
  const double weightE = ipm->typeModel == IPM_MODEL_QP ? kQuadraticRegularisation : 0.0;
  for (int32_t i = 0; i < ipm->numRow; ++i) rows[i].add((ipm->rowSense[i] == 'E' ? weightE : 1.0) * ipm->dual[i]);
  compareNorm(check, L"derivative of the start", rows, [](int32_t) { return true; });
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double x = scope.hasCol(j) ? w[scope.col(j)] : 0.0;
    check.close(L"lowerDual", j, ipm->lowerDual[j], hasLower(ipm->statusBound[j]) ? -x : 0.0, 0.0);
    check.close(L"upperDual", j, ipm->upperDual[j], hasUpper(ipm->statusBound[j]) ? x : 0.0, 0.0);
  }
  return check.report(level);
}

}  // namespace qz
