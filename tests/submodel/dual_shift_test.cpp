#include "submodel/dual_shift.h"

#include <vector>

#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::smallModel;

class DualShift : public qztest::SubModelTest {
 protected:
  // A by rows, as a presolve holds it.
  int32_t rowBegin[4] = {0, 2, 5, 7};
  int32_t rowLength[3] = {2, 3, 2};
  int32_t colIndex[7] = {0, 1, 1, 2, 3, 0, 2};
  double rowValue[7] = {1, 2, 1, 3, 1, 2, 1};

  int32_t shift(int32_t action) {
    return subShiftDual(env, submodel, action, ipm->dual, ipm->rowSense, ipm->obj, rowBegin, rowLength, colIndex,
                        rowValue);
  }
};

TEST_F(DualShift, EquationsGoToZeroAndInequalitiesKeepADistance) {
  qztest::DenseModel dense = smallModel();
  dense.sense = "EGL";
  make(dense);
  ipm->dual[0] = -2e5;
  ipm->dual[1] = 3e5;
  ipm->dual[2] = -4e5;
  bigDuals({2, 0, 1});
  ASSERT_EQ(shift(SHIFT_DUAL_WHOLE), 0);
  EXPECT_EQ(ipm->dual[0], 0.0);
  EXPECT_EQ(ipm->dual[1], 1000.0);
  EXPECT_EQ(ipm->dual[2], -1000.0);
  EXPECT_EQ(submodel->shiftDual[0], -399000.0);
  EXPECT_EQ(submodel->shiftDual[1], -2e5);
  EXPECT_EQ(submodel->shiftDual[2], 299000.0);
}

// The reduced costs c - A'y stay: c' = c - A'h.
TEST_F(DualShift, CostsTakeTheRowsShare) {
  make(smallModel());
  ipm->dual[0] = -2e5;
  ipm->dual[1] = 3e5;
  bigDuals({1, 0});
  const qztest::Vector reduced = test->dense().c - test->dense().A.transpose() * test->y();
  ASSERT_EQ(shift(SHIFT_DUAL_WHOLE), 0);
  const qztest::Vector cost = qztest::EngineCase::view(ipm->obj, 4);
  EXPECT_LT((cost - test->dense().A.transpose() * test->y() - reduced).norm(), 1e-9);
  EXPECT_GT((cost - test->dense().c).norm(), 1e5);
}

TEST_F(DualShift, RangeAndFreeRowsStayAsTheyAre) {
  qztest::DenseModel dense = smallModel();
  dense.sense = "RNG";
  make(dense);
  ipm->dual[0] = ipm->dual[1] = 1e6;
  bigDuals({0, 1});
  ASSERT_EQ(shift(SHIFT_DUAL_WHOLE), 0);
  EXPECT_EQ(ipm->dual[0], 1e6);
  EXPECT_EQ(ipm->dual[1], 1e6);
  EXPECT_EQ(submodel->shiftDual[0], 0.0);
  EXPECT_EQ(ipm->obj[0], 1.0);
}

TEST_F(DualShift, NothingListedMeansNothingDone) {
  make(smallModel());
  EXPECT_EQ(shift(SHIFT_DUAL_WHOLE), 0);
  EXPECT_EQ(submodel->shiftDual, nullptr);
  EXPECT_EQ(subShiftDualInvivo(ipm, submodel), 0);
  EXPECT_EQ(subShiftDualInvivo(ipm, nullptr), 0);
}

TEST_F(DualShift, ASecondShiftIsAnErrorAndChangesNothing) {
  make(smallModel());
  ipm->dual[1] = 3e5;
  bigDuals({1});
  ASSERT_EQ(shift(SHIFT_DUAL_WHOLE), 0);
  EXPECT_EQ(shift(SHIFT_DUAL_WHOLE), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subShiftDual: submodel->shiftDual should be NULL"));
  EXPECT_EQ(ipm->dual[1], 1000.0);
}

TEST_F(DualShift, AnUnknownActionIsAnErrorAndChangesNothing) {
  make(smallModel());
  ipm->dual[1] = 3e5;
  bigDuals({1});
  EXPECT_EQ(shift(3), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subShiftDual: unknown action code."));
  EXPECT_EQ(ipm->dual[1], 3e5);
  EXPECT_EQ(submodel->shiftDual, nullptr);
}

TEST_F(DualShift, InvivoMakesTheRowsAndUndoingGivesBackEverything) {
  make(smallModel());
  ipm->dual[0] = -2e5;
  ipm->dual[2] = 3e5;
  bigDuals({2, 0});
  const qztest::Vector reduced = test->dense().c - test->dense().A.transpose() * test->y();
  ASSERT_EQ(subShiftDualInvivo(ipm, submodel), 0);
  EXPECT_EQ(submodel->numRowSub, 2);
  EXPECT_EQ(submodel->numCoefRowSub, 4);
  EXPECT_EQ(ipm->dual[2], 1000.0);
  const qztest::Vector cost = qztest::EngineCase::view(ipm->obj, 4);
  EXPECT_LT((cost - test->dense().A.transpose() * test->y() - reduced).norm(), 1e-9);
  subUnshiftDual(ipm, submodel, 1);
  EXPECT_EQ(ipm->dual[0], -2e5);
  EXPECT_EQ(ipm->dual[2], 3e5);
  for (int j = 0; j < 4; ++j) EXPECT_NEAR(ipm->obj[j], test->dense().c[j], 1e-9);
  EXPECT_FALSE(HasRowSub(submodel));
  EXPECT_EQ(submodel->shiftDual, nullptr);
  EXPECT_EQ(submodel->numRowSub, 0);
}

TEST_F(DualShift, UndoingCanKeepTheRows) {
  make(smallModel());
  ipm->dual[0] = -2e5;
  bigDuals({0});
  ASSERT_EQ(subShiftDualInvivo(ipm, submodel), 0);
  subUnshiftDual(ipm, submodel, 0);
  EXPECT_EQ(ipm->dual[0], -2e5);
  EXPECT_NE(submodel->shiftDual, nullptr);
  EXPECT_NE(submodel->rowBeginSub, nullptr);
}

TEST_F(DualShift, UndoingWithoutAShiftDoesNothing) {
  make(smallModel());
  ipm->dual[0] = 7.0;
  bigDuals({0});
  subUnshiftDual(ipm, submodel, 1);
  subUnshiftDual(ipm, nullptr, 1);
  EXPECT_EQ(ipm->dual[0], 7.0);
}

TEST_F(DualShift, InvivoRefusesRowsThatStandAlready) {
  make(smallModel());
  ipm->dual[0] = -2e5;
  bigDuals({0});
  submodel->rhsSub = poolAllocate<double>(env->pool, 1);
  EXPECT_EQ(subShiftDualInvivo(ipm, submodel), QZ_STATUS_FAILED);
  EXPECT_NE(submodel->rhsSub, nullptr);
  EXPECT_EQ(ipm->dual[0], -2e5);
}

TEST_F(DualShift, EveryFailedAllocationLeavesDualsCostsAndRecordAlone) {
  make(smallModel());
  ipm->dual[0] = -2e5;
  bigDuals({0});
  const int64_t before = host.outstanding();
  int32_t status = QZ_STATUS_OUT_OF_MEMORY;
  int64_t k = 0;
  while (status != QZ_STATUS_OK) {
    host.failAllocation(++k);
    status = subShiftDualInvivo(ipm, submodel);
    host.failAllocation(0);
    if (status == QZ_STATUS_OK) break;
    ASSERT_EQ(status, QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(ipm->dual[0], -2e5);
    EXPECT_EQ(ipm->obj[0], 1.0);
    EXPECT_EQ(submodel->numRowSub, 0);
    EXPECT_EQ(submodel->numCoefRowSub, 0);
  }
  EXPECT_EQ(k, 4 + 6 + 1 + 1);
}

TEST_F(DualShift, PresolveShiftsOnlyInVitro) {
  make(smallModel());
  ipm->dual[1] = 3e5;
  bigDuals({1});
  Presolver presolver{};
  presolver.rowSense = ipm->rowSense;
  presolver.obj = ipm->obj;
  presolver.rowBegin = rowBegin;
  presolver.rowLength = rowLength;
  presolver.colIndex = colIndex;
  presolver.rowValue = rowValue;
  submodel->bBigDual = BIG_INVIVO;
  ASSERT_EQ(preSetSubDual(env, &presolver, submodel, &test->solution), 0);
  EXPECT_EQ(submodel->shiftDual, nullptr);
  submodel->bBigDual = BIG_INVITRO;
  ASSERT_EQ(preSetSubDual(env, &presolver, submodel, &test->solution), 0);
  EXPECT_EQ(ipm->dual[1], 1000.0);
  EXPECT_EQ(ipm->obj[2], 3.0 - 3.0 * 299000.0);
  EXPECT_EQ(preSetSubDual(env, &presolver, nullptr, &test->solution), 0);
}

}  // namespace
}  // namespace qz
