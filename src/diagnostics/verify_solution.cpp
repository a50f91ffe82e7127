#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/dump.h"
#include "diagnostics/verify_model.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kResidualTolerance = 1e-6;
constexpr double kNearFactor = 10.0;      // what a near-optimal point may have of the tolerance of an optimal one
constexpr double kNearGapFactor = 100.0;  // the same for the objectives

double allowed(const Model* model, double tolerance, double nearFactor = kNearFactor) {
  return std::max(kResidualTolerance, tolerance) * (model->status == QZ_STATUS_NEAR_OPTIMAL ? nearFactor : 1.0);
}

double square(double v) {
  return v * v;
}

// Norms of a residual, of its data, and of its terms.
struct Norm {
  double residual = 0.0;
  double terms = 0.0;
  double data = 0.0;

  void add(double distance, double size, double datum) {
    residual += square(distance);
    terms += square(size);
    data += square(datum);
  }
  void check(Check& check, const wchar_t* field, double tolerance) const {
    check.close(field, -1, std::sqrt(residual), 0.0, tolerance * (1.0 + std::sqrt(data) + std::sqrt(terms)));
  }
};

char capital(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

double widthOf(const Model* m, int32_t i) {
  return m->range != nullptr ? m->range[i] : 0.0;
}

// How far an activity lies outside of its row. An infinite side bounds nothing.
double outside(const Model* m, int32_t i, double activity) {
  const double b = m->rhs[i];
  if (std::fabs(b) >= kInfinity) return 0.0;
  switch (capital(m->rowSense[i])) {
    case 'E':
      return activity - b;
    case 'L':
      return std::max(activity - b, 0.0);
    case 'G':
      return std::min(activity - b, 0.0);
    case 'R':
      return activity > b ? activity - b : std::min(activity - (b - widthOf(m, i)), 0.0);
    default:
      return 0.0;
  }
}

// The side of its row that a dual of this sign prices.
double pricedSide(const Model* m, int32_t i, double dual) {
  if (std::fabs(m->rhs[i]) >= kInfinity) return 0.0;
  return capital(m->rowSense[i]) == 'R' && dual > 0.0 ? m->rhs[i] - widthOf(m, i) : m->rhs[i];
}

void addActivity(const Model* m, const double* x, const PoolArray<Sum>& rows) {
  for (int32_t j = 0; j < m->numCol; ++j)
    for (int32_t k = m->colBegin[j]; k < m->colBegin[j] + m->colLength[j]; ++k)
      rows[m->rowIndex[k]].add(m->matValue[k] * x[j]);
}

// columns += c + Q x - A'y.
void addGradient(const Model* m, const double* x, const double* y, const PoolArray<Sum>& columns) {
  for (int32_t j = 0; j < m->numCol; ++j) {
    columns[j].add(m->obj[j]);
    for (int32_t k = m->colBegin[j]; k < m->colBegin[j] + m->colLength[j]; ++k)
      columns[j].add(-m->matValue[k] * y[m->rowIndex[k]]);
    if (m->typeModel != IPM_MODEL_QP) continue;
    columns[j].add(m->quadDiag[j] * x[j]);
    if (m->numQuadCoef == 0) continue;
    for (int32_t k = m->quadColBegin[j]; k < m->quadColBegin[j] + m->quadColLength[j]; ++k) {
      columns[j].add(m->quadMatValue[k] * x[m->quadRowIndex[k]]);
      columns[m->quadRowIndex[k]].add(m->quadMatValue[k] * x[j]);
    }
  }
}

// x'Qx / 2.
Sum quadraticForm(const Model* m, const double* x) {
  Sum half;
  if (m->typeModel != IPM_MODEL_QP) return half;
  for (int32_t j = 0; j < m->numCol; ++j) {
    half.add(0.5 * m->quadDiag[j] * x[j] * x[j]);
    if (m->numQuadCoef == 0) continue;
    for (int32_t k = m->quadColBegin[j]; k < m->quadColBegin[j] + m->quadColLength[j]; ++k)
      half.add(m->quadMatValue[k] * x[j] * x[m->quadRowIndex[k]]);
  }
  return half;
}

}  // namespace

int32_t VerifyModelPrimal(Env* env, int32_t level, const Model* model, const IpmOption* option,
                          const Solution* solution) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  Check check(env, L"VerifyModelPrimal");
  PoolArray<Sum> rows;
  if (rows.allocateZero(env->pool, model->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addActivity(model, solution->primal, rows);
  Norm norm;
  for (int32_t i = 0; i < model->numRow; ++i)
    norm.add(outside(model, i, rows[i].value), rows[i].size, pricedSide(model, i, 0.0));
  norm.check(check, L"rows of the solution", allowed(model, option->tolPrimal));
  return check.result();
}

int32_t VerifyModelBound(Env* env, int32_t level, const Model* model, const IpmOption* option,
                         const Solution* solution) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  Check check(env, L"VerifyModelBound");
  Norm norm;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double x = solution->primal[j];
    const double l = model->lower[j];
    const double u = model->upper[j];
    if (l > -kInfinity) norm.add(std::min(x - l, 0.0), 0.0, l);
    if (u < kInfinity) norm.add(std::max(x - u, 0.0), 0.0, u);
    if (std::isnan(x)) check.breach(L"primal", j, L"is not a number");
  }
  norm.check(check, L"bounds of the solution", allowed(model, option->tolPrimal));
  return check.result();
}

int32_t VerifyModelDual(Env* env, int32_t level, const Model* model, const IpmOption* option,
                        const Solution* solution) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  Check check(env, L"VerifyModelDual");
  PoolArray<Sum> columns;
  if (columns.allocateZero(env->pool, model->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addGradient(model, solution->primal, solution->dual, columns);
  Norm norm;
  for (int32_t j = 0; j < model->numCol; ++j) {
    columns[j].add(-solution->lowerDual[j]);
    columns[j].add(solution->upperDual[j]);
    norm.add(columns[j].value, columns[j].size, model->obj[j]);
  }
  norm.check(check, L"columns of the solution", allowed(model, option->tolDual));
  return check.result();
}

int32_t VerifyModelGap(Env* env, int32_t level, const Model* model, const IpmOption* option, const Solution* solution) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  Check check(env, L"VerifyModelGap");
  const Sum half = quadraticForm(model, solution->primal);
  Sum primal = half;
  Sum dual{-half.value, half.size};
  for (int32_t j = 0; j < model->numCol; ++j) {
    primal.add(model->obj[j] * solution->primal[j]);
    if (model->lower[j] > -kInfinity) dual.add(model->lower[j] * solution->lowerDual[j]);
    if (model->upper[j] < kInfinity) dual.add(-model->upper[j] * solution->upperDual[j]);
  }
  for (int32_t i = 0; i < model->numRow; ++i) dual.add(pricedSide(model, i, solution->dual[i]) * solution->dual[i]);
  check.close(L"dual objective", -1, dual.value, primal.value,
              allowed(model, option->tolOptimality, kNearGapFactor) * (1.0 + primal.size + dual.size));
  return check.result();
}

int32_t VerifyOutput(Env* env, int32_t level, const Model* model, const IpmOption* option) {
  if (!verifies(level, VERIFY_VALUES)) return QZ_STATUS_OK;
  Check check(env, L"VerifyOutput");
  PoolArray<Sum> rows;
  PoolArray<Sum> columns;
  if (rows.allocateZero(env->pool, model->numRow) != QZ_STATUS_OK ||
      columns.allocateZero(env->pool, model->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  addActivity(model, model->solPrimal, rows);
  for (int32_t i = 0; i < model->numRow; ++i)
    check.close(L"rowActivity", i, model->rowActivity[i], rows[i].value, kResidualTolerance * (1.0 + rows[i].size));
  addGradient(model, model->solPrimal, model->solDual, columns);
  Norm norm;
  Sum objective = quadraticForm(model, model->solPrimal);
  for (int32_t j = 0; j < model->numCol; ++j) {
    norm.add(model->reducedCost[j] - columns[j].value, columns[j].size, model->obj[j]);
    objective.add(model->obj[j] * model->solPrimal[j]);
  }
  norm.check(check, L"reducedCost", allowed(model, option->tolDual));
  objective.add(model->objConstant);
  check.close(L"objValue", -1, model->objValue, model->objSense * objective.value,
              kResidualTolerance * (1.0 + objective.size));
  if (level >= VERIFY_LISTING) dumpAnswer(env, model);
  return check.result();
}

}  // namespace qz
