// Shortest paths between all nodes: one search per row on the Fibonacci heap, the same over flat arrays, and
// sixteen sources at a time.

#include <algorithm>
#include <vector>

#include "graph/graph_paths.h"
#include "graph/path_rows.h"
#include "random_links.h"

namespace {

using namespace qvtx;

void rows_on_fibonacci_heap(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  link_random_points(links, n);
  MatFullL pred;
  MatFullD dist;
  for (auto _ : state) {
    for (long i = n - 1; i >= 0; --i) {
      links.gdav(i, 1, pred, dist, no_bound);
      benchmark::DoNotOptimize(dist.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(rows_on_fibonacci_heap)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

/// with_paths: predecessors and order of settling too.
template <bool with_paths>
void rows_in_lanes(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  link_random_points(links, n);
  constexpr long group = PathRows::group;
  std::vector<double> dist(static_cast<std::size_t>(n * group));
  std::vector<long> pred(static_cast<std::size_t>(2 * n * group));
  double* dist_rows[group];
  long* pred_rows[group];
  for (long s = 0; s < group; ++s) {
    dist_rows[s] = dist.data() + s * n;
    pred_rows[s] = pred.data() + 2 * s * n;
  }
  for (auto _ : state) {
    PathRows paths(links, 1);
    for (long first = 0; first < n; first += group) {
      paths.rows(paths.order().data() + first, std::min(group, n - first), dist_rows,
                 with_paths ? pred_rows : nullptr);
      benchmark::DoNotOptimize(dist.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(rows_in_lanes<false>)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(rows_in_lanes<true>)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

void rows_on_flat_arrays(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  link_random_points(links, n);
  std::vector<double> dist(static_cast<std::size_t>(n));
  std::vector<long> pred(static_cast<std::size_t>(2 * n));
  for (auto _ : state) {
    GraphPaths paths(links, 1);
    for (long i = n - 1; i >= 0; --i) {
      paths.row(i, dist.data(), pred.data());
      benchmark::DoNotOptimize(dist.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(rows_on_flat_arrays)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

}  // namespace
