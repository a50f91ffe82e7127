// The decision about big values: every rule of the verdict, the acts at both levels, the undoing, the routes.
#include "submodel/submodel_control.h"

#include <vector>

#include "engine/measures.h"
#include "shell/pool.h"
#include "submodel/big_solution.h"
#include "submodel/bound_removal.h"
#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::smallModel;

constexpr double B = 10000.0;
constexpr BigAction kNone = BigAction::kNone;
constexpr BigAction kStill = BigAction::kStill;
constexpr BigAction kSlow = BigAction::kSlow;
constexpr BigAction kMoving = BigAction::kMoving;

// A count of one for a kind and the movement that gives the wished class.
double movementOf(BigAction action) {
  switch (action) {
    case kStill:
      return 1e-8;
    case kSlow:
      return 1e-3;
    case kMoving:
      return 0.5;
    default:
      return 0.0;
  }
}

class SubModelControl : public qztest::SubModelTest {
 protected:
  void makePoint(int32_t typeMethod = IPM_METHOD_AUGMENTED, bool quadratic = false) {
    if (submodel != nullptr) FreeSubModel(&test->env, &submodel);
    make(smallModel(quadratic), typeMethod);
    hub = Hub{};
    const double x[] = {6 * B, 1.0, -7 * B, 2.0};
    for (int j = 0; j < 4; ++j) {
      ipm->primal[j] = x[j];
      ipm->lowerSlack[j] = (ipm->statusBound[j] & BOUND_ANY_LOWER) != 0 ? x[j] - ipm->lower[j] : 0.0;
      ipm->upperSlack[j] = (ipm->statusBound[j] & BOUND_UPPER) != 0 ? ipm->upper[j] - x[j] : 0.0;
      ipm->lowerDual[j] = ipm->lowerSlack[j] > 0.0 ? 0.25 : 0.0;
      ipm->upperDual[j] = ipm->upperSlack[j] > 0.0 ? 0.5 : 0.0;
    }
    const double y[] = {3 * B, 4 * B, 1.0};
    for (int i = 0; i < 3; ++i) {
      ipm->dual[i] = y[i];
      ipm->ineqnSlack[i] = i > 0 ? 2.0 : 0.0;
    }
    ipm->status = QZ_STATUS_PRIMAL_INFEASIBLE;
    ipm->stopState = STOP_ITERATE;
    submodel->moveTolerance = 0.01;
    computeMeasurement(ipm);
  }
  // Gives each kind a list of its own, or none, and the movement of the wished class.
  void set(const BigActions& a) {
    bigVars(a.variable == kNone ? std::vector<int32_t>{} : std::vector<int32_t>{0, 2});
    bigBounds(a.boundSlack == kNone ? std::vector<int32_t>{} : std::vector<int32_t>{0}, {SUB_LOWER});
    bigRows(a.rowSlack == kNone ? std::vector<int32_t>{} : std::vector<int32_t>{2});
    bigDuals(a.rowDual == kNone ? std::vector<int32_t>{} : std::vector<int32_t>{0, 1});
    bigColumns(a.boundDual == kNone ? std::vector<int32_t>{} : std::vector<int32_t>{3});
    submodel->deltaX = movementOf(a.variable);
    submodel->deltaBound = movementOf(a.boundSlack);
    submodel->deltaRow = movementOf(a.rowSlack);
    submodel->deltaY = movementOf(a.rowDual);
    submodel->deltaColumn = movementOf(a.boundDual);
  }
  int32_t control() { return submodelControl(ipm, &hub, submodel); }
  // The first pass only takes note of the counts.
  int32_t controlTwice() {
    EXPECT_EQ(control(), 0);
    EXPECT_EQ(hub.routeSubmodel, ROUTE_INACTIVE);
    return control();
  }
  std::vector<int32_t> flags() const {
    return {submodel->bBigVar, submodel->bBigBoundSlack, submodel->bBigIneqnSlack, submodel->bBigDual,
            submodel->bBigBoundDual};
  }
  std::vector<int32_t> plans() const {
    return {submodel->planBigVar, submodel->planBigBoundSlack, submodel->planBigIneqnSlack, submodel->planBigDual,
            submodel->planBigBoundDual};
  }
  std::vector<int32_t> counts() const {
    return {submodel->numBigVar,         submodel->numBigBoundSlack,  submodel->numBigIneqnSlack,
            submodel->numBigDual,        submodel->numBigBoundDual,   submodel->prevBigVar,
            submodel->prevBigBoundSlack, submodel->prevBigIneqnSlack, submodel->prevBigDual,
            submodel->prevBigBoundDual};
  }
  // Everything of the engine that an in vivo change touches.
  std::vector<double> state() const {
    std::vector<double> all;
    for (const double* v : {ipm->primal, ipm->lower, ipm->upper, ipm->obj, ipm->lowerSlack, ipm->upperSlack,
                            ipm->lowerDual, ipm->upperDual})
      all.insert(all.end(), v, v + 4);
    for (const double* v : {ipm->dual, ipm->rhs, ipm->ineqnSlack}) all.insert(all.end(), v, v + 3);
    for (int j = 0; j < 4; ++j)
      all.push_back(hasLower(ipm->statusBound[j])), all.push_back(hasUpper(ipm->statusBound[j]));
    all.push_back(ipm->numCompl);
    all.push_back(ipm->numLower);
    all.push_back(ipm->numUpper);
    return all;
  }

  Hub hub{};
};

using Ints = std::vector<int32_t>;
const Ints kNothing(5, 0);

TEST_F(SubModelControl, NullRecordDecidesNothing) {
  makePoint();
  EXPECT_EQ(submodelControl(ipm, &hub, nullptr), 0);
}

TEST_F(SubModelControl, NothingBigNeedsNoAction) {
  makePoint();
  EXPECT_EQ(controlTwice(), 0);
  EXPECT_EQ(flags(), kNothing);
}

TEST_F(SubModelControl, ClassesOfMovement) {
  makePoint();
  const auto classOf = [&](double movement) {
    bigVars({0});
    submodel->deltaX = movement;
    return classifyBigValues(submodel).variable;
  };
  EXPECT_EQ(classOf(0.0), kStill);
  EXPECT_EQ(classOf(0.99e-6), kStill);  // under 1e-10 of the threshold
  EXPECT_EQ(classOf(1.01e-6), kSlow);
  EXPECT_EQ(classOf(0.00999), kSlow);
  EXPECT_EQ(classOf(0.01), kMoving);
  submodel->moveTolerance = 1e-7;  // as a failed round leaves it: a hundredth of it is the smaller limit
  EXPECT_EQ(classOf(0.99e-9), kStill);
  EXPECT_EQ(classOf(1.01e-9), kSlow);
  EXPECT_EQ(classOf(1e-7), kMoving);
  submodel->bBigVar = BIG_INVIVO;
  EXPECT_EQ(classOf(0.0), kNone);
  submodel->bBigVar = 0;
  submodel->numBigVar = 0;
  EXPECT_EQ(classifyBigValues(submodel).variable, kNone);
}

TEST_F(SubModelControl, EachKindIsClassedByItsOwnCountMovementAndFlag) {
  makePoint();
  set({kStill, kSlow, kMoving, kStill, kSlow});
  const BigActions a = classifyBigValues(submodel);
  EXPECT_EQ(a.variable, kStill);
  EXPECT_EQ(a.boundSlack, kSlow);
  EXPECT_EQ(a.rowSlack, kMoving);
  EXPECT_EQ(a.rowDual, kStill);
  EXPECT_EQ(a.boundDual, kSlow);
}

TEST_F(SubModelControl, ListsMustStandStillForAPass) {
  for (int kind = 0; kind < 5; ++kind) {
    makePoint();
    int32_t* count[] = {&submodel->numBigVar, &submodel->numBigBoundSlack, &submodel->numBigIneqnSlack,
                        &submodel->numBigDual, &submodel->numBigBoundDual};
    set({kStill, kNone, kNone, kNone, kNone});
    ASSERT_EQ(control(), 0);
    *count[kind] += 1;
    submodel->idxBoundSub[0] = 0;
    ASSERT_EQ(control(), 0) << kind;
    EXPECT_EQ(flags(), kNothing) << kind;
  }
}

TEST_F(SubModelControl, CountThatChangesInEveryPassNeverActs) {
  makePoint();
  for (int pass = 0; pass < 50; ++pass) {
    set({kStill, kNone, kNone, kNone, kNone});
    if (pass % 2 == 1) submodel->numBigVar = 1;
    ASSERT_EQ(control(), 0);
    ASSERT_EQ(flags(), kNothing);
  }
}

TEST_F(SubModelControl, BigVariableThatStandsStillIsShifted) {
  makePoint();
  set({kStill, kNone, kNone, kNone, kNone});
  submodel->deltaX = 0.0;
  ASSERT_EQ(controlTwice(), 0);
  EXPECT_EQ(flags(), (Ints{BIG_INVIVO, 0, 0, 0, 0}));
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INVIVO);
  EXPECT_EQ(ipm->primal[0], 0.0);
  EXPECT_EQ(ipm->primal[2], 0.0);
  EXPECT_EQ(submodel->deltaX, 0.0);
}

// One value that must be left alone keeps all kinds from acting.
TEST_F(SubModelControl, MovementAboveOneHundredBlocksEveryKind) {
  for (int kind = 0; kind < 5; ++kind)
    for (double movement : {100.0, 100.1, BIG_STEP, BIG_ACTIVE}) {
      makePoint();
      set({kStill, kStill, kNone, kStill, kNone});
      double* movements[] = {&submodel->deltaX, &submodel->deltaBound, &submodel->deltaRow, &submodel->deltaY,
                             &submodel->deltaColumn};
      // Kinds with a list are then moving, which blocks too; the others block by the sentinel alone.
      *movements[kind] = movement;
      ASSERT_EQ(controlTwice(), 0);
      const bool acts = movement == 100.0 && (kind == 2 || kind == 4);
      EXPECT_EQ(hub.routeSubmodel != ROUTE_INACTIVE, acts) << kind << " " << movement;
    }
}

struct Verdict {
  BigActions actions;
  double vanished;  // movement for the kinds that stand still, 1e-8 otherwise
  bool acts;
};

// What the five classes decide together, lists and movements as they are.
TEST_F(SubModelControl, VerdictTable) {
  const Verdict cases[] = {
      // one kind alone
      {{kSlow, kNone, kNone, kNone, kNone}, 1e-8, true},
      {{kMoving, kNone, kNone, kNone, kNone}, 1e-8, false},
      {{kNone, kSlow, kNone, kNone, kNone}, 1e-8, true},
      {{kNone, kMoving, kNone, kNone, kNone}, 1e-8, false},
      {{kNone, kNone, kNone, kSlow, kNone}, 1e-8, true},
      {{kNone, kNone, kNone, kMoving, kNone}, 1e-8, false},
      // still slacks need no still dual side
      {{kNone, kStill, kNone, kMoving, kNone}, 1e-8, true},
      {{kSlow, kStill, kNone, kMoving, kNone}, 1e-8, true},
      {{kStill, kStill, kNone, kMoving, kNone}, 1e-8, false},
      {{kStill, kStill, kNone, kMoving, kNone}, 1e-16, true},
      // a moving variable beside still slacks follows once they have come to a full stop
      {{kMoving, kStill, kNone, kNone, kNone}, 1e-8, false},
      {{kMoving, kStill, kNone, kNone, kNone}, 1e-15, false},
      {{kMoving, kStill, kNone, kNone, kNone}, 0.9e-15, true},
      {{kMoving, kStill, kStill, kNone, kNone}, 0.9e-15, true},
      {{kMoving, kSlow, kStill, kNone, kNone}, 0.9e-15, false},
      {{kMoving, kStill, kSlow, kNone, kNone}, 0.9e-15, false},
      // rows alone lead as well
      {{kSlow, kNone, kStill, kMoving, kNone}, 1e-8, true},
      // the dual side
      {{kNone, kNone, kNone, kNone, kStill}, 1e-8, true},
      {{kMoving, kNone, kNone, kSlow, kStill}, 1e-8, true},
      {{kMoving, kNone, kNone, kStill, kStill}, 1e-8, false},
      {{kMoving, kNone, kNone, kMoving, kStill}, 0.9e-15, true},
      {{kMoving, kNone, kNone, kMoving, kStill}, 1e-15, false},
      {{kNone, kNone, kNone, kMoving, kSlow}, 0.9e-15, false},
      // all slow
      {{kSlow, kSlow, kSlow, kSlow, kSlow}, 1e-8, true},
      {{kSlow, kSlow, kSlow, kSlow, kMoving}, 1e-8, false},
  };
  for (const Verdict& c : cases) {
    makePoint();
    set(c.actions);
    for (double* movement : {&submodel->deltaBound, &submodel->deltaRow, &submodel->deltaColumn})
      if (*movement == 1e-8) *movement = c.vanished;
    const int32_t status = controlTwice();
    EXPECT_EQ(hub.routeSubmodel != ROUTE_INACTIVE, c.acts) << &c - cases;
    const auto goes = [](BigAction a) { return a == kStill || a == kSlow; };
    const bool invitro = c.acts && (goes(c.actions.rowSlack) || goes(c.actions.boundDual));
    EXPECT_EQ(status, invitro ? 1003 : 0) << &c - cases;
    EXPECT_EQ(hub.routeSubmodel, invitro ? ROUTE_INVITRO : c.acts ? ROUTE_INVIVO : ROUTE_INACTIVE);
  }
}

// A big variable that only follows its slacks is shifted with them, whatever its own movement.
TEST_F(SubModelControl, FollowerActsWithItsLeader) {
  makePoint();
  set({kMoving, kStill, kNone, kNone, kNone});
  submodel->deltaBound = 0.0;
  ASSERT_EQ(controlTwice(), 0);
  EXPECT_EQ(flags(), (Ints{BIG_INVIVO, BIG_INVIVO, 0, 0, 0}));
}

TEST_F(SubModelControl, InVivoShiftsThenRemovesThenShiftsDuals) {
  makePoint();
  set({kStill, kStill, kNone, kStill, kNone});
  const std::vector<double> before = state();
  ASSERT_EQ(controlTwice(), 0);
  EXPECT_EQ(flags(), (Ints{1, 1, 0, 1, 0}));
  EXPECT_EQ(submodel->deltaX + submodel->deltaBound + submodel->deltaY, 0.0);
  // The removed bound was shifted before it was kept.
  EXPECT_EQ(submodel->shiftPrimal[0], 6 * B);
  EXPECT_EQ(submodel->lowerSub[0], -6 * B);
  EXPECT_EQ(ipm->lower[0], -kRemovedBound);
  EXPECT_EQ(ipm->lowerSlack[0], 0.0);
  EXPECT_EQ(ipm->dual[0], 0.0);
  EXPECT_EQ(ipm->dual[1], 0.1 * B);
  ASSERT_EQ(undoInvivo(ipm, &hub, submodel), 0);
  std::vector<double> after = state();
  // With the route INVIVO the dual of a restored bound is 0.
  EXPECT_EQ(ipm->lowerDual[0], 0.0);
  ipm->lowerDual[0] = 0.25;
  after = state();
  ASSERT_EQ(after.size(), before.size());
  for (size_t k = 0; k < after.size(); ++k) EXPECT_NEAR(after[k], before[k], 1e-9 * (1.0 + std::fabs(before[k])));
  EXPECT_EQ(flags(), kNothing);
  EXPECT_EQ(submodel->shiftPrimal, nullptr);
  EXPECT_EQ(submodel->shiftDual, nullptr);
  EXPECT_EQ(submodel->rowBeginSub, nullptr);
  EXPECT_EQ(submodel->lowerSub, nullptr);
}

// A shift of 1e13 leaves three digits of a cost of 0.1; the data must come back with all of theirs.
TEST_F(SubModelControl, DataComeBackBitForBitHoweverLargeTheShifts) {
  for (bool quadratic : {false, true}) {
    makePoint(IPM_METHOD_AUGMENTED, quadratic);
    for (int j = 0; j < 4; ++j) ipm->obj[j] += 0.1;
    for (int i = 0; i < 3; ++i) ipm->rhs[i] += 0.1;
    ipm->primal[0] = 3e13;
    ipm->dual[0] = -7e13;
    const auto data = [&] {
      std::vector<double> all;
      for (const double* v : {ipm->obj, ipm->lower, ipm->upper}) all.insert(all.end(), v, v + 4);
      all.insert(all.end(), ipm->rhs, ipm->rhs + 3);
      return all;
    };
    const std::vector<double> before = data();
    set({kStill, kStill, kNone, kStill, kNone});
    ASSERT_EQ(controlTwice(), 0);
    EXPECT_EQ(flags(), (Ints{1, 1, 0, 1, 0}));
    EXPECT_NE(data(), before);
    ASSERT_EQ(undoInvivo(ipm, &hub, submodel), 0);
    EXPECT_EQ(data(), before);
    EXPECT_EQ(submodel->trueObj, nullptr);
  }
}

TEST_F(SubModelControl, QuadraticShiftTakesTheGradientAlongAndBack) {
  makePoint(IPM_METHOD_AUGMENTED, true);
  set({kStill, kNone, kNone, kNone, kNone});
  const qztest::Vector c = qztest::EngineCase::view(ipm->obj, 4);
  const qztest::Vector x = test->x();
  ASSERT_EQ(controlTwice(), 0);
  const qztest::Vector shift = x - test->x();
  const qztest::Vector gradient = c + test->dense().Q * shift;
  for (int j = 0; j < 4; ++j) EXPECT_DOUBLE_EQ(ipm->obj[j], gradient[j]);
  ASSERT_EQ(undoInvivo(ipm, &hub, submodel), 0);
  for (int j = 0; j < 4; ++j) EXPECT_DOUBLE_EQ(ipm->obj[j], c[j]);
}

// Shifts move no residual of rows, columns and bounds: the shifted problem is the same problem.
TEST_F(SubModelControl, ShiftsLeaveTheResiduals) {
  for (bool quadratic : {false, true}) {
    makePoint(IPM_METHOD_AUGMENTED, quadratic);
    const double primalInfeas = ipm->primalInfeas, dualInfeas = ipm->dualInfeas, boundInfeas = ipm->boundInfeas;
    ipm->mu = -1.0;
    set({kStill, kNone, kNone, kStill, kNone});
    ASSERT_EQ(controlTwice(), 0);
    EXPECT_NEAR(ipm->primalInfeas, primalInfeas, 1e-9 * (1 + primalInfeas));
    EXPECT_NEAR(ipm->dualInfeas, dualInfeas, 1e-9 * (1 + dualInfeas));
    EXPECT_NEAR(ipm->boundInfeas, boundInfeas, 1e-9 * (1 + boundInfeas));
    EXPECT_GT(ipm->mu, 0.0) << "measured anew";
  }
}

TEST_F(SubModelControl, RouteOfAnActInVivo) {
  const int32_t from[] = {ROUTE_INACTIVE, ROUTE_INVIVO, ROUTE_INVITRO};
  const int32_t to[] = {ROUTE_INVIVO, ROUTE_INVIVO, ROUTE_BOTH};
  for (int k = 0; k < 3; ++k) {
    makePoint();
    set({kStill, kNone, kNone, kNone, kNone});
    hub.routeSubmodel = from[k];
    ASSERT_EQ(actInvivo(ipm, &hub, submodel, {kStill, kNone, kNone, kNone, kNone}), 0);
    EXPECT_EQ(hub.routeSubmodel, to[k]);
    EXPECT_TRUE(host.messages.empty());
  }
  for (int32_t wrong : {ROUTE_BOTH, ROUTE_RESTORE, ROUTE_UNSCALE}) {
    makePoint();
    set({kStill, kNone, kNone, kNone, kNone});
    host.messages.clear();
    hub.routeSubmodel = wrong;
    EXPECT_EQ(actInvivo(ipm, &hub, submodel, {kStill, kNone, kNone, kNone, kNone}), 0) << "it goes on";
    EXPECT_TRUE(host.loggedText("Error submodelControl: routeSubmodel is wrong at in vivo level activation"));
    EXPECT_EQ(hub.routeSubmodel, wrong);
    EXPECT_EQ(submodel->bBigVar, BIG_INVIVO);
  }
}

TEST_F(SubModelControl, FlagThatIsSetAlreadyIsTold) {
  const BigActions all{kStill, kStill, kNone, kStill, kNone};
  makePoint();
  set(all);
  submodel->bBigVar = submodel->bBigBoundSlack = submodel->bBigDual = BIG_INVITRO;
  EXPECT_EQ(actInvivo(ipm, &hub, submodel, all), 0);
  for (const char* flag : {"bBigVar", "bBigBoundSlack", "bBigDual"})
    EXPECT_TRUE(host.loggedText("Error submodelControl: " + std::string(flag) + " should not be set")) << flag;
  EXPECT_EQ(flags(), (Ints{3, 3, 0, 3, 0}));
}

TEST_F(SubModelControl, RemovalOfEveryPairGoesInVitro) {
  makePoint();
  ipm->numCompl = 1;
  set({kSlow, kStill, kNone, kStill, kNone});
  ASSERT_EQ(controlTwice(), 1003);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INVITRO);
  EXPECT_EQ(flags(), kNothing);
  EXPECT_EQ(plans(), (Ints{2, 2, 0, 2, 0}));
  // Where no bound is to go the number of pairs does not matter.
  makePoint();
  ipm->numCompl = 0;
  set({kSlow, kNone, kNone, kNone, kNone});
  EXPECT_EQ(controlTwice(), 0);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INVIVO);
}

TEST_F(SubModelControl, InVitroPlansWhatTheVerdictNames) {
  struct Case {
    BigActions actions;
    Ints plan;
  };
  const Case cases[] = {
      {{kNone, kNone, kSlow, kNone, kNone}, {0, 0, 2, 0, 0}},
      {{kSlow, kSlow, kSlow, kSlow, kSlow}, {2, 2, 2, 2, 2}},
      {{kStill, kNone, kNone, kNone, kSlow}, {2, 0, 0, 0, 2}},
      // a side with something that moves too much stays out
      {{kSlow, kNone, kStill, kMoving, kNone}, {2, 0, 2, 0, 0}},
      {{kMoving, kNone, kNone, kSlow, kStill}, {0, 0, 0, 2, 2}},
  };
  for (const Case& c : cases) {
    makePoint();
    set(c.actions);
    ASSERT_EQ(controlTwice(), 1003);
    EXPECT_EQ(hub.routeSubmodel, ROUTE_INVITRO);
    EXPECT_EQ(plans(), c.plan) << &c - cases;
    EXPECT_EQ(flags(), kNothing);
    const double movements[] = {submodel->deltaX, submodel->deltaBound, submodel->deltaRow, submodel->deltaY,
                                submodel->deltaColumn};
    for (size_t k = 0; k < 5; ++k) {
      if (c.plan[k] == 0) continue;
      EXPECT_EQ(movements[k], 0.0);
    }
    EXPECT_EQ(ipm->stopState, STOP_ITERATE);
  }
}

TEST_F(SubModelControl, InVitroTakesOverWhatIsInForceInVivo) {
  makePoint();
  set({kStill, kStill, kNone, kStill, kNone});
  ASSERT_EQ(controlTwice(), 0);
  ASSERT_EQ(hub.routeSubmodel, ROUTE_INVIVO);
  bigRows({2});
  submodel->deltaRow = 1e-8;
  ipm->dual[1] = 2.0;
  ASSERT_EQ(control(), 0) << "the counts changed";
  ASSERT_EQ(control(), 1003);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INVITRO);
  EXPECT_EQ(plans(), (Ints{2, 2, 2, 2, 0}));
  EXPECT_EQ(flags(), (Ints{1, 1, 0, 1, 0})) << "undone when the iteration is left";
}

TEST_F(SubModelControl, RouteBothOnlyGuards) {
  makePoint();
  hub.routeSubmodel = ROUTE_BOTH;
  submodel->bBigIneqnSlack = BIG_INVITRO;
  set({kStill, kNone, kNone, kNone, kNone});
  for (int pass = 0; pass < 3; ++pass) EXPECT_EQ(control(), 0);
  EXPECT_EQ(flags(), (Ints{0, 0, 2, 0, 0}));
  EXPECT_EQ(submodel->prevBigVar, 2) << "the counts are taken note of";
  submodel->bBigDual = BIG_INVIVO;
  bigDuals({1});
  ipm->dual[1] = 0.5;
  EXPECT_EQ(control(), 1004);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_RESTORE);
}

TEST_F(SubModelControl, EndOfARunTriesWhatIsBig) {
  for (int32_t stop : {STOP_NOW, STOP_RESET_GO_ON, STOP_RESET_STOP})
    for (int32_t status : {QZ_STATUS_PRIMAL_INFEASIBLE, QZ_STATUS_DUAL_INFEASIBLE, QZ_STATUS_BOTH_INFEASIBLE}) {
      makePoint();
      set({kMoving, kNone, kNone, kNone, kNone});
      ipm->stopState = stop;
      ipm->status = status;
      EXPECT_EQ(control(), 0);
      EXPECT_EQ(flags(), (Ints{1, 0, 0, 0, 0})) << "at once, whatever the counts were and though it moves";
      EXPECT_EQ(ipm->stopState, STOP_ITERATE);
    }
}

TEST_F(SubModelControl, EndOfARunWithAnAnswerOrAFailureLeavesEverything) {
  for (int32_t stop : {STOP_NOW, STOP_RESET_GO_ON, STOP_RESET_STOP})
    for (int32_t status : {1, 7, 8, 10, 12, 15, -1086}) {
      makePoint();
      set({kStill, kStill, kStill, kStill, kStill});
      ipm->stopState = stop;
      ipm->status = status;
      EXPECT_EQ(control(), 0);
      EXPECT_EQ(flags(), kNothing);
      EXPECT_EQ(ipm->stopState, stop);
    }
}

TEST_F(SubModelControl, EndOfARunWithAFlagSetDoesNotActAgain) {
  makePoint();
  set({kSlow, kNone, kSlow, kNone, kNone});
  submodel->bBigDual = BIG_INVITRO;
  ipm->stopState = STOP_NOW;
  EXPECT_EQ(control(), 0);
  EXPECT_EQ(ipm->stopState, STOP_NOW);
}

TEST_F(SubModelControl, EndOfARunActsOnceInASolve) {
  makePoint();
  for (bool first : {true, false}) {
    set({kSlow, kNone, kNone, kNone, kNone});
    ipm->stopState = STOP_NOW;
    ipm->status = QZ_STATUS_PRIMAL_INFEASIBLE;
    EXPECT_EQ(control(), 0);
    EXPECT_EQ(submodel->bBigVar, first ? BIG_INVIVO : 0);
    EXPECT_EQ(ipm->stopState, first ? STOP_ITERATE : STOP_NOW);
    ASSERT_EQ(undoInvivo(ipm, &hub, submodel), 0);
    hub.routeSubmodel = ROUTE_INACTIVE;
  }
}

TEST_F(SubModelControl, EndOfARunLeavesUntouchableKindsAlone) {
  makePoint();
  set({kSlow, kNone, kSlow, kSlow, kNone});
  submodel->deltaRow = BIG_ACTIVE;
  submodel->deltaY = 100.0;
  ipm->stopState = STOP_NOW;
  EXPECT_EQ(control(), 0);
  EXPECT_EQ(flags(), (Ints{1, 0, 0, 0, 0}));
  makePoint();
  set({kNone, kNone, kSlow, kNone, kNone});
  submodel->deltaRow = BIG_STEP;
  ipm->stopState = STOP_NOW;
  EXPECT_EQ(control(), 0);
  EXPECT_EQ(flags(), kNothing);
  EXPECT_EQ(ipm->stopState, STOP_NOW);
}

TEST_F(SubModelControl, EndOfARunWithBothDualKindsGoesInVitro) {
  makePoint();
  set({kNone, kNone, kNone, kMoving, kMoving});
  ipm->stopState = STOP_NOW;
  EXPECT_EQ(control(), 1003);
  EXPECT_EQ(plans(), (Ints{0, 0, 0, 2, 2}));
  EXPECT_EQ(ipm->stopState, STOP_ITERATE) << "the reduction is iterated on";
}

TEST_F(SubModelControl, EndOfARunDoesNotWishForUntouchableKinds) {
  makePoint();
  set({kSlow, kSlow, kNone, kNone, kMoving});
  submodel->deltaX = BIG_STEP;
  submodel->deltaBound = 100.0;
  ipm->stopState = STOP_NOW;
  EXPECT_EQ(control(), 1003);
  EXPECT_EQ(plans(), (Ints{0, 0, 0, 0, 2}));
  EXPECT_EQ(submodel->deltaX, BIG_STEP);
}

TEST_F(SubModelControl, PassedBoundComesBackInsideTheLoop) {
  makePoint();
  set({kStill, kStill, kNone, kStill, kNone});
  ASSERT_EQ(controlTwice(), 0);
  ipm->primal[0] = -6 * B - 5.0;  // in shifted terms the bound stands at -6 B
  ipm->stopState = STOP_NOW;
  ipm->status = QZ_STATUS_OPTIMAL;
  ASSERT_EQ(control(), 0);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INACTIVE);
  EXPECT_EQ(ipm->stopState, STOP_ITERATE) << "a stop on the other side of a bound is none";
  EXPECT_EQ(flags(), kNothing);
  EXPECT_EQ(counts(), Ints(10, 0));
  EXPECT_NEAR(ipm->primal[0], -5.0, 1e-9);
  EXPECT_EQ(ipm->lower[0], 0.0);
  EXPECT_NEAR(ipm->lowerSlack[0], 5.0, 1e-9);
  EXPECT_EQ(ipm->lowerDual[0], 0.25) << "the saved dual, for the iteration goes on";
  EXPECT_GT(ipm->boundInfeas, 0.0) << "measured anew";
}

TEST_F(SubModelControl, AnyGuardRestores) {
  makePoint();
  set({kStill, kNone, kNone, kNone, kNone});
  ASSERT_EQ(controlTwice(), 0);
  const double x = 6 * B + 1.5 * B;
  ipm->primal[0] = 1.5 * B;
  ASSERT_EQ(control(), 0);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INACTIVE);
  EXPECT_EQ(ipm->primal[0], x);
  EXPECT_EQ(flags(), kNothing);
}

TEST_F(SubModelControl, BreakIsNotLostToARestoration) {
  for (int32_t status : {10, 12, -1086}) {
    makePoint();
    set({kNone, kStill, kNone, kNone, kNone});
    ASSERT_EQ(controlTwice(), 0);
    ipm->primal[0] = -5.0;
    ipm->stopState = STOP_NOW;
    ipm->status = status;
    EXPECT_EQ(control(), 0);
    EXPECT_EQ(ipm->stopState, STOP_NOW);
    EXPECT_EQ(ipm->status, status);
    EXPECT_EQ(submodel->bBigBoundSlack, BIG_INVIVO);
    // A point that is feasible with an open gap has the same status 10 while the run goes on: there the guard holds.
    if (status != 10) continue;
    ipm->stopState = STOP_ITERATE;
    EXPECT_EQ(control(), 0);
    EXPECT_EQ(submodel->bBigBoundSlack, 0);
  }
}

TEST_F(SubModelControl, InVitroChangeInForceIsTheControllersToUndo) {
  for (bool rows : {true, false}) {
    makePoint();
    set({kStill, kNone, kNone, kNone, kNone});
    ASSERT_EQ(controlTwice(), 0);
    (rows ? submodel->bBigIneqnSlack : submodel->bBigBoundDual) = BIG_INVITRO;
    submodel->deltaRow = 1.0;  // not quiet
    ipm->primal[0] = 2 * B;
    EXPECT_EQ(control(), 1004);
    EXPECT_EQ(hub.routeSubmodel, ROUTE_RESTORE);
    EXPECT_EQ(submodel->bBigVar, BIG_INVIVO) << "undone when the iteration is left";
    ASSERT_EQ(undoInvivo(ipm, &hub, submodel), 0);
  }
}

TEST_F(SubModelControl, FlagThatNothingUndoesIsAFailure) {
  makePoint();
  bigVars({0});
  submodel->bBigVar = BIG_INVITRO;
  hub.routeSubmodel = ROUTE_INVITRO;
  EXPECT_EQ(control(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error submodelControl: flags are not clear for in vivo restore"));
}

// Whatever allocation fails, the status comes up and the undoing finds its way.
TEST_F(SubModelControl, EveryFailedAllocationOfAnActIsHandedUp) {
  for (bool quadratic : {false, true}) {
    int failures = 0;
    for (int64_t k = 1;; ++k) {
      makePoint(IPM_METHOD_AUGMENTED, quadratic);
      set({kStill, kStill, kNone, kStill, kNone});
      ASSERT_EQ(control(), 0);
      host.failAllocation(k);
      const int32_t status = control();
      host.failAllocation(0);
      const int32_t undone = undoInvivo(ipm, &hub, submodel);
      EXPECT_EQ(undone, 0);
      EXPECT_EQ(flags(), kNothing);
      if (status == 0) break;
      EXPECT_EQ(status, QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
      ++failures;
    }
    EXPECT_GE(failures, quadratic ? 15 : 11);
  }
}

TEST_F(SubModelControl, UndoingOfAQuadraticShiftNeedsMemory) {
  makePoint(IPM_METHOD_AUGMENTED, true);
  set({kStill, kNone, kNone, kNone, kNone});
  ASSERT_EQ(controlTwice(), 0);
  ipm->primal[0] = 2 * B;
  host.failAllocation(1);
  EXPECT_EQ(control(), QZ_STATUS_OUT_OF_MEMORY);
  host.failAllocation(0);
  EXPECT_EQ(submodel->bBigVar, BIG_INVIVO);
}

// minimise x0 + x1 subject to x0 = 60000, 0 <= x0, 0 <= x1 <= 5: x = (60000, 0), y = 1, lower dual of x1 = 1.
qztest::DenseModel farModel() {
  qztest::DenseModel m;
  m.A.resize(1, 2);
  m.A << 1, 0;
  m.c = qztest::Vector::Ones(2);
  m.b = qztest::Vector::Constant(1, 6 * B);
  m.lower = qztest::Vector::Zero(2);
  m.upper.resize(2);
  m.upper << qztest::kNone, 5;
  m.sense = "E";
  return m;
}

class Confirmation : public SubModelControl {
 protected:
  // The optimum, but for `residual` in the dual of x0, with x0 shifted and its bound removed.
  void stopShifted(double residual) {
    make(farModel());
    submodel->moveTolerance = 0.01;
    const double tiny = 1e-12;
    ipm->primal[0] = ipm->lowerSlack[0] = 6 * B;
    ipm->primal[1] = ipm->lowerSlack[1] = tiny;
    ipm->upperSlack[1] = 5.0 - tiny;
    ipm->lowerDual[0] = tiny;
    ipm->lowerDual[1] = 1.0 + tiny;
    ipm->upperDual[1] = tiny;
    ipm->dual[0] = 1.0 - residual;
    bigVars({0});
    bigBounds({0}, {SUB_LOWER});
    ipm->status = QZ_STATUS_PRIMAL_INFEASIBLE;
    ASSERT_EQ(actInvivo(ipm, &hub, submodel, {kStill, kStill, kNone, kNone, kNone}), 0);
    ipm->status = QZ_STATUS_OPTIMAL;
    ipm->stopState = STOP_NOW;
  }
};

TEST_F(Confirmation, OptimumInTrueTermsIsLeftToItsStop) {
  stopShifted(0.0);
  ASSERT_EQ(control(), 0);
  EXPECT_EQ(ipm->stopState, STOP_NOW);
  EXPECT_EQ(ipm->status, QZ_STATUS_OPTIMAL);
  EXPECT_EQ(hub.routeSubmodel, ROUTE_INACTIVE);
  EXPECT_EQ(flags(), kNothing);
  EXPECT_EQ(ipm->primal[0], 6 * B);
  EXPECT_EQ(ipm->lower[0], 0.0);
  EXPECT_EQ(submodel->moveTolerance, 0.01);
}

// A residual of 1e-5 is nothing beside a shifted x of 0, but much beside 60000. A small enough one goes to the bound's
// dual, where it counts times the slack.
TEST_F(Confirmation, OptimumInShiftedTermsAloneGoesOnInTrueOnes) {
  for (double residual : {1e-5, -1e-5}) {
    if (submodel != nullptr) FreeSubModel(&test->env, &submodel);
    stopShifted(residual);
    ipm->debugLevel = 1;
    ASSERT_EQ(control(), 0);
    EXPECT_EQ(ipm->stopState, STOP_ITERATE) << residual;
    EXPECT_NE(ipm->status, QZ_STATUS_OPTIMAL);
    EXPECT_EQ(hub.routeSubmodel, ROUTE_INACTIVE);
    EXPECT_EQ(ipm->primal[0], 6 * B);
    EXPECT_GT(ipm->lowerDual[0], 0.0) << "an interior point";
    EXPECT_LT(ipm->lowerDual[0], 1e-10) << "on the central path";
    EXPECT_DOUBLE_EQ(submodel->moveTolerance, 1e-7);
    EXPECT_EQ(counts(), Ints(10, 0));
    EXPECT_TRUE(host.loggedText("submodel: iteration %d: optimal in shifted terms only"));
  }
}

TEST_F(Confirmation, ReducedRunIsTheControllersToConfirm) {
  stopShifted(1e-5);
  hub.routeSubmodel = ROUTE_BOTH;
  ASSERT_EQ(control(), 0);
  EXPECT_EQ(ipm->stopState, STOP_NOW);
  EXPECT_EQ(flags(), (Ints{1, 1, 0, 0, 0}));
}

TEST_F(Confirmation, NeedsMemoryForTheResiduals) {
  stopShifted(0.0);
  host.failAllocation(1);
  EXPECT_EQ(control(), QZ_STATUS_OUT_OF_MEMORY);
  host.failAllocation(0);
}

TEST_F(SubModelControl, TraceTellsTheStory) {
  makePoint();
  set({kStill, kStill, kNone, kStill, kNone});
  ipm->debugLevel = 1;
  ASSERT_EQ(controlTwice(), 0);
  EXPECT_TRUE(host.loggedText("submodel: iteration %d: above %g are %d variables"));
  EXPECT_TRUE(host.loggedText("submodel: iteration %d: in vivo: %d variables shifted"));
  ipm->primal[0] = -9 * B;
  ASSERT_EQ(control(), 0);
  EXPECT_TRUE(host.loggedText("submodel: iteration %d: a big value came back"));
  set({kNone, kNone, kSlow, kNone, kNone});
  ASSERT_EQ(controlTwice(), 1003);
  EXPECT_TRUE(host.loggedText("submodel: iteration %d: wishes in vitro"));
  for (const auto& message : host.messages) EXPECT_EQ(message.level, 0);
}

}  // namespace
}  // namespace qz
