#include "plot.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "text.h"

extern char** environ;

namespace qzlpApp {

namespace {

// Runs gnuplot with one argument and without a word on the screen. True when it ended well.
bool runGnuplot(const std::string& argument) {
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return false;
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = "gnuplot", word = argument;
  const std::array<char*, 3> words{program.data(), word.data(), nullptr};
  pid_t child = 0;
  const bool started = posix_spawnp(&child, program.c_str(), &actions, nullptr, words.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int state = 0;
  return started && waitpid(child, &state, 0) == child && WIFEXITED(state) && WEXITSTATUS(state) == 0;
}

// A text between single quotes of gnuplot.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("''") : std::string(1, c == '\n' ? ' ' : c);
  return result + "'";
}

std::string cell(double value) {
  return value > 0.0 && std::isfinite(value) ? formatted(" %.6e", value) : " ?";
}

// What is drawn, in the order of the columns of the data.
constexpr std::array<const char*, 5> titles{"complementarity", "duality gap", "rows", "bounds", "duals"};

}  // namespace

bool hasPlotter() {
  return runGnuplot("--version");
}

std::string plotScript(const std::string& path, const std::string& title, const std::vector<qzlp_progress>& iterations,
                       const std::vector<double>& tolerances) {
  std::string script = "$data << END\n";
  for (size_t i = 0; i < iterations.size(); ++i) {
    const qzlp_progress& p = iterations[i];
    script.append(formatted("%zu", i)).append(cell(p.complementarity)).append(cell(p.dualityGap));
    script.append(cell(p.primalInfeasibility)).append(cell(p.boundInfeasibility)).append(cell(p.dualInfeasibility));
    script.append("\n");
  }
  script.append("END\nset terminal svg size 720,420 enhanced background rgb 'white' font 'sans-serif,13'\n");
  script.append("set output ")
      .append(quoted(path))
      .append("\nset title ")
      .append(quoted(title))
      .append(" noenhanced\n");
  script.append(
      "set datafile missing '?'\nset logscale y\nset format y '10^{%L}'\nset xlabel 'iteration'\n"
      "set grid ytics linecolor rgb '#dddddd'\nset border 3\nset tics nomirror\nset key outside right top\n");
  script.append(formatted("set xrange [0:%zu]\nplot", std::max<size_t>(iterations.size(), 2) - 1));
  std::vector<double> lines = tolerances;
  std::sort(lines.begin(), lines.end());
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  for (size_t i = 0; i < titles.size(); ++i)
    script.append(formatted(" $data using 1:%zu with linespoints linewidth 2 pointtype 7 pointsize 0.4 title '%s',",
                            i + 2, titles[i]));
  for (const double tolerance : lines)
    script.append(
        formatted(" %g with lines dashtype 2 linecolor rgb 'black' title 'tolerance %g',", tolerance, tolerance));
  script.back() = '\n';
  return script;
}

bool runPlotter(const std::string& script) {
  std::string file = "/tmp/qzlp_plot_XXXXXX";
  const int descriptor = mkstemp(file.data());
  if (descriptor < 0) return false;
  const bool written = write(descriptor, script.data(), script.size()) == static_cast<ssize_t>(script.size());
  close(descriptor);
  const bool drawn = written && runGnuplot(file);
  unlink(file.c_str());
  return drawn;
}

}  // namespace qzlpApp
