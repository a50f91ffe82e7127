// A `qzpresol` that copies: minimisation, packed columns with the room of the standard form, and everything back. Its
// results, codes and times are the test's. Every call adds itself to `events`.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

#include "qzipsolve/presolve_module.h"
#include "shell/fake_engine.h"
#include "shell/lp_data.h"

namespace qztest {

// A scaling that finds every factor to be 1.
inline int32_t leaveUnscaled(QzPresolveObject*, int32_t, int32_t, int32_t, int32_t, int32_t*, double, int32_t*,
                             int32_t*, double*, double*, double*, double*, double*, double*, void*, void*, double*,
                             char*, double*, double*, double*, double*, double*) {
  return 0;
}

struct FakePresolver {
  // What it answers.
  int32_t prepareCode = 0;
  bool givesHandle = true;
  bool givesResult = true;
  int32_t reduceCode = 0;
  int32_t postsolveCode = 0;
  std::optional<int32_t> solvedStatus;          // written into the caller's record by the postsolve
  std::function<void()> onReduce, onPostsolve;  // time passes here
  uint8_t* relaxColBound = nullptr;
  // What it saw.
  LpRecord* reducing = nullptr;
  LpOptions* preparedFor = nullptr;
  LpRecord* reduced() { return result.reduced; }

  QzModule module{};
  QzPresolveObject object{};
  QzPresolveSettings settings{};
  QzPresolveLimits limits{};
  QzPresolveHandle handle{};
  QzPresolveResult result{};
  std::vector<LpData> copy;

  FakePresolver() {
    current() = this;
    module.create_instance = []() -> void* {
      events.push_back("make presolver");
      return current()->makesObject ? &current()->object : nullptr;
    };
    module.unload = [](QzModule*) { events.push_back("unload presolver"); };
    object.destroy = [](QzPresolveObject*) { events.push_back("destroy presolver"); };
    object.prepare = [](QzPresolveObject*, LpOptions* options, int32_t* rc) -> QzPresolveHandle* {
      events.push_back("prepare");
      FakePresolver* self = current();
      self->preparedFor = options;
      *rc = self->prepareCode;
      std::memset(&self->settings, 0x55, sizeof self->settings);
      self->handle = {&self->settings, &self->limits};
      return self->givesHandle ? &self->handle : nullptr;
    };
    object.reduce = [](QzPresolveObject*, QzPresolveHandle* given, int32_t three, LpRecord* record,
                       int32_t* rc) -> QzPresolveResult* { return current()->reduce(given, three, record, rc); };
    object.postsolve = [](QzPresolveResult*) -> int32_t { return current()->postsolve(); };
    object.freeResult = [](QzPresolveObject*, QzPresolveResult** given) {
      events.push_back("free result");
      *given = nullptr;
    };
    object.freeHandle = [](QzPresolveObject*, void** given) {
      events.push_back("free handle");
      *given = nullptr;
    };
    object.scale = leaveUnscaled;
    object.unscale = leaveUnscaled;
  }
  ~FakePresolver() { current() = nullptr; }
  bool makesObject = true;

  static FakePresolver*& current() {
    static FakePresolver* fake = nullptr;
    return fake;
  }

 private:
  QzPresolveResult* reduce(QzPresolveHandle* given, int32_t three, LpRecord* record, int32_t* rc) {
    events.push_back("reduce");
    *rc = given == &handle && three == 3 && settings.field956 == 0 ? reduceCode : -99;
    reducing = record;
    copy.clear();
    LpData data(record->objSense, std::string(record->rowSense, record->rowSense + record->numRow),
                std::vector<double>(record->rhs, record->rhs + record->numRow), {}, {});
    const LpRecord& r = *record;
    int32_t numFree = 0, numRange = 0, numFreeElement = 0;
    for (int32_t j = 0; j < r.numCol; ++j) {
      data.colBegin.push_back(static_cast<int32_t>(data.rowIndex.size()));
      data.colLength.push_back(r.colLength[j]);
      for (int32_t k = r.colBegin[j]; k < r.colBegin[j] + r.colLength[j]; ++k) {
        data.rowIndex.push_back(r.rowIndex[k]);
        data.matValue.push_back(r.matValue[k]);
      }
      data.obj.push_back(r.objSense * r.obj[j]);
      data.lower.push_back(r.lower[j]);
      data.upper.push_back(r.upper[j]);
      if (r.lower[j] <= -1e20 && r.upper[j] >= 1e20) {
        ++numFree;
        numFreeElement += r.colLength[j];
      }
    }
    for (int32_t i = 0; i < r.numRow; ++i) numRange += r.rowSense[i] == 'R' ? 1 : 0;
    if (r.range != nullptr) data.range.assign(r.range, r.range + r.numRow);
    const auto room = static_cast<size_t>(r.numCol) + static_cast<size_t>(numFree) + static_cast<size_t>(numRange);
    data.colBegin.resize(room + 1);
    data.colLength.resize(room);
    for (auto* v : {&data.obj, &data.lower, &data.upper, &data.solPrimal, &data.reducedCost}) v->resize(room);
    data.rowIndex.resize(static_cast<size_t>(r.numCoef) + static_cast<size_t>(numRange) +
                         static_cast<size_t>(numFreeElement));
    data.matValue.resize(data.rowIndex.size());
    data.record.numCol = r.numCol;
    data.record.numCoef = r.numCoef;
    data.record.objValue = r.objSense * r.objConstant;
    copy.push_back(data);
    copy.back().point();
    result.reduced = &copy.back().record;
    result.relaxColBound = relaxColBound;
    if (onReduce) onReduce();
    return givesResult ? &result : nullptr;
  }

  int32_t postsolve() {
    events.push_back("postsolve");
    if (onPostsolve) onPostsolve();
    LpRecord& to = *reducing;
    const LpRecord& from = *result.reduced;
    if (reduceCode == 0) {
      to.status = from.status;
      to.objValue = from.objValue;
      to.numIter = from.numIter;
      to.primalInfeas = from.primalInfeas;
      to.dualInfeas = from.dualInfeas;
      to.boundInfeas = from.boundInfeas;
      to.dualityGap = from.dualityGap;
      to.complementarity = from.complementarity;
      if (to.solPrimal != nullptr) std::copy_n(from.solPrimal, to.numCol, to.solPrimal);
      if (to.rowActivity != nullptr) std::copy_n(from.rowActivity, to.numRow, to.rowActivity);
      for (int32_t i = 0; i < to.numRow; ++i) to.solDual[i] = to.objSense * from.solDual[i];
      for (int32_t j = 0; j < to.numCol; ++j) to.reducedCost[j] = to.objSense * from.reducedCost[j];
    }
    if (solvedStatus) to.status = *solvedStatus;
    return postsolveCode;
  }
};

}  // namespace qztest
