// Numeric factorisations in gigaflops, beside DGEMM in the same run: blocked Cholesky and LDL of a dense block and of a
// 3-D mesh, by both schedulers, on one thread and on more.
//   bench_factorisation [--dense N] [--mesh SIDE] [--threads 1,2] [--repeat K] [--block NB] [--dynamic]
//                       [--only-cholesky] [--only-ldl]
// Flops are those of the factor's own structure, relaxed supernodes as they stand: the sum of h^2 over its columns, h
// counting the diagonal. Times are the best of K. "whole" is the call of the factorisation, "numeric" the same without
// the loading of A, which a dense matrix stored as a sparse one makes dear. Ratios are per thread to the faster of the
// two products. The blocked path is forced, with the block size of the tables or NB.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dense/blas.h"
#include "host/service_table.h"
#include "qzipsolve/instance.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/cholesky_factor.h"
#include "sparse/factor_cleanup.h"
#include "sparse/factor_decision.h"
#include "sparse/la_env.h"
#include "sparse/ldl_analysis.h"
#include "sparse/ldl_factor.h"
#include "sparse/matrix_norms.h"
#include "sparse/pattern.h"
#include "sparse/populate.h"
#include "sparse/worker_team.h"

namespace {

struct Arguments {
  int32_t dense = 3000;
  int32_t mesh = 40;
  std::vector<int32_t> threads{1, 2};
  int32_t repeat = 3;
  int32_t blockSize = 0;
  bool dynamic = false;
  bool cholesky = true;
  bool ldl = true;
};

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

struct Matrix {
  std::string name;
  int32_t n = 0;
  std::vector<int32_t> begin{0};
  std::vector<int32_t> index;
  std::vector<double> value;
};

// Both triangles; diagonally dominant, with diagonal entries of both signs when `indefinite`.
Matrix denseMatrix(int32_t n, bool indefinite) {
  Matrix a;
  a.name = "dense " + std::to_string(n);
  a.n = n;
  std::mt19937 random(4321);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> square(static_cast<size_t>(n) * static_cast<size_t>(n));
  const auto at = [&](int32_t i, int32_t j) -> double& {
    return square[static_cast<size_t>(i) + static_cast<size_t>(j) * static_cast<size_t>(n)];
  };
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = 0; i < j; ++i) at(i, j) = at(j, i) = uniform(random);
    at(j, j) = indefinite && j % 2 != 0 ? -1.0 * n : 1.0 * n;
  }
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = 0; i < n; ++i) {
      a.index.push_back(i);
      a.value.push_back(at(i, j));
    }
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

// The seven-point operator on a cube of `side` points a side.
Matrix meshMatrix(int32_t side, bool indefinite) {
  Matrix a;
  a.name = "mesh " + std::to_string(side) + "^3";
  a.n = side * side * side;
  for (int32_t v = 0; v < a.n; ++v) {
    const int32_t x = v % side, y = v / side % side, z = v / (side * side);
    const auto add = [&](bool there, int32_t u) {
      if (!there) return;
      a.index.push_back(u);
      a.value.push_back(-1.0);
    };
    add(z > 0, v - side * side);
    add(y > 0, v - side);
    add(x > 0, v - 1);
    a.index.push_back(v);
    a.value.push_back(indefinite && (x + y + z) % 2 != 0 ? -6.5 : 6.5);
    add(x + 1 < side, v + 1);
    add(y + 1 < side, v + side);
    add(z + 1 < side, v + side * side);
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

double flopsOf(const qz::SymbolicFactor* symbolic) {
  double flops = 0.0;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const double h = static_cast<double>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
    const int32_t w = symbolic->snStart[s + 1] - symbolic->snStart[s];
    for (int32_t j = 0; j < w; ++j) flops += (h - j) * (h - j);
  }
  return flops;
}

// Best time of C -= A B' with square blocks of order k, in gigaflops, by the library's own product and by the BLAS.
double dgemmRate(int32_t k, bool ownProduct, int32_t repeat) {
  const auto entries = static_cast<size_t>(k) * static_cast<size_t>(k);
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> a(entries), b(entries), c(entries);
  for (size_t i = 0; i < entries; ++i) {
    a[i] = uniform(random);
    b[i] = uniform(random);
  }
  double best = 1e300;
  const double one = 1.0, minusOne = -1.0;
  for (int32_t r = 0; r < repeat + 2; ++r) {
    const double start = now();
    if (ownProduct) {
      qz::blas::dgemm("T", "N", k, k, k, -1.0, a.data(), k, b.data(), k, 1.0, c.data(), k);
    } else {
      dgemm_("T", "N", &k, &k, &k, &minusOne, a.data(), &k, b.data(), &k, &one, c.data(), &k);
    }
    best = std::min(best, now() - start);
  }
  return 2e-9 * k * k * k / best;
}

// Time of bringing the matrix into the blocks: its permuted lower triangle, its norm, cleared blocks, entries.
double loadTime(const Matrix& a, bool ldl, QzPool* pool, qz::SymbolicFactor* symbolic, qz::NumericFactor* numeric,
                int32_t repeat) {
  double best = 1e300;
  for (int32_t r = 0; r < repeat; ++r) {
    const double start = now();
    if (qz::PermuteSymMatrixLower(a.n, a.begin.data(), a.index.data(), a.value.data(), numeric, symbolic->perm,
                                  symbolic->invPerm) != 0) {
      std::abort();
    }
    volatile double norm = ldl ? 0.0 : qz::Get1NormOfSymMatrix(a.n, a.begin.data(), a.value.data());
    static_cast<void>(norm);
    qz::prepareContexts(pool, {numeric->colBegin, numeric->rowIndex, numeric->matValue}, symbolic, numeric);
    if (qz::runTeam(symbolic, qz::PopulateSNodes) != 0) std::abort();
    best = std::min(best, now() - start);
  }
  return best;
}

double measure(const Matrix& a, bool ldl, int32_t threads, int32_t pipeline, const Arguments& arguments, double dgemm,
               double oneThread) {
  QzHostTable* host = Exported_QZHandle;
  QzPoolParameters parameters{};
  QzPool* pool = host->createPool(host, &parameters, nullptr, L"bench", 0, 0);
  int32_t status = 0;
  qz::LAEnv* env = qz::LA_CreateLAEnv(pool, 0, &status);
  env->problemKind = ldl ? 1 : 0;
  env->numThreads = threads;
  env->staticPipeline = pipeline;
  // The blocked path in any case; the block size of the tables for a factor of this shape is looked up afterwards.
  qz::FactorPlan plan{{1, threads, pipeline}, arguments.blockSize};
  qz::SymbolicFactor* symbolic = nullptr;
  qz::NumericFactor* numeric = nullptr;
  const auto analyze = [&] {
    return ldl ? qz::LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), a.value.data(), env, &symbolic, &numeric)
               : qz::LA_AnalyzeMatrixCholesky(a.n, a.begin.data(), a.index.data(), env, &symbolic, &numeric);
  };
  if (plan.blockSize == 0) {
    if (analyze() != 0) std::abort();
    const qz::FactorShape shape{symbolic->flopsRelaxed, symbolic->flopsColumn, symbolic->nnzL, symbolic->maxWidth, 0.5};
    plan.blockSize = ldl ? qz::ldlBlockSize(shape, threads, env->problemKind, pipeline)
                         : qz::choleskyBlockSize(shape, threads, pipeline);
    qz::LA_CleanUpLDL(env, &symbolic, &numeric);
  }
  env->forcedPlan = &plan;
  if (analyze() != 0) std::abort();
  double seconds = 1e300;
  const auto factor = ldl ? qz::LA_FactorMatrixLDL : qz::LA_FactorMatrixCholesky;
  for (int32_t r = 0; r < arguments.repeat; ++r) {
    const double start = now();
    status = factor(0, a.n, a.begin.data(), a.index.data(), a.value.data(), env, symbolic, numeric);
    seconds = std::min(seconds, now() - start);
    if (status != 0) std::printf("status %d\n", status);
  }
  const double load = loadTime(a, ldl, pool, symbolic, numeric, arguments.repeat);
  const double whole = 1e-9 * flopsOf(symbolic) / seconds;
  const double numericOnly = 1e-9 * flopsOf(symbolic) / (seconds - load);
  std::printf("%-10s %-8s %-7s %2d  %4d  %8.4f  %8.4f  %7.2f  %5.2f  %7.2f  %5.2f  %5.2f\n", a.name.c_str(),
              ldl ? "LDL" : "Cholesky", pipeline != 0 ? "static" : "dynamic", threads, plan.blockSize, seconds, load,
              whole, whole / dgemm / threads, numericOnly, numericOnly / dgemm / threads,
              oneThread > 0.0 ? oneThread / seconds : 1.0);
  std::fflush(stdout);
  qz::LA_CleanUpLDL(env, &symbolic, &numeric);
  qz::LA_FreeLAEnv(&env);
  pool->destroy(pool);
  return seconds;
}

Arguments parse(int count, char** words) {
  Arguments arguments;
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    const auto value = [&] { return i + 1 < count ? std::string(words[++i]) : std::string("0"); };
    if (word == "--dense") arguments.dense = std::stoi(value());
    if (word == "--mesh") arguments.mesh = std::stoi(value());
    if (word == "--repeat") arguments.repeat = std::stoi(value());
    if (word == "--block") arguments.blockSize = std::stoi(value());
    if (word == "--dynamic") arguments.dynamic = true;
    if (word == "--only-cholesky") arguments.ldl = false;
    if (word == "--only-ldl") arguments.cholesky = false;
    if (word == "--threads") {
      arguments.threads.clear();
      const std::string list = value();
      for (size_t at = 0; at < list.size();
           at = list.find(',', at) == std::string::npos ? list.size() : list.find(',', at) + 1)
        arguments.threads.push_back(std::atoi(list.c_str() + at));
    }
  }
  return arguments;
}

}  // namespace

int main(int count, char** words) {
  const Arguments arguments = parse(count, words);
  Exported_QZHandle = qzhost::hostTable();
  const double own = dgemmRate(1000, true, 3);
  const double library = dgemmRate(1000, false, 3);
  std::printf("DGEMM of order 1000: %.2f Gflops by the library's product, %.2f by the BLAS\n", own, library);
  const double dgemm = std::max(own, library);
  std::printf("%-10s %-8s %-7s %2s  %4s  %8s  %8s  %7s  %5s  %7s  %5s  %5s\n", "matrix", "factor", "engine", "T", "nb",
              "seconds", "loading", "Gflops", "ratio", "Gflops", "ratio", "speed");
  std::printf("%-10s %-8s %-7s %2s  %4s  %8s  %8s  %7s  %5s  %7s  %5s  %5s\n", "", "", "", "", "", "whole", "A",
              "whole", "DGEMM", "numeric", "DGEMM", "up");
  for (const bool ldl : {false, true}) {
    if ((ldl && !arguments.ldl) || (!ldl && !arguments.cholesky)) continue;
    for (const bool mesh : {false, true}) {
      if ((mesh ? arguments.mesh : arguments.dense) <= 0) continue;
      const Matrix a = mesh ? meshMatrix(arguments.mesh, ldl) : denseMatrix(arguments.dense, ldl);
      for (const int32_t pipeline : {1, 0}) {
        if (pipeline == 0 && !arguments.dynamic) continue;
        double oneThread = 0.0;
        for (const int32_t threads : arguments.threads) {
          const double seconds = measure(a, ldl, threads, pipeline, arguments, dgemm, oneThread);
          if (threads == 1) oneThread = seconds;
        }
      }
    }
  }
  return 0;
}
