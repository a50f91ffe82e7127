#include "transform/hub.h"

#include "shell/pool.h"

namespace qz {

namespace {

void freeKeptSolution(QzPool* pool, KeptSolution*& kept) {
  if (kept == nullptr) return;
  poolFree(pool, kept->primalDelta);
  poolFree(pool, kept->dualDelta);
  poolFree(pool, kept->lowerSlackDelta);
  poolFree(pool, kept->upperSlackDelta);
  poolFree(pool, kept->lowerDualDelta);
  poolFree(pool, kept->upperDualDelta);
  poolFree(pool, kept->ineqnSlackDelta);
  poolFree(pool, kept);
}

}  // namespace

void FreeHubSmall(Env* env, Hub* hub) {
  QzPool* pool = env->pool;
  poolFree(pool, hub->smallObjCol);
  poolFree(pool, hub->smallObjValue);
  poolFree(pool, hub->smallRhsRow);
  poolFree(pool, hub->smallRhsValue);
  hub->numSmallObj = 0;
  hub->numSmallRhs = 0;
}

void FreeHub(Env* env, Hub** hub) {
  if (hub == nullptr || *hub == nullptr) return;
  QzPool* pool = env->pool;
  Hub& h = **hub;
  poolFree(pool, h.colPlus);
  poolFree(pool, h.colMinus);
  poolFree(pool, h.rangeRowList);
  poolFree(pool, h.lcontRowList);
  poolFree(pool, h.altLower);
  poolFree(pool, h.altUpper);
  poolFree(pool, h.rowScale);
  poolFree(pool, h.colScale);
  FreeHubSmall(env, &h);
  freeKeptSolution(pool, h.keptSolution);
  poolFree(pool, *hub);
}

}  // namespace qz
