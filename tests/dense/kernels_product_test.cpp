// Products of the kernel layer against sums in long double.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>

#include "dense/kernels.h"
#include "dense/matrix_tools.h"
#include "dense/packed_product.h"
#include "dense/tile_product.h"

using namespace qz;
using qztest::Guarded;
using qztest::Matrix;
using qztest::randomMatrix;

namespace {

constexpr double QUIET_NAN = std::numeric_limits<double>::quiet_NaN();

int64_t packEntries(int32_t k) {
  return int64_t{PACK_DIM} * std::min(std::max(k, 0), PACK_DIM);
}

// op(X)(i, p).
double pick(const Matrix& x, bool transpose, int32_t i, int32_t p) {
  return transpose ? x.at(p, i) : x.at(i, p);
}

enum class Part { FULL, LOWER, UPPER };

bool inside(Part part, int32_t i, int32_t j) {
  return part == Part::FULL || (part == Part::LOWER ? i >= j : i <= j);
}

// C := beta C + alpha op(A) op(B) on a part of C; what lies outside the part keeps its value.
Matrix reference(Part part, double beta, double alpha, const Matrix& a, bool transA, const Matrix& b, bool transB,
                 int32_t k, const Matrix& c) {
  Matrix out = c;
  for (int32_t j = 0; j < c.columns; ++j) {
    for (int32_t i = 0; i < c.rows; ++i) {
      if (!inside(part, i, j)) continue;
      long double sum = 0.0L;
      for (int32_t p = 0; p < k; ++p) sum += static_cast<long double>(pick(a, transA, i, p)) * pick(b, transB, p, j);
      const long double old = beta == 0.0 ? 0.0L : beta * static_cast<long double>(c.at(i, j));
      out.at(i, j) = static_cast<double>(old + alpha * sum);
    }
  }
  return out;
}

// Entries of the operands are below 1: an entry of the product is off by at most k + 2 roundings of k.
void expectClose(const Matrix& got, const Matrix& want, int32_t k, const char* what) {
  const double bound = (k + 2.0) * (k + 2.0) * DBL_EPSILON;
  ASSERT_TRUE(got.marginsIntact()) << what;
  for (int32_t j = 0; j < want.columns; ++j) {
    for (int32_t i = 0; i < want.rows; ++i) {
      const double x = got.at(i, j);
      const double y = want.at(i, j);
      if (std::isnan(y)) {
        ASSERT_TRUE(std::isnan(x)) << what << " (" << i << ", " << j << ")";
      } else {
        ASSERT_LE(std::fabs(x - y), bound)
            << what << " m " << want.rows << " n " << want.columns << " k " << k << " at (" << i << ", " << j << ")";
      }
    }
  }
}

struct Size {
  int32_t m, n, k, pad;
};

// Around every threshold: vector widths, tiles, the copy loop, the chunk, what decides on packing.
std::vector<Size> sizes() {
  std::vector<Size> list;
  for (int32_t m : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 24, 25}) {
    for (int32_t n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 11}) list.push_back({m, n, 5, 0});
  }
  for (int32_t k : {0, 1, 2, 11, 12, 13, 31, 32, 33}) list.push_back({13, 12, k, 3});
  for (int32_t m : {63, 64, 65, 95, 96, 97}) {
    for (int32_t n : {63, 64, 95, 96, 97}) list.push_back({m, n, 7, 1});
  }
  for (int32_t k : {95, 96, 97, 192, 193}) list.push_back({33, 31, k, 2});
  list.push_back({193, 97, 98, 0});
  list.push_back({97, 193, 97, 200});
  list.push_back({65, 70, 40, 300});
  return list;
}

using DgemmVariant = void(const int32_t*, const int32_t*, const int32_t*, const double*, const int32_t*, const double*,
                          const int32_t*, double*, const int32_t*, double*, double*);

struct DgemmCase {
  const char* name;
  DgemmVariant* call;
  bool transA, transB;
  double beta, alpha;
};

const DgemmCase DGEMM_CASES[] = {
    {"my_dgemm_NN_0p1", my_dgemm_NN_0p1, false, false, 0.0, 1.0},
    {"my_dgemm_NN_1p1", my_dgemm_NN_1p1, false, false, 1.0, 1.0},
    {"my_dgemm_NN_1m1", my_dgemm_NN_1m1, false, false, 1.0, -1.0},
    {"my_dgemm_NT_0p1", my_dgemm_NT_0p1, false, true, 0.0, 1.0},
    {"my_dgemm_NT_1m1", my_dgemm_NT_1m1, false, true, 1.0, -1.0},
    {"my_dgemm_TN_0p1", my_dgemm_TN_0p1, true, false, 0.0, 1.0},
    {"my_dgemm_TN_1p1", my_dgemm_TN_1p1, true, false, 1.0, 1.0},
    {"my_dgemm_TN_1m1", my_dgemm_TN_1m1, true, false, 1.0, -1.0},
    {"my_dgemm_TT_0p1", my_dgemm_TT_0p1, true, true, 0.0, 1.0},
};

Matrix operand(bool transpose, int32_t rows, int32_t columns, int32_t pad, std::mt19937_64& generator) {
  return transpose ? randomMatrix(columns, rows, pad, generator) : randomMatrix(rows, columns, pad, generator);
}

TEST(Dgemm, EveryVariantAtEverySize) {
  std::mt19937_64 generator(4321);
  for (const DgemmCase& test : DGEMM_CASES) {
    for (const Size& s : sizes()) {
      const Matrix a = operand(test.transA, s.m, s.k, s.pad, generator);
      const Matrix b = operand(test.transB, s.k, s.n, s.pad + 1, generator);
      Matrix c = randomMatrix(s.m, s.n, s.pad, generator);
      if (test.beta == 0.0) {
        for (int32_t j = 0; j < s.n; ++j) {
          for (int32_t i = 0; i < s.m; ++i) c.at(i, j) = QUIET_NAN;
        }
      }
      const Matrix want = reference(Part::FULL, test.beta, test.alpha, a, test.transA, b, test.transB, s.k, c);
      Guarded packA(packEntries(s.k));
      Guarded packB(packEntries(s.k));
      test.call(&s.m, &s.n, &s.k, a.data(), &a.ld, b.data(), &b.ld, c.data(), &c.ld, packA.data(), packB.data());
      expectClose(c, want, s.k, test.name);
      ASSERT_TRUE(packA.intact() && packB.intact()) << test.name << " k " << s.k;
    }
  }
}

TEST(Dgemm, DispatcherFollowsLettersAndScalarsOnly) {
  struct Choice {
    const char* transA;
    const char* transB;
    double alpha, beta;
    double takenAlpha, takenBeta;
  };
  const Choice choices[] = {
      {"N", "N", 1.0, 0.0, 1.0, 0.0},   {"N", "T", 1.0, 0.0, 1.0, 0.0},   {"N", "N", -1.0, 1.0, -1.0, 1.0},
      {"N", "T", -1.0, 1.0, -1.0, 1.0}, {"N", "N", 1.0, 1.0, -1.0, 1.0},  {"T", "N", 1.0, 0.0, 1.0, 0.0},
      {"T", "N", 1.0, 1.0, 1.0, 1.0},   {"T", "N", -1.0, 1.0, -1.0, 1.0}, {"T", "T", 1.0, 0.0, 1.0, 0.0},
      {"T", "T", -1.0, 1.0, 1.0, 0.0},
  };
  std::mt19937_64 generator(17);
  const int32_t m = 9, n = 7, k = 6;
  for (const Choice& choice : choices) {
    const bool transA = *choice.transA == 'T';
    const bool transB = *choice.transB == 'T';
    const Matrix a = operand(transA, m, k, 2, generator);
    const Matrix b = operand(transB, k, n, 1, generator);
    Matrix c = randomMatrix(m, n, 3, generator);
    const Matrix want = reference(Part::FULL, choice.takenBeta, choice.takenAlpha, a, transA, b, transB, k, c);
    Guarded packA(packEntries(k));
    Guarded packB(packEntries(k));
    my_dgemm(choice.transA, choice.transB, &m, &n, &k, &choice.alpha, a.data(), &a.ld, b.data(), &b.ld, &choice.beta,
             c.data(), &c.ld, packA.data(), packB.data());
    expectClose(c, want, k, choice.transA);
  }
}

TEST(Dgemm, EmptyInnerDimensionClearsOrKeeps) {
  const int32_t m = 5, n = 4, k = 0;
  const double one = 1.0, minusOne = -1.0, zero = 0.0;
  std::mt19937_64 generator(3);
  Matrix c = randomMatrix(m, n, 2, generator);
  const Matrix before = c;
  my_dgemm("N", "T", &m, &n, &k, &minusOne, nullptr, &m, nullptr, &n, &one, c.data(), &c.ld, nullptr, nullptr);
  EXPECT_EQ(c.store, before.store);
  my_dgemm("N", "T", &m, &n, &k, &one, nullptr, &m, nullptr, &n, &zero, c.data(), &c.ld, nullptr, nullptr);
  EXPECT_TRUE(c.marginsIntact());
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = 0; i < m; ++i) EXPECT_EQ(c.at(i, j), 0.0);
  }
}

TEST(Dgemm, KernelsOnPackedOperands) {
  std::mt19937_64 generator(5);
  for (int32_t kc : {0, 1, 17, 96}) {
    for (int32_t mc : {1, 8, 24, 31, 96}) {
      const int32_t n = 13;
      const Matrix a = randomMatrix(mc, kc, PACK_DIM - mc, generator);
      const Matrix b = randomMatrix(n, kc, PACK_DIM - n, generator);
      const Matrix c0 = randomMatrix(mc, n, 1, generator);
      Matrix c = c0;
      my_dgemm_kernel_plus(c.data(), c.ld, a.data(), b.data(), mc, n, kc);
      expectClose(c, reference(Part::FULL, 1.0, 1.0, a, false, b, true, kc, c0), kc, "my_dgemm_kernel_plus");
      c = c0;
      my_dgemm_kernel_minus(c.data(), c.ld, a.data(), b.data(), mc, n, kc);
      expectClose(c, reference(Part::FULL, 1.0, -1.0, a, false, b, true, kc, c0), kc, "my_dgemm_kernel_minus");
    }
  }
}

const int32_t TRIANGLE_ORDERS[] = {0,  1,  2,  3,  4,  5,  7,  8,  9,  15, 16, 17,
                                   24, 25, 31, 32, 33, 63, 64, 65, 95, 96, 97, 193};
const int32_t TRIANGLE_DEPTHS[] = {0, 1, 2, 3, 8, 31, 32, 33, 95, 96, 97, 200};

struct Syrk2Case {
  const char* name;
  void (*call)(const int32_t*, const int32_t*, const double*, const int32_t*, const double*, const int32_t*, double*,
               const int32_t*, double*, double*);
  Part part;
  double beta, alpha;
};

const Syrk2Case SYRK2_CASES[] = {
    {"my_dsyrk2_UNT_0p1", my_dsyrk2_UNT_0p1, Part::UPPER, 0.0, 1.0},
    {"my_dsyrk2_UNT_1m1", my_dsyrk2_UNT_1m1, Part::UPPER, 1.0, -1.0},
    {"my_dsyrk2_LNT_0p1", my_dsyrk2_LNT_0p1, Part::LOWER, 0.0, 1.0},
    {"my_dsyrk2_LNT_1m1", my_dsyrk2_LNT_1m1, Part::LOWER, 1.0, -1.0},
};

// The other triangle holds NaN: it must come back as it was.
void spoilOutside(Part part, Matrix* c) {
  for (int32_t j = 0; j < c->columns; ++j) {
    for (int32_t i = 0; i < c->rows; ++i) {
      if (!inside(part, i, j)) c->at(i, j) = QUIET_NAN;
    }
  }
}

TEST(Dsyrk2, EveryVariantKeepsTheOtherTriangle) {
  std::mt19937_64 generator(11);
  for (const Syrk2Case& test : SYRK2_CASES) {
    for (int32_t n : TRIANGLE_ORDERS) {
      for (int32_t k : TRIANGLE_DEPTHS) {
        if (n * k > 10000) continue;
        const Matrix a = randomMatrix(n, k, 1, generator);
        const Matrix b = randomMatrix(n, k, n == 65 ? 260 : 2, generator);
        Matrix c = randomMatrix(n, n, 3, generator);
        spoilOutside(test.part, &c);
        const Matrix want = reference(test.part, test.beta, test.alpha, a, false, b, true, k, c);
        Guarded packA(packEntries(k));
        Guarded packB(packEntries(k));
        test.call(&n, &k, a.data(), &a.ld, b.data(), &b.ld, c.data(), &c.ld, packA.data(), packB.data());
        expectClose(c, want, k, test.name);
        ASSERT_TRUE(packA.intact() && packB.intact()) << test.name;
      }
    }
  }
}

TEST(Dsyrk2, DispatcherTakesTheTriangleAndBeta) {
  std::mt19937_64 generator(12);
  const int32_t n = 11, k = 4;
  for (const char* uplo : {"L", "U"}) {
    for (double beta : {0.0, 1.0}) {
      const double alpha = beta == 0.0 ? 1.0 : -1.0;
      const Part part = *uplo == 'L' ? Part::LOWER : Part::UPPER;
      const Matrix a = randomMatrix(n, k, 0, generator);
      const Matrix b = randomMatrix(n, k, 0, generator);
      Matrix c = randomMatrix(n, n, 0, generator);
      spoilOutside(part, &c);
      const Matrix want = reference(part, beta, alpha, a, false, b, true, k, c);
      Guarded packA(packEntries(k));
      Guarded packB(packEntries(k));
      my_dsyrk2(uplo, &n, &k, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta, c.data(), &c.ld, packA.data(),
                packB.data());
      expectClose(c, want, k, uplo);
    }
  }
}

TEST(Dsyrk2, KernelsStayInTheirTriangle) {
  std::mt19937_64 generator(13);
  struct Kernel {
    void (*call)(double*, int32_t, const double*, const double*, int32_t, int32_t);
    Part part;
    double alpha;
  };
  const Kernel kernels[] = {{my_dsyrk2_kernel_upper_plus, Part::UPPER, 1.0},
                            {my_dsyrk2_kernel_upper_minus, Part::UPPER, -1.0},
                            {my_dsyrk2_kernel_lower_plus, Part::LOWER, 1.0},
                            {my_dsyrk2_kernel_lower_minus, Part::LOWER, -1.0}};
  for (const Kernel& kernel : kernels) {
    for (int32_t n : {0, 1, 5, 24, 29, 96}) {
      for (int32_t kc : {0, 1, 19, 96}) {
        const Matrix a = randomMatrix(n, kc, PACK_DIM - n, generator);
        const Matrix b = randomMatrix(n, kc, PACK_DIM - n, generator);
        Matrix c = randomMatrix(n, n, 1, generator);
        spoilOutside(kernel.part, &c);
        const Matrix want = reference(kernel.part, 1.0, kernel.alpha, a, false, b, true, kc, c);
        kernel.call(c.data(), c.ld, a.data(), b.data(), n, kc);
        expectClose(c, want, kc, "kernel");
      }
    }
  }
}

TEST(Dsyrk, EveryVariantKeepsTheOtherTriangle) {
  struct Case {
    const char* name;
    void (*call)(const int32_t*, const int32_t*, const double*, const int32_t*, double*, const int32_t*, double*);
    Part part;
    bool transpose;
    double beta, alpha;
  };
  const Case cases[] = {{"my_dsyrk_UT_0p1", my_dsyrk_UT_0p1, Part::UPPER, true, 0.0, 1.0},
                        {"my_dsyrk_UT_1m1", my_dsyrk_UT_1m1, Part::UPPER, true, 1.0, -1.0},
                        {"my_dsyrk_LN_0p1", my_dsyrk_LN_0p1, Part::LOWER, false, 0.0, 1.0},
                        {"my_dsyrk_LN_1m1", my_dsyrk_LN_1m1, Part::LOWER, false, 1.0, -1.0},
                        {"my_dsyrk_LT_1p1", my_dsyrk_LT_1p1, Part::LOWER, true, 1.0, 1.0}};
  std::mt19937_64 generator(14);
  for (const Case& test : cases) {
    for (int32_t n : TRIANGLE_ORDERS) {
      for (int32_t k : TRIANGLE_DEPTHS) {
        if (n * k > 10000) continue;
        const Matrix a = operand(test.transpose, n, k, n == 97 ? 260 : 1, generator);
        Matrix c = randomMatrix(n, n, 1, generator);
        spoilOutside(test.part, &c);
        const Matrix want = reference(test.part, test.beta, test.alpha, a, test.transpose, a, !test.transpose, k, c);
        Guarded pack(packEntries(k));
        test.call(&n, &k, a.data(), &a.ld, c.data(), &c.ld, pack.data());
        expectClose(c, want, k, test.name);
        ASSERT_TRUE(pack.intact()) << test.name;
      }
    }
  }
}

TEST(Dsyrk, LowerTransposedAccumulatesEvenForBetaZero) {
  std::mt19937_64 generator(15);
  const int32_t n = 6, k = 3;
  const double one = 1.0, zero = 0.0;
  const Matrix a = randomMatrix(k, n, 0, generator);
  Matrix c = randomMatrix(n, n, 0, generator);
  const Matrix want = reference(Part::LOWER, 1.0, 1.0, a, true, a, false, k, c);
  Guarded pack(packEntries(k));
  my_dsyrk("L", "T", &n, &k, &one, a.data(), &a.ld, &zero, c.data(), &c.ld, pack.data());
  expectClose(c, want, k, "LT");
}

TEST(Dsyrk, DispatcherIgnoresTranspositionOfTheUpperForm) {
  std::mt19937_64 generator(16);
  const int32_t n = 6, k = 6;
  const double minusOne = -1.0, one = 1.0, zero = 0.0;
  const Matrix a = randomMatrix(k, n, 0, generator);
  const Matrix c0 = randomMatrix(n, n, 0, generator);
  Guarded pack(packEntries(k));
  for (const char* trans : {"N", "T"}) {
    Matrix c = c0;
    my_dsyrk("U", trans, &n, &k, &minusOne, a.data(), &a.ld, &one, c.data(), &c.ld, pack.data());
    expectClose(c, reference(Part::UPPER, 1.0, -1.0, a, true, a, false, k, c0), k, trans);
    c = c0;
    my_dsyrk("U", trans, &n, &k, &one, a.data(), &a.ld, &zero, c.data(), &c.ld, pack.data());
    expectClose(c, reference(Part::UPPER, 0.0, 1.0, a, true, a, false, k, c0), k, trans);
    c = c0;
    const bool transposed = *trans == 'T';
    const double beta = transposed ? 1.0 : 0.0;
    my_dsyrk("L", trans, &n, &k, &one, a.data(), &a.ld, &beta, c.data(), &c.ld, pack.data());
    expectClose(c, reference(Part::LOWER, beta, 1.0, a, transposed, a, !transposed, k, c0), k, trans);
  }
}

TEST(Dsyr2k, LowerTriangleWithAnyScalars) {
  std::mt19937_64 generator(18);
  for (int32_t n : {0, 1, 5, 24, 97, 130}) {
    for (int32_t k : {0, 1, 7, 97}) {
      for (double alpha : {0.0, 1.0, -1.0, 0.75}) {
        for (double beta : {0.0, 1.0, -0.5}) {
          const Matrix a = randomMatrix(n, k, 1, generator);
          const Matrix b = randomMatrix(n, k, 2, generator);
          Matrix c = randomMatrix(n, n, 1, generator);
          spoilOutside(Part::LOWER, &c);
          if (beta == 0.0) {
            for (int32_t j = 0; j < n; ++j) c.at(j, j) = QUIET_NAN;
          }
          Matrix want = reference(Part::LOWER, beta, alpha, a, false, b, true, k, c);
          want = reference(Part::LOWER, 1.0, alpha, b, false, a, true, k, want);
          Guarded packA(packEntries(k));
          Guarded packB(packEntries(k));
          my_dsyr2k_L(&n, &k, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta, c.data(), &c.ld, packA.data(),
                      packB.data());
          expectClose(c, want, 2 * k, "my_dsyr2k_L");
          ASSERT_TRUE(packA.intact() && packB.intact());
        }
      }
    }
  }
}

TEST(Dsymm, ReadsTheLowerTriangleOnly) {
  std::mt19937_64 generator(19);
  for (int32_t m : {0, 1, 4, 31, 95, 96, 97, 193}) {
    for (int32_t n : {0, 1, 8, 33, 97}) {
      Matrix full(m, m, 1);
      full.fill(generator);
      for (int32_t j = 0; j < m; ++j) {
        for (int32_t i = 0; i < j; ++i) full.at(i, j) = full.at(j, i);
      }
      Matrix lower = full;
      spoilOutside(Part::LOWER, &lower);
      const Matrix b = randomMatrix(m, n, 1, generator);
      Matrix c(m, n, 2);
      const Matrix want = reference(Part::FULL, 0.0, 1.0, full, false, b, false, m, c);
      Guarded packA(packEntries(m));
      Guarded packB(packEntries(m));
      my_dsymm_LL_0p1(&m, &n, lower.data(), &lower.ld, b.data(), &b.ld, c.data(), &c.ld, packA.data(), packB.data());
      expectClose(c, want, m, "my_dsymm_LL_0p1");
      ASSERT_TRUE(packA.intact() && packB.intact());
    }
  }
}

// ---- The compiled forms of the tiles ----

struct Form {
  const char* name;
  TileProduct* call;
  TransposeCopy* transpose;
  bool available;
};

std::vector<Form> forms() {
  std::vector<Form> list = {{"plain", tileProductPlain, transposeCopyPlain, true}};
#if defined(__x86_64__)
  list.push_back({"avx2", tileProductAvx2, transposeCopyAvx2, tileFormOfProcessor() != TileForm::PLAIN});
  list.push_back({"avx512", tileProductAvx512, transposeCopyAvx512, tileFormOfProcessor() == TileForm::AVX512});
#endif
  return list;
}

TEST(TileProduct, EveryFormAgreesOnEveryRegion) {
  std::mt19937_64 generator(20);
  const Region regions[] = {Region::FULL, Region::LOWER, Region::UPPER};
  const Update updates[] = {Update::SET, Update::PLUS, Update::MINUS};
  for (const Form& form : forms()) {
    if (!form.available) {
      std::printf("form %s cannot run here\n", form.name);
      continue;
    }
    for (int32_t n = 0; n <= 50; ++n) {
      for (int32_t k : {1, 6}) {
        const Matrix a = randomMatrix(n, k, 1, generator);
        const Matrix b = randomMatrix(n, k, 2, generator);
        for (const Region region : regions) {
          for (const Update update : updates) {
            const Part part =
                region == Region::FULL ? Part::FULL : (region == Region::LOWER ? Part::LOWER : Part::UPPER);
            Matrix c = randomMatrix(n, n, 1, generator);
            spoilOutside(part, &c);
            const double beta = update == Update::SET ? 0.0 : 1.0;
            const double alpha = update == Update::MINUS ? -1.0 : 1.0;
            const Matrix want = reference(part, beta, alpha, a, false, b, true, k, c);
            form.call(region, update, n, n, k, asStored(a.data(), a.ld), transposed(b.data(), b.ld), c.data(), c.ld);
            expectClose(c, want, k, form.name);
          }
        }
      }
    }
  }
}

TEST(TileProduct, BitsDoNotDependOnAlignment) {
  std::mt19937_64 generator(21);
  const int32_t n = 37, k = 29;
  const Matrix a = randomMatrix(n, k, 0, generator);
  const Matrix b = randomMatrix(n, k, 0, generator);
  std::vector<double> first;
  for (int32_t shift = 0; shift < 8; ++shift) {
    std::vector<double> aMoved(a.store.size() + 8), c(static_cast<size_t>(n) * n + 8, 0.0);
    std::copy(a.data(), a.data() + static_cast<size_t>(n) * k, aMoved.begin() + shift);
    tileProduct(Region::LOWER, Update::SET, n, n, k, asStored(aMoved.data() + shift, n), transposed(b.data(), n),
                c.data() + shift, n);
    const std::vector<double> result(c.begin() + shift, c.begin() + shift + n * n);
    if (shift == 0) first = result;
    EXPECT_EQ(std::memcmp(first.data(), result.data(), first.size() * sizeof(double)), 0) << shift;
  }
}

TEST(TransposeCopy, EveryFormMovesEveryEntryAndNothingElse) {
  std::mt19937_64 generator(23);
  for (const Form& form : forms()) {
    if (!form.available) {
      std::printf("form %s cannot run here\n", form.name);
      continue;
    }
    for (int32_t rows = 0; rows <= 27; ++rows) {
      for (int32_t columns = 0; columns <= 27; ++columns) {
        const Matrix x = randomMatrix(columns, rows, 3, generator);  // its columns are the rows that are read
        const int64_t ld = rows + 2;
        Guarded to(ld * columns);
        std::fill_n(to.data(), ld * columns, 7.5);
        form.transpose(rows, columns, x.data(), x.ld, to.data(), ld);
        for (int32_t p = 0; p < columns; ++p) {
          for (int32_t i = 0; i < ld; ++i) ASSERT_EQ(to.data()[i + ld * p], i < rows ? x.at(p, i) : 7.5) << form.name;
        }
        ASSERT_TRUE(to.intact());
      }
    }
  }
}

TEST(PackBlock, BothOrdersAroundTheSquaresOfTheTransposition) {
  std::mt19937_64 generator(22);
  for (int32_t rows : {0, 1, 3, 4, 5, 7, 8, 9, 11, 12, 13, 95, 96}) {
    for (int32_t columns : {0, 1, 2, 7, 8, 9, 96}) {
      const Matrix x = randomMatrix(rows, columns, 1, generator);
      const Matrix y = randomMatrix(columns, rows, 1, generator);
      Guarded pack(int64_t{PACK_DIM} * columns);
      packBlock(asStored(x.data(), x.ld), rows, columns, pack.data());
      for (int32_t p = 0; p < columns; ++p) {
        for (int32_t i = 0; i < rows; ++i) ASSERT_EQ(pack.data()[i + PACK_DIM * p], x.at(i, p));
      }
      packBlock(transposed(y.data(), y.ld), rows, columns, pack.data());
      for (int32_t p = 0; p < columns; ++p) {
        for (int32_t i = 0; i < rows; ++i) ASSERT_EQ(pack.data()[i + PACK_DIM * p], y.at(p, i));
      }
      ASSERT_TRUE(pack.intact());
    }
  }
}

}  // namespace
