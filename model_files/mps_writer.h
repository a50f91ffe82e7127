// Writes a model as a free MPS file that every digit of it can be read back from.
#pragma once

#include <cstdio>

#include "model_files/model_file.h"

namespace qzfiles {

// The whole model in free MPS form: sense, constant, rows, columns, ranges, bounds, the quadratic
// objective. Numbers are the shortest that give
// the same double again. When a name can't stand in a free file (empty, with a blank, told twice, or one that the
// format would misread), all names of its kind are numbered instead. False when not all of it reached the file.
bool writeMps(std::FILE* file, const ModelFile& model);

}  // namespace qzfiles
