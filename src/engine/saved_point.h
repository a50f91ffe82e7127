// A copy of the engine's point, to come back to when a reduction leads nowhere: an iteration on an infeasible model
// runs away, and what it leaves is no start for another.
#pragma once

#include <cstdint>

#include "shell/pool.h"
#include "shell/records.h"
#include "transform/hub.h"

namespace qz {

class SavedPoint {
 public:
  // Copies the point of a model of this size in place of what was kept. 0 or -1086.
  [[nodiscard]] int32_t save(Env* env, int32_t numRow, int32_t numCol, const Solution* solution);
  // Writes the point back into `solution`; without one nothing happens.
  void restore(Solution* solution) const;
  // Follows the unscaling of the model, by the factors of the hub.
  void unscale(const Hub* hub);
  [[nodiscard]] bool isSet() const { return static_cast<bool>(values_); }
  void release() { values_.reset(); }

 private:
  // The seven arrays one behind the other: five of numCol, two of numRow entries.
  PoolArray<double> values_;
  int32_t numRow_ = 0;
  int32_t numCol_ = 0;
};

}  // namespace qz
