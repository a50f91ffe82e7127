// Equations that others add up to: they hold with the others or never.
//
// An equation with a column that no other equation has depends on none, and takes its columns with it; when no such is
// left, sparse elimination row by row finds those of the rest that vanish (Andersen 1995).
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passDependentEquations(Reducer& r);

}  // namespace qzpresol
