#include "submodel/sub_matrix.h"

#include <vector>

#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::smallModel;

class SubMatrix : public qztest::SubModelTest {
 protected:
  void listAll() {
    list(submodel->idxColSub, submodel->numColSub, {3, 0});
    list(submodel->idxBoundSub, submodel->numBoundSub, {1, 3});
    list(submodel->idxRowSub, submodel->numRowSub, {2, 0});
  }
};

TEST_F(SubMatrix, CopiesListedColumnsInListOrder) {
  make(smallModel());
  listAll();
  ASSERT_EQ(CreateSubModel(env, &test->model, submodel), 0);
  EXPECT_EQ(submodel->numCoefColSub, 3);
  EXPECT_EQ((std::vector<int32_t>{submodel->colBeginSub, submodel->colBeginSub + 3}), (std::vector<int32_t>{0, 1, 3}));
  EXPECT_EQ((std::vector<int32_t>{submodel->colLengthSub, submodel->colLengthSub + 2}), (std::vector<int32_t>{1, 2}));
  EXPECT_EQ((std::vector<int32_t>{submodel->rowIndexSub, submodel->rowIndexSub + 3}), (std::vector<int32_t>{1, 0, 2}));
  EXPECT_EQ(copy(submodel->matValueSub, 3), (std::vector<double>{1, 1, 2}));
  EXPECT_EQ(copy(submodel->objSub, 2), (std::vector<double>{4, 1}));
}

TEST_F(SubMatrix, CopiesListedBoundsAndRows) {
  make(smallModel());
  listAll();
  ASSERT_EQ(CreateSubModel(env, &test->model, submodel), 0);
  EXPECT_EQ(copy(submodel->lowerSub, 2), (std::vector<double>{-5, -qztest::kNone}));
  EXPECT_EQ(copy(submodel->upperSub, 2), (std::vector<double>{5, 8}));
  EXPECT_EQ(submodel->numCoefRowSub, 4);
  EXPECT_EQ((std::vector<int32_t>{submodel->rowBeginSub, submodel->rowBeginSub + 3}), (std::vector<int32_t>{0, 2, 4}));
  EXPECT_EQ((std::vector<int32_t>{submodel->rowLengthSub, submodel->rowLengthSub + 2}), (std::vector<int32_t>{2, 2}));
  EXPECT_EQ((std::vector<int32_t>{submodel->colIndexSub, submodel->colIndexSub + 4}),
            (std::vector<int32_t>{0, 2, 0, 1}));
  EXPECT_EQ(copy(submodel->rowMatValueSub, 4), (std::vector<double>{2, 1, 1, 2}));
  EXPECT_EQ(copy(submodel->rhsSub, 2), (std::vector<double>{30, 10}));
  EXPECT_EQ(submodel->rowSenseSub[0], 'G');
  EXPECT_EQ(submodel->rowSenseSub[1], 'E');
}

TEST_F(SubMatrix, PartsWithoutEntriesHaveNoArrays) {
  make(smallModel());
  listAll();
  ASSERT_EQ(CreateSubModel(env, &test->model, submodel), 0);
  submodel->numColSub = submodel->numBoundSub = submodel->numRowSub = 0;
  ASSERT_EQ(CreateSubModel(env, &test->model, submodel), 0);
  EXPECT_EQ(submodel->colBeginSub, nullptr);
  EXPECT_EQ(submodel->matValueSub, nullptr);
  EXPECT_EQ(submodel->objSub, nullptr);
  EXPECT_EQ(submodel->lowerSub, nullptr);
  EXPECT_EQ(submodel->upperSub, nullptr);
  EXPECT_FALSE(HasRowSub(submodel));
  EXPECT_EQ(submodel->numCoefColSub, 0);
  EXPECT_EQ(submodel->numCoefRowSub, 0);
}

TEST_F(SubMatrix, ColumnLengthsThatDoNotAddUpAreAnError) {
  make(smallModel());
  list(submodel->idxColSub, submodel->numColSub, {0, 1});
  const int32_t length = test->model.colLength[0];
  test->model.colLength[0] = -1;
  EXPECT_EQ(CreateSubModel(env, &test->model, submodel), QZ_STATUS_FAILED);
  test->model.colLength[0] = length;
  EXPECT_TRUE(host.loggedText("Error CreateColSub: pos=%d  numCoefColSub=%d"));
  EXPECT_EQ(submodel->colBeginSub, nullptr);
}

TEST_F(SubMatrix, EveryFailedAllocationIsReportedAndLeavesNothingHalf) {
  make(smallModel());
  listAll();
  const int64_t before = host.outstanding();
  int32_t status = QZ_STATUS_OUT_OF_MEMORY;
  int64_t k = 0;
  while (status != QZ_STATUS_OK) {
    host.failAllocation(++k);
    status = CreateSubModel(env, &test->model, submodel);
    host.failAllocation(0);
    if (status == QZ_STATUS_OK) break;
    ASSERT_EQ(status, QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    FreeColSub(env, submodel);
    poolFree(env->pool, submodel->lowerSub);
    poolFree(env->pool, submodel->upperSub);
    EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
  }
  EXPECT_EQ(k, 5 + 2 + 4 + 6 + 1);
}

TEST_F(SubMatrix, NullRecordsAreAccepted) {
  make(smallModel());
  EXPECT_EQ(CreateSubModel(env, &test->model, nullptr), 0);
  MapSubmodel(env, nullptr, nullptr);
  ResetMapSubmodel(env, nullptr);
  FreeColSub(env, nullptr);
  FreeRowSub(env, nullptr);
}

TEST_F(SubMatrix, MapsComeFromThePresolveAndGoBackToTheIdentity) {
  make(smallModel());
  bigRows({1});
  bigColumns({0, 2});
  bigBounds({1, 2, 3}, {1, 1, 2});
  int32_t rowMap[] = {0, -1, 1};
  int32_t colMap[] = {-2, 0, -1, 1};
  Presolver presolver{};
  presolver.rowMap = rowMap;
  presolver.colMap = colMap;
  MapSubmodel(env, submodel, &presolver);
  EXPECT_EQ(submodel->numRowSub, 1);
  EXPECT_EQ(submodel->numColSub, 2);
  EXPECT_EQ(submodel->numBoundSub, 3);
  EXPECT_EQ(submodel->rowMapSub[1], -1);
  EXPECT_EQ(submodel->rowMapSub[2], 1);
  EXPECT_EQ(submodel->colMapSub[0], -2);
  EXPECT_EQ(submodel->colMapSub[3], 1);
  ResetMapSubmodel(env, submodel);
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(submodel->rowMapSub[i], i);
  for (int32_t j = 0; j < 4; ++j) EXPECT_EQ(submodel->colMapSub[j], j);
}

}  // namespace
}  // namespace qz
