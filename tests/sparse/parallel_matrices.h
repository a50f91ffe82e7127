// Well-conditioned random matrices of many supernode shapes, for the factorisations.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace qztest {

// A symmetric matrix in compressed columns, both triangles.
struct SystemMatrix {
  int32_t n = 0;
  std::vector<int32_t> begin{0};
  std::vector<int32_t> index;
  std::vector<double> value;
};

enum class Pattern { DENSE, GRID_2D, GRID_3D, RANDOM, CLIQUES, ARROW, DIAGONAL, COUNT };
inline const char* nameOf(Pattern pattern) {
  static const char* names[] = {"dense", "2-D grid", "3-D grid", "random", "cliques", "arrow", "diagonal"};
  return names[static_cast<int>(pattern)];
}

// Off-diagonal places (i > j) of a pattern with about n vertices; *n becomes their number.
inline std::set<std::pair<int32_t, int32_t>> placesOf(Pattern pattern, int32_t* n, std::mt19937& random) {
  std::set<std::pair<int32_t, int32_t>> places;
  const auto link = [&](int32_t a, int32_t b) {
    if (a != b) places.insert({std::max(a, b), std::min(a, b)});
  };
  const auto below = [&](int32_t bound) { return static_cast<int32_t>(random() % static_cast<uint32_t>(bound)); };
  switch (pattern) {
    case Pattern::DENSE:
      for (int32_t i = 0; i < *n; ++i)
        for (int32_t j = 0; j < i; ++j) link(i, j);
      break;
    case Pattern::GRID_2D: {
      const auto side = static_cast<int32_t>(std::lround(std::sqrt(*n)));
      *n = side * side;
      for (int32_t v = 0; v < *n; ++v) {
        if (v % side > 0) link(v, v - 1);
        if (v >= side) link(v, v - side);
      }
      break;
    }
    case Pattern::GRID_3D: {
      const auto side = static_cast<int32_t>(std::lround(std::cbrt(*n)));
      *n = side * side * side;
      for (int32_t v = 0; v < *n; ++v) {
        if (v % side > 0) link(v, v - 1);
        if (v / side % side > 0) link(v, v - side);
        if (v >= side * side) link(v, v - side * side);
      }
      break;
    }
    case Pattern::RANDOM:
      for (int32_t k = 0; k < 2 * *n; ++k) link(below(*n), below(*n));
      break;
    case Pattern::CLIQUES: {
      // Cliques of many sizes that hang from a random part of a connected border.
      const int32_t border = *n / 3;
      for (int32_t k = 0; k < 3 * border; ++k) link(*n - 1 - below(border), *n - 1 - below(border));
      for (int32_t first = 0; first < *n - border;) {
        const int32_t size = std::min(1 + below(40), *n - border - first);
        std::vector<int32_t> hung;
        for (int32_t k = below(1 + border / 2); k > 0; --k) hung.push_back(*n - 1 - below(border));
        for (int32_t i = first; i < first + size; ++i) {
          for (int32_t j = first; j < i; ++j) link(i, j);
          for (int32_t u : hung) link(u, i);
        }
        first += size;
      }
      break;
    }
    case Pattern::ARROW:
      for (int32_t i = 0; i < *n; ++i)
        for (int32_t k = 1; k <= 3; ++k) link(i, std::max(*n - k, 0));
      break;
    default:
      break;
  }
  return places;
}

// Random values; every diagonal entry outweighs its column. `indefinite`: diagonal entries of both signs. `paired`:
// rows 2k and 2k + 1 that are linked have no diagonal to speak of, and outweigh their columns by their common entry, so
// that they want to be one pivot.
inline SystemMatrix makeSystem(Pattern pattern, int32_t n, bool indefinite, bool paired, uint32_t seed) {
  std::mt19937 random(seed);
  const auto places = placesOf(pattern, &n, random);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> sum(static_cast<size_t>(n), 0.0);
  std::vector<std::vector<std::pair<int32_t, double>>> columns(static_cast<size_t>(n));
  std::vector<std::pair<int32_t, int32_t>> pairs;
  for (const auto& [i, j] : places) {
    if (paired && i == j + 1 && j % 2 == 0) {
      pairs.push_back({i, j});
      continue;
    }
    const double v = uniform(random);
    columns[static_cast<size_t>(j)].push_back({i, v});
    columns[static_cast<size_t>(i)].push_back({j, v});
    sum[static_cast<size_t>(i)] += std::fabs(v);
    sum[static_cast<size_t>(j)] += std::fabs(v);
  }
  std::vector<char> isPaired(static_cast<size_t>(n), 0);
  for (const auto& [i, j] : pairs) {
    const double v = 1.0 + std::max(sum[static_cast<size_t>(i)], sum[static_cast<size_t>(j)]);
    columns[static_cast<size_t>(j)].push_back({i, v});
    columns[static_cast<size_t>(i)].push_back({j, v});
    isPaired[static_cast<size_t>(i)] = isPaired[static_cast<size_t>(j)] = 1;
  }
  SystemMatrix a;
  a.n = n;
  for (int32_t j = 0; j < n; ++j) {
    auto& column = columns[static_cast<size_t>(j)];
    double diagonal = 1.0 + sum[static_cast<size_t>(j)];
    if (isPaired[static_cast<size_t>(j)]) diagonal = 0.01 * uniform(random);
    if (indefinite && random() % 2 == 0) diagonal = -diagonal;
    column.push_back({j, diagonal});
    std::shuffle(column.begin(), column.end(), random);
    for (const auto& [i, v] : column) {
      a.index.push_back(i);
      a.value.push_back(v);
    }
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

inline std::vector<double> randomVector(int32_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> b(static_cast<size_t>(n));
  for (double& v : b) v = uniform(random);
  return b;
}

// ||b - A x|| / (||A|| ||x|| + ||b||), all in the maximum norm.
inline double backwardError(const SystemMatrix& a, const std::vector<double>& x, const std::vector<double>& b) {
  std::vector<long double> residual(b.begin(), b.end());
  std::vector<double> rowSum(b.size(), 0.0);
  double normX = 0.0, normB = 0.0, normA = 0.0, normR = 0.0;
  for (size_t j = 0; j < b.size(); ++j) {
    for (auto p = static_cast<size_t>(a.begin[j]); p < static_cast<size_t>(a.begin[j + 1]); ++p) {
      residual[static_cast<size_t>(a.index[p])] -= static_cast<long double>(a.value[p]) * x[j];
      rowSum[static_cast<size_t>(a.index[p])] += std::fabs(a.value[p]);
    }
  }
  for (size_t i = 0; i < b.size(); ++i) {
    if (!std::isfinite(x[i])) return INFINITY;
    normX = std::max(normX, std::fabs(x[i]));
    normB = std::max(normB, std::fabs(b[i]));
    normA = std::max(normA, rowSum[i]);
    normR = std::max(normR, std::fabs(static_cast<double>(residual[i])));
  }
  return normR == 0.0 ? 0.0 : normR / (normA * normX + normB);
}

}  // namespace qztest
