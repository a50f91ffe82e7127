// Stands in for the sparse LDL solver: the same calls, a dense solve with full pivoting behind them. Statuses can be
// prescribed, and what was asked is recorded.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace qztest {

struct DenseLdl {
  int32_t analyzeStatus = 0;
  int32_t factorStatus = 0;
  int32_t solveStatus = 0;
  bool analyzeLeavesHandles = true;  // also when it fails, as the real analysis may
  std::vector<int32_t> solveScript;  // statuses of the first solves, before solveStatus takes over
  std::function<void(int call, int n, double* x)> editSolution;  // called behind each solve, call from 1
  int analyses = 0;
  int factorisations = 0;
  int solves = 0;
  int cleanUpsLdl = 0;
  int cleanUpsChol = 0;
  int32_t lastLeading = -1;  // numLeadingRows at the last analysis
  int32_t lastMaxRefine = -1;
  int32_t lastOrdering = -2;
  std::vector<std::vector<double>> matrices;  // values at each factorisation, in the caller's storage order
};

// Reset by each test that uses it.
extern DenseLdl denseLdl;

}  // namespace qztest
