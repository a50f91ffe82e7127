#include "models/collection.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "models/certificate.h"

namespace models {

namespace {

constexpr double tolerance = 1e-6;

// From optima.tsv: file, status, objective.
std::map<std::string, Expected> readOptima(const std::filesystem::path& folder) {
  std::map<std::string, Expected> optima;
  std::ifstream file(folder / "optima.tsv");
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name;
    Expected expected;
    fields >> name >> expected.status >> expected.objective;
    optima[name] = expected;
  }
  return optima;
}

}  // namespace

void Collection::SetUp() {
  const char* data = std::getenv("QZ_TEST_DATA");
  if (data == nullptr) GTEST_SKIP() << "QZ_TEST_DATA does not name the folder of the model collections";
  folder_ = data;
  optima_ = readOptima(folder_);
  ASSERT_FALSE(optima_.empty()) << "no optima.tsv in " << folder_;
}

void Collection::check(const std::string& name, const std::vector<Choice>& choices) {
  SCOPED_TRACE(name);
  const auto found = optima_.find(name);
  ASSERT_NE(found, optima_.end()) << "not in optima.tsv";
  const LinearProgram program = readMpsFile((folder_ / name).string());
  const Answer answer = solve(program, choices);
  const Expected& expected = found->second;
  std::printf("%-32s status %3d objective %19.12g iterations %3d %7.2f s", name.c_str(), answer.status,
              answer.objective, answer.iterations, answer.seconds);
  if (expected.status == 1) {
    const Certificate certificate = certify(program, answer);
    const double error = std::fabs(answer.objective - expected.objective) / (1.0 + std::fabs(expected.objective));
    const bool good = answer.status == 1 && error <= tolerance && certificate.holds(tolerance);
    std::printf(" error %.1e%s\n    %s\n", error, good ? "" : " FAILED", certificate.text().c_str());
    EXPECT_EQ(answer.status, 1) << answer.log;
    EXPECT_LE(error, tolerance) << answer.objective << " instead of " << expected.objective;
    EXPECT_TRUE(certificate.holds(tolerance)) << certificate.text();
  } else {
    const bool good = answer.status == 3 || answer.status == 14;
    std::printf("%s\n", good ? "" : " FAILED");
    EXPECT_TRUE(good) << "status " << answer.status << "\n" << answer.log;
  }
  std::fflush(stdout);
}

std::vector<std::string> Collection::namesIn(const std::string& part) const {
  std::vector<std::string> names;
  for (const auto& [name, expected] : optima_)
    if (name.compare(0, part.size(), part) == 0) names.push_back(name);
  return names;
}

void Collection::checkFolder(const std::string& part) {
  const std::vector<std::string> names = namesIn(part);
  ASSERT_FALSE(names.empty());
  for (const std::string& name : names) check(name);
}

}  // namespace models
