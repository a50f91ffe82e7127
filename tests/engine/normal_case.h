// Cases of the normal equations: bounded models, iterates, and the dense matrices that the engine's are held to.
#pragma once

#include <random>
#include <string>
#include <utility>

#include "engine/engine_case.h"

namespace qztest {

// No column is free: what has no bound gets a lower one. Rows may be empty.
inline DenseModel boundedModel(std::mt19937& random, const RandomShape& shape) {
  DenseModel model = randomModel(random, shape);
  for (int j = 0; j < model.cols(); ++j)
    if (!model.hasLower(j) && !model.hasUpper(j)) model.lower[j] = -1.0;
  return model;
}

inline RandomShape shapeOf(uint32_t seed) {
  RandomShape shape;
  const int rows[] = {1, 2, 6, 12, 13, 14, 30, 60};
  shape.rows = rows[seed % 8];
  shape.cols = shape.rows + static_cast<int>(seed % 17);
  shape.density = seed % 3 == 0 ? 0.9 : (seed % 3 == 1 ? 0.3 : 2.0 / shape.rows);
  shape.ineqnShare = 0.25 * static_cast<double>(seed % 5);
  return shape;
}

// D by its definition, from the iterate.
inline Vector diagonalD(const EngineCase& engine) {
  const DenseModel& model = engine.dense();
  Vector d(model.cols());
  for (int j = 0; j < model.cols(); ++j) {
    double theta = 0.0;
    if (model.hasUpper(j)) theta += engine.ipm->upperDual[j] / engine.ipm->upperSlack[j];
    if (model.hasLower(j)) theta += engine.ipm->lowerDual[j] / engine.ipm->lowerSlack[j];
    d[j] = 1.0 / theta;
  }
  return d;
}

inline Vector diagonalE(const EngineCase& engine) {
  const DenseModel& model = engine.dense();
  Vector e = Vector::Zero(model.rows());
  for (int i = 0; i < model.rows(); ++i)
    if (model.sense[static_cast<size_t>(i)] == 'G') e[i] = engine.ipm->ineqnSlack[i] / engine.ipm->dual[i];
  return e;
}

inline Matrix denseNormal(const EngineCase& engine) {
  const Matrix& a = engine.dense().A;
  Matrix m = a * diagonalD(engine).asDiagonal() * a.transpose();
  m.diagonal() += diagonalE(engine);
  return m;
}

inline Matrix storedNormal(const qz::Ipm& ipm) {
  Matrix m = Matrix::Zero(ipm.numRow, ipm.numRow);
  for (int j = 0; j < ipm.numRow; ++j)
    for (int32_t k = ipm.ipmColBegin[j]; k < ipm.ipmColBegin[j + 1]; ++k)
      m(ipm.ipmRowIndex[k], j) += ipm.ipmMatValue[k];
  return m;
}

// The Newton system that the normal equations come from, [Theta, -A'; -A, -E] (dx, dy) = (rc, rr).
inline Matrix newtonMatrix(const EngineCase& engine) {
  const Matrix& a = engine.dense().A;
  const Eigen::Index n = a.cols();
  const Eigen::Index m = a.rows();
  Matrix kkt = Matrix::Zero(n + m, n + m);
  kkt.diagonal().head(n) = diagonalD(engine).cwiseInverse();
  kkt.diagonal().tail(m) = -diagonalE(engine);
  kkt.bottomLeftCorner(m, n) = -a;
  kkt.topRightCorner(n, m) = -a.transpose();
  return kkt;
}

// A started case of method 12 without start point: the engine's arrays and an iterate.
struct NormalCase : EngineCase {
  NormalCase(TestHost& host, const DenseModel& dense, std::mt19937& random)
      : EngineCase(host, dense, qz::IPM_METHOD_NORMAL) {
    started = start();
    if (started) randomIterate(random);
  }
  bool started = false;
};

}  // namespace qztest
