#include "shell/random.h"

#include "shell/host_table.h"

namespace qz {

namespace {

constexpr uint64_t kModulus = 0x7fffffff;
constexpr uint64_t kMultiplier = 397204094;

// One step: the product's low 31 bits plus its high bits, minus the modulus when that reaches it.
uint32_t advance(uint32_t state) {
  const uint64_t product = state * kMultiplier;
  const uint64_t folded = (product & kModulus) + (product >> 31);
  return static_cast<uint32_t>(folded >= kModulus ? folded - kModulus : folded);
}

// Hundredths of a second since the epoch pass 2^31, so they are reduced in 64 bits. A clock that stands at a multiple
// of the modulus, or no clock at all, falls back to 1 after a bounded number of readings.
uint32_t seedFromClock() {
  for (int attempt = 0; attempt < 1000000; ++attempt) {
    const auto hundredths = static_cast<int64_t>(qzzdtgmt() * 100.0);
    const auto seed = static_cast<uint64_t>(hundredths < 0 ? -hundredths : hundredths) % kModulus;
    if (seed != 0) return static_cast<uint32_t>(seed);
    if (Exported_QZHandle == nullptr) break;
  }
  return 1;
}

}  // namespace

uint32_t qzRand(uint32_t* state) {
  // 0 and the multiples of the modulus are the generator's fixed points: such a state is seeded anew.
  if (*state % kModulus == 0) *state = seedFromClock();
  *state = advance(*state);
  return *state;
}

}  // namespace qz
