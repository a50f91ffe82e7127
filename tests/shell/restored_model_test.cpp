// After every solve the model's arrays are what they were: random models with every transformation between presolve and
// standard form switched on, through ipmMain, for good ends and limits, breaks and failing pools.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "shell/pipeline_case.h"
#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::ModelArrays;
using qztest::TestModel;

bool finite(double value) {
  return std::fabs(value) < 1e20;
}

// Factors that are powers of two, different for neighbours, on everything that scaling touches.
int32_t scaleEverything(QzPresolveObject*, int32_t, int32_t numRow, int32_t numCol, int32_t, int32_t* colBegin, double,
                        int32_t* colLength, int32_t* rowIndex, double* matValue, double* obj, double* lower,
                        double* upper, double* rowScale, double* colScale, void*, void*, double* rhs, char*,
                        double* range, double*, double*, double*, double*) {
  for (int32_t i = 0; i < numRow; ++i) {
    rowScale[i] = std::ldexp(1.0, i % 5 - 2);
    if (finite(rhs[i])) rhs[i] *= rowScale[i];
    if (range != nullptr && finite(range[i])) range[i] *= rowScale[i];
  }
  rowScale[numRow] = 0.5;
  for (int32_t j = 0; j < numCol; ++j) {
    colScale[j] = std::ldexp(1.0, j % 3 - 1);
    obj[j] *= colScale[j] * 0.5;
    if (finite(lower[j])) lower[j] /= colScale[j];
    if (finite(upper[j])) upper[j] /= colScale[j];
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k)
      matValue[k] *= rowScale[rowIndex[k]] * colScale[j];
  }
  return 0;
}

int32_t breakAtPoll(void* left) {
  return --*static_cast<int*>(left) < 0 ? 1 : 0;
}

class RestoredModel : public qztest::PipelineCase {
 protected:
  RestoredModel() {
    presolver.scale = scaleEverything;
    option.maxIter = 200;
    option.timeLimit = 1e30;
    option.numThread = 1;
  }
  int32_t solve(TestModel& m, const IpmOption& with) {
    IpmOption mine = with;
    const int64_t outstanding = host.outstanding();
    const int32_t status = ipmMain(&env, &m.model, &mine, timer, nullptr);
    EXPECT_EQ(host.outstanding(), outstanding);
    return status;
  }

  // Calls `look` with a model and the options for each way through the transformations: kind of model, presolve,
  // method, sense, scaling.
  void forEachWay(uint32_t numSeeds, const std::function<void(TestModel&, const IpmOption&)>& look) {
    for (uint32_t seed = 1; seed <= numSeeds; ++seed) {
      for (int way = 0; way < 32; ++way) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " way " + std::to_string(way));
        std::mt19937 random(seed);
        TestModel m =
            qztest::randomModel(random, 1 + static_cast<int32_t>(seed % 6), 2 + static_cast<int32_t>(seed % 7));
        sortColumns(m);
        IpmOption with = option;
        if ((way & 1) != 0) makeQuadratic(m);
        with.presolveMode = (way & 2) != 0 ? 0 : -1;
        with.typeMethod = (way & 4) != 0 ? IPM_METHOD_NORMAL : IPM_METHOD_AUGMENTED;
        m.model.objSense = (way & 8) != 0 ? -1 : 1;
        with.initOption = (way & 16) != 0 ? 1 : 0;
        look(m, with);
      }
    }
  }
  // The normal equations sort the elements of a column, with their values.
  static void sortColumns(TestModel& m) {
    for (int32_t j = 0; j < m.model.numCol; ++j) {
      std::vector<std::pair<int32_t, double>> elements;
      const auto begin = static_cast<size_t>(m.a.colBegin[static_cast<size_t>(j)]);
      const auto length = static_cast<size_t>(m.a.colLength[static_cast<size_t>(j)]);
      for (size_t k = begin; k < begin + length; ++k) elements.emplace_back(m.a.rowIndex[k], m.a.matValue[k]);
      std::sort(elements.begin(), elements.end());
      for (size_t k = 0; k < length; ++k) std::tie(m.a.rowIndex[begin + k], m.a.matValue[begin + k]) = elements[k];
    }
  }
  static void makeQuadratic(TestModel& m) {
    const auto n = static_cast<size_t>(m.model.numCol);
    m.makeQuadratic(std::vector<double>(n, 2.0), {{1, 0, 1.0}});
  }
};

// Same numbers in the first `count` entries; infinite bounds may come back as another infinity.
void expectSame(const std::vector<double>& after, const std::vector<double>& before, int32_t count, double tolerance) {
  for (size_t k = 0; k < static_cast<size_t>(count); ++k) {
    if (finite(before[k]))
      EXPECT_NEAR(after[k], before[k], tolerance * (1.0 + std::fabs(before[k]))) << k;
    else
      EXPECT_TRUE(!finite(after[k]) && std::signbit(after[k]) == std::signbit(before[k])) << k;
  }
}

// What is only permuted or negated comes back bit for bit, what is shifted and scaled within rounding. Costs and sides
// are left out where the run went along a ray (`diverged`): values of 1e14 may have been folded into them.
void expectRestored(const TestModel& m, const ModelArrays& before, int32_t numRow, int32_t numCol, bool diverged) {
  const ModelArrays& a = m.a;
  EXPECT_EQ(m.model.numRow, numRow);
  EXPECT_EQ(m.model.numCol, numCol);
  EXPECT_EQ(m.model.numCoef, before.colBegin[static_cast<size_t>(numCol)]);
  EXPECT_EQ(a.rowSense, before.rowSense);
  EXPECT_TRUE(std::equal(before.colLength.begin(), before.colLength.begin() + numCol, a.colLength.begin()));
  EXPECT_TRUE(std::equal(before.colBegin.begin(), before.colBegin.begin() + numCol + 1, a.colBegin.begin()));
  EXPECT_TRUE(std::equal(before.rowIndex.begin(), before.rowIndex.begin() + m.model.numCoef, a.rowIndex.begin()));
  EXPECT_EQ(a.quadRowIndex, before.quadRowIndex);
  expectSame(a.matValue, before.matValue, m.model.numCoef, 1e-12);
  if (!diverged) {
    expectSame(a.obj, before.obj, numCol, 1e-7);
    expectSame(a.rhs, before.rhs, numRow, 1e-7);
  }
  if (!before.range.empty()) expectSame(a.range, before.range, numRow, 1e-12);
  expectSame(a.lower, before.lower, numCol, 1e-10);
  expectSame(a.upper, before.upper, numCol, 1e-10);
  if (!before.quadDiag.empty()) {
    expectSame(a.quadDiag, before.quadDiag, numCol, 1e-12);
    expectSame(a.quadMatValue, before.quadMatValue, m.model.numQuadCoef, 1e-12);
  }
}

TEST_F(RestoredModel, AfterEveryEndOfARun) {
  std::map<int32_t, int> ends;
  forEachWay(120, [&](TestModel& m, const IpmOption& with) {
    const ModelArrays before = m.a;
    const int32_t numRow = m.model.numRow, numCol = m.model.numCol;
    const int32_t status = solve(m, with);
    ++ends[status];
    if (status != 10 && status != 12 && status != -1086)
      expectRestored(m, before, numRow, numCol, status != 1 && status != 15);
  });
  EXPECT_GT(ends[1], 500);
  EXPECT_GT(ends[3] + ends[14], 50);
  EXPECT_GT(ends[4], 50);
  for (auto [status, count] : ends) std::printf("status %d: %d\n", status, count);
}

TEST_F(RestoredModel, AfterIterationLimits) {
  int reached = 0;
  for (int32_t limit : {0, 1, 3}) {
    option.maxIter = limit;
    forEachWay(20, [&](TestModel& m, const IpmOption& with) {
      const ModelArrays before = m.a;
      const int32_t numRow = m.model.numRow, numCol = m.model.numCol;
      const int32_t status = solve(m, with);
      reached += status == 7 ? 1 : 0;
      if (status != 10) expectRestored(m, before, numRow, numCol, status == 3 || status == 4 || status == 14);
    });
  }
  EXPECT_GT(reached, 300);
}

// A quadratic model is never worked on itself, so that even what cuts a solve off leaves it bit for bit.
TEST_F(RestoredModel, QuadraticModelsAfterBreaksAndFailingPools) {
  int broken = 0, failed = 0;
  forEachWay(40, [&](TestModel& m, const IpmOption& with) {
    if (m.model.typeModel != IPM_MODEL_QP || with.presolveMode == 0) return;
    const ModelArrays before = m.a;
    if (solve(m, with) != 1) return;
    const auto expectUntouched = [&] {
      ModelArrays after = m.a;
      after.solPrimal = before.solPrimal;
      after.solDual = before.solDual;
      after.reducedCost = before.reducedCost;
      after.rowActivity = before.rowActivity;
      EXPECT_TRUE(after == before);
    };
    for (int polls = 0; polls < 40; polls += 3) {
      int left = polls;
      m.model.checkSolverBreak = breakAtPoll;
      m.model.callerDataStruct = &left;
      broken += solve(m, with) == 12 ? 1 : 0;
      expectUntouched();
    }
    m.model.checkSolverBreak = nullptr;
    for (int64_t k = 1; k < 200; k += 7) {
      host.failAllocation(k);
      failed += solve(m, with) == -1086 ? 1 : 0;
      host.failAllocation(0);
      expectUntouched();
    }
  });
  EXPECT_GT(broken, 100);
  EXPECT_GT(failed, 300);
}

}  // namespace
