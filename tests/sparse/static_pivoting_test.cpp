// Static pivoting permutations through analysis, factorisation and solve.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "sparse/parallel_fixture.h"
#include "sparse/pivot_pairs.h"

namespace {

using qztest::Case;
using qztest::ParallelFactor;
using qztest::SystemMatrix;

// (D A; A' 0) with a full-rank A of `leading` rows and `trailing` <= leading columns, scattered over all magnitudes
// from 1e-spread to 1e+spread. `zeros`: most leading diagonal entries that A can do without are zero, stored or not.
SystemMatrix saddlePoint(int32_t leading, int32_t trailing, int32_t perColumn, double spread, bool zeros,
                         uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  const auto below = [&](int32_t bound) { return static_cast<int32_t>(random() % static_cast<uint32_t>(bound)); };
  const auto entry = [&] {
    return (random() % 2 == 0 ? 1.0 : -1.0) * (0.5 + uniform(random)) *
           std::pow(10.0, spread * (2 * uniform(random) - 1));
  };
  const int32_t n = leading + trailing;
  std::vector<std::map<int32_t, double>> column(static_cast<size_t>(n));
  const auto couple = [&](int32_t i, int32_t j, double value) {
    column[static_cast<size_t>(j)][i] = value;
    column[static_cast<size_t>(i)][j] = value;
  };
  std::vector<int32_t> rows(static_cast<size_t>(leading));
  for (int32_t i = 0; i < leading; ++i) rows[static_cast<size_t>(i)] = i;
  std::shuffle(rows.begin(), rows.end(), random);
  for (int32_t j = 0; j < trailing; ++j) {
    for (int32_t k = 1; k < perColumn; ++k) couple(below(leading), leading + j, entry());
    couple(rows[static_cast<size_t>(j)], leading + j, entry());
  }
  for (int32_t k = 0; k < leading; ++k) {
    const int32_t i = rows[static_cast<size_t>(k)];
    if (!zeros || k >= trailing || uniform(random) < 0.2) {
      couple(i, i, std::fabs(entry()));
    } else if (random() % 2 == 0) {
      couple(i, i, 0.0);
    }
  }
  SystemMatrix a;
  a.n = n;
  for (const auto& entries : column) {
    for (const auto& [i, value] : entries) {
      a.index.push_back(i);
      a.value.push_back(value);
    }
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

enum class Key { OFF, GENERAL, AUGMENTED, BOTH };

void setKey(qz::LAEnv* env, Key key, int32_t numLeading) {
  const int32_t general = key == Key::GENERAL || key == Key::BOTH ? 1 : 0;
  const int32_t augmented = key == Key::AUGMENTED || key == Key::BOTH ? 1 : 0;
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_STATIC_PERM_GENERAL, general), qz::LA_OK);
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_STATIC_PERM_AUGMENTED, augmented), qz::LA_OK);
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_NUM_LEADING_ROWS, numLeading), qz::LA_OK);
}

// Serial (by the tables) and blocked factors; the columns of a block are `blockSize`.
const std::vector<Case> kBlocked = {{true, 1, 1, 16}, {true, 3, 1, 8}, {true, 4, 0, 8}, {true, 2, 0, 48}};
constexpr Case kSerial = {true, 1, 1, 0};

class StaticPivoting : public ::testing::Test {
 protected:
  ~StaticPivoting() override { EXPECT_EQ(host.outstanding(), 0); }

  static void prepare(ParallelFactor& f, Key key, int32_t numLeading) {
    if (f.how.blockSize == 0) f.env->forcedPlan = nullptr;
    setKey(f.env, key, numLeading);
  }

  // The order is a permutation whose pairs are joined by an entry and lie in one diagonal block. Returns their number.
  static int32_t checkPairs(const ParallelFactor& f) {
    const qz::SymbolicFactor& s = *f.symbolic;
    std::vector<char> seen(static_cast<size_t>(f.a.n), 0);
    for (int32_t k = 0; k < f.a.n; ++k) {
      EXPECT_EQ(s.invPerm[s.perm[k]], k);
      EXPECT_EQ(seen[static_cast<size_t>(s.perm[k])]++, 0);
    }
    int32_t pairs = 0;
    for (int32_t k = 0; k < f.a.n; k += qz::pivotWidth(s.pivotKind, k)) {
      if (s.pivotKind[k] != qz::PIVOT_PAIR) continue;
      ++pairs;
      EXPECT_EQ(s.pivotKind[k + 1], qz::PIVOT_PAIR);
      EXPECT_EQ(s.colToSn[k], s.colToSn[k + 1]);
      const int32_t offset = k - s.snStart[s.colToSn[k]];
      if (s.blocked != 0) {
        EXPECT_EQ(offset / s.blockSize, (offset + 1) / s.blockSize);
      }
      const auto column = static_cast<size_t>(s.perm[k]);
      const auto* begin = f.a.index.data() + f.a.begin[column];
      const auto* end = f.a.index.data() + f.a.begin[column + 1];
      EXPECT_NE(std::find(begin, end, s.perm[k + 1]), end);
    }
    return pairs;
  }

  // Row lists ascend, and hold every entry and all fill.
  static void checkStructure(const ParallelFactor& f) {
    const qz::SymbolicFactor& s = *f.symbolic;
    std::vector<std::vector<char>> has(static_cast<size_t>(s.numSupernodes),
                                       std::vector<char>(static_cast<size_t>(f.a.n), 0));
    for (int32_t sn = 0; sn < s.numSupernodes; ++sn) {
      const int32_t* rows = s.lIndex + s.lIndexBegin[sn];
      const int32_t* end = s.lIndex + s.lIndexBegin[sn + 1];
      ASSERT_TRUE(std::is_sorted(rows, end));
      ASSERT_EQ(std::adjacent_find(rows, end), end);
      for (const int32_t* row = rows; row < end; ++row) has[static_cast<size_t>(sn)][static_cast<size_t>(*row)] = 1;
      for (int32_t k = s.snStart[sn]; k < s.snStart[sn + 1]; ++k) ASSERT_EQ(rows[k - s.snStart[sn]], k);
    }
    for (int32_t sn = 0; sn < s.numSupernodes; ++sn) {
      const auto& own = has[static_cast<size_t>(sn)];
      for (int32_t k = s.snStart[sn]; k < s.snStart[sn + 1]; ++k) {
        const auto column = static_cast<size_t>(s.perm[k]);
        for (int32_t p = f.a.begin[column]; p < f.a.begin[column + 1]; ++p) {
          const int32_t row = s.invPerm[f.a.index[static_cast<size_t>(p)]];
          if (row >= s.snStart[sn]) {
            ASSERT_TRUE(own[static_cast<size_t>(row)]);
          }
        }
      }
      const int32_t parent = s.snParent[sn];
      for (int32_t row = s.snStart[sn + 1]; row < f.a.n; ++row) {
        if (!own[static_cast<size_t>(row)]) continue;
        ASSERT_GE(parent, 0);
        ASSERT_TRUE(has[static_cast<size_t>(parent)][static_cast<size_t>(row)]);
      }
    }
  }

  // Backward error of one solve; `refinement` steps.
  static double solveError(ParallelFactor& f, int32_t refinement, uint32_t seed) {
    f.env->maxRefine = refinement;
    const std::vector<double> b = qztest::randomVector(f.a.n, seed);
    std::vector<double> x = b;
    const int32_t status = f.solve(&x);
    EXPECT_TRUE(status == qz::LA_OK || status == qz::LA_FGMRES_TOLERANCE || status == qz::LA_FGMRES_LIMIT) << status;
    return qztest::backwardError(f.a, x, b);
  }

  qztest::ParallelHost host;
};

// What the keys are for: hardly a pivot is replaced, and refinement reaches the rounding level.
TEST_F(StaticPivoting, SaddlePointSystemsWithZeroDiagonalsAreSolved) {
  uint32_t seed = 1;
  int32_t replaced = 0, replacedGeneral = 0, replacedAugmented = 0;
  std::vector<Case> cases = kBlocked;
  cases.push_back(kSerial);
  for (const int32_t leading : {1, 2, 7, 40, 150, 400}) {
    for (const int32_t trailing : {leading, leading - leading / 3, leading / 4}) {
      for (const Case& c : cases) {
        ++seed;
        const bool zeros = seed % 2 == 0;
        const SystemMatrix a = saddlePoint(leading, trailing, 3, 2.0, zeros, seed);
        for (const Key key : {Key::GENERAL, Key::AUGMENTED, Key::OFF}) {
          SCOPED_TRACE(c.name() + ", " + std::to_string(leading) + " and " + std::to_string(trailing) + ", key " +
                       std::to_string(static_cast<int>(key)) + ", seed " + std::to_string(seed));
          ParallelFactor f(host, a, c);
          prepare(f, key, leading);
          ASSERT_EQ(f.analyze(), qz::LA_OK);
          const int32_t pairs = checkPairs(f);
          checkStructure(f);
          ASSERT_EQ(f.factor(), qz::LA_OK);
          if (key == Key::OFF) {
            EXPECT_EQ(pairs, 0);
            replaced += f.symbolic->numPerturbed;
            continue;
          }
          if (key == Key::AUGMENTED) {
            EXPECT_EQ(pairs, trailing);
          }
          (key == Key::GENERAL ? replacedGeneral : replacedAugmented) += f.symbolic->numPerturbed;
          EXPECT_LE(solveError(f, 64, seed), 1e-14);
          if (HasFailure()) return;
        }
      }
    }
  }
  // The augmented permutation knows nothing of the diagonal: some of its single columns have none.
  EXPECT_GT(replaced, 1000);
  EXPECT_LT(10 * replacedGeneral, replaced);
  EXPECT_LT(5 * replacedAugmented, replaced);
}

TEST_F(StaticPivoting, WithoutRefinementOnePlainSolveIsAccurate) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    for (const Key key : {Key::GENERAL, Key::AUGMENTED}) {
      const SystemMatrix a = saddlePoint(120, 90, 3, 0.5, key == Key::GENERAL, seed);
      ParallelFactor f(host, a, kSerial);
      prepare(f, key, 120);
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      ASSERT_EQ(f.factor(), qz::LA_OK);
      ASSERT_EQ(f.symbolic->numPerturbed, 0);
      EXPECT_LE(solveError(f, 0, seed), 1e-10) << seed;
    }
  }
}

// Without any diagonal entry at all, and with both orderings by degree and the dissection.
TEST_F(StaticPivoting, EveryOrderingKeepsPairsTogether) {
  const SystemMatrix a = saddlePoint(300, 300, 4, 1.0, true, 77);
  for (const int32_t method : {0, 1, 2}) {
    for (const int32_t constrained : {0, 1}) {
      for (const Key key : {Key::GENERAL, Key::AUGMENTED}) {
        ParallelFactor f(host, a, {true, 2, 1, 8});
        prepare(f, key, 300);
        f.env->orderingMethod = method;
        f.env->constrained = constrained;
        ASSERT_EQ(f.analyze(), qz::LA_OK);
        EXPECT_GT(checkPairs(f), 100);
        checkStructure(f);
        ASSERT_EQ(f.factor(), qz::LA_OK);
        EXPECT_LE(solveError(f, 64, 3), 1e-14);
      }
    }
  }
}

TEST_F(StaticPivoting, BothKeysMeanTheAugmentedPermutation) {
  // Three leading columns and one other, all joined: the general permutation finds no perfect matching.
  SystemMatrix a;
  a.n = 4;
  for (int32_t j = 0; j < 3; ++j) {
    a.index.push_back(3);
    a.value.push_back(1.0 + j);
    a.begin.push_back(j + 1);
  }
  for (int32_t i = 0; i < 3; ++i) {
    a.index.push_back(i);
    a.value.push_back(1.0 + i);
  }
  a.begin.push_back(6);
  const auto analyzed = [&](Key key) {
    ParallelFactor f(host, a, kSerial);
    prepare(f, key, 3);
    const int32_t status = f.analyze();
    EXPECT_EQ(f.symbolic->factorState, -1);
    return std::make_pair(status, status == qz::LA_OK ? checkPairs(f) : 0);
  };
  EXPECT_EQ(analyzed(Key::GENERAL), std::make_pair(int32_t{qz::LA_SINGULAR}, 0));
  EXPECT_EQ(analyzed(Key::AUGMENTED), std::make_pair(int32_t{qz::LA_OK}, 1));
  EXPECT_EQ(analyzed(Key::BOTH), std::make_pair(int32_t{qz::LA_OK}, 1));
}

TEST_F(StaticPivoting, AnUnknownLeadingBlockGivesNoPairs) {
  const SystemMatrix a = saddlePoint(20, 10, 3, 1.0, true, 5);
  ParallelFactor f(host, a, kSerial);
  prepare(f, Key::AUGMENTED, 0);
  ASSERT_EQ(f.analyze(), qz::LA_OK);
  EXPECT_EQ(checkPairs(f), 0);
}

TEST_F(StaticPivoting, ALeadingBlockBeyondTheMatrixIsInconsistent) {
  const SystemMatrix a = saddlePoint(20, 10, 3, 1.0, true, 6);
  ParallelFactor f(host, a, kSerial);
  prepare(f, Key::AUGMENTED, 31);
  EXPECT_EQ(f.analyze(), qz::LA_INCONSISTENT);
  EXPECT_EQ(f.symbolic->factorState, -1);
}

TEST_F(StaticPivoting, ValuesAreNeeded) {
  const SystemMatrix a = saddlePoint(20, 10, 3, 1.0, true, 7);
  for (const Key key : {Key::GENERAL, Key::AUGMENTED, Key::OFF}) {
    ParallelFactor f(host, a, kSerial);
    prepare(f, key, 20);
    EXPECT_EQ(qz::LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), nullptr, f.env, &f.symbolic, &f.numeric),
              key == Key::OFF ? qz::LA_OK : qz::LA_BAD_PARAMETER);
  }
}

TEST_F(StaticPivoting, NewValuesInTheSameOrderAreFactoredToo) {
  // The pairs come from the first values; later ones may make them poor pivots, which refinement mends.
  SystemMatrix a = saddlePoint(100, 60, 3, 1.0, true, 8);
  ParallelFactor f(host, a, kSerial);
  prepare(f, Key::GENERAL, 100);
  ASSERT_EQ(f.analyze(), qz::LA_OK);
  for (double& value : a.value) value *= 3.0;
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(f.factor(), qz::LA_OK);
    EXPECT_LE(solveError(f, 64, 9), 1e-14);
  }
}

TEST_F(StaticPivoting, ABreakEndsTheAnalysisWithThirteen) {
  const SystemMatrix a = saddlePoint(60, 60, 4, 2.0, true, 10);
  for (const Key key : {Key::GENERAL, Key::AUGMENTED}) {
    ParallelFactor f(host, a, kSerial);
    prepare(f, key, 60);
    host.cancelCaller(true);
    EXPECT_EQ(f.analyze(), qz::LA_CANCELLED);
    EXPECT_EQ(f.symbolic->factorState, -1);
    f.cleanUp();
    host.cancelCaller(false);
    EXPECT_EQ(f.analyze(), qz::LA_OK);
  }
}

TEST_F(StaticPivoting, EveryFailedAllocationGivesOneAndNothingLeaks) {
  const SystemMatrix a = saddlePoint(60, 60, 4, 2.0, true, 11);
  for (const Key key : {Key::GENERAL, Key::AUGMENTED}) {
    ParallelFactor f(host, a, kSerial);
    prepare(f, key, 60);
    const int64_t before = host.outstanding();
    int64_t k = 1;
    for (;; ++k) {
      const int64_t asked = host.allocations();
      host.failAllocation(k);
      const int32_t status = f.analyze();
      host.failAllocation(0);
      const bool reached = host.allocations() - asked >= k;
      EXPECT_EQ(status, reached ? qz::LA_NO_MEMORY : qz::LA_OK) << "allocation " << k;
      f.cleanUp();
      EXPECT_EQ(host.outstanding(), before);
      if (!reached) break;
    }
    EXPECT_GT(k, 9);
  }
}

TEST_F(StaticPivoting, SameInputSameOrder) {
  const SystemMatrix a = saddlePoint(200, 150, 4, 2.0, true, 12);
  for (const Key key : {Key::GENERAL, Key::AUGMENTED}) {
    std::vector<std::vector<int32_t>> orders;
    for (int round = 0; round < 2; ++round) {
      ParallelFactor f(host, a, kSerial);
      prepare(f, key, 200);
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      orders.emplace_back(f.symbolic->perm, f.symbolic->perm + a.n);
    }
    EXPECT_EQ(orders[0], orders[1]);
  }
}

}  // namespace
