// Sparse matrix toolkit of the linear-algebra library, over compressed sparse columns: colBegin (columns + 1 entries),
// rowIndex, matValue. Rows of a column may stand in any order unless said otherwise.
//
// A function that allocates hands out colBegin (by itself) and one block that holds the values with the row indices
// behind them: the caller frees *outColBegin and *outValue, never *outRowIndex. Outputs are written on success only.
// Such functions return LA_OK or LA_NO_MEMORY (also for a size above 2147483647 bytes, without an attempt), and
// LA_BAD_PARAMETER where told.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "sparse/la_env.h"

namespace qz {

// A transposed, into the caller's outColBegin (numRows + 1), outRowIndex and outValue (entries of A). Each output
// column comes out in ascending row order.
void LA_TransposeMatrix(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                        const double* matValue, int32_t* outColBegin, int32_t* outRowIndex, double* outValue);
void LA_TransposeMatrixPattern(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                               int32_t* outColBegin, int32_t* outRowIndex);

// A * A^T, numRows by numRows, both triangles, rows of a column unsorted.
[[nodiscard]] int32_t LA_CreateAAt(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                                   const double* matValue, int32_t** outColBegin, int32_t** outRowIndex,
                                   double** outValue, QzPool* memory);

// The entries in rows rowFrom to rowTo - 1 and columns colFrom to colTo - 1, renumbered from 0; both ranges are clipped
// to the matrix. LA_BAD_PARAMETER when a range is empty then.
[[nodiscard]] int32_t LA_ExtractSubmatrix(int32_t numRows, int32_t numCols, int32_t rowFrom, int32_t rowTo,
                                          int32_t colFrom, int32_t colTo, const int32_t* colBegin,
                                          const int32_t* rowIndex, const double* matValue, QzPool* memory,
                                          int32_t** outColBegin, int32_t** outRowIndex, double** outValue);

// a*A + b*B for two n-by-n matrices; entries that come out as exact 0.0 are left out.
[[nodiscard]] int32_t LA_AddSparseMatrices(double a, double b, int32_t n, const int32_t* colBeginA,
                                           const int32_t* rowIndexA, const double* matValueA, const int32_t* colBeginB,
                                           const int32_t* rowIndexB, const double* matValueB, QzPool* memory,
                                           int32_t** outColBegin, int32_t** outRowIndex, double** outValue);

// Column-major dense copy with leading dimension numRows.
void LA_ConvertSparseToDense(int32_t numRows, int32_t numCols, const int32_t* colBegin, const int32_t* rowIndex,
                             const double* matValue, double* dense);

// The entries of a column-major dense matrix that are not exactly 0.0. LA_BAD_PARAMETER for a size that is not
// positive.
[[nodiscard]] int32_t LA_ConvertDenseToSparse(int32_t numRows, int32_t numCols, const double* dense, QzPool* memory,
                                              int32_t** outColBegin, int32_t** outRowIndex, double** outValue);

// The lower triangle of a symmetric matrix into a column-major n-by-n array. Entries above the diagonal are ignored,
// the strict upper part of the output is not written.
void LA_ConvertSparseSymToLowerDense(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                     const double* matValue, double* dense);

// The full symmetric matrix from its upper triangle; entries below the diagonal of the input are ignored.
[[nodiscard]] int32_t LA_ConvertUpperToFull(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                            const double* matValue, QzPool* memory, int32_t** outColBegin,
                                            int32_t** outRowIndex, double** outValue);

// n lists of nodes to compressed form: head[j] is the first node of list j, next[k] the node behind k, -1 ends a list;
// node k holds row nodeRow[k] and values[k]. outColBegin: the caller's, n + 1 entries.
[[nodiscard]] int32_t LA_ConvertLinkedListToCSR(int32_t n, const double* values, const int32_t* nodeRow,
                                                const int32_t* next, const int32_t* head, QzPool* memory,
                                                int32_t* outColBegin, int32_t** outRowIndex, double** outValue);

// 1 when the matrix is square and every off-diagonal entry (i, j) has a partner (j, i) of equal value; 0 otherwise,
// also for a row index out of range or a value that is no number.
[[nodiscard]] int32_t LA_IsMatrixSymmetric(int32_t numRows, int32_t numCols, const int32_t* colBegin,
                                           const int32_t* rowIndex, const double* matValue);

// The matrix in a new order: column j is old column perm[j], rows mapped by invPerm, unsorted. Outputs are the
// caller's.
void PermuteMatrixPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const int32_t* invPerm,
                          const int32_t* perm, int32_t* outColBegin, int32_t* outRowIndex);
void PermuteUnsMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                      const int32_t* invPerm, const int32_t* perm, int32_t* outColBegin, int32_t* outRowIndex,
                      double* outValue);

}  // namespace qz
