// The update of the ancestors, right-looking: the rows below a supernode fall into runs, one for each supernode that
// owns them. Columns of the update that belong to a run are subtracted from that target's panel at the positions that
// the rows have in its list.
//
// A supernode of few columns multiplies and subtracts in one pass; for wider ones the lower triangle of the update is
// formed by BLAS 3 first.
#include "sparse/ldl_factor_update.h"

#include <algorithm>

#include "dense/blas.h"
#include "dense/kernels.h"

namespace qz {

namespace {

constexpr int32_t kThinWidth = 4;  // widest supernode that is updated in one pass
constexpr int32_t kStrip = 96;     // columns of a strip of the update matrix
// A target's row list of up to so many times the rows to be found is turned into a map, a longer one is searched: a
// search misses the cache and the branch predictor, the map is written in order.
constexpr int32_t kMapDensity = 32;

struct Source {
  int32_t width;
  int32_t height;
  int32_t below;          // height - width
  const int32_t* rows;    // the rows below
  const double* lower;    // L of these rows, leading dimension height
  const double* product;  // L D of these rows, leading dimension height
};

// Columns [begin, end) of the update go to one target. Rows [begin, tail) stand at `relative` in it, rows [tail, below)
// one behind the other, row i at i + tailShift.
struct Run {
  int32_t begin;
  int32_t end;
  int32_t tail;
  int32_t tailShift;
  int32_t firstColumn;
  double* values;
  int64_t leading;
};

// First place in an ascending list at or behind `from` that holds `row`, which is known to be there: doubling steps,
// then bisection. Mostly it is the next one.
int32_t findRow(const int32_t* list, int32_t length, int32_t from, int32_t row) {
  if (list[from] >= row) return from;
  int32_t step = 1;
  int32_t low = from;
  while (low + step < length && list[low + step] < row) {
    low += step;
    step *= 2;
  }
  const int32_t high = std::min(low + step, length - 1);
  return static_cast<int32_t>(std::lower_bound(list + low + 1, list + high, row) - list);
}

// The run that begins at row number `begin`, with the relative positions of the rows from there on. The rows are a
// subset of the ascending list of the target: where the first and the last of them are as far apart as in the list, so
// are all between, and no more need be looked up.
Run openRun(const SymbolicFactor* symbolic, const Source& source, int32_t begin, int32_t* position, int32_t* relative) {
  const int32_t target = symbolic->colToSn[source.rows[begin]];
  const int32_t firstColumn = symbolic->snStart[target];
  const int32_t lastColumn = symbolic->snStart[target + 1];
  const int32_t* list = symbolic->lIndex + symbolic->lIndexBegin[target];
  const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[target + 1] - symbolic->lIndexBegin[target]);
  const int32_t last = source.below - 1;
  int32_t end = begin;
  for (; end < source.below && source.rows[end] < lastColumn; ++end) relative[end] = source.rows[end] - firstColumn;
  int32_t place = lastColumn - firstColumn;
  int32_t tail = end;
  const bool useMap = static_cast<int64_t>(source.below - end) * kMapDensity >= height;
  if (useMap) {
    for (int32_t i = place; i < height; ++i) position[list[i]] = i;
  }
  for (; tail < source.below; ++tail) {
    place = useMap ? position[source.rows[tail]] : findRow(list, height, place, source.rows[tail]);
    if (list[place + last - tail] == source.rows[last]) break;
    relative[tail] = place++;
  }
  if (tail == source.below) place = relative[last] + 1;
  while (tail > begin && relative[tail - 1] + 1 == place) {
    --tail;
    --place;
  }
  return {begin, end, tail, place - tail, firstColumn, symbolic->lValues + symbolic->lValueBegin[target], height};
}

// The column of the target that update column j goes to.
double* targetColumn(const Run& run, const Source& source, int32_t j) {
  return run.values + (source.rows[j] - run.firstColumn) * run.leading;
}

// target[relative[i]] -= sum over k of L(i, k) (L D)(j, k), in one pass.
template <int32_t width>
void subtractThin(const Source& source, const Run& run, const int32_t* __restrict__ relative) {
  const int64_t leading = source.height;
  for (int32_t j = run.begin; j < run.end; ++j) {
    double factor[width];
    for (int32_t k = 0; k < width; ++k) factor[k] = source.product[k * leading + j];
    double* __restrict__ target = targetColumn(run, source, j);
    const double* __restrict__ lower = source.lower;
    const auto entry = [&](int32_t i) {
      double sum = lower[i] * factor[0];
      for (int32_t k = 1; k < width; ++k) sum += lower[k * leading + i] * factor[k];
      return sum;
    };
    int32_t i = j;
    for (; i < run.tail; ++i) target[relative[i]] -= entry(i);
    double* __restrict__ shifted = target + run.tailShift;
    for (; i < source.below; ++i) shifted[i] -= entry(i);
  }
}

void subtractThinRun(const Source& source, const Run& run, const int32_t* relative) {
  switch (source.width) {
    case 1:
      return subtractThin<1>(source, run, relative);
    case 2:
      return subtractThin<2>(source, run, relative);
    case 3:
      return subtractThin<3>(source, run, relative);
    default:
      return subtractThin<4>(source, run, relative);
  }
}

// The lower triangle of L (L D)' of the rows below, leading dimension `below`.
void formUpdate(const Source& source, const NumericFactor* numeric, double* update) {
  const double one = 1.0;
  const double zero = 0.0;
  const int32_t leading = source.below;
  for (int32_t j = 0; j < source.below; j += kStrip) {
    const int32_t columns = std::min(kStrip, source.below - j);
    double* diagonal = update + j + static_cast<int64_t>(j) * leading;
    my_dsyrk2("L", &columns, &source.width, &one, source.lower + j, &source.height, source.product + j, &source.height,
              &zero, diagonal, &leading, numeric->packA, numeric->packB);
    const int32_t next = j + columns;
    if (next < source.below) {
      blas::dgemm("N", "T", source.below - next, columns, source.width, 1.0, source.lower + next, source.height,
                  source.product + j, source.height, 0.0, diagonal + columns, leading);
    }
  }
}

void subtractRun(const Source& source, const Run& run, const int32_t* __restrict__ relative, const double* update) {
  for (int32_t j = run.begin; j < run.end; ++j) {
    const double* __restrict__ column = update + static_cast<int64_t>(j) * source.below;
    double* __restrict__ target = targetColumn(run, source, j);
    int32_t i = j;
    for (; i < run.tail; ++i) target[relative[i]] -= column[i];
    double* __restrict__ shifted = target + run.tailShift;
    for (; i < source.below; ++i) shifted[i] -= column[i];
  }
}

}  // namespace

void touchSupernode(const SymbolicFactor* symbolic, int32_t supernode, uint8_t* touched) {
  if (touched[supernode] != 0) return;
  touched[supernode] = 1;
  std::fill(symbolic->lValues + symbolic->lValueBegin[supernode],
            symbolic->lValues + symbolic->lValueBegin[supernode + 1], 0.0);
}

void updateAncestors(const SymbolicFactor* symbolic, const NumericFactor* numeric, int32_t s,
                     const LDLSweepScratch& scratch) {
  const int32_t width = symbolic->snStart[s + 1] - symbolic->snStart[s];
  const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
  if (height == width) return;
  const Source source{width,
                      height,
                      height - width,
                      symbolic->lIndex + symbolic->lIndexBegin[s] + width,
                      symbolic->lValues + symbolic->lValueBegin[s] + width,
                      scratch.product + width};
  const bool thin = width <= kThinWidth;
  if (!thin) formUpdate(source, numeric, scratch.update);
  for (int32_t begin = 0; begin < source.below;) {
    touchSupernode(symbolic, symbolic->colToSn[source.rows[begin]], scratch.touched);
    const Run run = openRun(symbolic, source, begin, scratch.position, scratch.relative);
    if (thin) {
      subtractThinRun(source, run, scratch.relative);
    } else {
      subtractRun(source, run, scratch.relative, scratch.update);
    }
    begin = run.end;
  }
}

}  // namespace qz
