// Reads a model file through CoinUtils into the arrays that the solver takes.
#pragma once

#include <string>
#include <vector>

#include "model_files/file_text.h"
#include "qzlp.h"

namespace qzfiles {

// A linear or quadratic program in memory, with names. The matrix stands by columns, without zeros, and so does the
// lower triangle of Q in the objective's 1/2 x'Qx, diagonal included.
struct ModelFile {
  std::string name;
  int32_t objSense = 1;
  double objConstant = 0.0;
  std::vector<int32_t> colBegin;  // numCol + 1
  std::vector<int32_t> rowIndex;
  std::vector<double> matValue;
  std::vector<int32_t> quadBegin;  // numCol + 1
  std::vector<int32_t> quadIndex;
  std::vector<double> quadValue;
  std::vector<double> obj, lower, upper;  // numCol
  std::vector<char> rowSense;             // numRow, of E L G R N
  std::vector<double> rhs, range;         // numRow
  std::vector<std::string> colNames, rowNames;
  std::vector<std::string> notes;  // what was read in another way than it stands, in words

  int32_t numRow() const { return static_cast<int32_t>(rowSense.size()); }
  int32_t numCol() const { return static_cast<int32_t>(obj.size()); }
  int32_t numCoef() const { return static_cast<int32_t>(rowIndex.size()); }
  int32_t numQuadCoef() const { return static_cast<int32_t>(quadIndex.size()); }  // each pair once
  bool isQuadratic() const { return !quadIndex.empty(); }
  qzlp_model view() const;  // pointers into this record
  qzlp_quadratic quadraticView() const;
};

// Fixed and free MPS and LP files, with a quadratic objective or without, plain, gzip or bzip2. LP where the name ends
// in .lp (before .gz or .bz2), MPS where it ends in .mps or .qps, else by the first word. Integer and semi-continuous
// columns are relaxed, with a note. Throws ModelFileError, whose words follow "FILE: ".
ModelFile readModelFile(const std::string& path);

// The same for the decompressed text of the file of that name.
ModelFile readModelText(const std::string& path, const std::string& content);

}  // namespace qzfiles
