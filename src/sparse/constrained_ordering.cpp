#include "sparse/constrained_ordering.h"

#include <algorithm>

#include "ordering/minimum_degree.h"
#include "sparse/la_env.h"
#include "sparse/pattern.h"

namespace qz {

int32_t orderWithinGroups(int32_t n, int32_t numDense, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity,
                          int32_t problemKind, const int32_t* groupId, int32_t* perm, int32_t* invPerm, int32_t* work) {
  const int32_t kept = n - numDense;
  if (numDense > 0) {
    const int32_t status = PruneMatrixWithPerm(n, kept, adjBegin, adjList, invPerm);
    if (status != LA_OK) return status;
  }
  int32_t* degree = work;
  int32_t* position = degree + kept;
  int32_t* vertexAt = position + kept;
  int32_t* nodeCount = vertexAt + kept;
  int32_t* elementCount = nodeCount + kept;
  int32_t* approxDegree = elementCount + kept;
  int32_t* stamp = approxDegree + kept;
  int32_t* fillScore = stamp + kept;
  int32_t* groupOrder = fillScore + kept;
  int32_t* bucketHead = groupOrder + kept;
  for (int32_t v = 0; v < kept; ++v) degree[v] = adjBegin[v + 1] - adjBegin[v];
  const int32_t status =
      nd_camf(kept, adjBegin, adjList, degree, adjCapacity, adjBegin[kept], groupId, nodeCount, vertexAt, position,
              elementCount, approxDegree, stamp, bucketHead, fillScore, groupOrder, problemKind);
  if (status != LA_OK) return status;
  int32_t* before = degree;
  std::copy(perm, perm + kept, before);
  for (int32_t k = 0; k < kept; ++k) perm[k] = before[vertexAt[k]];
  for (int32_t k = 0; k < n; ++k) invPerm[perm[k]] = k;
  return LA_OK;
}

}  // namespace qz
