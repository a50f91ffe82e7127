#include "engine/directions.h"

#include <algorithm>
#include <cmath>

#include "engine/engine_state.h"
#include "shell/log.h"

namespace qz {

namespace {

constexpr double kNoBlocker = 1e10;
constexpr double kKeptShare = 0.01;  // what the usual step factor leaves of a blocking quantity
constexpr double kDescent = 1e-15;   // a direction blocks only when it falls faster
constexpr double kSmallStep = 1e-8;  // updateSolution2: what a blocked quantity must keep, and what is added

// The longest step on one side, and what blocks it.
struct StepSide {
  double best = kNoBlocker;
  int32_t blocker = -1;

  void test(double quantity, double direction, int32_t index) {
    if (direction >= -kDescent) return;
    const double quotient = -quantity / direction;
    if (quotient < best) {
      best = quotient;
      blocker = index;
    }
  }
  double step() const { return blocker < 0 ? 1.0 : std::min(best, 1.0); }
};

void finishSteps(Ipm* ipm, const StepSide& primal, const StepSide& dual) {
  ipm->alphaPrimal = primal.step();
  ipm->alphaDual = dual.step();
  ipm->blockPrimal = primal.blocker;
  ipm->blockDual = dual.blocker;
  if (ipm->typeModel == IPM_MODEL_QP) {
    // dx appears in the dual residual, so both sides must move together.
    const double step = std::min(ipm->alphaPrimal, ipm->alphaDual);
    ipm->alphaPrimal = step;
    ipm->alphaDual = step;
  }
}

// A positive quantity after a step. Falls that do not block could carry a still smaller quantity across zero, and the
// next ratio test to a negative step: such a quantity shrinks to what it would keep had it blocked by itself.
double stayPositive(double quantity, double change) {
  const double after = quantity + change;
  return after > 0.0 || change < -kDescent ? after : kKeptShare * quantity;
}

// Moves the iterate: every slack by stepPrimal delta + addPrimal, every bound dual and G-row dual by stepDual delta +
// addDual; x and the duals of E rows without the addition. Fills maxPrimal, maxDual, minPositive.
void moveIterate(Ipm* ipm, double stepPrimal, double stepDual, double addPrimal, double addDual) {
  double maxPrimal = 0.0;
  double maxDual = 0.0;
  double minPositive = ipm->infinityValue;
  const double* dx = ipm->rhsCorrector;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    ipm->primal[j] += stepPrimal * dx[j];
    maxPrimal = std::max(maxPrimal, std::fabs(ipm->primal[j]));
    const uint8_t bounds = ipm->statusBound[j];
    if (hasUpper(bounds)) {
      ipm->upperSlack[j] = stayPositive(ipm->upperSlack[j], stepPrimal * ipm->upperSlackDelta[j]) + addPrimal;
      ipm->upperDual[j] = stayPositive(ipm->upperDual[j], stepDual * ipm->upperDualDelta[j]) + addDual;
      minPositive = std::min(minPositive, ipm->upperSlack[j]);
    }
    if (hasLower(bounds)) {
      ipm->lowerSlack[j] = stayPositive(ipm->lowerSlack[j], stepPrimal * ipm->lowerSlackDelta[j]) + addPrimal;
      ipm->lowerDual[j] = stayPositive(ipm->lowerDual[j], stepDual * ipm->lowerDualDelta[j]) + addDual;
      minPositive = std::min(minPositive, ipm->lowerSlack[j]);
    }
  }
  const double* dy = ipm->rhsCorrector + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] == 'G') {
      ipm->dual[i] = stayPositive(ipm->dual[i], stepDual * dy[i]) + addDual;
      ipm->ineqnSlack[i] = stayPositive(ipm->ineqnSlack[i], stepPrimal * ipm->ineqnSlackDelta[i]) + addPrimal;
      minPositive = std::min(minPositive, ipm->dual[i]);
    } else {
      ipm->dual[i] += stepDual * dy[i];
    }
    maxDual = std::max(maxDual, std::fabs(ipm->dual[i]));
  }
  ipm->maxPrimal = maxPrimal;
  ipm->maxDual = maxDual;
  ipm->minPositive = minPositive;
}

}  // namespace

void computePredictor(Ipm* ipm) {
  StepSide bestPrimal;
  StepSide bestDual;
  const double* dx = ipm->rhsPredictor;
  const double* dy = ipm->rhsPredictor + ipm->numCol;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    if (hasUpper(bounds)) {
      const double slack = ipm->upperSlack[j];
      const double target = (ipm->upper[j] - ipm->primal[j]) - dx[j];  // the slack that the full step would reach
      ipm->upperSlackDelta[j] = target - slack;
      ipm->upperDualDelta[j] = -target * ipm->upperDual[j] / slack;
      bestPrimal.test(slack, ipm->upperSlackDelta[j], j);
      bestDual.test(ipm->upperDual[j], ipm->upperDualDelta[j], j);
    }
    if (hasLower(bounds)) {
      const double slack = ipm->lowerSlack[j];
      const double target = (ipm->primal[j] - ipm->lower[j]) + dx[j];
      ipm->lowerSlackDelta[j] = target - slack;
      ipm->lowerDualDelta[j] = -target * ipm->lowerDual[j] / slack;
      bestPrimal.test(slack, ipm->lowerSlackDelta[j], j);
      bestDual.test(ipm->lowerDual[j], ipm->lowerDualDelta[j], j);
    }
  }
  forEachIneqnRow(ipm, [&](int32_t i) {
    ipm->ineqnSlackDelta[i] = -ipm->ineqnSlack[i] * (dy[i] / ipm->dual[i] + 1.0);
    bestPrimal.test(ipm->ineqnSlack[i], ipm->ineqnSlackDelta[i], i);
    bestDual.test(ipm->dual[i], dy[i], i);
  });
  finishSteps(ipm, bestPrimal, bestDual);
}

void computeRhsCorrector(Ipm* ipm) {
  const double target = ipm->sigma * ipm->mu;
  const double share = secondOrderShare(ipm);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    double value = 0.0;
    if (hasUpper(bounds))
      value = (share * ipm->upperSlackDelta[j] * ipm->upperDualDelta[j] - target) / ipm->upperSlack[j];
    if (hasLower(bounds))
      value += (target - share * ipm->lowerSlackDelta[j] * ipm->lowerDualDelta[j]) / ipm->lowerSlack[j];
    ipm->rhsCorrector[j] = value;
  }
  const double* dy = ipm->rhsPredictor + ipm->numCol;
  double* row = ipm->rhsCorrector + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i)
    row[i] = ipm->rowSense[i] == 'G' ? (share * ipm->ineqnSlackDelta[i] * dy[i] - target) / ipm->dual[i] : 0.0;
}

void computeStepCombined(Ipm* ipm) {
  const double target = ipm->sigma * ipm->mu;
  const double share = secondOrderShare(ipm);
  StepSide bestPrimal;
  StepSide bestDual;
  const double* predictor = ipm->rhsPredictor;
  double* combined = ipm->rhsCorrector;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    const double correction = combined[j];
    combined[j] = predictor[j] + correction;
    if (hasUpper(bounds)) {
      const double slackDelta = ipm->upperSlackDelta[j];
      const double dualDelta = ipm->upperDualDelta[j];
      const double slack = ipm->upperSlack[j];
      const double z = ipm->upperDual[j];
      ipm->upperSlackDelta[j] = slackDelta - correction;
      ipm->upperDualDelta[j] = dualDelta + ((target - share * slackDelta * dualDelta) + z * correction) / slack;
      bestPrimal.test(slack, ipm->upperSlackDelta[j], j);
      bestDual.test(z, ipm->upperDualDelta[j], j);
    }
    if (hasLower(bounds)) {
      const double slackDelta = ipm->lowerSlackDelta[j];
      const double dualDelta = ipm->lowerDualDelta[j];
      const double slack = ipm->lowerSlack[j];
      const double z = ipm->lowerDual[j];
      ipm->lowerSlackDelta[j] = slackDelta + correction;
      ipm->lowerDualDelta[j] = dualDelta + ((target - share * slackDelta * dualDelta) - correction * z) / slack;
      bestPrimal.test(slack, ipm->lowerSlackDelta[j], j);
      bestDual.test(z, ipm->lowerDualDelta[j], j);
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const double p = predictor[ipm->numCol + i];
    const double correction = combined[ipm->numCol + i];
    combined[ipm->numCol + i] = correction + p;
    if (ipm->rowSense[i] != 'G') continue;
    const double slackDelta = ipm->ineqnSlackDelta[i];
    ipm->ineqnSlackDelta[i] =
        slackDelta + ((target - share * p * slackDelta) - correction * ipm->ineqnSlack[i]) / ipm->dual[i];
    bestPrimal.test(ipm->ineqnSlack[i], ipm->ineqnSlackDelta[i], i);
    bestDual.test(ipm->dual[i], combined[ipm->numCol + i], i);
  }
  finishSteps(ipm, bestPrimal, bestDual);
}

void updateSolution(Ipm* ipm) {
  moveIterate(ipm, ipm->alphaPrimal * ipm->stepFactor, ipm->alphaDual * ipm->stepFactor, 0.0, 0.0);
}

void updateSolution2(Ipm* ipm) {
  // What the blocking quantity keeps when the step stops short by the step factor: the smallest positive such value.
  const auto keep = [ipm](double& smallest, double delta, double step) {
    const double left = delta * step * (ipm->stepFactor - 1.0);
    if (left > 0.0) smallest = std::min(smallest, left);
  };
  double keptPrimal = ipm->infinityValue;
  double keptDual = ipm->infinityValue;
  const int32_t p = ipm->blockPrimal;
  if (p >= 0) {
    const uint8_t bounds = p < ipm->numCol ? ipm->statusBound[p] : uint8_t{0};
    if (hasUpper(bounds)) keep(keptPrimal, ipm->upperSlackDelta[p], ipm->alphaPrimal);
    if (hasLower(bounds)) keep(keptPrimal, ipm->lowerSlackDelta[p], ipm->alphaPrimal);
    if (p < ipm->numRow && ipm->rowSense[p] == 'G') keep(keptPrimal, ipm->ineqnSlackDelta[p], ipm->alphaPrimal);
  }
  const int32_t d = ipm->blockDual;
  if (d >= 0) {
    const uint8_t bounds = d < ipm->numCol ? ipm->statusBound[d] : uint8_t{0};
    if (hasUpper(bounds)) keep(keptDual, ipm->upperDualDelta[d], ipm->alphaDual);
    if (hasLower(bounds)) keep(keptDual, ipm->lowerDualDelta[d], ipm->alphaDual);
    if (d < ipm->numRow && ipm->rowSense[d] == 'G') keep(keptDual, ipm->rhsPredictor[ipm->numCol + d], ipm->alphaDual);
  }

  const bool ordinary = keptPrimal < kSmallStep || keptDual < kSmallStep;
  const double divisor = ordinary ? ipm->stepFactor : 1.0;
  const double deltaPrimal = ordinary || p < 0 ? 0.0 : kSmallStep;
  const double deltaDual = ordinary || d < 0 ? 0.0 : kSmallStep;
  moveIterate(ipm, ipm->alphaPrimal * divisor, ipm->alphaDual * divisor, deltaPrimal, deltaDual);
  logText(ipm->env->log, QZ_LOG_DEBUG, L"divisor=%15.7g   deltaPrimal=%15.7g   deltaDual=%15.7g", divisor, deltaPrimal,
          deltaDual);
}

namespace {

// What is subtracted from both members of a split pair and their slacks; 0 when the pair may stay.
double pairExcess(const Ipm* ipm, const double* x, const double* slack, int32_t plus, int32_t minus) {
  const double smallest = std::min(std::min(x[plus], x[minus]), std::min(slack[plus], slack[minus]));
  return smallest < 0.0 || smallest > ipm->freeVarLimit ? smallest - ipm->freeVarLimit : 0.0;
}

}  // namespace

void updateFreeVar(Ipm* ipm, double* x, double* slack) {
  if (ipm->freeVarPlus == nullptr || ipm->freeVarMinus == nullptr) return;
  for (int32_t k = 0; k < ipm->numFreeVar; ++k) {
    const int32_t plus = ipm->freeVarPlus[k];
    const int32_t minus = ipm->freeVarMinus[k];
    const double excess = pairExcess(ipm, x, slack, plus, minus);
    x[plus] -= excess;
    x[minus] -= excess;
    slack[plus] -= excess;
    slack[minus] -= excess;
  }
}

void adjustFreeVar(Ipm* ipm, double* x, double* slack, double* dual) {
  if (ipm->freeVarPlus == nullptr || ipm->freeVarMinus == nullptr) return;
  for (int32_t k = 0; k < ipm->numFreeVar; ++k) {
    const int32_t plus = ipm->freeVarPlus[k];
    const int32_t minus = ipm->freeVarMinus[k];
    const double excess = pairExcess(ipm, x, slack, plus, minus);
    if (excess == 0.0) continue;
    for (const int32_t j : {plus, minus}) {
      const double old = slack[j];
      x[j] -= excess;
      slack[j] -= excess;
      dual[j] *= old / slack[j];  // the product of slack and dual stays
    }
  }
}

}  // namespace qz
