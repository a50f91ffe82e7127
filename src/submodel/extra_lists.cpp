#include "submodel/extra_lists.h"

#include <algorithm>

#include "engine/engine_state.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "submodel/reduced_cost.h"
#include "transform/postsolve.h"

namespace qz {

namespace {

// The texts of one kind of list.
struct Texts {
  void (*wrongRemoved)(QzLog* log, int32_t said, int32_t found);
  void (*notRemoved)(QzLog* log, int32_t index);
  void (*wrongExtra)(QzLog* log, int32_t said, int32_t found);
};

constexpr Texts kColumnTexts = {
    [](QzLog* log, int32_t said, int32_t found) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: numRemovedCol=%d actually is %d", said, found);
    },
    [](QzLog* log, int32_t index) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: column %d is fixed, but not in extra list", index);
    },
    [](QzLog* log, int32_t said, int32_t found) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: numColExtra=%d actually is %d", said, found);
    }};

constexpr Texts kRowTexts = {
    [](QzLog* log, int32_t said, int32_t found) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: numRemovedRow=%d actually is %d", said, found);
    },
    [](QzLog* log, int32_t index) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: row %d is removed, but not in extra list", index);
    },
    [](QzLog* log, int32_t said, int32_t found) {
      logText(log, QZ_LOG_DEBUG, L"Error CreateExtraList: numRowExtra=%d actually is %d", said, found);
    }};

// What the presolve says of one kind, and the marked entries among it.
struct Removed {
  int32_t size;  // entries of the map
  const int32_t* map;
  int32_t numRemoved;
  int32_t numMarked;
  const int32_t* marked;
};

// The entries that are removed but not marked. The marked list may stand in any order.
int32_t listExtra(Env* env, const Removed& from, const Texts& texts, int32_t& numExtra, int32_t*& extra) {
  poolFree(env->pool, extra);
  numExtra = from.numRemoved - from.numMarked;
  if (numExtra <= 0) {
    numExtra = 0;
    return QZ_STATUS_OK;
  }
  const auto numNegative = std::count_if(from.map, from.map + from.size, [](int32_t to) { return to < 0; });
  if (numNegative != from.numRemoved) {
    texts.wrongRemoved(env->log, from.numRemoved, static_cast<int32_t>(numNegative));
    return QZ_STATUS_FAILED;
  }
  PoolArray<char> isMarked;
  int32_t status = isMarked.allocateZero(env->pool, from.size);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < from.numMarked; ++k) {
    if (from.map[from.marked[k]] >= 0) {
      texts.notRemoved(env->log, from.marked[k]);
      return QZ_STATUS_FAILED;
    }
    isMarked[from.marked[k]] = 1;
  }
  PoolArray<int32_t> list;
  status = list.allocate(env->pool, from.numRemoved);
  if (status != QZ_STATUS_OK) return status;
  int32_t count = 0;
  for (int32_t i = 0; i < from.size; ++i)
    if (from.map[i] < 0 && isMarked[i] == 0) list[count++] = i;
  if (count != numExtra) {
    texts.wrongExtra(env->log, numExtra, count);
    return QZ_STATUS_FAILED;
  }
  extra = list.release();
  return QZ_STATUS_OK;
}

// A reduced cost d belongs to the bound that it pushes to.
void setFromReducedCost(Solution* s, const Model* m, int32_t j, double d, double infinity) {
  s->lowerDual[j] = std::max(d, 0.0);
  s->upperDual[j] = std::max(-d, 0.0);
  s->lowerSlack[j] = m->lower[j] > -infinity ? s->primal[j] - m->lower[j] : 0.0;
  s->upperSlack[j] = m->upper[j] < infinity ? m->upper[j] - s->primal[j] : 0.0;
}

void makePositive(double& slack, double& dual, double leastSlack, double leastDual) {
  if (slack <= 0.0) slack = leastSlack;
  if (dual <= 0.0) dual = leastDual;
}

}  // namespace

int32_t CreateExtraList(Env* env, SubModel* submodel, const Presolver* presolver) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  SubModel& s = *submodel;
  const Removed columns{s.numCol, presolver->colMap, presolver->numRemovedCol,
                        s.bBigBoundDual != 0 ? s.numBigBoundDual : 0, s.idxColSub};
  const Removed rows{s.numRow, presolver->rowMap, presolver->numRemovedRow,
                     s.bBigIneqnSlack != 0 ? s.numBigIneqnSlack : 0, s.idxRowSub};
  s.numColExtra = s.numRowExtra = 0;
  int32_t status = listExtra(env, columns, kColumnTexts, s.numColExtra, s.idxColExtra);
  if (status == QZ_STATUS_OK) status = listExtra(env, rows, kRowTexts, s.numRowExtra, s.idxRowExtra);
  if (status == QZ_STATUS_OK) return status;
  s.numColExtra = s.numRowExtra = 0;
  poolFree(env->pool, s.idxColExtra);
  poolFree(env->pool, s.idxRowExtra);
  return status;
}

int32_t getSubRowSlack(Env* env, Model* model, const Presolver* presolver, const SubModel* submodel,
                       Solution* solution) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  calcRowActivity(env, model);
  for (int32_t k = 0; k < submodel->numRowExtra; ++k) {
    const int32_t i = submodel->idxRowExtra[k];
    if (presolver->rowMap[i] >= 0) {
      logText(env->log, QZ_LOG_DEBUG, L"Error getSubRowSlack: row %d status=%d is not removed.", i,
              presolver->rowMap[i]);
      return QZ_STATUS_FAILED;
    }
    const double excess = model->rowActivity[i] - model->rhs[i];
    const char sense = model->rowSense[i];
    solution->ineqnSlack[i] = sense == 'G' ? excess : sense == 'E' ? 0.0 : -excess;
  }
  return QZ_STATUS_OK;
}

int32_t getSubDualSlack(Env* env, const Model* model, const Presolver* presolver, const SubModel* submodel,
                        Solution* solution, const IpmOption* options) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  for (int32_t k = 0; k < submodel->numColExtra; ++k) {
    const int32_t j = submodel->idxColExtra[k];
    if (presolver->colMap[j] == COLMAP_EMPTY || presolver->colMap[j] == COLMAP_FIXED) continue;
    logText(env->log, QZ_LOG_DEBUG, L"Error getSubDualSlack: column %d status should be COLMAP_EMPTY.", j);
    return QZ_STATUS_FAILED;
  }
  return updateExtraDuals(env, model, submodel, solution, options);
}

int32_t updateExtraDuals(Env* env, const Model* model, const SubModel* submodel, Solution* solution,
                         const IpmOption* options) {
  if (submodel == nullptr || submodel->numColExtra <= 0) return QZ_STATUS_OK;
  PoolArray<double> gradient;
  const int32_t status = makeGradient(env, model, solution->primal, gradient);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < submodel->numColExtra; ++k) {
    const int32_t j = submodel->idxColExtra[k];
    setFromReducedCost(solution, model, j, gradient[j] - columnTimes(model, j, solution->dual), options->infinityValue);
  }
  return QZ_STATUS_OK;
}

void initExtra(Ipm* ipm, const SubModel* submodel) {
  if (submodel == nullptr) return;
  const double leastSlack = std::max(1e-4, 100.0 * ipm->tolPrimal);
  const double leastDual = std::max(1e-4, 100.0 * ipm->tolDual);
  for (int32_t k = 0; k < submodel->numRowExtra; ++k) {
    const int32_t i = submodel->rowMapSub[submodel->idxRowExtra[k]];
    if (i < 0 || ipm->rowSense[i] == 'E') continue;
    makePositive(ipm->ineqnSlack[i], ipm->dual[i], leastSlack, leastDual);
  }
  for (int32_t k = 0; k < submodel->numColExtra; ++k) {
    const int32_t j = submodel->colMapSub[submodel->idxColExtra[k]];
    if (j < 0) continue;
    if (hasLower(ipm->statusBound[j])) makePositive(ipm->lowerSlack[j], ipm->lowerDual[j], leastSlack, leastDual);
    if (hasUpper(ipm->statusBound[j])) makePositive(ipm->upperSlack[j], ipm->upperDual[j], leastSlack, leastDual);
  }
}

}  // namespace qz
