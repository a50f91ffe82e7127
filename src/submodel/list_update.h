// The lists of big values, looked at once more before a round in vitro.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"

namespace qz {

// Drops from the list of each planned kind what is no longer big: below a twentieth of thresholdBig at `solution`, the
// point of `model`. A bound goes side by side; a column to be fixed goes when the dual of the bound that it rests on is
// small. The last entry takes the place of a dropped one. A kind whose list becomes empty is planned no more.
void updateSubList(Env* env, const Solution* solution, SubModel* submodel, const Model* model,
                   const IpmOption* options);

}  // namespace qz
