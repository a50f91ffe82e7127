#include "models/linear_program.h"

#include <coin/CoinMessageHandler.hpp>
#include <coin/CoinMpsIO.hpp>
#include <coin/CoinPackedMatrix.hpp>
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

namespace {

double side(double value) {
  if (value >= 1e20) return infinite;
  return value <= -1e20 ? -infinite : value;
}

}  // namespace

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
  return program;
}

}  // namespace models
