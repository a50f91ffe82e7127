#include "shell/timer.h"

#include <limits>

#include "shell/host_table.h"
#include "shell/pool.h"

namespace qz {

IPM_timer* IPM_timerCreate(QzPool* pool, int32_t* rc) {
  *rc = QZ_STATUS_OUT_OF_MEMORY;
  IPM_timer* timer = poolAllocate<IPM_timer>(pool, 1);
  if (timer == nullptr) return nullptr;
  *timer = IPM_timer{};
  timer->ticksPerSecond = 1000000.0;
  timer->cpuLimit = std::numeric_limits<double>::max();
  timer->realLimit = std::numeric_limits<double>::max();
  QzHostTable* host = Exported_QZHandle;
  const wchar_t name[] = L"qztimer";
  if (host != nullptr)
    timer->perfModule = reinterpret_cast<QzTimerModule*>(host->loadExtension(host, name, wvStrTLen(name), 0));
  if (timer->perfModule == nullptr) {
    poolFree(pool, timer);
    return nullptr;
  }
  *rc = QZ_STATUS_OK;
  return timer;
}

int32_t IPM_timerFree(QzPool* pool, IPM_timer** timer) {
  if (timer == nullptr || *timer == nullptr) return 0;
  QzModule* module = &(*timer)->perfModule->module;
  module->unload(module);
  poolFree(pool, *timer);
  return 0;
}

int32_t IPM_timerStart(IPM_timer* timer) {
  timer->perfModule->takeSample(timer->perfModule, &timer->startSample);
  timer->realStart = qzzdtgmt();
  return 0;
}

int32_t IPM_timerStop(IPM_timer* timer) {
  timer->perfModule->takeSample(timer->perfModule, &timer->stopSample);
  timer->perfModule->difference(timer->perfModule, &timer->startSample, &timer->stopSample, &timer->diffBlock);
  timer->cpuUsed = static_cast<double>(timer->diffBlock.seconds) +
                   static_cast<double>(timer->diffBlock.microseconds) / timer->ticksPerSecond;
  timer->realNow = qzzdtgmt();
  timer->realUsed = timer->realNow - timer->realStart;
  return 0;
}

int32_t IPM_timerSetCpuLimit(IPM_timer* timer, double limit) {
  timer->cpuLimit = limit;
  return 0;
}

int32_t IPM_timerSetRealLimit(IPM_timer* timer, double limit) {
  timer->realLimit = limit;
  return 0;
}

int32_t IPM_timerGetCpuLimit(const IPM_timer* timer, double* limit) {
  *limit = timer->cpuLimit;
  return 0;
}

int32_t IPM_timerGetRealLimit(const IPM_timer* timer, double* limit) {
  *limit = timer->realLimit;
  return 0;
}

int32_t IPM_timerCpuUsedTime(IPM_timer* timer, double* value) {
  IPM_timerStop(timer);
  *value = timer->cpuUsed;
  return 0;
}

int32_t IPM_timerRealUsedTime(IPM_timer* timer, double* value) {
  IPM_timerStop(timer);
  *value = timer->realUsed;
  return 0;
}

int32_t IPM_timerCpuLeftTime(IPM_timer* timer, double* value) {
  IPM_timerStop(timer);
  *value = timer->cpuLimit - timer->cpuUsed;
  return 0;
}

int32_t IPM_timerRealLeftTime(IPM_timer* timer, double* value) {
  IPM_timerStop(timer);
  *value = timer->realLimit - timer->realUsed;
  return 0;
}

int32_t IPM_timerReachCpuLimit(IPM_timer* timer, int32_t* flag) {
  IPM_timerStop(timer);
  *flag = timer->cpuLimit > timer->cpuUsed ? 0 : 1;
  return 0;
}

int32_t IPM_timerReachRealLimit(IPM_timer* timer, int32_t* flag) {
  IPM_timerStop(timer);
  *flag = timer->realLimit > timer->realUsed ? 0 : 1;
  return 0;
}

double IPM_timerInterval(IPM_timer* timer) {
  IPM_timerStop(timer);
  return timer->cpuUsed;
}

double IPM_timerRealInterval(IPM_timer* timer) {
  IPM_timerStop(timer);
  return timer->realUsed;
}

int32_t IPM_timerSetLimit(IPM_timer* timer, double limit) {
  return timer->type == 0 ? IPM_timerSetCpuLimit(timer, limit) : IPM_timerSetRealLimit(timer, limit);
}

int32_t IPM_timerGetLimit(const IPM_timer* timer, double* limit) {
  return timer->type == 0 ? IPM_timerGetCpuLimit(timer, limit) : IPM_timerGetRealLimit(timer, limit);
}

int32_t IPM_timerUsedTime(IPM_timer* timer, double* value) {
  return timer->type == 0 ? IPM_timerCpuUsedTime(timer, value) : IPM_timerRealUsedTime(timer, value);
}

int32_t IPM_timerLeftTime(IPM_timer* timer, double* value) {
  return timer->type == 0 ? IPM_timerCpuLeftTime(timer, value) : IPM_timerRealLeftTime(timer, value);
}

int32_t IPM_timerReachLimit(IPM_timer* timer, int32_t* flag) {
  return timer->type == 0 ? IPM_timerReachCpuLimit(timer, flag) : IPM_timerReachRealLimit(timer, flag);
}

}  // namespace qz
