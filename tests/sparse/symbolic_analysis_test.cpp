#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ordering/order_graph.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/factor_cleanup.h"
#include "sparse/factor_decision.h"
#include "sparse/factor_memory.h"
#include "sparse/ldl_analysis.h"
#include "sparse/pattern.h"
#include "sparse/supernodal_analysis.h"
#include "sparse/symbolic_oracle.h"
#include "support/test_host.h"

namespace qz {
namespace {

using qztest::Bits;
using qztest::SymmetricMatrix;

class SymbolicAnalysisTest : public ::testing::Test {
 protected:
  SymbolicAnalysisTest() {
    int32_t status = -1;
    env = LA_CreateLAEnv(host.pool(), 0, &status);
    EXPECT_EQ(status, LA_OK);
  }
  ~SymbolicAnalysisTest() override {
    cleanUp();
    LA_FreeLAEnv(&env);
    EXPECT_EQ(host.outstanding(), 0);
  }
  int32_t analyze(const SymmetricMatrix& a, bool ldl) {
    isLDL = ldl;
    return ldl ? LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), a.value.data(), env, &symbolic, &numeric)
               : LA_AnalyzeMatrixCholesky(a.n, a.begin.data(), a.index.data(), env, &symbolic, &numeric);
  }
  void cleanUp() {
    if (isLDL) {
      LA_CleanUpLDL(env, &symbolic, &numeric);
    } else {
      LA_CleanUpCholesky(env, &symbolic, &numeric);
    }
    EXPECT_EQ(symbolic, nullptr);
    EXPECT_EQ(numeric, nullptr);
  }
  int32_t width(int32_t s) const { return symbolic->snStart[s + 1] - symbolic->snStart[s]; }
  int32_t height(int32_t s) const {
    return static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
  }

  // Everything that a numeric phase relies on, against elimination by brute force in the order found.
  void expectFactorOf(const SymmetricMatrix& a) {
    const auto n = static_cast<size_t>(a.n);
    ASSERT_NE(symbolic, nullptr);
    ASSERT_NE(numeric, nullptr);
    EXPECT_EQ(symbolic->numRows, a.n);
    EXPECT_EQ(numeric->numRows, a.n);
    EXPECT_EQ(symbolic->factorState, -1);
    EXPECT_EQ(symbolic->rightLooking, isLDL ? 1 : 0);
    EXPECT_EQ(symbolic->pivotKind != nullptr, isLDL);
    std::set<int32_t> rows;
    for (size_t k = 0; k < n; ++k) {
      ASSERT_TRUE(symbolic->perm[k] >= 0 && symbolic->perm[k] < a.n);
      rows.insert(symbolic->perm[k]);
      EXPECT_EQ(symbolic->invPerm[symbolic->perm[k]], static_cast<int32_t>(k));
      if (isLDL) {
        EXPECT_EQ(symbolic->pivotKind[k], -2);
      }
    }
    ASSERT_EQ(rows.size(), n);
    const Bits l = qztest::eliminate(a, {symbolic->perm, symbolic->perm + n});
    double nnzL = 0.0, flops = 0.0;
    for (size_t j = 0; j < n; ++j) {
      double count = 0.0;
      for (size_t i = j; i < n; ++i) count += l[i][j];
      nnzL += count - 1.0;
      flops += count * (count - 1.0);
    }
    EXPECT_EQ(symbolic->nnzL, nnzL);
    EXPECT_EQ(symbolic->flopsColumn, flops);

    int64_t values = 0, indices = 0, largestRun = 0, largestBelow = 0, largestPanel = 0;
    for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
      ASSERT_EQ(symbolic->lIndexBegin[s], indices);
      ASSERT_EQ(symbolic->lValueBegin[s], values);
      std::set<int32_t> structure;
      for (int32_t j = symbolic->snStart[s]; j < symbolic->snStart[s + 1]; ++j) {
        EXPECT_EQ(symbolic->colToSn[j], s);
        for (int32_t i = j; i < a.n; ++i) {
          if (l[static_cast<size_t>(i)][static_cast<size_t>(j)]) structure.insert(i);
        }
      }
      const int32_t* list = symbolic->lIndex + indices;
      ASSERT_EQ(std::vector<int32_t>(list, list + height(s)), std::vector<int32_t>(structure.begin(), structure.end()));
      // The tree parent owns the first row below.
      const int32_t w = width(s), h = height(s);
      EXPECT_EQ(symbolic->snParent[s], h > w ? symbolic->colToSn[list[w]] : -1);
      for (int32_t from = w; from < h;) {
        int32_t to = from;
        while (to < h && symbolic->colToSn[list[to]] == symbolic->colToSn[list[from]]) ++to;
        largestRun = std::max<int64_t>(largestRun, static_cast<int64_t>(h - from) * (to - from));
        from = to;
      }
      largestBelow = std::max<int64_t>(largestBelow, h - w);
      largestPanel = std::max<int64_t>(largestPanel, static_cast<int64_t>(w) * (h == w ? 96 : h));
      indices += h;
      values += static_cast<int64_t>(w) * h;
    }
    EXPECT_EQ(symbolic->snStart[symbolic->numSupernodes], a.n);
    EXPECT_EQ(symbolic->numIndices, indices);
    EXPECT_EQ(symbolic->lIndexBegin[symbolic->numSupernodes], indices);
    EXPECT_EQ(symbolic->lValueBegin[symbolic->numSupernodes], values);
    // What follows is the serial factor's.
    ASSERT_EQ(symbolic->blocked, 0);
    EXPECT_EQ(symbolic->blockSize, 0);
    EXPECT_EQ(symbolic->numThreads, 1);
    EXPECT_EQ(symbolic->numValues, values);
    int64_t scratch = largestRun;
    if (isLDL) {
      EXPECT_EQ(symbolic->maxBlockEntries, (largestBelow * largestBelow + 31) / 32 * 32);
      EXPECT_EQ(symbolic->maxPanelEntries, largestPanel);
      EXPECT_EQ(numeric->panelWidth, 96);
      scratch = symbolic->maxBlockEntries + largestPanel;
      std::memset(numeric->packA, 1, 96 * 96 * sizeof(double));
      std::memset(numeric->packB, 1, 96 * 96 * sizeof(double));
    } else {
      EXPECT_EQ(symbolic->maxBlockEntries, largestRun);
    }
    EXPECT_EQ(symbolic->threadScratchBytes, 8 * std::max<int64_t>(scratch, 1));
    // The storage promised is there: a memory checker watches these writes.
    std::memset(symbolic->threadScratch, 1, static_cast<size_t>(symbolic->threadScratchBytes));
    if (values > 0) std::memset(symbolic->lValues, 1, static_cast<size_t>(values) * sizeof(double));
    expectMatrixFits(a);
  }

  // The permuted lower triangle goes into the room of the numeric record, without touching the maps.
  void expectMatrixFits(const SymmetricMatrix& a) {
    EXPECT_EQ(numeric->numEntries, static_cast<int32_t>(a.index.size()) - a.offDiagonals() / 2);
    const auto n = static_cast<size_t>(a.n);
    const std::vector<int32_t> perm(symbolic->perm, symbolic->perm + n),
        starts(symbolic->snStart, symbolic->snStart + 1);
    ASSERT_EQ(PermuteSymMatrixLower(a.n, a.begin.data(), a.index.data(), a.value.data(), numeric, symbolic->perm,
                                    symbolic->invPerm),
              LA_OK);
    const size_t room = n + static_cast<size_t>(a.offDiagonals() / 2);
    std::memset(numeric->rowIndex, 0, room * sizeof(int32_t));
    std::memset(numeric->matValue, 0, room * sizeof(double));
    std::memset(numeric->work, 1, (5 * n + 8) * sizeof(double));
    EXPECT_EQ(numeric->colBegin[n], numeric->numEntries);
    EXPECT_EQ(perm, std::vector<int32_t>(symbolic->perm, symbolic->perm + n));
    EXPECT_EQ(symbolic->snStart[0], 0);
  }

  qztest::TestHost host;
  LAEnv* env = nullptr;
  SymbolicFactor* symbolic = nullptr;
  NumericFactor* numeric = nullptr;
  bool isLDL = true;
};

// What lives as long as the factor is cut from the second part of the work block, which the first part, where the
// ordering and the values come and go, never reaches.
TEST_F(SymbolicAnalysisTest, WorkBlockHoldsBothPartsApart) {
  for (const bool ldl : {false, true}) {
    for (int32_t n = 1; n <= 67; n += 3) {
      for (const int32_t entries : {0, 2, n, 6 * n}) {
        SCOPED_TRACE((ldl ? "LDL, n " : "Cholesky, n ") + std::to_string(n) + ", " + std::to_string(entries));
        isLDL = ldl;
        AnalysisMemory memory{};
        ASSERT_EQ(ldl ? InitMemoryAndStructsLDL(n, entries, env, &symbolic, &numeric, &memory)
                      : InitMemoryAndStructsCholesky(n, entries, env, &symbolic, &numeric, &memory),
                  LA_OK);
        const char* block = static_cast<const char*>(numeric->workBlock);
        const char* second = block + numeric->workBytesFirst;
        const char* end = second + numeric->workBytesSecond;
        EXPECT_GE(memory.firstCount, 2 * int64_t{n} + 1 + entries) << "adjacency with room to move";
        EXPECT_GE(memory.firstCount, 2 * (int64_t{n} + 1) + entries) << "both triangles";
        EXPECT_LE(memory.firstCount * 4, numeric->workBytesFirst);
        const char* lastIndex = reinterpret_cast<const char*>(numeric->rowIndex + n + entries / 2);
        EXPECT_LE(lastIndex, second) << "values and rows of the lower triangle";
        std::vector<std::pair<const int32_t*, int64_t>> kept = {
            {symbolic->perm, n},    {symbolic->invPerm, n},  {symbolic->snParent, n},      {symbolic->snStart, n + 1},
            {symbolic->colToSn, n}, {memory.groupId, n + 1}, {memory.parent, 10 * n + 16},
        };
        if (ldl) kept.emplace_back(symbolic->pivotKind, n);
        std::sort(kept.begin(), kept.end());
        const char* free = second;
        for (const auto& [array, count] : kept) {
          const char* bytes = reinterpret_cast<const char*>(array);
          EXPECT_GE(bytes, free);
          free = bytes + 4 * count;
        }
        EXPECT_LE(free, end);
        cleanUp();
      }
    }
  }
}

TEST_F(SymbolicAnalysisTest, RandomPatternsAgreeWithDenseElimination) {
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const int32_t n = static_cast<int32_t>(random() % 70);
    const double density = static_cast<double>(1 + random() % 100) / 100.0 / (1.0 + n / 8.0);
    const SymmetricMatrix a = qztest::randomSymmetric(n, density, 0.5, random);
    for (const bool ldl : {false, true}) {
      env->problemKind = ldl ? 1 : 0;
      env->orderingMethod = static_cast<int32_t>(random() % 3) - 1;
      ASSERT_EQ(analyze(a, ldl), LA_OK);
      expectFactorOf(a);
      cleanUp();
    }
    if (HasFailure()) break;
  }
}

TEST_F(SymbolicAnalysisTest, SpecialShapes) {
  std::mt19937 random(5);
  for (const bool ldl : {false, true}) {
    env->problemKind = ldl ? 1 : 0;
    for (const int32_t n : {0, 1, 2, 3, 4, 5, 31, 96, 97, 120}) {
      SCOPED_TRACE(n);
      std::vector<SymmetricMatrix> shapes{qztest::denseMatrix(n, random), qztest::diagonalMatrix(n, random),
                                          qztest::randomSymmetric(n, -1.0, -1.0, random)};
      if (n > 0) shapes.push_back(qztest::arrowheadMatrix(n, random));
      for (const SymmetricMatrix& a : shapes) {
        env->orderingMethod = -1;
        ASSERT_EQ(analyze(a, ldl), LA_OK);
        expectFactorOf(a);
        cleanUp();
      }
    }
    for (const SymmetricMatrix& a : {qztest::gridMatrix(12, 11, random), qztest::gridMatrix(60, 2, random)}) {
      ASSERT_EQ(analyze(a, ldl), LA_OK);
      expectFactorOf(a);
      cleanUp();
    }
  }
}

// A grid with one row of entries everywhere, which is dense beside it.
SymmetricMatrix gridWithDenseRow(int32_t width, int32_t height, std::mt19937& random) {
  const SymmetricMatrix grid = qztest::gridMatrix(width, height, random);
  const auto n = static_cast<size_t>(grid.n);
  Bits bits = qztest::emptyBits(grid.n + 1);
  for (size_t j = 0; j < n; ++j) {
    for (int32_t p = grid.begin[j]; p < grid.begin[j + 1]; ++p) {
      const auto i = static_cast<size_t>(grid.index[static_cast<size_t>(p)]);
      bits[std::max(i, j)][std::min(i, j)] = true;
    }
    bits[n][j] = true;
  }
  return qztest::fromBits(bits, random);
}

TEST_F(SymbolicAnalysisTest, DissectionsAgreeWithDenseElimination) {
  std::mt19937 random(6);
  for (const SymmetricMatrix& a :
       {qztest::gridMatrix(21, 20, random), qztest::gridMatrix(150, 2, random), gridWithDenseRow(16, 25, random)}) {
    for (const bool ldl : {false, true}) {
      double fill[2] = {0.0, 0.0};
      for (const int32_t constrained : {0, 1}) {
        SCOPED_TRACE(constrained);
        env->problemKind = ldl ? 1 : 0;
        env->constrained = constrained;
        env->orderingMethod = ORDER_NESTED_DISSECTION;
        ASSERT_EQ(analyze(a, ldl), LA_OK);
        EXPECT_EQ(env->orderingMethod, ORDER_NESTED_DISSECTION);
        expectFactorOf(a);
        fill[constrained] = symbolic->nnzL;
        cleanUp();
      }
      // The engine inside the groups has fill in view, and the groups are those of the dissection.
      EXPECT_LE(fill[1], 1.15 * fill[0]);
    }
  }
}

TEST_F(SymbolicAnalysisTest, OneRowIsOneSerialSupernode) {
  std::mt19937 random(6);
  env->problemKind = 0;
  const SymmetricMatrix a = qztest::diagonalMatrix(1, random);
  ASSERT_EQ(analyze(a, false), LA_OK);
  EXPECT_EQ(symbolic->numSupernodes, 1);
  EXPECT_EQ(height(0), 1);
  EXPECT_EQ(symbolic->nnzL, 0.0);
  EXPECT_EQ(symbolic->blocked, 0);
  EXPECT_EQ(symbolic->maxWidth, 1);
  EXPECT_EQ(symbolic->staticPipeline, 0);
  EXPECT_EQ(env->staticPipeline, 1);  // later factors are not touched
}

TEST_F(SymbolicAnalysisTest, DiagonalMatrixHasSupernodesOfOneColumnAndNoWidth) {
  std::mt19937 random(7);
  ASSERT_EQ(analyze(qztest::diagonalMatrix(9, random), false), LA_OK);
  EXPECT_EQ(symbolic->numSupernodes, 9);
  EXPECT_EQ(symbolic->maxWidth, 0);
  EXPECT_EQ(env->orderingMethod, ORDER_IDENTITY);
}

TEST_F(SymbolicAnalysisTest, DenseMatrixIsOneSupernode) {
  std::mt19937 random(8);
  const int32_t n = 40;
  env->problemKind = 0;  // of the other kinds none is serial on one thread
  ASSERT_EQ(analyze(qztest::denseMatrix(n, random), false), LA_OK);
  EXPECT_EQ(symbolic->numSupernodes, 1);
  EXPECT_EQ(symbolic->maxWidth, n);
  double flops = 0.0;
  for (int32_t h = 1; h <= n; ++h) flops += h * (h - 1.0);
  EXPECT_EQ(symbolic->flopsRelaxed, flops);
  EXPECT_EQ(symbolic->maxBlockEntries, 0);
}

TEST_F(SymbolicAnalysisTest, SerialPanelsOfFullSupernodesCountNinetySixRows) {
  std::mt19937 random(9);
  ASSERT_EQ(analyze(qztest::denseMatrix(97, random), true), LA_OK);
  EXPECT_EQ(symbolic->maxPanelEntries, 97 * 96);
  EXPECT_EQ(symbolic->maxBlockEntries, 0);
}

// Two supernodes: a column whose `numBelow` rows all lie in the other.
int32_t choleskyScratch(int32_t numBelow, int32_t* entries) {
  std::vector<int32_t> snStart = {0, 1, 1 + numBelow};
  std::vector<int32_t> colToSn(static_cast<size_t>(numBelow) + 1, 1);
  colToSn[0] = 0;
  std::vector<int64_t> lIndexBegin = {0, 1 + numBelow, 1 + 2 * static_cast<int64_t>(numBelow)};
  std::vector<int32_t> lIndex;
  for (int32_t i = 0; i <= numBelow; ++i) lIndex.push_back(i);
  for (int32_t i = 1; i <= numBelow; ++i) lIndex.push_back(i);
  SymbolicFactor factor{};
  factor.numSupernodes = 2;
  factor.snStart = snStart.data();
  factor.colToSn = colToSn.data();
  factor.lIndexBegin = lIndexBegin.data();
  factor.lIndex = lIndex.data();
  const int32_t status = sizeCholeskySerialScratch(&factor);
  *entries = factor.maxBlockEntries;
  return status;
}

// One supernode.
int32_t ldlScratch(int32_t width, int64_t height, int32_t* entries, int32_t* panel) {
  int32_t snStart[] = {0, width};
  int64_t lIndexBegin[] = {0, height};
  SymbolicFactor factor{};
  factor.numSupernodes = 1;
  factor.snStart = snStart;
  factor.lIndexBegin = lIndexBegin;
  const int32_t status = sizeLDLSerialScratch(&factor);
  *entries = factor.maxBlockEntries;
  *panel = factor.maxPanelEntries;
  return status;
}

TEST(SerialScratch, SizesBeyondThirtyTwoBitsAreTooLarge) {
  // 46340^2 is the last square below 2^31.
  int32_t entries = 0;
  int32_t panel = 0;
  EXPECT_EQ(choleskyScratch(46340, &entries), LA_OK);
  EXPECT_EQ(entries, 46340 * 46340);
  EXPECT_EQ(choleskyScratch(46341, &entries), LA_TOO_LARGE);
  EXPECT_EQ(choleskyScratch(70000, &entries), LA_TOO_LARGE);
  EXPECT_EQ(ldlScratch(1, 46341, &entries, &panel), LA_OK);
  EXPECT_EQ(entries, 2147395616);  // 46340^2 in a multiple of 32
  EXPECT_EQ(ldlScratch(1, 46342, &entries, &panel), LA_TOO_LARGE);
  EXPECT_EQ(ldlScratch(1, 100000, &entries, &panel), LA_TOO_LARGE);
  EXPECT_EQ(ldlScratch(46340, 46341, &entries, &panel), LA_OK);
  EXPECT_EQ(panel, 46340 * 46341);
  EXPECT_EQ(ldlScratch(46341, 46342, &entries, &panel), LA_TOO_LARGE);
  EXPECT_EQ(ldlScratch(70000, 70001, &entries, &panel), LA_TOO_LARGE);
}

TEST_F(SymbolicAnalysisTest, UnsymmetricInputGivesTwo) {
  for (const bool ldl : {false, true}) {
    SymmetricMatrix a;
    a.n = 5;
    a.begin = {0, 2, 3, 4, 5, 6};
    a.index = {1, 2, 0, 0, 4, 3};
    a.value.assign(6, 1.0);
    EXPECT_EQ(analyze(a, ldl), LA_OK);
    cleanUp();
    a.index = {1, 2, 0, 1, 4, 3};  // (2, 0) lost its partner
    EXPECT_EQ(analyze(a, ldl), LA_INCONSISTENT);
    EXPECT_EQ(symbolic->factorState, -1);
    cleanUp();
    a.index = {1, 2, 0, 0, 5, 3};  // a row out of range
    EXPECT_EQ(analyze(a, ldl), LA_INCONSISTENT);
    cleanUp();
    a.begin[5] = -1;
    EXPECT_EQ(analyze(a, ldl), LA_INCONSISTENT);
    EXPECT_EQ(symbolic, nullptr);
  }
}

TEST_F(SymbolicAnalysisTest, BadArgumentsGiveNine) {
  const std::vector<int32_t> begin{0, 1}, index{0};
  const double one = 1.0;
  EXPECT_EQ(LA_AnalyzeMatrixLDL(-1, begin.data(), index.data(), &one, env, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, nullptr, index.data(), &one, env, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), nullptr, &one, env, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), index.data(), &one, nullptr, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), index.data(), &one, env, nullptr, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), index.data(), &one, env, &symbolic, nullptr), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixCholesky(1, begin.data(), nullptr, env, &symbolic, &numeric), LA_BAD_PARAMETER);
  ASSERT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), index.data(), &one, env, &symbolic, &numeric), LA_OK);
  EXPECT_EQ(LA_AnalyzeMatrixLDL(1, begin.data(), index.data(), &one, env, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_AnalyzeMatrixCholesky(1, begin.data(), index.data(), env, &symbolic, &numeric), LA_BAD_PARAMETER);
  EXPECT_NE(symbolic, nullptr);
}

TEST_F(SymbolicAnalysisTest, ReportsTheOrderingAndCopiesTheParameters) {
  std::mt19937 random(11);
  const SymmetricMatrix a = qztest::gridMatrix(15, 15, random);
  env->reservedCount = 7;
  env->problemKind = 0;
  ASSERT_EQ(analyze(a, false), LA_OK);
  EXPECT_EQ(env->orderingMethod, ORDER_AMF);
  EXPECT_EQ(symbolic->reservedCount, 7);
  cleanUp();
  env->orderingMethod = ORDER_AMD;
  ASSERT_EQ(analyze(a, true), LA_OK);
  EXPECT_EQ(env->orderingMethod, ORDER_AMD);
  EXPECT_EQ(symbolic->staticPipeline, 1);
}

TEST_F(SymbolicAnalysisTest, ACancelledThreadEndsTheOrderingWithThirteen) {
  std::mt19937 random(12);
  const SymmetricMatrix a = qztest::gridMatrix(15, 15, random);
  for (const bool ldl : {false, true}) {
    for (const int32_t method : {ORDER_AMD, ORDER_AMF, ORDER_NESTED_DISSECTION}) {
      env->orderingMethod = method;
      host.cancelThread(true);
      EXPECT_EQ(analyze(a, ldl), LA_CANCELLED);
      EXPECT_EQ(symbolic->factorState, -1);
      EXPECT_EQ(env->orderingMethod, method);
      cleanUp();
      host.cancelThread(false);
      EXPECT_EQ(analyze(a, ldl), LA_OK);
      cleanUp();
    }
  }
}

TEST_F(SymbolicAnalysisTest, EveryFailedAllocationGivesOneAndTheCleanUpFreesTheRest) {
  std::mt19937 random(13);
  const SymmetricMatrix a = qztest::gridMatrix(15, 15, random);
  const int64_t before = host.outstanding();
  for (const bool ldl : {false, true}) {
    // 12 stands for a dissection into groups.
    for (const int32_t method : {int32_t{ORDER_AMD}, int32_t{ORDER_AMF}, int32_t{ORDER_NESTED_DISSECTION}, 12}) {
      for (int64_t k = 1;; ++k) {
        env->constrained = method == 12 ? 1 : 0;
        env->orderingMethod = std::min<int32_t>(method, ORDER_NESTED_DISSECTION);
        const int64_t asked = host.allocations();
        host.failAllocation(k);
        const int32_t status = analyze(a, ldl);
        host.failAllocation(0);
        const bool reached = host.allocations() - asked >= k;
        EXPECT_EQ(status, reached ? LA_NO_MEMORY : LA_OK) << "allocation " << k;
        if (symbolic != nullptr) {
          EXPECT_EQ(symbolic->factorState, -1);
        }
        cleanUp();
        EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
        if (!reached) {
          EXPECT_GT(k, 8);
          break;
        }
      }
    }
  }
}

TEST_F(SymbolicAnalysisTest, CleanUpAcceptsNothing) {
  LA_CleanUpLDL(env, nullptr, nullptr);
  LA_CleanUpCholesky(env, &symbolic, &numeric);
  LA_CleanUpLDL(nullptr, &symbolic, &numeric);
}

TEST_F(SymbolicAnalysisTest, SameInputSameResult) {
  std::mt19937 random(14);
  const SymmetricMatrix a = qztest::randomSymmetric(150, 0.03, 1.0, random);
  std::vector<int32_t> first;
  for (int repeat = 0; repeat < 3; ++repeat) {
    env->orderingMethod = -1;
    ASSERT_EQ(analyze(a, true), LA_OK);
    const std::vector<int32_t> perm(symbolic->perm, symbolic->perm + a.n);
    if (repeat == 0) first = perm;
    EXPECT_EQ(perm, first);
    cleanUp();
  }
}

TEST_F(SymbolicAnalysisTest, SeveralThreadsComeBackLoweredToWhatRuns) {
  std::mt19937 random(15);
  const SymmetricMatrix a = qztest::gridMatrix(8, 8, random);
  env->numThreads = 8;
  ASSERT_EQ(analyze(a, true), LA_OK);
  EXPECT_EQ(env->numThreads, 1);  // far too small to share
  EXPECT_EQ(symbolic->numThreads, 1);
}

}  // namespace
}  // namespace qz
