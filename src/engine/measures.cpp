#include "engine/measures.h"

#include <algorithm>
#include <cmath>

#include "engine/engine_state.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kPairFloor = 1e-6;  // a pair whose smaller member is not above it has separated

// The point that is measured.
struct Point {
  const double* primal;
  const double* dual;
  const double* ineqnSlack;
  const double* lowerSlack;
  const double* upperSlack;
  const double* lowerDual;
  const double* upperDual;
};

struct Measures {
  double primalInfeas;
  double dualInfeas;
  double boundInfeas;
  double dualityGap;
};

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
double subtractQuadratic(const Ipm* ipm, const double* __restrict x, double* __restrict v) {
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

// One pass over the columns: residuals of the columns and their bounds, and A x in the row part of v. With kFold the
// column part takes the right-hand side of the Newton system, which divides by the slacks.
template <bool kFold>
void measureColumns(const Ipm* ipm, const Point& point, double* __restrict v, Sums& sums) {
  const double* __restrict x = point.primal;
  const double* __restrict y = point.dual;
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
      const double slack = point.upperSlack[j];
      const double dual = point.upperDual[j];
      residual -= dual;
      sums.objDual -= dual * ipm->upper[j];
      if constexpr (kFold) folded -= dual * (1.0 - gap / slack);
      sums.pair(slack, dual);
      sums.boundSquares += (gap - slack) * (gap - slack);
    }
    if (hasLower(bounds)) {
      const double gap = xj - ipm->lower[j];
      const double slack = point.lowerSlack[j];
      const double dual = point.lowerDual[j];
      residual += dual;
      sums.objDual += dual * ipm->lower[j];
      if constexpr (kFold) folded += dual * (1.0 - gap / slack);
      sums.pair(slack, dual);
      sums.boundSquares += (gap - slack) * (gap - slack);
    }
    if constexpr (kFold) v[j] = folded;
    sums.dualSquares += residual * residual;
    sums.objPrimal += ipm->obj[j] * xj;
  }
}

void measureRows(const Ipm* ipm, const Point& point, const double* v, Sums& sums) {
  const double* row = v + ipm->numCol;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    sums.objDual += point.dual[i] * ipm->rhs[i];
    if (ipm->rowSense[i] == 'G') sums.pair(point.ineqnSlack[i], point.dual[i]);
    const double residual = row[i] - point.ineqnSlack[i];
    sums.primalSquares += residual * residual;
  }
}

// One pass over the matrix; v gets numDim entries of work.
template <bool kFold>
Sums measurePoint(const Ipm* ipm, const Point& point, double* v) {
  Sums sums;
  startRhs(ipm, v);
  if (ipm->typeModel == IPM_MODEL_QP) {
    sums.objPrimal = subtractQuadratic(ipm, point.primal, v);
    sums.objDual = -sums.objPrimal;
  }
  measureColumns<kFold>(ipm, point, v, sums);
  measureRows(ipm, point, v, sums);
  return sums;
}

Measures relative(const Ipm* ipm, const Sums& sums) {
  return {std::sqrt(sums.primalSquares) / (ipm->normRhs + 1.0), std::sqrt(sums.dualSquares) / (ipm->normObj + 1.0),
          std::sqrt(sums.boundSquares) / (ipm->normLower + 1.0 + ipm->normUpper),
          std::fabs(sums.objPrimal - sums.objDual) / (std::fabs(sums.objPrimal) + 1.0)};
}

}  // namespace

void computeMeasurement(Ipm* ipm) {
  const Point iterate{ipm->primal,     ipm->dual,      ipm->ineqnSlack, ipm->lowerSlack,
                      ipm->upperSlack, ipm->lowerDual, ipm->upperDual};
  const Sums sums = measurePoint<true>(ipm, iterate, ipm->rhsPredictor);
  const Measures measures = relative(ipm, sums);
  ipm->objValuePrimal = sums.objPrimal;
  ipm->objValueDual = sums.objDual;
  ipm->complementarity = sums.complementarity;
  ipm->complRatio = sums.complRatio;
  ipm->primalInfeas = measures.primalInfeas;
  ipm->dualInfeas = measures.dualInfeas;
  ipm->boundInfeas = measures.boundInfeas;
  ipm->dualityGap = measures.dualityGap;
  ipm->mu = sums.complementarity / ipm->numCompl;
}

int32_t computeMeasurementReset(const Ipm* ipm, const double* x, const double* y, const double* ineqnSlack,
                                const double* lowerSlack, const double* upperSlack, const double* lowerDual,
                                const double* upperDual, double* primalInfeas, double* dualInfeas, double* boundInfeas,
                                double* dualityGap, double* complementarity) {
  PoolArray<double> work;
  if (work.allocate(ipm->env->pool, int64_t{ipm->numCol} + ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  const Sums sums =
      measurePoint<false>(ipm, {x, y, ineqnSlack, lowerSlack, upperSlack, lowerDual, upperDual}, work.get());
  const Measures measures = relative(ipm, sums);
  *primalInfeas = measures.primalInfeas;
  *dualInfeas = measures.dualInfeas;
  *boundInfeas = measures.boundInfeas;
  *dualityGap = measures.dualityGap;
  *complementarity = sums.complementarity;
  return QZ_STATUS_OK;
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
