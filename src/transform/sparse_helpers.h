// Sparse matrix and vector helpers. They hold no state and allocate nothing.
//
// A matrix stands major by major (columns of a model, rows of a row copy) in four arrays: begin and length of each
// major, minor index and value of each element. Majors may have gaps between them. Where a function takes no length
// array, or gets a null one where that is allowed, major j ends at begin[j + 1]. A symmetric matrix is a diagonal array
// and the strict lower triangle in this layout, each off-diagonal pair once.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/host_table.h"

namespace qz {

// Zeroes n doubles.
void clearBuffer(int32_t n, double* vector);

// sqrt(sum of squares), not guarded against overflow; 0 for n below 1.
[[nodiscard]] double norm2(int32_t n, const double* vector);

// Packs the majors without gaps: outBegin[j] is the running count, outLength[j] = length[j]. No end mark is written.
void copyMatrix(int32_t numMajor, const int32_t* begin, const int32_t* length, const int32_t* index,
                const double* value, int32_t* outBegin, int32_t* outLength, int32_t* outIndex, double* outValue);

// Transpose of a matrix stored by begin alone (numMajor + 1 entries). outBegin gets numMinor + 1 entries, outIndex and
// outValue numElement; indices ascend in each output major. Does nothing when begin or outBegin is null.
void toggleMatrix(int32_t numMajor, int32_t numMinor, int32_t numElement, const int32_t* begin, const int32_t* index,
                  const double* value, int32_t* outBegin, int32_t* outIndex, double* outValue);

// Transpose of a matrix stored with lengths. A major whose entry in majorMap is negative is skipped; a null majorMap
// keeps all. outBegin gets numMinor + 1 entries, outLength[i] = outBegin[i + 1] - outBegin[i]; output indices are the
// input's majors, unmapped and ascending. Does nothing when begin, length, outBegin or outLength is null.
void toggleMatrixWithLength(int32_t numMajor, int32_t numMinor, const int32_t* majorMap, const int32_t* begin,
                            const int32_t* length, const int32_t* index, const double* value, int32_t* outBegin,
                            int32_t* outLength, int32_t* outIndex, double* outValue);

// Completes an augmented matrix in place. On entry the first numFirst majors hold their diagonal element first and else
// only minors from numFirst to numDim - 1, without gaps; begin[numFirst] is their end. On return each further major
// holds the mirrored elements of the first block in ascending order, then its own diagonal with value 0, and begin has
// numDim + 1 valid entries. index and value need room for 2 * begin[numFirst] - 2 * numFirst + numDim elements.
void augmentMatrix(int32_t numDim, int32_t numFirst, int32_t* begin, int32_t* index, double* value);

// Takes the element with this minor out of a major: it is rotated behind the shortened major, where it stays readable,
// and the order of the others is kept. value may be null. An element that is not there is an error text at level 0; the
// major is then shortened by its last element and nothing moves.
void removeElement(Env* env, int32_t minor, int32_t major, const int32_t* begin, int32_t* length, int32_t* index,
                   double* value);

// y = A x for a matrix by columns: y has numRow entries, x numCol. length may be null.
void matrixTimesVector(int32_t numRow, int32_t numCol, const int32_t* begin, const int32_t* length,
                       const int32_t* index, const double* value, const double* x, double* y);
// The same operation under the name that the verification uses.
void MatrixTimesVector(int32_t numRow, int32_t numCol, const int32_t* begin, const int32_t* length,
                       const int32_t* index, const double* value, const double* x, double* y);

// y = A' x: y[j] is the dot product of column j with x; y has numCol entries. length is required.
void vectorTimesMatrix(int32_t numCol, const int32_t* begin, const int32_t* length, const int32_t* index,
                       const double* value, const double* x, double* y);

// The two products with the engine's matrix: A x and A' x.
void ATimesVector(const Ipm* ipm, const double* x, double* y);
void AtranTimesVector(const Ipm* ipm, const double* x, double* y);

// y += alpha (D + L + L') x, with the diagonal D and the strict lower triangle L. Without begin or length only D acts.
void symmatrixTimesVector(int32_t n, const int32_t* begin, const int32_t* length, const int32_t* index,
                          const double* value, const double* diag, const double* x, double* y, double alpha);

// 1/2 x'Q x with Q = D + L + L'. Without begin or length only D acts.
[[nodiscard]] double calcQuadForm(int32_t n, const int32_t* begin, const int32_t* length, const int32_t* index,
                                  const double* value, const double* diag, const double* x);

// Pushes the listed diagonal entries away from zero: an entry below eps becomes min(-eps, entry). Negative
// regularisation keeps the block negative definite, as a quasidefinite matrix asks for (Vanderbei 1995).
void regMatDiag(int32_t numFirst, int32_t numSecond, double* diag, const int32_t* firstList, const int32_t* secondList,
                double eps);

// Log every element at level 0 as minor, major, value, an empty line before each major.
void printMatrix(Env* env, int32_t numMajor, const int32_t* begin, const int32_t* index, const double* value);
void printMatrixWithLength(Env* env, int32_t numMajor, const int32_t* begin, const int32_t* length,
                           const int32_t* index, const double* value);

}  // namespace qz
