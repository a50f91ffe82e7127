#include "transform/implied_bounds.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "shell/pool.h"
#include "transform/bound_relaxation.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr int32_t kFirstRoom = 64;
constexpr double kImplyTolerance = 1e-9;  // relative: what a row implies may miss the bound by rounding

int32_t grow(Env* env, Presolver* p) {
  const int32_t room = std::max(kFirstRoom, 2 * p->maxBoundChange);
  BoundChange* changes = poolAllocate<BoundChange>(env->pool, room);
  if (changes == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  std::copy_n(p->boundChanges, p->numBoundChange, changes);
  poolFree(env->pool, p->boundChanges);
  p->boundChanges = changes;
  p->maxBoundChange = room;
  return QZ_STATUS_OK;
}

// The release on one model, in its own numbering.
class Release {
 public:
  Release(Model* model, const IpmOption* options) : model_(model), options_(options) {}

  int32_t make(QzPool* pool) {
    if (rowBegin_.allocate(pool, int64_t{model_->numRow} + 1) != QZ_STATUS_OK ||
        rowLength_.allocate(pool, model_->numRow) != QZ_STATUS_OK ||
        colIndex_.allocate(pool, model_->numCoef) != QZ_STATUS_OK ||
        rowValue_.allocate(pool, model_->numCoef) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    toggleMatrixWithLength(model_->numCol, model_->numRow, nullptr, model_->colBegin, model_->colLength,
                           model_->rowIndex, model_->matValue, rowBegin_.get(), rowLength_.get(), colIndex_.get(),
                           rowValue_.get());
    return QZ_STATUS_OK;
  }

  // Gives the column the bound back that it had before, if it still has the one of the change and the row implies it.
  void tryBack(int32_t row, int32_t col, const BoundChange& change) {
    double& bound = change.upperSide ? model_->upper[col] : model_->lower[col];
    if (bound == change.value && !isLastBound(col, change) && impliedByRow(row, col, change)) bound = change.former;
  }

 private:
  [[nodiscard]] bool isInfinite(double bound) const { return std::fabs(bound) >= options_->infinityValue; }

  // The normal equations carry no free column.
  [[nodiscard]] bool isLastBound(int32_t col, const BoundChange& change) const {
    const double other = change.upperSide ? model_->lower[col] : model_->upper[col];
    return options_->typeMethod == IPM_METHOD_NORMAL && isInfinite(change.former) && isInfinite(other);
  }

  // Whether the row gives the column its bound by the bounds of its other columns: a'x <= side bounds from the least
  // activity of the others, a'x >= side from the most. Not where far bounds that cancel may have taken the digits that
  // tell.
  [[nodiscard]] bool impliedByRow(int32_t row, int32_t col, const BoundChange& change) const {
    const int32_t begin = rowBegin_[row];
    const int32_t end = begin + rowLength_[row];
    const int32_t own =
        static_cast<int32_t>(std::find(colIndex_.get() + begin, colIndex_.get() + end, col) - colIndex_.get());
    if (own == end || rowValue_[own] == 0.0) return false;
    const bool less = (rowValue_[own] > 0.0) == change.upperSide;
    const char sense = model_->rowSense[row];
    if (sense != 'E' && sense != 'R' && sense != (less ? 'L' : 'G')) return false;
    double rest = model_->rhs[row];
    if (!less && sense == 'R' && model_->range != nullptr) rest -= model_->range[row];
    double magnitude = std::fabs(rest);
    for (int32_t k = begin; k < end; ++k) {
      if (k == own) continue;
      const int32_t j = colIndex_[k];
      const double bound = (rowValue_[k] > 0.0) == less ? model_->lower[j] : model_->upper[j];
      if (isInfinite(bound)) return false;
      rest -= rowValue_[k] * bound;
      magnitude += std::fabs(rowValue_[k] * bound);
    }
    const double slack = kImplyTolerance * (1.0 + std::fabs(change.value));
    if (std::numeric_limits<double>::epsilon() * magnitude > slack * std::fabs(rowValue_[own])) return false;
    const double implied = rest / rowValue_[own];
    return change.upperSide ? implied <= change.value + slack : implied >= change.value - slack;
  }

  Model* model_;
  const IpmOption* options_;
  PoolArray<int32_t> rowBegin_;
  PoolArray<int32_t> rowLength_;
  PoolArray<int32_t> colIndex_;
  PoolArray<double> rowValue_;
};

// The change's place in the presolved model; false when its row or column is gone.
bool findPlace(const Presolver* p, const BoundChange& change, int32_t& row, int32_t& col) {
  row = p->rowMap[change.row];
  col = p->colMap[change.col];
  return row >= 0 && col >= 0;
}

bool anyLeft(const Presolver* p) {
  int32_t row = 0;
  int32_t col = 0;
  for (int32_t n = 0; n < p->numBoundChange; ++n)
    if (findPlace(p, p->boundChanges[n], row, col)) return true;
  return false;
}

}  // namespace

int32_t noteBoundChange(Env* env, Presolver* presolver, const BoundChange& change) {
  if (presolver->numBoundChange == presolver->maxBoundChange) {
    const int32_t status = grow(env, presolver);
    if (status != QZ_STATUS_OK) return status;
  }
  presolver->boundChanges[presolver->numBoundChange++] = change;
  return QZ_STATUS_OK;
}

int32_t releaseImpliedBounds(Env* env, Model* model, const IpmOption* options, Hub* hub, const Presolver* presolver) {
  if (!anyLeft(presolver)) return QZ_STATUS_OK;
  int32_t status = setTrueBoundsAside(env, model, hub);
  if (status != QZ_STATUS_OK) return status;
  Release release(model, options);
  status = release.make(env->pool);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t n = presolver->numBoundChange - 1; n >= 0; --n) {
    int32_t row = 0;
    int32_t col = 0;
    if (findPlace(presolver, presolver->boundChanges[n], row, col))
      release.tryBack(row, col, presolver->boundChanges[n]);
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
