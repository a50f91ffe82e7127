// Noise: elements so far below the others, with an empty gap of decades between, that they are rounding of zero.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// Counts the elements of the working matrix by decades of magnitude from 1 down to 1e-19, and sets noiseThreshold to
// the top of the first empty decade above the smallest elements, when that lies at 1e-7 or below; without such a gap to
// 1e-19 when elements lie there, else to 1e20, which stands for no noise. numRemovedElement rises by the elements at
// and below the threshold.
void detectNoise(Env* env, const Model* model, Presolver* presolver);

// Takes the elements up to noiseThreshold out of both working copies. detectNoise has counted them.
void removeNoiseA(Env* env, const Model* model, Presolver* presolver);

// Sets entries of obj (numCol) and rhs (numRow) with a magnitude up to the threshold to 0.
void removeNoiseBC(double threshold, int32_t numRow, int32_t numCol, double* obj, double* rhs);

}  // namespace qz
