#include "shell/remeasure.h"

#include <algorithm>
#include <cmath>

#include "engine/measures.h"
#include "shell/log.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// A measure this many times over its tolerance is named when an answer is turned down.
constexpr double kReportedExcess = 10.0;

constexpr double kFixedWidth = 1e-12;      // a box of at most this width is a fixed column
constexpr double kSeparationRatio = 1e-6;  // a pair whose smaller side is below this share of the larger has separated

// Squares and products as they add up over rows and columns.
struct Sums {
  double maxTol;
  double primalObj = 0.0;
  double dualObj = 0.0;
  double normRhs2 = 0.0;
  double normObj2 = 0.0;
  double normLower2 = 0.0;
  double normUpper2 = 0.0;
  double primalRes2 = 0.0;
  double dualRes2 = 0.0;
  double boundRes2 = 0.0;
  double comp = 0.0;

  void addPair(double residual, double dual) {
    const double a = std::fabs(residual);
    const double b = std::fabs(dual);
    const double smaller = std::min(a, b);
    if (smaller >= kSeparationRatio * std::max(a, b) || smaller >= maxTol) comp += a * b;
  }
};

bool isFinite(double value) {
  return value > -kInfinity && value < kInfinity;
}

char foldedSense(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

bool hasAnswer(const LpRecord* record) {
  if (record->numCol > 0 && (record->solPrimal == nullptr || record->reducedCost == nullptr)) return false;
  return record->numRow <= 0 || (record->solDual != nullptr && record->rowActivity != nullptr);
}

// The gradient of the objective at the answer, obj + Q x, into reducedCost.
void evaluateGradient(LpRecord* record, const QuadraticTerm* q) {
  std::copy_n(record->obj, std::max(record->numCol, 0), record->reducedCost);
  if (q == nullptr) return;
  symmatrixTimesVector(record->numCol, q->colBegin, q->colLength, q->rowIndex, q->matValue, q->diag, record->solPrimal,
                       record->reducedCost, 1.0);
}

void evaluateProducts(LpRecord* record, const QuadraticTerm* quadratic) {
  std::fill_n(record->rowActivity, std::max(record->numRow, 0), 0.0);
  evaluateGradient(record, quadratic);
  for (int32_t j = 0; j < record->numCol; ++j) {
    const double x = record->solPrimal[j];
    double reduced = record->reducedCost[j];
    const int32_t end = record->colBegin[j] + record->colLength[j];
    for (int32_t k = record->colBegin[j]; k < end; ++k) {
      const int32_t row = record->rowIndex[k];
      reduced -= record->matValue[k] * record->solDual[row];
      record->rowActivity[row] += record->matValue[k] * x;
    }
    record->reducedCost[j] = reduced;
  }
}

// An inequality with right-hand side b: side 1 asks for activity <= b, side -1 for activity >= b.
void addInequality(Sums& sums, double side, double b, double activity, double dual) {
  sums.dualObj += dual * b;
  sums.normRhs2 += b * b;
  const double residual = b - activity;
  if (side * residual < 0.0) sums.primalRes2 += residual * residual;
  sums.addPair(residual, dual);
}

void addRow(Sums& sums, QzLog* log, const LpRecord* record, int32_t i) {
  const double b = record->rhs[i];
  if (!isFinite(b)) return;
  const double dual = record->solDual[i];
  const double activity = record->rowActivity[i];
  switch (foldedSense(record->rowSense[i])) {
    case 'E':
      sums.dualObj += dual * b;
      sums.normRhs2 += b * b;
      sums.primalRes2 += (b - activity) * (b - activity);
      break;
    case 'L':
      addInequality(sums, 1.0, b, activity, dual);
      break;
    case 'G':
      addInequality(sums, -1.0, b, activity, dual);
      break;
    case 'R': {
      // A range row counts on the side that its activity is nearer to.
      const double width = record->range == nullptr ? 0.0 : record->range[i];
      if (activity >= b - 0.5 * width) {
        addInequality(sums, 1.0, b, activity, dual);
      } else {
        addInequality(sums, -1.0, b - width, activity, dual);
      }
      break;
    }
    default:
      logText(log, QZ_LOG_DEBUG, L"Unknown row sense(%d) = %c", i, static_cast<int32_t>(record->rowSense[i]));
      break;
  }
}

// A column at one of its bounds. `inside` is its distance from the bound, negative beyond it. `inward` is the reduced
// cost of a move off the bound in the sense of a minimisation: negative where such a move would gain. The dual
// objective takes the reduced cost as it stands in the caller's objective, whose sign a maximisation does not turn.
void addBound(Sums& sums, double inside, double inward, double bound, double reducedCost) {
  sums.dualObj += reducedCost * bound;
  if (inside < 0.0) sums.boundRes2 += inside * inside;
  if (inward < 0.0) sums.dualRes2 += inward * inward;
  sums.addPair(inside, inward);
}

void addColumn(Sums& sums, const LpRecord* record, int32_t j) {
  const double c = record->obj[j];
  const double x = record->solPrimal[j];
  const double l = record->lower[j];
  const double u = record->upper[j];
  const double reduced = record->reducedCost[j];
  const double d = record->objSense > 0 ? reduced : -reduced;
  if (isFinite(c)) {
    sums.primalObj += c * x;
    sums.normObj2 += c * c;
  }
  const bool hasLower = l > -kInfinity;
  const bool hasUpper = u < kInfinity;
  if (!hasLower && !hasUpper) {
    sums.dualRes2 += d * d;
    return;
  }
  if (hasLower && hasUpper && !(u > l + kFixedWidth)) {
    sums.dualObj += reduced * l;
    return;
  }
  if (hasLower) sums.normLower2 += l * l;
  if (hasUpper) sums.normUpper2 += u * u;
  const bool atLower = hasLower && (!hasUpper || l + 0.5 * (u - l) >= x);
  if (atLower) {
    addBound(sums, x - l, d, l, reduced);
  } else {
    addBound(sums, u - x, -d, u, reduced);
  }
}

void addQuadratic(Sums& sums, const LpRecord* record, const QuadraticTerm* q) {
  if (q == nullptr) return;
  const double half =
      calcQuadForm(record->numCol, q->colBegin, q->colLength, q->rowIndex, q->matValue, q->diag, record->solPrimal);
  sums.primalObj += half;
  sums.dualObj -= half;
}

void nameExcess(QzLog* log, uint32_t code, double value, double tolerance) {
  if (value > kReportedExcess * tolerance) logCode(log, QZ_LOG_ERROR, code, value, tolerance);
}

}  // namespace

bool remeasureAnswer(QzLog* log, LpRecord* record, const QuadraticTerm* quadratic, double tolPrimal, double tolDual) {
  if (!hasAnswer(record)) return false;
  evaluateProducts(record, quadratic);
  Sums sums{.maxTol = std::max(tolPrimal, tolDual)};
  addQuadratic(sums, record, quadratic);
  for (int32_t i = 0; i < record->numRow; ++i) addRow(sums, log, record, i);
  for (int32_t j = 0; j < record->numCol; ++j) addColumn(sums, record, j);
  record->primalInfeas = std::sqrt(sums.primalRes2) / (std::sqrt(sums.normRhs2) + 1.0);
  record->boundInfeas = std::sqrt(sums.boundRes2) / (std::sqrt(sums.normLower2) + 1.0 + std::sqrt(sums.normUpper2));
  record->dualInfeas = std::sqrt(sums.dualRes2) / (std::sqrt(sums.normObj2) + 1.0);
  record->dualityGap = std::fabs(sums.primalObj - sums.dualObj) / (std::fabs(sums.primalObj) + 1.0);
  record->objValue = sums.primalObj + record->objConstant;
  record->complementarity = std::min(sums.comp, record->complementarity);
  return true;
}

int32_t judgeAnswer(QzLog* log, const LpRecord* record, const IpmOption* option) {
  const LpRecord& r = *record;
  const IpmOption& o = *option;
  const int32_t status = getSolutionStatus(o.tolPrimal, o.tolDual, o.tolOptimality, o.tolOptimality, r.primalInfeas,
                                           r.boundInfeas, r.dualInfeas, r.dualityGap, r.complementarity);
  if (status == QZ_STATUS_OPTIMAL || status == QZ_STATUS_NEAR_OPTIMAL) return status;
  nameExcess(log, QZ_MSG_CHECK_PRIMAL, r.primalInfeas, o.tolPrimal);
  nameExcess(log, QZ_MSG_CHECK_BOUND, r.boundInfeas, o.tolPrimal);
  nameExcess(log, QZ_MSG_CHECK_DUAL, r.dualInfeas, o.tolDual);
  return QZ_STATUS_FAILED;
}

}  // namespace qz
