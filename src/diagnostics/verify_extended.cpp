#include "diagnostics/verify_extended.h"

#include <cmath>

#include "diagnostics/check.h"

namespace qz {

namespace {

constexpr double kTolerance = 1e-12;

// The standard form's columns and rows in the engine's numbering.
struct Extended {
  Check& check;
  const Ipm* ipm;
  const Hub* hub;
  const SubModel* submodel;
  bool reduced;  // a round of the submodel's reduction stands between the standard form and the engine

  // A solve may have gone on from the normal equations to the augmented system: its columns stay split.
  [[nodiscard]] bool splits() const {
    const bool normal = ipm->typeMethod == IPM_METHOD_NORMAL || hub->typeMethod == IPM_METHOD_NORMAL;
    return normal && hub->numFreeVar > 0;
  }

  void checkDimensions() const {
    const int32_t numSplit = splits() ? hub->numFreeVar : 0;
    if (reduced) {
      check.atMost(L"numCol", -1, ipm->numCol, hub->numColSaved + hub->numRange + numSplit);
      check.atMost(L"numRow", -1, ipm->numRow, hub->numRowSaved);
      return;
    }
    check.same(L"numCol", -1, ipm->numCol, hub->numColSaved + hub->numRange + numSplit);
    check.same(L"numRow", -1, ipm->numRow, hub->numRowSaved);
    check.same(L"numCoef", -1, ipm->numCoef, hub->numCoefSaved + hub->numRange + (splits() ? hub->numFreeElement : 0));
  }

  // The upper bound that the submodel has changed in vivo replaces the width of the range.
  [[nodiscard]] bool boundIsChanged(int32_t col) const {
    return submodel != nullptr && submodel->bBigBoundSlack != 0 && submodel->statusBoundSub[col] != 0;
  }
  [[nodiscard]] bool valueIsShifted(int32_t col) const {
    if (submodel == nullptr || submodel->bBigVar == 0) return false;
    for (int32_t k = 0; k < submodel->numBigVar; ++k)
      if (submodel->idxBigVar[k] == col) return true;
    return false;
  }

  void checkRangeSlacks(const double* range) const {
    for (int32_t k = 0; k < hub->numRange; ++k) {
      const int32_t col = hub->numColSaved + k;
      const int32_t row = hub->rangeRowList[k];
      check.same(L"colLength", col, ipm->colLength[col], 1);
      const int32_t element = ipm->colBegin[col];
      check.same(L"rowIndex", element, ipm->rowIndex[element], row);
      check.close(L"matValue", element, ipm->matValue[element], 1.0, 0.0);
      if (boundIsChanged(col) || valueIsShifted(col)) continue;
      const double width = range != nullptr ? range[row] : 0.0;
      check.close(L"lower", col, ipm->lower[col], 0.0, kTolerance);
      check.close(L"upper", col, ipm->upper[col], width, kTolerance * (1.0 + std::fabs(width)));
    }
  }

  void checkPair(int32_t k) const {
    const int32_t plus = hub->colPlus[k];
    const int32_t minus = hub->colMinus[k];
    check.same(L"colMinus", k, minus, hub->numColSaved + hub->numRange + k);
    if (minus != hub->numColSaved + hub->numRange + k) return;
    check.same(L"colLength", minus, ipm->colLength[minus], ipm->colLength[plus]);
    if (ipm->colLength[minus] != ipm->colLength[plus]) return;
    for (int32_t e = 0; e < ipm->colLength[plus]; ++e) {
      const int32_t one = ipm->colBegin[plus] + e;
      const int32_t other = ipm->colBegin[minus] + e;
      check.same(L"rowIndex", other, ipm->rowIndex[other], ipm->rowIndex[one]);
      check.close(L"matValue", other, ipm->matValue[other], -ipm->matValue[one],
                  kTolerance * (1.0 + std::fabs(ipm->matValue[one])));
    }
    if (boundIsChanged(plus) || boundIsChanged(minus) || valueIsShifted(plus) || valueIsShifted(minus)) return;
    check.close(L"lower", minus, ipm->lower[minus], ipm->lower[plus], kTolerance * (1.0 + std::fabs(ipm->lower[plus])));
    check.close(L"upper", minus, ipm->upper[minus], ipm->upper[plus], kTolerance * (1.0 + std::fabs(ipm->upper[plus])));
  }
};

}  // namespace

int32_t VerifyExtendedModel(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel) {
  if (!verifies(level, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  Check check(ipm->env, L"VerifyExtendedModel");
  const bool reduced = hub->routeSubmodel == ROUTE_INVITRO || hub->routeSubmodel == ROUTE_BOTH;
  const Extended extended{check, ipm, hub, submodel, reduced};
  extended.checkDimensions();
  if (check.numBreach() > 0 || reduced) return check.result();
  extended.checkRangeSlacks(ipm->model->range);
  if (extended.splits())
    for (int32_t k = 0; k < hub->numFreeVar; ++k) extended.checkPair(k);
  return check.result();
}

}  // namespace qz
