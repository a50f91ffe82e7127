// Models that nobody means, through the C API: broken arrays are refused in words, and whatever the API takes ends with
// a status, however wild its numbers are.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "models/generators.h"
#include "models/solving.h"

namespace {

using models::Random;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// The arrays of a small model, each entry a draw from what is usual and what is not.
struct WildModel {
  Random random;
  double wild;  // share of odd numbers
  qzlp_model view{};
  std::vector<int32_t> begin, length, row;
  std::vector<double> value, obj, lower, upper, rhs, range;
  std::vector<char> sense;

  // With `broken` the arrays need not be consistent.
  WildModel(uint64_t seed, bool broken) : random(seed), wild(random.uniform(0.0, 0.5)) {
    const int numRow = random.whole(0, 6), numCol = random.whole(0, 7);
    drawMatrix(numRow, numCol, broken);
    for (int j = 0; j < numCol; ++j) drawColumn(broken);
    for (int i = 0; i < numRow; ++i) drawRow(broken);
    view.numRow = numRow;
    view.numCol = numCol;
    view.numCoef = static_cast<int32_t>(row.size());
    view.objSense = random.chance(0.5) ? 1 : -1;
    view.objConstant = number(broken);
    view.colBegin = begin.data();
    view.colLength = length.data();
    view.rowIndex = row.data();
    view.matValue = value.data();
    view.obj = obj.data();
    view.lower = lower.data();
    view.upper = upper.data();
    view.rowSense = sense.data();
    view.rhs = rhs.data();
    view.range = range.data();
    if (broken) breakHead();
  }

 private:
  // A finite number of any size below 1e20; with `broken` infinities and NaN as well.
  double number(bool broken) {
    if (broken && random.chance(0.02)) return random.chance(0.5) ? kNan : models::infinite;
    if (!random.chance(wild)) return random.whole(-4, 5);
    const double size = std::pow(10.0, random.uniform(-25.0, 19.9));
    return random.chance(0.5) ? size : -size;
  }

  // A bound or side, which may be none.
  double side(double none, bool broken) {
    if (!random.chance(0.3)) return number(broken);
    const double others[] = {none, std::copysign(1e20, none), std::copysign(1e19, none), 0.0};
    return others[random.whole(0, 3)];
  }

  void drawMatrix(int numRow, int numCol, bool broken) {
    for (int j = 0; j < numCol; ++j) {
      begin.push_back(static_cast<int32_t>(row.size()));
      for (int i = 0; i < numRow; ++i) {
        if (!random.chance(0.4)) continue;
        row.push_back(broken && random.chance(0.02) ? random.whole(-2, numRow + 1) : i);
        value.push_back(number(broken));
      }
      length.push_back(static_cast<int32_t>(row.size()) - begin.back());
      if (broken && random.chance(0.02)) length.back() = random.whole(-2, 9);
      if (broken && random.chance(0.02)) begin.back() = random.whole(-2, 30);
    }
  }

  void drawColumn(bool broken) {
    obj.push_back(number(broken));
    lower.push_back(side(-models::infinite, broken));
    upper.push_back(side(models::infinite, broken));
    if (!broken && random.chance(0.9) && lower.back() > upper.back()) std::swap(lower.back(), upper.back());
  }

  void drawRow(bool broken) {
    const char senses[] = "ELGRNelgrn";
    sense.push_back(broken && random.chance(0.02) ? static_cast<char>(random.whole(-128, 127))
                                                  : senses[random.whole(0, 9)]);
    const bool isRange = sense.back() == 'R' || sense.back() == 'r';
    const bool isLess = sense.back() == 'L' || sense.back() == 'l';
    const bool isMore = sense.back() == 'G' || sense.back() == 'g';
    rhs.push_back(isLess ? side(models::infinite, broken) : isMore ? side(-models::infinite, broken) : number(broken));
    range.push_back(isRange ? std::fabs(side(models::infinite, broken)) : 0.0);
  }

  void breakHead() {
    if (random.chance(0.02)) view.numRow = -1;
    if (random.chance(0.02)) view.numCoef = -3;
    if (random.chance(0.02)) view.objSense = random.whole(-3, 3);
    if (random.chance(0.02)) view.rhs = nullptr;
    if (random.chance(0.02)) view.upper = nullptr;
    if (random.chance(0.02)) view.colLength = nullptr;
    if (view.colLength == nullptr) view.numCol = std::max(view.numCol - 1, 0);  // the last begin is an end then
  }
};

// The statuses that a solve may end with when nothing stops it from outside.
const std::set<int> kEnds = {
    QZLP_STATUS_OPTIMAL, QZLP_STATUS_PRIMAL_INFEASIBLE, QZLP_STATUS_DUAL_INFEASIBLE, QZLP_STATUS_ITERATION_LIMIT,
    QZLP_STATUS_FAILED,  QZLP_STATUS_BOTH_INFEASIBLE,   QZLP_STATUS_NEAR_OPTIMAL};

struct Tally {
  int refused = 0, solved = 0, optimal = 0;
};

void drawOptions(qzlp* lp, Random& random) {
  const models::Choice choices[] = {{"method", 1.0 * random.whole(0, 1)},     {"presolve", 1.0 * random.whole(-1, 0)},
                                    {"scaling", 1.0 * random.whole(0, 1)},    {"threads", 1.0},
                                    {"debugLevel", 1.0 * random.whole(0, 1)}, {"maxIter", 200.0}};
  for (const models::Choice& choice : choices)
    EXPECT_EQ(qzlp_setDoubleOption(lp, choice.name.c_str(), choice.value), QZLP_OK);
}

// Loads and solves the models of the seeds in one handle.
Tally feed(uint64_t first, uint64_t last, bool broken) {
  Tally tally;
  const std::unique_ptr<qzlp, void (*)(qzlp*)> lp(qzlp_create(), qzlp_destroy);
  for (uint64_t seed = first; seed <= last; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    WildModel model(seed, broken);
    const int code = qzlp_loadModel(lp.get(), &model.view);
    if (code != QZLP_OK) {
      EXPECT_EQ(code, QZLP_ERROR_MODEL);
      EXPECT_STRNE(qzlp_error(lp.get()), "");
      ++tally.refused;
      continue;
    }
    drawOptions(lp.get(), model.random);
    EXPECT_EQ(qzlp_solve(lp.get()), QZLP_OK) << qzlp_error(lp.get());
    EXPECT_EQ(kEnds.count(qzlp_status(lp.get())), 1U) << qzlp_status(lp.get());
    ++tally.solved;
    if (qzlp_status(lp.get()) != QZLP_STATUS_OPTIMAL) continue;
    ++tally.optimal;
    for (int j = 0; j < qzlp_numCol(lp.get()); ++j) EXPECT_TRUE(std::isfinite(qzlp_primal(lp.get())[j])) << j;
  }
  std::printf("%d refused, %d solved, %d of them optimal\n", tally.refused, tally.solved, tally.optimal);
  return tally;
}

TEST(BadInput, WildNumbersEndWithAStatus) {
  const Tally tally = feed(1, 20000, false);
  EXPECT_GT(tally.solved, 15000);
  EXPECT_GT(tally.optimal, 1000);
}

TEST(BadInput, BrokenArraysAreRefusedInWords) {
  const Tally tally = feed(1, 20000, true);
  EXPECT_GT(tally.refused, 4000);
  EXPECT_GT(tally.solved, 1000);
}

// Any name and any text: an option is set as it says or refused in words.
TEST(BadInput, OptionsTakeWhatTheyCanRead) {
  const std::unique_ptr<qzlp, void (*)(qzlp*)> lp(qzlp_create(), qzlp_destroy);
  Random random(1);
  const char letters[] = "0123456789.-+eEinfax \t";
  int taken = 0;
  for (int n = 0; n < 100000; ++n) {
    const qzlp_option* option = qzlp_optionAt(random.whole(0, qzlp_optionCount() - 1));
    std::string value;
    for (int length = random.whole(0, 6); length > 0; --length) value.push_back(letters[random.whole(0, 21)]);
    const int code = qzlp_setOption(lp.get(), option->name, value.c_str());
    ASSERT_TRUE(code == QZLP_OK || code == QZLP_ERROR_ARGUMENT) << option->name << " " << value;
    double now = 0.0;
    ASSERT_EQ(qzlp_getDoubleOption(lp.get(), option->name, &now), QZLP_OK);
    ASSERT_TRUE(now >= option->minimum && now <= option->maximum) << option->name << " " << value;
    taken += code == QZLP_OK ? 1 : 0;
  }
  EXPECT_GT(taken, 1000);
}

}  // namespace
