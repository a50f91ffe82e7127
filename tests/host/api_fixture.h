// What the tests of the C API share: a solver that runs what a test gives it, a model to be spoiled, and the fixture.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "host/api_model.h"
#include "host/faults.h"
#include "host/loader.h"
#include "host/pools.h"
#include "host/service_table.h"
#include "qzipsolve/instance.h"
#include "qzlp.h"

namespace apitest {

// A solver that runs what a test gives it.
struct FakeSolver {
  static inline std::function<int32_t(QzInstance*, LpRecord*, LpOptions*)> solve;
  static inline std::function<int32_t(qzhost::ModelData&, LpOptions*)> solveQuadratic;

  static int32_t iplpMain(QzInstance* env, LpRecord* record, LpOptions* options) { return solve(env, record, options); }
  static void reset(LpOptions* options) {
    *options = LpOptions{};
    options->presolveMode = -1;
    options->maxIter = INT32_MAX;
    options->timeLimit = 8.988465674311578e+307;
    options->timeType = 1;
    options->numThread = 6;
  }
  static LpOptions* createOptions(QzInstance* instance) {
    auto* options = static_cast<LpOptions*>(instance->pool->allocate(instance->pool, sizeof(LpOptions), QZ_POOL_ZERO));
    if (options != nullptr) reset(options);
    return options;
  }
  static int32_t destroy(QzInstance* instance) {
    instance->pool->destroy(instance->pool);
    return 0;
  }
  static void* create() {
    QzHostTable* host = qzhost::hostTable();
    QzPool* pool = host->createPool(host, nullptr, nullptr, L"fake", 0, 0);
    if (pool == nullptr) return nullptr;
    auto* instance = static_cast<QzInstance*>(pool->allocate(pool, sizeof(QzInstance), QZ_POOL_ZERO));
    if (instance == nullptr) {
      pool->destroy(pool);
      return nullptr;
    }
    instance->pool = pool;
    instance->destroy = destroy;
    instance->iplpMain = iplpMain;
    instance->createLpOptions = createOptions;
    instance->resetLpOptions = reset;
    return instance;
  }
  static int32_t version(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
    *major = 5;
    *minor = 1;
    *fix = 1;
    return 0;
  }
  static int32_t realDestroy(QzModule* module) {
    module->pool->destroy(module->pool);
    return 0;
  }
  static QzModule* make(void*, QzPool* parent) {
    QzHostTable* host = qzhost::hostTable();
    QzPool* pool = host->createPool(host, nullptr, parent, L"fake", 0, 0);
    if (pool == nullptr) return nullptr;
    auto* module = static_cast<QzModule*>(pool->allocate(pool, sizeof(QzModule), QZ_POOL_ZERO));
    if (module == nullptr) {
      pool->destroy(pool);
      return nullptr;
    }
    std::memcpy(module->tag, "nevo", 4);
    module->getReqVersion = version;
    module->getVersion = version;
    module->realDestroy = realDestroy;
    module->create_instance = create;
    module->pool = pool;
    return module;
  }
};

inline constexpr double kInf = std::numeric_limits<double>::infinity();
inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// A good model of 3 rows and 2 columns, to be spoiled by the tests.
struct Arrays {
  std::vector<int32_t> colBegin{0, 2}, colLength{2, 2}, rowIndex{0, 1, 2, 0};
  std::vector<double> matValue{1, 2, 3, 4}, obj{1, 2}, lower{0, 0}, upper{10, kInf}, rhs{4, 5, 6}, range{0, 0, 2};
  std::string rowSense = "LGR";
  qzlp_model model{};
  Arrays() {
    model.numRow = 3;
    model.numCol = 2;
    model.numCoef = 4;
    model.objSense = 1;
    model.objConstant = 0.5;
    bind();
  }
  Arrays(const Arrays&) = delete;  // the model points into the arrays
  Arrays& operator=(const Arrays&) = delete;
  void renew() {
    this->~Arrays();
    new (this) Arrays();
  }
  void bind() {
    model.colBegin = colBegin.data();
    model.colLength = colLength.data();
    model.rowIndex = rowIndex.data();
    model.matValue = matValue.data();
    model.obj = obj.data();
    model.lower = lower.data();
    model.upper = upper.data();
    model.rowSense = rowSense.data();
    model.rhs = rhs.data();
    model.range = range.data();
  }
};

class Api : public testing::Test {
 protected:
  void SetUp() override {
    before_ = qzhost::allPoolCounts().blocks;
    FakeSolver::solve = [this](QzInstance*, LpRecord* record, LpOptions* options) {
      seenOptions_ = *options;
      seenRecord_ = *record;
      record->status = 1;
      return 1;
    };
    lp_ = qzlp_create();
    ASSERT_NE(lp_, nullptr) << qzlp_error(nullptr);
  }
  void TearDown() override {
    qzhost::failAllocation(0);
    qzlp_destroy(lp_);
    EXPECT_EQ(qzhost::allPoolCounts().blocks, before_);
    EXPECT_EQ(qzhost::loadedModules(), 0);
  }
  // The model is refused, and the text names what is wrong.
  void refused(const Arrays& arrays, const std::string& text) {
    EXPECT_EQ(qzlp_loadModel(lp_, &arrays.model), QZLP_ERROR_MODEL);
    EXPECT_NE(std::string(qzlp_error(lp_)).find(text), std::string::npos) << qzlp_error(lp_);
    EXPECT_EQ(qzlp_numRow(lp_), 0) << "a refused model is not loaded";
  }
  void accepted(const Arrays& arrays) {
    EXPECT_EQ(qzlp_loadModel(lp_, &arrays.model), QZLP_OK) << qzlp_error(lp_);
    EXPECT_STREQ(qzlp_error(lp_), "");
    EXPECT_EQ(qzlp_solve(lp_), QZLP_OK);
  }

  qzlp* lp_ = nullptr;
  LpOptions seenOptions_{};
  LpRecord seenRecord_{};
  int64_t before_ = 0;
};

}  // namespace apitest
