#include "engine/kept_direction.h"

#include <gtest/gtest.h>

#include <vector>

#include "shell/pool.h"
#include "support/test_host.h"

namespace qz {
namespace {

// An engine of 2 rows and 3 columns whose direction holds recognisable values.
class KeptDirection : public ::testing::Test {
 protected:
  KeptDirection() {
    env.pool = host.pool();
    env.log = host.log();
    ipm.env = &env;
    ipm.numRow = model.numRow = 2;
    ipm.numCol = model.numCol = 3;
    ipm.alphaPrimal = 0.25;
    ipm.alphaDual = 0.5;
    ipm.rhsCorrector = combined.data();
    ipm.lowerSlackDelta = lowerSlack.data();
    ipm.upperSlackDelta = upperSlack.data();
    ipm.lowerDualDelta = lowerDual.data();
    ipm.upperDualDelta = upperDual.data();
    ipm.ineqnSlackDelta = rowSlack.data();
  }
  ~KeptDirection() override { FreeHub(&env, &hub); }

  qztest::TestHost host;
  Env env{};
  Ipm ipm{};
  Model model{};
  Hub* hub = poolAllocateZero<Hub>(host.pool(), 1);
  std::vector<double> combined{1, 2, 3, 4, 5}, lowerSlack{6, 7, 8}, upperSlack{9, 10, 11}, lowerDual{12, 13, 14},
      upperDual{15, 16, 17}, rowSlack{18, 19};
};

TEST_F(KeptDirection, CopiesStepsAndArrays) {
  ASSERT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_OK);
  const KeptSolution& kept = *hub->keptSolution;
  EXPECT_EQ(kept.alphaPrimal, 0.25);
  EXPECT_EQ(kept.alphaDual, 0.5);
  for (size_t j = 0; j < 3; ++j) {
    EXPECT_EQ(kept.primalDelta[j], combined[j]);
    EXPECT_EQ(kept.lowerSlackDelta[j], lowerSlack[j]);
    EXPECT_EQ(kept.upperSlackDelta[j], upperSlack[j]);
    EXPECT_EQ(kept.lowerDualDelta[j], lowerDual[j]);
    EXPECT_EQ(kept.upperDualDelta[j], upperDual[j]);
  }
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(kept.dualDelta[i], combined[3 + i]);
    EXPECT_EQ(kept.ineqnSlackDelta[i], rowSlack[i]);
  }
}

TEST_F(KeptDirection, HasRoomForTheModelAsThePipelineReceivedIt) {
  hub->numColInput = 7;
  hub->numRowInput = 6;
  ASSERT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_OK);
  for (int32_t j = 3; j < 7; ++j) EXPECT_EQ(hub->keptSolution->upperDualDelta[j], 0.0);
  for (int32_t i = 2; i < 6; ++i) EXPECT_EQ(hub->keptSolution->ineqnSlackDelta[i], 0.0);
}

TEST_F(KeptDirection, MapsOfASubmodelAreFollowedAndRemovedEntriesSkipped) {
  ipm.numCol = 2;
  ipm.numRow = 1;
  std::vector<int32_t> colMap{1, -1, 0};
  std::vector<int32_t> rowMap{-1, 0};
  SubModel submodel{};
  submodel.colMapSub = colMap.data();
  submodel.rowMapSub = rowMap.data();
  ASSERT_EQ(recordDirection(&ipm, &model, hub, &submodel), QZ_STATUS_OK);
  const KeptSolution& kept = *hub->keptSolution;
  EXPECT_EQ(kept.primalDelta[0], 2.0);
  EXPECT_EQ(kept.primalDelta[1], 0.0);
  EXPECT_EQ(kept.primalDelta[2], 1.0);
  EXPECT_EQ(kept.dualDelta[0], 0.0);
  EXPECT_EQ(kept.dualDelta[1], 3.0);  // the row part begins behind the engine's two columns
}

TEST_F(KeptDirection, DimensionsMustAgreeWithoutMaps) {
  ipm.numCol = 2;
  EXPECT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error recordDirection: no model reduction, dimension doesn't match."));
}

TEST_F(KeptDirection, SecondRecordIsRefused) {
  ASSERT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_OK);
  EXPECT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_FAILED);
}

TEST_F(KeptDirection, EveryFailedAllocationIsReportedAndFreedWithTheHub) {
  const int64_t before = host.outstanding();
  for (int64_t k = 1; k <= 8; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    host.failAllocation(0);
    FreeHub(&env, &hub);
    EXPECT_EQ(host.outstanding(), before - 1);
    hub = poolAllocateZero<Hub>(host.pool(), 1);
  }
  host.failAllocation(9);
  EXPECT_EQ(recordDirection(&ipm, &model, hub, nullptr), QZ_STATUS_OK);
  host.failAllocation(0);
}

}  // namespace
}  // namespace qz
