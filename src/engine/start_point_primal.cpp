#include <algorithm>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/start_point.h"
#include "engine/start_point_system.h"
#include "shell/log.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr int32_t kMaxPass = 11;
constexpr double kFarViolation = -100.0;  // a far bound violated by more than this counts as an ordinary one
constexpr int32_t kFarLower = 1;          // marks of SubModel::statusBoundSub
constexpr int32_t kFarUpper = 2;

int32_t numFarColumns(const SubModel* submodel) {
  return submodel != nullptr ? submodel->numBoundSub : 0;
}

// Takes the far bounds out of the column status, so that they don't take part in the solve.
void hideFarBounds(Ipm* ipm, const SubModel* submodel) {
  for (int32_t k = 0; k < numFarColumns(submodel); ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if ((submodel->statusBoundSub[j] & kFarLower) != 0) ipm->statusBound[j] &= static_cast<uint8_t>(~BOUND_LOWER);
    if ((submodel->statusBoundSub[j] & kFarUpper) != 0) ipm->statusBound[j] &= static_cast<uint8_t>(~BOUND_UPPER);
  }
}

void showFarBounds(Ipm* ipm, const SubModel* submodel) {
  for (int32_t k = 0; k < numFarColumns(submodel); ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if ((submodel->statusBoundSub[j] & kFarLower) != 0) ipm->statusBound[j] |= BOUND_LOWER;
    if ((submodel->statusBoundSub[j] & kFarUpper) != 0) ipm->statusBound[j] |= BOUND_UPPER;
  }
}

// Slacks of the far bounds. Returns the smallest of them and `smallest`.
double measureFarBounds(Ipm* ipm, const SubModel* submodel, double smallest) {
  for (int32_t k = 0; k < numFarColumns(submodel); ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if ((submodel->statusBoundSub[j] & kFarLower) != 0) {
      ipm->lowerSlack[j] = ipm->primal[j] - ipm->lower[j];
      smallest = std::min(smallest, ipm->lowerSlack[j]);
    }
    if ((submodel->statusBoundSub[j] & kFarUpper) != 0) {
      ipm->upperSlack[j] = ipm->upper[j] - ipm->primal[j];
      smallest = std::min(smallest, ipm->upperSlack[j]);
    }
  }
  return smallest;
}

// Lets the far bounds of a column with a slack below the cut count as ordinary ones from now on.
void releaseFarBounds(const Ipm* ipm, SubModel* submodel, double cut) {
  for (int32_t k = 0; k < numFarColumns(submodel); ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if (ipm->lowerSlack[j] < cut || ipm->upperSlack[j] < cut) submodel->statusBoundSub[j] &= ~(kFarLower | kFarUpper);
  }
}

// The system of
//     minimise 1/2 sum over bounds (x - bound)^2 + 1/2 |s|^2   subject to   A x - s = b,
// with diagonals -(number of bounds) and 1 on rows that have a slack or a right-hand side too big to insist on.
void setPrimalSystem(const Ipm* ipm, const SubModel* submodel, const StartSystem& system) {
  const double thresholdRow = submodel != nullptr ? submodel->thresholdRow : kInfinity;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = system.col(j);
    const uint8_t bounds = ipm->statusBound[j];
    double rhs = 0.0;
    if (hasLower(bounds)) rhs -= ipm->lower[j];
    if (hasUpper(bounds)) rhs -= ipm->upper[j];
    system.colDiag(place) = -countBounds(bounds);
    system.colRhs(place) = rhs;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t place = system.row(i);
    if (place < 0) continue;
    const bool loose = ipm->rowSense[i] != 'E' || std::fabs(ipm->rhs[i]) >= thresholdRow;
    system.rowDiag(place) = loose ? 1.0 : 0.0;
    system.rowRhs(place) = -ipm->rhs[i];
  }
}

// Verification: the activity of an ignored row once more, from the whole matrix in workReal1.
void checkIgnoredRow(const Ipm* ipm, int32_t row, double activity) {
  const double calculated = ipm->workReal1[row];
  if (std::fabs(activity - calculated) <= 1e-9 * (1.0 + std::fabs(calculated))) return;
  logText(ipm->env->log, QZ_LOG_DEBUG, L"Error lpAdjustIgnoredRow: row %d  activity=%15.7g <> calculated=%15.7g", row,
          activity, calculated);
}

// Slacks of the rows that the solve ignored. Returns the smallest of them, 1e20 for none.
double adjustIgnoredRows(Ipm* ipm, const SubModel* submodel) {
  double smallest = kInfinity;
  if (ipm->debugLevel > 0) ATimesVector(ipm, ipm->primal, ipm->workReal1);
  for (int32_t k = 0; k < submodel->numRowSub; ++k) {
    const int32_t row = submodel->idxRowSub[k];
    if (ipm->rowSense[row] == 'E') continue;
    double activity = 0.0;
    const int32_t end = submodel->rowBeginSub[k] + submodel->rowLengthSub[k];
    for (int32_t p = submodel->rowBeginSub[k]; p < end; ++p)
      activity += submodel->rowMatValueSub[p] * ipm->primal[submodel->colIndexSub[p]];
    if (ipm->debugLevel > 0) checkIgnoredRow(ipm, row, activity);
    if (ipm->rowSense[row] == 'G') {
      ipm->ineqnSlack[row] = activity - ipm->rhs[row];
    } else if (ipm->rowSense[row] == 'L') {
      ipm->ineqnSlack[row] = ipm->rhs[row] - activity;
    } else {
      logText(ipm->env->log, QZ_LOG_DEBUG, L"Error lpAdjustIgnoredRow: unknown row sense(%d) = %c", row,
              static_cast<int>(ipm->rowSense[row]));
      continue;
    }
    smallest = std::min(smallest, ipm->ineqnSlack[row]);
  }
  return smallest;
}

}  // namespace

int32_t initPrimal(Ipm* ipm, SubModel* submodel) {
  int32_t status = ipmInitAugmat(ipm, 0);
  if (status != QZ_STATUS_OK) return status;
  const StartSystem system = wholeSystem(ipm);
  double smallest = kInfinity;
  for (int32_t pass = 0; pass < kMaxPass; ++pass) {
    hideFarBounds(ipm, submodel);
    setPrimalSystem(ipm, submodel, system);
    status = solveWholeSystem(ipm);
    if (status != QZ_STATUS_OK) {
      showFarBounds(ipm, submodel);
      return status;
    }
    const double near = takePrimalSolution(ipm, system);
    status = verifyPrimalStart(ipm, submodel, system);
    showFarBounds(ipm, submodel);
    if (status != QZ_STATUS_OK) return status;
    smallest = measureFarBounds(ipm, submodel, near);

    double cut = 0.0;
    if (near < 0.0 && smallest < near) {
      cut = near;
    } else if (near >= 0.0 && smallest < kFarViolation) {
      cut = kFarViolation;
    } else {
      break;
    }
    releaseFarBounds(ipm, submodel, cut);
  }
  shiftPrimalStart(ipm, smallest);
  return QZ_STATUS_OK;
}

int32_t initPrimalPartial(Ipm* ipm, SubModel* submodel) {
  PartialSystem system{};
  int32_t status =
      makePartialSystem(ipm, nullptr, ipm->numCol, submodel->rowMapSub, ipm->numRow - submodel->numRowSub, &system);
  if (status != QZ_STATUS_OK) return status;
  hideFarBounds(ipm, submodel);
  setPrimalSystem(ipm, submodel, system.view);
  status = solvePartialSystem(ipm, &system);
  double smallest = kInfinity;
  if (status == QZ_STATUS_OK) {
    smallest = takePrimalSolution(ipm, system.view);
    status = verifyPrimalStart(ipm, submodel, system.view);
  }
  showFarBounds(ipm, submodel);
  if (status == kNoPartialPoint) return initPrimal(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  smallest = measureFarBounds(ipm, submodel, smallest);
  smallest = std::min(smallest, adjustIgnoredRows(ipm, submodel));
  shiftPrimalStart(ipm, smallest);
  return QZ_STATUS_OK;
}

}  // namespace qz
