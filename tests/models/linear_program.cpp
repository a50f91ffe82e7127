#include "models/linear_program.h"

#include <algorithm>
#include <coin/CoinFileIO.hpp>
#include <coin/CoinMessageHandler.hpp>
#include <coin/CoinMpsIO.hpp>
#include <coin/CoinPackedMatrix.hpp>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace models {

int LinearProgram::addRow(double low, double high) {
  rowLower.push_back(low);
  rowUpper.push_back(high);
  return numRow() - 1;
}

int LinearProgram::addColumn(double itsCost, double low, double high) {
  cost.push_back(itsCost);
  lower.push_back(low);
  upper.push_back(high);
  colBegin.push_back(colBegin.back());
  return numCol() - 1;
}

void LinearProgram::addEntry(int row, double coefficient) {
  rowIndex.push_back(row);
  value.push_back(coefficient);
  ++colBegin.back();
}

void LinearProgram::addCurvature(int i, int j, double q) {
  const int row = std::max(i, j), col = std::min(i, j);
  for (Curvature& entry : curvature) {
    if (entry.row != row || entry.col != col) continue;
    entry.value += q;
    return;
  }
  curvature.push_back({row, col, q});
}

namespace {

// The lines behind QUADOBJ: two columns and a number, each pair once.
void readQuadratic(const std::string& path, const CoinMpsIO& reader, LinearProgram& program) {
  const std::unique_ptr<CoinFileInput> file(CoinFileInput::create(path));
  char line[1000];
  bool inside = false;
  while (file->gets(line, sizeof(line)) != nullptr) {
    if (line[0] != ' ') {
      inside = std::string(line).rfind("QUADOBJ", 0) == 0;
      continue;
    }
    if (!inside) continue;
    std::istringstream fields(line);
    std::string first, second;
    double value = 0.0;
    fields >> first >> second >> value;
    const int i = reader.columnIndex(first.c_str()), j = reader.columnIndex(second.c_str());
    if (!fields || i < 0 || j < 0) throw std::runtime_error(path + ": " + line);
    program.curvature.push_back({std::max(i, j), std::min(i, j), value});
  }
}

double side(double value) {
  if (value >= 1e20) return infinite;
  return value <= -1e20 ? -infinite : value;
}

char senseOf(double low, double high) {
  if (low == -infinite) return high == infinite ? 'N' : 'L';
  return low == high ? 'E' : 'G';
}

// The sections of a file as they grow.
struct Sections {
  std::ostringstream rows, columns, sides, ranges, bounds;

  Sections() {
    for (std::ostringstream* section : {&rows, &columns, &sides, &ranges, &bounds}) section->precision(17);
  }
};

// A row with two sides is written by its lower one and a range.
void writeRows(const LinearProgram& program, Sections& s) {
  for (int i = 0; i < program.numRow(); ++i) {
    const double low = program.rowLower[static_cast<size_t>(i)];
    const double high = program.rowUpper[static_cast<size_t>(i)];
    const char sense = senseOf(low, high);
    s.rows << ' ' << sense << " R" << i << '\n';
    if (sense != 'N') s.sides << " S R" << i << ' ' << (sense == 'L' ? high : low) << '\n';
    if (sense == 'G' && high < infinite) s.ranges << " W R" << i << ' ' << high - low << '\n';
  }
}

void writeColumns(const LinearProgram& program, Sections& s) {
  for (int j = 0; j < program.numCol(); ++j) {
    const auto at = static_cast<size_t>(j);
    s.columns << " C" << j << " COST " << program.cost[at] << '\n';
    for (int k = program.colBegin[at]; k < program.colBegin[at + 1]; ++k)
      s.columns << " C" << j << " R" << program.rowIndex[static_cast<size_t>(k)] << ' '
                << program.value[static_cast<size_t>(k)] << '\n';
    if (program.lower[at] == -infinite)
      s.bounds << " MI B C" << j << '\n';
    else
      s.bounds << " LO B C" << j << ' ' << program.lower[at] << '\n';
    if (program.upper[at] < infinite) s.bounds << " UP B C" << j << ' ' << program.upper[at] << '\n';
  }
}

}  // namespace

std::string asMps(const LinearProgram& program) {
  Sections s;
  s.sides << " S COST " << -program.constant << '\n';
  writeRows(program, s);
  writeColumns(program, s);
  std::ostringstream text;
  text << "NAME P FREE\n" << (program.sense < 0 ? "OBJSENSE\n MAX\n" : "");
  text << "ROWS\n N COST\n" << s.rows.str() << "COLUMNS\n" << s.columns.str() << "RHS\n" << s.sides.str();
  if (!s.ranges.str().empty()) text << "RANGES\n" << s.ranges.str();
  text << "BOUNDS\n" << s.bounds.str() << "ENDATA\n";
  return text.str();
}

LinearProgram readMpsFile(const std::string& path) {
  CoinMessageHandler silent;
  silent.setLogLevel(0);
  CoinMpsIO reader;
  reader.passInMessageHandler(&silent);
  if (reader.readMps(path.c_str(), "") != 0) throw std::runtime_error(path + " can't be read");
  LinearProgram program;
  program.name = path;
  program.constant = -reader.objectiveOffset();
  for (int i = 0; i < reader.getNumRows(); ++i)
    program.addRow(side(reader.getRowLower()[i]), side(reader.getRowUpper()[i]));
  const CoinPackedMatrix& matrix = *reader.getMatrixByCol();
  for (int j = 0; j < reader.getNumCols(); ++j) {
    program.addColumn(reader.getObjCoefficients()[j], side(reader.getColLower()[j]), side(reader.getColUpper()[j]));
    const CoinBigIndex begin = matrix.getVectorStarts()[j];
    for (CoinBigIndex k = begin; k < begin + matrix.getVectorLengths()[j]; ++k)
      program.addEntry(matrix.getIndices()[k], matrix.getElements()[k]);
  }
  readQuadratic(path, reader, program);
  return program;
}

}  // namespace models
