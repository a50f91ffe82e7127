#include "engine/controller.h"

#include <algorithm>

#include "diagnostics/verify_model.h"
#include "diagnostics/verify_submodel.h"
#include "engine/control.h"
#include "engine/engine_state.h"
#include "engine/iteration.h"
#include "engine/kept_direction.h"
#include "engine/linear_algebra.h"
#include "engine/measures.h"
#include "engine/normal_system.h"
#include "engine/rays.h"
#include "engine/start_point.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "shell/reporting.h"
#include "submodel/big_data.h"
#include "submodel/restoration.h"
#include "submodel/sub_matrix.h"
#include "submodel/submodel.h"
#include "submodel/submodel_trace.h"
#include "transform/reduced_model.h"

namespace qz {

namespace {

constexpr double kOpenGap = 100.0;  // times the tolerance: a gap that no near-optimal point has

int32_t createState(Control& control) {
  control.innerHub = poolAllocateZero<Hub>(control.env->pool, 1);
  if (control.innerHub == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  control.ipm = NewIpm(control.env, control.model, control.timer);
  if (control.ipm == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  ipmGetOption(control.ipm, control.option);
  ipmSetParam(control.ipm, control.option, control.hub);
  if (CreateIpm(control.ipm) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  control.ipm->stopState = STOP_NOT_STARTED;
  return QZ_STATUS_OK;
}

int32_t verifyScreening(const Control& control) {
  const int32_t level = control.option->debugLevel;
  int32_t status = VerifyDispSubmodel(control.env, level, control.submodel);
  if (status != QZ_STATUS_OK) return status;
  status = VerifySubmodelStruct(control.env, level, control.submodel, true);
  if (status != QZ_STATUS_OK) return status;
  return VerifySubmodelValue(control.env, level, control.model, control.submodel);
}

// The record of big values, with what the input data has of them. The lists are emptied ahead of the start, which then
// takes part in everything but insists on no equation with a big right-hand side and no free column with a big cost:
// starts that set whole rows, columns and bounds aside leave complementary pairs so far apart that the first steps
// multiply mu by a thousand, which ends as a false verdict on small models, and agg near-optimal.
int32_t createSubModel(Control& control) {
  if (control.option->submodelOff != 0) return QZ_STATUS_OK;
  int32_t status = NewSubModel(control.env, control.model, &control.submodel);
  if (status != QZ_STATUS_OK) return status;
  status = ipmMarkBigdata(control.env, control.model, control.submodel, control.option);
  if (status != QZ_STATUS_OK) return status;
  traceBigdata(control.ipm, control.submodel);
  status = CreateSubModel(control.env, control.model, control.submodel);
  if (status == QZ_STATUS_OK) status = verifyScreening(control);
  ClearSubModel(control.env, control.submodel);
  return status;
}

int32_t findStart(Control& control) {
  Ipm* ipm = control.ipm;
  AssignIpm(ipm, control.model, control.solution);
  AnalyzeIpm(ipm);
  int32_t status = VerifyStatistics(ipm, ipm->debugLevel);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyDomainShape(ipm, ipm->debugLevel);
  if (status != QZ_STATUS_OK) return status;
  if (ipm->typeModel == IPM_MODEL_LP) return ipmInitLP(ipm, control.submodel);
  if (ipm->typeModel == IPM_MODEL_QP) return ipmInitQP(ipm, control.submodel);
  logText(control.env->log, QZ_LOG_DEBUG, L"Error ipmSolve: unknown model type.");
  return QZ_STATUS_FAILED;
}

// The start has solved with the augmented system. The normal equations take its place, in an environment of their own.
int32_t changeSystem(Control& control) {
  Ipm* ipm = control.ipm;
  if (ipm->typeMethod != IPM_METHOD_NORMAL) return QZ_STATUS_OK;
  ldlCleanUpAll(control.env, &ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  return ipmInitNormal(ipm);
}

// The lists and limits of the solution-driven part. The limit above which a solution value is big lies between 100 and
// 10000.
int32_t prepareSubModel(Control& control) {
  if (control.option->submodelOff != 0) return QZ_STATUS_OK;
  const int32_t status = NewSubModel2(control.env, control.submodel);
  if (status != QZ_STATUS_OK) return status;
  if (control.submodel == nullptr) {
    logText(control.env->log, QZ_LOG_DEBUG, L"Error ipmSolve: submodel should not be NULL.");
    return QZ_STATUS_FAILED;
  }
  const double limit = std::max(100.0, std::min(100.0 * control.submodel->thresholdMat, 10000.0));
  control.submodel->thresholdBig = limit;
  control.submodel->thresholdBound = limit;
  return QZ_STATUS_OK;
}

void printHeader(const Control& control) {
  if (control.option->printLevel < 2) return;
  logCode(control.env->log, QZ_LOG_HEADER, QZ_MSG_TABLE_HEADER);
  logCode(control.env->log, QZ_LOG_HEADER, QZ_MSG_TABLE_HEADER2);
}

int32_t setUp(Control& control) {
  int32_t status = createState(control);
  if (status != QZ_STATUS_OK) return status;
  status = createSubModel(control);
  if (status != QZ_STATUS_OK) return status;
  status = findStart(control);
  if (status != QZ_STATUS_OK) return status;
  status = changeSystem(control);
  if (status != QZ_STATUS_OK) return status;
  return prepareSubModel(control);
}

// The engine's own answer, on the engine's own model.
int32_t verifyAnswer(const Control& control) {
  const Model* model = control.model;
  const int32_t level = control.option->debugLevel;
  if (model->status != QZ_STATUS_OPTIMAL && model->status != QZ_STATUS_NEAR_OPTIMAL) return QZ_STATUS_OK;
  int32_t status = VerifyModelPrimal(control.env, level, model, control.option, control.solution);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyModelBound(control.env, level, model, control.option, control.solution);
  if (status != QZ_STATUS_OK) return status;
  return VerifyModelDual(control.env, level, model, control.option, control.solution);
}

// The verdict of the outer model, cleaned of the partners of what was taken out.
int32_t finishAnswer(const Control& control) {
  const int32_t status = VerifyBigList(control.env, control.option->debugLevel, control.submodel);
  if (status != QZ_STATUS_OK) return status;
  CleanSubComplem(control.solution, control.submodel, control.model, control.option);
  return verifyAnswer(control);
}

// The loop, from the first run of the iteration to the result.
int32_t runLoop(Control& control) {
  control.ipm->stopState = STOP_ITERATE;
  Next next = goTo(Stage::kIterate);
  while (next.stage != Stage::kLeave) {
    switch (next.stage) {
      case Stage::kIterate:
        next = iterateModel(control);
        break;
      case Stage::kReduce:
        next = reduceToSubmodel(control);
        break;
      case Stage::kRecover:
        next = recoverModel(control);
        break;
      default:
        next = restartIteration(control);
        break;
    }
  }
  return next.result;
}

// A solve that failed on the way may still hold a reduced model.
void restoreOuter(Control& control) {
  if (control.presolver == nullptr || control.presolver->inModel == nullptr) return;
  FreeReducedModel(control.env, &control.model, control.presolver->inModel);
  control.model = control.presolver->inModel;
  control.presolver->inModel = nullptr;
}

void releaseRecords(Control& control) {
  if (control.ipm != nullptr) {
    FreeIpm(control.ipm);
    poolFree(control.env->pool, control.ipm);
  }
  dropReduction(control);
  control.outerPoint.release();
  FreeSubModel(control.env, &control.submodel);
  FreeHub(control.env, &control.innerHub);
}

// Vanished products with an open gap can be a near-optimal point whose duals have run off along a Farkas proof.
bool nearOptimalWithOpenGap(const Control& control) {
  return control.model->status == QZ_STATUS_NEAR_OPTIMAL &&
         control.ipm->dualityGap > kOpenGap * control.option->tolOptimality;
}

// A last point that proves a direction is a certain verdict; without one, claims of infeasibility face the cross-check.
void crossCheck(Control& control) {
  if (control.ipm == nullptr) return;
  Model* model = control.model;
  const bool claimed = model->status == QZ_STATUS_INFEASIBLE_ALIAS || model->status == QZ_STATUS_BOTH_INFEASIBLE ||
                       model->status == QZ_STATUS_DUAL_INFEASIBLE || model->status == QZ_STATUS_PRIMAL_INFEASIBLE;
  if (!claimed && !nearOptimalWithOpenGap(control)) return;
  const double* rowScale = control.hub->scaleState == 0 ? control.hub->rowScale : nullptr;  // of the row scaling
  const int32_t unproved = claimed ? QZ_STATUS_FAILED : model->status;
  model->status = statusByRays(model, control.solution->primal, control.solution->dual, control.option->infinityValue,
                               rowScale, control.ipm->workReal1, unproved);
  if (!claimed) return;
  model->status = crossCheckInfeasible(model, model->dualInfeas, control.option->tolDual, control.option->infinityValue,
                                       model->status);
}

int32_t leave(Control& control, int32_t result) {
  getSolverStat(control.model, control.ipm);
  restoreOuter(control);
  crossCheck(control);
  if (control.ipm != nullptr) freeFactors(control);
  if (result == QZ_STATUS_OK && control.option->crossover != 0)
    result = recordDirection(control.ipm, control.model, control.hub, control.submodel);
  releaseRecords(control);
  if (result != QZ_STATUS_OK) control.model->status = result;
  return result;
}

// True when no cost can run along an infinite bound, so that the objective is bounded by the column bounds. A ray of a
// quadratic objective has no curvature along it and, like that of a linear one, a falling cost; with a diagonal Hessian
// it rests in the curved columns.
bool noRay(const Model* model, double infinityValue) {
  const bool diagonal = model->typeModel == IPM_MODEL_QP && model->numQuadCoef == 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (diagonal && model->quadDiag[j] > 0.0) continue;
    if (model->obj[j] > 0.0 && model->lower[j] <= -infinityValue) return false;
    if (model->obj[j] < 0.0 && model->upper[j] >= infinityValue) return false;
  }
  return true;
}

bool zeroMeetsRow(char sense, double rhs) {
  switch (sense) {
    case 'E':
      return rhs == 0.0;
    case 'G':
      return rhs <= 0.0;
    case 'L':
      return rhs >= 0.0;
    default:
      return false;
  }
}

// True when x = 0 is feasible.
bool zeroFeasible(const Model* model, double infinityValue) {
  for (int32_t i = 0; i < model->numRow; ++i)
    if (!zeroMeetsRow(model->rowSense[i], model->rhs[i])) return false;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->lower[j] > 0.0 && model->lower[j] > -infinityValue) return false;
    if (model->upper[j] < 0.0 && model->upper[j] < infinityValue) return false;
  }
  return true;
}

}  // namespace

int32_t crossCheckInfeasible(const Model* model, double dualInfeas, double tolDual, double infinityValue,
                             int32_t status) {
  int32_t checked = status;
  if (noRay(model, infinityValue)) {
    if (status == QZ_STATUS_DUAL_INFEASIBLE) checked = QZ_STATUS_FAILED;
    if (status == QZ_STATUS_BOTH_INFEASIBLE) checked = QZ_STATUS_PRIMAL_INFEASIBLE;
  }
  if (dualInfeas <= tolDual && zeroFeasible(model, infinityValue)) {
    if (status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_INFEASIBLE_ALIAS) checked = QZ_STATUS_FAILED;
    if (status == QZ_STATUS_BOTH_INFEASIBLE) checked = QZ_STATUS_DUAL_INFEASIBLE;
  }
  return checked;
}

Next iterateModel(Control& control) {
  control.model->status = ipmMethod(control.ipm, control.hub, control.submodel);
  if (control.presolver != nullptr) return goTo(Stage::kRecover);
  const int32_t route = control.hub->routeSubmodel;
  if (route != ROUTE_INACTIVE && route != ROUTE_INVITRO) {
    logText(control.env->log, QZ_LOG_DEBUG,
            L"Error ipmSolve: out of resource, routeSubmodel=%d should be either INACTIVE or INVITRO", route);
    return leaveWith(QZ_STATUS_FAILED);
  }
  return endRun(control, control.model->status);
}

Next endRun(Control& control, int32_t status) {
  switch (status) {
    case QZ_STATUS_RESTART:
      return goTo(Stage::kReduce);
    case QZ_STATUS_OUT_OF_MEMORY:
    case QZ_STATUS_INTERRUPTED:
    case QZ_STATUS_FAILED:
      return leaveWith(status);
    case QZ_STATUS_TIME_LIMIT:
    case QZ_STATUS_ITERATION_LIMIT:
      return leaveWith(QZ_STATUS_OK);
    default:
      return leaveWith(finishAnswer(control));
  }
}

int32_t ipmSolve(Env* env, Model* model, IpmOption* option, Hub* hub, Solution* solution, IPM_timer* timer) {
  Control control{};
  control.env = env;
  control.model = model;
  control.option = option;
  control.hub = hub;
  control.solution = solution;
  control.timer = timer;
  int32_t result = setUp(control);
  if (result == QZ_STATUS_OK) {
    printHeader(control);
    result = runLoop(control);
  }
  return leave(control, result);
}

}  // namespace qz
