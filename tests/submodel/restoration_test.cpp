#include "submodel/restoration.h"

#include <vector>

#include "submodel/bound_removal.h"
#include "submodel/dual_shift.h"
#include "submodel/reduction.h"
#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::kNone;
using qztest::smallModel;

constexpr double kFloor = 1e-4;  // with tolerances of 1e-6

// Reduction and restoration of the small model without a solve between them.
class Restoration : public qztest::SubModelTest {
 protected:
  ~Restoration() override { DestroyPresolver(env, &presolver); }
  void makePoint(qztest::DenseModel dense = smallModel()) {
    make(std::move(dense));
    presolver = poolAllocateZero<Presolver>(env->pool, 1);
    ASSERT_EQ(CreatePresolver(env, &test->model, &test->option, presolver), 0);
    for (int j = 0; j < 4; ++j) {
      ipm->primal[j] = 1.0 + j;
      ipm->lowerSlack[j] = 10.0 + j;
      ipm->upperSlack[j] = 20.0 + j;
      ipm->lowerDual[j] = 0.1 + j;
      ipm->upperDual[j] = 0.2 + j;
    }
    for (int i = 0; i < 3; ++i) {
      ipm->dual[i] = 1.0 + i;
      ipm->ineqnSlack[i] = 5.0 + i;
    }
  }
  void reduce() {
    ASSERT_EQ(preSetSubmodel(env, presolver, submodel, &test->solution, &test->model, &test->option), 0);
    ASSERT_EQ(preSetSubDual(env, presolver, submodel, &test->solution), 0);
  }
  int32_t restore() {
    return preRestoreSubmodel(env, &test->model, presolver, submodel, &test->solution, &test->option, &smallest);
  }
  int32_t recover() { return subRecoverPositive(&test->solution, submodel, &test->model, &test->option, smallest); }
  void setMaps(const std::vector<int32_t>& rows, const std::vector<int32_t>& cols) {
    std::copy(rows.begin(), rows.end(), presolver->rowMap);
    std::copy(cols.begin(), cols.end(), presolver->colMap);
  }
  Presolver* presolver = nullptr;
  double smallest = -7.0;
};

TEST_F(Restoration, WithNoKindFlaggedNothingChanges) {
  makePoint();
  bigVars({0});
  bigRows({1});
  bigColumns({1});
  bigDuals({0});
  bigBounds({1}, {SUB_LOWER});
  const auto x = copy(ipm->primal, 4);
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(copy(ipm->primal, 4), x);
  EXPECT_EQ(ipm->dual[1], 2.0);
  EXPECT_EQ(ipm->lowerSlack[1], 11.0);
  EXPECT_EQ(ipm->ineqnSlack[1], 6.0);
  EXPECT_EQ(submodel->idxBigVar[0], 0);
  EXPECT_EQ(smallest, 1e20);
}

TEST_F(Restoration, ANullRecordIsLeftAtOnce) {
  makePoint();
  EXPECT_EQ(preRestoreSubmodel(env, &test->model, presolver, nullptr, &test->solution, &test->option, &smallest), 0);
  EXPECT_EQ(smallest, -7.0);
  EXPECT_EQ(subRecoverPositive(&test->solution, nullptr, &test->model, &test->option, 0.0), 0);
  CleanSubComplem(&test->solution, nullptr, &test->model, &test->option);
}

TEST_F(Restoration, DualShiftsComeBackOnKeptRowsOnly) {
  makePoint();
  ipm->dual[0] = -3e5;
  ipm->dual[2] = 4e5;
  bigDuals({0, 2});
  submodel->bBigDual = BIG_INVITRO;
  reduce();
  ipm->dual[0] = 0.5;  // what the reduced solve made of them
  ipm->dual[2] = 0.0;
  setMaps({0, 1, ROWMAP_EMPTY}, {0, 1, 2, 3});
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->dual[0], 0.5 - 3e5);
  EXPECT_EQ(ipm->dual[2], 0.0);
}

TEST_F(Restoration, RemovedBoundsComeBackWithTheirDualsAndEnterTheSmallest) {
  makePoint();
  bigBounds({1, 3}, {SUB_LOWER | SUB_UPPER, SUB_UPPER});
  submodel->bBigBoundSlack = BIG_INVITRO;
  reduce();
  ipm->primal[1] = 4.75;
  ipm->primal[3] = 2.0;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->lowerDual[1], 1.1);
  EXPECT_EQ(ipm->upperDual[1], 1.2);
  EXPECT_EQ(ipm->lowerSlack[1], 9.75);
  EXPECT_EQ(ipm->upperSlack[1], 0.25);
  EXPECT_EQ(ipm->upperSlack[3], 6.0);
  EXPECT_EQ(smallest, 0.25);
}

TEST_F(Restoration, VariableShiftsComeBackBehindTheBounds) {
  makePoint();
  ipm->primal[1] = 1e6;
  test->model.upper[1] = presolver->upper[1] = 3e6;
  bigVars({1});
  bigBounds({1}, {SUB_UPPER});
  submodel->bBigVar = submodel->bBigBoundSlack = BIG_INVITRO;
  reduce();
  ASSERT_EQ(ipm->primal[1], 0.0);
  ipm->primal[1] = 7.0;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->primal[1], 1e6 + 7.0);
  EXPECT_EQ(ipm->upperSlack[1], 2e6 - 7.0);
}

// Column 0 of A is (1, 0, 2)': with y = (1, 2, 3) its reduced cost is c - 7.
TEST_F(Restoration, AFixedColumnGetsItsReducedCostAsDual) {
  makePoint();
  test->model.obj[0] = 2e5;
  ipm->lowerDual[0] = 2e5;
  ipm->lowerSlack[0] = 1e-5;
  bigColumns({0});
  submodel->bBigBoundDual = BIG_INVITRO;
  reduce();
  ipm->primal[0] = 0.0;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->lowerDual[0], 2e5 - 7.0);
  EXPECT_EQ(ipm->lowerSlack[0], 1e-5);
  EXPECT_EQ(ipm->upperDual[0], 0.2);
  EXPECT_EQ(ipm->upperSlack[0], 0.0);
  EXPECT_EQ(smallest, 2e5 - 7.0);
}

// Column 1 of A is (2, 1, 0)'.
TEST_F(Restoration, AColumnFixedAtItsUpperBoundMirrors) {
  makePoint();
  test->model.obj[1] = -2e5;
  ipm->upperDual[1] = 2e5;
  ipm->upperSlack[1] = 1e-5;
  bigColumns({1});
  submodel->bBigBoundDual = BIG_INVITRO;
  reduce();
  ipm->primal[1] = 5.0;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->upperDual[1], 4.0 + 2e5);
  EXPECT_EQ(ipm->upperSlack[1], 1e-5);
  EXPECT_EQ(ipm->lowerDual[1], 1.1);
  EXPECT_EQ(ipm->lowerSlack[1], 10.0);
}

TEST_F(Restoration, AQuadraticColumnTakesTheWholeGradient) {
  makePoint(smallModel(true));
  bigColumns({1});
  submodel->bBigBoundDual = BIG_INVITRO;
  ipm->lowerDual[1] = 2e5;
  reduce();
  ASSERT_EQ(submodel->fixedSide[1], SUB_LOWER);
  ASSERT_EQ(restore(), 0);
  // c + Qx of column 1 at x = (1, 2, 3, 4): -2 + 1 + 10 + 6.
  EXPECT_DOUBLE_EQ(ipm->lowerDual[1], 15.0 - 4.0);
}

// The duals of fixed columns are found while the freed rows' are still 0.
TEST_F(Restoration, FreedRowsComeBackBehindTheColumns) {
  makePoint();
  bigRows({2, 1});
  bigColumns({0});
  ipm->lowerDual[0] = 2e5;
  submodel->bBigIneqnSlack = submodel->bBigBoundDual = BIG_INVITRO;
  reduce();
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->lowerDual[0], 1.0 - 1.0);  // c_0 - a_00 y_0, without 2 y_2
  EXPECT_EQ(ipm->dual[2], 3.0);
  EXPECT_EQ(ipm->dual[1], 2.0);
  EXPECT_EQ(ipm->ineqnSlack[1], 2 + 9 + 4 - 20.0);
  EXPECT_EQ(ipm->ineqnSlack[2], 2 + 3 - 30.0);
  EXPECT_EQ(smallest, -25.0);
}

TEST_F(Restoration, RowsOfSenseLMirrorAndOthersHaveNoSlack) {
  qztest::DenseModel dense = smallModel();
  dense.sense = "ELR";
  makePoint(dense);
  bigRows({0, 1, 2});
  submodel->bBigIneqnSlack = BIG_INVITRO;
  reduce();
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(ipm->ineqnSlack[0], 0.0);
  EXPECT_EQ(ipm->ineqnSlack[1], 5.0);
  EXPECT_EQ(ipm->ineqnSlack[2], 0.0);
  EXPECT_EQ(smallest, 5.0);
}

TEST_F(Restoration, ListsOfOtherKindsAreTranslatedToTheFullModel) {
  makePoint();
  setMaps({-1, 0, 1}, {-1, 0, -2, 1});
  bigDuals({0, 1});
  bigRows({1});
  bigVars({0, 1});
  bigColumns({1});
  bigBounds({0, 1}, {SUB_LOWER, SUB_UPPER});
  submodel->planBigDual = submodel->planBigIneqnSlack = BIG_INVITRO;
  submodel->planBigVar = submodel->planBigBoundDual = BIG_INVITRO;
  submodel->bBigBoundSlack = BIG_INVIVO;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(submodel->idxBigDual[0], 1);
  EXPECT_EQ(submodel->idxBigDual[1], 2);
  EXPECT_EQ(submodel->idxRowSub[0], 2);
  EXPECT_EQ(submodel->idxBigVar[0], 1);
  EXPECT_EQ(submodel->idxBigVar[1], 3);
  EXPECT_EQ(submodel->idxColSub[0], 3);
  EXPECT_EQ(submodel->idxBoundSub[0], 1);
  EXPECT_EQ(submodel->idxBoundSub[1], 3);
  EXPECT_EQ(submodel->statusBoundSub[0], 0);
  EXPECT_EQ(submodel->statusBoundSub[1], SUB_LOWER);
  EXPECT_EQ(submodel->statusBoundSub[3], SUB_UPPER);
}

TEST_F(Restoration, IdleKindsKeepTheirListsEvenWithoutAMapping) {
  makePoint();  // maps all 0, as before the numbering
  bigDuals({2});
  bigVars({3});
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(submodel->idxBigDual[0], 2);
  submodel->planBigVar = submodel->planBigDual = BIG_INVITRO;
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(submodel->idxBigDual[0], 2);
  EXPECT_EQ(submodel->idxBigVar[0], 3);
}

TEST_F(Restoration, ListsOfIdleKindsAreNotTranslated) {
  makePoint();
  setMaps({-1, 0, 1}, {-1, 0, -2, 1});
  bigDuals({1});
  bigRows({1});
  bigVars({1});
  bigColumns({1});
  bigBounds({1}, {SUB_UPPER});
  ASSERT_EQ(restore(), 0);
  EXPECT_EQ(submodel->idxBigDual[0], 1);
  EXPECT_EQ(submodel->idxRowSub[0], 1);
  EXPECT_EQ(submodel->idxBigVar[0], 1);
  EXPECT_EQ(submodel->idxColSub[0], 1);
  EXPECT_EQ(submodel->idxBoundSub[0], 1);
  EXPECT_EQ(submodel->statusBoundSub[1], SUB_UPPER);
}

TEST_F(Restoration, AColumnFixedAtNeitherBoundIsAnError) {
  makePoint();
  bigColumns({0});
  submodel->bBigBoundDual = BIG_INVITRO;
  ipm->lowerDual[0] = 2e5;
  reduce();
  submodel->fixedSide[0] = SUB_UPPER;  // there is none
  EXPECT_EQ(restore(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error preRestoreSubmodel: unknown status with removed columns"));
}

TEST_F(Restoration, AnUnknownModelTypeIsAnError) {
  makePoint();
  bigColumns({0});
  submodel->bBigBoundDual = BIG_INVITRO;
  ipm->lowerDual[0] = 2e5;
  reduce();
  test->model.typeModel = 7;
  EXPECT_EQ(restore(), QZ_STATUS_FAILED);
}

TEST_F(Restoration, ARowWiseMatrixThatStandsIsAnError) {
  makePoint();
  bigRows({1});
  submodel->bBigIneqnSlack = BIG_INVITRO;
  reduce();
  submodel->rhsSub = poolAllocate<double>(env->pool, 1);
  EXPECT_EQ(restore(), QZ_STATUS_FAILED);
}

// Success and every failure leave the same.
TEST_F(Restoration, EveryExitFreesWhatWasKeptAndStoresTheSmallest) {
  int32_t status = QZ_STATUS_OUT_OF_MEMORY;
  int64_t k = 0;
  while (status == QZ_STATUS_OUT_OF_MEMORY) {
    if (submodel != nullptr) FreeSubModel(env, &submodel);
    DestroyPresolver(env, &presolver);
    makePoint(smallModel(true));
    bigRows({1});
    bigColumns({1});
    bigVars({0});
    bigDuals({0});
    bigBounds({0}, {SUB_LOWER});
    ipm->primal[0] = 3.0;
    ipm->lowerDual[1] = 2e5;
    submodel->bBigIneqnSlack = submodel->bBigBoundDual = submodel->bBigVar = submodel->bBigDual =
        submodel->bBigBoundSlack = BIG_INVITRO;
    reduce();
    smallest = -7.0;
    host.failAllocation(++k);
    status = restore();
    host.failAllocation(0);
    EXPECT_FALSE(HasRowSub(submodel));
    EXPECT_EQ(submodel->numRowSub, 0);
    EXPECT_EQ(submodel->numCoefRowSub, 0);
    for (const double* array :
         {submodel->shiftPrimal, submodel->shiftDual, submodel->lowerSub, submodel->upperSub, submodel->savedLowerDual,
          submodel->savedUpperDual, submodel->fixedValue, submodel->fixedDual, submodel->freedRowDual})
      EXPECT_EQ(array, nullptr);
    EXPECT_NE(smallest, -7.0);
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(k, 1 + 4 + 6 + 1);
}

TEST_F(Restoration, NothingIsRaisedFromTheFloorOn) {
  makePoint();
  bigRows({1});
  submodel->bBigIneqnSlack = BIG_INVITRO;
  ipm->ineqnSlack[1] = -5.0;
  smallest = kFloor;
  EXPECT_EQ(recover(), 0);
  EXPECT_EQ(ipm->ineqnSlack[1], -5.0);
}

TEST_F(Restoration, NothingMovedGivesNoRestart) {
  makePoint();
  bigRows({1});
  submodel->bBigIneqnSlack = BIG_INVITRO;
  smallest = -1.0;
  EXPECT_EQ(recover(), 0);
}

TEST_F(Restoration, ABoundIsRaisedTogetherWithItsVariableAndTheOtherSlack) {
  makePoint();
  bigBounds({1}, {SUB_UPPER});
  submodel->bBigBoundSlack = BIG_INVITRO;
  ipm->primal[1] = 6.0;
  ipm->upperSlack[1] = -1.0;
  smallest = -1.0;
  EXPECT_EQ(recover(), QZ_STATUS_RESTART);
  EXPECT_EQ(ipm->upperSlack[1], kFloor);
  EXPECT_EQ(ipm->primal[1], 5.0 - kFloor);
  EXPECT_EQ(ipm->lowerSlack[1], 10.0 - kFloor);
  submodel->statusBoundSub[1] = SUB_LOWER;
  ipm->lowerSlack[1] = 0.0;
  EXPECT_EQ(recover(), QZ_STATUS_RESTART);
  EXPECT_EQ(ipm->primal[1], -5.0 + kFloor);
  EXPECT_EQ(ipm->upperSlack[1], 10.0 - kFloor);
}

TEST_F(Restoration, DualsOfFixedColumnsAndSlacksOfFreedRowsAreRaised) {
  makePoint();
  bigColumns({1});
  bigRows({2});
  ipm->lowerDual[1] = 2e5;
  submodel->bBigBoundDual = BIG_INVITRO;
  reduce();
  submodel->bBigIneqnSlack = BIG_INVITRO;
  ipm->lowerDual[1] = -3.0;
  ipm->ineqnSlack[2] = 0.0;
  smallest = -3.0;
  EXPECT_EQ(recover(), QZ_STATUS_RESTART);
  EXPECT_EQ(ipm->lowerDual[1], kFloor);
  EXPECT_EQ(ipm->upperDual[1], 1.2);
  EXPECT_EQ(ipm->ineqnSlack[2], kFloor);
}

TEST_F(Restoration, TheFloorFollowsTheTolerances) {
  makePoint();
  test->option.tolDual = 1e-3;
  bigRows({1});
  submodel->bBigIneqnSlack = BIG_INVITRO;
  ipm->ineqnSlack[1] = 0.01;
  smallest = 0.01;
  EXPECT_EQ(recover(), QZ_STATUS_RESTART);
  EXPECT_EQ(ipm->ineqnSlack[1], 0.1);
}

TEST_F(Restoration, CleaningClearsThePartnersOfWhatWasTakenOut) {
  makePoint();
  bigBounds({1, 3}, {SUB_LOWER, SUB_UPPER});
  bigColumns({0});
  bigRows({1});
  ipm->lowerDual[0] = 2e5;
  submodel->bBigBoundDual = BIG_INVITRO;
  reduce();
  submodel->bBigBoundSlack = submodel->bBigIneqnSlack = BIG_INVITRO;
  CleanSubComplem(&test->solution, submodel, &test->model, &test->option);
  EXPECT_EQ(ipm->lowerDual[1], 0.0);
  EXPECT_EQ(ipm->upperDual[1], 1.2);
  EXPECT_EQ(ipm->upperDual[3], 0.0);
  EXPECT_EQ(ipm->lowerSlack[0], 0.0);
  EXPECT_EQ(ipm->upperDual[0], 0.0);
  EXPECT_EQ(ipm->lowerDual[0], 2e5);
  EXPECT_EQ(ipm->dual[1], 0.0);
  EXPECT_EQ(ipm->dual[2], 3.0);
}

TEST_F(Restoration, CleaningWithoutFlagsChangesNothing) {
  makePoint();
  bigBounds({1}, {SUB_LOWER});
  bigColumns({0});
  bigRows({1});
  CleanSubComplem(&test->solution, submodel, &test->model, &test->option);
  EXPECT_EQ(ipm->lowerDual[1], 1.1);
  EXPECT_EQ(ipm->lowerSlack[0], 10.0);
  EXPECT_EQ(ipm->dual[1], 2.0);
}

}  // namespace
}  // namespace qz
