// Screening of the input data for values far larger than the rest: right-hand sides of inequalities, costs of bounded
// columns, and far bounds. What it marks takes no part in the least-squares solves of the starting point.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/distribution.h"

namespace qz {

// Sets the five thresholds of the record from the distributions of the model's numbers, and marks what lies above them
// in strict comparison:
//   rowMapSub, idxRowSub, numRowSub             inequalities with a big right-hand side; an equation can't be dropped
//   colMapSub, idxColSub, numColSub             columns with a big cost and a finite bound; nothing else would limit
//                                               a column without one
//   statusBoundSub, idxBoundSub, numBoundSub    far finite bounds
// The sub-matrix of a side that has no mark is freed. 0, or 10 with a message for counts that do not add up or a
// threshold outside [1, 1e20). A null record gives 0.
[[nodiscard]] int32_t ipmMarkBigdata(Env* env, const Model* model, SubModel* submodel, const IpmOption* options);

// The rows and the columns of ipmMarkBigdata, which needs thresholdBig; each sets its own threshold. 0 or 10.
[[nodiscard]] int32_t markBigRhs(Env* env, const Model* model, SubModel* submodel);
[[nodiscard]] int32_t markBigCol(Env* env, const Model* model, SubModel* submodel, double infinity);

// The bounds of ipmMarkBigdata; it needs thresholdBound.
void markFarBounds(Env* env, const Model* model, SubModel* submodel, double infinity);

}  // namespace qz
