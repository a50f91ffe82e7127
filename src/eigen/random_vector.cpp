#include "eigen/random_vector.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace qz {

namespace {

constexpr int32_t kBatch = 64;
constexpr uint32_t kLimb = 4096;

using Limbs = std::array<uint32_t, 4>;  // high to low

// Row i is a^(i + 1) mod 2^48, so that the numbers of a batch all come from one seed.
constexpr std::array<Limbs, kBatch> multiplierTable() {
  constexpr uint64_t kMultiplier = 33952834046453;
  constexpr uint64_t kMask = (uint64_t{1} << 48) - 1;
  std::array<Limbs, kBatch> table{};
  uint64_t power = 1;
  for (Limbs& row : table) {
    power = (power * kMultiplier) & kMask;
    for (uint32_t limb = 0; limb < 4; ++limb) row[limb] = static_cast<uint32_t>(power >> (36 - 12 * limb)) % kLimb;
  }
  return table;
}

constexpr std::array<Limbs, kBatch> kMultipliers = multiplierTable();

Limbs multiply(const Limbs& a, const Limbs& b) {
  const uint32_t low = a[3] * b[3];
  const uint32_t third = low / kLimb + a[2] * b[3] + a[3] * b[2];
  const uint32_t second = third / kLimb + a[1] * b[3] + a[2] * b[2] + a[3] * b[1];
  const uint32_t high = second / kLimb + a[0] * b[3] + a[1] * b[2] + a[2] * b[1] + a[3] * b[0];
  return {high % kLimb, second % kLimb, third % kLimb, low % kLimb};
}

double fraction(const Limbs& x) {
  constexpr double kUnit = 1.0 / kLimb;
  return kUnit * (x[0] + kUnit * (x[1] + kUnit * (x[2] + kUnit * x[3])));
}

}  // namespace

void RandSeedVector(int32_t n, uint32_t* seed, double* out) {
  Limbs start = {seed[0], seed[1], seed[2], seed[3]};
  for (int32_t first = 0; first < n; first += kBatch) {
    const int32_t count = std::min(kBatch, n - first);
    Limbs current = start;
    for (int32_t i = 0; i < count; ++i) {
      current = multiply(start, kMultipliers[static_cast<size_t>(i)]);
      double number = fraction(current);
      while (number == 1.0) {  // rounded up: 48 bits do not fit every format
        for (uint32_t& word : start) word += 2;
        current = multiply(start, kMultipliers[static_cast<size_t>(i)]);
        number = fraction(current);
      }
      out[first + i] = 2.0 * number - 1.0;
    }
    start = current;
  }
  std::copy(start.begin(), start.end(), seed);
}

}  // namespace qz
