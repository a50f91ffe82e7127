#include "diagnostics/verify_shift.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/verify_model.h"
#include "shell/pool.h"
#include "transform/bound_shift.h"

namespace qz {

namespace {

// An array that is put back as it was.
struct Saved {
  double* array;
  PoolArray<double> copy;

  [[nodiscard]] int32_t save(QzPool* pool, double* values, int64_t count) {
    array = values;
    if (copy.allocate(pool, count) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    std::copy_n(values, count, copy.get());
    return QZ_STATUS_OK;
  }
  void restore() const { std::copy_n(copy.get(), copy.size(), array); }
};

// Everything that a shift moves.
class SavedModel {
 public:
  [[nodiscard]] int32_t save(QzPool* pool, const Model* model, const Solution* solution) {
    int64_t extent = 0;
    for (int32_t j = 0; j < model->numCol; ++j)
      extent = std::max(extent, int64_t{model->colBegin[j]} + model->colLength[j]);
    const int64_t n = model->numCol;
    const struct {
      double* values;
      int64_t count;
    } arrays[kNumArray] = {{model->lower, n},           {model->upper, n},         {model->obj, n},
                           {model->rhs, model->numRow}, {model->matValue, extent}, {solution->primal, n},
                           {solution->lowerSlack, n},   {solution->upperSlack, n}, {solution->lowerDual, n},
                           {solution->upperDual, n}};
    for (int32_t k = 0; k < kNumArray; ++k)
      if (saved_[k].save(pool, arrays[k].values, arrays[k].count) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    return QZ_STATUS_OK;
  }
  void restore() const {
    for (const Saved& saved : saved_) saved.restore();
  }

 private:
  static constexpr int32_t kNumArray = 10;
  Saved saved_[kNumArray]{};
};

int32_t checkResiduals(Env* env, int32_t level, const Model* model, const IpmOption* option, const Solution* solution) {
  const int32_t statuses[] = {VerifyModelPrimal(env, level, model, option, solution),
                              VerifyModelBound(env, level, model, option, solution),
                              VerifyModelDual(env, level, model, option, solution)};
  for (const int32_t status : statuses)
    if (status != QZ_STATUS_OK) return status;
  return QZ_STATUS_OK;
}

// Shift, check, back, check; the first status that is not 0.
int32_t shiftAndBack(Env* env, int32_t level, Model* model, IpmOption* option, Solution* solution, const Model* copy) {
  Presolver presolver{};
  Hub hub{};
  int32_t status = ipmShiftBound(env, model, option, &hub, &presolver, solution);
  if (status == QZ_STATUS_OK) {
    const int32_t shifted = checkResiduals(env, level, model, option, solution);
    status = ipmShiftRestore(env, model, option, &hub, &presolver, solution);
    if (status == QZ_STATUS_OK) status = shifted;
    const int32_t restored = checkResiduals(env, level, model, option, solution);
    if (status == QZ_STATUS_OK) status = restored;
    const int32_t compared = VerifyCompareModel(env, level, model, copy);
    if (status == QZ_STATUS_OK) status = compared;
  }
  poolFree(env->pool, presolver.shiftValue);
  poolFree(env->pool, presolver.shiftStatus);
  return status;
}

}  // namespace

int32_t VerifyShiftBound(Env* env, int32_t level, Model* model, IpmOption* option, Solution* solution) {
  if (!verifies(level, VERIFY_VALUES) || model->typeModel != IPM_MODEL_LP) return QZ_STATUS_OK;
  Check check(env, L"VerifyShiftBound");
  Model copy{};
  SavedModel saved;
  int32_t status = saved.save(env->pool, model, solution);
  if (status == QZ_STATUS_OK) status = VerifyCopyModel(env, level, model, &copy);
  if (status != QZ_STATUS_OK) return status;
  status = shiftAndBack(env, level, model, option, solution, &copy);
  VerifyDeleteModel(env, level, &copy);
  saved.restore();
  if (status == QZ_STATUS_FAILED) check.breach(L"shift", -1, L"does not keep the residuals or does not come back");
  return status;
}

}  // namespace qz
