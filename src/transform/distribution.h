// Value-distribution statistics: a model's numbers are judged by a decade histogram of their magnitudes, without
// sorting. Percentiles are read from it by interpolation; outliers at both ends and the start of "big" values by walks
// over its buckets.
//
// A signed level names a bucket: level b >= 0 is histogramRight[b], level b < 0 is histogramLeft[-1 - b]. Level b holds
// the magnitudes of the decade (10^b, 10^(b + 1)]; levels run from -16 to 15, and the end levels take whatever lies
// beyond. A walk that runs off the end stops at -17 or 16.
#pragma once

#include <cstdint>

#include "shell/host_table.h"

namespace qz {

inline constexpr int32_t kNumBucket = 17;  // entries of each array; the last counts nothing
inline constexpr int32_t kLowestLevel = -16;
inline constexpr int32_t kHighestLevel = 15;

struct Distribution {
  int32_t histogramLeft[kNumBucket];   // [k], k < 15: values in (breakLeft[k + 1], breakLeft[k]]; [15]: all below that
  double breakLeft[kNumBucket];        // [0] = 1, then each 0.1 times the one before, in double arithmetic
  int32_t histogramRight[kNumBucket];  // [k], k < 15: values in (breakRight[k], breakRight[k + 1]]; [15]: all above
  double breakRight[kNumBucket];       // 10^k
};

// Values in the bucket of a level, and its break points. Any level from -17 to 16.
[[nodiscard]] inline int32_t levelCount(const Distribution& d, int32_t level) {
  return level < 0 ? d.histogramLeft[-1 - level] : d.histogramRight[level];
}
[[nodiscard]] double levelLower(const Distribution& d, int32_t level);
[[nodiscard]] double levelUpper(const Distribution& d, int32_t level);

// Zero counts, and the break points.
void initDistribution(Distribution& d);

// The next three add to what is there, so that several vectors can share a distribution. Magnitudes alone count.
//
// Every stored element of a matrix by columns; a zero is not skipped and lands in histogramLeft[15].
void getMatrixDistribution(Env* env, int32_t numCol, const int32_t* colBegin, const int32_t* colLength,
                           const double* matValue, Distribution& d);
// Every non-zero entry of a vector of n entries; *count receives their number.
void getVectorDistribution(Env* env, int32_t n, const double* vector, int32_t* count, Distribution& d);
// alpha diag[j] x[j]^2 for every j with a non-zero diag[j]; *count receives their number. Part of the quadratic
// analysis; no stage calls it yet.
void getQuadDistribution(Env* env, int32_t n, const double* diag, int32_t* count, const double* x, Distribution& d,
                         double alpha);

// Counts of `from` added to those of `to`.
void addDistribution(const Distribution& from, Distribution& to);

// The bucket in which entry trunc(count p) of the ascending order of `count` values lies, counted from 0.
//   mode 0  linear interpolation inside it, on the values; *out is not written
//   mode 1  its upper break point; *out (may be null) the number of values above the bucket
//   mode 2  its lower break point; *out the number below it
// Any other mode, and a count below 1, give 0 and 0.
[[nodiscard]] double getPercentile(int32_t count, int32_t mode, int32_t* out, const Distribution& d, double p);

// Outliers at both ends of `count` values: a value v is one exactly when |v| <= *leftCutoff or |v| > *rightCutoff. A
// group of values that ends at least six decades from the median is one however many it holds; otherwise a twentieth of
// the values may be cut from each end, at least four decades from the median. Without outliers at an end its cutoff is
// 1e-15 or 1e15. Returns *numRight + *numLeft.
[[nodiscard]] int32_t countOutlier(Env* env, int32_t count, int32_t* numRight, int32_t* numLeft, double* rightCutoff,
                                   double* leftCutoff, const Distribution& d);

// Where a top group of big values begins, on the right half alone: never below `lowest`, and never so low that more
// than half of the `count` values are big. *numBig receives how many are.
[[nodiscard]] double getBigdataThreshold(Env* env, int32_t count, const int32_t* histogram, const double* breaks,
                                         int32_t* numBig, double lowest);

// Walk over a run of occupied buckets from `level` towards larger values (extendLeft) or smaller ones (extendRight).
// *next is the first level behind the run, *count the values in it, *cutoff the break point at its far end. On an
// empty bucket *count is 0 and *next = level.
void extendLeft(int32_t level, int32_t* next, int32_t* count, double* cutoff, const Distribution& d);
void extendRight(int32_t level, int32_t* next, int32_t* count, double* cutoff, const Distribution& d);

// The first occupied level at or above `level`, 16 for none; at or below it, -17 for none.
[[nodiscard]] int32_t skipLeft(int32_t level, const Distribution& d);
[[nodiscard]] int32_t skipRight(int32_t level, const Distribution& d);

// Logs all counts at level 0, from the smallest values to the largest.
void printDistribution(Env* env, const Distribution& d);

}  // namespace qz
