#include "transform/reduced_model.h"

#include <algorithm>

#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

void numberKept(int32_t count, int32_t* map) {
  int32_t next = 0;
  for (int32_t k = 0; k < count; ++k) {
    if (map[k] >= 0) map[k] = next++;
  }
}

template <class T>
bool make(QzPool* pool, T*& array, int64_t count) {
  array = poolAllocateZero<T>(pool, count);
  return array != nullptr;
}

bool makeLinearArrays(QzPool* pool, Model* m, bool hasRange, int64_t numColumn, int64_t numElement) {
  return make(pool, m->matValue, numElement) && make(pool, m->rowIndex, numElement) &&
         make(pool, m->colBegin, numColumn + 2) && make(pool, m->colLength, numColumn + 1) &&
         make(pool, m->rhs, m->numRow) && make(pool, m->rowSense, m->numRow) && make(pool, m->solDual, m->numRow) &&
         make(pool, m->rowActivity, m->numRow) && (!hasRange || make(pool, m->range, m->numRow)) &&
         make(pool, m->obj, numColumn) && make(pool, m->lower, numColumn) && make(pool, m->upper, numColumn) &&
         make(pool, m->solPrimal, numColumn) && make(pool, m->reducedCost, numColumn);
}

bool makeQuadraticArrays(QzPool* pool, Model* m, int64_t numColumn) {
  return make(pool, m->quadDiag, numColumn) && make(pool, m->quadColBegin, numColumn + 1) &&
         make(pool, m->quadColLength, numColumn) && make(pool, m->quadRowIndex, m->numQuadCoef) &&
         make(pool, m->quadMatValue, m->numQuadCoef);
}

// Compresses a working matrix to the kept majors and minors. Writes no more than `room` elements and returns how many
// there are.
int32_t compress(int32_t numMajor, const int32_t* majorMap, const int32_t* minorMap, const int32_t* begin,
                 const int32_t* length, const int32_t* index, const double* value, int32_t room, int32_t* outBegin,
                 int32_t* outLength, int32_t* outIndex, double* outValue) {
  int32_t count = 0;
  for (int32_t j = 0; j < numMajor; ++j) {
    if (majorMap[j] < 0) continue;
    const int32_t first = count;
    for (int32_t k = begin[j]; k < begin[j] + length[j]; ++k) {
      const int32_t minor = minorMap[index[k]];
      if (minor < 0) continue;
      if (count < room) {
        outIndex[count] = minor;
        outValue[count] = value[k];
      }
      ++count;
    }
    outBegin[majorMap[j]] = std::min(first, room);
    outLength[majorMap[j]] = std::min(count, room) - std::min(first, room);
  }
  return count;
}

void reduceRows(Model* reduced, const Model* in, const Presolver* p) {
  for (int32_t i = 0; i < in->numRow; ++i) {
    const int32_t row = p->rowMap[i];
    if (row < 0) continue;
    reduced->rhs[row] = p->rhs[i];
    reduced->rowSense[row] = p->rowSense[i];
    // A row that has lost a side has no width any more.
    if (in->range != nullptr) reduced->range[row] = p->rowSense[i] == 'R' ? in->range[i] : 0.0;
  }
}

void reduceColumns(Model* reduced, const Model* in, const Presolver* p) {
  for (int32_t j = 0; j < in->numCol; ++j) {
    const int32_t col = p->colMap[j];
    if (col < 0) continue;
    reduced->obj[col] = p->obj[j];
    reduced->lower[col] = p->lower[j];
    reduced->upper[col] = p->upper[j];
    if (reduced->typeModel == IPM_MODEL_QP) reduced->quadDiag[col] = in->quadDiag[j];
  }
}

void reduceMatrix(Env* env, Model* reduced, const Model* in, const Presolver* p) {
  const int32_t count =
      compress(in->numCol, p->colMap, p->rowMap, p->colBegin, p->colLength, p->rowIndex, p->matValue, reduced->numCoef,
               reduced->colBegin, reduced->colLength, reduced->rowIndex, reduced->matValue);
  reduced->colBegin[reduced->numCol] = reduced->numCoef;
  if (count != reduced->numCoef)
    logText(env->log, QZ_LOG_DEBUG, L"Error reduceModel: nonzeros=%d should be %d", count, reduced->numCoef);
}

void reduceQuadratic(Env* env, Model* reduced, const Model* in, const Presolver* p) {
  int32_t count = 0;
  if (p->quadColBegin != nullptr)
    count = compress(in->numCol, p->colMap, p->colMap, p->quadColBegin, p->quadColLength, p->quadRowIndex,
                     p->quadMatValue, reduced->numQuadCoef, reduced->quadColBegin, reduced->quadColLength,
                     reduced->quadRowIndex, reduced->quadMatValue);
  reduced->quadColBegin[reduced->numCol] = reduced->numQuadCoef;
  if (count != reduced->numQuadCoef)
    logText(env->log, QZ_LOG_DEBUG, L"Error reduceModel: quadratic nonzeros=%d should be %d", count,
            reduced->numQuadCoef);
}

void reduceSolution(const Model* reduced, const IpmOption* options, const Presolver* p, const Solution* from,
                    Solution* to) {
  const Model* in = p->inModel;
  const double inf = options->infinityValue;
  for (int32_t i = 0; i < in->numRow; ++i) {
    const int32_t row = p->rowMap[i];
    if (row < 0) continue;
    to->dual[row] = from->dual[i];
    to->ineqnSlack[row] = from->ineqnSlack[i];
  }
  for (int32_t j = 0; j < in->numCol; ++j) {
    const int32_t col = p->colMap[j];
    if (col < 0) continue;
    to->primal[col] = from->primal[j];
    to->lowerSlack[col] = from->lowerSlack[j];
    to->lowerDual[col] = from->lowerDual[j];
    to->upperSlack[col] = from->upperSlack[j];
    to->upperDual[col] = from->upperDual[j];
    if (reduced->lower[col] > -inf && in->lower[j] <= -inf && to->lowerSlack[col] < options->tolPrimal) {
      to->lowerSlack[col] = std::max(to->primal[col] - reduced->lower[col], options->tolPrimal);
      to->lowerDual[col] = std::max(options->tolDual, to->lowerDual[col]);
    }
    if (reduced->upper[col] < inf && in->upper[j] >= inf && to->upperSlack[col] < options->tolPrimal) {
      to->upperSlack[col] = std::max(reduced->upper[col] - to->primal[col], options->tolPrimal);
      to->upperDual[col] = std::max(options->tolDual, to->upperDual[col]);
    }
  }
}

}  // namespace

void setMapping(Env*, const Model* model, Presolver* presolver) {
  numberKept(model->numRow, presolver->rowMap);
  numberKept(model->numCol, presolver->colMap);
}

void adjustBound(Env*, Model* model, Presolver* presolver) {
  std::swap_ranges(model->lower, model->lower + model->numCol, presolver->lower);
  std::swap_ranges(model->upper, model->upper + model->numCol, presolver->upper);
}

Model* NewReducedModel(Env* env, const Model* model, const Hub* hub, const Presolver* p) {
  Model* m = poolAllocateZero<Model>(env->pool, 1);
  if (m == nullptr) return nullptr;
  m->typeModel = model->typeModel;
  m->objSense = model->objSense;
  m->objConstant = model->objConstant;
  m->checkSolverBreak = model->checkSolverBreak;
  m->callerDataStruct = model->callerDataStruct;
  m->numRow = model->numRow - p->numRemovedRow;
  m->numCol = model->numCol - p->numRemovedCol;
  m->numCoef = model->numCoef - p->numRemovedElement;
  m->numQuadCoef = model->numQuadCoef - p->numRemovedQuadElement;
  const int64_t numColumn = int64_t{hub->numFreeVar} + hub->numRange + m->numCol;
  const int64_t numElement = numColumn + m->numRow + hub->numFreeElement + hub->numRange + m->numCoef;
  bool made = makeLinearArrays(env->pool, m, model->range != nullptr, numColumn, numElement);
  if (made && m->typeModel == IPM_MODEL_QP) made = makeQuadraticArrays(env->pool, m, numColumn);
  if (!made) FreeReducedModel(env, &m, nullptr);
  return m;
}

void FreeReducedModel(Env* env, Model** reduced, Model* target) {
  if (reduced == nullptr || *reduced == nullptr) return;
  Model& m = **reduced;
  if (target != nullptr) {
    target->status = m.status;
    target->objValue = m.objValue;
    target->numIter = m.numIter;
    target->primalInfeas = m.primalInfeas;
    target->dualInfeas = m.dualInfeas;
    target->boundInfeas = m.boundInfeas;
    target->dualityGap = m.dualityGap;
    target->complementarity = m.complementarity;
  }
  QzPool* pool = env->pool;
  for (double** array : {&m.matValue, &m.quadDiag, &m.quadMatValue, &m.obj, &m.rhs, &m.range, &m.lower, &m.upper,
                         &m.solPrimal, &m.solDual, &m.reducedCost, &m.rowActivity})
    poolFree(pool, *array);
  for (int32_t** array : {&m.colBegin, &m.colLength, &m.rowIndex, &m.quadColBegin, &m.quadColLength, &m.quadRowIndex})
    poolFree(pool, *array);
  poolFree(pool, m.rowSense);
  poolFree(pool, m.relaxColBound);
  poolFree(pool, *reduced);
}

void reduceModel(Env* env, Model* reduced, const IpmOption* options, const Presolver* presolver,
                 const Solution* solutionIn, Solution* solutionOut) {
  const Model* in = presolver->inModel;
  reduceRows(reduced, in, presolver);
  reduceColumns(reduced, in, presolver);
  reduceMatrix(env, reduced, in, presolver);
  if (reduced->typeModel == IPM_MODEL_QP) reduceQuadratic(env, reduced, in, presolver);
  if (solutionIn != nullptr && solutionOut != nullptr)
    reduceSolution(reduced, options, presolver, solutionIn, solutionOut);
}

}  // namespace qz
