#include "transform/row_reductions.h"

#include <cmath>

#include "shell/log.h"
#include "transform/bound_maps.h"
#include "transform/column_reductions.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// A dual of the former solution above this is too much to lose with its row.
constexpr double kLostDual = 1.0;

// One singleton row: a x_col (sense) rhs.
struct Singleton {
  int32_t row;
  int32_t col;
  double a;
  double tol;
  double inf;
};

int32_t infeasible(Presolver* p, int32_t row) {
  p->infeasRow = row;
  return QZ_STATUS_PRIMAL_INFEASIBLE;
}

double rangeWidth(const Model* model, int32_t row) {
  return model->range == nullptr ? 0.0 : model->range[row];
}

// side / a, where an infinite side stays infinite whatever a is.
double boundFromSide(const Singleton& s, double side) {
  if (std::fabs(side) >= s.inf) return (side > 0.0) == (s.a > 0.0) ? s.inf : -s.inf;
  return side / s.a;
}

void openRowsOfColumn(Presolver* p, int32_t col) {
  for (int32_t k = p->colBegin[col], end = k + p->colLength[col]; k < end; ++k) p->rowChecked[p->rowIndex[k]] = 0;
}

void setUpper(Env* env, Presolver* p, const Singleton& s, double value) {
  p->upper[s.col] = value;
  updateMapUpper(env, p->rowMap, p->ubMap, s.col, s.row);
}

void setLower(Env* env, Presolver* p, const Singleton& s, double value) {
  p->lower[s.col] = value;
  updateMapLower(env, p->rowMap, p->lbMap, s.col, s.row);
}

int32_t fixBySingleton(Env* env, Presolver* p, const Singleton& s) {
  const double v = boundFromSide(s, p->rhs[s.row]);
  const double l = p->lower[s.col];
  const double u = p->upper[s.col];
  if (std::fabs(v) >= s.inf || l > s.tol + v || v - s.tol > u) return infeasible(p, s.row);
  if (l + kFixedShare * s.tol > u) {
    p->rowMap[s.row] = ROWMAP_FREE;
    return QZ_STATUS_OK;
  }
  p->rowMap[s.row] = ROWMAP_FIXED;
  // A side that stands at v already keeps its setter. This row may have bounded other columns by that very side; taking
  // it over would let the duals of the two columns move into this row in turn without end.
  const double rounding = kFixedShare * s.tol;
  p->lower[s.col] = p->upper[s.col] = v;
  if (v - l > rounding) updateMapLower(env, p->rowMap, p->lbMap, s.col, s.row);
  if (u - v > rounding) updateMapUpper(env, p->rowMap, p->ubMap, s.col, s.row);
  return QZ_STATUS_OK;
}

int32_t boundAbove(Env* env, Presolver* p, const Singleton& s) {
  const double v = boundFromSide(s, p->rhs[s.row]);
  if (v <= -s.inf || p->lower[s.col] > s.tol + v) return infeasible(p, s.row);
  if (v >= s.inf || (v >= p->upper[s.col] && p->ubMap[s.col] != s.row)) {
    p->rowMap[s.row] = ROWMAP_FREE;
    return QZ_STATUS_OK;
  }
  p->rowMap[s.row] = ROWMAP_UPPER;
  setUpper(env, p, s, v);
  openRowsOfColumn(p, s.col);
  return QZ_STATUS_OK;
}

int32_t boundBelow(Env* env, Presolver* p, const Singleton& s) {
  const double v = boundFromSide(s, p->rhs[s.row]);
  if (v >= s.inf || v - s.tol > p->upper[s.col]) return infeasible(p, s.row);
  if (v <= -s.inf || (p->lower[s.col] >= v && p->lbMap[s.col] != s.row)) {
    p->rowMap[s.row] = ROWMAP_FREE;
    return QZ_STATUS_OK;
  }
  p->rowMap[s.row] = ROWMAP_LOWER;
  setLower(env, p, s, v);
  openRowsOfColumn(p, s.col);
  return QZ_STATUS_OK;
}

int32_t boundBothSides(Env* env, const Model* model, Presolver* p, const Singleton& s) {
  const double b = p->rhs[s.row];
  const double first = boundFromSide(s, b - rangeWidth(model, s.row));
  const double second = boundFromSide(s, b);
  const double lo = s.a >= 0.0 ? first : second;
  const double up = s.a >= 0.0 ? second : first;
  if (lo >= s.inf || up <= -s.inf) return infeasible(p, s.row);
  const bool tightensLower = lo > p->lower[s.col] && lo > -s.inf;
  const bool tightensUpper = up < p->upper[s.col] && up < s.inf;
  if (tightensLower) setLower(env, p, s, lo);
  if (tightensUpper) setUpper(env, p, s, up);
  if (tightensLower || tightensUpper) openRowsOfColumn(p, s.col);
  const bool setsLower = p->lbMap[s.col] == s.row;
  const bool setsUpper = p->ubMap[s.col] == s.row;
  if (setsLower)
    p->rowMap[s.row] = setsUpper ? ROWMAP_RANGE : ROWMAP_LOWER;
  else
    p->rowMap[s.row] = setsUpper ? ROWMAP_UPPER : ROWMAP_FREE;
  if (p->lower[s.col] > p->upper[s.col] + s.tol) return infeasible(p, s.row);
  if (p->lower[s.col] + kFixedShare * s.tol > p->upper[s.col]) p->upper[s.col] = p->lower[s.col];
  return QZ_STATUS_OK;
}

char capital(char sense) {
  switch (sense) {
    case 'e':
      return 'E';
    case 'g':
      return 'G';
    case 'l':
      return 'L';
    case 'r':
      return 'R';
    case 'n':
      return 'N';
    default:
      return sense;
  }
}

bool knownSense(char sense) {
  return sense == 'E' || sense == 'G' || sense == 'L' || sense == 'R' || sense == 'N';
}

}  // namespace

int32_t removeFreeRow(Env* env, const Model* model, Presolver* p) {
  int32_t numRow = 0;
  int32_t numElement = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    const char sense = capital(p->rowSense[i]);
    if (!knownSense(sense)) {
      logText(env->log, QZ_LOG_DEBUG, L"unknown row type %c.", sense);
      return QZ_STATUS_FAILED;
    }
    p->rowSense[i] = sense;
    if (sense != 'N' || p->rowMap[i] < 0) continue;
    p->rowMap[i] = ROWMAP_FREE;
    ++numRow;
    numElement += p->rowLength[i];
    for (int32_t k = p->rowBegin[i], end = k + p->rowLength[i]; k < end; ++k)
      removeElement(env, i, p->colIndex[k], p->colBegin, p->colLength, p->rowIndex, p->matValue);
    p->rowLength[i] = 0;
  }
  p->numRemovedRow += numRow;
  p->numRemovedElement += numElement;
  return QZ_STATUS_OK;
}

int32_t removeEmptyRow(Env*, const Model* model, const IpmOption* options, Presolver* p, int32_t row,
                       const Solution* solution) {
  const double tol = options->tolPrimal;
  const double b = p->rhs[row];
  const bool reentry = options->initOption >= kInitOptionSubmodel && solution != nullptr;
  const double y = reentry ? solution->dual[row] : 0.0;
  ++p->numRemovedRow;
  p->rowMap[row] = ROWMAP_EMPTY;
  bool contradicts = false;
  bool losesDual = false;
  switch (p->rowSense[row]) {
    case 'E':
      contradicts = std::fabs(b) > tol;
      losesDual = std::fabs(y) > kLostDual;
      break;
    case 'L':
      contradicts = -tol > b;
      losesDual = y < -kLostDual;
      break;
    case 'G':
      contradicts = b > tol;
      losesDual = y > kLostDual;
      break;
    default:
      contradicts = -tol > b || b - rangeWidth(model, row) > tol;
      losesDual = std::fabs(y) > kLostDual;
      break;
  }
  if (contradicts) p->infeasRow = row;
  if (losesDual) return QZ_STATUS_RESTART;
  return contradicts ? QZ_STATUS_PRIMAL_INFEASIBLE : QZ_STATUS_OK;
}

int32_t removeSingletonRow(Env* env, const Model* model, const IpmOption* options, Presolver* p, int32_t row) {
  const int32_t position = p->rowBegin[row];
  const Singleton s{row, p->colIndex[position], p->rowValue[position], options->tolPrimal, options->infinityValue};
  ++p->numRemovedRow;
  ++p->numRemovedElement;
  removeElement(env, row, s.col, p->colBegin, p->colLength, p->rowIndex, p->matValue);
  p->changed = 1;
  p->colChecked[s.col] = 0;
  switch (p->rowSense[row]) {
    case 'E':
      return fixBySingleton(env, p, s);
    case 'L':
      return s.a >= 0.0 ? boundAbove(env, p, s) : boundBelow(env, p, s);
    case 'G':
      return s.a > 0.0 ? boundBelow(env, p, s) : boundAbove(env, p, s);
    default:
      return boundBothSides(env, model, p, s);
  }
}

}  // namespace qz
