// The C API: proofs that a model has no optimum, checked against the model before they are handed out.
#include <cmath>
#include <new>
#include <vector>

#include "host/api_handle.h"

using namespace qzhost;

namespace {

constexpr double kInfinity = 1e20;         // magnitude from which sides and bounds are infinite
constexpr long double kRoundoff = 1e-14L;  // relative error of a sum that counts as 0
constexpr long double kMargin = 1e-9L;     // relative size of a gain that counts as one

struct Sides {
  double low, high;
};

Sides sidesOf(const LpRecord& r, int32_t i) {
  const double b = r.rhs[i];
  switch (r.rowSense[i]) {
    case 'E':
      return {b, b};
    case 'L':
      return {-kInfinity, b};
    case 'G':
      return {b, kInfinity};
    case 'R':
      return {r.range == nullptr ? b : b - r.range[i], b};
    default:
      return {-kInfinity, kInfinity};
  }
}

bool infinite(double value) {
  return !(std::fabs(value) < kInfinity);
}

// A sum with the magnitude of its terms.
struct Sum {
  long double value = 0.0L;
  long double magnitude = 0.0L;
  void add(long double term) {
    value += term;
    magnitude += std::fabs(term);
  }
  // The value, or 0 where it is roundoff.
  [[nodiscard]] long double clean() const { return std::fabs(value) <= kRoundoff * magnitude ? 0.0L : value; }
};

// A_j'y.
Sum columnTimes(const LpRecord& r, int32_t j, const double* y) {
  Sum sum;
  for (int32_t k = r.colBegin[j]; k < r.colBegin[j] + r.colLength[j]; ++k)
    sum.add(static_cast<long double>(r.matValue[k]) * y[r.rowIndex[k]]);
  return sum;
}

// The sides that y stands for ask for more of (A'y)'x than the bounds of x allow.
bool provesInfeasible(const LpRecord& r, const double* y) {
  Sum gain;
  for (int32_t i = 0; i < r.numRow; ++i) {
    if (y[i] == 0.0) continue;
    const double side = y[i] > 0.0 ? sidesOf(r, i).low : sidesOf(r, i).high;
    if (infinite(side) || !std::isfinite(y[i])) return false;
    gain.add(static_cast<long double>(y[i]) * side);
  }
  for (int32_t j = 0; j < r.numCol; ++j) {
    const long double weight = columnTimes(r, j, y).clean();
    if (weight == 0.0L) continue;
    const double bound = weight > 0.0L ? r.upper[j] : r.lower[j];
    if (infinite(bound)) return false;
    gain.add(-weight * bound);
  }
  return gain.value > kMargin * gain.magnitude;
}

// No side and no bound ends the way along x, and the objective gets better.
bool provesUnbounded(const LpRecord& r, const double* x) {
  std::vector<Sum> row(static_cast<size_t>(r.numRow));
  Sum gain;
  for (int32_t j = 0; j < r.numCol; ++j) {
    if (!std::isfinite(x[j]) || (x[j] < 0.0 && !infinite(r.lower[j])) || (x[j] > 0.0 && !infinite(r.upper[j])))
      return false;
    gain.add(-static_cast<long double>(r.obj[j]) * x[j] * r.objSense);
    for (int32_t k = r.colBegin[j]; k < r.colBegin[j] + r.colLength[j]; ++k)
      row[static_cast<size_t>(r.rowIndex[k])].add(static_cast<long double>(r.matValue[k]) * x[j]);
  }
  for (int32_t i = 0; i < r.numRow; ++i) {
    const Sides sides = sidesOf(r, i);
    const long double way = row[static_cast<size_t>(i)].clean();
    if ((way < 0.0L && !infinite(sides.low)) || (way > 0.0L && !infinite(sides.high))) return false;
  }
  return gain.value > kMargin * gain.magnitude;
}

}  // namespace

const double* qzlp_infeasibilityProof(const qzlp* lp) {
  const int status = qzlp_status(lp);
  if (status != QZLP_STATUS_PRIMAL_INFEASIBLE && status != QZLP_STATUS_BOTH_INFEASIBLE) return nullptr;
  const LpRecord& record = lp->model->record;
  return provesInfeasible(record, record.solDual) ? record.solDual : nullptr;
}

const double* qzlp_unboundedRay(const qzlp* lp) {
  if (qzlp_status(lp) != QZLP_STATUS_DUAL_INFEASIBLE) return nullptr;
  const LpRecord& record = lp->model->record;
  try {
    return provesUnbounded(record, record.solPrimal) ? record.solPrimal : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
