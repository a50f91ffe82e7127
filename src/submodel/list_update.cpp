#include "submodel/list_update.h"

#include <cmath>

namespace qz {

namespace {

constexpr double kStillBig = 0.05;  // share of thresholdBig

// Walks the list from its end and drops what `isSmall` says.
template <class IsSmall>
void prune(int32_t& plan, int32_t& count, int32_t* list, IsSmall isSmall) {
  if (plan == 0) return;
  for (int32_t k = count - 1; k >= 0; --k)
    if (isSmall(list[k])) list[k] = list[--count];
  if (count == 0) plan = 0;
}

}  // namespace

void updateSubList(Env* /*env*/, const Solution* solution, SubModel* submodel, const Model* model,
                   const IpmOption* options) {
  if (submodel == nullptr) return;
  SubModel& sub = *submodel;
  const Solution& s = *solution;
  const double limit = kStillBig * sub.thresholdBig;
  const double inf = options->infinityValue;
  const double tol = options->tolPrimal;
  prune(sub.planBigIneqnSlack, sub.numBigIneqnSlack, sub.idxRowSub, [&](int32_t i) { return s.ineqnSlack[i] < limit; });
  prune(sub.planBigBoundSlack, sub.numBigBoundSlack, sub.idxBoundSub, [&](int32_t j) {
    int32_t& sides = sub.statusBoundSub[j];
    if (s.upperSlack[j] < limit) sides &= ~SUB_UPPER;
    if (s.lowerSlack[j] < limit) sides &= ~SUB_LOWER;
    return (sides & (SUB_LOWER | SUB_UPPER)) == 0;
  });
  prune(sub.planBigVar, sub.numBigVar, sub.idxBigVar, [&](int32_t j) { return std::fabs(s.primal[j]) < limit; });
  prune(sub.planBigDual, sub.numBigDual, sub.idxBigDual, [&](int32_t i) { return std::fabs(s.dual[i]) < limit; });
  prune(sub.planBigBoundDual, sub.numBigBoundDual, sub.idxColSub, [&](int32_t j) {
    const double x = s.primal[j];
    const bool atLower = model->lower[j] > -inf && x < model->lower[j] + tol;
    const bool atUpper = model->upper[j] < inf && x > model->upper[j] - tol;
    return (atLower && s.lowerDual[j] < limit) || (atUpper && s.upperDual[j] < limit);
  });
}

}  // namespace qz
