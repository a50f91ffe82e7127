// A primal-dual point on its way to a vertex, and the basis that goes with it.
#pragma once

#include <cstdint>

#include "basis_factor.h"
#include "program.h"

namespace qzsimpx {

// Where a variable stands. A variable that is `between` is outside of the basis but not at a bound: it still has to be
// pushed there, or it has no bound and stands at 0.
enum class Place : uint8_t { basic, lower, upper, between };

struct Point {
  Point(QzPool* itsPool, const Program& program);

  QzPool* pool;
  Array<double> x;  // numVar
  Array<double> y;  // numRow
  Array<double> d;  // numVar, reduced costs; 0 for what counts as interior
  Array<char>
      isInterior;       // numVar: on the optimal face off its bounds, by the complementary pair of the interior point
  Array<Place> place;   // numVar
  Array<int32_t> head;  // numRow: the variable in each position of the basis
  Array<int32_t> position;  // numVar: where a basic variable stands in the head

  [[nodiscard]] bool isBasic(int32_t j) const { return place[j] == Place::basic; }
};

// Distance to the nearer bound, +infinity without one.
[[nodiscard]] double slackOf(const Program& program, const Point& point, int32_t j);

// The bound that a variable is nearer to; between without one.
[[nodiscard]] Place nearerBound(const Program& program, const Point& point, int32_t j);

// Reads the interior answer of the record. Of each complementary pair the smaller side becomes 0: a variable whose
// reduced cost exceeds its slack goes to the bound, any other one is interior and its reduced cost becomes 0.
void readInterior(const Program& program, Point& point);

// Puts a nonbasic variable to the bound that its place tells.
void moveToBound(const Program& program, Point& point, int32_t j, Place bound);

// The basic variables from the equations and the others.
void computeBasics(const Program& program, Point& point, BasisFactor& factor);

// Factors the basis of the point and computes the basic variables anew. Variables that turn out dependent leave it and
// wait for a push where they are; activities of uncovered rows take their places.
void factorBasis(const Program& program, Point& point, BasisFactor& factor);

// Replaces the variable in position p of the basis by variable j, whose solved column stands in the factor, and factors
// anew when that is due. The leaving variable keeps the place that it was given.
void changeBasis(const Program& program, Point& point, BasisFactor& factor, int32_t p, int32_t j, double pivot);

}  // namespace qzsimpx
