// The end of a factor, in whatever state its analysis or factorisation left it.
#pragma once

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Both free everything that hangs from the two records, the records themselves, and clear the handles. Null handles are
// no fault; so is a factor whose analysis stopped half-way. The memory handle is taken from `env`. Workers of a
// factorisation that was abandoned are cancelled and joined first.
void LA_CleanUpLDL(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric);
void LA_CleanUpCholesky(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric);

}  // namespace qz
