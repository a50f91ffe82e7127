#include "ordering/ordering_records.h"

namespace qz {

void InitGraph(OrderingGraph* graph) {
  *graph = OrderingGraph{};
  graph->numVertices = -1;
  graph->numEdges = -1;
  graph->cutWeight = -1;
}

}  // namespace qz
