#include "transform/bound_relaxation.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kFarBound = 100.0;       // two marked bounds no smaller than this are both dropped
constexpr double kImplyTolerance = 1e-9;  // relative: an implied bound may miss the dropped one by rounding

// Which of the marked bounds of a column with two finite bounds go.
uint8_t droppedBounds(uint8_t marks, double lower, double upper) {
  if (marks != (RELAX_LOWER | RELAX_UPPER)) return marks;
  const double low = std::fabs(lower);
  const double high = std::fabs(upper);
  if (std::min(low, high) >= kFarBound) return marks;
  return high >= low ? RELAX_UPPER : RELAX_LOWER;
}

// What the activities of the rows are bounded by: the finite shares of the columns, and how many have no bound. Shares
// come and go, and a far bound must not take the digits of the others along: what an addition rounds off is kept
// (Knuth's two-sum).
struct Activity {
  double sum;
  double rounded;
  int32_t numInfinite;

  void add(double share) {
    const double next = sum + share;
    const double part = next - sum;
    rounded += (sum - (next - part)) + (share - part);
    sum = next;
  }
  [[nodiscard]] double value() const { return sum + rounded; }
};

// What the rows imply about single bounds while the marked ones are away. Marks are set one by one, each only when the
// bounds still in force imply the bound, so the feasible set stays the same all the way.
class Implication {
 public:
  Implication(const Model* model, double infinity, uint8_t* marks)
      : model_(model), infinity_(infinity), marks_(marks) {}

  [[nodiscard]] int32_t make(QzPool* pool) {
    if (least_.allocateZero(pool, model_->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    if (most_.allocateZero(pool, model_->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    for (int32_t j = 0; j < model_->numCol; ++j) {
      addShare(j, model_->lower[j], false, 1);
      addShare(j, model_->upper[j], true, 1);
    }
    return QZ_STATUS_OK;
  }

  // Marks the bound when some row implies it.
  void markIfImplied(int32_t j, bool upperSide) {
    const double bound = upperSide ? model_->upper[j] : model_->lower[j];
    if (std::fabs(bound) >= infinity_ || !implied(j, upperSide, bound)) return;
    addShare(j, bound, upperSide, -1);
    addShare(j, upperSide ? infinity_ : -infinity_, upperSide, 1);
    marks_[j] = static_cast<uint8_t>(marks_[j] | (upperSide ? RELAX_UPPER : RELAX_LOWER));
  }

 private:
  [[nodiscard]] bool implied(int32_t j, bool upperSide, double bound) const {
    const double slack = kImplyTolerance * (1.0 + std::fabs(bound));
    const int32_t begin = model_->colBegin[j];
    for (int32_t k = begin; k < begin + model_->colLength[j]; ++k) {
      if (model_->matValue[k] == 0.0) continue;
      const double value = impliedByRow(j, model_->rowIndex[k], model_->matValue[k], upperSide);
      if (upperSide ? value <= bound + slack : value >= bound - slack) return true;
    }
    return false;
  }

  // Adds a bound's share to the activities of the column's rows, or takes it back.
  void addShare(int32_t j, double bound, bool upperSide, int32_t times) {
    const int32_t begin = model_->colBegin[j];
    for (int32_t k = begin; k < begin + model_->colLength[j]; ++k) {
      const double a = model_->matValue[k];
      if (a == 0.0) continue;
      Activity& activity = (a > 0.0) == upperSide ? most_[model_->rowIndex[k]] : least_[model_->rowIndex[k]];
      if (std::fabs(bound) >= infinity_)
        activity.numInfinite += times;
      else
        activity.add(times * a * bound);
    }
  }

  // The bound on column j that row i gives, infinite for none: a x_j <= b - (least of the rest) bounds x_j from above
  // when a is positive and from below when it is negative, a x_j >= b - (most of the rest) the other way round.
  [[nodiscard]] double impliedByRow(int32_t j, int32_t i, double a, bool upperSide) const {
    const double none = upperSide ? kLargest : -kLargest;
    const bool fromAbove = (a > 0.0) == upperSide;
    const char sense = model_->rowSense[i];
    if (sense != 'E' && sense != 'R' && sense != (fromAbove ? 'L' : 'G')) return none;
    double side = model_->rhs[i];
    if (!fromAbove && sense == 'R') side -= model_->range == nullptr ? 0.0 : model_->range[i];
    if (std::fabs(side) >= infinity_) return none;
    // Both extremes hold the share of the column's own opposite bound.
    Activity rest = fromAbove ? least_[i] : most_[i];
    const double own = upperSide ? model_->lower[j] : model_->upper[j];
    const bool gone = (marks_[j] & (upperSide ? RELAX_LOWER : RELAX_UPPER)) != 0;
    if (gone || std::fabs(own) >= infinity_)
      --rest.numInfinite;
    else
      rest.add(-a * own);
    return rest.numInfinite > 0 ? none : (side - rest.value()) / a;
  }

  const Model* model_;
  double infinity_;
  uint8_t* marks_;
  PoolArray<Activity> least_;
  PoolArray<Activity> most_;
};

// The removed row that set a bound: any row that the map names and the row map has taken out.
bool setByRemovedRow(const Presolver* presolver, const int32_t* boundMap, int32_t j) {
  return boundMap[j] >= 0 && presolver->rowMap[boundMap[j]] < 0;
}

// Marks the bounds of kept columns that removed rows tightened. `tight` and `user` are indexed by the columns of the
// input, the model by those that are left.
void markTightened(const IpmOption* options, const Presolver* presolver, int32_t numColInput, const double* tightLower,
                   const double* tightUpper, const double* userLower, const double* userUpper,
                   Implication& implication) {
  const double infinity = options->infinityValue;
  for (int32_t j = 0; j < numColInput; ++j) {
    const int32_t to = presolver->colMap[j];
    if (to < 0) continue;
    if (tightLower[j] > -infinity && setByRemovedRow(presolver, presolver->lbMap, j) &&
        tightLower[j] - options->tolPrimal >= userLower[j])
      implication.markIfImplied(to, false);
    if (tightUpper[j] < infinity && setByRemovedRow(presolver, presolver->ubMap, j) &&
        userUpper[j] >= tightUpper[j] + options->tolPrimal)
      implication.markIfImplied(to, true);
  }
}

}  // namespace

int32_t setTrueBoundsAside(Env* env, Model* model, Hub* hub) {
  if (hub->altLower != nullptr && hub->altUpper != nullptr) return QZ_STATUS_OK;
  const int64_t room = int64_t{hub->numRange} + hub->numFreeVar + model->numCol;  // what the standard form may append
  PoolArray<double> lower;
  PoolArray<double> upper;
  if (lower.allocateZero(env->pool, room) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (upper.allocateZero(env->pool, room) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  std::copy_n(model->lower, model->numCol, lower.get());
  std::copy_n(model->upper, model->numCol, upper.get());
  hub->boundSwitchState = 1;
  hub->altLower = model->lower;
  hub->altUpper = model->upper;
  model->lower = lower.release();
  model->upper = upper.release();
  return QZ_STATUS_OK;
}

int32_t ipmRelaxBound(Env* env, Model* model, IpmOption* options, Hub* hub) {
  if (model->relaxColBound == nullptr) return QZ_STATUS_OK;
  if (hub->altLower != nullptr || hub->altUpper != nullptr) return QZ_STATUS_FAILED;
  const int32_t status = setTrueBoundsAside(env, model, hub);
  if (status != QZ_STATUS_OK) return status;
  const double infinity = options->infinityValue;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->lower[j] <= -infinity || model->upper[j] >= infinity) continue;
    const uint8_t dropped = droppedBounds(model->relaxColBound[j], model->lower[j], model->upper[j]);
    if ((dropped & RELAX_LOWER) != 0) model->lower[j] = -kLargest;
    if ((dropped & RELAX_UPPER) != 0) model->upper[j] = kLargest;
  }
  return QZ_STATUS_OK;
}

int32_t ipmSwitchBound(Env*, Model* model, Hub* hub) {
  std::swap(model->lower, hub->altLower);
  std::swap(model->upper, hub->altUpper);
  hub->boundSwitchState = hub->boundSwitchState == 0 ? 1 : 0;
  return QZ_STATUS_OK;
}

int32_t getRelaxBoundStatus(Env* env, Model* model, IpmOption* options, Hub* hub, Presolver* presolver) {
  if (model->relaxColBound != nullptr) {
    logText(env->log, QZ_LOG_ERROR, L"relaxColBound should not be set if control comes here.");
    return QZ_STATUS_FAILED;
  }
  const bool swapped = presolver->preControl == PRECONTROL_BOUND;
  if (!swapped && presolver->preControl != PRECONTROL_REDUCED) return QZ_STATUS_OK;
  PoolArray<uint8_t> marks;
  if (marks.allocateZero(env->pool, int64_t{hub->numFreeVar} + hub->numRange + model->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  Implication implication(model, options->infinityValue, marks.get());
  if (implication.make(env->pool) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (swapped)
    markTightened(options, presolver, model->numCol, model->lower, model->upper, presolver->lower, presolver->upper,
                  implication);
  else
    markTightened(options, presolver, presolver->inModel->numCol, presolver->lower, presolver->upper,
                  presolver->inModel->lower, presolver->inModel->upper, implication);
  const bool any = std::any_of(marks.get(), marks.get() + model->numCol, [](uint8_t mark) { return mark != 0; });
  if (any) model->relaxColBound = marks.release();
  return QZ_STATUS_OK;
}

int32_t isBoundChanged(Env*, const Model* model, const IpmOption* options, Presolver* presolver) {
  presolver->boundChanged = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (presolver->colMap[j] < 0) continue;
    if (presolver->lower[j] > model->lower[j] + options->tolPrimal ||
        model->upper[j] - options->tolPrimal > presolver->upper[j]) {
      presolver->boundChanged = 1;
      break;
    }
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
