// The basic answer in the record.
#pragma once

#include "point.h"

namespace qzsimpx {

// Writes the four arrays and the basis. Reduced costs and activities are those of the point that is written.
void writePoint(const Program& program, const Point& point, LpRecord& record);

// Writes the objective value, in the caller's sense, and the relative infeasibilities of the arrays in the record.
// `constant` is the objective constant of the minimisation.
void writeMeasures(const Program& program, double constant, LpRecord& record);

// True when the infeasibilities in the record are within ten times these tolerances, beyond which an answer of the
// interior-point method is turned down too.
bool isWithin(const LpRecord& record, double tolPrimal, double tolDual);

// Takes the basis out of the record.
void clearBasis(const Program& program, LpRecord& record);

}  // namespace qzsimpx
