// Numeric factorisations in gigaflops, beside DGEMM in the same run: blocked Cholesky and LDL of a dense block and of a
// 3-D mesh, by both schedulers, on one thread and on more.
//   bench_factorisation [--dense N] [--mesh SIDE] [--threads 1,2] [--repeat K] [--block NB] [--dynamic]
//                       [--only-cholesky] [--only-ldl]
// Flops are those of the factor's own structure, relaxed supernodes as they stand: the sum of h^2 over its columns, h
// counting the diagonal. Times are the best of K, the thread counts taking turns. "whole" is the call of the
// factorisation, "numeric" the same without the loading of A, which a dense matrix stored as a sparse one makes dear.
// Ratios are per thread to the faster product of order 1000 on one thread. The blocked path is forced, with the block
// size of the tables or NB. docs/performance.md tells what was measured and how to get numbers that can be trusted.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
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
  int32_t repeat = 10;
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

// One thread's share of a measured product C -= A B' with square blocks of order k.
class Product {
 public:
  explicit Product(int32_t k)
      : k_(k), a_(static_cast<size_t>(k) * static_cast<size_t>(k)), b_(a_.size()), c_(a_.size()) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (size_t i = 0; i < a_.size(); ++i) {
      a_[i] = uniform(random);
      b_[i] = uniform(random);
    }
  }

  // By the library's own product or by the BLAS.
  void form(bool own) {
    const double one = 1.0, minusOne = -1.0;
    if (own) {
      qz::blas::dgemm("T", "N", k_, k_, k_, -1.0, a_.data(), k_, b_.data(), k_, 1.0, c_.data(), k_);
    } else {
      dgemm_("T", "N", &k_, &k_, &k_, &minusOne, a_.data(), &k_, b_.data(), &k_, &one, c_.data(), &k_);
    }
  }

 private:
  int32_t k_;
  std::vector<double> a_, b_, c_;
};

// Best rate in gigaflops of `threads` threads that form products of order k at the same time, each its own ones: what
// the machine lets a factorisation gain from threads at most.
double dgemmRate(int32_t k, bool own, int32_t threads, int32_t repeat) {
  const int32_t products = std::max(1, static_cast<int32_t>(2e9 / (2.0 * k * k * k)));
  std::vector<Product> work(static_cast<size_t>(threads), Product(k));
  const auto share = [&](size_t t) {
    for (int32_t i = 0; i < products; ++i) work[t].form(own);
  };
  double best = 1e300;
  for (int32_t r = 0; r < repeat; ++r) {
    const double start = now();
    std::vector<std::thread> others;
    for (size_t t = 1; t < work.size(); ++t) others.emplace_back(share, t);
    share(0);
    for (std::thread& other : others) other.join();
    best = std::min(best, now() - start);
  }
  return 2e-9 * k * k * k * products * threads / best;
}

// Prints the rates of all thread counts; returns the faster of the two products of order 1000 on one thread. Those of
// order 192 stay in the caches.
double printDgemm(const Arguments& arguments) {
  double largest = 0.0;
  for (const bool own : {true, false}) {
    for (const int32_t k : {192, 1000}) {
      const double one = dgemmRate(k, own, 1, arguments.repeat);
      if (k == 1000) largest = std::max(largest, one);
      std::printf("DGEMM of order %4d by %s: %6.2f Gflops", k, own ? "the library" : "the BLAS   ", one);
      for (const int32_t threads : arguments.threads) {
        if (threads == 1) continue;
        const double all = dgemmRate(k, own, threads, arguments.repeat);
        std::printf("; %d threads at once %6.2f, gain %.2f", threads, all, all / one);
      }
      std::printf("\n");
    }
  }
  return largest;
}

// Time of bringing the matrix into the blocks: its permuted lower triangle, its norm, cleared blocks, entries.
double loadTime(const Matrix& a, bool ldl, QzPool* pool, qz::SymbolicFactor* symbolic, qz::NumericFactor* numeric) {
  const double start = now();
  if (qz::PermuteSymMatrixLower(a.n, a.begin.data(), a.index.data(), a.value.data(), numeric, symbolic->perm,
                                symbolic->invPerm) != 0) {
    std::abort();
  }
  volatile double norm = ldl ? 0.0 : qz::Get1NormOfSymMatrix(a.n, a.begin.data(), a.value.data());
  static_cast<void>(norm);
  qz::prepareContexts(pool, {numeric->colBegin, numeric->rowIndex, numeric->matValue}, symbolic, numeric);
  if (qz::runTeam(symbolic, qz::PopulateSNodes) != 0) std::abort();
  return now() - start;
}

// One factorisation of the table: the analysed factor, and the best times so far.
struct Case {
  bool ldl = false;
  int32_t threads = 1;
  int32_t pipeline = 1;
  QzPool* pool = nullptr;
  qz::LAEnv* env = nullptr;
  qz::FactorPlan plan{{1, 1, 1}, 0};
  qz::SymbolicFactor* symbolic = nullptr;
  qz::NumericFactor* numeric = nullptr;
  double seconds = 1e300;
  double load = 1e300;

  int32_t analyze(const Matrix& a) {
    return ldl ? qz::LA_AnalyzeMatrixLDL(a.n, a.begin.data(), a.index.data(), a.value.data(), env, &symbolic, &numeric)
               : qz::LA_AnalyzeMatrixCholesky(a.n, a.begin.data(), a.index.data(), env, &symbolic, &numeric);
  }
};

// The blocked path in any case; the block size is that of the tables for a factor of this shape, unless one is asked
// for.
void prepare(const Matrix& a, int32_t blockSize, Case* c) {
  QzHostTable* host = Exported_QZHandle;
  QzPoolParameters parameters{};
  c->pool = host->createPool(host, &parameters, nullptr, L"bench", 0, 0);
  int32_t status = 0;
  c->env = qz::LA_CreateLAEnv(c->pool, 0, &status);
  c->env->problemKind = c->ldl ? 1 : 0;
  c->env->numThreads = c->threads;
  c->env->staticPipeline = c->pipeline;
  c->plan = {{1, c->threads, c->pipeline}, blockSize};
  if (blockSize == 0) {
    if (c->analyze(a) != 0) std::abort();
    const qz::FactorShape shape{c->symbolic->flopsRelaxed, c->symbolic->flopsColumn, c->symbolic->nnzL,
                                c->symbolic->maxWidth, 0.5};
    c->plan.blockSize = c->ldl ? qz::ldlBlockSize(shape, c->threads, c->env->problemKind, c->pipeline)
                               : qz::choleskyBlockSize(shape, c->threads, c->pipeline);
    qz::LA_CleanUpLDL(c->env, &c->symbolic, &c->numeric);
  }
  c->env->forcedPlan = &c->plan;
  if (c->analyze(a) != 0) std::abort();
}

void measure(const Matrix& a, Case* c) {
  const auto factor = c->ldl ? qz::LA_FactorMatrixLDL : qz::LA_FactorMatrixCholesky;
  const double start = now();
  const int32_t status =
      factor(0, a.n, a.begin.data(), a.index.data(), a.value.data(), c->env, c->symbolic, c->numeric);
  c->seconds = std::min(c->seconds, now() - start);
  if (status != 0) std::printf("status %d\n", status);
  c->load = std::min(c->load, loadTime(a, c->ldl, c->pool, c->symbolic, c->numeric));
}

void print(const Matrix& a, const Case& c, double dgemm, double oneThread) {
  const double flops = 1e-9 * flopsOf(c.symbolic);
  const double whole = flops / c.seconds;
  const double numericOnly = flops / (c.seconds - c.load);
  std::printf("%-10s %-8s %-7s %2d  %4d  %8.4f  %8.4f  %7.2f  %5.2f  %7.2f  %5.2f  %5.2f\n", a.name.c_str(),
              c.ldl ? "LDL" : "Cholesky", c.pipeline != 0 ? "static" : "dynamic", c.threads, c.plan.blockSize,
              c.seconds, c.load, whole, whole / dgemm / c.threads, numericOnly, numericOnly / dgemm / c.threads,
              oneThread > 0.0 ? oneThread / c.seconds : 1.0);
  std::fflush(stdout);
}

void release(Case* c) {
  qz::LA_CleanUpLDL(c->env, &c->symbolic, &c->numeric);
  qz::LA_FreeLAEnv(&c->env);
  c->pool->destroy(c->pool);
}

// The thread counts take turns, so that a change of the machine's load meets all of them.
void compare(const Matrix& a, bool ldl, int32_t pipeline, const Arguments& arguments, double dgemm) {
  std::vector<Case> cases;
  for (const int32_t threads : arguments.threads) {
    Case c;
    c.ldl = ldl;
    c.threads = threads;
    c.pipeline = pipeline;
    prepare(a, arguments.blockSize, &c);
    cases.push_back(c);
  }
  for (int32_t r = 0; r < arguments.repeat; ++r) {
    for (Case& c : cases) measure(a, &c);
  }
  double oneThread = 0.0;
  for (Case& c : cases) {
    if (c.threads == 1) oneThread = c.seconds;
    print(a, c, dgemm, oneThread);
    release(&c);
  }
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
  const double dgemm = printDgemm(arguments);
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
        compare(a, ldl, pipeline, arguments, dgemm);
      }
    }
  }
  return 0;
}
