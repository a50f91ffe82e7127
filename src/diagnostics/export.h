// A model or a system matrix as a file, for a developer at a debugger; no stage calls these. The files hold wide
// characters and are written by the module qzfile in the working folder.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "qzipsolve/record.h"

namespace qz {

// The record in fixed MPS form as "lp.mps". Names are narrow strings of numRow and numCol entries; either array may be
// null, and then rows are R and columns C with seven digits. Numbers keep one significant digit. 0, or 10 on any
// failure.
[[nodiscard]] int32_t ipmOutputMPS(const LpRecord* lpRecord, const char* const* rowNames, const char* const* colNames);

// The engine's system matrix as "temp.matrix": sizes, numRow + 1 column starts, numIpmCoef row indices, and as many
// values. It is made for the normal equations: of an augmented matrix, which has more columns, the starts are cut
// short. 0, or 10 on any failure.
[[nodiscard]] int32_t ipmOutputMatrix(const Ipm* ipm);

}  // namespace qz
