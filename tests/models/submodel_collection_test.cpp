// The model collections with the big-value submodels and without: they may change how an answer is found, but no status
// and no objective. Prints on which models they act, with iterations and times both ways. Slow.
#include <cmath>
#include <cstdio>

#include "host/option_store.h"
#include "models/big_values.h"
#include "models/collection.h"
#include "qzipsolve/host.h"

namespace {

using namespace models;

// Solves with the submodels on or off.
Answer solveSwitched(const LinearProgram& program, bool on, int debugLevel) {
  qzhost::setHostOption(QZ_OPTION_SUBMODEL, on ? 1 : 0);
  Answer answer = solve(program, {{"threads", 1}, {"timeLimit", 600}, {"debugLevel", 1.0 * debugLevel}});
  qzhost::removeHostOption(QZ_OPTION_SUBMODEL);
  return answer;
}

// Acts of each level that the story of a solve tells of.
struct Acts {
  int inVivo = 0, wishes = 0, reductions = 0, restorations = 0;
};

Acts countActs(const std::string& log) {
  const auto count = [&log](const char* text) {
    int times = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++times;
    return times;
  };
  return {count(": in vivo: "), count(": wishes in vitro: "), count(": reduced to "), count(": a big value came back")};
}

constexpr int kLargestTold = 3000;

class SubModelCollection : public Collection {
 protected:
  void compare(const std::string& name) {
    SCOPED_TRACE(name);
    const LinearProgram program = readMpsFile((folder_ / name).string());
    const Answer off = solveSwitched(program, false, 0);
    const Answer on = solveSwitched(program, true, 0);
    EXPECT_EQ(on.status, off.status);
    const double allowed = off.status == 1 ? 2e-6 * (1.0 + std::fabs(off.objective)) : infinite;
    EXPECT_NEAR(on.objective, off.objective, allowed);
    // The story comes with the verification layer, whose second computations are for models of a moderate size.
    const bool told = program.numRow() + program.numCol() <= kLargestTold;
    const Acts acts = told ? countActs(solveSwitched(program, true, 1).log) : Acts{};
    ++numModel_;
    if (told && acts.inVivo + acts.wishes == 0 && on.iterations == off.iterations) return;
    std::printf(
        "%-32s%s in vivo %d, wishes %d, reductions %d, came back %d; status %d/%d, iterations %d/%d, seconds "
        "%.2f/%.2f (on/off)\n",
        name.c_str(), told ? "" : " (not told)", acts.inVivo, acts.wishes, acts.reductions, acts.restorations,
        on.status, off.status, on.iterations, off.iterations, on.seconds, off.seconds);
    std::fflush(stdout);
  }
  void compareFolder(const std::string& part) {
    for (const auto& [name, expected] : optima_)
      if (name.compare(0, part.size(), part) == 0) compare(name);
    std::printf("%d models of %s\n", numModel_, part.c_str());
  }
  int numModel_ = 0;
};

TEST_F(SubModelCollection, Netlib) {
  compareFolder("lp/netlib/");
}
TEST_F(SubModelCollection, Infeasible) {
  compareFolder("lp/infeasible/");
}
TEST_F(SubModelCollection, Meszaros) {
  compareFolder("lp/meszaros/");
}
TEST_F(SubModelCollection, Kennington) {
  compareFolder("lp/kennington/");
}

}  // namespace
