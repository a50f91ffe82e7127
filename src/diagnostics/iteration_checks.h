// The checks of one iteration, in the groups in which the loop calls them. Each returns the first status that is not 0.
#pragma once

#include <cstdint>

#include "diagnostics/check.h"
#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

namespace detail {
[[nodiscard]] int32_t checkMeasured(const Ipm* ipm, const Hub* hub, const SubModel* submodel);
[[nodiscard]] int32_t checkPredictor(const Ipm* ipm);
[[nodiscard]] int32_t checkDirection(const Ipm* ipm);
}  // namespace detail

// Behind the measures: the model, the measures, the first right-hand side.
[[nodiscard]] inline int32_t verifyMeasured(const Ipm* ipm, const Hub* hub, const SubModel* submodel) {
  return verifies(ipm->debugLevel, VERIFY_STRUCTURE) ? detail::checkMeasured(ipm, hub, submodel) : QZ_STATUS_OK;
}

// Behind muAffine and sigma: the predictor and its steps.
[[nodiscard]] inline int32_t verifyPredictor(const Ipm* ipm) {
  return verifies(ipm->debugLevel, VERIFY_ITERATION) ? detail::checkPredictor(ipm) : QZ_STATUS_OK;
}

// Behind the combined steps: the combined direction.
[[nodiscard]] inline int32_t verifyDirection(const Ipm* ipm) {
  return verifies(ipm->debugLevel, VERIFY_ITERATION) ? detail::checkDirection(ipm) : QZ_STATUS_OK;
}

}  // namespace qz
