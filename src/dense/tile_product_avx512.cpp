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
  static Vec evenLanes(Vec x, Vec y) { return __builtin_shufflevector(x, y, 0, 8, 2, 10, 4, 12, 6, 14); }
  static Vec oddLanes(Vec x, Vec y) { return __builtin_shufflevector(x, y, 1, 9, 3, 11, 5, 13, 7, 15); }
  static Vec evenPairs(Vec x, Vec y) { return __builtin_shufflevector(x, y, 0, 1, 4, 5, 8, 9, 12, 13); }
  static Vec oddPairs(Vec x, Vec y) { return __builtin_shufflevector(x, y, 2, 3, 6, 7, 10, 11, 14, 15); }
  // Entries of neighbouring rows meet, then pairs of entries, twice.
  static void transpose(Vec* x) {
    Vec met[WIDTH];
#pragma GCC unroll 4
    for (int32_t r = 0; r < WIDTH; r += 2) {
      met[r] = evenLanes(x[r], x[r + 1]);
      met[r + 1] = oddLanes(x[r], x[r + 1]);
    }
#pragma GCC unroll 2
    for (int32_t c = 0; c < 2; ++c) {
      const Vec top0 = evenPairs(met[c], met[c + 2]);
      const Vec top1 = oddPairs(met[c], met[c + 2]);
      const Vec bottom0 = evenPairs(met[c + 4], met[c + 6]);
      const Vec bottom1 = oddPairs(met[c + 4], met[c + 6]);
      x[c] = evenPairs(top0, bottom0);
      x[c + 2] = evenPairs(top1, bottom1);
      x[c + 4] = oddPairs(top0, bottom0);
      x[c + 6] = oddPairs(top1, bottom1);
    }
  }
};

#include "dense/tile_loops.h"

}  // namespace

void tileProductAvx512(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a,
                       const Operand& b, double* c, int64_t ldc) {
  walkTiles(region, update, m, n, k, a, b, c, ldc);
}

void transposeCopyAvx512(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo) {
  transposeBlocks(rows, columns, from, ldFrom, to, ldTo);
}

}  // namespace qz
#endif
