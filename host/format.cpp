#include "host/format.h"

#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <vector>

namespace qzhost {

namespace {

// A va_list that can be handed on by reference.
struct Arguments {
  va_list list;
};

// One conversion, read from the text.
struct Conversion {
  std::string flags;
  int width = 0;
  int precision = -1;  // -1: none given
  int longs = 0;       // 1 for any 64-bit length
  int halves = 0;      // number of h
  char kind = 0;
};

constexpr int kMostCharacters = 4096;  // of a width or precision: no line is longer

bool contains(const char* set, uint32_t c) {
  return c != 0 && c < 128 && std::strchr(set, static_cast<int>(c)) != nullptr;
}

template <class Text>
int readNumber(const Text& text, size_t& at, Arguments& arguments) {
  if (at < text.size() && text[at] == '*') {
    ++at;
    const int value = va_arg(arguments.list, int);
    return value > kMostCharacters ? kMostCharacters : value;
  }
  int value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    if (value < kMostCharacters) value = 10 * value + static_cast<int>(text[at] - '0');
  return value > kMostCharacters ? kMostCharacters : value;
}

// Reads what follows a percent sign. False when it is no conversion that we know.
template <class Text>
bool readConversion(const Text& text, size_t& at, Arguments& arguments, Conversion& out) {
  for (; at < text.size() && contains("-+ #0", static_cast<uint32_t>(text[at])); ++at)
    out.flags.push_back(static_cast<char>(text[at]));
  out.width = readNumber(text, at, arguments);
  if (out.width < 0) {  // a negative width from an argument means to the left
    out.flags.push_back('-');
    out.width = out.width < -kMostCharacters ? kMostCharacters : -out.width;
  }
  if (at < text.size() && text[at] == '.') {
    ++at;
    out.precision = readNumber(text, at, arguments);
  }
  for (; at < text.size() && contains("hlzjt", static_cast<uint32_t>(text[at])); ++at) {
    if (text[at] == 'h')
      ++out.halves;
    else
      out.longs = 1;
  }
  if (at >= text.size() || !contains("diuxXoeEfFgGaAcsp", static_cast<uint32_t>(text[at]))) return false;
  out.kind = static_cast<char>(text[at++]);
  return true;
}

// The conversion as the C library takes it, with `length` in front of its kind.
std::string numberFormat(const Conversion& conversion, const char* length) {
  std::string format = "%" + conversion.flags + "*";
  if (conversion.precision >= 0) format += ".*";
  return format + length + conversion.kind;
}

template <class Value>
void appendNumber(std::string& out, const Conversion& conversion, const char* length, Value value) {
  const std::string format = numberFormat(conversion, length);
  char fixed[512];
  const auto print = [&](char* buffer, size_t room) {
    return conversion.precision >= 0
               ? std::snprintf(buffer, room, format.c_str(), conversion.width, conversion.precision, value)
               : std::snprintf(buffer, room, format.c_str(), conversion.width, value);
  };
  const int needed = print(fixed, sizeof(fixed));
  if (needed < 0) return;
  const auto size = static_cast<size_t>(needed);
  if (size < sizeof(fixed)) {
    out.append(fixed, size);
    return;
  }
  std::vector<char> large(size + 1);
  print(large.data(), large.size());
  out.append(large.data(), size);
}

// The decimal sign is a point in every locale.
void appendReal(std::string& out, const Conversion& conversion, double value) {
  const size_t begin = out.size();
  appendNumber(out, conversion, "", value);
  const char* sign = std::localeconv()->decimal_point;
  if (std::strcmp(sign, ".") == 0 || *sign == '\0') return;
  const size_t found = out.find(sign, begin);
  if (found == std::string::npos) return;
  out.erase(found, std::strlen(sign));
  out.insert(found, 1, '.');
}

void appendPadded(std::string& out, const Conversion& conversion, const std::string& text, int characters) {
  const size_t pad = conversion.width > characters ? static_cast<size_t>(conversion.width - characters) : 0;
  const bool left = conversion.flags.find('-') != std::string::npos;
  if (!left) out.append(pad, ' ');
  out += text;
  if (left) out.append(pad, ' ');
}

void appendWideString(std::string& out, const Conversion& conversion, const wchar_t* value) {
  if (value == nullptr) value = L"(null)";
  std::string text;
  int characters = 0;
  for (; (conversion.precision < 0 || characters < conversion.precision) && value[characters] != L'\0'; ++characters)
    appendUtf8(text, static_cast<uint32_t>(value[characters]));
  appendPadded(out, conversion, text, characters);
}

void appendNarrowString(std::string& out, const Conversion& conversion, const char* value) {
  if (value == nullptr) value = "(null)";
  std::string text;
  int characters = 0;
  for (const char* c = value; *c != '\0'; ++c) {
    const bool begins = (static_cast<unsigned char>(*c) & 0xc0U) != 0x80U;  // not inside of a UTF-8 sequence
    if (begins && conversion.precision >= 0 && characters >= conversion.precision) break;
    characters += begins ? 1 : 0;
    text.push_back(*c);
  }
  appendPadded(out, conversion, text, characters);
}

void appendConversion(std::string& out, const Conversion& conversion, Arguments& arguments) {
  switch (conversion.kind) {
    case 'd':
    case 'i':
      if (conversion.longs != 0)
        appendNumber(out, conversion, "ll", va_arg(arguments.list, long long));
      else
        appendNumber(out, conversion, "", va_arg(arguments.list, int));
      return;
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      if (conversion.longs != 0)
        appendNumber(out, conversion, "ll", va_arg(arguments.list, unsigned long long));
      else
        appendNumber(out, conversion, "", va_arg(arguments.list, unsigned));
      return;
    case 'c': {
      std::string text;
      appendUtf8(text, static_cast<uint32_t>(va_arg(arguments.list, int)));
      appendPadded(out, conversion, text, 1);
      return;
    }
    case 's':
      if (conversion.halves != 0)
        appendNarrowString(out, conversion, va_arg(arguments.list, const char*));
      else
        appendWideString(out, conversion, va_arg(arguments.list, const wchar_t*));
      return;
    case 'p':
      appendNumber(out, conversion, "", va_arg(arguments.list, void*));
      return;
    default:
      appendReal(out, conversion, va_arg(arguments.list, double));
      return;
  }
}

// Text is a view of narrow characters, copied byte by byte, or of wide ones.
template <class Character, class Text>
std::string format(const Text& text, Arguments& arguments) {
  std::string out;
  const auto append = [&out](Character c) {
    if constexpr (sizeof(Character) == 1)
      out.push_back(c);
    else
      appendUtf8(out, static_cast<uint32_t>(c));
  };
  for (size_t at = 0; at < text.size();) {
    const Character c = text[at++];
    if (c != '%') {
      append(c);
      continue;
    }
    if (at < text.size() && text[at] == '%') {
      out.push_back('%');
      ++at;
      continue;
    }
    const size_t begin = at - 1;
    Conversion conversion;
    if (readConversion(text, at, arguments, conversion))
      appendConversion(out, conversion, arguments);
    else
      for (size_t i = begin; i < at; ++i) append(text[i]);
  }
  return out;
}

}  // namespace

void appendUtf8(std::string& out, uint32_t character) {
  if (character > 0x10ffff || (character >= 0xd800 && character <= 0xdfff)) character = 0xfffd;
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xc0 | (character >> 6));
    put(0x80 | (character & 0x3f));
  } else if (character < 0x10000) {
    put(0xe0 | (character >> 12));
    put(0x80 | ((character >> 6) & 0x3f));
    put(0x80 | (character & 0x3f));
  } else {
    put(0xf0 | (character >> 18));
    put(0x80 | ((character >> 12) & 0x3f));
    put(0x80 | ((character >> 6) & 0x3f));
    put(0x80 | (character & 0x3f));
  }
}

std::string formatWide(const wchar_t* text, int64_t length, va_list arguments) {
  if (text == nullptr || length <= 0) return {};
  Arguments copy;
  va_copy(copy.list, arguments);
  std::string out = format<wchar_t>(std::wstring_view(text, static_cast<size_t>(length)), copy);
  va_end(copy.list);
  return out;
}

std::string formatNarrow(std::string_view text, va_list arguments) {
  Arguments copy;
  va_copy(copy.list, arguments);
  std::string out = format<char>(text, copy);
  va_end(copy.list);
  return out;
}

}  // namespace qzhost
