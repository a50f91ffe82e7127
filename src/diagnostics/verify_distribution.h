// Checks of the decade histograms by a full sort of the data. All run from level 5 and tell from level 7 on when they
// passed. Each returns 0, 10 after a breach, or -1086.
//
// `count` values stand in the histogram. Break points are powers of ten, every value lies in its bucket, and the three
// quartiles that getPercentile reads lie in the decade of the sorted data's.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/distribution.h"

namespace qz {

// The magnitudes of `count` values in any order; `values` is used up by the sort.
[[nodiscard]] int32_t VerifyDistribution(Env* env, int32_t level, int32_t count, double* values, const Distribution& d);

// The elements of the matrix; the non-zero costs; and the elements, the costs and the right-hand sides together.
[[nodiscard]] int32_t VerifyPdfMatrix(Env* env, int32_t level, const Model* model, const Distribution& d);
[[nodiscard]] int32_t VerifyPdfObj(Env* env, int32_t level, const Model* model, const Distribution& d);
[[nodiscard]] int32_t VerifyPdfAll(Env* env, int32_t level, const Model* model, const Distribution& d);

// The outliers of the same data as VerifyPdfAll: exactly numLeft magnitudes are at most leftCutoff and numRight lie
// above rightCutoff, and neither end holds more than its rule allows: half of the values in a group of their own, a
// twentieth otherwise.
[[nodiscard]] int32_t VerifyOutlier(Env* env, int32_t level, const Model* model, int32_t numRight, int32_t numLeft,
                                    double rightCutoff, double leftCutoff);

}  // namespace qz
