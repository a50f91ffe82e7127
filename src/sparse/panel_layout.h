// Row-stored panels of a blocked factor in the column order that the dense factorisations want.
#pragma once

#include <cstdint>

namespace qz {

// Copies the rows-by-cols panel `from`, stored by rows with leading dimension cols, into `to`, stored by columns with
// leading dimension rows. With a non-zero flag only the lower triangle (row >= column) is written.
void ConvertRowToColumnWise(int32_t flag, int32_t rows, int32_t cols, const double* from, double* to);

// The way back: from columns with leading dimension rows into rows with leading dimension cols.
void convertColumnToRowWise(int32_t flag, int32_t rows, int32_t cols, const double* from, double* to);

}  // namespace qz
