// Records printed through the log at level 0, for a developer at a debugger, and what changed in an iteration. A null
// log is silent. Nothing here checks anything or changes what it prints.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// x with its bound slacks and bound duals, then y with the row slacks.
void DumpSolution(Env* env, int32_t numRow, int32_t numCol, const Solution* solution);
// The rows, the columns, and the matrix of a model; DumpModelQP its quadratic part.
void DumpModel(Env* env, const Model* model);
void DumpModelQP(Env* env, const Model* model);
// A square system: its right-hand side of numDim entries, then its matrix.
void DumpEquation(Env* env, int32_t numDim, int32_t numCoef, const int32_t* colBegin, const int32_t* colLength,
                  const int32_t* rowIndex, const double* matValue, const double* rhs);

// The whole answer of a model, with reduced costs and activities.
void dumpAnswer(Env* env, const Model* model);

// From debug level 7 on: the fields of the control of an iteration, of its state, and of the submodel, as they stand.
void DumpChangeControl(const Ipm* ipm, int32_t level, const Hub* hub);
void DumpChangeIpm(const Ipm* ipm, int32_t level);
void DumpSubmodel(Env* env, int32_t level, const SubModel* submodel);
// The three together, once an iteration.
void DumpIterSubmodel(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel);

}  // namespace qz
