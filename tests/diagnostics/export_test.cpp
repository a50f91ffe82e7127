// The exports: files of wide characters through the module qzfile, and records through the log.
#include "diagnostics/export.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "diagnostics/dump.h"
#include "diagnostics/spoken_log.h"
#include "file_core.h"
#include "qzipsolve/instance.h"
#include "shell/format_buffer.h"
#include "transform/model_fixture.h"

namespace qz {
namespace {

using qztest::kInf;
using qztest::TestModel;
using Lines = std::vector<std::wstring>;

// A working folder that goes away with the test.
class Folder {
 public:
  Folder() : before_(std::filesystem::current_path()) {
    char name[] = "/tmp/qz_export_XXXXXX";
    path_ = mkdtemp(name);
    std::filesystem::current_path(path_);
  }
  ~Folder() {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(path_);
  }
  // The lines of a file of wide characters, each with its newline taken off.
  static Lines lines(const char* name) {
    Lines out;
    std::FILE* file = std::fopen(name, "rb");
    if (file == nullptr) return out;
    std::wstring line;
    for (wchar_t c = 0; std::fread(&c, sizeof c, 1, file) == 1;) {
      if (c != L'\n') {
        line.push_back(c);
        continue;
      }
      out.push_back(line);
      line.clear();
    }
    EXPECT_TRUE(line.empty()) << "every line is ended";
    std::fclose(file);
    return out;
  }

 private:
  std::filesystem::path before_;
  std::filesystem::path path_;
};

class Export : public ::testing::Test {
 protected:
  Export() {
    self() = this;
    host.table()->loadExtension = [](QzHostTable* table, const wchar_t* name, int64_t length, int64_t) -> QzModule* {
      EXPECT_EQ(std::wstring(name, static_cast<size_t>(length)), L"qzfile");
      if (!self()->loads) return nullptr;
      EXPECT_EQ(qzfile_core_extent(table), 0);
      QzModule* module = qzfile_core_make(nullptr, nullptr);
      if (module == nullptr) return nullptr;
      module->unload = [](QzModule* m) {
        ++self()->unloaded;
        m->realDestroy(m);
      };
      ++self()->loaded;
      return module;
    };
  }
  ~Export() override {
    EXPECT_EQ(loaded, unloaded);
    EXPECT_EQ(host.outstanding(), 0);
  }
  static Export*& self() {
    static Export* test = nullptr;
    return test;
  }
  LpRecord record(TestModel& m) {
    LpRecord r{};
    r.numRow = m.model.numRow;
    r.numCol = m.model.numCol;
    r.numCoef = m.model.numCoef;
    r.matValue = m.model.matValue;
    r.rowIndex = m.model.rowIndex;
    r.colBegin = m.model.colBegin;
    r.colLength = m.model.colLength;
    r.obj = m.model.obj;
    r.rhs = m.model.rhs;
    r.range = m.model.range;
    r.lower = m.model.lower;
    r.upper = m.model.upper;
    r.rowSense = m.model.rowSense;
    return r;
  }
  Lines mps(TestModel& m, const char* const* rowNames = nullptr, const char* const* colNames = nullptr) {
    const LpRecord r = record(m);
    EXPECT_EQ(ipmOutputMPS(&r, rowNames, colNames), 0);
    return Folder::lines("lp.mps");
  }

  Folder folder;
  qztest::TestHost host;
  bool loads = true;
  int loaded = 0;
  int unloaded = 0;
};

TEST_F(Export, WholeModelWithGeneratedNames) {
  TestModel m("LRe", {6, 4, 0}, {0, 3, 0},
              {{0.5, 0, kInf, {{0, 1}, {1, -1}, {2, 2}}}, {0, 0, 4, {{1, 1}, {2, 1}}}, {-2, -kInf, kInf, {}}});
  const Lines expected{L"NAME",
                       L"ROWS",
                       L" N  OBJECTIV",
                       L" L  R0000000",
                       L" R  R0000001",
                       L" e  R0000002",
                       L"COLUMNS",
                       L"    C0000000  OBJECTIV           0.5   R0000000             1",
                       L"    C0000000  R0000001            -1   R0000002             2",
                       L"    C0000001  R0000001             1   R0000002             1",
                       L"    C0000002  OBJECTIV            -2",
                       L"RHS",
                       L"    .RHS.     R0000000             6",
                       L"    .RHS.     R0000001             4",
                       L"RANGES",
                       L"    .RANGES.  R0000001             3",
                       L"BOUNDS",
                       L" UP .BOUNDS.  C0000001             4",
                       L" FR .BOUNDS.  C0000002",
                       L"ENDATA"};
  EXPECT_EQ(mps(m), expected);
}

TEST_F(Export, GivenNamesArePaddedToEight) {
  TestModel m("G", {1}, {}, {{1, 0, kInf, {{0, 2}}}});
  const char* rows[] = {"demand"};
  const char* cols[] = {"a"};
  const Lines lines = mps(m, rows, cols);
  EXPECT_EQ(lines[3], L" G  demand  ");
  EXPECT_EQ(lines[5], L"    a         OBJECTIV             1   demand               2");
}

TEST_F(Export, CostAndOneElementTakeOneLineOfTwoEntries) {
  TestModel m("G", {0}, {}, {{3, 0, kInf, {{0, 2}}}, {0, 0, kInf, {{0, 5}}}, {0, 0, kInf, {}}});
  const Lines lines = mps(m);
  EXPECT_EQ(lines[5], L"    C0000000  OBJECTIV             3   R0000000             2");
  EXPECT_EQ(lines[6], L"    C0000001  R0000000             5");
  EXPECT_EQ(lines[7], L"RHS") << "a column without cost and elements has no line";
}

TEST_F(Export, OddElementEndsTheColumnAlone) {
  TestModel m("GGG", {0, 0, 0}, {}, {{0, 0, kInf, {{0, 1}, {1, 2}, {2, 3}}}});
  const Lines lines = mps(m);
  EXPECT_EQ(lines[7], L"    C0000000  R0000000             1   R0000001             2");
  EXPECT_EQ(lines[8], L"    C0000000  R0000002             3");
}

TEST_F(Export, NumbersKeepOneSignificantDigit) {
  TestModel m("G", {1234567}, {}, {{0.0123, 0, kInf, {{0, 99.9}}}});
  const Lines lines = mps(m);
  EXPECT_EQ(lines[5], L"    C0000000  OBJECTIV          0.01   R0000000         1e+02");
  EXPECT_EQ(lines[7], L"    .RHS.     R0000000         1e+06");
}

TEST_F(Export, EveryKindOfBounds) {
  TestModel m("", {}, {},
              {{0, 0, 0, {}},
               {0, 2, 2, {}},
               {0, 0, 5, {}},
               {0, -1, 5, {}},
               {0, 3, kInf, {}},
               {0, -kInf, 5, {}},
               {0, -kInf, kInf, {}},
               {0, 0, kInf, {}},
               {0, -1e20, 1e20, {}}});
  const Lines lines = mps(m);
  const auto begin = std::find(lines.begin(), lines.end(), L"BOUNDS");
  const Lines bounds(begin + 1, lines.end() - 1);
  const Lines expected{L" FX .BOUNDS.  C0000000             0",
                       L" FX .BOUNDS.  C0000001             2",
                       L" UP .BOUNDS.  C0000002             5",
                       L" LO .BOUNDS.  C0000003            -1",
                       L" UP .BOUNDS.  C0000003             5",
                       L" LO .BOUNDS.  C0000004             3",
                       L" MI .BOUNDS.  C0000005",
                       L" UP .BOUNDS.  C0000005             5",
                       L" FR .BOUNDS.  C0000006",
                       L" FR .BOUNDS.  C0000008"};
  EXPECT_EQ(bounds, expected);
}

TEST_F(Export, MatrixFileCutsByTheNumberOfRows) {
  std::vector<int32_t> begin{0, 2, 3}, index{0, 1, 1};
  std::vector<double> value{1.5, -0.25, 4};
  Ipm ipm{};
  ipm.numRow = 2;
  ipm.numIpmCoef = 3;
  ipm.ipmColBegin = begin.data();
  ipm.ipmRowIndex = index.data();
  ipm.ipmMatValue = value.data();
  EXPECT_EQ(ipmOutputMatrix(&ipm), 0);
  const Lines expected{
      L"2 2 3",          L"0", L"2", L"3", L"0", L"1", L"1", L"Values", L"1.500000000    ", L"-0.250000000   ",
      L"4.000000000    "};
  EXPECT_EQ(Folder::lines("temp.matrix"), expected);
}

TEST_F(Export, FailuresGiveTen) {
  TestModel m("G", {1}, {}, {{1, 0, kInf, {{0, 2}}}});
  const LpRecord r = record(m);
  Ipm ipm{};
  std::vector<int32_t> begin{0};
  ipm.ipmColBegin = begin.data();
  loads = false;
  EXPECT_EQ(ipmOutputMPS(&r, nullptr, nullptr), 10);
  loads = true;
  std::filesystem::create_directory("lp.mps");  // a file of that name can't be opened
  EXPECT_EQ(ipmOutputMPS(&r, nullptr, nullptr), 10);
  std::filesystem::create_symlink("/dev/full", "temp.matrix");
  EXPECT_EQ(ipmOutputMatrix(&ipm), 10) << "no room on the device";
  const std::string longName(300, 'x');
  const char* names[] = {longName.c_str()};
  std::filesystem::remove("lp.mps");
  EXPECT_EQ(ipmOutputMPS(&r, names, nullptr), 10) << "a line that does not fit";
  for (int64_t k = 1; k <= 3; ++k) {
    host.failAllocation(k);
    (void)ipmOutputMPS(&r, nullptr, nullptr);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), 0) << k;
  }
}

TEST_F(Export, WithoutAHostThereIsNoFile) {
  QzHostTable* table = Exported_QZHandle;
  Exported_QZHandle = nullptr;
  TestModel m("G", {1}, {}, {{1, 0, kInf, {{0, 2}}}});
  const LpRecord r = record(m);
  EXPECT_EQ(ipmOutputMPS(&r, nullptr, nullptr), 10);
  Exported_QZHandle = table;
}

TEST(FileModule, SharedObjectOpensWritesAndCloses) {
  const Folder folder;
  qztest::TestHost host;
  void* library = dlopen(QZ_TEST_FILE_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto extent = reinterpret_cast<int32_t (*)(QzHostTable*)>(dlsym(library, "qzextent"));
  const auto make = reinterpret_cast<QzModule* (*)(void*, QzPool*)>(dlsym(library, "qzfile"));
  ASSERT_NE(extent, nullptr);
  ASSERT_NE(make, nullptr);
  ASSERT_EQ(extent(host.table()), 0);
  QzModule* module = make(nullptr, nullptr);
  ASSERT_NE(module, nullptr);
  int32_t rc = 7;
  const auto open = reinterpret_cast<QzFileModule*>(module)->open;
  QzFile* file = open(module, L"t\u00e4st", 4, nullptr, 0, 0, L"IPM_IO", &rc, 0, &rc);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(file->writeLine(file, L"one", 12, 0, 0, 0), 0);
  EXPECT_EQ(file->writeLine(file, L"", 0, 0, 0, 0), 0);
  EXPECT_NE(file->writeLine(file, L"odd", 3, 0, 0, 0), 0) << "no whole characters";
  EXPECT_NE(file->writeLine(file, nullptr, 4, 0, 0, 0), 0);
  EXPECT_EQ(file->close(file), 0);
  EXPECT_EQ(Folder::lines("t\xc3\xa4st"), (Lines{L"one", L""}));
  EXPECT_EQ(open(module, L"", 0, nullptr, 0, 0, L"IPM_IO", &rc, 0, &rc), nullptr);
  EXPECT_NE(rc, 0);
  EXPECT_EQ(open(module, L"no/folder", 9, nullptr, 0, 0, L"IPM_IO", &rc, 0, &rc), nullptr);
  module->realDestroy(module);
  EXPECT_EQ(host.outstanding(), 0);
  dlclose(library);
}

std::wstring formatted(const wchar_t* format, auto... arguments) {
  wchar_t buffer[64];
  const int64_t length = qzzFormatBuff(buffer, 64, format, arguments...);
  return length < 0 ? L"?" : std::wstring(buffer, static_cast<size_t>(length));
}

TEST(FormatBuffer, ConversionsOfTheExports) {
  EXPECT_EQ(formatted(L"%d|%5d|%-5d|%05d", -3, 42, 42, 42), L"-3|   42|42   |00042");
  EXPECT_EQ(formatted(L"%c%2c", 65, 66), L"A B");
  EXPECT_EQ(formatted(L"%s|%6s|%-6s|%.2s", L"abc", L"abc", L"abc", L"abc"), L"abc|   abc|abc   |ab");
  EXPECT_EQ(formatted(L"%hs|%-5hs|", "xy", "xy"), L"xy|xy   |");
  EXPECT_EQ(formatted(L"%12.g|%-15.9f|%.3e", 123.0, 1.5, 12345.0), L"       1e+02|1.500000000    |1.234e+04");
  EXPECT_EQ(formatted(L"100%%"), L"100%");
}

TEST(FormatBuffer, WhatDoesNotFitOrIsUnknownIsRefused) {
  wchar_t buffer[4];
  EXPECT_EQ(qzzFormatBuff(buffer, 4, L"%d", 123), 3);
  EXPECT_EQ(qzzFormatBuff(buffer, 4, L"%d", 1234), -1);
  EXPECT_EQ(buffer[3], L'\0');
  EXPECT_EQ(qzzFormatBuff(buffer, 4, L"%q", 1), -1);
  EXPECT_EQ(qzzFormatBuff(buffer, 0, L""), -1);
}

TEST(FormatBuffer, DecimalSignIsAPointInEveryLocale) {
  const char* names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"};
  const char* set = nullptr;
  for (const char* name : names)
    if (set == nullptr) set = std::setlocale(LC_NUMERIC, name);
  EXPECT_EQ(formatted(L"%.2f", 1.5), L"1.50");
  std::setlocale(LC_NUMERIC, "C");
  if (set == nullptr) GTEST_SKIP() << "no locale with a decimal comma is installed";
}

// ---- records through the log ----

TEST(Dump, SolutionModelAndEquation) {
  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  env.log = log.log();
  std::vector<double> x{1, 2}, y{3}, a{4, 5}, b{6, 7}, c{8, 9}, d{10, 11}, s{12};
  const Solution solution{x.data(), y.data(), a.data(), b.data(), c.data(), d.data(), s.data()};
  DumpSolution(&env, 1, 2, &solution);
  EXPECT_EQ(
      log.lines,
      (std::vector<std::string>{
          "===== primal solution: numCol = 2 =====",
          "   primal(0)=              1   lowerSlack(0)=              4   upperSlack(0)=              6",
          "                               lowerDual (0)=              8   upperDual (0)=             10",
          "   primal(1)=              2   lowerSlack(1)=              5   upperSlack(1)=              7",
          "                               lowerDual (1)=              9   upperDual (1)=             11",
          "===== dual solution: numRow = 1 =====", "   dual(0)=              3   ineqnSlack(0)=             12"}));
  log.lines.clear();
  TestModel m("G", {1}, {}, {{3, 0, 9, {{0, 2}}}, {4, -1, 5, {}}});
  m.makeQuadratic({6, 7}, {{1, 0, 0.5}});
  DumpModel(&env, &m.model);
  EXPECT_EQ(log.lines, (std::vector<std::string>{
                           "===== input model: numRow = 1 =====", "   sense(0)=G   rhs(0)=              1",
                           "===== input model: numCol = 2 =====",
                           "   obj(0)=              3   lower(0)=              0   upper(0)=              9",
                           "   obj(1)=              4   lower(1)=             -1   upper(1)=              5",
                           "===== input model: numCoef = 1 =====", "   colBegin(0)=0   colLength(0)=1",
                           "      rowIndex(0)=0   matValue(0)=              2", "   colBegin(1)=1   colLength(1)=0"}));
  log.lines.clear();
  DumpModelQP(&env, &m.model);
  EXPECT_EQ(log.lines, (std::vector<std::string>{
                           "===== input model: quadratic diagonal =====", "   quadDiag(0)=              6",
                           "   quadDiag(1)=              7",
                           "===== input model: numQuadCoef = 1 =====", "   quadColBegin(0)=0   quadColLength(0)=1",
                           "      quadRowIndex(0)=1   quadMatValue(0)=            0.5",
                           "   quadColBegin(1)=1   quadColLength(1)=0"}));
  log.lines.clear();
  const double rhs[] = {1, 2};
  DumpEquation(&env, 2, 1, m.model.colBegin, m.model.colLength, m.model.rowIndex, m.model.matValue, rhs);
  EXPECT_EQ(log.lines[0], "===== equation rhs: numDim = 2 =====");
  EXPECT_EQ(log.lines[2], "   rhs(1)=              2");
  EXPECT_EQ(log.lines[3], "===== equation matrix : numCoef = 1 =====");
  EXPECT_EQ(log.lines[4], "   colBegin(0)=0   colLength(0)=1");
  env.log = nullptr;  // does nothing
  DumpSolution(&env, 1, 2, &solution);
  DumpModel(&env, &m.model);
}

TEST(Dump, ChangesOfAnIterationFromLevelSeven) {
  qztest::SpokenLog log;
  Env env{};
  env.log = log.log();
  Ipm ipm{};
  ipm.env = &env;
  Hub hub{};
  SubModel submodel{};
  submodel.numBigVar = 3;
  DumpIterSubmodel(&ipm, 6, &hub, &submodel);
  EXPECT_TRUE(log.lines.empty());
  DumpIterSubmodel(&ipm, 7, &hub, &submodel);
  EXPECT_TRUE(log.says("control: status=0"));
  EXPECT_TRUE(log.says("state: alphaPrimal="));
  EXPECT_TRUE(log.says("   numBigVar=3  bBigVar=0  planBigVar=0"));
}

}  // namespace
}  // namespace qz
