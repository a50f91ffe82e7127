#include "sparse/panel_layout.h"

#include <algorithm>

namespace qz {

namespace {

// Tiles keep both the strided and the contiguous side of the copy in cache.
constexpr int32_t tile = 16;

}  // namespace

void ConvertRowToColumnWise(int32_t flag, int32_t rows, int32_t cols, const double* from, double* to) {
  for (int32_t r0 = 0; r0 < rows; r0 += tile) {
    const int32_t r1 = std::min(r0 + tile, rows);
    for (int32_t j = 0; j < cols; ++j) {
      const int32_t first = flag != 0 ? std::max(r0, j) : r0;
      for (int32_t i = first; i < r1; ++i) {
        to[static_cast<int64_t>(j) * rows + i] = from[static_cast<int64_t>(i) * cols + j];
      }
    }
  }
}

void convertColumnToRowWise(int32_t flag, int32_t rows, int32_t cols, const double* from, double* to) {
  for (int32_t r0 = 0; r0 < rows; r0 += tile) {
    const int32_t r1 = std::min(r0 + tile, rows);
    for (int32_t j = 0; j < cols; ++j) {
      const int32_t first = flag != 0 ? std::max(r0, j) : r0;
      for (int32_t i = first; i < r1; ++i) {
        to[static_cast<int64_t>(i) * cols + j] = from[static_cast<int64_t>(j) * rows + i];
      }
    }
  }
}

}  // namespace qz
