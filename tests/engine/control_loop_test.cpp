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
#include "engine/normal_system.h"
#include "engine/start_point.h"
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
      returned += visits(Stage::kRestart) > 1 ? 1 : 0;
    }
  }
  EXPECT_GE(returned, 60);
}

}  // namespace
}  // namespace qz
