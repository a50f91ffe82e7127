// The reverse of ipmScale, by the factors that scaling.h tells: of the engine's running point and data, or of a whole
// model and its solution.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Unscales the engine's data and point in place: first small data is added back (through the maps of a non-null
// submodel; entries that it removed stay away), since the engine's entries may have been shifted meanwhile, then rows,
// columns and objective. The engine's model is in standard form: L rows stand negated and get small right-hand sides
// with the opposite sign, the negative part of a split column gets its cost so. scaleState and the factor arrays are
// left for the caller.
void ipmUnscale(Ipm* ipm, Hub* hub, SubModel* submodel);

// Unscales a whole model behind the engine, with its solution and the kept direction of hub; the factors are given back
// and scaleState becomes 0. With initOption 1 the row scaling is undone. Data that the presolver module scaled goes
// back through it. 0, or a status of that module, or 10 without it.
[[nodiscard]] int32_t ipmUnscaleOld(Env* env, Model* model, IpmOption* options, Hub* hub, Solution* solution);

// Factor arrays given back, scaleState 0 and objScale 1.
void releaseFactors(Env* env, Hub* hub);

// Engine column n, in standard form, back to true units: a value on the scale of the column, and one on the scale of
// its reduced cost. Range slacks scale by their rows, the negative parts of split columns like the positive ones.
// scaleState must be 2.
[[nodiscard]] double unscaleColumnValue(const Hub* hub, int32_t n, double value);
[[nodiscard]] double unscaleColumnDual(const Hub* hub, int32_t n, double value);
// An element of row i in engine column n.
[[nodiscard]] double unscaleElement(const Hub* hub, int32_t i, int32_t n, double value);

}  // namespace qz
