// Bound relaxation: a bound that presolve tightened through a row which it then removed may be taken away for the
// engine where the model that is left still implies it. The true bounds stand in a second pair of arrays meanwhile.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Bits of Model::relaxColBound.
enum : uint8_t { RELAX_LOWER = 1, RELAX_UPPER = 2 };

// Drops marked bounds of columns with two finite bounds: the upper one when it is marked alone or is the larger or
// equal magnitude, the lower one in the mirrored case, both when both are marked and no smaller than 100. The model's
// arrays become altLower and altUpper of hub; the model gets copies with room for numRange more columns. Nothing
// happens without marks. 0; -1086; 10 when alternate arrays exist already.
[[nodiscard]] int32_t ipmRelaxBound(Env* env, Model* model, IpmOption* options, Hub* hub);

// Swaps the model's bound arrays with the alternate ones and turns boundSwitchState over. 0.
[[nodiscard]] int32_t ipmSwitchBound(Env* env, Model* model, Hub* hub);

// At the end of presolve: marks in model->relaxColBound each bound of a kept column that a removed row tightened by at
// least tolPrimal, and that the rows and the unmarked bounds of the model still imply, so that no point is won by
// dropping all marked bounds together. The array has room for numFreeVar + numRange more columns; it stays null when
// nothing is marked. 0; -1086; 10 with a message when marks exist already.
[[nodiscard]] int32_t getRelaxBoundStatus(Env* env, Model* model, IpmOption* options, Hub* hub, Presolver* presolver);

// boundChanged of presolver: 1 when a kept column's presolved bound is tighter than the model's by more than tolPrimal.
// 0.
[[nodiscard]] int32_t isBoundChanged(Env* env, const Model* model, const IpmOption* options, Presolver* presolver);

// The model gets copies of its bounds to relax, and the hub's alternate arrays keep the true ones, unless that is so
// already. 0 or -1086.
[[nodiscard]] int32_t setTrueBoundsAside(Env* env, Model* model, Hub* hub);

}  // namespace qz
