#include "submodel/extra_lists.h"

#include <vector>

#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::kNone;
using qztest::smallModel;

class ExtraLists : public qztest::SubModelTest {
 protected:
  void makeMapped(const std::vector<int32_t>& rows, const std::vector<int32_t>& cols,
                  qztest::DenseModel dense = smallModel()) {
    make(std::move(dense));
    rowMap = rows;
    colMap = cols;
    presolver.rowMap = rowMap.data();
    presolver.colMap = colMap.data();
    for (const int32_t to : rowMap) presolver.numRemovedRow += to < 0 ? 1 : 0;
    for (const int32_t to : colMap) presolver.numRemovedCol += to < 0 ? 1 : 0;
    activity.assign(3, 0.0);
    test->model.rowActivity = activity.data();
  }
  void listRows(const std::vector<int32_t>& rows) {
    submodel->idxRowExtra = poolAllocate<int32_t>(env->pool, 3);
    list(submodel->idxRowExtra, submodel->numRowExtra, rows);
  }
  void listCols(const std::vector<int32_t>& cols) {
    submodel->idxColExtra = poolAllocate<int32_t>(env->pool, 4);
    list(submodel->idxColExtra, submodel->numColExtra, cols);
  }
  int32_t rowSlack() { return getSubRowSlack(env, &test->model, &presolver, submodel, &test->solution); }
  int32_t dualSlack() {
    return getSubDualSlack(env, &test->model, &presolver, submodel, &test->solution, &test->option);
  }
  Presolver presolver{};
  std::vector<int32_t> rowMap, colMap;
  std::vector<double> activity;
};

TEST_F(ExtraLists, WhatIsRemovedButNotMarkedIsListed) {
  makeMapped({ROWMAP_EMPTY, ROWMAP_FREE, 0}, {COLMAP_EMPTY, COLMAP_FIXED, COLMAP_EMPTY, 0});
  bigRows({1});
  bigColumns({1});
  submodel->bBigIneqnSlack = submodel->bBigBoundDual = BIG_INVITRO;
  ASSERT_EQ(CreateExtraList(env, submodel, &presolver), 0);
  ASSERT_EQ(submodel->numRowExtra, 1);
  EXPECT_EQ(submodel->idxRowExtra[0], 0);
  ASSERT_EQ(submodel->numColExtra, 2);
  EXPECT_EQ(submodel->idxColExtra[0], 0);
  EXPECT_EQ(submodel->idxColExtra[1], 2);
}

TEST_F(ExtraLists, MarkedListsMayStandInAnyOrder) {
  makeMapped({-1, -1, -6}, {-1, -2, -1, -1});
  bigRows({1, 0});
  bigColumns({3, 0, 2});
  submodel->bBigIneqnSlack = submodel->bBigBoundDual = BIG_INVITRO;
  ASSERT_EQ(CreateExtraList(env, submodel, &presolver), 0);
  EXPECT_EQ(submodel->numRowExtra, 1);
  EXPECT_EQ(submodel->idxRowExtra[0], 2);
  EXPECT_EQ(submodel->numColExtra, 1);
  EXPECT_EQ(submodel->idxColExtra[0], 1);
}

TEST_F(ExtraLists, UnflaggedKindsHaveNoMarkedEntries) {
  makeMapped({-1, 0, 1}, {-2, 0, 1, 2});
  bigRows({1});
  bigColumns({1});
  ASSERT_EQ(CreateExtraList(env, submodel, &presolver), 0);
  EXPECT_EQ(submodel->numRowExtra, 1);
  EXPECT_EQ(submodel->numColExtra, 1);
}

TEST_F(ExtraLists, NoExtrasLeaveNullListsInPlaceOfTheOldOnes) {
  makeMapped({0, 1, 2}, {0, 1, 2, 3});
  listRows({0});
  listCols({0});
  ASSERT_EQ(CreateExtraList(env, submodel, &presolver), 0);
  EXPECT_EQ(submodel->numRowExtra, 0);
  EXPECT_EQ(submodel->idxRowExtra, nullptr);
  EXPECT_EQ(submodel->numColExtra, 0);
  EXPECT_EQ(submodel->idxColExtra, nullptr);
  EXPECT_EQ(CreateExtraList(env, nullptr, &presolver), 0);
}

TEST_F(ExtraLists, CountsAndListsThatDoNotAgreeAreErrors) {
  struct Case {
    std::vector<int32_t> rows, cols, bigRows, bigCols;
    int32_t addRow, addCol;
    const char* text;
  };
  const Case cases[] = {
      {{0, 1, 2}, {-2, 0, 1, 2}, {}, {}, 0, 1, "Error CreateExtraList: numRemovedCol=%d actually is %d"},
      {{0, 1, 2}, {-2, -1, 0, 1}, {}, {3}, 0, 0, "Error CreateExtraList: column %d is fixed, but not in extra list"},
      {{0, 1, 2}, {-2, -1, -1, 1}, {}, {1, 1}, 0, 0, "Error CreateExtraList: numColExtra=%d actually is %d"},
      {{-1, 0, 1}, {0, 1, 2, 3}, {}, {}, 1, 0, "Error CreateExtraList: numRemovedRow=%d actually is %d"},
      {{-1, -1, 0}, {0, 1, 2, 3}, {2}, {}, 0, 0, "Error CreateExtraList: row %d is removed, but not in extra list"},
      {{-1, -1, -1}, {-2, 0, 1, 2}, {1, 1}, {}, 0, 0, "Error CreateExtraList: numRowExtra=%d actually is %d"}};
  for (const Case& c : cases) {
    if (submodel != nullptr) FreeSubModel(env, &submodel);
    presolver = Presolver{};
    makeMapped(c.rows, c.cols);
    presolver.numRemovedRow += c.addRow;
    presolver.numRemovedCol += c.addCol;
    bigRows(c.bigRows);
    bigColumns(c.bigCols);
    submodel->bBigIneqnSlack = submodel->bBigBoundDual = BIG_INVITRO;
    EXPECT_EQ(CreateExtraList(env, submodel, &presolver), QZ_STATUS_FAILED) << c.text;
    EXPECT_TRUE(host.loggedText(c.text)) << c.text;
    EXPECT_EQ(submodel->numColExtra + submodel->numRowExtra, 0);
    EXPECT_EQ(submodel->idxColExtra, nullptr);
  }
}

TEST_F(ExtraLists, EveryFailedAllocationIsReported) {
  makeMapped({-6, 0, 1}, {-2, 0, 1, 2});
  for (int64_t k = 1; k <= 4; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(CreateExtraList(env, submodel, &presolver), QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    EXPECT_EQ(submodel->numColExtra, 0);
    EXPECT_EQ(submodel->idxRowExtra, nullptr);
  }
  host.failAllocation(5);
  EXPECT_EQ(CreateExtraList(env, submodel, &presolver), 0);
}

TEST_F(ExtraLists, RowSlacksFollowTheActivity) {
  qztest::DenseModel dense = smallModel();
  dense.sense = "EGL";
  makeMapped({-6, -6, -6}, {0, 1, 2, 3}, dense);
  for (int j = 0; j < 4; ++j) ipm->primal[j] = 1.0 + j;
  listRows({0, 1, 2});
  ipm->ineqnSlack[0] = 9.0;
  ASSERT_EQ(rowSlack(), 0);
  EXPECT_EQ(ipm->ineqnSlack[0], 0.0);
  EXPECT_EQ(ipm->ineqnSlack[1], 15.0 - 20.0);
  EXPECT_EQ(ipm->ineqnSlack[2], 30.0 - 5.0);
  test->model.rowSense[1] = 'R';
  ASSERT_EQ(rowSlack(), 0);
  EXPECT_EQ(ipm->ineqnSlack[1], 5.0);
}

TEST_F(ExtraLists, ARowThatWasNotRemovedIsAnError) {
  makeMapped({0, 1, 2}, {0, 1, 2, 3});
  listRows({1});
  EXPECT_EQ(rowSlack(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error getSubRowSlack: row %d status=%d is not removed."));
  EXPECT_EQ(getSubRowSlack(env, &test->model, &presolver, nullptr, &test->solution), 0);
}

TEST_F(ExtraLists, AReducedCostBelongsToTheBoundItPushesTo) {
  makeMapped({0, 1, 2}, {COLMAP_EMPTY, COLMAP_FIXED, COLMAP_EMPTY, COLMAP_EMPTY});
  for (int i = 0; i < 3; ++i) ipm->dual[i] = 1.0 + i;
  for (int j = 0; j < 4; ++j) ipm->primal[j] = 1.0;
  test->model.obj[0] = 10.0;
  listCols({0, 1, 3});
  ASSERT_EQ(dualSlack(), 0);
  EXPECT_EQ(ipm->lowerDual[0], 3.0);
  EXPECT_EQ(ipm->upperDual[0], 0.0);
  EXPECT_EQ(ipm->lowerSlack[0], 1.0);
  EXPECT_EQ(ipm->upperSlack[0], 0.0);
  EXPECT_EQ(ipm->lowerDual[1], 0.0);
  EXPECT_EQ(ipm->upperDual[1], 6.0);
  EXPECT_EQ(ipm->lowerSlack[1], 6.0);
  EXPECT_EQ(ipm->upperSlack[1], 4.0);
  EXPECT_EQ(ipm->lowerDual[3], 2.0);
  EXPECT_EQ(ipm->upperSlack[3], 7.0);
}

TEST_F(ExtraLists, AQuadraticColumnTakesTheWholeGradient) {
  makeMapped({0, 1, 2}, {0, COLMAP_EMPTY, 1, 2}, smallModel(true));
  for (int j = 0; j < 4; ++j) ipm->primal[j] = 1.0 + j;
  listCols({1});
  ASSERT_EQ(dualSlack(), 0);
  EXPECT_DOUBLE_EQ(ipm->lowerDual[1], 15.0);
  host.failAllocation(1);
  EXPECT_EQ(dualSlack(), QZ_STATUS_OUT_OF_MEMORY);
}

TEST_F(ExtraLists, AColumnRemovedOtherwiseIsAnError) {
  makeMapped({0, 1, 2}, {COLMAP_POSTDET, 0, 1, 2});
  listCols({0});
  EXPECT_EQ(dualSlack(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error getSubDualSlack: column %d status should be COLMAP_EMPTY."));
  EXPECT_EQ(getSubDualSlack(env, &test->model, &presolver, nullptr, &test->solution, &test->option), 0);
  colMap[0] = COLMAP_EMPTY;
  test->model.typeModel = 7;
  EXPECT_EQ(dualSlack(), QZ_STATUS_FAILED);
}

TEST_F(ExtraLists, ReturningExtrasGetAPositiveStart) {
  makeMapped({0, 1, 2}, {0, 1, 2, 3});
  listRows({0, 1, 2});
  listCols({0, 1, 2, 3});
  ipm->ineqnSlack[2] = 3.0;
  ipm->dual[2] = -1.0;
  ipm->lowerDual[1] = 0.5;
  initExtra(ipm, submodel);
  EXPECT_EQ(ipm->ineqnSlack[0], 0.0);  // an equation
  EXPECT_EQ(ipm->dual[0], 0.0);
  EXPECT_EQ(ipm->ineqnSlack[1], 1e-4);
  EXPECT_EQ(ipm->dual[1], 1e-4);
  EXPECT_EQ(ipm->ineqnSlack[2], 3.0);
  EXPECT_EQ(ipm->dual[2], 1e-4);
  EXPECT_EQ(ipm->lowerSlack[0], 1e-4);
  EXPECT_EQ(ipm->upperSlack[0], 0.0);
  EXPECT_EQ(ipm->lowerDual[1], 0.5);
  EXPECT_EQ(ipm->upperDual[1], 1e-4);
  EXPECT_EQ(ipm->lowerSlack[2], 0.0);
  EXPECT_EQ(ipm->lowerSlack[3], 0.0);
  EXPECT_EQ(ipm->upperSlack[3], 1e-4);
  initExtra(ipm, nullptr);
}

TEST_F(ExtraLists, ExtrasAreFoundThroughTheMapsAndLooseTolerancesRaiseTheStart) {
  makeMapped({0, 1, 2}, {0, 1, 2, 3});
  ipm->tolPrimal = 1e-3;
  ipm->tolDual = 1e-2;
  listRows({0, 1});
  listCols({0, 3});
  submodel->rowMapSub[0] = 1;
  submodel->rowMapSub[1] = -6;
  submodel->colMapSub[0] = -2;
  submodel->colMapSub[3] = 0;
  initExtra(ipm, submodel);
  EXPECT_EQ(ipm->ineqnSlack[1], 0.1);
  EXPECT_EQ(ipm->dual[1], 1.0);
  EXPECT_EQ(ipm->lowerSlack[0], 0.1);
  EXPECT_EQ(ipm->upperSlack[3], 0.0);
}

}  // namespace
}  // namespace qz
