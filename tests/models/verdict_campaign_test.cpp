// The fixed part of the campaign that every build runs; the rest is a matter of patience (verdict_campaign).
#include <gtest/gtest.h>

#include <cstdio>

#include "models/verdict_campaign.h"

namespace {

using namespace models;

// No verdict is wrong, each shape comes up, and giving up stays the exception.
void expectNoLie(const CampaignTable& table, size_t shapes) {
  std::printf("%s", table.text().c_str());
  EXPECT_EQ(table.total(Outcome::kWrong), 0);
  EXPECT_EQ(table.shapes.size(), shapes);
  EXPECT_GT(table.total(Outcome::kRight), table.programs() * 95 / 100);
}

TEST(VerdictCampaign, LinearProgramsOfEveryShape) {
  expectNoLie(runLinearCampaign(1, 4000), 10);
}

TEST(VerdictCampaign, QuadraticProgramsOfEveryShape) {
  expectNoLie(runQuadraticCampaign(1, 2000), 8);
}

// Verdicts that were wrong once: points that stalled and were taken for infeasible or unbounded, also in the terms of
// scaled rows; contradictions of the size of rounding; a vertex on a nearly singular basis.
TEST(VerdictCampaign, SeedsThatHaveFoundDefects) {
  for (const uint64_t seed :
       {936,   1056,  1244,  2946,   4386,   5656,   6476,   15266,  18536,  19556,  22036,  22686,  29786,  39096,
        62866, 69856, 75394, 102476, 140074, 170966, 185584, 194754, 236634, 276913, 314476, 334404, 359344, 377784}) {
    const CampaignTable table = runLinearCampaign(seed, seed);
    EXPECT_EQ(table.total(Outcome::kWrong), 0) << table.text();
  }
}

}  // namespace
