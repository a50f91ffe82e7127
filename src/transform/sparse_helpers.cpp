#include "transform/sparse_helpers.h"

#include <algorithm>
#include <cmath>

#include "shell/log.h"

namespace qz {

namespace {

// Position behind the last element of a major.
inline int32_t endOf(const int32_t* begin, const int32_t* length, int32_t major) {
  return length == nullptr ? begin[major + 1] : begin[major] + length[major];
}

// The counting transpose. `keeps` says whether a major takes part; a null length array ends a major at its successor's
// begin.
template <class Keeps>
void transpose(int32_t numMajor, int32_t numMinor, const int32_t* begin, const int32_t* length, const int32_t* index,
               const double* value, int32_t* outBegin, int32_t* outIndex, double* outValue, Keeps keeps) {
  std::fill_n(outBegin, static_cast<int64_t>(numMinor) + 1, 0);
  for (int32_t major = 0; major < numMajor; ++major) {
    if (!keeps(major)) continue;
    const int32_t end = endOf(begin, length, major);
    for (int32_t k = begin[major]; k < end; ++k) ++outBegin[index[k]];
  }
  int32_t next = 0;
  for (int32_t minor = 0; minor < numMinor; ++minor) {
    const int32_t count = outBegin[minor];
    outBegin[minor] = next;
    next += count;
  }
  outBegin[numMinor] = next;
  for (int32_t major = 0; major < numMajor; ++major) {
    if (!keeps(major)) continue;
    const int32_t end = endOf(begin, length, major);
    for (int32_t k = begin[major]; k < end; ++k) {
      const int32_t position = outBegin[index[k]]++;
      outIndex[position] = major;
      outValue[position] = value[k];
    }
  }
  // Every start now stands at its major's end, which is the start of the next one.
  for (int32_t minor = numMinor; minor > 0; --minor) outBegin[minor] = outBegin[minor - 1];
  outBegin[0] = 0;
}

void printElements(QzLog* log, int32_t major, int32_t first, int32_t end, const int32_t* index, const double* value) {
  logText(log, QZ_LOG_DEBUG, L"");
  for (int32_t k = first; k < end; ++k) logText(log, QZ_LOG_DEBUG, L"mat(%d, %d) = %15.7g", index[k], major, value[k]);
}

// y += (D + L + L') x, every term passed through `scaled` before it is added.
template <class Scaled>
void addSymmetricProduct(int32_t n, const int32_t* begin, const int32_t* length, const int32_t* index,
                         const double* value, const double* diag, const double* x, double* y, Scaled scaled) {
  const bool triangle = begin != nullptr && length != nullptr;
  for (int32_t j = 0; j < n; ++j) {
    const double xj = x[j];
    double sum = scaled(diag[j]) * xj;
    const int32_t end = triangle ? begin[j] + length[j] : 0;
    for (int32_t k = triangle ? begin[j] : 0; k < end; ++k) {
      const double q = scaled(value[k]);
      y[index[k]] += q * xj;
      sum += q * x[index[k]];
    }
    y[j] += sum;
  }
}

}  // namespace

void clearBuffer(int32_t n, double* vector) {
  if (n > 0) std::fill_n(vector, n, 0.0);
}

double norm2(int32_t n, const double* vector) {
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) sum += vector[i] * vector[i];
  return std::sqrt(sum);
}

void copyMatrix(int32_t numMajor, const int32_t* begin, const int32_t* length, const int32_t* index,
                const double* value, int32_t* outBegin, int32_t* outLength, int32_t* outIndex, double* outValue) {
  int32_t next = 0;
  for (int32_t major = 0; major < numMajor; ++major) {
    const int32_t count = length[major];
    outBegin[major] = next;
    outLength[major] = count;
    std::copy_n(index + begin[major], count, outIndex + next);
    std::copy_n(value + begin[major], count, outValue + next);
    next += count;
  }
}

void toggleMatrix(int32_t numMajor, int32_t numMinor, int32_t, const int32_t* begin, const int32_t* index,
                  const double* value, int32_t* outBegin, int32_t* outIndex, double* outValue) {
  if (begin == nullptr || outBegin == nullptr) return;
  transpose(numMajor, numMinor, begin, nullptr, index, value, outBegin, outIndex, outValue,
            [](int32_t) { return true; });
}

void toggleMatrixWithLength(int32_t numMajor, int32_t numMinor, const int32_t* majorMap, const int32_t* begin,
                            const int32_t* length, const int32_t* index, const double* value, int32_t* outBegin,
                            int32_t* outLength, int32_t* outIndex, double* outValue) {
  if (begin == nullptr || length == nullptr || outBegin == nullptr || outLength == nullptr) return;
  transpose(numMajor, numMinor, begin, length, index, value, outBegin, outIndex, outValue,
            [majorMap](int32_t major) { return majorMap == nullptr || majorMap[major] >= 0; });
  for (int32_t minor = 0; minor < numMinor; ++minor) outLength[minor] = outBegin[minor + 1] - outBegin[minor];
}

void augmentMatrix(int32_t numDim, int32_t numFirst, int32_t* begin, int32_t* index, double* value) {
  if (numDim <= numFirst) return;
  // begin[i + 1] counts what major i gets: its mirrored elements and its diagonal.
  for (int32_t i = numFirst; i < numDim; ++i) begin[i + 1] = 1;
  for (int32_t j = 0; j < numFirst; ++j) {
    for (int32_t k = begin[j] + 1; k < begin[j + 1]; ++k) ++begin[index[k] + 1];
  }
  // Running starts, shifted one place: while the elements go in, begin[i + 1] is the next free place of major i, and so
  // it ends as the start of major i + 1 once the diagonal has been put last.
  int32_t next = begin[numFirst];
  for (int32_t i = numFirst; i < numDim; ++i) {
    const int32_t count = begin[i + 1];
    begin[i + 1] = next;
    next += count;
  }
  for (int32_t j = 0; j < numFirst; ++j) {
    // The end of the last first-block major is begin[numFirst], which is not among the moving starts.
    const int32_t end = begin[j + 1];
    for (int32_t k = begin[j] + 1; k < end; ++k) {
      const int32_t position = begin[index[k] + 1]++;
      index[position] = j;
      value[position] = value[k];
    }
  }
  for (int32_t i = numFirst; i < numDim; ++i) {
    const int32_t position = begin[i + 1]++;
    index[position] = i;
    value[position] = 0.0;
  }
}

void removeElement(Env* env, int32_t minor, int32_t major, const int32_t* begin, int32_t* length, int32_t* index,
                   double* value) {
  const int32_t first = begin[major];
  const int32_t end = first + length[major];
  const int32_t found = static_cast<int32_t>(std::find(index + first, index + end, minor) - index);
  if (found == end) {
    logText(env->log, QZ_LOG_DEBUG, L"Error removeElement: minor %d not found in major %d", minor, major);
    if (length[major] > 0) --length[major];
    return;
  }
  const double foundValue = value == nullptr ? 0.0 : value[found];
  std::copy(index + found + 1, index + end, index + found);
  index[end - 1] = minor;
  if (value != nullptr) {
    std::copy(value + found + 1, value + end, value + found);
    value[end - 1] = foundValue;
  }
  --length[major];
}

void matrixTimesVector(int32_t numRow, int32_t numCol, const int32_t* begin, const int32_t* length,
                       const int32_t* index, const double* value, const double* x, double* y) {
  clearBuffer(numRow, y);
  for (int32_t j = 0; j < numCol; ++j) {
    const double xj = x[j];
    const int32_t end = endOf(begin, length, j);
    for (int32_t k = begin[j]; k < end; ++k) y[index[k]] += value[k] * xj;
  }
}

void MatrixTimesVector(int32_t numRow, int32_t numCol, const int32_t* begin, const int32_t* length,
                       const int32_t* index, const double* value, const double* x, double* y) {
  matrixTimesVector(numRow, numCol, begin, length, index, value, x, y);
}

void vectorTimesMatrix(int32_t numCol, const int32_t* begin, const int32_t* length, const int32_t* index,
                       const double* value, const double* x, double* y) {
  for (int32_t j = 0; j < numCol; ++j) {
    double sum = 0.0;
    const int32_t end = begin[j] + length[j];
    for (int32_t k = begin[j]; k < end; ++k) sum += value[k] * x[index[k]];
    y[j] = sum;
  }
}

void ATimesVector(const Ipm* ipm, const double* x, double* y) {
  matrixTimesVector(ipm->numRow, ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue, x, y);
}

void AtranTimesVector(const Ipm* ipm, const double* x, double* y) {
  vectorTimesMatrix(ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue, x, y);
}

void symmatrixTimesVector(int32_t n, const int32_t* begin, const int32_t* length, const int32_t* index,
                          const double* value, const double* diag, const double* x, double* y, double alpha) {
  if (alpha == 0.0) return;
  if (alpha == 1.0) {
    addSymmetricProduct(n, begin, length, index, value, diag, x, y, [](double q) { return q; });
  } else if (alpha == -1.0) {
    addSymmetricProduct(n, begin, length, index, value, diag, x, y, [](double q) { return -q; });
  } else {
    addSymmetricProduct(n, begin, length, index, value, diag, x, y, [alpha](double q) { return alpha * q; });
  }
}

double calcQuadForm(int32_t n, const int32_t* begin, const int32_t* length, const int32_t* index, const double* value,
                    const double* diag, const double* x) {
  double sum = 0.0;
  for (int32_t j = 0; j < n; ++j) sum += 0.5 * diag[j] * x[j] * x[j];
  if (begin == nullptr || length == nullptr) return sum;
  for (int32_t j = 0; j < n; ++j) {
    const int32_t end = begin[j] + length[j];
    for (int32_t k = begin[j]; k < end; ++k) sum += value[k] * x[j] * x[index[k]];
  }
  return sum;
}

void regMatDiag(int32_t numFirst, int32_t numSecond, double* diag, const int32_t* firstList, const int32_t* secondList,
                double eps) {
  const auto push = [diag, eps](int32_t k) {
    if (eps > diag[k]) diag[k] = std::min(-eps, diag[k]);
  };
  for (int32_t i = 0; i < numFirst; ++i) push(firstList[i]);
  for (int32_t i = 0; i < numSecond; ++i) push(secondList[i]);
}

void printMatrix(Env* env, int32_t numMajor, const int32_t* begin, const int32_t* index, const double* value) {
  for (int32_t j = 0; j < numMajor; ++j) printElements(env->log, j, begin[j], begin[j + 1], index, value);
}

void printMatrixWithLength(Env* env, int32_t numMajor, const int32_t* begin, const int32_t* length,
                           const int32_t* index, const double* value) {
  for (int32_t j = 0; j < numMajor; ++j) printElements(env->log, j, begin[j], begin[j] + length[j], index, value);
}

}  // namespace qz
