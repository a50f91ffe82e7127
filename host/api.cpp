// The C API: handles over an instance of the solver.
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "host/api_model.h"
#include "host/api_options.h"
#include "host/builtin_modules.h"
#include "host/loader.h"
#include "host/log_sink.h"
#include "host/option_store.h"
#include "host/pools.h"
#include "host/quadratic_solve.h"
#include "host/service_table.h"
#include "qzipsolve/instance.h"
#include "qzipsolve/status.h"
#include "qzlp.h"

using namespace qzhost;

struct qzlp {
  LogSink sink;
  QzModule* module = nullptr;
  QzInstance* instance = nullptr;
  LpOptions* options = nullptr;  // in the instance's pool
  OptionValues values = defaultOptions();
  std::unique_ptr<ModelData> model;
  qzlp_breakCallback breakCallback = nullptr;
  void* breakData = nullptr;
  bool solved = false;   // the record holds an answer
  bool solving = false;  // inside of qzlp_solve
  std::string error;
};

namespace {

thread_local std::string threadError;  // of calls without a handle

constexpr const char* kShortOfMemory = "out of memory";

int fail(std::string& place, int code, const std::string& text) {
  place = text;
  return code;
}

int fail(qzlp* lp, int code, const std::string& text) {
  return fail(lp->error, code, text);
}

// Runs a call that changes a handle: no null, not from a callback, and no exception leaves.
template <class Call>
int guarded(qzlp* lp, Call call) {
  if (lp == nullptr) return fail(threadError, QZLP_ERROR_ARGUMENT, "the handle is null");
  if (lp->solving) return QZLP_ERROR_STATE;
  try {
    lp->error.clear();
    return call();
  } catch (const std::bad_alloc&) {
    lp->error = kShortOfMemory;  // short enough to need no memory
    return QZLP_ERROR_MEMORY;
  }
}

// The same for a call without a handle.
template <class Call>
int guarded(Call call) {
  try {
    threadError.clear();
    return call();
  } catch (const std::bad_alloc&) {
    threadError = kShortOfMemory;
    return QZLP_ERROR_MEMORY;
  }
}

// Makes the instance of a new handle. False with a text on failure.
bool openSolver(qzlp* lp, std::string& error) {
  static const wchar_t name[] = L"qzipsolve";
  QzHostTable* table = hostTable();
  clearLoaderError();
  lp->module = table->loadExtension(table, name, sizeof(name) / sizeof(name[0]) - 1, 0);
  if (lp->module == nullptr) {
    error = loaderError();
    return false;
  }
  lp->instance = static_cast<QzInstance*>(lp->module->create_instance());
  if (lp->instance != nullptr) {
    lp->instance->log = &lp->sink.log;
    lp->options = lp->instance->createLpOptions(lp->instance);
  }
  if (lp->options == nullptr) error = kShortOfMemory;
  return lp->options != nullptr;
}

void closeSolver(qzlp* lp) {
  if (lp->instance != nullptr) lp->instance->destroy(lp->instance);
  if (lp->module != nullptr) lp->module->unload(lp->module);
}

int32_t askBreak(void* data) {
  auto* lp = static_cast<qzlp*>(data);
  return lp->breakCallback(lp->breakData) != 0 ? 1 : 0;
}

int setOption(qzlp* lp, int index, const char* name, double value) {
  if (index < 0)
    return fail(lp, QZLP_ERROR_ARGUMENT, "there is no option " + std::string(name == nullptr ? "(null)" : name));
  const std::string error = checkOption(index, value);
  if (!error.empty()) return fail(lp, QZLP_ERROR_ARGUMENT, error);
  lp->values[static_cast<size_t>(index)] = value;
  return QZLP_OK;
}

// What the return code of a solve is.
int judge(qzlp* lp, int32_t status) {
  if (status != QZ_STATUS_OUT_OF_MEMORY) return QZLP_OK;
  if (!loaderError().empty()) return fail(lp, QZLP_ERROR_MODULE, loaderError());
  return fail(lp, QZLP_ERROR_MEMORY, lp->sink.lastError.empty() ? kShortOfMemory : lp->sink.lastError);
}

// A linear model goes through the module's entry, a quadratic one to the core.
int32_t runSolver(qzlp* lp) {
  struct Solving {
    bool& flag;
    explicit Solving(bool& itsFlag) : flag(itsFlag) { flag = true; }
    ~Solving() { flag = false; }
  } const solving(lp->solving);
  if (!lp->model->quadratic.empty()) return solveQuadratic(*lp->model, lp->options, &lp->sink.log);
  return lp->instance->iplpMain(lp->instance, &lp->model->record, lp->options);
}

int solve(qzlp* lp) {
  if (lp->model == nullptr) return fail(lp, QZLP_ERROR_STATE, "no model was loaded");
  LpRecord& record = lp->model->record;
  clearAnswer(*lp->model);
  lp->solved = false;
  lp->instance->resetLpOptions(lp->options);
  applyOptions(lp->values, lp->options);
  record.checkSolverBreak = lp->breakCallback != nullptr ? askBreak : nullptr;
  record.callerDataStruct = lp->breakCallback != nullptr ? lp : nullptr;
  lp->sink.lastError.clear();
  clearLoaderError();
  const int32_t status = runSolver(lp);
  // The call's result leads; a solve that decided nothing has failed.
  record.status = status == QZ_STATUS_OK ? QZ_STATUS_FAILED : status;
  lp->solved = true;
  return judge(lp, status);
}

const LpRecord* answer(const qzlp* lp) {
  return lp != nullptr && lp->solved ? &lp->model->record : nullptr;
}

// The arrays of a basis are full or empty as a whole, and each has one entry at least.
bool hasBasis(const qzlp* lp) {
  const LpRecord* record = answer(lp);
  return record != nullptr && (record->rowBasis[0] != QZ_BASIS_NONE || record->colBasis[0] != QZ_BASIS_NONE);
}

std::wstring widened(const char* text) {
  return {text, text + std::strlen(text)};
}

bool knownHostOption(const std::wstring& name) {
  return name == QZ_OPTION_CPUCOUNT || name == QZ_OPTION_CPUCORECOUNT;
}

}  // namespace

const char* qzlp_version(void) {
  return QZLP_VERSION;
}

qzlp* qzlp_create(void) {
  qzlp* made = nullptr;
  guarded([&made] {
    registerBuiltinModules();
    auto lp = std::make_unique<qzlp>();
    if (openSolver(lp.get(), threadError)) {
      made = lp.release();
      return 0;
    }
    closeSolver(lp.get());
    return 1;
  });
  return made;
}

void qzlp_destroy(qzlp* lp) {
  if (lp == nullptr || lp->solving) return;
  closeSolver(lp);
  delete lp;
}

const char* qzlp_error(const qzlp* lp) {
  if (lp == nullptr) return threadError.c_str();
  return lp->solving ? "the handle is solving: it can't be changed from a callback" : lp->error.c_str();
}

int qzlp_loadModel(qzlp* lp, const qzlp_model* model) {
  return guarded(lp, [lp, model] {
    if (model == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the model is null");
    auto data = std::make_unique<ModelData>();
    const std::string error = takeModel(*model, *data);
    if (!error.empty()) return fail(lp, QZLP_ERROR_MODEL, error);
    lp->model = std::move(data);
    lp->solved = false;
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_loadQuadratic(qzlp* lp, const qzlp_quadratic* quadratic) {
  return guarded(lp, [lp, quadratic] {
    if (lp->model == nullptr) return fail(lp, QZLP_ERROR_STATE, "no model was loaded");
    const std::string error = takeQuadratic(quadratic, *lp->model);
    if (!error.empty()) return fail(lp, QZLP_ERROR_MODEL, "quadratic part: " + error);
    lp->solved = false;
    return static_cast<int>(QZLP_OK);
  });
}

int32_t qzlp_numRow(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? lp->model->record.numRow : 0;
}

int32_t qzlp_numCol(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? lp->model->record.numCol : 0;
}

int qzlp_setIntOption(qzlp* lp, const char* name, int32_t value) {
  return guarded(lp, [=] {
    const int index = optionIndex(name);
    if (index >= 0 && qzlp_optionAt(index)->type != QZLP_OPTION_INT)
      return fail(lp, QZLP_ERROR_ARGUMENT, "option " + std::string(name) + " is no integer option");
    return setOption(lp, index, name, value);
  });
}

int qzlp_setDoubleOption(qzlp* lp, const char* name, double value) {
  return guarded(lp, [=] { return setOption(lp, optionIndex(name), name, value); });
}

int qzlp_setOption(qzlp* lp, const char* name, const char* value) {
  return guarded(lp, [=] {
    double number = 0.0;
    const int index = optionIndex(name);
    if (index >= 0 && (value == nullptr || !parseNumber(value, number)))
      return fail(lp, QZLP_ERROR_ARGUMENT,
                  "option " + std::string(name) + ": '" + (value == nullptr ? "(null)" : value) + "' is no number");
    return setOption(lp, index, name, number);
  });
}

int qzlp_getIntOption(qzlp* lp, const char* name, int32_t* value) {
  return guarded(lp, [=] {
    const int index = optionIndex(name);
    if (index < 0 || qzlp_optionAt(index)->type != QZLP_OPTION_INT || value == nullptr)
      return fail(lp, QZLP_ERROR_ARGUMENT,
                  value == nullptr ? "the place of the value is null" : "no such integer option");
    *value = static_cast<int32_t>(lp->values[static_cast<size_t>(index)]);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_getDoubleOption(qzlp* lp, const char* name, double* value) {
  return guarded(lp, [=] {
    const int index = optionIndex(name);
    if (index < 0 || value == nullptr)
      return fail(lp, QZLP_ERROR_ARGUMENT, value == nullptr ? "the place of the value is null" : "no such option");
    *value = lp->values[static_cast<size_t>(index)];
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_resetOptions(qzlp* lp) {
  return guarded(lp, [lp] {
    lp->values = defaultOptions();
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_setLogCallback(qzlp* lp, qzlp_logCallback callback, void* userData) {
  return guarded(lp, [=] {
    lp->sink.callback = callback;
    lp->sink.userData = userData;
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_setBreakCallback(qzlp* lp, qzlp_breakCallback callback, void* userData) {
  return guarded(lp, [=] {
    lp->breakCallback = callback;
    lp->breakData = userData;
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_solve(qzlp* lp) {
  return guarded(lp, [lp] { return solve(lp); });
}

int qzlp_status(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->status : 0;
}

const char* qzlp_statusName(int status) {
  switch (status) {
    case QZLP_STATUS_NONE:
      return "not solved";
    case QZLP_STATUS_OPTIMAL:
      return "optimal";
    case QZ_STATUS_INFEASIBLE_ALIAS:
    case QZLP_STATUS_PRIMAL_INFEASIBLE:
      return "infeasible";
    case QZLP_STATUS_DUAL_INFEASIBLE:
      return "unbounded";
    case QZLP_STATUS_ITERATION_LIMIT:
      return "iteration limit";
    case QZLP_STATUS_TIME_LIMIT:
      return "time limit";
    case QZLP_STATUS_FAILED:
      return "failed";
    case QZLP_STATUS_INTERRUPTED:
      return "interrupted";
    case QZLP_STATUS_BOTH_INFEASIBLE:
      return "primal and dual infeasible";
    case QZLP_STATUS_NEAR_OPTIMAL:
      return "near optimal";
    case QZLP_STATUS_NOT_CONVEX:
      return "not convex";
    case QZLP_STATUS_OUT_OF_MEMORY:
      return "out of memory";
    default:
      return "unknown status";
  }
}

double qzlp_objective(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->objValue : 0.0;
}
int32_t qzlp_iterations(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->numIter : 0;
}
int32_t qzlp_simplexIterations(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->numSimplexIter : 0;
}
double qzlp_primalInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->primalInfeas : 0.0;
}
double qzlp_dualInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->dualInfeas : 0.0;
}
double qzlp_boundInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->boundInfeas : 0.0;
}
double qzlp_dualityGap(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->dualityGap : 0.0;
}
double qzlp_complementarity(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->complementarity : 0.0;
}
double qzlp_presolveTime(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->presolveTime : 0.0;
}
double qzlp_totalTime(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->totalTime : 0.0;
}

const double* qzlp_primal(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->solPrimal : nullptr;
}
const double* qzlp_dual(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->solDual : nullptr;
}
const double* qzlp_reducedCost(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->reducedCost : nullptr;
}
const double* qzlp_rowActivity(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->rowActivity : nullptr;
}

const uint8_t* qzlp_columnBasis(const qzlp* lp) {
  return hasBasis(lp) ? answer(lp)->colBasis : nullptr;
}
const uint8_t* qzlp_rowBasis(const qzlp* lp) {
  return hasBasis(lp) ? answer(lp)->rowBasis : nullptr;
}

int qzlp_setModulePath(const char* path) {
  return guarded([path] {
    if (path == nullptr) return fail(threadError, QZLP_ERROR_ARGUMENT, "the path is null");
    setModulePath(path);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_setHostOption(const char* name, int64_t value) {
  return guarded([=] {
    if (name == nullptr || !knownHostOption(widened(name)))
      return fail(threadError, QZLP_ERROR_ARGUMENT,
                  "there is no host option " + std::string(name == nullptr ? "(null)" : name));
    if (value < 1 || value > INT32_MAX)
      return fail(
          threadError, QZLP_ERROR_ARGUMENT,
          "host option " + std::string(name) + ": " + std::to_string(value) + " is not between 1 and 2147483647");
    setHostOption(widened(name), value);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_getHostOption(const char* name, int64_t* value) {
  return guarded([=] {
    const std::optional<int64_t> found = name == nullptr ? std::nullopt : hostOption(widened(name));
    if (!found || value == nullptr)
      return fail(threadError, QZLP_ERROR_ARGUMENT, "no such host option, or no place for its value");
    *value = *found;
    return static_cast<int>(QZLP_OK);
  });
}

int64_t qzlp_memoryInUse(void) {
  return allPoolCounts().bytes;
}
int64_t qzlp_memoryPeak(void) {
  return peakPoolBytes();
}
