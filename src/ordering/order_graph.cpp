#include "ordering/order_graph.h"

#include "ordering/choice_table.h"
#include "ordering/minimum_degree.h"

namespace qz {
namespace {

// The caller's order stands.
void identityOrder(int32_t n, int32_t* perm, int32_t* invPerm) {
  for (int32_t v = 0; v < n; ++v) {
    perm[v] = v;
    invPerm[v] = v;
  }
}

// Writes the degrees of the n vertices.
void degreesOf(int32_t n, const int32_t* adjBegin, int32_t* degree) {
  for (int32_t v = 0; v < n; ++v) degree[v] = adjBegin[v + 1] - adjBegin[v];
}

// nd_amd with its arrays cut from `work`, 6n entries.
int32_t orderByDegree(int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity, int32_t problemKind,
                      int32_t* perm, int32_t* invPerm, int32_t* work) {
  const int64_t size = n;
  degreesOf(n, adjBegin, work);
  return nd_amd(n, adjBegin, adjList, work, adjCapacity, adjBegin[n], work + size, invPerm, perm, work + 2 * size,
                work + 3 * size, work + 4 * size, work + 5 * size, 0, problemKind, 0);
}

// nd_amf with its arrays cut from `work`, 7n + 1 entries.
int32_t orderByFill(int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity, int32_t removeDenseByLog,
                    int32_t problemKind, int32_t isFallback, int32_t* perm, int32_t* invPerm, int32_t* work) {
  const int64_t size = n;
  degreesOf(n, adjBegin, work);
  return nd_amf(n, adjBegin, adjList, work, adjCapacity, adjBegin[n], work + size, invPerm, perm, work + 2 * size,
                work + 3 * size + 1, work + 4 * size + 1, work + 5 * size + 1, work + 6 * size + 1, removeDenseByLog,
                problemKind, isFallback);
}

}  // namespace

int32_t OrderGraph(const LAEnv* /*env*/, int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity,
                   int32_t problemKind, const int32_t* /*vertexWeights*/, int32_t isLDL, int32_t* perm,
                   int32_t* invPerm, int32_t* /*numDense*/, int32_t* method, int32_t /*pullSeparators*/,
                   int32_t /*constrained*/, int32_t* /*groupId*/, int32_t /*seed*/, int32_t* work,
                   double /*balanceFactor*/, double /*denseFactor*/) {
  const int32_t numEntries = adjBegin[n];
  // A graph whose average degree passes a quarter of its size is not worth ordering. The quotient is in integers, so
  // that a graph of fewer than four vertices is never ordered.
  const double avg = numEntries == 0 ? 0.0 : static_cast<double>(numEntries) / n;
  const int32_t quarter = n / 4;
  if (numEntries == 0 || avg > quarter) {
    *method = ORDER_IDENTITY;
    identityOrder(n, perm, invPerm);
    return LA_OK;
  }

  int32_t engine = *method;
  if (engine == ORDER_AUTOMATIC) engine = chooseOrdering(problemKind, isLDL, n, avg);
  if (engine == ORDER_AMD) {
    *method = ORDER_AMD;
    return orderByDegree(n, adjBegin, adjList, adjCapacity, problemKind, perm, invPerm, work);
  }
  // NESTED DISSECTION is not there yet: here, and only here, its graphs go to the minimum-fill engine, and the method
  // reported back says so.
  *method = ORDER_AMF;
  return orderByFill(n, adjBegin, adjList, adjCapacity, isLDL, problemKind, 0, perm, invPerm, work);
}

}  // namespace qz
