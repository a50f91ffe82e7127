// What ends a crossover before its time: the clock, the number of basis changes, the caller's wish.
#pragma once

#include <cstdint>

#include "qzipsolve/presolve_module.h"
#include "qzipsolve/record.h"
#include "qzipsolve/status.h"

namespace qzsimpx {

class Limits {
 public:
  // The clock starts here.
  Limits(const QzPresolveHandle& handle, const LpRecord& record);

  // A basis changed.
  void countChange() { ++numChange_; }
  void setChanges(int32_t numChange) { numChange_ = numChange; }
  // QZ_STATUS_OK while the work may go on; else, and from then on, the status that it ends with.
  int32_t check();

  [[nodiscard]] int32_t status() const { return status_; }
  [[nodiscard]] int32_t numChange() const { return numChange_; }

 private:
  [[nodiscard]] double now() const;

  const LpRecord& record_;
  int32_t timeType_;
  int32_t mostChanges_;
  double deadline_;  // seconds on the clock of the time type
  int32_t numChange_ = 0;
  int32_t status_ = QZ_STATUS_OK;
};

}  // namespace qzsimpx
