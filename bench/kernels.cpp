// The kernel layer against plain BLAS calls for the same job, at sizes that the factorisations meet. Each pair runs in
// one process, so that its ratio does not depend on the load of the machine:
//   bench_kernels --benchmark_filter=Triangle
// The BLAS has no two-factor triangle; its rival is the full product with DGEMM.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "dense/blas.h"
#include "dense/kernels.h"

namespace {

constexpr double ONE = 1.0;
constexpr double MINUS_ONE = -1.0;
constexpr double ZERO = 0.0;

std::vector<double> randomEntries(int64_t count) {
  std::mt19937_64 generator(4321);
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  std::vector<double> x(static_cast<size_t>(count));
  for (double& value : x) value = entry(generator);
  return x;
}

// Operands of C (n by n) with A and B n by k, leading dimension ld, and the pack buffers.
struct Operands {
  int32_t n;
  int32_t k;
  int32_t ld;
  std::vector<double> a, b, c, packA, packB;
  explicit Operands(const benchmark::State& state)
      : n(static_cast<int32_t>(state.range(0))),
        k(static_cast<int32_t>(state.range(1))),
        ld(n + static_cast<int32_t>(state.range(2))),
        a(randomEntries(int64_t{ld} * k)),
        b(randomEntries(int64_t{ld} * k)),
        c(randomEntries(int64_t{ld} * n)),
        packA(qz::PACK_ENTRIES),
        packB(qz::PACK_ENTRIES) {}
};

void countFlops(benchmark::State& state, double flops) {
  state.counters["Gflops"] =
      benchmark::Counter(flops * 1e-9, benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1000);
}

void triangleOfTwoFactors(benchmark::State& state) {
  Operands o(state);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dsyrk2_LNT_0p1(&o.n, &o.k, o.a.data(), &o.ld, o.b.data(), &o.ld, o.c.data(), &o.ld, o.packA.data(),
                          o.packB.data());
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * (o.n + 1) * o.k);
}

void triangleByFullDgemm(benchmark::State& state) {
  Operands o(state);
  for ([[maybe_unused]] auto _ : state) {
    dgemm_("N", "T", &o.n, &o.n, &o.k, &ONE, o.a.data(), &o.ld, o.b.data(), &o.ld, &ZERO, o.c.data(), &o.ld);
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * (o.n + 1) * o.k);
}

void triangleByDsyrk(benchmark::State& state) {
  Operands o(state);
  for ([[maybe_unused]] auto _ : state) {
    dsyrk_("L", "N", &o.n, &o.k, &ONE, o.a.data(), &o.ld, &ZERO, o.c.data(), &o.ld);
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * (o.n + 1) * o.k);
}

void squareByKernel(benchmark::State& state) {
  Operands o(state);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dgemm_NT_1m1(&o.n, &o.n, &o.k, o.a.data(), &o.ld, o.b.data(), &o.ld, o.c.data(), &o.ld, o.packA.data(),
                        o.packB.data());
    benchmark::ClobberMemory();
  }
  countFlops(state, 2.0 * o.n * o.n * o.k);
}

void squareByDgemm(benchmark::State& state) {
  Operands o(state);
  for ([[maybe_unused]] auto _ : state) {
    dgemm_("N", "T", &o.n, &o.n, &o.k, &MINUS_ONE, o.a.data(), &o.ld, o.b.data(), &o.ld, &ONE, o.c.data(), &o.ld);
    benchmark::ClobberMemory();
  }
  countFlops(state, 2.0 * o.n * o.n * o.k);
}

// Well-conditioned triangle in A for the solves: unit-sized diagonal, small entries below.
void makeSolvable(Operands* o) {
  for (double& value : o->a) value *= 1.0 / o->n;
  for (int32_t j = 0; j < o->n && j < o->k; ++j) o->a[static_cast<size_t>(j) * (o->ld + 1)] = 1.0;
}

void solveByKernel(benchmark::State& state) {
  Operands o(state);
  makeSolvable(&o);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dtrsm_LLNN(&o.n, &o.n, o.a.data(), &o.ld, o.c.data(), &o.ld, o.packA.data(), o.packB.data());
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * o.n * o.n);
}

void solveByDtrsm(benchmark::State& state) {
  Operands o(state);
  makeSolvable(&o);
  for ([[maybe_unused]] auto _ : state) {
    dtrsm_("L", "L", "N", "N", &o.n, &o.n, &ONE, o.a.data(), &o.ld, o.c.data(), &o.ld);
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * o.n * o.n);
}

void rightSolveByKernel(benchmark::State& state) {
  Operands o(state);
  makeSolvable(&o);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dtrsm_RLTN(&o.n, &o.n, o.a.data(), &o.ld, o.c.data(), &o.ld, o.packA.data(), o.packB.data());
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * o.n * o.n);
}

void rightSolveByDtrsm(benchmark::State& state) {
  Operands o(state);
  makeSolvable(&o);
  for ([[maybe_unused]] auto _ : state) {
    dtrsm_("R", "L", "T", "N", &o.n, &o.n, &ONE, o.a.data(), &o.ld, o.c.data(), &o.ld);
    benchmark::ClobberMemory();
  }
  countFlops(state, 1.0 * o.n * o.n * o.n);
}

void outerProductByKernel(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  const std::vector<double> x = randomEntries(n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_outer_prod(&n, &n, x.data(), x.data(), c.data());
    benchmark::ClobberMemory();
  }
}

void outerProductByDger(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  const std::vector<double> x = randomEntries(n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  for ([[maybe_unused]] auto _ : state) {
    std::fill(c.begin(), c.end(), 0.0);
    qz::blas::dger(n, n, ONE, x.data(), 1, x.data(), 1, c.data(), n);
    benchmark::ClobberMemory();
  }
}

// One elimination step: the fused kernel against DSCAL and a rank-one update of the square.
void eliminationByKernel(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  std::vector<double> x = randomEntries(n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  const double alpha = -1.0;
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dsyr_dscal(&n, x.data(), c.data(), &alpha, &n);
    benchmark::ClobberMemory();
  }
}

void eliminationByBlas(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  std::vector<double> x = randomEntries(n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  for ([[maybe_unused]] auto _ : state) {
    qz::blas::dger(n, n, ONE, x.data(), 1, x.data(), 1, c.data(), n);
    qz::blas::dscal(n, MINUS_ONE, x.data(), 1);
    benchmark::ClobberMemory();
  }
}

void rankTwoByKernel(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  const std::vector<double> x = randomEntries(2 * n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  for ([[maybe_unused]] auto _ : state) {
    qz::my_dger2_one(&n, &n, &ONE, x.data(), x.data() + n, x.data() + n, x.data(), c.data(), &n);
    benchmark::ClobberMemory();
  }
}

void rankTwoByDger(benchmark::State& state) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  const std::vector<double> x = randomEntries(2 * n);
  std::vector<double> c(static_cast<size_t>(n) * n);
  for ([[maybe_unused]] auto _ : state) {
    qz::blas::dger(n, n, ONE, x.data(), 1, x.data() + n, 1, c.data(), n);
    qz::blas::dger(n, n, ONE, x.data() + n, 1, x.data(), 1, c.data(), n);
    benchmark::ClobberMemory();
  }
}

// n, k and what the leading dimension exceeds n by.
void blockSizes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"n", "k", "pad"});
  for (const int64_t n : {4, 8, 16, 24, 32, 48, 64, 96, 160}) {
    for (const int64_t k : {2, 8, 32, 96}) bench->Args({n, k, 0});
  }
  bench->Args({96, 96, 928})->Args({32, 32, 992})->Args({160, 96, 864})->Args({64, 96, 960});
}

void squareSizes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"n", "k", "pad"});
  for (const int64_t n : {8, 32, 96, 192}) bench->Args({n, n, 0});
}

void vectorSizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("n");
  for (const int64_t n : {4, 16, 48, 96, 192}) bench->Arg(n);
}

BENCHMARK(triangleOfTwoFactors)->Apply(blockSizes);
BENCHMARK(triangleByFullDgemm)->Apply(blockSizes);
BENCHMARK(triangleByDsyrk)->Apply(blockSizes);
BENCHMARK(squareByKernel)->Apply(blockSizes);
BENCHMARK(squareByDgemm)->Apply(blockSizes);
BENCHMARK(solveByKernel)->Apply(squareSizes);
BENCHMARK(solveByDtrsm)->Apply(squareSizes);
BENCHMARK(rightSolveByKernel)->Apply(squareSizes);
BENCHMARK(rightSolveByDtrsm)->Apply(squareSizes);
BENCHMARK(outerProductByKernel)->Apply(vectorSizes);
BENCHMARK(outerProductByDger)->Apply(vectorSizes);
BENCHMARK(eliminationByKernel)->Apply(vectorSizes);
BENCHMARK(eliminationByBlas)->Apply(vectorSizes);
BENCHMARK(rankTwoByKernel)->Apply(vectorSizes);
BENCHMARK(rankTwoByDger)->Apply(vectorSizes);

}  // namespace

BENCHMARK_MAIN();
