// The C API: the life of a handle, options, callbacks, the solve, and the host.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "host/api_handle.h"
#include "host/builtin_modules.h"
#include "host/loader.h"
#include "host/option_store.h"
#include "host/pools.h"
#include "host/quadratic_solve.h"
#include "host/service_table.h"
#include "qzipsolve/status.h"

using namespace qzhost;

namespace {

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
  if (lp->sink.stopAsked) return 1;
  return lp->breakCallback != nullptr && lp->breakCallback(lp->breakData) != 0 ? 1 : 0;
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

// Makes the solver ask and tell what the callbacks need.
void connectCallbacks(qzlp* lp) {
  LpRecord& record = lp->model->record;
  const bool asks = lp->breakCallback != nullptr || lp->sink.progress != nullptr;
  record.checkSolverBreak = asks ? askBreak : nullptr;
  record.callerDataStruct = asks ? lp : nullptr;
  lp->sink.begin(lp->options->printLevel, lp->options->logFrequency);
  if (lp->sink.progress == nullptr) return;
  lp->options->printLevel = std::max(lp->options->printLevel, kTableLevel);
  lp->options->logFrequency = 1;
}

// A linear model goes through the module's entry, a quadratic one to the core.
int32_t runSolver(qzlp* lp) {
  struct Solving {
    bool& flag;
    explicit Solving(bool& itsFlag) : flag(itsFlag) { flag = true; }
    ~Solving() { flag = false; }
  } const solving(lp->solving);
  const int32_t status = lp->model->quadratic.empty()
                             ? lp->instance->iplpMain(lp->instance, &lp->model->record, lp->options)
                             : solveQuadratic(*lp->model, lp->options, &lp->sink.log);
  lp->sink.end();
  return status;
}

int solve(qzlp* lp, ModelData& model) {
  LpRecord& record = model.record;
  clearAnswer(model);
  lp->solved = false;
  lp->instance->resetLpOptions(lp->options);
  applyOptions(lp->values, lp->options);
  connectCallbacks(lp);
  clearLoaderError();
  const int32_t status = runSolver(lp);
  // The call's result leads; a solve that decided nothing has failed.
  record.status = status == QZ_STATUS_OK ? QZ_STATUS_FAILED : status;
  lp->solved = true;
  return judge(lp, status);
}

std::wstring widened(const char* text) {
  return {text, text + std::strlen(text)};
}

bool knownHostOption(const std::wstring& name) {
  return name == QZ_OPTION_CPUCOUNT || name == QZ_OPTION_CPUCORECOUNT;
}

}  // namespace

std::string& qzhost::threadError() {
  thread_local std::string text;
  return text;
}

const char* qzlp_version(void) {
  return QZLP_VERSION;
}

int qzlp_abiVersion(void) {
  return QZLP_ABI_VERSION;
}

qzlp* qzlp_create(void) {
  qzlp* made = nullptr;
  guarded([&made] {
    registerBuiltinModules();
    auto lp = std::make_unique<qzlp>();
    if (openSolver(lp.get(), threadError())) {
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
  if (lp == nullptr) return threadError().c_str();
  return lp->solving ? "the handle is solving: it can't be changed from a callback" : lp->error.c_str();
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

int qzlp_setProgressCallback(qzlp* lp, qzlp_progressCallback callback, void* userData) {
  return guarded(lp, [=] {
    lp->sink.progress = callback;
    lp->sink.progressData = userData;
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_solve(qzlp* lp) {
  return withModel(lp, [lp](ModelData& model) { return solve(lp, model); });
}

int qzlp_setModulePath(const char* path) {
  return guarded([path] {
    if (path == nullptr) return fail(threadError(), QZLP_ERROR_ARGUMENT, "the path is null");
    setModulePath(path);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_setHostOption(const char* name, int64_t value) {
  return guarded([=] {
    if (name == nullptr || !knownHostOption(widened(name)))
      return fail(threadError(), QZLP_ERROR_ARGUMENT,
                  "there is no host option " + std::string(name == nullptr ? "(null)" : name));
    if (value < 1 || value > INT32_MAX)
      return fail(
          threadError(), QZLP_ERROR_ARGUMENT,
          "host option " + std::string(name) + ": " + std::to_string(value) + " is not between 1 and 2147483647");
    setHostOption(widened(name), value);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_getHostOption(const char* name, int64_t* value) {
  return guarded([=] {
    const std::optional<int64_t> found = name == nullptr ? std::nullopt : hostOption(widened(name));
    if (!found || value == nullptr)
      return fail(threadError(), QZLP_ERROR_ARGUMENT, "no such host option, or no place for its value");
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
