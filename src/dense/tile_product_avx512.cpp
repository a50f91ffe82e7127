// The tile loops for processors with 512-bit vectors and lane masks.
#include "dense/tile_product.h"

#if defined(__x86_64__)
#include <immintrin.h>

#pragma GCC target("avx512f,avx512vl,avx512dq,avx512bw,avx2,fma")

namespace qz {

namespace {

struct Lanes {
  using Vec = __m512d;
  static constexpr int32_t WIDTH = 8;
  static constexpr int32_t ROWS = 3;
  static constexpr int32_t COLUMNS = 8;
  static Vec zero() { return _mm512_setzero_pd(); }
  static Vec spread(double x) { return _mm512_set1_pd(x); }
  static Vec load(const double* x) { return _mm512_loadu_pd(x); }
  static void store(double* x, Vec v) { _mm512_storeu_pd(x, v); }
  static Vec multiplyAdd(Vec sum, Vec x, Vec y) { return _mm512_fmadd_pd(x, y, sum); }
  static __mmask8 mask(int32_t from, int32_t to) {
    return static_cast<__mmask8>(((1U << to) - 1U) & ~((1U << from) - 1U));
  }
  static Vec loadLanes(const double* x, int32_t from, int32_t to) { return _mm512_maskz_loadu_pd(mask(from, to), x); }
  static void storeLanes(double* x, Vec v, int32_t from, int32_t to) { _mm512_mask_storeu_pd(x, mask(from, to), v); }
};

#include "dense/tile_loops.h"

}  // namespace

void tileProductAvx512(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a,
                       const Operand& b, double* c, int64_t ldc) {
  walkTiles(region, update, m, n, k, a, b, c, ldc);
}

}  // namespace qz
#endif
