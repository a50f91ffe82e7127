#include "sparse/factor_decision.h"

#include <algorithm>
#include <limits>

namespace qz {

namespace {

constexpr double always = std::numeric_limits<double>::infinity();
constexpr int32_t kindOther = -1;
constexpr int32_t kindThree = 3;
constexpr int32_t kindFour = 4;

double quotient(double numerator, double nnzL) {
  return nnzL > 0.0 ? numerator / nnzL : 0.0;
}

// Serial or blocked, LDL: blocked on at most `threads` threads when the key lies above `above`.
struct ThreadCap {
  double above;
  int32_t threads;
};

constexpr ThreadCap kindThreeDynamicCaps[] = {{3.6e9, 32}, {1.25e9, 16}, {4.1e8, 8}, {2.8e8, 4}, {1e8, 3}, {8e7, 2}};
constexpr ThreadCap kindThreeStaticCaps[] = {{9.5e9, 16}, {1.2e9, 8}, {6.6e8, 4}, {2.7e8, 3}};
constexpr ThreadCap otherDynamicCaps[] = {{1.05e10, 32}, {2.3e9, 16}, {2.45e8, 8}, {2.3e8, 3}};
constexpr ThreadCap otherStaticCaps[] = {{2e11, 16}, {1.05e10, 8}, {3e8, 4}};
// The static pipeline takes 32 threads by the flops per nonzero.
constexpr double kindThreeStaticRatio = 14000.0;
constexpr double otherStaticRatio = 25000.0;
constexpr double singleThreadRatioLDL = 8900.0;
constexpr double serialLeadingShare = 0.995;

template <int size>
int32_t capOf(const ThreadCap (&caps)[size], double flops) {
  for (const ThreadCap& cap : caps) {
    if (flops > cap.above) return cap.threads;
  }
  return 0;
}

int32_t threadCapLDL(const FactorShape& shape, int32_t problemKind, int32_t staticPipeline) {
  const double flops = shape.flopsRelaxed;
  const double ratio = quotient(flops, shape.nnzL);
  if (problemKind == kindThree) {
    if (staticPipeline == 0) return capOf(kindThreeDynamicCaps, flops);
    return ratio > kindThreeStaticRatio ? 32 : capOf(kindThreeStaticCaps, flops);
  }
  if (shape.leadingShare >= serialLeadingShare) return 0;
  if (staticPipeline == 0) return capOf(otherDynamicCaps, flops);
  return ratio > otherStaticRatio ? 32 : capOf(otherStaticCaps, flops);
}

bool choleskySerial(const FactorShape& shape, int32_t numThreads, int32_t problemKind, int32_t staticPipeline) {
  const double flops = shape.flopsRelaxed;
  const double ratio = quotient(flops, shape.nnzL);
  switch (numThreads) {
    case 1:
      if (problemKind == 0) return ratio < 400.0;
      return problemKind == kindFour && ratio < 550.0;
    case 2:
      return flops < 3.5e7 || ratio < 60.0;
    case 3:
    case 4:
    case 8:
      return flops < 3.5e7;
    case 16:
      return flops < (staticPipeline != 0 ? 1.6e9 : 3.5e7);
    default:
      return false;
  }
}

// Block size: the first step whose bound lies above the key.
struct SizeStep {
  double below;
  int32_t size;
};

enum class SizeKey { flopsPerEntry, maxWidth };

constexpr int32_t maxSteps = 6;

struct SizeRow {
  int32_t fromThreads;
  int32_t toThreads;
  int32_t problemKind;     // kindOther fits every kind
  int32_t staticPipeline;  // -1 fits both
  SizeKey key;
  SizeStep steps[maxSteps];
};

constexpr SizeKey byFlops = SizeKey::flopsPerEntry;
constexpr SizeKey byWidth = SizeKey::maxWidth;
constexpr int32_t manyThreads = std::numeric_limits<int32_t>::max();

constexpr SizeRow choleskyRows[] = {
    {1, 1, kindOther, -1, byWidth, {{1800, 320}, {always, 448}}},
    {2, 2, kindOther, 1, byFlops, {{900, 128}, {2900, 192}, {6500, 320}, {always, 384}}},
    {2, 2, kindOther, 0, byWidth, {{1200, 160}, {3500, 320}, {always, 384}}},
    {3, 3, kindOther, 1, byFlops, {{1100, 96}, {1270, 128}, {2900, 160}, {always, 192}}},
    {3, 3, kindOther, 0, byWidth, {{1900, 160}, {3500, 256}, {always, 320}}},
    {4, 4, kindOther, 1, byWidth, {{1500, 96}, {3000, 112}, {4500, 128}, {10000, 160}, {always, 192}}},
    {4, 4, kindOther, 0, byWidth, {{1500, 128}, {5000, 160}, {21000, 192}, {always, 224}}},
    {8, 8, kindOther, 1, byFlops, {{3000, 64}, {4000, 96}, {7060, 128}, {11000, 144}, {always, 160}}},
    {8, 8, kindOther, 0, byWidth, {{1200, 96}, {1500, 128}, {1900, 160}, {2020, 192}, {16000, 224}, {always, 256}}},
    {16, 16, kindOther, 1, byFlops, {{1100, 48}, {3000, 64}, {4350, 80}, {7060, 96}, {11000, 128}, {always, 144}}},
    {16, 16, kindOther, 0, byWidth, {{1100, 96}, {1950, 128}, {3200, 160}, {6000, 192}, {always, 256}}},
    {32, 32, kindOther, 1, byFlops, {{2700, 80}, {7500, 96}, {always, 128}}},
    {32, 32, kindOther, 0, byWidth, {{2100, 96}, {6000, 128}, {9600, 192}, {always, 256}}},
    {1, manyThreads, kindOther, 1, byFlops, {{always, 128}}},
    {1, manyThreads, kindOther, 0, byFlops, {{always, 160}}},
};

// The rows of a kind stand before those that fit every kind.
constexpr SizeRow ldlRows[] = {
    {1, 1, 3, -1, byFlops, {{10000, 192}, {always, 256}}},
    {1, 1, kindOther, -1, byFlops, {{18000, 192}, {always, 256}}},
    {2, 2, kindOther, 1, byFlops, {{1200, 96}, {1800, 128}, {2320, 160}, {18000, 192}, {always, 256}}},
    {2, 2, kindOther, 0, byFlops, {{1800, 160}, {6500, 192}, {always, 256}}},
    {3, 3, 3, 1, byFlops, {{1520, 96}, {2300, 128}, {6000, 160}, {always, 192}}},
    {3, 3, 3, 0, byFlops, {{1800, 128}, {17000, 192}, {always, 256}}},
    {3, 3, kindOther, 1, byFlops, {{1800, 96}, {always, 192}}},
    {3, 3, kindOther, 0, byFlops, {{1500, 128}, {10000, 192}, {always, 256}}},
    {4, 4, 3, 1, byFlops, {{2100, 96}, {4100, 128}, {6200, 160}, {always, 192}}},
    {4, 4, 3, 0, byFlops, {{1420, 128}, {1800, 160}, {always, 192}}},
    {4, 4, kindOther, 1, byFlops, {{2100, 96}, {2560, 128}, {3200, 160}, {always, 192}}},
    {4, 4, kindOther, 0, byFlops, {{1800, 128}, {always, 192}}},
    {5, 8, 3, 1, byFlops, {{1500, 96}, {6000, 112}, {9200, 144}, {13000, 160}, {always, 192}}},
    {5, 8, 3, 0, byFlops, {{1770, 128}, {2100, 160}, {9500, 192}, {always, 256}}},
    {5, 8, kindOther, 1, byFlops, {{2000, 64}, {3670, 96}, {5000, 144}, {6600, 160}, {always, 192}}},
    {5, 8, kindOther, 0, byFlops, {{1770, 128}, {2100, 160}, {10000, 192}, {always, 256}}},
    {9, 16, 3, 1, byFlops, {{2000, 64}, {8000, 96}, {14900, 128}, {always, 160}}},
    {9, 16, 3, 0, byFlops, {{1900, 128}, {2300, 160}, {9300, 192}, {always, 256}}},
    {9, 16, kindOther, 1, byFlops, {{2600, 64}, {5000, 96}, {6600, 128}, {always, 192}}},
    {9, 16, kindOther, 0, byFlops, {{1100, 96}, {2400, 128}, {3600, 160}, {20000, 192}, {always, 256}}},
    {17, 32, 3, 1, byFlops, {{always, 128}}},
    {17, 32, 3, 0, byFlops, {{1900, 96}, {2300, 128}, {4000, 160}, {12000, 192}, {always, 256}}},
    {17, 32, kindOther, 1, byFlops, {{always, 160}}},
    {17, 32, kindOther, 0, byFlops, {{730, 96}, {3000, 128}, {4500, 160}, {23000, 192}, {always, 256}}},
    {1, manyThreads, kindOther, -1, byFlops, {{always, 128}}},
};

template <int size>
int32_t blockSizeOf(const SizeRow (&rows)[size], const FactorShape& shape, int32_t numThreads, int32_t problemKind,
                    int32_t staticPipeline) {
  const double flopsPerEntry = quotient(shape.flopsColumn, shape.nnzL);
  for (const SizeRow& row : rows) {
    if (numThreads < row.fromThreads || numThreads > row.toThreads) continue;
    if (row.problemKind != kindOther && row.problemKind != problemKind) continue;
    if (row.staticPipeline != -1 && row.staticPipeline != staticPipeline) continue;
    const double key = row.key == byWidth ? static_cast<double>(shape.maxWidth) : flopsPerEntry;
    for (const SizeStep& step : row.steps) {
      if (key < step.below || step.below == always) return step.size;
    }
  }
  return 0;
}

}  // namespace

FactorPath chooseCholeskyPath(const FactorShape& shape, int32_t numThreads, int32_t problemKind,
                              int32_t staticPipeline) {
  if (!choleskySerial(shape, numThreads, problemKind, staticPipeline)) return {1, numThreads, staticPipeline};
  return {0, numThreads, numThreads == 1 ? 0 : staticPipeline};
}

FactorPath chooseLDLPath(const FactorShape& shape, int32_t numThreads, int32_t problemKind, int32_t staticPipeline) {
  if (numThreads <= 1) {
    const int32_t serial = quotient(shape.flopsRelaxed, shape.nnzL) <= singleThreadRatioLDL ? 1 : 0;
    return {1 - serial, 1, staticPipeline};
  }
  const int32_t cap = threadCapLDL(shape, problemKind, staticPipeline);
  if (cap == 0) return {0, 1, staticPipeline};
  return {1, std::min(numThreads, cap), staticPipeline};
}

int32_t choleskyBlockSize(const FactorShape& shape, int32_t numThreads, int32_t staticPipeline) {
  return blockSizeOf(choleskyRows, shape, numThreads, kindOther, staticPipeline);
}

int32_t ldlBlockSize(const FactorShape& shape, int32_t numThreads, int32_t problemKind, int32_t staticPipeline) {
  return blockSizeOf(ldlRows, shape, numThreads, problemKind, staticPipeline);
}

int32_t ldlPoolCapacity(int32_t numLeaves, int32_t numSupernodes) {
  constexpr int32_t small = 10000;
  constexpr int32_t middle = 20000;
  constexpr int32_t large = 40000;
  if (numLeaves <= 100000) return small;
  const double leafShare = static_cast<double>(numLeaves) / static_cast<double>(numSupernodes);
  if (leafShare < 0.85) return middle;
  if (numLeaves <= 300000) return small;
  if (leafShare >= 0.95) return small;
  return numLeaves < 450001 ? middle : large;
}

}  // namespace qz
