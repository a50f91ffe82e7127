#include "store.h"

#include <algorithm>

namespace qzpresol {

namespace {

double clipInfinity(double value) {
  return std::clamp(value, -kInfinity, kInfinity);
}

// Adds what a term a * x can reach towards one end, with x at `bound` there.
void addTerm(ActivityEnd& end, double a, double bound, double& magnitude) {
  if (infinite(bound)) {
    ++end.infinite;
    return;
  }
  const double term = a * bound;
  end.finite += term;
  magnitude = std::max(magnitude, std::fabs(term));
}

}  // namespace

int32_t Store::allocate() {
  const bool all =
      rowLower.allocate(pool, numRow) == QZ_STATUS_OK && rowUpper.allocate(pool, numRow) == QZ_STATUS_OK &&
      rowSize.allocateZero(pool, numRow) == QZ_STATUS_OK && lower.allocate(pool, numCol) == QZ_STATUS_OK &&
      upper.allocate(pool, numCol) == QZ_STATUS_OK && cost.allocate(pool, numCol) == QZ_STATUS_OK &&
      rowAlive.allocate(pool, numRow) == QZ_STATUS_OK && columnAlive.allocate(pool, numCol) == QZ_STATUS_OK &&
      rowCount.allocateZero(pool, numRow) == QZ_STATUS_OK && columnCount.allocateZero(pool, numCol) == QZ_STATUS_OK &&
      changedRows.create(pool, numRow) == QZ_STATUS_OK && changedColumns.create(pool, numCol) == QZ_STATUS_OK;
  return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
}

int32_t Store::copyMatrix(const LpRecord& record) {
  for (int32_t j = 0; j < numCol; ++j) {
    for (int64_t k = record.colBegin[j], end = k + record.colLength[j]; k < end; ++k) {
      if (std::fabs(record.matValue[k]) < kSmallest) continue;
      ++rowCount[record.rowIndex[k]];
      ++columnCount[j];
    }
    liveEntries += columnCount[j];
  }
  if (byRow.create(pool, numRow, rowCount.get()) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (byColumn.create(pool, numCol, columnCount.get()) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t j = 0; j < numCol; ++j) {
    for (int64_t k = record.colBegin[j], end = k + record.colLength[j]; k < end; ++k) {
      const double value = record.matValue[k];
      if (std::fabs(value) < kSmallest) continue;
      if (byRow.append(record.rowIndex[k], j, value) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
      if (byColumn.append(j, record.rowIndex[k], value) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    }
  }
  return QZ_STATUS_OK;
}

int32_t Store::load(const LpRecord& record, const double* rowLowerIn, const double* rowUpperIn) {
  numRow = liveRows = record.numRow;
  numCol = liveColumns = record.numCol;
  int32_t status = allocate();
  if (status == QZ_STATUS_OK) status = copyMatrix(record);
  if (status != QZ_STATUS_OK) return status;
  offset.add(record.objSense * record.objConstant);
  for (int32_t j = 0; j < numCol; ++j) {
    lower[j] = clipInfinity(record.lower[j]);
    upper[j] = clipInfinity(record.upper[j]);
    cost[j] = record.objSense * record.obj[j];
    columnAlive[j] = 1;
    changedColumns.push(j);
  }
  for (int32_t i = 0; i < numRow; ++i) {
    rowLower[i] = clipInfinity(rowLowerIn[i]);
    rowUpper[i] = clipInfinity(rowUpperIn[i]);
    if (rowUpper[i] - rowLower[i] <= kFixedWidth) rowLower[i] = rowUpper[i];
    for (const double side : {rowLower[i], rowUpper[i]})
      if (!infinite(side)) rowSize[i] = std::max(rowSize[i], std::fabs(side));
    rowAlive[i] = 1;
    changedRows.push(i);
  }
  return QZ_STATUS_OK;
}

int32_t Store::onlyInRow(int32_t i, double& value) const {
  int32_t only = -1;
  eachInRow(i, [&](int32_t j, double a) {
    only = j;
    value = a;
  });
  return only;
}

int32_t Store::onlyInColumn(int32_t j, double& value) const {
  int32_t only = -1;
  eachInColumn(j, [&](int32_t i, double a) {
    only = i;
    value = a;
  });
  return only;
}

RowActivity Store::activity(int32_t i) const {
  RowActivity result{};
  eachInRow(i, [&](int32_t j, double a) {
    addTerm(result.low, a, a > 0.0 ? lower[j] : upper[j], result.magnitude);
    addTerm(result.high, a, a > 0.0 ? upper[j] : lower[j], result.magnitude);
  });
  return result;
}

// Row i has lost an entry.
void Store::forgetInRow(int32_t i) {
  --rowCount[i];
  --liveEntries;
  if (int64_t{rowCount[i]} * 2 < byRow.length(i)) byRow.compact(i, columnAlive.get());
  changedRows.push(i);
}

void Store::forgetInColumn(int32_t j) {
  --columnCount[j];
  --liveEntries;
  if (int64_t{columnCount[j]} * 2 < byColumn.length(j)) byColumn.compact(j, rowAlive.get());
  changedColumns.push(j);
}

void Store::removeRow(int32_t i) {
  rowAlive[i] = 0;
  --liveRows;
  eachInRow(i, [&](int32_t j, double) { forgetInColumn(j); });
}

void Store::removeColumn(int32_t j) {
  columnAlive[j] = 0;
  --liveColumns;
  eachInColumn(j, [&](int32_t i, double) { forgetInRow(i); });
}

void Store::fixColumn(int32_t j, double value) {
  offset.add(cost[j] * value);
  if (value != 0.0) eachInColumn(j, [&](int32_t i, double a) { shiftSides(i, -a * value); });
  removeColumn(j);
}

void Store::setBounds(int32_t j, double newLower, double newUpper) {
  if (lower[j] == newLower && upper[j] == newUpper) return;
  lower[j] = newLower;
  upper[j] = newUpper;
  changedColumns.push(j);
  eachInColumn(j, [&](int32_t i, double) { changedRows.push(i); });
}

void Store::setSides(int32_t i, double newLower, double newUpper) {
  if (rowLower[i] == newLower && rowUpper[i] == newUpper) return;
  const bool otherKind = infinite(rowLower[i]) != infinite(newLower) || infinite(rowUpper[i]) != infinite(newUpper);
  rowLower[i] = newLower;
  rowUpper[i] = newUpper;
  changedRows.push(i);
  if (otherKind) eachInRow(i, [&](int32_t j, double) { changedColumns.push(j); });
}

void Store::setCost(int32_t j, double newCost) {
  cost[j] = newCost;
  changedColumns.push(j);
}

void Store::shiftSides(int32_t i, double change) {
  const bool equation = isEquation(i);
  if (!infinite(rowLower[i])) rowLower[i] += change;
  if (!infinite(rowUpper[i])) rowUpper[i] = equation ? rowLower[i] : rowUpper[i] + change;
  changedRows.push(i);
}

int32_t Store::changeEntry(int32_t i, int32_t j, double newValue) {
  const int32_t inRow = byRow.find(i, j);
  const int32_t inColumn = byColumn.find(j, i);
  work += byRow.length(i) + byColumn.length(j);
  changedRows.push(i);
  changedColumns.push(j);
  if (newValue == 0.0) {
    if (inRow < 0) return QZ_STATUS_OK;
    byRow.drop(i, inRow);
    byColumn.drop(j, inColumn);
    --rowCount[i];
    --columnCount[j];
    --liveEntries;
    return QZ_STATUS_OK;
  }
  if (inRow >= 0) {
    byRow.value(i)[inRow] = newValue;
    byColumn.value(j)[inColumn] = newValue;
    return QZ_STATUS_OK;
  }
  if (byRow.append(i, j, newValue) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (byColumn.append(j, i, newValue) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  ++rowCount[i];
  ++columnCount[j];
  ++liveEntries;
  return QZ_STATUS_OK;
}

}  // namespace qzpresol
