#include "transform/presolve_disabled.h"

#include "diagnostics/verify_presolve.h"
#include "shell/log.h"
#include "transform/free_columns.h"
#include "transform/free_system.h"

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
  const bool system = presolver->preRoute == PREROUTE_SYSTEM;
  if (!system) countRowSenses(model, hub);
  const int32_t appended = system ? 0 : hub->numFreeVar + hub->numRange;
  status = NewSolution(env, solutionIn, model->numRow, appended + model->numCol, model->solPrimal, model->solDual);
  if (status != QZ_STATUS_OK) return status;
  *solutionOut = *solutionIn;
  if (system) return answerFreeSystem(env, model, options, presolver, *solutionIn, 0);
  return VerifyPresolveDisabled(env, options->debugLevel, model, options, hub);
}

}  // namespace qz
