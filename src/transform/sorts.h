// One quicksort (Bentley and McIlroy, "Engineering a sort function", 1993) in ten forms, which differ in the key's
// type, the direction and what moves along. In place, not stable, worst-case stack of 64 ranges, no allocation. A NaN
// key has no defined place. The first parameter is not used. All return 0; a count below 2 touches nothing.
#pragma once

#include <cstdint>

namespace qz {

int32_t QZS_quickSortIntInc(void* unused, int32_t* key, int32_t count);
int32_t QZS_quickSortDblInc(void* unused, double* key, int32_t count);
int32_t QZS_quickSortDblDec(void* unused, double* key, int32_t count);

// The payload arrays move with their keys.
int32_t QZS_quickSortIntDblInc(void* unused, int32_t* key, double* payload, int32_t count);
int32_t QZS_quickSortDblIntInc(void* unused, double* key, int32_t* payload, int32_t count);
int32_t QZS_quickSortDblIntDec(void* unused, double* key, int32_t* payload, int32_t count);
int32_t QZS_quickSortIntIntInc(void* unused, int32_t* key, int32_t* payload, int32_t count);
int32_t QZS_quickSortDblIntDblDec(void* unused, double* key, int32_t* payload, double* payload2, int32_t count);

// Sort positions: moved[k] names an entry of key, which stays in place, and key[moved[0]], key[moved[1]], ... ends up
// in order.
int32_t QZS_quickSortIntIntInc2(void* unused, int32_t* moved, const int32_t* key, int32_t count);
int32_t QZS_quickSortIntIntDec2(void* unused, int32_t* moved, const int32_t* key, int32_t count);

}  // namespace qz
