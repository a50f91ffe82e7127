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

}  // namespace qz
