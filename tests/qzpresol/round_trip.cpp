#include "round_trip.h"

#include <coin/Clp_C_Interface.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <memory>
#include <stdexcept>
#include <vector>

#include "presolve_object.h"
#include "qzipsolve/builtin.h"
#include "qzipsolve/presolve_module.h"
#include "qzipsolve/status.h"

extern "C" const QzBuiltinModule qzpresol_builtin;

namespace qztest {

namespace {

using models::LinearProgram;

constexpr double kInf = 1e20;

// A program as the caller's record.
struct CallersRecord {
  LpRecord record{};
  LinearProgram program;
  std::vector<int32_t> length;
  std::vector<double> rhs, range, x, y, d, activity;
  std::vector<char> sense;
  std::vector<uint8_t> columnBasis, rowBasis;
  int pollsLeft = 0;

  explicit CallersRecord(const LinearProgram& its) : program(its) {
    const auto numRow = program.rowLower.size();
    const auto numCol = program.cost.size();
    for (size_t j = 0; j < numCol; ++j) length.push_back(program.colBegin[j + 1] - program.colBegin[j]);
    for (size_t i = 0; i < numRow; ++i) addSide(program.rowLower[i], program.rowUpper[i]);
    for (double& bound : program.lower) bound = std::max(bound, -kInf);
    for (double& bound : program.upper) bound = std::min(bound, kInf);
    x.assign(numCol, 9.0);
    d.assign(numCol, 9.0);
    y.assign(numRow, 9.0);
    activity.assign(numRow, 9.0);
    columnBasis.assign(numCol, 0);
    rowBasis.assign(numRow, 0);
    fillRecord();
  }

 private:
  void addSide(double low, double high) {
    const bool below = std::isfinite(low);
    const bool above = std::isfinite(high);
    sense.push_back(below && above ? (low == high ? 'E' : 'R') : below ? 'G' : above ? 'L' : 'N');
    rhs.push_back(above ? high : below ? low : 0.0);
    range.push_back(below && above ? high - low : 0.0);
  }
  void fillRecord() {
    record.objSense = program.sense;
    record.numRow = program.numRow();
    record.numCol = program.numCol();
    record.numCoef = static_cast<int32_t>(program.value.size());
    record.matValue = program.value.data();
    record.rowIndex = program.rowIndex.data();
    record.colBegin = program.colBegin.data();
    record.colLength = length.data();
    record.obj = program.cost.data();
    record.rhs = rhs.data();
    record.range = range.data();
    record.lower = program.lower.data();
    record.upper = program.upper.data();
    record.rowSense = sense.data();
    record.solPrimal = x.data();
    record.solDual = y.data();
    record.reducedCost = d.data();
    record.rowActivity = activity.data();
    record.objConstant = program.constant;
    record.colBasis = columnBasis.data();
    record.rowBasis = rowBasis.data();
  }
};

// A log that keeps the counts of the lines about reductions.
struct CountingLog {
  QzLog log;  // first
  std::map<std::string, int>* applied;

  static void code(QzLog*, int32_t, uint32_t, ...) {}
  static void text(QzLog* log, int32_t, const wchar_t* text, int32_t length, ...) {
    if (std::wstring(text, static_cast<size_t>(length)).rfind(L"Presolve: %d %s,", 0) != 0) return;
    va_list arguments;
    va_start(arguments, length);
    const int count = va_arg(arguments, int);
    const std::wstring name = va_arg(arguments, const wchar_t*);
    va_end(arguments);
    std::string narrow;
    for (const wchar_t c : name) narrow.push_back(static_cast<char>(c));
    (*reinterpret_cast<CountingLog*>(log)->applied)[narrow] = count;
  }
};

int32_t poll(void* data) {
  auto* caller = static_cast<CallersRecord*>(data);
  return --caller->pollsLeft == 0 ? 1 : 0;
}

// Clp's places are 0 free, 1 basic, 2 at upper, 3 at lower, 5 fixed.
uint8_t placeOf(int clpPlace, double lower, double upper) {
  if (clpPlace == 1) return QZ_BASIS_BASIC;
  if (lower <= -kInf && upper >= kInf) return QZ_BASIS_FREE;
  if (clpPlace == 5 || lower == upper) return QZ_BASIS_LOWER;
  return clpPlace == 2 ? QZ_BASIS_UPPER : QZ_BASIS_LOWER;
}

using Clp = std::unique_ptr<Clp_Simplex, void (*)(Clp_Simplex*)>;

struct Sides {
  std::vector<double> low, high;
};

Sides sidesOf(const LpRecord& r) {
  Sides sides;
  for (int32_t i = 0; i < r.numRow; ++i) {
    const double b = r.rhs[i];
    sides.low.push_back(r.rowSense[i] == 'L' ? -kInf : r.rowSense[i] == 'R' ? b - r.range[i] : b);
    sides.high.push_back(r.rowSense[i] == 'G' ? kInf : b);
  }
  return sides;
}

Clp load(const LpRecord& r, const Sides& sides) {
  Clp clp(Clp_newModel(), Clp_deleteModel);
  Clp_setLogLevel(clp.get(), 0);
  std::vector<CoinBigIndex> begin(r.colBegin, r.colBegin + r.numCol + 1);
  std::vector<double> lower(r.lower, r.lower + r.numCol), upper(r.upper, r.upper + r.numCol);
  std::vector<double> low = sides.low, high = sides.high;
  for (auto* bounds : {&lower, &upper, &low, &high})
    for (double& bound : *bounds)
      if (std::fabs(bound) >= kInf) bound = std::copysign(1e300, bound);
  Clp_loadProblem(clp.get(), r.numCol, r.numRow, begin.data(), r.rowIndex, r.matValue, lower.data(), upper.data(),
                  r.obj, low.data(), high.data());
  return clp;
}

// Clp's answer to the reduced record, written as the solver and the crossover write theirs.
int answerByClp(LpRecord& r) {
  const Sides sides = sidesOf(r);
  const Clp clp = load(r, sides);
  Clp_primal(clp.get(), 0);
  const int status = Clp_status(clp.get());
  if (status < 0 || status > 2) throw std::runtime_error("Clp gave up");
  r.status = status == 0 ? QZ_STATUS_OPTIMAL : status == 1 ? QZ_STATUS_PRIMAL_INFEASIBLE : QZ_STATUS_DUAL_INFEASIBLE;
  r.objValue = r.objSense * (Clp_objectiveValue(clp.get()) + r.objValue);
  if (status != 0) return status;
  std::copy_n(Clp_getColSolution(clp.get()), r.numCol, r.solPrimal);
  std::copy_n(Clp_getRowPrice(clp.get()), r.numRow, r.solDual);
  std::copy_n(Clp_getReducedCost(clp.get()), r.numCol, r.reducedCost);
  for (int32_t j = 0; j < r.numCol; ++j)
    r.colBasis[j] = placeOf(Clp_getColumnStatus(clp.get(), j), r.lower[j], r.upper[j]);
  for (int32_t i = 0; i < r.numRow; ++i) {
    const auto k = static_cast<size_t>(i);
    r.rowBasis[i] = placeOf(Clp_getRowStatus(clp.get(), i), sides.low[k], sides.high[k]);
  }
  return 0;
}

void takeAnswer(const CallersRecord& caller, models::Answer& answer) {
  const LpRecord& r = caller.record;
  answer.status = r.status;
  answer.objective = r.objValue;
  answer.primal = caller.x;
  answer.dual = caller.y;
  answer.reducedCost = caller.d;
  answer.activity = caller.activity;
  answer.columnBasis = caller.columnBasis;
  answer.rowBasis = caller.rowBasis;
}

void reduceAndReturn(TestHost& host, QzPresolveObject* object, CallersRecord& caller, const RoundTripOptions& options,
                     RoundTrip& trip) {
  LpOptions lpOptions{};
  lpOptions.presolveMode = options.mode;
  lpOptions.printLevel = 1;
  lpOptions.tolPrimal = lpOptions.tolDual = 1e-6;
  lpOptions.timeLimit = options.timeLimit;
  lpOptions.timeType = 1;
  int32_t rc = 0;
  QzPresolveHandle* handle = object->prepare(object, &lpOptions, &rc);
  if (rc != 0) throw std::runtime_error("prepare failed");
  reinterpret_cast<qzpresol::PresolveObject*>(object)->settings.enabled = options.enabled;
  host.failAllocation(options.failAllocation);
  QzPresolveResult* result = object->reduce(object, handle, 3, &caller.record, &rc);
  host.failAllocation(0);
  trip.reduceCode = rc;
  if (result != nullptr) {
    LpRecord& reduced = *result->reduced;
    trip.numRow = reduced.numRow;
    trip.numCol = reduced.numCol;
    trip.numCoef = reduced.numCoef;
    if (rc == 0) trip.clpStatus = answerByClp(reduced);
    trip.postsolveCode = object->postsolve(result);
    takeAnswer(caller, trip.answer);
    object->freeResult(object, &result);
  }
  void* field = handle;
  object->freeHandle(object, &field);
}

}  // namespace

RoundTrip takeTrip(TestHost& host, const LinearProgram& program, const RoundTripOptions& options) {
  CallersRecord caller(program);
  if (options.breakAt > 0) {
    caller.pollsLeft = options.breakAt;
    caller.record.checkSolverBreak = poll;
    caller.record.callerDataStruct = &caller;
  }
  qzpresol_builtin.extent(host.table());
  QzModule* module = qzpresol_builtin.make(nullptr, nullptr);
  auto* object = static_cast<QzPresolveObject*>(module->create_instance());
  RoundTrip trip;
  CountingLog log{{CountingLog::code, CountingLog::text}, &trip.applied};
  object->log = &log.log;
  reduceAndReturn(host, object, caller, options, trip);
  object->destroy(object);
  module->realDestroy(module);
  return trip;
}

}  // namespace qztest
