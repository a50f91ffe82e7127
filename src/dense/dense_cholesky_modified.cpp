// The modified Cholesky forms: a diagonal perturbation makes an indefinite matrix factor.
#include <algorithm>
#include <cmath>

#include "dense/dense_cholesky.h"
#include "dense/dense_cholesky_halves.h"
#include "dense/kernels.h"

namespace qz {

namespace {

constexpr double kSmallestPivotGMW = 1e-10;

// Of Schnabel and Eskow 1999: tau, tau-bar and mu, and the floor under a perturbed pivot.
constexpr double kTau = kThirdRootEpsilon;
constexpr double kTauBar = 2.309972554166164e-11;  // the machine precision to the power 2/3
constexpr double kMu = 0.1;
constexpr double kPivotFloor = 1.053671212772351e-08;

double* diagonalOf(double* a, int32_t lda, int32_t j) {
  return a + j + static_cast<int64_t>(j) * lda;
}

void factorGMW81Unblocked(int32_t n, double* a, int32_t lda, double* e, double betaSquared) {
  const int32_t one = 1;
  const double minusOne = -1.0;
  const double plusOne = 1.0;
  for (int32_t j = 0; j < n; ++j) {
    double* diagonal = diagonalOf(a, lda, j);
    double* column = diagonal + 1;
    const int32_t rest = n - j - 1;
    double theta = 0.0;
    for (int32_t i = 0; i < rest; ++i) theta = std::max(theta, std::fabs(column[i]));
    const double d = std::max({kSmallestPivotGMW, std::fabs(diagonal[0]), theta * theta / betaSquared});
    e[j] = d - diagonal[0];
    diagonal[0] = std::sqrt(d);
    const double scale = 1.0 / diagonal[0];
    for (int32_t i = 0; i < rest; ++i) column[i] *= scale;
    if (rest == 0) break;
    const int32_t done = j + 1;
    my_dgemv("N", &rest, &done, &minusOne, a + done, &lda, a + done, &lda, &plusOne, diagonalOf(a, lda, done), &one);
  }
}

// Root, scale, and the update of everything behind: one right-looking step.
void eliminateColumn(int32_t n, double* a, int32_t lda, int32_t j) {
  const int32_t one = 1;
  const double minusOne = -1.0;
  double* diagonal = diagonalOf(a, lda, j);
  const int32_t rest = n - j - 1;
  diagonal[0] = std::sqrt(diagonal[0]);
  if (rest == 0) return;
  const double scale = 1.0 / diagonal[0];
  for (int32_t i = 1; i <= rest; ++i) diagonal[i] *= scale;
  my_dsyr("L", &rest, &minusOne, diagonal + 1, &one, diagonalOf(a, lda, j + 1), &lda);
}

// True when the diagonal behind column j stays safely positive through the elimination of j.
bool staysPositive(int32_t n, double* a, int32_t lda, int32_t j, double gamma) {
  const double* diagonal = diagonalOf(a, lda, j);
  if (j + 1 == n) return true;
  double largest = *diagonalOf(a, lda, j + 1);
  double smallest = largest;
  double smallestUpdated = largest - diagonal[1] * diagonal[1] / diagonal[0];
  for (int32_t i = j + 2; i < n; ++i) {
    const double entry = *diagonalOf(a, lda, i);
    const double multiplier = diagonal[i - j];
    largest = std::max(largest, entry);
    smallest = std::min(smallest, entry);
    smallestUpdated = std::min(smallestUpdated, entry - multiplier * multiplier / diagonal[0]);
  }
  return largest > kTauBar * gamma && smallest > -kMu * largest && smallestUpdated > -kMu * gamma;
}

// Plain elimination as far as it goes. Returns the first column that is left.
int32_t firstPhase(int32_t n, double* a, int32_t lda, int32_t* phase, double* e, double gamma) {
  int32_t j = 0;
  for (; j < n && *phase == 1; ++j) {
    if (*diagonalOf(a, lda, j) <= 0.0 || !staysPositive(n, a, lda, j, gamma)) {
      *phase = 2;
      return j;
    }
    e[j] = 0.0;
    eliminateColumn(n, a, lda, j);
  }
  return j;
}

// The last column when it stands alone.
void perturbLast(double* diagonal, double* delta, double* e, double gamma) {
  const double d = diagonal[0];
  double perturbation = std::max(std::max(-d * kTau / (1.0 - kTau), kTauBar * gamma) - d, *delta);
  if (d + perturbation < kPivotFloor) perturbation = 1.0 - d;
  diagonal[0] = std::sqrt(d + perturbation);
  e[0] = perturbation;
  *delta = perturbation;
}

// A column of the second phase: its pivot is raised to the radius of its Gershgorin disc.
void perturbColumn(int32_t n, double* a, int32_t lda, int32_t j, double* delta, double* e, double gamma) {
  double* diagonal = diagonalOf(a, lda, j);
  double radius = 0.0;
  for (int32_t i = 1; i < n - j; ++i) radius += std::fabs(diagonal[i]);
  double perturbation = std::max(*delta, std::max(radius, kTauBar * gamma) - diagonal[0]);
  if (diagonal[0] + perturbation < kPivotFloor) perturbation *= 2.0;
  if (perturbation > 0.0) {
    diagonal[0] += perturbation;
    *delta = perturbation;
  }
  e[j] = perturbation;
  eliminateColumn(n, a, lda, j);
}

// The last two columns [a b; b c]: shifted by their smaller eigenvalue.
void perturbPair(double* block, int32_t lda, double* delta, double* e, double gamma) {
  double& a = block[0];
  double& b = block[1];
  double& c = block[static_cast<int64_t>(lda) + 1];
  double q = (a - c) * (a - c) + 4.0 * b * b;
  if (q == 0.0) q += 1.0;
  const double smaller = (a + c - std::sqrt(q)) / 2.0;
  const double larger = (a + c + std::sqrt(q)) / 2.0;
  const double perturbation = std::max((larger - smaller) * kTau / (1.0 - kTau), kTauBar * gamma) - smaller;
  *delta = std::max(*delta, perturbation);
  if (*delta > 0.0) {
    a += *delta;
    c += *delta;
  }
  e[0] = e[1] = *delta;
  a = std::sqrt(a);
  b /= a;
  c = std::sqrt(c - b * b);
}

}  // namespace

void LA_DenseCholeskyGMW81Factorize(int32_t n, double* a, int32_t lda, double* e, double betaSquared) {
  factorByHalves(n, a, lda, 0, [lda, e, betaSquared](int32_t size, double* block, int32_t first) {
    factorGMW81Unblocked(size, block, lda, e + first, betaSquared);
  });
}

void DenseModSE99CholeskyNonBlock(int32_t n, double* a, int32_t lda, int32_t* phase, double* maxPerturbation, double* e,
                                  double tau) {
  int32_t j = firstPhase(n, a, lda, phase, e, tau);
  if (j == n) return;
  double delta = std::max(*maxPerturbation, 0.0);
  if (n - j == 1) {
    perturbLast(diagonalOf(a, lda, j), &delta, e + j, tau);
  } else {
    for (; j < n - 2; ++j) perturbColumn(n, a, lda, j, &delta, e, tau);
    perturbPair(diagonalOf(a, lda, j), lda, &delta, e + j, tau);
  }
  *maxPerturbation = delta;
}

void LA_DenseCholeskySE99Factorize(int32_t n, double* a, int32_t lda, int32_t* phase, double* maxPerturbation,
                                   double* e, double tau) {
  factorByHalves(n, a, lda, 0, [=](int32_t size, double* block, int32_t first) {
    DenseModSE99CholeskyNonBlock(size, block, lda, phase, maxPerturbation, e + first, tau);
  });
}

}  // namespace qz
