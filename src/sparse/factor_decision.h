// The decision that shapes a factor: serial or blocked, on how many threads, in blocks of which size, and how large a
// pool of tasks. Tables tuned by measurement; each is constexpr data with one look-up.
#pragma once

#include <cstdint>

namespace qz {

// What the tables ask of a factor.
struct FactorShape {
  double flopsRelaxed;  // F
  double flopsColumn;
  double nnzL;
  int32_t maxWidth;     // W
  double leadingShare;  // p: share of the leading block of an augmented matrix, 0.5 when not known
};

struct FactorPath {
  int32_t blocked;
  int32_t numThreads;
  int32_t staticPipeline;
};

// Serial or blocked, from the requested threads, the kind of the problem and the requested pipeline. The Cholesky rule
// keeps the number of threads and, on the serial way of a single thread, drops the static pipeline; the LDL rule lowers
// the number of threads to what pays.
[[nodiscard]] FactorPath chooseCholeskyPath(const FactorShape& shape, int32_t numThreads, int32_t problemKind,
                                            int32_t staticPipeline);
[[nodiscard]] FactorPath chooseLDLPath(const FactorShape& shape, int32_t numThreads, int32_t problemKind,
                                       int32_t staticPipeline);

// A path with its block size, 0 when not blocked. Put into LAEnv::forcedPlan it takes the place of all tables, so that
// a small matrix can be sent down every path.
struct FactorPlan {
  FactorPath path;
  int32_t blockSize;
};

// Block size nb of a blocked factor.
[[nodiscard]] int32_t choleskyBlockSize(const FactorShape& shape, int32_t numThreads, int32_t staticPipeline);
[[nodiscard]] int32_t ldlBlockSize(const FactorShape& shape, int32_t numThreads, int32_t problemKind,
                                   int32_t staticPipeline);

// Initial number of tasks in the pool of the dynamic LDL scheduler.
[[nodiscard]] int32_t ldlPoolCapacity(int32_t numLeaves, int32_t numSupernodes);

// Initial number of tasks in the pool of the dynamic Cholesky scheduler.
constexpr int32_t choleskyPoolCapacity = 1000;

}  // namespace qz
