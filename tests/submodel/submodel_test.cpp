#include "submodel/submodel.h"

#include <gtest/gtest.h>

#include "shell/pool.h"
#include "support/test_host.h"

namespace qz {
namespace {

class SubModelRecord : public ::testing::Test {
 protected:
  SubModelRecord() {
    env.pool = host.pool();
    model.numRow = 3;
    model.numCol = 5;
  }
  qztest::TestHost host;
  Env env{};
  Model model{};
};

TEST_F(SubModelRecord, TakesTheModelsDimensions) {
  SubModel* submodel = nullptr;
  ASSERT_EQ(NewSubModel(&env, &model, &submodel), QZ_STATUS_OK);
  EXPECT_EQ(submodel->numRow, 3);
  EXPECT_EQ(submodel->numCol, 5);
  EXPECT_EQ(submodel->numBigVar, 0);
  FreeSubModel(&env, &submodel);
  EXPECT_EQ(submodel, nullptr);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(SubModelRecord, EveryFailedAllocationGivesEverythingBack) {
  for (int64_t k = 1; k <= 7; ++k) {
    SubModel* submodel = nullptr;
    host.failAllocation(k);
    EXPECT_EQ(NewSubModel(&env, &model, &submodel), QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    EXPECT_EQ(submodel, nullptr);
    EXPECT_EQ(host.outstanding(), 0);
  }
  SubModel* submodel = nullptr;
  host.failAllocation(8);
  EXPECT_EQ(NewSubModel(&env, &model, &submodel), QZ_STATUS_OK);
  host.failAllocation(0);
  FreeSubModel(&env, &submodel);
}

TEST_F(SubModelRecord, SecondPartSetsTheMoveToleranceAndReportsAFailedAllocation) {
  SubModel* submodel = nullptr;
  ASSERT_EQ(NewSubModel(&env, &model, &submodel), QZ_STATUS_OK);
  for (int64_t k = 1; k <= 2; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(NewSubModel2(&env, submodel), QZ_STATUS_OUT_OF_MEMORY);
    poolFree(env.pool, submodel->idxBigVar);
    poolFree(env.pool, submodel->idxBigDual);
  }
  host.failAllocation(0);
  ASSERT_EQ(NewSubModel2(&env, submodel), QZ_STATUS_OK);
  EXPECT_EQ(submodel->moveTolerance, 0.01);
  FreeSubModel(&env, &submodel);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(SubModelRecord, ClearEmptiesTheListsAndResetsTheMaps) {
  SubModel* submodel = nullptr;
  ASSERT_EQ(NewSubModel(&env, &model, &submodel), QZ_STATUS_OK);
  submodel->numRowSub = submodel->numColSub = submodel->numBoundSub = 2;
  submodel->numCoefColSub = submodel->numCoefRowSub = 4;
  submodel->objSub = poolAllocate<double>(env.pool, 2);
  submodel->rhsSub = poolAllocate<double>(env.pool, 2);
  submodel->lowerSub = poolAllocate<double>(env.pool, 2);
  submodel->rowMapSub[1] = -1;
  submodel->colMapSub[4] = -1;
  submodel->statusBoundSub[2] = 3;
  ClearSubModel(&env, submodel);
  EXPECT_EQ(submodel->numRowSub, 0);
  EXPECT_EQ(submodel->numColSub, 0);
  EXPECT_EQ(submodel->numBoundSub, 0);
  EXPECT_EQ(submodel->numCoefColSub, 0);
  EXPECT_EQ(submodel->numCoefRowSub, 0);
  EXPECT_EQ(submodel->objSub, nullptr);
  EXPECT_EQ(submodel->rhsSub, nullptr);
  EXPECT_EQ(submodel->lowerSub, nullptr);
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(submodel->rowMapSub[i], i);
  for (int32_t j = 0; j < 5; ++j) EXPECT_EQ(submodel->colMapSub[j], j);
  for (int32_t j = 0; j < 5; ++j) EXPECT_EQ(submodel->statusBoundSub[j], 0);
  FreeSubModel(&env, &submodel);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(SubModelRecord, NullRecordsAreAccepted) {
  SubModel* none = nullptr;
  EXPECT_EQ(NewSubModel2(&env, nullptr), QZ_STATUS_OK);
  ClearSubModel(&env, nullptr);
  FreeSubModel(&env, &none);
  FreeSubModel(&env, nullptr);
}

}  // namespace
}  // namespace qz
