#include "engine/saved_point.h"

#include <algorithm>

#include "transform/scaling_undo.h"

namespace qz {

namespace {

// The places of a point's arrays, in the order in which they are kept.
constexpr double* Solution::*kColumnArrays[] = {&Solution::primal, &Solution::lowerSlack, &Solution::upperSlack,
                                                &Solution::lowerDual, &Solution::upperDual};
constexpr double* Solution::*kRowArrays[] = {&Solution::dual, &Solution::ineqnSlack};

}  // namespace

int32_t SavedPoint::save(Env* env, int32_t numRow, int32_t numCol, const Solution* solution) {
  const int32_t status = values_.allocate(env->pool, 5 * int64_t{numCol} + 2 * int64_t{numRow});
  if (status != QZ_STATUS_OK) return status;
  numRow_ = numRow;
  numCol_ = numCol;
  double* to = values_.get();
  for (const auto array : kColumnArrays) to = std::copy_n(solution->*array, numCol, to);
  for (const auto array : kRowArrays) to = std::copy_n(solution->*array, numRow, to);
  return QZ_STATUS_OK;
}

void SavedPoint::restore(Solution* solution) const {
  if (!values_) return;
  const double* from = values_.get();
  for (const auto array : kColumnArrays) {
    std::copy_n(from, numCol_, solution->*array);
    from += numCol_;
  }
  for (const auto array : kRowArrays) {
    std::copy_n(from, numRow_, solution->*array);
    from += numRow_;
  }
}

void SavedPoint::unscale(const Hub* hub) {
  if (!values_ || hub->scaleState == 0) return;
  const bool all = hub->scaleState == 2;
  const int64_t n = numCol_;
  for (int64_t k = 0; k < 3 * n && all; ++k)
    values_[k] = unscaleColumnValue(hub, static_cast<int32_t>(k % n), values_[k]);
  for (int64_t k = 3 * n; k < 5 * n; ++k)
    values_[k] = all ? unscaleColumnDual(hub, static_cast<int32_t>(k % n), values_[k]) : values_[k] / hub->objScale;
  double* dual = values_.get() + 5 * n;
  double* slack = dual + numRow_;
  for (int32_t i = 0; i < numRow_; ++i) {
    dual[i] *= (all ? hub->rowScale[i] : 1.0) / hub->objScale;
    if (all) slack[i] /= hub->rowScale[i];
  }
}

}  // namespace qz
