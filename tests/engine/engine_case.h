// A model with everything the engine needs around it: dense data as the oracles want it, the sparse records as the
// engine wants them (with gaps between columns), a solution, options, and the engine's state.
#pragma once

#include <Eigen/Dense>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "engine/engine_state.h"
#include "shell/pool.h"
#include "support/test_host.h"

namespace qztest {

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;

inline constexpr double kNone = 1e20;  // an absent bound, by its magnitude

// minimise c'x + x'Qx / 2 subject to rows A x (sense) b and lower <= x <= upper.
struct DenseModel {
  Matrix A;
  Matrix Q;  // empty for a linear model
  Vector c;
  Vector b;
  Vector lower;
  Vector upper;
  std::string sense;

  int rows() const { return static_cast<int>(A.rows()); }
  int cols() const { return static_cast<int>(A.cols()); }
  bool quadratic() const { return Q.size() > 0; }
  bool hasLower(int j) const { return lower[j] > -kNone; }
  bool hasUpper(int j) const { return upper[j] < kNone; }
};

struct RandomShape {
  int rows = 6;
  int cols = 10;
  double density = 0.4;
  double ineqnShare = 0.5;  // of rows that are G
  double upperShare = 0.5;  // of columns with an upper bound
  double lowerShare = 0.7;
  bool quadratic = false;
  double quadDensity = 0.3;
};

inline DenseModel randomModel(std::mt19937& random, const RandomShape& shape) {
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  DenseModel model;
  const int m = shape.rows;
  const int n = shape.cols;
  model.A = Matrix::Zero(m, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i)
      if (uniform(random) < shape.density) model.A(i, j) = normal(random);
  model.c = Vector::NullaryExpr(n, [&] { return normal(random); });
  model.b = Vector::NullaryExpr(m, [&] { return normal(random); });
  model.lower.resize(n);
  model.upper.resize(n);
  for (int j = 0; j < n; ++j) {
    const double low = uniform(random) < 0.3 ? 0.0 : normal(random);
    model.lower[j] = uniform(random) < shape.lowerShare ? low : -kNone;
    model.upper[j] = uniform(random) < shape.upperShare ? low + 1.0 + uniform(random) : kNone;
  }
  for (int i = 0; i < m; ++i) model.sense.push_back(uniform(random) < shape.ineqnShare ? 'G' : 'E');
  if (shape.quadratic) {
    Matrix factor = Matrix::Zero(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = j; i < n; ++i)
        if (i == j || uniform(random) < shape.quadDensity) factor(i, j) = normal(random);
    const Matrix product = factor * factor.transpose();
    model.Q = product.selfadjointView<Eigen::Lower>();
  }
  return model;
}

// The records of one model. Arrays of the model live here; the engine's own come from the host's pool.
class EngineCase {
 public:
  EngineCase(TestHost& host, DenseModel dense, int32_t typeMethod = qz::IPM_METHOD_AUGMENTED)
      : dense_(std::move(dense)) {
    env.pool = host.pool();
    env.log = host.log();
    makeModel();
    makeSolution();
    makeOption(typeMethod);
  }
  ~EngineCase() {
    if (ipm != nullptr) {
      qz::FreeIpm(ipm);
      qz::poolFree(env.pool, ipm);
    }
  }
  EngineCase(const EngineCase&) = delete;
  EngineCase& operator=(const EngineCase&) = delete;

  // The calls of a solve up to and with AnalyzeIpm. False when one of them failed.
  bool start() {
    ipm = qz::NewIpm(&env, &model, nullptr);
    if (ipm == nullptr) return false;
    qz::ipmGetOption(ipm, &option);
    qz::ipmSetParam(ipm, &option, &hub);
    if (qz::CreateIpm(ipm) != 0) return false;
    qz::AssignIpm(ipm, &model, &solution);
    qz::AnalyzeIpm(ipm);
    return true;
  }

  // A strictly positive iterate that meets no equation; x, y and the multipliers of E rows take any sign.
  void randomIterate(std::mt19937& random, double smallest = 0.1) {
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> positive(smallest, smallest + 2.0);
    for (int j = 0; j < dense_.cols(); ++j) {
      ipm->primal[j] = normal(random);
      ipm->upperSlack[j] = dense_.hasUpper(j) ? positive(random) : 0.0;
      ipm->upperDual[j] = dense_.hasUpper(j) ? positive(random) : 0.0;
      ipm->lowerSlack[j] = dense_.hasLower(j) ? positive(random) : 0.0;
      ipm->lowerDual[j] = dense_.hasLower(j) ? positive(random) : 0.0;
    }
    for (int i = 0; i < dense_.rows(); ++i) {
      const bool inequality = dense_.sense[static_cast<size_t>(i)] == 'G';
      ipm->dual[i] = inequality ? positive(random) : normal(random);
      ipm->ineqnSlack[i] = inequality ? positive(random) : 0.0;
    }
  }

  const DenseModel& dense() const { return dense_; }
  Vector x() const { return view(ipm->primal, dense_.cols()); }
  Vector y() const { return view(ipm->dual, dense_.rows()); }
  static Vector view(const double* data, int n) { return Eigen::Map<const Vector>(data, n); }

  qz::Env env{};
  qz::Model model{};
  qz::Solution solution{};
  qz::IpmOption option{};
  qz::Hub hub{};
  qz::Ipm* ipm = nullptr;

 private:
  static double* data(std::vector<double>& values) { return values.data(); }

  // Stores the columns of `from` below `firstRow(j)` with a gap of unused places behind every second column.
  template <class FirstRow>
  static int32_t store(const Matrix& from, FirstRow firstRow, std::vector<int32_t>& begin, std::vector<int32_t>& length,
                       std::vector<int32_t>& index, std::vector<double>& value) {
    int32_t count = 0;
    for (int j = 0; j < from.cols(); ++j) {
      begin.push_back(static_cast<int32_t>(index.size()));
      for (int i = firstRow(j); i < from.rows(); ++i) {
        if (from(i, j) == 0.0) continue;
        index.push_back(i);
        value.push_back(from(i, j));
        ++count;
      }
      length.push_back(static_cast<int32_t>(index.size()) - begin.back());
      if (j % 2 == 1) {
        index.push_back(1 << 28);  // nobody may look here
        value.push_back(std::nan(""));
      }
    }
    begin.push_back(static_cast<int32_t>(index.size()));
    return count;
  }

  void makeModel() {
    const int m = dense_.rows();
    const int n = dense_.cols();
    c_.assign(dense_.c.data(), dense_.c.data() + n);
    b_.assign(dense_.b.data(), dense_.b.data() + m);
    lower_.assign(dense_.lower.data(), dense_.lower.data() + n);
    upper_.assign(dense_.upper.data(), dense_.upper.data() + n);
    sense_.assign(dense_.sense.begin(), dense_.sense.end());
    model.typeModel = dense_.quadratic() ? qz::IPM_MODEL_QP : qz::IPM_MODEL_LP;
    model.numRow = m;
    model.numCol = n;
    model.numCoef = store(
        dense_.A, [](int) { return 0; }, begin_, length_, index_, value_);
    model.colBegin = begin_.data();
    model.colLength = length_.data();
    model.rowIndex = index_.data();
    model.matValue = value_.data();
    if (dense_.quadratic()) {
      for (int j = 0; j < n; ++j) quadDiag_.push_back(dense_.Q(j, j));
      model.numQuadCoef = store(
          dense_.Q, [](int j) { return j + 1; }, quadBegin_, quadLength_, quadIndex_, quadValue_);
      model.quadDiag = quadDiag_.data();
      model.quadColBegin = quadBegin_.data();
      model.quadColLength = quadLength_.data();
      model.quadRowIndex = quadIndex_.data();
      model.quadMatValue = quadValue_.data();
    }
    model.objSense = 1;
    model.obj = data(c_);
    model.rhs = data(b_);
    model.lower = data(lower_);
    model.upper = data(upper_);
    model.rowSense = sense_.data();
  }

  void makeSolution() {
    const auto m = static_cast<size_t>(dense_.rows());
    const auto n = static_cast<size_t>(dense_.cols());
    for (std::vector<double>* array : {&primal_, &lowerSlack_, &upperSlack_, &lowerDual_, &upperDual_})
      array->assign(n, 0.0);
    dual_.assign(m, 0.0);
    ineqnSlack_.assign(m, 0.0);
    solution.primal = model.solPrimal = data(primal_);
    solution.dual = model.solDual = data(dual_);
    solution.lowerSlack = data(lowerSlack_);
    solution.upperSlack = data(upperSlack_);
    solution.lowerDual = data(lowerDual_);
    solution.upperDual = data(upperDual_);
    solution.ineqnSlack = data(ineqnSlack_);
  }

  void makeOption(int32_t typeMethod) {
    option.tolPrimal = option.tolDual = option.tolOptimality = 1e-6;
    option.infinityValue = kNone;
    option.maxIter = 1000;
    option.logFrequency = 1;
    option.numThread = 1;
    option.typeMethod = typeMethod;
  }

  DenseModel dense_;
  std::vector<double> c_, b_, lower_, upper_, value_, quadDiag_, quadValue_;
  std::vector<int32_t> begin_, length_, index_, quadBegin_, quadLength_, quadIndex_;
  std::vector<char> sense_;
  std::vector<double> primal_, dual_, lowerSlack_, upperSlack_, lowerDual_, upperDual_, ineqnSlack_;
};

}  // namespace qztest
