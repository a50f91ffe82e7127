#include "dense/tile_product.h"

#include <cstring>

namespace qz {

namespace {

struct Lanes {
  typedef double Vec __attribute__((vector_size(16)));
  static constexpr int32_t WIDTH = 2;
  static constexpr int32_t ROWS = 2;
  static constexpr int32_t COLUMNS = 4;
  static Vec zero() { return Vec{0.0, 0.0}; }
  static Vec spread(double x) { return Vec{x, x}; }
  static Vec load(const double* x) {
    Vec v;
    std::memcpy(&v, x, sizeof v);
    return v;
  }
  static void store(double* x, Vec v) { std::memcpy(x, &v, sizeof v); }
  static Vec multiplyAdd(Vec sum, Vec x, Vec y) { return sum + x * y; }
  static Vec loadLanes(const double* x, int32_t from, int32_t to) {
    return Vec{from <= 0 && to > 0 ? x[0] : 0.0, from <= 1 && to > 1 ? x[1] : 0.0};
  }
  static void storeLanes(double* x, Vec v, int32_t from, int32_t to) {
    for (int32_t lane = from; lane < to; ++lane) x[lane] = v[lane];
  }
  static void transpose(Vec* x) {
    const Vec even = {x[0][0], x[1][0]};
    x[1] = Vec{x[0][1], x[1][1]};
    x[0] = even;
  }
};

#include "dense/tile_loops.h"

}  // namespace

void tileProductPlain(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                      double* c, int64_t ldc) {
  walkTiles(region, update, m, n, k, a, b, c, ldc);
}

void transposeCopyPlain(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo) {
  transposeBlocks(rows, columns, from, ldFrom, to, ldTo);
}

TileForm tileFormOfProcessor() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
    const bool wide = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
    return wide ? TileForm::AVX512 : TileForm::AVX2;
  }
#endif
  return TileForm::PLAIN;
}

void tileProduct(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                 double* c, int64_t ldc) {
#if defined(__x86_64__)
  const TileForm form = tileFormOfProcessor();
  if (form == TileForm::AVX512) {
    tileProductAvx512(region, update, m, n, k, a, b, c, ldc);
    return;
  }
  if (form == TileForm::AVX2) {
    tileProductAvx2(region, update, m, n, k, a, b, c, ldc);
    return;
  }
#endif
  tileProductPlain(region, update, m, n, k, a, b, c, ldc);
}

void transposeCopy(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo) {
#if defined(__x86_64__)
  const TileForm form = tileFormOfProcessor();
  if (form == TileForm::AVX512) {
    transposeCopyAvx512(rows, columns, from, ldFrom, to, ldTo);
    return;
  }
  if (form == TileForm::AVX2) {
    transposeCopyAvx2(rows, columns, from, ldFrom, to, ldTo);
    return;
  }
#endif
  transposeCopyPlain(rows, columns, from, ldFrom, to, ldTo);
}

}  // namespace qz
