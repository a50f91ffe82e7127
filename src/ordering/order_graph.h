// The ordering driver of the two symbolic analyses: picks an engine for a graph and runs it.
//
// A graph is handed over in compressed adjacency form, without diagonal entries and without repeated neighbours, with
// every edge stored in both directions: the neighbours of v are adjList[adjBegin[v]] to adjList[adjBegin[v + 1] - 1].
// The engines overwrite both arrays.
#pragma once

#include <cstdint>

#include "sparse/la_env.h"

namespace qz {

// Codes of the ordering engines, as requested by and reported to the caller.
enum : int32_t {
  ORDER_AUTOMATIC = -1,
  ORDER_AMD = 0,                // nd_amd, least approximate degree
  ORDER_AMF = 1,                // nd_amf, least approximate fill
  ORDER_NESTED_DISSECTION = 2,  // every request but -1, 0 and 1 means this
  ORDER_IDENTITY = 3            // reported only: the graph was left as it is
};

// Orders the graph of n vertices for little fill.
//
//   env             memory handle of all allocation; the minimum-degree path allocates nothing
//   adjBegin        n + 1 entries, destroyed
//   adjList         adjCapacity entries, destroyed; the first adjBegin[n] hold the edges. The rest is elbow room:
//                   none is needed, n entries keep compactions rare
//   problemKind     0 normal equations, 1 augmented system, 2 to 5 other
//   vertexWeights   n entries or null: weight of a vertex beyond 3, for nested dissection
//   isLDL           0 from the Cholesky analysis, 1 from the LDL analysis
//   perm, invPerm   n entries each, out: vertex at a position, position of a vertex
//   numDense        out: dense vertices that nested dissection removed; they are last. Untouched by the other engines,
//                   so the caller sets it to 0
//   method          in: requested engine; out: engine used
//   pullSeparators  non-zero: separators move behind all other kept vertices
//   constrained     non-zero: nested dissection only groups the vertices; then perm is no elimination order, it only
//                   puts the kept vertices before the dense ones
//   groupId         n entries, out in constrained mode: group number of each kept vertex; otherwise may be null
//   seed            0 means 4321
//   work            at least 8n + 8 entries
//   denseFactor     -1.0 means 50.0
//   balanceFactor   0.0 means by average degree
//
// Returns LA_OK, LA_NO_MEMORY, LA_INCONSISTENT when a work area proved too small, or LA_CANCELLED when the calling
// thread's cancel word stopped an engine; after an error no order is valid.
//
// The last two arguments stand in the order `balanceFactor`, `denseFactor`; both callers pass 0.0 and -1.0.
[[nodiscard]] int32_t OrderGraph(const LAEnv* env, int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity,
                                 int32_t problemKind, const int32_t* vertexWeights, int32_t isLDL, int32_t* perm,
                                 int32_t* invPerm, int32_t* numDense, int32_t* method, int32_t pullSeparators,
                                 int32_t constrained, int32_t* groupId, int32_t seed, int32_t* work,
                                 double balanceFactor, double denseFactor);

}  // namespace qz
