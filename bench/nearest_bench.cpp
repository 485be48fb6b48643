// Nearest-row search: one sample at a time, all samples at once, and against a packed copy; beside each the
// plain early-abandoning loop. Arguments: rows searched, columns, samples (also the items per second).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "matrix/distance/all_neighbours.h"
#include "matrix/distance/row_search.h"
#include "matrix/matfulld.h"

namespace {

using namespace qvtx;

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
      : rows(clustered(state.range(0), state.range(1), 1)),
        dat(clustered(state.range(2), state.range(1), 2)) {}
};

template <class Search>
void each_sample(benchmark::State& state, const Data& data, Search search) {
  for (auto _ : state)
    for (long j = data.dat.nrow() - 1; j >= 0; --j)
      benchmark::DoNotOptimize(search(j, data.dat.data() + j * data.dat.ncol()));
  state.SetItemsProcessed(state.iterations() * data.dat.nrow());
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
  state.SetItemsProcessed(state.iterations() * data.dat.nrow());
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

void sizes(benchmark::internal::Benchmark* b) {
  b->Args({256, 16, 2000})->Args({1000, 64, 2000})->Args({50, 3, 2000})->Unit(benchmark::kMillisecond);
}
// The size of a large coding.
void batch_sizes(benchmark::internal::Benchmark* b) {
  sizes(b);
  b->Args({1000, 16, 200000});
}

// The 20 nearest rows of every row.
void Neighbours(benchmark::State& state) {
  const MatFullD rows = clustered(state.range(0), state.range(1), 1);
  for (auto _ : state)
    AllNeighbours(rows).search(20,
                               [](long, const NearestList& list) { benchmark::DoNotOptimize(list[0].row); });
  state.SetItemsProcessed(state.iterations() * rows.nrow());
}

// All distances of a row, then a partial sort.
void NeighboursPlain(benchmark::State& state) {
  const MatFullD rows = clustered(state.range(0), state.range(1), 1);
  const long n = rows.nrow(), d = rows.ncol();
  std::vector<std::pair<double, long>> found(static_cast<std::size_t>(n));
  for (auto _ : state) {
    for (long i = 0; i < n; ++i) {
      for (long j = 0; j < n; ++j) {
        double sum = 0.0;
        for (long k = d - 1; k >= 0; --k) {
          const double t = rows.data()[i * d + k] - rows.data()[j * d + k];
          sum += t * t;
        }
        found[static_cast<std::size_t>(j)] = {i == j ? no_bound : std::sqrt(sum), j};
      }
      std::partial_sort(found.begin(), found.begin() + 20, found.end());
      benchmark::DoNotOptimize(found.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}

BENCHMARK(Neighbours)->Args({5000, 16})->Args({20000, 16})->Unit(benchmark::kMillisecond);
BENCHMARK(NeighboursPlain)->Args({5000, 16})->Args({20000, 16})->Unit(benchmark::kMillisecond);
BENCHMARK(PlainNearest)->Apply(batch_sizes);
BENCHMARK(Nearest)->Apply(sizes);
BENCHMARK(RowSearchNearest)->Apply(sizes);
BENCHMARK(NearestAll)->Apply(batch_sizes);
BENCHMARK(Distances)->Apply(sizes);
BENCHMARK(RowSearchDistances)->Apply(sizes);

}  // namespace
