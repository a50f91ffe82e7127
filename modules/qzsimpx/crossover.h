// From the interior answer of a record to a basic one.
#pragma once

#include "qzipsolve/presolve_module.h"
#include "qzipsolve/record.h"

namespace qzsimpx {

// Identifies a basis from the interior answer, pushes the point to a vertex of the optimal face and its duals to those
// of a basis, cleans up by the simplex method, and writes and reports the outcome. Memory comes from the pool, and from
// the heap inside of the simplex library. Throws what the library throws, std::bad_alloc among it.
void crossOver(QzPool* pool, QzLog* log, const QzPresolveHandle& handle, LpRecord& record);

}  // namespace qzsimpx
