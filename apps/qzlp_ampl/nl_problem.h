// A problem that a modelling system has written as a .nl file.
#pragma once

#include <string>
#include <vector>

#include "model_files/model_file.h"

struct ASL;

namespace qzlpAmpl {

// What became of reading a file.
struct NlProblem {
  qzfiles::ModelFile model;
  std::string refusal;  // why this solver can't take it, in words; empty when it can
};

// Reads the file that `stub` names, without or with its ending .nl, into `asl`, and from it the model with objective
// number `objective` (from 1; 0 for none). A file that is missing or damaged ends the program with the library's
// message. Quadratic objectives are taken, in whatever form they are written; everything else that is not linear is
// refused. Integer variables become continuous, with a note.
NlProblem readNlProblem(ASL* asl, char* stub, int objective);

}  // namespace qzlpAmpl
