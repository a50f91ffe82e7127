#include "qzlp/program.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace qztest {

namespace {

struct Pipe {
  std::array<int, 2> end{-1, -1};
  Pipe() {
    if (pipe(end.data()) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    close(0);
    close(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void close(size_t which) {
    if (end[which] >= 0) ::close(end[which]);
    end[which] = -1;
  }
};

[[noreturn]] void become(const std::string& program, const std::vector<std::string>& arguments, Pipe& out, Pipe& err) {
  dup2(out.end[1], STDOUT_FILENO);
  dup2(err.end[1], STDERR_FILENO);
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  execv(program.c_str(), words.data());
  _exit(127);
}

// Appends what there is to read; false at the end.
bool readSome(int file, std::string& text) {
  std::array<char, 4096> buffer;
  const ssize_t count = read(file, buffer.data(), buffer.size());
  if (count > 0) text.append(buffer.data(), static_cast<size_t>(count));
  return count > 0;
}

}  // namespace

ProgramRun run(const std::string& program, const std::vector<std::string>& arguments, const std::string& waitFor,
               int signal) {
  Pipe out, err;
  ProgramRun result;
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no child process");
  if (child == 0) become(program, arguments, out, err);
  out.close(1);
  err.close(1);
  bool sent = signal == 0;
  while (out.end[0] >= 0 || err.end[0] >= 0) {
    std::array<pollfd, 2> files{{{out.end[0], POLLIN, 0}, {err.end[0], POLLIN, 0}}};  // a file of -1 is passed over
    poll(files.data(), files.size(), -1);
    if (files[0].revents != 0 && !readSome(out.end[0], result.out)) out.close(0);
    if (files[1].revents != 0 && !readSome(err.end[0], result.err)) err.close(0);
    if (!sent && result.out.find(waitFor) != std::string::npos) {
      kill(child, signal);
      sent = true;
    }
  }
  int state = 0;
  waitpid(child, &state, 0);
  result.exitCode = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
  return result;
}

}  // namespace qztest
