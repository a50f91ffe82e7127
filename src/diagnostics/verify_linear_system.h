// Checks of the engine's system matrix against the model. Each returns 0, 10 after a breach, or -1086 when it could not
// run. All run from level 1.
//
// The augmented matrix and the normal equations, with the notation of engine/ipm.h:
//   K = [ Q + Theta  -A' ]      M = A D A' + E
//       [ -A         -E  ]
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// ineqnDiagIndex: row i's entry points at the diagonal of its own column (numCol + i in K, i in M). Only a row of M
// that is no inequality may have none, -1.
[[nodiscard]] int32_t VerifyIneqnEnv(const Ipm* ipm, int32_t level);

// varBndDiagIndex: column j's entry points at the diagonal of column j of K.
[[nodiscard]] int32_t VerifyBoundEnv(const Ipm* ipm, int32_t level);

// The structure of K: its size, one diagonal a column, an element for each one of A and, with `quadratic`, of Q.
[[nodiscard]] int32_t VerifyAugmentedMatrix(const Ipm* ipm, int32_t level, bool quadratic);

// The values of K beside its diagonal: K v against -A, -A' and the off-diagonal part of Q on a random vector.
[[nodiscard]] int32_t VerifyAugValue(const Ipm* ipm, int32_t level, bool quadratic);

// The off-diagonal quadratic block of K holds the triangle of Q and its mirror.
[[nodiscard]] int32_t VerifyQuadToSym(const Ipm* ipm, int32_t level);

// K with its diagonals, before a factorisation: Q + Theta and -E of the iterate, up to the regularisation, and all else
// as VerifyAugValue.
[[nodiscard]] int32_t VerifyKKTmatrix(const Ipm* ipm, int32_t level);

// The normal matrix before E is added: M v = A D A' v on a random vector, with D from the iterate.
[[nodiscard]] int32_t VerifyNormalMatrix(const Ipm* ipm, int32_t level);

// The normal matrix with E: its diagonal, element by element, is the sum of squares plus s / y on inequality rows.
[[nodiscard]] int32_t VerifyNormalMatValue(const Ipm* ipm, int32_t level);

}  // namespace qz
