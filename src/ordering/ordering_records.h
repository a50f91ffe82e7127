// Records of the multilevel ordering: one graph per level of coarsening, and the control of one run.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "sparse/la_env.h"

namespace qz {

// A graph with its state of bisection. Weights and degrees are sums of 32-bit integers.
struct OrderingGraph {
  int32_t* graphStore;      // owns adjBegin, vertexWeight, adjWeightSum, coarseMap, adjList, edgeWeight of this level
  int32_t* refineStore;     // owns partWeight, side, boundaryPos, boundaryList, nodeGain, internal- and externalDegree
  int32_t numVertices;      // -1 in a cleared record
  int32_t numEdges;         // directed adjacency entries; -1 in a cleared record
  int32_t* adjBegin;        // numVertices + 1
  int32_t* vertexWeight;    // numVertices
  int32_t* adjList;         // numEdges
  int32_t* edgeWeight;      // numEdges; null marks a leaf piece, which is not dissected further
  int32_t* adjWeightSum;    // numVertices: sum of the weights of a vertex's edges
  int32_t* vertexLabel;     // numVertices: number of a vertex in the graph that was given to NestedDissection
  int32_t* coarseMap;       // numVertices: vertex of the next coarser level
  int32_t cutWeight;        // weight of the edge cut, then of the separator; -1 in a cleared record
  int32_t* side;            // numVertices: 0, 1, or 2 for the separator
  int32_t* partWeight;      // 3: weight of side 0, of side 1, of the separator
  int32_t boundaryCount;    // length of boundaryList
  int32_t* boundaryPos;     // numVertices: place of a vertex in boundaryList, -1 outside
  int32_t* boundaryList;    // numVertices
  int32_t* internalDegree;  // numVertices, at the edge-cut stage
  int32_t* externalDegree;  // numVertices, at the edge-cut stage
  int32_t (*nodeGain)[2];   // numVertices: weight of a vertex's neighbours on side 0 and on side 1
  OrderingGraph* coarser;
  OrderingGraph* finer;
};

// One run of nested dissection.
struct OrderingControl {
  int32_t numTopVertices;        // vertices of the graph given to the engine, dense ones removed
  int32_t coarsenTo;             // set for each bisection: vertices of a graph that is coarse enough
  int32_t maxVertexWeight;       // set for each bisection: heaviest vertex that matching may make
  int32_t numSeparatorVertices;  // entries of separatorList so far
  int32_t seed;                  // state of qzRand
  int32_t pullSeparators;        // 0/1: separators go behind all other kept vertices
  double balanceFactor;          // how much a side may exceed half of the weight
  double denseFactor;            // a vertex of this many average degrees is dense
  int32_t constrained;           // 0/1: number groups only
  int32_t numSeparatorGroups;
  int32_t numLeafGroups;
  int32_t* groupId;   // numTopVertices, out in constrained mode
  int32_t* poolBase;  // the stack of integers
  int32_t poolCapacity;
  int32_t poolUsed;
  void* workBlock;             // owns edgeWork and the stack
  int32_t* edgeWork;           // numEdges of the top graph
  int32_t* componentWork;      // within the caller's work area
  int32_t* separatorList;      // within the caller's work area
  const QzThread* breakState;  // thread whose cancel word ends the run; may be null
  const LAEnv* env;
};

// Clears the record: all pointers null, all counts 0, numVertices, numEdges and cutWeight -1.
void InitGraph(OrderingGraph* graph);

}  // namespace qz
