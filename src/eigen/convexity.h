// Is the Hessian of a quadratic model positive semi-definite?
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

inline constexpr int32_t kNotConvex = 1000;
inline constexpr double kConvexityTolerance = -1e-4;  // absolute: a smallest eigenvalue below it is not convex

// 0 for a convex Hessian or a model that is not quadratic, kNotConvex, -1086 when memory is short, 10 for any other
// failure. A diagonal Hessian is decided on its entries, any other on its smallest eigenvalue.
[[nodiscard]] int32_t ipmDetectConvexity(Env* env, const Model* model);

}  // namespace qz
