#include "model_files/model_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <coin/CoinError.hpp>
#include <coin/CoinFileIO.hpp>
#include <coin/CoinMessageHandler.hpp>
#include <coin/CoinMpsIO.hpp>
#include <coin/CoinPackedMatrix.hpp>
#include <cstring>
#include <limits>

#include "model_files/number_text.h"
#include "model_files/text_model.h"

namespace qzfiles {

namespace {

constexpr size_t mostEntries = std::numeric_limits<int32_t>::max() / 2;

// Keeps the first complaint of the reader and shows nothing.
class FirstComplaint : public CoinMessageHandler {
 public:
  int print() override {
    if (text.empty() && currentMessage().severity() != 'I') text = messageBuffer();
    return 0;
  }
  void checkSeverity() override {}
  std::string text;
};

// Text in memory where CoinUtils expects a file.
class TextInput : public CoinFileInput {
 public:
  explicit TextInput(const std::string& text) : CoinFileInput("model"), text_(text) { readType_ = "plain"; }

  int read(void* buffer, int size) override {
    const size_t count = std::min(static_cast<size_t>(size), text_.size() - position_);
    std::memcpy(buffer, text_.data() + position_, count);
    position_ += count;
    return static_cast<int>(count);
  }

  char* gets(char* buffer, int size) override {
    if (position_ >= text_.size() || size < 2) return nullptr;
    const size_t lineEnd = std::min(text_.find('\n', position_), text_.size() - 1) + 1;
    const size_t count = std::min(static_cast<size_t>(size) - 1, lineEnd - position_);
    std::memcpy(buffer, text_.data() + position_, count);
    buffer[count] = '\0';
    position_ += count;
    return buffer;
  }

 private:
  const std::string& text_;
  size_t position_ = 0;
};

class TextMpsReader : public CoinMpsIO {
 public:
  // The number of errors.
  int readText(const std::string& text) {
    cardReader_ = new CoinMpsCardReader(new TextInput(text), this);  // both are released by the base
    return readMps();
  }
};

// Shortest decimal form that reads back as the same double.
void appendNumber(std::string& text, double value) {
  constexpr double beyond = 1e30;
  value = std::clamp(value, -beyond, beyond);
  std::array<char, 40> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  text.append(buffer.data(), result.ptr);
}

void appendLine(std::string& text, const char* kind, const std::string& first, int row, double value) {
  text += kind;
  text += first;
  if (row == objectiveRow) {
    text += " OBJ ";
  } else {
    text += joined(" R", std::to_string(row), " ");
  }
  appendNumber(text, value);
  text += '\n';
}

// The model in free MPS with rows OBJ, R0, R1, ... and columns C0, C1, ..., all but its bounds and its kinds of
// columns: to CoinMpsIO a second bound of a column is an error, and an absent value is zero.
std::string render(const TextModel& model) {
  std::string text = "NAME model FREE\nROWS\n N OBJ\n";
  for (size_t i = 0; i < model.rows.size(); ++i)
    text += joined(" ", std::string_view(&model.rows[i].sense, 1), " R", std::to_string(i), "\n");
  text += "COLUMNS\n";
  for (size_t j = 0; j < model.columns.size(); ++j) {
    const std::string name = joined("C", std::to_string(j));
    if (model.columns[j].entries.empty()) appendLine(text, " ", name, objectiveRow, 0.0);
    for (const TextEntry& entry : model.columns[j].entries) appendLine(text, " ", name, entry.row, entry.value);
  }
  text += "RHS\n";
  for (const TextEntry& side : model.rhs) appendLine(text, " ", "RHS", side.row, side.value);
  if (!model.ranges.empty()) text += "RANGES\n";
  for (const TextEntry& range : model.ranges) appendLine(text, " ", "RANGE", range.row, range.value);
  return text + "ENDATA\n";
}

// Rows as lower <= activity <= upper become senses, with R for two finite sides.
void setRow(ModelFile& model, int32_t row, double lower, double upper) {
  const auto i = static_cast<size_t>(row);
  const bool hasLower = lower > -infinity;
  const bool hasUpper = upper < infinity;
  if (lower >= infinity || upper <= -infinity)
    throw ModelFileError("row '" + model.rowNames[i] + "' has an infinite side on its wrong end");
  if (hasLower && hasUpper) {
    model.rowSense[i] = lower == upper ? 'E' : 'R';
    model.rhs[i] = upper;
    model.range[i] = upper - lower;
  } else {
    model.rowSense[i] = hasUpper ? 'L' : hasLower ? 'G' : 'N';
    model.rhs[i] = hasUpper ? upper : hasLower ? lower : 0.0;
  }
}

// Rows, matrix and objective, as CoinUtils reads the rendering.
void readThroughCoin(const TextModel& text, ModelFile& model) {
  FirstComplaint complaint;
  TextMpsReader reader;
  reader.passInMessageHandler(&complaint);
  const std::string rendering = render(text);
  int numError = 0;
  try {
    numError = reader.readText(rendering);
  } catch (const CoinError& error) {
    throw ModelFileError("the MPS reader failed: " + error.message());
  }
  if (numError != 0 || !complaint.text.empty()) throw ModelFileError("the MPS reader found errors: " + complaint.text);
  const auto numRow = static_cast<int>(text.rows.size());
  const auto numCol = static_cast<int>(text.columns.size());
  if (reader.getNumRows() != numRow || reader.getNumCols() != numCol)
    throw ModelFileError("the MPS reader lost rows or columns");
  for (int i = 0; i < numRow; ++i) setRow(model, i, reader.getRowLower()[i], reader.getRowUpper()[i]);
  const CoinPackedMatrix& matrix = *reader.getMatrixByCol();
  for (int j = 0; j < numCol; ++j) {
    model.obj[static_cast<size_t>(j)] = reader.getObjCoefficients()[j];
    const CoinBigIndex begin = matrix.getVectorStarts()[j];
    for (CoinBigIndex k = begin; k < begin + matrix.getVectorLengths()[j]; ++k) {
      if (matrix.getElements()[k] == 0.0) continue;
      model.rowIndex.push_back(matrix.getIndices()[k]);
      model.matValue.push_back(matrix.getElements()[k]);
    }
    model.colBegin[static_cast<size_t>(j) + 1] = model.numCoef();
  }
}

// The reader of CoinUtils takes no model without rows or columns; there it is only sides and costs.
void fillWithoutMatrix(const TextModel& text, ModelFile& model) {
  for (size_t j = 0; j < text.columns.size(); ++j)
    for (const TextEntry& entry : text.columns[j].entries) model.obj[j] = entry.value;
  std::vector<double> side(text.rows.size(), 0.0);
  std::vector<double> range(text.rows.size(), 0.0);
  for (const TextEntry& entry : text.rhs) side[static_cast<size_t>(entry.row)] = entry.value;
  for (const TextEntry& entry : text.ranges) range[static_cast<size_t>(entry.row)] = entry.value;
  constexpr double none = std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < text.rows.size(); ++i) {
    const char sense = text.rows[i].sense;
    const double width = std::fabs(range[i]);
    double lower = sense == 'L' ? -none : side[i];
    double upper = sense == 'G' ? none : side[i];
    if (width > 0.0 && (sense == 'L' || (sense == 'E' && range[i] < 0.0))) lower = side[i] - width;
    if (width > 0.0 && (sense == 'G' || (sense == 'E' && range[i] > 0.0))) upper = side[i] + width;
    setRow(model, static_cast<int32_t>(i), lower, upper);
  }
}

void applyBounds(const TextModel& text, ModelFile& model) {
  constexpr double none = std::numeric_limits<double>::infinity();
  std::vector<bool> lowerWasSet(text.columns.size(), false);
  std::vector<bool> integer(text.columns.size(), false);
  std::vector<bool> semiContinuous(text.columns.size(), false);
  for (size_t j = 0; j < text.columns.size(); ++j) integer[j] = text.columns[j].integer;
  for (const TextBound& bound : text.bounds) {
    const auto j = static_cast<size_t>(bound.column);
    double& lower = model.lower[j];
    double& upper = model.upper[j];
    switch (bound.kind) {
      case TextBound::upper:
        upper = bound.value;
        if (text.negativeUpperFreesLower && upper < 0.0 && lower == 0.0 && !lowerWasSet[j]) lower = -none;
        break;
      case TextBound::lower:
        lower = bound.value;
        break;
      case TextBound::fixed:
        lower = upper = bound.value;
        break;
      case TextBound::free:
        lower = -none;
        upper = none;
        break;
      case TextBound::minusInfinity:
        lower = -none;
        break;
      case TextBound::plusInfinity:
        upper = none;
        break;
      case TextBound::binary:
        lower = 0.0;
        upper = 1.0;
        break;
      case TextBound::semiContinuous:
        upper = std::min(upper, bound.value);
        lower = std::min(lower, 0.0);
        semiContinuous[j] = true;
        break;
    }
    lowerWasSet[j] = lowerWasSet[j] || (bound.kind != TextBound::upper && bound.kind != TextBound::plusInfinity);
    integer[j] = integer[j] || bound.integer;
  }
  const auto numInteger = std::count(integer.begin(), integer.end(), true);
  const auto numSemi = std::count(semiContinuous.begin(), semiContinuous.end(), true);
  if (numInteger > 0) model.notes.push_back(std::to_string(numInteger) + " integer column(s) solved as continuous");
  if (numSemi > 0) model.notes.push_back(std::to_string(numSemi) + " semi-continuous column(s) solved as continuous");
}

// The pairs by columns, without zeros.
void fillQuadratic(std::vector<TextPair> pairs, ModelFile& model) {
  std::sort(pairs.begin(), pairs.end(), [](const TextPair& a, const TextPair& b) {
    return a.second != b.second ? a.second < b.second : a.first < b.first;
  });
  for (const TextPair& pair : pairs) {
    if (pair.value == 0.0) continue;
    ++model.quadBegin[static_cast<size_t>(pair.second) + 1];
    model.quadIndex.push_back(pair.first);
    model.quadValue.push_back(pair.value);
  }
  for (size_t j = 1; j < model.quadBegin.size(); ++j) model.quadBegin[j] += model.quadBegin[j - 1];
}

bool endsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() && equalNoCase(text.substr(text.size() - ending.size()), ending);
}

bool isLpFile(std::string path, const std::string& text) {
  for (const char* packing : {".gz", ".bz2"})
    if (endsWith(path, packing)) path.resize(path.size() - std::strlen(packing));
  if (endsWith(path, ".lp")) return true;
  if (endsWith(path, ".mps") || endsWith(path, ".qps")) return false;
  // A comment of LP files, or the word that begins an objective and is no section of an MPS file by itself.
  const size_t begin = text.find_first_not_of(" \t\r\n");
  if (text[begin] == '\\') return true;
  const std::string word = text.substr(begin, text.find_first_of(" \t\r\n:", begin) - begin);
  const bool objective = equalNoCase(word.substr(0, 3), "min") || equalNoCase(word.substr(0, 3), "max");
  return objective && text.find("\nROWS") == std::string::npos;
}

}  // namespace

qzlp_model ModelFile::view() const {
  qzlp_model model{};
  model.numRow = numRow();
  model.numCol = numCol();
  model.numCoef = numCoef();
  model.objSense = objSense;
  model.objConstant = objConstant;
  model.colBegin = colBegin.data();
  model.colLength = nullptr;
  model.rowIndex = rowIndex.data();
  model.matValue = matValue.data();
  model.obj = obj.data();
  model.lower = lower.data();
  model.upper = upper.data();
  model.rowSense = rowSense.data();
  model.rhs = rhs.data();
  model.range = range.data();
  return model;
}

qzlp_quadratic ModelFile::quadraticView() const {
  qzlp_quadratic quadratic{};
  quadratic.form = QZLP_LOWER;
  quadratic.numCoef = numQuadCoef();
  quadratic.colBegin = quadBegin.data();
  quadratic.rowIndex = quadIndex.data();
  quadratic.value = quadValue.data();
  return quadratic;
}

ModelFile readModelFile(const std::string& path) {
  return readModelText(path, readFileText(path));
}

ModelFile readModelText(const std::string& path, const std::string& content) {
  const TextModel text = isLpFile(path, content) ? parseLp(content) : parseMps(content);
  size_t numEntry = 0;
  for (const TextColumn& column : text.columns) numEntry += column.entries.size();
  if (std::max({text.rows.size(), text.columns.size(), numEntry, text.quadratic.size()}) > mostEntries)
    throw ModelFileError("is too large for 32-bit indices");

  ModelFile model;
  model.name = text.name;
  model.objSense = text.maximise ? -1 : 1;
  model.objConstant = text.objConstant;
  model.notes = text.notes;
  for (const TextRow& row : text.rows) model.rowNames.push_back(row.name);
  for (const TextColumn& column : text.columns) model.colNames.push_back(column.name);
  model.rowSense.assign(text.rows.size(), 'N');
  model.rhs.assign(text.rows.size(), 0.0);
  model.range.assign(text.rows.size(), 0.0);
  model.colBegin.assign(text.columns.size() + 1, 0);
  model.obj.assign(text.columns.size(), 0.0);
  model.lower.assign(text.columns.size(), 0.0);
  model.upper.assign(text.columns.size(), std::numeric_limits<double>::infinity());
  if (text.rows.empty() || text.columns.empty()) {
    fillWithoutMatrix(text, model);
  } else {
    readThroughCoin(text, model);
  }
  applyBounds(text, model);
  model.quadBegin.assign(text.columns.size() + 1, 0);
  fillQuadratic(text.quadratic, model);
  return model;
}

}  // namespace qzfiles
