#include "clean_up.h"

#include <ClpEventHandler.hpp>
#include <ClpSimplex.hpp>
#include <CoinMessageHandler.hpp>
#include <CoinPackedMatrix.hpp>
#include <algorithm>

namespace qzsimpx {

namespace {

constexpr int32_t kDualStart = 2;
constexpr double kTightTolerance = 1e-9;  // of bounds and reduced costs, in the scaled model
constexpr double kUsualTolerance = 1e-7;
constexpr int kNoPerturbation = 100;

// Asks the limits behind every iteration.
class Watch : public ClpEventHandler {
 public:
  Watch(Limits& limits, int32_t before) : limits_(&limits), before_(before) {}
  ClpEventHandler* clone() const override { return new Watch(*this); }
  int event(Event which) override {
    constexpr int goOn = -1;
    constexpr int stop = 5;
    if (which != endOfIteration) return goOn;
    limits_->setChanges(before_ + model_->numberIterations());
    return limits_->check() == QZ_STATUS_OK ? goOn : stop;
  }

 private:
  Limits* limits_;
  int32_t before_;
};

ClpSimplex::Status statusOf(const Program& p, const Point& point, int32_t j) {
  switch (point.place[j]) {
    case Place::basic:
      return ClpSimplex::basic;
    case Place::lower:
      return p.isFixed(j) ? ClpSimplex::isFixed : ClpSimplex::atLowerBound;
    case Place::upper:
      return p.isFixed(j) ? ClpSimplex::isFixed : ClpSimplex::atUpperBound;
    default:
      return p.hasLower(j) || p.hasUpper(j) ? ClpSimplex::superBasic : ClpSimplex::isFree;
  }
}

Place placeOf(const Program& p, ClpSimplex::Status status, int32_t j) {
  if (status == ClpSimplex::basic) return Place::basic;
  if (status == ClpSimplex::atUpperBound && p.hasUpper(j)) return Place::upper;
  if (p.hasLower(j)) return Place::lower;
  return p.hasUpper(j) ? Place::upper : Place::between;
}

void load(const Program& p, const Point& point, ClpSimplex& simplex) {
  const LpRecord& record = p.record;
  const CoinPackedMatrix matrix(true, p.numRow, p.numCol, record.numCoef, record.matValue, record.rowIndex,
                                record.colBegin, record.colLength);
  simplex.loadProblem(matrix, p.lower.data(), p.upper.data(), p.cost.data(), p.lower.data() + p.numCol,
                      p.upper.data() + p.numCol);
  simplex.createStatus();
  for (int32_t j = 0; j < p.numCol; ++j) simplex.setColumnStatus(j, statusOf(p, point, j));
  for (int32_t i = 0; i < p.numRow; ++i) simplex.setRowStatus(i, statusOf(p, point, p.numCol + i));
  std::copy_n(point.x.data(), p.numCol, simplex.primalColumnSolution());
  std::copy_n(point.x.data() + p.numCol, p.numRow, simplex.primalRowSolution());
}

void take(const Program& p, const ClpSimplex& simplex, Point& point) {
  const double* dual = simplex.dualRowSolution();
  std::copy_n(dual, p.numRow, point.y.data());
  for (int32_t j = 0; j < p.numVar; ++j) {
    const bool isRow = j >= p.numCol;
    const int32_t k = isRow ? j - p.numCol : j;
    const Place place = placeOf(p, isRow ? simplex.getRowStatus(k) : simplex.getColumnStatus(k), j);
    point.place[j] = place;
    if (place == Place::basic || place == Place::between)
      point.x[j] = isRow ? simplex.primalRowSolution()[k] : simplex.primalColumnSolution()[k];
    else
      moveToBound(p, point, j, place);
  }
}

int32_t statusOf(const ClpSimplex& simplex, const Limits& limits) {
  if (limits.status() != QZ_STATUS_OK) return limits.status();
  switch (simplex.status()) {
    case 0:
      return QZ_STATUS_OPTIMAL;
    case 1:
      return QZ_STATUS_PRIMAL_INFEASIBLE;
    case 2:
      return QZ_STATUS_DUAL_INFEASIBLE;
    case 3:
      return QZ_STATUS_ITERATION_LIMIT;
    default:
      return QZ_STATUS_FAILED;
  }
}

// One run of the simplex method.
struct Attempt {
  bool dual;
  double tolPrimal;
  double tolDual;
};

int32_t runSimplex(const Program& p, Point& point, Limits& limits, const Attempt& attempt) {
  const int32_t before = limits.numChange();
  Watch watch(limits, before);
  CoinMessageHandler silence;
  silence.setLogLevel(0);
  ClpSimplex simplex;
  simplex.passInMessageHandler(&silence);
  simplex.passInEventHandler(&watch);
  load(p, point, simplex);
  simplex.setPrimalTolerance(attempt.tolPrimal);
  simplex.setDualTolerance(attempt.tolDual);
  simplex.scaling(0);
  simplex.setPerturbation(kNoPerturbation);
  if (attempt.dual)
    simplex.dual();
  else
    simplex.primal();
  limits.setChanges(before + simplex.numberIterations());
  const int32_t status = statusOf(simplex, limits);
  if (status == QZ_STATUS_OPTIMAL) take(p, simplex, point);
  return status;
}

}  // namespace

int32_t cleanUp(const Program& p, Point& point, Limits& limits, const QzPresolveSettings& settings) {
  const bool dual = settings.startMode == kDualStart;
  // What the interior-point method called optimal may have no point within the tight tolerance: then the other method
  // tries the usual one, and then that of the options.
  const Attempt attempts[] = {{dual, kTightTolerance, kTightTolerance},
                              {!dual, kUsualTolerance, kUsualTolerance},
                              {!dual, settings.tolPrimal, settings.tolDual}};
  int32_t status = QZ_STATUS_FAILED;
  for (const Attempt& attempt : attempts) {
    if (limits.check() != QZ_STATUS_OK) return limits.status();
    status = runSimplex(p, point, limits, attempt);
    if (status == QZ_STATUS_OPTIMAL || limits.status() != QZ_STATUS_OK) break;
  }
  return status;
}

}  // namespace qzsimpx
