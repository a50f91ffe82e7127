// What the starting points share: the least-squares system as a view on the whole augmented matrix or on a part of it,
// its solution, and the shift that makes a start positive.
#pragma once

#include <cstdint>

#include "engine/engine_state.h"
#include "engine/ipm.h"
#include "shell/pool.h"
#include "submodel/submodel.h"

namespace qz {

// The values of an augmented matrix and a right-hand side, with the maps from the model's numbering. A negative entry
// of a map means that the column or row takes no part; a null map keeps all.
struct StartSystem {
  double* value;                // of the matrix
  const int32_t* colDiagIndex;  // by kept number
  const int32_t* rowDiagIndex;
  double* rhs;  // numColKept + kept rows: right-hand side, then solution
  const int32_t* colMap;
  const int32_t* rowMap;
  int32_t numColKept;

  [[nodiscard]] int32_t col(int32_t j) const { return colMap != nullptr ? colMap[j] : j; }
  [[nodiscard]] int32_t row(int32_t i) const { return rowMap != nullptr ? rowMap[i] : i; }
  double& colDiag(int32_t place) const { return value[colDiagIndex[place]]; }
  double& rowDiag(int32_t place) const { return value[rowDiagIndex[place]]; }
  double& colRhs(int32_t place) const { return rhs[place]; }
  double& rowRhs(int32_t place) const { return rhs[numColKept + place]; }
};

// The view on the engine's own matrix, with rhsWork.
[[nodiscard]] StartSystem wholeSystem(const Ipm* ipm);

// Factors the engine's matrix and solves on rhsWork. 0, -1086, 12, or 10 for any other failure.
[[nodiscard]] int32_t solveWholeSystem(Ipm* ipm);

// A part of the augmented matrix in arrays of its own.
struct PartialSystem {
  StartSystem view;
  int32_t numDim;
  PoolArray<int32_t> colBegin;
  PoolArray<int32_t> rowIndex;
  PoolArray<double> matValue;
  PoolArray<int32_t> colDiagIndex;
  PoolArray<int32_t> rowDiagIndex;
  PoolArray<double> rhs;
};

// Builds the part of the model that the maps keep, with zero diagonals. 0 or -1086.
[[nodiscard]] int32_t makePartialSystem(const Ipm* ipm, const int32_t* colMap, int32_t numColKept,
                                        const int32_t* rowMap, int32_t numRowKept, PartialSystem* system);

// Result of solvePartialSystem for a system that has no usable solution: the caller takes the whole start instead.
inline constexpr int32_t kNoPartialPoint = 3;

// Solves on view.rhs without touching the engine's own factorisation; the system's matrix is used up. 0,
// kNoPartialPoint, -1086 or 12.
[[nodiscard]] int32_t solvePartialSystem(const Ipm* ipm, PartialSystem* system);

// Bounds of a column: 0, 1 or 2.
[[nodiscard]] inline int32_t countBounds(uint8_t statusBound) {
  return (hasUpper(statusBound) ? 1 : 0) + (hasLower(statusBound) ? 1 : 0);
}

// x and the slacks from a solved system: x = w_x, bound slacks from x, row slacks w_y on kept rows that are not E, all
// others 0. Returns the smallest slack of an existing bound or a kept row that is not E, 1e20 for none.
[[nodiscard]] double takePrimalSolution(Ipm* ipm, const StartSystem& system);

// The checks of a solved start, before its shift. The submodel may be null. 0, 10, -1086.
[[nodiscard]] int32_t verifyPrimalStart(const Ipm* ipm, const SubModel* submodel, const StartSystem& system);
[[nodiscard]] int32_t verifyDualStart(const Ipm* ipm, const SubModel* submodel, const StartSystem& system);

// Add the larger of startShift(smallest, tol, typeModel) and ipm->startFloor to the row slacks of rows that are not E
// and all bound slacks, or to the duals of rows that are not E and all bound duals.
void shiftPrimalStart(Ipm* ipm, double smallest);
void shiftDualStart(Ipm* ipm, double smallest);

}  // namespace qz
