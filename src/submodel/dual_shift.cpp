#include "submodel/dual_shift.h"

#include "shell/pool.h"

namespace qz {

void subUnshiftDual(Ipm* ipm, SubModel* submodel, int32_t freeRows) {
  if (submodel == nullptr || submodel->numBigDual < 1 || submodel->shiftDual == nullptr ||
      submodel->idxBigDual == nullptr || submodel->rowBeginSub == nullptr || submodel->rowLengthSub == nullptr ||
      submodel->colIndexSub == nullptr || submodel->rowMatValueSub == nullptr)
    return;
  for (int32_t k = 0; k < submodel->numBigDual; ++k) {
    const double shift = submodel->shiftDual[k];
    ipm->dual[submodel->idxBigDual[k]] += shift;
    const int32_t begin = submodel->rowBeginSub[k];
    for (int32_t e = begin; e < begin + submodel->rowLengthSub[k]; ++e)
      ipm->obj[submodel->colIndexSub[e]] += submodel->rowMatValueSub[e] * shift;
  }
  if (freeRows == 0) return;
  QzPool* pool = ipm->env->pool;
  poolFree(pool, submodel->rowBeginSub);
  poolFree(pool, submodel->rowLengthSub);
  poolFree(pool, submodel->colIndexSub);
  poolFree(pool, submodel->rowMatValueSub);
  poolFree(pool, submodel->rhsSub);
  poolFree(pool, submodel->rowSenseSub);
  poolFree(pool, submodel->shiftDual);
  submodel->numRowSub = 0;
  submodel->numCoefRowSub = 0;
}

}  // namespace qz
