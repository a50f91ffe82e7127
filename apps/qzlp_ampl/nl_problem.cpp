#include "nl_problem.h"

#include <cmath>
#include <cstring>

#include "ampl_library.h"

namespace qzlpAmpl {

namespace {

using qzfiles::ModelFile;

// Why the solver can't take what the head of the file announces.
std::string checkKinds(const ASL* asl, int objective) {
  if (nlc > 0) return std::to_string(nlc) + " constraint(s) are not linear";
  if (n_cc > 0) return std::to_string(n_cc) + " complementarity condition(s)";
  if (asl->i.n_lcon_ > 0) return std::to_string(asl->i.n_lcon_) + " logical constraint(s)";
  if (objective < 0 || objective > n_obj) return "there is no objective " + std::to_string(objective);
  return {};
}

bool isInfinite(double value) {
  constexpr double infinite = 1e20;
  return std::fabs(value) >= infinite;
}

void takeRows(const ASL* asl, ModelFile& model) {
  for (int i = 0; i < n_con; ++i) {
    const double lower = LUrhs[2 * i];
    const double upper = LUrhs[2 * i + 1];
    const bool hasLower = !isInfinite(lower);
    const bool hasUpper = !isInfinite(upper);
    const bool isRange = hasLower && hasUpper && lower != upper;
    model.rowSense.push_back(isRange ? 'R' : hasLower && hasUpper ? 'E' : hasUpper ? 'L' : hasLower ? 'G' : 'N');
    model.rhs.push_back(hasUpper ? upper : hasLower ? lower : 0.0);
    model.range.push_back(isRange ? upper - lower : 0.0);
  }
}

void takeColumns(const ASL* asl, ModelFile& model) {
  model.obj.assign(static_cast<size_t>(n_var), 0.0);
  for (int j = 0; j < n_var; ++j) {
    model.lower.push_back(LUv[2 * j]);
    model.upper.push_back(LUv[2 * j + 1]);
    for (int k = A_colstarts[j]; k < A_colstarts[j + 1]; ++k) {
      if (A_vals[k] == 0.0) continue;
      model.rowIndex.push_back(A_rownos[k]);
      model.matValue.push_back(A_vals[k]);
    }
    model.colBegin.push_back(model.numCoef());
  }
}

// Hessian, gradient at 0 and constant of a quadratic objective. The lower triangle of the Hessian is kept. The library
// owns the arrays of the check.
std::string takeObjective(ASL* asl, int index, ModelFile& model) {
  fint* rowNumber = nullptr;
  fint* columnStart = nullptr;
  real* value = nullptr;
  const fint count = nqpcheck(index, &rowNumber, &columnStart, &value);
  if (count < 0) return "the objective is neither linear nor quadratic";
  for (int j = 0; j < n_var; ++j) {
    for (fint k = count > 0 ? columnStart[j] : 0; count > 0 && k < columnStart[j + 1]; ++k) {
      if (rowNumber[k] < j || value[k] == 0.0) continue;
      model.quadIndex.push_back(static_cast<int32_t>(rowNumber[k]));
      model.quadValue.push_back(value[k]);
    }
    model.quadBegin[static_cast<size_t>(j) + 1] = model.numQuadCoef();
  }
  // The check has put the linear part of what was written as an expression here too.
  for (const ograd* term = Ograd[index]; term != nullptr; term = term->next)
    model.obj[static_cast<size_t>(term->varno)] += term->coef;
  model.objConstant = objconst_ASL(asl, index);
  model.objSense = objtype[index] != 0 ? -1 : 1;
  return {};
}

}  // namespace

NlProblem readNlProblem(ASL* asl, char* stub, int objective) {
  NlProblem problem;
  std::FILE* file = jac0dim(stub, static_cast<fint>(std::strlen(stub)));
  problem.refusal = checkKinds(asl, objective);
  if (!problem.refusal.empty()) {
    std::fclose(file);
    return problem;
  }
  ModelFile& model = problem.model;
  model.quadBegin.assign(static_cast<size_t>(n_var) + 1, 0);
  model.colBegin.push_back(0);
  want_xpi0 = 0;
  // Columns in place of the gradients of the rows.
  A_vals = static_cast<real*>(M1alloc(sizeof(real) * (nZc + 1)));
  qp_read(file, 0);
  takeRows(asl, model);
  takeColumns(asl, model);
  if (objective > 0) problem.refusal = takeObjective(asl, objective - 1, model);
  const int integers = nbv + niv + nlvbi + nlvci + nlvoi;
  if (integers > 0) model.notes.push_back(std::to_string(integers) + " integer variable(s) solved as continuous");
  return problem;
}

}  // namespace qzlpAmpl
