#include "sparse/factor_decision.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qz {
namespace {

// A shape with the given quotients: nnzL is a power of two, so that both come back exactly.
constexpr double entries = 1024.0;

FactorShape shapeOf(double flops, double ratio) {
  FactorShape shape{};
  shape.flopsRelaxed = flops;
  shape.nnzL = flops / ratio;
  shape.leadingShare = 0.5;
  return shape;
}
FactorShape withRatio(double ratio) {
  FactorShape shape{};
  shape.flopsRelaxed = ratio * entries;
  shape.nnzL = entries;
  shape.leadingShare = 0.5;
  return shape;
}
FactorShape withFlops(double flops) {
  FactorShape shape{};
  shape.flopsRelaxed = flops;
  shape.nnzL = 1e9;  // a quotient below every bound on it but 60
  shape.leadingShare = 0.5;
  return shape;
}
double below(double value) {
  return std::nextafter(value, 0.0);
}
double above(double value) {
  return std::nextafter(value, 1e300);
}

TEST(CholeskyPath, OneThreadIsSerialBelowTheQuotientOfItsKind) {
  for (const int32_t kind : {0, 4}) {
    const double bound = kind == 0 ? 400.0 : 550.0;
    FactorPath path = chooseCholeskyPath(withRatio(below(bound)), 1, kind, 1);
    EXPECT_EQ(path.blocked, 0);
    EXPECT_EQ(path.numThreads, 1);
    EXPECT_EQ(path.staticPipeline, 0);  // dropped on this way only
    path = chooseCholeskyPath(withRatio(bound), 1, kind, 1);
    EXPECT_EQ(path.blocked, 1);
    EXPECT_EQ(path.staticPipeline, 1);
  }
  for (const int32_t kind : {1, 2, 3, 5}) EXPECT_EQ(chooseCholeskyPath(withRatio(0.5), 1, kind, 1).blocked, 1);
}

TEST(CholeskyPath, WithoutEntriesBelowTheDiagonalTheQuotientIsZero) {
  FactorShape shape{};
  shape.flopsRelaxed = 1e12;
  EXPECT_EQ(chooseCholeskyPath(shape, 1, 0, 1).blocked, 0);
}

TEST(CholeskyPath, TwoThreadsNeedWorkAndAQuotientOfSixty) {
  EXPECT_EQ(chooseCholeskyPath(shapeOf(3.5e7, 1000.0), 2, 0, 1).blocked, 1);
  const FactorPath serial = chooseCholeskyPath(shapeOf(below(3.5e7), 1000.0), 2, 0, 1);
  EXPECT_EQ(serial.blocked, 0);
  EXPECT_EQ(serial.numThreads, 2);      // kept
  EXPECT_EQ(serial.staticPipeline, 1);  // kept
  FactorShape shape{};
  shape.nnzL = 1048576.0;
  shape.flopsRelaxed = 60.0 * shape.nnzL;  // above 3.5e7
  EXPECT_EQ(chooseCholeskyPath(shape, 2, 0, 1).blocked, 1);
  shape.flopsRelaxed = below(shape.flopsRelaxed);
  EXPECT_EQ(chooseCholeskyPath(shape, 2, 0, 1).blocked, 0);
}

TEST(CholeskyPath, MoreThreadsNeedWork) {
  for (const int32_t threads : {3, 4, 8}) {
    for (const int32_t pipeline : {0, 1}) {
      EXPECT_EQ(chooseCholeskyPath(withFlops(below(3.5e7)), threads, 0, pipeline).blocked, 0);
      EXPECT_EQ(chooseCholeskyPath(withFlops(3.5e7), threads, 0, pipeline).blocked, 1);
    }
  }
  EXPECT_EQ(chooseCholeskyPath(withFlops(below(1.6e9)), 16, 0, 1).blocked, 0);
  EXPECT_EQ(chooseCholeskyPath(withFlops(1.6e9), 16, 0, 1).blocked, 1);
  EXPECT_EQ(chooseCholeskyPath(withFlops(below(3.5e7)), 16, 0, 0).blocked, 0);
  EXPECT_EQ(chooseCholeskyPath(withFlops(3.5e7), 16, 0, 0).blocked, 1);
}

TEST(CholeskyPath, OtherThreadCountsAreNeverSerial) {
  for (const int32_t threads : {5, 6, 7, 9, 15, 17, 32, 64}) {
    const FactorPath path = chooseCholeskyPath(FactorShape{}, threads, 0, 1);
    EXPECT_EQ(path.blocked, 1) << threads;
    EXPECT_EQ(path.numThreads, threads);
  }
}

TEST(LDLPath, OneThreadIsSerialUpToItsQuotient) {
  for (const int32_t kind : {0, 1, 3}) {
    EXPECT_EQ(chooseLDLPath(withRatio(8900.0), 1, kind, 1).blocked, 0);
    EXPECT_EQ(chooseLDLPath(withRatio(above(8900.0)), 1, kind, 1).blocked, 1);
    EXPECT_EQ(chooseLDLPath(withRatio(above(8900.0)), 1, kind, 1).numThreads, 1);
  }
}

// Threads that a factor of `flops` takes just above and at each bound; 0 stands for serial.
struct Cap {
  double bound;
  int32_t above, at;
};

void expectCaps(const std::vector<Cap>& caps, int32_t kind, int32_t pipeline) {
  for (const Cap& cap : caps) {
    SCOPED_TRACE(cap.bound);
    for (const int32_t asked : {2, 3, 5, 8, 64}) {
      const auto expectPath = [&](double flops, int32_t limit) {
        FactorShape shape = withFlops(flops);
        shape.nnzL = 1e12;  // keeps the quotient rules out
        const FactorPath path = chooseLDLPath(shape, asked, kind, pipeline);
        EXPECT_EQ(path.blocked, limit == 0 ? 0 : 1);
        EXPECT_EQ(path.numThreads, limit == 0 ? 1 : std::min(asked, limit));
        EXPECT_EQ(path.staticPipeline, pipeline);
      };
      expectPath(above(cap.bound), cap.above);
      expectPath(cap.bound, cap.at);
    }
  }
}

TEST(LDLPath, CapsOfKindThree) {
  expectCaps({{3.6e9, 32, 16}, {1.25e9, 16, 8}, {4.1e8, 8, 4}, {2.8e8, 4, 3}, {1e8, 3, 2}, {8e7, 2, 0}}, 3, 0);
  expectCaps({{9.5e9, 16, 8}, {1.2e9, 8, 4}, {6.6e8, 4, 3}, {2.7e8, 3, 0}}, 3, 1);
  EXPECT_EQ(chooseLDLPath(withRatio(above(14000.0)), 64, 3, 1).numThreads, 32);
  EXPECT_EQ(chooseLDLPath(withRatio(14000.0), 64, 3, 1).blocked, 0);
}

TEST(LDLPath, CapsOfOtherKinds) {
  for (const int32_t kind : {0, 1, 2, 4, 5}) {
    expectCaps({{1.05e10, 32, 16}, {2.3e9, 16, 8}, {2.45e8, 8, 3}, {2.3e8, 3, 0}}, kind, 0);
    expectCaps({{2e11, 16, 8}, {1.05e10, 8, 4}, {3e8, 4, 0}}, kind, 1);
    EXPECT_EQ(chooseLDLPath(withRatio(above(25000.0)), 64, kind, 1).numThreads, 32);
    EXPECT_EQ(chooseLDLPath(withRatio(25000.0), 64, kind, 1).blocked, 0);
  }
}

TEST(LDLPath, AMatrixThatIsAllLeadingBlockIsSerialOnSeveralThreads) {
  FactorShape shape = shapeOf(1e12, 1e6);
  for (const int32_t pipeline : {0, 1}) {
    shape.leadingShare = 0.995;
    EXPECT_EQ(chooseLDLPath(shape, 8, 1, pipeline).blocked, 0);
    EXPECT_EQ(chooseLDLPath(shape, 8, 1, pipeline).numThreads, 1);
    EXPECT_EQ(chooseLDLPath(shape, 8, 3, pipeline).blocked, 1);  // kind 3 does not ask
    EXPECT_EQ(chooseLDLPath(shape, 1, 1, pipeline).blocked, 1);  // nor does a single thread
    shape.leadingShare = below(0.995);
    EXPECT_EQ(chooseLDLPath(shape, 8, 1, pipeline).blocked, 1);
  }
}

// One row of a block-size table: sizes[i] below bounds[i], the last size from the last bound on.
struct Row {
  std::vector<double> bounds;
  std::vector<int32_t> sizes;
};

template <class Look>
void expectRow(const Row& row, bool integral, const Look& look) {
  ASSERT_EQ(row.sizes.size(), row.bounds.size() + 1);
  EXPECT_EQ(look(0.0), row.sizes.front());
  for (size_t i = 0; i < row.bounds.size(); ++i) {
    EXPECT_EQ(look(integral ? row.bounds[i] - 1.0 : below(row.bounds[i])), row.sizes[i]) << row.bounds[i];
    EXPECT_EQ(look(row.bounds[i]), row.sizes[i + 1]) << row.bounds[i];
  }
  EXPECT_EQ(look(integral ? 2e9 : 1e300), row.sizes.back());
}

void expectCholesky(int32_t threads, int32_t pipeline, bool byWidth, const Row& row) {
  SCOPED_TRACE(threads * 10 + pipeline);
  expectRow(row, byWidth, [&](double key) {
    FactorShape shape{};
    // The other key sits where it would pick another size.
    shape.nnzL = entries;
    shape.flopsColumn = (byWidth ? 0.0 : key) * entries;
    if (!byWidth && key > 1e100) shape.flopsColumn = key;
    shape.maxWidth = byWidth ? static_cast<int32_t>(key) : 0;
    return choleskyBlockSize(shape, threads, pipeline);
  });
}

TEST(CholeskyBlockSize, FollowsTheTable) {
  for (const int32_t pipeline : {0, 1}) expectCholesky(1, pipeline, true, {{1800}, {320, 448}});
  expectCholesky(2, 1, false, {{900, 2900, 6500}, {128, 192, 320, 384}});
  expectCholesky(2, 0, true, {{1200, 3500}, {160, 320, 384}});
  expectCholesky(3, 1, false, {{1100, 1270, 2900}, {96, 128, 160, 192}});
  expectCholesky(3, 0, true, {{1900, 3500}, {160, 256, 320}});
  expectCholesky(4, 1, true, {{1500, 3000, 4500, 10000}, {96, 112, 128, 160, 192}});
  expectCholesky(4, 0, true, {{1500, 5000, 21000}, {128, 160, 192, 224}});
  expectCholesky(8, 1, false, {{3000, 4000, 7060, 11000}, {64, 96, 128, 144, 160}});
  expectCholesky(8, 0, true, {{1200, 1500, 1900, 2020, 16000}, {96, 128, 160, 192, 224, 256}});
  expectCholesky(16, 1, false, {{1100, 3000, 4350, 7060, 11000}, {48, 64, 80, 96, 128, 144}});
  expectCholesky(16, 0, true, {{1100, 1950, 3200, 6000}, {96, 128, 160, 192, 256}});
  expectCholesky(32, 1, false, {{2700, 7500}, {80, 96, 128}});
  expectCholesky(32, 0, true, {{2100, 6000, 9600}, {96, 128, 192, 256}});
}

TEST(CholeskyBlockSize, OtherThreadCountsGetOneSize) {
  for (const int32_t threads : {5, 6, 7, 9, 15, 17, 31, 33, 1000}) {
    EXPECT_EQ(choleskyBlockSize(withRatio(1e5), threads, 1), 128);
    EXPECT_EQ(choleskyBlockSize(withRatio(1e5), threads, 0), 160);
  }
}

void expectLDL(const std::vector<int32_t>& threads, const std::vector<int32_t>& kinds, int32_t pipeline,
               const Row& row) {
  for (const int32_t t : threads) {
    for (const int32_t kind : kinds) {
      SCOPED_TRACE(t * 100 + kind * 10 + pipeline);
      expectRow(row, false, [&](double key) {
        FactorShape shape{};
        shape.nnzL = key > 1e100 ? 1.0 : entries;
        shape.flopsColumn = key * shape.nnzL;
        return ldlBlockSize(shape, t, kind, pipeline);
      });
    }
  }
}

TEST(LDLBlockSize, FollowsTheTable) {
  const std::vector<int32_t> other{0, 1, 2, 4, 5}, three{3}, any{0, 1, 2, 3, 4, 5};
  for (const int32_t pipeline : {0, 1}) {
    expectLDL({1}, three, pipeline, {{10000}, {192, 256}});
    expectLDL({1}, other, pipeline, {{18000}, {192, 256}});
    expectLDL({33, 64}, any, pipeline, {{}, {128}});
  }
  expectLDL({2}, any, 1, {{1200, 1800, 2320, 18000}, {96, 128, 160, 192, 256}});
  expectLDL({2}, any, 0, {{1800, 6500}, {160, 192, 256}});
  expectLDL({3}, three, 1, {{1520, 2300, 6000}, {96, 128, 160, 192}});
  expectLDL({3}, three, 0, {{1800, 17000}, {128, 192, 256}});
  expectLDL({3}, other, 1, {{1800}, {96, 192}});
  expectLDL({3}, other, 0, {{1500, 10000}, {128, 192, 256}});
  expectLDL({4}, three, 1, {{2100, 4100, 6200}, {96, 128, 160, 192}});
  expectLDL({4}, three, 0, {{1420, 1800}, {128, 160, 192}});
  expectLDL({4}, other, 1, {{2100, 2560, 3200}, {96, 128, 160, 192}});
  expectLDL({4}, other, 0, {{1800}, {128, 192}});
  expectLDL({5, 8}, three, 1, {{1500, 6000, 9200, 13000}, {96, 112, 144, 160, 192}});
  expectLDL({5, 8}, three, 0, {{1770, 2100, 9500}, {128, 160, 192, 256}});
  expectLDL({5, 8}, other, 1, {{2000, 3670, 5000, 6600}, {64, 96, 144, 160, 192}});
  expectLDL({5, 8}, other, 0, {{1770, 2100, 10000}, {128, 160, 192, 256}});
  expectLDL({9, 16}, three, 1, {{2000, 8000, 14900}, {64, 96, 128, 160}});
  expectLDL({9, 16}, three, 0, {{1900, 2300, 9300}, {128, 160, 192, 256}});
  expectLDL({9, 16}, other, 1, {{2600, 5000, 6600}, {64, 96, 128, 192}});
  expectLDL({9, 16}, other, 0, {{1100, 2400, 3600, 20000}, {96, 128, 160, 192, 256}});
  expectLDL({17, 32}, three, 1, {{}, {128}});
  expectLDL({17, 32}, three, 0, {{1900, 2300, 4000, 12000}, {96, 128, 160, 192, 256}});
  expectLDL({17, 32}, other, 1, {{}, {160}});
  expectLDL({17, 32}, other, 0, {{730, 3000, 4500, 23000}, {96, 128, 160, 192, 256}});
}

TEST(BlockSize, WithoutEntriesBelowTheDiagonalTheQuotientIsZero) {
  FactorShape shape{};
  shape.flopsColumn = 1e9;
  EXPECT_EQ(ldlBlockSize(shape, 2, 1, 1), 96);
  EXPECT_EQ(choleskyBlockSize(shape, 2, 1), 128);
}

TEST(PoolCapacity, FollowsTheTable) {
  // Supernodes so many that the share of leaves is as wanted.
  const auto capacity = [](int32_t leaves, double share) {
    return ldlPoolCapacity(leaves, static_cast<int32_t>(std::floor(leaves / share)));
  };
  for (const double share : {0.1, 0.9, 0.99}) EXPECT_EQ(capacity(100000, share), 10000);
  EXPECT_EQ(capacity(100001, 0.84), 20000);
  EXPECT_EQ(capacity(100001, 0.9), 10000);
  EXPECT_EQ(capacity(300000, 0.84), 20000);
  EXPECT_EQ(capacity(300000, 0.9), 10000);
  EXPECT_EQ(capacity(300001, 0.84), 20000);
  EXPECT_EQ(capacity(300001, 0.9), 20000);
  EXPECT_EQ(capacity(300001, 0.96), 10000);
  EXPECT_EQ(capacity(450000, 0.84), 20000);
  EXPECT_EQ(capacity(450000, 0.9), 20000);
  EXPECT_EQ(capacity(450000, 0.96), 10000);
  EXPECT_EQ(capacity(450001, 0.84), 20000);
  EXPECT_EQ(capacity(450001, 0.9), 40000);
  EXPECT_EQ(capacity(450001, 0.96), 10000);
  // The shares themselves: 0.85 and 0.95 belong to the rows above them.
  EXPECT_EQ(ldlPoolCapacity(170000, 200000), 10000);
  EXPECT_EQ(ldlPoolCapacity(169999, 200000), 20000);
  EXPECT_EQ(ldlPoolCapacity(380000, 400000), 10000);
  EXPECT_EQ(ldlPoolCapacity(379999, 400000), 20000);
}

}  // namespace
}  // namespace qz
