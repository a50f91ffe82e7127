// The routes through the solver that faults are put on: small models with options, and how they end without a fault.
#pragma once

#include <string>
#include <vector>

#include "models/linear_program.h"
#include "models/solving.h"
#include "sparse/factor_decision.h"

namespace faults {

struct Route {
  std::string name;
  models::LinearProgram program;
  std::vector<models::Choice> choices;
  const qz::FactorPlan* plan = nullptr;  // how the factorisations run, in place of their tables; null: by the tables
  int status = 1;                        // without a fault
  std::string sign = {};                 // what the log must tell, so that the route is the one it is meant to be
};

// Every route that the build has.
const std::vector<Route>& allRoutes();

// A model of two rows and three columns that has nothing to do with the routes' models.
models::LinearProgram tinyProgram();

// Puts the plan of the route into every environment of the linear algebra that is made from now on.
void forcePlan(const qz::FactorPlan* plan);

}  // namespace faults
