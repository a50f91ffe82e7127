// Bound shifting: brings every column of a model to a lower bound of 0, or no bounds at all.
//
// With a finite lower bound l the column is shifted, x = l + x'; with a finite upper bound u alone it is reflected,
// x = u - x'. The rows stay what they are as relations of the unshifted columns, so row duals do not change.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Presolver::shiftStatus.
enum : int32_t {
  SHIFT_NONE = 0,
  SHIFT_LOWER = 1,        // shifted by its lower bound
  SHIFT_REFLECTED = -1,   // reflected on its upper bound
  SHIFT_REFLECTED_0 = -2  // reflected with upper bound 0
};

// Shifts or reflects each column of the model as it stands now, and notes shiftValue and shiftStatus, which are made on
// the first call. Bounds, rhs, elements and costs move; of a quadratic model the quadratic part too. A non-null
// solution and the alternate bounds of a non-null hub move along. The objective value changes by a constant that is not
// kept: the value is computed afresh behind the restoration. 0 or -1086.
[[nodiscard]] int32_t ipmShiftBound(Env* env, Model* model, IpmOption* options, Hub* hub, Presolver* presolver,
                                    Solution* solution);

// Undoes ipmShiftBound: bounds come back up to rounding of `upper`, costs and elements of a linear model bit for bit,
// rhs up to rounding. The kept direction of hub follows by the linear part alone, since a direction has no origin. 0.
[[nodiscard]] int32_t ipmShiftRestore(Env* env, Model* model, IpmOption* options, Hub* hub, Presolver* presolver,
                                      Solution* solution);

}  // namespace qz
