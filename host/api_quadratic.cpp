// The quadratic part of a model: from the caller's form of a symmetric matrix to its diagonal and strict lower
// triangle.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "host/api_matrix.h"
#include "host/api_model.h"

namespace qzhost {

namespace {

// Mirror entries may differ by this share of the larger one: two orders of the same sums.
constexpr double kAsymmetry = 1e-9;

std::string checkGiven(const qzlp_quadratic& q, int32_t numCol) {
  if (q.form != QZLP_LOWER && q.form != QZLP_UPPER && q.form != QZLP_FULL)
    return "form is " + std::to_string(q.form) + ", none of QZLP_LOWER, QZLP_UPPER and QZLP_FULL";
  if (q.numCoef < 0) return "numCoef is " + std::to_string(q.numCoef) + ", below 0";
  if (numCol > 0 && q.colBegin == nullptr) return "colBegin is null";
  if (q.numCoef > 0 && q.rowIndex == nullptr) return "rowIndex is null";
  if (q.numCoef > 0 && q.value == nullptr) return "value is null";
  return {};
}

std::string place(int32_t row, int32_t column) {
  return "row " + std::to_string(row) + " of column " + std::to_string(column);
}

// The transpose of a square matrix; its rows stand in rising order.
PackedMatrix transposed(const PackedMatrix& a, int32_t n) {
  PackedMatrix t;
  t.numCoef = a.numCoef;
  t.colBegin.assign(static_cast<size_t>(n) + 1, 0);
  t.colLength.assign(static_cast<size_t>(n) + 1, 0);
  t.rowIndex.assign(a.rowIndex.size(), 0);
  t.value.assign(a.value.size(), 0.0);
  for (size_t k = 0; k < static_cast<size_t>(a.numCoef); ++k) ++t.colLength[static_cast<size_t>(a.rowIndex[k])];
  for (size_t j = 0; j < static_cast<size_t>(n); ++j) t.colBegin[j + 1] = t.colBegin[j] + t.colLength[j];
  std::vector<int32_t> next = t.colBegin;
  for (int32_t j = 0; j < n; ++j) {
    const auto begin = static_cast<size_t>(a.colBegin[static_cast<size_t>(j)]);
    const auto end = static_cast<size_t>(a.colBegin[static_cast<size_t>(j) + 1]);
    for (size_t k = begin; k < end; ++k) {
      const auto to = static_cast<size_t>(next[static_cast<size_t>(a.rowIndex[k])]++);
      t.rowIndex[to] = j;
      t.value[to] = a.value[k];
    }
  }
  return t;
}

// Every entry on the side of the diagonal that the form has.
std::string checkTriangle(const PackedMatrix& a, int32_t n, int32_t form) {
  for (int32_t j = 0; j < n; ++j)
    for (int32_t k = a.colBegin[static_cast<size_t>(j)]; k < a.colBegin[static_cast<size_t>(j) + 1]; ++k) {
      const int32_t row = a.rowIndex[static_cast<size_t>(k)];
      if (form == QZLP_LOWER ? row >= j : row <= j) continue;
      return place(row, j) + " lies " + (form == QZLP_LOWER ? "above" : "below") + " the diagonal, but the form is " +
             (form == QZLP_LOWER ? "QZLP_LOWER" : "QZLP_UPPER");
    }
  return {};
}

// Both triangles, sorted, are each other's mirror; `a` becomes their mean.
std::string meanOfMirrors(PackedMatrix& a, const PackedMatrix& mirror, int32_t n) {
  for (int32_t j = 0; j < n; ++j) {
    const auto begin = static_cast<size_t>(a.colBegin[static_cast<size_t>(j)]);
    const auto end = static_cast<size_t>(a.colBegin[static_cast<size_t>(j) + 1]);
    const auto mirrorEnd = static_cast<size_t>(mirror.colBegin[static_cast<size_t>(j) + 1]);
    size_t other = static_cast<size_t>(mirror.colBegin[static_cast<size_t>(j)]);
    for (size_t k = begin; k < end; ++k, ++other) {
      const int32_t row = a.rowIndex[k];
      const bool paired = other < mirrorEnd && mirror.rowIndex[other] == row;
      if (!paired && (other >= mirrorEnd || row < mirror.rowIndex[other]))
        return place(row, j) + " has no mirror entry";
      if (!paired) return place(j, mirror.rowIndex[other]) + " has no mirror entry";
      if (std::fabs(a.value[k] - mirror.value[other]) >
          kAsymmetry * std::max(std::fabs(a.value[k]), std::fabs(mirror.value[other])))
        return place(row, j) + " is " + shown(a.value[k]) + ", but its mirror entry is " + shown(mirror.value[other]);
      a.value[k] = 0.5 * a.value[k] + 0.5 * mirror.value[other];
    }
    if (other < mirrorEnd) return place(j, mirror.rowIndex[other]) + " has no mirror entry";
  }
  return {};
}

// The lower triangle, diagonal included, with rising rows.
std::string lowerTriangle(const qzlp_quadratic& q, int32_t n, PackedMatrix& lower) {
  PackedMatrix given;
  std::string error =
      takeMatrix({n, n, q.numCoef, q.colBegin, q.colLength, q.rowIndex, q.value, "value", "columns"}, given);
  if (!error.empty()) return error;
  if (q.form != QZLP_FULL) error = checkTriangle(given, n, q.form);
  if (!error.empty()) return error;
  PackedMatrix mirror = transposed(given, n);
  lower = transposed(mirror, n);  // twice transposed is sorted
  if (q.form == QZLP_UPPER) std::swap(lower, mirror);
  return q.form == QZLP_FULL ? meanOfMirrors(lower, mirror, n) : std::string();
}

// Splits the lower triangle, from which entries above the diagonal are left out.
QuadraticData splitTriangle(const PackedMatrix& lower, int32_t n) {
  const auto numCol = static_cast<size_t>(n);
  QuadraticData out;
  out.diag.assign(numCol, 0.0);
  out.colBegin.assign(numCol + 1, 0);
  out.colLength.assign(numCol, 0);
  for (size_t j = 0; j < numCol; ++j) {
    for (auto k = static_cast<size_t>(lower.colBegin[j]); k < static_cast<size_t>(lower.colBegin[j + 1]); ++k) {
      const auto row = static_cast<size_t>(lower.rowIndex[k]);
      if (row == j) out.diag[j] = lower.value[k];
      if (row <= j) continue;
      out.rowIndex.push_back(lower.rowIndex[k]);
      out.value.push_back(lower.value[k]);
    }
    out.colBegin[j + 1] = static_cast<int32_t>(out.rowIndex.size());
    out.colLength[j] = out.colBegin[j + 1] - out.colBegin[j];
  }
  return out;
}

}  // namespace

std::string takeQuadratic(const qzlp_quadratic* quadratic, ModelData& data) {
  PackedMatrix lower;
  const int32_t numCol = data.record.numCol;
  if (quadratic != nullptr) {
    std::string error = checkGiven(*quadratic, numCol);
    if (error.empty()) error = lowerTriangle(*quadratic, numCol, lower);
    if (!error.empty()) return error;
  }
  data.quadratic = lower.numCoef > 0 ? splitTriangle(lower, numCol) : QuadraticData{};
  return {};
}

}  // namespace qzhost
