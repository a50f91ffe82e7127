// Formatter, catalogue and log object.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <map>
#include <string>
#include <vector>

#include "host/catalogue.h"
#include "host/format.h"
#include "host/log_sink.h"
#include "qzipsolve/messages.h"

namespace {

std::string wide(const wchar_t* text, int64_t length, ...) {
  va_list arguments;
  va_start(arguments, length);
  std::string out = qzhost::formatWide(text, length, arguments);
  va_end(arguments);
  return out;
}

std::string narrow(const char* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  std::string out = qzhost::formatNarrow(text, arguments);
  va_end(arguments);
  return out;
}

#define WIDE(text, ...) wide(text, static_cast<int64_t>(std::wcslen(text)) __VA_OPT__(, ) __VA_ARGS__)

TEST(Format, IntegersOfEveryLength) {
  EXPECT_EQ(WIDE(L"%d|%i|%5d|%-5d|%05d|%+d", 1, -2, 3, 4, 5, 6), "1|-2|    3|4    |00005|+6");
  EXPECT_EQ(WIDE(L"%ld %lld", 1L << 40, -(1LL << 50)), "1099511627776 -1125899906842624");
  EXPECT_EQ(WIDE(L"%u %x %X %#x %o", 7u, 255u, 255u, 255u, 8u), "7 ff FF 0xff 10");
  EXPECT_EQ(WIDE(L"%lu %lx %zu", 1UL << 33, 1UL << 33, size_t{9}), "8589934592 200000000 9");
  EXPECT_EQ(WIDE(L"%hd|%.3d|%*d|%-*d|", 5, 7, 4, 1, 4, 2), "5|007|   1|2   |");
  EXPECT_EQ(WIDE(L"%*d|", -4, 2), "2   |");
}

TEST(Format, RealsOfEveryStyle) {
  EXPECT_EQ(WIDE(L"%g %e %f %E %G", 0.5, 1.0, 2.0, 3.0, 1e-10), "0.5 1.000000e+00 2.000000 3.000000E+00 1E-10");
  EXPECT_EQ(WIDE(L"%15.7g|%12.g|%-10.3f|%.*f", 1.0 / 3.0, 123.0, 2.5, 2, 1.005),
            "      0.3333333|       1e+02|2.500     |1.00");
  EXPECT_EQ(WIDE(L"%g %g", HUGE_VAL, -HUGE_VAL), "inf -inf");
  EXPECT_EQ(WIDE(L"%lg %.2lf", 1.5, 2.25), "1.5 2.25");
}

TEST(Format, LongNumbersAreNotCut) {
  const std::string text = WIDE(L"%f", 1e300);
  EXPECT_GT(text.size(), 300u);
  EXPECT_EQ(text.substr(text.size() - 7), ".000000");
  EXPECT_EQ(WIDE(L"%600d", 1).size(), 600u);
  EXPECT_EQ(WIDE(L"%.300f", 0.1).size(), 302u);
}

TEST(Format, StringsAreWideUnlessMarkedNarrow) {
  EXPECT_EQ(WIDE(L"%s|%ls|%hs", L"wide", L"also", "narrow"), "wide|also|narrow");
  EXPECT_EQ(WIDE(L"%6s|%-6s|%.2s|%6.3s|", L"abc", L"abc", L"abc", L"abcdef"), "   abc|abc   |ab|   abc|");
  EXPECT_EQ(WIDE(L"%6hs|%-6hs|%.2hs|", "abc", "abc", "abc"), "   abc|abc   |ab|");
  EXPECT_EQ(WIDE(L"%s %hs", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)), "(null) (null)");
}

TEST(Format, WidthCountsCharactersAndOutputIsUtf8) {
  EXPECT_EQ(WIDE(L"%3s|", L"\u00e9"), "  \u00e9|");
  EXPECT_EQ(WIDE(L"%.1s|", L"\u20ac\u20ac"), "\u20ac|");
  EXPECT_EQ(WIDE(L"%4hs|%.1hs|", "\u20ac", "\u20ac\u20ac"), "   \u20ac|\u20ac|");
  EXPECT_EQ(WIDE(L"\u03b1 %c \U0001F600", L'\u03b2'), "\u03b1 \u03b2 \U0001F600");
  const wchar_t broken[] = {static_cast<wchar_t>(0xd800), 0};
  EXPECT_EQ(WIDE(broken), "\uFFFD");
}

TEST(Format, PercentSignsCharactersAndUnknownConversions) {
  EXPECT_EQ(WIDE(L"100%% %c%c|%3c", 'o', 'k', 'x'), "100% ok|  x");
  EXPECT_EQ(WIDE(L"%q %d", 5), "%q 5");
  EXPECT_EQ(WIDE(L"end %"), "end %");
  EXPECT_EQ(WIDE(L"end %-5."), "end %-5.");
  EXPECT_EQ(WIDE(L""), "");
}

TEST(Format, TheTextEndsAtItsLength) {
  EXPECT_EQ(wide(L"abc%d", 3), "abc");
  EXPECT_EQ(wide(L"a%dxyz", 3, 4), "a4");
  EXPECT_EQ(wide(L"abc", 0), "");
  EXPECT_EQ(wide(nullptr, 3), "");
}

TEST(Format, NarrowTextsTakeTheSameConversions) {
  EXPECT_EQ(narrow("%5d %.2e \u20ac %s", 3, 0.5, L"w"), "    3 5.00e-01 \u20ac w");
}

// Every code, with its level and the kinds of its arguments, as the solver sends it.
const std::map<uint32_t, std::pair<int32_t, std::string>> kSent = {
    {0x827fd001, {2, ""}},    {0x827fd002, {2, "g"}},        {0x827fd006, {4, ""}},   {0x827fd007, {2, ""}},
    {0x827fd008, {2, ""}},    {0x827fd009, {2, ""}},         {0x827fd00b, {2, ""}},   {0x827fd00c, {2, ""}},
    {0x827fd00d, {2, ""}},    {0x827fd00e, {2, ""}},         {0x827fd00f, {2, ""}},   {0x827fd011, {3, ""}},
    {0x827fd012, {2, ""}},    {0x827fd015, {2, ""}},         {0x827fd801, {2, ""}},   {0x827fd802, {100, ""}},
    {0x827fd803, {100, ""}},  {0x827fd804, {101, "dggggg"}}, {0x827fd805, {2, ""}},   {0x827fd806, {2, "g"}},
    {0x827fd807, {4, ""}},    {0x827fd808, {4, ""}},         {0x827fd809, {4, ""}},   {0x827fd80a, {4, ""}},
    {0x827fd80b, {4, ""}},    {0x827fd80f, {3, ""}},         {0x827fd810, {3, ""}},   {0x827fd811, {4, "g"}},
    {0x827fd812, {4, "g"}},   {0x827fd813, {4, "g"}},        {0x827fd814, {3, ""}},   {0x827fd815, {2, "d"}},
    {0x827fd816, {3, ""}},    {0x827fd864, {2, ""}},         {0x827fd866, {2, ""}},   {0x827fd867, {2, ""}},
    {0x827fd868, {3, ""}},    {0x827fd869, {2, ""}},         {0x827fd86a, {2, ""}},   {0x827fd86e, {4, "d"}},
    {0x827fd86f, {2, "dd"}},  {0x827fd870, {2, "d"}},        {0x827fd874, {2, ""}},   {0x827fd875, {2, ""}},
    {0x827fd876, {2, ""}},    {0x827fd8ce, {4, "gg"}},       {0x827fd8cf, {4, "gg"}}, {0x827fd8d0, {4, "gg"}},
    {0x827fd9b4, {2, "ddd"}}, {0x827fda37, {2, ""}},
};

// The kinds of arguments that a text takes: d for an int32, g for a double.
std::string kindsOf(std::string_view text) {
  std::string kinds;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') continue;
    at = text.find_first_not_of("0123456789.-+ #", at + 1);
    if (at == std::string_view::npos) break;
    if (text[at] == '%') continue;
    kinds.push_back(text[at] == 'd' ? 'd' : 'g');
    EXPECT_NE(std::string("defg").find(text[at]), std::string::npos) << text;
  }
  return kinds;
}

TEST(Catalogue, HoldsEveryCodeAndNoOther) {
  EXPECT_EQ(qzhost::catalogueSize(), kSent.size());
  for (const auto& [code, sent] : kSent) {
    const qzhost::CatalogueEntry* entry = qzhost::findMessage(code);
    ASSERT_NE(entry, nullptr) << std::hex << code;
    EXPECT_EQ(entry->level, sent.first) << std::hex << code;
    EXPECT_EQ(kindsOf(entry->text), sent.second) << std::hex << code;
  }
}

TEST(Catalogue, TextsAreDistinctPrintableLines) {
  std::map<std::string_view, uint32_t> seen;
  for (size_t i = 0; i < qzhost::catalogueSize(); ++i) {
    const qzhost::CatalogueEntry& entry = qzhost::catalogueBegin()[i];
    EXPECT_GE(entry.text.size(), 10u);
    EXPECT_TRUE(seen.emplace(entry.text, entry.code).second) << entry.text;
    for (char c : entry.text) EXPECT_TRUE(c >= ' ' && c <= '~') << entry.text;
    if (entry.level < QZ_LOG_HEADER) {
      EXPECT_LE(entry.text.size(), 110u) << entry.text;
    }
  }
  EXPECT_EQ(qzhost::findMessage(0), nullptr);
  EXPECT_EQ(qzhost::findMessage(0x827fd003), nullptr);
  EXPECT_EQ(qzhost::findMessage(0xffffffff), nullptr);
}

// What a callback was given.
struct Line {
  int level;
  uint32_t code;
  std::string text;
};

struct Log {
  qzhost::LogSink sink;
  std::vector<Line> lines;
  Log() {
    sink.userData = &lines;
    sink.callback = [](int level, uint32_t code, const char* line, void* data) {
      static_cast<std::vector<Line>*>(data)->push_back({level, code, line});
    };
  }
};

TEST(LogSink, CodesBecomeLines) {
  Log log;
  QzLog* out = &log.sink.log;
  out->logCode(out, 2, QZ_MSG_OBJECTIVE, -12.5);
  out->logCode(out, 2, QZ_MSG_THREADS, 4);
  out->logCode(out, 4, QZ_MSG_CHECK_PRIMAL, 1e-3, 1e-6);
  out->logCode(out, 2, 0x827f0000u);
  ASSERT_EQ(log.lines.size(), 4u);
  EXPECT_EQ(log.lines[0].text, "Objective value: -12.5");
  EXPECT_EQ(log.lines[0].level, 2);
  EXPECT_EQ(log.lines[0].code, QZ_MSG_OBJECTIVE);
  EXPECT_EQ(log.lines[1].text, "Number of threads: 4");
  EXPECT_NE(log.lines[2].text.find("1.000e-03, tolerance 1e-06"), std::string::npos);
  EXPECT_EQ(log.lines[3].text, "Message 0x827f0000");
  EXPECT_EQ(log.sink.lastError, log.lines[2].text);
}

TEST(LogSink, TheIterationTableLinesUpWithin80Columns) {
  Log log;
  QzLog* out = &log.sink.log;
  out->logCode(out, 100, QZ_MSG_TABLE_HEADER);
  out->logCode(out, 100, QZ_MSG_TABLE_HEADER2);
  out->logCode(out, 101, QZ_MSG_ITERATION, 0, 1.0, 1.0, 1.0, 1.0, 1.0);
  out->logCode(out, 101, QZ_MSG_ITERATION, 12345, -1.23456789e-100, -1e-100, -1e-100, -1e-100, -1e-100);
  ASSERT_EQ(log.lines.size(), 4u);
  const std::string& names = log.lines[0].text;
  const std::string& rule = log.lines[1].text;
  EXPECT_LE(names.size(), 80u);
  for (const Line& line : log.lines) EXPECT_EQ(line.text.size(), names.size()) << line.text;
  // Numbers end where the rule of their column ends.
  for (size_t i = 0; i < rule.size(); ++i) {
    if (rule[i] != '-' || (i + 1 < rule.size() && rule[i + 1] == '-')) continue;
    for (const Line& line : log.lines) {
      EXPECT_NE(line.text[i], ' ') << line.text;
      if (i + 1 < rule.size()) {
        EXPECT_EQ(line.text[i + 1], ' ') << line.text;
      }
    }
  }
}

TEST(LogSink, TextsAreFormattedAndSplitIntoLines) {
  Log log;
  QzLog* out = &log.sink.log;
  const wchar_t text[] = L"Error %s: row %d\nsecond %hs\n";
  out->logText(out, 0, text, static_cast<int32_t>(std::wcslen(text)), L"checkRow", 3, "line");
  ASSERT_EQ(log.lines.size(), 2u);
  EXPECT_EQ(log.lines[0].text, "Error checkRow: row 3");
  EXPECT_EQ(log.lines[1].text, "second line");
  EXPECT_EQ(log.lines[1].code, 0u);
  out->logText(out, 0, L"", 0);
  EXPECT_EQ(log.lines.size(), 3u) << "an empty text is an empty line";
}

TEST(LogSink, WithoutACallbackItKeepsTheErrorAndIsSilent) {
  qzhost::LogSink sink;
  QzLog* out = &sink.log;
  out->logCode(out, 4, QZ_MSG_NO_PRESOLVER);
  EXPECT_NE(sink.lastError.find("qzpresol"), std::string::npos);
}

}  // namespace
