#include "sparse/worker_team.h"

#include <algorithm>

#include "qzipsolve/host.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

constexpr uint64_t kWaitForAll = 1;
constexpr uint64_t kWaitKind = 2;
constexpr int32_t kCancel = 0;  // mode of a thread's signal

void enterWorker(void* argument) {
  ThreadContext* context = static_cast<ThreadContext*>(argument);
  context->symbolic->threads[context->thread] = hostCurrentThread();
  context->work(*context);
  __atomic_store_n(&context->left, 1, __ATOMIC_RELEASE);
}

int32_t startWorker(QzHostTable* host, SymbolicFactor* symbolic, int32_t t) {
  ThreadContext* context = &symbolic->threadContexts[t];
  QzEvent* ended = host->createEvent(host, nullptr, 0, L"qzipsolve worker end");
  if (ended == nullptr) return LA_NO_MEMORY;
  QzThreadStart start{};
  start.function = enterWorker;
  start.argument = context;
  start.event = ended;
  __atomic_store_n(&context->left, 0, __ATOMIC_RELAXED);
  QzThread* thread = host->startThread(host, &start, 0, L"qzipsolve worker", nullptr);
  if (thread == nullptr) {
    ended->destroy(ended);
    return LA_INCONSISTENT;
  }
  symbolic->engineShared->endEvents[t] = ended;
  symbolic->workerThreads[t] = thread;
  return LA_OK;
}

// Workers start in the order of their numbers, so that those which run are the first ones.
int32_t countWorkers(const SymbolicFactor* symbolic) {
  if (symbolic->workerThreads == nullptr) return 0;
  int32_t count = 0;
  while (count < symbolic->numThreads - 1 && symbolic->workerThreads[count] != nullptr) ++count;
  return count;
}

bool waitForWorkers(SymbolicFactor* symbolic, int32_t count) {
  QzThread* caller = hostCurrentThread();
  if (caller == nullptr) return false;
  EngineShared* shared = symbolic->engineShared;
  QzWaitBlock block{
      static_cast<uint64_t>(count), shared->endEvents, shared->waitResults, kWaitForAll, 0, kWaitKind, 0, 0};
  return caller->wait(caller, &block) == 0;
}

}  // namespace

int32_t startWorkers(SymbolicFactor* symbolic, void (*work)(ThreadContext& context)) {
  const int32_t last = symbolic->numThreads - 1;
  symbolic->threads[last] = hostCurrentThread();
  if (last == 0) return LA_OK;
  QzHostTable* host = Exported_QZHandle;
  if (host == nullptr) {
    requestStop(symbolic->engineShared, LA_INCONSISTENT);
    return LA_INCONSISTENT;
  }
  for (int32_t t = 0; t < last; ++t) symbolic->threadContexts[t].work = work;
  for (int32_t t = 0; t < last; ++t) {
    const int32_t status = startWorker(host, symbolic, t);
    if (status == LA_OK) continue;
    requestStop(symbolic->engineShared, status);
    return status;
  }
  return LA_OK;
}

bool joinWorkers(SymbolicFactor* symbolic) {
  const int32_t count = countWorkers(symbolic);
  if (count == 0) return true;
  if (!waitForWorkers(symbolic, count)) {
    // The memory must outlive the workers whatever the host says.
    requestStop(symbolic->engineShared, LA_INCONSISTENT);
    for (int32_t t = 0; t < count; ++t) {
      for (int32_t turn = 0; readWord(&symbolic->threadContexts[t].left) == 0; ++turn) relax(turn);
    }
    return false;
  }
  for (int32_t t = 0; t < count; ++t) {
    QzEvent* ended = static_cast<QzEvent*>(symbolic->engineShared->endEvents[t]);
    QzThread* thread = symbolic->workerThreads[t];
    thread->close(thread);
    ended->destroy(ended);
    symbolic->engineShared->endEvents[t] = nullptr;
    symbolic->workerThreads[t] = nullptr;
  }
  return true;
}

bool hasWorkers(const SymbolicFactor* symbolic) {
  return countWorkers(symbolic) > 0;
}

int32_t runTeam(SymbolicFactor* symbolic, void (*work)(ThreadContext& context)) {
  if (startWorkers(symbolic, work) == LA_OK) work(symbolic->threadContexts[symbolic->numThreads - 1]);
  const bool joined = joinWorkers(symbolic);
  const int32_t status = static_cast<int32_t>(readWord(&symbolic->engineShared->stopFlag));
  if (status != LA_OK) return status;
  return joined ? LA_OK : LA_INCONSISTENT;
}

void interruptWorkers(SymbolicFactor* symbolic) {
  requestStop(symbolic->engineShared, LA_CANCELLED);
  const int32_t count = countWorkers(symbolic);
  for (int32_t t = 0; t < count; ++t) {
    QzThread* thread = symbolic->workerThreads[t];
    static_cast<void>(thread->signal(thread, kCancel, 0));
  }
  static_cast<void>(joinWorkers(symbolic));
}

}  // namespace qz
