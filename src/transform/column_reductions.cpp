#include "transform/column_reductions.h"

#include "transform/sparse_helpers.h"

namespace qz {

namespace {

int32_t columnFault(Presolver* p, int32_t col, int32_t status) {
  p->infeasCol = col;
  return status;
}

bool hasQuadraticCopy(const Model* model, const Presolver* p) {
  return model->typeModel == IPM_MODEL_QP && p->quadColBegin != nullptr;
}

// Moves the products of a fixed column's quadratic elements into the costs of its neighbours.
void detachQuadratic(Env* env, Presolver* p, int32_t col, double x) {
  for (int32_t k = p->quadColBegin[col], end = k + p->quadColLength[col]; k < end; ++k) {
    const int32_t other = p->quadRowIndex[k];
    p->obj[other] += p->quadMatValue[k] * x;
    removeElement(env, col, other, p->quadRowBegin, p->quadRowLength, p->quadColIndex, p->quadRowValue);
    p->colChecked[other] = 0;
  }
  for (int32_t k = p->quadRowBegin[col], end = k + p->quadRowLength[col]; k < end; ++k) {
    const int32_t other = p->quadColIndex[k];
    p->obj[other] += p->quadRowValue[k] * x;
    removeElement(env, col, other, p->quadColBegin, p->quadColLength, p->quadRowIndex, p->quadMatValue);
    p->colChecked[other] = 0;
  }
  p->numRemovedQuadElement += p->quadColLength[col] + p->quadRowLength[col];
  p->quadColLength[col] = 0;
  p->quadRowLength[col] = 0;
}

}  // namespace

int32_t detectInfeasBound(Env*, const Model* model, const IpmOption* options, Presolver* p) {
  const double inf = options->infinityValue;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double l = p->lower[j];
    const double u = p->upper[j];
    if (l > -inf && u < inf && l > u + options->tolPrimal) return columnFault(p, j, QZ_STATUS_PRIMAL_INFEASIBLE);
    if (l >= inf || u <= -inf) return columnFault(p, j, QZ_STATUS_DUAL_INFEASIBLE);
  }
  return QZ_STATUS_OK;
}

int32_t removeFixedCol(Env* env, const Model* model, const IpmOption*, Presolver* p, int32_t col) {
  const double x = p->lower[col];
  p->colMap[col] = COLMAP_FIXED;
  ++p->numRemovedCol;
  p->numRemovedElement += p->colLength[col];
  p->changed = 1;
  for (int32_t k = p->colBegin[col], end = k + p->colLength[col]; k < end; ++k) {
    const int32_t row = p->rowIndex[k];
    p->rhs[row] -= p->matValue[k] * x;
    removeElement(env, col, row, p->rowBegin, p->rowLength, p->colIndex, p->rowValue);
    p->rowChecked[row] = 0;
  }
  if (hasQuadraticCopy(model, p)) detachQuadratic(env, p, col, x);
  return QZ_STATUS_OK;
}

int32_t removeEmptyCol(Env*, const Model* model, const IpmOption* options, Presolver* p, int32_t col) {
  if (hasQuadraticCopy(model, p) && p->quadColLength[col] + p->quadRowLength[col] > 0) return QZ_STATUS_OK;
  p->colMap[col] = COLMAP_EMPTY;
  ++p->numRemovedCol;
  const double inf = options->infinityValue;
  const bool noLower = p->lower[col] <= -inf;
  const bool noUpper = p->upper[col] >= inf;
  const double curvature = model->typeModel == IPM_MODEL_QP ? model->quadDiag[col] : 0.0;
  // A curvature too flat to place the minimiser is none here either, or the column would be put at an infinite bound.
  if (curvature < -kFlatCurvature) {
    if (noLower || noUpper) return columnFault(p, col, QZ_STATUS_DUAL_INFEASIBLE);
  } else if (curvature <= kFlatCurvature) {
    const double cost = p->obj[col];
    if ((cost > 0.0 && noLower) || (cost < 0.0 && noUpper)) return columnFault(p, col, QZ_STATUS_DUAL_INFEASIBLE);
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
