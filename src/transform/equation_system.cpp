#include "transform/equation_system.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/linear_algebra.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kSmallestDiagonal = 1e-6;
constexpr double kNearReference = 1e-4;

// The system dressed up as a model, with its presolver; everything goes back with it.
class EquationModel {
 public:
  explicit EquationModel(Env* env) : env_(env) {}
  EquationModel(const EquationModel&) = delete;
  EquationModel& operator=(const EquationModel&) = delete;
  ~EquationModel() { DestroyPresolver(env_, &presolver); }

  // 0, -1086.
  int32_t create(double infinity, double tol, int32_t numDim, int32_t* begin, int32_t* index, double* value,
                 double* rhs, int32_t debugLevel) {
    QzPool* pool = env_->pool;
    if (length_.allocate(pool, numDim) != QZ_STATUS_OK || sense_.allocate(pool, numDim) != QZ_STATUS_OK ||
        obj_.allocateZero(pool, numDim) != QZ_STATUS_OK || lower_.allocate(pool, numDim) != QZ_STATUS_OK ||
        upper_.allocate(pool, numDim) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    presolver = poolAllocateZero<Presolver>(pool, 1);
    if (presolver == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
    for (int32_t j = 0; j < numDim; ++j) length_[j] = begin[j + 1] - begin[j];
    std::fill_n(sense_.get(), numDim, 'E');
    std::fill_n(lower_.get(), numDim, -infinity);
    std::fill_n(upper_.get(), numDim, infinity);
    model.typeModel = IPM_MODEL_EQUATIONS;
    model.numRow = model.numCol = numDim;
    model.numCoef = begin[numDim];
    model.colBegin = begin;
    model.colLength = length_.get();
    model.rowIndex = index;
    model.matValue = value;
    model.objSense = 1;
    model.obj = obj_.get();
    model.rowSense = sense_.get();
    model.rhs = rhs;
    model.lower = lower_.get();
    model.upper = upper_.get();
    options.infinityValue = infinity;
    options.tolPrimal = tol;
    options.debugLevel = debugLevel;
    return QZ_STATUS_OK;
  }

  Model model{};
  IpmOption options{};
  Presolver* presolver = nullptr;

 private:
  Env* env_;
  PoolArray<int32_t> length_;
  PoolArray<char> sense_;
  PoolArray<double> obj_;
  PoolArray<double> lower_;
  PoolArray<double> upper_;
};

// An equation without solution means the infeasibility of the side on which it stands: a row of the original model in
// the row part, a dual constraint in the column part.
int32_t verdict(int32_t status, const Presolver* presolver, int32_t numCol) {
  if (status != QZ_STATUS_PRIMAL_INFEASIBLE && status != QZ_STATUS_DUAL_INFEASIBLE) return status;
  const int32_t place = status == QZ_STATUS_PRIMAL_INFEASIBLE ? presolver->infeasRow : presolver->infeasCol;
  if (place < 0) return QZ_STATUS_FAILED;
  return place >= numCol ? QZ_STATUS_PRIMAL_INFEASIBLE : QZ_STATUS_DUAL_INFEASIBLE;
}

// A vector in the reduced numbering.
void mapVector(const Presolver* presolver, int32_t numDim, const double* vector, double* reduced) {
  for (int32_t j = 0; j < numDim; ++j)
    if (presolver->colMap[j] >= 0) reduced[presolver->colMap[j]] = vector[j];
}

void regulariseDiagonal(Model* model) {
  for (int32_t j = 0; j < model->numCol; ++j) {
    for (int32_t k = model->colBegin[j]; k < model->colBegin[j + 1]; ++k)
      if (model->rowIndex[k] == j && std::fabs(model->matValue[k]) < kSmallestDiagonal)
        model->matValue[k] = kSmallestDiagonal;
  }
}

int32_t solvePlain(Env* env, const Model* model, int32_t numLeading, int32_t numThread, int32_t debugLevel) {
  const int32_t status =
      solveEquationLDL(env, debugLevel, nullptr, model->numRow, numLeading, numThread, model->colBegin, model->rowIndex,
                       model->matValue, model->rhs, nullptr, nullptr, nullptr, nullptr);
  return status == kSolveFailed ? QZ_STATUS_FAILED : status;
}

// As many elements below the diagonal as above it, and as many as the model counts.
bool isWhole(Env* env, const Model* model) {
  const int32_t count = model->colBegin[model->numCol];
  if (count != model->numCoef) {
    logText(env->log, QZ_LOG_DEBUG, L"Error solveToPoint: numCoef=%d should be %d", count, model->numCoef);
    return false;
  }
  int32_t above = 0;
  int32_t below = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    for (int32_t k = model->colBegin[j]; k < model->colBegin[j + 1]; ++k) {
      above += model->rowIndex[k] < j ? 1 : 0;
      below += model->rowIndex[k] > j ? 1 : 0;
    }
  }
  if (below != above) {
    logText(env->log, QZ_LOG_DEBUG, L"Error solveToPoint: half numCoef=%d should be %d", below, above);
    return false;
  }
  return true;
}

// Solves, and keeps the reference instead of a solution that strays from it in any entry (one that is not a number
// strays too): on a singular face the solution nearest to the iterate is wanted, not any.
int32_t solveToPoint(Env* env, const Model* model, const double* reference, int32_t numLeading, int32_t numThread,
                     int32_t debugLevel) {
  if (!isWhole(env, model)) return QZ_STATUS_FAILED;
  const int32_t status = solvePlain(env, model, numLeading, numThread, debugLevel);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double limit = std::max(std::fabs(reference[j]), kNearReference);
    if (std::fabs(model->rhs[j] - reference[j]) <= limit) continue;
    std::copy_n(reference, model->numCol, model->rhs);
    break;
  }
  return QZ_STATUS_OK;
}

// From the reduced numbering back to the whole, in place: walking downward reads no entry that is written already.
void expandSolution(const Presolver* presolver, int32_t numDim, const double* start, double* x) {
  for (int32_t j = numDim - 1; j >= 0; --j) {
    const int32_t place = presolver->colMap[j];
    if (place >= 0)
      x[j] = x[place];
    else if (place == COLMAP_FIXED)
      x[j] = presolver->lower[j];
    else if (place == COLMAP_EMPTY)
      x[j] = start != nullptr ? start[j] : 0.0;
    else
      x[j] = 0.0;
  }
}

// The unknowns that a row determines, in the reverse of the order in which they were removed: each row holds only
// unknowns that were removed later or not at all.
void determineRest(const Presolver* presolver, double* x) {
  for (int32_t n = presolver->numPostdet - 1; n >= 0; --n) {
    const int32_t col = presolver->postdetList[n];
    const int32_t row = presolver->lbMap[col];
    double rest = presolver->rhs[row];
    double pivot = 0.0;
    for (int32_t k = presolver->rowBegin[row], end = k + presolver->rowLength[row]; k < end; ++k) {
      if (presolver->colIndex[k] == col)
        pivot = presolver->rowValue[k];
      else
        rest -= presolver->rowValue[k] * x[presolver->colIndex[k]];
    }
    x[col] = rest / pivot;
  }
}

}  // namespace

int32_t eqnSolve(double infinity, double tol, Env* env, int32_t numDim, int32_t numCol, int32_t numThread,
                 int32_t* begin, int32_t* index, double* value, double* rhs, const double* start, int32_t debugLevel,
                 int32_t mode) {
  if (numDim == 0) return QZ_STATUS_OK;
  if (mode == EQN_TO_POINT && start == nullptr) return QZ_STATUS_FAILED;
  EquationModel system(env);
  int32_t status = system.create(infinity, tol, numDim, begin, index, value, rhs, debugLevel);
  if (status != QZ_STATUS_OK) return status;
  Model* model = &system.model;
  Presolver* presolver = system.presolver;
  status = eqnPresolve(env, model, &system.options, presolver);
  if (status != QZ_STATUS_OK) return verdict(status, presolver, numCol);
  FreePresolver(env, presolver);

  const bool reduced = presolver->preControl == PRECONTROL_REDUCED;
  if (model->numCol > 0) {
    const int32_t numLeading = reduced ? model->numCol : numCol;
    if (mode == EQN_REGULARISE) regulariseDiagonal(model);
    if (mode == EQN_TO_POINT) {
      PoolArray<double> reference;
      if (reference.allocate(env->pool, numDim) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
      if (reduced)
        mapVector(presolver, numDim, start, reference.get());
      else
        std::copy_n(start, numDim, reference.get());
      status = solveToPoint(env, model, reference.get(), numLeading, numThread, debugLevel);
    } else {
      status = solvePlain(env, model, numLeading, numThread, debugLevel);
    }
    if (status != QZ_STATUS_OK) return status;
  }
  if (reduced) {
    expandSolution(presolver, numDim, start, rhs);
    determineRest(presolver, rhs);
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
