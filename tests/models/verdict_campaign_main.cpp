// The campaign over any range of seeds: verdict_campaign linear|quadratic FIRST LAST. Prints the table, and the model
// of a single seed, to solve it by hand. Ends with 1 when a verdict was wrong.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "models/verdict_campaign.h"

namespace {

int run(const std::string& kind, uint64_t first, uint64_t last) {
  const bool quadratic = kind == "quadratic";
  if (first == last) {
    const models::CampaignCase one = quadratic ? models::quadraticCase(first) : models::linearCase(first);
    std::printf("%s", asMps(one.program).c_str());
  }
  constexpr uint64_t kPart = 5000;  // seeds between two lines on the way
  int wrong = 0;
  for (uint64_t from = first; from <= last; from += kPart) {
    const uint64_t to = last - from < kPart ? last : from + kPart - 1;
    const models::CampaignTable table =
        quadratic ? models::runQuadraticCampaign(from, to) : models::runLinearCampaign(from, to);
    std::printf("%s, seeds %llu to %llu\n%s", kind.c_str(), static_cast<unsigned long long>(from),
                static_cast<unsigned long long>(to), table.text().c_str());
    std::fflush(stdout);
    wrong += table.total(models::Outcome::kWrong);
  }
  return wrong == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc == 4 ? argv[1] : "";
  if (kind != "linear" && kind != "quadratic") {
    std::fputs("usage: verdict_campaign linear|quadratic FIRST LAST\n", stderr);
    return 2;
  }
  try {
    return run(kind, std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "verdict_campaign: %s\n", error.what());
    return 2;
  }
}
