// The campaign over the modes of presolve: 100,000 programs, all reductions many times.
#include <gtest/gtest.h>

#include <cstdio>

#include "models/mode_differential.h"

namespace {

TEST(ModeCampaign, AllModesAgreeAndEveryReductionIsAppliedAThousandTimes) {
  for (const auto& [name, count] : models::compareModes(1001, 6000, 200)) {
    std::printf("%s: %ld\n", name.c_str(), count);
    EXPECT_GE(count, 1000) << name;
  }
}

}  // namespace
