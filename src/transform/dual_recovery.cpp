#include "transform/dual_recovery.h"

#include <cmath>

#include "shell/log.h"
#include "shell/pool.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr int32_t kMaxPass = 10000;
constexpr double kNoRatio = 1e-20;  // a working value this small has no ratio to the kept one

// Sets a value; its entry of the kept direction, if there is one, keeps its ratio to it.
void setFollowed(double& value, double* kept, double next) {
  if (next == value) return;
  if (kept != nullptr) {
    const double ratio = std::fabs(value) <= kNoRatio ? 0.0 : *kept / value;
    *kept = ratio * next;
  }
  value = next;
}

double* keptEntry(double* KeptSolution::*field, const Hub* hub, int32_t k) {
  return hub == nullptr || hub->keptSolution == nullptr ? nullptr : hub->keptSolution->*field + k;
}

// The input matrix by rows.
struct RowCopy {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> length;
  PoolArray<int32_t> col;
  PoolArray<double> value;

  [[nodiscard]] int32_t make(QzPool* pool, const Model* model) {
    if (begin.allocate(pool, int64_t{model->numRow} + 1) != QZ_STATUS_OK ||
        length.allocate(pool, model->numRow) != QZ_STATUS_OK || col.allocate(pool, model->numCoef) != QZ_STATUS_OK ||
        value.allocate(pool, model->numCoef) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    toggleMatrixWithLength(model->numCol, model->numRow, nullptr, model->colBegin, model->colLength, model->rowIndex,
                           model->matValue, begin.get(), length.get(), col.get(), value.get());
    return QZ_STATUS_OK;
  }
  // The element of a column in a row, 0 when it has none.
  [[nodiscard]] double element(int32_t i, int32_t j) const {
    for (int32_t k = begin[i]; k < begin[i] + length[i]; ++k)
      if (col[k] == j) return value[k];
    return 0.0;
  }
};

class Recovery {
 public:
  Recovery(Env* env, Model* model, const IpmOption* options, const Presolver* presolver, Solution* solution, Hub* hub)
      : env_(env), model_(model), options_(options), p_(presolver), s_(solution), hub_(hub) {}

  [[nodiscard]] int32_t run() {
    int32_t status = rows_.make(env_->pool, model_);
    if (status != QZ_STATUS_OK) return status;
    status = done_.allocateZero(env_->pool, model_->numCol);
    if (status != QZ_STATUS_OK) return status;
    for (int32_t n = 0; n < kMaxPass && pass(); ++n) {
    }
    return QZ_STATUS_OK;
  }

 private:
  // True when a dual was moved.
  bool pass() {
    bool moved = false;
    for (int32_t j = 0; j < model_->numCol; ++j) {
      if (done_[j] != 0) continue;
      done_[j] = 1;
      const double r = model_->reducedCost[j] - s_->lowerDual[j] + s_->upperDual[j];
      if (std::fabs(r) > options_->tolDual) adjustBoundDual(env_, options_, s_, hub_, j, r);
      if (p_->lbMap[j] >= 0 && lowerChanged(j)) moved = clearLower(j) || moved;
      if (p_->ubMap[j] >= 0 && upperChanged(j)) moved = clearUpper(j) || moved;
    }
    return moved;
  }

  [[nodiscard]] bool lowerChanged(int32_t j) const {
    const double inf = options_->infinityValue;
    const double tight = p_->lower[j];
    const double own = model_->lower[j];
    if (tight <= -inf && own <= -inf) return false;
    return own <= -inf || tight <= -inf || std::fabs(tight - own) >= options_->tolPrimal;
  }
  [[nodiscard]] bool upperChanged(int32_t j) const {
    const double inf = options_->infinityValue;
    const double tight = p_->upper[j];
    const double own = model_->upper[j];
    if (tight >= inf && own >= inf) return false;
    return own >= inf || tight >= inf || std::fabs(tight - own) >= options_->tolPrimal;
  }

  bool clearLower(int32_t j) {
    const double own = model_->lower[j];
    setLowerSlack(j, own <= -options_->infinityValue ? 0.0 : s_->primal[j] - own);
    const double d = s_->lowerDual[j];
    if (d < options_->tolDual) {
      setLowerDual(j, 0.0);
      return false;
    }
    const int32_t i = p_->lbMap[j];
    const double a = i < 0 ? 0.0 : rows_.element(i, j);
    if (a == 0.0) {
      logText(env_->log, QZ_LOG_DEBUG, L"this should not happen: nonzero dual on tighter lower bound.");
      return true;
    }
    addRowDual(i, j, d / a);
    model_->reducedCost[j] -= d;
    setLowerDual(j, 0.0);
    return true;
  }

  bool clearUpper(int32_t j) {
    const double own = model_->upper[j];
    setUpperSlack(j, own >= options_->infinityValue ? 0.0 : own - s_->primal[j]);
    const double d = s_->upperDual[j];
    if (d < options_->tolDual) {
      setUpperDual(j, 0.0);
      return false;
    }
    const int32_t i = p_->ubMap[j];
    const double a = i < 0 ? 0.0 : rows_.element(i, j);
    if (a == 0.0) {
      logText(env_->log, QZ_LOG_DEBUG, L"this should not happen: nonzero dual on tighter upper bound.");
      return true;
    }
    addRowDual(i, j, -d / a);
    model_->reducedCost[j] += d;
    setUpperDual(j, 0.0);
    return true;
  }

  // dual[i] += delta; the reduced costs and bound duals of the row's columns other than j follow.
  void addRowDual(int32_t i, int32_t j, double delta) {
    for (int32_t k = rows_.begin[i]; k < rows_.begin[i] + rows_.length[i]; ++k) {
      const int32_t other = rows_.col[k];
      if (other == j) continue;
      const double t = rows_.value[k] * delta;
      done_[other] = 0;
      model_->reducedCost[other] -= t;
      adjustBoundDual(env_, options_, s_, hub_, other, -t);
    }
    setFollowed(s_->dual[i], keptEntry(&KeptSolution::dualDelta, hub_, i), s_->dual[i] + delta);
  }

  void setLowerSlack(int32_t j, double next) {
    setFollowed(s_->lowerSlack[j], keptEntry(&KeptSolution::lowerSlackDelta, hub_, j), next);
  }
  void setUpperSlack(int32_t j, double next) {
    setFollowed(s_->upperSlack[j], keptEntry(&KeptSolution::upperSlackDelta, hub_, j), next);
  }
  void setLowerDual(int32_t j, double next) {
    setFollowed(s_->lowerDual[j], keptEntry(&KeptSolution::lowerDualDelta, hub_, j), next);
  }
  void setUpperDual(int32_t j, double next) {
    setFollowed(s_->upperDual[j], keptEntry(&KeptSolution::upperDualDelta, hub_, j), next);
  }

  Env* env_;
  Model* model_;
  const IpmOption* options_;
  const Presolver* p_;
  Solution* s_;
  Hub* hub_;
  RowCopy rows_;
  PoolArray<int32_t> done_;
};

}  // namespace

void adjustBoundDual(Env*, const IpmOption* options, Solution* solution, Hub* hub, int32_t col, double r) {
  const double td = options->tolDual;
  double lowerDual = solution->lowerDual[col];
  double upperDual = solution->upperDual[col];
  if (r >= 0.0 && upperDual > td) {
    upperDual -= r;
    if (upperDual + td < 0.0) {
      lowerDual -= upperDual;
      upperDual = 0.0;
    }
  } else if (r >= 0.0) {
    lowerDual += r;
    upperDual = 0.0;
  } else if (lowerDual > td) {
    lowerDual += r;
    if (lowerDual + td < 0.0) {
      upperDual -= lowerDual;
      lowerDual = 0.0;
    }
  } else {
    upperDual -= r;
    lowerDual = 0.0;
  }
  setFollowed(solution->lowerDual[col], keptEntry(&KeptSolution::lowerDualDelta, hub, col), lowerDual);
  setFollowed(solution->upperDual[col], keptEntry(&KeptSolution::upperDualDelta, hub, col), upperDual);
}

int32_t adjustDualOutput(Env* env, Model* model, const IpmOption* options, const Presolver* presolver,
                         Solution* solution, Hub* hub) {
  Recovery recovery(env, model, options, presolver, solution, hub);
  return recovery.run();
}

}  // namespace qz
