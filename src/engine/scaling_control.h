// When the running solve leaves its scaled terms, and how: a stop in scaled terms is always confirmed in true ones.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Unscales when the point is about to stop or to be reset, unless it failed, and otherwise once mu is below 1e-6 behind
// two good steps in a row; nothing happens when nothing is scaled and no small data waits. A stop is taken back, so
// that the unscaled point is decided on anew. The data are analysed again, since norms and bounds are the true ones
// now, and the system matrix is built anew. In the routes of a reduced model the outer model must be unscaled: the
// route becomes ROUTE_UNSCALE for the controller. The submodel may be null.
//   0     nothing done
//   1003  unscaled: measure again
//   1004  the controller must unscale
//   else  a failure
[[nodiscard]] int32_t scalingControl(Ipm* ipm, Hub* hub, SubModel* submodel);

// Unscale what the submodel keeps of the running iteration: shifts of big variables; removed bounds and their duals;
// shifts of big duals, which are then taken out of the unscaled duals and costs again. The last expects the duals and
// costs without the shift.
void unscaleInvivoVar(Ipm* ipm, Hub* hub, SubModel* submodel);
void unscaleInvivoBound(Ipm* ipm, Hub* hub, SubModel* submodel);
void unscaleInvivoDual(Ipm* ipm, Hub* hub, SubModel* submodel);

}  // namespace qz
