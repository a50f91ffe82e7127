#include "engine/reset.h"

#include <algorithm>

#include "diagnostics/verify_matrix.h"
#include "diagnostics/verify_submodel.h"
#include "engine/engine_state.h"
#include "engine/measures.h"
#include "engine/reset_partition.h"
#include "engine/reset_system.h"
#include "shell/pool.h"
#include "transform/equation_system.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

struct Candidate {
  PoolArray<double> primal;
  PoolArray<double> dual;
  PoolArray<double> ineqnSlack;
  PoolArray<double> lowerSlack;
  PoolArray<double> upperSlack;
  PoolArray<double> lowerDual;
  PoolArray<double> upperDual;
  double minPrimal = kInfinity;  // smallest slack of all
  double minDual = kInfinity;    // smallest dual of all

  int32_t create(const Ipm* ipm) {
    QzPool* pool = ipm->env->pool;
    for (PoolArray<double>* array : {&primal, &lowerSlack, &upperSlack, &lowerDual, &upperDual})
      if (array->allocateZero(pool, ipm->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    for (PoolArray<double>* array : {&dual, &ineqnSlack})
      if (array->allocateZero(pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    return QZ_STATUS_OK;
  }
  double takeSlack(double slack) {
    minPrimal = std::min(minPrimal, slack);
    return slack;
  }
  double takeDual(double value) {
    minDual = std::min(minDual, value);
    return value;
  }
};

// x, y of the kept rows, and the slacks of all bounds at which no column was fixed.
void takePoint(const Ipm* ipm, const ResetPartition& partition, const ResetSystem& system, Candidate* candidate) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t state = partition.colState[j];
    const double x = state >= 0 ? system.rhs[state] : fixedValue(ipm, partition, j);
    candidate->primal[j] = x;
    if (hasLower(ipm->statusBound[j]) && state != RESET_AT_LOWER)
      candidate->lowerSlack[j] = candidate->takeSlack(x - ipm->lower[j]);
    if (hasUpper(ipm->statusBound[j]) && state != RESET_AT_UPPER)
      candidate->upperSlack[j] = candidate->takeSlack(ipm->upper[j] - x);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t state = partition.rowState[i];
    if (state < 0) continue;
    candidate->dual[i] = system.rhs[partition.numColKept + state];
    if (ipm->rowSense[i] != 'E') candidate->minDual = std::min(candidate->minDual, candidate->dual[i]);
  }
}

// Slacks of the dropped rows, A x - b. `work` has numRow entries.
void takeRowSlacks(const Ipm* ipm, const ResetPartition& partition, Candidate* candidate, double* work) {
  if (partition.numRowKept == ipm->numRow) return;
  matrixTimesVector(ipm->numRow, ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue,
                    candidate->primal.get(), work);
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (partition.rowState[i] < 0) candidate->ineqnSlack[i] = candidate->takeSlack(work[i] - ipm->rhs[i]);
}

// Bound duals of the fixed columns, the reduced cost c - A'y + Q x by the sign of its bound. `work` has numCol entries.
void takeBoundDuals(const Ipm* ipm, const ResetPartition& partition, Candidate* candidate, double* work) {
  if (partition.numColKept == ipm->numCol) return;
  vectorTimesMatrix(ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue, candidate->dual.get(),
                    work);
  if (ipm->typeModel == IPM_MODEL_QP)
    symmatrixTimesVector(ipm->numCol, ipm->quadColBegin, ipm->quadColLength, ipm->quadRowIndex, ipm->quadMatValue,
                         ipm->quadDiag, candidate->primal.get(), work, -1.0);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (partition.colState[j] == RESET_AT_LOWER) candidate->lowerDual[j] = candidate->takeDual(ipm->obj[j] - work[j]);
    if (partition.colState[j] == RESET_AT_UPPER) candidate->upperDual[j] = candidate->takeDual(work[j] - ipm->obj[j]);
  }
}

int32_t makeCandidate(const Ipm* ipm, const ResetPartition& partition, const ResetSystem& system,
                      Candidate* candidate) {
  PoolArray<double> work;
  if (work.allocate(ipm->env->pool, std::max(ipm->numRow, ipm->numCol)) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  const int32_t status = candidate->create(ipm);
  if (status != QZ_STATUS_OK) return status;
  takePoint(ipm, partition, system, candidate);
  takeRowSlacks(ipm, partition, candidate, work.get());
  takeBoundDuals(ipm, partition, candidate, work.get());
  return QZ_STATUS_OK;
}

void copyCandidate(Ipm* ipm, const Candidate& candidate) {
  std::copy_n(candidate.primal.get(), ipm->numCol, ipm->primal);
  std::copy_n(candidate.dual.get(), ipm->numRow, ipm->dual);
  std::copy_n(candidate.lowerSlack.get(), ipm->numCol, ipm->lowerSlack);
  std::copy_n(candidate.upperSlack.get(), ipm->numCol, ipm->upperSlack);
  std::copy_n(candidate.lowerDual.get(), ipm->numCol, ipm->lowerDual);
  std::copy_n(candidate.upperDual.get(), ipm->numCol, ipm->upperDual);
  std::copy_n(candidate.ineqnSlack.get(), ipm->numRow, ipm->ineqnSlack);
}

// Lets the candidate take the iterate's place if its measures allow it. 0, 1003, -1086.
int32_t acceptCandidate(Ipm* ipm, const Candidate& candidate) {
  if (candidate.minPrimal <= -ipm->tolPrimal || candidate.minDual <= -ipm->tolDual) return QZ_STATUS_RESTART;
  double primalInfeas = 0.0;
  double dualInfeas = 0.0;
  double boundInfeas = 0.0;
  double dualityGap = 0.0;
  double complementarity = 0.0;
  int32_t status = computeMeasurementReset(
      ipm, candidate.primal.get(), candidate.dual.get(), candidate.ineqnSlack.get(), candidate.lowerSlack.get(),
      candidate.upperSlack.get(), candidate.lowerDual.get(), candidate.upperDual.get(), &primalInfeas, &dualInfeas,
      &boundInfeas, &dualityGap, &complementarity);
  if (status != QZ_STATUS_OK) return status;
  status = getSolutionStatus(ipm->tolPrimal, ipm->tolDual, ipm->tolOptimality, ipm->tolComplement, primalInfeas,
                             boundInfeas, dualInfeas, dualityGap, complementarity);
  if (status != QZ_STATUS_OPTIMAL && status != QZ_STATUS_NEAR_OPTIMAL) return QZ_STATUS_RESTART;
  copyCandidate(ipm, candidate);
  ipm->status = status;
  ipm->primalInfeas = primalInfeas;
  ipm->boundInfeas = boundInfeas;
  ipm->dualInfeas = dualInfeas;
  ipm->dualityGap = dualityGap;
  ipm->complementarity = complementarity;
  return QZ_STATUS_OK;
}

int32_t verifyPartition(const Ipm* ipm, const ResetPartition& partition) {
  const int32_t status = VerifyMapping(ipm->env, ipm->debugLevel, ipm->numCol, partition.colState.get(),
                                       partition.numColKept, RESET_AT_UPPER);
  if (status != QZ_STATUS_OK) return status;
  return VerifyMapping(ipm->env, ipm->debugLevel, ipm->numRow, partition.rowState.get(), partition.numRowKept,
                       RESET_ROW_DROPPED);
}

int32_t verifySystem(const Ipm* ipm, const ResetPartition& partition, const ResetSystem& system) {
  const int32_t status = VerifySymMatrix(
      ipm->env, ipm->debugLevel,
      {system.numDim, system.numDim, system.begin.get(), nullptr, system.index.get(), system.value.get()});
  return status != QZ_STATUS_OK ? status : VerifyResetSystem(ipm, ipm->debugLevel, partition, system);
}

}  // namespace

int32_t ipmReset(Ipm* ipm) {
  ResetPartition partition;
  int32_t status = makeResetPartition(ipm, &partition);
  if (status != QZ_STATUS_OK) return status;
  status = verifyPartition(ipm, partition);
  if (status != QZ_STATUS_OK) return status;
  ResetSystem system;
  status = makeResetSystem(ipm, partition, &system);
  if (status != QZ_STATUS_OK) return status;
  status = verifySystem(ipm, partition, system);
  if (status != QZ_STATUS_OK) return status;
  status = eqnSolve(ipm->infinityValue, ipm->tolPrimal, ipm->env, system.numDim, partition.numColKept, ipm->numThread,
                    system.begin.get(), system.index.get(), system.value.get(), system.rhs.get(), system.start.get(),
                    ipm->debugLevel, EQN_TO_POINT);
  if (status != QZ_STATUS_OK) return status;
  Candidate candidate;
  status = makeCandidate(ipm, partition, system, &candidate);
  if (status != QZ_STATUS_OK) return status;
  return acceptCandidate(ipm, candidate);
}

}  // namespace qz
