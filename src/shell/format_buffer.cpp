#include "shell/format_buffer.h"

#include <cstdarg>
#include <cstdio>

namespace qz {

namespace {

constexpr int32_t kMostDigits = 400;  // of a number: the largest double in %f has 309

// The buffer as it fills; one that overflows takes nothing more.
struct Output {
  wchar_t* buffer;
  int64_t room;
  int64_t length = 0;
  bool good = true;

  void put(wchar_t c) {
    if (length + 1 >= room) {
      good = false;
      return;
    }
    buffer[length++] = c;
  }
};

struct Conversion {
  bool left = false;
  bool zero = false;
  bool narrow = false;  // %hs
  int32_t width = 0;
  int32_t precision = -1;  // none
  wchar_t kind = 0;
};

int32_t readDigits(const wchar_t*& at) {
  int32_t value = 0;
  for (; *at >= L'0' && *at <= L'9'; ++at)
    if (value < kMostDigits) value = 10 * value + static_cast<int32_t>(*at - L'0');
  return value;
}

Conversion readConversion(const wchar_t*& at) {
  Conversion c;
  for (; *at == L'-' || *at == L'0'; ++at) (*at == L'-' ? c.left : c.zero) = true;
  c.width = readDigits(at);
  if (*at == L'.') c.precision = readDigits(++at);  // no digits mean 0
  for (; *at == L'h'; ++at) c.narrow = true;
  c.kind = *at;
  if (*at != 0) ++at;
  return c;
}

void putPadded(Output& out, const Conversion& c, int64_t length, const auto& characterAt) {
  for (int64_t k = length; !c.left && k < c.width; ++k) out.put(L' ');
  for (int64_t k = 0; k < length; ++k) out.put(characterAt(k));
  for (int64_t k = length; c.left && k < c.width; ++k) out.put(L' ');
}

template <class Character>
void putString(Output& out, const Conversion& c, const Character* text) {
  int64_t length = 0;
  while (text != nullptr && text[length] != 0 && (c.precision < 0 || length < c.precision)) ++length;
  putPadded(out, c, length, [text](int64_t k) {
    return sizeof(Character) == 1 ? static_cast<wchar_t>(static_cast<unsigned char>(text[k]))
                                  : static_cast<wchar_t>(text[k]);
  });
}

// A number by the C library, whose decimal sign may be any that the locale has.
template <class Number>
void putNumber(Output& out, const Conversion& c, Number value) {
  char format[8] = {};  // "%-0*.*" and the kind at most
  char* end = format;
  const auto append = [&end](bool wanted, char letter) {
    if (wanted) *end++ = letter;
  };
  append(true, '%');
  append(c.left, '-');
  append(c.zero, '0');
  append(true, '*');
  append(c.precision >= 0, '.');
  append(c.precision >= 0, '*');
  append(true, static_cast<char>(c.kind));
  char digits[2 * kMostDigits];
  const int width = c.width < kMostDigits ? c.width : kMostDigits;
  const int length = c.precision >= 0 ? std::snprintf(digits, sizeof digits, format, width, c.precision, value)
                                      : std::snprintf(digits, sizeof digits, format, width, value);
  if (length < 0 || length >= static_cast<int>(sizeof digits)) {
    out.good = false;
    return;
  }
  for (int k = 0; k < length; ++k) out.put(digits[k] == ',' ? L'.' : static_cast<wchar_t>(digits[k]));
}

}  // namespace

int64_t qzzFormatBuff(wchar_t* buffer, int64_t room, const wchar_t* format, ...) {
  if (room < 1) return -1;
  Output out{buffer, room};
  va_list arguments;
  va_start(arguments, format);
  for (const wchar_t* at = format; *at != 0 && out.good;) {
    if (*at != L'%') {
      out.put(*at++);
      continue;
    }
    if (*++at == L'%') {
      out.put(*at++);
      continue;
    }
    const Conversion c = readConversion(at);
    switch (c.kind) {
      case L'd':
        putNumber(out, c, va_arg(arguments, int));
        break;
      case L'e':
      case L'f':
      case L'g':
        putNumber(out, c, va_arg(arguments, double));
        break;
      case L'c': {
        const auto character = static_cast<wchar_t>(va_arg(arguments, int));
        putPadded(out, c, 1, [character](int64_t) { return character; });
        break;
      }
      case L's':
        if (c.narrow)
          putString(out, c, va_arg(arguments, const char*));
        else
          putString(out, c, va_arg(arguments, const wchar_t*));
        break;
      default:
        out.good = false;
    }
  }
  va_end(arguments);
  buffer[out.length] = 0;
  return out.good ? out.length : -1;
}

}  // namespace qz
