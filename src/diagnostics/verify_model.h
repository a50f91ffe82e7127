// Checks of the model behind a solve, and of its solution. With `solution` in the interior point's own terms and z for
// its bound duals, on any of the models between the pipeline's input and the engine:
//   rows and bounds   A x by the sense of each row, lower <= x <= upper
//   columns           c + Q x - A'y - zl + zu = 0
//   objectives        c'x + x'Qx / 2 = b'y + l'zl - u'zu - x'Qx / 2
// Residuals are measured as norms against the norms of the data and of the terms, within the larger of 1e-6 and the
// tolerance of the option that the solve was to meet; a near-optimal point has ten times that,
// and its objectives a hundred times.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Level 1. A deep copy in a zeroed record, which the caller owns; VerifyDeleteModel frees its arrays. 0 or -1086.
[[nodiscard]] int32_t VerifyCopyModel(Env* env, int32_t level, const Model* model, Model* copy);
// Level 1. Every field as it was in the copy: values within 1e-8 of what they were, all infinite bounds alike.
[[nodiscard]] int32_t VerifyCompareModel(Env* env, int32_t level, const Model* model, const Model* copy);
void VerifyDeleteModel(Env* env, int32_t level, Model* copy);

// Level 3.
[[nodiscard]] int32_t VerifyModelPrimal(Env* env, int32_t level, const Model* model, const IpmOption* option,
                                        const Solution* solution);
[[nodiscard]] int32_t VerifyModelBound(Env* env, int32_t level, const Model* model, const IpmOption* option,
                                       const Solution* solution);
[[nodiscard]] int32_t VerifyModelDual(Env* env, int32_t level, const Model* model, const IpmOption* option,
                                      const Solution* solution);
[[nodiscard]] int32_t VerifyModelGap(Env* env, int32_t level, const Model* model, const IpmOption* option,
                                     const Solution* solution);

// Level 3, behind FormatSolution: reducedCost, rowActivity and objValue against the point. From level 9 on the whole
// solution is listed.
[[nodiscard]] int32_t VerifyOutput(Env* env, int32_t level, const Model* model, const IpmOption* option);

}  // namespace qz
