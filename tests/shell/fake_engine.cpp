#include "shell/fake_engine.h"

#include <algorithm>

#include "engine/controller.h"
#include "engine/linear_algebra.h"
#include "transform/free_system.h"

namespace qztest {

std::function<int32_t(const EngineCall&)> fakeEngine;
std::vector<std::string> events;

void plantSolution(const EngineCall& call, const std::vector<double>& x, const std::vector<double>& y) {
  const qz::Model& m = *call.model;
  qz::Solution& s = *call.solution;
  const qz::Hub& hub = *call.hub;
  std::copy(x.begin(), x.end(), s.primal);
  std::copy(y.begin(), y.end(), s.dual);
  for (int32_t k = 0; k < hub.numLcont; ++k) s.dual[hub.lcontRowList[k]] = -s.dual[hub.lcontRowList[k]];
  if (hub.colPlus != nullptr)
    for (int32_t k = 0; k < hub.numFreeVar; ++k) {
      const double value = s.primal[hub.colPlus[k]];
      s.primal[hub.colPlus[k]] = std::max(value, 0.0) + 0.5;
      s.primal[hub.colMinus[k]] = std::max(-value, 0.0) + 0.5;
    }
  std::vector<double> activity(static_cast<size_t>(m.numRow), 0.0);
  const int32_t firstSlack = hub.numColSaved;
  for (int32_t j = 0; j < m.numCol; ++j) {
    if (j >= firstSlack && j < firstSlack + hub.numRange) continue;
    for (int32_t k = m.colBegin[j]; k < m.colBegin[j] + m.colLength[j]; ++k)
      activity[m.rowIndex[k]] += m.matValue[k] * s.primal[j];
  }
  for (int32_t k = 0; k < hub.numRange; ++k)
    s.primal[firstSlack + k] = m.rhs[hub.rangeRowList[k]] - activity[hub.rangeRowList[k]];
  for (int32_t i = 0; i < m.numRow; ++i)
    if (m.rowSense[i] == 'G') s.ineqnSlack[i] = activity[i] - m.rhs[i];
  for (int32_t j = 0; j < m.numCol; ++j) {
    double reduced = m.obj[j];
    for (int32_t k = m.colBegin[j]; k < m.colBegin[j] + m.colLength[j]; ++k)
      reduced -= m.matValue[k] * s.dual[m.rowIndex[k]];
    if (m.lower[j] > -1e20) {
      s.lowerSlack[j] = s.primal[j] - m.lower[j];
      s.lowerDual[j] = std::max(reduced, 0.0);
    }
    if (m.upper[j] < 1e20) {
      s.upperSlack[j] = m.upper[j] - s.primal[j];
      s.upperDual[j] = std::max(-reduced, 0.0);
    }
  }
}

}  // namespace qztest

namespace qz {

int32_t ipmSolve(Env* env, Model* model, IpmOption* option, Hub* hub, Solution* solution, IPM_timer* timer) {
  qztest::events.push_back("engine");
  if (!qztest::fakeEngine) return model->status = QZ_STATUS_FAILED;
  return qztest::fakeEngine({env, model, option, hub, solution, timer});
}

// These tests bring no linear algebra along: no model of theirs is a mere system of equations.
int32_t answerFreeSystem(Env*, Model*, const IpmOption*, Presolver*, Solution*, int32_t) {
  qztest::events.push_back("system");
  return QZ_STATUS_FAILED;
}

void laCleanUpAll(Env*, LAEnv** laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory,
                  SymbolicFactor** cholFactor, NumericFactor** cholMemory) {
  qztest::events.push_back("clean-up");
  *laEnv = nullptr;
  *ldlFactor = *cholFactor = nullptr;
  *ldlMemory = *cholMemory = nullptr;
}

}  // namespace qz
