// Solves every model of a folder, one process a model, and prints one row for each: status, objective, iterations,
// seconds, peak memory; then geometric means, and a TSV with the same rows. A peer, any command that takes a model
// file, runs side by side: model by model, in turn first and second, measured from outside in the same way.
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Settings {
  std::string folder;
  std::string solver;
  std::string options;  // words added to the solver's command line
  std::string peer;     // a shell command with {} for the model file; empty for none
  std::string tsv;
  std::string optima;  // a list of known optima; empty for none
  std::string filter;  // a regular expression on the path
  double limit = 600.0;
  int repeat = 1;
};

// What one run of a process showed.
struct Measured {
  int exitCode = -1;
  bool timedOut = false;
  double seconds = 0.0;  // wall clock of the process, reading included; the least of the repeats
  double peakMiB = 0.0;
  std::string status = "-";
  double objective = NAN;
  int iterations = -1;
};

std::string quotedForShell(const std::string& text) {
  std::string quoted(1, '\'');
  for (const char c : text) quoted.append(c == '\'' ? std::string("'\\''") : std::string(1, c));
  return quoted.append(1, '\'');
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Reads all that the process says until it closes its output, or ends its group at the limit.
std::string readOutput(int file, pid_t child, double limit, bool& timedOut) {
  const auto start = std::chrono::steady_clock::now();
  std::string text;
  std::array<char, 65536> buffer;
  for (;;) {
    const double left = limit - secondsSince(start);
    pollfd source{file, POLLIN, 0};
    const int ready = poll(&source, 1, timedOut ? -1 : std::max(0, static_cast<int>(left * 1000.0)));
    if (ready == 0) {
      kill(-child, SIGKILL);
      timedOut = true;
      continue;
    }
    const ssize_t count = read(file, buffer.data(), buffer.size());
    if (count <= 0) return text;
    text.append(buffer.data(), static_cast<size_t>(count));
  }
}

// Runs a shell command in a process group of its own. The output goes to `text`.
Measured runCommand(const std::string& command, double limit, std::string& text) {
  Measured measured;
  std::array<int, 2> pipeEnds{};
  if (pipe(pipeEnds.data()) != 0) return measured;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    dup2(pipeEnds[1], STDOUT_FILENO);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    const std::string line = std::string("exec ").append(command);
    execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipeEnds[1]);
  if (child < 0) {
    close(pipeEnds[0]);
    return measured;
  }
  text = readOutput(pipeEnds[0], child, limit, measured.timedOut);
  close(pipeEnds[0]);
  int state = 0;
  rusage usage{};
  wait4(child, &state, 0, &usage);
  measured.seconds = secondsSince(start);
  measured.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
  measured.exitCode = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
  return measured;
}

// What the run says of itself: a JSON object like ours, or else the last number behind the word objective.
void readAnswer(const std::string& text, Measured& measured) {
  const nlohmann::json object = nlohmann::json::parse(text, nullptr, false);
  if (object.is_object()) {
    if (object.contains("statusName") && object["statusName"].is_string()) measured.status = object["statusName"];
    if (object.contains("objective") && object["objective"].is_number()) measured.objective = object["objective"];
    if (object.contains("iterations") && object["iterations"].is_number()) measured.iterations = object["iterations"];
    return;
  }
  static const std::regex objective(R"(objective[^0-9+\-\n]*([+\-]?[0-9]+\.?[0-9]*([eE][+\-]?[0-9]+)?))",
                                    std::regex::icase);
  for (std::sregex_iterator match(text.begin(), text.end(), objective), end; match != end; ++match)
    measured.objective = std::stod((*match)[1]);
}

Measured measure(const std::string& command, const Settings& settings) {
  Measured best;
  for (int i = 0; i < settings.repeat; ++i) {
    std::string text;
    Measured one = runCommand(command, settings.limit, text);
    readAnswer(text, one);
    if (one.timedOut) one.status = "killed";
    if (!one.timedOut && one.status == "-" && one.exitCode != 0)
      one.status = std::string("exit ").append(std::to_string(one.exitCode));
    if (i == 0 || one.seconds < best.seconds) best = one;
  }
  return best;
}

struct Row {
  std::string model;
  Measured own, peer;
  double error = NAN;  // of the own objective against the list, relative
};

bool isModelFile(const fs::path& path) {
  static const std::regex name(R"(.*\.(mps|qps|lp)(\.gz|\.bz2)?$)", std::regex::icase);
  return std::regex_match(path.filename().string(), name);
}

std::vector<fs::path> findModels(const Settings& settings) {
  std::vector<fs::path> models;
  const std::regex filter(settings.filter);
  if (fs::is_regular_file(settings.folder)) return {settings.folder};
  for (const auto& entry : fs::recursive_directory_iterator(settings.folder))
    if (entry.is_regular_file() && isModelFile(entry.path()) && std::regex_search(entry.path().string(), filter))
      models.push_back(entry.path());
  std::sort(models.begin(), models.end());
  return models;
}

// From a list with the fields file, status, objective: the objectives of the optimal ones.
std::map<std::string, double> readOptima(const std::string& path) {
  std::map<std::string, double> optima;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string name;
    int status = 0;
    double objective = 0.0;
    if (line.empty() || line[0] == '#' || !(fields >> name >> status >> objective) || status != 1) continue;
    optima[name] = objective;
  }
  return optima;
}

double errorOf(const std::string& model, double objective, const std::map<std::string, double>& optima) {
  for (const auto& [name, known] : optima)
    if (model.size() >= name.size() && model.compare(model.size() - name.size(), name.size(), name) == 0)
      return std::fabs(objective - known) / (1.0 + std::fabs(known));
  return NAN;
}

// Runs shorter than this are counted as this long: below it a process costs more than the solve.
constexpr double shortest = 1e-3;

double geometricMean(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += std::log(value);
  return values.empty() ? NAN : std::exp(sum / static_cast<double>(values.size()));
}

void printRow(const Row& row, bool hasPeer) {
  std::printf("%-28s %-16s %20.12g %6d %9.3f %9.1f", row.model.c_str(), row.own.status.c_str(), row.own.objective,
              row.own.iterations, row.own.seconds, row.own.peakMiB);
  if (hasPeer)
    std::printf("   %-10s %20.12g %9.3f %9.1f %8.2f", row.peer.status.c_str(), row.peer.objective, row.peer.seconds,
                row.peer.peakMiB, std::max(row.own.seconds, shortest) / std::max(row.peer.seconds, shortest));
  if (!std::isnan(row.error)) std::printf("  error %.1e", row.error);
  std::printf("\n");
  std::fflush(stdout);
}

void printMeans(const std::vector<Row>& rows, bool hasPeer) {
  std::vector<double> seconds, memory, peerSeconds, peerMemory;
  size_t solved = 0;
  size_t peerSolved = 0;
  for (const Row& row : rows) {
    const bool own = row.own.exitCode == 0;
    const bool peer = row.peer.exitCode == 0;
    solved += own ? 1 : 0;
    peerSolved += peer ? 1 : 0;
    if (!own || (hasPeer && !peer)) continue;
    seconds.push_back(std::max(row.own.seconds, shortest));
    memory.push_back(row.own.peakMiB);
    peerSeconds.push_back(std::max(row.peer.seconds, shortest));
    peerMemory.push_back(std::max(row.peer.peakMiB, 0.1));
  }
  std::printf("\nsolved %zu of %zu (exit code 0)", solved, rows.size());
  if (hasPeer) std::printf(", peer %zu; the means are over the %zu that both solved", peerSolved, seconds.size());
  std::printf("\ngeometric means: %.4f s, %.1f MiB\n", geometricMean(seconds), geometricMean(memory));
  if (hasPeer)
    std::printf("           peer: %.4f s, %.1f MiB; ours over the peer's: %.3f in time, %.3f in memory\n",
                geometricMean(peerSeconds), geometricMean(peerMemory),
                geometricMean(seconds) / geometricMean(peerSeconds), geometricMean(memory) / geometricMean(peerMemory));
}

bool writeTsv(const std::vector<Row>& rows, const Settings& settings) {
  std::ofstream file(settings.tsv);
  file.precision(17);
  file << "model\tstatus\tobjective\titerations\tseconds\tpeakMiB\texitCode\terror";
  if (!settings.peer.empty()) file << "\tpeerStatus\tpeerObjective\tpeerSeconds\tpeerPeakMiB\tpeerExitCode";
  file << '\n';
  for (const Row& row : rows) {
    file << row.model << '\t' << row.own.status << '\t' << row.own.objective << '\t' << row.own.iterations << '\t'
         << row.own.seconds << '\t' << row.own.peakMiB << '\t' << row.own.exitCode << '\t' << row.error;
    if (!settings.peer.empty())
      file << '\t' << row.peer.status << '\t' << row.peer.objective << '\t' << row.peer.seconds << '\t'
           << row.peer.peakMiB << '\t' << row.peer.exitCode;
    file << '\n';
  }
  return file.good();
}

std::string peerCommand(const std::string& peer, const std::string& model) {
  std::string command = peer;
  const std::string quoted = quotedForShell(model);
  for (size_t place = command.find("{}"); place != std::string::npos; place = command.find("{}", place + quoted.size()))
    command.replace(place, 2, quoted);
  return command;
}

int bench(const Settings& settings) {
  const std::vector<fs::path> models = findModels(settings);
  if (models.empty()) {
    std::fprintf(stderr, "qzlp_bench: %s: no model files\n", settings.folder.c_str());
    return 2;
  }
  const std::map<std::string, double> optima = readOptima(settings.optima);
  const bool hasPeer = !settings.peer.empty();
  std::printf("%-28s %-16s %20s %6s %9s %9s", "model", "status", "objective", "iter", "seconds", "peak MiB");
  if (hasPeer) std::printf("   %-10s %20s %9s %9s %8s", "peer", "objective", "seconds", "peak MiB", "ours/peer");
  std::printf("\n");
  std::vector<Row> rows;
  for (size_t i = 0; i < models.size(); ++i) {
    Row row;
    const std::string path = models[i].string();
    row.model = fs::is_directory(settings.folder) ? fs::relative(models[i], settings.folder).string() : path;
    const std::string command = quotedForShell(settings.solver)
                                    .append(" --json ")
                                    .append(settings.options)
                                    .append(" ")
                                    .append(quotedForShell(path));
    const bool peerFirst = i % 2 == 1;
    if (hasPeer && peerFirst) row.peer = measure(peerCommand(settings.peer, path), settings);
    row.own = measure(command, settings);
    if (hasPeer && !peerFirst) row.peer = measure(peerCommand(settings.peer, path), settings);
    row.error = errorOf(path, row.own.objective, optima);
    printRow(row, hasPeer);
    rows.push_back(row);
  }
  printMeans(rows, hasPeer);
  if (!settings.tsv.empty() && !writeTsv(rows, settings)) {
    std::fprintf(stderr, "qzlp_bench: %s: can't be written\n", settings.tsv.c_str());
    return 2;
  }
  if (!settings.tsv.empty()) std::printf("rows in %s\n", settings.tsv.c_str());
  return 0;
}

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app("Solves every model of a folder and prints one row for each.", "qzlp_bench");
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option("FOLDER", settings.folder, "folder of model files, searched with all below it, or one file")
      ->required()
      ->check(CLI::ExistingPath);
  app.add_option("--solver", settings.solver, "the qzlp program")->required();
  app.add_option("--options", settings.options, "options of qzlp, in one word");
  app.add_option("--peer", settings.peer, "a command with {} for the model file, run side by side");
  app.add_option("--tsv", settings.tsv, "write the rows to this file");
  app.add_option("--optima", settings.optima, "list of known optima: file, status, objective");
  app.add_option("--filter", settings.filter, "only models whose path this regular expression finds");
  app.add_option("--limit", settings.limit, "seconds after which a run is killed (600)");
  app.add_option("--repeat", settings.repeat, "runs of each model, of which the shortest counts (1)")
      ->check(CLI::PositiveNumber);
  CLI11_PARSE(app, argc, argv);
  if (!settings.peer.empty() && settings.peer.find("{}") == std::string::npos) {
    std::fprintf(stderr, "qzlp_bench: --peer: the command has no {} for the model file\n");
    return 2;
  }
  return bench(settings);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qzlp_bench: %s\n", error.what());
    return 2;
  }
}
