// Which values of the running iterate have grown big, and whether they still move.
//
// Five kinds are watched, each with a count, a list, a movement and an action flag in the record:
//   variable     numBigVar         idxBigVar                       deltaX       bBigVar
//   bound slack  numBigBoundSlack  idxBoundSub, statusBoundSub     deltaBound   bBigBoundSlack
//   row slack    numBigIneqnSlack  idxRowSub                       deltaRow     bBigIneqnSlack
//   row dual     numBigDual        idxBigDual                      deltaY       bBigDual
//   bound dual   numBigBoundDual   idxColSub                       deltaColumn  bBigBoundDual
// Big means above thresholdBig. A movement is the largest |step| / |value| of the kind, with two values that stand for
// "not to be touched": BIG_STEP and BIG_ACTIVE. The list of a kind whose flag is set is frozen. A list that was frozen
// for the in vitro level keeps the numbering of the full model; rowMapSub and colMapSub lead to the reduced one.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

inline constexpr double BIG_STEP = 888.0;    // one step is itself at least thresholdBig
inline constexpr double BIG_ACTIVE = 999.0;  // the complementary value is of real size

// Rebuilds the lists of all kinds that are not frozen from the iterate and its last step. Variables and bound slacks
// are frozen together. With the normal equations a column must keep a bound, or its pivot would vanish: there only one
// side of a two-sided column is listed, the one that moves more, the lower one on a tie. Always 0; a null record is
// accepted.
[[nodiscard]] int32_t statBigSolution(const Ipm* ipm, SubModel* submodel);

// 1003 when the iterate has walked past a bound that was removed from the running iteration, else 0.
[[nodiscard]] int32_t validBoundInvivo(const Ipm* ipm, const SubModel* submodel);

// 1003 when a shift or a removal that is in force no longer suits the iterate, else 0: a shifted variable is big again,
// a removed bound is near or its slack is big, the dual of a shifted inequality comes close to its new origin, or a
// shifted dual is big again. What the maps removed is skipped. A null record gives 0.
[[nodiscard]] int32_t validBigSolution(const Ipm* ipm, const SubModel* submodel);

}  // namespace qz
