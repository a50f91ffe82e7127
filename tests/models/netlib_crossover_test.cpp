// Every model of the netlib collection with a crossover. Slow: minutes.
#include "models/collection_crossover.h"

namespace {

using models::CrossoverCollection;

TEST_F(CrossoverCollection, Netlib) {
  for (const std::string& name : namesIn("lp/netlib/")) checkCrossover(name);
}

}  // namespace
