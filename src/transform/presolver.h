// `Presolver`: the record of one presolve, read again by the postsolve.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Presolver::preControl, what the engine works on.
enum : int32_t {
  PRECONTROL_NONE = 1,    // nothing changed: the input model
  PRECONTROL_BOUND = 2,   // only bounds changed: tightened bounds are swapped into the input model
  PRECONTROL_REDUCED = 3  // a new reduced model
};

// Presolver::preRoute, what to do next.
enum : int32_t {
  PREROUTE_NORMAL = 0,
  PREROUTE_FINISHED = 1,  // no postsolve needed
  PREROUTE_SOLVED = 2,    // solved here, straight to postsolve
  PREROUTE_SYSTEM = 3,    // every column is free and the rest is a linear system
  PREROUTE_FREE = 4       // free columns exist
};

// Entries of Presolver::rowMap below 0: what became of a removed row. FIXED, LOWER, UPPER and RANGE rows set bounds,
// and the postsolve finds their duals; the others start with dual 0.
enum : int32_t {
  ROWMAP_FREE = -1,    // the row bounds nothing, or it is redundant
  ROWMAP_FIXED = -2,   // the row fixed every one of its columns
  ROWMAP_LOWER = -3,   // a singleton row that set its column's lower bound
  ROWMAP_UPPER = -4,   // its upper bound
  ROWMAP_RANGE = -5,   // both
  ROWMAP_EMPTY = -6,   // no element was left, or all columns sat at the forced bounds already
  ROWMAP_POSTDET = -7  // the row determines a column after the solve of an equation system
};

// Entries of Presolver::colMap below 0: what became of a removed column.
enum : int32_t {
  COLMAP_FIXED = -1,   // removed at its bounds, which had met
  COLMAP_EMPTY = -2,   // removed without any element
  COLMAP_POSTDET = -3  // determined after the solve of an equation system, listed in postdetList
};

// A bound that a row implied and the presolve took, and what it was before. Row and column of the input model.
struct BoundChange {
  int32_t row;
  int32_t col;
  bool upperSide;
  double former;
  double value;
};

struct Presolver {
  int32_t typeModel;
  int32_t preControl;
  int32_t preRoute;
  int32_t numRemovedRow;
  int32_t numRemovedCol;
  int32_t numRemovedElement;
  int32_t numRemovedQuadElement;
  int32_t numChangeRange;
  Model* inModel;     // the input model while a reduced model is in use; null otherwise
  int32_t* colBegin;  // working matrix by column, packed; all arrays below are owned
  int32_t* colLength;
  int32_t* rowIndex;
  double* matValue;
  int32_t* rowBegin;  // working matrix by row
  int32_t* rowLength;
  int32_t* colIndex;
  double* rowValue;
  int32_t* quadColBegin;  // working strict lower triangle, only with quadratic elements
  int32_t* quadColLength;
  int32_t* quadRowIndex;
  double* quadMatValue;
  int32_t* quadRowBegin;  // its transpose
  int32_t* quadRowLength;
  int32_t* quadColIndex;
  double* quadRowValue;
  char* rowSense;  // working senses
  double* rhs;     // working copies
  double* obj;
  double* lower;
  double* upper;
  double noiseThreshold;
  int32_t* rowMap;  // codes of the reductions; after the mapping the new indices
  int32_t* colMap;
  int32_t* lbMap;  // row that set the bound, -1 for none
  int32_t* ubMap;
  int32_t boundChanged;  // a kept column's bound differs from the model's
  int32_t numPostdet;    // entries of the list below
  int32_t* postdetList;  // numCol: columns to determine in the postsolve
  int32_t* rowChecked;   // 1 when the row was looked at since it last changed
  int32_t* colChecked;
  int32_t changed;  // something changed in this pass
  int32_t numPass;
  int32_t maxPass;    // 100
  int32_t infeasRow;  // where an infeasibility arose, -1 otherwise
  int32_t infeasCol;
  int32_t tightenEnabled;
  int32_t singletonEnabled;
  BoundChange* boundChanges;  // the bounds that kept rows implied, in the order in which they were taken
  int32_t numBoundChange;
  int32_t maxBoundChange;  // room in the list
  double* shiftValue;      // numCol of the shifted model: the amount taken out of each column
  int32_t* shiftStatus;    // the same: SHIFT_...
};

// Fills a zeroed record for `model`: working copies by column (packed) and by row, no reduction yet, all checks open.
// 0, or -1086; what was made so far stays in the record, for DestroyPresolver.
[[nodiscard]] int32_t CreatePresolver(Env* env, const Model* model, const IpmOption* options, Presolver* presolver);
// Frees the working arrays that the postsolve does not read: maps, bounds, costs and senses stay, and with columns to
// determine also the row copy and the right-hand sides.
void FreePresolver(Env* env, Presolver* presolver);
// Frees the record with every array it holds and clears the pointer; null is no fault. inModel is not owned.
void DestroyPresolver(Env* env, Presolver** presolver);

}  // namespace qz
