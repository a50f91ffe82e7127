// Fill and time of the ordering engines over meshes and the patterns of model files, beside METIS node dissection and
// the approximate minimum degree ordering of SuiteSparse where they are installed.
//
// "table" is what the choice table names. Time is the processor time of the calling thread, the least of some runs.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/service_table.h"
#include "ordering/order_graph.h"
#include "ordering_graphs.h"
#include "qzipsolve/instance.h"
#include "sparse/la_env.h"

#ifdef QZ_BENCH_METIS
#include <metis.h>
#endif
#ifdef QZ_BENCH_AMD
#include <amd.h>
#endif

namespace {

using qzbench::Array;
using qzbench::at;
using qzbench::Fill;
using qzbench::Graph;

enum Engine { TABLE, DISSECTION, DEGREE, FILL, METIS, AMD, ENGINES };
constexpr const char* engineNames[ENGINES] = {"table", "nd", "amd", "amf", "metis", "ss-amd"};

struct Measure {
  bool valid = false;
  int32_t method = -1;  // of ours: the engine that ran
  Fill fill;
  double seconds = 0.0;
};

struct Row {
  std::string group;
  std::string name;
  Measure by[ENGINES];
};

double processorTime() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// The least time of several runs, which together take about a tenth of a second.
template <class Run>
double leastTime(int repeats, Run run) {
  double least = std::numeric_limits<double>::infinity();
  double total = 0.0;
  for (int k = 0; k < repeats && total < 0.1; ++k) {
    const double seconds = run();
    least = std::min(least, seconds);
    total += seconds;
  }
  return least;
}

struct Settings {
  QzPool* pool;
  int32_t seed;
  int repeats;
};

Measure orderByUs(const Settings& settings, const Graph& graph, int32_t kind, int32_t request) {
  Measure m;
  Array perm(at(graph.n)), invPerm(at(graph.n)), groupId(at(graph.n)), work(8 * at(graph.n) + 8);
  qz::LAEnv env{};
  env.memory = settings.pool;
  int32_t status = 0;
  m.seconds = leastTime(settings.repeats, [&] {
    Array begin = graph.begin;
    Array list = graph.list;
    list.resize(list.size() + at(graph.n));
    int32_t numDense = 0;
    m.method = request;
    const double start = processorTime();
    status = qz::OrderGraph(&env, graph.n, begin.data(), list.data(), static_cast<int32_t>(list.size()), kind, nullptr,
                            kind == 0 ? 0 : 1, perm.data(), invPerm.data(), &numDense, &m.method, 1, 0, groupId.data(),
                            settings.seed, work.data(), 0.0, -1.0);
    return processorTime() - start;
  });
  m.valid = status == 0;
  if (m.valid) m.fill = qzbench::fillOf(graph, invPerm);
  return m;
}

Measure orderByMetis([[maybe_unused]] const Settings& settings, [[maybe_unused]] const Graph& graph) {
  Measure m;
#ifdef QZ_BENCH_METIS
  std::vector<idx_t> perm(at(graph.n)), invPerm(at(graph.n));
  int status = METIS_OK;
  m.seconds = leastTime(settings.repeats, [&] {
    std::vector<idx_t> begin(graph.begin.begin(), graph.begin.end());
    std::vector<idx_t> list(graph.list.begin(), graph.list.end());
    idx_t n = graph.n;
    const double start = processorTime();
    status = METIS_NodeND(&n, begin.data(), list.data(), nullptr, nullptr, perm.data(), invPerm.data());
    return processorTime() - start;
  });
  m.valid = status == METIS_OK;
  if (m.valid) m.fill = qzbench::fillOf(graph, Array(invPerm.begin(), invPerm.end()));
#endif
  return m;
}

Measure orderByAmd([[maybe_unused]] const Settings& settings, [[maybe_unused]] const Graph& graph) {
  Measure m;
#ifdef QZ_BENCH_AMD
  Array perm(at(graph.n)), invPerm(at(graph.n));
  int status = AMD_OK;
  m.seconds = leastTime(settings.repeats, [&] {
    const double start = processorTime();
    status = amd_order(graph.n, graph.begin.data(), graph.list.data(), perm.data(), nullptr, nullptr);
    return processorTime() - start;
  });
  m.valid = status == AMD_OK || status == AMD_OK_BUT_JUMBLED;
  for (int32_t k = 0; m.valid && k < graph.n; ++k) invPerm[at(perm[at(k)])] = k;
  if (m.valid) m.fill = qzbench::fillOf(graph, invPerm);
#endif
  return m;
}

Row measure(const Settings& settings, const std::string& group, const Graph& graph, int32_t kind) {
  Row row{group, graph.name, {}};
  row.by[TABLE] = orderByUs(settings, graph, kind, qz::ORDER_AUTOMATIC);
  row.by[DISSECTION] = orderByUs(settings, graph, kind, qz::ORDER_NESTED_DISSECTION);
  row.by[DEGREE] = orderByUs(settings, graph, kind, qz::ORDER_AMD);
  row.by[FILL] = orderByUs(settings, graph, kind, qz::ORDER_AMF);
  row.by[METIS] = orderByMetis(settings, graph);
  row.by[AMD] = orderByAmd(settings, graph);
  return row;
}

void printRow(const Row& row, const Graph& graph) {
  std::printf("%-10s %-22s n %8d  degree %7.2f\n", row.group.c_str(), row.name.c_str(), graph.n, graph.averageDegree());
  const char* const methods[] = {"amd", "amf", "nd", "as it stands"};
  for (int e = 0; e < ENGINES; ++e) {
    const Measure& m = row.by[e];
    if (!m.valid) continue;
    std::printf("    %-7s %14.0f entries %12.4g flops %10.4f s  %s\n", engineNames[e], m.fill.entries, m.fill.flops,
                m.seconds, m.method >= 0 ? methods[m.method] : "");
  }
}

void writeTsv(const std::string& path, const std::vector<Row>& rows) {
  std::ofstream out(path);
  out << "group\tgraph\tengine\tmethod\tentries\tflops\tseconds\n";
  for (const Row& row : rows) {
    for (int e = 0; e < ENGINES; ++e) {
      const Measure& m = row.by[e];
      if (!m.valid) continue;
      out << row.group << '\t' << row.name << '\t' << engineNames[e] << '\t' << m.method << '\t' << std::fixed
          << m.fill.entries << '\t' << m.fill.flops << '\t' << m.seconds << '\n';
    }
  }
}

// exp of the mean of the logarithms.
class GeometricMean {
 public:
  void add(double ratio) {
    sum_ += std::log(ratio);
    ++count_;
  }
  [[nodiscard]] double value() const { return count_ == 0 ? 0.0 : std::exp(sum_ / count_); }

 private:
  double sum_ = 0.0;
  int count_ = 0;
};

double bestFill(const Row& row, const std::vector<Engine>& engines) {
  double best = std::numeric_limits<double>::infinity();
  for (const Engine e : engines) {
    if (row.by[e].valid) best = std::min(best, row.by[e].fill.entries);
  }
  return best;
}

// What the means of an engine are taken over.
struct Means {
  GeometricMean fillToBetter, fillToMetis, fillToAmd, flopsToBetter, timeToMetis;
};

void printMeans(const std::string& title, const std::vector<const Row*>& rows) {
  if (rows.empty()) return;
  Means means[ENGINES];
  GeometricMean best;
  for (const Row* row : rows) {
    const Measure& metis = row->by[METIS];
    const Measure& amd = row->by[AMD];
    const double betterFill = std::min(metis.fill.entries, amd.fill.entries);
    for (int e = 0; e < ENGINES; ++e) {
      const Measure& m = row->by[e];
      means[e].fillToBetter.add(m.fill.entries / betterFill);
      means[e].fillToMetis.add(m.fill.entries / metis.fill.entries);
      means[e].fillToAmd.add(m.fill.entries / amd.fill.entries);
      means[e].flopsToBetter.add(m.fill.flops / std::min(metis.fill.flops, amd.fill.flops));
      means[e].timeToMetis.add((m.seconds + 1e-6) / (metis.seconds + 1e-6));
    }
    best.add(bestFill(*row, {DISSECTION, DEGREE, FILL}) / betterFill);
  }
  std::printf("\n%s, %zu graphs: geometric means\n%-14s %11s %11s %11s %11s %11s\n", title.c_str(), rows.size(), "",
              "fill/better", "fill/metis", "fill/ss-amd", "flops/bett.", "time/metis");
  for (int e = 0; e < ENGINES; ++e) {
    std::printf("%-14s %11.4f %11.4f %11.4f %11.4f %11.4f\n", engineNames[e], means[e].fillToBetter.value(),
                means[e].fillToMetis.value(), means[e].fillToAmd.value(), means[e].flopsToBetter.value(),
                means[e].timeToMetis.value());
  }
  std::printf("%-14s %11.4f\n", "best of ours", best.value());
}

// Geometric means over a group: fill relative to METIS, to SuiteSparse AMD and, graph by graph, to the better of the
// two. Once more without the graphs that are too dense to be ordered.
void printMeansOfGroup(const std::string& group, const std::vector<Row>& rows) {
  std::vector<const Row*> complete, ordered;
  for (const Row& row : rows) {
    if (row.group != group || !std::all_of(row.by, row.by + ENGINES, [](const Measure& m) { return m.valid; }))
      continue;
    complete.push_back(&row);
    if (row.by[TABLE].method != qz::ORDER_IDENTITY) ordered.push_back(&row);
  }
  printMeans(group, complete);
  if (ordered.size() < complete.size()) printMeans(group + ", without those left as they stand", ordered);
}

// Where the engine that the table names fills more than the best of the three, by 2 percent or more.
void printPoorChoices(const std::vector<Row>& rows) {
  std::printf("\nwhere the table chooses worse than the best of nd, amd and amf\n");
  std::vector<std::pair<double, const Row*>> poor;
  for (const Row& row : rows) {
    const double ratio = row.by[TABLE].fill.entries / bestFill(row, {DISSECTION, DEGREE, FILL});
    if (row.by[TABLE].valid && ratio >= 1.02) poor.emplace_back(ratio, &row);
  }
  std::sort(poor.begin(), poor.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  for (const auto& [ratio, row] : poor) {
    int best = DISSECTION;
    for (const int e : {DEGREE, FILL}) {
      if (row->by[e].fill.entries < row->by[best].fill.entries) best = e;
    }
    const char* const methods[] = {"amd", "amf", "nd", "none"};
    std::printf("  %-10s %-22s %8.3f  %s for %s\n", row->group.c_str(), row->name.c_str(), ratio,
                methods[row->by[TABLE].method], engineNames[best]);
  }
}

std::vector<std::string> filesIn(const std::vector<std::string>& paths) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    if (!std::filesystem::is_directory(path)) {
      files.push_back(path);
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

struct Request {
  std::vector<std::string> paths;
  std::vector<std::string> meshes;
  std::vector<std::string> grids;
  std::string pattern = "both";
  std::string tsv;
  bool standardMeshes = false;
  int32_t seed = 0;
  int repeats = 5;
};

void addStandardMeshes(Request& request) {
  for (const char* size : {"60x60", "100x100", "200x200", "400x400", "1000x100", "12x12x12", "20x20x20", "30x30x30"}) {
    request.meshes.emplace_back(size);
  }
  for (const char* size : {"60x60", "100x100", "200x200", "400x400"}) request.grids.emplace_back(size);
}

void runAll(const Request& request, QzPool* pool) {
  const Settings settings{pool, request.seed, request.repeats};
  std::vector<Row> rows;
  const auto add = [&](const char* group, const Graph& graph, int32_t kind) {
    if (graph.n == 0) return;
    rows.push_back(measure(settings, group, graph, kind));
    printRow(rows.back(), graph);
    std::fflush(stdout);
  };
  for (const std::string& file : filesIn(request.paths)) {
    try {
      if (request.pattern != "normal") add("augmented", qzbench::augmentedSystem(file), 1);
      if (request.pattern != "augmented") add("normal", qzbench::normalEquations(file), 0);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", file.c_str(), error.what());
    }
  }
  for (const auto& [sizes, diagonals] : {std::make_pair(request.meshes, false), std::make_pair(request.grids, true)}) {
    for (const std::string& size : sizes) {
      const Graph graph = qzbench::mesh(size, diagonals);
      if (request.pattern != "normal") add("mesh, 1", graph, 1);
      if (request.pattern != "augmented") add("mesh, 0", graph, 0);
    }
  }
#if !defined(QZ_BENCH_METIS) || !defined(QZ_BENCH_AMD)
  std::printf("\nno means: METIS or SuiteSparse was not there when this program was built\n");
#endif
  for (const char* group : {"augmented", "normal", "mesh, 1", "mesh, 0"}) printMeansOfGroup(group, rows);
  printPoorChoices(rows);
  if (!request.tsv.empty()) writeTsv(request.tsv, rows);
}

int measureAll(int count, char** arguments) {
  Request request;
  CLI::App app{"Fill and time of the orderings"};
  app.add_option("paths", request.paths, "model files and folders of them");
  app.add_option("--pattern", request.pattern, "augmented, normal or both")
      ->check(CLI::IsMember({"augmented", "normal", "both"}));
  app.add_option("--mesh", request.meshes, "WxH or WxHxD");
  app.add_option("--grid9", request.grids, "WxH, with diagonals");
  app.add_flag("--meshes", request.standardMeshes, "a standard set of meshes");
  app.add_option("--seed", request.seed, "of the dissection; 0 is its own");
  app.add_option("--repeats", request.repeats, "at most so many runs of an engine");
  app.add_option("--tsv", request.tsv, "write all measures to this file");
  CLI11_PARSE(app, count, arguments);
  if (request.standardMeshes) addStandardMeshes(request);
  QzHostTable* table = qzhost::hostTable();
  Exported_QZHandle = table;
  QzPoolParameters parameters{};
  QzPool* pool = table->createPool(table, &parameters, nullptr, L"bench", 0, 0);
  runAll(request, pool);
  pool->destroy(pool);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return measureAll(count, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_orderings: %s\n", error.what());
    return 1;
  }
}
