// The story of the big values of a solve, for a person: what became big, what was done about it, what came back. Lines
// go to the log at level 0 when the debug level is above 0; each begins with the iteration. A null record is silent.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// Counts and movements of the five kinds, and the limits that they are measured by.
void traceBigValues(const Ipm* ipm, const SubModel* submodel);
// What is in force in vivo from now on.
void traceInvivo(const Ipm* ipm, const SubModel* submodel);
// What the plan flags wish for the reduced model.
void traceInvitro(const Ipm* ipm, const SubModel* submodel);
// A big value has come back; what is in force before the undoing, with the size of the iterate's largest entries.
void traceRestore(const Ipm* ipm, const SubModel* submodel);
// The in vivo changes are taken back as the iteration is left.
void traceUndo(const Ipm* ipm, const SubModel* submodel);
// What is optimal in shifted terms is not so in true ones; the measures of the true model.
void traceUnconfirmed(const Ipm* ipm, const SubModel* submodel);
// What the screening of the input has marked.
void traceBigdata(const Ipm* ipm, const SubModel* submodel);

}  // namespace qz
