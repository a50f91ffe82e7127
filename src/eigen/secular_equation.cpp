#include "eigen/secular_equation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "eigen/dense_eigen.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

// f at a point, split between the poles up to `p` (psi <= 0) and those behind it (phi >= 0, left of the last root too).
struct Value {
  double w;  // f
  double psi;
  double phi;
  double slope;  // f'
  double slopeLeft;
  double slopeRight;
  double bound;  // |error of w| is below 2^-53 of it
};

// One root: the poles p and p + 1 that the interpolation uses, the origin among them, and the bracket of tau.
struct Search {
  int32_t k;
  int32_t p;
  int32_t origin;
  bool last;  // the root lies right of all poles
  const double* z;
  const double* shifted;  // d_j - d_origin
  double rhoInverse;
  double low;
  double high;
};

Value evaluate(const Search& s, double tau) {
  double psi = 0.0, phi = 0.0, slopeLeft = 0.0, slopeRight = 0.0, partial = 0.0;
  for (int32_t j = 0; j <= s.p; ++j) {
    const double quotient = s.z[j] / (s.shifted[j] - tau);
    psi += s.z[j] * quotient;
    slopeLeft += quotient * quotient;
    partial += std::fabs(psi);
  }
  for (int32_t j = s.k - 1; j > s.p; --j) {
    const double quotient = s.z[j] / (s.shifted[j] - tau);
    phi += s.z[j] * quotient;
    slopeRight += quotient * quotient;
    partial += std::fabs(phi);
  }
  const double slope = slopeLeft + slopeRight;
  const double bound = 8.0 * (std::fabs(phi) + std::fabs(psi)) + partial + s.rhoInverse + std::fabs(tau) * slope;
  return {s.rhoInverse + phi + psi, psi, phi, slope, slopeLeft, slopeRight, bound};
}

// The root of c x^2 - a x + b = 0 that belongs to the interval between the two poles.
double innerRoot(double a, double b, double c) {
  if (c == 0.0) return b / a;
  const double root = std::sqrt(std::fabs(a * a - 4.0 * b * c));
  return a <= 0.0 ? (a - root) / (2.0 * c) : 2.0 * b / (a + root);
}

// The one right of both poles.
double outerRoot(double a, double b, double c) {
  if (c == 0.0) return b / a;
  const double root = std::sqrt(std::fabs(a * a - 4.0 * b * c));
  return a >= 0.0 ? (a + root) / (2.0 * c) : 2.0 * b / (a - root);
}

// The middle of the bracket, which lies on one side of 0: in magnitude when its ends differ by more than a factor.
double middleOf(const Search& s) {
  const double ratio = s.low / s.high;
  if (ratio >= 0.25 && ratio <= 4.0) return 0.5 * (s.low + s.high);
  return std::copysign(std::sqrt(std::fabs(s.low)) * std::sqrt(std::fabs(s.high)), s.high);
}

bool inside(const Search& s, double tau) {
  return tau > s.low && tau < s.high;
}

double square(double x) {
  return x * x;
}

// f without the terms of the poles p and p + 1.
double restOf(const Search& s, double w, double tau) {
  return w - square(s.z[s.p]) / (s.shifted[s.p] - tau) - square(s.z[s.p + 1]) / (s.shifted[s.p + 1] - tau);
}

void shiftTo(const double* d, int32_t origin, Search* s, double* shifted) {
  s->origin = origin;
  for (int32_t j = 0; j < s->k; ++j) shifted[j] = d[j] - d[origin];
}

// The middle of the interval decides on the origin and halves the bracket. On the side of the origin the bracket ends
// where the pole's own term alone would outweigh all terms of the other sign, with a factor 2 for rounding. The
// two-pole model with everything else frozen in the middle gives the first guess. Returns tau.
double startInterior(const double* d, Search* s, double* shifted) {
  const int32_t p = s->p;
  const double gap = d[p + 1] - d[p];
  shiftTo(d, p, s, shifted);
  const Value f = evaluate(*s, 0.5 * gap);
  const double rest = restOf(*s, f.w, 0.5 * gap);
  const double left = square(s->z[p]);
  const double right = square(s->z[p + 1]);
  double tau = 0.0;
  if (f.w >= 0.0) {
    s->low = std::min(0.5 * left / (s->rhoInverse + f.phi), 0.25 * gap);
    s->high = 0.5 * gap;
    tau = innerRoot(rest * gap + left + right, left * gap, rest);
  } else {
    shiftTo(d, p + 1, s, shifted);
    s->low = -0.5 * gap;
    s->high = std::max(0.5 * right / f.psi, -0.25 * gap);
    tau = innerRoot(left + right - rest * gap, -right * gap, rest);
  }
  return inside(*s, tau) ? tau : middleOf(*s);
}

double startLast(const double* d, double rho, Search* s, double* shifted) {
  const int32_t p = s->p;
  const double gap = d[p + 1] - d[p];
  shiftTo(d, p + 1, s, shifted);
  double weight = 0.0;
  for (int32_t j = 0; j < s->k; ++j) weight += square(s->z[j]);
  const double left = square(s->z[p]);
  const double right = square(s->z[p + 1]);
  // The root is not left of rho z_k-1^2, where the last term alone outweighs 1 / rho, nor right of rho |z|^2, where no
  // term is above z_j^2 / tau; with margins for rounding.
  const double near = 0.5 * rho * right;
  const double far = rho * weight * (1.0 + 8.0 * s->k * kUnitRoundoff);
  const double middle = 0.5 * far;
  const double w = evaluate(*s, middle).w;
  s->low = w <= 0.0 ? middle : std::min(near, 0.5 * middle);
  s->high = w <= 0.0 ? far : middle;
  const double rest = restOf(*s, w, middle);
  const double tau = outerRoot(left + right - rest * gap, -right * gap, rest);
  return inside(*s, tau) ? tau : middleOf(*s);
}

// The step of the two-pole interpolation at tau, c + A / (left - x) + B / (right - x) with value w and slope f' at 0.
// Middle way: each pole stands for the slope of its side. Fixed weight: the pole at the origin keeps its own weight.
double interpolate(const Search& s, const Value& f, double tau, bool middleWay) {
  const double left = s.shifted[s.p] - tau;
  const double right = s.shifted[s.p + 1] - tau;
  const double a = (left + right) * f.w - left * right * f.slope;
  const double b = left * right * f.w;
  if (s.last) return outerRoot(a, b, std::fabs(f.w - left * f.slopeLeft - right * f.slopeRight));
  const double gap = s.shifted[s.p + 1] - s.shifted[s.p];
  double c = 0.0;
  if (middleWay) {
    c = f.w - left * f.slopeLeft - right * f.slopeRight;
  } else if (s.origin == s.p) {
    c = f.w - right * f.slope + gap * square(s.z[s.p] / left);
  } else {
    c = f.w - left * f.slope - gap * square(s.z[s.p + 1] / right);
  }
  return innerRoot(a, b, c);
}

// Interpolates, and changes the way whenever |f| has not fallen below a tenth. Where poles just outside the interval
// mislead both ways, every third step halves the bracket.
int32_t iterate(Search* s, double* tau) {
  Value f = evaluate(*s, *tau);
  bool middleWay = false;
  int32_t slowSteps = 0;
  for (int32_t iteration = 0; std::fabs(f.w) > kUnitRoundoff * f.bound; ++iteration) {
    if (iteration == kSecularIterations || std::isnan(f.w)) return kEigenFailed;
    (f.w < 0.0 ? s->low : s->high) = *tau;
    double step = interpolate(*s, f, *tau, middleWay);
    if (!(f.w * step < 0.0)) step = -f.w / f.slope;
    const bool halve = slowSteps >= 2 || !inside(*s, *tau + step);
    *tau = halve ? middleOf(*s) : *tau + step;
    const double previous = std::fabs(f.w);
    f = evaluate(*s, *tau);
    const bool slow = std::fabs(f.w) > 0.1 * previous;
    if (slow) middleWay = !middleWay;
    slowSteps = slow && !halve ? slowSteps + 1 : 0;
  }
  return kEigenOK;
}

// k = 2: the quadratic itself, from the pole that is nearer to the root. Returns tau.
double solvePair(int32_t i, const double* d, const double* z, double rho, int32_t* origin) {
  const double gap = d[1] - d[0];
  const double left = rho * square(z[0]);
  const double right = rho * square(z[1]);
  if (i == 0 && 1.0 + 2.0 * (right - left) / gap > 0.0) {
    *origin = 0;
    return innerRoot(gap + left + right, left * gap, 1.0);
  }
  *origin = 1;
  const double a = left + right - gap;
  return i == 0 ? innerRoot(a, -right * gap, 1.0) : outerRoot(a, -right * gap, 1.0);
}

// z_j from the roots: z_j^2 = prod_i (root_i - d_j) / prod_{i != j} (d_i - d_j), the sign from the old z. The constant
// factor is left out: the vectors are normalised.
void recomputeWeights(int32_t k, const double* dlamda, const double* delta, int32_t ld, double* z) {
  for (int32_t j = 0; j < k; ++j) {
    double product = delta[j + static_cast<int64_t>(j) * ld];
    for (int32_t i = 0; i < k; ++i)
      if (i != j) product *= delta[j + static_cast<int64_t>(i) * ld] / (dlamda[j] - dlamda[i]);
    z[j] = std::copysign(std::sqrt(std::fabs(product)), z[j]);
  }
}

// Column i of delta becomes the vector z_j / (d_j - root_i), normalised, in grouped order.
void formVectors(int32_t k, const double* z, const int32_t* order, double* q, int32_t ldq, double* vector) {
  for (int32_t i = 0; i < k; ++i) {
    double* column = q + static_cast<int64_t>(i) * ldq;
    for (int32_t j = 0; j < k; ++j) vector[j] = z[j] / column[j];
    const double norm = blas::dnrm2(k, vector, 1);
    for (int32_t g = 0; g < k; ++g) column[g] = vector[order[g]] / norm;
  }
}

// `rows` rows of q := half (rows by width) times the rows `first` to first + width - 1 of the small vectors.
void multiplyHalf(int32_t rows, int32_t width, int32_t k, const double* half, const double* small, double* target,
                  int32_t ldq) {
  if (width == 0) {
    for (int32_t j = 0; j < k; ++j) std::fill_n(target + static_cast<int64_t>(j) * ldq, rows, 0.0);
  } else {
    blas::dgemm("N", "N", rows, k, width, 1.0, half, rows, small, width, 0.0, target, ldq);
  }
}

void copyRows(int32_t first, int32_t count, int32_t k, const double* q, int32_t ldq, double* small) {
  for (int32_t j = 0; j < k; ++j)
    std::copy_n(q + first + static_cast<int64_t>(j) * ldq, count, small + static_cast<int64_t>(j) * count);
}

}  // namespace

int32_t solveSecularRoot(int32_t k, int32_t i, const double* d, const double* z, double rho, double* delta,
                         double* root) {
  double tau = 0.0;
  int32_t origin = 0;
  if (k == 1) {
    tau = rho * square(z[0]);
    delta[0] = 0.0;
  } else if (k == 2) {
    tau = solvePair(i, d, z, rho, &origin);
    for (int32_t j = 0; j < k; ++j) delta[j] = d[j] - d[origin];
  } else {
    Search search{};
    search.k = k;
    search.last = i == k - 1;
    search.p = std::min(i, k - 2);
    search.z = z;
    search.shifted = delta;
    search.rhoInverse = 1.0 / rho;
    tau = search.last ? startLast(d, rho, &search, delta) : startInterior(d, &search, delta);
    const int32_t status = iterate(&search, &tau);
    if (status != kEigenOK) return status;
    origin = search.origin;
  }
  for (int32_t j = 0; j < k; ++j) delta[j] -= tau;
  *root = d[origin] + tau;
  return kEigenOK;
}

int32_t SolveSecularEquation(int32_t k, int32_t n, int32_t n1, double* d, double* q, int32_t ldq, double rho,
                             const double* dlamda, double* z, const SecularGroups& groups, double* work) {
  for (int32_t i = 0; i < k; ++i) {
    const int32_t status = solveSecularRoot(k, i, dlamda, z, rho, q + static_cast<int64_t>(i) * ldq, d + i);
    if (status != kEigenOK) return status;
  }
  if (k == 1) {
    q[0] = 1.0;
  } else {
    recomputeWeights(k, dlamda, q, ldq, z);
    formVectors(k, z, groups.order, q, ldq, work);
  }
  // The lower half first: its rows of q lie behind those from which the upper half is formed.
  const int32_t widthTop = groups.topOnly + groups.mixed;
  const int32_t widthBottom = groups.mixed + groups.bottomOnly;
  copyRows(groups.topOnly, widthBottom, k, q, ldq, work);
  multiplyHalf(n - n1, widthBottom, k, groups.bottom, work, q + n1, ldq);
  copyRows(0, widthTop, k, q, ldq, work);
  multiplyHalf(n1, widthTop, k, groups.top, work, q, ldq);
  return kEigenOK;
}

}  // namespace qz
