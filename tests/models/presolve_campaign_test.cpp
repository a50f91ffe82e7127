// The presolve's differential test over many programs.
#include <gtest/gtest.h>

#include "models/presolve_differential.h"

namespace {

using namespace models;

TEST(PresolveCampaign, AugmentedSystem) {
  compareMany(1, 40000, 0);
}
TEST(PresolveCampaign, NormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  compareMany(100001, 120000, 1, 60);
}

}  // namespace
