// Principal components of tall data, the symmetric eigen solver, inversion.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "base/ostr.h"
#include "base/random.h"
#include "local/lpca.h"
#include "local/mgceigen.h"
#include "matrix/linear/golub_reinsch.h"
#include "matrix/matfulld.h"
#include "plain_eigen.h"

namespace qvtx {
namespace {

double uniform() { return 2.0 * static_cast<double>(ul_rand()) / 4294967295.0 - 1.0; }

MatFullD random_data(long n, long d) {
  setseed(1);
  MatFullD x(n, d);
  x.setrows(n, 0);
  for (long i = 0; i < n * d; ++i) x.data()[i] = uniform() * static_cast<double>(1 + i % d);
  return x;
}

void principal_components(benchmark::State& state) {
  const MatFullD x = random_data(state.range(0), state.range(1));
  MatFullD mean, vectors, values;
  for (auto _ : state) {
    x.pca(mean, vectors, values, 0, 0);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * x.nrow());
}
BENCHMARK(principal_components)->Args({20000, 50})->Args({200, 10})->Unit(benchmark::kMillisecond);

void component_variances(benchmark::State& state) {
  const MatFullD x = random_data(state.range(0), state.range(1));
  MatFullD values;
  for (auto _ : state) {
    x.pca(values, 0, 0);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * x.nrow());
}
BENCHMARK(component_variances)->Args({20000, 50})->Args({200, 10})->Unit(benchmark::kMillisecond);

// What the triangle saves: the decomposition of the centred data themselves, with and without left vectors.
void whole_decomposition(benchmark::State& state) {
  const MatFullD x = random_data(state.range(0), state.range(1));
  const bool left = state.range(2) != 0;
  const size_t n = static_cast<size_t>(x.ncol());
  std::vector<double> w(n), vt(n * n);
  for (auto _ : state) {
    MatFullD centred;
    centred.copy(x);
    centred.center();
    GolubReinsch decomposition(centred.data(), x.nrow(), x.ncol());
    left ? decomposition.full(w.data(), vt.data()) : decomposition.right(w.data(), vt.data());
    benchmark::DoNotOptimize(w.data());
  }
  state.SetItemsProcessed(state.iterations() * x.nrow());
}
BENCHMARK(whole_decomposition)->Args({20000, 50, 0})->Args({20000, 50, 1})->Unit(benchmark::kMillisecond);

// Double-centred squared distances, the matrices of multidimensional scaling, would be of low rank; random
// ones are the harder case.
void eigenpairs(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const int k = static_cast<int>(state.range(1));  // 0: the full form
  const MatFullD x = random_data(n, n);
  mgcEigenD problem(n);
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) problem.mat[i][j] = x.data()[std::max(i, j) * n + std::min(i, j)];
    }
    state.ResumeTiming();
    k == 0 ? problem.DecrSortEigenStuff() : problem.DecrSortEigenStuff(k);
    benchmark::DoNotOptimize(problem.diag);
  }
}
BENCHMARK(eigenpairs)->ArgsProduct({{500, 1000, 2000}, {0, 2, 10}})->Unit(benchmark::kMillisecond);

// The same matrices by plain loops, all vectors. Takes seconds.
void eigenpairs_plain(benchmark::State& state) {
  const long n = state.range(0);
  const MatFullD x = random_data(n, n);
  for (auto _ : state) {
    state.PauseTiming();
    PlainEigen problem(n);
    for (long i = 0; i < n; ++i) {
      for (long j = 0; j < n; ++j) problem(i, j) = x.data()[std::max(i, j) * n + std::min(i, j)];
    }
    state.ResumeTiming();
    problem.solve();
    benchmark::DoNotOptimize(problem.value(0));
  }
}
BENCHMARK(eigenpairs_plain)->Arg(500)->Arg(1000)->Unit(benchmark::kMillisecond);

void inverse(benchmark::State& state) {
  const long n = state.range(0);
  MatFullD a = random_data(n, n);
  for (long i = 0; i < n; ++i) a.data()[i * n + i] = static_cast<double>(n * n);
  MatFullD copy;
  for (auto _ : state) {
    copy.copy(a);
    copy.inv();
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(inverse)->Arg(100)->Arg(500)->Arg(1000)->Unit(benchmark::kMillisecond);

// Regions of 200 samples with 10 columns each. The plain form takes the whole decomposition of every centred
// sample, one after the other.
constexpr long region_rows = 200;

void local_components(benchmark::State& state) {
  const long regions = state.range(0);
  const MatFullD x = random_data(regions * region_rows, 10);
  MatFullL bmu(x.nrow(), 1);
  bmu.setrows(x.nrow(), 0);
  for (long i = 0; i < x.nrow(); ++i) bmu.data()[i] = i % regions;
  LPCA lpca;
  lpca.verbose = 0;
  for (auto _ : state) benchmark::DoNotOptimize(lpca.init(x, bmu));
  state.SetItemsProcessed(state.iterations() * regions);
}
BENCHMARK(local_components)->Arg(2000)->Unit(benchmark::kMillisecond);

void local_components_plain(benchmark::State& state) {
  const long regions = state.range(0);
  const MatFullD x = random_data(regions * region_rows, 10);
  const long d = x.ncol();
  std::vector<double> w(static_cast<size_t>(d)), vt(static_cast<size_t>(d * d));
  MatFullD sample(region_rows, d);
  for (auto _ : state) {
    for (long k = 0; k < regions; ++k) {
      sample.setrows(region_rows, 0);
      for (long r = 0; r < region_rows; ++r) std::copy_n(x.row(k + r * regions), d, sample.row(r));
      sample.center();
      GolubReinsch(sample.data(), region_rows, d).full(w.data(), vt.data());
      benchmark::DoNotOptimize(w.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * regions);
}
BENCHMARK(local_components_plain)->Arg(2000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvtx
