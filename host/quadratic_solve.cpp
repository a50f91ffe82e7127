#include "host/quadratic_solve.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "host/api_matrix.h"
#include "host/service_table.h"
#include "qzipsolve/instance.h"
#include "qzipsolve/status.h"
#include "shell/lp_options.h"
#include "shell/pipeline.h"
#include "shell/remeasure.h"
#include "shell/reporting.h"
#include "shell/timer.h"

namespace qzhost {

namespace {

using qz::IpmOption;
using qz::Model;

// An instance of the core that this library is linked with; the handle's own may come from a shared object.
class CoreInstance {
 public:
  explicit CoreInstance(QzLog* log) {
    [[maybe_unused]] static const bool stored = storeHost();
    env_ = static_cast<QzInstance*>(qzipsolve_create_instance());
    if (env_ != nullptr) env_->log = log;
  }
  ~CoreInstance() { qzipsolve_destroy_instance(env_); }
  CoreInstance(const CoreInstance&) = delete;
  CoreInstance& operator=(const CoreInstance&) = delete;

  QzInstance* env() { return env_; }

  // Started; null when it can't be had. It belongs to the instance.
  qz::IPM_timer* startTimer(const LpOptions& options) {
    int32_t rc = QZ_STATUS_OK;
    qz::IPM_timer* timer = qz::IPM_timerCreate(env_->pool, &rc);
    env_->timer = timer;
    if (timer == nullptr) return nullptr;
    timer->type = options.timeType;
    qz::IPM_timerSetLimit(timer, options.timeLimit);
    qz::IPM_timerStart(timer);
    return timer;
  }

 private:
  static bool storeHost() {
    Exported_QZHandle = hostTable();
    return true;
  }

  QzInstance* env_ = nullptr;
};

// The model in the solver's own terms: a minimisation, rows without an absent side, the elements of a column in rising
// order of their rows. Presolve takes out fixed columns, empty rows and columns, and free rows.
class WorkingModel {
 public:
  explicit WorkingModel(const ModelData& data)
      : sense_(data.record.objSense),
        matValue_(data.matValue),
        rowIndex_(data.rowIndex),
        colBegin_(data.colBegin),
        colLength_(data.colLength),
        obj_(data.obj),
        lower_(data.lower),
        upper_(data.upper),
        rhs_(data.rhs),
        range_(data.range),
        rowSense_(data.rowSense),
        quadratic_(data.quadratic),
        solPrimal_(obj_.size(), 0.0),
        reducedCost_(obj_.size(), 0.0),
        solDual_(rhs_.size(), 0.0),
        rowActivity_(rhs_.size(), 0.0) {
    sortColumns();
    for (std::vector<double>* array : {&obj_, &quadratic_.diag, &quadratic_.value})
      for (double& value : *array) value *= sense_;
    for (size_t i = 0; i < static_cast<size_t>(data.record.numRow); ++i) settleRow(i);
    bind(data.record);
  }
  WorkingModel(const WorkingModel&) = delete;  // the model points into the arrays
  WorkingModel& operator=(const WorkingModel&) = delete;

  Model& model() { return model_; }

  // The answer, in the caller's terms.
  void writeAnswer(LpRecord& record) const {
    std::copy_n(solPrimal_.begin(), record.numCol, record.solPrimal);
    for (int32_t i = 0; i < record.numRow; ++i) record.solDual[i] = sense_ * solDual_[static_cast<size_t>(i)];
    record.status = model_.status;
    record.objValue = model_.objValue;
    record.numIter = model_.numIter;
    record.primalInfeas = model_.primalInfeas;
    record.dualInfeas = model_.dualInfeas;
    record.boundInfeas = model_.boundInfeas;
    record.dualityGap = model_.dualityGap;
    record.complementarity = model_.complementarity;
    record.totalTime = model_.solveTime;
  }

 private:
  void sortColumns() {
    std::vector<std::pair<int32_t, double>> column;
    for (size_t j = 0; j + 1 < colBegin_.size(); ++j) {
      const auto begin = static_cast<size_t>(colBegin_[j]);
      const auto length = static_cast<size_t>(colLength_[j]);
      column.clear();
      for (size_t k = begin; k < begin + length; ++k) column.emplace_back(rowIndex_[k], matValue_[k]);
      std::sort(column.begin(), column.end());
      for (size_t k = 0; k < length; ++k) std::tie(rowIndex_[begin + k], matValue_[begin + k]) = column[k];
    }
  }

  void settleRow(size_t i) {
    char& sense = rowSense_[i];
    if (sense == 'R' && range_[i] == 0.0) sense = 'E';
    if (std::fabs(rhs_[i]) < kInfinite) return;
    sense = 'N';
    rhs_[i] = 0.0;
  }

  void bind(const LpRecord& record) {
    model_.typeModel = qz::IPM_MODEL_QP;
    model_.numRow = record.numRow;
    model_.numCol = record.numCol;
    model_.numCoef = record.numCoef;
    model_.colBegin = colBegin_.data();
    model_.colLength = colLength_.data();
    model_.rowIndex = rowIndex_.data();
    model_.matValue = matValue_.data();
    model_.numQuadCoef = static_cast<int32_t>(quadratic_.rowIndex.size());
    model_.quadDiag = quadratic_.diag.data();
    model_.quadColBegin = quadratic_.colBegin.data();
    model_.quadColLength = quadratic_.colLength.data();
    model_.quadRowIndex = quadratic_.rowIndex.data();
    model_.quadMatValue = quadratic_.value.data();
    model_.objSense = record.objSense;
    model_.objConstant = sense_ * record.objConstant;
    model_.obj = obj_.data();
    model_.rowSense = rowSense_.data();
    model_.rhs = rhs_.data();
    model_.range = range_.data();
    model_.lower = lower_.data();
    model_.upper = upper_.data();
    model_.solPrimal = solPrimal_.data();
    model_.solDual = solDual_.data();
    model_.reducedCost = reducedCost_.data();
    model_.rowActivity = rowActivity_.data();
    model_.checkSolverBreak = record.checkSolverBreak;
    model_.callerDataStruct = record.callerDataStruct;
  }

  int32_t sense_;
  std::vector<double> matValue_;
  std::vector<int32_t> rowIndex_, colBegin_, colLength_;
  std::vector<double> obj_, lower_, upper_, rhs_, range_;
  std::vector<char> rowSense_;
  QuadraticData quadratic_;
  std::vector<double> solPrimal_, reducedCost_, solDual_, rowActivity_;
  Model model_{};
};

bool isOptimal(int32_t status) {
  return status == QZ_STATUS_OPTIMAL || status == QZ_STATUS_NEAR_OPTIMAL;
}

bool hasPoint(int32_t status) {
  return isOptimal(status) || status == QZ_STATUS_ITERATION_LIMIT || status == QZ_STATUS_TIME_LIMIT;
}

// The answer measured on the caller's own data.
void confirmAnswer(ModelData& data, const IpmOption& option, QzInstance* env) {
  LpRecord& record = data.record;
  const QuadraticData& q = data.quadratic;
  const qz::QuadraticTerm term{q.diag.data(), q.colBegin.data(), q.colLength.data(), q.rowIndex.data(), q.value.data()};
  if (!hasPoint(record.status) || !qz::remeasureAnswer(env->log, &record, &term, option.tolPrimal, option.tolDual) ||
      !isOptimal(record.status))
    return;
  const int32_t claimed = record.status;
  record.status = qz::judgeAnswer(env->log, &record, &option);
  if (record.status != claimed)
    qz::ipmReportStatus(env, record.status, record.objSense, qz::IPM_MODEL_QP, &option, record.objValue);
}

}  // namespace

int32_t solveQuadratic(ModelData& data, LpOptions* options, QzLog* log) {
  LpRecord& record = data.record;
  WorkingModel work(data);
  record.status = QZ_STATUS_OUT_OF_MEMORY;
  CoreInstance core(log);
  if (core.env() == nullptr) return record.status;
  const int32_t valid = qz::validateLpOptions(log, options);
  if (valid != QZ_STATUS_OK) return record.status = valid;
  qz::IPM_timer* timer = core.startTimer(*options);
  if (timer == nullptr) return record.status;
  IpmOption option{};
  qz::fillIpmOption(&option, options);
  option.crossover = 0;  // the simplex module is for linear models
  (void)qz::ipmMain(core.env(), &work.model(), &option, timer, nullptr);
  work.writeAnswer(record);
  confirmAnswer(data, option, core.env());
  return record.status;
}

}  // namespace qzhost
