// The life of the engine's state record: made, filled from options and model, analysed, freed.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "transform/hub.h"

namespace qz {

// A zero-filled record with the model's dimensions, type and break callback; null for a null model or when memory is
// short. The caller gives the record back to the pool of `env` after FreeIpm.
[[nodiscard]] Ipm* NewIpm(Env* env, Model* model, IPM_timer* timer);

// Takes the model's numRow, numCol, numCoef and numQuadCoef, and numDim from them. The own arrays stay as they are: a
// model that takes the place of the first one may be smaller but never larger.
void ipmCopyDimensions(Ipm* ipm, const Model* model);

// Copies what the engine needs of the options and keeps the record.
void ipmGetOption(Ipm* ipm, IpmOption* option);

// Sets the constants of the iteration and clears countGoodStep, countBadStep and countStall. numReset is not touched:
// it accumulates over the solve. In the hub, which may be null, smallRestored tells whether small data waits to be put
// back.
void ipmSetParam(Ipm* ipm, IpmOption* option, Hub* hub);

// Allocates each own array that is not there yet, for numDim + 2 (numCoef + numQuadCoef) elements of the system matrix,
// and the linear-algebra environment, set up for the LDL solver. 0, or -1086 for whatever failed; FreeIpm frees what
// was made.
[[nodiscard]] int32_t CreateIpm(Ipm* ipm);

// Points the record at the arrays of `model` and `solution`, which keep owning them. x and y are the solution's.
void AssignIpm(Ipm* ipm, Model* model, Solution* solution);

// Finds the G rows, the bounds of each column, the number of complementary pairs, and the norms of the data: Euclidean
// over rhs, obj and the finite bounds, Frobenius over the matrix. May be called again at any time.
void AnalyzeIpm(Ipm* ipm);

// Frees every own array, both factors and the environment; the record itself stays. Null is no fault.
void FreeIpm(Ipm* ipm);

// Bounds of a column by its status byte.
[[nodiscard]] inline bool hasUpper(uint8_t statusBound) {
  return (statusBound & BOUND_UPPER) != 0;
}
[[nodiscard]] inline bool hasLower(uint8_t statusBound) {
  return (statusBound & BOUND_ANY_LOWER) != 0;
}

// Calls visit(i) for each G row in ascending order: over the list while G rows are few, by a scan over all rows once
// they exceed the share denseRatio, which saves the indirection.
template <class Visit>
inline void forEachIneqnRow(const Ipm* ipm, Visit visit) {
  if (ipm->denseRatio * ipm->numRow < ipm->numIneqn) {
    const char* rowSense = ipm->rowSense;
    for (int32_t i = 0; i < ipm->numRow; ++i)
      if (rowSense[i] == 'G') visit(i);
  } else {
    for (int32_t k = 0; k < ipm->numIneqn; ++k) visit(ipm->ineqnIndex[k]);
  }
}

}  // namespace qz
