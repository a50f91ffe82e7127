// Levels 1 and 2 of the kernel layer against the BLAS and against sums in long double.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "dense/blas.h"
#include "dense/kernels.h"
#include "dense/matrix_tools.h"

using namespace qz;
using qztest::Matrix;
using qztest::randomMatrix;

namespace {

constexpr double QUIET_NAN = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

const int32_t LENGTHS[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 95, 96, 97, 200};
const int32_t INCREMENTS[] = {1, 2, -1, -3};

std::vector<double> randomVector(int32_t n, int32_t inc, std::mt19937_64& generator) {
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  std::vector<double> x(static_cast<size_t>(std::max(n, 1)) * static_cast<size_t>(std::abs(inc)) + 1);
  for (double& value : x) value = entry(generator);
  return x;
}

void expectNear(const std::vector<double>& got, const std::vector<double>& want, double bound, const char* what) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) ASSERT_LE(std::fabs(got[i] - want[i]), bound) << what << " entry " << i;
}

double rounding(int32_t n) {
  return 8.0 * (n + 2.0) * DBL_EPSILON;
}

// ---- Level 1 ----

TEST(LevelOne, AgreesWithTheBlasForEveryIncrement) {
  std::mt19937_64 generator(41);
  for (int32_t n : LENGTHS) {
    for (int32_t incx : INCREMENTS) {
      for (int32_t incy : INCREMENTS) {
        const std::vector<double> x = randomVector(n, incx, generator);
        const std::vector<double> y = randomVector(n, incy, generator);
        ASSERT_NEAR(my_ddot(&n, x.data(), &incx, y.data(), &incy), blas::ddot(n, x.data(), incx, y.data(), incy),
                    rounding(n));
        std::vector<double> got = y, want = y;
        my_dcopy(&n, x.data(), &incx, got.data(), &incy);
        blas::dcopy(n, x.data(), incx, want.data(), incy);
        ASSERT_EQ(got, want);
        for (double alpha : {0.0, 1.0, -1.0, 0.37}) {
          got = want = y;
          my_daxpy(&n, &alpha, x.data(), &incx, got.data(), &incy);
          blas::daxpy(n, alpha, x.data(), incx, want.data(), incy);
          expectNear(got, want, rounding(1), "my_daxpy");
        }
        std::vector<double> gotX = x, wantX = x;
        got = want = y;
        my_dswap(&n, gotX.data(), &incx, got.data(), &incy);
        blas::dswap(n, wantX.data(), incx, want.data(), incy);
        ASSERT_EQ(got, want);
        ASSERT_EQ(gotX, wantX);
        const double c = 0.6, s = -0.8;
        my_drot(&n, gotX.data(), &incx, got.data(), &incy, &c, &s);
        blas::drot(n, wantX.data(), incx, want.data(), incy, c, s);
        expectNear(got, want, rounding(1), "my_drot y");
        expectNear(gotX, wantX, rounding(1), "my_drot x");
      }
    }
  }
}

TEST(LevelOne, ScalingNormsAndLargestEntry) {
  std::mt19937_64 generator(42);
  for (int32_t n : LENGTHS) {
    for (int32_t incx : {1, 3}) {
      const std::vector<double> x = randomVector(n, incx, generator);
      long double squares = 0.0L, magnitudes = 0.0L;
      for (int32_t i = 0; i < n; ++i) {
        const long double value = x[static_cast<size_t>(i) * static_cast<size_t>(incx)];
        squares += value * value;
        magnitudes += std::fabs(value);
      }
      ASSERT_NEAR(my_dnrm2(&n, x.data(), &incx), static_cast<double>(std::sqrt(squares)), rounding(n));
      ASSERT_NEAR(my_dasum(&n, x.data(), &incx), static_cast<double>(magnitudes), rounding(n) * n);
      ASSERT_EQ(my_idamax(&n, x.data(), &incx), n == 0 ? 0 : blas::idamax(n, x.data(), incx));
      std::vector<double> got = x, want = x;
      const double alpha = -2.5;
      my_dscal(&n, &alpha, got.data(), &incx);
      blas::dscal(n, alpha, want.data(), incx);
      ASSERT_EQ(got, want);
    }
  }
}

TEST(LevelOne, LargestEntryTakesTheFirstOfEquals) {
  const double x[] = {1.0, -3.0, 3.0, 2.0};
  const int32_t n = 4, one = 1, none = 0;
  EXPECT_EQ(my_idamax(&n, x, &one), 2);
  EXPECT_EQ(my_idamax(&none, x, &one), 0);
  EXPECT_EQ(my_idamax(&n, x, &none), 0);
}

TEST(LevelOne, NormNeitherOverflowsNorVanishes) {
  const int32_t one = 1;
  for (double scale : {1e300, 1e-300, 1e-200, 1e160, 4.0 * std::numeric_limits<double>::min(), 1.0}) {
    const double x[] = {3.0 * scale, 0.0, -4.0 * scale};
    const int32_t n = 3;
    EXPECT_NEAR(my_dnrm2(&n, x, &one) / scale, 5.0, 1e-14) << scale;
  }
  const int32_t n = 2;
  const double zeros[] = {0.0, 0.0};
  const double infinite[] = {1.0, -INFINITE};
  const double notANumber[] = {1.0, QUIET_NAN};
  EXPECT_EQ(my_dnrm2(&n, zeros, &one), 0.0);
  EXPECT_EQ(my_dnrm2(&n, infinite, &one), INFINITE);
  EXPECT_TRUE(std::isnan(my_dnrm2(&n, notANumber, &one)));
}

TEST(LevelOne, RotationAnnihilatesAndCanBeReadBack) {
  const double values[] = {0.0, -0.0, 1.0, -1.0, 3.0, -4.0, 1e-160, 1e160, -2.5e-300, 1e300};
  for (double first : values) {
    for (double second : values) {
      double r = first, z = second, c = 9.0, s = 9.0;
      my_drotg(&r, &z, &c, &s);
      const double size = std::hypot(first, second);
      EXPECT_NEAR(c * c + s * s, 1.0, 1e-14);
      if (size == 0.0) {
        EXPECT_EQ(c, 1.0);
        EXPECT_EQ(s, 0.0);
        EXPECT_EQ(r, 0.0);
        EXPECT_EQ(z, 0.0);
        continue;
      }
      EXPECT_NEAR(std::fabs(r) / size, 1.0, 1e-14);
      EXPECT_NEAR((c * (first / size) + s * (second / size)) / (r / size), 1.0, 1e-14);
      EXPECT_NEAR(c * (second / size) - s * (first / size), 0.0, 1e-14);
      const double larger = std::fabs(first) > std::fabs(second) ? first : second;
      EXPECT_EQ(std::signbit(r), larger < 0.0);
      if (std::fabs(first) > std::fabs(second)) {
        EXPECT_EQ(z, s);
      } else {
        EXPECT_EQ(z, c == 0.0 ? 1.0 : 1.0 / c);
      }
    }
  }
}

// ---- Level 2 ----

TEST(LevelTwo, MatrixVectorProductSubtracts) {
  std::mt19937_64 generator(43);
  for (int32_t m : {0, 1, 3, 4, 5, 8, 33, 97}) {
    for (int32_t n : {0, 1, 3, 4, 5, 8, 33, 97}) {
      const Matrix a = randomMatrix(m, n, 2, generator);
      for (const char* trans : {"N", "T"}) {
        const bool plain = *trans == 'N';
        for (int32_t inc : {1, 2, -2}) {
          const int32_t incx = plain ? inc : 1;
          const int32_t incy = plain ? 1 : inc;
          for (double beta : {0.0, 1.0, -0.5}) {
            const std::vector<double> x = randomVector(plain ? n : m, incx, generator);
            std::vector<double> got = randomVector(plain ? m : n, incy, generator);
            if (beta == 0.0) {
              const int32_t length = plain ? m : n;
              for (int32_t i = 0; i < length; ++i) {
                got[static_cast<size_t>(i) * static_cast<size_t>(std::abs(incy))] = QUIET_NAN;
              }
            }
            std::vector<double> want = got;
            const double ignored = 17.0;
            my_dgemv(trans, &m, &n, &ignored, a.data(), &a.ld, x.data(), &incx, &beta, got.data(), &incy);
            if (m > 0 && n > 0) {
              blas::dgemv(trans, m, n, -1.0, a.data(), a.ld, x.data(), incx, beta, want.data(), incy);
            } else {
              const int32_t length = plain ? m : n;
              for (int32_t i = 0; i < length; ++i) {
                double& value = want[static_cast<size_t>(i) * static_cast<size_t>(std::abs(incy))];
                value = beta == 0.0 ? 0.0 : beta * value;
              }
            }
            expectNear(got, want, rounding(m + n), trans);
          }
        }
      }
    }
  }
}

Matrix solvable(int32_t n, int32_t pad, std::mt19937_64& generator) {
  Matrix a = randomMatrix(n, n, pad, generator);
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = 0; i < n; ++i) a.at(i, j) = i == j ? 1.5 + 0.5 * a.at(i, j) : a.at(i, j) / n;
  }
  return a;
}

TEST(LevelTwo, TriangularSolveByItsLetters) {
  std::mt19937_64 generator(44);
  struct Choice {
    const char* uplo;
    const char* trans;
    const char* diag;
    const char* takenTrans;
    const char* takenDiag;
  };
  const Choice choices[] = {{"L", "N", "N", "N", "N"}, {"L", "N", "U", "N", "U"}, {"L", "T", "N", "N", "N"},
                            {"U", "N", "N", "N", "N"}, {"U", "T", "N", "T", "N"}, {"U", "N", "U", "N", "N"}};
  for (int32_t n : LENGTHS) {
    const Matrix a = solvable(n, 1, generator);
    for (const Choice& choice : choices) {
      for (int32_t incx : INCREMENTS) {
        std::vector<double> got = randomVector(n, incx, generator);
        std::vector<double> want = got;
        my_dtrsv(choice.uplo, choice.trans, choice.diag, &n, a.data(), &a.ld, got.data(), &incx);
        blas::dtrsv(choice.uplo, choice.takenTrans, choice.takenDiag, n, a.data(), a.ld, want.data(), incx);
        expectNear(got, want, rounding(n), choice.uplo);
      }
    }
  }
}

TEST(LevelTwo, TriangularProducts) {
  std::mt19937_64 generator(45);
  struct Form {
    void (*call)(const char*, const int32_t*, const double*, const int32_t*, double*);
    const char* uplo;
    const char* trans;
  };
  const Form forms[] = {{my_dtrmv_ln_one, "L", "N"},
                        {my_dtrmv_lt_one, "L", "T"},
                        {my_dtrmv_un_one, "U", "N"},
                        {my_dtrmv_ut_one, "U", "T"}};
  for (int32_t n : LENGTHS) {
    const Matrix a = solvable(n, 1, generator);
    for (const Form& form : forms) {
      for (const char* diag : {"N", "U"}) {
        std::vector<double> got = randomVector(n, 1, generator);
        std::vector<double> want = got;
        form.call(diag, &n, a.data(), &a.ld, got.data());
        blas::dtrmv(form.uplo, form.trans, diag, n, a.data(), a.ld, want.data(), 1);
        expectNear(got, want, rounding(n), form.uplo);
      }
    }
  }
}

TEST(LevelTwo, SymmetricProductsFullAndPacked) {
  std::mt19937_64 generator(46);
  for (int32_t n : LENGTHS) {
    Matrix full = randomMatrix(n, n, 1, generator);
    for (const char* uplo : {"L", "U"}) {
      const bool lower = *uplo == 'L';
      Matrix a = full;
      std::vector<double> packed;
      for (int32_t j = 0; j < n; ++j) {
        for (int32_t i = 0; i < n; ++i) {
          if (lower ? i >= j : i <= j) {
            packed.push_back(a.at(i, j));
          } else {
            a.at(i, j) = QUIET_NAN;
          }
        }
      }
      for (int32_t incx : {1, -2}) {
        for (int32_t incy : {1, 3}) {
          for (double alpha : {0.0, 1.0, -0.75}) {
            for (double beta : {0.0, 1.0, 0.5}) {
              const std::vector<double> x = randomVector(n, incx, generator);
              const std::vector<double> y = randomVector(n, incy, generator);
              std::vector<double> want = y;
              if (n > 0) blas::dsymv(uplo, n, alpha, a.data(), a.ld, x.data(), incx, beta, want.data(), incy);
              std::vector<double> got = y;
              my_dsymv(uplo, &n, &alpha, a.data(), &a.ld, x.data(), &incx, &beta, got.data(), &incy);
              expectNear(got, want, rounding(n), "my_dsymv");
              got = y;
              my_dspmv(uplo, &n, &alpha, packed.data(), x.data(), &incx, &beta, got.data(), &incy);
              expectNear(got, want, rounding(n), "my_dspmv");
            }
          }
        }
      }
    }
  }
}

// ---- Rank updates, outer products, copies ----

void expectMatrix(const Matrix& got, const Matrix& want, double bound, const char* what) {
  ASSERT_TRUE(got.marginsIntact()) << what;
  for (int32_t j = 0; j < want.columns; ++j) {
    for (int32_t i = 0; i < want.rows; ++i) {
      ASSERT_LE(std::fabs(got.at(i, j) - want.at(i, j)), bound) << what << " at (" << i << ", " << j << ")";
    }
  }
}

TEST(RankUpdates, GeneralOfRankOneAndTwo) {
  std::mt19937_64 generator(47);
  for (int32_t m : {0, 1, 3, 4, 5, 32, 97}) {
    for (int32_t n : {0, 1, 3, 4, 5, 33}) {
      for (double alpha : {0.0, -1.0, 0.3}) {
        const std::vector<double> x = randomVector(m, 1, generator);
        const std::vector<double> x2 = randomVector(m, 1, generator);
        const Matrix a = randomMatrix(m, n, 2, generator);
        for (int32_t incy : INCREMENTS) {
          const std::vector<double> y = randomVector(n, incy, generator);
          Matrix want = a;
          if (m > 0 && n > 0) blas::dger(m, n, alpha, x.data(), 1, y.data(), incy, want.data(), want.ld);
          Matrix got = a;
          my_dger_xone(&m, &n, &alpha, x.data(), y.data(), &incy, got.data(), &got.ld);
          expectMatrix(got, want, rounding(1), "my_dger_xone");
          if (incy != 1) continue;
          got = a;
          my_dger_one(&m, &n, &alpha, x.data(), y.data(), got.data(), &got.ld);
          expectMatrix(got, want, rounding(1), "my_dger_one");
          const std::vector<double> y2 = randomVector(n, 1, generator);
          if (m > 0 && n > 0) blas::dger(m, n, alpha, x2.data(), 1, y2.data(), 1, want.data(), want.ld);
          got = a;
          my_dger2_one(&m, &n, &alpha, x.data(), y.data(), x2.data(), y2.data(), got.data(), &got.ld);
          expectMatrix(got, want, rounding(2), "my_dger2_one");
        }
      }
    }
  }
}

TEST(RankUpdates, SymmetricKeepTheOtherTriangle) {
  std::mt19937_64 generator(48);
  for (int32_t n : LENGTHS) {
    const Matrix a = randomMatrix(n, n, 1, generator);
    for (double alpha : {0.0, -1.0, 0.3}) {
      for (int32_t incx : INCREMENTS) {
        const std::vector<double> x = randomVector(n, incx, generator);
        for (const char* uplo : {"L", "U"}) {
          Matrix want = a;
          if (n > 0) blas::dsyr2(uplo, n, 0.5 * alpha, x.data(), incx, x.data(), incx, want.data(), want.ld);
          Matrix got = a;
          my_dsyr(uplo, &n, &alpha, x.data(), &incx, got.data(), &got.ld);
          expectMatrix(got, want, rounding(2), "my_dsyr");
        }
      }
      const std::vector<double> x = randomVector(n, 1, generator);
      const std::vector<double> y = randomVector(n, 1, generator);
      Matrix want = a;
      if (n > 0) blas::dsyr2("L", n, alpha, x.data(), 1, y.data(), 1, want.data(), want.ld);
      Matrix got = a;
      my_dsyr2_l_one(&n, &alpha, x.data(), y.data(), got.data(), &got.ld);
      expectMatrix(got, want, rounding(2), "my_dsyr2_l_one");
    }
  }
}

TEST(RankUpdates, EliminationStepScalesTheColumnAndUpdatesTheTriangle) {
  std::mt19937_64 generator(49);
  for (int32_t n : LENGTHS) {
    for (double pivot : {1.0, -2.0, 1e-3, -1e6}) {
      const double alpha = 1.0 / pivot;
      const std::vector<double> x0 = randomVector(n, 1, generator);
      const Matrix y0 = randomMatrix(n, n, 2, generator);
      std::vector<double> x = x0;
      Matrix y = y0;
      my_dsyr_dscal(&n, x.data(), y.data(), &alpha, &y.ld);
      ASSERT_TRUE(y.marginsIntact());
      for (int32_t j = 0; j < n; ++j) {
        ASSERT_EQ(x[static_cast<size_t>(j)], alpha * x0[static_cast<size_t>(j)]);
        for (int32_t i = 0; i < n; ++i) {
          const double want =
              i >= j ? y0.at(i, j) - static_cast<double>(static_cast<long double>(x0[static_cast<size_t>(i)]) *
                                                         x0[static_cast<size_t>(j)] / pivot)
                     : y0.at(i, j);
          ASSERT_LE(std::fabs(y.at(i, j) - want), rounding(1) * (1.0 + std::fabs(alpha))) << n;
        }
      }
      ASSERT_EQ(x.back(), x0.back());
    }
  }
}

TEST(RankUpdates, OuterProductAroundTheStripOfFour) {
  std::mt19937_64 generator(50);
  for (int32_t m : {0, 1, 2, 7, 33}) {
    for (int32_t n : {0, 1, 3, 4, 5, 8, 9}) {
      const std::vector<double> x = randomVector(m, 1, generator);
      const std::vector<double> y = randomVector(n, 1, generator);
      Matrix c(m, n, 0);
      my_outer_prod(&m, &n, x.data(), y.data(), c.data());
      ASSERT_TRUE(c.marginsIntact());
      for (int32_t j = 0; j < n; ++j) {
        for (int32_t i = 0; i < m; ++i) {
          ASSERT_EQ(c.at(i, j), x[static_cast<size_t>(i)] * y[static_cast<size_t>(j)]);
        }
      }
    }
  }
}

TEST(RankUpdates, CopyTakesBothLeadingDimensions) {
  std::mt19937_64 generator(51);
  for (int32_t m : {0, 1, 5, 32}) {
    for (int32_t n : {0, 1, 4}) {
      const Matrix a = randomMatrix(m, n, 3, generator);
      Matrix b(m, n, 1);
      my_copyMatrix(&m, &n, a.data(), &a.ld, b.data(), &b.ld);
      expectMatrix(b, a, 0.0, "my_copyMatrix");
    }
  }
}

}  // namespace
