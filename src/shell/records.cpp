#include "shell/records.h"

#include "shell/pool.h"
#include "transform/hub.h"

namespace qz {

int32_t NewSolution(Env* env, Solution** solution, int32_t numRow, int32_t numCol, double* primal, double* dual) {
  QzPool* pool = env->pool;
  *solution = poolAllocateZero<Solution>(pool, 1);
  if (*solution == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  Solution& s = **solution;
  s.primal = primal;
  s.dual = dual;
  s.lowerSlack = poolAllocateZero<double>(pool, numCol);
  s.upperSlack = poolAllocateZero<double>(pool, numCol);
  s.lowerDual = poolAllocateZero<double>(pool, numCol);
  s.upperDual = poolAllocateZero<double>(pool, numCol);
  s.ineqnSlack = poolAllocateZero<double>(pool, numRow);
  if (s.lowerSlack == nullptr || s.upperSlack == nullptr || s.lowerDual == nullptr || s.upperDual == nullptr ||
      s.ineqnSlack == nullptr) {
    FreeSolution(env, solution);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  return QZ_STATUS_OK;
}

void FreeSolution(Env* env, Solution** solution) {
  if (solution == nullptr || *solution == nullptr) return;
  QzPool* pool = env->pool;
  Solution& s = **solution;
  poolFree(pool, s.lowerSlack);
  poolFree(pool, s.upperSlack);
  poolFree(pool, s.lowerDual);
  poolFree(pool, s.upperDual);
  poolFree(pool, s.ineqnSlack);
  poolFree(pool, *solution);
}

void FormatSolution(Model* model, Solution* solution, Hub* hub) {
  KeptSolution* kept = hub == nullptr ? nullptr : hub->keptSolution;
  for (int32_t j = 0; j < model->numCol; ++j) {
    solution->upperDual[j] = -solution->upperDual[j];
    if (kept != nullptr) kept->upperDualDelta[j] = -kept->upperDualDelta[j];
    model->reducedCost[j] = solution->lowerDual[j] + solution->upperDual[j];
  }
}

void DestroyModel(QzPool* pool, Model* model) {
  poolFree(pool, model);
}

void DestroyOption(QzPool* pool, IpmOption* option) {
  poolFree(pool, option);
}

}  // namespace qz
