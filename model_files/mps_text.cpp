// Front pass for MPS, fixed and free. A line is cut at blanks; a file whose names hold blanks is cut at the columns of
// the fixed format (2-3, 5-12, 15-22, 25-36, 40-47, 50-61) from the first line on that does not fit otherwise.
#include <algorithm>
#include <array>
#include <map>
#include <unordered_map>
#include <utility>

#include "model_files/file_text.h"
#include "model_files/number_text.h"
#include "model_files/text_model.h"

namespace qzfiles {

namespace {

using Fields = std::vector<std::string_view>;

enum class Section { none, name, rows, columns, rhs, ranges, bounds, sense, quadratic, end };

constexpr std::string_view blanks = " \t\r\f\v\x1a";
constexpr int ignoredRow = -2;  // an N row behind the objective

// The place of a row in an array that has the objective in front.
size_t place(int row) {
  return static_cast<size_t>(row) - static_cast<size_t>(objectiveRow);
}

std::string quoted(std::string_view text) {
  constexpr size_t longest = 60;
  return joined("'", text.substr(0, longest), text.size() <= longest ? "'" : "...'");
}

Fields splitAtBlanks(std::string_view line) {
  Fields fields;
  size_t begin = line.find_first_not_of(blanks);
  while (begin != std::string_view::npos) {
    size_t end = line.find_first_of(blanks, begin);
    if (end == std::string_view::npos) end = line.size();
    fields.push_back(line.substr(begin, end - begin));
    begin = line.find_first_not_of(blanks, end);
  }
  return fields;
}

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// The six fields of a line of the fixed format, empty where the line has none.
std::array<std::string_view, 6> cutAtColumns(std::string_view line) {
  constexpr std::array<std::array<size_t, 2>, 6> place{{{1, 2}, {4, 8}, {14, 8}, {24, 12}, {39, 8}, {49, 12}}};
  std::array<std::string_view, 6> fields;
  for (size_t i = 0; i < place.size(); ++i)
    if (line.size() > place[i][0]) fields[i] = trimmed(line.substr(place[i][0], place[i][1]));
  return fields;
}

bool isNumber(std::string_view text) {
  double value = 0.0;
  return parseNumberOrInfinity(text, value);
}

class MpsParser {
 public:
  explicit MpsParser(const std::string& text) : text_(text) {}

  TextModel parse() {
    size_t begin = 0;
    while (begin < text_.size() && section_ != Section::end) {
      size_t end = text_.find('\n', begin);
      if (end == std::string::npos) end = text_.size();
      ++lineNumber_;
      readLine(std::string_view(text_).substr(begin, end - begin));
      begin = end + 1;
    }
    if (!sawRows_) throw ModelFileError("has no ROWS section, so it is no MPS file");
    if (!sawColumns_) throw ModelFileError("has no COLUMNS section (truncated file?)");
    if (section_ != Section::end) throw ModelFileError("ends without ENDATA (truncated file?)");
    if (bothTriangles_) checkMirrors();
    addNotes();
    model_.negativeUpperFreesLower = true;
    return std::move(model_);
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw ModelFileError(joined("line ", std::to_string(lineNumber_), ": ", what));
  }

  void readLine(std::string_view line) {
    if (line.empty() || line[0] == '*' || line.find_first_not_of(blanks) == std::string_view::npos) return;
    if (blanks.find(line[0]) == std::string_view::npos) {
      readHeader(line);
      return;
    }
    switch (section_) {
      case Section::rows:
        readRow(line);
        break;
      case Section::columns:
        readColumn(line);
        break;
      case Section::rhs:
        readSide(line, rhsSet_, model_.rhs, rhsSeen_, "right-hand side");
        break;
      case Section::ranges:
        readSide(line, rangeSet_, model_.ranges, rangeSeen_, "range");
        break;
      case Section::bounds:
        readBound(line);
        break;
      case Section::sense:
        readSense(trimmed(line));
        break;
      case Section::quadratic:
        readQuadratic(line);
        break;
      default:
        fail("data outside of a section: " + quoted(trimmed(line)));
    }
  }

  void readHeader(std::string_view line) {
    const Fields words = splitAtBlanks(line);
    const auto is = [&](std::string_view name) { return equalNoCase(words[0], name); };
    if (is("NAME")) {
      section_ = Section::name;
      if (words.size() > 1) model_.name = std::string(words[1]);
    } else if (is("ROWS")) {
      if (sawRows_) fail("a second ROWS section");
      section_ = Section::rows;
      sawRows_ = true;
    } else if (is("COLUMNS")) {
      if (!sawRows_) fail("COLUMNS before ROWS");
      if (sawColumns_) fail("a second COLUMNS section");
      section_ = Section::columns;
      sawColumns_ = true;
    } else if (is("RHS") || is("RANGES") || is("BOUNDS")) {
      if (!sawColumns_) fail(std::string(words[0]) + " before COLUMNS");
      section_ = is("RHS") ? Section::rhs : is("RANGES") ? Section::ranges : Section::bounds;
    } else if (is("ENDATA")) {
      section_ = Section::end;
    } else if (is("OBJSENSE")) {
      section_ = Section::sense;
      if (words.size() > 1) readSense(words[1]);
    } else if (is("MAX") || is("MAXIMIZE") || is("MAXIMISE") || is("MIN") || is("MINIMIZE") || is("MINIMISE")) {
      section_ = Section::name;
      readSense(words[0]);
    } else if (is("QUADOBJ") || is("QMATRIX") || is("QSECTION")) {
      openQuadratic(words, is("QMATRIX"));
    } else if (is("QCMATRIX") || is("CSECTION")) {
      fail("section " + std::string(words[0]) + ": only the objective may be quadratic");
    } else {
      fail("unknown section " + quoted(words[0]));
    }
  }

  // QMATRIX holds both triangles of Q, QUADOBJ and QSECTION each pair once. A name behind the word says what is
  // quadratic, and must be the objective.
  void openQuadratic(const Fields& words, bool bothTriangles) {
    if (!sawColumns_) fail(std::string(words[0]) + " before COLUMNS");
    if (sawQuadratic_) fail("a second section of the quadratic objective");
    if (words.size() > 1) {
      const auto row = rowIndex_.find(std::string(words[1]));
      if (row == rowIndex_.end() || row->second != objectiveRow)
        fail(joined(words[0], " ", words[1], ": only the objective may be quadratic"));
    }
    sawQuadratic_ = true;
    bothTriangles_ = bothTriangles;
    section_ = Section::quadratic;
  }

  int findColumn(std::string_view name) const {
    const auto found = columnIndex_.find(std::string(name));
    if (found == columnIndex_.end()) fail("column " + quoted(name) + " is not in the COLUMNS section");
    return found->second;
  }

  // A column, and pairs of another column and a number.
  void readQuadratic(std::string_view line) {
    const Fields fields = splitPairs(line, true);
    const int column = findColumn(fields[0]);
    for (size_t i = 1; i + 1 < fields.size(); i += 2) {
      const int other = findColumn(fields[i]);
      const double value = finiteNumber(fields[i + 1], "the coefficient");
      const std::string pair = quoted(fields[0]) + ", " + quoted(fields[i]);
      const bool isFirst = entries_.emplace(std::make_pair(column, other), value).second;
      if (!isFirst) fail("the pair " + pair + " appears twice");
      if (!bothTriangles_ && column != other && entries_.count({other, column}) != 0)
        fail("the pair " + pair + " appears twice: this section holds one triangle");
      if (!bothTriangles_ || column >= other)
        model_.quadratic.push_back({std::max(column, other), std::min(column, other), value});
    }
  }

  // Entries off the diagonal stand on both sides of it, with the same value.
  void checkMirrors() const {
    for (const auto& [place, value] : entries_) {
      const auto mirror = entries_.find({place.second, place.first});
      if (mirror != entries_.end() && mirror->second == value) continue;
      const auto name = [this](int column) { return quoted(model_.columns[static_cast<size_t>(column)].name); };
      throw ModelFileError(joined("QMATRIX is not symmetric: columns ", name(place.first), ", ", name(place.second)));
    }
  }

  void readSense(std::string_view word) {
    if (equalNoCase(word.substr(0, 3), "MAX")) {
      model_.maximise = true;
    } else if (equalNoCase(word.substr(0, 3), "MIN")) {
      model_.maximise = false;
    } else {
      fail("the objective sense is MAX or MIN, not " + quoted(word));
    }
  }

  void readRow(std::string_view line) {
    Fields fields = fixed_ ? Fields{} : splitAtBlanks(line);
    if (fields.size() != 2) {
      const auto cut = cutAtColumns(line);
      if (cut[0].size() != 1 || cut[1].empty()) fail("a row is a sense and a name: " + quoted(trimmed(line)));
      fixed_ = fixed_ || fields.size() != 2;
      fields = {cut[0], cut[1]};
    }
    const char sense = fields[0].size() == 1 ? static_cast<char>(std::toupper(fields[0][0])) : ' ';
    if (sense != 'N' && sense != 'E' && sense != 'L' && sense != 'G')
      fail("the sense of row " + quoted(fields[1]) + " is N, E, L or G, not " + quoted(fields[0]));
    int row = static_cast<int>(model_.rows.size());
    if (sense == 'N') row = sawObjective_ ? ignoredRow : objectiveRow;
    if (!rowIndex_.emplace(std::string(fields[1]), row).second) fail("row " + quoted(fields[1]) + " appears twice");
    if (sense != 'N') {
      model_.rows.push_back({std::string(fields[1]), sense});
    } else if (sawObjective_) {
      ++numIgnoredRow_;
    } else {
      sawObjective_ = true;
    }
  }

  // A leading name, where `lead` or an odd number of fields says so, and pairs of a row and a number.
  Fields splitPairs(std::string_view line, bool lead) {
    if (!fixed_) {
      Fields fields = splitAtBlanks(line);
      bool fits = fields.size() >= (lead ? 3U : 2U) && (!lead || fields.size() % 2 == 1);
      for (size_t i = fields.size() % 2 == 1 ? 2 : 1; i < fields.size(); i += 2) fits = fits && isNumber(fields[i]);
      if (fits) return fields;
    }
    const auto cut = cutAtColumns(line);
    const bool second = !cut[4].empty() || !cut[5].empty();
    if (cut[2].empty() || !isNumber(cut[3]) || (second && (cut[4].empty() || !isNumber(cut[5]))))
      fail("expected a name and pairs of a row and a number: " + quoted(trimmed(line)));
    fixed_ = true;
    Fields fields{cut[1], cut[2], cut[3]};
    if (second) fields.insert(fields.end(), {cut[4], cut[5]});
    return fields;
  }

  int findRow(std::string_view name) const {
    const auto found = rowIndex_.find(std::string(name));
    if (found == rowIndex_.end()) fail("row " + quoted(name) + " is not in the ROWS section");
    return found->second;
  }

  double finiteNumber(std::string_view text, std::string_view what) const {
    double value = 0.0;
    if (!parseNumber(text, value)) fail(quoted(text) + " is not a number");
    if (!(std::fabs(value) < infinity)) fail(std::string(what) + " " + quoted(text) + " is too large");
    return value;
  }

  bool readMarker(const Fields& words) {
    if (words.size() < 3 || !equalNoCase(words[1], "'MARKER'")) return false;
    if (equalNoCase(words[2], "'INTORG'")) {
      integer_ = true;
    } else if (equalNoCase(words[2], "'INTEND'")) {
      integer_ = false;
    } else {
      fail("unknown marker " + quoted(words[2]));
    }
    return true;
  }

  void readColumn(std::string_view line) {
    if (readMarker(splitAtBlanks(line))) return;
    const Fields fields = splitPairs(line, true);
    if (model_.columns.empty() || model_.columns.back().name != fields[0]) {
      const int column = static_cast<int>(model_.columns.size());
      if (!columnIndex_.emplace(std::string(fields[0]), column).second)
        fail("column " + quoted(fields[0]) + " appears twice, with another one between");
      model_.columns.push_back({std::string(fields[0]), integer_, {}});
      lastColumn_.resize(model_.rows.size() + 1, -1);
    }
    const int column = static_cast<int>(model_.columns.size()) - 1;
    for (size_t i = 1; i + 1 < fields.size(); i += 2) {
      const int row = findRow(fields[i]);
      const double value = finiteNumber(fields[i + 1], "the coefficient");
      if (row == ignoredRow) continue;
      int& last = lastColumn_[place(row)];
      if (last == column) fail("row " + quoted(fields[i]) + " appears twice in column " + quoted(fields[0]));
      last = column;
      model_.columns.back().entries.push_back({row, value});
    }
  }

  // Of several sets only the first counts, as ever in this format.
  bool isFirstSet(std::string& first, bool& seen, std::string_view set) {
    if (!seen) {
      seen = true;
      first = std::string(set);
    }
    if (first == set) return true;
    sawOtherSet_ = true;
    return false;
  }

  struct SideState {
    bool any = false;
    std::vector<bool> row;  // objective first
  };

  void readSide(std::string_view line, std::string& set, std::vector<TextEntry>& sides, SideState& seen,
                std::string_view what) {
    const Fields fields = splitPairs(line, false);
    const size_t first = fields.size() % 2;
    if (!isFirstSet(set, seen.any, first == 1 ? fields[0] : std::string_view{})) return;
    seen.row.resize(model_.rows.size() + 1, false);
    for (size_t i = first; i + 1 < fields.size(); i += 2) {
      const int row = findRow(fields[i]);
      double value = 0.0;
      if (!parseNumberOrInfinity(fields[i + 1], value)) fail(quoted(fields[i + 1]) + " is not a number");
      if (row == ignoredRow) continue;
      if (seen.row[place(row)]) fail("row " + quoted(fields[i]) + " has a second " + std::string(what));
      seen.row[place(row)] = true;
      if (row != objectiveRow) {
        sides.push_back({row, value});
      } else if (&sides == &model_.rhs) {
        model_.objConstant = -finiteNumber(fields[i + 1], "the constant of the objective");
      }
    }
  }

  struct BoundType {
    std::string_view word;
    TextBound::Kind kind;
    bool integer;
    bool hasValue;
  };

  const BoundType* findBoundType(std::string_view word) const {
    static constexpr std::array<BoundType, 10> types{{{"UP", TextBound::upper, false, true},
                                                      {"LO", TextBound::lower, false, true},
                                                      {"FX", TextBound::fixed, false, true},
                                                      {"FR", TextBound::free, false, false},
                                                      {"MI", TextBound::minusInfinity, false, false},
                                                      {"PL", TextBound::plusInfinity, false, false},
                                                      {"BV", TextBound::binary, true, false},
                                                      {"UI", TextBound::upper, true, true},
                                                      {"LI", TextBound::lower, true, true},
                                                      {"SC", TextBound::semiContinuous, false, true}}};
    for (const BoundType& type : types)
      if (equalNoCase(word, type.word)) return &type;
    return nullptr;
  }

  void readBound(std::string_view line) {
    Fields fields = splitAtBlanks(line);
    const BoundType* type = findBoundType(fields[0]);
    if (type == nullptr) fail("unknown type of bound " + quoted(fields[0]));
    if (fixed_) {
      const auto cut = cutAtColumns(line);
      fields = {cut[0], cut[1], cut[2]};
      if (!cut[3].empty()) fields.push_back(cut[3]);
    } else {
      // The name of the set may be missing.
      const size_t least = type->hasValue ? 3 : 2;
      const bool noSet = fields.size() == least && columnIndex_.count(std::string(fields[1])) != 0;
      if (noSet) fields.insert(fields.begin() + 1, std::string_view{});
    }
    if (fields.size() < 3 || (type->hasValue && fields.size() < 4))
      fail("a bound is a type, a set, a column" + std::string(type->hasValue ? " and a number" : "") + ": " +
           quoted(trimmed(line)));
    if (fields.size() > 4) fail("too many fields: " + quoted(trimmed(line)));
    if (!isFirstSet(boundSet_, sawBoundSet_, fields[1])) return;
    const auto column = columnIndex_.find(std::string(fields[2]));
    if (column == columnIndex_.end()) fail("column " + quoted(fields[2]) + " is not in the COLUMNS section");
    double value = 0.0;
    if (type->hasValue && !parseNumberOrInfinity(fields[3], value)) fail(quoted(fields[3]) + " is not a number");
    if (type->kind == TextBound::fixed && !(std::fabs(value) < infinity))
      fail("column " + quoted(fields[2]) + " is fixed at infinity");
    model_.bounds.push_back({type->kind, column->second, value, type->integer});
  }

  void addNotes() {
    if (numIgnoredRow_ > 0)
      model_.notes.push_back(std::to_string(numIgnoredRow_) + " free row(s) behind the objective left out");
    if (sawOtherSet_)
      model_.notes.push_back("of several sets of right-hand sides, ranges or bounds the first one is read");
  }

  const std::string& text_;
  TextModel model_;
  int lineNumber_ = 0;
  Section section_ = Section::none;
  bool fixed_ = false;
  bool sawRows_ = false;
  bool sawColumns_ = false;
  bool sawObjective_ = false;
  bool sawQuadratic_ = false;
  bool bothTriangles_ = false;
  bool integer_ = false;
  bool sawOtherSet_ = false;
  bool sawBoundSet_ = false;
  int numIgnoredRow_ = 0;
  std::string rhsSet_, rangeSet_, boundSet_;
  SideState rhsSeen_, rangeSeen_;
  std::vector<int> lastColumn_;  // per row, objective first: the last column with an entry there
  std::unordered_map<std::string, int> rowIndex_;
  std::unordered_map<std::string, int> columnIndex_;
  std::map<std::pair<int, int>, double> entries_;  // of Q, as they stand
};

}  // namespace

TextModel parseMps(const std::string& text) {
  return MpsParser(text).parse();
}

}  // namespace qzfiles
