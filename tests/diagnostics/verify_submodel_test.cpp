// Checks of the big-value submodels.
#include "diagnostics/verify_submodel.h"

#include <gtest/gtest.h>

#include "diagnostics/spoken_log.h"
#include "shell/pool.h"
#include "submodel/sub_matrix.h"
#include "transform/model_fixture.h"

namespace qz {
namespace {

using qztest::expectBreach;
using qztest::expectSound;
using qztest::kInf;
using qztest::TestModel;

// Row 0 has a big side, column 1 a big cost, column 2 a far bound.
class VerifySub : public ::testing::Test {
 protected:
  VerifySub()
      : m("GGE", {1e7, 1, 2}, {},
          {{1, 0, kInf, {{0, 1}, {1, 2}}}, {-1e6, 0, 9, {{1, 3}, {2, 1}}}, {1, -5e4, kInf, {{0, 4}, {2, -1}}}}) {
    env.pool = host.pool();
    env.log = log.log();
    EXPECT_EQ(NewSubModel(&env, &m.model, &s), 0);
    EXPECT_EQ(NewSubModel2(&env, s), 0);
    s->thresholdMat = 100;
    s->thresholdBig = s->thresholdRow = s->thresholdCol = 1e4;
    s->thresholdBound = 1e3;
    set(s->rowMapSub, {-1, 0, 1});
    set(s->colMapSub, {0, -1, 1});
    set(s->statusBoundSub, {0, 0, SUB_LOWER});
    s->numRowSub = s->numColSub = s->numBoundSub = 1;
    s->idxRowSub[0] = 0;
    s->idxColSub[0] = 1;
    s->idxBoundSub[0] = 2;
    EXPECT_EQ(CreateSubModel(&env, &m.model, s), 0);
  }
  ~VerifySub() override {
    FreeSubModel(&env, &s);
    EXPECT_EQ(host.outstanding(), 0);
  }
  static void set(int32_t* list, std::initializer_list<int32_t> values) {
    std::copy(values.begin(), values.end(), list);
  }
  template <class Verify, class Number>
  void breaks(Verify verify, Number& number, Number value, const std::string& text) {
    const Number old = number;
    number = value;
    expectBreach(log, 1, verify, text);
    number = old;
  }
  auto structure() {
    return [this](int32_t l) { return VerifySubmodelStruct(&env, l, s, true); };
  }

  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  TestModel m;
  SubModel* s = nullptr;
};

TEST_F(VerifySub, StructureOfTheRecord) {
  expectSound(log, 1, structure());
  const std::string name = "VerifySubmodelStruct: ";
  breaks(structure(), s->numRowSub, 4, name + "numRowSub = 4 should be from 0 to 3");
  breaks(structure(), s->numColSub, -1, name + "numColSub = -1 should be");
  breaks(structure(), s->numBoundSub, 9, name + "numBoundSub = 9 should be");
  breaks(structure(), s->idxRowSub[0], 3, name + "idxRowSub(0) = 3 should be from 0 to 2");
  breaks(structure(), s->idxRowSub[0], 1, name + "rowMapSub(1) keeps what is listed");
  breaks(structure(), s->rowMapSub[2], -1, name + "rowMapSub = 2 should be 1");
  breaks(structure(), s->colMapSub[1], 5, name + "colMapSub");
  breaks(structure(), s->idxBoundSub[0], 1, name + "idxBoundSub(0) names a column without a mark");
  s->numBoundSub = 2;
  s->idxBoundSub[1] = 2;
  expectBreach(log, 1, structure(), name + "idxBoundSub(1) is listed twice");
  s->numBoundSub = 1;
  int32_t* map = s->rowMapSub;
  s->rowMapSub = nullptr;
  expectBreach(log, 1, structure(), name + "rowMapSub is null");
  s->rowMapSub = map;
}

TEST_F(VerifySub, SubMatrixExactlyWhenItHasRows) {
  const std::string name = "VerifySubmodelStruct: ";
  s->numRowSub = 0;
  set(s->rowMapSub, {0, 1, 2});
  expectBreach(log, 1, structure(), name + "rowBeginSub should be null");
  EXPECT_TRUE(log.says(name + "numCoefRowSub = 2 should be 0"));
  FreeRowSub(&env, s);
  s->numCoefRowSub = 0;
  expectSound(log, 1, structure());
}

TEST_F(VerifySub, ThresholdsBehindTheScreening) {
  const std::string name = "VerifySubmodelStruct: ";
  breaks(structure(), s->thresholdBig, 9999.0, name + "thresholdBig = 9999 should be at least 10000");
  breaks(structure(), s->thresholdBound, 999.0, name + "thresholdBound = 999 should be at least 1000");
  breaks(structure(), s->thresholdRow, 9999.0, name + "thresholdRow");
  breaks(structure(), s->thresholdCol, 0.0, name + "thresholdCol");
  s->thresholdBig = 500.0;
  EXPECT_EQ(VerifySubmodelStruct(&env, 1, s, false), 0) << "later the limits are other ones";
}

TEST_F(VerifySub, ValuesAreTheModels) {
  const auto verify = [&](int32_t l) { return VerifySubmodelValue(&env, l, &m.model, s); };
  expectSound(log, 1, verify);
  const std::string name = "VerifySubmodelValue: ";
  breaks(verify, s->matValueSub[0], 3.5, name + "matValueSub(0) = 3.5 should be about 3");
  breaks(verify, s->rowIndexSub[0], 0, name + "matValueSub(0) is no element of the model");
  breaks(verify, s->objSub[0], 1e6, name + "objSub(0)");
  breaks(verify, s->colLengthSub[0], 1, name + "colLengthSub(0) = 1 should be 2");
  breaks(verify, s->rowMatValueSub[1], -4.0, name + "rowMatValueSub(1) = -4 should be about 4");
  breaks(verify, s->rhsSub[0], 0.0, name + "rhsSub(0)");
  breaks(verify, s->rowSenseSub[0], 'L', name + "rowSenseSub(0)");
  breaks(verify, s->numCoefRowSub, 3, name + "numCoefRowSub = 3 should be 2");
  breaks(verify, s->lowerSub[0], -5.0, name + "lowerSub(0)");
  breaks(verify, s->upperSub[0], 5.0, name + "upperSub(0)");
}

TEST_F(VerifySub, MarksFollowTheThresholds) {
  const auto rows = [&](int32_t l) { return VerifySubmodelRowThreshold(&env, l, &m.model, s); };
  const auto cols = [&](int32_t l) { return VerifySubmodelColThreshold(&env, l, &m.model, s, 1e20); };
  expectSound(log, 1, rows);
  expectSound(log, 1, cols);
  breaks(rows, m.a.rhs[0], 1e3, "VerifySubmodelRowThreshold: rowMapSub(0) is marked below the threshold");
  breaks(rows, m.a.rhs[1], -2e4, "VerifySubmodelRowThreshold: rowMapSub(1) is not marked above the threshold");
  breaks(rows, s->numRowSub, 2, "VerifySubmodelRowThreshold: rowMapSub = 2 should be 1");
  breaks(cols, m.a.obj[0], 2e4, "VerifySubmodelColThreshold: colMapSub(0) is not marked above the threshold");
  m.a.rhs[2] = 1e15;  // an equation is never marked
  expectSound(log, 1, rows);
  m.a.obj[2] = 1e15;  // nor a free column
  m.a.lower[2] = -kInf;
  expectSound(log, 1, cols);
}

TEST_F(VerifySub, CountsAgreeWithTheMarks) {
  const auto verify = [&](int32_t l) { return VerifyDispSubmodel(&env, l, s); };
  expectSound(log, 1, verify);
  EXPECT_TRUE(log.says("submodel: numRowSub=1  numColSub=1  numBoundSub=1"));
  breaks(verify, s->statusBoundSub[0], 2, "VerifyDispSubmodel: numBoundSub = 1 should be 2");
}

class VerifyRoute : public VerifySub {
 protected:
  VerifyRoute() {
    ClearSubModel(&env, s);
    ipm.env = &env;
    ipm.numRow = ipm.numCol = 3;
    ipm.rowSense = m.a.rowSense.data();
    ipm.primal = x;
    ipm.dual = y;
    ipm.lowerSlack = sl;
    ipm.upperSlack = su;
    ipm.lowerDual = zl;
    ipm.upperDual = zu;
    ipm.ineqnSlack = slack;
    s->numBigVar = 1;
    s->idxBigVar[0] = 0;
    s->numBigBoundSlack = 1;
    s->idxBoundSub[0] = 1;
    s->statusBoundSub[1] = SUB_UPPER;
    s->numBigIneqnSlack = 1;
    s->idxRowSub[0] = 1;
    s->numBigDual = 1;
    s->idxBigDual[0] = 2;
    s->numBigBoundDual = 1;
    s->idxColSub[0] = 2;
  }
  double x[3] = {-2e4, 1, 1}, y[3] = {1, 1, -3e4}, sl[3] = {1, 1, 1}, su[3] = {0, 5e4, 0}, zl[3] = {1, 1, 6e4},
         zu[3] = {0, 1, 0}, slack[3] = {1, 2e4, 0};
  Ipm ipm{};
  Hub hub{};
};

TEST_F(VerifyRoute, ListsHoldExactlyTheBigValues) {
  const auto verify = [&](int32_t l) { return VerifyStatBig(&ipm, l, s); };
  expectSound(log, 1, verify);
  const std::string name = "VerifyStatBig: ";
  breaks(verify, x[0], 10.0, name + "idxBigVar(0) names a value that is not big");
  breaks(verify, x[1], 2e4, name + "idxBigVar = 1 should be 2");
  breaks(verify, su[1], 10.0, name + "idxBoundSub(0) names a value that is not big");
  breaks(verify, s->statusBoundSub[2], 1, name + "statusBoundSub = 2 should be 1");
  breaks(verify, slack[0], 2e4, name + "idxRowSub = 1 should be 2");
  breaks(verify, y[2], 3.0, name + "idxBigDual(0) names a value that is not big");
  breaks(verify, zl[2], 3.0, name + "idxColSub(0) names a value that is not big");
  s->bBigVar = s->bBigBoundSlack = s->bBigIneqnSlack = s->bBigDual = s->bBigBoundDual = BIG_INVIVO;
  x[0] = y[2] = zl[2] = su[1] = slack[1] = 0.0;  // frozen lists may name what has shrunk
  expectSound(log, 1, verify);
}

TEST_F(VerifyRoute, ListsAtTheEnd) {
  const auto verify = [&](int32_t l) { return VerifyBigList(&env, l, s); };
  expectSound(log, 1, verify);
  breaks(verify, s->idxBigVar[0], 3, "VerifyBigList: idxBigVar(0) = 3 should be from 0 to 2");
  breaks(verify, s->numBigDual, 4, "VerifyBigList: idxBigDual = 4 should be from 0 to 3");
  s->numBigBoundDual = 2;
  s->idxColSub[1] = 2;
  expectBreach(log, 1, verify, "VerifyBigList: idxColSub(1) is listed twice");
  host.failAllocation(1);
  EXPECT_EQ(VerifyBigList(&env, 1, s), -1086);
}

TEST_F(VerifyRoute, RoutesAndFlags) {
  const auto restore = [&](int32_t l) { return VerifySubRestoreReport(&ipm, l, &hub, s); };
  const auto invivo = [&](int32_t l) { return VerifyInvivoReport(&ipm, l, &hub, s); };
  const auto invitro = [&](int32_t l) { return VerifyInvitroReport(&ipm, l, &hub, s); };
  hub.routeSubmodel = ROUTE_RESTORE;
  expectBreach(log, 1, restore, "VerifySubRestoreReport: flags are clear, and there is nothing to restore");
  s->bBigVar = BIG_INVIVO;
  expectSound(log, 1, restore);
  expectBreach(log, 1, invivo, "VerifyInvivoReport: routeSubmodel should be INVIVO or BOTH");
  EXPECT_TRUE(log.says("VerifyInvivoReport: shiftPrimal is null"));
  hub.routeSubmodel = ROUTE_INVIVO;
  expectBreach(log, 1, restore, "VerifySubRestoreReport: routeSubmodel = 1 should be 4");
  s->shiftPrimal = poolAllocateZero<double>(env.pool, 1);
  expectSound(log, 1, invivo);
  s->bBigVar = 0;
  expectBreach(log, 1, invivo, "VerifyInvivoReport: flags tell of nothing done in vivo");
  expectBreach(log, 1, invitro, "VerifyInvitroReport: routeSubmodel = 1 should be 2");
  hub.routeSubmodel = ROUTE_INVITRO;
  s->planBigVar = BIG_INVITRO;
  expectSound(log, 1, invitro);
  s->planBigDual = BIG_INVIVO;
  expectBreach(log, 1, invitro, "VerifyInvitroReport: plan flags wish for something in vivo");
}

TEST_F(VerifyRoute, NoSubmodelIsNoFault) {
  EXPECT_EQ(VerifySubmodelStruct(&env, 9, nullptr, true), 0);
  EXPECT_EQ(VerifySubmodelValue(&env, 9, &m.model, nullptr), 0);
  EXPECT_EQ(VerifyStatBig(&ipm, 9, nullptr), 0);
  EXPECT_EQ(VerifyBigList(&env, 9, nullptr), 0);
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(VerifyRoute, KeptDirectionIsTheEnginesThroughTheMaps) {
  double direction[6] = {1, 2, 3, 4, 5, 6}, deltas[3] = {7, 8, 9}, rows[3] = {10, 11, 12};
  ipm.rhsCorrector = direction;
  ipm.lowerSlackDelta = ipm.upperSlackDelta = ipm.lowerDualDelta = ipm.upperDualDelta = deltas;
  ipm.ineqnSlackDelta = rows;
  ipm.alphaPrimal = 0.5;
  ipm.alphaDual = 0.25;
  double px[3] = {1, 0, 2}, dy[3] = {0, 4, 5}, dd[4][3] = {{7, 0, 8}, {7, 0, 8}, {7, 0, 8}, {7, 0, 8}},
         ds[3] = {0, 10, 11};
  KeptSolution kept{0.5, 0.25, px, dy, dd[0], dd[1], dd[2], dd[3], ds};
  set(s->colMapSub, {0, -1, 1});
  set(s->rowMapSub, {-1, 0, 1});
  hub.keptSolution = &kept;
  const auto verify = [&](int32_t l) { return VerifyRecordDirection(&ipm, l, &m.model, &hub, s); };
  expectSound(log, 1, verify);
  const std::string name = "VerifyRecordDirection: ";
  breaks(verify, kept.alphaPrimal, 0.6, name + "alphaPrimal");
  breaks(verify, px[2], 3.0, name + "primalDelta(2) = 3 should be about 2");
  breaks(verify, dy[0], 1.0, name + "dualDelta(0)");
  breaks(verify, dd[2][0], 1.0, name + "lowerDualDelta(0)");
  breaks(verify, ds[1], 1.0, name + "ineqnSlackDelta(1)");
  hub.keptSolution = nullptr;
  expectBreach(log, 1, verify, name + "keptSolution is null");
}

}  // namespace
}  // namespace qz
