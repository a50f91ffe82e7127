// The submodel: the record of values far larger than the rest, what was done about them, and what it takes to bring
// them back. Created at the start of a solve; every function here accepts a null record and does nothing.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Bits of the action flags.
enum : int32_t { BIG_INVIVO = 1, BIG_INVITRO = 2 };
// Bits of statusBoundSub: the side of the column that is concerned.
enum : int32_t { SUB_LOWER = 1, SUB_UPPER = 2 };

struct SubModel {
  int32_t numRow;  // size of the model
  int32_t numCol;
  double thresholdMat;    // matrix threshold
  double thresholdBig;    // above it a solution value is big
  double thresholdBound;  // above it a finite bound is far
  double thresholdRow;    // above it a right-hand side is big
  double thresholdCol;    // above it an objective coefficient is big
  int32_t* rowMapSub;     // numRow: new number of the row, -1 when it is removed; all arrays are owned
  int32_t* colMapSub;     // numCol: the same
  int32_t numRowSub;
  int32_t* idxRowSub;  // numRow: rows of the sub-matrix; later the rows with big slack
  int32_t numColSub;
  int32_t* idxColSub;     // numCol: columns of the sub-matrix; later the columns with big dual slack
  int32_t numCoefColSub;  // column-wise sub-matrix of the listed columns, and their objective
  int32_t* colBeginSub;
  int32_t* colLengthSub;
  int32_t* rowIndexSub;
  double* matValueSub;
  double* objSub;
  int32_t numCoefRowSub;  // row-wise sub-matrix of the listed rows
  int32_t* rowBeginSub;
  int32_t* rowLengthSub;
  int32_t* colIndexSub;
  double* rowMatValueSub;
  double* rhsSub;
  char* rowSenseSub;
  int32_t* statusBoundSub;  // numCol: SUB_LOWER, SUB_UPPER
  int32_t numBoundSub;
  int32_t* idxBoundSub;  // numCol: columns with a concerned bound
  double* lowerSub;      // values of those bounds, in list order
  double* upperSub;
  int32_t numBigVar;  // current count of each kind
  int32_t numBigBoundSlack;
  int32_t numBigIneqnSlack;
  int32_t numBigDual;
  int32_t numBigBoundDual;
  int32_t prevBigVar;  // the counts of the iteration before
  int32_t prevBigBoundSlack;
  int32_t prevBigIneqnSlack;
  int32_t prevBigDual;
  int32_t prevBigBoundDual;
  int32_t* idxBigVar;   // numCol: big variables
  int32_t* idxBigDual;  // numRow: rows with big dual
  double* shiftPrimal;  // shift of each listed variable
  double* shiftDual;    // shift of each listed dual
  double* trueObj;      // the engine's data as they were ahead of in vivo changes; null without any
  double* trueRhs;
  double* trueLower;
  double* trueUpper;
  double* savedLowerDual;  // dual values of removed bounds
  double* savedUpperDual;
  double* fixedValue;    // of each column fixed in vitro: the slack of the bound that it is fixed at
  double* fixedDual;     // and the dual of its other bound
  int32_t* fixedSide;    // numCol: SUB_LOWER, SUB_UPPER, where a column is fixed; stays until the next round
  double* freedRowDual;  // dual of each freed row
  double deltaX;         // measured movement of each kind
  double deltaBound;
  double deltaRow;
  double deltaY;
  double deltaColumn;
  double moveTolerance;  // 0.01 at the start
  int32_t bBigVar;       // action flags: BIG_INVIVO, BIG_INVITRO
  int32_t bBigBoundSlack;
  int32_t bBigIneqnSlack;
  int32_t bBigDual;
  int32_t bBigBoundDual;
  int32_t planBigVar;  // the actions wished for the next in vitro round
  int32_t planBigBoundSlack;
  int32_t planBigIneqnSlack;
  int32_t planBigDual;
  int32_t planBigBoundDual;
  int32_t triedAtEnd;   // 1: a run that found no answer has acted once before it gave up
  int32_t numColExtra;  // columns and rows removed by the last presolve beyond the marked ones
  int32_t* idxColExtra;
  int32_t numRowExtra;
  int32_t* idxRowExtra;
};

// A zero-filled record with its maps and lists. 0, or -1086 with everything given back and *out null.
[[nodiscard]] int32_t NewSubModel(Env* env, const Model* model, SubModel** out);
// The lists of the solution-driven part, and moveTolerance. 0 or -1086; a null record gives 0.
[[nodiscard]] int32_t NewSubModel2(Env* env, SubModel* submodel);
// Empties the sub-matrices and lists; the maps become the identity.
void ClearSubModel(Env* env, SubModel* submodel);
// Free the column-wise and the row-wise sub-matrix.
void FreeColSub(Env* env, SubModel* submodel);
void FreeRowSub(Env* env, SubModel* submodel);
// True when an array of the row-wise sub-matrix exists.
[[nodiscard]] bool HasRowSub(const SubModel* submodel);
// Nothing is big, acted on or wished for: counts, those of the pass before, movements, action and plan flags become 0.
void clearBigValues(SubModel* submodel);
// The same counts and movements of the kinds on which nothing has acted; their lists are void.
void clearIdleKinds(SubModel* submodel);
// Frees every array and the record and clears the pointer.
void FreeSubModel(Env* env, SubModel** submodel);

}  // namespace qz
