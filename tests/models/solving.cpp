#include "models/solving.h"

#include <memory>
#include <stdexcept>

namespace models {

ApiModel::ApiModel(const LinearProgram& program) : program_(program) {
  for (int i = 0; i < program.numRow(); ++i) {
    const double low = program.rowLower[static_cast<size_t>(i)];
    const double high = program.rowUpper[static_cast<size_t>(i)];
    const bool hasLow = low > -infinite;
    const bool hasHigh = high < infinite;
    sense_.push_back(hasLow && hasHigh ? (low == high ? 'E' : 'R') : hasHigh ? 'L' : hasLow ? 'G' : 'N');
    rhs_.push_back(hasHigh ? high : hasLow ? low : 0.0);
    range_.push_back(hasLow && hasHigh ? high - low : 0.0);
  }
  std::vector<std::vector<Curvature>> columns(program.cost.size());
  for (const Curvature& entry : program.curvature) columns[static_cast<size_t>(entry.col)].push_back(entry);
  for (const std::vector<Curvature>& column : columns) {
    quadBegin_.push_back(static_cast<int>(quadRow_.size()));
    for (const Curvature& entry : column) {
      quadRow_.push_back(entry.row);
      quadValue_.push_back(entry.value);
    }
  }
  quadBegin_.push_back(static_cast<int>(quadRow_.size()));
}

qzlp_quadratic ApiModel::quadraticView() const {
  qzlp_quadratic quadratic{};
  quadratic.form = QZLP_LOWER;
  quadratic.numCoef = static_cast<int32_t>(quadRow_.size());
  quadratic.colBegin = quadBegin_.data();
  quadratic.rowIndex = quadRow_.data();
  quadratic.value = quadValue_.data();
  return quadratic;
}

qzlp_model ApiModel::view() const {
  qzlp_model model{};
  model.numRow = program_.numRow();
  model.numCol = program_.numCol();
  model.numCoef = static_cast<int32_t>(program_.value.size());
  model.objSense = program_.sense;
  model.objConstant = program_.constant;
  model.colBegin = program_.colBegin.data();
  model.rowIndex = program_.rowIndex.data();
  model.matValue = program_.value.data();
  model.obj = program_.cost.data();
  model.lower = program_.lower.data();
  model.upper = program_.upper.data();
  model.rowSense = sense_.data();
  model.rhs = rhs_.data();
  model.range = range_.data();
  return model;
}

namespace {

void keepLine(int, uint32_t, const char* line, void* log) {
  static_cast<std::string*>(log)->append(line).append("\n");
}

template <class T>
void copyArray(std::vector<T>& to, const T* from, int count) {
  if (from != nullptr) to.assign(from, from + count);
}

}  // namespace

Answer solveIn(qzlp* lp, const LinearProgram& program) {
  const ApiModel arrays(program);
  const qzlp_model model = arrays.view();
  Answer answer;
  if (qzlp_loadModel(lp, &model) != QZLP_OK) throw std::runtime_error(qzlp_error(lp));
  const qzlp_quadratic quadratic = arrays.quadraticView();
  if (!program.curvature.empty() && qzlp_loadQuadratic(lp, &quadratic) != QZLP_OK)
    throw std::runtime_error(qzlp_error(lp));
  (void)qzlp_setLogCallback(lp, keepLine, &answer.log);
  answer.returnCode = qzlp_solve(lp);
  (void)qzlp_setLogCallback(lp, nullptr, nullptr);
  answer.status = qzlp_status(lp);
  answer.objective = qzlp_objective(lp);
  answer.iterations = qzlp_iterations(lp);
  answer.seconds = qzlp_totalTime(lp);
  copyArray(answer.primal, qzlp_primal(lp), program.numCol());
  copyArray(answer.reducedCost, qzlp_reducedCost(lp), program.numCol());
  copyArray(answer.activity, qzlp_rowActivity(lp), program.numRow());
  copyArray(answer.dual, qzlp_dual(lp), program.numRow());
  copyArray(answer.proof, qzlp_infeasibilityProof(lp), program.numRow());
  copyArray(answer.ray, qzlp_unboundedRay(lp), program.numCol());
  copyArray(answer.columnBasis, qzlp_columnBasis(lp), program.numCol());
  copyArray(answer.rowBasis, qzlp_rowBasis(lp), program.numRow());
  answer.simplexIterations = qzlp_simplexIterations(lp);
  return answer;
}

bool hasNormalEquations() {
  static const bool has = [] {
    LinearProgram program;
    program.addRow(1.0, infinite);
    program.addColumn(1.0, 0.0, infinite);
    program.addEntry(0, 1.0);
    return solve(program, {{"method", 1}}).log.find("the normal equations are not available") == std::string::npos;
  }();
  return has;
}

Answer solve(const LinearProgram& program, const std::vector<Choice>& choices) {
  const std::unique_ptr<qzlp, void (*)(qzlp*)> lp(qzlp_create(), qzlp_destroy);
  if (!lp) throw std::runtime_error(qzlp_error(nullptr));
  for (const Choice& choice : choices)
    if (qzlp_setDoubleOption(lp.get(), choice.name.c_str(), choice.value) != QZLP_OK)
      throw std::runtime_error(qzlp_error(lp.get()));
  return solveIn(lp.get(), program);
}

}  // namespace models
