#include "engine/measures.h"

#include <algorithm>
#include <cmath>

#include "engine/engine_state.h"

namespace qz {

namespace {

constexpr double kPairFloor = 1e-6;  // a pair whose smaller member is not above it has separated

struct Sums {
  double objPrimal = 0.0;
  double objDual = 0.0;
  double complementarity = 0.0;
  double complRatio = 0.0;
  double primalSquares = 0.0;
  double dualSquares = 0.0;
  double boundSquares = 0.0;

  void pair(double slack, double dual) {
    complementarity += std::fabs(slack * dual);
    const double smaller = std::min(std::fabs(slack), std::fabs(dual));
    const double larger = std::max(std::fabs(slack), std::fabs(dual));
    if (smaller > kPairFloor) complRatio = std::max(complRatio, smaller / larger);
  }
};

// v := (-c, -b).
void startRhs(const Ipm* ipm, double* __restrict v) {
  for (int32_t j = 0; j < ipm->numCol; ++j) v[j] = -ipm->obj[j];
  double* __restrict row = v + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i) row[i] = -ipm->rhs[i];
}

// Column part of v -= Q x. Returns x'Qx / 2.
double subtractQuadratic(const Ipm* ipm, double* __restrict v) {
  const double* __restrict x = ipm->primal;
  const bool offDiagonal = ipm->numQuadCoef > 0;
  double half = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double xj = x[j];
    double gradient = ipm->quadDiag[j] * xj;
    half += 0.5 * gradient * xj;
    if (offDiagonal) {
      const int32_t* index = ipm->quadRowIndex + ipm->quadColBegin[j];
      const double* value = ipm->quadMatValue + ipm->quadColBegin[j];
      for (int32_t k = 0; k < ipm->quadColLength[j]; ++k) {
        const int32_t i = index[k];
        v[i] -= xj * value[k];
        half += xj * value[k] * x[i];
        gradient += value[k] * x[i];
      }
    }
    v[j] -= gradient;
  }
  return half;
}

// One pass over the columns: residuals of the columns and their bounds, and A x in the row part of v.
void measureColumns(const Ipm* ipm, double* __restrict v, Sums& sums) {
  const double* __restrict x = ipm->primal;
  const double* __restrict y = ipm->dual;
  double* __restrict row = v + ipm->numCol;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double xj = x[j];
    const int32_t* index = ipm->rowIndex + ipm->colBegin[j];
    const double* value = ipm->matValue + ipm->colBegin[j];
    double product = 0.0;
    for (int32_t k = 0; k < ipm->colLength[j]; ++k) {
      row[index[k]] += xj * value[k];
      product += value[k] * y[index[k]];
    }
    double folded = v[j] + product;
    double residual = folded;
    const uint8_t bounds = ipm->statusBound[j];
    if (hasUpper(bounds)) {
      const double gap = ipm->upper[j] - xj;
      const double slack = ipm->upperSlack[j];
      const double dual = ipm->upperDual[j];
      residual -= dual;
      sums.objDual -= dual * ipm->upper[j];
      folded -= dual * (1.0 - gap / slack);
      sums.pair(slack, dual);
      sums.boundSquares += (gap - slack) * (gap - slack);
    }
    if (hasLower(bounds)) {
      const double gap = xj - ipm->lower[j];
      const double slack = ipm->lowerSlack[j];
      const double dual = ipm->lowerDual[j];
      residual += dual;
      sums.objDual += dual * ipm->lower[j];
      folded += dual * (1.0 - gap / slack);
      sums.pair(slack, dual);
      sums.boundSquares += (gap - slack) * (gap - slack);
    }
    v[j] = folded;
    sums.dualSquares += residual * residual;
    sums.objPrimal += ipm->obj[j] * xj;
  }
}

void measureRows(const Ipm* ipm, const double* v, Sums& sums) {
  const double* row = v + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    sums.objDual += ipm->dual[i] * ipm->rhs[i];
    if (ipm->rowSense[i] == 'G') sums.pair(ipm->ineqnSlack[i], ipm->dual[i]);
    const double residual = row[i] - ipm->ineqnSlack[i];
    sums.primalSquares += residual * residual;
  }
}

}  // namespace

void computeMeasurement(Ipm* ipm) {
  double* v = ipm->rhsPredictor;
  Sums sums;
  startRhs(ipm, v);
  if (ipm->typeModel == IPM_MODEL_QP) {
    sums.objPrimal = subtractQuadratic(ipm, v);
    sums.objDual = -sums.objPrimal;
  }
  measureColumns(ipm, v, sums);
  measureRows(ipm, v, sums);

  ipm->objValuePrimal = sums.objPrimal;
  ipm->objValueDual = sums.objDual;
  ipm->complementarity = sums.complementarity;
  ipm->complRatio = sums.complRatio;
  ipm->primalInfeas = std::sqrt(sums.primalSquares) / (ipm->normRhs + 1.0);
  ipm->dualInfeas = std::sqrt(sums.dualSquares) / (ipm->normObj + 1.0);
  ipm->boundInfeas = std::sqrt(sums.boundSquares) / (ipm->normLower + 1.0 + ipm->normUpper);
  ipm->dualityGap = std::fabs(sums.objPrimal - sums.objDual) / (std::fabs(sums.objPrimal) + 1.0);
  ipm->mu = sums.complementarity / ipm->numCompl;
}

int32_t getSolutionStatus(double tolPrimal, double tolDual, double tolOptimality, double tolComplement,
                          double primalInfeas, double boundInfeas, double dualInfeas, double dualityGap,
                          double complementarity) {
  const bool primalMet = primalInfeas <= tolPrimal && boundInfeas <= tolPrimal;
  const bool dualMet = dualInfeas <= tolDual;
  if (primalMet && dualMet && dualityGap <= tolOptimality && complementarity <= tolComplement) return QZ_STATUS_OPTIMAL;

  const bool gapMet = dualityGap < tolOptimality;
  const bool complementMet = complementarity < tolComplement;
  const bool bothNear = dualityGap < 100.0 * tolOptimality && complementarity < 100.0 * tolComplement;
  if (gapMet || complementMet || bothNear) {
    if (primalMet && dualMet) return QZ_STATUS_NEAR_OPTIMAL;
    if (complementMet && primalInfeas <= 10.0 * tolPrimal && boundInfeas <= 10.0 * tolPrimal &&
        dualInfeas <= 10.0 * tolDual)
      return QZ_STATUS_NEAR_OPTIMAL;
  }
  if (primalInfeas > tolPrimal || boundInfeas > tolPrimal)
    return dualInfeas > tolDual ? QZ_STATUS_BOTH_INFEASIBLE : QZ_STATUS_PRIMAL_INFEASIBLE;
  if (dualInfeas > tolDual) return QZ_STATUS_DUAL_INFEASIBLE;
  return QZ_STATUS_FAILED;
}

void computeMuAffine(Ipm* ipm) {
  const double alphaPrimal = ipm->alphaPrimal;
  const double alphaDual = ipm->alphaDual;
  double sum = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    if (hasUpper(bounds))
      sum += (ipm->upperSlack[j] + alphaPrimal * ipm->upperSlackDelta[j]) *
             (ipm->upperDual[j] + alphaDual * ipm->upperDualDelta[j]);
    if (hasLower(bounds))
      sum += (ipm->lowerSlack[j] + alphaPrimal * ipm->lowerSlackDelta[j]) *
             (ipm->lowerDual[j] + alphaDual * ipm->lowerDualDelta[j]);
  }
  const double* dy = ipm->rhsPredictor + ipm->numCol;
  forEachIneqnRow(ipm, [&](int32_t i) {
    sum += (ipm->ineqnSlack[i] + alphaPrimal * ipm->ineqnSlackDelta[i]) * (ipm->dual[i] + alphaDual * dy[i]);
  });
  ipm->muAffine = sum / ipm->numCompl;
}

void computeSigma(Ipm* ipm) {
  const double ratio = ipm->muAffine / ipm->mu;
  ipm->sigma = ratio * ratio * ratio;
}

}  // namespace qz
