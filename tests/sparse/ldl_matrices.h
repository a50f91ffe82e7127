// Symmetric matrices for the LDL tests.
#pragma once

#include <cmath>
#include <eigen3/Eigen/Dense>
#include <random>
#include <string>
#include <vector>

namespace qztest {

enum class Shape { QuasiDefinite, SaddlePoint, Arrow, Disconnected, Dense, Zero, Indefinite, Diagonal };
inline const std::vector<Shape> kAllShapes = {Shape::QuasiDefinite, Shape::SaddlePoint, Shape::Arrow,
                                              Shape::Disconnected,  Shape::Dense,       Shape::Zero,
                                              Shape::Indefinite,    Shape::Diagonal};

inline std::string nameOf(Shape shape) {
  static const char* names[] = {"quasi-definite", "saddle point", "arrow",      "disconnected",
                                "dense",          "zero",         "indefinite", "diagonal"};
  return names[static_cast<int>(shape)];
}

// True when no pivot needs perturbing whatever the supernodes are (strongly factorisable, Vanderbei 1995).
inline bool factorsInAnyOrder(Shape shape) {
  return shape == Shape::QuasiDefinite || shape == Shape::Arrow || shape == Shape::Disconnected ||
         shape == Shape::Diagonal;
}

inline Eigen::MatrixXd makeMatrix(Shape shape, int n, std::mt19937& rng) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::uniform_real_distribution<double> chance(0.0, 1.0);
  std::uniform_real_distribution<double> exponent(-3.0, 3.0);
  Eigen::MatrixXd a = Eigen::MatrixXd::Zero(n, n);
  const auto couple = [&](int i, int j) { a(i, j) = a(j, i) = uniform(rng); };
  const int half = n - n / 3;
  switch (shape) {
    case Shape::QuasiDefinite:
      // (H A'; A -G) with positive diagonals of many magnitudes.
      for (int i = 0; i < n; ++i) a(i, i) = (i < half ? 1.0 : -1.0) * std::pow(10.0, exponent(rng));
      for (int i = half; i < n; ++i)
        for (int j = 0; j < half; ++j)
          if (chance(rng) < 4.0 / (half + 1)) couple(i, j);
      break;
    case Shape::SaddlePoint:
      for (int i = 0; i < half; ++i) a(i, i) = std::pow(10.0, exponent(rng));
      for (int i = half; i < n; ++i) {
        couple(i, i - half);
        for (int j = 0; j < half; ++j)
          if (chance(rng) < 3.0 / (half + 1)) couple(i, j);
      }
      break;
    case Shape::Arrow:
      for (int i = 0; i < n; ++i) {
        a(i, i) = (i % 2 == 0 ? 2.0 : -2.0);
        if (i + 1 < n && i % 2 != (n - 1) % 2) couple(i, n - 1);
      }
      break;
    case Shape::Disconnected:
      for (int i = 0; i < n; ++i) a(i, i) = (i % 3 == 0 ? -3.0 : 3.0);
      for (int i = 0; i + 1 < n; ++i)
        if (i % 5 != 4 && (i % 3 == 0 || (i + 1) % 3 == 0)) couple(i, i + 1);
      break;
    case Shape::Dense:
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) couple(i, j);
      break;
    case Shape::Zero:
      break;
    case Shape::Indefinite:
      for (int i = 0; i < n; ++i) a(i, i) = uniform(rng);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < j; ++i)
          if (chance(rng) < 3.0 / (n + 1)) couple(i, j);
      break;
    case Shape::Diagonal:
      for (int i = 0; i < n; ++i) a(i, i) = (chance(rng) < 0.5 ? -1.0 : 1.0) * std::pow(10.0, exponent(rng));
      break;
  }
  return a;
}

}  // namespace qztest
