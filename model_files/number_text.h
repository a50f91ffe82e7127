// Numbers as model files write them.
#pragma once

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace qzfiles {

// Magnitudes from here up are infinite in bounds and sides, and refused elsewhere.
constexpr double infinity = 1e20;

// The pieces one behind the other.
template <class... Pieces>
std::string joined(const Pieces&... pieces) {
  std::string text;
  (text.append(std::string_view(pieces)), ...);
  return text;
}

inline bool equalNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

// The whole of `text` as a decimal number: an optional sign, digits with an optional point, an optional exponent with
// E or, from Fortran, D. Overflow gives infinity, underflow zero. Words such as "inf" are no numbers here.
inline bool parseNumber(std::string_view text, double& value) {
  std::string digits(text);
  for (char& c : digits)
    if (c == 'd' || c == 'D') c = 'e';
  const bool negative = !digits.empty() && digits[0] == '-';
  if (!digits.empty() && (digits[0] == '+' || digits[0] == '-')) digits.erase(0, 1);
  if (digits.empty() || (digits[0] != '.' && std::isdigit(static_cast<unsigned char>(digits[0])) == 0)) return false;
  const char* last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, value);
  if (end != last || error == std::errc::invalid_argument) return false;
  if (error == std::errc::result_out_of_range) {
    const size_t exponent = digits.find_first_of("eE");
    const bool tiny = exponent != std::string::npos && digits.find('-', exponent) != std::string::npos;
    value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
  }
  if (negative) value = -value;
  return true;
}

// As parseNumber, and also "inf" and "infinity" with an optional sign, in either case.
inline bool parseNumberOrInfinity(std::string_view text, double& value) {
  if (parseNumber(text, value)) return true;
  const bool negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.remove_prefix(1);
  if (!equalNoCase(text, "inf") && !equalNoCase(text, "infinity")) return false;
  value = negative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
  return true;
}

}  // namespace qzfiles
