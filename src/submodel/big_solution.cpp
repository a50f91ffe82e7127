#include "submodel/big_solution.h"

#include <algorithm>
#include <cmath>

#include "engine/engine_state.h"

namespace qz {

namespace {

constexpr double kNotBig = -1.0;
constexpr double kSmallShare = 1e-5;    // of thresholdBig: above it a complementary value is of real size
constexpr double kTinyShare = 1e-10;    // of thresholdBig: below it a value has vanished
constexpr double kBoundMargin = 0.001;  // of thresholdBig: the distance to keep from a removed bound
constexpr double kSmallestDual = 1.0;   // of a shifted inequality

// What values are compared with, and the last step lengths.
struct Scale {
  double big;
  double small;
  double tiny;
  double alphaPrimal;
  double alphaDual;

  Scale(const Ipm* ipm, const SubModel* submodel)
      : big(submodel->thresholdBig),
        small(kSmallShare * big),
        tiny(kTinyShare * big),
        alphaPrimal(ipm->alphaPrimal),
        alphaDual(ipm->alphaDual) {}

  [[nodiscard]] double stepRatio(double step, double value) const {
    return std::fabs(step) < big ? std::fabs(step) / std::fabs(value) : BIG_STEP;
  }
  // The movement of a big member of a complementary pair; kNotBig for one that is not.
  [[nodiscard]] double pairMovement(double value, double partner, double step) const {
    if (!(value > big)) return kNotBig;
    if (partner < tiny) return partner;
    return partner < small ? stepRatio(step, value) : BIG_ACTIVE;
  }
};

// Movements of the two bound slacks of a column.
struct Sides {
  double lower = kNotBig;
  double upper = kNotBig;
};

Sides measureSides(const Ipm* ipm, const Scale& scale, int32_t j) {
  const bool hasLow = hasLower(ipm->statusBound[j]);
  const bool hasUp = hasUpper(ipm->statusBound[j]);
  Sides sides;
  if (hasUp)
    sides.upper =
        scale.pairMovement(ipm->upperSlack[j], ipm->upperDual[j], ipm->upperSlackDelta[j] * scale.alphaPrimal);
  if (hasLow)
    sides.lower =
        scale.pairMovement(ipm->lowerSlack[j], ipm->lowerDual[j], ipm->lowerSlackDelta[j] * scale.alphaPrimal);
  if (ipm->typeMethod != IPM_METHOD_NORMAL) return sides;
  if (!hasLow || !hasUp) return {};
  if (sides.lower >= sides.upper)
    sides.upper = kNotBig;
  else
    sides.lower = kNotBig;
  return sides;
}

void statVariables(const Ipm* ipm, SubModel* submodel, const Scale& scale) {
  submodel->numBigVar = 0;
  submodel->deltaX = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double x = ipm->primal[j];
    if (!(std::fabs(x) > scale.big)) continue;
    submodel->idxBigVar[submodel->numBigVar++] = j;
    submodel->deltaX = std::max(submodel->deltaX, scale.stepRatio(ipm->rhsCorrector[j] * scale.alphaPrimal, x));
  }
}

void statBoundSlacks(const Ipm* ipm, SubModel* submodel, const Scale& scale) {
  submodel->numBigBoundSlack = 0;
  submodel->deltaBound = 0.0;
  std::fill_n(submodel->statusBoundSub, submodel->numCol, 0);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const Sides sides = measureSides(ipm, scale, j);
    int32_t marks = 0;
    if (sides.lower >= 0.0) marks |= SUB_LOWER;
    if (sides.upper >= 0.0) marks |= SUB_UPPER;
    if (marks == 0) continue;
    submodel->statusBoundSub[j] = marks;
    submodel->idxBoundSub[submodel->numBigBoundSlack++] = j;
    submodel->deltaBound = std::max({submodel->deltaBound, sides.lower, sides.upper});
  }
}

void statRowSlacks(const Ipm* ipm, SubModel* submodel, const Scale& scale) {
  submodel->numBigIneqnSlack = 0;
  submodel->deltaRow = 0.0;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] == 'E') continue;
    const double movement =
        scale.pairMovement(ipm->ineqnSlack[i], ipm->dual[i], ipm->ineqnSlackDelta[i] * scale.alphaPrimal);
    if (movement < 0.0) continue;
    submodel->idxRowSub[submodel->numBigIneqnSlack++] = i;
    submodel->deltaRow = std::max(submodel->deltaRow, movement);
  }
}

void statRowDuals(const Ipm* ipm, SubModel* submodel, const Scale& scale) {
  submodel->numBigDual = 0;
  submodel->deltaY = 0.0;
  const double* dy = ipm->rhsCorrector + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const double y = ipm->dual[i];
    if (!(std::fabs(y) > scale.big)) continue;
    submodel->idxBigDual[submodel->numBigDual++] = i;
    submodel->deltaY = std::max(submodel->deltaY, scale.stepRatio(dy[i] * scale.alphaDual, y));
  }
}

// A bound dual is big only where the other side does not balance it.
Sides measureBoundDuals(const Ipm* ipm, const Scale& scale, int32_t j) {
  const bool hasLow = hasLower(ipm->statusBound[j]);
  const bool hasUp = hasUpper(ipm->statusBound[j]);
  Sides sides;
  if (hasUp && !(hasLow && ipm->lowerDual[j] >= scale.small))
    sides.upper = scale.pairMovement(ipm->upperDual[j], ipm->upperSlack[j], ipm->upperDualDelta[j] * scale.alphaDual);
  if (hasLow && !(hasUp && ipm->upperDual[j] >= scale.small))
    sides.lower = scale.pairMovement(ipm->lowerDual[j], ipm->lowerSlack[j], ipm->lowerDualDelta[j] * scale.alphaDual);
  return sides;
}

void statBoundDuals(const Ipm* ipm, SubModel* submodel, const Scale& scale) {
  submodel->numBigBoundDual = 0;
  submodel->deltaColumn = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const Sides sides = measureBoundDuals(ipm, scale, j);
    const double movement = std::max(sides.lower, sides.upper);
    if (movement < 0.0) continue;
    submodel->idxColSub[submodel->numBigBoundDual++] = j;
    submodel->deltaColumn = std::max(submodel->deltaColumn, movement);
  }
}

// Number of a listed row or column in the iterate, negative when it is not there.
int32_t translated(int32_t flag, const int32_t* map, int32_t listed) {
  return (flag & BIG_INVITRO) != 0 ? map[listed] : listed;
}

// The slacks that were acted on, one kind at least, stand still; then big variables are what keeps them so.
bool slacksQuiet(const SubModel* submodel, double tiny) {
  const bool bounds = submodel->bBigBoundSlack != 0;
  const bool rows = submodel->bBigIneqnSlack != 0;
  return (bounds || rows) && (!bounds || submodel->deltaBound < tiny) && (!rows || submodel->deltaRow < tiny);
}

bool validVariables(const Ipm* ipm, const SubModel* submodel, const Scale& scale) {
  if (submodel->bBigVar == 0 || slacksQuiet(submodel, scale.tiny)) return true;
  for (int32_t k = 0; k < submodel->numBigVar; ++k) {
    const int32_t j = translated(submodel->bBigVar, submodel->colMapSub, submodel->idxBigVar[k]);
    if (j >= 0 && std::fabs(ipm->primal[j]) > scale.big) return false;
  }
  return true;
}

bool validBounds(const Ipm* ipm, const SubModel* submodel, const Scale& scale) {
  if (submodel->bBigBoundSlack == 0 || submodel->lowerSub == nullptr || submodel->upperSub == nullptr) return true;
  const double margin = kBoundMargin * scale.big;
  const bool quiet = slacksQuiet(submodel, scale.tiny);
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t listed = submodel->idxBoundSub[k];
    const int32_t marks = submodel->statusBoundSub[listed];
    const int32_t j = translated(submodel->bBigBoundSlack, submodel->colMapSub, listed);
    if (j < 0) continue;
    const double x = ipm->primal[j];
    if ((marks & SUB_LOWER) != 0 && (submodel->lowerSub[k] + margin > x || (!quiet && ipm->lowerSlack[j] > scale.big)))
      return false;
    if ((marks & SUB_UPPER) != 0 && (x > submodel->upperSub[k] - margin || (!quiet && ipm->upperSlack[j] > scale.big)))
      return false;
  }
  return true;
}

bool validDuals(const Ipm* ipm, const SubModel* submodel, const Scale& scale) {
  if (submodel->bBigDual == 0) return true;
  const bool quiet = submodel->bBigBoundDual != 0 && submodel->deltaColumn < scale.tiny;
  for (int32_t k = 0; k < submodel->numBigDual; ++k) {
    const int32_t i = translated(submodel->bBigDual, submodel->rowMapSub, submodel->idxBigDual[k]);
    if (i < 0) continue;
    const double y = std::fabs(ipm->dual[i]);
    if (quiet && y > scale.big) return false;
    if (y < kSmallestDual && ipm->rowSense[i] != 'E') return false;
  }
  return true;
}

}  // namespace

int32_t statBigSolution(const Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  const Scale scale(ipm, submodel);
  if (submodel->bBigVar == 0 && submodel->bBigBoundSlack == 0) {
    statVariables(ipm, submodel, scale);
    statBoundSlacks(ipm, submodel, scale);
  }
  if (submodel->bBigIneqnSlack == 0) statRowSlacks(ipm, submodel, scale);
  if (submodel->bBigDual == 0) statRowDuals(ipm, submodel, scale);
  if (submodel->bBigBoundDual == 0) statBoundDuals(ipm, submodel, scale);
  return QZ_STATUS_OK;
}

int32_t validBoundInvivo(const Ipm* ipm, const SubModel* submodel) {
  if (submodel == nullptr || submodel->lowerSub == nullptr || submodel->upperSub == nullptr) return QZ_STATUS_OK;
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    const int32_t marks = submodel->statusBoundSub[j];
    if ((marks & SUB_LOWER) != 0 && submodel->lowerSub[k] > ipm->primal[j]) return QZ_STATUS_RESTART;
    if ((marks & SUB_UPPER) != 0 && ipm->primal[j] > submodel->upperSub[k]) return QZ_STATUS_RESTART;
  }
  return QZ_STATUS_OK;
}

int32_t validBigSolution(const Ipm* ipm, const SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  const Scale scale(ipm, submodel);
  const bool valid =
      validVariables(ipm, submodel, scale) && validBounds(ipm, submodel, scale) && validDuals(ipm, submodel, scale);
  return valid ? QZ_STATUS_OK : QZ_STATUS_RESTART;
}

}  // namespace qz
