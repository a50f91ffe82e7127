// Checks of the big-value submodels, of the reset and of what the iteration says about its route. All run from level 1
// and return 0, 10 after a breach, or -1086. A null submodel is no fault.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "engine/reset_system.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Tells the counts of the record, which must agree with the marks of the columns.
[[nodiscard]] int32_t VerifyDispSubmodel(Env* env, int32_t level, const SubModel* submodel);

// Sizes, lists (distinct, in range, marked in their map), and a sub-matrix exactly when it has rows or columns. With
// `screened`, behind the screening of the input, the limits of the thresholds too.
[[nodiscard]] int32_t VerifySubmodelStruct(Env* env, int32_t level, const SubModel* submodel, bool screened);

// The sub-matrices and the saved bounds hold the model's numbers.
[[nodiscard]] int32_t VerifySubmodelValue(Env* env, int32_t level, const Model* model, const SubModel* submodel);

// The marked rows are the inequalities with a right-hand side above thresholdRow; the marked columns those with a cost
// above thresholdCol and a finite bound.
[[nodiscard]] int32_t VerifySubmodelRowThreshold(Env* env, int32_t level, const Model* model, const SubModel* submodel);
[[nodiscard]] int32_t VerifySubmodelColThreshold(Env* env, int32_t level, const Model* model, const SubModel* submodel,
                                                 double infinity);

// The lists of the kinds that are not frozen, against the iterate: each listed value is above thresholdBig, and for
// variables, row slacks and row duals none is missing.
[[nodiscard]] int32_t VerifyStatBig(const Ipm* ipm, int32_t level, const SubModel* submodel);

// The lists at the end of a run: distinct, in range.
[[nodiscard]] int32_t VerifyBigList(Env* env, int32_t level, const SubModel* submodel);

// The kept direction is the engine's, through the maps of the submodel (null for none).
[[nodiscard]] int32_t VerifyRecordDirection(const Ipm* ipm, int32_t level, const Model* model, const Hub* hub,
                                            const SubModel* submodel);

// Route and flags at a restoration, an action in vivo, and a wish for a reduced model.
[[nodiscard]] int32_t VerifySubRestoreReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel);
[[nodiscard]] int32_t VerifyInvivoReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel);
[[nodiscard]] int32_t VerifyInvitroReport(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel);

// The system of an exact point: [-Q, A'; A, 0] on the kept columns and rows, by a product with a random vector; its
// right-hand side with the fixed columns folded in; its start.
[[nodiscard]] int32_t VerifyResetSystem(const Ipm* ipm, int32_t level, const ResetPartition& partition,
                                        const ResetSystem& system);

// The route and the state of the scaling.
[[nodiscard]] int32_t VerifyScalingReport(const Ipm* ipm, int32_t level, const Hub* hub);

// The status of each column against its bounds.
[[nodiscard]] int32_t VerifyDomainShape(const Ipm* ipm, int32_t level);
// The counts and norms that AnalyzeIpm leaves.
[[nodiscard]] int32_t VerifyStatistics(const Ipm* ipm, int32_t level);

}  // namespace qz
