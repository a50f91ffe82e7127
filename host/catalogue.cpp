#include "host/catalogue.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "host/format.h"
#include "qzipsolve/host.h"
#include "qzipsolve/messages.h"

namespace qzhost {

namespace {

constexpr auto kCatalogue = std::to_array<CatalogueEntry>({
    {QZ_MSG_OPTIMAL, QZ_LOG_NOTE, "Optimal solution found."},
    {QZ_MSG_OBJECTIVE, QZ_LOG_NOTE, "Objective value: %.12g"},
    {QZ_MSG_OUT_OF_MEMORY, QZ_LOG_ERROR, "The solve ended because memory ran out."},
    {QZ_MSG_DUAL_INFEASIBLE, QZ_LOG_NOTE, "The model is dual infeasible: its objective is unbounded."},
    {QZ_MSG_ITERATION_LIMIT, QZ_LOG_NOTE, "The iteration limit was reached."},
    {QZ_MSG_NEAR_OPTIMAL, QZ_LOG_NOTE, "Solved with reduced accuracy: not every measure met its tolerance."},
    {QZ_MSG_CPU_LIMIT, QZ_LOG_NOTE, "The limit on processor time was reached."},
    {QZ_MSG_REAL_LIMIT, QZ_LOG_NOTE, "The time limit was reached."},
    {QZ_MSG_FAILED, QZ_LOG_NOTE, "The solver failed: no answer that can be trusted was reached."},
    {QZ_MSG_PRIMAL_INFEASIBLE, QZ_LOG_NOTE, "The model is infeasible: no point meets all rows and bounds."},
    {QZ_MSG_BOTH_INFEASIBLE, QZ_LOG_NOTE, "The model is primal and dual infeasible."},
    {QZ_MSG_INTERRUPTED, QZ_LOG_WARNING, "The solve was interrupted."},
    {QZ_MSG_UNKNOWN_STATUS, QZ_LOG_NOTE, "The solve ended with an unknown status."},
    {QZ_MSG_THREADS_BEGIN, QZ_LOG_NOTE, "The linear algebra runs in parallel."},
    {QZ_MSG_STAGE_BEGIN, QZ_LOG_NOTE, "The interior-point method begins on a linear model."},
    {QZ_MSG_TABLE_HEADER, QZ_LOG_HEADER,
     " Iter  Complementarity  Duality gap  Primal infeas  Bound infeas  Dual infeas"},
    {QZ_MSG_TABLE_HEADER2, QZ_LOG_HEADER,
     "-----  ---------------  -----------  -------------  ------------  -----------"},
    {QZ_MSG_ITERATION, QZ_LOG_ITERATION, "%5d  %15.6e  %11.2e  %13.2e  %12.2e  %11.2e"},
    {QZ_MSG_STAGE_BEGIN2, QZ_LOG_NOTE, "Primal-dual predictor-corrector iterations follow."},
    {QZ_MSG_SOLVE_TIME, QZ_LOG_NOTE, "Time of the interior-point method: %.2f seconds"},
    {QZ_MSG_NO_PRESOLVER, QZ_LOG_ERROR, "The presolver module qzpresol can't be loaded."},
    {QZ_MSG_NO_PRESOLVE_OBJECT, QZ_LOG_ERROR, "The presolver module could not make its object."},
    {QZ_MSG_NO_SIMPLEX, QZ_LOG_ERROR, "The simplex module qzsimpx, which the crossover needs, can't be loaded."},
    {QZ_MSG_NO_SIMPLEX_OBJECT, QZ_LOG_ERROR, "The simplex module could not make its object."},
    {QZ_MSG_PRESOLVE_SETUP, QZ_LOG_ERROR, "The presolver module could not be set up for these options."},
    {QZ_MSG_MODE_CHECK, QZ_LOG_WARNING, "The option modeCheck is not 3; it has no effect."},
    {QZ_MSG_TIME_TYPE, QZ_LOG_WARNING, "The type of time is neither 0 nor 1; real time is measured."},
    {QZ_MSG_TOL_OPTIMALITY, QZ_LOG_ERROR, "The optimality tolerance %g is smaller than 1e-15."},
    {QZ_MSG_TOL_PRIMAL, QZ_LOG_ERROR, "The primal tolerance %g is smaller than 1e-15."},
    {QZ_MSG_TOL_DUAL, QZ_LOG_ERROR, "The dual tolerance %g is smaller than 1e-15."},
    {QZ_MSG_COUNT_CHECK, QZ_LOG_WARNING, "The option countCheck is not -1; it has no effect."},
    {QZ_MSG_THREADS, QZ_LOG_NOTE, "Number of threads: %d"},
    {QZ_MSG_THREAD_MODE, QZ_LOG_WARNING, "Thread mode 2 with more than one thread: answers may differ between runs."},
    {QZ_MSG_QUADRATIC_BEGIN, QZ_LOG_NOTE, "The interior-point method begins on a quadratic model."},
    {QZ_MSG_NOT_CONVEX_MIN, QZ_LOG_NOTE, "The quadratic objective to minimise is not convex."},
    {QZ_MSG_NOT_CONVEX_MAX, QZ_LOG_NOTE, "The quadratic objective to maximise is not concave."},
    {QZ_MSG_NOT_CONVEX_HINT, QZ_LOG_WARNING, "The interior-point method solves convex models only."},
    {QZ_MSG_PRESOLVE_MODE0, QZ_LOG_NOTE, "Presolve of the quadratic model: mode 0."},
    {QZ_MSG_PRESOLVE_STATS, QZ_LOG_NOTE, "What presolve removed:"},
    {QZ_MSG_PRESOLVE_UNKNOWN, QZ_LOG_ERROR, "The presolve mode %d is unknown."},
    {QZ_MSG_PRESOLVE_REMOVED, QZ_LOG_NOTE, "  columns: %d, rows: %d"},
    {QZ_MSG_PRESOLVE_ELEMENTS, QZ_LOG_NOTE, "  matrix elements: %d"},
    {QZ_MSG_PRESOLVE_MODE1, QZ_LOG_NOTE, "Presolve of the quadratic model: mode 1."},
    {QZ_MSG_PRESOLVE_MODE2, QZ_LOG_NOTE, "Presolve of the quadratic model: mode 2."},
    {QZ_MSG_PRESOLVE_MODE3, QZ_LOG_NOTE, "Presolve of the quadratic model: mode 3."},
    {QZ_MSG_CHECK_PRIMAL, QZ_LOG_ERROR,
     "The answer failed the check on the original model: primal infeasibility %.3e, tolerance %g."},
    {QZ_MSG_CHECK_BOUND, QZ_LOG_ERROR,
     "The answer failed the check on the original model: bound infeasibility %.3e, tolerance %g."},
    {QZ_MSG_CHECK_DUAL, QZ_LOG_ERROR,
     "The answer failed the check on the original model: dual infeasibility %.3e, tolerance %g."},
    {QZ_MSG_PRESOLVED_SIZE, QZ_LOG_NOTE, "Presolved model: %d columns, %d rows, %d matrix elements"},
    {QZ_MSG_INFEASIBLE_HINT, QZ_LOG_NOTE, "Some of its rows and bounds contradict one another."},
});

static_assert(std::is_sorted(kCatalogue.begin(), kCatalogue.end(),
                             [](const CatalogueEntry& a, const CatalogueEntry& b) { return a.code < b.code; }),
              "look-ups search by halves");

}  // namespace

const CatalogueEntry* catalogueBegin() {
  return kCatalogue.data();
}

size_t catalogueSize() {
  return kCatalogue.size();
}

const CatalogueEntry* findMessage(uint32_t code) {
  const auto found = std::lower_bound(kCatalogue.begin(), kCatalogue.end(), code,
                                      [](const CatalogueEntry& entry, uint32_t wanted) { return entry.code < wanted; });
  return found != kCatalogue.end() && found->code == code ? &*found : nullptr;
}

std::string messageLine(uint32_t code, va_list arguments) {
  const CatalogueEntry* entry = findMessage(code);
  if (entry != nullptr) return formatNarrow(entry->text, arguments);
  char unknown[32];
  std::snprintf(unknown, sizeof(unknown), "Message 0x%08x", code);
  return unknown;
}

}  // namespace qzhost
