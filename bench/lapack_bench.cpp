// The two leading eigenpairs that `md` needs, beside those of dsyevr from LAPACK on OpenBLAS, one thread.
// Built where CMake finds OpenBLAS.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "base/random.h"
#include "local/block_lanczos.h"
#include "local/mgceigen.h"

extern "C" {
void openblas_set_num_threads(int threads);
void dsyevr_(const char* job, const char* range, const char* triangle, const int* n, double* a,
             const int* stride, const double* low, const double* high, const int* first, const int* last,
             const double* tolerance, int* found, double* values, double* vectors, const int* vector_stride,
             int* support, double* work, const int* work_size, int* integers, const int* integers_size,
             int* info, std::size_t, std::size_t, std::size_t);
}

namespace qvtx {
namespace {

constexpr int axes = 2;

double uniform() { return static_cast<double>(ul_rand()) / 4294967295.0; }

/// The double-centred matrix of -D^2 / 2 of points in a rectangle 4 x 1 under the city-block distance: like
/// that of graph distances it has two leading eigenvalues, a tail, and negative ones. Column by column.
std::vector<double> centred_matrix(long n) {
  setseed(1);
  std::vector<double> x, y, a(static_cast<std::size_t>(n * n)), mean(static_cast<std::size_t>(n));
  for (long i = 0; i < n; ++i) {
    x.push_back(4 * uniform());
    y.push_back(uniform());
  }
  double overall = 0;
  const auto at = [n](long i, long j) { return static_cast<std::size_t>(i * n + j); };
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t j = 0; j < x.size(); ++j) {
      const double d = std::fabs(x[i] - x[j]) + std::fabs(y[i] - y[j]);
      a[at(static_cast<long>(i), static_cast<long>(j))] = -0.5 * d * d;
      mean[i] += -0.5 * d * d / static_cast<double>(n);
    }
    overall += mean[i] / static_cast<double>(n);
  }
  for (std::size_t c = 0; c < a.size(); ++c) a[c] += overall - (mean[c / x.size()] + mean[c % x.size()]);
  return a;
}

void whole_reduction(benchmark::State& state) {
  const long n = state.range(0);
  const std::vector<double> a = centred_matrix(n);
  for (auto _ : state) {
    state.PauseTiming();
    mgcEigenD problem(static_cast<int>(n));
    for (long i = 0; i < n; ++i) std::copy_n(a.data() + i * n, n, problem.mat[i]);
    state.ResumeTiming();
    problem.DecrSortEigenStuff(axes);
    benchmark::DoNotOptimize(problem.diag);
  }
}

void block_lanczos(benchmark::State& state) {
  const long n = state.range(0);
  const std::vector<double> a = centred_matrix(n);
  std::vector<const double*> rows;
  for (long i = 0; i < n; ++i) rows.push_back(a.data() + i * n);
  for (auto _ : state) {
    BlockLanczos iteration(rows.data(), n, axes);
    if (!iteration.run()) state.SkipWithError("not converged");
    benchmark::DoNotOptimize(iteration.vector(0));
  }
}

void lapack_dsyevr(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = static_cast<int>(state.range(0)), first = n - axes + 1, work_size = 64 * n,
            integers_size = 10 * n;
  const std::size_t size = static_cast<std::size_t>(n);
  const std::vector<double> a = centred_matrix(n);
  std::vector<double> copy, values(size), vectors(axes * size), work(64 * size);
  std::vector<int> support(2 * size), integers(10 * size);
  const double unused = 0;
  for (auto _ : state) {
    state.PauseTiming();
    copy = a;
    state.ResumeTiming();
    int found = 0, info = 0;
    dsyevr_("V", "I", "L", &n, copy.data(), &n, &unused, &unused, &first, &n, &unused, &found, values.data(),
            vectors.data(), &n, support.data(), work.data(), &work_size, integers.data(), &integers_size,
            &info, 1, 1, 1);
    if (info != 0) state.SkipWithError("dsyevr failed");
    benchmark::DoNotOptimize(vectors.data());
  }
}

BENCHMARK(whole_reduction)->Arg(1000)->Arg(2000)->Arg(3000)->Unit(benchmark::kMillisecond);
BENCHMARK(block_lanczos)->Arg(1000)->Arg(2000)->Arg(3000)->Unit(benchmark::kMillisecond);
BENCHMARK(lapack_dsyevr)->Arg(1000)->Arg(2000)->Arg(3000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvtx
