// Front pass for LP files: an objective, constraints, and optional sections for bounds and kinds of variables. The
// quadratic part of an objective stands in brackets that are halved.
//
//   \ a comment
//   Maximize  profit: 3 x + 2 y + 5 + [ - 2 x ^ 2 + 2 x * y - y ^ 2 ] / 2
//   Subject To
//     time: x + y <= 4
//     mix:  -2 <= x - y <= 8
//   Bounds
//     x <= 3
//     y free
//   End
#include <algorithm>
#include <cstdlib>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model_files/file_text.h"
#include "model_files/number_text.h"
#include "model_files/text_model.h"

namespace qzfiles {

namespace {

struct Token {
  enum Kind { number, name, sign, compare, colon, star, bracket, end };
  Kind kind;
  std::string text;  // of a compare: "<", ">" or "="
  double value;
  int line;
  bool startsLine;
};

bool isNameCharacter(char c) {
  const auto code = static_cast<unsigned char>(c);
  return std::isalnum(code) != 0 || code >= 0x80 ||
         std::string_view("!\"#$%&(),.;?@_`'{}|~").find(c) != std::string_view::npos;
}

[[noreturn]] void fail(int line, const std::string& what) {
  throw ModelFileError(joined("line ", std::to_string(line), ": ", what));
}

class Tokenizer {
 public:
  explicit Tokenizer(const std::string& text) : text_(text) {}

  std::vector<Token> run() {
    while (position_ < text_.size()) step();
    tokens_.push_back({Token::end, "the end of the file", 0.0, line_, true});
    return std::move(tokens_);
  }

 private:
  void step() {
    const char c = text_[position_];
    if (c == '\n') {
      ++line_;
      ++position_;
      startsLine_ = true;
    } else if (c == '\\') {
      while (position_ < text_.size() && text_[position_] != '\n') ++position_;
    } else if (std::isspace(static_cast<unsigned char>(c)) != 0 || c == '\x1a') {
      ++position_;
    } else if (c == '+' || c == '-') {
      add(Token::sign, 1);
    } else if (c == '*') {
      add(Token::star, 1);
    } else if (c == ':') {
      add(Token::colon, 1);
    } else if (c == '<' || c == '>' || c == '=') {
      readCompare();
    } else if (c == '[' || c == ']' || c == '^' || c == '/') {
      add(Token::bracket, 1);
    } else if (std::isdigit(static_cast<unsigned char>(c)) != 0 || (c == '.' && digitAt(position_ + 1))) {
      readNumber();
    } else if (isNameCharacter(c)) {
      size_t end = position_;
      while (end < text_.size() && isNameCharacter(text_[end])) ++end;
      add(Token::name, end - position_);
    } else {
      fail(line_, std::string("unexpected character '") + c + "'");
    }
  }

  bool digitAt(size_t position) const {
    return position < text_.size() && std::isdigit(static_cast<unsigned char>(text_[position])) != 0;
  }

  void add(Token::Kind kind, size_t length, double value = 0.0) {
    tokens_.push_back({kind, text_.substr(position_, length), value, line_, startsLine_});
    position_ += length;
    startsLine_ = false;
  }

  void readCompare() {
    size_t length = 1;
    char kind = text_[position_];
    if (position_ + 1 < text_.size() && std::string_view("<>=").find(text_[position_ + 1]) != std::string_view::npos) {
      const char second = text_[position_ + 1];
      if ((kind == '=') == (second == '=') && kind != second) fail(line_, "unexpected comparison");
      if (kind == '=') kind = second;
      length = 2;
    }
    add(Token::compare, length);
    tokens_.back().text = kind;
  }

  void readNumber() {
    size_t end = position_;
    while (digitAt(end)) ++end;
    if (end < text_.size() && text_[end] == '.') ++end;
    while (digitAt(end)) ++end;
    if (end < text_.size() && (text_[end] == 'e' || text_[end] == 'E')) {
      const bool hasSign = end + 1 < text_.size() && (text_[end + 1] == '+' || text_[end + 1] == '-');
      const size_t digits = end + (hasSign ? 2 : 1);
      if (digitAt(digits)) {
        end = digits;
        while (digitAt(end)) ++end;
      }
    }
    double value = 0.0;
    if (!parseNumber(std::string_view(text_).substr(position_, end - position_), value))
      fail(line_, "'" + text_.substr(position_, end - position_) + "' is not a number");
    add(Token::number, end - position_, value);
  }

  const std::string& text_;
  std::vector<Token> tokens_;
  size_t position_ = 0;
  int line_ = 1;
  bool startsLine_ = true;
};

enum class Section { none, constraints, bounds, general, binary, semiContinuous, unsupported, end };

struct Expression {
  std::vector<TextEntry> terms;  // `row` holds the column; no column twice
  double constant = 0.0;
  bool empty = true;
};

class LpParser {
 public:
  explicit LpParser(const std::string& text) : tokens_(Tokenizer(text).run()) {}

  TextModel parse() {
    readObjective();
    for (;;) {
      const Section section = readHeader();
      if (section == Section::end) break;
      if (section == Section::none) failHere("expected a section instead of '" + at().text + "'");
      if (section == Section::unsupported) failHere("the section '" + at().text + "' is not read");
      while (at().kind != Token::end && peekHeader().section == Section::none) readItem(section);
      if (at().kind == Token::end) throw ModelFileError("ends without End (truncated file?)");
    }
    if (!sawConstraints_) throw ModelFileError("has no constraints section (Subject To)");
    return std::move(model_);
  }

 private:
  struct Header {
    Section section = Section::none;
    size_t length = 0;
  };

  const Token& at(size_t ahead = 0) const { return tokens_[std::min(position_ + ahead, tokens_.size() - 1)]; }
  [[noreturn]] void failHere(const std::string& what) const { fail(at().line, what); }

  bool isWord(size_t ahead, std::initializer_list<std::string_view> words) const {
    if (at(ahead).kind != Token::name) return false;
    for (const std::string_view word : words)
      if (equalNoCase(at(ahead).text, word)) return true;
    return false;
  }

  // A section begins with its word at the start of a line; a word with a colon behind it is a name.
  Header peekHeader() const {
    if (!at().startsLine || at().kind != Token::name || at(1).kind == Token::colon) return {};
    if (isWord(0, {"subject"}) && isWord(1, {"to"})) return {Section::constraints, 2};
    if (isWord(0, {"such"}) && isWord(1, {"that"})) return {Section::constraints, 2};
    if (isWord(0, {"st", "s.t.", "st."})) return {Section::constraints, 1};
    if (isWord(0, {"bounds", "bound"})) return {Section::bounds, 1};
    if (isWord(0, {"general", "generals", "gen", "integer", "integers", "int"})) return {Section::general, 1};
    if (isWord(0, {"binary", "binaries", "bin"})) return {Section::binary, 1};
    if (isWord(0, {"semi"}) && at(1).text == "-" && isWord(2, {"continuous"})) return {Section::semiContinuous, 3};
    if (isWord(0, {"semis", "semi"})) return {Section::semiContinuous, 1};
    if (isWord(0, {"sos", "sos1", "sos2", "pwlobj"})) return {Section::unsupported, 1};
    if (isWord(0, {"end"})) return {Section::end, 1};
    return {};
  }

  Section readHeader() {
    const Header header = peekHeader();
    if (header.section != Section::unsupported) position_ += header.length;
    if (header.section == Section::constraints) sawConstraints_ = true;
    return header.section;
  }

  void readObjective() {
    if (isWord(0, {"maximize", "maximise", "maximum", "max"})) {
      model_.maximise = true;
    } else if (!isWord(0, {"minimize", "minimise", "minimum", "min"})) {
      failHere("an LP file begins with Minimize or Maximize, not '" + at().text + "'");
    }
    ++position_;
    if (at().kind == Token::name && at(1).kind == Token::colon) position_ += 2;
    const Expression objective = readExpression(true);
    if (at().kind == Token::end) throw ModelFileError("ends behind the objective (truncated file?)");
    if (peekHeader().section != Section::constraints) failHere("expected Subject To instead of '" + at().text + "'");
    for (const TextEntry& term : objective.terms)
      model_.columns[static_cast<size_t>(term.row)].entries.push_back({objectiveRow, term.value});
    model_.objConstant = objective.constant;
  }

  int columnOf(const std::string& name) {
    const auto [found, isNew] = columnIndex_.emplace(name, static_cast<int>(model_.columns.size()));
    if (isNew) model_.columns.push_back({name, false, {}});
    return found->second;
  }

  // Terms joined by signs; ends before the first token that can't go on with it. A column's terms are added up. Only an
  // objective may have a quadratic part.
  Expression readExpression(bool isObjective = false) {
    Expression sum;
    for (;;) {
      if (!sum.empty && at().kind != Token::sign) break;
      if (peekHeader().section != Section::none) break;
      double factor = 1.0;
      const bool hasSign = at().kind == Token::sign;
      for (; at().kind == Token::sign; ++position_)
        if (at().text == "-") factor = -factor;
      if (at().text == "[") {
        if (!isObjective) failHere("only the objective may be quadratic");
        readQuadratic(factor);
        sum.empty = false;
        continue;
      }
      const bool hasNumber = at().kind == Token::number;
      if (hasNumber) factor *= at().value;
      if (hasNumber) ++position_;
      if (hasNumber && at().kind == Token::star) ++position_;
      const bool hasName =
          at().kind == Token::name && at(1).kind != Token::colon && peekHeader().section == Section::none;
      if (!hasNumber && !hasName) {
        if (hasSign) failHere("expected a number or a name instead of '" + at().text + "'");
        break;
      }
      sum.empty = false;
      if (!(std::fabs(factor) < infinity)) failHere("the number before '" + at().text + "' is too large");
      if (!hasName) {
        sum.constant += factor;
        continue;
      }
      addTerm(sum, columnOf(at().text), factor);
      ++position_;
    }
    if (at().text == "[") failHere("only the objective may be quadratic, and a sign stands before its brackets");
    if (at().kind == Token::bracket) failHere("unexpected '" + at().text + "'");
    termOf_.clear();
    return sum;
  }

  void expect(std::string_view text, std::string_view where) {
    if (at().kind == Token::end || at().text != text)
      failHere(joined("expected '", text, "' ", where, " instead of '", at().text, "'"));
    ++position_;
  }

  // [ terms ] / 2, behind a sign: a x ^ 2 and a x * y. Half of the terms is 1/2 x'Qx, so that a goes to the diagonal of
  // Q as it is, and half of it to each of a pair.
  void readQuadratic(double sign) {
    if (sawQuadratic_) failHere("a second quadratic part");
    sawQuadratic_ = true;
    expect("[", "before the quadratic part");
    std::map<std::pair<int, int>, double> terms;
    do {
      readQuadraticTerm(sign, terms);
    } while (at().kind == Token::sign);
    expect("]", "behind the quadratic part");
    expect("/", "behind the quadratic part, which is halved");
    if (at().kind != Token::number || at().value != 2.0)
      failHere("expected '/ 2' behind the quadratic part, not '/ " + at().text + "'");
    ++position_;
    for (const auto& [pair, value] : terms) model_.quadratic.push_back({pair.first, pair.second, value});
  }

  int quadraticColumn() {
    if (at().kind != Token::name) failHere("expected the name of a variable instead of '" + at().text + "'");
    return columnOf(tokens_[position_++].text);
  }

  void readQuadraticTerm(double factor, std::map<std::pair<int, int>, double>& terms) {
    for (; at().kind == Token::sign; ++position_)
      if (at().text == "-") factor = -factor;
    if (at().kind == Token::number) {
      factor *= at().value;
      ++position_;
      if (at().kind == Token::star) ++position_;
    }
    if (!(std::fabs(factor) < infinity)) failHere("the number before '" + at().text + "' is too large");
    const int first = quadraticColumn();
    if (at().text == "^") {
      ++position_;
      if (at().kind != Token::number || at().value != 2.0) failHere("expected '^ 2', not '^ " + at().text + "'");
      ++position_;
      terms[{first, first}] += factor;
      return;
    }
    if (at().kind != Token::star) failHere("expected '^ 2' or '*' instead of '" + at().text + "'");
    ++position_;
    const int second = quadraticColumn();
    terms[{std::max(first, second), std::min(first, second)}] += first == second ? factor : 0.5 * factor;
  }

  void addTerm(Expression& sum, int column, double factor) {
    const auto [found, isNew] = termOf_.emplace(column, sum.terms.size());
    if (isNew) {
      sum.terms.push_back({column, factor});
    } else {
      sum.terms[found->second].value += factor;
    }
  }

  // A number with signs, or infinity.
  double readNumber() {
    double factor = 1.0;
    for (; at().kind == Token::sign; ++position_)
      if (at().text == "-") factor = -factor;
    double value = 0.0;
    if (at().kind == Token::number) {
      value = at().value;
    } else if (at().kind != Token::name || !parseNumberOrInfinity(at().text, value)) {
      failHere("expected a number instead of '" + at().text + "'");
    }
    ++position_;
    return factor * value;
  }

  void readItem(Section section) {
    switch (section) {
      case Section::constraints:
        readConstraint();
        break;
      case Section::bounds:
        readBound();
        break;
      default:
        readKind(section);
    }
  }

  char readCompare() {
    if (at().kind != Token::compare) failHere("expected <=, >= or = instead of '" + at().text + "'");
    return tokens_[position_++].text[0];
  }

  // A number, signs before it, and a comparison behind it.
  bool sideComesFirst() const {
    size_t ahead = 0;
    while (at(ahead).kind == Token::sign) ++ahead;
    double value = 0.0;
    const bool number = at(ahead).kind == Token::number ||
                        (at(ahead).kind == Token::name && parseNumberOrInfinity(at(ahead).text, value));
    return number && at(ahead + 1).kind == Token::compare;
  }

  // number <= terms, or number <= terms <= number.
  void readSidedConstraint(const std::string& name) {
    const double side = readNumber();
    const char first = readCompare();
    const Expression sum = readExpression();
    if (sum.terms.empty()) failHere("a constraint without a variable");
    if (at().kind != Token::compare) {
      addRow(name, sum, first == '<' ? '>' : first == '>' ? '<' : '=', side);
      return;
    }
    const char second = readCompare();
    if (second != first || first == '=') failHere("the two comparisons of a range must point the same way");
    const double other = readNumber();
    addRange(name, sum, first == '<' ? side : other, first == '<' ? other : side);
  }

  void readConstraint() {
    std::string name;
    if (at().kind == Token::name && at(1).kind == Token::colon) {
      name = at().text;
      position_ += 2;
      if (!rowNames_.insert(name).second) failHere("constraint '" + name + "' appears twice");
      if (at().kind == Token::colon) failHere("unexpected ':'");
    }
    if (sideComesFirst()) {
      readSidedConstraint(name);
    } else {
      const Expression sum = readExpression();
      if (sum.terms.empty()) failHere(joined("expected a constraint instead of '", at().text, "'"));
      const char compare = readCompare();
      addRow(name, sum, compare, readNumber());
      if (at().kind == Token::compare) failHere("a constraint has one side or the form number <= terms <= number");
    }
    if (!at().startsLine && at().kind != Token::end && !(at().kind == Token::name && at(1).kind == Token::colon))
      failHere("unexpected '" + at().text + "' behind a constraint");
  }

  // terms + constant  compare  side, as a row of its own.
  void addRow(const std::string& name, const Expression& sum, char compare, double side) {
    const int row = static_cast<int>(model_.rows.size());
    model_.rows.push_back({name, compare == '<' ? 'L' : compare == '>' ? 'G' : 'E'});
    for (const TextEntry& term : sum.terms)
      model_.columns[static_cast<size_t>(term.row)].entries.push_back({row, term.value});
    model_.rhs.push_back({row, side - sum.constant});
  }

  // lower <= terms <= upper. Sides that cross can't be one row: they make an infeasible pair.
  void addRange(const std::string& name, const Expression& sum, double lower, double upper) {
    if (lower > -infinity && upper < infinity && lower <= upper) {
      addRow(name, sum, '<', upper);
      model_.ranges.push_back({static_cast<int>(model_.rows.size()) - 1, upper - lower});
    } else if (lower > -infinity && upper < infinity) {
      addRow(name, sum, '<', upper);
      addRow("", sum, '>', lower);
    } else if (lower > -infinity) {
      addRow(name, sum, '>', lower);
    } else {
      addRow(name, sum, '<', upper);
    }
  }

  void addBound(int column, char compare, double value) {
    if (compare != '>') model_.bounds.push_back({TextBound::upper, column, value});
    if (compare != '<') model_.bounds.push_back({TextBound::lower, column, value});
    if (compare == '=' && !(std::fabs(value) < infinity)) failHere("a variable is fixed at infinity");
  }

  void readBound() {
    double infinite = 0.0;
    const bool numberFirst = at().kind != Token::name || parseNumberOrInfinity(at().text, infinite);
    double left = 0.0;
    char compareLeft = '=';
    if (numberFirst) {
      left = readNumber();
      compareLeft = readCompare();
    }
    if (at().kind != Token::name) failHere("expected the name of a variable instead of '" + at().text + "'");
    const int column = columnOf(at().text);
    ++position_;
    if (numberFirst) addBound(column, compareLeft == '<' ? '>' : compareLeft == '>' ? '<' : '=', left);
    if (at().kind == Token::compare) {
      const char compare = readCompare();
      addBound(column, compare, readNumber());
    } else if (!numberFirst && isWord(0, {"free"})) {
      model_.bounds.push_back({TextBound::free, column, 0.0});
      ++position_;
    } else if (!numberFirst) {
      failHere("expected a bound instead of '" + at().text + "'");
    }
  }

  void readKind(Section section) {
    if (at().kind != Token::name) failHere("expected the name of a variable instead of '" + at().text + "'");
    const auto found = columnIndex_.find(at().text);
    if (found == columnIndex_.end()) failHere("variable '" + at().text + "' is not in the model");
    ++position_;
    if (section == Section::general) {
      model_.columns[static_cast<size_t>(found->second)].integer = true;
    } else if (section == Section::binary) {
      model_.bounds.push_back({TextBound::binary, found->second, 0.0, true});
    } else {
      model_.bounds.push_back({TextBound::semiContinuous, found->second, std::numeric_limits<double>::infinity()});
    }
  }

  std::vector<Token> tokens_;
  size_t position_ = 0;
  TextModel model_;
  bool sawConstraints_ = false;
  bool sawQuadratic_ = false;
  std::unordered_map<std::string, int> columnIndex_;
  std::unordered_set<std::string> rowNames_;
  std::unordered_map<int, size_t> termOf_;  // of the expression being read
};

// Rows without a name are called R1, R2, ... by their place, past names that are taken.
void nameRows(TextModel& model) {
  std::unordered_set<std::string> taken;
  for (const TextRow& row : model.rows) taken.insert(row.name);
  for (size_t i = 0; i < model.rows.size(); ++i) {
    if (!model.rows[i].name.empty()) continue;
    std::string name = joined("R", std::to_string(i + 1));
    while (!taken.insert(name).second) name += "_";
    model.rows[i].name = name;
  }
}

}  // namespace

TextModel parseLp(const std::string& text) {
  TextModel model = LpParser(text).parse();
  nameRows(model);
  return model;
}

}  // namespace qzfiles
