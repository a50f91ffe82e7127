// A multiplicative congruential generator modulo 2^31 - 1 (Park and Miller 1988). Each caller holds its own state.
#pragma once

#include <cstdint>

namespace qz {

// Advances the state and returns it. A state of 0 is first seeded from the clock.
uint32_t qzRand(uint32_t* state);

}  // namespace qz
