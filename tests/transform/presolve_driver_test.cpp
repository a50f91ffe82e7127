// The passes, the decision, and the reduced model of the solver's own presolve.
#include "transform/presolve.h"

#include <algorithm>

#include "transform/free_columns.h"
#include "transform/presolve_case.h"
#include "transform/reduced_model.h"

namespace {

using namespace qz;
using qztest::Box;
using qztest::kInf;
using qztest::ModelArrays;
using qztest::TestModel;

class Presolve : public qztest::PresolveCase {
 protected:
  ~Presolve() override { release(); }
  int32_t run(TestModel& m) {
    release();
    p = poolAllocateZero<Presolver>(env.pool, 1);
    hub = Hub{};
    model = &m.model;
    return ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr);
  }
  void release() {
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

// x + y + z = 12 and x - y >= -5 stay; rows 1 and 4 bound x and z by 5, row 3 is redundant, column w is fixed at 2.
TestModel mixedModel() {
  return TestModel("ELGLR", {14, 10, -5, 99, 7}, {0, 0, 0, 0, 12},
                   {{1, 0, kInf, {{0, 1}, {1, 2}, {2, 1}, {3, 1}}},
                    {2, 0, 8, {{0, 1}, {2, -1}, {3, 1}}},
                    {3, 0, 7, {{0, 1}, {3, 1}, {4, 1}}},
                    {4, 2, 2, {{0, 1}, {4, 1}}}});
}

// Which bounds may be dropped is noted beside the reduced model.
TEST_F(Presolve, MarksOfTheReducedModelGoWithIt) {
  TestModel m = mixedModel();
  ASSERT_EQ(run(m), 0);
  ASSERT_NE(model, &m.model);
  if (model->relaxColBound == nullptr) model->relaxColBound = poolAllocateZero<uint8_t>(env.pool, model->numCol);
  release();
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(Presolve, ReducesToTheKeptRowsAndColumns) {
  TestModel m = mixedModel();
  const ModelArrays before = m.a;
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(m.a, before) << "the input model is not written";
  EXPECT_EQ(p->preControl, PRECONTROL_REDUCED);
  EXPECT_EQ(p->preRoute, PREROUTE_NORMAL);
  EXPECT_EQ(p->inModel, &m.model);
  EXPECT_NE(model, &m.model);
  ASSERT_EQ(model->numRow, 2);
  ASSERT_EQ(model->numCol, 3);
  EXPECT_EQ(model->numCoef, 5);
  EXPECT_EQ(p->colMap[3], COLMAP_FIXED);
  EXPECT_EQ(p->rowMap[0], 0);
  EXPECT_EQ(p->rowMap[2], 1);
  EXPECT_EQ(p->rowMap[1], ROWMAP_UPPER);
  EXPECT_EQ(p->rowMap[3], ROWMAP_FREE);
  EXPECT_LT(p->rowMap[4], 0);
  EXPECT_EQ(model->rhs[0], 12.0);
  EXPECT_EQ(std::string(model->rowSense, 2), "EG");
  EXPECT_EQ(model->upper[0], 5.0);
  EXPECT_EQ(model->colBegin[3], 5);
  for (int32_t j = 0; j < 3; ++j) EXPECT_EQ(model->obj[j], m.a.obj[static_cast<size_t>(j)]);
  EXPECT_NE(in, out);
  EXPECT_EQ(out->primal, model->solPrimal);
  EXPECT_EQ(in->primal, m.model.solPrimal);
  EXPECT_EQ(hub.numLcont, 0);
  EXPECT_EQ(hub.numRange, 0);
}

TEST_F(Presolve, NothingToDoLeavesTheModel) {
  TestModel m("LR", {10, 9}, {0, 4}, {{1, -kInf, kInf, {{0, 1}, {1, 1}}}, {1, -kInf, kInf, {{0, -1}, {1, 1}}}});
  const ModelArrays before = m.a;
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_NONE);
  EXPECT_EQ(p->preRoute, PREROUTE_FREE);
  EXPECT_EQ(model, &m.model);
  EXPECT_EQ(in, out);
  EXPECT_EQ(m.a, before);
  EXPECT_EQ(hub.numLcont, 1);
  EXPECT_EQ(hub.numRange, 1);
  EXPECT_EQ(hub.numFreeVar, 2);
  in->upperDual[2 + 1 + 2 - 1] = 1.0;  // room for a range slack and the parts of two free columns
}

TEST_F(Presolve, NormalEquationsNeedRoomForFreeColumnsAlone) {
  for (auto [method, room] : {std::pair{IPM_METHOD_AUGMENTED, 2}, std::pair{IPM_METHOD_NORMAL, 4}}) {
    TestModel m("L", {10}, {}, {{1, -kInf, kInf, {{0, 1}}}, {1, -kInf, kInf, {{0, -1}}}});
    option.typeMethod = method;
    release();
    const int64_t before = host.outstandingBytes();
    ASSERT_EQ(run(m), 0);
    EXPECT_EQ(p->preControl, PRECONTROL_NONE);
    finish();
    EXPECT_EQ(host.outstandingBytes() - before, static_cast<int64_t>(sizeof(Solution)) + 4 * 8 * room + 8);
  }
}

TEST_F(Presolve, TightenedBoundsAloneAreSwappedIn) {
  TestModel m("G", {6}, {}, {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_BOUND);
  EXPECT_EQ(model, &m.model);
  EXPECT_EQ(m.a.lower[0], 1.0);
  EXPECT_EQ(m.a.lower[1], 2.0);
  EXPECT_EQ(p->lower[0], 0.0);
  EXPECT_EQ(m.model.relaxColBound, nullptr) << "a kept row set them";
  adjustBound(&env, model, p);
  EXPECT_EQ(m.a.lower[0], 0.0);
  EXPECT_EQ(m.a.lower[1], 0.0);
}

TEST_F(Presolve, BoundsWithFreeColumnsGrowTheSolutionForTheNormalEquations) {
  TestModel m("GL", {6, 3}, {}, {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}, {1, 1}}}, {1, -kInf, kInf, {{1, 1}}}});
  option.typeMethod = IPM_METHOD_NORMAL;
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_BOUND);
  EXPECT_EQ(hub.numFreeVar, 0) << "the second row bounds the free column from above";
  TestModel free(
      "GL", {6, 3}, {},
      {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}, {1, 1}}}, {1, -kInf, kInf, {{1, 1}}}, {1, -kInf, kInf, {{1, 1}}}});
  ASSERT_EQ(run(free), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_BOUND);
  EXPECT_EQ(hub.numFreeVar, 2);
  in->lowerSlack[4 + 2 - 1] = 1.0;
  EXPECT_EQ(in, out);
}

TEST_F(Presolve, ModelThatVanishesIsSolved) {
  TestModel m("EL", {6, 9}, {}, {{1, 0, 9, {{0, 2}, {1, 1}}}});
  EXPECT_EQ(run(m), 1);
  EXPECT_EQ(p->preRoute, PREROUTE_SOLVED);
  EXPECT_EQ(model->numCoef, 0);
  EXPECT_EQ(model->numRow, 0);
  EXPECT_EQ(model->numCol, 0);
}

TEST_F(Presolve, OnlyARangeSideDroppedStillReduces) {
  // 1 <= x + y <= 12 with x + y at most 9, at least 0
  TestModel m("R", {12}, {11}, {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(p->numChangeRange, 1);
  EXPECT_EQ(p->preControl, PRECONTROL_REDUCED);
  EXPECT_EQ(model->rowSense[0], 'G');
  EXPECT_EQ(model->rhs[0], 1.0);
  EXPECT_EQ(model->range[0], 0.0);
  EXPECT_EQ(hub.numRange, 0);
  EXPECT_EQ(hub.numLcont, 0);
  EXPECT_EQ(m.a.rowSense[0], 'R');
}

TEST_F(Presolve, QuadraticModelIsAlwaysReduced) {
  TestModel m("L", {10}, {}, {{1, 0, kInf, {{0, 1}}}, {1, 0, kInf, {{0, 1}}}});
  m.makeQuadratic({1, 2}, {{1, 0, 0.5}});
  option.printLevel = 1;
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_REDUCED);
  EXPECT_EQ(model->numQuadCoef, 1);
  EXPECT_EQ(model->quadDiag[1], 2.0);
  EXPECT_EQ(model->quadMatValue[0], 0.5);
  EXPECT_EQ(model->quadRowIndex[0], 1);
  EXPECT_EQ(model->quadColBegin[2], 1);
  std::vector<uint32_t> codes;
  for (const auto& message : host.messages) codes.push_back(message.code);
  EXPECT_EQ(codes, (std::vector<uint32_t>{0x827fd86a, 0x827fd86f, 0x827fd870, 0x827fd9b4, 0x827fd864, 0x827fd805}));
}

TEST_F(Presolve, ReportNamesTheMode) {
  for (auto [mode, code, level] :
       {std::tuple{0, 0x827fd869u, 2}, std::tuple{1, 0x827fd874u, 2}, std::tuple{2, 0x827fd875u, 2},
        std::tuple{3, 0x827fd876u, 2}, std::tuple{4, 0x827fd86eu, 4}, std::tuple{-2, 0x827fd86eu, 4}}) {
    TestModel m("L", {10}, {}, {{1, 0, kInf, {{0, 1}}}, {1, 0, kInf, {{0, 1}}}});
    m.makeQuadratic({1, 2}, {});
    option.presolveMode = mode;
    option.printLevel = 1;
    host.messages.clear();
    ASSERT_EQ(run(m), 0);
    ASSERT_EQ(host.messages.size(), mode == 0 ? 3u : 7u);
    EXPECT_EQ(host.messages[0].code, code);
    EXPECT_EQ(host.messages[0].level, level);
    option.printLevel = 0;
    host.messages.clear();
    ASSERT_EQ(run(m), 0);
    EXPECT_TRUE(host.messages.empty());
  }
}

TEST_F(Presolve, QuadraticColumnsWithoutATriangleGetEmptyArrays) {
  TestModel m("L", {10}, {}, {{1, 0, kInf, {{0, 1}}}, {1, 0, kInf, {{0, 1}}}});
  m.makeQuadratic({1, 2}, {});
  ASSERT_EQ(run(m), 0);
  for (int32_t j = 0; j <= 2; ++j) EXPECT_EQ(model->quadColBegin[j], 0);
  EXPECT_EQ(model->quadColLength[0], 0);
}

TEST_F(Presolve, InfeasibleAndUnboundedModelsEndHere) {
  TestModel crossed("L", {1}, {}, {{1, 3, 2, {{0, 1}}}});
  EXPECT_EQ(run(crossed), 3);
  EXPECT_EQ(p->preControl, 0);
  TestModel row("G", {100}, {}, {{1, 0, 2, {{0, 1}}}, {1, 0, 2, {{0, 1}}}});
  EXPECT_EQ(run(row), 3);
  EXPECT_EQ(p->infeasRow, 0);
  TestModel ray("L", {1}, {}, {{1, 0, 2, {{0, 1}}}, {-1, 0, kInf, {}}});
  EXPECT_EQ(run(ray), 4);
  EXPECT_EQ(p->infeasCol, 1);
  TestModel sense("X", {1}, {}, {{1, 0, 2, {{0, 1}}}});
  EXPECT_EQ(run(sense), 10);
}

TEST_F(Presolve, SolutionPointersMustFitTheEntry) {
  TestModel m = mixedModel();
  Solution other{};
  p = poolAllocateZero<Presolver>(env.pool, 1);
  model = &m.model;
  Solution* given = &other;
  Solution* none = nullptr;
  EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &given, &none, nullptr), 10);
  EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &none, &given, nullptr), 10);
  option.initOption = 4096;
  EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &none, &none, nullptr), 10);
  EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &given, &given, nullptr), 10);
  ASSERT_EQ(host.messages.size(), 4u);
  for (const auto& message : host.messages) {
    EXPECT_EQ(message.level, 4);
    EXPECT_EQ(message.text, "solution pointer error before IPM pre-processing");
  }
}

TEST_F(Presolve, ReentryCarriesTheSolutionAndOpensNewBounds) {
  TestModel m = mixedModel();
  option.initOption = 4096;
  p = poolAllocateZero<Presolver>(env.pool, 1);
  model = &m.model;
  ASSERT_EQ(NewSolution(&env, &in, 5, 4, m.model.solPrimal, m.model.solDual), 0);
  for (int32_t j = 0; j < 4; ++j) {
    in->primal[j] = 4.0 + j;
    in->lowerDual[j] = 0.25 * j;
    in->lowerSlack[j] = 4.0 + j;
  }
  for (int32_t i = 0; i < 5; ++i) in->dual[i] = 0.5 + i;
  ASSERT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr), 0);
  EXPECT_EQ(out->primal[1], 5.0);
  EXPECT_EQ(out->dual[1], 2.5);
  EXPECT_EQ(out->lowerDual[2], 0.5);
  EXPECT_EQ(out->upperSlack[0], 1.0) << "x has got the upper bound 5";
  EXPECT_EQ(out->upperDual[0], option.tolDual);
  EXPECT_EQ(out->upperSlack[1], 0.0) << "the user's bound: as it came";
}

TEST_F(Presolve, RestartIsRememberedOverThePasses) {
  // Row 1 is empty with a large dual; row 0 is still taken as a bound afterwards.
  TestModel m("LGE", {6, -1, 4}, {}, {{1, 0, 9, {{0, 2}, {2, 1}}}, {1, 0, 9, {{2, 1}}}});
  option.initOption = 4096;
  begin(m);
  std::vector<double> dual = {0, 5, 0};
  Solution solution{};
  solution.dual = dual.data();
  EXPECT_EQ(ipmPreLoop(&env, &m.model, &option, p, &solution), 1003);
  EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
  EXPECT_EQ(p->rowMap[1], ROWMAP_EMPTY);
}

TEST_F(Presolve, PassLimitRightBehindAForcingRowTakesItsColumnsOut) {
  TestModel m("LE", {0, 5}, {}, {{1, 0, 9, {{0, 1}, {1, 1}}}, {1, 0, 9, {{0, 1}, {1, 1}}}, {1, 0, 9, {{1, 1}}}});
  begin(m);
  p->maxPass = 1;
  EXPECT_EQ(ipmPreLoop(&env, &m.model, &option, p, nullptr), 0);
  EXPECT_EQ(p->numPass, 1);
  EXPECT_EQ(p->colMap[0], COLMAP_FIXED);
  EXPECT_EQ(p->colMap[1], COLMAP_FIXED);
  EXPECT_EQ(p->numRemovedElement, 4);
  EXPECT_EQ(p->numRemovedRow, 1);
}

TEST_F(Presolve, SwitchesKeepRulesOut) {
  TestModel m("LG", {6, 4}, {}, {{1, 0, 9, {{0, 2}, {1, 1}}}, {1, 0, 9, {{1, 1}}}});
  begin(m);
  p->singletonEnabled = p->tightenEnabled = 0;
  EXPECT_EQ(ipmPreLoop(&env, &m.model, &option, p, nullptr), 0);
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(bounds(0), (Box{0, 9}));
  begin(m);
  p->singletonEnabled = 0;
  EXPECT_EQ(ipmPreLoop(&env, &m.model, &option, p, nullptr), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE) << "redundant by the bound that it has set itself, so the bound must stay";
  EXPECT_EQ(p->ubMap[0], 0);
  EXPECT_EQ(bounds(0), (Box{0, 3}));
}

TEST_F(Presolve, ProcessedCountSeparatesFreeFromRelaxable) {
  // Columns: free, made one-sided by removed row 0, box by the user, boxed by removed rows 0 and 1, tightened by a kept
  // row.
  TestModel m("LGE", {1, 1, 1}, {},
              {{0, -kInf, kInf, {{2, 1}}},
               {0, -kInf, kInf, {{2, 1}, {0, 1}}},
               {0, 0, 1, {{2, 1}}},
               {0, -kInf, kInf, {{2, 1}}},
               {0, -kInf, kInf, {{2, 1}}}});
  begin(m);
  p->rowMap[0] = ROWMAP_UPPER;
  p->rowMap[1] = ROWMAP_LOWER;
  p->upper[1] = 5;
  p->ubMap[1] = 0;
  p->upper[3] = 5;
  p->ubMap[3] = 0;
  p->lower[3] = -5;
  p->lbMap[3] = 1;
  p->upper[4] = 5;
  p->ubMap[4] = 2;
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(hub.numFreeVar, 1);
  EXPECT_EQ(hub.numFreeElement, 1);
  EXPECT_EQ(hub.numRelaxFree, 2);
  EXPECT_EQ(p->preRoute, PREROUTE_FREE);
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(hub.numFreeVar, 1) << "a second count starts from zero";
  for (int count = 0; count < 2; ++count) {
    EXPECT_EQ(countFreeVar(&env, &m.model, &option, p, &hub), 0);
    EXPECT_EQ(hub.numFreeVar, 4) << "so does that of the model as it came";
  }
  // A bound that moved by less than the tolerance is the user's.
  m.a.lower[3] = -5 - 0.5e-6;
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(hub.numRelaxFree, 1);
}

TEST_F(Presolve, FreeElementsAreThoseThatAreLeft) {
  TestModel m("LN", {10, 0}, {}, {{1, -kInf, kInf, {{0, 1}, {1, 5}}}, {1, -kInf, kInf, {{0, -1}, {1, 4}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(p->preControl, PRECONTROL_REDUCED);
  EXPECT_EQ(hub.numFreeVar, 2);
  EXPECT_EQ(hub.numFreeElement, 2) << "those of the free row are gone";
}

TEST_F(Presolve, OnlyColumnsFreeAsTheyStandMakeASystem) {
  TestModel m("EG", {10, 8}, {}, {{0, -kInf, kInf, {{0, 1}, {1, 1}}}, {0, -kInf, kInf, {{0, 1}}}});
  begin(m);
  p->rowMap[1] = ROWMAP_LOWER;
  p->lower[0] = 8;
  p->lbMap[0] = 1;
  p->numRemovedRow = 1;
  p->numRemovedElement = 1;
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(p->preRoute, PREROUTE_FREE) << "x >= 8 holds though it may be relaxed";
  p->lower[0] = -kInf;
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(p->preRoute, PREROUTE_SYSTEM);
  p->rowMap[1] = 0;
  EXPECT_EQ(countProcessedFreeVar(&env, &m.model, &option, p, &hub), 0);
  EXPECT_EQ(p->preRoute, PREROUTE_FREE) << "a kept inequality";
}

TEST_F(Presolve, WrongCountsAreReported) {
  TestModel m = mixedModel();
  m.makeQuadratic({1, 1, 1, 1}, {{2, 1, 0.5}});
  ASSERT_EQ(run(m), 0);
  model->numCoef = 4;
  model->numQuadCoef = 0;
  host.messages.clear();
  reduceModel(&env, model, &option, p, nullptr, nullptr);
  ASSERT_EQ(host.messages.size(), 2u);
  EXPECT_EQ(host.messages[0].text, "Error reduceModel: nonzeros=%d should be %d");
  EXPECT_EQ(host.messages[1].text, "Error reduceModel: quadratic nonzeros=%d should be %d");
}

TEST_F(Presolve, EveryFailedAllocationGivesOutOfMemoryAndLeavesNothing) {
  for (int variant = 0; variant < 3; ++variant) {
    for (int64_t k = 1;; ++k) {
      TestModel m =
          variant == 1
              ? TestModel(
                    "GR", {6, 8}, {0, 5},
                    {{1, 0, 4, {{0, 1}}}, {1, 0, 5, {{0, 1}}}, {1, -kInf, kInf, {{1, 1}}}, {1, -kInf, kInf, {{1, 2}}}})
              : mixedModel();
      if (variant == 2) m.makeQuadratic({1, 1, 1, 1}, {{1, 0, 0.5}, {3, 2, 0.25}});
      const ModelArrays before = m.a;
      release();
      p = poolAllocateZero<Presolver>(env.pool, 1);
      hub = Hub{};
      model = &m.model;
      host.failAllocation(k);
      const int32_t status = ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr);
      host.failAllocation(0);
      if (status == 0) {
        EXPECT_GT(k, 25);
        EXPECT_EQ(p->preControl, variant == 1 ? PRECONTROL_BOUND : PRECONTROL_REDUCED);
        release();
        break;
      }
      ASSERT_EQ(status, -1086) << k;
      if (p->preControl == PRECONTROL_BOUND) adjustBound(&env, model, p);
      EXPECT_EQ(m.a, before) << k;
      release();
      EXPECT_EQ(host.outstanding(), 0) << k;
    }
  }
}

TEST_F(Presolve, FreedReducedModelHandsItsAnswerOver) {
  TestModel m = mixedModel();
  ASSERT_EQ(run(m), 0);
  model->status = 7;
  model->objValue = 1.5;
  model->numIter = 9;
  model->primalInfeas = 1;
  model->dualInfeas = 2;
  model->boundInfeas = 3;
  model->dualityGap = 4;
  model->complementarity = 5;
  FreeReducedModel(&env, &model, &m.model);
  p->inModel = nullptr;
  EXPECT_EQ(model, nullptr);
  EXPECT_EQ(m.model.status, 7);
  EXPECT_EQ(m.model.objValue, 1.5);
  EXPECT_EQ(m.model.numIter, 9);
  EXPECT_EQ(m.model.primalInfeas + m.model.dualInfeas + m.model.boundInfeas, 6);
  EXPECT_EQ(m.model.dualityGap, 4);
  EXPECT_EQ(m.model.complementarity, 5);
  FreeReducedModel(&env, &model, &m.model);
  EXPECT_EQ(m.model.status, 7);
}

}  // namespace
