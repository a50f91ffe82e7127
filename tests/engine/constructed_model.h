// Random models that are built around their optimal pair.
#pragma once

#include "engine/engine_case.h"

namespace qztest {

// A model with a known optimal pair: x* and y* are drawn with strictly complementary slacks, and b, c, bounds follow.
struct Constructed {
  DenseModel model;
  double objective = 0.0;
  Vector x, y, reduced, slack;
};

inline Constructed construct(std::mt19937& random, const RandomShape& shape) {
  std::uniform_real_distribution<double> positive(0.5, 2.0);
  std::normal_distribution<double> normal;
  Constructed out;
  out.model = randomModel(random, shape);
  DenseModel& model = out.model;
  const int m = model.rows();
  const int n = model.cols();
  Vector x(n), reduced(n), y(m), slack = Vector::Zero(m);
  for (int j = 0; j < n; ++j) {
    x[j] = normal(random);
    reduced[j] = 0.0;
    const bool lower = model.hasLower(j);
    const bool upper = model.hasUpper(j);
    if (lower) model.lower[j] = x[j] - positive(random);
    if (upper) model.upper[j] = x[j] + positive(random);
    if (lower && random() % 2 == 0) {
      model.lower[j] = x[j];
      reduced[j] = positive(random);
    } else if (upper && random() % 2 == 0) {
      model.upper[j] = x[j];
      reduced[j] = -positive(random);
    }
  }
  for (int i = 0; i < m; ++i) {
    y[i] = normal(random);
    if (model.sense[static_cast<size_t>(i)] != 'G') continue;
    const bool active = random() % 2 == 0;
    y[i] = active ? positive(random) : 0.0;
    slack[i] = active ? 0.0 : positive(random);
  }
  model.b = model.A * x - slack;
  model.c = model.A.transpose() * y + reduced;
  if (model.quadratic()) model.c -= model.Q * x;
  out.x = x;
  out.y = y;
  out.reduced = reduced;
  out.slack = slack;
  out.objective = model.c.dot(x);
  if (model.quadratic()) out.objective += 0.5 * x.dot(model.Q * x);
  return out;
}

}  // namespace qztest
