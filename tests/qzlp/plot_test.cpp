// The picture of the iterations.
#include "qzlp/plot.h"

#include <gtest/gtest.h>

#include <limits>

#include "qzlp/temporary_file.h"

namespace {

using qzlpApp::plotScript;

qzlp_progress iteration(double measure) {
  qzlp_progress progress{};
  progress.complementarity = progress.dualityGap = progress.primalInfeasibility = measure;
  progress.boundInfeasibility = 0.0;
  progress.dualInfeasibility = std::numeric_limits<double>::quiet_NaN();
  return progress;
}

TEST(PlotScript, HoldsALineForEachIterationAndLeavesOutWhatHasNoLogarithm) {
  const std::string script = plotScript("a.svg", "title", {iteration(2.0), iteration(0.5)}, {1e-6});
  EXPECT_EQ(script.rfind("$data << END\n0 2.000000e+00 2.000000e+00 2.000000e+00 ? ?\n1 5.000000e-01 5.0", 0), 0U)
      << script;
  EXPECT_NE(script.find("set xrange [0:1]"), std::string::npos) << script;
}

TEST(PlotScript, DrawsEqualTolerancesOnce) {
  const std::string script = plotScript("a.svg", "title", {iteration(1.0)}, {1e-6, 1e-8, 1e-6});
  EXPECT_NE(script.find("title 'tolerance 1e-08', 1e-06 with lines"), std::string::npos) << script;
  EXPECT_EQ(script.find("tolerance 1e-06"), script.rfind("tolerance 1e-06"));
}

TEST(PlotScript, QuotesNamesSoThatNoneBecomesACommand) {
  const std::string script = plotScript("it's.svg", "a'\n!b", {iteration(1.0)}, {});
  EXPECT_NE(script.find("set output 'it''s.svg'\n"), std::string::npos) << script;
  EXPECT_NE(script.find("set title 'a'' !b'"), std::string::npos) << script;
}

TEST(Plotter, DrawsAPicture) {
  if (!qzlpApp::hasPlotter()) GTEST_SKIP() << "gnuplot is not installed";
  const qztest::TemporaryFile file(".svg");
  EXPECT_TRUE(qzlpApp::runPlotter(plotScript(file.path(), "one's", {iteration(1.0), iteration(1e-9)}, {1e-6})));
  EXPECT_NE(file.read().find("<svg"), std::string::npos);
  EXPECT_TRUE(qzlpApp::runPlotter(plotScript(file.path(), "one iteration", {iteration(1.0)}, {1e-6})));
  EXPECT_FALSE(qzlpApp::runPlotter("this is no command of gnuplot\n"));
}

}  // namespace
