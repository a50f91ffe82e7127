// computeMeasurement against the formulas written out in long double on dense data; computeMuAffine and computeSigma.
#include "engine/measures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/engine_case.h"

namespace {

using qztest::DenseModel;
using qztest::EngineCase;
using qztest::kNone;
using qztest::Matrix;
using qztest::RandomShape;
using qztest::TestHost;
using qztest::Vector;

struct Expected {
  long double objPrimal = 0, objDual = 0, complementarity = 0, primalInfeas = 0, dualInfeas = 0, boundInfeas = 0,
              dualityGap = 0, complRatio = 0;
  int pairs = 0;
  std::vector<long double> rhs;
};

// The definitions, straight from the dense model and the iterate.
Expected measure(const EngineCase& engine) {
  const DenseModel& model = engine.dense();
  const qz::Ipm& ipm = *engine.ipm;
  const int m = model.rows();
  const int n = model.cols();
  Expected expected;
  const auto pair = [&](long double s, long double z) {
    expected.complementarity += std::fabs(s * z);
    const long double low = std::min(std::fabs(s), std::fabs(z));
    const long double high = std::max(std::fabs(s), std::fabs(z));
    if (low > 1e-6L) expected.complRatio = std::max(expected.complRatio, low / high);
    ++expected.pairs;
  };
  long double quadratic = 0, dualSquares = 0, boundSquares = 0, primalSquares = 0;
  long double normC = 0, normB = 0, normL = 0, normU = 0;
  for (int j = 0; j < n; ++j) {
    const long double x = ipm.primal[j];
    long double qx = 0;
    for (int k = 0; model.quadratic() && k < n; ++k) qx += static_cast<long double>(model.Q(j, k)) * ipm.primal[k];
    quadratic += 0.5L * x * qx;
    long double residual = -static_cast<long double>(model.c[j]) - qx;
    for (int i = 0; i < m; ++i) residual += static_cast<long double>(model.A(i, j)) * ipm.dual[i];
    long double folded = residual;
    if (model.hasUpper(j)) {
      const long double gap = model.upper[j] - x, s = ipm.upperSlack[j], z = ipm.upperDual[j];
      residual -= z;
      folded -= z - z * gap / s;
      expected.objDual -= model.upper[j] * z;
      boundSquares += (gap - s) * (gap - s);
      normU += static_cast<long double>(model.upper[j]) * model.upper[j];
      pair(s, z);
    }
    if (model.hasLower(j)) {
      const long double gap = x - model.lower[j], s = ipm.lowerSlack[j], z = ipm.lowerDual[j];
      residual += z;
      folded += z - z * gap / s;
      expected.objDual += model.lower[j] * z;
      boundSquares += (gap - s) * (gap - s);
      normL += static_cast<long double>(model.lower[j]) * model.lower[j];
      pair(s, z);
    }
    expected.rhs.push_back(folded);
    dualSquares += residual * residual;
    expected.objPrimal += model.c[j] * x;
    normC += static_cast<long double>(model.c[j]) * model.c[j];
  }
  for (int i = 0; i < m; ++i) {
    long double activity = 0;
    for (int j = 0; j < n; ++j) activity += static_cast<long double>(model.A(i, j)) * ipm.primal[j];
    const bool inequality = model.sense[static_cast<size_t>(i)] == 'G';
    const long double s = inequality ? ipm.ineqnSlack[i] : 0.0;
    primalSquares += (activity - s - model.b[i]) * (activity - s - model.b[i]);
    expected.rhs.push_back(activity - model.b[i]);
    expected.objDual += static_cast<long double>(model.b[i]) * ipm.dual[i];
    normB += static_cast<long double>(model.b[i]) * model.b[i];
    if (inequality) pair(s, ipm.dual[i]);
  }
  expected.objPrimal += quadratic;
  expected.objDual -= quadratic;
  expected.primalInfeas = std::sqrt(primalSquares) / (1 + std::sqrt(normB));
  expected.dualInfeas = std::sqrt(dualSquares) / (1 + std::sqrt(normC));
  expected.boundInfeas = std::sqrt(boundSquares) / (1 + std::sqrt(normL) + std::sqrt(normU));
  expected.dualityGap = std::fabs(expected.objPrimal - expected.objDual) / (1 + std::fabs(expected.objPrimal));
  return expected;
}

void expectClose(double actual, long double expected, const char* what) {
  const double scale = std::max(1.0, static_cast<double>(std::fabs(expected)));
  EXPECT_NEAR(actual, static_cast<double>(expected), 1e-11 * scale) << what;
}

void compare(const EngineCase& engine) {
  const Expected expected = measure(engine);
  const qz::Ipm& ipm = *engine.ipm;
  expectClose(ipm.objValuePrimal, expected.objPrimal, "objValuePrimal");
  expectClose(ipm.objValueDual, expected.objDual, "objValueDual");
  expectClose(ipm.complementarity, expected.complementarity, "complementarity");
  expectClose(ipm.primalInfeas, expected.primalInfeas, "primalInfeas");
  expectClose(ipm.dualInfeas, expected.dualInfeas, "dualInfeas");
  expectClose(ipm.boundInfeas, expected.boundInfeas, "boundInfeas");
  expectClose(ipm.dualityGap, expected.dualityGap, "dualityGap");
  expectClose(ipm.complRatio, expected.complRatio, "complRatio");
  EXPECT_EQ(ipm.numCompl, expected.pairs);
  if (expected.pairs > 0) expectClose(ipm.mu, expected.complementarity / expected.pairs, "mu");
  for (int k = 0; k < ipm.numDim; ++k)
    expectClose(ipm.rhsPredictor[k], expected.rhs[static_cast<size_t>(k)], "rhsPredictor");
}

TEST(Measurement, AgreesWithDenseLongDoubleFormulas) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape;
    shape.rows = static_cast<int>(seed % 9);
    shape.cols = 1 + static_cast<int>(seed % 14);
    shape.quadratic = seed % 2 == 0;
    shape.quadDensity = seed % 4 == 0 ? 0.4 : 0.0;
    shape.ineqnShare = 0.25 * static_cast<double>(seed % 5);
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    qz::computeMeasurement(engine.ipm);
    compare(engine);
  }
}

TEST(Measurement, QuadraticModelWithoutOffDiagonalElementsUsesItsDiagonal) {
  TestHost host;
  std::mt19937 random(77);
  RandomShape shape;
  shape.quadratic = true;
  shape.quadDensity = 0.0;
  DenseModel dense = randomModel(random, shape);
  dense.Q = Matrix(dense.Q.diagonal().asDiagonal());
  EngineCase engine(host, dense);
  engine.model.quadColBegin = nullptr;  // need not exist
  engine.model.quadColLength = nullptr;
  engine.model.quadRowIndex = nullptr;
  engine.model.quadMatValue = nullptr;
  ASSERT_TRUE(engine.start());
  ASSERT_EQ(engine.ipm->numQuadCoef, 0);
  engine.randomIterate(random);
  qz::computeMeasurement(engine.ipm);
  compare(engine);
}

TEST(Measurement, ModelWithoutRowsHasNoPrimalResidualAndStillAGap) {
  TestHost host;
  std::mt19937 random(3);
  RandomShape shape;
  shape.rows = 0;
  EngineCase engine(host, randomModel(random, shape));
  ASSERT_TRUE(engine.start());
  engine.randomIterate(random);
  qz::computeMeasurement(engine.ipm);
  EXPECT_EQ(engine.ipm->primalInfeas, 0.0);
  EXPECT_GT(engine.ipm->dualityGap, 0.0);
  compare(engine);
}

TEST(Measurement, FreeColumnEntersTheDualResidualAsItStands) {
  TestHost host;
  DenseModel dense;
  dense.A = Matrix{{2.0}};
  dense.c = Vector::Constant(1, 3.0);
  dense.b = Vector::Constant(1, 4.0);
  dense.lower = Vector::Constant(1, -kNone);
  dense.upper = Vector::Constant(1, kNone);
  dense.sense = "E";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  engine.ipm->primal[0] = 5.0;
  engine.ipm->dual[0] = 7.0;
  qz::computeMeasurement(engine.ipm);
  EXPECT_DOUBLE_EQ(engine.ipm->rhsPredictor[0], 11.0);  // 2*7 - 3
  EXPECT_DOUBLE_EQ(engine.ipm->rhsPredictor[1], 6.0);   // 2*5 - 4
  EXPECT_DOUBLE_EQ(engine.ipm->dualInfeas, 11.0 / 4.0);
  EXPECT_DOUBLE_EQ(engine.ipm->primalInfeas, 6.0 / 5.0);
  EXPECT_EQ(engine.ipm->boundInfeas, 0.0);
  EXPECT_TRUE(std::isnan(engine.ipm->mu));  // no pair: compares false in every test
}

TEST(Measurement, RowPartOfTheRightHandSideKeepsTheSlack) {
  TestHost host;
  DenseModel dense;
  dense.A = Matrix{{1.0}};
  dense.c = Vector::Zero(1);
  dense.b = Vector::Constant(1, 1.0);
  dense.lower = Vector::Zero(1);
  dense.upper = Vector::Constant(1, kNone);
  dense.sense = "G";
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  engine.ipm->primal[0] = 4.0;
  engine.ipm->lowerSlack[0] = 4.0;
  engine.ipm->lowerDual[0] = 1.0;
  engine.ipm->ineqnSlack[0] = 3.0;
  engine.ipm->dual[0] = 2.0;
  qz::computeMeasurement(engine.ipm);
  EXPECT_EQ(engine.ipm->primalInfeas, 0.0);
  EXPECT_DOUBLE_EQ(engine.ipm->rhsPredictor[1], 3.0);
}

// One column with a lower bound: the only pair is (slack, dual).
double ratioOfPair(TestHost& host, double slack, double dual) {
  DenseModel dense;
  dense.A = Matrix::Zero(0, 1);
  dense.c = Vector::Zero(1);
  dense.b = Vector::Zero(0);
  dense.lower = Vector::Zero(1);
  dense.upper = Vector::Constant(1, kNone);
  EngineCase engine(host, dense);
  EXPECT_TRUE(engine.start());
  engine.ipm->lowerSlack[0] = slack;
  engine.ipm->lowerDual[0] = dual;
  qz::computeMeasurement(engine.ipm);
  return engine.ipm->complRatio;
}

TEST(Measurement, PairRatioCountsOnlyAboveTheFloor) {
  TestHost host;
  EXPECT_EQ(ratioOfPair(host, 1e-6, 1e-6), 0.0);  // at the floor, whatever the ratio
  EXPECT_EQ(ratioOfPair(host, 1e-6, 100.0), 0.0);
  EXPECT_EQ(ratioOfPair(host, 100.0, 9e-7), 0.0);
  const double above = std::nextafter(1e-6, 1.0);
  EXPECT_DOUBLE_EQ(ratioOfPair(host, above, above), 1.0);
  EXPECT_DOUBLE_EQ(ratioOfPair(host, 2.0, 0.5), 0.25);
  EXPECT_DOUBLE_EQ(ratioOfPair(host, 0.5, 2.0), 0.25);
  EXPECT_DOUBLE_EQ(ratioOfPair(host, 0.5, -2.0), 0.25);  // by magnitude
}

TEST(Measurement, DualObjectiveTakesBothBounds) {
  TestHost host;
  DenseModel dense;
  dense.A = Matrix::Zero(0, 1);
  dense.c = Vector::Constant(1, 1.0);
  dense.b = Vector::Zero(0);
  dense.lower = Vector::Constant(1, 2.0);
  dense.upper = Vector::Constant(1, 5.0);
  EngineCase engine(host, dense);
  ASSERT_TRUE(engine.start());
  engine.ipm->primal[0] = 3.0;
  engine.ipm->lowerSlack[0] = 1.0;
  engine.ipm->upperSlack[0] = 2.0;
  engine.ipm->lowerDual[0] = 1.5;
  engine.ipm->upperDual[0] = 0.5;
  qz::computeMeasurement(engine.ipm);
  EXPECT_DOUBLE_EQ(engine.ipm->objValuePrimal, 3.0);
  EXPECT_DOUBLE_EQ(engine.ipm->objValueDual, 2.0 * 1.5 - 5.0 * 0.5);
  EXPECT_DOUBLE_EQ(engine.ipm->complementarity, 1.5 + 1.0);
  EXPECT_EQ(engine.ipm->dualInfeas, 0.0);
  EXPECT_EQ(engine.ipm->boundInfeas, 0.0);
}

TEST(MuAffine, IsTheAverageProductAtTheEndOfTheStep) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    RandomShape shape;
    shape.ineqnShare = seed % 3 == 0 ? 0.2 : 0.9;  // below and above the share where the list gives way to the scan
    EngineCase engine(host, randomModel(random, shape));
    ASSERT_TRUE(engine.start());
    engine.randomIterate(random);
    qz::Ipm* ipm = engine.ipm;
    std::normal_distribution<double> normal;
    for (int j = 0; j < ipm->numCol; ++j)
      for (double* delta : {ipm->upperSlackDelta, ipm->upperDualDelta, ipm->lowerSlackDelta, ipm->lowerDualDelta})
        delta[j] = normal(random);
    for (int k = 0; k < ipm->numDim; ++k) ipm->rhsPredictor[k] = normal(random);
    for (int i = 0; i < ipm->numRow; ++i) ipm->ineqnSlackDelta[i] = normal(random);
    ipm->alphaPrimal = 0.7;
    ipm->alphaDual = 0.3;
    qz::computeMuAffine(ipm);

    long double sum = 0;
    for (int j = 0; j < ipm->numCol; ++j) {
      if (engine.dense().hasUpper(j))
        sum +=
            (ipm->upperSlack[j] + 0.7L * ipm->upperSlackDelta[j]) * (ipm->upperDual[j] + 0.3L * ipm->upperDualDelta[j]);
      if (engine.dense().hasLower(j))
        sum +=
            (ipm->lowerSlack[j] + 0.7L * ipm->lowerSlackDelta[j]) * (ipm->lowerDual[j] + 0.3L * ipm->lowerDualDelta[j]);
    }
    for (int i = 0; i < ipm->numRow; ++i)
      if (engine.dense().sense[static_cast<size_t>(i)] == 'G')
        sum += (ipm->ineqnSlack[i] + 0.7L * ipm->ineqnSlackDelta[i]) *
               (ipm->dual[i] + 0.3L * ipm->rhsPredictor[ipm->numCol + i]);
    EXPECT_NEAR(ipm->muAffine, static_cast<double>(sum / ipm->numCompl), 1e-12);
  }
}

TEST(MuAffine, ListAndScanGiveTheSame) {
  TestHost host;
  std::mt19937 random(5);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  ASSERT_TRUE(engine.start());
  engine.randomIterate(random);
  for (int k = 0; k < engine.ipm->numDim; ++k) engine.ipm->rhsPredictor[k] = 0.01 * k;
  engine.ipm->alphaPrimal = engine.ipm->alphaDual = 1.0;
  engine.ipm->denseRatio = 0.0;  // any G row is enough for the scan
  qz::computeMuAffine(engine.ipm);
  const double scanned = engine.ipm->muAffine;
  engine.ipm->denseRatio = 2.0;  // never
  qz::computeMuAffine(engine.ipm);
  EXPECT_NEAR(engine.ipm->muAffine, scanned, 1e-14);
}

TEST(Sigma, IsTheCubeOfTheRatioWithoutCapOrFloor) {
  TestHost host;
  std::mt19937 random(5);
  EngineCase engine(host, randomModel(random, RandomShape{}));
  ASSERT_TRUE(engine.start());
  engine.ipm->mu = 2.0;
  engine.ipm->muAffine = 1.0;
  qz::computeSigma(engine.ipm);
  EXPECT_DOUBLE_EQ(engine.ipm->sigma, 0.125);
  engine.ipm->muAffine = 4.0;
  qz::computeSigma(engine.ipm);
  EXPECT_DOUBLE_EQ(engine.ipm->sigma, 8.0);
  engine.ipm->muAffine = 2e-10;
  qz::computeSigma(engine.ipm);
  EXPECT_DOUBLE_EQ(engine.ipm->sigma, 1e-30);
}

}  // namespace
