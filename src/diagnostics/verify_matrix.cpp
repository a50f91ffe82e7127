#include "diagnostics/verify_matrix.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "eigen/sparse_eigen.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

constexpr double kValueTolerance = 1e-10;
constexpr double kNegativeShare = 1e-8;  // of the norm: what an eigenvalue may lie below zero
constexpr int32_t kMaxProduct = 40;

// The transpose, made by counting.
struct Transposed {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> index;
  PoolArray<double> value;

  [[nodiscard]] int32_t make(QzPool* pool, const SparseView& m) {
    if (begin.allocateZero(pool, int64_t{m.numMinor} + 2) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    for (int32_t k = 0; k < m.numMajor; ++k)
      for (int32_t e = m.begin[k]; e < m.end(k); ++e) ++begin[m.index[e] + 2];
    for (int32_t i = 1; i < m.numMinor; ++i) begin[i + 1] += begin[i];
    const int64_t count = int64_t{begin[m.numMinor]} + begin[m.numMinor + 1];
    if (index.allocate(pool, count) != QZ_STATUS_OK || value.allocate(pool, count) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    for (int32_t k = 0; k < m.numMajor; ++k) {
      for (int32_t e = m.begin[k]; e < m.end(k); ++e) {
        const int32_t at = begin[m.index[e] + 1]++;
        index[at] = k;
        value[at] = m.value[e];
      }
    }
    return QZ_STATUS_OK;
  }
};

// What a walk over majors remembers of the one it stands in.
struct Marks {
  PoolArray<int32_t> major;  // of the last one that holds the minor
  PoolArray<double> value;

  [[nodiscard]] int32_t make(QzPool* pool, int32_t numMinor) {
    if (major.allocate(pool, numMinor) != QZ_STATUS_OK || value.allocate(pool, numMinor) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    for (int32_t i = 0; i < numMinor; ++i) major[i] = -1;
    return QZ_STATUS_OK;
  }
};

void checkIndices(Check& check, const SparseView& m, const Marks& marks) {
  for (int32_t k = 0; k < m.numMajor; ++k) {
    for (int32_t e = m.begin[k]; e < m.end(k); ++e) {
      if (!check.inRange(L"index", e, m.index[e], m.numMinor)) continue;
      if (marks.major[m.index[e]] == k) check.breach(L"index", e, L"occurs twice in its major");
      marks.major[m.index[e]] = k;
    }
  }
}

// Both hold the same elements in each major.
void compareMajors(Check& check, const SparseView& one, const SparseView& other, const Marks& marks) {
  for (int32_t k = 0; k < one.numMajor; ++k) {
    check.same(L"length", k, other.end(k) - other.begin[k], one.end(k) - one.begin[k]);
    for (int32_t e = one.begin[k]; e < one.end(k); ++e) {
      marks.major[one.index[e]] = k;
      marks.value[one.index[e]] = one.value[e];
    }
    for (int32_t e = other.begin[k]; e < other.end(k); ++e) {
      const int32_t i = other.index[e];
      if (marks.major[i] != k) {
        check.breach(L"element", e, L"has no partner in the other copy");
        continue;
      }
      marks.major[i] = -1;  // each partner once
      check.close(L"value", e, other.value[e], marks.value[i], kValueTolerance * (1.0 + std::fabs(marks.value[i])));
    }
  }
}

bool validIndices(Check& check, const SparseView& m) {
  const int32_t before = check.numBreach();
  for (int32_t k = 0; k < m.numMajor; ++k)
    for (int32_t e = m.begin[k]; e < m.end(k); ++e) check.inRange(L"index", e, m.index[e], m.numMinor);
  return check.numBreach() == before;
}

// `rows` against the transpose of `columns`.
int32_t compareTransposed(Env* env, Check& check, const SparseView& columns, const SparseView& rows) {
  if (!validIndices(check, columns) || !validIndices(check, rows)) return check.result();
  Transposed transposed;
  Marks marks;
  if (transposed.make(env->pool, columns) != QZ_STATUS_OK || marks.make(env->pool, rows.numMinor) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  const SparseView expected{rows.numMajor, rows.numMinor,          transposed.begin.get(),
                            nullptr,       transposed.index.get(), transposed.value.get()};
  compareMajors(check, expected, rows, marks);
  return check.result();
}

// The largest sum of magnitudes in a column.
double norm1(const SparseView& m) {
  double norm = 0.0;
  for (int32_t k = 0; k < m.numMajor; ++k) {
    double sum = 0.0;
    for (int32_t e = m.begin[k]; e < m.end(k); ++e) sum += std::fabs(m.value[e]);
    norm = std::max(norm, sum);
  }
  return norm;
}

// x'Mx / x'x.
double rayleighQuotient(const SparseView& m, const double* x) {
  double product = 0.0;
  double square = 0.0;
  for (int32_t k = 0; k < m.numMajor; ++k) {
    double column = 0.0;
    for (int32_t e = m.begin[k]; e < m.end(k); ++e) column += m.value[e] * x[m.index[e]];
    product += column * x[k];
    square += x[k] * x[k];
  }
  return square > 0.0 ? product / square : 0.0;
}

// A vector near the smallest eigenvalue; whatever the search has when its products are spent. False without memory.
int32_t findSmallest(Env* env, const SparseView& m, double* vector, bool* found) {
  int32_t status = LA_OK;
  LAEnv* laEnv = LA_CreateLAEnv(env->pool, 0, &status);
  if (laEnv == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  laEnv->eigenEnd = 'S';
  laEnv->eigenCount = 1;
  laEnv->eigenIterationLimit = kMaxProduct;
  double eigenvalue = 0.0;
  double residual = 0.0;
  status =
      LA_SparseSymEigenSolver(m.numMajor, m.begin, m.index, m.value, laEnv, nullptr, &eigenvalue, vector, &residual);
  LA_FreeLAEnv(&laEnv);
  if (status == LA_NO_MEMORY) return QZ_STATUS_OUT_OF_MEMORY;
  *found = status == LA_OK || status == kEigenLimit;
  return QZ_STATUS_OK;
}

}  // namespace

int32_t VerifySparseIndex(Env* env, int32_t level, const SparseView& matrix) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifySparseIndex");
  Marks marks;
  if (marks.make(env->pool, matrix.numMinor) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  checkIndices(check, matrix, marks);
  return check.result();
}

int32_t ipmVerifyRowMatrix(Env* env, int32_t level, const SparseView& columns, const SparseView& rows) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"ipmVerifyRowMatrix");
  return compareTransposed(env, check, columns, rows);
}

int32_t VerifySymMatrix(Env* env, int32_t level, const SparseView& matrix) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifySymMatrix");
  check.same(L"numMinor", -1, matrix.numMinor, matrix.numMajor);
  if (check.numBreach() > 0) return check.result();
  return compareTransposed(env, check, matrix, matrix);
}

int32_t VerifySymMatrixFormat(Env* env, int32_t level, const SparseView& matrix, int32_t numCoef) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifySymMatrixFormat");
  check.same(L"numMinor", -1, matrix.numMinor, matrix.numMajor);
  int32_t position = 0;
  for (int32_t k = 0; k < matrix.numMajor; ++k) {
    check.same(L"begin", k, matrix.begin[k], position);
    check.atLeast(L"length", k, matrix.end(k) - matrix.begin[k], 0.0);
    position = matrix.end(k);
  }
  check.same(L"numCoef", -1, position, numCoef);
  if (check.numBreach() > 0) return check.result();
  Marks marks;
  if (marks.make(env->pool, matrix.numMinor) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  checkIndices(check, matrix, marks);
  return check.result();
}

int32_t VerifyMapping(Env* env, int32_t level, int32_t n, const int32_t* map, int32_t numKept, int32_t lowestCode) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifyMapping");
  int32_t next = 0;
  for (int32_t k = 0; k < n; ++k) {
    if (map[k] < 0)
      check.atLeast(L"map", k, map[k], lowestCode);
    else
      check.same(L"map", k, map[k], next++);
  }
  check.same(L"numKept", -1, numKept, next);
  return check.result();
}

int32_t VerifyVector(Env* env, int32_t level, int32_t n, const double* vector) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(env, L"VerifyVector");
  for (int32_t k = 0; k < n; ++k)
    if (!std::isfinite(vector[k])) check.breach(L"vector", k, L"is not a finite number");
  return check.result();
}

int32_t VerifyMatrixNonsingular(Env* env, int32_t level, const SparseView& matrix, double negativePart) {
  if (!verifies(level, VERIFY_STRUCTURE) || matrix.numMajor == 0) return QZ_STATUS_OK;
  Check check(env, L"VerifyMatrixNonsingular");
  PoolArray<double> vector;
  if (vector.allocateZero(env->pool, matrix.numMajor) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  bool found = false;
  const int32_t status = findSmallest(env, matrix, vector.get(), &found);
  if (status != QZ_STATUS_OK || !found) return status;
  const double margin = kNegativeShare * norm1(matrix);
  const double smallest = rayleighQuotient(matrix, vector.get());
  check.atLeast(L"smallest eigenvalue", -1, smallest, -margin - negativePart);
  if (std::fabs(smallest) <= margin)
    logText(env->log, QZ_LOG_DEBUG, L"VerifyMatrixNonsingular: smallest eigenvalue = %15.7g, nearly singular",
            smallest);
  return check.result();
}

}  // namespace qz
