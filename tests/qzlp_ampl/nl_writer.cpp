#include "nl_writer.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "model_files/number_text.h"

namespace nltest {

namespace {

using models::LinearProgram;
using qzfiles::joined;

std::string number(double value) {
  char text[40];
  std::snprintf(text, sizeof(text), "%.17g", value);
  return text;
}

// A sum of terms by nested additions.
std::string sum(const std::vector<std::string>& terms) {
  std::string text;
  for (size_t k = 0; k + 1 < terms.size(); ++k) text += "o0\n";
  for (const std::string& term : terms) text += term;
  return text;
}

// Squares as powers, products of two columns as products.
std::string quadraticTerms(const LinearProgram& program) {
  std::vector<std::string> terms{joined("n", number(program.constant), "\n")};
  for (const models::Curvature& q : program.curvature) {
    const std::string first = joined("v", std::to_string(q.row), "\n");
    if (q.row == q.col)
      terms.push_back(joined("o2\nn", number(0.5 * q.value), "\no5\n", first, "n2\n"));
    else
      terms.push_back(joined("o2\nn", number(q.value), "\no2\n", first, "v", std::to_string(q.col), "\n"));
  }
  return sum(terms);
}

std::string sides(double low, double high) {
  const bool hasLow = low > -models::infinite;
  const bool hasHigh = high < models::infinite;
  if (hasLow && hasHigh && low == high) return joined("4 ", number(low), "\n");
  if (hasLow && hasHigh) return joined("0 ", number(low), " ", number(high), "\n");
  if (hasHigh) return joined("1 ", number(high), "\n");
  return hasLow ? joined("2 ", number(low), "\n") : "3\n";
}

std::string head(const LinearProgram& p, const Extras& extras) {
  const bool curved = !p.curvature.empty() || !extras.objective.empty();
  const int nonlinearRows = extras.firstRow.empty() ? 0 : 1;
  const int numObjective = extras.secondObjective.empty() ? 1 : 2;
  int numCost = 0;
  int numRange = 0;
  int numEquation = 0;
  for (const double cost : p.cost) numCost += cost != 0.0 ? 1 : 0;
  for (int i = 0; i < p.numRow(); ++i) {
    const auto row = static_cast<size_t>(i);
    if (p.rowLower[row] == p.rowUpper[row]) ++numEquation;
    if (p.rowLower[row] > -models::infinite && p.rowUpper[row] < models::infinite && p.rowLower[row] != p.rowUpper[row])
      ++numRange;
  }
  std::ostringstream text;
  text << "g3 1 1 0\n " << p.numCol() << ' ' << p.numRow() << ' ' << numObjective << ' ' << numRange << ' '
       << numEquation << "\n " << nonlinearRows << ' ' << (curved ? 1 : 0) << "\n 0 0\n "
       << (nonlinearRows > 0 ? p.numCol() : 0) << ' ' << (curved ? p.numCol() : 0) << ' '
       << (curved && nonlinearRows > 0 ? p.numCol() : 0) << "\n 0 0 0 1\n 0 " << extras.integers << " 0 0 0\n "
       << p.rowIndex.size() << ' ' << numCost << "\n 0 0\n 0 0 0 0 0\n";
  return text.str();
}

// The entries row by row, and how many columns up to each one hold.
std::string entries(const LinearProgram& p) {
  std::vector<std::string> rows(static_cast<size_t>(p.numRow()));
  std::vector<int> counts(rows.size(), 0);
  std::string starts = joined("k", std::to_string(p.numCol() - 1), "\n");
  for (int j = 0; j < p.numCol(); ++j) {
    const auto column = static_cast<size_t>(j);
    for (int k = p.colBegin[column]; k < p.colBegin[column + 1]; ++k) {
      const auto row = static_cast<size_t>(p.rowIndex[static_cast<size_t>(k)]);
      rows[row] += joined(std::to_string(j), " ", number(p.value[static_cast<size_t>(k)]), "\n");
      ++counts[row];
    }
    if (j + 1 < p.numCol()) starts += joined(std::to_string(p.colBegin[column + 1]), "\n");
  }
  std::string text = starts;
  for (size_t i = 0; i < rows.size(); ++i)
    if (counts[i] > 0) text += joined("J", std::to_string(i), " ", std::to_string(counts[i]), "\n", rows[i]);
  return text;
}

std::string costs(const LinearProgram& p) {
  std::string lines;
  int count = 0;
  for (int j = 0; j < p.numCol(); ++j) {
    const double cost = p.cost[static_cast<size_t>(j)];
    if (cost == 0.0) continue;
    lines += joined(std::to_string(j), " ", number(cost), "\n");
    ++count;
  }
  return count > 0 ? joined("G0 ", std::to_string(count), "\n", lines) : std::string();
}

}  // namespace

std::string nlText(const LinearProgram& program, const Extras& extras) {
  std::string text = head(program, extras);
  for (int i = 0; i < program.numRow(); ++i)
    text += joined("C", std::to_string(i), "\n", i == 0 && !extras.firstRow.empty() ? extras.firstRow : "n0\n");
  text += program.sense < 0 ? "O0 1\n" : "O0 0\n";
  text += extras.objective.empty() ? quadraticTerms(program) : extras.objective;
  if (!extras.secondObjective.empty()) text += joined("O1 0\n", extras.secondObjective);
  if (program.numRow() > 0) text += "r\n";
  for (size_t i = 0; i < static_cast<size_t>(program.numRow()); ++i)
    text += sides(program.rowLower[i], program.rowUpper[i]);
  text += "b\n";
  for (size_t j = 0; j < static_cast<size_t>(program.numCol()); ++j) text += sides(program.lower[j], program.upper[j]);
  return text + entries(program) + costs(program);
}

SolFile parseSol(const std::string& text) {
  const size_t options = text.find("\nOptions\n");
  if (options == std::string::npos) throw std::runtime_error("no line Options in\n" + text);
  SolFile sol;
  sol.message = text.substr(0, options);
  std::istringstream rest(text.substr(options + 9));
  size_t numOption = 0;
  rest >> numOption;
  for (double ignored = 0.0; numOption > 0 && (rest >> ignored); --numOption) {
  }
  size_t numRow = 0;
  size_t numDual = 0;
  size_t numCol = 0;
  size_t numPrimal = 0;
  rest >> numRow >> numDual >> numCol >> numPrimal;
  sol.dual.resize(numDual);
  sol.primal.resize(numPrimal);
  for (double& value : sol.dual) rest >> value;
  for (double& value : sol.primal) rest >> value;
  std::string word;
  rest >> word >> sol.objective >> sol.code;
  if (!rest || word != "objno") throw std::runtime_error("no line objno in\n" + text);
  sol.suffixes.assign(std::istreambuf_iterator<char>(rest), {});
  return sol;
}

}  // namespace nltest
