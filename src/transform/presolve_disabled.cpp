#include "transform/presolve_disabled.h"

#include "shell/log.h"
#include "transform/free_columns.h"

namespace qz {

namespace {

// A lower bound of +infinity or an upper bound of -infinity: no finite value is left for the column.
bool hasEmptyBox(const Model* model, double infinity) {
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->lower[j] >= infinity || model->upper[j] <= -infinity) return true;
  }
  return false;
}

}  // namespace

void countRowSenses(const Model* model, Hub* hub) {
  hub->numLcont = 0;
  hub->numRange = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (model->rowSense[i] == 'L') ++hub->numLcont;
    if (model->rowSense[i] == 'R') ++hub->numRange;
  }
}

int32_t ipmPresolveDisabled(Env* env, Model* model, IpmOption* options, Presolver* presolver, Hub* hub,
                            Solution** solutionIn, Solution** solutionOut) {
  presolver->preControl = PRECONTROL_NONE;
  presolver->preRoute = PREROUTE_NORMAL;
  if (model->numCoef == 0 && model->numQuadCoef == 0) {
    logText(env->log, QZ_LOG_ERROR, L"numCoef==0  numQuadCoef==0, external presolver should have solved this instance");
    return QZ_STATUS_FAILED;
  }
  if (hasEmptyBox(model, options->infinityValue)) return QZ_STATUS_DUAL_INFEASIBLE;
  int32_t status = countFreeVar(env, model, options, presolver, hub);
  if (status != QZ_STATUS_OK) return status;
  // The direct solve of a pure linear system is not built: the engine takes such a model like any with free columns.
  if (presolver->preRoute == PREROUTE_SYSTEM) presolver->preRoute = PREROUTE_FREE;
  countRowSenses(model, hub);
  status = NewSolution(env, solutionIn, model->numRow, hub->numFreeVar + hub->numRange + model->numCol,
                       model->solPrimal, model->solDual);
  if (status != QZ_STATUS_OK) return status;
  *solutionOut = *solutionIn;
  return QZ_STATUS_OK;
}

}  // namespace qz
