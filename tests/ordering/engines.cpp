#include "ordering/engines.h"

#include "ordering/minimum_degree.h"
#include "ordering/order_graph.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;
constexpr int32_t JUNK = -77777;  // what the engines find in their scratch arrays

struct Arrays {
  Array listStart, iw, listLen, nodeCount, nextInList, prevInList, bucketHead, elementCount, approxDegree, stamp,
      fillScore, groupOrder;
  int32_t capacity;
  int32_t freePos;
};

Arrays prepare(const Graph& graph, int32_t elbowRoom, int32_t numBuckets) {
  Arrays a;
  const auto n = static_cast<size_t>(graph.n);
  a.listStart = graph.begin;
  a.freePos = graph.numEntries();
  a.capacity = a.freePos + (elbowRoom < 0 ? graph.n : elbowRoom);
  a.iw = graph.list;
  a.iw.resize(static_cast<size_t>(a.capacity), JUNK);
  for (int32_t v = 0; v < graph.n; ++v) a.listLen.push_back(graph.degree(v));
  for (Array* array : {&a.nodeCount, &a.nextInList, &a.prevInList, &a.elementCount, &a.approxDegree, &a.stamp,
                       &a.fillScore, &a.groupOrder}) {
    array->assign(n, JUNK);
  }
  a.bucketHead.assign(static_cast<size_t>(numBuckets), JUNK);
  return a;
}

}  // namespace

Ordered runAmd(const Graph& graph, const EngineOptions& options) {
  Arrays a = prepare(graph, options.elbowRoom, graph.n);
  const int32_t status = qz::nd_amd(graph.n, a.listStart.data(), a.iw.data(), a.listLen.data(), a.capacity, a.freePos,
                                    a.nodeCount.data(), a.nextInList.data(), a.prevInList.data(), a.bucketHead.data(),
                                    a.elementCount.data(), a.approxDegree.data(), a.stamp.data(),
                                    options.removeDenseByLog, options.problemKind, options.isFallback);
  return {status, a.prevInList, a.nextInList};
}

Ordered runAmf(const Graph& graph, const EngineOptions& options) {
  Arrays a = prepare(graph, options.elbowRoom, graph.n + 1);
  const int32_t status = qz::nd_amf(graph.n, a.listStart.data(), a.iw.data(), a.listLen.data(), a.capacity, a.freePos,
                                    a.nodeCount.data(), a.nextInList.data(), a.prevInList.data(), a.bucketHead.data(),
                                    a.elementCount.data(), a.approxDegree.data(), a.stamp.data(), a.fillScore.data(),
                                    options.removeDenseByLog, options.problemKind, options.isFallback);
  return {status, a.prevInList, a.nextInList};
}

Ordered runCamf(const Graph& graph, const std::vector<int32_t>& groups, const EngineOptions& options) {
  Arrays a = prepare(graph, options.elbowRoom, graph.n + 1);
  const int32_t status = qz::nd_camf(graph.n, a.listStart.data(), a.iw.data(), a.listLen.data(), a.capacity, a.freePos,
                                     groups.empty() ? nullptr : groups.data(), a.nodeCount.data(), a.prevInList.data(),
                                     a.nextInList.data(), a.elementCount.data(), a.approxDegree.data(), a.stamp.data(),
                                     a.bucketHead.data(), a.fillScore.data(), a.groupOrder.data(), options.problemKind);
  return {status, a.prevInList, a.nextInList};
}

GraphOrder runOrderGraph(TestHost& host, const Graph& graph, const OrderRequest& request) {
  const auto n = static_cast<size_t>(graph.n);
  Array begin = graph.begin;
  Array list = graph.list;
  list.resize(list.size() + n, JUNK);
  Array work(8 * n + 8, JUNK);
  Array groupId(n, JUNK);
  GraphOrder result;
  result.perm.assign(n, JUNK);
  result.invPerm.assign(n, JUNK);
  result.method = request.method;
  qz::LAEnv env{};
  env.memory = host.pool();
  result.status =
      qz::OrderGraph(&env, graph.n, begin.data(), list.data(), static_cast<int32_t>(list.size()), request.problemKind,
                     request.vertexWeights, request.isLDL, result.perm.data(), result.invPerm.data(), &result.numDense,
                     &result.method, request.pullSeparators, request.constrained, groupId.data(), request.seed,
                     work.data(), request.balanceFactor, request.denseFactor);
  result.groupId = groupId;
  return result;
}

}  // namespace qztest
