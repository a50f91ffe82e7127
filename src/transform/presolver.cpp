#include "transform/presolver.h"

#include "shell/pool.h"

namespace qz {

void DestroyPresolver(Env* env, Presolver** presolver) {
  if (presolver == nullptr || *presolver == nullptr) return;
  QzPool* pool = env->pool;
  Presolver& p = **presolver;
  poolFree(pool, p.colBegin);
  poolFree(pool, p.colLength);
  poolFree(pool, p.rowIndex);
  poolFree(pool, p.matValue);
  poolFree(pool, p.rowBegin);
  poolFree(pool, p.rowLength);
  poolFree(pool, p.colIndex);
  poolFree(pool, p.rowValue);
  poolFree(pool, p.quadColBegin);
  poolFree(pool, p.quadColLength);
  poolFree(pool, p.quadRowIndex);
  poolFree(pool, p.quadMatValue);
  poolFree(pool, p.quadRowBegin);
  poolFree(pool, p.quadRowLength);
  poolFree(pool, p.quadColIndex);
  poolFree(pool, p.quadRowValue);
  poolFree(pool, p.rowSense);
  poolFree(pool, p.rhs);
  poolFree(pool, p.obj);
  poolFree(pool, p.lower);
  poolFree(pool, p.upper);
  poolFree(pool, p.rowMap);
  poolFree(pool, p.colMap);
  poolFree(pool, p.lbMap);
  poolFree(pool, p.ubMap);
  poolFree(pool, p.postdetList);
  poolFree(pool, p.rowChecked);
  poolFree(pool, p.colChecked);
  poolFree(pool, *presolver);
}

}  // namespace qz
