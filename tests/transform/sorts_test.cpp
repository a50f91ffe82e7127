#include "transform/sorts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace qz;

// Orders that trouble quicksorts: sorted, reversed, few values, organ pipe, saw, nearly sorted, one exchanged pair.
std::vector<int32_t> pattern(int32_t kind, int32_t n, std::mt19937& random) {
  std::vector<int32_t> v(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) switch (kind) {
      case 0:
        v[i] = static_cast<int32_t>(random());
        break;
      case 1:
        v[i] = i;
        break;
      case 2:
        v[i] = n - i;
        break;
      case 3:
        v[i] = static_cast<int32_t>(random() % 3);
        break;
      case 4:
        v[i] = std::min(i, n - i);
        break;
      case 5:
        v[i] = i % 7;
        break;
      case 6:
        v[i] = 42;
        break;
      case 7:
        v[i] = i % 5 == 0 ? n - i : i;
        break;
      default:
        v[i] = static_cast<int32_t>(random() % static_cast<uint32_t>(n + 1)) - n / 2;
        break;
    }
  if (kind == 1 && n > 3 && random() % 2 == 0) std::swap(v[1], v[static_cast<size_t>(n) - 2]);
  return v;
}

const std::vector<int32_t> sizes = {0, 1, 2, 3, 6, 7, 8, 9, 15, 16, 39, 40, 41, 42, 63, 64, 65, 100, 257, 1000, 5000};

template <class Body>
void forPatterns(Body body) {
  for (int32_t n : sizes)
    for (int32_t kind = 0; kind < 9; ++kind)
      for (uint32_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE("n " + std::to_string(n) + " kind " + std::to_string(kind) + " seed " + std::to_string(seed));
        std::mt19937 random(seed);
        body(pattern(kind, n, random));
      }
}

std::vector<double> asDouble(const std::vector<int32_t>& v) {
  std::vector<double> out(v.begin(), v.end());
  for (double& x : out) x = x * 0.37 - 5.0;
  return out;
}

TEST(Sorts, IntegersAscend) {
  forPatterns([](std::vector<int32_t> v) {
    std::vector<int32_t> expected = v;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(QZS_quickSortIntInc(nullptr, v.data(), static_cast<int32_t>(v.size())), 0);
    EXPECT_EQ(v, expected);
  });
}

TEST(Sorts, DoublesAscendAndDescend) {
  forPatterns([](const std::vector<int32_t>& keys) {
    std::vector<double> up = asDouble(keys), down = up, expected = up;
    const auto n = static_cast<int32_t>(keys.size());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(QZS_quickSortDblInc(nullptr, up.data(), n), 0);
    EXPECT_EQ(up, expected);
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(QZS_quickSortDblDec(nullptr, down.data(), n), 0);
    EXPECT_EQ(down, expected);
  });
}

// After the sort the keys are in order and every payload still sits beside the key it came with.
template <class Key, class Sort>
void expectCarried(std::vector<Key> key, bool ascending, Sort sort) {
  const auto n = static_cast<int32_t>(key.size());
  const std::vector<Key> original = key;
  std::vector<int32_t> label(key.size());
  std::iota(label.begin(), label.end(), 0);
  sort(key, label, n);
  for (int32_t k = 1; k < n; ++k) ASSERT_TRUE(ascending ? key[k - 1] <= key[k] : key[k - 1] >= key[k]);
  std::vector<int32_t> seen = label;
  std::sort(seen.begin(), seen.end());
  for (int32_t k = 0; k < n; ++k) {
    ASSERT_EQ(seen[k], k);
    ASSERT_EQ(original[label[k]], key[k]);
  }
}

TEST(Sorts, PayloadsMoveWithTheirKeys) {
  forPatterns([](const std::vector<int32_t>& keys) {
    const std::vector<double> reals = asDouble(keys);
    expectCarried(keys, true, [](auto& key, auto& label, int32_t n) {
      std::vector<double> payload(label.begin(), label.end());
      EXPECT_EQ(QZS_quickSortIntDblInc(nullptr, key.data(), payload.data(), n), 0);
      label.assign(payload.begin(), payload.end());
    });
    expectCarried(keys, true, [](auto& key, auto& label, int32_t n) {
      EXPECT_EQ(QZS_quickSortIntIntInc(nullptr, key.data(), label.data(), n), 0);
    });
    expectCarried(reals, true, [](auto& key, auto& label, int32_t n) {
      EXPECT_EQ(QZS_quickSortDblIntInc(nullptr, key.data(), label.data(), n), 0);
    });
    expectCarried(reals, false, [](auto& key, auto& label, int32_t n) {
      EXPECT_EQ(QZS_quickSortDblIntDec(nullptr, key.data(), label.data(), n), 0);
    });
    expectCarried(reals, false, [](auto& key, auto& label, int32_t n) {
      std::vector<double> second(label.begin(), label.end());
      EXPECT_EQ(QZS_quickSortDblIntDblDec(nullptr, key.data(), label.data(), second.data(), n), 0);
      EXPECT_TRUE(std::equal(label.begin(), label.end(), second.begin()));
    });
  });
}

TEST(Sorts, PositionsAreOrderedByKeysThatStay) {
  forPatterns([](const std::vector<int32_t>& key) {
    const auto n = static_cast<int32_t>(key.size());
    for (bool ascending : {true, false}) {
      std::vector<int32_t> moved(key.size());
      std::iota(moved.begin(), moved.end(), 0);
      std::mt19937 random(9);
      std::shuffle(moved.begin(), moved.end(), random);
      const std::vector<int32_t> untouched(key.begin(), key.end());
      EXPECT_EQ(ascending ? QZS_quickSortIntIntInc2(nullptr, moved.data(), key.data(), n)
                          : QZS_quickSortIntIntDec2(nullptr, moved.data(), key.data(), n),
                0);
      EXPECT_EQ(key, untouched);
      for (int32_t k = 1; k < n; ++k)
        ASSERT_TRUE(ascending ? key[moved[k - 1]] <= key[moved[k]] : key[moved[k - 1]] >= key[moved[k]]);
      std::sort(moved.begin(), moved.end());
      for (int32_t k = 0; k < n; ++k) ASSERT_EQ(moved[k], k);
    }
  });
}

TEST(Sorts, CountsBelowTwoTouchNothing) {
  for (int32_t n : {1, 0, -1, -1000}) {
    double real = 7.0, payload = 3.0;
    int32_t integer = 7, label = 3;
    EXPECT_EQ(QZS_quickSortIntInc(nullptr, n == 1 ? &integer : nullptr, n), 0);
    EXPECT_EQ(QZS_quickSortDblInc(nullptr, n == 1 ? &real : nullptr, n), 0);
    EXPECT_EQ(QZS_quickSortDblDec(nullptr, n == 1 ? &real : nullptr, n), 0);
    EXPECT_EQ(QZS_quickSortIntDblInc(nullptr, &integer, &payload, n), 0);
    EXPECT_EQ(QZS_quickSortDblIntInc(nullptr, &real, &label, n), 0);
    EXPECT_EQ(QZS_quickSortDblIntDec(nullptr, &real, &label, n), 0);
    EXPECT_EQ(QZS_quickSortIntIntInc(nullptr, &integer, &label, n), 0);
    EXPECT_EQ(QZS_quickSortIntIntInc2(nullptr, &integer, &label, n), 0);
    EXPECT_EQ(QZS_quickSortIntIntDec2(nullptr, &integer, &label, n), 0);
    EXPECT_EQ(QZS_quickSortDblIntDblDec(nullptr, &real, &label, &payload, n), 0);
    EXPECT_EQ(real, 7.0);
    EXPECT_EQ(integer, 7);
    EXPECT_EQ(payload, 3.0);
    EXPECT_EQ(label, 3);
  }
}

TEST(Sorts, SortedInputAndEqualKeysMoveNoPayload) {
  for (int32_t step : {0, 1}) {
    std::vector<int32_t> key(100), label(100);
    for (int32_t i = 0; i < 100; ++i) key[i] = step * i;
    std::iota(label.begin(), label.end(), 0);
    QZS_quickSortIntIntInc(nullptr, key.data(), label.data(), 100);
    EXPECT_TRUE(std::is_sorted(label.begin(), label.end())) << "any swap would show in the payload";
  }
}

// Interleaved ascending and descending runs, whose samples make poor pivots.
TEST(Sorts, LargeHardInputsStayWithinTheStack) {
  std::vector<int32_t> v;
  const int32_t n = 1 << 17;
  v.reserve(n);
  for (int32_t i = 0; i < n; ++i) v.push_back((i & 1) != 0 ? i : n - i);
  std::vector<int32_t> expected = v;
  std::sort(expected.begin(), expected.end());
  QZS_quickSortIntInc(nullptr, v.data(), n);
  EXPECT_EQ(v, expected);
}

}  // namespace
