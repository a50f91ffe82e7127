// The tile loops for processors with 256-bit vectors and fused multiply-add.
#include "dense/tile_product.h"

#if defined(__x86_64__)
#include <immintrin.h>

#pragma GCC target("avx2,fma")

namespace qz {

namespace {

struct Lanes {
  using Vec = __m256d;
  static constexpr int32_t WIDTH = 4;
  static constexpr int32_t ROWS = 3;
  static constexpr int32_t COLUMNS = 4;
  static Vec zero() { return _mm256_setzero_pd(); }
  static Vec spread(double x) { return _mm256_set1_pd(x); }
  static Vec load(const double* x) { return _mm256_loadu_pd(x); }
  static void store(double* x, Vec v) { _mm256_storeu_pd(x, v); }
  static Vec multiplyAdd(Vec sum, Vec x, Vec y) { return _mm256_fmadd_pd(x, y, sum); }
  static __m256i mask(int32_t from, int32_t to) {
    const __m256i lane = _mm256_setr_epi64x(0, 1, 2, 3);
    return _mm256_andnot_si256(_mm256_cmpgt_epi64(_mm256_set1_epi64x(from), lane),
                               _mm256_cmpgt_epi64(_mm256_set1_epi64x(to), lane));
  }
  static Vec loadLanes(const double* x, int32_t from, int32_t to) { return _mm256_maskload_pd(x, mask(from, to)); }
  static void storeLanes(double* x, Vec v, int32_t from, int32_t to) { _mm256_maskstore_pd(x, mask(from, to), v); }
  static void transpose(Vec* x) {
    const Vec even0 = _mm256_unpacklo_pd(x[0], x[1]);
    const Vec odd0 = _mm256_unpackhi_pd(x[0], x[1]);
    const Vec even1 = _mm256_unpacklo_pd(x[2], x[3]);
    const Vec odd1 = _mm256_unpackhi_pd(x[2], x[3]);
    x[0] = _mm256_permute2f128_pd(even0, even1, 0x20);
    x[1] = _mm256_permute2f128_pd(odd0, odd1, 0x20);
    x[2] = _mm256_permute2f128_pd(even0, even1, 0x31);
    x[3] = _mm256_permute2f128_pd(odd0, odd1, 0x31);
  }
};

#include "dense/tile_loops.h"

}  // namespace

void tileProductAvx2(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                     double* c, int64_t ldc) {
  walkTiles(region, update, m, n, k, a, b, c, ldc);
}

void transposeCopyAvx2(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo) {
  transposeBlocks(rows, columns, from, ldFrom, to, ldTo);
}

}  // namespace qz
#endif
