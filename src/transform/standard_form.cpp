#include "transform/standard_form.h"

#include <limits>

#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

int32_t countSense(const Model* model, char sense) {
  int32_t count = 0;
  for (int32_t i = 0; i < model->numRow; ++i) count += model->rowSense[i] == sense ? 1 : 0;
  return count;
}

// Lists the range rows, ascending.
int32_t listRangeRows(Env* env, const Model* model, int32_t declared, PoolArray<int32_t>& list) {
  if (declared <= 0) return QZ_STATUS_OK;
  const int32_t status = list.allocate(env->pool, declared);
  if (status != QZ_STATUS_OK) return status;
  const int32_t count = countSense(model, 'R');
  if (count != declared) {
    logText(env->log, QZ_LOG_ERROR, L"Input model with numRange=%d, however real number of range constraint is %d",
            declared, count);
    return QZ_STATUS_FAILED;
  }
  int32_t next = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (model->rowSense[i] == 'R') list[next++] = i;
  }
  return QZ_STATUS_OK;
}

// Negates the elements of all L rows.
void negateLessRows(Model* model) {
  for (int32_t k = 0; k < model->numCoef; ++k) {
    if (model->rowSense[model->rowIndex[k]] == 'L') model->matValue[k] = -model->matValue[k];
  }
}

// Turns the L rows into G rows and lists them, ascending.
int32_t turnLessRows(Env* env, Model* model, int32_t declared, PoolArray<int32_t>& list) {
  if (declared <= 0) return QZ_STATUS_OK;
  const int32_t status = list.allocate(env->pool, declared);
  if (status != QZ_STATUS_OK) return status;
  negateLessRows(model);
  int32_t count = 0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (model->rowSense[i] != 'L') continue;
    model->rowSense[i] = 'G';
    model->rhs[i] = -model->rhs[i];
    if (count < declared) list[count] = i;
    ++count;
  }
  if (count != declared) {
    logText(env->log, QZ_LOG_ERROR, L"Input model with numLcont=%d, however real number of L constraint is %d",
            declared, count);
    return QZ_STATUS_FAILED;
  }
  return QZ_STATUS_OK;
}

// Writes the slack columns behind the model's columns. A range row without a range array has width 0.
void appendRangeSlacks(Model* model, Hub* hub, const PoolArray<int32_t>& rangeRows) {
  const bool alternate = hub->altLower != nullptr && hub->altUpper != nullptr;
  hub->rangeCoefBegin = model->numCoef;
  hub->rangeColBegin = model->numCol;
  for (int32_t k = 0; k < hub->numRange; ++k) {
    const int32_t row = rangeRows[k];
    const int32_t col = model->numCol + k;
    const int32_t element = model->numCoef + k;
    const double width = model->range == nullptr ? 0.0 : model->range[row];
    model->obj[col] = 0.0;
    model->lower[col] = 0.0;
    model->upper[col] = width;
    if (alternate) {
      hub->altLower[col] = 0.0;
      hub->altUpper[col] = width;
    }
    model->colBegin[col] = element;
    model->colLength[col] = 1;
    model->rowIndex[element] = row;
    model->matValue[element] = 1.0;
    model->rowSense[row] = 'E';
  }
}

// Gives columns from `first` on to numCol empty entries in the quadratic arrays.
void appendQuadColumns(Model* model, int32_t first) {
  for (int32_t col = first; col < model->numCol; ++col) {
    model->quadDiag[col] = 0.0;
    model->quadColBegin[col] = model->numQuadCoef;
    model->quadColLength[col] = 0;
  }
  model->quadColBegin[model->numCol] = model->numQuadCoef;
}

// Free in the strict sense that makes a column split.
bool isStrictlyFree(const Model* model, int32_t j) {
  return model->lower[j] < -kInfinity && model->upper[j] > kInfinity;
}

}  // namespace

int32_t addSlack(Env* env, Model* model, Hub* hub) {
  hub->numRowSaved = model->numRow;
  hub->numColSaved = model->numCol;
  hub->numCoefSaved = model->numCoef;
  hub->numQuadCoefSaved = model->numQuadCoef;

  PoolArray<int32_t> rangeRows;
  PoolArray<int32_t> lessRows;
  int32_t status = listRangeRows(env, model, hub->numRange, rangeRows);
  if (status != QZ_STATUS_OK) return status;
  status = turnLessRows(env, model, hub->numLcont, lessRows);
  if (status != QZ_STATUS_OK) return status;

  if (hub->numRange > 0) appendRangeSlacks(model, hub, rangeRows);
  model->numCol += hub->numRange;
  model->numCoef += hub->numRange;
  model->colBegin[model->numCol] = model->numCoef;
  if (model->typeModel == IPM_MODEL_QP && hub->numRange > 0) appendQuadColumns(model, hub->numColSaved);

  hub->rangeRowList = rangeRows.release();
  hub->lcontRowList = lessRows.release();
  return QZ_STATUS_OK;
}

int32_t removeSlack(Env*, Model* model, Hub* hub, Solution* solution) {
  KeptSolution* kept = hub->keptSolution;
  model->numCol = hub->numColSaved;
  model->numCoef = hub->numCoefSaved;
  if (hub->numLcont > 0) {
    for (int32_t k = 0; k < hub->numLcont; ++k) {
      const int32_t row = hub->lcontRowList[k];
      model->rowSense[row] = 'L';
      model->rhs[row] = -model->rhs[row];
      solution->dual[row] = -solution->dual[row];
      if (kept != nullptr) kept->dualDelta[row] = -kept->dualDelta[row];
    }
    negateLessRows(model);
  }
  for (int32_t k = 0; k < hub->numRange; ++k) {
    const int32_t row = hub->rangeRowList[k];
    const int32_t col = hub->numColSaved + k;
    model->rowSense[row] = 'R';
    solution->ineqnSlack[row] = solution->primal[col];
    if (kept != nullptr) kept->ineqnSlackDelta[row] = kept->primalDelta[col];
  }
  return QZ_STATUS_OK;
}

int32_t splitFreeVar(Env* env, Model* model, Hub* hub) {
  const int32_t declared = hub->numFreeVar;
  if (declared < 1) return QZ_STATUS_OK;
  PoolArray<int32_t> plus;
  PoolArray<int32_t> minus;
  int32_t status = plus.allocate(env->pool, declared);
  if (status != QZ_STATUS_OK) return status;
  status = minus.allocate(env->pool, declared);
  if (status != QZ_STATUS_OK) return status;

  int32_t count = 0;
  int32_t numElement = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (!isStrictlyFree(model, j)) continue;
    if (count < declared) plus[count] = j;
    ++count;
    numElement += model->colLength[j];
  }
  if (count != declared) {
    logText(env->log, QZ_LOG_ERROR,
            L"splitFreeVar: Input model with numFreeVar=%d, however real number of free var is %d", declared, count);
    return QZ_STATUS_FAILED;
  }
  // Before anything is written: the room behind the matrix was made for the declared number.
  if (numElement != hub->numFreeElement) {
    logText(env->log, QZ_LOG_ERROR,
            L"splitFreeVar: Input model with numFreeElement=%d, however real number of free var is %d",
            hub->numFreeElement, numElement);
    return QZ_STATUS_FAILED;
  }

  int32_t element = model->numCoef;
  for (int32_t k = 0; k < declared; ++k) {
    const int32_t col = plus[k];
    const int32_t partner = model->numCol + k;
    const int32_t first = model->colBegin[col];
    const int32_t length = model->colLength[col];
    minus[k] = partner;
    model->obj[partner] = -model->obj[col];
    model->lower[col] = model->lower[partner] = 0.0;
    model->upper[col] = model->upper[partner] = kLargest;
    model->colBegin[partner] = element;
    model->colLength[partner] = length;
    for (int32_t e = first; e < first + length; ++e, ++element) {
      model->rowIndex[element] = model->rowIndex[e];
      model->matValue[element] = -model->matValue[e];
    }
  }
  model->numCol += declared;
  model->numCoef = element;
  model->colBegin[model->numCol] = element;
  hub->colPlus = plus.release();
  hub->colMinus = minus.release();
  return QZ_STATUS_OK;
}

int32_t mergeFreeVar(Env*, Model* model, Hub* hub, Solution* solution) {
  for (int32_t k = 0; k < hub->numFreeVar; ++k) {
    const int32_t col = hub->colPlus[k];
    solution->primal[col] -= solution->primal[hub->colMinus[k]];
    model->lower[col] = -kLargest;
    model->upper[col] = kLargest;
    solution->lowerSlack[col] = 0.0;
    solution->upperSlack[col] = 0.0;
    solution->lowerDual[col] = 0.0;
    solution->upperDual[col] = 0.0;
  }
  model->numCol -= hub->numFreeVar;
  model->numCoef -= hub->numFreeElement;
  return QZ_STATUS_OK;
}

int32_t getLostSlack(Env*, Model* model, IpmOption* options, Hub* hub, Solution* solution) {
  const double infinity = options->infinityValue;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->lower[j] > -infinity && -infinity > hub->altLower[j])
      solution->lowerSlack[j] = solution->primal[j] - model->lower[j];
    if (infinity > model->upper[j] && hub->altUpper[j] > infinity)
      solution->upperSlack[j] = model->upper[j] - solution->primal[j];
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
