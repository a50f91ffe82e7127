// Scale factors for the solver's scaling stage.
#pragma once

#include "qzipsolve/presolve_module.h"

namespace qzpresol {

// The operations behind the slots of the same names; presolve_module.h tells their arguments. Factors are powers of
// two, so that scaling and unscaling give the same bits back where nothing over- or underflows. 0, or -1086 with
// nothing changed.
[[nodiscard]] int32_t scaleModel(QzPresolveObject* object, int32_t direction, int32_t numRow, int32_t numCol,
                                 int32_t numCoef, int32_t* colBegin, double tolerance, int32_t* colLength,
                                 int32_t* rowIndex, double* matValue, double* obj, double* lower, double* upper,
                                 double* rowScale, double* colScale, void* null1, void* null2, double* rhs,
                                 char* rowSense, double* range, double* solPrimal, double* solDual, double* reducedCost,
                                 double* rowActivity);

// The inverse, by the factors that scaleModel gave; null solution arrays are left out.
[[nodiscard]] int32_t unscaleModel(QzPresolveObject* object, int32_t direction, int32_t numRow, int32_t numCol,
                                   int32_t numCoef, int32_t* colBegin, double tolerance, int32_t* colLength,
                                   int32_t* rowIndex, double* matValue, double* obj, double* lower, double* upper,
                                   double* rowScale, double* colScale, void* null1, void* null2, double* rhs,
                                   char* rowSense, double* range, double* solPrimal, double* solDual,
                                   double* reducedCost, double* rowActivity);

}  // namespace qzpresol
