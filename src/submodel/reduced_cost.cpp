#include "submodel/reduced_cost.h"

#include <algorithm>

#include "transform/sparse_helpers.h"

namespace qz {

int32_t makeGradient(Env* env, const Model* model, const double* x, PoolArray<double>& gradient) {
  if (model->typeModel != IPM_MODEL_LP && model->typeModel != IPM_MODEL_QP) return QZ_STATUS_FAILED;
  const int32_t status = gradient.allocate(env->pool, model->numCol);
  if (status != QZ_STATUS_OK) return status;
  std::copy_n(model->obj, model->numCol, gradient.get());
  if (model->typeModel == IPM_MODEL_QP)
    symmatrixTimesVector(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                         model->quadMatValue, model->quadDiag, x, gradient.get(), 1.0);
  return QZ_STATUS_OK;
}

double columnTimes(const Model* model, int32_t j, const double* y) {
  double sum = 0.0;
  const int32_t begin = model->colBegin[j];
  for (int32_t e = begin; e < begin + model->colLength[j]; ++e) sum += model->matValue[e] * y[model->rowIndex[e]];
  return sum;
}

}  // namespace qz
