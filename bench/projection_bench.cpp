// One epoch of the projection methods, each beside a plain loop with the same result.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "base/random.h"
#include "base/scquan.h"
#include "mapping/tomapp.h"
#include "preferences.h"

namespace qvtx {
namespace {

/// Prototypes uniform in a square, each linked with its 5 nearest, and a map of two axes that starts at
/// random. All rows are stored.
class Mapping : public ToMapp {
 public:
  explicit Mapping(long n) : Mapping(default_preferences()) {
    setseed(default_seed);
    MatFullD points(n, 2);
    points.setrows(n, 0.0);
    points.random(0, 0.0, 1.0, 0, -1, 0, -1);
    lpref.newval(lpref.getkey("vglink_p"), 2);
    lpref.newval(lpref.getkey("vlnnbr"), 5);
    lpref.newval(lpref.getkey("vgteartt"), 0);
    dpref.newval(dpref.getkey("tdgb"), 1.0);
    lpref.newval(lpref.getkey("tgswap_p"), 0);
    dataload(points, 0);
    nq();
    dist_ini(0);
    mapr_ini(2, 0);
    deviations_.setdim(1, 2);
    deviations_.setrows(1, 1.0);
  }

  void finish() { mapr_fin("Sammon"); }
  void isotop_epoch(double l) { isotop_itr(deviations_, 0.1, l); }
  double length(long i) const { return link.sum(i, 1) / static_cast<double>(link.degree(i)); }
  double longest() const { return static_cast<double>(integers["tdxp"]); }

 private:
  explicit Mapping(std::ifstream&& prefs) : ToMapp(prefs) {}

  MatFullD deviations_;
};

/// The plain loops, for two axes.
struct Plain {
  const Mapping& mapping;
  long n;
  MatFullD y, scratch, scratch2;
  MatFullL path;

  explicit Plain(const Mapping& m) : mapping(m), n(m.getmprot().nrow()) { y.copy(m.getmprot()); }

  void sammon_epoch(double a) {
    for (long i = n - 1; i >= 0; --i) {
      const double* input = mapping.graph_row(i, scratch);
      double* own = y.row(i);
      double g[2] = {}, h[2] = {};
      for (long j = n - 1; j >= 0; --j) {
        const double* other = y.data() + 2 * j;
        double square = 0;
        for (long k = 1; k >= 0; --k) square += (own[k] - other[k]) * (own[k] - other[k]);
        const double d = std::sqrt(square);
        if (j == i || input[j] <= 0 || d <= 0) continue;
        const double c = (input[j] - d) / (input[j] * d);
        for (long k = 1; k >= 0; --k) {
          const double t = own[k] - other[k];
          g[k] += c * t;
          h[k] += c - t * t / (d * d * d);
        }
      }
      for (long k = 1; k >= 0; --k) {
        if (h[k] > 0) own[k] += a * g[k] / h[k];
        if (h[k] < 0) own[k] -= a * g[k] / h[k];
      }
    }
  }

  void push_epoch(double a) {
    for (long i = n - 1; i >= 0; --i) {
      const double* input = mapping.graph_row(i, scratch);
      const double own[2] = {y(i, 0), y(i, 1)};
      for (long j = n - 1; j >= 0; --j) {
        double* other = y.data() + 2 * j;
        double square = 0;
        for (long k = 1; k >= 0; --k) square += (own[k] - other[k]) * (own[k] - other[k]);
        const double d = std::sqrt(square);
        if (j == i || input[j] <= 0 || d <= 0) continue;
        const double f = a * (input[j] - d) / (d * input[j]);
        for (long k = 1; k >= 0; --k) other[k] += (other[k] - own[k]) * f;
      }
    }
  }

  long winner(const double* x) const {
    long best = n;
    double limit = no_bound;
    for (long j = n - 1; j >= 0; --j) {
      const double* image = y.data() + 2 * j;
      double square = 0;
      for (long k = 1; k >= 0; --k) square += (image[k] - x[k]) * (image[k] - x[k]);
      if (square > limit) continue;
      limit = square;
      best = j;
    }
    return best;
  }

  void isotop_epoch(double a, double l) {
    for (long s = 0; s < n; ++s) {
      double x[2];
      for (long k = 1; k >= 0; --k) x[k] = gauss_rand();
      const long b = winner(x);
      const double width = mapping.length(b) * l * mapping.longest();
      const double* g = mapping.graph_row(b, scratch);
      const long* order = mapping.path_row(b, path, scratch2);
      for (long r = 0; r < n; ++r) {
        const long q = order[2 * r + 1];
        if (q < 0) break;
        const double rho = g[q] / width;
        const double weight = fixed_exp(-3.0 * (rho * rho)) * a;
        double* image = y.data() + 2 * q;
        for (long k = 1; k >= 0; --k) image[k] += (x[k] - image[k]) * weight;
        if (rho > 1) break;
      }
    }
  }
};

/// Curvilinear criteria straight from their definition, on stored graph rows; both axes get all bits.
double plain_criteria(const Mapping& mapping, long bits, MatSparT<long>& hist, MatFullD& stats) {
  const MatFullD& y = mapping.getmprot();
  const long n = y.nrow();
  MatFullD scratch;
  const auto image_distance = [&](long i, long j) {
    double square = 0;
    for (long k = 1; k >= 0; --k) square += (y.row(i)[k] - y.row(j)[k]) * (y.row(i)[k] - y.row(j)[k]);
    return std::sqrt(square);
  };
  double top = 0;
  for (long i = n - 1; i >= 0; --i) {
    const double* graph = mapping.graph_row(i, scratch);
    for (long j = i - 1; j >= 0; --j) top = std::max(top, std::max(graph[j], image_distance(i, j)));
  }
  const ScQuan bins(0, top, bits);
  hist.setdim(bins.bins(), bins.bins());
  stats.setdim(bins.bins(), 4);
  stats.setrows(bins.bins(), 0.0);
  for (long i = n - 1; i >= 0; --i) {
    const double* graph = mapping.graph_row(i, scratch);
    for (long j = i - 1; j >= 0; --j) {
      const double across = image_distance(i, j), up = graph[j];
      if (!(across > 0 && up >= 0)) continue;
      const long r = bins.getidx(across);
      hist.setval(r, bins.getidx(up), 1, '+');
      stats(r, 1) += (up - across) * (up - across);
      stats(r, 2) += up / across;
      stats(r, 3) += 1;
    }
  }
  return top;
}

/// Time per pair. Argument: prototypes.
template <class Epoch>
void run(benchmark::State& state, Epoch epoch) {
  for (auto _ : state) {
    epoch();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(0));
}

void SammonEpoch(benchmark::State& state) {
  Mapping mapping(state.range(0));
  run(state, [&] { mapping.sammon_itr(0.2, 0.0); });
}
void SammonEpochPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  Plain plain(mapping);
  run(state, [&] { plain.sammon_epoch(0.2); });
}
void SammonStochasticEpoch(benchmark::State& state) {
  Mapping mapping(state.range(0));
  run(state, [&] { mapping.sammon_itr(0.001, 1.0); });
}
void SammonStochasticEpochPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  Plain plain(mapping);
  run(state, [&] { plain.push_epoch(0.001); });
}
/// Second argument: 1000 times the width factor.
void IsotopEpoch(benchmark::State& state) {
  Mapping mapping(state.range(0));
  run(state, [&] { mapping.isotop_epoch(static_cast<double>(state.range(1)) / 1000.0); });
}
void IsotopEpochPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  Plain plain(mapping);
  run(state, [&] { plain.isotop_epoch(0.1, static_cast<double>(state.range(1)) / 1000.0); });
}
/// The curvilinear criteria.
void GodCriteria(benchmark::State& state) {
  Mapping mapping(state.range(0));
  MatSparT<long> hist;
  MatFullD stats;
  run(state, [&] { mapping.god(7, hist, stats, 1, 0); });
}

void GodCriteriaPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  MatSparT<long> hist;
  MatFullD stats;
  run(state, [&] { benchmark::DoNotOptimize(plain_criteria(mapping, 7, hist, stats)); });
}

/// Interpolation of data that lie between the prototypes. Arguments: prototypes, data.
void SammonInterpolation(benchmark::State& state) {
  Mapping mapping(state.range(0));
  mapping.verbose = 0;
  for (int epoch = 0; epoch < 10; ++epoch) mapping.sammon_itr(0.3, 0.0);
  mapping.finish();
  MatFullD data(state.range(1), 2), positions, winners;
  data.setrows(data.nall(), 0.0);
  data.random(0, 0.0, 1.0, 0, -1, 0, -1);
  for (auto _ : state) benchmark::DoNotOptimize(mapping.sammon_iv(data, winners, positions, nullptr));
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

void sizes(benchmark::internal::Benchmark* b) { b->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond); }
void widths(benchmark::internal::Benchmark* b) {
  for (const long n : {1000, 2000}) {
    for (const long width : {1000, 300, 100, 1}) b->Args({n, width});
  }
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK(SammonEpoch)->Apply(sizes);
BENCHMARK(SammonEpochPlain)->Apply(sizes);
BENCHMARK(SammonStochasticEpoch)->Apply(sizes);
BENCHMARK(SammonStochasticEpochPlain)->Apply(sizes);
BENCHMARK(IsotopEpoch)->Apply(widths);
BENCHMARK(IsotopEpochPlain)->Apply(widths);
BENCHMARK(SammonInterpolation)->Args({2000, 1000})->Unit(benchmark::kMillisecond);
BENCHMARK(GodCriteria)->Apply(sizes);
BENCHMARK(GodCriteriaPlain)->Apply(sizes);

}  // namespace
}  // namespace qvtx
