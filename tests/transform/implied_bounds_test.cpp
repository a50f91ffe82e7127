// Bounds that presolve took from rows go back before the engine sees them.
#include "transform/implied_bounds.h"

#include "transform/bound_relaxation.h"
#include "transform/presolve.h"
#include "transform/presolve_case.h"
#include "transform/reduced_model.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

class ImpliedBounds : public qztest::PresolveCase {
 protected:
  // Presolves, and gives back what can be given back.
  int32_t run(TestModel& m) {
    p = poolAllocateZero<Presolver>(env.pool, 1);
    model = &m.model;
    EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr), 0);
    FreePresolver(&env, p);
    return releaseImpliedBounds(&env, model, &option, &hub, p);
  }
  // While the test's model is still there.
  void release() {
    if (hub.altLower != nullptr) (void)ipmSwitchBound(&env, model, &hub);
    poolFree(env.pool, hub.altLower);
    poolFree(env.pool, hub.altUpper);
    hub = Hub{};
    if (p != nullptr && p->preControl == PRECONTROL_BOUND) adjustBound(&env, model, p);
    if (p != nullptr && p->inModel != nullptr) FreeReducedModel(&env, &model, nullptr);
    if (out != in) FreeSolution(&env, &out);
    FreeSolution(&env, &in);
    out = nullptr;
    finish();
  }
  Model* model = nullptr;
  Hub hub{};
  Solution* in = nullptr;
  Solution* out = nullptr;
};

TEST_F(ImpliedBounds, GoBackWhileTheTrueOnesAreKept) {
  TestModel m("G", {6}, {}, {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}}}});
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->preControl, PRECONTROL_BOUND);
  EXPECT_EQ(model->lower[0], 0.0);
  EXPECT_EQ(model->lower[1], 0.0);
  EXPECT_EQ(model->upper[0], 4.0);
  ASSERT_NE(hub.altLower, nullptr);
  EXPECT_EQ(hub.boundSwitchState, 1);
  EXPECT_EQ(hub.altLower[0], 1.0);
  EXPECT_EQ(hub.altLower[1], 2.0);
  EXPECT_EQ(p->lbMap[0], 0) << "the recovery of the duals goes on knowing the row";
  release();
}

TEST_F(ImpliedBounds, NothingHappensWithoutChanges) {
  TestModel m("L", {10}, {}, {{1, -kInf, kInf, {{0, 1}}}, {1, -kInf, kInf, {{0, -1}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->numBoundChange, 0);
  EXPECT_EQ(hub.altLower, nullptr);
  release();
}

TEST_F(ImpliedBounds, TwoEquationsLeaveNoBoxAroundTheirOnePoint) {
  // x + y = 2 and x - y = 0.5 halve each other's boxes around (1.25, 0.75).
  TestModel m("EE", {2, 0.5}, {}, {{1, 0, 3, {{0, 1}, {1, 1}}}, {2, 0, 3, {{0, 1}, {1, -1}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_GT(p->numBoundChange, 2);
  for (int32_t j = 0; j < 2; ++j) {
    EXPECT_EQ(model->lower[j], 0.0);
    EXPECT_EQ(model->upper[j], 3.0);
  }
  release();
}

TEST_F(ImpliedBounds, BoundOfARemovedRowStays) {
  // Row 1 is a singleton: x >= 4. Row 0 bounds y by what is left: y <= 6.
  TestModel m("LG", {10, 8}, {}, {{1, 0, kInf, {{0, 1}, {1, 2}}}, {-1, 0, kInf, {{0, 1}}}});
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->preControl, PRECONTROL_REDUCED);
  EXPECT_EQ(model->lower[0], 4.0);
  EXPECT_GE(model->upper[1], 1e20) << "row 0 says it";
  EXPECT_EQ(hub.altUpper[1], 6.0);
  release();
}

TEST_F(ImpliedBounds, OnlyAStandingChangeOfAKeptRowThatStillImpliesItGoesBack) {
  // x + y >= 6 with x <= 4 gives y >= 2.
  for (int variant = 0; variant < 5; ++variant) {
    SCOPED_TRACE(variant);
    TestModel m("G", {6}, {}, {{1, 0, 4, {{0, 1}}}, {1, 2, 9, {{0, 1}}}});
    model = &m.model;
    begin(m);
    ASSERT_EQ(noteBoundChange(&env, p, {0, 1, false, 0.0, 2.0}), 0);
    p->colMap[1] = 1;
    if (variant == 1) p->rowMap[0] = ROWMAP_FREE;
    if (variant == 2) p->colMap[1] = COLMAP_FIXED;
    if (variant == 3) m.a.lower[1] = 2.5;  // another rule has moved it since
    if (variant == 4) m.a.upper[0] = 5.0;  // the row implies no more than y >= 1
    const double before = m.a.lower[1];
    ASSERT_EQ(releaseImpliedBounds(&env, model, &option, &hub, p), 0);
    EXPECT_EQ(model->lower[1], variant == 0 ? 0.0 : before);
    release();
  }
}

// y + x - z >= -6 with x <= 1e18 and z >= 1e18 gives y >= -6; the sum as it is rounded gives y >= 0.
TEST_F(ImpliedBounds, BoundThatOnlyRoundingImpliesStays) {
  TestModel m("G", {-6}, {}, {{1, 0, 1e18, {{0, 1}}}, {1, 1e18, kInf, {{0, -1}}}, {1, -3, 9, {{0, 1}}}});
  model = &m.model;
  begin(m);
  ASSERT_EQ(noteBoundChange(&env, p, {0, 2, false, -9.0, -3.0}), 0);
  p->colMap[1] = 1;
  p->colMap[2] = 2;
  ASSERT_EQ(releaseImpliedBounds(&env, model, &option, &hub, p), 0);
  EXPECT_EQ(model->lower[2], -3.0);
  release();
}

TEST_F(ImpliedBounds, NormalEquationsKeepTheLastBoundOfAColumn) {
  for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    option.typeMethod = method;
    TestModel m("L", {10}, {}, {{1, 0, 4, {{0, 1}}}, {-1, -kInf, kInf, {{0, 1}}}});
    ASSERT_EQ(run(m), 0);
    EXPECT_EQ(model->upper[1], method == IPM_METHOD_NORMAL ? 10.0 : kInf);
    release();
  }
}

// Every change that is taken back leaves the feasible set: random models, random points.
TEST_F(ImpliedBounds, TheFeasibleSetStaysTheSame) {
  int numReleased = 0;
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto whole = [&random](int low, int high) {
      return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    const int numCol = whole(2, 4), numRow = whole(2, 5);
    std::vector<qztest::ColumnSpec> columns;
    std::string senses;
    std::vector<double> rhs, range;
    for (int i = 0; i < numRow; ++i) {
      senses.push_back("LGR"[whole(0, 2)]);
      rhs.push_back(whole(-2, 8));
      range.push_back(whole(1, 6));
    }
    for (int j = 0; j < numCol; ++j) {
      columns.push_back({1, whole(0, 3) == 0 ? -kInf : 0.0, whole(0, 2) == 0 ? kInf : whole(1, 6), {}});
      for (int i = 0; i < numRow; ++i)
        if (whole(0, 2) != 0) columns.back().elements.emplace_back(i, whole(0, 3) == 0 ? -whole(1, 2) : whole(1, 2));
    }
    TestModel m(senses, rhs, range, columns);
    p = poolAllocateZero<Presolver>(env.pool, 1);
    model = &m.model;
    const bool goesOn = ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr) == 0;
    FreePresolver(&env, p);
    if (goesOn) {
      ASSERT_EQ(releaseImpliedBounds(&env, model, &option, &hub, p), 0);
    }
    if (hub.altLower == nullptr) {
      release();
      continue;
    }
    const auto numKept = static_cast<size_t>(model->numCol);
    for (size_t j = 0; j < numKept; ++j) {
      EXPECT_LE(model->lower[j], hub.altLower[j]);
      EXPECT_GE(model->upper[j], hub.altUpper[j]);
      numReleased += model->lower[j] < hub.altLower[j] || model->upper[j] > hub.altUpper[j] ? 1 : 0;
    }
    // A point of the rows and the relaxed bounds is one of the true bounds.
    for (int trial = 0; trial < 200; ++trial) {
      std::vector<double> x(numKept);
      bool inside = true;
      for (size_t j = 0; j < numKept; ++j)
        x[j] = std::min(std::max(0.25 * whole(-40, 40), model->lower[j]), model->upper[j]);
      for (int32_t i = 0; i < model->numRow && inside; ++i) {
        double activity = 0.0;
        for (int32_t j = 0; j < model->numCol; ++j)
          for (int32_t k = model->colBegin[j]; k < model->colBegin[j] + model->colLength[j]; ++k)
            if (model->rowIndex[k] == i) activity += model->matValue[k] * x[static_cast<size_t>(j)];
        const char sense = model->rowSense[i];
        if (sense != 'G') inside = inside && activity <= model->rhs[i];
        if (sense == 'G') inside = inside && activity >= model->rhs[i];
        if (sense == 'R') inside = inside && activity >= model->rhs[i] - model->range[i];
      }
      if (!inside) continue;
      for (size_t j = 0; j < numKept; ++j) {
        EXPECT_GE(x[j], hub.altLower[j] - 1e-6);
        EXPECT_LE(x[j], hub.altUpper[j] + 1e-6);
      }
    }
    release();
  }
  EXPECT_GT(numReleased, 100);
}

TEST_F(ImpliedBounds, EveryFailedAllocationIsTold) {
  for (int64_t k = 1;; ++k) {
    TestModel m("EE", {2, 0.5}, {}, {{1, 0, 3, {{0, 1}, {1, 1}}}, {2, 0, 3, {{0, 1}, {1, -1}}}});
    const qztest::ModelArrays before = m.a;
    p = poolAllocateZero<Presolver>(env.pool, 1);
    model = &m.model;
    ASSERT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr), 0);
    host.failAllocation(k);
    const int32_t status = releaseImpliedBounds(&env, model, &option, &hub, p);
    host.failAllocation(0);
    release();
    EXPECT_EQ(m.a, before) << k;
    if (status == 0) {
      EXPECT_EQ(k, 7);
      break;
    }
    ASSERT_EQ(status, -1086);
  }
}

}  // namespace
