// The life of the state record: options, allocation and its failures, bounds and norms.
#include "engine/engine_state.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "engine/augmented_system.h"
#include "engine/dense_ldl.h"
#include "engine/engine_case.h"

namespace {

using qztest::DenseLdl;
using qztest::denseLdl;
using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

int32_t breakCallback(void*) {
  return 0;
}

TEST(EngineState, NewRecordTakesDimensionsAndCallbackFromTheModel) {
  TestHost host;
  std::mt19937 random(1);
  RandomShape shape;
  shape.quadratic = true;
  EngineCase engine(host, randomModel(random, shape));
  int token = 0;
  engine.model.checkSolverBreak = breakCallback;
  engine.model.callerDataStruct = &token;
  qz::IPM_timer timer{};
  engine.ipm = qz::NewIpm(&engine.env, &engine.model, &timer);
  ASSERT_NE(engine.ipm, nullptr);
  EXPECT_EQ(engine.ipm->numRow, engine.model.numRow);
  EXPECT_EQ(engine.ipm->numCol, engine.model.numCol);
  EXPECT_EQ(engine.ipm->numCoef, engine.model.numCoef);
  EXPECT_EQ(engine.ipm->numQuadCoef, engine.model.numQuadCoef);
  EXPECT_EQ(engine.ipm->typeModel, qz::IPM_MODEL_QP);
  EXPECT_EQ(engine.ipm->env, &engine.env);
  EXPECT_EQ(engine.ipm->timer, &timer);
  EXPECT_EQ(engine.ipm->checkSolverBreak, breakCallback);
  EXPECT_EQ(engine.ipm->callerDataStruct, &token);
  EXPECT_EQ(engine.ipm->numIter, 0);
  EXPECT_EQ(engine.ipm->prevMu, 0.0);
}

TEST(EngineState, NewRecordNeedsAModelAndMemory) {
  TestHost host;
  std::mt19937 random(1);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  EXPECT_EQ(qz::NewIpm(&engine.env, nullptr, nullptr), nullptr);
  host.failAllocation(1);
  EXPECT_EQ(qz::NewIpm(&engine.env, &engine.model, nullptr), nullptr);
  host.failAllocation(0);
}

TEST(EngineState, OptionsAreCopied) {
  qz::IpmOption option{};
  option.typeMethod = 12;
  option.maxIter = 7;
  option.tolPrimal = 1e-3;
  option.tolDual = 1e-4;
  option.tolOptimality = 1e-5;
  option.logFrequency = 3;
  option.printLevel = 2;
  option.debugLevel = 1;
  option.crossover = 4;
  option.initOption = 5;
  option.infinityValue = 1e20;
  option.numThread = 6;
  option.unscaleCheck = 1;
  qz::Ipm ipm{};
  qz::ipmGetOption(&ipm, &option);
  EXPECT_EQ(ipm.typeMethod, 12);
  EXPECT_EQ(ipm.maxIter, 7);
  EXPECT_EQ(ipm.tolPrimal, 1e-3);
  EXPECT_EQ(ipm.tolDual, 1e-4);
  EXPECT_EQ(ipm.tolOptimality, 1e-5);
  EXPECT_EQ(ipm.logFrequency, 3);
  EXPECT_EQ(ipm.printLevel, 2);
  EXPECT_EQ(ipm.debugLevel, 1);
  EXPECT_EQ(ipm.crossover, 4);
  EXPECT_EQ(ipm.initOption, 5);
  EXPECT_EQ(ipm.infinityValue, 1e20);
  EXPECT_EQ(ipm.numThread, 6);
  EXPECT_EQ(ipm.unscaleCheck, 1);
  EXPECT_EQ(ipm.option, &option);
}

TEST(EngineState, ParametersAreSetAndResetsAccumulate) {
  qz::Ipm ipm{};
  ipm.infinityValue = 1e20;
  ipm.tolOptimality = 1e-7;
  ipm.alphaPrimal = ipm.alphaDual = 0.5;
  ipm.countGoodStep = ipm.countBadStep = ipm.countStall = 9;
  ipm.numReset = 3;
  ipm.numIter = 11;
  qz::ipmSetParam(&ipm, nullptr, nullptr);
  EXPECT_EQ(ipm.denseRatio, 0.5);
  EXPECT_EQ(ipm.muLimit, 1e-20);
  EXPECT_EQ(ipm.positiveLimit, 1e-50);
  EXPECT_EQ(ipm.stepFactor, 0.99);
  EXPECT_EQ(ipm.alphaPrimal, 0.0);
  EXPECT_EQ(ipm.alphaDual, 0.0);
  EXPECT_EQ(ipm.mu, 1e20);
  EXPECT_EQ(ipm.muAffine, 1e20);
  EXPECT_EQ(ipm.sigma, 1e20);
  EXPECT_EQ(ipm.tolComplement, 1e-7);
  EXPECT_EQ(ipm.countGoodStep, 0);
  EXPECT_EQ(ipm.countBadStep, 0);
  EXPECT_EQ(ipm.countStall, 0);
  EXPECT_EQ(ipm.numReset, 3);
  EXPECT_EQ(ipm.numIter, 11);
}

TEST(EngineState, SmallDataIsRestoredWhenBothCountsAreBelowOne) {
  qz::Ipm ipm{};
  for (int32_t numObj : {-1, 0, 1})
    for (int32_t numRhs : {-1, 0, 2}) {
      qz::Hub hub{};
      hub.numSmallObj = numObj;
      hub.numSmallRhs = numRhs;
      hub.smallRestored = 7;
      qz::ipmSetParam(&ipm, nullptr, &hub);
      EXPECT_EQ(hub.smallRestored, numObj < 1 && numRhs < 1 ? 1 : 0) << numObj << ' ' << numRhs;
    }
}

TEST(EngineState, CreationFillsWithZerosAndSetsUpTheSolver) {
  TestHost host;
  std::mt19937 random(2);
  RandomShape shape;
  shape.quadratic = true;
  EngineCase engine(host, randomModel(random, shape));
  ASSERT_TRUE(engine.start());
  const qz::Ipm& ipm = *engine.ipm;
  EXPECT_EQ(ipm.numDim, ipm.numRow + ipm.numCol);
  EXPECT_EQ(ipm.numIpmCoef, ipm.numDim + 2 * (ipm.numCoef + ipm.numQuadCoef));
  for (int k = 0; k < ipm.numIpmCoef; ++k) EXPECT_EQ(ipm.ipmMatValue[k], 0.0);
  for (int k = 0; k < ipm.numDim; ++k) {
    EXPECT_EQ(ipm.rhsPredictor[k], 0.0);
    EXPECT_EQ(ipm.rhsCorrector[k], 0.0);
  }
  for (int j = 0; j < ipm.numCol; ++j) {
    EXPECT_EQ(ipm.varBndDiagIndex[j], 0);
    for (const double* delta : {ipm.lowerSlackDelta, ipm.upperSlackDelta, ipm.lowerDualDelta, ipm.upperDualDelta})
      EXPECT_EQ(delta[j], 0.0);
  }
  for (int i = 0; i < ipm.numRow; ++i) EXPECT_EQ(ipm.ineqnSlackDelta[i], 0.0);
  for (int k = 0; k < std::max(ipm.numRow, ipm.numCol); ++k) {
    EXPECT_EQ(ipm.workReal1[k], 0.0);
    EXPECT_EQ(ipm.workReal2[k], 0.0);
    EXPECT_EQ(ipm.workInt[k], 0);
  }
  ASSERT_NE(ipm.laEnv, nullptr);
  EXPECT_EQ(engine.env.laEnv, ipm.laEnv);
  EXPECT_EQ(ipm.laEnv->problemKind, 1);
  EXPECT_EQ(ipm.laEnv->orderingMethod, -1);
  EXPECT_EQ(ipm.laEnv->numLeadingRows, ipm.numCol);
  EXPECT_EQ(ipm.normalDiag, nullptr);
}

TEST(EngineState, NormalMethodGetsItsOwnArrays) {
  TestHost host;
  std::mt19937 random(2);
  EngineCase engine(host, randomModel(random, RandomShape{}), qz::IPM_METHOD_NORMAL);
  ASSERT_TRUE(engine.start());
  EXPECT_NE(engine.ipm->normalDiag, nullptr);
  EXPECT_NE(engine.ipm->normalWork, nullptr);
  EXPECT_NE(engine.ipm->normalPos, nullptr);
}

TEST(EngineState, SecondCreationKeepsWhatIsThere) {
  TestHost host;
  std::mt19937 random(2);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  ASSERT_TRUE(engine.start());
  const int64_t before = host.outstanding();
  const double* matValue = engine.ipm->ipmMatValue;
  const qz::LAEnv* laEnv = engine.ipm->laEnv;
  EXPECT_EQ(qz::CreateIpm(engine.ipm), 0);
  EXPECT_EQ(host.outstanding(), before);
  EXPECT_EQ(engine.ipm->ipmMatValue, matValue);
  EXPECT_EQ(engine.ipm->laEnv, laEnv);
}

TEST(EngineState, EveryFailedAllocationOfTheCreationIsReportedAndNothingLeaks) {
  for (int32_t method : {qz::IPM_METHOD_AUGMENTED, qz::IPM_METHOD_NORMAL}) {
    TestHost host;
    std::mt19937 random(2);
    EngineCase engine(host, randomModel(random, RandomShape{}), method);
    const int64_t before = host.outstanding();
    int64_t k = 1;
    for (;; ++k) {
      qz::Ipm* ipm = qz::NewIpm(&engine.env, &engine.model, nullptr);
      ASSERT_NE(ipm, nullptr);
      qz::ipmGetOption(ipm, &engine.option);
      host.failAllocation(k);
      const int32_t status = qz::CreateIpm(ipm);
      host.failAllocation(0);
      if (status != 0) {
        EXPECT_EQ(status, -1086) << "allocation " << k;
      }
      qz::FreeIpm(ipm);
      qz::poolFree(engine.env.pool, ipm);
      EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
      EXPECT_EQ(engine.env.laEnv, nullptr);
      if (status == 0) break;
    }
    EXPECT_EQ(k - 1, method == qz::IPM_METHOD_NORMAL ? 25 : 19);
  }
}

TEST(EngineState, ThreadCountBelowOneFailsTheCreation) {
  TestHost host;
  std::mt19937 random(2);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  engine.option.numThread = 0;
  EXPECT_FALSE(engine.start());
  ASSERT_NE(engine.ipm, nullptr);
  EXPECT_EQ(qz::CreateIpm(engine.ipm), -1086);
}

TEST(EngineState, SystemTooLargeForItsIndicesIsOutOfMemory) {
  TestHost host;
  qz::Env env{};
  env.pool = host.pool();
  qz::Ipm ipm{};
  ipm.env = &env;
  ipm.numThread = 1;
  const int64_t before = host.allocations();
  ipm.numRow = 10;
  ipm.numCol = 10;
  ipm.numCoef = INT32_MAX / 2 + 1;
  EXPECT_EQ(qz::CreateIpm(&ipm), -1086);
  ipm.numRow = ipm.numCol = INT32_MAX;
  ipm.numCoef = 0;
  EXPECT_EQ(qz::CreateIpm(&ipm), -1086);
  ipm.numRow = ipm.numCol = 0;
  ipm.numCoef = ipm.numQuadCoef = INT32_MAX;
  EXPECT_EQ(qz::CreateIpm(&ipm), -1086);
  EXPECT_EQ(host.allocations(), before);
}

TEST(EngineState, EmptyModelCanBeCreatedAndAnalysed) {
  TestHost host;
  DenseModel dense;
  dense.A = Matrix::Zero(0, 0);
  dense.c = dense.b = dense.lower = dense.upper = Vector::Zero(0);
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  EXPECT_EQ(engine.ipm->numCompl, 0);
}

TEST(EngineState, AssignmentTakesTheArraysOfModelAndSolution) {
  TestHost host;
  std::mt19937 random(2);
  RandomShape shape;
  shape.quadratic = true;
  EngineCase first(host, randomModel(random, shape));
  EngineCase second(host, randomModel(random, shape));
  ASSERT_TRUE(first.start());
  qz::AssignIpm(first.ipm, &second.model, &second.solution);
  EXPECT_EQ(first.ipm->model, &second.model);
  EXPECT_EQ(first.ipm->solution, &second.solution);
  EXPECT_EQ(first.ipm->obj, second.model.obj);
  EXPECT_EQ(first.ipm->lower, second.model.lower);
  EXPECT_EQ(first.ipm->upper, second.model.upper);
  EXPECT_EQ(first.ipm->rhs, second.model.rhs);
  EXPECT_EQ(first.ipm->rowSense, second.model.rowSense);
  EXPECT_EQ(first.ipm->colBegin, second.model.colBegin);
  EXPECT_EQ(first.ipm->colLength, second.model.colLength);
  EXPECT_EQ(first.ipm->rowIndex, second.model.rowIndex);
  EXPECT_EQ(first.ipm->matValue, second.model.matValue);
  EXPECT_EQ(first.ipm->quadColBegin, second.model.quadColBegin);
  EXPECT_EQ(first.ipm->quadColLength, second.model.quadColLength);
  EXPECT_EQ(first.ipm->quadRowIndex, second.model.quadRowIndex);
  EXPECT_EQ(first.ipm->quadMatValue, second.model.quadMatValue);
  EXPECT_EQ(first.ipm->quadDiag, second.model.quadDiag);
  EXPECT_EQ(first.ipm->primal, second.model.solPrimal);
  EXPECT_EQ(first.ipm->dual, second.model.solDual);
  EXPECT_EQ(first.ipm->ineqnSlack, second.solution.ineqnSlack);
  EXPECT_EQ(first.ipm->lowerSlack, second.solution.lowerSlack);
  EXPECT_EQ(first.ipm->upperSlack, second.solution.upperSlack);
  EXPECT_EQ(first.ipm->lowerDual, second.solution.lowerDual);
  EXPECT_EQ(first.ipm->upperDual, second.solution.upperDual);
}

TEST(EngineState, DimensionsOfAnotherModelIncludeTheSystemsOrder) {
  TestHost host;
  std::mt19937 random(2);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  ASSERT_TRUE(engine.start());
  qz::Model smaller{};
  smaller.numRow = 3;
  smaller.numCol = 4;
  smaller.numCoef = 5;
  smaller.numQuadCoef = 6;
  qz::ipmCopyDimensions(engine.ipm, &smaller);
  EXPECT_EQ(engine.ipm->numRow, 3);
  EXPECT_EQ(engine.ipm->numCol, 4);
  EXPECT_EQ(engine.ipm->numCoef, 5);
  EXPECT_EQ(engine.ipm->numQuadCoef, 6);
  EXPECT_EQ(engine.ipm->numDim, 7);
}

// Columns with every kind of bound.
DenseModel kindsOfBounds() {
  DenseModel dense;
  dense.A = Matrix{{1, 0, 2, 0, 0, 0, 0, 0}, {0, 2, 0, 0, 0, 0, 0, 4}, {0, 0, 0, 0, 0, 0, 0, 0}};
  dense.c = Vector::Constant(8, 3.0);
  dense.b = Vector{{2.0, -3.0, 6.0}};
  const double nearly = std::nextafter(1e20, 0.0);
  dense.lower = Vector{{0.0, -1e-11, 1e-10, -5.0, -1e20, -1e30, -kNone, -nearly}};
  dense.upper = Vector{{kNone, kNone, 7.0, 1e20, 1e25, -4.0, nearly, kNone}};
  dense.sense = "GEG";
  return dense;
}

TEST(EngineState, AnalysisTellsTheKindsOfBoundsApart) {
  TestHost host;
  EngineCase engine(host, kindsOfBounds());
  ASSERT_TRUE(engine.start());
  const qz::Ipm& ipm = *engine.ipm;
  EXPECT_EQ(ipm.statusBound[0], 8);      // zero
  EXPECT_EQ(ipm.statusBound[1], 8);      // below 1e-10 counts as zero
  EXPECT_EQ(ipm.statusBound[2], 4 + 2);  // exactly 1e-10 does not
  EXPECT_EQ(ipm.statusBound[3], 4);      // an upper bound of exactly 1e20 is none
  EXPECT_EQ(ipm.statusBound[4], 1);
  EXPECT_EQ(ipm.statusBound[5], 2);
  EXPECT_EQ(ipm.statusBound[6], 2);  // just below 1e20 is a bound
  EXPECT_EQ(ipm.statusBound[7], 4);
  EXPECT_EQ(ipm.numLower, 5);
  EXPECT_EQ(ipm.numUpper, 3);
  EXPECT_EQ(ipm.numFreeVar, 1);
  EXPECT_EQ(ipm.numIneqn, 2);
  EXPECT_EQ(ipm.ineqnIndex[0], 0);
  EXPECT_EQ(ipm.ineqnIndex[1], 2);
  EXPECT_EQ(ipm.numCompl, 10);
  EXPECT_EQ(ipm.freeVarLimit, 1000.0);
}

TEST(EngineState, AnalysisTakesTheNorms) {
  TestHost host;
  DenseModel dense = kindsOfBounds();
  dense.lower = Vector{{3.0, 0.0, -4.0, -kNone, -kNone, -kNone, 0.0, 0.0}};
  dense.upper = Vector{{kNone, kNone, kNone, 6.0, -8.0, kNone, kNone, kNone}};
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  EXPECT_DOUBLE_EQ(engine.ipm->normRhs, 7.0);
  EXPECT_DOUBLE_EQ(engine.ipm->normObj, 3.0 * std::sqrt(8.0));
  EXPECT_DOUBLE_EQ(engine.ipm->normMatrix, 5.0);
  EXPECT_DOUBLE_EQ(engine.ipm->normLower, 5.0);
  EXPECT_DOUBLE_EQ(engine.ipm->normUpper, 10.0);
}

TEST(EngineState, AnalysisCanBeRepeated) {
  TestHost host;
  EngineCase engine(host, kindsOfBounds());
  ASSERT_TRUE(engine.start());
  const qz::Ipm before = *engine.ipm;
  qz::AnalyzeIpm(engine.ipm);
  EXPECT_EQ(engine.ipm->numLower, before.numLower);
  EXPECT_EQ(engine.ipm->numUpper, before.numUpper);
  EXPECT_EQ(engine.ipm->numFreeVar, before.numFreeVar);
  EXPECT_EQ(engine.ipm->numIneqn, before.numIneqn);
  EXPECT_EQ(engine.ipm->numCompl, before.numCompl);
  EXPECT_EQ(engine.ipm->normRhs, before.normRhs);
  EXPECT_EQ(engine.ipm->normObj, before.normObj);
  EXPECT_EQ(engine.ipm->normMatrix, before.normMatrix);
  EXPECT_EQ(engine.ipm->normLower, before.normLower);
  EXPECT_EQ(engine.ipm->normUpper, before.normUpper);
}

TEST(EngineState, FreeingTakesFactorsAndArraysAndAcceptsNull) {
  denseLdl = DenseLdl{};
  TestHost host;
  std::mt19937 random(2);
  qz::FreeIpm(nullptr);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  const int64_t before = host.outstanding();
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(qz::ipmInitAugmat(engine.ipm, 0), 0);
  EXPECT_EQ(engine.env.ldlFactor, engine.ipm->ldlFactor);
  qz::FreeIpm(engine.ipm);
  EXPECT_EQ(engine.env.laEnv, nullptr);
  EXPECT_EQ(engine.env.ldlFactor, nullptr);
  EXPECT_EQ(host.outstanding(), before + 1);  // the record
  qz::FreeIpm(engine.ipm);                    // twice is no fault
}

}  // namespace
