// From an ordered pattern to the supernodal structure of its factor: what both symbolic analyses share behind the
// ordering.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/factor_memory.h"
#include "sparse/la_env.h"
#include "sparse/pattern.h"

namespace qz {

// Elimination tree, post-order (composed into perm, invPerm and pivotKind), column counts, then SupernodalAnalysis.
// nnzL, flopsColumn and the copies of the parameters are set. LA_OK, LA_NO_MEMORY, LA_INCONSISTENT for an unsymmetric
// pattern, LA_TOO_LARGE.
[[nodiscard]] int32_t analyzeOrderedPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                            int32_t numOffDiagonals, const AnalysisMemory& memory, LAEnv* env,
                                            SymbolicFactor* symbolic, NumericFactor* numeric);

// Supernodes of the post-ordered pattern `lower` (rows i < j of column j) with elimination tree `parent` and column
// counts `colCount`; the choice of serial or blocked, threads and block size; the maps of rows and values and the row
// lists; for a serial factor the sizes of its scratch. A null pivotKind means Cholesky. work: 8n + 16 entries, aligned
// to 8 bytes. LA_OK, LA_NO_MEMORY or LA_TOO_LARGE.
[[nodiscard]] int32_t SupernodalAnalysis(LAEnv* env, int32_t n, const TrianglePattern& lower, const int32_t* parent,
                                         const int32_t* colCount, SymbolicFactor* symbolic, NumericFactor* numeric,
                                         int32_t* work);

// Entries of one blocked supernode of width w and height h: the sum over its block columns k of wk (h - k nb).
[[nodiscard]] int64_t blockedSupernodeEntries(int64_t width, int64_t height, int64_t blockSize);

// maxBlockEntries of a serial Cholesky factor: the largest (e - a)(b - a) over the runs [a, b) of below-diagonal rows
// that fall into one supernode, e being the end of the row list. maxBlockEntries of a serial LDL factor: the square of
// the largest h - w rounded up to a multiple of 32, and maxPanelEntries: the largest w*h, w*96 counting when h = w.
// LA_OK, or LA_TOO_LARGE beyond 2^31 - 1.
[[nodiscard]] int32_t sizeCholeskySerialScratch(SymbolicFactor* symbolic);
[[nodiscard]] int32_t sizeLDLSerialScratch(SymbolicFactor* symbolic);

}  // namespace qz
