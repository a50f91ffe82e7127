// Ctrl-C during a solve.
#pragma once

namespace qzlpApp {

// From now on the first SIGINT or SIGTERM only raises a word; the second one ends the program as ever.
void catchInterrupts();

// A break callback of the C API: non-zero once the word is raised.
int wasInterrupted(void*);

}  // namespace qzlpApp
