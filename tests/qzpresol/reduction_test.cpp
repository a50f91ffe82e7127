#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "presolve_object.h"
#include "qzipsolve/builtin.h"
#include "support/record_arrays.h"
#include "support/test_host.h"

extern "C" const QzBuiltinModule qzpresol_builtin;

namespace {

constexpr double kInf = 1e20;

// A model in the caller's terms, with gaps between its columns.
struct Caller : qztest::RecordArrays {
  Caller(std::string senses, std::vector<double> rhsIn, std::vector<double> costs, std::vector<double> lowerIn,
         std::vector<double> upperIn, const std::vector<std::vector<double>>& rows, int32_t objSense = 1) {
    obj = std::move(costs);
    rhs = std::move(rhsIn);
    lower = std::move(lowerIn);
    upper = std::move(upperIn);
    sense = std::move(senses);
    for (size_t j = 0; j < obj.size(); ++j) {
      value.push_back(77.0);  // room before each column
      row.push_back(-5);
      begin.push_back(static_cast<int32_t>(value.size()));
      for (size_t i = 0; i < sense.size(); ++i) {
        if (rows[i][j] == 0.0) continue;
        value.push_back(rows[i][j]);
        row.push_back(static_cast<int32_t>(i));
      }
      length.push_back(static_cast<int32_t>(value.size()) - begin.back());
    }
    range.assign(sense.size(), 0.0);
    x.assign(obj.size(), 9.0);
    d.assign(obj.size(), 9.0);
    y.assign(sense.size(), 9.0);
    activity.assign(sense.size(), 9.0);
    record.objSense = objSense;
  }
  LpRecord* get() {
    bind();
    record.status = 55;
    record.complementarity = 55.0;
    return &record;
  }
};

class Presolver : public ::testing::Test {
 protected:
  Presolver() {
    qzpresol_builtin.extent(host.table());
    module = qzpresol_builtin.make(nullptr, nullptr);
    object = static_cast<QzPresolveObject*>(module->create_instance());
    object->log = host.log();
    options.printLevel = 1;
    options.tolPrimal = 1e-6;
    int32_t rc = 55;
    handle = object->prepare(object, &options, &rc);
    EXPECT_EQ(rc, 0);
  }
  ~Presolver() override {
    void* field = handle;
    object->freeHandle(object, &field);
    EXPECT_EQ(field, nullptr);
    object->destroy(object);
    module->realDestroy(module);
    EXPECT_EQ(host.outstanding(), 0);
  }
  // Result of reduce; the test frees it by `done`.
  int32_t reduce(Caller& caller) {
    int32_t rc = 55;
    result = object->reduce(object, handle, 3, caller.get(), &rc);
    reduced = result == nullptr ? nullptr : result->reduced;
    return rc;
  }
  void done() { object->freeResult(object, &result); }

  qztest::TestHost host;
  QzModule* module = nullptr;
  QzPresolveObject* object = nullptr;
  QzPresolveHandle* handle = nullptr;
  QzPresolveResult* result = nullptr;
  LpRecord* reduced = nullptr;
  LpOptions options{};
};

TEST_F(Presolver, PlainModelIsCopiedPackedAndWithRoomBehindIt) {
  Caller caller("ELGR", {4, 5, 1, 9}, {1, -2, 3}, {0, -kInf, 1}, {kInf, kInf, 8},
                {{1, 2, 0}, {0, 1, 3}, {4, 0, 1}, {1, 1, 1}});
  caller.range[3] = 2.5;
  ASSERT_EQ(reduce(caller), 0);
  ASSERT_NE(reduced, nullptr);
  EXPECT_EQ(result->relaxColBound, nullptr);
  EXPECT_EQ(reduced->numRow, 4);
  EXPECT_EQ(reduced->numCol, 3);
  EXPECT_EQ(reduced->numCoef, 9);
  EXPECT_EQ(reduced->objSense, 1);
  EXPECT_EQ(std::string(reduced->rowSense, 4), "ELGR");
  EXPECT_EQ(reduced->range[3], 2.5);
  EXPECT_EQ(reduced->colBegin[0], 0);
  EXPECT_EQ(reduced->colBegin[3], 9);
  EXPECT_NE(reduced->matValue, caller.value.data());
  for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(reduced->rowActivity[i], 0.0) << "the input check asks for it";
  // One range slack and one partner of the free column fit behind every array.
  reduced->obj[4] = reduced->lower[4] = reduced->upper[4] = reduced->solPrimal[4] = reduced->reducedCost[4] = 1.0;
  reduced->colBegin[5] = reduced->colLength[4] = 1;
  for (int32_t k = 9; k < 9 + 1 + 3; ++k) reduced->matValue[k] = reduced->rowIndex[k] = 1;
  done();
}

TEST_F(Presolver, ColumnsComeOutSortedByRowWithTheirValues) {
  const int32_t m = 200;
  std::mt19937 random(7);
  std::vector<std::vector<double>> rows(static_cast<size_t>(m), std::vector<double>{1.0, 1.0});
  Caller caller(std::string(static_cast<size_t>(m), 'L'), std::vector<double>(static_cast<size_t>(m), 5.0), {1, 1},
                {0, 0}, {kInf, kInf}, rows);
  for (size_t j = 0; j < 2; ++j) {
    auto* from = caller.row.data() + caller.begin[j];
    std::shuffle(from, from + m, random);
    for (int32_t k = 0; k < m; ++k) caller.value[static_cast<size_t>(caller.begin[j] + k)] = 1.0 + from[k];
  }
  ASSERT_EQ(reduce(caller), 0);
  for (int32_t k = 0; k < 2 * m; ++k) {
    EXPECT_EQ(reduced->rowIndex[k], k % m);
    EXPECT_EQ(reduced->matValue[k], 1.0 + k % m);
  }
  done();
}

TEST_F(Presolver, SensesAreFoldedAndFreeRowsTakenOut) {
  Caller caller("elgnL", {1, 2, 3, 4, kInf}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}});
  ASSERT_EQ(reduce(caller), 0);
  EXPECT_EQ(reduced->numRow, 3);
  EXPECT_EQ(std::string(reduced->rowSense, 3), "ELG");
  EXPECT_EQ(reduced->numCoef, 6);
  done();
}

TEST_F(Presolver, RangeRowsLoseInfiniteSidesAndZeroWidths) {
  Caller caller("RRRR", {5, 5, kInf, 5}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}, {1, 2}, {1, 3}, {1, 4}});
  caller.range = {2.0, 0.0, 3.0, kInf};
  ASSERT_EQ(reduce(caller), 0);
  EXPECT_EQ(reduced->numRow, 3);
  EXPECT_EQ(std::string(reduced->rowSense, 3), "REL");
  done();
}

TEST_F(Presolver, RangeRowWithoutARangeArrayIsAnEquation) {
  Caller caller("R", {5}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}});
  caller.get();
  caller.record.range = nullptr;
  int32_t rc = 55;
  result = object->reduce(object, handle, 3, &caller.record, &rc);
  ASSERT_EQ(rc, 0);
  EXPECT_EQ(result->reduced->rowSense[0], 'E');
  done();
}

TEST_F(Presolver, FixedColumnsMoveIntoRightHandSidesAndTheConstant) {
  Caller caller("EL", {10, 20}, {2, 3, 5}, {0, 4, 0}, {kInf, 4, kInf}, {{1, 2, 1}, {1, -1, 3}});
  caller.record.objConstant = 100.0;
  ASSERT_EQ(reduce(caller), 0);
  EXPECT_EQ(reduced->numCol, 2);
  EXPECT_EQ(reduced->rhs[0], 2.0);
  EXPECT_EQ(reduced->rhs[1], 24.0);
  EXPECT_EQ(reduced->objValue, 112.0);
  reduced->status = 1;
  reduced->objValue = 500.0;
  reduced->solPrimal[0] = 1.0;
  reduced->solPrimal[1] = 2.0;
  reduced->solDual[0] = 3.0;
  reduced->solDual[1] = -1.0;
  EXPECT_EQ(object->postsolve(result), 0);
  EXPECT_EQ(caller.record.status, 1);
  EXPECT_EQ(caller.record.objValue, 500.0);
  EXPECT_EQ(caller.x, (std::vector<double>{1, 4, 2}));
  EXPECT_EQ(caller.y, (std::vector<double>{3, -1}));
  EXPECT_EQ(caller.d, (std::vector<double>{0, -4, 5}));
  EXPECT_EQ(caller.activity, (std::vector<double>{11, 3}));
  done();
}

TEST_F(Presolver, WidthOfExactlyTheLimitIsFixedAndJustAboveIsNot) {
  Caller caller("E", {10}, {1, 1, 1}, {0, 0, 0}, {1e-12, 1.1e-12, kInf}, {{1, 1, 1}});
  ASSERT_EQ(reduce(caller), 0);
  EXPECT_EQ(reduced->numCol, 2);
  done();
}

TEST_F(Presolver, MaximisationIsTurnedAndTurnedBack) {
  Caller caller("L", {4}, {3, 2}, {0, 0}, {kInf, kInf}, {{1, 1}}, -1);
  caller.record.objConstant = 7.0;
  ASSERT_EQ(reduce(caller), 0);
  EXPECT_EQ(reduced->obj[0], -3.0);
  EXPECT_EQ(reduced->objSense, -1);
  EXPECT_EQ(reduced->objValue, -7.0);
  reduced->status = 1;
  reduced->numIter = 6;
  reduced->primalInfeas = 0.1;
  reduced->dualInfeas = 0.2;
  reduced->boundInfeas = 0.3;
  reduced->dualityGap = 0.4;
  reduced->complementarity = 0.5;
  reduced->objValue = 19.0;
  reduced->solPrimal[0] = 4.0;
  reduced->solPrimal[1] = 0.0;
  reduced->solDual[0] = -3.0;
  object->postsolve(result);
  EXPECT_EQ(caller.record.objValue, 19.0);
  EXPECT_EQ(caller.y[0], 3.0);
  EXPECT_EQ(caller.d, (std::vector<double>{0, -1}));
  EXPECT_EQ(caller.record.numIter, 6);
  EXPECT_EQ(caller.record.primalInfeas, 0.1);
  EXPECT_EQ(caller.record.dualInfeas, 0.2);
  EXPECT_EQ(caller.record.boundInfeas, 0.3);
  EXPECT_EQ(caller.record.dualityGap, 0.4);
  EXPECT_EQ(caller.record.complementarity, 0.5);
  done();
}

TEST_F(Presolver, TheHandleCarriesTheOptionsForTheSimplexModule) {
  options.printLevel = 3;
  options.timeType = 1;
  options.tolPrimal = 2e-7;
  options.tolDual = 3e-7;
  int32_t rc = 55;
  QzPresolveHandle* other = object->prepare(object, &options, &rc);
  ASSERT_EQ(rc, 0);
  EXPECT_EQ(other->settings->printLevel, 3);
  EXPECT_EQ(other->settings->timeType, 1);
  EXPECT_EQ(other->settings->tolPrimal, 2e-7);
  EXPECT_EQ(other->settings->tolDual, 3e-7);
  void* field = other;
  object->freeHandle(object, &field);
}

// Columns: kept, fixed, empty with a cost to its upper bound, empty and free. Rows: kept, free, kept.
TEST_F(Presolver, ABasisComesBackWithTheRemovedRowsAndColumns) {
  Caller caller("LNE", {4, 0, 6}, {1, 1, -1, 0, 1}, {0.1, 2, 0, -kInf, -5}, {7, 2, 9, kInf, 0.3},
                {{1, 1, 0, 0, 1}, {1, 1, 0, 0, 0}, {1, 0, 0, 0, 2}});
  std::vector<uint8_t> colBasis(5, 77), rowBasis(3, 77);
  caller.record.colBasis = colBasis.data();
  caller.record.rowBasis = rowBasis.data();
  ASSERT_EQ(reduce(caller), 0);
  ASSERT_EQ(reduced->numCol, 2);
  ASSERT_EQ(reduced->numRow, 2);
  reduced->status = 1;
  reduced->numSimplexIter = 13;
  reduced->colBasis[0] = QZ_BASIS_LOWER;
  reduced->colBasis[1] = QZ_BASIS_UPPER;
  reduced->rowBasis[0] = QZ_BASIS_BASIC;
  reduced->rowBasis[1] = QZ_BASIS_BASIC;
  reduced->solPrimal[0] = 0.1 * (1.0 + 1e-15);
  reduced->solPrimal[1] = 0.3 * (1.0 + 1e-15);
  EXPECT_EQ(object->postsolve(result), 0);
  EXPECT_EQ(colBasis,
            (std::vector<uint8_t>{QZ_BASIS_LOWER, QZ_BASIS_LOWER, QZ_BASIS_UPPER, QZ_BASIS_FREE, QZ_BASIS_UPPER}));
  EXPECT_EQ(rowBasis, (std::vector<uint8_t>{QZ_BASIS_BASIC, QZ_BASIS_BASIC, QZ_BASIS_BASIC}));
  EXPECT_EQ(caller.record.numSimplexIter, 13);
  EXPECT_EQ(caller.x[0], 0.1) << "the caller's bound to the bit";
  EXPECT_EQ(caller.x[4], 0.3);
  done();
}

TEST_F(Presolver, WithoutABasisTheEntriesSaySo) {
  Caller caller("L", {4}, {1, 1}, {0, 2}, {7, 2}, {{1, 1}});
  std::vector<uint8_t> colBasis(2, 77), rowBasis(1, 77);
  caller.record.colBasis = colBasis.data();
  caller.record.rowBasis = rowBasis.data();
  ASSERT_EQ(reduce(caller), 0);
  reduced->status = 1;
  EXPECT_EQ(object->postsolve(result), 0);
  EXPECT_EQ(colBasis, (std::vector<uint8_t>{QZ_BASIS_NONE, QZ_BASIS_NONE}));
  EXPECT_EQ(rowBasis, (std::vector<uint8_t>{QZ_BASIS_NONE}));
  done();
}

TEST_F(Presolver, AModelSolvedHereHasABasisAndAnInfeasibleOneHasNone) {
  for (double upper : {4.0, -4.0}) {
    Caller caller("L", {upper}, {1}, {0}, {7}, {{0}});
    std::vector<uint8_t> colBasis(1, 77), rowBasis(1, 77);
    caller.record.colBasis = colBasis.data();
    caller.record.rowBasis = rowBasis.data();
    EXPECT_GT(reduce(caller), 0);
    EXPECT_EQ(object->postsolve(result), 0);
    EXPECT_EQ(colBasis[0], upper > 0.0 ? QZ_BASIS_LOWER : QZ_BASIS_NONE);
    EXPECT_EQ(rowBasis[0], upper > 0.0 ? QZ_BASIS_BASIC : QZ_BASIS_NONE);
    done();
  }
}

TEST_F(Presolver, AnIdleColumnGoesToTheBoundNearZero) {
  Caller caller("L", {4}, {0, 0, 0, 0, 0}, {-3, -9, -kInf, -2, -kInf}, {5, 2, 8, kInf, kInf}, {{0, 0, 0, 0, 0}});
  EXPECT_GT(reduce(caller), 0);
  EXPECT_EQ(object->postsolve(result), 0);
  EXPECT_EQ(caller.x, (std::vector<double>{-3, 2, 8, -2, 0}));
  done();
}

TEST_F(Presolver, NullOutputArraysAreSkipped) {
  Caller caller("E", {10}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}});
  LpRecord* record = caller.get();
  record->solPrimal = record->solDual = record->reducedCost = record->rowActivity = nullptr;
  int32_t rc = 55;
  result = object->reduce(object, handle, 3, record, &rc);
  ASSERT_EQ(rc, 0);
  EXPECT_EQ(object->postsolve(result), 0);
  done();
}

TEST_F(Presolver, EmptyModelIsSolved) {
  Caller caller("", {}, {}, {}, {}, {});
  caller.record.objConstant = -3.0;
  ASSERT_GT(reduce(caller), 0);
  object->postsolve(result);
  EXPECT_EQ(caller.record.status, QZ_PRESOL_OPTIMAL);
  EXPECT_EQ(caller.record.objValue, -3.0);
  done();
}

TEST_F(Presolver, ModelWithoutElementsIsSolvedAtTheBoundsThatTheCostsPointTo) {
  Caller caller("LG", {5, -5}, {2, -3, 0, 0}, {1, 0, 4, -kInf}, {8, 6, 9, -2}, {{0, 0, 0, 0}, {0, 0, 0, 0}});
  ASSERT_GT(reduce(caller), 0);
  object->postsolve(result);
  EXPECT_EQ(caller.record.status, QZ_PRESOL_OPTIMAL);
  EXPECT_EQ(caller.x, (std::vector<double>{1, 6, 4, -2}));
  EXPECT_EQ(caller.d, (std::vector<double>{2, -3, 0, 0}));
  EXPECT_EQ(caller.activity, (std::vector<double>{0, 0}));
  EXPECT_EQ(caller.record.objValue, 2.0 - 18.0);
  EXPECT_EQ(caller.record.complementarity, 0.0);
  EXPECT_TRUE(host.loggedText("solved the model"));
  done();
}

TEST_F(Presolver, EmptyColumnWhoseCostPointsToNoBoundIsDualInfeasible) {
  for (const int32_t objSense : {1, -1}) {
    Caller caller("E", {1}, {1.0 * objSense, -1.0 * objSense}, {0, 0}, {kInf, kInf}, {{1, 0}}, objSense);
    ASSERT_GT(reduce(caller), 0);
    object->postsolve(result);
    EXPECT_EQ(caller.record.status, QZ_PRESOL_DUAL_INFEASIBLE);
    done();
  }
}

TEST_F(Presolver, CrossedBoundsArePrimalInfeasible) {
  Caller caller("E", {1}, {1, 1}, {0, 2}, {kInf, 1}, {{1, 1}});
  ASSERT_GT(reduce(caller), 0);
  object->postsolve(result);
  EXPECT_EQ(caller.record.status, QZ_PRESOL_PRIMAL_INFEASIBLE);
  done();
}

TEST_F(Presolver, BoundsAndRowsBeyondInfinityArePrimalInfeasible) {
  const auto outcome = [&](char sense, double rhs, double lower, double upper) {
    Caller caller(std::string(1, sense), {rhs}, {1}, {lower}, {upper}, {{1}});
    EXPECT_GT(reduce(caller), 0);
    object->postsolve(result);
    const int32_t status = caller.record.status;
    done();
    return status;
  };
  EXPECT_EQ(outcome('E', kInf, 0, 5), QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(outcome('L', -kInf, 0, 5), QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(outcome('G', kInf, 0, 5), QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(outcome('E', 1, kInf, kInf), QZ_PRESOL_PRIMAL_INFEASIBLE);
  EXPECT_EQ(outcome('E', 1, -kInf, -kInf), QZ_PRESOL_PRIMAL_INFEASIBLE);
}

TEST_F(Presolver, EmptyRowHoldsWithinTheToleranceOnly) {
  const auto result0 = [&](double rhs) {
    Caller caller("EE", {rhs, 1}, {1}, {0}, {kInf}, {{0}, {1}});
    const int32_t rc = reduce(caller);
    if (rc == 0) {
      EXPECT_EQ(reduced->numRow, 1);
    }
    done();
    return rc;
  };
  EXPECT_EQ(result0(0.0), 0);
  EXPECT_EQ(result0(0.9e-6), 0);
  EXPECT_GT(result0(1.1e-6), 0);
  EXPECT_GT(result0(-1.1e-6), 0);
}

TEST_F(Presolver, InconsistentRecordsAreRefusedAndNeverRead) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto refused = [&](const auto& damage) {
    Caller caller("EL", {1, 2}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}, {1, 1}});
    damage(caller);
    LpRecord* record = caller.get();
    if (record->numRow > 2) record->numRow = -1;  // set by the damage below
    int32_t rc = 55;
    result = object->reduce(object, handle, 3, record, &rc);
    EXPECT_GT(rc, 0);
    EXPECT_EQ(object->postsolve(result), 0);
    EXPECT_EQ(record->status, QZ_PRESOL_FAILED);
    done();
  };
  refused([](Caller& c) { c.record.objSense = 0; });
  refused([](Caller& c) { c.sense = "EQ"; });
  refused([](Caller& c) { c.row[1] = 2; });
  refused([](Caller& c) { c.row[1] = -1; });
  refused([](Caller& c) { c.row[2] = c.row[1]; });
  refused([](Caller& c) { c.length[0] = -1; });
  refused([&](Caller& c) { c.value[1] = nan; });
  refused([](Caller& c) { c.value[1] = 1.1e20; });
  refused([&](Caller& c) { c.obj[1] = nan; });
  refused([&](Caller& c) { c.lower[1] = nan; });
  refused([&](Caller& c) { c.upper[1] = nan; });
  refused([&](Caller& c) { c.rhs[1] = nan; });
  refused([](Caller& c) {
    c.sense = "ER";
    c.range[1] = -1.0;
  });
  refused([](Caller& c) {
    c.sense = "ELL";
    c.rhs.push_back(0);
  });
  for (int k = 0; k < 6; ++k) {
    Caller caller("EL", {1, 2}, {1, 1}, {0, 0}, {kInf, kInf}, {{1, 1}, {1, 1}});
    LpRecord* record = caller.get();
    if (k == 0) record->obj = nullptr;
    if (k == 1) record->lower = nullptr;
    if (k == 2) record->rhs = nullptr;
    if (k == 3) record->rowSense = nullptr;
    if (k == 4) record->matValue = nullptr;
    if (k == 5) record->colBegin = nullptr;
    int32_t rc = 55;
    result = object->reduce(object, handle, 3, record, &rc);
    EXPECT_GT(rc, 0);
    object->postsolve(result);
    EXPECT_EQ(record->status, QZ_PRESOL_FAILED);
    done();
  }
}

TEST_F(Presolver, TheCallersModelIsOnlyRead) {
  Caller caller("eLnR", {1, 2, 3, 4}, {1, -2, 3}, {0, 4, -kInf}, {kInf, 4, 9},
                {{1, 1, 0}, {1, 2, 1}, {0, 1, 1}, {2, 1, 1}}, -1);
  caller.range[3] = 1.0;
  const Caller before = caller;
  ASSERT_EQ(reduce(caller), 0);
  object->postsolve(result);
  EXPECT_EQ(caller.value, before.value);
  EXPECT_EQ(caller.row, before.row);
  EXPECT_EQ(caller.obj, before.obj);
  EXPECT_EQ(caller.rhs, before.rhs);
  EXPECT_EQ(caller.range, before.range);
  EXPECT_EQ(caller.lower, before.lower);
  EXPECT_EQ(caller.upper, before.upper);
  EXPECT_EQ(caller.sense, before.sense);
  done();
}

TEST_F(Presolver, EveryFailedAllocationGivesOutOfMemoryAndNothingStays) {
  const int64_t before = host.outstanding();
  int64_t k = 1;
  for (;; ++k) {
    Caller caller("ELGR", {4, 5, 1, 9}, {1, -2, 3}, {0, -kInf, 1}, {kInf, kInf, 8},
                  {{1, 2, 0}, {0, 1, 3}, {4, 0, 1}, {1, 1, 1}});
    host.failAllocation(k);
    const int32_t rc = reduce(caller);
    host.failAllocation(0);
    if (rc == 0) break;
    EXPECT_EQ(rc, QZ_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(host.outstanding(), before);
  }
  EXPECT_GT(k, 20);
  done();
  EXPECT_EQ(host.outstanding(), before);
}

TEST_F(Presolver, FailedAllocationsOfPrepareAndOfTheObjectsAreReported) {
  const int64_t before = host.outstanding();
  for (int64_t k = 1; k <= 3; ++k) {
    int32_t rc = 0;
    host.failAllocation(k);
    EXPECT_EQ(object->prepare(object, &options, &rc), nullptr);
    host.failAllocation(0);
    EXPECT_EQ(rc, QZ_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(host.outstanding(), before);
  }
  host.failAllocation(1);
  EXPECT_EQ(module->create_instance(), nullptr);
  host.failAllocation(1);
  EXPECT_EQ(qzpresol_builtin.make(nullptr, nullptr), nullptr);
  host.failAllocation(0);
  EXPECT_EQ(host.outstanding(), before);
}

// The solver may leave what it wrote into the object behind; the destruction of the object looks at neither.
TEST_F(Presolver, DestructionLeavesHandleAndResultAlone) {
  auto* other = static_cast<QzPresolveObject*>(module->create_instance());
  ASSERT_NE(other, nullptr);
  Caller caller("E", {1}, {1}, {0}, {kInf}, {{1}});
  ASSERT_EQ(reduce(caller), 0);
  other->handle = handle;
  other->result = result;
  other->destroy(other);
  EXPECT_NE(handle->settings, nullptr);
  EXPECT_EQ(object->postsolve(result), 0);
  done();
}

TEST_F(Presolver, ModuleTellsItsVersionsAndTag) {
  int32_t major = 0;
  int32_t minor = 0;
  int32_t fix = 0;
  EXPECT_EQ(module->getReqVersion(module, &major, &minor, &fix), 0);
  EXPECT_EQ(major * 100 + minor * 10 + fix, 511);
  EXPECT_EQ(module->getVersion(module, &major, &minor, &fix), 0);
  EXPECT_EQ(major * 100 + minor * 10 + fix, 100);
  EXPECT_EQ(std::string(module->tag, 4), "nevo");
  EXPECT_EQ(module->realDestroy(nullptr), 0);
}

// Random models: a point, duals and rows of every kind are carried over exactly as the plain formulas say.
TEST_F(Presolver, RandomModelsCarryEveryQuantityOver) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const int m = 1 + pick(6);
    const int n = 1 + pick(7);
    std::string senses;
    std::vector<double> rhs, costs, lower, upper;
    std::vector<std::vector<double>> rows(static_cast<size_t>(m), std::vector<double>(static_cast<size_t>(n), 0.0));
    for (auto& line : rows)
      for (double& v : line)
        if (pick(3) != 0) v = pick(9) - 4;
    for (int i = 0; i < m; ++i) {
      senses.push_back("ELGRNelgrn"[pick(10)]);
      rhs.push_back(pick(41) - 20);
    }
    for (int j = 0; j < n; ++j) {
      costs.push_back(pick(9) - 4);
      const int kind = pick(5);
      lower.push_back(kind == 1 || kind == 3 ? -kInf : pick(5) - 2);
      upper.push_back(kind == 0 || kind == 3 ? kInf : (kind == 4 ? lower.back() : 5 + pick(5)));
    }
    Caller caller(senses, rhs, costs, lower, upper, rows, pick(2) == 0 ? 1 : -1);
    for (double& w : caller.range) w = pick(4);
    if (reduce(caller) != 0) {
      done();
      continue;
    }
    for (int32_t j = 0; j < reduced->numCol; ++j) reduced->solPrimal[j] = pick(7) - 3;
    for (int32_t i = 0; i < reduced->numRow; ++i) reduced->solDual[i] = pick(7) - 3;
    double objective = reduced->objValue;
    for (int32_t j = 0; j < reduced->numCol; ++j) objective += reduced->obj[j] * reduced->solPrimal[j];
    reduced->objValue = reduced->objSense * objective;
    object->postsolve(result);
    double direct = caller.record.objConstant;
    for (int j = 0; j < n; ++j) {
      const auto jj = static_cast<size_t>(j);
      direct += costs[jj] * caller.x[jj];
      double d = costs[jj];
      for (int i = 0; i < m; ++i) d -= rows[static_cast<size_t>(i)][jj] * caller.y[static_cast<size_t>(i)];
      EXPECT_EQ(caller.d[jj], d);
      if (upper[jj] == lower[jj]) {
        EXPECT_EQ(caller.x[jj], lower[jj]);
      }
    }
    for (int i = 0; i < m; ++i) {
      const auto ii = static_cast<size_t>(i);
      double a = 0.0;
      for (int j = 0; j < n; ++j) a += rows[ii][static_cast<size_t>(j)] * caller.x[static_cast<size_t>(j)];
      EXPECT_EQ(caller.activity[ii], a);
      if (senses[ii] == 'n' || senses[ii] == 'N') {
        EXPECT_EQ(caller.y[ii], 0.0);
      }
    }
    EXPECT_EQ(caller.record.objValue, direct);
    // The reduced rows hold at the reduced point exactly when the caller's rows do at the full one.
    int reducedHold = 0;
    int reducedRows = 0;
    std::vector<double> activity(static_cast<size_t>(reduced->numRow), 0.0);
    for (int32_t j = 0; j < reduced->numCol; ++j)
      for (int32_t k = reduced->colBegin[j]; k < reduced->colBegin[j] + reduced->colLength[j]; ++k)
        activity[static_cast<size_t>(reduced->rowIndex[k])] += reduced->matValue[k] * reduced->solPrimal[j];
    for (int32_t i = 0; i < reduced->numRow; ++i) {
      const double a = activity[static_cast<size_t>(i)];
      const double b = reduced->rhs[i];
      const char s = reduced->rowSense[i];
      ++reducedRows;
      reducedHold +=
          s == 'E' ? a == b : (s == 'L' ? a <= b : (s == 'G' ? a >= b : a <= b && a >= b - reduced->range[i]));
    }
    int callerHold = 0;
    int callerRows = 0;
    for (int i = 0; i < m; ++i) {
      const auto ii = static_cast<size_t>(i);
      const double a = caller.activity[ii];
      const double b = rhs[ii];
      const char s = static_cast<char>(senses[ii] >= 'a' ? senses[ii] - 32 : senses[ii]);
      ++callerRows;
      callerHold += s == 'N'   ? 1
                    : s == 'E' ? a == b
                    : s == 'L' ? a <= b
                    : s == 'G' ? a >= b
                               : a <= b && a >= b - caller.range[ii];
    }
    EXPECT_EQ(callerRows - callerHold, reducedRows - reducedHold);
    done();
  }
}

}  // namespace
