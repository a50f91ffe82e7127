#include "eigen/convexity.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "eigen/sparse_eigen.h"
#include "shell/pool.h"
#include "sparse/la_env.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// Both triangles by columns.
struct FullMatrix {
  PoolArray<int32_t> start;
  PoolArray<int32_t> index;
  PoolArray<double> value;
};

// The strict lower triangle by rows, that is the upper one by columns.
struct UpperTriangle {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> length;
  PoolArray<int32_t> index;
  PoolArray<double> value;
};

int32_t decide(double smallest) {
  return smallest < kConvexityTolerance ? kNotConvex : QZ_STATUS_OK;
}

int32_t transposeTriangle(QzPool* pool, const Model& model, UpperTriangle* upper) {
  const int32_t n = model.numCol;
  if (upper->begin.allocate(pool, static_cast<int64_t>(n) + 1) != QZ_STATUS_OK ||
      upper->length.allocate(pool, n) != QZ_STATUS_OK ||
      upper->index.allocate(pool, model.numQuadCoef) != QZ_STATUS_OK ||
      upper->value.allocate(pool, model.numQuadCoef) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  toggleMatrixWithLength(n, n, nullptr, model.quadColBegin, model.quadColLength, model.quadRowIndex, model.quadMatValue,
                         upper->begin.get(), upper->length.get(), upper->index.get(), upper->value.get());
  return QZ_STATUS_OK;
}

// Each column: the entries above the diagonal, the diagonal if it is not zero, the entries below.
int32_t buildFullMatrix(QzPool* pool, const Model& model, FullMatrix* full) {
  const int32_t n = model.numCol;
  const int64_t entries = 2 * static_cast<int64_t>(model.numQuadCoef) + n;
  if (entries > std::numeric_limits<int32_t>::max()) return QZ_STATUS_FAILED;
  if (full->start.allocate(pool, static_cast<int64_t>(n) + 1) != QZ_STATUS_OK ||
      full->index.allocate(pool, entries) != QZ_STATUS_OK || full->value.allocate(pool, entries) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  UpperTriangle upper;
  const int32_t status = transposeTriangle(pool, model, &upper);
  if (status != QZ_STATUS_OK) return status;
  int32_t at = 0;
  const auto append = [&](const int32_t* index, const double* value, int32_t begin, int32_t length) {
    std::copy_n(index + begin, length, full->index.get() + at);
    std::copy_n(value + begin, length, full->value.get() + at);
    at += length;
  };
  for (int32_t j = 0; j < n; ++j) {
    full->start[j] = at;
    append(upper.index.get(), upper.value.get(), upper.begin[j], upper.length[j]);
    if (model.quadDiag[j] != 0.0) append(&j, model.quadDiag + j, 0, 1);
    append(model.quadRowIndex, model.quadMatValue, model.quadColBegin[j], model.quadColLength[j]);
  }
  full->start[n] = at;
  return QZ_STATUS_OK;
}

// The smallest eigenvalue; the best value so far when the limit of products ends the search.
int32_t findSmallest(QzPool* pool, int32_t n, const FullMatrix& full, LAEnv* laEnv, double* smallest) {
  if (LA_SetCharParam(laEnv, LA_KEY_EIGEN_END, 'S') != LA_OK || LA_SetIntParam(laEnv, LA_KEY_EIGEN_COUNT, 1) != LA_OK)
    return QZ_STATUS_FAILED;
  PoolArray<double> vector;
  if (vector.allocate(pool, n) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  double residual = 0.0;
  const int32_t status = LA_SparseSymEigenSolver(n, full.start.get(), full.index.get(), full.value.get(), laEnv,
                                                 nullptr, smallest, vector.get(), &residual);
  if (status == LA_NO_MEMORY) return QZ_STATUS_OUT_OF_MEMORY;
  return status == 0 || status == kEigenLimit ? QZ_STATUS_OK : QZ_STATUS_FAILED;
}

}  // namespace

int32_t ipmDetectConvexity(Env* env, const Model* model) {
  if (model->typeModel != IPM_MODEL_QP) return QZ_STATUS_OK;
  if (model->numQuadCoef == 0) {
    double smallest = kInfinity;
    for (int32_t j = 0; j < model->numCol; ++j) smallest = std::min(smallest, model->quadDiag[j]);
    return decide(smallest);
  }
  FullMatrix full;
  int32_t status = buildFullMatrix(env->pool, *model, &full);
  if (status != QZ_STATUS_OK) return status;
  LAEnv* laEnv = LA_CreateLAEnv(env->pool, 0, &status);
  if (laEnv == nullptr) return status == LA_NO_MEMORY ? QZ_STATUS_OUT_OF_MEMORY : QZ_STATUS_FAILED;
  double smallest = 0.0;
  status = findSmallest(env->pool, model->numCol, full, laEnv, &smallest);
  LA_FreeLAEnv(&laEnv);
  return status == QZ_STATUS_OK ? decide(smallest) : status;
}

}  // namespace qz
