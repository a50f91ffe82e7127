// Scaling of the working model, once per solve, between the bound shift and the standard form.
//
// With r = rowScale[i], c = colScale[j], o = objScale the scaled quantities are
//   element (i, j)  a r c        rhs[i], range[i]     b r          primal[j], bounds and bound slacks  x / c
//   obj[j]          c_j c o      dual[i]              y o / r      bound duals                         z c o
// The slack of a range row scales like its row: a column with factor 1 / r.
//
// The stages of a linear model: balance the objective against the matrix by their quartiles (scaling_balance.h); hide
// outliers (scaling_outliers.h) while the presolver module computes and applies the factors; put the outliers back;
// take tiny right-hand sides and costs out or lift them (small_data.h). A quadratic model has its objective balanced
// and nothing else.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"

namespace qz {

// Scales the model in place and fills the scaling fields of hub: scaleState, objScale, the factor arrays while
// scaleState is 2, and the lists of small data. Alternate bounds of hub are scaled along. Sets unscaleCheck of the
// options when small data was lifted. The last argument is unused. With initOption 1 the row scaling of row_scaling.h
// takes its place. 0; -1086; 10 for outliers that do not add up or without a presolver object; a status of the
// presolver module's scaling.
[[nodiscard]] int32_t ipmScale(Env* env, Model* model, IpmOption* options, Hub* hub, void* unused);

}  // namespace qz
