// The least risk for a wanted return, from C++: a quadratic model that is solved again for one right-hand side after
// the other, with the iterations told.
//
//   minimise x'Qx / 2   subject to   x1 + x2 = 1,   3 x1 + x2 >= wanted,   x >= 0,   Q = diag(4, 1)
//
// Without a wanted return x = (0.2, 0.8), of return 1.4; beyond it x1 = (wanted - 1) / 2.
//
// With an installed copy:  c++ -std=c++20 cpp_api.cpp $(pkg-config --cflags --libs qzlp) -o cpp_api && ./cpp_api
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "qzlp.h"

namespace {

struct Destroy {
  void operator()(qzlp* lp) const { qzlp_destroy(lp); }
};
using Solver = std::unique_ptr<qzlp, Destroy>;

void check(const Solver& lp, int code) {
  if (code != QZLP_OK) throw std::runtime_error(qzlp_error(lp.get()));
}

Solver makeModel() {
  const std::array<int32_t, 3> colBegin{0, 2, 4};
  const std::array<int32_t, 4> rowIndex{0, 1, 0, 1};
  const std::array<double, 4> matValue{1.0, 3.0, 1.0, 1.0};
  const std::array<double, 2> zeros{0.0, 0.0};
  const std::array<double, 2> upper{1e20, 1e20};
  const std::array<double, 2> rhs{1.0, 0.0};
  qzlp_model model{};
  model.numRow = 2;
  model.numCol = 2;
  model.numCoef = 4;
  model.objSense = 1;
  model.colBegin = colBegin.data();
  model.rowIndex = rowIndex.data();
  model.matValue = matValue.data();
  model.obj = zeros.data();
  model.lower = zeros.data();
  model.upper = upper.data();
  model.rowSense = "EG";
  model.rhs = rhs.data();

  const std::array<int32_t, 3> quadBegin{0, 1, 2};
  const std::array<int32_t, 2> quadRow{0, 1};
  const std::array<double, 2> variance{4.0, 1.0};
  qzlp_quadratic quadratic{};
  quadratic.form = QZLP_LOWER;
  quadratic.numCoef = 2;
  quadratic.colBegin = quadBegin.data();
  quadratic.rowIndex = quadRow.data();
  quadratic.value = variance.data();

  Solver lp(qzlp_create());
  if (lp == nullptr) throw std::runtime_error(qzlp_error(nullptr));
  check(lp, qzlp_loadModel(lp.get(), &model));
  check(lp, qzlp_loadQuadratic(lp.get(), &quadratic));
  return lp;
}

int countIteration(const qzlp_progress*, void* count) {
  ++*static_cast<int*>(count);
  return 0;  // another value would stop the solve
}

}  // namespace

int main() {
  try {
    const Solver lp = makeModel();
    int told = 0;
    check(lp, qzlp_setProgressCallback(lp.get(), countIteration, &told));
    for (const double wanted : {1.0, 2.0, 2.5, 3.0}) {
      check(lp, qzlp_setRhs(lp.get(), 1, wanted));
      check(lp, qzlp_solve(lp.get()));
      if (qzlp_status(lp.get()) != QZLP_STATUS_OPTIMAL)
        throw std::runtime_error(qzlp_statusText(qzlp_status(lp.get())));
      std::printf("return %.1f: variance %.4f with shares %.3f %.3f\n", wanted, 2.0 * qzlp_objective(lp.get()),
                  qzlp_primal(lp.get())[0], qzlp_primal(lp.get())[1]);
    }
    std::printf("%d iterations were told\n", told);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
