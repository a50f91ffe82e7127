#include "sparse/panel_layout.h"

#include <gtest/gtest.h>

#include <vector>

namespace qz {
namespace {

TEST(PanelLayout, RowsBecomeColumnsAndComeBack) {
  for (const int32_t rows : {0, 1, 2, 15, 16, 17, 40}) {
    for (const int32_t cols : {0, 1, 3, 16, 33}) {
      std::vector<double> byRows(static_cast<size_t>(rows * cols)), byColumns(byRows.size(), -1.0), again(byColumns);
      for (size_t k = 0; k < byRows.size(); ++k) byRows[k] = static_cast<double>(k);
      ConvertRowToColumnWise(0, rows, cols, byRows.data(), byColumns.data());
      for (int32_t i = 0; i < rows; ++i) {
        for (int32_t j = 0; j < cols; ++j) {
          EXPECT_EQ(byColumns[static_cast<size_t>(j * rows + i)], byRows[static_cast<size_t>(i * cols + j)]);
        }
      }
      convertColumnToRowWise(0, rows, cols, byColumns.data(), again.data());
      EXPECT_EQ(again, byRows);
    }
  }
}

TEST(PanelLayout, TheFlagLeavesTheUpperTriangle) {
  for (const int32_t n : {1, 5, 16, 19, 35}) {
    const auto size = static_cast<size_t>(n) * static_cast<size_t>(n);
    std::vector<double> byRows(size), byColumns(size, -1.0), again(size, -2.0);
    for (size_t k = 0; k < size; ++k) byRows[k] = static_cast<double>(k);
    ConvertRowToColumnWise(1, n, n, byRows.data(), byColumns.data());
    convertColumnToRowWise(1, n, n, byColumns.data(), again.data());
    for (int32_t i = 0; i < n; ++i) {
      for (int32_t j = 0; j < n; ++j) {
        const auto row = static_cast<size_t>(i) * static_cast<size_t>(n) + static_cast<size_t>(j);
        EXPECT_EQ(byColumns[static_cast<size_t>(j * n + i)], i >= j ? byRows[row] : -1.0);
        EXPECT_EQ(again[row], i >= j ? byRows[row] : -2.0);
      }
    }
  }
}

}  // namespace
}  // namespace qz
