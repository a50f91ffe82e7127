// QZ_CLONES: compile a function once for every processor family and pick at load time. The clones give the same bits:
// contraction to fused multiply-add is off, and sums are written with a fixed number of partial sums. Sanitizers need
// their run-time library before any resolver runs, so their builds have the plain form only.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__) && !defined(QZ_NO_CLONES)
#define QZ_CLONES __attribute__((target_clones("default", "arch=x86-64-v3")))
#else
#define QZ_CLONES
#endif
