// The rank figures of a map against two spaces, beside the distances that they are made of.

#include <benchmark/benchmark.h>

#include "base/random.h"
#include "mapping/rank_quality.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

MatFullD uniform(long n, long d) {
  MatFullD m(n, d);
  m.setrows(n);
  m.random(0, 0.0, 1.0, 0, -1, 0, -1);
  return m;
}

/// Points in space, in part of it and in the plane, with the distances computed where they are asked for.
struct Case {
  MatFullD space;
  MatFullD graph;
  MatFullD map;
  MatFullD row;

  explicit Case(long n) : space(uniform(n, 3)), graph(uniform(n, 4)), map(uniform(n, 2)) {}

  RowOfDistances rows(const MatFullD& points) {
    return [this, &points](long i) {
      points.sdav(points, i, row, no_bound);
      return row.data();
    };
  }
};

void ranks(benchmark::State& state) {
  setseed(default_seed);
  Case c(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(
        rank_quality(c.map.nrow(), {c.rows(c.space), c.rows(c.graph)}, c.rows(c.map))[0].area);
}

void distances(benchmark::State& state) {
  setseed(default_seed);
  Case c(state.range(0));
  for (auto _ : state)
    for (const MatFullD* points : {&c.space, &c.graph, &c.map})
      for (long i = 0; i < c.map.nrow(); ++i) benchmark::DoNotOptimize(*c.rows(*points)(i));
}

BENCHMARK(ranks)->Arg(500)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(distances)->Arg(500)->Arg(2000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvtx
