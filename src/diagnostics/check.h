// What all checks of the verification layer share: when they run, how they report, and what they return.
//
// The layer is a second computation of what the stages produce, in the plainest way, from the model. A check returns at
// once below its level. One that runs says so first, reports every breach as an error text at level 0, goes on, and
// returns 10 at its end when there was one. It changes nothing but what its header says.
#pragma once

#include <cmath>
#include <cstdint>

#include "qzipsolve/status.h"
#include "shell/host_table.h"
#include "shell/log.h"

namespace qz {

// A build without the layer, to measure what it costs: then every check is an empty function.
#ifdef QZ_WITHOUT_VERIFICATION
inline constexpr bool kVerificationBuilt = false;
#else
inline constexpr bool kVerificationBuilt = true;
#endif

// The debug level from which a family of checks runs.
enum : int32_t {
  VERIFY_STRUCTURE = 1,  // input, sparse matrices, maps, submodels, structure of presolve
  VERIFY_VALUES = 3,     // values of a solved model
  VERIFY_ITERATION = 5,  // values in each iteration, statistics with a full sort of the data
  VERIFY_REPORT = 7,     // a line for each check of the level before that passed, and the dumps
  VERIFY_LISTING = 9     // the whole solution
};

[[nodiscard]] inline bool verifies(int32_t level, int32_t least) {
  return kVerificationBuilt && level >= least;
}

// A sum beside the sum of its terms' magnitudes, by which its rounding error is judged: recomputing a sum in another
// order differs by no more than a small multiple of eps times `size` (Higham 2002, section 4.2).
struct Sum {
  double value = 0.0;
  double size = 0.0;

  void add(double term) {
    value += term;
    size += std::fabs(term);
  }
};

// One run of one check. Fields are named as the stage under test names them; index -1 is no index.
class Check {
 public:
  // Says that the check runs.
  Check(Env* env, const wchar_t* function) : log_(env->log), function_(function) {
    logText(log_, QZ_LOG_DEBUG, L"running debug code......");
  }

  // value == expected.
  void same(const wchar_t* field, int32_t index, int32_t value, int32_t expected);
  // 0 <= value < end. Returns whether it is.
  bool inRange(const wchar_t* field, int32_t index, int32_t value, int32_t end);
  // |value - expected| <= tolerance; a value that is not a number is none of what it should be.
  void close(const wchar_t* field, int32_t index, double value, double expected, double tolerance);
  void atLeast(const wchar_t* field, int32_t index, double value, double least);
  void atMost(const wchar_t* field, int32_t index, double value, double most);
  // A pointer that is set exactly when it should be.
  void present(const wchar_t* field, const void* pointer, bool expected);
  // Anything else: `what` says what is wrong with the field.
  void breach(const wchar_t* field, int32_t index, const wchar_t* what);

  [[nodiscard]] int32_t numBreach() const { return numBreach_; }
  // 0, or 10 after a breach.
  [[nodiscard]] int32_t result() const { return numBreach_ == 0 ? QZ_STATUS_OK : QZ_STATUS_FAILED; }
  // The same with the line of a check that passed.
  [[nodiscard]] int32_t report(int32_t level) const;

 private:
  void expectReal(const wchar_t* field, int32_t index, double value, const wchar_t* relation, double bound);

  QzLog* log_;
  const wchar_t* function_;
  int32_t numBreach_ = 0;
};

// Entry k of a random test vector comes from one call each; every check starts from the same state, so that it can be
// repeated. Uniform in (0, 1).
inline constexpr uint32_t kRandomState = 20011;
[[nodiscard]] double zranuni(uint32_t* state);

}  // namespace qz
