#include "engine/scaling_control.h"

#include "diagnostics/verify_submodel.h"
#include "engine/augmented_system.h"
#include "engine/engine_state.h"
#include "submodel/dual_shift.h"
#include "submodel/true_data.h"
#include "transform/scaling_undo.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr double kSmallMu = 1e-6;
constexpr int32_t kGoodSteps = 2;

// True when it is time to unscale; takes a pending stop or reset back.
bool passesGate(Ipm* ipm) {
  switch (ipm->stopState) {
    case STOP_RESET_GO_ON:
    case STOP_RESET_STOP:
      break;
    case STOP_NOW:
      if (ipm->status == QZ_STATUS_FAILED || ipm->status == QZ_STATUS_INTERRUPTED ||
          ipm->status == QZ_STATUS_OUT_OF_MEMORY)
        return false;
      break;
    default:
      return ipm->mu < kSmallMu && ipm->countGoodStep >= kGoodSteps;
  }
  ipm->stopState = STOP_ITERATE;
  return true;
}

bool invivo(int32_t flag) {
  return (flag & BIG_INVIVO) != 0;
}

int32_t unscaleInvivo(Ipm* ipm, Hub* hub, SubModel* submodel) {
  if (invivo(submodel->bBigVar)) unscaleInvivoVar(ipm, hub, submodel);
  if (invivo(submodel->bBigBoundSlack)) unscaleInvivoBound(ipm, hub, submodel);
  const int32_t status = shiftTrueData(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  if (invivo(submodel->bBigDual)) unscaleInvivoDual(ipm, hub, submodel);
  return QZ_STATUS_OK;
}

// The pattern stays, and with it the analysis of the factorisation; the diagonals are written before each of them.
int32_t rebuildSystem(Ipm* ipm) {
  if (ipm->typeMethod == IPM_METHOD_NORMAL) {
    if (ipm->ipmRowBegin != nullptr)
      toggleMatrixWithLength(ipm->numCol, ipm->numRow, nullptr, ipm->colBegin, ipm->colLength, ipm->rowIndex,
                             ipm->matValue, ipm->ipmRowBegin, ipm->ipmRowLength, ipm->ipmColIndex, ipm->ipmRowValue);
    return QZ_STATUS_OK;
  }
  if (ipm->typeModel == IPM_MODEL_QP && ipm->numQuadCoef > 0)
    return createAugmentMatrixQP(ipm->env, ipm->numRow, ipm->numCol, ipm->numCoef, ipm->numQuadCoef, ipm->colBegin,
                                 ipm->colLength, ipm->rowIndex, ipm->matValue, ipm->quadColBegin, ipm->quadColLength,
                                 ipm->quadRowIndex, ipm->quadMatValue, ipm->ipmColBegin, ipm->ipmRowIndex,
                                 ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex);
  createAugmentMatrix(ipm->numRow, ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue,
                      ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex);
  return QZ_STATUS_OK;
}

// The counts of what is not in force were taken in scaled terms.
void clearIdleCounts(SubModel* submodel) {
  if (submodel->bBigVar == 0) submodel->numBigVar = 0;
  if (submodel->bBigBoundSlack == 0) submodel->numBigBoundSlack = 0;
  if (submodel->bBigIneqnSlack == 0) submodel->numBigIneqnSlack = 0;
  if (submodel->bBigDual == 0) submodel->numBigDual = 0;
  if (submodel->bBigBoundDual == 0) submodel->numBigBoundDual = 0;
}

}  // namespace

int32_t scalingControl(Ipm* ipm, Hub* hub, SubModel* submodel) {
  if (hub->scaleState == 0 && hub->smallRestored == 1) return QZ_STATUS_OK;
  if (!passesGate(ipm)) return QZ_STATUS_OK;
  const int32_t verified = VerifyScalingReport(ipm, ipm->debugLevel, hub);
  if (verified != QZ_STATUS_OK) return verified;
  const int32_t route = hub->routeSubmodel;
  if (route == ROUTE_INVITRO || route == ROUTE_BOTH) {
    hub->routeSubmodel = ROUTE_UNSCALE;
    return QZ_STATUS_UNSCALE;
  }
  const bool shifted = route == ROUTE_INVIVO && submodel != nullptr;
  if (shifted) subUnshiftDual(ipm, submodel, 0);
  if (shifted) putTrueData(ipm, submodel);
  ipmUnscale(ipm, hub, submodel);
  int32_t status = shifted ? unscaleInvivo(ipm, hub, submodel) : QZ_STATUS_OK;
  if (status != QZ_STATUS_OK) return status;
  AnalyzeIpm(ipm);
  status = VerifyStatistics(ipm, ipm->debugLevel);
  if (status != QZ_STATUS_OK) return status;
  if ((route < ROUTE_INVITRO && hub->scaleState == 2) || ipm->typeModel == IPM_MODEL_QP) status = rebuildSystem(ipm);
  releaseFactors(ipm->env, hub);
  if (status != QZ_STATUS_OK) return status;
  if (submodel != nullptr) clearIdleCounts(submodel);
  return QZ_STATUS_RESTART;
}

void unscaleInvivoVar(Ipm*, Hub* hub, SubModel* submodel) {
  if (hub->scaleState != 2 || submodel->shiftPrimal == nullptr) return;
  for (int32_t k = 0; k < submodel->numBigVar; ++k)
    submodel->shiftPrimal[k] = unscaleColumnValue(hub, submodel->idxBigVar[k], submodel->shiftPrimal[k]);
}

void unscaleInvivoBound(Ipm*, Hub* hub, SubModel* submodel) {
  if (submodel->lowerSub == nullptr || submodel->upperSub == nullptr) return;
  const bool columns = hub->scaleState == 2;
  const auto dual = [&](int32_t n, double value) {
    return columns ? unscaleColumnDual(hub, n, value) : value / hub->objScale;
  };
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t n = submodel->idxBoundSub[k];
    const int32_t bounds = submodel->statusBoundSub[n];
    if ((bounds & 1) != 0) {
      if (columns) submodel->lowerSub[k] = unscaleColumnValue(hub, n, submodel->lowerSub[k]);
      submodel->savedLowerDual[k] = dual(n, submodel->savedLowerDual[k]);
    }
    if ((bounds & 2) != 0) {
      if (columns) submodel->upperSub[k] = unscaleColumnValue(hub, n, submodel->upperSub[k]);
      submodel->savedUpperDual[k] = dual(n, submodel->savedUpperDual[k]);
    }
  }
}

void unscaleInvivoDual(Ipm* ipm, Hub* hub, SubModel* submodel) {
  if (submodel->shiftDual == nullptr || submodel->rowBeginSub == nullptr) return;
  const bool rows = hub->scaleState == 2;
  for (int32_t k = 0; k < submodel->numBigDual; ++k) {
    const int32_t i = submodel->idxBigDual[k];
    double& d = submodel->shiftDual[k];
    if (rows) {
      d *= hub->rowScale[i] / hub->objScale;
      submodel->rhsSub[k] /= hub->rowScale[i];
    } else {
      d /= hub->objScale;
    }
    ipm->dual[i] -= d;
    const int32_t begin = submodel->rowBeginSub[k];
    for (int32_t at = begin; at < begin + submodel->rowLengthSub[k]; ++at) {
      const int32_t n = submodel->colIndexSub[at];
      double& e = submodel->rowMatValueSub[at];
      if (rows) e = unscaleElement(hub, i, n, e);
      ipm->obj[n] -= e * d;
    }
  }
}

}  // namespace qz
