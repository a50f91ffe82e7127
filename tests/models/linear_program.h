// A linear program as the end-to-end tests hold it, apart from every record of the solver, or a quadratic one:
//
//   minimise (sense 1) or maximise (sense -1)  cost'x + 1/2 x'Qx + constant
//   subject to  rowLower <= A x <= rowUpper,  lower <= x <= upper
//
// with infinite sides as +-infinity.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace models {

constexpr double infinite = std::numeric_limits<double>::infinity();

// An entry of the symmetric Q, off the diagonal one for each pair.
struct Curvature {
  int row, col;
  double value;
};

struct LinearProgram {
  std::string name;
  int sense = 1;
  double constant = 0.0;
  std::vector<int> colBegin{0};  // numCol + 1
  std::vector<int> rowIndex;
  std::vector<double> value;
  std::vector<double> cost, lower, upper;
  std::vector<double> rowLower, rowUpper;
  std::vector<Curvature> curvature;  // row >= col, no pair twice; empty for a linear program

  int numRow() const { return static_cast<int>(rowLower.size()); }
  int numCol() const { return static_cast<int>(cost.size()); }

  int addRow(double low, double high);                     // its index
  int addColumn(double itsCost, double low, double high);  // its index; entries are added to the last column
  void addEntry(int row, double coefficient);
  void addCurvature(int i, int j, double q);  // added to Q_ij and Q_ji
};

// Reads an MPS file by CoinMpsIO alone, and a section QUADOBJ by itself, for files that it reads soundly: the
// collections and the rendering of our own models. Dies by a test failure's exception (std::runtime_error) otherwise.
LinearProgram readMpsFile(const std::string& path);

// The program as the text of an MPS file, with all digits; rows are R0, R1 ..., columns C0, C1 ...
std::string asMps(const LinearProgram& program);

// What came back from a solve.
struct Answer {
  int returnCode = 0;  // of qzlp_solve
  int status = 0;
  double objective = 0.0;
  int iterations = 0;
  double seconds = 0.0;
  std::vector<double> primal, reducedCost, activity, dual;
  std::vector<uint8_t> columnBasis, rowBasis;  // empty without a basis
  int simplexIterations = 0;
  std::vector<double> proof, ray;  // of an infeasible or unbounded program; empty without one
  std::string log;                 // all lines
};

}  // namespace models
