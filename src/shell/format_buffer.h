// Formatting into a buffer of wide characters, for the text files of the diagnostics.
#pragma once

#include <cstdint>

namespace qz {

// printf into `room` wide characters, the end mark included. Conversions are d, c, s, e, f and g with the flags - and
// 0, width and precision; %s takes a wide string, %hs a narrow one, whatever the locale is, and the decimal sign is a
// point. Returns the number of characters without the end mark, or -1 when they do not fit or the format is none.
[[nodiscard]] int64_t qzzFormatBuff(wchar_t* buffer, int64_t room, const wchar_t* format, ...);

}  // namespace qz
