#include <algorithm>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/start_point.h"
#include "engine/start_point_system.h"
#include "shell/log.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr double kRegularisation = 1e-6;
constexpr double kBoxedDual = 100.0;  // both duals of an ignored two-sided column are at least this

// The system of
//     minimise 1/2 sum over bounds z^2 + 1/2 sum over G rows y^2   subject to   A'y + zl - zu = c + Q x,
// with w_x = zu = -zl: diagonals (number of bounds) and -1 on rows whose dual has a sign. A free column has no dual to
// give; its equation is insisted on unless its cost is too big (linear) or always loosely met (quadratic).
void setDualSystem(const Ipm* ipm, const SubModel* submodel, const StartSystem& system) {
  const double thresholdCol = submodel != nullptr ? submodel->thresholdCol : kInfinity;
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = system.col(j);
    if (place < 0) continue;
    const int32_t numBounds = countBounds(ipm->statusBound[j]);
    const bool loose = numBounds == 0 && (quadratic || std::fabs(ipm->obj[j]) >= thresholdCol);
    system.colDiag(place) = loose ? 1.0 : numBounds;
    system.colRhs(place) = -ipm->obj[j];
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t place = system.row(i);
    if (place < 0) continue;
    system.rowDiag(place) = ipm->rowSense[i] == 'E' ? 0.0 : -1.0;
    system.rowRhs(place) = 0.0;
  }
}

// y and the bound duals from a solved system; an ignored column has both duals 0. Returns the smallest dual of an
// existing bound of a kept column or a row that is not E, 1e20 for none.
double takeDualSolution(Ipm* ipm, const StartSystem& system) {
  double smallest = kInfinity;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = system.col(j);
    const uint8_t bounds = ipm->statusBound[j];
    ipm->upperDual[j] = 0.0;
    ipm->lowerDual[j] = 0.0;
    if (place < 0) continue;
    const double w = system.colRhs(place);
    if (hasUpper(bounds)) {
      ipm->upperDual[j] = w;
      smallest = std::min(smallest, w);
    }
    if (hasLower(bounds)) {
      ipm->lowerDual[j] = -w;
      smallest = std::min(smallest, -w);
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    ipm->dual[i] = system.rowRhs(system.row(i));
    if (ipm->rowSense[i] != 'E') smallest = std::min(smallest, ipm->dual[i]);
  }
  return smallest;
}

// Verification: the activity of an ignored column once more, from the whole matrix in workReal1.
void checkIgnoredCol(const Ipm* ipm, int32_t col, double activity) {
  const double calculated = ipm->workReal1[col];
  if (std::fabs(activity - calculated) <= 1e-9 * (1.0 + std::fabs(calculated))) return;
  logText(ipm->env->log, QZ_LOG_DEBUG, L"Error lpAdjustIgnoredCol: col %d  activity=%15.7g <> calculated=%15.7g", col,
          activity, calculated);
}

// Bound duals of the columns that the solve ignored, from their reduced costs. Returns the smallest dual of a one-sided
// column, 1e20 for none; two-sided ones come out positive by construction.
double adjustIgnoredCols(Ipm* ipm, const SubModel* submodel) {
  double smallest = kInfinity;
  if (ipm->debugLevel > 0) AtranTimesVector(ipm, ipm->dual, ipm->workReal1);
  for (int32_t k = 0; k < submodel->numColSub; ++k) {
    const int32_t col = submodel->idxColSub[k];
    double activity = 0.0;
    const int32_t end = submodel->colBeginSub[k] + submodel->colLengthSub[k];
    for (int32_t p = submodel->colBeginSub[k]; p < end; ++p)
      activity += submodel->matValueSub[p] * ipm->dual[submodel->rowIndexSub[p]];
    if (ipm->debugLevel > 0) checkIgnoredCol(ipm, col, activity);
    const double reduced = ipm->obj[col] - activity;
    const bool lower = hasLower(ipm->statusBound[col]);
    const bool upper = hasUpper(ipm->statusBound[col]);
    if (lower && upper) {
      ipm->lowerDual[col] = kBoxedDual + std::max(reduced, 0.0);
      ipm->upperDual[col] = kBoxedDual + std::max(-reduced, 0.0);
    } else if (lower) {
      ipm->lowerDual[col] = reduced;
      smallest = std::min(smallest, reduced);
    } else if (upper) {
      ipm->upperDual[col] = -reduced;
      smallest = std::min(smallest, -reduced);
    }
  }
  return smallest;
}

}  // namespace

int32_t initDual(Ipm* ipm, SubModel* submodel) {
  int32_t status = ipmInitAugmat(ipm, 0);
  if (status != QZ_STATUS_OK) return status;
  if (ipm->typeModel != IPM_MODEL_LP && ipm->typeModel != IPM_MODEL_QP) {
    logText(ipm->env->log, QZ_LOG_DEBUG, L"unknown parameter ipm->modelType = %d", ipm->typeModel);
    return QZ_STATUS_FAILED;
  }
  const StartSystem system = wholeSystem(ipm);
  setDualSystem(ipm, submodel, system);
  if (ipm->typeModel == IPM_MODEL_QP) {
    const bool offDiagonal = ipm->numQuadCoef > 0;
    symmatrixTimesVector(ipm->numCol, offDiagonal ? ipm->quadColBegin : nullptr,
                         offDiagonal ? ipm->quadColLength : nullptr, ipm->quadRowIndex, ipm->quadMatValue,
                         ipm->quadDiag, ipm->primal, ipm->rhsWork, -1.0);
    regMatDiag(ipm->numCol, ipm->numRow, ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex, kRegularisation);
  }
  status = solveWholeSystem(ipm);
  if (status != QZ_STATUS_OK) return status;
  const double smallest = takeDualSolution(ipm, system);
  status = verifyDualStart(ipm, submodel, system);
  if (status != QZ_STATUS_OK) return status;
  shiftDualStart(ipm, smallest);
  return QZ_STATUS_OK;
}

int32_t lpInitDualPartial(Ipm* ipm, SubModel* submodel) {
  PartialSystem system{};
  int32_t status =
      makePartialSystem(ipm, submodel->colMapSub, ipm->numCol - submodel->numColSub, nullptr, ipm->numRow, &system);
  if (status != QZ_STATUS_OK) return status;
  setDualSystem(ipm, submodel, system.view);
  status = solvePartialSystem(ipm, &system);
  if (status == kNoPartialPoint) return initDual(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  double smallest = takeDualSolution(ipm, system.view);
  status = verifyDualStart(ipm, submodel, system.view);
  if (status != QZ_STATUS_OK) return status;
  smallest = std::min(smallest, adjustIgnoredCols(ipm, submodel));
  shiftDualStart(ipm, smallest);
  return QZ_STATUS_OK;
}

}  // namespace qz
