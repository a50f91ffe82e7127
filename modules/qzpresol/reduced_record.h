// The reduced record: its rows and its arrays, whatever has chosen what stays.
#pragma once

#include "presolve_object.h"

namespace qzpresol {

// Numbers the rows whose rowMap is not -1 and gives them senses by rowLower and rowUpper.
void numberRows(Reduction& r);
// Copies the sides of the numbered rows.
void copyRows(Reduction& r);

// Allocates every array of the reduced record for the dimensions and counts that stand in it and in the reduction, with
// room for what the solver appends: a slack column per range row, and a partner per free column. 0 or -1086.
[[nodiscard]] int32_t allocateReduced(Reduction& r);
void freeReduced(Reduction& r);

// Sorts the elements of a column by row, in place.
void sortColumn(int32_t length, int32_t* row, double* value);

}  // namespace qzpresol
