// A factor on a forced path, for the tests of the parallel engines.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sparse/block_layout.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/cholesky_factor.h"
#include "sparse/cholesky_solve.h"
#include "sparse/factor_cleanup.h"
#include "sparse/factor_decision.h"
#include "sparse/ldl_analysis.h"
#include "sparse/ldl_factor.h"
#include "sparse/ldl_solve.h"
#include "sparse/parallel_host.h"
#include "sparse/parallel_matrices.h"

namespace qztest {

struct Case {
  bool ldl;
  int32_t threads;
  int32_t staticPipeline;
  int32_t blockSize;

  std::string name() const {
    return std::string(ldl ? "LDL" : "Cholesky") + (staticPipeline ? " static" : " dynamic") + ", " +
           std::to_string(threads) + " threads, nb " + std::to_string(blockSize);
  }
};

class ParallelFactor {
 public:
  ParallelFactor(ParallelHost& host, const SystemMatrix& matrix, const Case& c) : a(matrix), how(c), host_(host) {
    int32_t status = -1;
    env = qz::LA_CreateLAEnv(host.pool(), 0, &status);
    env->problemKind = c.ldl ? 1 : 0;
    plan = {{1, c.threads, c.staticPipeline}, c.blockSize};
    env->forcedPlan = &plan;
    env->maxRefine = 0;
  }
  ~ParallelFactor() {
    cleanUp();
    qz::LA_FreeLAEnv(&env);
  }
  void cleanUp();
  int32_t analyze();
  int32_t factor(int32_t alreadyPermuted = 0);
  // A^-1 b by one plain solve.
  int32_t solve(std::vector<double>* x);
  std::vector<double> values() const {
    return std::vector<double>(symbolic->lValues, symbolic->lValues + symbolic->numValues);
  }
  // Every block of the triangles is finished, and the first counter of every narrow supernode is used up.
  void expectAllFinished() const;

  const SystemMatrix& a;
  Case how;
  qz::FactorPlan plan{};
  qz::LAEnv* env = nullptr;
  qz::SymbolicFactor* symbolic = nullptr;
  qz::NumericFactor* numeric = nullptr;

 private:
  ParallelHost& host_;
};

inline void ParallelFactor::cleanUp() {
  if (how.ldl) {
    qz::LA_CleanUpLDL(env, &symbolic, &numeric);
  } else {
    qz::LA_CleanUpCholesky(env, &symbolic, &numeric);
  }
}

inline int32_t ParallelFactor::analyze() {
  return how.ldl
             ? qz::LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), a.value.data(), env, &symbolic, &numeric)
             : qz::LA_AnalyzeMatrixCholesky(a.n, a.begin.data(), a.index.data(), env, &symbolic, &numeric);
}

inline int32_t ParallelFactor::factor(int32_t alreadyPermuted) {
  const auto factorMatrix = how.ldl ? qz::LA_FactorMatrixLDL : qz::LA_FactorMatrixCholesky;
  return factorMatrix(alreadyPermuted, a.n, a.begin.data(), a.index.data(), a.value.data(), env, symbolic, numeric);
}

inline int32_t ParallelFactor::solve(std::vector<double>* x) {
  if (!how.ldl) {
    qz::LA_SolveMatrixChol(0, x->data(), env, symbolic, numeric);
    return qz::LA_OK;
  }
  return qz::LA_SolveMatrixLDL(0, a.begin.data(), a.index.data(), a.value.data(), x->data(), env, symbolic, numeric);
}

inline void ParallelFactor::expectAllFinished() const {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const qz::BlockGrid g = qz::blockGridOf(symbolic, s);
    for (int32_t c = 0; c < g.numCols; ++c) {
      for (int32_t r = c; r < g.numRows; ++r) {
        const int32_t number = qz::blockNumber(g, r, c);
        if (how.staticPipeline != 0) {
          const int64_t word = symbolic->blockState[s][number];
          ASSERT_TRUE(how.ldl ? qz::isFinished(word) : word == qz::kFinished) << how.name() << " block " << word;
        } else if (qz::isNarrow(g)) {
          ASSERT_EQ(symbolic->workCounters[s][0], 0) << how.name();
        } else {
          const int32_t word = symbolic->workCounters[s][number];
          ASSERT_TRUE(how.ldl ? qz::isFinished(word) : word == qz::kFinished) << how.name() << " block " << word;
        }
      }
    }
  }
}

}  // namespace qztest
