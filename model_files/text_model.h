// What stands in a model file, checked but not yet interpreted: the common form of the MPS and the LP front pass.
//
// The readers of CoinUtils pass over several kinds of damage in silence, and some make them crash. The front passes
// therefore check a file line by line, with an error that names the line, and model_file.cpp hands CoinUtils a clean
// rendering of what they found.
#pragma once

#include <string>
#include <vector>

namespace qzfiles {

struct TextRow {
  std::string name;
  char sense;  // E, L or G
};

struct TextEntry {
  int row;  // objectiveRow for the objective
  double value;
};
constexpr int objectiveRow = -1;

struct TextColumn {
  std::string name;
  bool integer = false;
  std::vector<TextEntry> entries;  // no row twice
};

// One entry of the symmetric Q in an objective's 1/2 x'Qx: on the diagonal, or a pair off it, each pair once.
struct TextPair {
  int first, second;  // columns, first >= second
  double value;
};

// One bound, to be applied in the order of the file.
struct TextBound {
  enum Kind { upper, lower, fixed, free, minusInfinity, plusInfinity, binary, semiContinuous };
  Kind kind;
  int column;
  double value;  // of upper, lower, fixed and semiContinuous; may be infinite
  bool integer = false;
};

struct TextModel {
  std::string name;
  bool maximise = false;
  bool negativeUpperFreesLower = false;  // the habit of MPS: an upper bound under 0 takes away a lower bound never set
  double objConstant = 0.0;
  std::vector<TextRow> rows;
  std::vector<TextColumn> columns;
  std::vector<TextEntry> rhs;     // no row twice, no objective
  std::vector<TextEntry> ranges;  // no row twice, no objective
  std::vector<TextBound> bounds;
  std::vector<TextPair> quadratic;  // no pair twice
  std::vector<std::string> notes;   // what was left out, in words
};

// Both throw ModelFileError.
TextModel parseMps(const std::string& text);
TextModel parseLp(const std::string& text);

}  // namespace qzfiles
