// Records of the presolver behind its interface (qzipsolve/presolve_module.h).
//
// The module hands the solver a private, packed copy of the caller's model in the solver's own terms: a minimisation,
// upper-case senses, no free row, no fixed column, no empty row and no empty column, with room behind every array for
// the columns that the solver appends. At level 0 that is all; above it, the reductions of reductions.h go first. The
// caller's arrays are only read until the answer is written into them.
#pragma once

#include <cstdint>

#include "qzipsolve/presolve_module.h"
#include "qzipsolve/status.h"
#include "store_reduction.h"

namespace qzpresol {

inline constexpr int32_t kNoEngine = 1;  // result of reduce: nothing is left to solve

// The object with what its prepare call noted.
struct PresolveObject {
  QzPresolveObject slots;  // first: the solver holds its address
  ReducerSettings settings;
};

// One reduction.
struct Reduction {
  QzPresolveResult result;  // first: the solver holds its address
  PresolveObject* owner;
  QzPool* pool;
  LpRecord* caller;
  LpRecord reduced;
  int32_t outcome;      // 0: the reduced model must be solved; else the QZ_PRESOL_ code of the answer
  int32_t numRange;     // range rows of the reduced model
  int32_t numFree;      // columns of the reduced model without bounds
  int32_t numFreeCoef;  // their elements
  double objOffset;     // objective of the removed columns and the constant, as a minimisation
  char* rowSense;       // caller's rows: E, L, G, R, or N for a free one; owned like all below
  double* rowLower;     // caller's rows: activity interval, later less the removed columns' share
  double* rowUpper;
  int32_t* rowLength;     // caller's rows: elements in kept columns
  int32_t* rowMap;        // caller's row to reduced row, -1 when removed
  int32_t* colMap;        // caller's column to reduced column, -1 when removed
  double* fixedValue;     // caller's columns: value of a removed one
  StoreReduction* store;  // what the reductions leave for the postsolve; null at level 0
};

// The module object; null when memory is short.
QzModule* makeModule(QzPool* parent);

// Fills `reduction` for its caller's record: outcome, maps and, with outcome 0, the reduced record. 0 or -1086.
[[nodiscard]] int32_t reduceRecord(Reduction& reduction);

// Writes the answer into the caller's record: status, objective, iterations, the measures and the four arrays.
void restoreRecord(Reduction& reduction);

// Frees all arrays of the reduction, but not the record itself.
void freeReduction(Reduction& reduction);

}  // namespace qzpresol
