#include "sparse/parallel_factor.h"

#include "shell/host_table.h"
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

}  // namespace

int32_t NumericLDLDParallel(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                            const NumericFactor* numeric) {
  const int32_t status = beginRun(memory, matrix, symbolic, numeric);
  if (status != LA_OK) return status;
  clearSlots(symbolic);
  seedStaticPipeline(symbolic);
  const int32_t ended = runTeam(symbolic, ProcessTaskStaticLDL);
  sumPerturbed(symbolic);
  return ended;
}

}  // namespace qz
