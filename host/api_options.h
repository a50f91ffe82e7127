// The options of the C API: their table, and what they set in the solver's own record.
#pragma once

#include <array>
#include <string>

#include "qzipsolve/options.h"
#include "qzlp.h"

namespace qzhost {

enum OptionIndex : int {
  kPresolve,
  kMethod,
  kThreads,
  kMaxIter,
  kTimeLimit,
  kTimeType,
  kTolPrimal,
  kTolDual,
  kTolOptimality,
  kScaling,
  kCrossover,
  kPrintLevel,
  kLogFrequency,
  kDebugLevel,
  kOptionCount
};

// The values of a handle, by OptionIndex. A double holds every int32.
using OptionValues = std::array<double, kOptionCount>;

// Index of an option, -1 when there is none of that name.
int optionIndex(const char* name);

OptionValues defaultOptions();

// Checks a value against type and range. Returns an error text, empty when the value is good.
std::string checkOption(int index, double value);

// Reads a number from the whole of a text, spaces around it allowed. False when it is none.
bool parseNumber(const std::string& text, double& value);

// Sets the fields of `options`, which hold the solver's defaults. "Automatic" values leave their field alone.
void applyOptions(const OptionValues& values, LpOptions* options);

}  // namespace qzhost
