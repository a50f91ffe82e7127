// The two records of a factor and the one work block from which the analysis cuts its arrays.
//
// The block has two parts. The first holds the adjacency of the ordering, then both triangles of the permuted pattern,
// and after the analysis the rows and values of the permuted lower triangle. The second holds the permutations and the
// maps of the supernodes for the life of the factor, and scratch, which the numeric phases take over as
// NumericFactor::work.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"
#include "sparse/pattern.h"

namespace qz {

// What the analysis cuts from the work block beyond the arrays that the records keep.
struct AnalysisMemory {
  int32_t* first;      // the first part as integers
  int64_t firstCount;  // their number
  int32_t* groupId;    // n + 1: groups of a constrained ordering; later the column starts of the numeric factor
  int32_t* parent;     // n: elimination tree      \  .
  int32_t* colCount;   // n: column counts of L     > one stretch of 10n + 16 integers
  int32_t* work;       // 8n + 16                  /
};

// Allocate both records (all fields zero, factorState 0) and the work block for a matrix of n columns and numEntries
// stored entries, and cut it. LA_OK or LA_NO_MEMORY; what was allocated hangs from the handles. The LDL variant also
// cuts pivotKind and sets rightLooking.
[[nodiscard]] int32_t InitMemoryAndStructsCholesky(int32_t n, int32_t numEntries, LAEnv* env, SymbolicFactor** symbolic,
                                                   NumericFactor** numeric, AnalysisMemory* memory);
[[nodiscard]] int32_t InitMemoryAndStructsLDL(int32_t n, int32_t numEntries, LAEnv* env, SymbolicFactor** symbolic,
                                              NumericFactor** numeric, AnalysisMemory* memory);

// Integers that the adjacency list of an n-vertex graph may use behind its starts in the first part, capped at 2^31
// - 1.
[[nodiscard]] int32_t adjacencyCapacity(const AnalysisMemory& memory, int32_t numVertices);

// Cuts both triangles for `numOffDiagonals` entries in all from the first part.
void cutTriangles(const AnalysisMemory& memory, int32_t n, int32_t numOffDiagonals, TrianglePattern* lower,
                  TrianglePattern* upper);

}  // namespace qz
