#include "sparse/parallel_factor.h"

#include "sparse/dynamic_scheduler.h"
#include "sparse/engine_common.h"
#include "sparse/la_env.h"
#include "sparse/ldl_blocks.h"
#include "sparse/populate.h"
#include "sparse/static_pipeline.h"
#include "sparse/worker_team.h"

namespace qz {

namespace {

// Contexts, and the matrix in the blocks.
int32_t beginRun(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic, const NumericFactor* numeric) {
  // Objects that an earlier failed wait has left behind.
  if (!joinWorkers(symbolic)) return LA_INCONSISTENT;
  prepareContexts(memory, matrix, symbolic, numeric);
  return runTeam(symbolic, PopulateSNodes);
}

void sumPerturbed(SymbolicFactor* symbolic) {
  symbolic->numPerturbed = 0;
  for (int32_t t = 0; t < symbolic->numThreads; ++t) symbolic->numPerturbed += symbolic->threadContexts[t].numPerturbed;
}

// The static pipeline: words of the blocks, then the positions.
int32_t runStatic(SymbolicFactor* symbolic, void (*work)(ThreadContext& context)) {
  seedStaticPipeline(symbolic);
  return runTeam(symbolic, work);
}

// The dynamic scheduler: locks for the time of the run, counters and queues, then the tasks.
int32_t runDynamic(SymbolicFactor* symbolic, void (*seed)(SymbolicFactor* symbolic),
                   void (*work)(ThreadContext& context)) {
  int32_t status = createDynamicLocks(symbolic);
  if (status == LA_OK) {
    seed(symbolic);
    status = runTeam(symbolic, work);
  }
  destroyDynamicLocks(symbolic);
  return status;
}

}  // namespace

int32_t NumericCholDParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                             const NumericFactor* numeric) {
  const int32_t status = beginRun(memory, matrix, symbolic, numeric);
  return status != LA_OK ? status : runStatic(symbolic, ProcessTaskStaticCholesky);
}

int32_t NumericCholParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                            const NumericFactor* numeric) {
  const int32_t status = beginRun(memory, matrix, symbolic, numeric);
  return status != LA_OK ? status : runDynamic(symbolic, seedDynamicCholesky, ProcessTaskCholesky);
}

int32_t NumericLDLDParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                            const NumericFactor* numeric) {
  int32_t status = beginRun(memory, matrix, symbolic, numeric);
  if (status != LA_OK) return status;
  clearSlots(symbolic);
  status = runStatic(symbolic, ProcessTaskStaticLDL);
  sumPerturbed(symbolic);
  return status;
}

int32_t NumericLDLParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                           const NumericFactor* numeric) {
  int32_t status = beginRun(memory, matrix, symbolic, numeric);
  if (status != LA_OK) return status;
  status = runDynamic(symbolic, seedDynamicLDL, ProcessTaskLDL);
  sumPerturbed(symbolic);
  return status;
}

}  // namespace qz
