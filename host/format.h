// Formatted text for log lines, in the manner of printf, independent of the locale and of the C library's wide printf,
// which reads %s as a narrow string.
//
//   %[flags][width][.precision][length]conversion
//   flags - + space # 0; width and precision as numbers or *; length h l ll z j t
//   d i u x X o      integers: int, with l or ll or j or z or t 64 bits
//   e E f F g G a A  double
//   c                a character
//   s                a wide string; %hs a narrow one (UTF-8); null shows as (null)
//   p                a pointer
//   %%               a percent sign
//
// Width and precision of strings count characters. Text of an unknown conversion is copied as it stands, and no
// argument is taken.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace qzhost {

// The text as UTF-8.
std::string formatWide(const wchar_t* text, int64_t length, va_list arguments);
std::string formatNarrow(std::string_view text, va_list arguments);

// Appends one character as UTF-8; what is no character becomes U+FFFD.
void appendUtf8(std::string& out, uint32_t character);

}  // namespace qzhost
