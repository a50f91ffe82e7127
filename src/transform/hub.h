// `Hub`: what every transformation of a solve must remember so that it can be undone.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Hub::routeSubmodel, the controller's route through the big-value submodels.
enum : int32_t {
  ROUTE_INACTIVE = 0,
  ROUTE_INVIVO = 1,
  ROUTE_INVITRO = 2,
  ROUTE_BOTH = 3,
  ROUTE_RESTORE = 4,
  ROUTE_UNSCALE = 5
};

struct Hub {
  int32_t typeMethod;   // IPM_METHOD_..., stored just before addSlack
  int32_t numRowSaved;  // dimensions of the model at entry of addSlack
  int32_t numColSaved;
  int32_t numCoefSaved;
  int32_t numQuadCoefSaved;
  int32_t numRelaxFree;      // columns that become free only once the bounds marked in relaxColBound are dropped
  int32_t numFreeVar;        // columns whose two bounds are infinite
  int32_t numFreeElement;    // sum of colLength over those columns
  int32_t* colPlus;          // numFreeVar, owned: the free columns, ascending; they keep the positive part
  int32_t* colMinus;         // numFreeVar, owned: the appended columns that hold the negative part
  int32_t numRange;          // rows of sense R
  int32_t rangeCoefBegin;    // numCoef before the range slacks were appended
  int32_t rangeColBegin;     // numCol before the range slacks were appended
  int32_t* rangeRowList;     // numRange, owned: the range rows, ascending; entry k owns slack column numColSaved + k
  int32_t numLcont;          // rows of sense L
  int32_t* lcontRowList;     // numLcont, owned: the L rows, ascending
  int32_t boundSwitchState;  // 1 while the alternate bounds stand in the model
  double* altLower;          // owned, second pair of bound arrays
  double* altUpper;
  int32_t scaleState;     // 0 nothing is scaled, 1 only the objective, 2 rows, columns and objective
  double objScale;        // factor of the objective
  double* rowScale;       // numRow + 1, owned; null unless scaleState is 2; the last is the objective row's factor
  double* colScale;       // numCol + 1, owned
  int32_t smallRestored;  // 1 when no small data waits to be put back
  int32_t numSmallObj;
  int32_t* smallObjCol;   // owned: columns whose objective coefficient was set to 0
  double* smallObjValue;  // owned: their scaled coefficients
  int32_t numSmallRhs;
  int32_t* smallRhsRow;        // owned: rows whose right-hand side was set to 0
  double* smallRhsValue;       // owned: their scaled right-hand sides
  int32_t routeSubmodel;       // ROUTE_...
  int32_t extraListActive;     // the extra rows or columns of a restoration exist
  int32_t releaseSubmodel;     // free the submodel at the next restart
  int32_t bigLevelLeft;        // a big-value level has just been left; the iteration reads it once
  int32_t wideStart;           // 1: the engine starts farther inside than its rule asks for
  KeptSolution* keptSolution;  // owned: the last direction of the solve; may be null
  int32_t numRowInput;         // dimensions of the model as the pipeline received it; they size the kept direction
  int32_t numColInput;
};

// Frees the record with every array it holds and clears the pointer; null is no fault.
void FreeHub(Env* env, Hub** hub);
// Frees the four lists of small data and clears their counts.
void FreeHubSmall(Env* env, Hub* hub);

}  // namespace qz
