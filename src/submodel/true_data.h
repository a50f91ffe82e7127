// The data of a model while big variables and duals are shifted in place. A shift of 1e10 costs a cost of 1 ten digits,
// and taking the shift back adds to the loss: so the data are kept ahead of the first change and put back as they were.
// The point is not kept: it is the shifted point that has all its digits.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// Copies obj, lower, upper (numCol entries) and rhs (numRow), unless they are kept already. 0 or -1086.
[[nodiscard]] int32_t keepTrueData(const Ipm* ipm, SubModel* submodel);
// Puts the kept data back, bounds included, and goes on keeping them; without kept data nothing happens.
void putTrueData(Ipm* ipm, const SubModel* submodel);
// Puts the kept data back and frees the copies: every in vivo change has been undone.
void releaseTrueData(Ipm* ipm, SubModel* submodel);
// The true data have been rescaled: keeps them anew and repeats on them what the shifts in force and the removed bounds
// made of the old ones. shiftPrimal is in the new terms; shifts of duals are left to the caller. 0 or -1086.
[[nodiscard]] int32_t shiftTrueData(Ipm* ipm, SubModel* submodel);

}  // namespace qz
