// The control loop on models whose optimal pair is known. The run is stopped after some iterations, and the marks are
// set by hand: right ones (rows that end inactive, columns that end at a bound) and wrong ones. Whatever is marked, the
// loop must end at the optimum of the outer model.
#include "engine/control.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "engine/constructed_model.h"
#include "engine/engine_case.h"
#include "engine/iteration.h"
#include "engine/linear_algebra.h"
#include "engine/measures.h"
#include "engine/newton_system.h"
#include "engine/normal_system.h"
#include "engine/start_point.h"
#include "submodel/submodel_control.h"
#include "transform/reduced_model.h"

namespace qz {
namespace {

using qztest::construct;
using qztest::Constructed;
using qztest::DenseModel;
using qztest::EngineCase;
using qztest::RandomShape;
using qztest::Vector;

struct Marks {
  std::vector<int32_t> rows, columns, variables, duals, bounds, sides;
};

class ControlLoop : public ::testing::Test {
 protected:
  ~ControlLoop() override { release(); }

  void make(const Constructed& from, int32_t typeMethod = IPM_METHOD_AUGMENTED) {
    release();
    truth = from;
    test = std::make_unique<EngineCase>(host, from.model, typeMethod);
    ASSERT_TRUE(test->start());
    ipm = test->ipm;
    perf.takeSample = [](QzTimerModule*, QzTimerSample* sample) -> int32_t { return *sample = {}, 0; };
    perf.difference = [](QzTimerModule*, const QzTimerSample*, const QzTimerSample*,
                         QzTimerDifference* difference) -> int32_t { return *difference = {}, 0; };
    timer.perfModule = &perf;
    timer.type = 1;
    timer.realStart = host.now;
    timer.realLimit = 1e9;
    ipm->timer = &timer;
    ASSERT_EQ(from.model.quadratic() ? ipmInitQP(ipm, nullptr) : ipmInitLP(ipm, nullptr), 0);
    if (typeMethod == IPM_METHOD_NORMAL) {
      ldlCleanUpAll(&test->env, &ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
      ASSERT_EQ(ipmInitNormal(ipm), 0);
    }
    test->hub.numColSaved = from.model.cols();
    test->hub.numRowSaved = from.model.rows();
    test->hub.numCoefSaved = test->model.numCoef;
    activity.assign(static_cast<size_t>(from.model.rows()), 0.0);
    test->model.rowActivity = activity.data();
    control = Control{};
    control.env = &test->env;
    control.model = &test->model;
    control.option = &test->option;
    control.hub = &test->hub;
    control.solution = &test->solution;
    control.ipm = ipm;
    control.innerHub = poolAllocateZero<Hub>(host.pool(), 1);
    ASSERT_EQ(NewSubModel(&test->env, &test->model, &control.submodel), 0);
    ClearSubModel(&test->env, control.submodel);
    ASSERT_EQ(NewSubModel2(&test->env, control.submodel), 0);
    control.submodel->thresholdBig = 0.5;
  }

  void release() {
    if (test == nullptr) return;
    if (control.presolver != nullptr && control.presolver->inModel != nullptr)
      FreeReducedModel(control.env, &control.model, control.presolver->inModel);
    if (control.env != nullptr) {
      dropReduction(control);
      control.outerPoint.release();
      FreeSubModel(control.env, &control.submodel);
      FreeHub(control.env, &control.innerHub);
    }
    test.reset();
  }

  // Some iterations on the outer model.
  void iterate(int32_t count) {
    ipm->maxIter = count;
    ipm->stopState = STOP_ITERATE;
    const int32_t status = ipmMethod(ipm, control.hub, control.submodel);
    ASSERT_TRUE(status == QZ_STATUS_ITERATION_LIMIT || status == QZ_STATUS_OPTIMAL) << status;
    ipm->maxIter = 1000;
  }

  // The wish to reduce, as the iteration leaves it.
  void wish(const Marks& marks) {
    SubModel* s = control.submodel;
    const auto put = [](int32_t* list, int32_t& count, int32_t& plan, const std::vector<int32_t>& entries) {
      count = static_cast<int32_t>(entries.size());
      std::copy(entries.begin(), entries.end(), list);
      plan = entries.empty() ? 0 : int32_t{BIG_INVITRO};
    };
    put(s->idxRowSub, s->numBigIneqnSlack, s->planBigIneqnSlack, marks.rows);
    put(s->idxColSub, s->numBigBoundDual, s->planBigBoundDual, marks.columns);
    put(s->idxBigVar, s->numBigVar, s->planBigVar, marks.variables);
    put(s->idxBigDual, s->numBigDual, s->planBigDual, marks.duals);
    put(s->idxBoundSub, s->numBigBoundSlack, s->planBigBoundSlack, marks.bounds);
    for (size_t k = 0; k < marks.bounds.size(); ++k) s->statusBoundSub[marks.bounds[k]] = marks.sides[k];
    control.hub->routeSubmodel = ROUTE_INVITRO;
    control.model->status = QZ_STATUS_RESTART;
  }

  int32_t loop(Next next) {
    visited.clear();
    while (next.stage != Stage::kLeave) {
      visited.push_back(next.stage);
      if (next.stage == Stage::kIterate)
        next = iterateModel(control);
      else if (next.stage == Stage::kReduce)
        next = reduceToSubmodel(control);
      else if (next.stage == Stage::kRecover)
        next = recoverModel(control);
      else
        next = restartIteration(control);
    }
    return next.result;
  }
  int64_t visits(Stage stage) const { return std::count(visited.begin(), visited.end(), stage); }

  // Marks that agree with the optimum: inactive rows, columns at a bound, and inactive bounds.
  Marks rightMarks() const {
    Marks marks;
    const DenseModel& m = truth.model;
    for (int i = 0; i < m.rows(); ++i) {
      if (m.sense[static_cast<size_t>(i)] == 'G' && truth.slack[i] > 0.0)
        marks.rows.push_back(i);
      else
        marks.duals.push_back(i);
    }
    for (int j = 0; j < m.cols(); ++j) {
      if (truth.reduced[j] != 0.0) {
        marks.columns.push_back(j);
        continue;
      }
      marks.variables.push_back(j);
      // The normal equations need a bound of every column.
      if (!m.hasLower(j) || !m.hasUpper(j)) continue;
      marks.bounds.push_back(j);
      marks.sides.push_back(j % 2 == 0 ? SUB_LOWER : SUB_UPPER);
    }
    return marks;
  }

  // The optimality conditions of the outer model, from the dense data alone.
  void expectOptimal(double tolerance) const {
    const DenseModel& m = truth.model;
    const Solution& s = test->solution;
    const Vector x = EngineCase::view(s.primal, m.cols());
    const Vector y = EngineCase::view(s.dual, m.rows());
    Vector cost = Vector::Zero(m.cols());
    for (int j = 0; j < m.cols(); ++j) cost[j] = test->model.obj[j];
    double objective = cost.dot(x);
    Vector gradient = cost;
    if (m.quadratic()) {
      objective += 0.5 * x.dot(m.Q * x);
      gradient += m.Q * x;
    }
    const Vector z = gradient - m.A.transpose() * y;
    const Vector row = m.A * x - m.b;
    const double rowScale = 1.0 + m.b.norm();
    const double colScale = 1.0 + cost.norm();
    for (int i = 0; i < m.rows(); ++i) {
      const bool inequality = m.sense[static_cast<size_t>(i)] == 'G';
      EXPECT_GT(row[i], -tolerance * rowScale) << "row " << i;
      if (!inequality)
        EXPECT_LT(row[i], tolerance * rowScale) << "row " << i;
      else
        EXPECT_GT(y[i], -tolerance * colScale) << "row " << i;
    }
    double gap = 0.0;
    for (int i = 0; i < m.rows(); ++i) gap += std::fabs(y[i] * row[i]);
    for (int j = 0; j < m.cols(); ++j) {
      EXPECT_NEAR(z[j], s.lowerDual[j] - s.upperDual[j], tolerance * colScale) << "column " << j;
      if (m.hasLower(j)) {
        EXPECT_GT(x[j], m.lower[j] - tolerance * rowScale);
        gap += std::fabs(s.lowerDual[j] * (x[j] - m.lower[j]));
      } else {
        EXPECT_LT(s.lowerDual[j], tolerance * colScale);
      }
      if (m.hasUpper(j)) {
        EXPECT_LT(x[j], m.upper[j] + tolerance * rowScale);
        gap += std::fabs(s.upperDual[j] * (m.upper[j] - x[j]));
      } else {
        EXPECT_LT(s.upperDual[j], tolerance * colScale);
      }
    }
    EXPECT_LT(gap, 10 * tolerance * (1.0 + std::fabs(objective)));
  }

  void expectOuterModelStands() const {
    EXPECT_EQ(control.model, &test->model);
    EXPECT_EQ(control.presolver, nullptr);
    EXPECT_EQ(control.reducedSolution, nullptr);
    EXPECT_EQ(ipm->numRow, test->model.numRow);
    EXPECT_EQ(ipm->numCol, test->model.numCol);
    EXPECT_EQ(ipm->numDim, test->model.numRow + test->model.numCol);
    EXPECT_EQ(ipm->primal, test->solution.primal);
    EXPECT_EQ(ipm->obj, test->model.obj);
  }

  qztest::TestHost host;
  std::unique_ptr<EngineCase> test;
  Constructed truth;
  Ipm* ipm = nullptr;
  Control control{};
  QzTimerModule perf{};
  IPM_timer timer{};
  std::vector<double> activity;
  std::vector<Stage> visited;
};

struct Kind {
  bool quadratic;
  int32_t typeMethod;
};
constexpr Kind kKinds[] = {{false, IPM_METHOD_AUGMENTED}, {false, IPM_METHOD_NORMAL}, {true, IPM_METHOD_AUGMENTED}};

Constructed randomCase(uint32_t seed, const Kind& kind) {
  std::mt19937 random(seed);
  RandomShape shape;
  shape.rows = 3 + static_cast<int>(seed % 9);
  shape.cols = shape.rows + 2 + static_cast<int>(seed % 13);
  shape.ineqnShare = 0.3 + 0.2 * static_cast<double>(seed % 4);
  shape.upperShare = 0.7;
  shape.lowerShare = kind.typeMethod == IPM_METHOD_NORMAL ? 1.0 : 0.8;
  shape.quadratic = kind.quadratic;
  return construct(random, shape);
}

TEST_F(ControlLoop, RightMarksLeadToTheOptimum) {
  int reduced = 0;
  for (const Kind& kind : kKinds) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " quadratic " + std::to_string(kind.quadratic) + " method " +
                   std::to_string(kind.typeMethod));
      make(randomCase(seed, kind), kind.typeMethod);
      iterate(3);
      const int32_t numIter = ipm->numIter;
      wish(rightMarks());
      EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
      EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
      EXPECT_GE(ipm->numIter, numIter);
      expectOuterModelStands();
      expectOptimal(2e-5);
      reduced += static_cast<int>(visits(Stage::kRecover));
    }
  }
  EXPECT_GE(reduced, 90);
}

// Active rows freed, columns between their bounds fixed: the reduced answer is none, and the outer model is solved on
// from the repaired point.
TEST_F(ControlLoop, WrongMarksAreRepaired) {
  int returned = 0;
  for (const Kind& kind : kKinds) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " quadratic " + std::to_string(kind.quadratic) + " method " +
                   std::to_string(kind.typeMethod));
      make(randomCase(seed, kind), kind.typeMethod);
      iterate(2);
      control.submodel->thresholdBig = 0.1;
      Marks marks;
      for (int i = 0; i < truth.model.rows(); ++i)
        if (truth.model.sense[static_cast<size_t>(i)] == 'G' && i % 2 == 0) marks.rows.push_back(i);
      for (int j = 0; j < truth.model.cols(); ++j) {
        if (!truth.model.hasLower(j) && !truth.model.hasUpper(j)) continue;
        if (ipm->lowerDual[j] > 0.1 && ipm->upperDual[j] > 0.1) continue;
        if (j % 3 == 0) marks.columns.push_back(j);
      }
      wish(marks);
      EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
      EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
      expectOuterModelStands();
      expectOptimal(2e-5);
      if (visits(Stage::kRestart) > 1) {
        ++returned;
        if (control.submodel != nullptr) {
          EXPECT_LT(control.submodel->moveTolerance, 0.01) << "further action is harder";
        }
      }
    }
  }
  EXPECT_GE(returned, 60);
}

// Rows x0 + x1 = 4 and x0 - x1 + x2 >= -10, costs 1, 3, 2: (4, 0, 0) with duals 1 and 0.
Constructed handCase() {
  Constructed out;
  out.model.A = qztest::Matrix{{1, 1, 0}, {1, -1, 1}};
  out.model.c = Vector{{1, 3, 2}};
  out.model.b = Vector{{4, -10}};
  out.model.lower = Vector::Zero(3);
  out.model.upper = Vector::Constant(3, 10.0);
  out.model.sense = "EG";
  return out;
}

TEST_F(ControlLoop, RoutesThatFitNoStepAreErrors) {
  make(handCase());
  control.hub->routeSubmodel = ROUTE_UNSCALE;
  ipm->stopState = STOP_ITERATE;
  const Next afterRun = iterateModel(control);
  EXPECT_EQ(afterRun.stage, Stage::kLeave);
  EXPECT_EQ(afterRun.result, QZ_STATUS_FAILED);
  EXPECT_TRUE(
      host.loggedText("Error ipmSolve: out of resource, routeSubmodel=%d should be either INACTIVE or INVITRO"));
  control.hub->routeSubmodel = ROUTE_INACTIVE;
  EXPECT_EQ(reduceToSubmodel(control).result, QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error ipmSolve: reduce model, routeSubmodel=%d should be INVITRO"));
  control.hub->routeSubmodel = ROUTE_BOTH;
  EXPECT_EQ(recoverModel(control).result, QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error ipmSolve: recover, routeSubmodel=%d should be INVITRO, UNSCALE, or RESTORE"));
}

TEST_F(ControlLoop, ARunEndsAsItsStatusSays) {
  make(handCase());
  for (const int32_t status : {QZ_STATUS_OUT_OF_MEMORY, QZ_STATUS_INTERRUPTED, QZ_STATUS_FAILED}) {
    EXPECT_EQ(endRun(control, status).stage, Stage::kLeave);
    EXPECT_EQ(endRun(control, status).result, status);
  }
  for (const int32_t status : {QZ_STATUS_TIME_LIMIT, QZ_STATUS_ITERATION_LIMIT, QZ_STATUS_OPTIMAL,
                               QZ_STATUS_NEAR_OPTIMAL, QZ_STATUS_PRIMAL_INFEASIBLE, QZ_STATUS_DUAL_INFEASIBLE}) {
    EXPECT_EQ(endRun(control, status).stage, Stage::kLeave);
    EXPECT_EQ(endRun(control, status).result, 0);
  }
  EXPECT_EQ(endRun(control, QZ_STATUS_RESTART).stage, Stage::kReduce);
}

TEST_F(ControlLoop, WithEmptyListsTheIterationGoesOnWithoutAPresolve) {
  make(handCase());
  iterate(2);
  wish({{}, {}, {0}, {0}, {0}, {SUB_UPPER}});
  const int64_t allocations = host.allocations();
  const Next next = reduceToSubmodel(control);
  EXPECT_EQ(next.stage, Stage::kRestart);
  EXPECT_EQ(host.allocations(), allocations);
  EXPECT_EQ(control.hub->routeSubmodel, ROUTE_INACTIVE);
  EXPECT_EQ(control.submodel->planBigVar, 0);
  EXPECT_EQ(control.submodel->numBigDual, 0);
  EXPECT_EQ(control.submodel->moveTolerance, 0.01);
  EXPECT_EQ(loop(next), 0);
  expectOptimal(1e-5);
}

TEST_F(ControlLoop, AWishThatReducesNothingIsAnError) {
  make(handCase());
  iterate(2);
  wish({{1}, {}, {}, {}, {}, {}});
  control.submodel->planBigIneqnSlack = BIG_INVIVO;
  EXPECT_EQ(loop(goTo(Stage::kReduce)), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error ipmSolve: model must be reduced if break from normal iteration"));
}

TEST_F(ControlLoop, IterationsCountOnAndTheReductionReplacesTheEnginesModel) {
  make(handCase());
  iterate(2);
  const int32_t numIter = ipm->numIter;
  control.innerHub->numFreeVar = control.innerHub->numRange = control.innerHub->numLcont = 100;  // of an earlier one
  wish({{1}, {}, {}, {}, {}, {}});
  ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
  EXPECT_LE(control.innerHub->numFreeVar, 2);
  EXPECT_EQ(control.innerHub->numRange, 0);
  EXPECT_EQ(control.innerHub->numLcont, 0);
  EXPECT_EQ(ipm->initOption, kInitOptionSubmodel);
  EXPECT_EQ(test->option.initOption, kInitOptionSubmodel);
  EXPECT_NE(control.model, &test->model);
  EXPECT_EQ(ipm->numRow, 1);
  EXPECT_EQ(ipm->numCol, 2);  // the last column had no other row
  EXPECT_EQ(ipm->numDim, 3);
  EXPECT_EQ(control.submodel->rowMapSub[1], -1);
  EXPECT_EQ(control.submodel->planBigIneqnSlack, 0);
  ipm->stopState = STOP_NOW;
  ipm->maxPrimal = ipm->maxDual = 1e30;
  const Vector point = EngineCase::view(ipm->primal, 2);
  ASSERT_EQ(restartIteration(control).stage, Stage::kIterate);
  EXPECT_EQ(EngineCase::view(ipm->primal, 2), point) << "the starting point belongs to the solve, not to a restart";
  EXPECT_EQ(ipm->numIter, numIter);
  EXPECT_EQ(ipm->stopState, STOP_ITERATE);
  EXPECT_EQ(ipm->maxPrimal, 0.0);
  EXPECT_EQ(ipm->maxDual, 0.0);
  EXPECT_EQ(loop(goTo(Stage::kIterate)), 0);
  EXPECT_GE(ipm->numIter, numIter);
  expectOuterModelStands();
  expectOptimal(1e-5);
}

// Every row freed: presolve answers the rest, and the columns rest where the point had them. The answer does not stand
// on the outer model, which is solved to its end.
TEST_F(ControlLoop, AReductionThatPresolveAnswersIsMeasuredOnTheOuterModel) {
  Constructed all = handCase();
  all.model.sense = "GG";
  make(all);
  iterate(2);
  wish({{0, 1}, {}, {}, {}, {}, {}});
  EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
  ASSERT_GE(visited.size(), 2u);
  EXPECT_EQ(visited[1], Stage::kRecover);
  EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
  expectOuterModelStands();
  expectOptimal(1e-5);
}

// A right reduction that leaves nothing: all columns end at the bounds at which they are fixed.
TEST_F(ControlLoop, AReductionThatPresolveAnswersRightlyEndsTheSolve) {
  Constructed fixed = handCase();
  fixed.model.A = qztest::Matrix{{1, 1, 1}};
  fixed.model.b = Vector::Constant(1, -5.0);
  fixed.model.sense = "G";
  make(fixed);
  iterate(5);
  wish({{0}, {0, 1, 2}, {}, {}, {}, {}});
  EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
  EXPECT_EQ(visited, (std::vector<Stage>{Stage::kReduce, Stage::kRecover}));
  EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
  expectOptimal(1e-6);
  for (int j = 0; j < 3; ++j) EXPECT_EQ(test->solution.primal[j], 0.0);
}

// Of two points the one with torn products is left, however it came about; what comes back besides is then there
// already.
TEST_F(ControlLoop, TheNearerOfTwoPointsGoesOn) {
  for (const bool tornAhead : {false, true}) {
    SCOPED_TRACE(tornAhead);
    make(handCase());
    iterate(2);
    const double whole = ipm->lowerDual[0];
    const double torn = whole + 1e8;
    ipm->lowerDual[0] = tornAhead ? torn : whole;
    ASSERT_EQ(control.outerPoint.save(control.env, control.model->numRow, control.model->numCol, control.solution), 0);
    ipm->lowerDual[0] = tornAhead ? whole : torn;
    control.hub->extraListActive = 1;
    ASSERT_EQ(takeBetterPoint(control), QZ_STATUS_OK);
    EXPECT_EQ(ipm->lowerDual[0], whole);
    EXPECT_EQ(control.hub->extraListActive, tornAhead ? 1 : 0);
  }
}

// Both columns of the equation fixed at 0: presolve sees 0 = 4. With a large dual the row is missed first, and the
// record is kept; otherwise it is freed.
TEST_F(ControlLoop, AReductionThatPresolveShowsInfeasibleIsGivenUp) {
  for (const double dual : {0.5, 2.0}) {
    SCOPED_TRACE(dual);
    make(handCase());
    iterate(2);
    control.submodel->thresholdBig = 1e-3;
    for (int j = 0; j < 2; ++j) {
      ipm->lowerDual[j] = 1.0;
      ipm->upperDual[j] = 1e-4;
    }
    ipm->dual[0] = dual;
    wish({{}, {0, 1}, {}, {0}, {}, {}});
    ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
    EXPECT_EQ(control.submodel->numBigDual, 0);
    EXPECT_EQ(ipm->dual[0], dual) << "no dual was shifted yet";
    EXPECT_EQ(control.hub->routeSubmodel, ROUTE_INACTIVE);
    EXPECT_EQ(control.hub->bigLevelLeft, 1);
    EXPECT_EQ(control.hub->releaseSubmodel, dual > 1.0 ? 0 : 1);
    EXPECT_EQ(control.submodel->moveTolerance, dual > 1.0 ? 0.01 * 1e-5 : 0.01);
    EXPECT_EQ(ipm->numRow, 2);
    control.submodel->thresholdBig = 1e30;
    EXPECT_EQ(loop(goTo(Stage::kRestart)), 0);
    EXPECT_EQ(control.submodel == nullptr, dual <= 1.0);
    EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
    expectOuterModelStands();
    expectOptimal(1e-5);
  }
}

// The same with the second row freed. Where the point misses that row it is repaired, and the record is kept.
TEST_F(ControlLoop, APointThatHadToBeRepairedKeepsTheRecord) {
  for (const bool missed : {false, true}) {
    SCOPED_TRACE(missed);
    Constructed both = handCase();
    both.model.b[1] = -7.0;
    make(both);
    iterate(2);
    control.submodel->thresholdBig = 1e-3;
    for (int j = 0; j < 2; ++j) {
      ipm->lowerDual[j] = 1.0;
      ipm->upperDual[j] = 1e-4;
    }
    ipm->dual[0] = 0.5;
    ipm->primal[0] = missed ? 1.0 : 5.0;
    ipm->primal[1] = missed ? 9.0 : 3.0;
    ipm->primal[2] = 0.5;
    ipm->ineqnSlack[1] = 1.0;
    wish({{1}, {0, 1}, {}, {}, {}, {}});
    ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
    EXPECT_EQ(control.model->status, missed ? QZ_STATUS_RESTART : QZ_STATUS_PRIMAL_INFEASIBLE);
    EXPECT_EQ(control.hub->releaseSubmodel, missed ? 0 : 1);
    EXPECT_EQ(control.submodel->moveTolerance, missed ? 0.01 * 1e-5 : 0.01);
    control.submodel->thresholdBig = 1e30;
    EXPECT_EQ(loop(goTo(Stage::kRestart)), 0);
    EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
    expectOuterModelStands();
    expectOptimal(1e-5);
  }
}

// Without bounds and its inequality the model is unbounded, which only the reduction is: the outer one is solved.
TEST_F(ControlLoop, AFreeSystemWithoutAnAnswerSaysNothingOfTheOuterModel) {
  Constructed ray = handCase();
  ray.model.A = qztest::Matrix{{1, -1, 1}, {1, 1, 1}};
  ray.model.c = Vector{{-1, -1, 1}};
  ray.model.b = Vector{{0, -10}};
  make(ray);
  iterate(3);
  control.submodel->thresholdBig = 1e-3;
  for (int j = 0; j < 3; ++j) ipm->lowerSlack[j] = ipm->upperSlack[j] = 5.0;
  const int32_t both = SUB_LOWER | SUB_UPPER;
  wish({{1}, {}, {}, {}, {0, 1, 2}, {both, both, both}});
  EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
  ASSERT_GE(visited.size(), 2u);
  EXPECT_EQ(visited[1], Stage::kRecover);
  EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
  expectOuterModelStands();
  expectOptimal(1e-5);
  EXPECT_NEAR(test->solution.primal[0], 10.0, 1e-4);
}

// Neither bound of the column can be told to be the one to fix it at.
TEST_F(ControlLoop, AReductionThatCannotBePreparedEndsTheSolve) {
  make(handCase());
  iterate(2);
  ipm->lowerDual[0] = ipm->upperDual[0] = 1.0;
  wish({{}, {0}, {}, {}, {}, {}});
  EXPECT_EQ(loop(goTo(Stage::kReduce)), QZ_STATUS_FAILED);
  EXPECT_EQ(visited, std::vector<Stage>{Stage::kReduce});
  EXPECT_TRUE(host.loggedText("Error preSetSubmodel: both bound duals are big"));
}

TEST_F(ControlLoop, ADualThatCannotBeShiftedEndsTheSolve) {
  make(handCase());
  iterate(2);
  wish({{1}, {}, {}, {0}, {}, {}});
  control.submodel->shiftDual = poolAllocateZero<double>(host.pool(), 2);  // of a shift that was never taken back
  EXPECT_EQ(loop(goTo(Stage::kReduce)), QZ_STATUS_FAILED);
  EXPECT_EQ(visited, std::vector<Stage>{Stage::kReduce});
  EXPECT_TRUE(host.loggedText("Error subShiftDual: submodel->shiftDual should be NULL"));
}

// The normal equations of a reduction stay inaccurate, and the augmented system takes over there. The outer model,
// which is larger, must find room in its arrays when it is iterated on again.
TEST_F(ControlLoop, TheSystemMayChangeOnAReduction) {
  int changed = 0;
  int iteratedOn = 0;
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    make(randomCase(seed, {false, IPM_METHOD_NORMAL}), IPM_METHOD_NORMAL);
    iterate(2);
    Marks marks = rightMarks();
    if (seed % 2 == 0) {  // wrong ones, so that the outer model is returned to
      marks.rows.swap(marks.duals);
      marks.duals.clear();
      std::erase_if(marks.rows, [&](int i) { return truth.model.sense[static_cast<size_t>(i)] != 'G'; });
    }
    wish(marks);
    Next next = reduceToSubmodel(control);
    if (next.stage != Stage::kRestart || control.presolver == nullptr || ipm->numRow == 0) continue;
    next = restartIteration(control);
    ASSERT_EQ(next.stage, Stage::kIterate);
    ASSERT_EQ(formSystem(ipm), 0);
    ASSERT_EQ(factorSystem(ipm), 0);
    std::fill_n(ipm->normalScale, ipm->numRow, 0.0);  // no solve by this factor moves a dual
    computeMeasurement(ipm);
    ASSERT_EQ(solveSystem(ipm, ipm->rhsPredictor), 0);
    if (ipm->typeMethod != IPM_METHOD_AUGMENTED) continue;  // the rows were met without
    ++changed;
    EXPECT_EQ(ipm->cholFactor, nullptr);
    EXPECT_NE(ipm->ldlFactor, nullptr);
    EXPECT_EQ(loop(next), 0);
    EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
    EXPECT_EQ(ipm->typeMethod, IPM_METHOD_AUGMENTED);
    expectOuterModelStands();
    expectOptimal(2e-5);
    iteratedOn += static_cast<int>(visits(Stage::kRestart));
  }
  EXPECT_GE(changed, 30);
  EXPECT_GE(iteratedOn, 15);
}

// A row of one element would become a bound, and leave the running point without a slack for it.
TEST_F(ControlLoop, SingletonRowsOfAReductionStayRows) {
  Constructed single = handCase();
  single.model.A = qztest::Matrix{{1, 1, 0}, {1, -1, 1}, {0, 1, 0}};
  single.model.b = Vector{{4, -10, 1}};
  single.model.sense = "EGG";
  make(single);
  iterate(2);
  wish({{1}, {}, {}, {}, {}, {}});
  ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
  EXPECT_EQ(control.model->numRow, 2);
  EXPECT_EQ(control.model->lower[1], 0.0);
  EXPECT_EQ(loop(goTo(Stage::kRestart)), 0);
  EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
  expectOptimal(1e-5);
}

// Only what is wished for is in force, and what is idle has nothing on record: its lists are in other numbers.
TEST_F(ControlLoop, WishesReplaceTheActionsAndIdleKindsAreForgotten) {
  make(handCase());
  iterate(2);
  wish({{1}, {}, {}, {}, {}, {}});
  SubModel& s = *control.submodel;
  const auto makeIdleKindsBusy = [&s] {
    s.numBigVar = s.prevBigVar = s.numBigBoundSlack = s.prevBigBoundSlack = 1;
    s.numBigDual = s.prevBigDual = s.numBigBoundDual = s.prevBigBoundDual = 1;
    s.deltaX = s.deltaBound = s.deltaY = s.deltaColumn = 0.25;
    s.idxBigVar[0] = s.idxBoundSub[0] = s.idxBigDual[0] = s.idxColSub[0] = 0;
  };
  const auto expectIdleKindsForgotten = [&s] {
    for (int32_t count : {s.numBigVar, s.prevBigVar, s.numBigBoundSlack, s.prevBigBoundSlack, s.numBigDual,
                          s.prevBigDual, s.numBigBoundDual, s.prevBigBoundDual})
      EXPECT_EQ(count, 0);
    EXPECT_EQ(s.deltaX + s.deltaBound + s.deltaY + s.deltaColumn, 0.0);
    EXPECT_EQ(s.numBigIneqnSlack, 1);
  };
  makeIdleKindsBusy();
  s.bBigDual = BIG_INVITRO;
  ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
  EXPECT_EQ(s.bBigIneqnSlack, BIG_INVITRO);
  EXPECT_EQ(s.bBigVar | s.bBigBoundSlack | s.bBigDual | s.bBigBoundDual, 0);
  EXPECT_EQ(s.planBigVar | s.planBigBoundSlack | s.planBigIneqnSlack | s.planBigDual | s.planBigBoundDual, 0);
  expectIdleKindsForgotten();

  // The run on the reduction wants the true terms: the same is wished for on the unscaled model.
  makeIdleKindsBusy();
  test->hub.scaleState = 1;
  test->hub.objScale = 0.5;
  control.hub->routeSubmodel = ROUTE_UNSCALE;
  control.model->status = QZ_STATUS_UNSCALE;
  ASSERT_EQ(recoverModel(control).stage, Stage::kReduce);
  EXPECT_EQ(control.hub->routeSubmodel, ROUTE_INVITRO);
  EXPECT_EQ(test->hub.scaleState, 0);
  EXPECT_EQ(s.planBigIneqnSlack, BIG_INVITRO);
  EXPECT_EQ(s.planBigVar | s.planBigBoundSlack | s.planBigDual | s.planBigBoundDual, 0);
  expectIdleKindsForgotten();
}

TEST_F(ControlLoop, ALimitInScaledTermsEndsTheSolveUnscaled) {
  for (const int32_t limit : {QZ_STATUS_TIME_LIMIT, QZ_STATUS_ITERATION_LIMIT}) {
    make(handCase());
    iterate(2);
    wish({{1}, {}, {}, {}, {}, {}});
    ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
    test->hub.scaleState = 1;
    test->hub.objScale = 0.5;
    control.hub->routeSubmodel = ROUTE_UNSCALE;
    control.model->status = limit;
    const Next next = recoverModel(control);
    EXPECT_EQ(next.stage, Stage::kLeave) << "not reduced again";
    EXPECT_EQ(next.result, 0);
    EXPECT_EQ(test->model.status, limit);
    EXPECT_EQ(test->hub.scaleState, 0);
    EXPECT_EQ(test->model.obj[1], 6.0);
  }
}

TEST_F(ControlLoop, AnEmptyColumnStaysWhereItStood) {
  make(handCase());
  iterate(2);
  wish({{1}, {}, {}, {}, {}, {}});
  ipm->primal[2] = 1.25;
  ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
  control.model->status = QZ_STATUS_TIME_LIMIT;
  const Next next = recoverModel(control);
  EXPECT_EQ(next.stage, Stage::kLeave);
  EXPECT_EQ(next.result, 0);
  EXPECT_EQ(test->model.status, QZ_STATUS_TIME_LIMIT) << "the reduction's";
  EXPECT_EQ(test->solution.primal[2], 1.25) << "not at the bound that its cost asks for";
}

TEST_F(ControlLoop, ARestartKeepsTheIterate) {
  for (const Kind& kind : kKinds) {
    make(randomCase(8, kind), kind.typeMethod);
    iterate(3);
    wish(rightMarks());
    ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
    const auto iterateOf = [this] {
      std::vector<double> all;
      for (const double* v : {ipm->primal, ipm->lowerSlack, ipm->upperSlack, ipm->lowerDual, ipm->upperDual})
        all.insert(all.end(), v, v + ipm->numCol);
      for (const double* v : {ipm->dual, ipm->ineqnSlack}) all.insert(all.end(), v, v + ipm->numRow);
      return all;
    };
    const std::vector<double> before = iterateOf();
    ASSERT_EQ(restartIteration(control).stage, Stage::kIterate);
    EXPECT_EQ(iterateOf(), before);
  }
}

// A run with a shifted variable wants a row out of the way as well: the shift is taken back, and wished for again.
TEST_F(ControlLoop, AReductionIsAskedForInTrueTerms) {
  for (const Kind& kind : kKinds) {
    make(randomCase(7, kind), kind.typeMethod);
    iterate(2);
    SubModel& s = *control.submodel;
    clearBigCounts(&s);
    s.thresholdBig = 1e30;
    const auto row = static_cast<int32_t>(truth.model.sense.find('G'));
    const auto data = [this] {
      std::vector<double> all(ipm->rhs, ipm->rhs + ipm->numRow);
      for (const double* v : {ipm->obj, ipm->lower, ipm->upper}) all.insert(all.end(), v, v + ipm->numCol);
      return all;
    };
    const std::vector<double> before = data();
    const double x = ipm->primal[0];
    s.numBigVar = s.prevBigVar = 1;
    s.idxBigVar[0] = 0;
    BigActions shift;
    shift.variable = BigAction::kSlow;
    ASSERT_EQ(actInvivo(ipm, control.hub, &s, shift), 0);
    ASSERT_NE(data(), before);
    ASSERT_EQ(control.hub->routeSubmodel, ROUTE_INVIVO);
    s.numBigIneqnSlack = s.prevBigIneqnSlack = 1;
    s.idxRowSub[0] = row;
    EXPECT_EQ(ipmMethod(ipm, control.hub, &s), QZ_STATUS_RESTART);
    EXPECT_EQ(control.hub->routeSubmodel, ROUTE_INVITRO);
    EXPECT_EQ(s.planBigVar, BIG_INVITRO);
    EXPECT_EQ(s.planBigIneqnSlack, BIG_INVITRO);
    EXPECT_EQ(s.bBigVar, 0);
    EXPECT_EQ(s.shiftPrimal, nullptr);
    EXPECT_EQ(data(), before);
    EXPECT_DOUBLE_EQ(ipm->primal[0], x);
  }
}

TEST_F(ControlLoop, LimitsOnAReductionEndTheSolveWithTheOuterModel) {
  for (const bool time : {false, true}) {
    make(randomCase(8, kKinds[0]));
    iterate(2);
    wish(rightMarks());
    ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
    if (time)
      timer.realLimit = 0.0;
    else
      ipm->maxIter = ipm->numIter;
    EXPECT_EQ(loop(goTo(Stage::kRestart)), 0);
    EXPECT_EQ(test->model.status, time ? QZ_STATUS_TIME_LIMIT : QZ_STATUS_ITERATION_LIMIT);
    expectOuterModelStands();
    const double far = 1e3;
    for (int j = 0; j < truth.model.cols(); ++j) EXPECT_LT(std::fabs(test->solution.primal[j]), far);
  }
}

TEST_F(ControlLoop, ABreakOnAReductionLeavesWithTheOuterModel) {
  make(randomCase(8, kKinds[0]));
  iterate(2);
  wish(rightMarks());
  ASSERT_EQ(reduceToSubmodel(control).stage, Stage::kRestart);
  ipm->checkSolverBreak = [](void*) -> int32_t { return 1; };
  EXPECT_EQ(loop(goTo(Stage::kRestart)), QZ_STATUS_INTERRUPTED);
  EXPECT_EQ(control.model, &test->model);
  EXPECT_EQ(control.presolver, nullptr);
}

// The objective stands divided by 4; nothing may leave the loop in those terms.
TEST_F(ControlLoop, AScaledModelIsUnscaledBehindItsReduction) {
  int limits = 0;
  for (const Kind& kind : kKinds) {
    for (const bool limited : {false, true}) {
      for (uint32_t seed = 1; seed <= 15; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " quadratic " + std::to_string(kind.quadratic) + " method " +
                     std::to_string(kind.typeMethod));
        Constructed scaled = randomCase(seed, kind);
        const Vector cost = scaled.model.c;
        const qztest::Matrix hessian = scaled.model.Q;
        scaled.model.c = 0.25 * cost;
        if (kind.quadratic) scaled.model.Q = 0.25 * hessian;
        make(scaled, kind.typeMethod);
        iterate(2);
        test->hub.scaleState = 1;
        test->hub.objScale = 0.25;
        test->hub.typeMethod = kind.typeMethod;
        truth.model.Q = hessian;
        wish(rightMarks());
        if (limited) ipm->maxIter = ipm->numIter + 1;
        EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
        EXPECT_EQ(test->hub.scaleState, 0);
        for (int j = 0; j < truth.model.cols(); ++j) EXPECT_NEAR(test->model.obj[j], cost[j], 1e-12);
        expectOuterModelStands();
        if (limited && test->model.status == QZ_STATUS_ITERATION_LIMIT) {
          EXPECT_EQ(ipm->numIter, ipm->maxIter);
          ++limits;
          continue;
        }
        EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
        expectOptimal(2e-5);
      }
    }
  }
  EXPECT_GE(limits, 30);
}

// Presolve answers the reduction while the outer model stands divided by 4, or without a small cost that was set aside.
TEST_F(ControlLoop, AnAnswerOfPresolveIsNotTakenInScaledTerms) {
  for (const bool small : {false, true}) {
    Constructed fixed = handCase();
    fixed.model.A = qztest::Matrix{{1, 1, 1}};
    fixed.model.b = Vector::Constant(1, -5.0);
    fixed.model.sense = "G";
    if (!small) fixed.model.c *= 0.25;
    make(fixed);
    iterate(5);
    if (small) {
      test->hub.smallRestored = 0;
      test->hub.numSmallObj = 1;
      test->hub.smallObjCol = poolAllocate<int32_t>(host.pool(), 1);
      test->hub.smallObjValue = poolAllocate<double>(host.pool(), 1);
      test->hub.smallObjCol[0] = 1;
      test->hub.smallObjValue[0] = 0.125;
    } else {
      test->hub.scaleState = 1;
      test->hub.objScale = 0.25;
    }
    wish({{0}, {0, 1, 2}, {}, {}, {}, {}});
    EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
    EXPECT_EQ(visited, (std::vector<Stage>{Stage::kReduce, Stage::kRecover, Stage::kReduce, Stage::kRecover}));
    EXPECT_EQ(test->hub.scaleState, 0);
    EXPECT_EQ(test->hub.smallRestored, 1);
    EXPECT_EQ(test->model.obj[0], 1.0);
    EXPECT_EQ(test->model.obj[1], small ? 3.125 : 3.0);
    EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
    expectOuterModelStands();
    expectOptimal(1e-6);
  }
}

TEST_F(ControlLoop, AnUnknownModelTypeCannotRestart) {
  make(handCase());
  freeFactors(control);
  ipm->typeModel = 7;
  const Next next = restartIteration(control);
  EXPECT_EQ(next.stage, Stage::kLeave);
  EXPECT_EQ(next.result, QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error ipmSolve: unknown model type."));
}

TEST_F(ControlLoop, TheDebugLevelTellsTheStory) {
  make(randomCase(8, kKinds[0]));
  iterate(3);
  ipm->debugLevel = 1;
  wish(rightMarks());
  EXPECT_EQ(loop(goTo(Stage::kReduce)), 0);
  EXPECT_TRUE(host.loggedText("reduced to %d rows"));
  EXPECT_TRUE(host.loggedText("back from the reduction with status %d"));
}

// The k-th allocation behind the wish fails. The loop leaves with -1086 or, where the want could be borne, with an
// answer; the outer model stands or can be recovered, and nothing is lost.
TEST_F(ControlLoop, EveryFailedAllocationIsBorne) {
  for (const Kind& kind : kKinds) {
    int failures = 0;
    for (int64_t k = 1;; ++k) {
      SCOPED_TRACE("allocation " + std::to_string(k));
      release();
      const int64_t before = host.outstanding();
      make(randomCase(7, kind), kind.typeMethod);
      iterate(2);
      wish(rightMarks());
      const int64_t allocations = host.allocations();
      host.failAllocation(k);
      const int32_t status = loop(goTo(Stage::kReduce));
      host.failAllocation(0);
      const bool reached = host.allocations() - allocations >= k;
      release();
      ASSERT_EQ(host.outstanding(), before);
      if (!reached) {
        EXPECT_EQ(status, 0);
        break;
      }
      ASSERT_TRUE(status == QZ_STATUS_OUT_OF_MEMORY || status == 0) << status;
      failures += status != 0 ? 1 : 0;
    }
    EXPECT_GT(failures, 40);
  }
}

}  // namespace
}  // namespace qz
