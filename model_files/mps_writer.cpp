#include "model_files/mps_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <unordered_set>

#include "model_files/number_text.h"

namespace qzfiles {

namespace {

std::string numberText(double value) {
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc{} ? std::string(digits.data(), end) : "0";
}

// A word that no reader of free files takes for anything else.
bool isPlainName(const std::string& name) {
  if (name.empty() || name.front() == '*' || name.front() == '$' || name.front() == '\'') return false;
  for (const char c : name)
    if (static_cast<unsigned char>(c) <= ' ') return false;
  double number = 0.0;
  return !parseNumberOrInfinity(name, number);
}

std::vector<std::string> usableNames(const std::vector<std::string>& names, int32_t count, const char* letter,
                                     const std::string& reserved) {
  std::unordered_set<std::string> seen{reserved};
  bool usable = names.size() == static_cast<size_t>(count);
  for (const std::string& name : names) usable = usable && isPlainName(name) && seen.insert(name).second;
  if (usable) return names;
  std::vector<std::string> numbered;
  numbered.reserve(static_cast<size_t>(count));
  for (int32_t k = 0; k < count; ++k) numbered.push_back(joined(letter, std::to_string(k + 1)));
  return numbered;
}

class Writer {
 public:
  Writer(std::FILE* file, const ModelFile& model)
      : file_(file),
        model_(model),
        rows_(usableNames(model.rowNames, model.numRow(), "R", kObjective)),
        columns_(usableNames(model.colNames, model.numCol(), "C", {})) {}

  bool write() {
    line(joined("NAME ", isPlainName(model_.name) ? model_.name : "MODEL"));
    if (model_.objSense < 0) line("OBJSENSE\n    MAX");
    writeRows();
    line("COLUMNS");
    for (int32_t j = 0; j < model_.numCol(); ++j) writeColumn(j);
    writeSides();
    writeRanges();
    line("BOUNDS");
    for (int32_t j = 0; j < model_.numCol(); ++j) writeBounds(j);
    if (model_.isQuadratic()) writeQuadratic();
    line("ENDATA");
    return good_;
  }

 private:
  static constexpr const char* kObjective = "OBJECTIVE";

  void line(const std::string& text) { good_ = good_ && std::fputs(joined(text, "\n").c_str(), file_) >= 0; }
  void entry(const std::string& kind, const std::string& name, double value) {
    line(joined("    ", kind, " ", name, " ", numberText(value)));
  }

  // A free row is a row with an infinite side: further rows of sense N would be left out by readers.
  void writeRows() {
    line(joined("ROWS\n N ", kObjective));
    for (int32_t i = 0; i < model_.numRow(); ++i) {
      const char sense = model_.rowSense[static_cast<size_t>(i)];
      const char* shown = sense == 'E' ? "E" : sense == 'L' || sense == 'R' ? "L" : "G";
      line(joined(" ", shown, " ", rows_[static_cast<size_t>(i)]));
    }
  }

  void writeColumn(int32_t j) {
    const auto column = static_cast<size_t>(j);
    const int32_t begin = model_.colBegin[column];
    const int32_t end = model_.colBegin[column + 1];
    // A column is declared by its first line, so that one without any element takes its cost even when it is 0.
    if (model_.obj[column] != 0.0 || begin == end) entry(columns_[column], kObjective, model_.obj[column]);
    for (int32_t k = begin; k < end; ++k) {
      const auto at = static_cast<size_t>(k);
      entry(columns_[column], rows_[static_cast<size_t>(model_.rowIndex[at])], model_.matValue[at]);
    }
  }

  void writeSides() {
    line("RHS");
    if (model_.objConstant != 0.0) entry("RHS", kObjective, -model_.objConstant);
    for (int32_t i = 0; i < model_.numRow(); ++i) {
      const auto row = static_cast<size_t>(i);
      const double side = model_.rowSense[row] == 'N' ? -1e30 : model_.rhs[row];
      if (side != 0.0) entry("RHS", rows_[row], side);
    }
  }

  // Behind an L row the width counts downward.
  void writeRanges() {
    bool any = false;
    for (int32_t i = 0; i < model_.numRow(); ++i) {
      const auto row = static_cast<size_t>(i);
      if (model_.rowSense[row] != 'R') continue;
      if (!any) line("RANGES");
      any = true;
      entry("RANGE", rows_[row], model_.range[row]);
    }
  }

  void bound(const char* kind, int32_t j, double value) {
    line(joined(" ", kind, " BOUND ", columns_[static_cast<size_t>(j)], " ", numberText(value)));
  }
  void mark(const char* kind, int32_t j) { line(joined(" ", kind, " BOUND ", columns_[static_cast<size_t>(j)])); }

  // The lower bound comes last: a reader that frees it at a negative upper bound is put right by it.
  void writeBounds(int32_t j) {
    const double l = model_.lower[static_cast<size_t>(j)];
    const double u = model_.upper[static_cast<size_t>(j)];
    const bool hasLower = l > -infinity;
    const bool hasUpper = u < infinity;
    if (!hasLower && !hasUpper) {
      mark("FR", j);
    } else if (l == u) {
      bound("FX", j, l);
    } else {
      if (hasUpper) bound("UP", j, u);
      if (!hasLower) mark("MI", j);
      if (hasLower && (l != 0.0 || (hasUpper && u <= 0.0))) bound("LO", j, l);
    }
  }

  // Each pair once.
  void writeQuadratic() {
    line("QUADOBJ");
    for (size_t j = 0; j < columns_.size(); ++j) {
      for (int32_t k = model_.quadBegin[j]; k < model_.quadBegin[j + 1]; ++k) {
        const auto at = static_cast<size_t>(k);
        entry(columns_[j], columns_[static_cast<size_t>(model_.quadIndex[at])], model_.quadValue[at]);
      }
    }
  }

  std::FILE* file_;
  const ModelFile& model_;
  std::vector<std::string> rows_;
  std::vector<std::string> columns_;
  bool good_ = true;
};

}  // namespace

bool writeMps(std::FILE* file, const ModelFile& model) {
  return Writer(file, model).write() && std::fflush(file) == 0;
}

}  // namespace qzfiles
