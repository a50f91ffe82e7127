#include "basis_file.h"

namespace qzlpApp {

bool writeBasis(std::FILE* file, const ModelFile& model, const qzlp* lp) {
  const uint8_t* column = qzlp_columnBasis(lp);
  const uint8_t* row = qzlp_rowBasis(lp);
  const double* primal = qzlp_primal(lp);
  std::fprintf(file, "NAME          %s\n", model.name.c_str());
  size_t i = 0;
  for (size_t j = 0; j < model.colNames.size(); ++j) {
    const char* name = model.colNames[j].c_str();
    if (column[j] == QZLP_BASIS_UPPER) std::fprintf(file, " UL %-8s%12s%.12g\n", name, "", primal[j]);
    if (column[j] != QZLP_BASIS_BASIC) continue;
    while (i < model.rowNames.size() && row[i] == QZLP_BASIS_BASIC) ++i;
    if (i == model.rowNames.size()) return false;  // more basic columns than rows outside of the basis
    std::fprintf(file, " %s %-8s  %s\n", row[i] == QZLP_BASIS_UPPER ? "XU" : "XL", name, model.rowNames[i].c_str());
    ++i;
  }
  std::fprintf(file, "ENDATA\n");
  return std::fflush(file) == 0 && std::ferror(file) == 0;
}

}  // namespace qzlpApp
