// Both schedulers of both factorisations against residuals and a dense oracle, on every path that a factor can take.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <eigen3/Eigen/Dense>
#include <thread>
#include <vector>

#include "sparse/ldl_blocks.h"
#include "sparse/parallel_fixture.h"

namespace {

using qztest::Case;
using qztest::makeSystem;
using qztest::ParallelFactor;
using qztest::Pattern;
using qztest::SystemMatrix;

constexpr double kTolerance = 1e-12;
constexpr int32_t threadCounts[] = {1, 2, 3, 4, 8, 16};

class ParallelFactorTest : public ::testing::Test {
 protected:
  ~ParallelFactorTest() override {
    EXPECT_EQ(host.outstanding(), 0);
    EXPECT_EQ(qztest::ParallelHost::liveLocks, 0);
    EXPECT_EQ(qztest::ParallelHost::liveEvents, 0);
    EXPECT_EQ(qztest::ParallelHost::liveThreads, 0);
  }
  void solveAndCheck(const SystemMatrix& a, const Case& c, uint32_t seed) {
    SCOPED_TRACE(c.name() + ", n " + std::to_string(a.n) + ", seed " + std::to_string(seed));
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    EXPECT_EQ(f.symbolic->factorState, -1);
    f.expectAllFinished();
    perturbed = f.symbolic->numPerturbed;
    pairs = 0;
    for (int32_t j = 0; c.ldl && j < a.n; ++j) pairs += f.symbolic->pivotKind[j] < 0;
    const std::vector<double> b = qztest::randomVector(a.n, seed + 1);
    std::vector<double> x = b;
    ASSERT_EQ(f.solve(&x), qz::LA_OK);
    if (perturbed == 0) {
      EXPECT_LE(qztest::backwardError(a, x, b), kTolerance);
    }
  }

  qztest::ParallelHost host;
  int32_t perturbed = 0;
  int32_t pairs = 0;
};

// All four engines.
std::vector<Case> engines(int32_t threads, int32_t blockSize) {
  return {{true, threads, 1, blockSize},
          {true, threads, 0, blockSize},
          {false, threads, 1, blockSize},
          {false, threads, 0, blockSize}};
}

TEST_F(ParallelFactorTest, EveryPatternBlockSizeAndThreadCount) {
  uint32_t seed = 1;
  for (int p = 0; p < static_cast<int>(Pattern::COUNT); ++p) {
    for (const int32_t nb : {2, 5, 8, 17, 32}) {
      for (const int32_t threads : threadCounts) {
        for (const Case& c : engines(threads, nb)) {
          const int32_t n = 1 + static_cast<int32_t>(seed * 37 % 200);
          solveAndCheck(makeSystem(static_cast<Pattern>(p), n, c.ldl, false, seed), c, seed);
          if (HasFatalFailure()) return;
          EXPECT_EQ(perturbed, 0);
          ++seed;
        }
      }
    }
  }
}

// Many random patterns, so that every counter and list meets every shape; states are checked block by block.
TEST_F(ParallelFactorTest, CountersReachExactlyZeroOnRandomPatterns) {
  for (uint32_t seed = 1; seed <= 240; ++seed) {
    const Pattern pattern = seed % 3 == 0 ? Pattern::RANDOM : (seed % 3 == 1 ? Pattern::CLIQUES : Pattern::ARROW);
    const int32_t nb = 1 + static_cast<int32_t>(seed * 7 % 23);
    const int32_t threads = threadCounts[seed % 6];
    const Case c = engines(threads, nb)[seed / 6 % 4];
    solveAndCheck(makeSystem(pattern, 20 + static_cast<int32_t>(seed % 150), c.ldl, false, seed), c, seed);
    if (HasFailure()) return;
  }
}

TEST_F(ParallelFactorTest, AgreesWithADenseOracle) {
  for (int p = 0; p < static_cast<int>(Pattern::COUNT); ++p) {
    for (const Case& c : engines(3, 9)) {
      const SystemMatrix a = makeSystem(static_cast<Pattern>(p), 90, c.ldl, false, 77);
      Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(a.n, a.n);
      for (int32_t j = 0; j < a.n; ++j) {
        for (int32_t q = a.begin[static_cast<size_t>(j)]; q < a.begin[static_cast<size_t>(j) + 1]; ++q) {
          dense(a.index[static_cast<size_t>(q)], j) = a.value[static_cast<size_t>(q)];
        }
      }
      ParallelFactor f(host, a, c);
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      ASSERT_EQ(f.factor(), qz::LA_OK);
      std::vector<double> x = qztest::randomVector(a.n, 5);
      const Eigen::VectorXd expected = dense.fullPivLu().solve(Eigen::Map<const Eigen::VectorXd>(x.data(), a.n)).eval();
      ASSERT_EQ(f.solve(&x), qz::LA_OK);
      const double error = (Eigen::Map<const Eigen::VectorXd>(x.data(), a.n) - expected).norm();
      EXPECT_LE(error, 1e-11 * expected.norm()) << c.name() << " " << qztest::nameOf(static_cast<Pattern>(p));
    }
  }
}

// Widths at and around multiples of the block size, with and without rows below: a clique of `width` columns that all
// see the same `below` last vertices, which are a clique themselves.
TEST_F(ParallelFactorTest, WidthsAroundMultiplesOfTheBlockSize) {
  const int32_t nb = 8;
  for (const int32_t width : {1, 7, 8, 9, 15, 16, 17, 24, 31}) {
    for (const int32_t below : {0, 1, 7, 8, 9, 20}) {
      for (const Case& c : engines(3, nb)) {
        const int32_t n = 2 * width + below;
        std::mt19937 random(static_cast<uint32_t>(width * 100 + below));
        SystemMatrix a = makeSystem(Pattern::DENSE, n, c.ldl, false, static_cast<uint32_t>(random()));
        // Cut the links between the two cliques.
        SystemMatrix cut;
        cut.n = n;
        for (int32_t j = 0; j < n; ++j) {
          for (int32_t p = a.begin[static_cast<size_t>(j)]; p < a.begin[static_cast<size_t>(j) + 1]; ++p) {
            const int32_t i = a.index[static_cast<size_t>(p)];
            if (std::max(i, j) < 2 * width && i / width != j / width) continue;
            cut.index.push_back(i);
            cut.value.push_back(a.value[static_cast<size_t>(p)]);
          }
          cut.begin.push_back(static_cast<int32_t>(cut.index.size()));
        }
        solveAndCheck(cut, c, static_cast<uint32_t>(width));
        if (HasFailure()) return;
      }
    }
  }
}

// In these patterns the two columns of a pair stay in one supernode, where the pivot search finds them.
TEST_F(ParallelFactorTest, PairsOfColumnsBecomeTwoByTwoPivots) {
  int32_t withPairs = 0;
  uint32_t seed = 1;
  for (const Pattern pattern : {Pattern::DENSE, Pattern::CLIQUES}) {
    for (const int32_t nb : {4, 16, 40}) {
      for (const int32_t threads : {1, 3, 8}) {
        for (const int32_t pipeline : {0, 1}) {
          solveAndCheck(makeSystem(pattern, 120, true, true, seed), {true, threads, pipeline, nb}, seed);
          ++seed;
          if (HasFailure()) return;
          withPairs += pairs > 0 && perturbed == 0;
        }
      }
    }
  }
  EXPECT_GE(withPairs, 20);
}

TEST_F(ParallelFactorTest, LargerSystems) {
  uint32_t seed = 1;
  for (const int32_t threads : threadCounts) {
    for (const Case& c : engines(threads, threads % 2 == 0 ? 64 : 48)) {
      solveAndCheck(makeSystem(Pattern::GRID_3D, 2744, c.ldl, false, seed), c, seed);
      ++seed;
      solveAndCheck(makeSystem(Pattern::CLIQUES, 700, c.ldl, false, seed), c, seed);
      ++seed;
      if (HasFailure()) return;
    }
  }
  for (const Case& c : engines(2, 128)) {
    solveAndCheck(makeSystem(Pattern::GRID_2D, 3000, c.ldl, false, seed), c, seed);
    ++seed;
    solveAndCheck(makeSystem(Pattern::DENSE, 600, c.ldl, false, seed), c, seed);
    ++seed;
  }
}

TEST_F(ParallelFactorTest, StaticPipelineGivesTheSameBitsEveryTime) {
  constexpr int repetitions = 50;
  for (const bool ldl : {true, false}) {
    const SystemMatrix a = makeSystem(Pattern::CLIQUES, 160, ldl, ldl, 3);
    const std::vector<double> b = qztest::randomVector(a.n, 4);
    for (const int32_t threads : threadCounts) {
      ParallelFactor f(host, a, {ldl, threads, 1, 12});
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      std::vector<double> values, solution;
      for (int k = 0; k < repetitions; ++k) {
        ASSERT_EQ(f.factor(), qz::LA_OK);
        std::vector<double> x = b;
        ASSERT_EQ(f.solve(&x), qz::LA_OK);
        if (k == 0) {
          values = f.values();
          solution = x;
        }
        ASSERT_EQ(std::memcmp(values.data(), f.values().data(), values.size() * sizeof(double)), 0)
            << f.how.name() << " repetition " << k;
        ASSERT_EQ(std::memcmp(solution.data(), x.data(), x.size() * sizeof(double)), 0);
      }
    }
  }
}

// A schedule decides who adds and when, never in which order.
TEST_F(ParallelFactorTest, StaticPipelineGivesTheSameBitsForEveryThreadCountAndNumberOfSlots) {
  for (const bool ldl : {true, false}) {
    const SystemMatrix a = makeSystem(Pattern::CLIQUES, 160, ldl, ldl, 3);
    std::vector<double> expected;
    for (const int32_t threads : threadCounts) {
      for (const int32_t slots : {0, 1, 5, 1000}) {
        ParallelFactor f(host, a, {ldl, threads, 1, 12});
        ASSERT_EQ(f.analyze(), qz::LA_OK);
        f.symbolic->numSlots = std::min(f.symbolic->numSlots, slots);
        ASSERT_EQ(f.factor(), qz::LA_OK);
        if (expected.empty()) expected = f.values();
        ASSERT_EQ(std::memcmp(expected.data(), f.values().data(), expected.size() * sizeof(double)), 0)
            << f.how.name() << " slots " << slots;
      }
    }
  }
}

TEST_F(ParallelFactorTest, SlotsAreAllFreeAfterwardsAndAShortageCostsNoAccuracy) {
  for (const int32_t pipeline : {0, 1}) {
    for (const int32_t slots : {0, 1, 3, 1000}) {
      const SystemMatrix a = makeSystem(Pattern::DENSE, 130, true, true, 8);
      ParallelFactor f(host, a, {true, 3, pipeline, 10});
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      f.symbolic->numSlots = std::min(f.symbolic->numSlots, slots);
      ASSERT_EQ(f.factor(), qz::LA_OK);
      for (int32_t i = 0; i < f.symbolic->numSlots; ++i) EXPECT_EQ(f.symbolic->slotFlags[i], 0) << i;
      const std::vector<double> b = qztest::randomVector(a.n, 5);
      std::vector<double> x = b;
      ASSERT_EQ(f.solve(&x), qz::LA_OK);
      if (f.symbolic->numPerturbed == 0) {
        EXPECT_LE(qztest::backwardError(a, x, b), kTolerance);
      }
    }
  }
}

TEST_F(ParallelFactorTest, RefilledFactorsForgetWhatTheyHeld) {
  for (const Case& c : engines(3, 8)) {
    const SystemMatrix a = makeSystem(Pattern::CLIQUES, 100, c.ldl, false, 9);
    SystemMatrix doubled = a;
    for (double& v : doubled.value) v *= 2.0;
    ParallelFactor f(host, a, c);
    ParallelFactor g(host, doubled, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(g.analyze(), qz::LA_OK);
    const std::vector<double> b = qztest::randomVector(a.n, 5);
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(f.factor(), qz::LA_OK);
      ASSERT_EQ(g.factor(), qz::LA_OK);
      std::vector<double> x = b, y = b;
      ASSERT_EQ(f.solve(&x), qz::LA_OK);
      ASSERT_EQ(g.solve(&y), qz::LA_OK);
      EXPECT_LE(qztest::backwardError(a, x, b), kTolerance);
      EXPECT_LE(qztest::backwardError(doubled, y, b), kTolerance);
    }
  }
}

TEST_F(ParallelFactorTest, ZeroMatrixReplacesEveryPivot) {
  for (const Case& c : engines(3, 8)) {
    SystemMatrix a = makeSystem(Pattern::CLIQUES, 100, false, false, 9);
    std::fill(a.value.begin(), a.value.end(), 0.0);
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    if (c.ldl) {
      EXPECT_EQ(f.symbolic->numPerturbed, a.n);
    }
    for (int32_t s = 0; s < f.symbolic->numSupernodes; ++s) {
      const qz::SupernodeBlocks sn = qz::blocksOf(f.symbolic, s);
      for (int32_t p = 0; p < sn.grid.height; ++p) {
        for (int32_t k = 0; k < std::min(p + 1, sn.grid.width); ++k) {
          const int32_t column = k / sn.grid.colWidth;
          const double v = qz::blockRow(sn, column, p)[k - column * sn.grid.colWidth];
          ASSERT_EQ(v, p == k ? (c.ldl ? qz::kLDLPivotTolerance : 1.1579208923731618e+77) : 0.0) << c.name();
        }
      }
    }
  }
}

TEST_F(ParallelFactorTest, NegativePivotOfCholeskyPassesAsItsMagnitude) {
  SystemMatrix a = makeSystem(Pattern::DIAGONAL, 1, false, false, 1);
  a.value[0] = -4.0;
  for (const int32_t pipeline : {0, 1}) {
    ParallelFactor f(host, a, {false, 2, pipeline, 4});
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    EXPECT_EQ(f.symbolic->lValues[0], 2.0);
  }
}

TEST_F(ParallelFactorTest, InertiaOfBlockedFactorsIsExact) {
  for (const int32_t pipeline : {0, 1}) {
    const SystemMatrix a = makeSystem(Pattern::CLIQUES, 120, true, false, 21);
    int32_t positive = 0;
    for (int32_t j = 0; j < a.n; ++j) {
      for (int32_t p = a.begin[static_cast<size_t>(j)]; p < a.begin[static_cast<size_t>(j) + 1]; ++p) {
        positive += a.index[static_cast<size_t>(p)] == j && a.value[static_cast<size_t>(p)] > 0.0;
      }
    }
    ParallelFactor f(host, a, {true, 4, pipeline, 10});
    f.env->computeInertia = 1;
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    // Every diagonal entry outweighs its column: the signs of the diagonal are those of the eigenvalues (Gershgorin).
    EXPECT_EQ(f.env->numPositivePivots, positive);
    EXPECT_EQ(f.env->numNegativePivots, a.n - positive);
  }
}

TEST_F(ParallelFactorTest, OneThreadStartsNone) {
  for (const Case& c : engines(1, 8)) {
    solveAndCheck(makeSystem(Pattern::GRID_2D, 150, c.ldl, false, 2), c, 2);
  }
  EXPECT_EQ(qztest::ParallelHost::startedThreads, 0);
}

TEST_F(ParallelFactorTest, ThreadsBeyondTheNumberOfLeavesStartWithoutATaskAndHelpLater) {
  // A dense matrix is a single leaf: all but one of sixteen threads have nothing at the start.
  for (const bool ldl : {false, true}) {
    const SystemMatrix a = makeSystem(Pattern::DENSE, 90, ldl, false, 5);
    const Case c{ldl, 16, 0, 8};
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.symbolic->numLeaves, 1);
    for (uint32_t round = 0; round < 5; ++round) solveAndCheck(a, c, 40 + round);
  }
}

TEST_F(ParallelFactorTest, SolvesRunOnTheCallersThread) {
  for (const Case& c : engines(4, 8)) {
    const SystemMatrix a = makeSystem(Pattern::GRID_2D, 150, c.ldl, false, 2);
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    const int64_t started = qztest::ParallelHost::startedThreads;
    EXPECT_GT(started, 0);
    f.env->maxRefine = 20;
    std::vector<double> x = qztest::randomVector(a.n, 3);
    const int32_t status = f.solve(&x);
    EXPECT_TRUE(status == qz::LA_OK || status == qz::LA_FGMRES_TOLERANCE || status == qz::LA_FGMRES_LIMIT) << status;
    EXPECT_EQ(qztest::ParallelHost::startedThreads, started) << c.name();
  }
}

TEST_F(ParallelFactorTest, EmptyMatrixIsFactored) {
  SystemMatrix a;
  for (const Case& c : engines(3, 8)) {
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    EXPECT_EQ(f.factor(), qz::LA_OK);
    std::vector<double> x;
    EXPECT_EQ(f.solve(&x), qz::LA_OK);
  }
}

TEST_F(ParallelFactorTest, EntryOutsideTheStructureIsInconsistent) {
  for (const Case& c : engines(3, 4)) {
    // The same number of entries, one pair of them elsewhere.
    SystemMatrix a = makeSystem(Pattern::DIAGONAL, 30, false, false, 1);
    SystemMatrix analysed = a;
    const auto addPair = [](SystemMatrix* m, int32_t i, int32_t j) {
      for (const auto& [row, column] : {std::pair{i, j}, std::pair{j, i}}) {
        const auto at = static_cast<size_t>(m->begin[static_cast<size_t>(column) + 1]);
        m->index.insert(m->index.begin() + static_cast<std::ptrdiff_t>(at), row);
        m->value.insert(m->value.begin() + static_cast<std::ptrdiff_t>(at), 0.1);
        for (size_t k = static_cast<size_t>(column) + 1; k < m->begin.size(); ++k) ++m->begin[k];
      }
    };
    addPair(&analysed, 3, 4);
    addPair(&a, 10, 20);
    ParallelFactor f(host, analysed, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    const auto factorMatrix = c.ldl ? qz::LA_FactorMatrixLDL : qz::LA_FactorMatrixCholesky;
    EXPECT_EQ(factorMatrix(0, a.n, a.begin.data(), a.index.data(), a.value.data(), f.env, f.symbolic, f.numeric),
              qz::LA_INCONSISTENT);
    EXPECT_EQ(f.symbolic->factorState, -1);
    EXPECT_EQ(f.factor(), qz::LA_OK);
  }
}

TEST_F(ParallelFactorTest, NotANumberEndsLikeAnyValue) {
  for (const Case& c : engines(4, 8)) {
    SystemMatrix a = makeSystem(Pattern::CLIQUES, 100, c.ldl, false, 9);
    a.value[a.value.size() / 2] = std::nan("");
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    EXPECT_EQ(f.factor(), qz::LA_OK);
  }
}

// A slot that two threads took would hold the product of one and be read as that of the other.
TEST(ProductSlots, AreTakenByOneThreadAtATime) {
  constexpr int32_t kThreads = 4, kSlots = 2, kRounds = 100000;
  std::vector<int64_t> flags(kSlots, 0);
  std::vector<int32_t> users(kSlots, 0);
  std::vector<double> values(kSlots, 0.0);
  qz::SymbolicFactor symbolic{};
  symbolic.blockSize = 1;
  symbolic.numSlots = kSlots;
  symbolic.slotFlags = flags.data();
  symbolic.slotUsers = users.data();
  symbolic.slotValues = values.data();
  std::vector<std::atomic<int32_t>> holders(kSlots);
  std::atomic<int64_t> taken{0}, shared{0};
  std::vector<std::thread> threads;
  for (int32_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      qz::ThreadContext context{};
      context.symbolic = &symbolic;
      context.thread = t;
      context.numThreads = kThreads;
      for (int32_t round = 0; round < kRounds; ++round) {
        const qz::LDLBlocks::Product product = qz::LDLBlocks::takeProduct(context, 1);
        if (product.slot == 0) continue;
        ++taken;
        const auto slot = static_cast<size_t>(product.slot - 1);
        if (holders[slot].fetch_add(1) != 0) ++shared;
        if (round % 64 == 0) std::this_thread::yield();
        holders[slot].fetch_sub(1);
        qz::LDLBlocks::releaseRight(context, qz::finishedWord(product.slot));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  // How often the threads meet is the machine's affair; a thread that runs alone takes a slot in each of its rounds.
  EXPECT_GT(taken, 0);
  EXPECT_EQ(shared, 0);
}

}  // namespace
