#include "host/api_options.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

namespace qzhost {

namespace {

constexpr double kIntMax = std::numeric_limits<int32_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kSmallestTolerance = 1e-15;

// In the order of OptionIndex.
constexpr qzlp_option kTable[] = {
    {"presolve", QZLP_OPTION_INT, -1, -1, 3,
     "Reductions of a linear model before the method begins: -1 what the presolver module does in any case, 0 the "
     "solver's own presolve behind that, 1 to 3 the module's light, moderate and all reductions."},
    {"method", QZLP_OPTION_INT, 0, 0, 1,
     "Linear system of the iterations: 0 the augmented system (sparse LDL factorisation), 1 the normal equations "
     "(sparse Cholesky factorisation)."},
    {"threads", QZLP_OPTION_INT, 0, 0, 1024,
     "Threads of the linear algebra; 0 takes as many as the host option host.cpucount tells."},
    {"maxIter", QZLP_OPTION_INT, kIntMax, 0, kIntMax, "Limit on the iterations of the interior-point method."},
    {"timeLimit", QZLP_OPTION_DOUBLE, kInfinity, 0, kInfinity, "Limit on the time of one solve in seconds."},
    {"timeType", QZLP_OPTION_INT, -1, -1, 1,
     "Time that timeLimit and the reported times measure: 0 processor time of all threads, 1 real time, -1 real time "
     "when host.cpucount is 2 or more, else processor time."},
    {"tolPrimal", QZLP_OPTION_DOUBLE, 1e-6, kSmallestTolerance, 1,
     "Tolerance of the relative primal and bound infeasibility."},
    {"tolDual", QZLP_OPTION_DOUBLE, 1e-6, kSmallestTolerance, 1, "Tolerance of the relative dual infeasibility."},
    {"tolOptimality", QZLP_OPTION_DOUBLE, 1e-6, kSmallestTolerance, 1,
     "Tolerance of the relative duality gap and of the complementarity."},
    {"scaling", QZLP_OPTION_INT, 0, 0, 1,
     "Scaling of the model: 0 rows and columns by statistics of its data, 1 rows only."},
    {"crossover", QZLP_OPTION_INT, 0, 0, 3,
     "Basic solution behind the interior-point method, from the simplex module: 0 none, 1 or 3 beginning on the dual "
     "side, 2 on the primal side."},
    {"printLevel", QZLP_OPTION_INT, 2, 0, 5, "Log: 0 silent, 1 a summary, 2 and above the iteration table as well."},
    {"logFrequency", QZLP_OPTION_INT, 1, 0, kIntMax,
     "A line of the iteration table every so many iterations; 0 shows no table."},
    {"debugLevel", QZLP_OPTION_INT, 0, 0, 100,
     "Compute every stage a second time and compare: 1 the structure, 3 the solution too, 5 every iteration, 7 with a "
     "report for each check, 9 with the whole solution; 0 nothing. Slow."},
};
static_assert(sizeof(kTable) / sizeof(kTable[0]) == kOptionCount, "one entry for every index");

int32_t asInt(double value) {
  return static_cast<int32_t>(value);
}

std::string shown(double value) {
  char text[40];
  std::snprintf(text, sizeof(text), "%.12g", value);
  return text;
}

}  // namespace

int optionIndex(const char* name) {
  for (int i = 0; name != nullptr && i < kOptionCount; ++i)
    if (std::strcmp(kTable[i].name, name) == 0) return i;
  return -1;
}

OptionValues defaultOptions() {
  OptionValues values{};
  for (int i = 0; i < kOptionCount; ++i) values[static_cast<size_t>(i)] = kTable[i].defaultValue;
  return values;
}

std::string checkOption(int index, double value) {
  const qzlp_option& option = kTable[index];
  const std::string begin = "option " + std::string(option.name) + ": ";
  if (std::isnan(value)) return begin + "not a number";
  if (value < option.minimum || value > option.maximum)
    return begin + shown(value) + " is not between " + shown(option.minimum) + " and " + shown(option.maximum);
  if (option.type == QZLP_OPTION_INT && value != std::floor(value)) return begin + shown(value) + " is no whole number";
  return {};
}

bool parseNumber(const std::string& text, double& value) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return false;
  const size_t end = text.find_last_not_of(" \t") + 1;
  const size_t sign = text[begin] == '+' ? 1 : 0;
  if (sign == 1 && begin + 1 < end && (text[begin + 1] == '-' || text[begin + 1] == '+')) return false;
  const char* last = text.data() + end;
  const std::from_chars_result result = std::from_chars(text.data() + begin + sign, last, value);
  return result.ec == std::errc() && result.ptr == last;
}

void applyOptions(const OptionValues& values, LpOptions* options) {
  constexpr int32_t kAugmentedSystem = 100;
  constexpr int32_t kNormalEquations = 1;
  options->presolveMode = asInt(values[kPresolve]);
  options->methodOption = values[kMethod] == 1.0 ? kNormalEquations : kAugmentedSystem;
  if (values[kThreads] > 0.0) options->numThread = asInt(values[kThreads]);
  options->maxIter = asInt(values[kMaxIter]);
  if (values[kTimeLimit] < options->timeLimit) options->timeLimit = values[kTimeLimit];
  if (values[kTimeType] >= 0.0) options->timeType = asInt(values[kTimeType]);
  options->tolPrimal = values[kTolPrimal];
  options->tolDual = values[kTolDual];
  options->tolOptimality = values[kTolOptimality];
  options->initOption = asInt(values[kScaling]);
  options->crossover = asInt(values[kCrossover]);
  options->printLevel = asInt(values[kPrintLevel]);
  options->logFrequency = asInt(values[kLogFrequency]);
  options->debugLevel = asInt(values[kDebugLevel]);
}

}  // namespace qzhost

int qzlp_optionCount(void) {
  return qzhost::kOptionCount;
}

const qzlp_option* qzlp_optionAt(int index) {
  return index >= 0 && index < qzhost::kOptionCount ? &qzhost::kTable[index] : nullptr;
}

const qzlp_option* qzlp_findOption(const char* name) {
  return qzlp_optionAt(qzhost::optionIndex(name));
}
