// How well an answer meets the model as it was read, measured from model and answer alone.
#pragma once

#include <array>
#include <string>

#include "model_files/model_file.h"
#include "qzlp.h"

namespace qzlpApp {

using qzfiles::ModelFile;

// One measure of an answer. The absolute value is the largest violation of a single row or column, in the model's own
// units; the relative one is what tolerances are compared with.
struct Residual {
  double absolute = 0.0;
  double relative = 0.0;
  std::string where;  // the row or column of the largest violation, empty without one
};

// With the objective written as a minimisation, y the duals and d = obj + Q x - A'y:
//
//   rows             how far A x lies outside of the rows' sides; relative: the Euclidean norm of that over
//                    1 + the norm of the sides, of a range the larger one
//   bounds           how far x lies outside of its bounds; relative: the norm over 1 + the norm of the bounds
//   dual             how far y and d have a sign that no side or bound allows: above 0 without a lower one, below 0
//                    without an upper one; relative: the norm over 1 + the norm of obj
//   gap              the distance of the objective from the value that y and d prove that it can't pass,
//                    sum_i y_i side_i + sum_j d_j bound_j - x'Qx / 2, over the sides and bounds that their signs point
//                    to; relative: over 1 + |objective without its constant|
//   complementarity  the largest product of a y or d and the distance to that side or bound; relative: as the gap
struct Residuals {
  Residual rows, bounds, dual, gap, complementarity;
  double dualObjective = 0.0;  // in the model's sense, with its constant

  // Names and measures, in the order of the text above.
  struct Named {
    const char* name;  // for the summary
    const char* key;   // for the JSON object
    const Residual* residual;
  };
  std::array<Named, 5> all() const;
};

// The arrays are as long as the model's columns and rows. All sums are taken in extended precision.
Residuals residualsOf(const ModelFile& model, const double* primal, const double* dual);

}  // namespace qzlpApp
