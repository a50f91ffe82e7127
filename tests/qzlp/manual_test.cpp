// What is written down about the program apart from it: the man page and the completions of the shells.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "qzlp/program.h"

namespace {

std::string textOf(const std::string& file) {
  std::ifstream stream(std::string(QZ_SOURCE "/") + file);
  EXPECT_TRUE(stream.good()) << file;
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The flags in a text, where a hyphen may be escaped as man pages do it.
std::set<std::string> flagsIn(std::string text) {
  text = std::regex_replace(text, std::regex(R"(\\-)"), "-");
  std::set<std::string> flags;
  const std::regex flag("--[a-z]+(-[a-z]+)*");
  for (std::sregex_iterator it(text.begin(), text.end(), flag), end; it != end; ++it) flags.insert(it->str());
  return flags;
}

TEST(Manual, ManPageAndCompletionsKnowTheFlagsOfTheProgram) {
  const std::set<std::string> flags = flagsIn(qztest::run(QZLP_PROGRAM, {"--help"}).out);
  EXPECT_GT(flags.size(), 20U);
  EXPECT_EQ(flagsIn(textOf("docs/qzlp.1")), flags);
  EXPECT_EQ(flagsIn(textOf("apps/qzlp/completion/qzlp.bash")), flags);
  EXPECT_EQ(flagsIn(textOf("apps/qzlp/completion/_qzlp")), flags);
}

// What bash offers for a command line whose last word is not finished.
std::string completion(const std::string& words) {
  const std::string script = "source '" QZ_SOURCE "/apps/qzlp/completion/qzlp.bash'; cd '" QZ_SOURCE
                             "/examples'; COMP_WORDS=(" +
                             words + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _qzlp; echo \"${COMPREPLY[*]}\"";
  const qztest::ProgramRun result = qztest::run("/bin/bash", {"-c", script});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.out;
}

TEST(Completion, OffersFlagsWordsAndModelFiles) {
  EXPECT_EQ(completion("qzlp --met"), "--method\n");
  EXPECT_EQ(completion("qzlp --tol-"), "--tol-primal --tol-dual --tol-optimality\n");
  EXPECT_EQ(completion("qzlp --method n"), "normal\n");
  EXPECT_EQ(completion("qzlp --scaling ''"), "standard row\n");
  EXPECT_EQ(completion("qzlp --threads ''"), "\n") << "nothing to offer";
  EXPECT_EQ(completion("qzlp di"), "diet.mps\n");
  EXPECT_EQ(completion("qzlp c_a"), "\n") << "a program is no model file";
  EXPECT_EQ(completion("qzlp --log c_a"), "c_api.c\n");
  EXPECT_EQ(completion("qzlp nothing-like-this"), "\n");
}

TEST(Completion, ZshReadsItsFile) {
  const qztest::ProgramRun result = qztest::run("/usr/bin/env", {"zsh", "-n", QZ_SOURCE "/apps/qzlp/completion/_qzlp"});
  if (result.exitCode == 127) GTEST_SKIP() << "zsh is not installed";
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

}  // namespace
