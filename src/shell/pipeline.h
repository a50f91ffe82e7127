// `ipmMain`: the stages around the interior-point engine, in the order of a solve.
#pragma once

#include <cstdint>

#include "qzipsolve/record.h"
#include "shell/records.h"
#include "shell/timer.h"

namespace qz {

// Solves the model: presolve, standard form, engine, and everything undone again. The answer stands in the model's
// arrays. Returns the status that it also leaves in model->status. A quadratic model is always solved by the augmented
// system, and is reported here; a linear one is reported by its caller behind the last check. option->crossover is
// cleared when no crossover ran. reducedRecord is the record that the model was made from, null for a quadratic model.
//
// The stages extend the model in place, so its arrays need room: solPrimal, obj, lower, upper, reducedCost and
// colLength for numRange + numFreeVar further columns, colBegin for one entry more, rowIndex and matValue for numRange
// + numFreeElement elements. The matrix must be packed and the row senses in upper case. After a break or a failure the
// model's arrays may stand transformed.
int32_t ipmMain(Env* env, Model* model, IpmOption* option, IPM_timer* timer, LpRecord* reducedRecord);

}  // namespace qz
