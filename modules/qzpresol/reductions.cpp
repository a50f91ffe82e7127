#include "reductions.h"

#include "dependent_equations.h"
#include "dominated_columns.h"
#include "doubleton_equations.h"
#include "dual_fixing.h"
#include "elementary_steps.h"
#include "free_substitution.h"
#include "parallel_columns.h"
#include "parallel_rows.h"
#include "row_activities.h"
#include "settled_columns.h"
#include "singleton_columns.h"
#include "singleton_rows.h"
#include "sparsification.h"

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

constexpr PassReduction kPassReductions[] = {
    {kLight, passParallelRows},        {kModerate, passDependentEquations}, {kModerate, passParallelColumns},
    {kModerate, passDominatedColumns}, {kModerate, passFreeSubstitution},   {kAll, passSparsification},
};

// In the order of ReductionKind.
constexpr const wchar_t* kNames[] = {
    L"empty rows",
    L"singleton rows",
    L"redundant rows",
    L"forcing rows",
    L"fixed columns",
    L"empty columns",
    L"dually fixed columns",
    L"singleton columns",
    L"doubleton equations",
    L"substituted columns",
    L"parallel rows",
    L"parallel columns",
    L"dominated parallel columns",
    L"dominated columns",
    L"weakly dominated columns",
    L"rows made sparser",
    L"dependent equations",
    L"rows made equations",
};
static_assert(std::size(kNames) == kNumReduction);

// In the order of UndoKind.
constexpr Undo kUndo[] = {
    undoRedundantRow, undoFixedColumn,  undoSingletonRow,      undoForcingRow,
    undoOpenColumn,   undoSlackColumn,  undoDoubletonEquation, undoFreeSubstitution,
    undoParallelRow,  undoMergedColumn, undoSparsification,    undoTightRow,
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
  return kPassReductions;
}

Undo undoOf(UndoKind kind) {
  return kUndo[static_cast<int32_t>(kind)];
}

const wchar_t* nameOf(ReductionKind kind) {
  return kNames[static_cast<int32_t>(kind)];
}

}  // namespace qzpresol
