// Leaving the scaled terms in the running solve: every quantity against the factor table, and when it is done.
#include "engine/scaling_control.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "engine/augmented_system.h"
#include "engine/engine_state.h"
#include "shell/pool.h"
#include "submodel/bound_removal.h"
#include "submodel/dual_shift.h"
#include "submodel/submodel_control.h"
#include "submodel/true_data.h"
#include "submodel/variable_shift.h"
#include "transform/free_columns.h"
#include "transform/model_fixture.h"
#include "transform/presolve_disabled.h"
#include "transform/scaling_undo.h"
#include "transform/standard_form.h"

namespace {

using namespace qz;
using qztest::TestModel;

// A random model in standard form, an engine on it with a random point, and its factors.
class Scaled {
 public:
  Scaled(qztest::TestHost& host, unsigned seed, int32_t method)
      : m([&] {
          std::mt19937 random(seed);
          return qztest::randomModel(random, 5, 7);
        }()) {
    m.point();
    env.pool = host.pool();
    env.log = host.log();
    option.typeMethod = method;
    option.numThread = 1;
    Presolver presolver{};
    EXPECT_EQ(countFreeVar(&env, &m.model, &option, &presolver, &hub), 0);
    countRowSenses(&m.model, &hub);
    EXPECT_EQ(NewSolution(&env, &solution, 5, hub.numFreeVar + hub.numRange + 7, m.model.solPrimal, m.model.solDual),
              0);
    hub.typeMethod = method;
    hub.objScale = 1.0;
    EXPECT_EQ(addSlack(&env, &m.model, &hub), 0);
    if (method == IPM_METHOD_NORMAL) {
      EXPECT_EQ(splitFreeVar(&env, &m.model, &hub), 0);
    }
    ipm = NewIpm(&env, &m.model, nullptr);
    ipmGetOption(ipm, &option);
    ipmSetParam(ipm, &option, &hub);
    EXPECT_EQ(CreateIpm(ipm), 0);
    AssignIpm(ipm, &m.model, solution);
    AnalyzeIpm(ipm);
    std::mt19937 random(seed + 1);
    std::uniform_real_distribution<double> value(0.5, 3.0);
    for (int32_t j = 0; j < ipm->numCol; ++j)
      for (double* v : {ipm->primal, ipm->lowerSlack, ipm->upperSlack, ipm->lowerDual, ipm->upperDual})
        v[j] = value(random);
    for (int32_t i = 0; i < 5; ++i) ipm->dual[i] = value(random), ipm->ineqnSlack[i] = value(random);
  }
  ~Scaled() {
    FreeIpm(ipm);
    poolFree(env.pool, ipm);
    FreeSolution(&env, &solution);
    poolFree(env.pool, hub.colPlus);
    poolFree(env.pool, hub.colMinus);
    poolFree(env.pool, hub.rangeRowList);
    poolFree(env.pool, hub.lcontRowList);
    FreeHubSmall(&env, &hub);
    releaseFactors(&env, &hub);
  }
  Scaled(const Scaled&) = delete;
  Scaled& operator=(const Scaled&) = delete;

  int rowOfSlack(int32_t n) const {
    const int32_t k = n - hub.numColSaved;
    return k >= 0 && k < hub.numRange ? hub.rangeRowList[k] : -1;
  }
  double r(int32_t i) const { return hub.rowScale[i]; }
  // Factor of any engine column: a range slack has that of its row turned over.
  double c(int32_t n) const {
    if (rowOfSlack(n) >= 0) return 1.0 / r(rowOfSlack(n));
    return hub.colScale[n < hub.numColSaved ? n : hub.colPlus[n - hub.numColSaved - hub.numRange]];
  }
  // Puts everything on scaled terms by the table. The factors are powers of two, so that every bit comes back.
  void apply(unsigned seed) {
    std::mt19937 random(seed);
    const auto factor = [&] { return std::ldexp(1.0, static_cast<int>(random() % 9) - 4); };
    hub.scaleState = 2;
    hub.objScale = factor();
    hub.rowScale = poolAllocate<double>(env.pool, 6);
    hub.colScale = poolAllocate<double>(env.pool, 8);
    for (int32_t i = 0; i < 6; ++i) hub.rowScale[i] = factor();
    for (int32_t j = 0; j < 8; ++j) hub.colScale[j] = factor();
    const double o = hub.objScale;
    for (int32_t j = 0; j < ipm->numCol; ++j) {
      ipm->primal[j] /= c(j);
      ipm->obj[j] *= c(j) * o;
      for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
        ipm->matValue[k] *= c(j) * r(ipm->rowIndex[k]);
      if (ipm->lower[j] > -1e20) ipm->lower[j] /= c(j), ipm->lowerSlack[j] /= c(j), ipm->lowerDual[j] *= c(j) * o;
      if (ipm->upper[j] < 1e20) ipm->upper[j] /= c(j), ipm->upperSlack[j] /= c(j), ipm->upperDual[j] *= c(j) * o;
    }
    for (int32_t i = 0; i < 5; ++i) {
      ipm->dual[i] *= o / r(i);
      ipm->rhs[i] *= r(i);
      ipm->ineqnSlack[i] *= r(i);
    }
    for (int32_t k = 0; k < hub.numRange; ++k)
      m.a.range[static_cast<size_t>(hub.rangeRowList[k])] *= r(hub.rangeRowList[k]);
  }
  // Everything that a scaling touches.
  std::vector<double> state() const {
    std::vector<double> all(m.a.range);
    const auto add = [&](const double* v, int32_t n) { all.insert(all.end(), v, v + n); };
    for (const double* v : {ipm->primal, ipm->obj, ipm->lower, ipm->upper, ipm->lowerSlack, ipm->upperSlack,
                            ipm->lowerDual, ipm->upperDual})
      add(v, ipm->numCol);
    for (const double* v : {ipm->dual, ipm->rhs, ipm->ineqnSlack}) add(v, 5);
    add(ipm->matValue, ipm->numCoef);
    return all;
  }

  Env env{};
  TestModel m;
  IpmOption option = qztest::plainOption();
  Hub hub{};
  Solution* solution = nullptr;
  Ipm* ipm = nullptr;
};

class ScalingControl : public ::testing::Test {
 protected:
  ~ScalingControl() override { EXPECT_EQ(host.outstanding(), 0); }
  qztest::TestHost host;
};

TEST_F(ScalingControl, EveryQuantityComesBackBitForBit) {
  for (unsigned seed = 0; seed < 60; ++seed)
    for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
      Scaled s(host, seed, method);
      const auto before = s.state();
      s.apply(seed + 7);
      s.ipm->stopState = STOP_NOW;
      s.ipm->status = QZ_STATUS_OPTIMAL;
      ASSERT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1003);
      EXPECT_EQ(s.state(), before) << "seed " << seed << " method " << method;
      EXPECT_EQ(s.hub.scaleState, 0);
      EXPECT_EQ(s.hub.objScale, 1.0);
      EXPECT_EQ(s.hub.rowScale, nullptr);
      EXPECT_EQ(s.hub.colScale, nullptr);
      EXPECT_EQ(s.ipm->stopState, STOP_ITERATE);
    }
}

TEST_F(ScalingControl, NormsAndMatrixAreThoseOfTheUnscaledData) {
  Scaled s(host, 4, IPM_METHOD_AUGMENTED);
  const double norms[] = {s.ipm->normRhs, s.ipm->normObj, s.ipm->normMatrix, s.ipm->normLower, s.ipm->normUpper};
  const auto build = [&] {
    createAugmentMatrix(5, s.ipm->numCol, s.ipm->colBegin, s.ipm->colLength, s.ipm->rowIndex, s.ipm->matValue,
                        s.ipm->ipmColBegin, s.ipm->ipmRowIndex, s.ipm->ipmMatValue, s.ipm->varBndDiagIndex,
                        s.ipm->ineqnDiagIndex);
    return std::vector<double>(s.ipm->ipmMatValue, s.ipm->ipmMatValue + s.ipm->ipmColBegin[s.ipm->numDim]);
  };
  const auto matrix = build();
  s.apply(5);
  AnalyzeIpm(s.ipm);
  EXPECT_NE(build(), matrix);
  s.ipm->stopState = STOP_RESET_STOP;
  ASSERT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1003);
  EXPECT_EQ(std::vector<double>(s.ipm->ipmMatValue, s.ipm->ipmMatValue + s.ipm->ipmColBegin[s.ipm->numDim]), matrix);
  const double after[] = {s.ipm->normRhs, s.ipm->normObj, s.ipm->normMatrix, s.ipm->normLower, s.ipm->normUpper};
  for (int k = 0; k < 5; ++k) EXPECT_EQ(after[k], norms[k]);
}

TEST_F(ScalingControl, ObjectiveAloneDividesCostsAndAllDuals) {
  for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    Scaled s(host, 11, method);
    const auto before = s.state();
    s.hub.scaleState = 1;
    s.hub.objScale = 0.25;
    for (int32_t j = 0; j < s.ipm->numCol; ++j)
      for (double* v : {s.ipm->obj, s.ipm->lowerDual, s.ipm->upperDual}) v[j] *= 0.25;
    for (int32_t i = 0; i < 5; ++i) s.ipm->dual[i] *= 0.25;
    s.ipm->stopState = STOP_NOW;
    ASSERT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1003);
    EXPECT_EQ(s.state(), before) << "range slacks and split columns among them";
  }
}

// mu is measured in true terms from here on, and judged against its first value.
// A bound that was removed stands as the largest number, which is finite, and is none to be scaled.
TEST_F(ScalingControl, RemovedBoundsAreLeftAlone) {
  constexpr double kLargest = std::numeric_limits<double>::max();
  for (const int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    Scaled s(host, 5, method);
    s.apply(17);
    for (int32_t j = 0; j < s.ipm->numCol; ++j) {
      s.ipm->lower[j] = -kLargest;
      s.ipm->upper[j] = kLargest;
      s.ipm->lowerSlack[j] = s.ipm->upperSlack[j] = s.ipm->lowerDual[j] = s.ipm->upperDual[j] = 0.0;
    }
    ipmUnscale(s.ipm, &s.hub, nullptr);
    for (int32_t j = 0; j < s.ipm->numCol; ++j) {
      EXPECT_EQ(s.ipm->lower[j], -kLargest) << j;
      EXPECT_EQ(s.ipm->upper[j], kLargest) << j;
    }
  }
}

TEST_F(ScalingControl, FirstMuFollowsTheObjective) {
  for (int32_t state : {0, 1, 2}) {
    Scaled s(host, 11, IPM_METHOD_AUGMENTED);
    if (state == 2) s.apply(3);
    s.hub.scaleState = state;
    s.hub.objScale = 0.25;
    s.hub.smallRestored = 0;
    s.ipm->firstMu = 5.0;
    s.ipm->stopState = STOP_NOW;
    ASSERT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1003);
    EXPECT_EQ(s.ipm->firstMu, state == 0 ? 5.0 : 20.0);
  }
}

TEST_F(ScalingControl, AlternateBoundsAreUnscaledOnce) {
  Scaled s(host, 3, IPM_METHOD_AUGMENTED);
  s.apply(9);
  std::vector<double> lower(12, 6.0), upper(12, 1e30);
  s.hub.altLower = lower.data();
  s.hub.altUpper = upper.data();
  const std::vector<double> factor(s.hub.colScale, s.hub.colScale + 7);
  s.ipm->stopState = STOP_NOW;
  ASSERT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1003);
  for (size_t j = 0; j < 7; ++j) {
    EXPECT_EQ(lower[j], 6.0 * factor[j]);
    EXPECT_EQ(upper[j], 1e30);
  }
  s.hub.altLower = s.hub.altUpper = nullptr;
}

TEST_F(ScalingControl, SmallDataIsAddedThroughTheStandardForm) {
  for (unsigned seed = 0; seed < 40; ++seed)
    for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL})
      for (bool mapped : {false, true}) {
        Scaled s(host, seed, method);
        s.hub.numSmallObj = 7;
        s.hub.smallObjCol = poolAllocate<int32_t>(s.env.pool, 7);
        s.hub.smallObjValue = poolAllocate<double>(s.env.pool, 7);
        s.hub.numSmallRhs = 5;
        s.hub.smallRhsRow = poolAllocate<int32_t>(s.env.pool, 5);
        s.hub.smallRhsValue = poolAllocate<double>(s.env.pool, 5);
        for (int32_t j = 0; j < 7; ++j) s.hub.smallObjCol[j] = j, s.hub.smallObjValue[j] = 1 + j;
        for (int32_t i = 0; i < 5; ++i) s.hub.smallRhsRow[i] = i, s.hub.smallRhsValue[i] = 1 + i;
        s.hub.smallRestored = 0;
        std::vector<double> obj(s.ipm->obj, s.ipm->obj + s.ipm->numCol), rhs(s.ipm->rhs, s.ipm->rhs + 5);
        for (size_t j = 0; j < 7; ++j) obj[j] += mapped && j == 2 ? 0.0 : 1.0 + static_cast<double>(j);
        if (method == IPM_METHOD_NORMAL)
          for (int32_t k = 0; k < s.hub.numFreeVar; ++k)
            obj[static_cast<size_t>(s.hub.colMinus[k])] -= 1.0 + s.hub.colPlus[k];
        for (int32_t i = 0; i < 5; ++i) {
          const bool less = std::count(s.hub.lcontRowList, s.hub.lcontRowList + s.hub.numLcont, i) > 0;
          rhs[static_cast<size_t>(i)] += (mapped && i == 1 ? 0.0 : 1.0 + i) * (less ? -1 : 1);
        }
        SubModel sub{};
        std::vector<int32_t> colMap, rowMap = {0, -1, 2, 3, 4};
        for (int32_t j = 0; j < s.ipm->numCol; ++j) colMap.push_back(j == 2 ? -1 : j);
        sub.colMapSub = colMap.data();
        sub.rowMapSub = rowMap.data();
        s.ipm->stopState = STOP_NOW;
        ASSERT_EQ(scalingControl(s.ipm, &s.hub, mapped ? &sub : nullptr), 1003) << "with scaleState 0";
        EXPECT_EQ(std::vector<double>(s.ipm->obj, s.ipm->obj + s.ipm->numCol), obj) << seed;
        EXPECT_EQ(std::vector<double>(s.ipm->rhs, s.ipm->rhs + 5), rhs) << seed;
        EXPECT_EQ(s.hub.smallRestored, 1);
        EXPECT_EQ(s.hub.numSmallObj + s.hub.numSmallRhs, 0);
        EXPECT_EQ(s.hub.smallObjCol, nullptr);
      }
}

TEST_F(ScalingControl, GateOfTheStopState) {
  struct Case {
    int32_t stopState, status;
    double mu;
    int32_t goodSteps;
    bool passes;
  };
  const Case cases[] = {{3, 1, 1, 0, true},       {4, 10, 1, 0, true},     {1, 1, 1, 0, true},
                        {1, 7, 1, 0, true},       {1, 8, 1, 0, true},      {1, 3, 1, 0, true},
                        {1, 10, 1e-9, 5, false},  {1, 12, 1e-9, 5, false}, {1, -1086, 1e-9, 5, false},
                        {0, 3, 0.99e-6, 2, true}, {0, 3, 1e-6, 2, false},  {0, 3, 0.99e-6, 1, false}};
  for (const Case& c : cases) {
    Scaled s(host, 2, IPM_METHOD_AUGMENTED);
    s.hub.scaleState = 1;
    s.hub.objScale = 0.5;
    s.ipm->stopState = c.stopState;
    s.ipm->status = c.status;
    s.ipm->mu = c.mu;
    s.ipm->countGoodStep = c.goodSteps;
    EXPECT_EQ(scalingControl(s.ipm, &s.hub, nullptr), c.passes ? 1003 : 0) << c.stopState << " " << c.status;
    EXPECT_EQ(s.ipm->stopState, c.passes ? STOP_ITERATE : c.stopState);
    EXPECT_EQ(s.hub.scaleState, c.passes ? 0 : 1);
  }
}

TEST_F(ScalingControl, NothingScaledIsNothingDone) {
  Scaled s(host, 2, IPM_METHOD_AUGMENTED);
  s.ipm->stopState = STOP_NOW;
  s.ipm->status = QZ_STATUS_OPTIMAL;
  EXPECT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 0);
  EXPECT_EQ(s.ipm->stopState, STOP_NOW);
}

TEST_F(ScalingControl, ReducedModelsLeaveItToTheController) {
  for (int32_t route : {ROUTE_INVITRO, ROUTE_BOTH}) {
    Scaled s(host, 2, IPM_METHOD_AUGMENTED);
    s.apply(1);
    s.hub.routeSubmodel = route;
    s.ipm->stopState = STOP_NOW;
    const auto before = s.state();
    EXPECT_EQ(scalingControl(s.ipm, &s.hub, nullptr), 1004);
    EXPECT_EQ(s.hub.routeSubmodel, ROUTE_UNSCALE);
    EXPECT_EQ(s.hub.scaleState, 2);
    EXPECT_EQ(s.state(), before);
  }
}

TEST_F(ScalingControl, IdleCountsAreCleared) {
  Scaled s(host, 2, IPM_METHOD_AUGMENTED);
  s.apply(1);
  SubModel sub{};
  sub.numBigVar = sub.numBigBoundSlack = sub.numBigIneqnSlack = sub.numBigDual = sub.numBigBoundDual = 3;
  sub.bBigIneqnSlack = BIG_INVITRO;
  s.ipm->stopState = STOP_NOW;
  ASSERT_EQ(scalingControl(s.ipm, &s.hub, &sub), 1003);
  EXPECT_EQ(sub.numBigVar + sub.numBigBoundSlack + sub.numBigDual + sub.numBigBoundDual, 0);
  EXPECT_EQ(sub.numBigIneqnSlack, 3);
}

// A model with a shifted dual, shifted variables and removed bounds in force must be the unscaled model with the same
// shifts in true units.
TEST_F(ScalingControl, RecordsOfTheRunningIterationFollow) {
  for (unsigned seed = 0; seed < 40; ++seed)
    for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL})
      for (int32_t state : {1, 2}) {
        Scaled s(host, seed, method);
        const int32_t n = s.ipm->numCol;
        const auto before = s.state();
        if (state == 2) {
          s.apply(seed + 3);
        } else {
          s.hub.scaleState = 1;
          s.hub.objScale = 0.25;
          for (int32_t j = 0; j < n; ++j)
            for (double* v : {s.ipm->obj, s.ipm->lowerDual, s.ipm->upperDual}) v[j] *= 0.25;
          for (int32_t i = 0; i < 5; ++i) s.ipm->dual[i] *= 0.25;
        }
        const double o = s.hub.objScale;
        const auto c = [&](int32_t j) { return state == 2 ? s.c(j) : 1.0; };
        const auto r = [&](int32_t i) { return state == 2 ? s.r(i) : 1.0; };
        // Row 1's dual is shifted by 8, all variables by 4, all bounds are kept aside with duals of 2; scaled values.
        std::vector<int32_t> idxDual = {1}, begin = {0, 0}, length = {0}, index, idxVar, status;
        std::vector<double> element, trueElement, shiftDual = {8 * o / r(1)}, rhs = {16 * r(1)}, shift, low, high,
                                                  lowDual, highDual;
        index.reserve(1);  // an empty row still has its arrays
        element.reserve(1);
        for (int32_t j = 0; j < n; ++j) {
          idxVar.push_back(j);
          status.push_back(3);
          shift.push_back(4 / c(j));
          low.push_back(-32 / c(j));
          high.push_back(32 / c(j));
          lowDual.push_back(2 * c(j) * o);
          highDual.push_back(2 * c(j) * o);
          for (int32_t k = s.ipm->colBegin[j]; k < s.ipm->colBegin[j] + s.ipm->colLength[j]; ++k)
            if (s.ipm->rowIndex[k] == 1) {
              index.push_back(j);
              element.push_back(s.ipm->matValue[k]);
              trueElement.push_back(s.ipm->matValue[k] / (c(j) * r(1)));
            }
        }
        length[0] = static_cast<int32_t>(index.size());
        s.ipm->dual[1] -= shiftDual[0];
        for (size_t k = 0; k < index.size(); ++k) s.ipm->obj[index[k]] -= element[k] * shiftDual[0];
        SubModel sub{};
        sub.bBigVar = sub.bBigBoundSlack = sub.bBigDual = BIG_INVIVO;
        sub.numBigVar = sub.numBigBoundSlack = n;
        sub.numBigDual = 1;
        sub.idxBigVar = sub.idxBoundSub = sub.colMapSub = idxVar.data();
        sub.statusBoundSub = status.data();
        sub.shiftPrimal = shift.data();
        sub.lowerSub = low.data();
        sub.upperSub = high.data();
        sub.savedLowerDual = lowDual.data();
        sub.savedUpperDual = highDual.data();
        sub.idxBigDual = idxDual.data();
        sub.shiftDual = shiftDual.data();
        sub.rowBeginSub = begin.data();
        sub.rowLengthSub = length.data();
        sub.colIndexSub = index.data();
        sub.rowMatValueSub = element.data();
        sub.rhsSub = rhs.data();
        s.hub.routeSubmodel = ROUTE_INVIVO;
        s.ipm->stopState = STOP_NOW;
        ASSERT_EQ(scalingControl(s.ipm, &s.hub, &sub), 1003);
        EXPECT_EQ(shiftDual[0], 8.0);
        EXPECT_EQ(rhs[0], 16.0);
        for (int32_t j = 0; j < n; ++j) {
          const auto at = static_cast<size_t>(j);
          EXPECT_EQ(shift[at], 4.0);
          EXPECT_EQ(low[at], -32.0);
          EXPECT_EQ(high[at], 32.0);
          EXPECT_EQ(lowDual[at], 2.0);
          EXPECT_EQ(highDual[at], 2.0);
        }
        EXPECT_EQ(element, trueElement);
        s.ipm->dual[1] += 8.0;
        for (size_t k = 0; k < index.size(); ++k) s.ipm->obj[index[k]] += element[k] * 8.0;
        const auto after = s.state();
        for (size_t k = 0; k < after.size(); ++k)
          EXPECT_NEAR(after[k], before[k], 1e-12 * (1 + std::abs(before[k]))) << seed;
      }
}

// However large the shifts, the data that leave scaled terms under them are the true ones to the last bit.
TEST_F(ScalingControl, ShiftedDataLoseNothing) {
  for (unsigned seed = 0; seed < 40; ++seed)
    for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
      Scaled s(host, seed, method);
      Ipm* ipm = s.ipm;
      const auto data = [&] {
        std::vector<double> all(ipm->rhs, ipm->rhs + 5);
        for (const double* v : {ipm->obj, ipm->lower, ipm->upper}) all.insert(all.end(), v, v + ipm->numCol);
        return all;
      };
      const std::vector<double> before = data();
      s.apply(seed + 5);
      SubModel* sub = nullptr;
      ASSERT_EQ(NewSubModel(&s.env, ipm->model, &sub), 0);
      ASSERT_EQ(NewSubModel2(&s.env, sub), 0);
      sub->thresholdBig = 1000.0;
      for (int32_t j : {0, 3}) {
        ipm->primal[j] = 1e13 / 3.0;
        sub->idxBigVar[sub->numBigVar++] = j;
      }
      sub->idxBoundSub[sub->numBigBoundSlack++] = 2;
      sub->statusBoundSub[2] = ((ipm->lower[2] > -1e20 ? SUB_LOWER : 0) | (ipm->upper[2] < 1e20 ? SUB_UPPER : 0));
      ipm->dual[1] = -1e13 / 7.0;
      sub->idxBigDual[sub->numBigDual++] = 1;
      sub->bBigVar = sub->bBigBoundSlack = sub->bBigDual = BIG_INVIVO;
      ASSERT_EQ(keepTrueData(ipm, sub), 0);
      ASSERT_EQ(subShiftPrimal(&s.env, sub, ipm->primal, ipm->lower, ipm->upper, ipm->rhs, 1e20, ipm->colBegin,
                               ipm->colLength, ipm->rowIndex, ipm->matValue),
                0);
      ASSERT_EQ(subRemoveBoundInvivo(ipm, sub), 0);
      ASSERT_EQ(subShiftDualInvivo(ipm, sub), 0);
      s.hub.routeSubmodel = ROUTE_INVIVO;
      ipm->stopState = STOP_NOW;
      ASSERT_EQ(scalingControl(ipm, &s.hub, sub), 1003);
      if ((sub->statusBoundSub[2] & SUB_LOWER) != 0) {
        EXPECT_EQ(ipm->lower[2], -kRemovedBound);
      }
      EXPECT_NE(data(), before);
      ASSERT_EQ(undoInvivo(ipm, &s.hub, sub), 0);
      EXPECT_EQ(data(), before) << seed;
      FreeSubModel(&s.env, &sub);
    }
}

}  // namespace
