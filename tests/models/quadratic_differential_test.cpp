// Small convex quadratic programs that are full of what presolve looks for, against Clp and the certificate: Clp tells
// which have an optimum, and the certificate proves the optima that come back through the recovery of the duals.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "models/certificate.h"
#include "models/oracle.h"
#include "models/presolve_differential.h"
#include "models/quadratic_programs.h"
#include "models/solving.h"

namespace {

using namespace models;

// How the answers fell out. A miss is a program with an optimum that was given up or called infeasible or unbounded, or
// one without that was given up.
struct Tally {
  int solved = 0, nearly = 0, infeasible = 0, unbounded = 0, missed = 0;
  std::string seeds;  // of the misses
};

void judge(const LinearProgram& program, uint64_t seed, Tally& tally) {
  const Kind kind = quadraticKind(program);
  const Answer answer = solve(program, {{"threads", 1}});
  // A claimed optimum must be one, whatever happens elsewhere. Reduced accuracy claims less.
  if (answer.status == 1 || answer.status == 15) {
    ASSERT_EQ(kind, Kind::kOptimal) << answer.log;
    const Certificate certificate = certify(program, answer);
    EXPECT_TRUE(certificate.holds(answer.status == 1 ? 1e-6 : 1e-4)) << certificate.text() << "\n" << answer.log;
    ++(answer.status == 1 ? tally.solved : tally.nearly);
    return;
  }
  const bool noPoint = answer.status == 3 || answer.status == 14;
  const bool noDualPoint = answer.status == 4 || answer.status == 14;
  if (kind == Kind::kInfeasible && (noPoint || noDualPoint)) {
    ++tally.infeasible;  // it may have no dual point either, and each of the two may show first
  } else if (kind == Kind::kUnbounded && noDualPoint) {
    ++tally.unbounded;
  } else {
    ++tally.missed;
    tally.seeds.append(" ").append(std::to_string(seed));
  }
}

void judgeSeed(uint64_t seed, Tally& tally) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  LinearProgram program = presolveProgram(seed);
  addSquares(program, seed);
  judge(program, seed, tally);
}

TEST(QuadraticDifferential, AgreesWithClpAndTheCertificate) {
  Tally tally;
  for (uint64_t seed = 1; seed <= 4000; ++seed) judgeSeed(seed, tally);
  std::printf("solved %d nearly %d infeasible %d unbounded %d missed %d:%s\n", tally.solved, tally.nearly,
              tally.infeasible, tally.unbounded, tally.missed, tally.seeds.c_str());
  EXPECT_GT(tally.solved, 2000);
  EXPECT_GT(tally.infeasible, 80);
  EXPECT_GT(tally.unbounded, 80);
  EXPECT_EQ(tally.nearly, 0);
  EXPECT_EQ(tally.missed, 0);
}

// With the second-order term in every corrector the iteration goes round in a circle of four steps, to its ceiling.
TEST(QuadraticDifferential, AnIterationThatWouldGoInACircleEnds) {
  Tally tally;
  judgeSeed(12770, tally);
  EXPECT_EQ(tally.solved, 1);
}

}  // namespace
