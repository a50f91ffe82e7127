#include "transform/presolve.h"

#include "diagnostics/verify_matrix.h"
#include "diagnostics/verify_presolve.h"
#include "shell/log.h"
#include "submodel/dual_shift.h"
#include "submodel/reduction.h"
#include "submodel/sub_matrix.h"
#include "transform/bound_relaxation.h"
#include "transform/bound_tightening.h"
#include "transform/column_reductions.h"
#include "transform/free_columns.h"
#include "transform/free_system.h"
#include "transform/presolve_disabled.h"
#include "transform/reduced_model.h"
#include "transform/row_reductions.h"

namespace qz {

namespace {

// What one call of ipmPresolve works on.
struct Presolve {
  Env* env;
  Model** model;
  IpmOption* options;
  Presolver* presolver;
  Hub* hub;
  Solution** solutionIn;
  Solution** solutionOut;
  SubModel* submodel;

  [[nodiscard]] bool reentry() const { return options->initOption >= kInitOptionSubmodel; }
};

bool isFixed(const IpmOption* options, const Presolver* p, int32_t j) {
  const double inf = options->infinityValue;
  const double l = p->lower[j];
  const double u = p->upper[j];
  return l > -inf && u < inf && l + kFixedShare * options->tolPrimal >= u;
}

int32_t reduceColumn(Env* env, const Model* model, const IpmOption* options, Presolver* p, int32_t j) {
  if (isFixed(options, p, j)) return removeFixedCol(env, model, options, p, j);
  if (p->colLength[j] == 0) return removeEmptyCol(env, model, options, p, j);
  // Rows that push each other's columns on without end: no finite value is left.
  if (p->lower[j] > options->infinityValue || p->upper[j] < -options->infinityValue) {
    p->infeasCol = j;
    return QZ_STATUS_PRIMAL_INFEASIBLE;
  }
  return QZ_STATUS_OK;
}

int32_t reduceRow(Env* env, const Model* model, const IpmOption* options, Presolver* p, int32_t i,
                  const Solution* solution) {
  if (p->rowLength[i] == 0) return removeEmptyRow(env, model, options, p, i, solution);
  if (p->rowLength[i] == 1 && p->singletonEnabled != 0) return removeSingletonRow(env, model, options, p, i);
  if (p->tightenEnabled != 0) return tightenBound(env, model, options, p, i);
  return QZ_STATUS_OK;
}

int32_t passColumns(Env* env, const Model* model, const IpmOption* options, Presolver* p) {
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (p->colChecked[j] != 0) continue;
    p->colChecked[j] = 1;
    if (p->colMap[j] < 0) continue;
    const int32_t status = reduceColumn(env, model, options, p, j);
    if (status != QZ_STATUS_OK) return status;
  }
  return QZ_STATUS_OK;
}

int32_t passRows(Env* env, const Model* model, const IpmOption* options, Presolver* p, const Solution* solution,
                 bool& restart) {
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (p->rowChecked[i] != 0) continue;
    p->rowChecked[i] = 1;
    if (p->rowMap[i] < 0) continue;
    const int32_t status = reduceRow(env, model, options, p, i, solution);
    if (status == QZ_STATUS_RESTART)
      restart = true;
    else if (status != QZ_STATUS_OK)
      return status;
  }
  return QZ_STATUS_OK;
}

// The pass limit may fall right behind a forcing row, whose columns are fixed but not removed: their elements must be
// counted with the row's. What this empties goes too.
int32_t finishAtLimit(Env* env, const Model* model, const IpmOption* options, Presolver* p, const Solution* solution,
                      bool& restart) {
  const int32_t status = passColumns(env, model, options, p);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (p->rowMap[i] < 0 || p->rowLength[i] > 0) continue;
    const int32_t emptied = removeEmptyRow(env, model, options, p, i, solution);
    if (emptied == QZ_STATUS_RESTART)
      restart = true;
    else if (emptied != QZ_STATUS_OK)
      return emptied;
  }
  return QZ_STATUS_OK;
}

int32_t checkPointers(const Presolve& s) {
  const bool right = s.reentry() ? *s.solutionIn != nullptr && *s.solutionOut == nullptr
                                 : *s.solutionIn == nullptr && *s.solutionOut == nullptr;
  if (right) return QZ_STATUS_OK;
  logText(s.env->log, QZ_LOG_ERROR, L"solution pointer error before IPM pre-processing");
  return QZ_STATUS_FAILED;
}

int32_t makeInputSolution(const Presolve& s) {
  const Model* model = *s.model;
  if (*s.solutionIn == nullptr) {
    const int32_t status =
        NewSolution(s.env, s.solutionIn, model->numRow, model->numCol, model->solPrimal, model->solDual);
    if (status != QZ_STATUS_OK) return status;
  }
  *s.solutionOut = *s.solutionIn;
  return QZ_STATUS_OK;
}

// With a submodel its marks reduce: the bounds of the rest stay where the running point has its slacks.
int32_t markSubmodel(const Presolve& s) {
  if (s.submodel == nullptr) return QZ_STATUS_OK;
  s.presolver->tightenEnabled = s.presolver->singletonEnabled = 0;
  return preSetSubmodel(s.env, s.presolver, s.submodel, *s.solutionIn, *s.model, s.options);
}

// Steps from the working copy to the end of the passes.
int32_t applyRules(const Presolve& s) {
  Presolver* p = s.presolver;
  int32_t status = removeFreeRow(s.env, *s.model, p);
  if (status != QZ_STATUS_OK) return status;
  status = detectInfeasBound(s.env, *s.model, s.options, p);
  if (status != QZ_STATUS_OK) return status;
  return ipmPreLoop(s.env, *s.model, s.options, p, *s.solutionIn);
}

int32_t decideControl(const Presolve& s) {
  Presolver* p = s.presolver;
  const bool reduced = p->numRemovedRow != 0 || p->numRemovedCol != 0 || p->numRemovedElement != 0 ||
                       p->numRemovedQuadElement != 0 || p->numChangeRange != 0 || (*s.model)->typeModel == IPM_MODEL_QP;
  if (reduced) {
    p->preControl = PRECONTROL_REDUCED;
    return QZ_STATUS_OK;
  }
  const int32_t status = isBoundChanged(s.env, *s.model, s.options, p);
  if (status != QZ_STATUS_OK) return status;
  p->preControl = p->boundChanged != 0 ? PRECONTROL_BOUND : PRECONTROL_NONE;
  return QZ_STATUS_OK;
}

void countKeptSenses(const Model* model, const Presolver* p, Hub* hub) {
  hub->numLcont = 0;
  hub->numRange = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (p->rowMap[i] < 0) continue;
    if (p->rowSense[i] == 'L') ++hub->numLcont;
    if (p->rowSense[i] == 'R') ++hub->numRange;
  }
}

void collectStatistics(const Presolve& s) {
  switch (s.presolver->preControl) {
    case PRECONTROL_NONE:
    case PRECONTROL_BOUND:
      countRowSenses(*s.model, s.hub);
      break;
    case PRECONTROL_REDUCED:
      countKeptSenses(*s.model, s.presolver, s.hub);
      break;
    default:
      logText(s.env->log, QZ_LOG_ERROR, L"Error collectStatistics: unknown presolver control type.");
  }
}

// The engine works on the input model: its solution needs room for the columns that the standard form appends.
int32_t growSolution(const Presolve& s) {
  const Hub* hub = s.hub;
  const bool splits = hub->numFreeVar > 0 && s.options->typeMethod == IPM_METHOD_NORMAL;
  if (hub->numRange <= 0 && !splits) return QZ_STATUS_OK;
  if (s.reentry()) {
    logText(s.env->log, QZ_LOG_ERROR, L"user input initial solution + need to extend for range constraints");
    return QZ_STATUS_FAILED;
  }
  const Model* model = *s.model;
  FreeSolution(s.env, s.solutionIn);
  *s.solutionOut = nullptr;
  const int32_t status = NewSolution(s.env, s.solutionIn, model->numRow,
                                     hub->numRange + hub->numFreeVar + model->numCol, model->solPrimal, model->solDual);
  *s.solutionOut = *s.solutionIn;
  return status;
}

int32_t tightenInput(const Presolve& s) {
  const int32_t status = growSolution(s);
  if (status != QZ_STATUS_OK) {
    s.presolver->preControl = 0;  // the bounds are still the user's
    return status;
  }
  adjustBound(s.env, *s.model, s.presolver);
  return getRelaxBoundStatus(s.env, *s.model, s.options, s.hub, s.presolver);
}

int32_t replaceByReduced(const Presolve& s) {
  Presolver* p = s.presolver;
  Model* reduced = NewReducedModel(s.env, *s.model, s.hub, p);
  if (reduced == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  if (p->inModel != nullptr) {
    logText(s.env->log, QZ_LOG_ERROR, L"Error: presolver->inModel must be NULL before generating the reduced model.");
    FreeReducedModel(s.env, &reduced, nullptr);
    return QZ_STATUS_FAILED;
  }
  p->inModel = *s.model;
  *s.model = reduced;
  *s.solutionOut = nullptr;
  const int32_t status =
      NewSolution(s.env, s.solutionOut, reduced->numRow, s.hub->numRange + s.hub->numFreeVar + reduced->numCol,
                  reduced->solPrimal, reduced->solDual);
  if (status != QZ_STATUS_OK) return status;
  reduceModel(s.env, reduced, s.options, p, s.reentry() ? *s.solutionIn : nullptr,
              s.reentry() ? *s.solutionOut : nullptr);
  return getRelaxBoundStatus(s.env, reduced, s.options, s.hub, p);
}

int32_t buildResult(const Presolve& s) {
  switch (s.presolver->preControl) {
    case PRECONTROL_NONE:
      return growSolution(s);
    case PRECONTROL_BOUND:
      return tightenInput(s);
    case PRECONTROL_REDUCED:
      return replaceByReduced(s);
    default:
      logText(s.env->log, QZ_LOG_ERROR, L"Error presolve branching: unknown control type.");
      return QZ_STATUS_OK;
  }
}

void reportMode(const Presolve& s) {
  QzLog* log = s.env->log;
  switch (s.options->presolveMode) {
    case -1:
      break;
    case 0:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_MODE0);
      break;
    case 1:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_MODE1);
      break;
    case 2:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_MODE2);
      break;
    case 3:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_MODE3);
      break;
    default:
      logCode(log, QZ_LOG_ERROR, QZ_MSG_PRESOLVE_UNKNOWN, s.options->presolveMode);
  }
}

// A linear model has been announced by the caller of the pipeline.
void reportPresolve(const Presolve& s) {
  const Model* model = *s.model;
  if (s.submodel != nullptr || model->typeModel == IPM_MODEL_LP || s.options->printLevel <= 0) return;
  const Presolver* p = s.presolver;
  QzLog* log = s.env->log;
  reportMode(s);
  if (s.options->presolveMode != 0) {
    logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_STATS);
    logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_REMOVED, p->numRemovedCol, p->numRemovedRow);
    logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVE_ELEMENTS, p->numRemovedElement);
    logCode(log, QZ_LOG_NOTE, QZ_MSG_PRESOLVED_SIZE, model->numCol, model->numRow, model->numCoef);
  }
  logCode(log, QZ_LOG_NOTE, QZ_MSG_QUADRATIC_BEGIN);
  logCode(log, QZ_LOG_NOTE, QZ_MSG_STAGE_BEGIN2);
}

// A model that came in without any bound or inequality: there is nothing to presolve.
int32_t answerInput(const Presolve& s) {
  reportPresolve(s);
  const int32_t status = answerFreeSystem(s.env, *s.model, s.options, s.presolver, *s.solutionIn, 1);
  if (status == QZ_STATUS_OK) s.presolver->preControl = PRECONTROL_NONE;
  return status;
}

// A model that the passes have freed of all bounds and inequalities. The answer of a reduced one goes through the
// postsolve, with the status that it got here.
int32_t answerRest(const Presolve& s) {
  const bool reduced = s.presolver->preControl == PRECONTROL_REDUCED;
  const int32_t status = answerFreeSystem(s.env, *s.model, s.options, s.presolver, *s.solutionOut, 0);
  if (status != QZ_STATUS_OK) return status;
  if (reduced) s.presolver->preRoute = PREROUTE_SOLVED;
  return (*s.model)->status;
}

// The working record once everything is numbered. Elements of removed columns stay in their own columns alone, and
// those of removed rows in their own rows, so the two copies agree on what is kept.
int32_t verifyStructure(const Presolve& s) {
  const int32_t level = s.options->debugLevel;
  const int32_t status = VerifyPresolveStructure(s.env, level, *s.model, s.options, s.presolver);
  return status != QZ_STATUS_OK ? status : verifyWorkingCopies(s.env, level, *s.model, s.presolver);
}

// A submodel has moved the origins of variables and duals: the values of the two models are not to be compared.
int32_t verifyValue(const Presolve& s) {
  if (s.presolver->preControl != PRECONTROL_REDUCED || s.submodel != nullptr) return QZ_STATUS_OK;
  return VerifyPresolveValue(s.env, s.options->debugLevel, s.presolver->inModel, *s.model, s.presolver);
}

void forgetBigDuals(SubModel* submodel) {
  if (submodel == nullptr) return;
  submodel->numBigDual = 0;
  submodel->numBigBoundDual = 0;
}

// Counts, numbers, decides, and makes what the engine will work on. The big duals of a submodel move into the costs
// while the row maps still hold codes.
int32_t finishRules(const Presolve& s) {
  int32_t status = countProcessedFreeVar(s.env, *s.model, s.options, s.presolver, s.hub);
  if (status != QZ_STATUS_OK) return status;
  status = preSetSubDual(s.env, s.presolver, s.submodel, *s.solutionIn);
  if (status != QZ_STATUS_OK) return status;
  setMapping(s.env, *s.model, s.presolver);
  MapSubmodel(s.env, s.submodel, s.presolver);
  status = decideControl(s);
  if (status != QZ_STATUS_OK) return status;
  status = verifyStructure(s);
  if (status != QZ_STATUS_OK) return status;
  collectStatistics(s);
  status = buildResult(s);
  reportPresolve(s);
  return status != QZ_STATUS_OK ? status : verifyValue(s);
}

}  // namespace

int32_t ipmPreLoop(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                   const Solution* solution) {
  bool restart = false;
  for (;;) {
    int32_t status = passColumns(env, model, options, presolver);
    if (status != QZ_STATUS_OK) return status;
    status = passRows(env, model, options, presolver, solution, restart);
    if (status != QZ_STATUS_OK) return status;
    if (presolver->changed == 0) break;
    presolver->changed = 0;
    ++presolver->numPass;
    if (presolver->numPass < presolver->maxPass) continue;
    status = finishAtLimit(env, model, options, presolver, solution, restart);
    if (status != QZ_STATUS_OK) return status;
    break;
  }
  return restart ? QZ_STATUS_RESTART : QZ_STATUS_OK;
}

int32_t ipmPresolve(Env* env, Model** model, IpmOption* options, Presolver* presolver, Hub* hub, Solution** solutionIn,
                    Solution** solutionOut, SubModel* submodel) {
  const Presolve s{env, model, options, presolver, hub, solutionIn, solutionOut, submodel};
  int32_t status = checkPointers(s);
  if (status != QZ_STATUS_OK) return status;
  presolver->preControl = 0;
  presolver->preRoute = PREROUTE_NORMAL;
  status = makeInputSolution(s);
  if (status != QZ_STATUS_OK) return status;
  status = countFreeVar(env, *model, options, presolver, hub);
  if (status != QZ_STATUS_OK) return status;
  if (presolver->preRoute == PREROUTE_SYSTEM) return answerInput(s);
  status = CreatePresolver(env, *model, options, presolver);
  if (status != QZ_STATUS_OK) return status;
  status = markSubmodel(s);
  if (status != QZ_STATUS_OK) return status;
  status = applyRules(s);
  if (status != QZ_STATUS_OK) {
    forgetBigDuals(submodel);
    return status;
  }
  status = finishRules(s);
  if (status != QZ_STATUS_OK) return status;
  if ((*model)->numCoef == 0 && (*model)->numQuadCoef == 0) {
    presolver->preRoute = PREROUTE_SOLVED;
    return QZ_STATUS_OPTIMAL;
  }
  return presolver->preRoute == PREROUTE_SYSTEM ? answerRest(s) : QZ_STATUS_OK;
}

}  // namespace qz
