#include "diagnostics/export.h"

#include "qzipsolve/file_module.h"
#include "shell/format_buffer.h"
#include "shell/host_table.h"

namespace qz {

namespace {

constexpr int64_t kLineLength = 256;
constexpr double kNoBound = 1e20;

// A text file of the module qzfile. Whatever fails, all that follows does nothing, and the result is 10.
class TextFile {
 public:
  template <int32_t size>
  explicit TextFile(const wchar_t (&name)[size]) {
    QzHostTable* host = Exported_QZHandle;
    if (host == nullptr) return;
    module_ = host->loadExtension(host, L"qzfile", 6, 0);
    if (module_ == nullptr) return;
    const QzOpenFile open = reinterpret_cast<QzFileModule*>(module_)->open;
    if (open == nullptr) return;
    QzFileAttributes attributes{};
    attributes.accessMethod = L"DISK";
    attributes.accessMethodLength = 4;
    attributes.extension = L"txt";
    attributes.extensionLength = 3;
    attributes.lineLength = kLineLength;
    attributes.inputKind = 2;
    attributes.outputKind = 3;
    int32_t rc = 0;
    file_ = open(module_, name, size - 1, &attributes, 0, 0, L"IPM_IO", &rc, 0, &rc);
    good_ = file_ != nullptr && rc == 0;
  }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile() { (void)finish(); }

  template <class... Arguments>
  void line(const wchar_t* format, Arguments... arguments) {
    if (!good_) return;
    wchar_t buffer[kLineLength];
    const int64_t length = qzzFormatBuff(buffer, kLineLength, format, arguments...);
    good_ =
        length >= 0 && file_->writeLine(file_, buffer, length * static_cast<int64_t>(sizeof(wchar_t)), 0, 0, 0) == 0;
  }
  // Closes the file and gives the module back. 0 or 10.
  [[nodiscard]] int32_t finish() {
    if (file_ != nullptr && file_->close(file_) != 0) good_ = false;
    file_ = nullptr;
    if (module_ != nullptr && module_->unload != nullptr) module_->unload(module_);
    module_ = nullptr;
    return good_ ? QZ_STATUS_OK : QZ_STATUS_FAILED;
  }

 private:
  QzModule* module_ = nullptr;
  QzFile* file_ = nullptr;
  bool good_ = false;
};

// The name of a row or column as wide text: the given one, or a letter and seven digits.
struct Name {
  wchar_t text[kLineLength];
  int64_t length;

  Name(const char* const* names, int32_t k, wchar_t letter) {
    length = names != nullptr ? qzzFormatBuff(text, kLineLength, L"%-8hs", names[k])
                              : qzzFormatBuff(text, kLineLength, L"%c%07d", static_cast<int>(letter), k);
  }
};

class MpsWriter {
 public:
  MpsWriter(TextFile& file, const LpRecord* record, const char* const* rowNames, const char* const* colNames)
      : file_(file), record_(record), rowNames_(rowNames), colNames_(colNames) {}

  void write() {
    file_.line(L"NAME");
    writeRows();
    file_.line(L"COLUMNS");
    for (int32_t j = 0; j < record_->numCol; ++j) writeColumn(j);
    writeRhs();
    writeRanges();
    file_.line(L"BOUNDS");
    for (int32_t j = 0; j < record_->numCol; ++j) writeBounds(j);
    file_.line(L"ENDATA");
  }

 private:
  [[nodiscard]] Name row(int32_t i) const { return {rowNames_, i, L'R'}; }
  [[nodiscard]] Name col(int32_t j) const { return {colNames_, j, L'C'}; }

  void writeRows() {
    file_.line(L"ROWS");
    file_.line(L" N  OBJECTIV");
    for (int32_t i = 0; i < record_->numRow; ++i)
      file_.line(L"%2c  %-8s", static_cast<int>(record_->rowSense[i]), row(i).text);
  }

  // Elements go out two to a line, the cost first when there is one; an odd one ends the column alone.
  void writeColumn(int32_t j) {
    const Name column = col(j);
    const double cost = record_->obj[j];
    int32_t k = record_->colBegin[j];
    const int32_t end = k + record_->colLength[j];
    if (cost != 0.0) {
      if (k == end)
        single(column, L"OBJECTIV", cost);
      else
        pair(column, L"OBJECTIV", cost, row(record_->rowIndex[k]).text, record_->matValue[k]);
      ++k;
    }
    for (; k + 1 < end; k += 2)
      pair(column, row(record_->rowIndex[k]).text, record_->matValue[k], row(record_->rowIndex[k + 1]).text,
           record_->matValue[k + 1]);
    if (k < end) single(column, row(record_->rowIndex[k]).text, record_->matValue[k]);
  }
  void single(const Name& column, const wchar_t* name, double value) {
    file_.line(L"    %-8s  %-8s  %12.g", column.text, name, value);
  }
  void pair(const Name& column, const wchar_t* one, double value, const wchar_t* other, double otherValue) {
    file_.line(L"    %-8s  %-8s  %12.g   %-8s  %12.g", column.text, one, value, other, otherValue);
  }

  void writeRhs() {
    file_.line(L"RHS");
    for (int32_t i = 0; i < record_->numRow; ++i)
      if (record_->rhs[i] != 0.0) file_.line(L"    %-8s  %-8s  %12.g", L".RHS.", row(i).text, record_->rhs[i]);
  }
  void writeRanges() {
    file_.line(L"RANGES");
    for (int32_t i = 0; i < record_->numRow; ++i) {
      if (record_->rowSense[i] != 'R' && record_->rowSense[i] != 'r') continue;
      const double width = record_->range != nullptr ? record_->range[i] : 0.0;
      file_.line(L"    %-8s  %-8s  %12.g", L".RANGES.", row(i).text, width);
    }
  }

  void writeBounds(int32_t j) {
    const double l = record_->lower[j];
    const double u = record_->upper[j];
    const bool hasLower = l > -kNoBound;
    const bool hasUpper = u < kNoBound;
    if (l == 0.0 && !hasUpper) return;  // the bounds that a column has without a line
    if (!hasLower && !hasUpper) {
      mark(L"FR", j);
      return;
    }
    if (!hasLower) {
      mark(L"MI", j);
      bound(L"UP", j, u);
      return;
    }
    if (hasUpper && l == u) {
      bound(L"FX", j, l);
      return;
    }
    if (!hasUpper || l != 0.0) bound(L"LO", j, l);
    if (hasUpper) bound(L"UP", j, u);
  }
  void mark(const wchar_t* kind, int32_t j) { file_.line(L" %2s %-8s  %-8s", kind, L".BOUNDS.", col(j).text); }
  void bound(const wchar_t* kind, int32_t j, double value) {
    file_.line(L" %2s %-8s  %-8s  %12.g", kind, L".BOUNDS.", col(j).text, value);
  }

  TextFile& file_;
  const LpRecord* record_;
  const char* const* rowNames_;
  const char* const* colNames_;
};

}  // namespace

int32_t ipmOutputMPS(const LpRecord* lpRecord, const char* const* rowNames, const char* const* colNames) {
  TextFile file(L"lp.mps");
  MpsWriter(file, lpRecord, rowNames, colNames).write();
  return file.finish();
}

int32_t ipmOutputMatrix(const Ipm* ipm) {
  TextFile file(L"temp.matrix");
  file.line(L"%d %d %d", ipm->numRow, ipm->numRow, ipm->numIpmCoef);
  for (int32_t i = 0; i <= ipm->numRow; ++i) file.line(L"%d", ipm->ipmColBegin[i]);
  for (int32_t e = 0; e < ipm->numIpmCoef; ++e) file.line(L"%d", ipm->ipmRowIndex[e]);
  file.line(L"Values");
  for (int32_t e = 0; e < ipm->numIpmCoef; ++e) file.line(L"%-15.9f", ipm->ipmMatValue[e]);
  return file.finish();
}

}  // namespace qz
