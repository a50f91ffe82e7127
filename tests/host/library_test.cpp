// The library as a program sees it that embeds the library: solves again after changes, its silence, its callbacks, and
// what each status leaves behind.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qzlp.h"
#include "qzlp/temporary_file.h"

namespace {

using qztest::TemporaryFile;

struct Closer {
  void operator()(qzlp* lp) const { qzlp_destroy(lp); }
};
using Solver = std::unique_ptr<qzlp, Closer>;

Solver opened(const std::string& path) {
  Solver lp(qzlp_create());
  EXPECT_NE(lp, nullptr) << qzlp_error(nullptr);
  EXPECT_EQ(qzlp_readModel(lp.get(), path.c_str()), QZLP_OK) << qzlp_error(lp.get());
  return lp;
}

std::string example(const char* name) {
  return std::string(QZ_EXAMPLES "/").append(name);
}

const std::array<const char*, 8> kExamples = {"diet.mps",     "portfolio.lp",  "pricing.qps",  "production.lp",
                                              "shortage.mps", "transport.mps", "unbounded.lp", "workshop.lp"};

double solved(qzlp* lp) {
  EXPECT_EQ(qzlp_solve(lp), QZLP_OK) << qzlp_error(lp);
  EXPECT_EQ(qzlp_status(lp), QZLP_STATUS_OPTIMAL) << qzlp_statusName(qzlp_status(lp));
  return qzlp_objective(lp);
}

// maximise 6 tables + 5 chairs - 10,  3 t + 2 c <= 24,  t + 2 c <= 16,  -4 <= t - c <= 4: 44 at (4, 6).
class Workshop : public testing::Test {
 protected:
  Solver lp_ = opened(example("workshop.lp"));
};

TEST_F(Workshop, SolvesAgainAfterEachChange) {
  qzlp* lp = lp_.get();
  EXPECT_NEAR(solved(lp), 44.0, 1e-4);
  ASSERT_EQ(qzlp_setCost(lp, 1, 2.0), QZLP_OK);  // now 6 t + 2 c: (6.4, 2.4), 38.4 + 4.8 - 10
  EXPECT_NEAR(solved(lp), 33.2, 1e-4);
  ASSERT_EQ(qzlp_setBounds(lp, 0, 0.0, 5.0), QZLP_OK);  // t = 5, c = 4.5
  EXPECT_NEAR(solved(lp), 29.0, 1e-4);
  ASSERT_EQ(qzlp_setRhs(lp, 0, 20.0), QZLP_OK);  // t = 5, c = 2.5
  EXPECT_NEAR(solved(lp), 25.0, 1e-4);
  ASSERT_EQ(qzlp_setElement(lp, 0, 1, 4.0), QZLP_OK);  // 3 t + 4 c <= 20: t = 5, c = 1.25
  EXPECT_NEAR(solved(lp), 22.5, 1e-4);
  ASSERT_EQ(qzlp_setRow(lp, 2, 'N', 0.0, 0.0), QZLP_OK);  // not binding above: t - c = 3.75
  EXPECT_NEAR(solved(lp), 22.5, 1e-4);
  ASSERT_EQ(qzlp_setObjSense(lp, 1), QZLP_OK);  // minimise: the origin
  ASSERT_EQ(qzlp_setObjConstant(lp, 3.0), QZLP_OK);
  EXPECT_NEAR(solved(lp), 3.0, 1e-4);
}

TEST_F(Workshop, AChangedModelAnswersLikeAFreshOne) {
  ASSERT_EQ(qzlp_setCost(lp_.get(), 0, 1.0), QZLP_OK);
  ASSERT_EQ(qzlp_setRhs(lp_.get(), 1, 13.0), QZLP_OK);
  (void)solved(lp_.get());  // whatever a solve leaves in the handle
  ASSERT_EQ(qzlp_setBounds(lp_.get(), 1, 1.0, 4.0), QZLP_OK);
  const double changed = solved(lp_.get());
  const TemporaryFile file(".mps");
  ASSERT_EQ(qzlp_writeModel(lp_.get(), file.path().c_str()), QZLP_OK);
  const Solver fresh = opened(file.path());
  EXPECT_EQ(changed, solved(fresh.get())) << "to the last bit";
  for (int32_t j = 0; j < 2; ++j) EXPECT_EQ(qzlp_primal(lp_.get())[j], qzlp_primal(fresh.get())[j]);
}

TEST_F(Workshop, DualsTellHowTheOptimumGrowsWithTheSides) {
  const double before = solved(lp_.get());
  const std::vector<double> dual(qzlp_dual(lp_.get()), qzlp_dual(lp_.get()) + 3);
  const double step = 0.01;
  const std::array<double, 3> rhs = {24.0, 16.0, 4.0};
  for (int32_t i = 0; i < 3; ++i) {
    const auto row = static_cast<size_t>(i);
    ASSERT_EQ(qzlp_setRhs(lp_.get(), i, rhs[row] + step), QZLP_OK);
    EXPECT_NEAR((solved(lp_.get()) - before) / step, dual[row], 1e-2) << "row " << i;
    ASSERT_EQ(qzlp_setRhs(lp_.get(), i, rhs[row]), QZLP_OK);
  }
  EXPECT_GT(dual[0], 0.0) << "maximising, more wood is worth something";
}

// ---- Silence ----

// What is written to a standard stream while it lives.
class Captured {
 public:
  explicit Captured(std::FILE* stream) : stream_(stream), saved_(dup(fileno(stream))), file_(".txt") {
    std::fflush(stream_);
    const int to = open(file_.path().c_str(), O_WRONLY | O_TRUNC);
    dup2(to, fileno(stream_));
    close(to);
  }
  ~Captured() { (void)text(); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  std::string text() {
    if (saved_ < 0) return {};
    std::fflush(stream_);
    dup2(saved_, fileno(stream_));
    close(saved_);
    saved_ = -1;
    return file_.read();
  }

 private:
  std::FILE* stream_;
  int saved_;
  TemporaryFile file_;
};

using Handlers = std::vector<std::pair<void (*)(int), int>>;

Handlers signalHandlers() {
  Handlers all;
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) == 0) all.emplace_back(action.sa_handler, action.sa_flags);
  }
  return all;
}

TEST(LibraryIsSilent, NoOutputAndNoSignalHandlerOfItsOwn) {
  const Handlers before = signalHandlers();
  Handlers during;
  Captured out(stdout);
  Captured err(stderr);
  for (const char* name : kExamples)
    for (const char* crossover : {"0", "1"})
      for (const char* debugLevel : {"0", "9"}) {
        const Solver lp = opened(example(name));
        EXPECT_EQ(qzlp_setOption(lp.get(), "crossover", crossover), QZLP_OK);
        EXPECT_EQ(qzlp_setOption(lp.get(), "debugLevel", debugLevel), QZLP_OK);
        EXPECT_EQ(qzlp_setBreakCallback(
                      lp.get(),
                      [](void* data) {
                        *static_cast<Handlers*>(data) = signalHandlers();
                        return 0;
                      },
                      &during),
                  QZLP_OK);
        EXPECT_EQ(qzlp_solve(lp.get()), QZLP_OK) << qzlp_error(lp.get());
        const TemporaryFile written(".mps");
        EXPECT_EQ(qzlp_writeModel(lp.get(), written.path().c_str()), QZLP_OK);
      }
  EXPECT_NE(qzlp_readModel(Solver(qzlp_create()).get(), "/nowhere.mps"), QZLP_OK);
  const std::string said = out.text();
  const std::string complained = err.text();
  EXPECT_EQ(said, "");
  EXPECT_EQ(complained, "");
  EXPECT_EQ(signalHandlers(), before);
  EXPECT_EQ(during, before) << "not even while it solves";
}

// ---- Callbacks ----

struct Listener {
  std::vector<qzlp_progress> told;
  std::vector<std::string> lines;
};

int listen(const qzlp_progress* progress, void* data) {
  static_cast<Listener*>(data)->told.push_back(*progress);
  return 0;
}

void keepLine(int level, uint32_t, const char* line, void* data) {
  if (level == QZLP_LOG_DEBUG || std::strstr(line, "seconds") != nullptr) return;  // times differ
  static_cast<Listener*>(data)->lines.emplace_back(line);
}

TEST(LibraryCallbacks, TheLogIsTheSameWithAProgressCallbackAndWithout) {
  for (const char* name : kExamples)
    for (const char* printLevel : {"0", "1", "2"})
      for (const char* logFrequency : {"0", "1", "4"}) {
        SCOPED_TRACE(std::string(name) + " printLevel " + printLevel + " logFrequency " + logFrequency);
        const Solver lp = opened(example(name));
        ASSERT_EQ(qzlp_setOption(lp.get(), "printLevel", printLevel), QZLP_OK);
        ASSERT_EQ(qzlp_setOption(lp.get(), "logFrequency", logFrequency), QZLP_OK);
        Listener alone;
        ASSERT_EQ(qzlp_setLogCallback(lp.get(), keepLine, &alone), QZLP_OK);
        ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
        Listener both;
        ASSERT_EQ(qzlp_setLogCallback(lp.get(), keepLine, &both), QZLP_OK);
        ASSERT_EQ(qzlp_setProgressCallback(lp.get(), listen, &both), QZLP_OK);
        ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
        EXPECT_EQ(both.lines, alone.lines);
      }
}

TEST(LibraryCallbacks, ProgressEndsAtTheNumberOfIterationsWithinTheTolerances) {
  for (const char* name : {"diet.mps", "transport.mps", "portfolio.lp", "pricing.qps"}) {
    SCOPED_TRACE(name);
    const Solver lp = opened(example(name));
    Listener listener;
    ASSERT_EQ(qzlp_setProgressCallback(lp.get(), listen, &listener), QZLP_OK);
    (void)solved(lp.get());
    ASSERT_FALSE(listener.told.empty());
    for (size_t k = 0; k < listener.told.size(); ++k)
      EXPECT_EQ(listener.told[k].iteration, static_cast<int32_t>(k)) << "each iteration once";
    const qzlp_progress& last = listener.told.back();
    EXPECT_EQ(last.iteration, qzlp_iterations(lp.get()));
    EXPECT_LE(last.primalInfeasibility, 1e-6);
    EXPECT_LE(last.boundInfeasibility, 1e-6);
    EXPECT_LE(last.dualInfeasibility, 1e-6);
    EXPECT_LE(last.dualityGap, 1e-6);
  }
}

TEST(LibraryCallbacks, ProgressStopsLinearAndQuadraticSolves) {
  for (const char* name : {"transport.mps", "portfolio.lp"}) {
    const Solver lp = opened(example(name));
    ASSERT_EQ(
        qzlp_setProgressCallback(
            lp.get(), [](const qzlp_progress* progress, void*) { return progress->iteration == 2 ? 1 : 0; }, nullptr),
        QZLP_OK);
    ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
    EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_INTERRUPTED) << name;
    EXPECT_EQ(qzlp_hasPoint(lp.get()), 0);
    ASSERT_EQ(qzlp_setProgressCallback(lp.get(), nullptr, nullptr), QZLP_OK);
    (void)solved(lp.get());
  }
}

// ---- Statuses ----

TEST(LibraryStatus, LimitsLeaveAPoint) {
  const Solver lp = opened(example("transport.mps"));
  ASSERT_EQ(qzlp_setIntOption(lp.get(), "maxIter", 2), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
  EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_ITERATION_LIMIT);
  EXPECT_EQ(qzlp_hasPoint(lp.get()), 1);
  EXPECT_EQ(qzlp_iterations(lp.get()), 2);
  double size = 0.0;
  for (int32_t j = 0; j < qzlp_numCol(lp.get()); ++j) size += std::fabs(qzlp_primal(lp.get())[j]);
  EXPECT_GT(size, 0.0);
  EXPECT_TRUE(std::isfinite(size));
  EXPECT_EQ(qzlp_columnBasis(lp.get()), nullptr);
}

TEST(LibraryStatus, ATimeLimitBeforeTheFirstPointLeavesZeros) {
  const Solver lp = opened(example("transport.mps"));
  (void)solved(lp.get());  // whose answer must not stay
  ASSERT_EQ(qzlp_setDoubleOption(lp.get(), "timeLimit", 0.0), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
  EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_TIME_LIMIT);
  for (int32_t j = 0; j < qzlp_numCol(lp.get()); ++j) EXPECT_EQ(qzlp_primal(lp.get())[j], 0.0);
  for (int32_t i = 0; i < qzlp_numRow(lp.get()); ++i) EXPECT_EQ(qzlp_dual(lp.get())[i], 0.0);
  EXPECT_EQ(qzlp_primalInfeasibility(lp.get()), 0.0);
  EXPECT_EQ(qzlp_dualityGap(lp.get()), 0.0);
}

TEST(LibraryStatus, InfeasibleAndUnboundedModelsLeaveNoPoint) {
  const std::pair<const char*, std::vector<int>> cases[] = {
      {"shortage.mps", {QZLP_STATUS_PRIMAL_INFEASIBLE}},
      {"unbounded.lp", {QZLP_STATUS_DUAL_INFEASIBLE, QZLP_STATUS_BOTH_INFEASIBLE}}};
  for (const auto& [name, statuses] : cases) {
    const Solver lp = opened(example(name));
    ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
    EXPECT_NE(std::find(statuses.begin(), statuses.end(), qzlp_status(lp.get())), statuses.end()) << name;
    EXPECT_EQ(qzlp_hasPoint(lp.get()), 0) << name;
  }
}

TEST(LibraryStatus, AnObjectiveThatIsNotConvex) {
  const Solver lp = opened(example("transport.mps"));
  const std::vector<int32_t> row{0};
  std::vector<int32_t> begin(static_cast<size_t>(qzlp_numCol(lp.get())) + 1, 1);
  begin[0] = 0;
  const double value = -1.0;
  const qzlp_quadratic concave{QZLP_LOWER, 1, begin.data(), nullptr, row.data(), &value};
  ASSERT_EQ(qzlp_loadQuadratic(lp.get(), &concave), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp.get()), QZLP_OK);
  EXPECT_EQ(qzlp_status(lp.get()), QZLP_STATUS_NOT_CONVEX);
  EXPECT_EQ(qzlp_hasPoint(lp.get()), 0);
}

}  // namespace
