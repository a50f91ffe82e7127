// Checks of presolve. Each returns 0, 10 after a breach, or -1086.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Level 1, once the kept rows and columns are numbered. Everything was looked at (unless the limit of passes ended the
// passes); the statistics match the maps and both copies of the matrix; the bounds lie inside those of the model,
// within the tolerance (but for a submodel, which moves them); each code of the maps has what it asks for: a removed
// row that says it set a bound of its one column stands in the map of that side; a row in a map holds the column. A row
// that sets a bound of one column may have tightened others before, and it may be empty or redundant by now: the
// recovery of the duals reads the bound maps alone.
[[nodiscard]] int32_t VerifyPresolveStructure(Env* env, int32_t level, const Model* model, const IpmOption* options,
                                              const Presolver* presolver);

// Level 1. The kept part of the working matrix by columns is the transpose of that by rows, and the same for the
// quadratic triangle: ipmVerifyRowMatrix on the kept rows and columns.
[[nodiscard]] int32_t verifyWorkingCopies(Env* env, int32_t level, const Model* model, const Presolver* presolver);

// Level 3. A random point of the reduced model, and the point of the input model that it stands for: equal residuals on
// the kept rows, and equal objective values but for the constant that the removed columns contribute. For an equation
// system (whose costs may be null) `in` is a copy from before the reduction.
[[nodiscard]] int32_t VerifyPresolveValue(Env* env, int32_t level, const Model* in, const Model* reduced,
                                          const Presolver* presolver);

// Level 1, on the light path: the counts in the hub of free columns, their elements, range and L rows.
[[nodiscard]] int32_t VerifyPresolveDisabled(Env* env, int32_t level, const Model* model, const IpmOption* options,
                                             const Hub* hub);

}  // namespace qz
