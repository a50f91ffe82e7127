// An engine that does what the test says, so that the stages around it can be tested alone.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/ipm.h"
#include "transform/hub.h"

namespace qztest {

struct EngineCall {
  qz::Env* env;
  qz::Model* model;
  qz::IpmOption* option;
  qz::Hub* hub;
  qz::Solution* solution;
  qz::IPM_timer* timer;
};

// What ipmSolve does. A test sets it; without one the call fails.
extern std::function<int32_t(const EngineCall&)> fakeEngine;
// What happened, in order: laCleanUpAll adds itself, fake modules add theirs.
extern std::vector<std::string> events;

// Writes the engine's answer for the outer point (x, y): the slack and split columns of the standard form, turned duals
// of L rows, bound slacks and duals. Lengths are those of the model before the standard form.
void plantSolution(const EngineCall& call, const std::vector<double>& x, const std::vector<double>& y);

}  // namespace qztest
