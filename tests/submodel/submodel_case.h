// A small model with a point, a submodel record and the engine's state, for the tests of the big-value mechanism.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "engine/engine_case.h"
#include "submodel/submodel.h"

namespace qztest {

// Three rows (E, G, G) and four columns; a column of each kind of bounds: lower, boxed, free, upper.
//     A = [ 1 2 0 0 ; 0 1 3 1 ; 2 0 1 0 ]
inline DenseModel smallModel(bool quadratic = false) {
  DenseModel m;
  m.A.resize(3, 4);
  m.A << 1, 2, 0, 0,  //
      0, 1, 3, 1,     //
      2, 0, 1, 0;
  m.c.resize(4);
  m.c << 1, -2, 3, 4;
  m.b.resize(3);
  m.b << 10, 20, 30;
  m.lower.resize(4);
  m.lower << 0, -5, -kNone, -kNone;
  m.upper.resize(4);
  m.upper << kNone, 5, kNone, 8;
  m.sense = "EGG";
  if (quadratic) {
    m.Q.resize(4, 4);
    m.Q << 4, 1, 0, 0,  //
        1, 5, 2, 0,     //
        0, 2, 6, 3,     //
        0, 0, 3, 7;
  }
  return m;
}

class SubModelTest : public ::testing::Test {
 protected:
  ~SubModelTest() override {
    if (submodel != nullptr) qz::FreeSubModel(&test->env, &submodel);
  }
  // The engine's state on a model, and a record with its lists.
  void make(DenseModel dense, int32_t typeMethod = qz::IPM_METHOD_AUGMENTED) {
    test = std::make_unique<EngineCase>(host, std::move(dense), typeMethod);
    ASSERT_TRUE(test->start());
    ASSERT_EQ(qz::NewSubModel(&test->env, &test->model, &submodel), 0);
    qz::ClearSubModel(&test->env, submodel);
    ASSERT_EQ(qz::NewSubModel2(&test->env, submodel), 0);
    submodel->thresholdBig = 10000.0;
    submodel->thresholdBound = 10000.0;
    env = &test->env;
    ipm = test->ipm;
  }
  static void list(int32_t* out, int32_t& count, const std::vector<int32_t>& entries) {
    count = static_cast<int32_t>(entries.size());
    std::copy(entries.begin(), entries.end(), out);
  }
  void bigVars(const std::vector<int32_t>& columns) { list(submodel->idxBigVar, submodel->numBigVar, columns); }
  void bigDuals(const std::vector<int32_t>& rows) { list(submodel->idxBigDual, submodel->numBigDual, rows); }
  void bigRows(const std::vector<int32_t>& rows) { list(submodel->idxRowSub, submodel->numBigIneqnSlack, rows); }
  void bigColumns(const std::vector<int32_t>& cols) { list(submodel->idxColSub, submodel->numBigBoundDual, cols); }
  void bigBounds(const std::vector<int32_t>& columns, const std::vector<int32_t>& sides) {
    list(submodel->idxBoundSub, submodel->numBigBoundSlack, columns);
    for (size_t k = 0; k < columns.size(); ++k) submodel->statusBoundSub[columns[k]] = sides[k];
  }
  std::vector<double> copy(const double* values, int n) const { return {values, values + n}; }

  TestHost host;
  std::unique_ptr<EngineCase> test;
  qz::Env* env = nullptr;
  qz::Ipm* ipm = nullptr;
  qz::SubModel* submodel = nullptr;
};

}  // namespace qztest
