// The vertices of very many neighbours, which would glue all pieces of a dissection together, go out before it.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Makes the graph of the vertices of degree below denseFactor times the average degree (in integers, at least 1), in
// their order; adjBegin and adjList are rewritten in place and stay the caller's.
//   work           2n entries, out: at k < numVertices the vertex kept as k, then the dense ones, the first one found
//                  last; at n + v the place of v in that list
//   vertexWeights  n entries or null. Kept vertex k weighs vertexWeights[k] + 3, also when it is not vertex k of the
//                  input; without weights 1
// The caller frees graphStore (vertexWeight, adjWeightSum, coarseMap, edgeWeight) and vertexLabel, the numbers 0, 1,
// ..., after an error too. LA_OK, LA_NO_MEMORY, or LA_INCONSISTENT when more edges are left than the degrees allow, as
// in a pattern that is not symmetric.
[[nodiscard]] int32_t RemoveDenseVertices(OrderingGraph* graph, int32_t n, int32_t* adjBegin, int32_t* adjList,
                                          int32_t* work, const int32_t* vertexWeights, double denseFactor,
                                          QzPool* memory);

}  // namespace qz
