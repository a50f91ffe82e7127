#include "submodel/bound_removal.h"

#include <vector>

#include "engine/engine_state.h"
#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::smallModel;

// Column 0 has a lower bound 0, column 1 the box [-5, 5], column 3 the upper bound 8.
class BoundRemoval : public qztest::SubModelTest {
 protected:
  void makePoint(int32_t typeMethod = IPM_METHOD_AUGMENTED) {
    make(smallModel(), typeMethod);
    for (int j = 0; j < 4; ++j) {
      ipm->primal[j] = 1.0 + j;
      ipm->lowerSlack[j] = 10.0 + j;
      ipm->upperSlack[j] = 20.0 + j;
      ipm->lowerDual[j] = 0.1 + j;
      ipm->upperDual[j] = 0.2 + j;
      ipm->lowerSlackDelta[j] = ipm->upperSlackDelta[j] = ipm->lowerDualDelta[j] = ipm->upperDualDelta[j] = 1.0;
    }
    bigBounds({1, 0, 3}, {SUB_LOWER, SUB_LOWER, SUB_UPPER});
  }
  int32_t remove() {
    return subRemoveBound(env, submodel, ipm->lower, ipm->upper, ipm->lowerSlack, ipm->upperSlack, ipm->lowerDual,
                          ipm->upperDual);
  }
  Hub hub{};
};

TEST_F(BoundRemoval, ARemovedBoundHoldsTheLargestDoubleUntilItIsRestored) {
  makePoint();
  ASSERT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
  EXPECT_EQ(ipm->lower[1], -kRemovedBound);
  EXPECT_EQ(ipm->lower[0], -kRemovedBound);
  EXPECT_EQ(ipm->upper[3], kRemovedBound);
  EXPECT_EQ(ipm->upper[1], 5.0);
  EXPECT_EQ(submodel->lowerSub[0], -5.0);
  EXPECT_EQ(submodel->upperSub[2], 8.0);
  EXPECT_EQ(submodel->savedLowerDual[0], 1.1);
  EXPECT_EQ(submodel->savedUpperDual[2], 3.2);
  subRestoreBound(ipm, &hub, submodel);
  EXPECT_EQ(ipm->lower[1], -5.0);
  EXPECT_EQ(ipm->lower[0], 0.0);
  EXPECT_EQ(ipm->upper[3], 8.0);
}

TEST_F(BoundRemoval, SlacksAndDualsOfRemovedSidesBecomeZero) {
  makePoint();
  ASSERT_EQ(remove(), 0);
  EXPECT_EQ(ipm->lowerSlack[1], 0.0);
  EXPECT_EQ(ipm->lowerDual[1], 0.0);
  EXPECT_EQ(ipm->upperSlack[1], 21.0);
  EXPECT_EQ(ipm->upperDual[1], 1.2);
  EXPECT_EQ(ipm->upperSlack[3], 0.0);
  EXPECT_EQ(ipm->upperDual[3], 0.0);
}

TEST_F(BoundRemoval, InvivoLowersTheCountsAndClearsFlagsAndDirections) {
  makePoint();
  ASSERT_EQ(ipm->numCompl, 6);
  ASSERT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
  EXPECT_EQ(ipm->numLower, 0);
  EXPECT_EQ(ipm->numUpper, 1);
  EXPECT_EQ(ipm->numCompl, 3);
  EXPECT_FALSE(hasLower(ipm->statusBound[1]));
  EXPECT_TRUE(hasUpper(ipm->statusBound[1]));
  EXPECT_FALSE(hasLower(ipm->statusBound[0]));
  EXPECT_EQ(ipm->statusBound[0], BOUND_FREE);
  EXPECT_EQ(ipm->statusBound[3], BOUND_FREE);
  EXPECT_EQ(ipm->lowerSlackDelta[1], 0.0);
  EXPECT_EQ(ipm->lowerDualDelta[1], 0.0);
  EXPECT_EQ(ipm->upperSlackDelta[1], 1.0);
  EXPECT_EQ(ipm->upperDualDelta[3], 0.0);
}

// What the analysis of the engine finds is what the removal keeps up.
TEST_F(BoundRemoval, FlagsAndCountsAgreeWithAFreshAnalysis) {
  makePoint();
  for (const bool restored : {false, true}) {
    if (!restored)
      ASSERT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
    else
      subRestoreBound(ipm, &hub, submodel);
    const std::vector<uint8_t> flags(ipm->statusBound, ipm->statusBound + 4);
    const int32_t lower = ipm->numLower;
    const int32_t upper = ipm->numUpper;
    const int32_t pairs = ipm->numCompl;
    AnalyzeIpm(ipm);
    EXPECT_EQ(flags, (std::vector<uint8_t>(ipm->statusBound, ipm->statusBound + 4)));
    EXPECT_EQ(lower, ipm->numLower);
    EXPECT_EQ(upper, ipm->numUpper);
    EXPECT_EQ(pairs, ipm->numCompl);
  }
}

TEST_F(BoundRemoval, RestoredSlacksAreTheDistances) {
  makePoint();
  ASSERT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
  ipm->primal[1] = 30.0;
  ipm->primal[0] = -2.0;  // passed the bound
  ipm->primal[3] = 3.0;
  subRestoreBound(ipm, &hub, submodel);
  EXPECT_EQ(ipm->lowerSlack[1], 35.0);
  EXPECT_EQ(ipm->lowerSlack[0], 2.0);
  EXPECT_EQ(ipm->upperSlack[3], 5.0);
  EXPECT_EQ(submodel->lowerSub, nullptr);
  EXPECT_EQ(submodel->upperSub, nullptr);
  EXPECT_EQ(submodel->savedLowerDual, nullptr);
  EXPECT_EQ(submodel->savedUpperDual, nullptr);
}

TEST_F(BoundRemoval, OnlyTheInvivoRouteRestoresWithoutTheDuals) {
  for (const int32_t route : {ROUTE_INVIVO, ROUTE_INVITRO, ROUTE_BOTH, ROUTE_RESTORE}) {
    if (submodel != nullptr) FreeSubModel(env, &submodel);
    makePoint();
    ASSERT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
    hub.routeSubmodel = route;
    subRestoreBound(ipm, &hub, submodel);
    EXPECT_EQ(ipm->lowerDual[1], route == ROUTE_INVIVO ? 0.0 : 1.1) << "route " << route;
    EXPECT_EQ(ipm->upperDual[3], route == ROUTE_INVIVO ? 0.0 : 3.2) << "route " << route;
  }
}

TEST_F(BoundRemoval, ASecondRemovalWithoutARestoreFails) {
  makePoint();
  ASSERT_EQ(remove(), 0);
  EXPECT_EQ(remove(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subRemoveBound: memory allocated already."));
  EXPECT_EQ(submodel->lowerSub[0], -5.0);
  EXPECT_EQ(subRemoveBoundInvivo(ipm, submodel), QZ_STATUS_FAILED);
  EXPECT_EQ(ipm->numCompl, 6);
}

TEST_F(BoundRemoval, EveryFailedAllocationChangesNothing) {
  makePoint();
  const int64_t before = host.outstanding();
  for (int64_t k = 1; k <= 4; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(subRemoveBoundInvivo(ipm, submodel), QZ_STATUS_OUT_OF_MEMORY) << "allocation " << k;
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(ipm->lower[1], -5.0);
    EXPECT_EQ(ipm->numCompl, 6);
  }
  host.failAllocation(5);
  EXPECT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
}

TEST_F(BoundRemoval, CountsTheSidesOfListedColumns) {
  makePoint();
  EXPECT_EQ(subCountRemoveBound(ipm, submodel), 3);
  submodel->statusBoundSub[1] = SUB_LOWER | SUB_UPPER;
  submodel->statusBoundSub[2] = SUB_LOWER;  // not listed
  EXPECT_EQ(subCountRemoveBound(ipm, submodel), 4);
  EXPECT_EQ(subCountRemoveBound(ipm, nullptr), 0);
}

TEST_F(BoundRemoval, WithoutListOrRemovalNothingHappens) {
  makePoint();
  subRestoreBound(ipm, &hub, submodel);
  subRestoreBound(ipm, &hub, nullptr);
  EXPECT_EQ(ipm->numCompl, 6);
  submodel->numBigBoundSlack = 0;
  EXPECT_EQ(subRemoveBoundInvivo(ipm, submodel), 0);
  EXPECT_EQ(subRemoveBoundInvivo(ipm, nullptr), 0);
  EXPECT_EQ(submodel->lowerSub, nullptr);
}

}  // namespace
}  // namespace qz
