// Random programs of every shape against what is known about them: no verdict of the solver may be wrong.
//
// A program stands for its seed: the shape, the program and the options it is solved with all follow from it. What is
// known is known by construction or from Clp, and every claimed optimum is certified. A verdict is
//
//   right     true, and an optimum is certified at the tolerance of the options
//   nearly    reduced accuracy (status 15) of a program with an optimum, certified a hundred times more loosely
//   by norms  a claimed optimum whose residuals are within the tolerance by their norms, which is what the solver
//             promises, but with a single row, a gap at the far side of a box, or a distance from the known value that
//             hides behind the big values of the program
//   given up  a failure that claims nothing (status 10)
//   wrong     anything else: a lie
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "models/linear_program.h"
#include "models/solving.h"

namespace models {

enum class Outcome { kRight, kNearly, kByNorms, kGivenUp, kWrong, kNoOracle };
constexpr int kOutcomes = 6;

// What one seed stands for.
struct CampaignCase {
  std::string shape;
  LinearProgram program;
  std::vector<Choice> choices;
};

CampaignCase linearCase(uint64_t seed);
CampaignCase quadraticCase(uint64_t seed);

// What came of the programs of one shape.
struct ShapeTally {
  std::string shape;
  int optimal = 0, infeasible = 0, unbounded = 0;  // what they are
  int count[kOutcomes] = {};                       // by Outcome
};

struct CampaignTable {
  std::vector<ShapeTally> shapes;
  std::vector<std::string> wrong;         // what is wrong, with the seed and the options
  std::vector<std::string> byNorms;       // the same for what is so by norms
  std::vector<uint64_t> givenUp, nearly;  // seeds

  int programs() const;
  int total(Outcome outcome) const;
  std::string text() const;
};

// Looks at the programs of the seeds first to last.
CampaignTable runLinearCampaign(uint64_t first, uint64_t last);
CampaignTable runQuadraticCampaign(uint64_t first, uint64_t last);

}  // namespace models
