// The control loop of a solve, step by step. The iteration runs on the outer model until it wants big values out of
// the way; then the model is reduced and the iteration goes on with the reduction in the same engine state, from the
// same point; and when that ends, one way or another, the outer model is recovered.
//
//     iterate --1003--> reduce --ok--> restart --> iterate on the reduction --> recover --+--> reduce further (1003)
//        |                 |                                                              +--> restart on the outer
//        +--> end          +--nothing to reduce, or the reduction is lost--> restart      |    model (1004)
//                                                                                         +--> end
//
// hub->routeSubmodel tells how the steps hang together: see ROUTE_...
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "engine/saved_point.h"
#include "submodel/submodel.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// What one solve keeps.
struct Control {
  Env* env;
  Model* model;  // what the engine works on: the outer model, or its reduction, which the presolver's inModel tells
  IpmOption* option;
  Hub* hub;
  Solution* solution;  // of the outer model
  IPM_timer* timer;
  Ipm* ipm;                   // owned
  SubModel* submodel;         // owned
  Hub* innerHub;              // owned: what the presolve of a reduction counts
  Presolver* presolver;       // owned: of the reduction in force, null without one
  Solution* reducedSolution;  // owned: of the reduction; null, or `solution` where nothing was reduced
  SavedPoint outerPoint;      // of the outer model ahead of its reduction
};

enum class Stage : int32_t { kIterate, kReduce, kRecover, kRestart, kLeave };

// Where the loop goes next, and what the solve leaves with.
struct Next {
  Stage stage;
  int32_t result;
};

[[nodiscard]] inline Next goTo(Stage stage) {
  return {stage, QZ_STATUS_OK};
}
[[nodiscard]] inline Next leaveWith(int32_t result) {
  return {Stage::kLeave, result};
}

// Runs the iteration and stores its status in the model. A reduction is always recovered.
[[nodiscard]] Next iterateModel(Control& control);

// Behind a run on the outer model with `status`: 1003 reduces, a failure leaves with itself, a limit with 0. Anything
// else is the verdict: what the in vitro level took out is cleaned of its complementary partners.
[[nodiscard]] Next endRun(Control& control, int32_t status);

// Reduces the outer model as the plan flags wish and points the engine at the reduction. Without a row or a column to
// take out the wish is dropped. A reduction that presolve answers goes to recovery at once; one that it shows to be
// infeasible is given up, for good or, when the point needs repair first, for now.
[[nodiscard]] Next reduceToSubmodel(Control& control);

// Brings the reduced answer to the outer model and points the engine at it again.
[[nodiscard]] Next recoverModel(Control& control);

// Makes the engine ready to iterate from the point that stands: analysis, parameters, positive starts for what came
// back, and the linear system where its factors were freed.
[[nodiscard]] Next restartIteration(Control& control);

// Gives up what is in force and wished for, and makes further action harder by shrinking moveTolerance.
void giveUpSubmodel(Control& control);

// Puts the recovered point of the outer model or the one ahead of the reduction into the engine, whichever is nearer to
// an answer. Duals may have run along directions that only the reduction leaves free, for with fewer columns its rows
// may depend on each other; and what was repaired to be positive has products of any size. 0 or -1086.
[[nodiscard]] int32_t takeBetterPoint(Control& control);

// Points the engine at `control.model` with the point `solution`.
void installModel(Control& control, Solution* solution);
// Frees the factors of both systems; the environment stays.
void freeFactors(Control& control);
// Frees the presolver and the solution of the reduction and puts the submodel's maps back to the identity.
void dropReduction(Control& control);

}  // namespace qz
