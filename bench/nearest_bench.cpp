// Nearest-row search: one sample at a time, all samples at once, and against a packed copy; beside each the
// plain early-abandoning loop. Arguments: rows searched, columns. Times are per sample (items per second:
// samples).

#include <benchmark/benchmark.h>

#include <vector>

#include "base/isa.h"
#include "matrix/matfulld.h"
#include "matrix/row_search.h"

namespace {

using namespace qvtx;

constexpr long samples = 2000;

// Rows around 40 centres, as prototypes and data are: early abandoning lives on such structure.
MatFullD clustered(long rows, long cols, unsigned seed) {
  MatFullD m(rows, cols);
  m.setrows(rows, 0.0);
  unsigned long state = seed;
  const auto uniform = [&state] {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<double>(state >> 33) / 4294967296.0;
  };
  std::vector<double> centres(static_cast<std::size_t>(40 * cols));
  unsigned long keep = state;
  state = 12345;
  for (double& c : centres) c = uniform();
  state = keep;
  for (long i = 0; i < rows; ++i) {
    const long centre = static_cast<long>(uniform() * 80.0) % 40;
    for (long k = 0; k < cols; ++k)
      m.data()[i * cols + k] = centres[static_cast<std::size_t>(centre * cols + k)] + 0.4 * uniform();
  }
  return m;
}

long plain_nearest(const double* rows, long n, long d, const double* x) {
  double limit = no_bound;
  long found = n;
  for (long i = n - 1; i >= 0; --i) {
    double sum = 0.0;
    long k = d - 1;
    for (; k >= 0; --k) {
      const double t = rows[i * d + k] - x[k];
      sum += t * t;
      if (sum > limit) break;
    }
    if (k >= 0) continue;
    found = i;
    limit = sum;
  }
  return found;
}

struct Data {
  MatFullD rows, dat;
  explicit Data(const benchmark::State& state)
      : rows(clustered(state.range(0), state.range(1), 1)), dat(clustered(samples, state.range(1), 2)) {}
};

template <class Search>
void each_sample(benchmark::State& state, const Data& data, Search search) {
  for (auto _ : state)
    for (long j = samples - 1; j >= 0; --j)
      benchmark::DoNotOptimize(search(j, data.dat.data() + j * data.dat.ncol()));
  state.SetItemsProcessed(state.iterations() * samples);
}

void PlainNearest(benchmark::State& state) {
  const Data data(state);
  each_sample(state, data, [&](long, const double* x) {
    return plain_nearest(data.rows.data(), data.rows.nrow(), data.rows.ncol(), x);
  });
}

void Nearest(benchmark::State& state) {
  const Data data(state);
  each_sample(state, data, [&](long j, const double*) { return data.rows.nearest(data.dat, j, no_bound); });
}

void RowSearchNearest(benchmark::State& state) {
  const Data data(state);
  const RowSearch search(data.rows);
  each_sample(state, data, [&](long, const double* x) { return search.nearest(x); });
}

void NearestAll(benchmark::State& state) {
  const Data data(state);
  MatFullL idx;
  for (auto _ : state) {
    data.rows.nearest_all(data.dat, idx);
    benchmark::DoNotOptimize(idx.data());
  }
  state.SetItemsProcessed(state.iterations() * samples);
}

void Distances(benchmark::State& state) {
  const Data data(state);
  MatFullD out;
  each_sample(state, data, [&](long j, const double*) {
    data.rows.sdav(data.dat, j, out, no_bound);
    return out.data()[0];
  });
}

void RowSearchDistances(benchmark::State& state) {
  const Data data(state);
  const RowSearch search(data.rows);
  std::vector<double> out(static_cast<std::size_t>(data.rows.nrow()));
  each_sample(state, data, [&](long, const double* x) {
    search.distances(x, out.data());
    return out[0];
  });
}

#define QVTX_SIZES ->Args({256, 16})->Args({1000, 64})->Args({50, 3})->Unit(benchmark::kMillisecond)
BENCHMARK(PlainNearest) QVTX_SIZES;
BENCHMARK(Nearest) QVTX_SIZES;
BENCHMARK(RowSearchNearest) QVTX_SIZES;
BENCHMARK(NearestAll) QVTX_SIZES;
BENCHMARK(Distances) QVTX_SIZES;
BENCHMARK(RowSearchDistances) QVTX_SIZES;
#undef QVTX_SIZES

}  // namespace
