// Solves a test's linear program through the C API.
#pragma once

#include <string>
#include <vector>

#include "models/linear_program.h"
#include "qzlp.h"

namespace models {

// The model in the arrays of the C API, which stay valid as long as this record.
class ApiModel {
 public:
  explicit ApiModel(const LinearProgram& program);
  qzlp_model view() const;
  qzlp_quadratic quadraticView() const;

 private:
  const LinearProgram& program_;
  std::vector<char> sense_;
  std::vector<double> rhs_, range_;
  std::vector<int> quadBegin_, quadRow_;
  std::vector<double> quadValue_;
};

// Options of the C API by name.
struct Choice {
  std::string name;
  double value;
};

// Solves by the C API in a handle of its own. Throws std::runtime_error when the library refuses the model.
Answer solve(const LinearProgram& program, const std::vector<Choice>& choices = {});

// False when the build's solver tells that it has no normal equations. Tests then say what they leave out.
bool hasNormalEquations();

// Solves in the given handle.
Answer solveIn(qzlp* lp, const LinearProgram& program);

}  // namespace models
