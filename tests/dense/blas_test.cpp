// The calls that go to the register tiles against the library behind them.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "dense/blas.h"
#include "dense/matrix_tools.h"

using namespace qz;
using qztest::Matrix;
using qztest::randomMatrix;

namespace {

const double ALPHAS[] = {1.0, -1.0, 0.5, 0.0};
const double BETAS[] = {0.0, 1.0, -0.5};
const int32_t SIZES[] = {0, 1, 5, 24, 33, 97};

void expectClose(const Matrix& got, const Matrix& want, double bound, const char* what) {
  ASSERT_TRUE(got.marginsIntact()) << what;
  for (int32_t j = 0; j < want.columns; ++j) {
    for (int32_t i = 0; i < want.rows; ++i) {
      ASSERT_LE(std::fabs(got.at(i, j) - want.at(i, j)), bound)
          << what << " " << want.rows << " by " << want.columns << " at (" << i << ", " << j << ")";
    }
  }
}

double rounding(int32_t k) {
  return 8.0 * (k + 2.0) * DBL_EPSILON;
}

TEST(Blas, ProductsForEveryLetterAndScalar) {
  std::mt19937_64 generator(71);
  for (const char* transA : {"N", "T"}) {
    for (const char* transB : {"N", "T"}) {
      for (int32_t m : SIZES) {
        for (int32_t n : SIZES) {
          for (int32_t k : {0, 1, 17, 98}) {
            const Matrix a = *transA == 'N' ? randomMatrix(m, k, 1, generator) : randomMatrix(k, m, 1, generator);
            const Matrix b = *transB == 'N' ? randomMatrix(k, n, 2, generator) : randomMatrix(n, k, 2, generator);
            const Matrix c = randomMatrix(m, n, 3, generator);
            for (double alpha : ALPHAS) {
              for (double beta : BETAS) {
                Matrix got = c, want = c;
                blas::dgemm(transA, transB, m, n, k, alpha, a.data(), a.ld, b.data(), b.ld, beta, got.data(), got.ld);
                dgemm_(transA, transB, &m, &n, &k, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta, want.data(),
                       &want.ld);
                expectClose(got, want, rounding(k), "dgemm");
              }
            }
          }
        }
      }
    }
  }
}

TEST(Blas, TrianglesForEveryLetterAndScalar) {
  std::mt19937_64 generator(72);
  for (const char* uplo : {"L", "U"}) {
    for (const char* trans : {"N", "T"}) {
      for (int32_t n : SIZES) {
        for (int32_t k : {0, 1, 17, 98}) {
          const Matrix a = *trans == 'N' ? randomMatrix(n, k, 1, generator) : randomMatrix(k, n, 1, generator);
          const Matrix c = randomMatrix(n, n, 3, generator);
          for (double alpha : ALPHAS) {
            for (double beta : BETAS) {
              Matrix got = c, want = c;
              blas::dsyrk(uplo, trans, n, k, alpha, a.data(), a.ld, beta, got.data(), got.ld);
              dsyrk_(uplo, trans, &n, &k, &alpha, a.data(), &a.ld, &beta, want.data(), &want.ld);
              expectClose(got, want, rounding(k), "dsyrk");
            }
          }
        }
      }
    }
  }
}

TEST(Blas, SolvesForEveryLetter) {
  std::mt19937_64 generator(73);
  for (const char* side : {"L", "R"}) {
    for (const char* uplo : {"L", "U"}) {
      for (const char* trans : {"N", "T"}) {
        for (const char* diag : {"N", "U"}) {
          for (int32_t m : SIZES) {
            for (int32_t n : SIZES) {
              const int32_t order = *side == 'L' ? m : n;
              Matrix a = randomMatrix(order, order, 1, generator);
              for (int32_t j = 0; j < order; ++j) {
                for (int32_t i = 0; i < order; ++i) {
                  if (i == j) {
                    a.at(i, j) = *diag == 'U' ? std::numeric_limits<double>::quiet_NaN() : 1.5 + 0.5 * a.at(i, j);
                  } else {
                    a.at(i, j) /= order;
                  }
                }
              }
              const Matrix b = randomMatrix(m, n, 2, generator);
              for (double alpha : {1.0, -2.0}) {
                Matrix got = b, want = b;
                blas::dtrsm(side, uplo, trans, diag, m, n, alpha, a.data(), a.ld, got.data(), got.ld);
                dtrsm_(side, uplo, trans, diag, &m, &n, &alpha, a.data(), &a.ld, want.data(), &want.ld);
                expectClose(got, want, rounding(4 * order), "dtrsm");
              }
            }
          }
        }
      }
    }
  }
}

}  // namespace
