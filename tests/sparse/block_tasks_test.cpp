#include "sparse/block_tasks.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "shell/pool.h"
#include "sparse/block_grid.h"
#include "sparse/block_update.h"
#include "sparse/blocked_setup.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/factor_cleanup.h"
#include "sparse/factor_decision.h"
#include "sparse/ldl_analysis.h"
#include "sparse/supernodal_analysis.h"
#include "sparse/symbolic_oracle.h"
#include "support/test_host.h"

namespace qz {
namespace {

using qztest::SymmetricMatrix;

TEST(BlockGrid, NarrowSupernodesHaveOneColumnAndRowsOfAboutTheSquare) {
  const BlockGrid grid = makeBlockGrid(10, 1000, 64);
  EXPECT_EQ(grid.numCols, 1);
  EXPECT_EQ(grid.colWidth, 10);
  EXPECT_EQ(grid.rowHeight, 416);  // 409 rows make the square; up to a multiple of 32
  EXPECT_EQ(grid.numRows, 3);
  EXPECT_EQ(grid.firstBelow, 0);
  EXPECT_TRUE(isNarrow(grid));
  EXPECT_EQ(makeBlockGrid(64, 64, 64).rowHeight, 64);
  EXPECT_EQ(makeBlockGrid(64, 64, 64).firstBelow, 1);
  EXPECT_EQ(makeBlockGrid(64, 65, 64).numRows, 2);
  EXPECT_EQ(makeBlockGrid(1, 1, 64).numRows, 1);
}

TEST(BlockGrid, WideSupernodesAreSquares) {
  for (const int32_t w : {65, 128, 129}) {
    const BlockGrid grid = makeBlockGrid(w, 200, 64);
    EXPECT_EQ(grid.numCols, (w + 63) / 64);
    EXPECT_EQ(grid.numRows, 4);
    EXPECT_EQ(grid.colWidth, 64);
    EXPECT_EQ(grid.rowHeight, 64);
    EXPECT_EQ(grid.firstBelow, w / 64);
    EXPECT_EQ(blockNumber(grid, 2, 1), 6);
    EXPECT_FALSE(isNarrow(grid));
  }
  const BlockGrid grid = makeBlockGrid(65, 200, 64);
  EXPECT_EQ(rowsBelow(grid, 1).from, 65);
  EXPECT_EQ(rowsBelow(grid, 1).to, 128);
  EXPECT_EQ(rowsBelow(grid, 3).to, 200);
}

TEST(BlockGrid, BlockColumnsStartWhereTheFormulaSays) {
  for (const int32_t w : {1, 3, 4, 5, 8, 9, 17}) {
    for (const int32_t h : {w, w + 1, w + 20}) {
      int64_t entries = 0;
      for (int64_t k = 0; k * 4 < w; ++k) {
        EXPECT_EQ(entries, k * 4 * h - 16 * k * (k - 1) / 2);
        entries += std::min<int64_t>(w - k * 4, 4) * (h - k * 4);
      }
      EXPECT_EQ(blockedSupernodeEntries(w, h, 4), entries);
    }
  }
}

// A factor that was analysed serially and is then given a block grid.
class BlockTasksTest : public ::testing::Test {
 protected:
  BlockTasksTest() {
    int32_t status = -1;
    env = LA_CreateLAEnv(host.pool(), 0, &status);
    env->forcedPlan = &serialPlan;
  }
  ~BlockTasksTest() override {
    LA_CleanUpLDL(env, &symbolic, &numeric);
    LA_FreeLAEnv(&env);
    EXPECT_EQ(host.outstanding(), 0);
  }
  void analyze(const SymmetricMatrix& a, bool ldl, int32_t blockSize, int32_t pipeline, int32_t threads) {
    LA_CleanUpLDL(env, &symbolic, &numeric);
    env->orderingMethod = 0;
    const int32_t status =
        ldl ? LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), a.value.data(), env, &symbolic, &numeric)
            : LA_AnalyzeMatrixCholesky(a.n, a.begin.data(), a.index.data(), env, &symbolic, &numeric);
    ASSERT_EQ(status, LA_OK);
    poolFree(host.pool(), symbolic->threadScratch);
    symbolic->blocked = 1;
    symbolic->blockSize = blockSize;
    symbolic->staticPipeline = pipeline;
    symbolic->numThreads = threads;
    symbolic->maxPanelEntries = 0;
  }
  void setUp(const SymmetricMatrix& a, bool ldl, int32_t blockSize, int32_t pipeline, int32_t threads = 3) {
    analyze(a, ldl, blockSize, pipeline, threads);
    ASSERT_EQ(ldl ? setUpBlockedLDL(env, symbolic) : setUpBlockedCholesky(env, symbolic), LA_OK);
  }
  BlockGrid grid(int32_t s) const { return blockGridOf(symbolic, s); }

  // An update by single entries: source s, its grid rows (i, j), target block.
  using Event = std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t, int32_t>;
  std::set<Event> eventsByEntries() const {
    std::set<Event> events;
    for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
      const BlockGrid source = grid(s);
      const int32_t* rows = symbolic->lIndex + symbolic->lIndexBegin[s];
      for (int32_t y = source.width; y < source.height; ++y) {
        const int32_t t = symbolic->colToSn[rows[y]];
        const BlockGrid target = grid(t);
        std::map<int32_t, int32_t> placeOf;
        for (int32_t p = 0; p < target.height; ++p) placeOf[symbolic->lIndex[symbolic->lIndexBegin[t] + p]] = p;
        const int32_t col = isNarrow(target) ? 0 : placeOf.at(rows[y]) / target.colWidth;
        for (int32_t x = y; x < source.height; ++x) {
          events.insert(
              {s, x / source.rowHeight, y / source.rowHeight, t, placeOf.at(rows[x]) / target.rowHeight, col});
        }
      }
    }
    return events;
  }

  qztest::TestHost host;
  const FactorPlan serialPlan{{0, 1, 1}, 0};
  LAEnv* env = nullptr;
  SymbolicFactor* symbolic = nullptr;
  NumericFactor* numeric = nullptr;
};

// Patterns with wide and narrow supernodes, tall ones too.
SymmetricMatrix tallPattern(uint32_t seed) {
  std::mt19937 random(seed);
  if (seed % 3 == 0) return qztest::gridMatrix(14, 13, random);
  if (seed % 3 == 1) return qztest::randomSymmetric(120, 0.05, 1.0, random);
  // Small cliques that hang from a random set of 90 last vertices.
  qztest::Bits bits = qztest::emptyBits(200);
  for (size_t v = 0; v < 110; ++v) {
    for (size_t u = v - v % 5; u < v; ++u) bits[v][u] = 1;
    for (size_t u = 110; u < 200; ++u) bits[u][v] = random() % 4 == 0;
  }
  for (size_t v = 110; v < 200; ++v) {
    for (size_t u = 110; u < v; ++u) bits[v][u] = random() % 12 == 0;
  }
  return qztest::fromBits(bits, random);
}

constexpr int32_t blockSizes[] = {3, 8, 17, 32};

TEST_F(BlockTasksTest, PatternsHaveTheShapesThatMatter) {
  int tallNarrow = 0, partial = 0, exact = 0, manyColumns = 0, fullWidth = 0, oneMore = 0;
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    for (const int32_t nb : blockSizes) {
      setUp(tallPattern(seed), false, nb, 1);
      for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
        const BlockGrid g = grid(s);
        tallNarrow += isNarrow(g) && g.numRows > 1;
        partial += !isNarrow(g) && g.width % nb != 0 && g.height > g.width;
        exact += !isNarrow(g) && g.width % nb == 0 && g.height > g.width;
        manyColumns += g.numCols > 2 && g.height > g.width;
        fullWidth += g.width == nb && g.height > g.width;
        oneMore += g.width == nb + 1;
      }
    }
  }
  EXPECT_GT(tallNarrow, 10);
  EXPECT_GT(partial, 10);
  EXPECT_GT(exact, 3);
  EXPECT_GT(manyColumns, 3);
  EXPECT_GT(fullWidth, 3);
  EXPECT_GT(oneMore, 3);
}

TEST_F(BlockTasksTest, WalkCoversEveryEntryOfEveryUpdateOnce) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    for (const int32_t nb : blockSizes) {
      SCOPED_TRACE(seed * 100 + static_cast<uint32_t>(nb));
      setUp(tallPattern(seed), false, nb, 1);
      for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
        const BlockGrid source = grid(s);
        const int32_t* rows = symbolic->lIndex + symbolic->lIndexBegin[s];
        std::map<std::pair<int32_t, int32_t>, int> touched;
        for (int32_t i = source.firstBelow; i < source.numRows; ++i) {
          for (int32_t j = source.firstBelow; j <= i; ++j) {
            walkBlockPair(symbolic, s, rowsBelow(source, i), rowsBelow(source, j), [&](const BlockUpdate& u) {
              const BlockGrid target = grid(u.target);
              const int32_t* targetRows = symbolic->lIndex + symbolic->lIndexBegin[u.target];
              ASSERT_LT(u.rows.from, u.rows.to);
              ASSERT_LT(u.cols.from, u.cols.to);
              EXPECT_EQ(targetRows[u.rowPlace], rows[u.rows.from]);
              EXPECT_EQ(targetRows[u.colPlace], rows[u.cols.from]);
              EXPECT_EQ(symbolic->snStart[u.target] + u.colPlace, rows[u.cols.from]);
              EXPECT_GE(u.gridRow, u.gridCol);
              EXPECT_LE(static_cast<int64_t>(u.rows.to - u.rows.from) * (u.cols.to - u.cols.from),
                        symbolic->maxBlockEntries);
              for (int32_t x = u.rows.from; x < u.rows.to; ++x) {
                EXPECT_EQ(x / source.rowHeight, i);
                for (int32_t y = u.cols.from; y < u.cols.to; ++y) {
                  EXPECT_EQ(y / source.rowHeight, j);
                  if (y > x) {
                    EXPECT_EQ(u.rows.from, u.cols.from);  // only a run that meets itself has an upper part
                    continue;
                  }
                  ++touched[{x, y}];
                  const int32_t* at = std::find(targetRows, targetRows + target.height, rows[x]);
                  EXPECT_EQ((at - targetRows) / target.rowHeight, u.gridRow);
                  EXPECT_EQ(symbolic->colToSn[rows[y]], u.target);
                }
              }
            });
          }
        }
        const int64_t below = source.height - source.width;
        EXPECT_EQ(static_cast<int64_t>(touched.size()), below * (below + 1) / 2);
        for (const auto& [place, count] : touched) EXPECT_EQ(count, 1) << place.first << " " << place.second;
      }
      if (HasFailure()) return;
    }
  }
}

TEST_F(BlockTasksTest, StripsHoldWholeUpdatesAndFormNothingTwice) {
  int64_t cutStrips = 0;
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    for (const int32_t nb : blockSizes) {
      SCOPED_TRACE(seed * 100 + static_cast<uint32_t>(nb));
      setUp(tallPattern(seed), false, nb, 1);
      const int64_t room = symbolic->maxBlockEntries;
      for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
        const BlockGrid source = grid(s);
        std::map<std::pair<int32_t, int32_t>, int> formed;
        for (int32_t i = source.firstBelow; i < source.numRows; ++i) {
          for (int32_t j = source.firstBelow; j <= i; ++j) {
            const PlaceRange rows = rowsBelow(source, i);
            const PlaceRange cols = rowsBelow(source, j);
            ProductStrip strip{{0, 0}, {0, 0}, nullptr};
            walkBlockPair(symbolic, s, rows, cols, [&](const BlockUpdate& u) {
              if (strip.covers(u)) return;
              strip = stripFrom(symbolic, s, u, rows, cols, room);
              EXPECT_TRUE(strip.covers(u));
              EXPECT_LE(static_cast<int64_t>(lengthOf(strip.rows)) * lengthOf(strip.cols), room);
              cutStrips += strip.rows.to < rows.to || strip.cols.to < cols.to;
              for (int32_t x = strip.rows.from; x < strip.rows.to; ++x) {
                for (int32_t y = strip.cols.from; y < std::min(x + 1, strip.cols.to); ++y) ++formed[{x, y}];
              }
            });
          }
        }
        const int64_t below = source.height - source.width;
        EXPECT_EQ(static_cast<int64_t>(formed.size()), below * (below + 1) / 2);
        for (const auto& [place, count] : formed) EXPECT_EQ(count, 1) << place.first << " " << place.second;
      }
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(cutStrips, 0);
}

TEST_F(BlockTasksTest, CountersCountTheEvents) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    for (const int32_t nb : blockSizes) {
      for (const int32_t pipeline : {0, 1}) {
        SCOPED_TRACE(seed * 1000 + static_cast<uint32_t>(nb) * 10 + static_cast<uint32_t>(pipeline));
        setUp(tallPattern(seed), false, nb, pipeline);
        std::vector<std::vector<int32_t>> expected;
        for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
          const BlockGrid g = grid(s);
          expected.emplace_back(static_cast<size_t>(g.numCols * g.numRows), 0);
          for (int32_t c = 0; c < g.numCols && !isNarrow(g); ++c) {
            for (int32_t r = c; r < g.numRows; ++r)
              expected.back()[static_cast<size_t>(c * g.numRows + r)] = c + (r > c);
          }
        }
        for (const auto& [s, i, j, t, row, col] : eventsByEntries()) {
          expected[static_cast<size_t>(t)][static_cast<size_t>(col * grid(t).numRows + row)] += grid(s).numCols;
        }
        int32_t total = 0;
        for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
          auto& counts = expected[static_cast<size_t>(s)];
          for (size_t r = 1; r < counts.size() && isNarrow(grid(s)); ++r) {
            if (pipeline != 0) ++counts[r];
            if (pipeline == 0) counts[0] += counts[r];
          }
          EXPECT_EQ(std::vector<int32_t>(symbolic->blockCounters[s], symbolic->blockCounters[s + 1]), counts) << s;
          EXPECT_EQ(firstIdentity(symbolic, s), total);
          total += static_cast<int32_t>(counts.size());
        }
        EXPECT_EQ(symbolic->numBlocks, total);
        if (HasFailure()) return;
      }
    }
  }
}

TEST_F(BlockTasksTest, ListsHoldTheTasksInTheirOrder) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    for (const int32_t nb : blockSizes) {
      SCOPED_TRACE(seed * 100 + static_cast<uint32_t>(nb));
      setUp(tallPattern(seed), true, nb, 1);
      // External sources sorted by supernode, grid column, lower grid row, upper grid row.
      std::map<int32_t, std::set<std::tuple<int32_t, int32_t, int32_t, int32_t>>> sources;
      for (const auto& [s, i, j, t, row, col] : eventsByEntries()) {
        for (int32_t c = 0; c < grid(s).numCols; ++c) {
          sources[firstIdentity(symbolic, t) + col * grid(t).numRows + row].insert({s, c, i, j});
        }
      }
      for (int32_t t = 0; t < symbolic->numSupernodes; ++t) {
        const BlockGrid g = grid(t);
        const int32_t base = firstIdentity(symbolic, t);
        for (int32_t c = 0; c < g.numCols; ++c) {
          for (int32_t r = 0; r < g.numRows; ++r) {
            const int32_t block = base + c * g.numRows + r;
            std::vector<int32_t> expected;
            for (const auto& [s, k, i, j] : sources[block]) {
              expected.push_back(firstIdentity(symbolic, s) + (grid(s).numCols == 1 ? 0 : k * grid(s).numRows + i));
            }
            for (int32_t k = 0; k < c && r >= c; ++k) expected.push_back(base + k * g.numRows + r);
            if (r > c) expected.push_back(base + c * g.numRows + c);
            expected.push_back(-1);
            EXPECT_EQ(std::vector<int32_t>(symbolic->blockTaskList[block], symbolic->blockTaskList[block + 1]),
                      expected);
            EXPECT_EQ(static_cast<int32_t>(expected.size()), symbolic->blockCounters[0][block] + 1);
            EXPECT_EQ(symbolic->blockCursor[block], static_cast<int32_t>(expected.size()));
          }
        }
      }
      if (HasFailure()) return;
    }
  }
}

// Runs the static Cholesky pipeline on one thread, states only: every wait must be satisfied when it is met.
class StaticRun {
 public:
  explicit StaticRun(const SymbolicFactor* factor) : f(factor) {
    for (int32_t b = 0; b < f->numBlocks; ++b) {
      state.push_back(f->blockTaskList[b][0]);
      cursor.push_back(1);
    }
  }
  void run() {
    for (int32_t s = 0; s < f->numSupernodes; ++s) {
      g = blockGridOf(f, s);
      base = firstIdentity(f, s);
      if (isNarrow(g)) {
        narrow(s);
      } else {
        wide(s);
      }
    }
    for (int32_t s = 0; s < f->numSupernodes; ++s) {
      g = blockGridOf(f, s);
      base = firstIdentity(f, s);
      for (int32_t c = 0; c < g.numCols; ++c) {
        for (int32_t r = c; r < g.numRows; ++r) EXPECT_EQ(at(r, c), -2);
      }
    }
  }

 private:
  int64_t& at(int32_t r, int32_t c) { return state[static_cast<size_t>(base + blockNumber(g, r, c))]; }
  int32_t identity(int32_t r, int32_t c) const { return base + blockNumber(g, r, c); }
  void external(int32_t s, int32_t i, int32_t j, int32_t id) {
    walkBlockPair(f, s, rowsBelow(g, i), rowsBelow(g, j), [&](const BlockUpdate& u) {
      const BlockGrid t = blockGridOf(f, u.target);
      const auto block = static_cast<size_t>(firstIdentity(f, u.target) + blockNumber(t, u.gridRow, u.gridCol));
      EXPECT_EQ(state[block], id);
      state[block] = f->blockTaskList[block][cursor[block]++];
    });
  }
  void narrow(int32_t s) {
    EXPECT_EQ(at(0, 0), -1);
    at(0, 0) = -2;
    for (int32_t r = 1; r < g.numRows; ++r) {
      EXPECT_EQ(at(r, 0), base);
      at(r, 0) = -2;
    }
    for (int32_t i = g.firstBelow; i < g.numRows; ++i) {
      for (int32_t j = g.firstBelow; j <= i; ++j) external(s, i, j, base);
    }
  }
  void internal(int32_t r, int32_t k, int32_t c) {
    EXPECT_EQ(at(r, k), -2);
    EXPECT_EQ(at(c, k), -2);
    EXPECT_EQ(at(r, c), identity(r, k));
    if (k < c - 1) {
      at(r, c) += g.numRows;
    } else {
      at(r, c) = r == c ? -1 : at(r, c) + g.numRows - r + c;
    }
  }
  void wide(int32_t s) {
    for (int32_t c = 0; c < g.numCols; ++c) {
      for (int32_t r = c; r < g.numCols; ++r) {
        for (int32_t k = 0; k < c; ++k) internal(r, k, c);
        EXPECT_EQ(at(r, c), r == c ? -1 : identity(c, c));
        at(r, c) = -2;
      }
    }
    for (int32_t c = 0; c < g.numCols; ++c) {
      for (int32_t i = g.firstBelow; i < g.numRows; ++i) {
        EXPECT_EQ(at(c, c), -2);
        if (i >= g.numCols) {
          EXPECT_EQ(at(i, c), identity(c, c));
          at(i, c) = -2;
          for (int32_t later = c + 1; later < g.numCols; ++later) internal(i, c, later);
        }
        EXPECT_EQ(at(i, c), -2);
        for (int32_t j = g.firstBelow; j <= i; ++j) external(s, i, j, identity(i, c));
      }
    }
  }

  const SymbolicFactor* f;
  std::vector<int64_t> state;
  std::vector<int32_t> cursor;
  BlockGrid g{};
  int32_t base = 0;
};

TEST_F(BlockTasksTest, StaticPipelineOnOneThreadNeverWaits) {
  for (uint32_t seed = 1; seed <= 9; ++seed) {
    for (const int32_t nb : blockSizes) {
      SCOPED_TRACE(seed * 100 + static_cast<uint32_t>(nb));
      setUp(tallPattern(seed), false, nb, 1);
      StaticRun(symbolic).run();
      if (HasFailure()) return;
    }
  }
}

// Runs the dynamic Cholesky scheduler with ready tasks taken at random, counters only.
class DynamicRun {
 public:
  DynamicRun(const SymbolicFactor* factor, uint32_t seed) : f(factor), random(seed) {
    counter.assign(f->blockCounters[0], f->blockCounters[0] + f->numBlocks);
    for (int32_t k = 0; k < f->numLeaves; ++k) ready.push_back({0, f->leaves[k], 0, 0, 0});
  }
  void run() {
    int32_t expected = 0;
    for (int32_t s = 0; s < f->numSupernodes; ++s) expected += blockGridOf(f, s).numCols;
    while (!ready.empty()) {
      const size_t pick = random() % ready.size();
      const Task task = ready[pick];
      ready[pick] = ready.back();
      ready.pop_back();
      g = blockGridOf(f, task.sn);
      if (task.kind == 0) factor(task.sn, task.b);
      if (task.kind == 1) solve(task.sn, task.a, task.b);
      if (task.kind == 2) arrive(task.sn, task.a, task.c);
      if (task.kind == 3) external(task.sn, task.a, task.c);
    }
    EXPECT_EQ(factored, expected);
  }

 private:
  struct Task {
    int32_t kind, sn, a, b, c;
  };
  int32_t& at(int32_t s, int32_t r, int32_t c) {
    return counter[static_cast<size_t>(firstIdentity(f, s) + blockNumber(blockGridOf(f, s), r, c))];
  }
  void arrive(int32_t s, int32_t r, int32_t c) {
    const bool narrow = isNarrow(blockGridOf(f, s));
    int32_t& count = narrow ? at(s, 0, 0) : at(s, r, c);
    EXPECT_GT(count, 0);
    if (--count != 0) return;
    if (narrow || r == c) {
      ready.push_back({0, s, 0, c, 0});
    } else {
      ready.push_back({1, s, r, c, 0});
    }
  }
  void external(int32_t s, int32_t i, int32_t j) {
    const BlockGrid source = blockGridOf(f, s);
    walkBlockPair(f, s, rowsBelow(source, i), rowsBelow(source, j),
                  [&](const BlockUpdate& u) { arrive(u.target, u.gridRow, u.gridCol); });
  }
  void factor(int32_t s, int32_t c) {
    ++factored;
    if (isNarrow(g)) {
      for (int32_t i = g.firstBelow; i < g.numRows; ++i) {
        for (int32_t j = g.firstBelow; j <= i; ++j) external(s, i, j);
      }
      return;
    }
    const bool partial = c == g.numCols - 1 && g.firstBelow == c && g.height > g.width;
    if (partial) {
      at(s, c, c) = -2;
      ready.push_back({3, s, c, c, c});
    }
    for (int32_t r = c + 1; r < g.numRows; ++r) arrive(s, r, c);
  }
  void solve(int32_t s, int32_t r, int32_t c) {
    at(s, r, c) = -2;
    const auto done = [&](int32_t k) { return at(s, k, c) == -2; };
    for (int32_t k = c + 1; k <= std::min(r, g.numCols - 1); ++k) {
      if (done(k)) ready.push_back({2, s, r, c, k});
    }
    for (int32_t k = r + 1; k < g.numRows && r < g.numCols; ++k) {
      if (done(k)) ready.push_back({2, s, k, c, r});
    }
    if (r < g.firstBelow || g.height == g.width) return;
    for (int32_t k = g.firstBelow; k <= r; ++k) {
      if (done(k)) ready.push_back({3, s, r, c, k});
    }
    for (int32_t k = r + 1; k < g.numRows; ++k) {
      if (done(k)) ready.push_back({3, s, k, c, r});
    }
  }

  const SymbolicFactor* f;
  std::mt19937 random;
  std::vector<int32_t> counter;
  std::vector<Task> ready;
  BlockGrid g{};
  int32_t factored = 0;
};

TEST_F(BlockTasksTest, DynamicSchedulerUsesUpEveryCounter) {
  for (uint32_t seed = 1; seed <= 9; ++seed) {
    for (const int32_t nb : blockSizes) {
      SCOPED_TRACE(seed * 100 + static_cast<uint32_t>(nb));
      setUp(tallPattern(seed), false, nb, 0);
      for (uint32_t order = 0; order < 3; ++order) DynamicRun(symbolic, order).run();
      if (HasFailure()) return;
    }
  }
}

TEST_F(BlockTasksTest, LeavesAreTheSupernodesThatAreReady) {
  setUp(tallPattern(2), true, 8, 0);
  std::vector<int32_t> expected;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    bool child = false;
    for (int32_t d = 0; d < s; ++d) child = child || symbolic->snParent[d] == s;
    if (!child || symbolic->blockCounters[s][0] == 0) expected.push_back(s);
  }
  EXPECT_EQ(std::vector<int32_t>(symbolic->leaves, symbolic->leaves + symbolic->numLeaves), expected);
  EXPECT_EQ(symbolic->poolCapacity, 10000);
}

TEST_F(BlockTasksTest, ScratchIsCutInSlicesOfAMultipleOfThirtyTwo) {
  // n mod 8 = 5 and n above 2 nb: unrounded slices would overlap the end.
  std::mt19937 random(3);
  const SymmetricMatrix a = qztest::randomSymmetric(133, 0.05, 1.0, random);
  for (const bool ldl : {false, true}) {
    setUp(a, ldl, 16, 0, 5);
    const int64_t slice = threadScratchSlice(symbolic);
    const int64_t doubles =
        symbolic->maxBlockEntries + (ldl ? std::max<int64_t>(symbolic->maxPanelEntries, 16 * 16) : 0);
    EXPECT_EQ(slice % 32, 0);
    EXPECT_GE(slice, 8 * doubles + (ldl ? 16 : 2016) + 4 * 133);
    EXPECT_LT(slice, 8 * doubles + (ldl ? 16 : 2016) + 4 * 133 + 32);
    EXPECT_EQ(symbolic->threadScratchBytes, 5 * slice);
    int64_t panel = 0, block = 16 * 16;
    int32_t maxRows = 0;
    for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
      const BlockGrid g = grid(s);
      if (isNarrow(g)) {
        panel = std::max<int64_t>(panel, static_cast<int64_t>(g.width) * g.height);
        block = std::max<int64_t>(block, static_cast<int64_t>(g.width) * g.rowHeight);
      } else {
        maxRows = std::max(maxRows, g.numRows);
      }
    }
    EXPECT_EQ(symbolic->maxBlockEntries, block);
    if (ldl) {
      EXPECT_EQ(symbolic->maxPanelEntries, panel);
      EXPECT_EQ(symbolic->numSlots, 5 * maxRows);
      setUp(a, ldl, 16, 1, 5);
      EXPECT_EQ(symbolic->numSlots, 10 * maxRows);
    } else {
      EXPECT_EQ(symbolic->poolCapacity, 1000);
    }
  }
}

TEST_F(BlockTasksTest, EveryFailedAllocationGivesOneAndTheCleanUpFreesTheRest) {
  const SymmetricMatrix a = tallPattern(3);
  const int64_t before = host.outstanding();
  for (const bool ldl : {false, true}) {
    for (const int32_t pipeline : {0, 1}) {
      for (int64_t k = 1;; ++k) {
        analyze(a, ldl, 8, pipeline, 3);
        const int64_t asked = host.allocations();
        host.failAllocation(k);
        const int32_t status = ldl ? setUpBlockedLDL(env, symbolic) : setUpBlockedCholesky(env, symbolic);
        host.failAllocation(0);
        const bool reached = host.allocations() - asked >= k;
        EXPECT_EQ(status, reached ? LA_NO_MEMORY : LA_OK) << "allocation " << k;
        LA_CleanUpCholesky(env, &symbolic, &numeric);
        EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
        if (!reached) {
          EXPECT_GT(k, 8);
          break;
        }
      }
    }
  }
}

TEST_F(BlockTasksTest, BlocksBeyondThirtyTwoBitsAreTooMany) {
  // One supernode in blocks of one entry.
  int32_t snStart[] = {0, 46341};
  int64_t lIndexBegin[] = {0, 46341};
  SymbolicFactor factor{};
  factor.numSupernodes = 1;
  factor.blockSize = 1;
  factor.snStart = snStart;
  factor.lIndexBegin = lIndexBegin;
  int32_t blockCount = 0;
  EXPECT_EQ(FindBlockSizes(host.pool(), &factor, &blockCount), LA_TOO_LARGE);
  EXPECT_EQ(factor.blockCounters, nullptr);
}

TEST_F(BlockTasksTest, AFactorWithoutRowsHasNoBlocks) {
  SymmetricMatrix a;
  for (const bool ldl : {false, true}) {
    for (const int32_t pipeline : {0, 1}) {
      setUp(a, ldl, 8, pipeline, 1);
      EXPECT_EQ(symbolic->numBlocks, 0);
      EXPECT_EQ(symbolic->numLeaves, 0);
    }
  }
}

}  // namespace
}  // namespace qz
