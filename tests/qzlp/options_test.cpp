// The solver's options as people write them.
#include "qzlp/options.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace {

using qzlpApp::flagName;
using qzlpApp::OptionError;
using qzlpApp::OptionValues;
using qzlpApp::parseOptions;
using qzlpApp::textOf;
using qzlpApp::valueOf;

const qzlp_option& option(const char* name) {
  return *qzlp_findOption(name);
}

// What parseOptions says is wrong, empty when nothing is.
std::string complaint(const std::string& text) {
  try {
    parseOptions(text);
  } catch (const OptionError& error) {
    return error.what();
  }
  return {};
}

TEST(Options, FlagsAreTheNamesOfTheLibraryInLowerCaseWithHyphens) {
  EXPECT_EQ(flagName("tolPrimal"), "tol-primal");
  EXPECT_EQ(flagName("method"), "method");
  EXPECT_EQ(flagName("maxIter"), "max-iter");
  std::set<std::string> flags{"tol", "help", "version", "json", "quiet", "log", "plot", "solution", "basis"};
  for (int i = 0; i < qzlp_optionCount(); ++i)
    EXPECT_TRUE(flags.insert(flagName(qzlp_optionAt(i)->name)).second) << qzlp_optionAt(i)->name << " is taken";
}

TEST(Options, ValuesAreNumbersOrTheWordsOfAnOption) {
  EXPECT_EQ(valueOf(option("method"), "augmented"), 0.0);
  EXPECT_EQ(valueOf(option("method"), "normal"), 1.0);
  EXPECT_EQ(valueOf(option("method"), "1"), 1.0);
  EXPECT_EQ(valueOf(option("scaling"), "row"), 1.0);
  EXPECT_EQ(valueOf(option("tolDual"), "1e-9"), 1e-9);
  EXPECT_EQ(valueOf(option("maxIter"), "+12"), 12.0);
  EXPECT_EQ(valueOf(option("presolve"), "-1"), -1.0);
  EXPECT_EQ(valueOf(option("timeLimit"), "inf"), std::numeric_limits<double>::infinity());
}

TEST(Options, OtherTextsAreNoValues) {
  const struct {
    const char *name, *text;
  } cases[] = {{"method", "simplex"}, {"method", "2"},      {"method", ""},         {"threads", "many"},
               {"threads", "1.5"},    {"threads", "-1"},    {"threads", "1 2"},     {"tolDual", "1e-16"},
               {"tolDual", "nan"},    {"tolDual", "1e-9x"}, {"timeLimit", "-1e-9"}, {"maxIter", "1e10"}};
  for (const auto& one : cases) EXPECT_THROW(valueOf(option(one.name), one.text), OptionError) << one.name << one.text;
}

TEST(Options, TextsOfValuesReadBackTheSame) {
  for (int i = 0; i < qzlp_optionCount(); ++i) {
    const qzlp_option& one = *qzlp_optionAt(i);
    for (const double value : {one.defaultValue, one.minimum, one.maximum})
      EXPECT_EQ(valueOf(one, textOf(one, value)), value) << one.name;
  }
  EXPECT_EQ(textOf(option("tolDual"), 1e-6), "1e-6");
  EXPECT_EQ(valueOf(option("tolDual"), textOf(option("tolDual"), 0.1 + 0.2)), 0.1 + 0.2) << "all digits";
}

TEST(OptionsFile, TakesBothFormsOfANameBlanksAndComments) {
  const OptionValues expected{{"tolPrimal", 1e-8}, {"maxIter", 7.0}, {"method", 1.0}};
  EXPECT_EQ(parseOptions("tolPrimal=1e-8\n\n# a comment\n \t max-iter\t=  7 # seven\r\nmethod = normal"), expected);
  EXPECT_TRUE(parseOptions("").empty());
  EXPECT_TRUE(parseOptions("\n  \n#").empty());
}

TEST(OptionsFile, ATolerancesOwnLineWinsOverTol) {
  const OptionValues expected{{"tolPrimal", 1e-5}, {"tolDual", 1e-5}, {"tolOptimality", 1e-5}, {"tolDual", 1e-9}};
  EXPECT_EQ(parseOptions("tol-dual = 1e-9\ntol = 1e-5\n"), expected);
}

TEST(OptionsFile, AWrongLineIsToldWithItsNumber) {
  EXPECT_EQ(complaint("method = normal\nmethod normal\n"), "line 2: 'method normal' is not of the form name = value");
  EXPECT_EQ(complaint("\n\nspeed = 9\n"), "line 3: there is no option 'speed'");
  EXPECT_EQ(complaint("= 9\n"), "line 1: there is no option ''");
  EXPECT_EQ(complaint("method = simplex\n"), "line 1: 'simplex' is not one of augmented|normal");
  EXPECT_EQ(complaint("threads =\n"), "line 1: '' is not a number");
  EXPECT_EQ(complaint("tol = 2\n"), "line 1: '2' is out of the range 1e-15 to 1");
}

TEST(OptionsFile, TheTextOfAllOptionsReadsBackAsTheirValues) {
  const OptionValues set{{"tolDual", 1e-7}, {"method", 1.0}, {"tolDual", 1e-9}};
  const std::string text = qzlpApp::optionsFileText(set);
  const OptionValues read = parseOptions(text);
  ASSERT_EQ(read.size(), static_cast<size_t>(qzlp_optionCount()));
  for (size_t i = 0; i < read.size(); ++i) {
    const qzlp_option& one = *qzlp_optionAt(static_cast<int>(i));
    EXPECT_EQ(read[i].first, one.name);
    const std::string name = one.name;
    EXPECT_EQ(read[i].second, name == "tolDual" ? 1e-9 : name == "method" ? 1.0 : one.defaultValue) << name;
  }
  EXPECT_NE(text.find("# Linear system of the iterations"), std::string::npos);
}

TEST(Wrapped, BreaksLinesBetweenWords) {
  EXPECT_EQ(qzlpApp::wrapped("", 10, "# "), "# ");
  EXPECT_EQ(qzlpApp::wrapped("one two three four", 9, ""), "one two\nthree\nfour");
  EXPECT_EQ(qzlpApp::wrapped("one two three four", 9, "# "), "# one two\n# three\n# four");
  EXPECT_EQ(qzlpApp::wrapped("  much   blank ", 40, ""), "much blank");
  EXPECT_EQ(qzlpApp::wrapped("a incomprehensible b", 5, ""), "a\nincomprehensible\nb") << "a long word stays whole";
}

}  // namespace
