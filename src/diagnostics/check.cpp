#include "diagnostics/check.h"

#include "shell/random.h"

namespace qz {

void Check::expectReal(const wchar_t* field, int32_t index, double value, const wchar_t* relation, double bound) {
  ++numBreach_;
  if (index < 0)
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s = %.15g should be %s %.15g", function_, field, value, relation, bound);
  else
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s(%d) = %.15g should be %s %.15g", function_, field, index, value,
            relation, bound);
}

void Check::same(const wchar_t* field, int32_t index, int32_t value, int32_t expected) {
  if (value == expected) return;
  ++numBreach_;
  if (index < 0)
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s = %d should be %d", function_, field, value, expected);
  else
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s(%d) = %d should be %d", function_, field, index, value, expected);
}

bool Check::inRange(const wchar_t* field, int32_t index, int32_t value, int32_t end) {
  if (value >= 0 && value < end) return true;
  ++numBreach_;
  if (index < 0)
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s = %d should be from 0 to %d", function_, field, value, end - 1);
  else
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s(%d) = %d should be from 0 to %d", function_, field, index, value,
            end - 1);
  return false;
}

void Check::close(const wchar_t* field, int32_t index, double value, double expected, double tolerance) {
  if (value == expected || std::fabs(value - expected) <= tolerance) return;
  expectReal(field, index, value, L"about", expected);
}

void Check::atLeast(const wchar_t* field, int32_t index, double value, double least) {
  if (value >= least) return;
  expectReal(field, index, value, L"at least", least);
}

void Check::atMost(const wchar_t* field, int32_t index, double value, double most) {
  if (value <= most) return;
  expectReal(field, index, value, L"at most", most);
}

void Check::present(const wchar_t* field, const void* pointer, bool expected) {
  if ((pointer != nullptr) == expected) return;
  ++numBreach_;
  if (expected)
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s is null and should not be", function_, field);
  else
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s should be null", function_, field);
}

void Check::breach(const wchar_t* field, int32_t index, const wchar_t* what) {
  ++numBreach_;
  if (index < 0)
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s %s", function_, field, what);
  else
    logText(log_, QZ_LOG_DEBUG, L"Error %s: %s(%d) %s", function_, field, index, what);
}

int32_t Check::report(int32_t level) const {
  if (numBreach_ == 0 && level >= VERIFY_REPORT) logText(log_, QZ_LOG_DEBUG, L"%s passed.", function_);
  return result();
}

double zranuni(uint32_t* state) {
  constexpr double kModulus = 2147483647.0;
  return qzRand(state) / kModulus;
}

}  // namespace qz
