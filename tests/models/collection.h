// The public collections of linear programs, in the folder that QZ_TEST_DATA names: every model's status and objective
// against the list of known optima, and every optimum certified from a reading of its own. A table is printed.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "models/solving.h"

namespace models {

struct Expected {
  int status = 0;  // 1 optimal, 3 infeasible
  double objective = 0.0;
};

// Skips, and says so, when QZ_TEST_DATA is not set.
class Collection : public testing::Test {
 protected:
  void SetUp() override;

  // Solves one model of the collection, by its path there, and adds a row to the table.
  void check(const std::string& name, const std::vector<Choice>& choices = {});

  // All models whose path begins with `part`, by check or by a judge of the test's own.
  void checkFolder(const std::string& part);
  std::vector<std::string> namesIn(const std::string& part) const;

  std::filesystem::path folder_;
  std::map<std::string, Expected> optima_;
};

}  // namespace models
