#include "transform/solution_expansion.h"

#include <algorithm>
#include <cmath>

#include "transform/column_reductions.h"

namespace qz {

namespace {

void setDuals(Solution* s, int32_t j, double lowerDual, double upperDual) {
  s->lowerDual[j] = lowerDual;
  s->upperDual[j] = upperDual;
}

// The slacks to finite presolved bounds.
void setSlacks(Solution* s, const Presolver* p, int32_t j, double infinity) {
  s->lowerSlack[j] = p->lower[j] > -infinity ? s->primal[j] - p->lower[j] : 0.0;
  s->upperSlack[j] = p->upper[j] < infinity ? p->upper[j] - s->primal[j] : 0.0;
}

void copyColumn(const Solution* from, int32_t k, Solution* to, int32_t j) {
  to->primal[j] = from->primal[k];
  to->lowerSlack[j] = from->lowerSlack[k];
  to->upperSlack[j] = from->upperSlack[k];
  to->lowerDual[j] = from->lowerDual[k];
  to->upperDual[j] = from->upperDual[k];
}

// The slacks of a fixed column are those to the user's bounds: the column may rest anywhere between them.
void placeFixed(const Presolver* p, Solution* s, int32_t j, double infinity) {
  const double x = p->lower[j];
  const double l = p->inModel->lower[j];
  const double u = p->inModel->upper[j];
  s->primal[j] = x;
  setDuals(s, j, 0.0, 0.0);
  s->lowerSlack[j] = l > -infinity ? x - l : 0.0;
  s->upperSlack[j] = u < infinity ? u - x : 0.0;
}

// The best x of c x + q x^2 / 2 within the bounds. False for a concave term on an unbounded interval, which presolve
// has reported.
bool placeCurved(const Presolver* p, Solution* s, int32_t j, double q, double infinity) {
  const double c = p->obj[j];
  const double l = p->lower[j];
  const double u = p->upper[j];
  if (q < 0.0) {
    if (l <= -infinity || u >= infinity) return false;
    const auto value = [c, q](double x) { return (c + 0.5 * x * q) * x; };
    s->primal[j] = value(u) >= value(l) ? l : u;
  } else {
    const double minimiser = -c / q;
    if (l > minimiser)
      s->primal[j] = l;
    else
      s->primal[j] = minimiser > u ? u : minimiser;
  }
  setDuals(s, j, 0.0, 0.0);
  setSlacks(s, p, j, infinity);
  return true;
}

void clampPrimal(const Presolver* p, Solution* s, int32_t j, double infinity) {
  if (s->primal[j] > p->upper[j])
    s->primal[j] = p->upper[j];
  else if (s->primal[j] < p->lower[j])
    s->primal[j] = p->lower[j];
  setDuals(s, j, 0.0, 0.0);
  setSlacks(s, p, j, infinity);
}

// An empty column at the bound that its cost asks for. A negative cost goes into upperDual as it stands: the repair of
// the duals, which sees twice the cost as discrepancy, turns its sign.
void placeByCost(const Presolver* p, Solution* s, int32_t j, double infinity) {
  const double c = p->obj[j];
  const double l = p->lower[j];
  const double u = p->upper[j];
  const double width = l > -infinity && u < infinity ? u - l : 0.0;
  const bool atUpper = c < 0.0 || (c == 0.0 && l <= -infinity && u < infinity);
  if (c == 0.0 && l <= -infinity && u >= infinity)
    s->primal[j] = 0.0;
  else
    s->primal[j] = atUpper ? u : l;
  setDuals(s, j, c > 0.0 ? c : 0.0, c < 0.0 ? c : 0.0);
  s->lowerSlack[j] = atUpper ? width : 0.0;
  s->upperSlack[j] = atUpper ? 0.0 : width;
}

bool placeEmpty(const Presolver* p, Solution* s, int32_t j, int32_t keepPrimal, double infinity) {
  const double q = p->inModel->typeModel == IPM_MODEL_QP ? p->inModel->quadDiag[j] : 0.0;
  if (std::fabs(q) > kFlatCurvature) return placeCurved(p, s, j, q, infinity);
  if (keepPrimal != 0)
    clampPrimal(p, s, j, infinity);
  else
    placeByCost(p, s, j, infinity);
  return true;
}

// Last to first, so that no entry is overwritten before it is read.
void expandInPlace(int32_t count, const int32_t* map, double* values) {
  for (int32_t k = count - 1; k >= 0; --k) values[k] = map[k] >= 0 ? values[map[k]] : 0.0;
}

void expandKept(const Presolver* p, KeptSolution* kept) {
  for (double* values :
       {kept->primalDelta, kept->lowerSlackDelta, kept->upperSlackDelta, kept->lowerDualDelta, kept->upperDualDelta})
    expandInPlace(p->inModel->numCol, p->colMap, values);
  for (double* values : {kept->dualDelta, kept->ineqnSlackDelta}) expandInPlace(p->inModel->numRow, p->rowMap, values);
}

void expandRows(const Presolver* p, const Solution* from, Solution* to) {
  for (int32_t i = 0; i < p->inModel->numRow; ++i) {
    const int32_t k = p->rowMap[i];
    if (k >= 0 && from != nullptr) {
      to->dual[i] = from->dual[k];
      to->ineqnSlack[i] = from->ineqnSlack[k];
    } else if (k < 0 && k >= ROWMAP_EMPTY) {
      to->dual[i] = to->ineqnSlack[i] = 0.0;
    }
  }
}

}  // namespace

void outputSolution(const Presolver* presolver, const Solution* solutionIn, Solution* solutionOut, Hub* hub,
                    int32_t keepPrimal, double infinity) {
  for (int32_t j = 0; j < presolver->inModel->numCol; ++j) {
    const int32_t k = presolver->colMap[j];
    if (k >= 0 && solutionIn != nullptr) copyColumn(solutionIn, k, solutionOut, j);
    if (k == COLMAP_FIXED) placeFixed(presolver, solutionOut, j, infinity);
    if (k == COLMAP_EMPTY && !placeEmpty(presolver, solutionOut, j, keepPrimal, infinity)) return;
  }
  expandRows(presolver, solutionIn, solutionOut);
  if (hub != nullptr && hub->keptSolution != nullptr) expandKept(presolver, hub->keptSolution);
}

}  // namespace qz
