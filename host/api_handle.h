// What the functions of the C API share: the handle, and the way into it.
#pragma once

#include <memory>
#include <new>
#include <string>

#include "host/api_matrix.h"
#include "host/api_model.h"
#include "host/api_options.h"
#include "host/log_sink.h"
#include "qzipsolve/instance.h"
#include "qzlp.h"

struct qzlp {
  qzhost::LogSink sink;
  QzModule* module = nullptr;
  QzInstance* instance = nullptr;
  LpOptions* options = nullptr;  // in the instance's pool
  qzhost::OptionValues values = qzhost::defaultOptions();
  std::unique_ptr<qzhost::ModelData> model;
  qzhost::PackedMatrix quadraticView;  // what qzlp_getQuadratic has handed out
  qzlp_breakCallback breakCallback = nullptr;
  void* breakData = nullptr;
  bool solved = false;   // the record holds an answer
  bool solving = false;  // inside of qzlp_solve
  std::string error;
};

namespace qzhost {

inline constexpr const char* kShortOfMemory = "out of memory";

// The error text of calls without a handle, one for each thread.
std::string& threadError();

inline int fail(std::string& place, int code, const std::string& text) {
  place = text;
  return code;
}

inline int fail(qzlp* lp, int code, const std::string& text) {
  return fail(lp->error, code, text);
}

// Runs a call that changes a handle: no null, not from a callback, and no exception leaves.
template <class Call>
int guarded(qzlp* lp, Call call) {
  if (lp == nullptr) return fail(threadError(), QZLP_ERROR_ARGUMENT, "the handle is null");
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
    threadError().clear();
    return call();
  } catch (const std::bad_alloc&) {
    threadError() = kShortOfMemory;
    return QZLP_ERROR_MEMORY;
  }
}

// The same for a call that needs the loaded model, as its ModelData&.
template <class Call>
int withModel(qzlp* lp, Call call) {
  return guarded(lp, [lp, &call]() -> int {
    if (lp->model == nullptr) return fail(lp, QZLP_ERROR_STATE, "no model was loaded");
    return call(*lp->model);
  });
}

}  // namespace qzhost
