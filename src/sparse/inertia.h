// Pivot statistics of an LDL factor: the inertia of D, which by Sylvester's law is that of the factored matrix, and the
// spread of the pivots.
#pragma once

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Store numPositivePivots, numNegativePivots and pivotRatio in `env`. Each eigenvalue of D counts as positive when it
// is above 0 and else as negative. pivotRatio is the smallest over the largest pivot magnitude, diagonal entries
// standing for a 2-by-2 block, and 0.0 when the largest is below 1.110223024625157e-16.
void GetLStatsLDL(const SymbolicFactor* symbolic, LAEnv* env);         // panels in column order
void GetLStatsLDLBlocked(const SymbolicFactor* symbolic, LAEnv* env);  // block columns, row by row

}  // namespace qz
