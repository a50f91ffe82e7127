// The basis of an answer as a file.
#pragma once

#include <cstdio>

#include "model_files/model_file.h"
#include "qzlp.h"

namespace qzlpApp {

using qzfiles::ModelFile;

// Writes the basis of the last solve in the MPS basis format. Each basic column stands in a line with a row that is not
// basic: XL when the row is at its lower side, XU at its upper one. UL names a column at its upper bound, with its
// value in the number field: the format leaves that open, and some readers overlook a line without it. What is not
// named is where the format expects it: rows basic, columns at their lower bound or free. False when the file could not
// be written to its end. The solve must have left a basis.
bool writeBasis(std::FILE* file, const ModelFile& model, const qzlp* lp);

}  // namespace qzlpApp
