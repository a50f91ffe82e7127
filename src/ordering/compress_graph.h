// Compression of a graph: vertices of the same closed neighbourhood stay indistinguishable in every elimination
// (Ashcraft, "Compressed graphs and the minimum degree algorithm", SIAM J. Sci. Comput. 16, 1995). Kept for callers to
// come; no ordering uses it now.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Groups the n vertices: group g has the members cind[cptr[g]] to cind[cptr[g + 1] - 1], and the lowest vertices come
// first. When fewer than 0.85 n groups exist, `graph` becomes the graph of the groups: vertex weights the sizes, edge
// weights 1, labels the group numbers; the caller frees graphStore and vertexLabel. Otherwise it is only cleared.
//   cptr  n + 1 entries, cind n, work 3n
// 0 when it compressed; 1 when the graph is left as it is, for want of memory too. The input is not changed.
[[nodiscard]] int32_t CompressGraph(int32_t n, const int32_t* adjBegin, const int32_t* adjList, OrderingGraph* graph,
                                    int32_t* cptr, int32_t* cind, int32_t* work, QzPool* memory);

}  // namespace qz
