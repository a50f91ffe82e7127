// A model in presolve: working copies, maps and options beside each other.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "shell/pool.h"
#include "transform/model_fixture.h"

namespace qztest {

class PresolveCase : public ::testing::Test {
 protected:
  PresolveCase() {
    env.pool = host.pool();
    env.log = host.log();
  }
  ~PresolveCase() override {
    finish();
    EXPECT_EQ(host.outstanding(), 0);
  }
  // Makes the presolver of a model.
  void begin(TestModel& m) {
    finish();
    p = qz::poolAllocateZero<qz::Presolver>(env.pool, 1);
    ASSERT_EQ(qz::CreatePresolver(&env, &m.model, &option, p), 0);
  }
  void finish() { qz::DestroyPresolver(&env, &p); }

  // The working row as (column, value), in order.
  std::vector<std::pair<int32_t, double>> row(int32_t i) const {
    std::vector<std::pair<int32_t, double>> elements;
    for (int32_t k = p->rowBegin[i]; k < p->rowBegin[i] + p->rowLength[i]; ++k)
      elements.emplace_back(p->colIndex[k], p->rowValue[k]);
    return elements;
  }
  std::vector<std::pair<int32_t, double>> column(int32_t j) const {
    std::vector<std::pair<int32_t, double>> elements;
    for (int32_t k = p->colBegin[j]; k < p->colBegin[j] + p->colLength[j]; ++k)
      elements.emplace_back(p->rowIndex[k], p->matValue[k]);
    return elements;
  }
  std::pair<double, double> bounds(int32_t j) const { return {p->lower[j], p->upper[j]}; }

  TestHost host;
  qz::Env env{};
  qz::IpmOption option = plainOption();
  qz::Presolver* p = nullptr;
};

using Elements = std::vector<std::pair<int32_t, double>>;
using Box = std::pair<double, double>;

}  // namespace qztest
