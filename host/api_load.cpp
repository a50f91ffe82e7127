// The C API: the model of a handle, from arrays or a file, and its changes.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include "host/api_handle.h"
#include "host/api_matrix.h"
#include "model_files/model_file.h"
#include "model_files/mps_writer.h"

using namespace qzhost;

namespace {

void replaceModel(qzlp* lp, std::unique_ptr<ModelData> data) {
  lp->model = std::move(data);
  lp->quadraticView = {};
  lp->solved = false;
}

int takeFile(qzlp* lp, qzfiles::ModelFile file) {
  auto data = std::make_unique<ModelData>();
  std::string error = takeModel(file.view(), *data);
  if (error.empty() && file.isQuadratic()) {
    const qzlp_quadratic quadratic = file.quadraticView();
    error = takeQuadratic(&quadratic, *data);
  }
  if (!error.empty()) return fail(lp, QZLP_ERROR_MODEL, error);
  data->name = std::move(file.name);
  data->colNames = std::move(file.colNames);
  data->rowNames = std::move(file.rowNames);
  data->notes = std::move(file.notes);
  replaceModel(lp, std::move(data));
  return QZLP_OK;
}

// Diagonal and strict lower triangle as one matrix.
PackedMatrix joinedTriangle(const QuadraticData& q) {
  PackedMatrix out;
  out.colBegin.push_back(0);
  for (size_t j = 0; j < q.diag.size(); ++j) {
    if (q.diag[j] != 0.0) {
      out.rowIndex.push_back(static_cast<int32_t>(j));
      out.value.push_back(q.diag[j]);
    }
    for (auto k = static_cast<size_t>(q.colBegin[j]); k < static_cast<size_t>(q.colBegin[j + 1]); ++k) {
      out.rowIndex.push_back(q.rowIndex[k]);
      out.value.push_back(q.value[k]);
    }
    out.colBegin.push_back(static_cast<int32_t>(out.rowIndex.size()));
  }
  out.numCoef = out.colBegin.back();
  return out;
}

qzlp_model viewOf(const ModelData& data) {
  const LpRecord& r = data.record;
  qzlp_model model{};
  model.numRow = r.numRow;
  model.numCol = r.numCol;
  model.numCoef = r.numCoef;
  model.objSense = r.objSense;
  model.objConstant = r.objConstant;
  model.colBegin = r.colBegin;
  model.colLength = r.colLength;
  model.rowIndex = r.rowIndex;
  model.matValue = r.matValue;
  model.obj = r.obj;
  model.lower = r.lower;
  model.upper = r.upper;
  model.rowSense = r.rowSense;
  model.rhs = r.rhs;
  model.range = r.range;
  return model;
}

// The model as the writer takes it. A row with an infinite side is a free one.
qzfiles::ModelFile fileOf(const ModelData& data) {
  const LpRecord& r = data.record;
  qzfiles::ModelFile file;
  file.name = data.name;
  file.objSense = r.objSense;
  file.objConstant = r.objConstant;
  file.colBegin.assign(r.colBegin, r.colBegin + r.numCol + 1);
  file.rowIndex.assign(r.rowIndex, r.rowIndex + r.numCoef);
  file.matValue.assign(r.matValue, r.matValue + r.numCoef);
  file.obj.assign(r.obj, r.obj + r.numCol);
  file.lower.assign(r.lower, r.lower + r.numCol);
  file.upper.assign(r.upper, r.upper + r.numCol);
  file.rowSense.assign(r.rowSense, r.rowSense + r.numRow);
  file.rhs.assign(r.rhs, r.rhs + r.numRow);
  file.range.assign(r.range, r.range + r.numRow);
  for (size_t i = 0; i < file.rhs.size(); ++i)
    if (std::fabs(file.rhs[i]) >= kInfinite) file.rowSense[i] = 'N';
  PackedMatrix triangle = joinedTriangle(data.quadratic);
  triangle.colBegin.resize(static_cast<size_t>(r.numCol) + 1, 0);
  file.quadBegin = std::move(triangle.colBegin);
  file.quadIndex = std::move(triangle.rowIndex);
  file.quadValue = std::move(triangle.value);
  file.colNames = data.colNames;
  file.rowNames = data.rowNames;
  return file;
}

int writeFile(qzlp* lp, const ModelData& data, const std::string& path) {
  const qzfiles::ModelFile model = fileOf(data);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "w"), std::fclose);
  if (file == nullptr) return fail(lp, QZLP_ERROR_FILE, path + ": " + std::strerror(errno));
  if (!qzfiles::writeMps(file.get(), model))
    return fail(lp, QZLP_ERROR_FILE, path + ": could not be written to its end");
  return QZLP_OK;
}

// A change of single numbers: the answer is no longer of this model.
template <class Change>
int changeModel(qzlp* lp, Change change) {
  return withModel(lp, [lp, &change](ModelData& data) {
    const std::string error = change(data);
    if (!error.empty()) return fail(lp, QZLP_ERROR_ARGUMENT, error);
    lp->solved = false;
    return static_cast<int>(QZLP_OK);
  });
}

std::string checkIndex(const char* what, int32_t index, int32_t count) {
  if (index >= 0 && index < count) return {};
  return std::string(what) + " is " + std::to_string(index) + ", but the model has " + std::to_string(count) + " " +
         what + "s";
}

template <class Change>
int changeColumn(qzlp* lp, int32_t column, Change change) {
  return changeModel(lp, [column, &change](ModelData& data) {
    const std::string error = checkIndex("column", column, data.record.numCol);
    return error.empty() ? change(data) : error;
  });
}

template <class Change>
int changeRowOf(qzlp* lp, int32_t row, Change change) {
  return changeModel(lp, [row, &change](ModelData& data) {
    const std::string error = checkIndex("row", row, data.record.numRow);
    return error.empty() ? change(data) : error;
  });
}

// `count` texts as names; null is none of them.
std::vector<std::string> namesOf(const char* const* texts, int32_t count) {
  if (texts == nullptr) return {};
  return {texts, texts + count};
}

bool holdsNull(const char* const* texts, int32_t count) {
  for (int32_t k = 0; texts != nullptr && k < count; ++k)
    if (texts[k] == nullptr) return true;
  return false;
}

// The name at `index`: "" when there are none, null for an index out of range.
const char* nameAt(const std::vector<std::string>& names, int32_t index, int32_t count) {
  if (index < 0 || index >= count) return nullptr;
  return names.empty() ? "" : names[static_cast<size_t>(index)].c_str();
}

}  // namespace

int qzlp_loadModel(qzlp* lp, const qzlp_model* model) {
  return guarded(lp, [lp, model] {
    if (model == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the model is null");
    auto data = std::make_unique<ModelData>();
    const std::string error = takeModel(*model, *data);
    if (!error.empty()) return fail(lp, QZLP_ERROR_MODEL, error);
    replaceModel(lp, std::move(data));
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_loadQuadratic(qzlp* lp, const qzlp_quadratic* quadratic) {
  return withModel(lp, [lp, quadratic](ModelData& data) {
    const std::string error = takeQuadratic(quadratic, data);
    if (!error.empty()) return fail(lp, QZLP_ERROR_MODEL, "quadratic part: " + error);
    lp->quadraticView = {};
    lp->solved = false;
    return static_cast<int>(QZLP_OK);
  });
}

int32_t qzlp_numRow(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? lp->model->record.numRow : 0;
}

int32_t qzlp_numCol(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? lp->model->record.numCol : 0;
}

int qzlp_getModel(qzlp* lp, qzlp_model* model) {
  return withModel(lp, [lp, model](ModelData& data) {
    if (model == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the place of the model is null");
    *model = viewOf(data);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_getQuadratic(qzlp* lp, qzlp_quadratic* quadratic) {
  return withModel(lp, [lp, quadratic](ModelData& data) {
    if (quadratic == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the place of the quadratic part is null");
    PackedMatrix& view = lp->quadraticView;
    if (view.colBegin.empty()) {
      view = joinedTriangle(data.quadratic);
      view.colBegin.resize(static_cast<size_t>(data.record.numCol) + 1, 0);
    }
    *quadratic = {QZLP_LOWER, view.numCoef, view.colBegin.data(), nullptr, view.rowIndex.data(), view.value.data()};
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_readModel(qzlp* lp, const char* path) {
  return guarded(lp, [lp, path] {
    if (path == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the path is null");
    try {
      return takeFile(lp, qzfiles::readModelFile(path));
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      return fail(lp, QZLP_ERROR_FILE, std::string(path) + ": " + error.what());
    }
  });
}

int qzlp_writeModel(qzlp* lp, const char* path) {
  return withModel(lp, [lp, path](const ModelData& data) {
    if (path == nullptr) return fail(lp, QZLP_ERROR_ARGUMENT, "the path is null");
    return writeFile(lp, data, path);
  });
}

int32_t qzlp_noteCount(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? static_cast<int32_t>(lp->model->notes.size()) : 0;
}

const char* qzlp_noteAt(const qzlp* lp, int32_t index) {
  return index >= 0 && index < qzlp_noteCount(lp) ? lp->model->notes[static_cast<size_t>(index)].c_str() : nullptr;
}

const char* qzlp_modelName(const qzlp* lp) {
  return lp != nullptr && lp->model != nullptr ? lp->model->name.c_str() : "";
}

const char* qzlp_columnName(const qzlp* lp, int32_t column) {
  return qzlp_numCol(lp) > 0 ? nameAt(lp->model->colNames, column, qzlp_numCol(lp)) : nullptr;
}

const char* qzlp_rowName(const qzlp* lp, int32_t row) {
  return qzlp_numRow(lp) > 0 ? nameAt(lp->model->rowNames, row, qzlp_numRow(lp)) : nullptr;
}

int qzlp_setNames(qzlp* lp, const char* model, const char* const* columns, const char* const* rows) {
  return withModel(lp, [=](ModelData& data) {
    const LpRecord& record = data.record;
    if (holdsNull(columns, record.numCol) || holdsNull(rows, record.numRow))
      return fail(lp, QZLP_ERROR_ARGUMENT, "a name is null");
    std::string name = model == nullptr ? "" : model;
    std::vector<std::string> colNames = namesOf(columns, record.numCol);
    std::vector<std::string> rowNames = namesOf(rows, record.numRow);
    data.name.swap(name);
    data.colNames.swap(colNames);
    data.rowNames.swap(rowNames);
    return static_cast<int>(QZLP_OK);
  });
}

int qzlp_setObjSense(qzlp* lp, int32_t objSense) {
  return changeModel(lp, [=](ModelData& data) { return changeObjSense(data, objSense); });
}

int qzlp_setObjConstant(qzlp* lp, double objConstant) {
  return changeModel(lp, [=](ModelData& data) { return changeObjConstant(data, objConstant); });
}

int qzlp_setCost(qzlp* lp, int32_t column, double cost) {
  return changeColumn(lp, column, [=](ModelData& data) { return changeCost(data, column, cost); });
}

int qzlp_setBounds(qzlp* lp, int32_t column, double lower, double upper) {
  return changeColumn(lp, column, [=](ModelData& data) { return changeBounds(data, column, lower, upper); });
}

int qzlp_setRhs(qzlp* lp, int32_t row, double rhs) {
  return changeRowOf(lp, row, [=](ModelData& data) {
    const char sense = data.rowSense[static_cast<size_t>(row)];
    if (sense == 'N') return "row " + std::to_string(row) + " has sense N and no right-hand side";
    return changeRow(data, row, sense, rhs, data.range[static_cast<size_t>(row)]);
  });
}

int qzlp_setRow(qzlp* lp, int32_t row, char sense, double rhs, double range) {
  return changeRowOf(lp, row, [=](ModelData& data) { return changeRow(data, row, sense, rhs, range); });
}

int qzlp_setElement(qzlp* lp, int32_t row, int32_t column, double value) {
  return changeRowOf(lp, row, [=](ModelData& data) {
    const std::string error = checkIndex("column", column, data.record.numCol);
    return error.empty() ? changeElement(data, row, column, value) : error;
  });
}
