#include "models/collection_crossover.h"

#include <cmath>
#include <cstdio>

#include "models/basic_answer.h"
#include "models/certificate.h"

namespace models {

namespace {

// A basic answer is exact but for rounding. The list of optima is not: it has 7 to 10 digits, and the last of them are
// often those of an interior point (50.50000007 stands for 50.5; pilot.we misses by 1.04e-8). So an answer that misses
// the list by more than the first has to prove itself, by a certificate that is a hundred times as sharp as the list.
constexpr double objectiveTolerance = 1e-9;
constexpr double listTolerance = 2e-8;
constexpr double proofTolerance = 1e-10;

}  // namespace

void CrossoverCollection::checkCrossover(const std::string& name, const std::vector<Choice>& choices) {
  SCOPED_TRACE(name);
  const Expected& expected = optima_.at(name);
  const LinearProgram program = readMpsFile((folder_ / name).string());
  if (solve(program, choices).status != 1) {
    std::printf("%-32s left out: not optimal without a crossover\n", name.c_str());
    return;
  }
  std::vector<Choice> withCrossover = choices;
  withCrossover.push_back({"crossover", 1});
  const Answer answer = solve(program, withCrossover);
  ASSERT_EQ(answer.status, 1) << answer.log;
  const Certificate certificate = certify(program, answer);
  const double error = std::fabs(answer.objective - expected.objective) / std::max(1.0, std::fabs(expected.objective));
  const bool listIsRounded = error > objectiveTolerance && certificate.holds(proofTolerance);
  std::printf("%-32s rows %6d between %6d changes %6d objective %19.12g error %.1e%s\n", name.c_str(), program.numRow(),
              numBetweenBounds(program, answer), answer.simplexIterations, answer.objective, error,
              listIsRounded ? " proved to 1e-10" : "");
  std::fflush(stdout);
  EXPECT_LE(error, listIsRounded ? listTolerance : objectiveTolerance) << certificate.text();
  EXPECT_TRUE(certificate.holds(1e-9)) << certificate.text();
  expectBasic(program, answer);
}

}  // namespace models
