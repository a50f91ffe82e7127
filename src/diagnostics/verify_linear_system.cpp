#include "diagnostics/verify_linear_system.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "engine/engine_state.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kProductTolerance = 1e-10;
constexpr double kDiagonalTolerance = 1e-8;
constexpr double kRegularisation = 1e-10;  // the most that the augmented system adds to a diagonal

double columnDiagonal(const Ipm* ipm, int32_t j) {
  double diagonal = ipm->typeModel == IPM_MODEL_QP ? ipm->quadDiag[j] : 0.0;
  if (hasUpper(ipm->statusBound[j])) diagonal += ipm->upperDual[j] / ipm->upperSlack[j];
  if (hasLower(ipm->statusBound[j])) diagonal += ipm->lowerDual[j] / ipm->lowerSlack[j];
  return diagonal;
}

PoolArray<double> randomVector(const Ipm* ipm, int64_t n) {
  PoolArray<double> v;
  if (v.allocate(ipm->env->pool, n) != QZ_STATUS_OK) return v;
  uint32_t state = kRandomState;
  for (int64_t k = 0; k < n; ++k) v[k] = zranuni(&state);
  return v;
}

// Products are compared entry by entry, judged by the size of what was summed.
struct Products {
  PoolArray<Sum> expected;
  PoolArray<Sum> found;

  [[nodiscard]] int32_t make(const Ipm* ipm, int64_t n) {
    if (expected.allocateZero(ipm->env->pool, n) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    return found.allocateZero(ipm->env->pool, n);
  }
  void multiply(const Ipm* ipm, const double* v) const {
    for (int64_t k = 0; k < found.size(); ++k)
      for (int32_t e = ipm->ipmColBegin[k]; e < ipm->ipmColBegin[k + 1]; ++e)
        found[ipm->ipmRowIndex[e]].add(ipm->ipmMatValue[e] * v[k]);
  }
  void compare(Check& check, double tolerance) const {
    for (int64_t k = 0; k < found.size(); ++k)
      check.close(L"product", static_cast<int32_t>(k), found[k].value, expected[k].value,
                  tolerance * (1.0 + expected[k].size));
  }
};

// expected += K v, from A, Q and the diagonals that stand in the matrix.
void addAugmentedProduct(const Ipm* ipm, bool quadratic, const double* v, Sum* expected) {
  const double* row = v + ipm->numCol;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    expected[j].add(ipm->ipmMatValue[ipm->varBndDiagIndex[j]] * v[j]);
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k) {
      expected[j].add(-ipm->matValue[k] * row[ipm->rowIndex[k]]);
      expected[ipm->numCol + ipm->rowIndex[k]].add(-ipm->matValue[k] * v[j]);
    }
    if (!quadratic) continue;
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k) {
      expected[j].add(ipm->quadMatValue[k] * v[ipm->quadRowIndex[k]]);
      expected[ipm->quadRowIndex[k]].add(ipm->quadMatValue[k] * v[j]);
    }
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    expected[ipm->numCol + i].add(ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] * row[i]);
}

int32_t checkAugmentedProduct(const Ipm* ipm, Check& check, bool quadratic) {
  const PoolArray<double> v = randomVector(ipm, ipm->numDim);
  Products products;
  if (!v || products.make(ipm, ipm->numDim) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addAugmentedProduct(ipm, quadratic, v.get(), products.expected.get());
  products.multiply(ipm, v.get());
  products.compare(check, kProductTolerance);
  return check.result();
}

// The entry points into `column` of the system matrix, at its diagonal.
void checkDiagonalPlace(const Ipm* ipm, Check& check, const wchar_t* field, int32_t k, int32_t place, int32_t column) {
  if (place < ipm->ipmColBegin[column] || place >= ipm->ipmColBegin[column + 1])
    check.breach(field, k, L"lies outside of its column");
  else if (ipm->ipmRowIndex[place] != column)
    check.breach(field, k, L"does not point at a diagonal");
}

int64_t expectedAugmentedSize(const Ipm* ipm, bool quadratic) {
  return int64_t{ipm->numDim} + 2 * (int64_t{ipm->numCoef} + (quadratic ? ipm->numQuadCoef : 0));
}

bool checkShape(const Ipm* ipm, Check& check, bool quadratic) {
  check.same(L"numDim", -1, ipm->numDim, ipm->numCol + ipm->numRow);
  check.same(L"numIpmCoef", -1, ipm->numIpmCoef, static_cast<int32_t>(expectedAugmentedSize(ipm, quadratic)));
  check.same(L"ipmColBegin", 0, ipm->ipmColBegin[0], 0);
  check.same(L"ipmColBegin", ipm->numDim, ipm->ipmColBegin[ipm->numDim], ipm->numIpmCoef);
  for (int32_t k = 0; k < ipm->numDim; ++k)
    check.atLeast(L"ipmColBegin", k + 1, ipm->ipmColBegin[k + 1], ipm->ipmColBegin[k]);
  if (check.numBreach() > 0) return false;
  for (int32_t e = 0; e < ipm->numIpmCoef; ++e) check.inRange(L"ipmRowIndex", e, ipm->ipmRowIndex[e], ipm->numDim);
  return check.numBreach() == 0;
}

// Column j of K holds each index once, and all that it should.
void checkColumn(const Ipm* ipm, Check& check, int32_t j, bool quadratic, int32_t* mark) {
  for (int32_t e = ipm->ipmColBegin[j]; e < ipm->ipmColBegin[j + 1]; ++e) {
    if (mark[ipm->ipmRowIndex[e]] == j) check.breach(L"ipmRowIndex", e, L"occurs twice in its column");
    mark[ipm->ipmRowIndex[e]] = j;
  }
  if (mark[j] != j) check.breach(L"column", j, L"has no diagonal");
  if (j >= ipm->numCol) return;
  for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
    if (mark[ipm->numCol + ipm->rowIndex[k]] != j) check.breach(L"rowIndex", k, L"is missing in the system matrix");
  if (!quadratic) return;
  for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k)
    if (mark[ipm->quadRowIndex[k]] != j) check.breach(L"quadRowIndex", k, L"is missing in the system matrix");
}

void checkAugmentedDiagonals(const Ipm* ipm, Check& check) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double expected = columnDiagonal(ipm, j);
    check.close(L"column diagonal", j, ipm->ipmMatValue[ipm->varBndDiagIndex[j]], expected,
                kDiagonalTolerance * std::fabs(expected) + 2.0 * kRegularisation);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const double expected = ipm->rowSense[i] == 'G' ? -ipm->ineqnSlack[i] / ipm->dual[i] : 0.0;
    check.close(L"row diagonal", i, ipm->ipmMatValue[ipm->ineqnDiagIndex[i]], expected,
                kDiagonalTolerance * std::fabs(expected) + 2.0 * kRegularisation);
  }
}

// D_j of the normal equations.
double normalWeight(const Ipm* ipm, int32_t j) {
  return std::min(1.0 / columnDiagonal(ipm, j), (1.0 + std::fabs(ipm->primal[j])) / kLeastTheta);
}

// expected += A D A' v.
void addNormalProduct(const Ipm* ipm, const double* v, Sum* expected) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    Sum column;
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) column.add(ipm->matValue[k] * v[ipm->rowIndex[k]]);
    const double d = normalWeight(ipm, j);
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) {
      Sum& row = expected[ipm->rowIndex[k]];
      row.value += ipm->matValue[k] * d * column.value;
      row.size += std::fabs(ipm->matValue[k] * d) * column.size;
    }
  }
}

}  // namespace

int32_t VerifyIneqnEnv(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyIneqnEnv");
  const bool normal = ipm->typeMethod == IPM_METHOD_NORMAL && ipm->cholFactor != nullptr;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t place = ipm->ineqnDiagIndex[i];
    if (normal && place < 0 && ipm->rowSense[i] != 'G') continue;
    checkDiagonalPlace(ipm, check, L"ineqnDiagIndex", i, place, normal ? i : ipm->numCol + i);
  }
  return check.result();
}

int32_t VerifyBoundEnv(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyBoundEnv");
  for (int32_t j = 0; j < ipm->numCol; ++j)
    checkDiagonalPlace(ipm, check, L"varBndDiagIndex", j, ipm->varBndDiagIndex[j], j);
  return check.result();
}

int32_t VerifyAugmentedMatrix(const Ipm* ipm, int32_t level, bool quadratic) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyAugmentedMatrix");
  if (!checkShape(ipm, check, quadratic)) return check.result();
  PoolArray<int32_t> mark;
  if (mark.allocate(ipm->env->pool, ipm->numDim) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; k < ipm->numDim; ++k) mark[k] = -1;
  for (int32_t k = 0; k < ipm->numDim; ++k) checkColumn(ipm, check, k, quadratic, mark.get());
  return check.result();
}

int32_t VerifyAugValue(const Ipm* ipm, int32_t level, bool quadratic) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyAugValue");
  return checkAugmentedProduct(ipm, check, quadratic);
}

int32_t VerifyQuadToSym(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyQuadToSym");
  PoolArray<int32_t> mark;
  PoolArray<double> value;
  if (mark.allocate(ipm->env->pool, ipm->numCol) != QZ_STATUS_OK ||
      value.allocate(ipm->env->pool, ipm->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t j = 0; j < ipm->numCol; ++j) mark[j] = -1;
  int32_t numAbove = 0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    for (int32_t k = ipm->quadColBegin[j]; k < ipm->quadColBegin[j] + ipm->quadColLength[j]; ++k) {
      mark[ipm->quadRowIndex[k]] = j;
      value[ipm->quadRowIndex[k]] = ipm->quadMatValue[k];
    }
    int32_t numBelow = 0;
    for (int32_t e = ipm->ipmColBegin[j]; e < ipm->ipmColBegin[j + 1]; ++e) {
      const int32_t i = ipm->ipmRowIndex[e];
      if (i == j || i >= ipm->numCol) continue;
      if (i < j) {
        ++numAbove;
        continue;
      }
      ++numBelow;
      if (mark[i] != j)
        check.breach(L"ipmRowIndex", e, L"is no element of the quadratic part");
      else
        check.close(L"ipmMatValue", e, ipm->ipmMatValue[e], value[i], kProductTolerance * (1.0 + std::fabs(value[i])));
    }
    check.same(L"quadColLength", j, numBelow, ipm->quadColLength[j]);
  }
  check.same(L"numQuadCoef", -1, numAbove, ipm->numQuadCoef);
  return check.result();
}

int32_t VerifyKKTmatrix(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyKKTmatrix");
  checkAugmentedDiagonals(ipm, check);
  return checkAugmentedProduct(ipm, check, ipm->typeModel == IPM_MODEL_QP && ipm->numQuadCoef > 0);
}

int32_t VerifyNormalMatrix(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyNormalMatrix");
  const PoolArray<double> v = randomVector(ipm, ipm->numRow);
  Products products;
  if (!v || products.make(ipm, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  addNormalProduct(ipm, v.get(), products.expected.get());
  products.multiply(ipm, v.get());
  products.compare(check, kProductTolerance);
  return check.result();
}

int32_t VerifyNormalMatValue(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyNormalMatValue");
  PoolArray<double> expected;
  if (expected.allocateZero(ipm->env->pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double d = normalWeight(ipm, j);
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      expected[ipm->rowIndex[k]] += ipm->matValue[k] * ipm->matValue[k] * d;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->ineqnDiagIndex[i] < 0) continue;
    if (ipm->rowSense[i] == 'G') expected[i] += ipm->ineqnSlack[i] / ipm->dual[i];
    check.close(L"diagonal", i, ipm->ipmMatValue[ipm->ineqnDiagIndex[i]], expected[i],
                kDiagonalTolerance * (1.0 + std::fabs(expected[i])));
  }
  return check.result();
}

}  // namespace qz
