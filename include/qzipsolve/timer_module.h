/* `qztimer`: CPU time of the process, in samples and their difference. Slots 112 and 120 sit on the module object;
 * no object is made from it. */
#ifndef QZIPSOLVE_TIMER_MODULE_H
#define QZIPSOLVE_TIMER_MODULE_H

#include "qzipsolve/host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A CPU sample; the time part leads. The rest is the module's own. */
typedef struct QzTimerSample {
  int64_t seconds;
  int64_t microseconds;
  uint64_t reserved[6];
} QzTimerSample;
QZ_ASSERT_SIZE(QzTimerSample, 64);

/* The difference of two samples, normalised: 0 <= microseconds < 1000000. */
typedef struct QzTimerDifference {
  int64_t seconds;
  int64_t microseconds;
} QzTimerDifference;
QZ_ASSERT_SIZE(QzTimerDifference, 16);

typedef struct QzTimerModule {
  QzModule module;
  uint64_t reserved88[3];
  int32_t (*takeSample)(struct QzTimerModule*, QzTimerSample* sample); /* 112 */
  int32_t (*difference)(struct QzTimerModule*, const QzTimerSample* start, const QzTimerSample* stop,
                        QzTimerDifference* difference); /* 120: stop - start */
} QzTimerModule;
QZ_ASSERT_OFFSET(QzTimerModule, takeSample, 112);
QZ_ASSERT_OFFSET(QzTimerModule, difference, 120);

#ifdef __cplusplus
}
#endif
#endif
