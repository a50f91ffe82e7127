// The fixed part of the campaign over the modes of presolve that every build runs.
#include <gtest/gtest.h>

#include "models/mode_differential.h"

namespace {

TEST(ModeDifferential, AllModesAgreeOnProgramsMadeForEachReduction) {
  models::compareModes(1, 200, 10);
}

}  // namespace
