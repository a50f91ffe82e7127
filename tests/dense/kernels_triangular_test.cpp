// Triangular solves and products of the kernel layer against the BLAS.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>

#include "dense/blas.h"
#include "dense/kernels.h"
#include "dense/matrix_tools.h"

using namespace qz;
using qztest::Guarded;
using qztest::Matrix;
using qztest::randomMatrix;

namespace {

constexpr double QUIET_NAN = std::numeric_limits<double>::quiet_NaN();

using Variant = void(const int32_t*, const int32_t*, const double*, const int32_t*, double*, const int32_t*, double*,
                     double*);

struct Case {
  const char* name;
  Variant* call;
  char side, uplo, trans, diag;
  double alpha;
  bool solve;
};

const Case CASES[] = {
    {"my_dtrsm_LLNN", my_dtrsm_LLNN, 'L', 'L', 'N', 'N', 1.0, true},
    {"my_dtrsm_LLTN", my_dtrsm_LLTN, 'L', 'L', 'T', 'N', 1.0, true},
    {"my_dtrsm_LUNN", my_dtrsm_LUNN, 'L', 'U', 'N', 'N', 1.0, true},
    {"my_dtrsm_LUTN", my_dtrsm_LUTN, 'L', 'U', 'T', 'N', 1.0, true},
    {"my_dtrsm_RLTN", my_dtrsm_RLTN, 'R', 'L', 'T', 'N', 1.0, true},
    {"my_dtrmm_RLNU", my_dtrmm_RLNU, 'R', 'L', 'N', 'U', 1.0, false},
    {"my_dtrmm_RLTU", my_dtrmm_RLTU, 'R', 'L', 'T', 'U', 1.0, false},
    {"my_dtrmm_RUNN", my_dtrmm_RUNN, 'R', 'U', 'N', 'N', 1.0, false},
    {"my_dtrmm_RUTN", my_dtrmm_RUTN, 'R', 'U', 'T', 'N', 1.0, false},
    {"my_dtrmm_LUNN_m1", my_dtrmm_LUNN_m1, 'L', 'U', 'N', 'N', -1.0, false},
    {"my_dtrmm_LLTN", my_dtrmm_LLTN, 'L', 'L', 'T', 'N', 1.0, false},
    {"my_dtrmm_LLNN", my_dtrmm_LLNN, 'L', 'L', 'N', 'N', 1.0, false},
};

// A triangle whose inverse stays small, with NaN where no kernel may read: the other triangle, and a unit diagonal.
Matrix triangle(const Case& test, int32_t order, int32_t pad, std::mt19937_64& generator) {
  Matrix a = randomMatrix(order, order, pad, generator);
  for (int32_t j = 0; j < order; ++j) {
    for (int32_t i = 0; i < order; ++i) {
      const bool stored = test.uplo == 'L' ? i > j : i < j;
      if (i == j) {
        a.at(i, j) = test.diag == 'U' ? QUIET_NAN : 1.5 + 0.5 * a.at(i, j);
      } else {
        a.at(i, j) = stored ? a.at(i, j) / order : QUIET_NAN;
      }
    }
  }
  return a;
}

Matrix byBlas(const Case& test, const Matrix& a, const Matrix& b) {
  Matrix out = b;
  const char side[] = {test.side, 0}, uplo[] = {test.uplo, 0}, trans[] = {test.trans, 0}, diag[] = {test.diag, 0};
  if (out.rows == 0 || out.columns == 0) return out;
  if (test.solve) {
    dtrsm_(side, uplo, trans, diag, &b.rows, &b.columns, &test.alpha, a.data(), &a.ld, out.data(), &out.ld);
  } else {
    blas::dtrmm(side, uplo, trans, diag, b.rows, b.columns, test.alpha, a.data(), a.ld, out.data(), out.ld);
  }
  return out;
}

void expectClose(const Matrix& got, const Matrix& want, int32_t order, const char* what) {
  ASSERT_TRUE(got.marginsIntact()) << what;
  const double bound = 16.0 * (order + 2.0) * DBL_EPSILON;
  for (int32_t j = 0; j < want.columns; ++j) {
    for (int32_t i = 0; i < want.rows; ++i) {
      ASSERT_LE(std::fabs(got.at(i, j) - want.at(i, j)), bound)
          << what << " " << want.rows << " by " << want.columns << " at (" << i << ", " << j << ")";
    }
  }
}

TEST(Triangular, EveryVariantAgreesWithTheBlas) {
  std::mt19937_64 generator(31);
  const int32_t orders[] = {0, 1, 2, 3, 15, 16, 17, 31, 32, 33, 95, 96, 97, 111, 193};
  const int32_t widths[] = {0, 1, 2, 5, 24, 97};
  for (const Case& test : CASES) {
    for (int32_t order : orders) {
      for (int32_t width : widths) {
        const Matrix a = triangle(test, order, order == 96 ? 200 : 1, generator);
        const int32_t m = test.side == 'L' ? order : width;
        const int32_t n = test.side == 'L' ? width : order;
        const Matrix b0 = randomMatrix(m, n, 2, generator);
        Matrix b = b0;
        Guarded packA(int64_t{PACK_DIM} * std::min(order, PACK_DIM));
        Guarded packB(int64_t{PACK_DIM} * std::min(order, PACK_DIM));
        test.call(&m, &n, a.data(), &a.ld, b.data(), &b.ld, packA.data(), packB.data());
        expectClose(b, byBlas(test, a, b0), order, test.name);
        ASSERT_TRUE(packA.intact() && packB.intact()) << test.name << " order " << order;
      }
    }
  }
}

TEST(Triangular, DispatchersFindTheVariant) {
  std::mt19937_64 generator(32);
  const int32_t order = 7;
  const double one = 1.0;
  for (const Case& test : CASES) {
    const Matrix a = triangle(test, order, 0, generator);
    const Matrix b0 = randomMatrix(order, order, 1, generator);
    Matrix b = b0;
    Guarded packA(int64_t{PACK_DIM} * order);
    Guarded packB(int64_t{PACK_DIM} * order);
    const char side[] = {test.side, 0}, uplo[] = {test.uplo, 0}, trans[] = {test.trans, 0}, diag[] = {test.diag, 0};
    auto* dispatcher = test.solve ? &my_dtrsm : &my_dtrmm;
    dispatcher(side, uplo, trans, diag, &order, &order, &one, a.data(), &a.ld, b.data(), &b.ld, packA.data(),
               packB.data());
    expectClose(b, byBlas(test, a, b0), order, test.name);
  }
}

TEST(Triangular, RightSolveWithoutTranspositionDoesNothing) {
  std::mt19937_64 generator(33);
  const int32_t n = 5;
  const double one = 1.0;
  const Matrix a = randomMatrix(n, n, 0, generator);
  Matrix b = randomMatrix(n, n, 0, generator);
  const Matrix before = b;
  for (const char* uplo : {"L", "U"}) {
    my_dtrsm("R", uplo, "N", "N", &n, &n, &one, a.data(), &a.ld, b.data(), &b.ld, nullptr, nullptr);
    EXPECT_EQ(b.store, before.store);
  }
}

TEST(Triangular, LeftProductWithTransposedUpperDoesNothing) {
  std::mt19937_64 generator(34);
  const int32_t n = 5;
  const double one = 1.0;
  const Matrix a = randomMatrix(n, n, 0, generator);
  Matrix b = randomMatrix(n, n, 0, generator);
  const Matrix before = b;
  my_dtrmm("L", "U", "T", "N", &n, &n, &one, a.data(), &a.ld, b.data(), &b.ld, nullptr, nullptr);
  EXPECT_EQ(b.store, before.store);
}

TEST(Triangular, KernelsSolveOnPackedBlocks) {
  std::mt19937_64 generator(35);
  for (int32_t kc : {0, 1, 15, 16, 17, 96}) {
    for (int32_t n : {0, 1, 3, 4, 5, 30}) {
      for (const Case& test : CASES) {
        if (!test.solve || test.side != 'L' || test.trans != 'N') continue;
        const Matrix a = triangle(test, kc, PACK_DIM - kc, generator);
        const Matrix b0 = randomMatrix(kc, n, 1, generator);
        Matrix b = b0;
        auto* kernel = test.uplo == 'L' ? &my_dtrsm_kernel_lower_left : &my_dtrsm_kernel_upper_left;
        kernel(b.data(), b.ld, a.data(), kc, n);
        expectClose(b, byBlas(test, a, b0), kc, test.name);
      }
    }
  }
}

TEST(Triangular, SolveUndoesProduct) {
  std::mt19937_64 generator(36);
  const int32_t m = 100, n = 9;
  const Matrix a = triangle(CASES[0], m, 3, generator);
  const Matrix b0 = randomMatrix(m, n, 0, generator);
  Matrix b = b0;
  Guarded packA(PACK_ENTRIES);
  Guarded packB(PACK_ENTRIES);
  my_dtrmm_LLNN(&m, &n, a.data(), &a.ld, b.data(), &b.ld, packA.data(), packB.data());
  my_dtrsm_LLNN(&m, &n, a.data(), &a.ld, b.data(), &b.ld, packA.data(), packB.data());
  expectClose(b, b0, m, "round trip");
}

}  // namespace
