#include "submodel/list_update.h"

#include <vector>

#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::smallModel;

// thresholdBig is 10000, so what is below 500 is no longer big.
class ListUpdate : public qztest::SubModelTest {
 protected:
  void update() { updateSubList(env, &test->solution, submodel, &test->model, &test->option); }
  static std::vector<int32_t> entries(const int32_t* list, int32_t count) { return {list, list + count}; }
};

TEST_F(ListUpdate, RowsWithSmallSlackAreDroppedAndTheLastTakesTheirPlace) {
  make(smallModel());
  ipm->ineqnSlack[0] = 499.9;
  ipm->ineqnSlack[1] = 500.0;
  ipm->ineqnSlack[2] = 2e4;
  bigRows({0, 1, 2});
  submodel->planBigIneqnSlack = BIG_INVITRO;
  update();
  EXPECT_EQ(entries(submodel->idxRowSub, submodel->numBigIneqnSlack), (std::vector<int32_t>{2, 1}));
  EXPECT_EQ(submodel->planBigIneqnSlack, BIG_INVITRO);
}

TEST_F(ListUpdate, BoundsGoSideBySide) {
  make(smallModel());
  for (int j = 0; j < 4; ++j) ipm->lowerSlack[j] = ipm->upperSlack[j] = 1e5;
  ipm->upperSlack[1] = 1.0;
  ipm->lowerSlack[2] = 1.0;
  bigBounds({1, 2, 3}, {SUB_LOWER | SUB_UPPER, SUB_LOWER, SUB_UPPER});
  submodel->planBigBoundSlack = BIG_INVITRO;
  update();
  EXPECT_EQ(entries(submodel->idxBoundSub, submodel->numBigBoundSlack), (std::vector<int32_t>{1, 3}));
  EXPECT_EQ(submodel->statusBoundSub[1], SUB_LOWER);
  EXPECT_EQ(submodel->statusBoundSub[2], 0);
  EXPECT_EQ(submodel->statusBoundSub[3], SUB_UPPER);
}

TEST_F(ListUpdate, VariablesAndDualsGoByMagnitude) {
  make(smallModel());
  ipm->primal[0] = -2e4;
  ipm->primal[1] = 499.0;
  ipm->dual[0] = -499.0;
  ipm->dual[2] = -2e4;
  bigVars({0, 1});
  bigDuals({0, 2});
  submodel->planBigVar = submodel->planBigDual = BIG_INVITRO;
  update();
  EXPECT_EQ(entries(submodel->idxBigVar, submodel->numBigVar), (std::vector<int32_t>{0}));
  EXPECT_EQ(entries(submodel->idxBigDual, submodel->numBigDual), (std::vector<int32_t>{2}));
}

TEST_F(ListUpdate, ColumnsGoWhenTheDualOfTheirBoundIsSmall) {
  make(smallModel());
  ipm->primal[0] = 0.0;  // at its lower bound
  ipm->lowerDual[0] = 499.0;
  ipm->primal[1] = 5.0;  // at its upper bound
  ipm->upperDual[1] = 2e4;
  ipm->primal[3] = 1.0;  // between its bounds
  bigColumns({0, 1, 3});
  submodel->planBigBoundDual = BIG_INVITRO;
  update();
  EXPECT_EQ(entries(submodel->idxColSub, submodel->numBigBoundDual), (std::vector<int32_t>{3, 1}));
  ipm->upperDual[1] = 1.0;
  update();
  EXPECT_EQ(entries(submodel->idxColSub, submodel->numBigBoundDual), (std::vector<int32_t>{3}));
}

TEST_F(ListUpdate, OnlyPlannedKindsArePruned) {
  make(smallModel());
  bigRows({1});
  bigBounds({0}, {SUB_LOWER});
  bigVars({0});
  bigDuals({0});
  bigColumns({0});
  update();
  EXPECT_EQ(submodel->numBigIneqnSlack, 1);
  EXPECT_EQ(submodel->numBigBoundSlack, 1);
  EXPECT_EQ(submodel->numBigVar, 1);
  EXPECT_EQ(submodel->numBigDual, 1);
  EXPECT_EQ(submodel->numBigBoundDual, 1);
  EXPECT_EQ(submodel->statusBoundSub[0], SUB_LOWER);
}

TEST_F(ListUpdate, AnEmptyListClearsThePlan) {
  make(smallModel());
  bigRows({1});
  bigBounds({0}, {SUB_LOWER});
  bigVars({0});
  bigDuals({0});
  bigColumns({0});
  submodel->planBigIneqnSlack = submodel->planBigBoundSlack = submodel->planBigVar = submodel->planBigDual =
      submodel->planBigBoundDual = BIG_INVITRO;
  update();
  EXPECT_EQ(submodel->numBigIneqnSlack, 0);
  EXPECT_EQ(submodel->planBigIneqnSlack, 0);
  EXPECT_EQ(submodel->planBigBoundSlack, 0);
  EXPECT_EQ(submodel->planBigVar, 0);
  EXPECT_EQ(submodel->planBigDual, 0);
  EXPECT_EQ(submodel->planBigBoundDual, 0);
  updateSubList(env, &test->solution, nullptr, &test->model, &test->option);
}

}  // namespace
}  // namespace qz
