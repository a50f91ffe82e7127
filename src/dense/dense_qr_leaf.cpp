// The leaves of the QR recursion: up to four reflectors at once, one pass over a column for all its dot products.
#include <cstdint>

#include "dense/clones.h"
#include "dense/dense_qr.h"
#include "dense/dense_qr_reflector.h"

namespace qz {

namespace {

constexpr int32_t kLeaf = kQRLeafWidth;

// dots[j] = x' y_j over `rows` rows for the K columns at y; each sum in eight parts, so that it runs on vectors.
template <int K>
QZ_CLONES void dotColumns(int64_t rows, const double* __restrict x, const double* __restrict y, int64_t ldy,
                          double* __restrict dots) {
  constexpr int kParts = 8;
  double sums[K][kParts] = {};
  int64_t i = 0;
  for (; i + kParts <= rows; i += kParts)
    for (int j = 0; j < K; ++j)
      for (int p = 0; p < kParts; ++p) sums[j][p] += x[i + p] * y[i + p + j * ldy];
  for (int j = 0; j < K; ++j) {
    for (int64_t r = i; r < rows; ++r) sums[j][0] += x[r] * y[r + j * ldy];
    dots[j] = ((sums[j][0] + sums[j][1]) + (sums[j][2] + sums[j][3])) +
              ((sums[j][4] + sums[j][5]) + (sums[j][6] + sums[j][7]));
  }
}

void dotColumnsOf(int32_t count, int64_t rows, const double* x, const double* y, int64_t ldy, double* dots) {
  switch (count) {
    case 1:
      dotColumns<1>(rows, x, y, ldy, dots);
      break;
    case 2:
      dotColumns<2>(rows, x, y, ldy, dots);
      break;
    case 3:
      dotColumns<3>(rows, x, y, ldy, dots);
      break;
    case 4:
      dotColumns<4>(rows, x, y, ldy, dots);
      break;
    default:
      break;
  }
}

// y := y - sum of scale[j] v_j over `rows` rows.
template <int K>
QZ_CLONES void subtractColumns(int64_t rows, const double* __restrict v, int64_t ldv, const double* __restrict scale,
                               double* __restrict y) {
  for (int64_t i = 0; i < rows; ++i) {
    double sum = scale[0] * v[i];
    for (int j = 1; j < K; ++j) sum += scale[j] * v[i + j * ldv];
    y[i] -= sum;
  }
}

// Column j of T: T(0:j, j) = -tau_j T(0:j, 0:j) (V'v_j), the products given in `dots`.
void formColumnOfT(int32_t j, double tau, const double* dots, double* t, int64_t ldt) {
  double* column = t + j * ldt;
  for (int32_t i = 0; i < j; ++i) {
    double sum = 0.0;
    for (int32_t l = i; l < j; ++l) sum += t[i + l * ldt] * dots[l];
    column[i] = -tau * sum;
  }
  column[j] = tau;
}

// dots[i] = v_i'v_j for the i < j, the part of v_j above row `top` entry by entry: v_j is 0 above row j and 1 in it.
void dotEarlier(int32_t j, int32_t top, const double* v, int64_t ldv, double* dots) {
  for (int32_t i = 0; i < j; ++i) {
    const double* vi = v + i * ldv;
    const double* vj = v + j * ldv;
    for (int32_t r = j; r < top; ++r) dots[i] += vi[r] * (r == j ? 1.0 : vj[r]);
  }
}

// One column of c: w = V'c, w := T'w, c -= V w.
template <int K>
void reflectColumn(int32_t m, const double* v, int64_t ldv, const double* t, int64_t ldt, double* c, double* w) {
  dotColumns<K>(m - K, c + K, v + K, ldv, w);
  for (int j = 0; j < K; ++j) {
    w[j] += c[j];
    for (int r = j + 1; r < K; ++r) w[j] += v[r + j * ldv] * c[r];
  }
  for (int j = K - 1; j >= 0; --j) {
    double sum = 0.0;
    for (int i = 0; i <= j; ++i) sum += t[i + j * ldt] * w[i];
    w[j] = sum;
  }
  for (int j = 0; j < K; ++j) {
    c[j] -= w[j];
    for (int r = j + 1; r < K; ++r) c[r] -= v[r + j * ldv] * w[j];
  }
  subtractColumns<K>(m - K, v + K, ldv, w, c + K);
}

template <int K>
void reflectColumns(int32_t m, int32_t n, const double* v, int32_t ldv, const double* t, int32_t ldt, double* c,
                    int32_t ldc, double* work) {
  for (int32_t j = 0; j < n; ++j) reflectColumn<K>(m, v, ldv, t, ldt, c + static_cast<int64_t>(j) * ldc, work);
}

}  // namespace

void dqra4(int32_t m, int32_t n, int32_t wantT, double* a, int32_t lda, double* tau, double* t, int32_t ldt,
           double* work, double* bottom) {
  const int64_t ld = lda;
  const int64_t below = m - n;
  for (int32_t j = 0; j < n; ++j) {
    double* v = a + j * ld;
    my_dlarfg(m - j, v + j, v + j + 1, tau + j);
    // The dot products of the reflector with the columns before it, for T, and with those behind it.
    double dots[kLeaf] = {};
    dotColumnsOf(n, below, bottom + j * ld, bottom, ld, dots);
    if (wantT != 0) {
      for (int32_t i = 0; i < j; ++i) work[i] = dots[i];
      dotEarlier(j, n, a, ld, work);
      formColumnOfT(j, tau[j], work, t, ldt);
    }
    for (int32_t l = j + 1; l < n; ++l) {
      double* c = a + l * ld;
      double product = dots[l] + c[j];
      for (int32_t r = j + 1; r < n; ++r) product += v[r] * c[r];
      const double scale = tau[j] * product;
      c[j] -= scale;
      for (int32_t r = j + 1; r < n; ++r) c[r] -= v[r] * scale;
      subtractColumns<1>(below, bottom + j * ld, ld, &scale, bottom + l * ld);
    }
  }
}

void dqru4(int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t, int32_t ldt, double* c,
           int32_t ldc, double* work) {
  switch (k) {
    case 1:
      reflectColumns<1>(m, n, v, ldv, t, ldt, c, ldc, work);
      break;
    case 2:
      reflectColumns<2>(m, n, v, ldv, t, ldt, c, ldc, work);
      break;
    case 3:
      reflectColumns<3>(m, n, v, ldv, t, ldt, c, ldc, work);
      break;
    case 4:
      reflectColumns<4>(m, n, v, ldv, t, ldt, c, ldc, work);
      break;
    default:
      break;
  }
}

void dlarft4(int32_t m, int32_t k, const double* v, int32_t ldv, const double* tau, double* t, int32_t ldt) {
  const int64_t ld = ldv;
  double dots[kLeaf] = {};
  for (int32_t j = 0; j < k; ++j) {
    dotColumnsOf(j, m - k, v + k + j * ld, v + k, ld, dots);
    dotEarlier(j, k, v, ld, dots);
    formColumnOfT(j, tau[j], dots, t, ldt);
  }
}

}  // namespace qz
