// The submodel stage of the iteration: what is to be done about big values, once a pass, and the undoing of it.
//
// Two levels. In vivo the running iteration is changed where it stands: big variables and duals are shifted, far bounds
// removed; the structure of the factorisation stays. In vitro the iteration stops, and the controller solves a reduced
// copy of the model in which rows with a big slack are freed and columns with a big bound dual are fixed as well.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// What a kind of big value allows.
enum class BigAction : int32_t {
  kNone = 0,    // nothing is big, or it is acted on already
  kStill = 1,   // it stands still
  kSlow = 2,    // it hardly moves
  kMoving = 3,  // it moves too much
};

// The five kinds, in the order of the record.
struct BigActions {
  BigAction variable = BigAction::kNone;
  BigAction boundSlack = BigAction::kNone;
  BigAction rowSlack = BigAction::kNone;
  BigAction rowDual = BigAction::kNone;
  BigAction boundDual = BigAction::kNone;
};

// The stage. First what is in force is validated: when a big value has come back, the in vivo changes are undone here,
// or the controller must undo the in vitro ones (route RESTORE). Then it is decided, once the lists have stood still
// for a pass, whether to act and at which level; at the end of a run that found no answer, once whether or not they
// stand still. A change in vivo or its undoing leaves a fresh measure of the point and takes a pending stop back. With
// route BOTH nothing new is begun.
//   0      go on
//   1003   the controller must solve a reduced model (route INVITRO, wishes in the plan flags)
//   1004   the controller must recover the full model (route RESTORE)
//   else   a failure: -1086, or 10 with a message
// A null record gives 0.
[[nodiscard]] int32_t submodelControl(Ipm* ipm, Hub* hub, SubModel* submodel);

// What the counts, movements and flags of the record allow for each kind.
[[nodiscard]] BigActions classifyBigValues(const SubModel* submodel);

// Acts in vivo on the kinds that stand still or hardly move: shifts the variables, removes the bounds, shifts the
// duals. The route goes to INVIVO or BOTH. A removal that would leave no complementary pair is taken to the in vitro
// level instead. A wrong route or a flag that is set already is told and passed over. 0, 1003, -1086 or 10.
[[nodiscard]] int32_t actInvivo(Ipm* ipm, Hub* hub, SubModel* submodel, const BigActions& actions);

// Undoes the in vivo changes in their order: bounds come back, then variables, then duals. Their flags are cleared.
// Bounds come back with their saved duals, or with 0 while the route is INVIVO. 0, or -1086 with part of it left.
[[nodiscard]] int32_t undoInvivo(Ipm* ipm, const Hub* hub, SubModel* submodel);

// Counts, those of the pass before, and movements of all kinds become 0.
void clearBigCounts(SubModel* submodel);

}  // namespace qz
