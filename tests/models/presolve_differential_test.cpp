// The fixed part of the presolve's differential test that every build runs.
#include <gtest/gtest.h>

#include "models/presolve_differential.h"

namespace {

using namespace models;

TEST(PresolveDifferential, AugmentedSystem) {
  compareMany(1, 4000, 0);
}
TEST(PresolveDifferential, NormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  compareMany(20001, 22000, 1, 4);
}

}  // namespace
