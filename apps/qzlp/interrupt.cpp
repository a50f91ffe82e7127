#include "interrupt.h"

#include <csignal>

namespace qzlpApp {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void raiseWord(int) {
  interrupted = 1;
}

}  // namespace

void catchInterrupts() {
  struct sigaction action {};
  action.sa_handler = raiseWord;
  action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int wasInterrupted(void*) {
  return interrupted;
}

}  // namespace qzlpApp
