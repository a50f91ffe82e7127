// The C API: what a solve has left behind.
#include "host/api_handle.h"
#include "qzipsolve/status.h"

using namespace qzhost;

namespace {

struct StatusWords {
  int status;
  const char* name;
  const char* text;
};

constexpr StatusWords kStatusWords[] = {
    {QZLP_STATUS_NONE, "not solved", "Nothing was solved since the model was loaded or changed."},
    {QZLP_STATUS_OPTIMAL, "optimal", "An optimum was found: every measure is within its tolerance."},
    {QZLP_STATUS_NEAR_OPTIMAL, "near optimal",
     "The best point found is close to an optimum, but not every measure is within its tolerance. A looser tolerance, "
     "the other method or a better scaled model may help."},
    {QZLP_STATUS_PRIMAL_INFEASIBLE, "infeasible", "No point meets all rows and bounds: some of them contradict."},
    {QZ_STATUS_INFEASIBLE_ALIAS, "infeasible", "No point meets all rows and bounds: some of them contradict."},
    {QZLP_STATUS_DUAL_INFEASIBLE, "unbounded",
     "The objective improves without end, or no dual point exists. Look for a column that pays and lacks a bound."},
    {QZLP_STATUS_BOTH_INFEASIBLE, "primal and dual infeasible",
     "Neither a primal nor a dual point was found. With all costs 0 the solve tells whether rows and bounds can be "
     "met."},
    {QZLP_STATUS_ITERATION_LIMIT, "iteration limit",
     "The limit on the iterations was reached first; the last point is given."},
    {QZLP_STATUS_TIME_LIMIT, "time limit", "The time limit was reached first; the last point is given."},
    {QZLP_STATUS_INTERRUPTED, "interrupted", "The caller asked to stop."},
    {QZLP_STATUS_FAILED, "failed",
     "No answer that can be trusted was reached. The other method, the other presolve or a better scaled model may "
     "help."},
    {QZLP_STATUS_NOT_CONVEX, "not convex",
     "The quadratic objective is not convex, or when maximising not concave, so an optimum could not be told from a "
     "point that is none."},
    {QZLP_STATUS_OUT_OF_MEMORY, "out of memory",
     "Memory ran out, or a module of the solver could not be loaded; the error text tells which."},
};

const StatusWords* wordsOf(int status) {
  for (const StatusWords& words : kStatusWords)
    if (words.status == status) return &words;
  return nullptr;
}

const LpRecord* answer(const qzlp* lp) {
  return lp != nullptr && lp->solved ? &lp->model->record : nullptr;
}

// The arrays of a basis are full or empty as a whole, and each has one entry at least.
bool hasBasis(const qzlp* lp) {
  const LpRecord* record = answer(lp);
  return record != nullptr && (record->rowBasis[0] != QZ_BASIS_NONE || record->colBasis[0] != QZ_BASIS_NONE);
}

}  // namespace

int qzlp_status(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->status : 0;
}

int qzlp_hasPoint(const qzlp* lp) {
  switch (qzlp_status(lp)) {
    case QZLP_STATUS_OPTIMAL:
    case QZLP_STATUS_NEAR_OPTIMAL:
    case QZLP_STATUS_ITERATION_LIMIT:
    case QZLP_STATUS_TIME_LIMIT:
      return 1;
    default:
      return 0;
  }
}

const char* qzlp_statusName(int status) {
  const StatusWords* words = wordsOf(status);
  return words != nullptr ? words->name : "unknown status";
}

const char* qzlp_statusText(int status) {
  const StatusWords* words = wordsOf(status);
  return words != nullptr ? words->text : "";
}

double qzlp_objective(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->objValue : 0.0;
}
int32_t qzlp_iterations(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->numIter : 0;
}
int32_t qzlp_simplexIterations(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->numSimplexIter : 0;
}
double qzlp_primalInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->primalInfeas : 0.0;
}
double qzlp_dualInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->dualInfeas : 0.0;
}
double qzlp_boundInfeasibility(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->boundInfeas : 0.0;
}
double qzlp_dualityGap(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->dualityGap : 0.0;
}
double qzlp_complementarity(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->complementarity : 0.0;
}
double qzlp_presolveTime(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->presolveTime : 0.0;
}
double qzlp_totalTime(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->totalTime : 0.0;
}

const double* qzlp_primal(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->solPrimal : nullptr;
}
const double* qzlp_dual(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->solDual : nullptr;
}
const double* qzlp_reducedCost(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->reducedCost : nullptr;
}
const double* qzlp_rowActivity(const qzlp* lp) {
  return answer(lp) != nullptr ? answer(lp)->rowActivity : nullptr;
}

const uint8_t* qzlp_columnBasis(const qzlp* lp) {
  return hasBasis(lp) ? answer(lp)->colBasis : nullptr;
}
const uint8_t* qzlp_rowBasis(const qzlp* lp) {
  return hasBasis(lp) ? answer(lp)->rowBasis : nullptr;
}
