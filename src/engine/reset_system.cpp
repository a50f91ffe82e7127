#include "engine/reset_system.h"

#include <limits>

#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// A transposed matrix in arrays of its own.
struct Mirror {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> length;
  PoolArray<int32_t> index;
  PoolArray<double> value;

  int32_t create(QzPool* pool, int32_t numMajor, int32_t numMinor, int32_t numElement, const int32_t* fromBegin,
                 const int32_t* fromLength, const int32_t* fromIndex, const double* fromValue) {
    if (begin.allocate(pool, int64_t{numMinor} + 1) != QZ_STATUS_OK ||
        length.allocate(pool, numMinor) != QZ_STATUS_OK || index.allocate(pool, numElement) != QZ_STATUS_OK ||
        value.allocate(pool, numElement) != QZ_STATUS_OK)
      return QZ_STATUS_OUT_OF_MEMORY;
    toggleMatrixWithLength(numMajor, numMinor, nullptr, fromBegin, fromLength, fromIndex, fromValue, begin.get(),
                           length.get(), index.get(), value.get());
    return QZ_STATUS_OK;
  }
};

// Writes the matrix front to back.
struct Writer {
  ResetSystem* system;
  int32_t at = 0;

  void beginColumn(int32_t place) const { system->begin[place] = at; }
  void put(int32_t index, double value) {
    system->index[at] = index;
    system->value[at++] = value;
  }
};

int32_t allocateSystem(const Ipm* ipm, const ResetPartition& partition, ResetSystem* system) {
  QzPool* pool = ipm->env->pool;
  const int64_t numDim = int64_t{partition.numColKept} + partition.numRowKept;
  const int64_t capacity = numDim + 2 * (int64_t{ipm->numCoef} + ipm->numQuadCoef);
  if (capacity > std::numeric_limits<int32_t>::max()) return QZ_STATUS_OUT_OF_MEMORY;
  if (system->begin.allocate(pool, numDim + 1) != QZ_STATUS_OK ||
      system->index.allocate(pool, capacity) != QZ_STATUS_OK ||
      system->value.allocate(pool, capacity) != QZ_STATUS_OK || system->rhs.allocate(pool, numDim) != QZ_STATUS_OK ||
      system->start.allocate(pool, numDim) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  system->numDim = static_cast<int32_t>(numDim);
  return QZ_STATUS_OK;
}

void setVectors(const Ipm* ipm, const ResetPartition& partition, ResetSystem* system) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = partition.colState[j];
    if (place < 0) continue;
    system->rhs[place] = ipm->obj[j];
    system->start[place] = ipm->primal[j];
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (partition.rowState[i] < 0) continue;
    const int32_t place = partition.numColKept + partition.rowState[i];
    system->rhs[place] = ipm->rhs[i];
    system->start[place] = ipm->dual[i];
  }
}

// Calls visit(place, value) for the elements of one major whose minor is kept by `state`.
template <class Visit>
void forEachKept(const int32_t* state, int32_t begin, int32_t length, const int32_t* index, const double* value,
                 Visit visit) {
  for (int32_t k = begin, end = begin + length; k < end; ++k)
    if (state[index[k]] >= 0) visit(state[index[k]], value[k]);
}

class Builder {
 public:
  Builder(const Ipm* ipm, const ResetPartition& partition, ResetSystem* system)
      : ipm_(ipm), partition_(partition), system_(system), writer_{system} {}

  int32_t build() {
    QzPool* pool = ipm_->env->pool;
    offDiagonal_ = ipm_->typeModel == IPM_MODEL_QP && ipm_->numQuadCoef > 0;
    if (offDiagonal_) {
      const int32_t status = quadMirror_.create(pool, ipm_->numCol, ipm_->numCol, ipm_->numQuadCoef, ipm_->quadColBegin,
                                                ipm_->quadColLength, ipm_->quadRowIndex, ipm_->quadMatValue);
      if (status != QZ_STATUS_OK) return status;
    }
    const int32_t status = rows_.create(pool, ipm_->numCol, ipm_->numRow, ipm_->numCoef, ipm_->colBegin,
                                        ipm_->colLength, ipm_->rowIndex, ipm_->matValue);
    if (status != QZ_STATUS_OK) return status;
    for (int32_t j = 0; j < ipm_->numCol; ++j) {
      if (partition_.colState[j] < 0)
        foldIn(j);
      else
        writeColumn(j);
    }
    for (int32_t i = 0; i < ipm_->numRow; ++i)
      if (partition_.rowState[i] >= 0) writeRow(i);
    writer_.beginColumn(system_->numDim);
    return QZ_STATUS_OK;
  }

 private:
  template <class Visit>
  void forEachRowOf(int32_t j, Visit visit) const {
    forEachKept(partition_.rowState.get(), ipm_->colBegin[j], ipm_->colLength[j], ipm_->rowIndex, ipm_->matValue,
                visit);
  }
  template <class Visit>
  void forEachAbove(int32_t j, Visit visit) const {
    if (!offDiagonal_) return;
    forEachKept(partition_.colState.get(), quadMirror_.begin[j], quadMirror_.length[j], quadMirror_.index.get(),
                quadMirror_.value.get(), visit);
  }
  template <class Visit>
  void forEachBelow(int32_t j, Visit visit) const {
    if (!offDiagonal_) return;
    forEachKept(partition_.colState.get(), ipm_->quadColBegin[j], ipm_->quadColLength[j], ipm_->quadRowIndex,
                ipm_->quadMatValue, visit);
  }

  // A fixed column goes to the right-hand sides.
  void foldIn(int32_t j) {
    const double v = fixedValue(ipm_, partition_, j);
    double* colRhs = system_->rhs.get();
    double* rowRhs = colRhs + partition_.numColKept;
    forEachRowOf(j, [=](int32_t row, double a) { rowRhs[row] -= a * v; });
    const auto addQuadratic = [=](int32_t col, double q) { colRhs[col] += q * v; };
    forEachAbove(j, addQuadratic);
    forEachBelow(j, addQuadratic);
  }

  void writeColumn(int32_t j) {
    const int32_t place = partition_.colState[j];
    const auto putNegated = [this](int32_t col, double q) { writer_.put(col, -q); };
    writer_.beginColumn(place);
    forEachAbove(j, putNegated);
    writer_.put(place, ipm_->typeModel == IPM_MODEL_QP ? -ipm_->quadDiag[j] : 0.0);
    forEachBelow(j, putNegated);
    forEachRowOf(j, [this](int32_t row, double a) { writer_.put(partition_.numColKept + row, a); });
  }

  void writeRow(int32_t i) {
    const int32_t place = partition_.numColKept + partition_.rowState[i];
    writer_.beginColumn(place);
    forEachKept(partition_.colState.get(), rows_.begin[i], rows_.length[i], rows_.index.get(), rows_.value.get(),
                [this](int32_t col, double a) { writer_.put(col, a); });
    writer_.put(place, 0.0);
  }

  const Ipm* ipm_;
  const ResetPartition& partition_;
  ResetSystem* system_;
  Writer writer_;
  bool offDiagonal_ = false;
  Mirror quadMirror_;
  Mirror rows_;
};

}  // namespace

int32_t makeResetSystem(const Ipm* ipm, const ResetPartition& partition, ResetSystem* system) {
  const int32_t status = allocateSystem(ipm, partition, system);
  if (status != QZ_STATUS_OK) return status;
  setVectors(ipm, partition, system);
  return Builder(ipm, partition, system).build();
}

}  // namespace qz
