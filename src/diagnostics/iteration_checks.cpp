#include "diagnostics/iteration_checks.h"

#include "diagnostics/verify_extended.h"
#include "diagnostics/verify_iteration.h"

namespace qz::detail {

int32_t checkMeasured(const Ipm* ipm, const Hub* hub, const SubModel* submodel) {
  const int32_t level = ipm->debugLevel;
  int32_t status = VerifyExtendedModel(ipm, level, hub, submodel);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyMeasurePrimal(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyMeasureBound(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyMeasureDual(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyMeasureDualityGap(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyMeasureComplementarity(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyPredictorRhs(ipm, level);
  return status != QZ_STATUS_OK ? status : VerifySummaryReport(ipm, level);
}

int32_t checkPredictor(const Ipm* ipm) {
  const int32_t level = ipm->debugLevel;
  int32_t status = VerifyKktPredictor(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyStepsize(ipm, level, ipm->rhsPredictor);
  return status != QZ_STATUS_OK ? status : VerifyPredictorReport(ipm, level);
}

int32_t checkDirection(const Ipm* ipm) {
  const int32_t level = ipm->debugLevel;
  const int32_t status = VerifyKktOverall(ipm, level);
  return status != QZ_STATUS_OK ? status : VerifyStepsize(ipm, level, ipm->rhsCorrector);
}

}  // namespace qz::detail
