#include "diagnostics/verify_iteration.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "engine/directions.h"
#include "engine/engine_state.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kMeasureTolerance = 1e-8;
// The ratio test passes over directions above -1e-15, so that a quantity that has vanished may fall by so much in each
// of at most 1000 steps.
constexpr double kVanished = 1e-12;

// Each entry of a residual, with the size of its terms.
struct Residual {
  PoolArray<Sum> entry;

  [[nodiscard]] int32_t make(const Ipm* ipm, int32_t n) { return entry.allocateZero(ipm->env->pool, n); }
  Sum& operator[](int32_t k) const { return entry[k]; }
  [[nodiscard]] Sum norm() const {
    Sum squares;
    for (int64_t k = 0; k < entry.size(); ++k) {
      squares.value += entry[k].value * entry[k].value;
      squares.size += entry[k].size * entry[k].size;
    }
    return {std::sqrt(squares.value), std::sqrt(squares.size)};
  }
};

// r += alpha A x, and r += alpha A'y.
void addRows(const Ipm* ipm, const double* x, double alpha, const Residual& r) {
  for (int32_t j = 0; j < ipm->numCol; ++j)
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      r[ipm->rowIndex[k]].add(alpha * ipm->matValue[k] * x[j]);
}
void addColumns(const Ipm* ipm, const double* y, double alpha, const Residual& r) {
  for (int32_t j = 0; j < ipm->numCol; ++j)
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      r[j].add(alpha * ipm->matValue[k] * y[ipm->rowIndex[k]]);
}

// r += alpha Q x.
void addQuadratic(const Ipm* ipm, const double* x, double alpha, const Residual& r) {
  if (ipm->typeModel != IPM_MODEL_QP) return;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    r[j].add(alpha * ipm->quadDiag[j] * x[j]);
    if (ipm->numQuadCoef == 0) continue;
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k) {
      r[j].add(alpha * ipm->quadMatValue[k] * x[ipm->quadRowIndex[k]]);
      r[ipm->quadRowIndex[k]].add(alpha * ipm->quadMatValue[k] * x[j]);
    }
  }
}

// A x - s - b.
void addPrimalResidual(const Ipm* ipm, double alpha, const Residual& r) {
  addRows(ipm, ipm->primal, alpha, r);
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    r[i].add(-alpha * ipm->ineqnSlack[i]);
    r[i].add(-alpha * ipm->rhs[i]);
  }
}

// A'y - c - Q x - zu + zl.
void addDualResidual(const Ipm* ipm, double alpha, const Residual& r) {
  addColumns(ipm, ipm->dual, alpha, r);
  addQuadratic(ipm, ipm->primal, -alpha, r);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    r[j].add(-alpha * ipm->obj[j]);
    if (hasUpper(ipm->statusBound[j])) r[j].add(-alpha * ipm->upperDual[j]);
    if (hasLower(ipm->statusBound[j])) r[j].add(alpha * ipm->lowerDual[j]);
  }
}

// x'Qx / 2.
Sum quadraticForm(const Ipm* ipm, const double* x) {
  Sum half;
  if (ipm->typeModel != IPM_MODEL_QP) return half;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    half.add(0.5 * ipm->quadDiag[j] * x[j] * x[j]);
    if (ipm->numQuadCoef == 0) continue;
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k)
      half.add(ipm->quadMatValue[k] * x[j] * x[ipm->quadRowIndex[k]]);
  }
  return half;
}

// A pair of slack and dual of a bound, with its steps.
struct BoundSide {
  const wchar_t* slackName;
  const wchar_t* dualName;
  const double* slack;
  const double* dual;
  const double* slackDelta;
  const double* dualDelta;
  double sign;  // of dx in the slack's step: -1 for upper bounds

  [[nodiscard]] double gap(const Ipm* ipm, int32_t j) const {
    return sign < 0.0 ? ipm->upper[j] - ipm->primal[j] : ipm->primal[j] - ipm->lower[j];
  }
  [[nodiscard]] double size(const Ipm* ipm, int32_t j) const {
    return std::fabs(sign < 0.0 ? ipm->upper[j] : ipm->lower[j]) + std::fabs(ipm->primal[j]) + std::fabs(slack[j]);
  }
  [[nodiscard]] bool exists(const Ipm* ipm, int32_t j) const {
    return sign < 0.0 ? hasUpper(ipm->statusBound[j]) : hasLower(ipm->statusBound[j]);
  }
};

struct BoundSides {
  BoundSide side[2];
  explicit BoundSides(const Ipm* ipm)
      : side{{L"upperSlack", L"upperDual", ipm->upperSlack, ipm->upperDual, ipm->upperSlackDelta, ipm->upperDualDelta,
              -1.0},
             {L"lowerSlack", L"lowerDual", ipm->lowerSlack, ipm->lowerDual, ipm->lowerSlackDelta, ipm->lowerDualDelta,
              1.0}} {}
  const BoundSide* begin() const { return side; }
  const BoundSide* end() const { return side + 2; }
};

// The factorisation of the normal equations takes a row out that depends on others, by a pivot of 1e77: its dual does
// not move then, and its equation is not solved.
constexpr double kTakenOut = 1e-60;
bool isTakenOut(const Ipm* ipm, double dualStep) {
  return ipm->typeMethod == IPM_METHOD_NORMAL && std::fabs(dualStep) < kTakenOut;
}

// Eliminated by rows, a direction's columns enter the rows as A D (A'dy + r): what cancels in the brackets is rounded
// on its own scale, and a Cholesky solve, which nothing refines, is exact only up to rounding of these terms (Higham
// 2002, chapter 10). The sizes of the rows take them in.
void addEliminated(const Ipm* ipm, const Residual& columns, const Residual& rows, int32_t firstRow) {
  if (ipm->typeMethod != IPM_METHOD_NORMAL) return;
  for (int32_t j = 0; j < ipm->numCol; ++j)
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      rows[firstRow + ipm->rowIndex[k]].size += std::fabs(ipm->matValue[k]) * ipm->normalDiag[j] * columns[j].size;
}

double newtonTolerance(const Ipm* ipm) {
  return std::max(1e-6, std::max(ipm->tolPrimal, ipm->tolDual));
}

// The relative norm of a residual against what the engine holds.
void compareMeasure(Check& check, const wchar_t* field, double value, const Residual& r, double scale) {
  const Sum norm = r.norm();
  check.close(field, -1, value, norm.value / scale, kMeasureTolerance * (1.0 + norm.size) / scale);
}

void checkBoundSteps(const Ipm* ipm, Check& check, const BoundSide& side, const double* dx) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (!side.exists(ipm, j)) {
      check.close(side.slackName, j, side.slackDelta[j], 0.0, 0.0);
      check.close(side.dualName, j, side.dualDelta[j], 0.0, 0.0);
      continue;
    }
    const double expected = side.gap(ipm, j) - side.slack[j] + side.sign * dx[j];
    check.close(side.slackName, j, side.slackDelta[j], expected,
                newtonTolerance(ipm) * (1.0 + side.size(ipm, j) + std::fabs(dx[j])));
  }
}

// slack dualDelta + dual slackDelta = -slack dual on every pair.
void checkAffinePairs(const Ipm* ipm, Check& check, const double* dy) {
  const double tolerance = newtonTolerance(ipm);
  const auto pair = [&](const wchar_t* name, int32_t k, double slack, double dual, double slackDelta,
                        double dualDelta) {
    Sum sum;
    sum.add(slack * dualDelta);
    sum.add(dual * slackDelta);
    sum.add(slack * dual);
    check.close(name, k, sum.value, 0.0, tolerance * (1.0 + sum.size));
  };
  for (const BoundSide& side : BoundSides(ipm))
    for (int32_t j = 0; j < ipm->numCol; ++j)
      if (side.exists(ipm, j))
        pair(side.dualName, j, side.slack[j], side.dual[j], side.slackDelta[j], side.dualDelta[j]);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] == 'G')
      pair(L"ineqnSlack", i, ipm->ineqnSlack[i], ipm->dual[i], ipm->ineqnSlackDelta[i], dy[i]);
}

// Adds the sizes of the terms of K v, the scale on which a solve that gave v is exact.
void addSolveSizes(const Ipm* ipm, const double* v, const Residual& rows, const Residual& columns) {
  const double* row = v + ipm->numCol;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k) {
      rows[ipm->rowIndex[k]].size += std::fabs(ipm->matValue[k] * v[j]);
      columns[j].size += std::fabs(ipm->matValue[k] * row[ipm->rowIndex[k]]);
    }
    for (const BoundSide& side : BoundSides(ipm))
      if (side.exists(ipm, j)) columns[j].size += std::fabs(side.dual[j] / side.slack[j] * v[j]);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] == 'G') rows[i].size += std::fabs(ipm->ineqnSlack[i] / ipm->dual[i] * row[i]);
}

// The combined direction is the sum of two solves, which may cancel: each is judged on its own scale.
int32_t addCombinedSizes(const Ipm* ipm, const Residual& rows, const Residual& columns) {
  PoolArray<double> correction;
  if (correction.allocate(ipm->env->pool, ipm->numDim) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; k < ipm->numDim; ++k) correction[k] = ipm->rhsCorrector[k] - ipm->rhsPredictor[k];
  addSolveSizes(ipm, ipm->rhsPredictor, rows, columns);
  addSolveSizes(ipm, correction.get(), rows, columns);
  return QZ_STATUS_OK;
}

// The rows and columns of the Newton equations, as norms.
int32_t checkLinearEquations(const Ipm* ipm, Check& check, const double* direction) {
  Residual rows;
  Residual columns;
  if (rows.make(ipm, ipm->numRow) != QZ_STATUS_OK || columns.make(ipm, ipm->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  if (direction == ipm->rhsCorrector && addCombinedSizes(ipm, rows, columns) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  addPrimalResidual(ipm, 1.0, rows);
  addRows(ipm, direction, 1.0, rows);
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    rows[i].add(-ipm->ineqnSlackDelta[i]);
    if (isTakenOut(ipm, direction[ipm->numCol + i])) rows[i].value = 0.0;
  }
  addDualResidual(ipm, 1.0, columns);
  addColumns(ipm, direction + ipm->numCol, 1.0, columns);
  addQuadratic(ipm, direction, -1.0, columns);
  for (const BoundSide& side : BoundSides(ipm))
    for (int32_t j = 0; j < ipm->numCol; ++j)
      if (side.exists(ipm, j)) columns[j].add(side.sign * side.dualDelta[j]);
  addEliminated(ipm, columns, rows, 0);
  const Sum row = rows.norm();
  const Sum column = columns.norm();
  // One residual of one linear system: the refinement promises nothing about its parts.
  const double tolerance = newtonTolerance(ipm) * (1.0 + std::hypot(row.size, column.size));
  check.close(L"rows of the direction", -1, row.value, 0.0, tolerance);
  check.close(L"columns of the direction", -1, column.value, 0.0, tolerance);
  return check.result();
}

// What the corrector's right-hand side is made of, negated into r: r := -rhs. Column part first.
void subtractCorrectorRhs(const Ipm* ipm, const Residual& r) {
  const double target = ipm->sigma * ipm->mu;
  const double share = secondOrderShare(ipm);
  const double* dy = ipm->rhsPredictor + ipm->numCol;
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (!side.exists(ipm, j)) continue;
      r[j].add(share * side.sign * side.slackDelta[j] * side.dualDelta[j] / side.slack[j]);
      r[j].add(-side.sign * target / side.slack[j]);
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] != 'G') continue;
    r[ipm->numCol + i].add(-share * ipm->ineqnSlackDelta[i] * dy[i] / ipm->dual[i]);
    r[ipm->numCol + i].add(target / ipm->dual[i]);
  }
}

// r += K c with Q + Theta, -A' and -A, -E of the iterate.
void addKktProduct(const Ipm* ipm, const double* c, const Residual& columns, const Residual& all) {
  const double* row = c + ipm->numCol;
  addColumns(ipm, row, -1.0, columns);
  addQuadratic(ipm, c, 1.0, columns);
  for (const BoundSide& side : BoundSides(ipm))
    for (int32_t j = 0; j < ipm->numCol; ++j)
      if (side.exists(ipm, j)) columns[j].add(side.dual[j] / side.slack[j] * c[j]);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    all[j].value += columns[j].value;
    all[j].size += columns[j].size;
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      all[ipm->numCol + ipm->rowIndex[k]].add(-ipm->matValue[k] * c[j]);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] == 'G') all[ipm->numCol + i].add(-ipm->ineqnSlack[i] / ipm->dual[i] * row[i]);
}

// One side of the ratio test.
struct StepCheck {
  Check& check;
  double alpha;
  bool blocked = false;

  void visit(const wchar_t* name, int32_t k, double quantity, double delta) {
    const double after = quantity + alpha * delta;
    check.atLeast(name, k, after, -1e-12 * (1.0 + std::fabs(quantity)));
    if (delta < 0.0 && after <= 1e-8 * (1.0 + std::fabs(quantity))) blocked = true;
  }
};

}  // namespace

int32_t VerifySolution(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifySolution");
  const auto positive = [&](const wchar_t* name, int32_t k, double value) {
    check.atLeast(name, k, value, -kVanished);
  };
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (side.exists(ipm, j)) {
        positive(side.slackName, j, side.slack[j]);
        positive(side.dualName, j, side.dual[j]);
      } else {
        check.close(side.slackName, j, side.slack[j], 0.0, 0.0);
        check.close(side.dualName, j, side.dual[j], 0.0, 0.0);
      }
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] == 'G') {
      positive(L"ineqnSlack", i, ipm->ineqnSlack[i]);
      positive(L"dual", i, ipm->dual[i]);
    } else {
      check.close(L"ineqnSlack", i, ipm->ineqnSlack[i], 0.0, 0.0);
    }
  }
  return check.report(level);
}

int32_t VerifyMeasurePrimal(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyMeasurePrimal");
  Residual rows;
  if (rows.make(ipm, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addPrimalResidual(ipm, 1.0, rows);
  compareMeasure(check, L"primalInfeas", ipm->primalInfeas, rows, 1.0 + ipm->normRhs);
  return check.report(level);
}

int32_t VerifyMeasureBound(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyMeasureBound");
  Sum squares;
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (!side.exists(ipm, j)) continue;
      const double distance = side.gap(ipm, j) - side.slack[j];
      squares.value += distance * distance;
      squares.size += side.size(ipm, j) * side.size(ipm, j);
    }
  }
  const double scale = 1.0 + ipm->normLower + ipm->normUpper;
  check.close(L"boundInfeas", -1, ipm->boundInfeas, std::sqrt(squares.value) / scale,
              kMeasureTolerance * (1.0 + std::sqrt(squares.size)) / scale);
  return check.report(level);
}

int32_t VerifyMeasureDual(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyMeasureDual");
  Residual columns;
  if (columns.make(ipm, ipm->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addDualResidual(ipm, 1.0, columns);
  compareMeasure(check, L"dualInfeas", ipm->dualInfeas, columns, 1.0 + ipm->normObj);
  return check.report(level);
}

int32_t VerifyMeasureDualityGap(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyMeasureDualityGap");
  const Sum half = quadraticForm(ipm, ipm->primal);
  Sum primal = half;
  Sum dual{-half.value, half.size};
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    primal.add(ipm->obj[j] * ipm->primal[j]);
    if (hasLower(ipm->statusBound[j])) dual.add(ipm->lower[j] * ipm->lowerDual[j]);
    if (hasUpper(ipm->statusBound[j])) dual.add(-ipm->upper[j] * ipm->upperDual[j]);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) dual.add(ipm->rhs[i] * ipm->dual[i]);
  const double error = kMeasureTolerance * (1.0 + primal.size + dual.size);
  check.close(L"objValuePrimal", -1, ipm->objValuePrimal, primal.value, error);
  check.close(L"objValueDual", -1, ipm->objValueDual, dual.value, error);
  const double gap = std::fabs(primal.value - dual.value) / (1.0 + std::fabs(primal.value));
  // An error of the objective stands in the divisor too.
  check.close(L"dualityGap", -1, ipm->dualityGap, gap, (1.0 + gap) * error / (1.0 + std::fabs(primal.value)));
  return check.report(level);
}

int32_t VerifyMeasureComplementarity(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyMeasureComplementarity");
  Sum sum;
  int32_t numPair = 0;
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (!side.exists(ipm, j)) continue;
      sum.add(std::fabs(side.slack[j] * side.dual[j]));
      ++numPair;
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] != 'G') continue;
    sum.add(std::fabs(ipm->ineqnSlack[i] * ipm->dual[i]));
    ++numPair;
  }
  check.close(L"complementarity", -1, ipm->complementarity, sum.value, kMeasureTolerance * (1.0 + sum.size));
  check.same(L"numCompl", -1, ipm->numCompl, numPair);
  if (numPair > 0) check.close(L"mu", -1, ipm->mu, sum.value / numPair, kMeasureTolerance * (1.0 + sum.size) / numPair);
  return check.report(level);
}

int32_t VerifyPredictorRhs(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyPredictorRhs");
  Residual rows;
  Residual columns;
  if (rows.make(ipm, ipm->numRow) != QZ_STATUS_OK || columns.make(ipm, ipm->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  addDualResidual(ipm, 1.0, columns);
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (!side.exists(ipm, j)) continue;
      const double share = side.dual[j] / side.slack[j];
      columns[j].value -= side.sign * share * side.gap(ipm, j);
      columns[j].size += std::fabs(share) * side.size(ipm, j);
    }
  }
  addRows(ipm, ipm->primal, 1.0, rows);
  for (int32_t i = 0; i < ipm->numRow; ++i) rows[i].add(-ipm->rhs[i]);
  for (int32_t j = 0; j < ipm->numCol; ++j)
    check.close(L"rhsPredictor", j, ipm->rhsPredictor[j], columns[j].value,
                kMeasureTolerance * (1.0 + columns[j].size));
  for (int32_t i = 0; i < ipm->numRow; ++i)
    check.close(L"rhsPredictor", ipm->numCol + i, ipm->rhsPredictor[ipm->numCol + i], rows[i].value,
                kMeasureTolerance * (1.0 + rows[i].size));
  return check.report(level);
}

int32_t VerifySummaryReport(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifySummaryReport");
  check.atLeast(L"primalInfeas", -1, ipm->primalInfeas, 0.0);
  check.atLeast(L"boundInfeas", -1, ipm->boundInfeas, 0.0);
  check.atLeast(L"dualInfeas", -1, ipm->dualInfeas, 0.0);
  check.atLeast(L"dualityGap", -1, ipm->dualityGap, 0.0);
  check.atLeast(L"complementarity", -1, ipm->complementarity, 0.0);
  if (level >= VERIFY_REPORT)
    logText(ipm->env->log, QZ_LOG_DEBUG,
            L"iteration %d: primalInfeas=%15.7g  boundInfeas=%15.7g  dualInfeas=%15.7g  dualityGap=%15.7g  "
            L"complementarity=%15.7g  mu=%15.7g",
            ipm->numIter, ipm->primalInfeas, ipm->boundInfeas, ipm->dualInfeas, ipm->dualityGap, ipm->complementarity,
            ipm->mu);
  return check.report(level);
}

int32_t VerifyKktCommon(const Ipm* ipm, int32_t level, const double* direction) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyKktCommon");
  for (const BoundSide& side : BoundSides(ipm)) checkBoundSteps(ipm, check, side, direction);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] != 'G') check.close(L"ineqnSlackDelta", i, ipm->ineqnSlackDelta[i], 0.0, 0.0);
  return check.report(level);
}

int32_t VerifyKktPredictor(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  const int32_t status = VerifyKktCommon(ipm, level, ipm->rhsPredictor);
  if (status != QZ_STATUS_OK) return status;
  Check check(ipm->env, L"VerifyKktPredictor");
  checkAffinePairs(ipm, check, ipm->rhsPredictor + ipm->numCol);
  const int32_t equations = checkLinearEquations(ipm, check, ipm->rhsPredictor);
  return equations == QZ_STATUS_OUT_OF_MEMORY ? equations : check.report(level);
}

int32_t VerifyCorrector(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyCorrector");
  Residual columns;
  Residual all;
  if (columns.make(ipm, ipm->numCol) != QZ_STATUS_OK || all.make(ipm, ipm->numDim) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  subtractCorrectorRhs(ipm, all);
  addKktProduct(ipm, ipm->rhsCorrector, columns, all);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (isTakenOut(ipm, ipm->rhsCorrector[ipm->numCol + i])) all[ipm->numCol + i].value = 0.0;
  addEliminated(ipm, all, all, ipm->numCol);
  const Sum norm = all.norm();
  check.close(L"rhsCorrector", -1, norm.value, 0.0, newtonTolerance(ipm) * (1.0 + norm.size));
  return check.report(level);
}

int32_t VerifyKktOverall(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  const int32_t status = VerifyKktCommon(ipm, level, ipm->rhsCorrector);
  if (status != QZ_STATUS_OK) return status;
  Check check(ipm->env, L"VerifyKktOverall");
  const int32_t equations = checkLinearEquations(ipm, check, ipm->rhsCorrector);
  return equations == QZ_STATUS_OUT_OF_MEMORY ? equations : check.report(level);
}

int32_t VerifyStepsize(const Ipm* ipm, int32_t level, const double* direction) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyStepsize");
  StepCheck primal{check, ipm->alphaPrimal};
  StepCheck dual{check, ipm->alphaDual};
  for (const BoundSide& side : BoundSides(ipm)) {
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      if (!side.exists(ipm, j)) continue;
      primal.visit(side.slackName, j, side.slack[j], side.slackDelta[j]);
      dual.visit(side.dualName, j, side.dual[j], side.dualDelta[j]);
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] != 'G') continue;
    primal.visit(L"ineqnSlack", i, ipm->ineqnSlack[i], ipm->ineqnSlackDelta[i]);
    dual.visit(L"dual", i, ipm->dual[i], direction[ipm->numCol + i]);
  }
  const auto length = [&](const wchar_t* name, double alpha, bool blocked) {
    if (!(alpha > 0.0 && alpha <= 1.0)) check.breach(name, -1, L"should be above 0 and at most 1");
    if (alpha < 1.0 && !blocked) check.breach(name, -1, L"is shorter than anything asks for");
  };
  // One step length serves both sides of a quadratic model, so that either side may block it.
  const bool shared = ipm->typeModel == IPM_MODEL_QP;
  if (shared) check.close(L"alphaDual", -1, ipm->alphaDual, ipm->alphaPrimal, 0.0);
  length(L"alphaPrimal", ipm->alphaPrimal, primal.blocked || (shared && dual.blocked));
  length(L"alphaDual", ipm->alphaDual, dual.blocked || (shared && primal.blocked));
  return check.report(level);
}

int32_t VerifyPredictorReport(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyPredictorReport");
  Sum sum;
  const auto pair = [&](double slack, double slackDelta, double dual, double dualDelta) {
    sum.add((slack + ipm->alphaPrimal * slackDelta) * (dual + ipm->alphaDual * dualDelta));
  };
  for (const BoundSide& side : BoundSides(ipm))
    for (int32_t j = 0; j < ipm->numCol; ++j)
      if (side.exists(ipm, j)) pair(side.slack[j], side.slackDelta[j], side.dual[j], side.dualDelta[j]);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] == 'G')
      pair(ipm->ineqnSlack[i], ipm->ineqnSlackDelta[i], ipm->dual[i], ipm->rhsPredictor[ipm->numCol + i]);
  if (ipm->numCompl > 0)
    check.close(L"muAffine", -1, ipm->muAffine, sum.value / ipm->numCompl,
                kMeasureTolerance * (1.0 + sum.size) / ipm->numCompl);
  if (level >= VERIFY_REPORT)
    logText(ipm->env->log, QZ_LOG_DEBUG,
            L"predictor: alphaPrimal=%15.7g  alphaDual=%15.7g  muAffine=%15.7g  sigma=%15.7g", ipm->alphaPrimal,
            ipm->alphaDual, ipm->muAffine, ipm->sigma);
  return check.report(level);
}

}  // namespace qz
