// The C API over a solver made for this test: what it accepts and rejects, what it hands the solver, what it makes of
// the solver's answers.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "api_fixture.h"
#include "host/faults.h"
#include "host/loader.h"
#include "host/pools.h"
#include "host/service_table.h"
#include "qzipsolve/instance.h"
#include "qzipsolve/messages.h"
#include "qzipsolve/status.h"
#include "qzlp.h"

namespace {

using namespace apitest;

// ---- Models ----

TEST_F(Api, AGoodModelReachesTheSolver) {
  Arrays a;
  accepted(a);
  EXPECT_EQ(qzlp_numRow(lp_), 3);
  EXPECT_EQ(qzlp_numCol(lp_), 2);
  const LpRecord& r = seenRecord_;
  EXPECT_EQ(r.objSense, 1);
  EXPECT_EQ(r.numRow, 3);
  EXPECT_EQ(r.numCol, 2);
  EXPECT_EQ(r.numCoef, 4);
  EXPECT_EQ(r.objConstant, 0.5);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(r.rowIndex[k], a.rowIndex[static_cast<size_t>(k)]);
    EXPECT_EQ(r.matValue[k], a.matValue[static_cast<size_t>(k)]);
  }
  EXPECT_EQ(r.colBegin[1], 2);
  EXPECT_EQ(r.colLength[1], 2);
  EXPECT_EQ(std::string(r.rowSense, 3), "LGR");
  EXPECT_EQ(r.range[2], 2.0);
  EXPECT_EQ(r.upper[0], 10.0);
  EXPECT_EQ(r.checkSolverBreak, nullptr);
  EXPECT_EQ(r.callerDataStruct, nullptr);
  EXPECT_NE(r.matValue, a.matValue.data()) << "the handle keeps copies";
}

TEST_F(Api, ColumnsByBeginsAlone) {
  Arrays a;
  a.colBegin = {0, 3, 4};
  a.bind();
  a.model.colLength = nullptr;
  a.rowIndex[2] = 2;
  accepted(a);
  EXPECT_EQ(seenRecord_.colLength[0], 3);
  EXPECT_EQ(seenRecord_.colLength[1], 1);
}

TEST_F(Api, ColumnsInAnyOrderAndWithGaps) {
  Arrays a;
  a.colBegin = {3, 0};
  a.colLength = {1, 2};
  a.bind();
  accepted(a);
  EXPECT_EQ(seenRecord_.numCoef, 3);
  EXPECT_EQ(seenRecord_.matValue[0], 4.0);
  EXPECT_EQ(seenRecord_.matValue[1], 1.0);
}

TEST_F(Api, TinyElementsAreDropped) {
  Arrays a;
  a.matValue = {0.0, 1e-21, 1e-20, 4};
  a.bind();
  accepted(a);
  EXPECT_EQ(seenRecord_.numCoef, 2);
  EXPECT_EQ(seenRecord_.colLength[0], 0);
  EXPECT_EQ(seenRecord_.matValue[0], 1e-20);
}

TEST_F(Api, InfinitiesAreClipped) {
  Arrays a;
  a.lower = {-kInf, -1e20};
  a.upper = {kInf, 5e25};
  a.rhs = {kInf, -1e21, 6};
  a.bind();
  accepted(a);
  EXPECT_EQ(seenRecord_.lower[0], -1e30);
  EXPECT_EQ(seenRecord_.lower[1], -1e30);
  EXPECT_EQ(seenRecord_.upper[0], 1e30);
  EXPECT_EQ(seenRecord_.upper[1], 1e30);
  EXPECT_EQ(seenRecord_.rhs[0], 1e30);
  EXPECT_EQ(seenRecord_.rhs[1], -1e30);
}

TEST_F(Api, AnInfiniteRangeMakesAnLRow) {
  Arrays a;
  a.range[2] = kInf;
  accepted(a);
  EXPECT_EQ(seenRecord_.rowSense[2], 'L');
  EXPECT_EQ(seenRecord_.range[2], 0.0);
}

TEST_F(Api, LowerCaseAndFreeRowsAreAccepted) {
  Arrays a;
  a.rowSense = "enr";
  a.rhs = {1, 1e300, 6};
  a.bind();
  accepted(a);
  EXPECT_EQ(std::string(seenRecord_.rowSense, 3), "ENR");
  EXPECT_EQ(seenRecord_.rhs[1], 0.0);
}

TEST_F(Api, CrossedBoundsAreTheSolversBusiness) {
  Arrays a;
  a.lower = {11, kInf};
  a.upper = {10, 3};
  a.bind();
  accepted(a);
  EXPECT_EQ(seenRecord_.lower[0], 11.0);
  EXPECT_EQ(seenRecord_.lower[1], 1e30);
  EXPECT_EQ(seenRecord_.upper[1], 3.0);
}

TEST_F(Api, EmptyModelsNeedNoArrays) {
  qzlp_model model{};
  model.objSense = -1;
  EXPECT_EQ(qzlp_loadModel(lp_, &model), QZLP_OK) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_solve(lp_), QZLP_OK);
  EXPECT_NE(seenRecord_.matValue, nullptr);
  EXPECT_NE(seenRecord_.solPrimal, nullptr);
}

TEST_F(Api, NullModel) {
  EXPECT_EQ(qzlp_loadModel(lp_, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(lp_), "the model is null");
}

TEST_F(Api, NegativeCounts) {
  Arrays a;
  a.model.numRow = -1;
  refused(a, "numRow is -1");
  a.renew();
  a.model.numCol = -2;
  refused(a, "numCol is -2");
  a.renew();
  a.model.numCoef = -3;
  refused(a, "numCoef is -3");
}

TEST_F(Api, UnknownObjectiveSense) {
  for (int32_t sense : {0, 2, -2, INT32_MIN}) {
    Arrays a;
    a.model.objSense = sense;
    refused(a, "objSense is " + std::to_string(sense));
  }
}

TEST_F(Api, ObjectiveConstantThatIsNoNumber) {
  for (double value : {kNan, kInf, -kInf}) {
    Arrays a;
    a.model.objConstant = value;
    refused(a, "objConstant is");
  }
}

TEST_F(Api, EachNullArray) {
  const std::pair<const char*, std::function<void(qzlp_model&)>> cases[] = {
      {"colBegin is null", [](qzlp_model& m) { m.colBegin = nullptr; }},
      {"rowIndex is null", [](qzlp_model& m) { m.rowIndex = nullptr; }},
      {"matValue is null", [](qzlp_model& m) { m.matValue = nullptr; }},
      {"obj is null", [](qzlp_model& m) { m.obj = nullptr; }},
      {"lower is null", [](qzlp_model& m) { m.lower = nullptr; }},
      {"upper is null", [](qzlp_model& m) { m.upper = nullptr; }},
      {"rowSense is null", [](qzlp_model& m) { m.rowSense = nullptr; }},
      {"rhs is null", [](qzlp_model& m) { m.rhs = nullptr; }},
      {"row 2 has sense R, but range is null", [](qzlp_model& m) { m.range = nullptr; }},
  };
  for (const auto& [text, spoil] : cases) {
    Arrays a;
    spoil(a.model);
    refused(a, text);
  }
}

TEST_F(Api, RangeMayBeNullWithoutRangeRows) {
  Arrays a;
  a.rowSense = "LGE";
  a.bind();
  a.model.range = nullptr;
  accepted(a);
  EXPECT_EQ(seenRecord_.range[2], 0.0);
}

TEST_F(Api, ColumnBeginBelowZero) {
  Arrays a;
  a.colBegin[1] = -1;
  refused(a, "colBegin[1] is -1");
}

TEST_F(Api, ColumnLengthBelowZero) {
  Arrays a;
  a.colLength[0] = -4;
  refused(a, "colLength[0] is -4");
}

TEST_F(Api, ColumnBeginsThatFall) {
  Arrays a;
  a.colBegin = {0, 3, 2};
  a.bind();
  a.model.colLength = nullptr;
  refused(a, "colBegin[2] is 2, below colBegin[1] = 3");
}

TEST_F(Api, AColumnBeyondTheElements) {
  Arrays a;
  a.colLength[1] = 3;
  refused(a, "column 1 reaches up to element 5, but numCoef is 4");
  a.colBegin[1] = INT32_MAX;
  a.colLength[1] = INT32_MAX;
  refused(a, "column 1 reaches up to element 4294967294");
}

TEST_F(Api, RowIndexOutOfRange) {
  Arrays a;
  a.rowIndex[3] = 3;
  refused(a, "rowIndex[3] is 3, but the model has 3 rows (column 1)");
  a.rowIndex[3] = -1;
  refused(a, "rowIndex[3] is -1");
}

TEST_F(Api, ElementsWithoutRows) {
  Arrays a;
  a.model.numRow = 0;
  refused(a, "but the model has 0 rows");
}

TEST_F(Api, RepeatedRowInAColumn) {
  Arrays a;
  a.rowIndex = {1, 1, 2, 0};
  a.bind();
  refused(a, "rowIndex[1] is 1, a row that the column has already (column 0)");
}

TEST_F(Api, MatrixValuesThatAreNoFiniteNumbers) {
  for (double value : {kNan, kInf, -kInf, 1e20, -1e20}) {
    Arrays a;
    a.matValue[2] = value;
    refused(a, "matValue[2] is");
  }
  Arrays a;
  a.matValue[2] = 9.9e19;
  accepted(a);
}

TEST_F(Api, ObjectiveValuesThatAreNoFiniteNumbers) {
  for (double value : {kNan, kInf, -1e20}) {
    Arrays a;
    a.obj[1] = value;
    refused(a, "obj[1] is");
  }
}

TEST_F(Api, BoundsThatAreNoNumbers) {
  Arrays a;
  a.lower[1] = kNan;
  refused(a, "lower[1] is nan");
  a.renew();
  a.upper[0] = kNan;
  refused(a, "upper[0] is nan");
}

TEST_F(Api, InfiniteBoundsOnTheWrongSide) {
  Arrays a;
  a.lower[1] = kInf;
  refused(a, "lower[1] is inf");
  a.renew();
  a.lower[0] = -kInf;
  a.upper[0] = -kInf;
  refused(a, "upper[0] is -inf");
}

TEST_F(Api, UnknownRowSense) {
  for (char sense : {'X', '\0', 'x', ' ', static_cast<char>(0xc5)}) {
    Arrays a;
    a.rowSense[1] = sense;
    refused(a, "rowSense[1] is the byte " + std::to_string(static_cast<unsigned char>(sense)));
  }
}

TEST_F(Api, RightHandSides) {
  Arrays a;
  a.rhs[1] = kNan;
  refused(a, "rhs[1] is nan");
  a.renew();
  a.rhs[0] = -kInf;
  refused(a, "rhs[0] is -inf, infinite on a row of sense L");
  a.renew();
  a.rhs[1] = 1e20;
  refused(a, "rhs[1] is 1e+20, infinite on a row of sense G");
  a.renew();
  a.rhs[2] = kInf;
  refused(a, "rhs[2] is inf, infinite on a row of sense R");
  a.renew();
  a.rowSense[0] = 'e';
  a.rhs[0] = -1e25;
  refused(a, "infinite on a row of sense E");
}

TEST_F(Api, Ranges) {
  Arrays a;
  a.range[2] = -1;
  refused(a, "range[2] is -1, below 0");
  a.range[2] = kNan;
  refused(a, "range[2] is nan");
  a.renew();
  a.range[0] = 3;
  refused(a, "range[0] is 3, but row 0 has sense L, not R");
}

TEST_F(Api, ARefusedModelLeavesTheOneBeforeAndItsAnswer) {
  Arrays a;
  accepted(a);
  a.rhs[1] = kNan;
  EXPECT_EQ(qzlp_loadModel(lp_, &a.model), QZLP_ERROR_MODEL);
  EXPECT_EQ(qzlp_numRow(lp_), 3);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL);
  a.rhs[1] = 5;
  EXPECT_EQ(qzlp_loadModel(lp_, &a.model), QZLP_OK);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NONE);
  EXPECT_EQ(qzlp_primal(lp_), nullptr);
}

// ---- Handles ----

TEST(ApiHandles, NullHandlesAreErrorsAndNoFaults) {
  double value = 0.0;
  int32_t number = 0;
  qzlp_destroy(nullptr);
  EXPECT_EQ(qzlp_loadModel(nullptr, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(nullptr), "the handle is null");
  EXPECT_EQ(qzlp_solve(nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setIntOption(nullptr, "threads", 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(nullptr, "timeLimit", 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setOption(nullptr, "timeLimit", "1"), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getIntOption(nullptr, "threads", &number), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getDoubleOption(nullptr, "timeLimit", &value), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_resetOptions(nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setLogCallback(nullptr, nullptr, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setBreakCallback(nullptr, nullptr, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setProgressCallback(nullptr, nullptr, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_status(nullptr), QZLP_STATUS_NONE);
  EXPECT_EQ(qzlp_numRow(nullptr) + qzlp_numCol(nullptr) + qzlp_iterations(nullptr), 0);
  EXPECT_EQ(qzlp_simplexIterations(nullptr), 0);
  EXPECT_EQ(qzlp_columnBasis(nullptr), nullptr);
  EXPECT_EQ(qzlp_rowBasis(nullptr), nullptr);
  EXPECT_EQ(qzlp_objective(nullptr) + qzlp_primalInfeasibility(nullptr) + qzlp_dualInfeasibility(nullptr) +
                qzlp_boundInfeasibility(nullptr) + qzlp_dualityGap(nullptr) + qzlp_complementarity(nullptr) +
                qzlp_presolveTime(nullptr) + qzlp_totalTime(nullptr),
            0.0);
  for (const double* array :
       {qzlp_primal(nullptr), qzlp_dual(nullptr), qzlp_reducedCost(nullptr), qzlp_rowActivity(nullptr)})
    EXPECT_EQ(array, nullptr);
}

TEST(ApiHandles, CreateReportsEveryShortage) {
  const int64_t before = qzhost::allPoolCounts().blocks;
  int64_t k = 1;
  for (; k < 100; ++k) {
    qzhost::failAllocation(k);
    qzlp* lp = qzlp_create();
    const bool spent = lp != nullptr;
    qzhost::failAllocation(0);
    if (spent) {
      qzlp_destroy(lp);
      break;
    }
    EXPECT_STRNE(qzlp_error(nullptr), "");
    EXPECT_EQ(qzhost::allPoolCounts().blocks, before) << "request " << k;
    EXPECT_EQ(qzhost::loadedModules(), 0);
  }
  EXPECT_GT(k, 4) << "two pools, module, instance and options were asked for";
}

TEST(ApiHandles, CreateReportsAMissingSolver) {
  qzlp* lp = qzlp_create();  // the built-in modules are known from here on
  qzlp_destroy(lp);
  qzhost::useBuiltins(false);
  EXPECT_EQ(qzlp_setModulePath("/no/such/folder"), QZLP_OK);
  EXPECT_EQ(qzlp_create(), nullptr);
  EXPECT_NE(std::string(qzlp_error(nullptr)).find("qzipsolve"), std::string::npos) << qzlp_error(nullptr);
  qzhost::useBuiltins(true);
}

TEST(ApiHandles, ModulePathMustNotBeNull) {
  EXPECT_EQ(qzlp_setModulePath(nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(nullptr), "the path is null");
}

TEST(ApiHandles, HostOptions) {
  int64_t saved = 0;
  int64_t value = 0;
  ASSERT_EQ(qzlp_getHostOption("host.cpucount", &saved), QZLP_OK);
  EXPECT_EQ(qzlp_setHostOption("host.cpucount", 5), QZLP_OK);
  EXPECT_EQ(qzlp_getHostOption("host.cpucount", &value), QZLP_OK);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(qzlp_setHostOption("host.cpucount", 0), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setHostOption("host.cpucount", INT64_C(1) << 40), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setHostOption("host.other", 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setHostOption(nullptr, 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getHostOption("host.other", &value), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getHostOption("host.cpucount", nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getHostOption(nullptr, &value), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getHostOption("host.cpucount", &value), QZLP_OK);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(qzlp_setHostOption("host.cpucount", saved), QZLP_OK);
}

// ---- Quadratic parts ----

// The pair x1 x2 and the square of x2.
struct SmallQuadratic {
  std::vector<int32_t> begin{0, 1, 2}, row{1, 1};
  std::vector<double> value{3, 2};
  qzlp_quadratic q{QZLP_LOWER, 2, begin.data(), nullptr, row.data(), value.data()};
};

TEST_F(Api, AQuadraticPartNeedsAModel) {
  const SmallQuadratic quadratic;
  EXPECT_EQ(qzlp_loadQuadratic(lp_, &quadratic.q), QZLP_ERROR_STATE);
  EXPECT_STREQ(qzlp_error(lp_), "no model was loaded");
  EXPECT_EQ(qzlp_loadQuadratic(nullptr, &quadratic.q), QZLP_ERROR_ARGUMENT);
}

TEST_F(Api, AQuadraticModelTakesItsOwnRoad) {
  Arrays a;
  accepted(a);
  FakeSolver::solve = [](QzInstance*, LpRecord*, LpOptions*) {
    ADD_FAILURE() << "the entry is for linear models";
    return 10;
  };
  FakeSolver::solveQuadratic = [this](qzhost::ModelData& data, LpOptions* options) {
    seenOptions_ = *options;
    EXPECT_EQ(data.quadratic.diag, (std::vector<double>{0, 2}));
    EXPECT_EQ(data.quadratic.value, (std::vector<double>{3}));
    data.record.objValue = 2.5;
    return data.record.status = 15;
  };
  const SmallQuadratic quadratic;
  ASSERT_EQ(qzlp_setDoubleOption(lp_, "tolPrimal", 1e-4), QZLP_OK);
  ASSERT_EQ(qzlp_loadQuadratic(lp_, &quadratic.q), QZLP_OK) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NONE) << "the answer is of another model";
  EXPECT_EQ(qzlp_primal(lp_), nullptr);
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  EXPECT_EQ(seenOptions_.tolPrimal, 1e-4);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NEAR_OPTIMAL);
  EXPECT_EQ(qzlp_objective(lp_), 2.5);
}

TEST_F(Api, WithoutItsQuadraticPartAModelIsLinearAgain) {
  Arrays a;
  accepted(a);
  FakeSolver::solveQuadratic = [](qzhost::ModelData&, LpOptions*) {
    ADD_FAILURE() << "there is no quadratic part";
    return 10;
  };
  const SmallQuadratic quadratic;
  ASSERT_EQ(qzlp_loadQuadratic(lp_, &quadratic.q), QZLP_OK);
  ASSERT_EQ(qzlp_loadQuadratic(lp_, nullptr), QZLP_OK);
  EXPECT_EQ(qzlp_solve(lp_), QZLP_OK);
  ASSERT_EQ(qzlp_loadQuadratic(lp_, &quadratic.q), QZLP_OK);
  accepted(a);  // a new model begins without one
}

TEST_F(Api, ARefusedQuadraticPartLeavesTheAnswer) {
  Arrays a;
  accepted(a);
  SmallQuadratic quadratic;
  quadratic.value[0] = kNan;
  EXPECT_EQ(qzlp_loadQuadratic(lp_, &quadratic.q), QZLP_ERROR_MODEL);
  EXPECT_EQ(std::string(qzlp_error(lp_)).rfind("quadratic part: value[0] is nan", 0), 0U) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL);
}

// ---- Options ----

TEST(ApiOptions, EveryOptionIsDocumented) {
  const std::vector<std::string> names = {"presolve",  "method",     "threads",      "maxIter",       "timeLimit",
                                          "timeType",  "tolPrimal",  "tolDual",      "tolOptimality", "scaling",
                                          "crossover", "printLevel", "logFrequency", "debugLevel"};
  ASSERT_EQ(qzlp_optionCount(), static_cast<int>(names.size()));
  for (int i = 0; i < qzlp_optionCount(); ++i) {
    const qzlp_option* option = qzlp_optionAt(i);
    EXPECT_EQ(option->name, names[static_cast<size_t>(i)]);
    EXPECT_EQ(qzlp_findOption(option->name), option);
    EXPECT_GE(std::strlen(option->description), 20u);
    EXPECT_LE(option->minimum, option->defaultValue);
    EXPECT_GE(option->maximum, option->defaultValue);
    EXPECT_TRUE(option->type == QZLP_OPTION_INT || option->type == QZLP_OPTION_DOUBLE);
  }
  EXPECT_EQ(qzlp_optionAt(-1), nullptr);
  EXPECT_EQ(qzlp_optionAt(qzlp_optionCount()), nullptr);
  EXPECT_EQ(qzlp_findOption("noSuchOption"), nullptr);
  EXPECT_EQ(qzlp_findOption(nullptr), nullptr);
}

TEST_F(Api, DefaultsLeaveTheSolversAutomaticValues) {
  accepted(Arrays());
  const LpOptions& o = seenOptions_;
  EXPECT_EQ(o.presolveMode, -1);
  EXPECT_EQ(o.methodOption, 100);
  EXPECT_EQ(o.numThread, 6);
  EXPECT_EQ(o.maxIter, INT32_MAX);
  EXPECT_EQ(o.timeLimit, 8.988465674311578e+307);
  EXPECT_EQ(o.timeType, 1);
  EXPECT_EQ(o.tolPrimal, 1e-6);
  EXPECT_EQ(o.tolDual, 1e-6);
  EXPECT_EQ(o.tolOptimality, 1e-6);
  EXPECT_EQ(o.initOption, 0);
  EXPECT_EQ(o.crossover, 0);
  EXPECT_EQ(o.printLevel, 2);
  EXPECT_EQ(o.logFrequency, 1);
  EXPECT_EQ(o.debugLevel, 0);
}

TEST_F(Api, EveryOptionReachesTheSolver) {
  const std::pair<const char*, double> settings[] = {
      {"presolve", 0},  {"method", 1},       {"threads", 3},       {"maxIter", 17},          {"timeLimit", 2.5},
      {"timeType", 0},  {"tolPrimal", 1e-7}, {"tolDual", 1e-8},    {"tolOptimality", 1e-15}, {"scaling", 1},
      {"crossover", 1}, {"printLevel", 1},   {"logFrequency", 10}, {"debugLevel", 1}};
  for (const auto& [name, value] : settings) EXPECT_EQ(qzlp_setDoubleOption(lp_, name, value), QZLP_OK) << name;
  for (const auto& [name, value] : settings) {
    double read = -99;
    EXPECT_EQ(qzlp_getDoubleOption(lp_, name, &read), QZLP_OK);
    EXPECT_EQ(read, value) << name;
  }
  for (int round = 0; round < 2; ++round) {  // a solve does not use an option up
    accepted(Arrays());
    const LpOptions& o = seenOptions_;
    EXPECT_EQ(o.presolveMode, 0);
    EXPECT_EQ(o.methodOption, 1);
    EXPECT_EQ(o.numThread, 3);
    EXPECT_EQ(o.maxIter, 17);
    EXPECT_EQ(o.timeLimit, 2.5);
    EXPECT_EQ(o.timeType, 0);
    EXPECT_EQ(o.tolPrimal, 1e-7);
    EXPECT_EQ(o.tolDual, 1e-8);
    EXPECT_EQ(o.tolOptimality, 1e-15);
    EXPECT_EQ(o.initOption, 1);
    EXPECT_EQ(o.crossover, 1);
    EXPECT_EQ(o.printLevel, 1);
    EXPECT_EQ(o.logFrequency, 10);
    EXPECT_EQ(o.debugLevel, 1);
  }
  EXPECT_EQ(qzlp_resetOptions(lp_), QZLP_OK);
  accepted(Arrays());
  EXPECT_EQ(seenOptions_.methodOption, 100);
  EXPECT_EQ(seenOptions_.timeLimit, 8.988465674311578e+307);
}

TEST_F(Api, OptionsFromText) {
  const std::pair<const char*, double> good[] = {{"1e-8", 1e-8}, {" 0.001 ", 0.001}, {"+1e-3", 1e-3}, {"1", 1.0}};
  for (const auto& [text, value] : good) {
    double read = 0;
    EXPECT_EQ(qzlp_setOption(lp_, "tolPrimal", text), QZLP_OK) << text;
    EXPECT_EQ(qzlp_getDoubleOption(lp_, "tolPrimal", &read), QZLP_OK);
    EXPECT_EQ(read, value);
  }
  for (const char* text : {"", " ", "x", "1e-8x", "1,5", "+-1", "++1", "1 2", "nan"})
    EXPECT_EQ(qzlp_setOption(lp_, "tolPrimal", text), QZLP_ERROR_ARGUMENT) << text;
  EXPECT_EQ(qzlp_setOption(lp_, "tolPrimal", nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setOption(lp_, "timeLimit", "inf"), QZLP_OK);
  EXPECT_EQ(qzlp_setOption(lp_, "maxIter", "100"), QZLP_OK);
  int32_t read = 0;
  EXPECT_EQ(qzlp_getIntOption(lp_, "maxIter", &read), QZLP_OK);
  EXPECT_EQ(read, 100);
  EXPECT_EQ(qzlp_setOption(lp_, "maxIter", "1.5"), QZLP_ERROR_ARGUMENT);
}

TEST_F(Api, BadOptionsAreRefusedAndChangeNothing) {
  EXPECT_EQ(qzlp_setIntOption(lp_, "noSuch", 1), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(lp_), "there is no option noSuch");
  EXPECT_EQ(qzlp_setIntOption(lp_, nullptr, 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, nullptr, 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setOption(lp_, nullptr, "1"), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setIntOption(lp_, "tolPrimal", 1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setIntOption(lp_, "threads", -1), QZLP_ERROR_ARGUMENT);
  EXPECT_NE(std::string(qzlp_error(lp_)).find("-1 is not between 0 and 1024"), std::string::npos) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "threads", 1.5), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "tolDual", kNan), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "tolDual", 9e-16), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "tolDual", 1e-15), QZLP_OK);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "timeLimit", -1), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "timeLimit", 0), QZLP_OK);
  EXPECT_EQ(qzlp_setDoubleOption(lp_, "maxIter", 3e9), QZLP_ERROR_ARGUMENT);
  int32_t value = 0;
  double number = 0;
  EXPECT_EQ(qzlp_getIntOption(lp_, "threads", &value), QZLP_OK);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(qzlp_getIntOption(lp_, "threads", nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getIntOption(lp_, "tolDual", &value), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getIntOption(lp_, "noSuch", &value), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getDoubleOption(lp_, "noSuch", &number), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getDoubleOption(lp_, "tolDual", nullptr), QZLP_ERROR_ARGUMENT);
}

// ---- Solves ----

TEST_F(Api, ASolveNeedsAModel) {
  EXPECT_EQ(qzlp_solve(lp_), QZLP_ERROR_STATE);
  EXPECT_STREQ(qzlp_error(lp_), "no model was loaded");
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NONE);
}

TEST_F(Api, TheAnswerIsTheRecords) {
  FakeSolver::solve = [](QzInstance*, LpRecord* record, LpOptions*) {
    EXPECT_EQ(record->complementarity, 0.0);
    EXPECT_EQ(record->solPrimal[0], 0.0);
    record->status = 15;
    record->objValue = -3.5;
    record->numIter = 12;
    record->primalInfeas = 1;
    record->dualInfeas = 2;
    record->boundInfeas = 3;
    record->dualityGap = 4;
    record->complementarity = 5;
    record->presolveTime = 6;
    record->totalTime = 7;
    record->solPrimal[0] = 8;
    record->solDual[1] = 9;
    record->reducedCost[1] = 10;
    record->rowActivity[2] = 11;
    record->numSimplexIter = 13;
    record->colBasis[1] = QZ_BASIS_UPPER;
    record->rowBasis[0] = QZ_BASIS_BASIC;
    return 15;
  };
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NEAR_OPTIMAL);
  EXPECT_EQ(qzlp_objective(lp_), -3.5);
  EXPECT_EQ(qzlp_iterations(lp_), 12);
  EXPECT_EQ(qzlp_primalInfeasibility(lp_), 1);
  EXPECT_EQ(qzlp_dualInfeasibility(lp_), 2);
  EXPECT_EQ(qzlp_boundInfeasibility(lp_), 3);
  EXPECT_EQ(qzlp_dualityGap(lp_), 4);
  EXPECT_EQ(qzlp_complementarity(lp_), 5);
  EXPECT_EQ(qzlp_presolveTime(lp_), 6);
  EXPECT_EQ(qzlp_totalTime(lp_), 7);
  EXPECT_EQ(qzlp_primal(lp_)[0], 8);
  EXPECT_EQ(qzlp_dual(lp_)[1], 9);
  EXPECT_EQ(qzlp_reducedCost(lp_)[1], 10);
  EXPECT_EQ(qzlp_rowActivity(lp_)[2], 11);
  EXPECT_EQ(qzlp_simplexIterations(lp_), 13);
  ASSERT_NE(qzlp_columnBasis(lp_), nullptr);
  EXPECT_EQ(qzlp_columnBasis(lp_)[1], QZLP_BASIS_UPPER);
  EXPECT_EQ(qzlp_rowBasis(lp_)[0], QZLP_BASIS_BASIC);
  EXPECT_EQ(qzlp_solve(lp_), QZLP_OK) << "the record is clear again for the second solve";
}

TEST_F(Api, AStatusOfZeroIsAFailure) {
  FakeSolver::solve = [](QzInstance*, LpRecord* record, LpOptions*) { return record->status = 0; };
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_FAILED);
}

TEST_F(Api, TheReturnedStatusLeads) {
  for (int32_t status : {1, 3, 4, 7, 8, 10, 12, 14, 15}) {
    FakeSolver::solve = [status](QzInstance*, LpRecord* record, LpOptions*) {
      record->status = 0;
      return status;
    };
    accepted(Arrays());
    EXPECT_EQ(qzlp_status(lp_), status);
  }
}

TEST_F(Api, OutOfMemoryIsAnError) {
  Arrays a;
  EXPECT_EQ(qzlp_loadModel(lp_, &a.model), QZLP_OK);
  FakeSolver::solve = [](QzInstance*, LpRecord*, LpOptions*) { return QZ_STATUS_OUT_OF_MEMORY; };
  EXPECT_EQ(qzlp_solve(lp_), QZLP_ERROR_MEMORY);
  EXPECT_STREQ(qzlp_error(lp_), "out of memory");
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OUT_OF_MEMORY);
}

TEST_F(Api, AMissingModuleIsNamed) {
  Arrays a;
  EXPECT_EQ(qzlp_loadModel(lp_, &a.model), QZLP_OK);
  FakeSolver::solve = [](QzInstance* env, LpRecord*, LpOptions*) {
    QzHostTable* host = qzhost::hostTable();
    EXPECT_EQ(host->loadExtension(host, L"qznothere", 9, 0), nullptr);
    env->log->logCode(env->log, 4, QZ_MSG_NO_PRESOLVER);
    return QZ_STATUS_OUT_OF_MEMORY;
  };
  EXPECT_EQ(qzlp_solve(lp_), QZLP_ERROR_MODULE);
  EXPECT_NE(std::string(qzlp_error(lp_)).find("qznothere"), std::string::npos) << qzlp_error(lp_);
  FakeSolver::solve = [](QzInstance*, LpRecord*, LpOptions*) { return QZ_STATUS_OUT_OF_MEMORY; };
  EXPECT_EQ(qzlp_solve(lp_), QZLP_ERROR_MEMORY) << "the reason of an earlier solve is forgotten";
}

TEST_F(Api, LogLinesReachTheCallback) {
  std::vector<std::string> lines;
  qzlp_setLogCallback(
      lp_,
      [](int level, uint32_t code, const char* line, void* data) {
        static_cast<std::vector<std::string>*>(data)->push_back(std::to_string(level) + " " +
                                                                std::to_string(code & 0xfff) + " " + line);
      },
      &lines);
  FakeSolver::solve = [](QzInstance* env, LpRecord*, LpOptions*) {
    env->log->logCode(env->log, 2, QZ_MSG_OBJECTIVE, 2.5);
    env->log->logText(env->log, 0, L"row %d", 6, 7);
    return 1;
  };
  accepted(Arrays());
  EXPECT_EQ(lines, (std::vector<std::string>{"2 2 Objective value: 2.5", "0 0 row 7"}));
  EXPECT_EQ(qzlp_setLogCallback(lp_, nullptr, nullptr), QZLP_OK);
  accepted(Arrays());
  EXPECT_EQ(lines.size(), 2u);
}

TEST_F(Api, TheBreakCallbackIsAsked) {
  int asked = 0;
  qzlp_setBreakCallback(
      lp_, [](void* data) { return ++*static_cast<int*>(data) >= 3 ? -5 : 0; }, &asked);
  FakeSolver::solve = [](QzInstance*, LpRecord* record, LpOptions*) {
    EXPECT_NE(record->checkSolverBreak, nullptr);
    EXPECT_NE(record->callerDataStruct, nullptr);
    EXPECT_EQ(record->checkSolverBreak(record->callerDataStruct), 0);
    EXPECT_EQ(record->checkSolverBreak(record->callerDataStruct), 0);
    EXPECT_EQ(record->checkSolverBreak(record->callerDataStruct), 1);
    return 12;
  };
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_INTERRUPTED);
  EXPECT_EQ(qzlp_setBreakCallback(lp_, nullptr, &asked), QZLP_OK);
  FakeSolver::solve = [](QzInstance*, LpRecord* record, LpOptions*) {
    EXPECT_EQ(record->checkSolverBreak, nullptr);
    EXPECT_EQ(record->callerDataStruct, nullptr);
    return 1;
  };
  accepted(Arrays());
}

TEST_F(Api, CallsFromACallbackThatWouldChangeTheHandleAreErrors) {
  Arrays a;
  struct Shared {
    qzlp* lp;
    Arrays* arrays;
  } shared{lp_, &a};
  qzlp_setBreakCallback(
      lp_,
      [](void* data) {
        auto* both = static_cast<Shared*>(data);
        EXPECT_EQ(qzlp_solve(both->lp), QZLP_ERROR_STATE);
        EXPECT_EQ(qzlp_loadModel(both->lp, &both->arrays->model), QZLP_ERROR_STATE);
        EXPECT_NE(std::string(qzlp_error(both->lp)).find("callback"), std::string::npos);
        qzlp_destroy(both->lp);  // ignored
        EXPECT_EQ(qzlp_numRow(both->lp), 3);
        return 0;
      },
      &shared);
  FakeSolver::solve = [](QzInstance*, LpRecord* record, LpOptions*) {
    EXPECT_EQ(record->checkSolverBreak(record->callerDataStruct), 0);
    return 1;
  };
  accepted(a);
}

TEST(ApiStatus, EveryStatusHasAName) {
  for (int status : {0, 1, 3, 4, 7, 8, 10, 12, 14, 15, 256, 1000, -1086})
    EXPECT_STRNE(qzlp_statusName(status), "unknown status") << status;
  for (int status : {2, 5, 82, 1003, -1}) EXPECT_STREQ(qzlp_statusName(status), "unknown status");
  EXPECT_STREQ(qzlp_statusName(1), "optimal");
}

TEST(ApiStatus, EveryStatusHasAText) {
  for (int status : {0, 1, 3, 4, 7, 8, 10, 12, 14, 15, 256, 1000, -1086})
    EXPECT_GE(std::strlen(qzlp_statusText(status)), 20u) << status;
  for (int status : {2, 5, 82, 1003, -1}) EXPECT_STREQ(qzlp_statusText(status), "");
}

TEST_F(Api, AfterWhichStatusesThereIsAPoint) {
  EXPECT_EQ(qzlp_hasPoint(nullptr), 0);
  EXPECT_EQ(qzlp_hasPoint(lp_), 0);
  for (int32_t status : {1, 7, 8, 15, 3, 4, 10, 12, 14, 1000}) {
    FakeSolver::solve = [status](QzInstance*, LpRecord*, LpOptions*) { return status; };
    accepted(Arrays());
    EXPECT_EQ(qzlp_hasPoint(lp_), status == 1 || status == 7 || status == 8 || status == 15) << status;
  }
}

// Programs and the Python package rely on them; another size needs another QZLP_ABI_VERSION.
TEST(ApiVersion, RecordsHaveTheSizeOfThisVersion) {
  EXPECT_EQ(QZLP_ABI_VERSION, 1);
  EXPECT_EQ(sizeof(qzlp_model), 104U);
  EXPECT_EQ(sizeof(qzlp_quadratic), 40U);
  EXPECT_EQ(sizeof(qzlp_option), 48U);
  EXPECT_EQ(sizeof(qzlp_progress), 56U);
}

TEST(ApiVersion, OfTheLibraryAndOfItsInterface) {
  EXPECT_STREQ(qzlp_version(), QZLP_VERSION) << "the version of the project";
  EXPECT_EQ(qzlp_abiVersion(), QZLP_ABI_VERSION);
}

}  // namespace
