#include "submodel/reduction.h"

#include <vector>

#include "submodel/bound_removal.h"
#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::kNone;
using qztest::smallModel;

// The small model with a point, all five kinds marked: row 1, column 1 at its upper bound, variable 0, the lower bound
// of column 0, and (for the presolve) the dual of row 0.
class Reduction : public qztest::SubModelTest {
 protected:
  ~Reduction() override { DestroyPresolver(env, &presolver); }
  void makeMarked(qztest::DenseModel dense = smallModel()) {
    make(std::move(dense));
    presolver = poolAllocateZero<Presolver>(env->pool, 1);
    ASSERT_EQ(CreatePresolver(env, &test->model, &test->option, presolver), 0);
    ipm->primal[0] = 2e5;
    ipm->lowerSlack[0] = 2e5;
    ipm->lowerDual[0] = 1e-9;
    ipm->primal[1] = 4.9;
    ipm->lowerSlack[1] = 9.9;
    ipm->lowerDual[1] = 1e-3;
    ipm->upperSlack[1] = 0.1;
    ipm->upperDual[1] = 3e5;
    ipm->dual[1] = 1e-8;
    bigRows({1});
    bigColumns({1});
    bigVars({0});
    bigBounds({0}, {SUB_LOWER});
  }
  int32_t reduce() { return preSetSubmodel(env, presolver, submodel, &test->solution, &test->model, &test->option); }
  void flagAll(int32_t flag) {
    submodel->bBigIneqnSlack = submodel->bBigBoundDual = submodel->bBigVar = submodel->bBigBoundSlack = flag;
  }
  Presolver* presolver = nullptr;
};

TEST_F(Reduction, WithoutTheInVitroBitNothingIsDone) {
  makeMarked();
  flagAll(BIG_INVIVO);
  const int64_t before = host.outstanding();
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(host.outstanding(), before);
  EXPECT_EQ(presolver->rowSense[1], 'G');
  EXPECT_EQ(ipm->primal[0], 2e5);
  EXPECT_EQ(preSetSubmodel(env, presolver, nullptr, &test->solution, &test->model, &test->option), 0);
}

TEST_F(Reduction, MarkedRowsBecomeFreeAndTheirDualsAreKept) {
  makeMarked();
  submodel->bBigIneqnSlack = BIG_INVITRO;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(presolver->rowSense[1], 'N');
  EXPECT_EQ(submodel->freedRowDual[0], 1e-8);
  EXPECT_EQ(ipm->dual[1], 0.0);
  EXPECT_EQ(test->model.rowSense[1], 'G');
}

TEST_F(Reduction, AColumnIsFixedWhereItsDualIsBig) {
  makeMarked();
  submodel->bBigBoundDual = BIG_INVITRO;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(presolver->lower[1], 5.0);
  EXPECT_EQ(presolver->upper[1], 5.0);
  EXPECT_EQ(submodel->fixedSide[1], SUB_UPPER);
  EXPECT_EQ(submodel->fixedValue[0], 0.1);  // slack of that bound
  EXPECT_EQ(submodel->fixedDual[0], 1e-3);  // dual of the other
  EXPECT_EQ(test->model.lower[1], -5.0);
}

TEST_F(Reduction, OneSidedColumnsAreFixedAtTheBoundTheyHave) {
  makeMarked();
  submodel->bBigBoundDual = BIG_INVITRO;
  bigColumns({3, 0});
  ipm->upperDual[3] = ipm->lowerDual[0] = 2e5;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(submodel->fixedSide[3], SUB_UPPER);
  EXPECT_EQ(presolver->lower[3], 8.0);
  EXPECT_EQ(submodel->fixedDual[0], 0.0);
  EXPECT_EQ(submodel->fixedSide[0], SUB_LOWER);
  EXPECT_EQ(presolver->upper[0], 0.0);
}

TEST_F(Reduction, EqualDualsFixAtTheLowerBound) {
  makeMarked();
  submodel->bBigBoundDual = BIG_INVITRO;
  ipm->lowerDual[1] = ipm->upperDual[1] = 10.0;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(submodel->fixedSide[1], SUB_LOWER);
  EXPECT_EQ(presolver->upper[1], -5.0);
}

TEST_F(Reduction, VariablesAreShiftedOnTheCopyAndThePoint) {
  makeMarked();
  submodel->bBigVar = BIG_INVITRO;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(ipm->primal[0], 0.0);
  EXPECT_EQ(presolver->lower[0], -2e5);
  EXPECT_EQ(presolver->rhs[0], 10.0 - 2e5);
  EXPECT_EQ(presolver->rhs[2], 30.0 - 4e5);
  EXPECT_EQ(test->model.lower[0], 0.0);
  EXPECT_EQ(test->model.rhs[0], 10.0);
}

TEST_F(Reduction, QuadraticCostsTakeTheShift) {
  makeMarked(smallModel(true));
  submodel->bBigVar = BIG_INVITRO;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(presolver->obj[0], 1.0 + 4 * 2e5);
  EXPECT_EQ(presolver->obj[1], -2.0 + 1 * 2e5);
  EXPECT_EQ(test->model.obj[0], 1.0);
}

TEST_F(Reduction, FarBoundsAreRemovedOnTheCopy) {
  makeMarked();
  submodel->bBigBoundSlack = BIG_INVITRO;
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(presolver->lower[0], -kRemovedBound);
  EXPECT_EQ(submodel->lowerSub[0], 0.0);
  EXPECT_EQ(submodel->savedLowerDual[0], 1e-9);
  EXPECT_EQ(ipm->lowerSlack[0], 0.0);
  EXPECT_EQ(test->model.lower[0], 0.0);
}

TEST_F(Reduction, AColumnOfAllKindsIsFixedAtItsShiftedBound) {
  makeMarked();
  ipm->primal[1] = 1e6;
  ipm->upper[1] = 2e6;
  presolver->upper[1] = 2e6;
  bigVars({1});
  bigBounds({1}, {SUB_LOWER | SUB_UPPER});
  flagAll(BIG_INVITRO);
  ASSERT_EQ(reduce(), 0);
  EXPECT_EQ(presolver->upper[1], 1e6);  // 2e6 behind a shift by 1e6
  EXPECT_EQ(presolver->lower[1], 1e6);
  EXPECT_EQ(submodel->upperSub[0], 1e6);
}

TEST_F(Reduction, AFreeColumnCannotBeFixed) {
  makeMarked();
  submodel->bBigBoundDual = BIG_INVITRO;
  bigColumns({2});
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error preSetSubmodel: free variable %d is marked to be fixed"));
  EXPECT_EQ(submodel->fixedValue, nullptr);
  EXPECT_EQ(submodel->fixedDual, nullptr);
}

TEST_F(Reduction, TwoBigDualsOfOneColumnAreAnError) {
  makeMarked();
  submodel->bBigBoundDual = BIG_INVITRO;
  ipm->lowerDual[1] = 2e4;
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error preSetSubmodel: both bound duals are big"));
  EXPECT_EQ(submodel->fixedValue, nullptr);
}

TEST_F(Reduction, ArraysOfAnEarlierRoundAreAnErrorAndStay) {
  makeMarked();
  submodel->bBigIneqnSlack = BIG_INVITRO;
  submodel->freedRowDual = poolAllocate<double>(env->pool, 1);
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subRemoveRow: memory allocated already."));
  EXPECT_NE(submodel->freedRowDual, nullptr);
  EXPECT_EQ(presolver->rowSense[1], 'G');
  submodel->bBigIneqnSlack = 0;
  submodel->bBigBoundDual = BIG_INVITRO;
  submodel->fixedValue = poolAllocate<double>(env->pool, 1);
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subRemoveCol: memory allocated already."));
  EXPECT_NE(submodel->fixedValue, nullptr);
}

TEST_F(Reduction, AShiftOrRemovalInForceIsAnErrorThatGivesTheRestBack) {
  makeMarked();
  flagAll(BIG_INVITRO);
  submodel->shiftPrimal = poolAllocate<double>(env->pool, 1);
  int64_t before = host.outstanding();
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_EQ(host.outstanding(), before);
  EXPECT_NE(submodel->shiftPrimal, nullptr);
  poolFree(env->pool, submodel->shiftPrimal);
  submodel->lowerSub = poolAllocate<double>(env->pool, 1);
  before = host.outstanding();
  EXPECT_EQ(reduce(), QZ_STATUS_FAILED);
  EXPECT_EQ(host.outstanding(), before);
  EXPECT_NE(submodel->lowerSub, nullptr);
}

TEST_F(Reduction, EveryFailedAllocationGivesEverythingBack) {
  makeMarked(smallModel(true));
  flagAll(BIG_INVITRO);
  const int64_t before = host.outstanding();
  int32_t status = QZ_STATUS_OUT_OF_MEMORY;
  int64_t k = 0;
  while (status == QZ_STATUS_OUT_OF_MEMORY && k < 100) {
    ipm->lowerDual[1] = 1e-3;
    host.failAllocation(++k);
    status = reduce();
    host.failAllocation(0);
    if (status == QZ_STATUS_OK) break;
    EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(k, 1 + 3 + 2 + 1 + 4 + 1);
}

}  // namespace
}  // namespace qz
