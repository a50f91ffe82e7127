// What counts as big and how it moves: each kind on both sides of each limit, and the guards of what is in force.
#include "submodel/big_solution.h"

#include <cmath>
#include <vector>

#include "shell/pool.h"
#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::kNone;
using qztest::smallModel;

constexpr double B = 10000.0;
constexpr double kSmall = 0.1;  // 1e-5 B
constexpr double kTiny = 1e-6;  // 1e-10 B

// smallModel: rows E, G, G; column 0 has the lower bound 0, 1 the box [-5, 5], 2 is free, 3 has the upper bound 8.
class BigSolution : public qztest::SubModelTest {
 protected:
  void makePoint(int32_t typeMethod = IPM_METHOD_AUGMENTED) {
    make(smallModel(), typeMethod);
    smallValues();
    ipm->alphaPrimal = 0.5;
    ipm->alphaDual = 0.25;
  }
  void smallValues() {
    for (int j = 0; j < 4; ++j) {
      ipm->primal[j] = 1.0;
      ipm->lowerSlack[j] = ipm->upperSlack[j] = 1.0;
      ipm->lowerDual[j] = ipm->upperDual[j] = 1.0;
    }
    for (int i = 0; i < 3; ++i) ipm->dual[i] = ipm->ineqnSlack[i] = 1.0;
  }
  void stat() { ASSERT_EQ(statBigSolution(ipm, submodel), 0); }
  static std::vector<int32_t> listed(const int32_t* list, int32_t count) { return {list, list + count}; }
  std::vector<int32_t> vars() const { return listed(submodel->idxBigVar, submodel->numBigVar); }
  std::vector<int32_t> bounds() const { return listed(submodel->idxBoundSub, submodel->numBigBoundSlack); }
  std::vector<int32_t> rows() const { return listed(submodel->idxRowSub, submodel->numBigIneqnSlack); }
  std::vector<int32_t> duals() const { return listed(submodel->idxBigDual, submodel->numBigDual); }
  std::vector<int32_t> cols() const { return listed(submodel->idxColSub, submodel->numBigBoundDual); }
  double* dy() const { return ipm->rhsCorrector + ipm->numCol; }
};

using List = std::vector<int32_t>;

TEST_F(BigSolution, NothingBigLeavesEmptyLists) {
  makePoint();
  stat();
  EXPECT_EQ(vars(), List{});
  EXPECT_EQ(bounds(), List{});
  EXPECT_EQ(rows(), List{});
  EXPECT_EQ(duals(), List{});
  EXPECT_EQ(cols(), List{});
}

TEST_F(BigSolution, VariableIsBigAboveTheThresholdOnly) {
  makePoint();
  ipm->primal[0] = B;
  ipm->primal[1] = -std::nextafter(B, 2 * B);
  ipm->primal[3] = 2 * B;
  stat();
  EXPECT_EQ(vars(), (List{1, 3}));
}

TEST_F(BigSolution, BigVariableThatStandsStillHasNoMovement) {
  makePoint();
  ipm->primal[2] = -3 * B;
  stat();
  EXPECT_EQ(vars(), List{2});
  EXPECT_EQ(submodel->deltaX, 0.0);
}

TEST_F(BigSolution, MovementIsTheLargestStepRatio) {
  makePoint();
  ipm->primal[0] = 2 * B;
  ipm->primal[2] = -4 * B;
  ipm->rhsCorrector[0] = 100.0;
  ipm->rhsCorrector[2] = -800.0;
  stat();
  EXPECT_DOUBLE_EQ(submodel->deltaX, 400.0 / (4 * B));
}

TEST_F(BigSolution, StepOfAtLeastTheThresholdIsTheFirstSentinel) {
  makePoint();
  ipm->primal[0] = 2 * B;
  ipm->rhsCorrector[0] = 2 * B;  // half of it is the step
  stat();
  EXPECT_EQ(submodel->deltaX, BIG_STEP);
  ipm->rhsCorrector[0] = std::nextafter(2 * B, 0.0);
  stat();
  EXPECT_DOUBLE_EQ(submodel->deltaX, 0.5);
}

// A big slack is judged by its dual: vanished, small, or of real size.
TEST_F(BigSolution, BoundSlackIsMeasuredByItsDual) {
  struct Case {
    double dual, step, measure;
  };
  const Case cases[] = {{0.5 * kTiny, 300.0, 0.5 * kTiny},  // the dual itself
                        {kTiny, 300.0, 150.0 / (2 * B)},    // the step ratio
                        {1e-6 * B, 300.0, 150.0 / (2 * B)},
                        {0.5 * kSmall, 2 * B, BIG_STEP},
                        {kSmall, 0.0, BIG_ACTIVE},
                        {0.01 * B, 0.0, BIG_ACTIVE},
                        {0.0, 0.0, 0.0}};
  for (const Case& c : cases)
    for (bool upper : {false, true}) {
      makePoint();
      const int j = upper ? 3 : 0;
      (upper ? ipm->upperSlack : ipm->lowerSlack)[j] = 2 * B;
      (upper ? ipm->upperDual : ipm->lowerDual)[j] = c.dual;
      (upper ? ipm->upperSlackDelta : ipm->lowerSlackDelta)[j] = -c.step;
      stat();
      EXPECT_EQ(bounds(), List{j});
      EXPECT_EQ(submodel->statusBoundSub[j], upper ? SUB_UPPER : SUB_LOWER);
      EXPECT_DOUBLE_EQ(submodel->deltaBound, c.measure) << "dual " << c.dual;
      FreeSubModel(env, &submodel);
    }
}

TEST_F(BigSolution, SlackOfAnAbsentBoundIsNoSlack) {
  makePoint();
  ipm->upperSlack[0] = ipm->lowerSlack[2] = ipm->upperSlack[2] = ipm->lowerSlack[3] = 1e9;
  stat();
  EXPECT_EQ(bounds(), List{});
}

TEST_F(BigSolution, ZeroLowerBoundCountsLikeAnyOther) {
  makePoint();
  ASSERT_EQ(ipm->statusBound[0], BOUND_LOWER_ZERO);
  ASSERT_EQ(ipm->statusBound[1], BOUND_LOWER | BOUND_UPPER);
  ipm->lowerSlack[0] = ipm->lowerSlack[1] = 2 * B;
  stat();
  EXPECT_EQ(bounds(), (List{0, 1}));
}

TEST_F(BigSolution, AugmentedSystemJudgesEachSideAlone) {
  makePoint();
  ipm->lowerSlack[1] = 2 * B;
  ipm->upperSlack[1] = 3 * B;
  ipm->lowerDual[1] = 0.5 * kTiny;
  ipm->upperDual[1] = 0.25 * kTiny;
  stat();
  EXPECT_EQ(bounds(), List{1});
  EXPECT_EQ(submodel->statusBoundSub[1], SUB_LOWER | SUB_UPPER);
  EXPECT_DOUBLE_EQ(submodel->deltaBound, 0.5 * kTiny);
}

// One side must stay, or the column would have no pivot.
TEST_F(BigSolution, NormalEquationsMarkTheSideThatMovesMoreAndTheLowerOneOnATie) {
  for (double upperDual : {0.25 * kTiny, 0.5 * kTiny, 0.75 * kTiny}) {
    makePoint(IPM_METHOD_NORMAL);
    ipm->lowerSlack[1] = 2 * B;
    ipm->upperSlack[1] = 3 * B;
    ipm->lowerDual[1] = 0.5 * kTiny;
    ipm->upperDual[1] = upperDual;
    stat();
    EXPECT_EQ(submodel->statusBoundSub[1], upperDual > 0.5 * kTiny ? SUB_UPPER : SUB_LOWER);
    EXPECT_DOUBLE_EQ(submodel->deltaBound, std::max(0.5 * kTiny, upperDual));
    FreeSubModel(env, &submodel);
  }
}

TEST_F(BigSolution, NormalEquationsKeepTheOnlyBoundOfAColumn) {
  makePoint(IPM_METHOD_NORMAL);
  ipm->lowerSlack[0] = ipm->upperSlack[3] = 2 * B;
  ipm->upperSlack[1] = 2 * B;
  stat();
  EXPECT_EQ(bounds(), List{1});
  EXPECT_EQ(submodel->statusBoundSub[1], SUB_UPPER);
  EXPECT_EQ(submodel->statusBoundSub[0] | submodel->statusBoundSub[3], 0);
}

TEST_F(BigSolution, RowSlackIsMeasuredByItsDualAndAnEquationHasNone) {
  makePoint();
  for (int i = 0; i < 3; ++i) ipm->ineqnSlack[i] = 5 * B;
  ipm->dual[1] = 0.5 * kTiny;
  ipm->dual[2] = 0.5 * kSmall;
  ipm->ineqnSlackDelta[2] = 1000.0;
  stat();
  EXPECT_EQ(rows(), (List{1, 2}));
  EXPECT_DOUBLE_EQ(submodel->deltaRow, 500.0 / (5 * B));
  ipm->dual[2] = 0.01 * B;
  stat();
  EXPECT_EQ(submodel->deltaRow, BIG_ACTIVE);
}

TEST_F(BigSolution, RowDualIsBigByItsMagnitudeAndMovesByTheDualStep) {
  makePoint();
  ipm->dual[0] = -2 * B;
  ipm->dual[1] = 4 * B;
  ipm->dual[2] = B;
  dy()[0] = 80.0;
  dy()[1] = -40.0;
  stat();
  EXPECT_EQ(duals(), (List{0, 1}));
  EXPECT_DOUBLE_EQ(submodel->deltaY, 20.0 / (2 * B));
  dy()[1] = 4 * B;
  stat();
  EXPECT_EQ(submodel->deltaY, BIG_STEP);
}

TEST_F(BigSolution, BoundDualIsMeasuredByItsSlack) {
  struct Case {
    double slack, step, measure;
  };
  const Case cases[] = {{0.5 * kTiny, 300.0, 0.5 * kTiny},
                        {0.5 * kSmall, 300.0, 75.0 / (2 * B)},
                        {0.5 * kSmall, 4 * B, BIG_STEP},
                        {kSmall, 0.0, BIG_ACTIVE}};
  for (const Case& c : cases)
    for (bool upper : {false, true}) {
      makePoint();
      const int j = upper ? 3 : 0;
      (upper ? ipm->upperDual : ipm->lowerDual)[j] = 2 * B;
      (upper ? ipm->upperSlack : ipm->lowerSlack)[j] = c.slack;
      (upper ? ipm->upperDualDelta : ipm->lowerDualDelta)[j] = c.step;
      stat();
      EXPECT_EQ(cols(), List{j});
      EXPECT_DOUBLE_EQ(submodel->deltaColumn, c.measure);
      FreeSubModel(env, &submodel);
    }
}

TEST_F(BigSolution, BalancedBoundDualsAreNotBig) {
  makePoint();
  ipm->lowerDual[1] = ipm->upperDual[1] = 2 * B;
  stat();
  EXPECT_EQ(cols(), List{});
  ipm->upperDual[1] = kSmall;
  stat();
  EXPECT_EQ(cols(), List{});
  ipm->upperDual[1] = 0.9 * kSmall;
  ipm->lowerSlack[1] = 0.5 * kTiny;
  stat();
  EXPECT_EQ(cols(), List{1});
  EXPECT_DOUBLE_EQ(submodel->deltaColumn, 0.5 * kTiny);
}

TEST_F(BigSolution, ListsAreRebuiltFromNothing) {
  makePoint();
  ipm->primal[0] = ipm->lowerSlack[0] = ipm->ineqnSlack[1] = 2 * B;
  ipm->dual[0] = ipm->lowerDual[1] = 2 * B;
  ipm->upperDual[1] = 0.0;
  stat();
  EXPECT_EQ(submodel->statusBoundSub[0], SUB_LOWER);
  EXPECT_EQ(vars().size() + bounds().size() + rows().size() + duals().size() + cols().size(), 5U);
  smallValues();
  stat();
  EXPECT_EQ(vars().size() + bounds().size() + rows().size() + duals().size() + cols().size(), 0U);
  EXPECT_EQ(submodel->statusBoundSub[0], 0);
  EXPECT_EQ(submodel->deltaX + submodel->deltaBound + submodel->deltaRow + submodel->deltaY + submodel->deltaColumn,
            0.0);
}

TEST_F(BigSolution, SetFlagFreezesItsKindAndVariablesAndBoundsFreezeTogether) {
  for (int frozen = 0; frozen < 5; ++frozen)
    for (int32_t level : {BIG_INVIVO, BIG_INVITRO}) {
      makePoint();
      int32_t* flags[] = {&submodel->bBigVar, &submodel->bBigBoundSlack, &submodel->bBigIneqnSlack, &submodel->bBigDual,
                          &submodel->bBigBoundDual};
      *flags[frozen] = level;
      ipm->primal[0] = ipm->lowerSlack[0] = ipm->ineqnSlack[1] = 2 * B;
      ipm->dual[0] = ipm->lowerDual[1] = 2 * B;
      ipm->upperDual[1] = 0.0;
      stat();
      const bool primalFrozen = frozen < 2;
      EXPECT_EQ(vars().empty(), primalFrozen);
      EXPECT_EQ(bounds().empty(), primalFrozen);
      EXPECT_EQ(rows().empty(), frozen == 2);
      EXPECT_EQ(duals().empty(), frozen == 3);
      EXPECT_EQ(cols().empty(), frozen == 4);
      FreeSubModel(env, &submodel);
    }
}

TEST_F(BigSolution, NullRecordIsAccepted) {
  makePoint();
  EXPECT_EQ(statBigSolution(ipm, nullptr), 0);
  EXPECT_EQ(validBoundInvivo(ipm, nullptr), 0);
  EXPECT_EQ(validBigSolution(ipm, nullptr), 0);
}

// Guards.
class BigGuards : public BigSolution {
 protected:
  // Bounds of columns 0 (lower, at -2e5) and 3 (upper, at 3e5) are removed.
  void removeBounds(int32_t flag) {
    bigBounds({0, 3}, {SUB_LOWER, SUB_UPPER});
    submodel->lowerSub = poolAllocate<double>(env->pool, 2);
    submodel->upperSub = poolAllocate<double>(env->pool, 2);
    submodel->lowerSub[0] = -2e5;
    submodel->upperSub[0] = kNone;
    submodel->lowerSub[1] = -kNone;
    submodel->upperSub[1] = 3e5;
    ipm->lowerSlack[0] = ipm->upperSlack[3] = 0.0;
    submodel->bBigBoundSlack = flag;
  }
  int32_t valid() const { return validBigSolution(ipm, submodel); }
};

TEST_F(BigGuards, PassingARemovedBoundIsSeen) {
  makePoint();
  removeBounds(BIG_INVIVO);
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 0);
  ipm->primal[0] = -2e5;
  ipm->primal[3] = 3e5;
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 0) << "at the bound is not past it";
  ipm->primal[0] = std::nextafter(-2e5, -3e5);
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 1003);
  ipm->primal[0] = 0.0;
  ipm->primal[3] = std::nextafter(3e5, 4e5);
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 1003);
}

TEST_F(BigGuards, SidesThatWereNotRemovedDoNotCount) {
  makePoint();
  removeBounds(BIG_INVIVO);
  submodel->upperSub[0] = -1.0;  // x is past it, but only the lower bound of column 0 was removed
  submodel->lowerSub[1] = 10.0;
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 0);
  EXPECT_EQ(valid(), 0);
}

TEST_F(BigGuards, ShiftedVariableThatIsBigAgainIsSeen) {
  makePoint();
  bigVars({0, 2});
  submodel->bBigVar = BIG_INVIVO;
  ipm->primal[1] = 9 * B;  // not listed
  EXPECT_EQ(valid(), 0);
  ipm->primal[2] = -B;
  EXPECT_EQ(valid(), 0);
  ipm->primal[2] = -1.001 * B;
  EXPECT_EQ(valid(), 1003);
  submodel->bBigVar = 0;
  EXPECT_EQ(valid(), 0);
}

TEST_F(BigGuards, QuietSlacksExcuseABigVariable) {
  makePoint();
  bigVars({0});
  submodel->bBigVar = BIG_INVIVO;
  ipm->primal[0] = 2 * B;
  submodel->bBigIneqnSlack = BIG_INVITRO;
  EXPECT_EQ(valid(), 0);
  submodel->deltaRow = kTiny;
  EXPECT_EQ(valid(), 1003);
  submodel->bBigIneqnSlack = 0;
  submodel->deltaRow = 0.0;
  EXPECT_EQ(valid(), 1003) << "without any slack acted on there is no excuse";
  removeBounds(BIG_INVIVO);
  EXPECT_EQ(valid(), 0);
  submodel->deltaBound = kTiny;
  EXPECT_EQ(valid(), 1003);
}

TEST_F(BigGuards, ClosenessToARemovedBoundIsSeen) {
  makePoint();
  removeBounds(BIG_INVIVO);
  const double margin = 0.001 * B;
  ipm->primal[0] = -2e5 + margin;
  ipm->primal[3] = 3e5 - margin;
  EXPECT_EQ(valid(), 0);
  ipm->primal[0] -= 0.001;
  EXPECT_EQ(valid(), 1003);
  ipm->primal[0] = 0.0;
  ipm->primal[3] += 0.001;
  EXPECT_EQ(valid(), 1003);
}

TEST_F(BigGuards, BigSlackOfARemovedBoundCountsUnlessQuiet) {
  makePoint();
  removeBounds(BIG_INVIVO);
  for (double* slack : {&ipm->lowerSlack[0], &ipm->upperSlack[3]}) {
    *slack = 2 * B;
    EXPECT_EQ(valid(), 0);
    submodel->deltaBound = kTiny;
    EXPECT_EQ(valid(), 1003);
    submodel->deltaBound = 0.0;
    submodel->bBigIneqnSlack = BIG_INVITRO;
    EXPECT_EQ(valid(), 0);
    submodel->deltaRow = kTiny;
    EXPECT_EQ(valid(), 1003);
    submodel->deltaRow = 0.0;
    submodel->bBigIneqnSlack = 0;
    *slack = 0.0;
  }
}

TEST_F(BigGuards, DualNearTheShiftedOriginIsSeenOnInequalitiesOnly) {
  makePoint();
  bigDuals({0, 1});
  submodel->bBigDual = BIG_INVIVO;
  ipm->dual[0] = 0.0;
  EXPECT_EQ(valid(), 0);
  ipm->dual[1] = 0.999;
  EXPECT_EQ(valid(), 1003);
  ipm->dual[1] = 1e7;
  EXPECT_EQ(valid(), 0) << "a shifted dual may grow while no column is fixed";
  submodel->bBigBoundDual = BIG_INVITRO;
  EXPECT_EQ(valid(), 1003);
  submodel->deltaColumn = kTiny;
  EXPECT_EQ(valid(), 0);
}

// The lists keep the full numbering; the iterate is that of the reduced model.
TEST_F(BigGuards, InVitroListsAreTranslatedAndWhatTheMapsRemovedIsSkipped) {
  makePoint();
  for (int32_t removed : {-1, -2, -7}) {
    for (int j = 0; j < 4; ++j) submodel->colMapSub[j] = j - 1;
    submodel->colMapSub[0] = removed;
    bigVars({0, 3});
    submodel->bBigVar = BIG_INVITRO;
    for (int j = 0; j < 4; ++j) ipm->primal[j] = 1.0;
    ipm->primal[3] = 9 * B;  // column 4 of the full model
    EXPECT_EQ(valid(), 0) << removed;
    ipm->primal[2] = 9 * B;
    EXPECT_EQ(valid(), 1003);
    submodel->bBigVar = 0;

    removeBounds(BIG_INVITRO);
    ipm->primal[2] = 1.0;
    ipm->primal[0] = -1e9;  // column 1; the removed bound of column 0 has no say
    EXPECT_EQ(valid(), 0);
    ipm->primal[2] = 3e5;
    EXPECT_EQ(valid(), 1003);
    submodel->bBigBoundSlack = 0;
    poolFree(env->pool, submodel->lowerSub);
    poolFree(env->pool, submodel->upperSub);

    for (int i = 0; i < 3; ++i) submodel->rowMapSub[i] = i - 1;
    submodel->rowMapSub[0] = removed;
    bigDuals({0, 2});
    submodel->bBigDual = BIG_INVITRO;
    ipm->primal[2] = 1.0;
    ipm->dual[1] = 1.0;
    EXPECT_EQ(valid(), 0);
    ipm->dual[1] = 0.5;
    EXPECT_EQ(valid(), 1003);
    submodel->bBigDual = 0;
  }
}

TEST_F(BigGuards, FlagWithoutAListOrItsArraysIsNoFault) {
  makePoint();
  submodel->bBigVar = submodel->bBigBoundSlack = submodel->bBigDual = BIG_INVIVO;
  submodel->numBigBoundSlack = 1;
  EXPECT_EQ(valid(), 0);
  EXPECT_EQ(validBoundInvivo(ipm, submodel), 0);
}

}  // namespace
}  // namespace qz
