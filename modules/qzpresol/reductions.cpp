#include "reductions.h"

#include "doubleton_equations.h"
#include "dual_fixing.h"
#include "elementary_steps.h"
#include "row_activities.h"
#include "settled_columns.h"
#include "singleton_columns.h"
#include "singleton_rows.h"

namespace qzpresol {

namespace {

constexpr LineReduction kRowReductions[] = {
    {kLight, examineEmptyRow},
    {kLight, examineSingletonRow},
    {kLight, examineActivity},
    {kModerate, examineDoubletonEquation},
};

constexpr LineReduction kColumnReductions[] = {
    {kLight, examineFixedColumn},
    {kLight, examineEmptyColumn},
    {kModerate, examineDualFixing},
    {kModerate, examineSingletonColumn},
};

// In the order of ReductionKind.
constexpr const wchar_t* kNames[] = {
    L"empty rows",    L"singleton rows",       L"redundant rows",    L"forcing rows",        L"fixed columns",
    L"empty columns", L"dually fixed columns", L"singleton columns", L"doubleton equations",
};
static_assert(std::size(kNames) == kNumReduction);

// In the order of UndoKind.
constexpr Undo kUndo[] = {
    undoRedundantRow, undoFixedColumn, undoSingletonRow,      undoForcingRow,
    undoOpenColumn,   undoSlackColumn, undoDoubletonEquation,
};
static_assert(std::size(kUndo) == static_cast<size_t>(UndoKind::kCount));

}  // namespace

std::span<const LineReduction> rowReductions() {
  return kRowReductions;
}

std::span<const LineReduction> columnReductions() {
  return kColumnReductions;
}

std::span<const PassReduction> passReductions() {
  return {};
}

Undo undoOf(UndoKind kind) {
  return kUndo[static_cast<int32_t>(kind)];
}

const wchar_t* nameOf(ReductionKind kind) {
  return kNames[static_cast<int32_t>(kind)];
}

}  // namespace qzpresol
