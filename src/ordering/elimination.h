// The elimination loop of the minimum-degree engines on a quotient graph.
#pragma once

#include <cstdint>

#include "ordering/quotient_graph.h"
#include "qzipsolve/host.h"

namespace qz {

// Puts a live variable into the bucket of its key: its degree, or its fill up to n when the graph has fill scores.
void admitVariable(QuotientGraph& graph, int32_t v);

// Eliminates pivot after pivot, of the least degree or fill, until the buckets are empty. With groups only admitted
// variables, all of the current group, become pivots; the others have their lists and scores kept up to date. Polls
// `thread` once a pivot; null is never cancelled. LA_OK or LA_CANCELLED.
[[nodiscard]] int32_t eliminateAdmitted(QuotientGraph& graph, const QzThread* thread);

}  // namespace qz
