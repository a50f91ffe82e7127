#include "models/mode_differential.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "models/certificate.h"
#include "models/oracle.h"
#include "models/presolve_differential.h"
#include "models/reduction_programs.h"
#include "models/solving.h"

namespace models {

namespace {

constexpr int kModes[] = {-1, 0, 1, 2, 3};
constexpr int kStrongest = 3;

void add(ReductionCounts& sums, const ReductionCounts& counts) {
  for (const auto& [name, count] : counts) sums[name] += count;
}

std::string print(const ReductionCounts& counts) {
  std::ostringstream text;
  for (const auto& [name, count] : counts) text << ' ' << name << ' ' << count << ',';
  return text.str();
}

// What the programs of one trigger were, and what came of them.
struct Tally {
  int kinds[3] = {0, 0, 0};
  ReductionCounts applied;  // by the strongest mode
  int numUnproved = 0;
  int numProof = 0;
  std::ostringstream unproved;
};

bool isUnproved(const Verdict& verdict, const Answer& answer) {
  return verdict.kind != Kind::kOptimal && !isTrueStatus(verdict, answer.status) &&
         (answer.status == 14 || answer.status == 10);
}

bool proofHolds(const LinearProgram& program, const Answer& answer) {
  return (answer.proof.empty() || provesInfeasible(program, answer.proof)) &&
         (answer.ray.empty() || provesUnbounded(program, answer.ray));
}

void solveInAllModes(Trigger trigger, uint64_t seed, Tally& tally) {
  const LinearProgram program = reductionProgram(trigger, seed);
  const Verdict verdict = askOracle(program);
  ++tally.kinds[static_cast<int>(verdict.kind)];
  for (const int mode : kModes) {
    const std::vector<Choice> choices = {{"presolve", 1.0 * mode}, {"threads", 1}};
    const Answer answer = solve(program, choices);
    if (mode == kStrongest) {
      add(tally.applied, readCounts(answer.log));
      tally.numProof += !answer.proof.empty() || !answer.ray.empty() ? 1 : 0;
      EXPECT_TRUE(proofHolds(program, answer)) << nameOf(trigger) << ", seed " << seed;
    }
    if (isUnproved(verdict, answer)) {
      ++tally.numUnproved;
      tally.unproved << ' ' << seed << " in mode " << mode << ',';
      continue;
    }
    const std::string fault = judge(program, verdict, answer);
    if (fault.empty()) continue;
    std::ostringstream way;
    way << "trigger_" << static_cast<int>(trigger) << "_mode_" << mode;
    reportFault(program, choices, fault, seed, way.str().c_str());
  }
}

}  // namespace

// A line "Presolve: 12 empty rows, 0 skipped for their numbers." for each reduction.
ReductionCounts readCounts(const std::string& log) {
  ReductionCounts counts;
  const std::string begin = "Presolve: ", end = ", ";
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(begin, 0) != 0 || line.find(" skipped for their numbers") == std::string::npos) continue;
    const size_t number = begin.size(), name = line.find(' ', number) + 1;
    counts[line.substr(name, line.find(end, name) - name)] += std::stol(line.substr(number));
  }
  return counts;
}

ReductionCounts compareModes(uint64_t first, uint64_t last, int spared) {
  ReductionCounts sums;
  for (int t = 0; t < kNumTrigger; ++t) {
    const auto trigger = static_cast<Trigger>(t);
    Tally tally;
    for (uint64_t seed = first; seed <= last; ++seed) solveInAllModes(trigger, seed, tally);
    std::printf("%s: %d optimal, %d infeasible, %d unbounded, %d proved by presolve; applied:%s without a proof:%s\n",
                nameOf(trigger), tally.kinds[0], tally.kinds[1], tally.kinds[2], tally.numProof,
                print(tally.applied).c_str(), tally.unproved.str().c_str());
    spared -= tally.numUnproved;
    add(sums, tally.applied);
  }
  EXPECT_GE(spared, 0) << "more answers without a proof than spared";
  return sums;
}

}  // namespace models
