// All distances along the links beside Boost's search of Dijkstra, one source after the other on its flat
// graph (compressed_sparse_row_graph).

#include <algorithm>
#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <boost/graph/dijkstra_shortest_paths_no_color_map.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "graph/path_rows.h"
#include "quant/pair_distances.h"
#include "random_links.h"

namespace {

using namespace qvtx;

struct Length {
  double length;
};
using Graph = boost::compressed_sparse_row_graph<boost::directedS, boost::no_property, Length>;

Graph copy(const MatLinkD& links) {
  const GraphPaths flat(links, 1);
  std::vector<std::pair<int, int>> ends;
  std::vector<Length> lengths;
  for (long i = 0; i < flat.nnode(); ++i) {
    for (const GraphPaths::Edge& edge : flat.edges(i)) {
      ends.emplace_back(static_cast<int>(i), edge.to);
      lengths.push_back({edge.length});
    }
  }
  return {boost::edges_are_sorted, ends.begin(), ends.end(), lengths.begin(),
          static_cast<std::size_t>(flat.nnode())};
}

void rows_by_boost(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  link_random_points(links, n);
  std::vector<double> dist(static_cast<std::size_t>(n));
  for (auto _ : state) {
    const Graph graph = copy(links);
    for (long i = 0; i < n; ++i) {
      boost::dijkstra_shortest_paths_no_color_map(
          graph, static_cast<std::size_t>(i),
          boost::weight_map(boost::get(&Length::length, graph))
              .distance_map(
                  boost::make_iterator_property_map(dist.begin(), boost::get(boost::vertex_index, graph)))
              .predecessor_map(boost::dummy_property_map()));
      benchmark::DoNotOptimize(dist.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(rows_by_boost)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

void rows_in_lanes(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  link_random_points(links, n);
  constexpr long group = PathRows::group;
  std::vector<double> dist(static_cast<std::size_t>(n * group));
  double* rows[group];
  for (long s = 0; s < group; ++s) rows[s] = dist.data() + s * n;
  for (auto _ : state) {
    PathRows paths(links, 1);
    for (long first = 0; first < n; first += group) {
      paths.rows(paths.order().data() + first, std::min(group, n - first), rows, nullptr);
      benchmark::DoNotOptimize(dist.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(rows_in_lanes)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

/// The whole step of a session: distances in space too, all rows stored, and their ranges.
void measured_pairs(benchmark::State& state) {
  const long n = state.range(0);
  MatLinkD links;
  const MatFullD points = link_random_points(links, n);
  PairDistances pairs(points, links, [] {
    return PairRules{.linked = true, .laplacian = std::nullopt, .balance = 1.0, .memory = 1};
  });
  for (auto _ : state) {
    if (!pairs.make_room() || !pairs.measure([] {})) state.SkipWithError("no memory");
    pairs.forget();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(measured_pairs)->Arg(300)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond);

}  // namespace
