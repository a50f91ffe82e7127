// Uniform random numbers on (-1, 1): the multiplicative congruential generator modulo 2^48 with multiplier
// 33952834046453 of Fishman (1990), Math. Comp. 54, in four 12-bit limbs; the numbers of LAPACK's DLARNV with
// distribution 2.
#pragma once

#include <cstdint>

namespace qz {

// Fills out with n numbers and advances the four words of the seed, high to low, each below 4096, the last one odd.
void RandSeedVector(int32_t n, uint32_t* seed, double* out);

}  // namespace qz
