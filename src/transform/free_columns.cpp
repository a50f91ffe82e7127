#include "transform/free_columns.h"

namespace qz {

namespace {

// Bits of Model::relaxColBound.
constexpr int32_t kRelaxLower = 1;
constexpr int32_t kRelaxUpper = 2;

bool allRowsAreEquations(const Model* model) {
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (model->rowSense[i] != 'E') return false;
  }
  return true;
}

// Nothing but a system of linear equations is left: of the rows, or of the stationarity of the quadratic objective.
bool isLinearSystem(const Model* model) {
  if (model->numCoef > 0) return allRowsAreEquations(model);
  return model->typeModel == IPM_MODEL_QP && model->numQuadCoef >= 1;
}

bool keptRowsAreEquations(const Model* model, const Presolver* p) {
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (p->rowMap[i] >= 0 && p->rowSense[i] != 'E') return false;
  }
  return true;
}

bool isProcessedSystem(const Model* model, const Presolver* p) {
  if (model->numCoef - p->numRemovedElement > 0) return keptRowsAreEquations(model, p);
  return model->typeModel == IPM_MODEL_QP && model->numQuadCoef - p->numRemovedQuadElement >= 1;
}

// True for a removed row.
bool isRemoved(const Presolver* p, int32_t row) {
  return row >= 0 && p->rowMap[row] < 0;
}

enum class Freedom { kBounded, kRelaxable, kFree };

Freedom processedFreedom(const Model* model, const IpmOption* options, const Presolver* p, int32_t j) {
  const double inf = options->infinityValue;
  const bool noLower = p->lower[j] <= -inf;
  const bool noUpper = p->upper[j] >= inf;
  if (noLower && noUpper) return Freedom::kFree;
  const bool lowerGoes = noLower || (isRemoved(p, p->lbMap[j]) && p->lower[j] - options->tolPrimal >= model->lower[j]);
  const bool upperGoes = noUpper || (isRemoved(p, p->ubMap[j]) && model->upper[j] >= options->tolPrimal + p->upper[j]);
  return lowerGoes && upperGoes ? Freedom::kRelaxable : Freedom::kBounded;
}

}  // namespace

int32_t countFreeVar(Env*, const Model* model, const IpmOption* options, Presolver* presolver, Hub* hub) {
  const double infinity = options->infinityValue;
  hub->numFreeVar = 0;
  hub->numFreeElement = 0;
  hub->numRelaxFree = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const bool noLower = model->lower[j] <= -infinity;
    const bool noUpper = model->upper[j] >= infinity;
    if (noLower && noUpper) {
      ++hub->numFreeVar;
      hub->numFreeElement += model->colLength[j];
    } else if (model->relaxColBound != nullptr) {
      const int32_t relax = model->relaxColBound[j];
      if ((noLower || (relax & kRelaxLower) != 0) && (noUpper || (relax & kRelaxUpper) != 0)) ++hub->numRelaxFree;
    }
  }
  if (hub->numFreeVar + hub->numRelaxFree > 0) presolver->preRoute = PREROUTE_FREE;
  // A relaxed bound still holds, and a solve of the equations alone would not see it.
  if (hub->numFreeVar > 0 && hub->numFreeVar == model->numCol && isLinearSystem(model))
    presolver->preRoute = PREROUTE_SYSTEM;
  return QZ_STATUS_OK;
}

int32_t countProcessedFreeVar(Env*, const Model* model, const IpmOption* options, Presolver* presolver, Hub* hub) {
  const Presolver* p = presolver;
  hub->numFreeVar = 0;
  hub->numFreeElement = 0;
  hub->numRelaxFree = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (p->colMap[j] < 0) continue;
    switch (processedFreedom(model, options, p, j)) {
      case Freedom::kFree:
        ++hub->numFreeVar;
        hub->numFreeElement += p->colLength[j];
        break;
      case Freedom::kRelaxable:
        ++hub->numRelaxFree;
        break;
      default:
        break;
    }
  }
  presolver->preRoute = hub->numFreeVar + hub->numRelaxFree > 0 ? PREROUTE_FREE : PREROUTE_NORMAL;
  if (hub->numFreeVar > 0 && hub->numFreeVar == model->numCol - p->numRemovedCol && isProcessedSystem(model, p))
    presolver->preRoute = PREROUTE_SYSTEM;
  return QZ_STATUS_OK;
}

}  // namespace qz
