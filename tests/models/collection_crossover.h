// The collections with a crossover.
#pragma once

#include "models/collection.h"

namespace models {

class CrossoverCollection : public Collection {
 protected:
  // Solves one model with a crossover and adds a row to the table. Models that do not end optimal without one are left
  // out, and said to be.
  void checkCrossover(const std::string& name, const std::vector<Choice>& choices = {});
};

}  // namespace models
