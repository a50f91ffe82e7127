#include "sparse/ldl_factor_serial.h"

#include <algorithm>

#include "dense/dense_ldl.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"
#include "sparse/ldl_factor_update.h"

namespace qz {

namespace {

LDLSweepScratch cutScratch(const SymbolicFactor* symbolic, const NumericFactor* numeric) {
  LDLSweepScratch scratch;
  scratch.update = static_cast<double*>(symbolic->threadScratch);
  scratch.product = scratch.update + symbolic->maxBlockEntries;
  scratch.position = reinterpret_cast<int32_t*>(numeric->work);
  scratch.relative = scratch.position + symbolic->numRows;
  scratch.touched = reinterpret_cast<uint8_t*>(numeric->work + symbolic->numRows);
  std::fill_n(scratch.position, symbolic->numRows, 0);
  std::fill_n(scratch.touched, symbolic->numSupernodes, uint8_t{0});
  return scratch;
}

// Adds the matrix entries of the columns of supernode s to its panel.
int32_t addMatrixEntries(const SymbolicFactor* symbolic, const NumericFactor* numeric, int32_t s, int32_t* position) {
  const int32_t firstColumn = symbolic->snStart[s];
  const int32_t lastColumn = symbolic->snStart[s + 1];
  const int32_t* rows = symbolic->lIndex + symbolic->lIndexBegin[s];
  const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
  double* values = symbolic->lValues + symbolic->lValueBegin[s];
  for (int32_t i = 0; i < height; ++i) position[rows[i]] = i;
  for (int32_t j = firstColumn; j < lastColumn; ++j) {
    double* column = values + static_cast<int64_t>(j - firstColumn) * height;
    for (int32_t p = numeric->colBegin[j]; p < numeric->colBegin[j + 1]; ++p) {
      const int32_t row = numeric->rowIndex[p];
      const int32_t place = position[row];
      // Stale positions of rows outside the structure don't lead back to the row.
      if (place >= height || rows[place] != row) return LA_INCONSISTENT;
      column[place] += numeric->matValue[p];
    }
  }
  return LA_OK;
}

}  // namespace

int32_t NumericLDLSerial(SymbolicFactor* symbolic, const NumericFactor* numeric) {
  const QzThread* thread = hostCurrentThread();
  const LDLSweepScratch scratch = cutScratch(symbolic, numeric);
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const int32_t firstColumn = symbolic->snStart[s];
    const int32_t width = symbolic->snStart[s + 1] - firstColumn;
    const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
    double* values = symbolic->lValues + symbolic->lValueBegin[s];
    touchSupernode(symbolic, s, scratch.touched);
    int32_t status = addMatrixEntries(symbolic, numeric, s, scratch.position);
    if (status != LA_OK) return status;
    status = DenseLDLFactorWithFlag(height, width, values, height, thread, symbolic->pivotKind + firstColumn,
                                    scratch.product, &symbolic->numPerturbed, numeric->packA, numeric->packB,
                                    symbolic->pivotTolerance);
    if (status != LA_OK) return status;
    updateAncestors(symbolic, numeric, s, scratch);
  }
  return LA_OK;
}

}  // namespace qz
