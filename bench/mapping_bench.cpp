// One epoch of curvilinear component analysis, the stress and multidimensional scaling, each beside plain
// loops.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "base/random.h"
#include "mapping/tomapp.h"
#include "plain_eigen.h"
#include "preferences.h"

namespace qvtx {
namespace {

/// Uniform prototypes in space without links, and images in the plane that show two of their coordinates with
/// noise: what a mapping looks like after its first epochs.
class Mapping : public ToMapp {
 public:
  explicit Mapping(long n) : Mapping(default_preferences()) {
    setseed(default_seed);
    MatFullD m(n, 3);
    m.setrows(n);
    m.random(0, 0.0, 1.0, 0, -1, 0, -1);
    dataload(m, 0);
    set("vglink_p", 0);
    set("vgmemory", 1);
    nq();
    dist_ini(0);
    mapr_ini(2, 0);
    for (long i = 0; i < n; ++i) {
      for (long k = 0; k < 2; ++k) mprot(i, k) = prot(i, k) + 0.05 * u_rand();
    }
    nbwidth.setdim(n, 1);
    nbwidth.setrows(n, 1.0);
  }

  void set(const char* key, double value) {
    const long k = lpref.getkey(key);
    if (k >= 0) {
      lpref.newval(k, static_cast<long>(value));
    } else {
      dpref.newval(dpref.getkey(key), value);
    }
  }
  double scale() const { return reals["tdxm"]; }
  /// A row that is stored.
  const double* input(long i) const {
    MatFullD unused;
    return space_row(i, unused);
  }

 private:
  explicit Mapping(std::ifstream&& prefs) : ToMapp(prefs) {}
};

/// The plain loops over pairs, two axes.
struct Plain {
  long n;
  const Mapping& mapping;
  const double* rows;  // n x n input distances, null for those of the mapping
  std::vector<double> y;
  std::vector<long> order;  // of the pivots: random, as in a mapping

  explicit Plain(const Mapping& m, const double* all = nullptr)
      : n(m.getprot().nrow()), mapping(m), rows(all), y(m.getmprot().data(), m.getmprot().data() + 2 * n) {
    for (long i = 0; i < n; ++i) order.push_back(i);
    for (long i = n - 1; i >= 0; --i)
      std::swap(order[static_cast<std::size_t>(i)], order[static_cast<std::size_t>(ul_rand() % n)]);
  }

  const double* row(long i) const { return rows != nullptr ? rows + i * n : mapping.input(i); }

  double distance(long i, long j) const {
    const double s = y[at(j, 1)] - y[at(i, 1)], t = y[at(j, 0)] - y[at(i, 0)];
    return std::sqrt(s * s + t * t);
  }
  static std::size_t at(long i, long k) { return static_cast<std::size_t>(2 * i + k); }

  template <class F>
  double epoch(const F& weight_of, double a) {
    double dmax = 0;
    for (const long i : order) {
      const double* input = row(i);
      for (long j = n - 1; j >= 0; --j) {
        const double from = input[j];
        if (j == i || from < 0) continue;
        const double to = distance(i, j);
        if (to > dmax) dmax = to;
        if (to <= 0) continue;
        const double weight = weight_of(to);
        if (weight < 0.05) continue;
        const double s = to <= from ? (from * from - to * to) * 0.5 / (from * from) : (from - to) / to;
        for (long k = 1; k >= 0; --k) y[at(j, k)] += (y[at(j, k)] - y[at(i, k)]) * (s * weight * a);
      }
    }
    return dmax;
  }

  double stress() const {
    double error = 0, scale = 0;
    for (long i = n - 1; i >= 0; --i) {
      const double* input = row(i);
      for (long j = n - 1; j >= 0; --j) {
        if (j == i || input[j] <= 0) continue;
        const double t = input[j] - distance(i, j);
        error += t * t / input[j];
        scale += input[j];
      }
    }
    return error / scale;
  }
};

void count_pairs(benchmark::State& state, long n) { state.SetItemsProcessed(state.iterations() * n * n); }

/// Arguments: prototypes, neighbourhood function, width in hundredths of the largest distance.
void BM_CdaEpoch(benchmark::State& state) {
  Mapping mapping(state.range(0));
  mapping.set("tcdnwf", static_cast<double>(state.range(1)));
  const double l = 0.01 * static_cast<double>(state.range(2));
  for (auto _ : state) benchmark::DoNotOptimize(mapping.cda_itr(0.01, l));
  count_pairs(state, state.range(0));
}

void BM_CdaEpochPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  Plain plain(mapping);
  const double width = 0.01 * static_cast<double>(state.range(2)) * mapping.scale();
  const double slope = 0.95 / width, scale = 1.0 / width;
  const auto step = [width](double x) { return x <= width ? 1.0 : 0.0; };
  const auto linear = [slope](double x) { return x * slope < 1.0 ? 1.0 - x * slope : 0.0; };
  const auto gaussian = [scale](double x) { return fixed_exp(-3.0 * (x * scale * (x * scale))); };
  for (auto _ : state) {
    double dmax = 0;
    if (state.range(1) == 0) dmax = plain.epoch(step, 0.01);
    if (state.range(1) == 1) dmax = plain.epoch(linear, 0.01);
    if (state.range(1) == 3) dmax = plain.epoch(gaussian, 0.01);
    benchmark::DoNotOptimize(dmax);
  }
  count_pairs(state, state.range(0));
}

void epochs(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMillisecond)->ArgNames({"n", "function", "width"});
  for (const long function : {0, 1, 3}) {
    for (const long width : {100, 30, 10}) {
      for (const long n : {500, 2000}) b->Args({n, function, width});
    }
  }
}
BENCHMARK(BM_CdaEpoch)->Apply(epochs);
BENCHMARK(BM_CdaEpochPlain)->Apply(epochs);

void BM_Stress(benchmark::State& state) {
  Mapping mapping(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mapping.mapr_err());
  count_pairs(state, state.range(0));
}
BENCHMARK(BM_Stress)->Unit(benchmark::kMillisecond)->Arg(500)->Arg(2000);

void BM_StressPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  const Plain plain(mapping);
  for (auto _ : state) benchmark::DoNotOptimize(plain.stress());
  count_pairs(state, state.range(0));
}
BENCHMARK(BM_StressPlain)->Unit(benchmark::kMillisecond)->Arg(500)->Arg(2000);

void BM_LostNeighbours(benchmark::State& state) {
  Mapping mapping(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mapping.mapr_err(0));
}
BENCHMARK(BM_LostNeighbours)->Unit(benchmark::kMillisecond)->Arg(2000);

MatFullD rolled_sheet(long n) {
  MatFullD m(n, 3);
  m.setrows(n);
  for (long i = 0; i < n; ++i) {
    const double turn = 4.7 * (1 + 2 * u_rand());
    m(i, 0) = turn * std::cos(turn);
    m(i, 1) = 21 * u_rand();
    m(i, 2) = turn * std::sin(turn);
  }
  return m;
}

/// 10,000 data on a rolled sheet, 300 prototypes and their map, as `il` finds them.
class Sheet : public ToMapp {
 public:
  Sheet() : Sheet(default_preferences()) {
    verbose = 0;
    setseed(default_seed);
    MatFullD m = rolled_sheet(10000);
    dataload(m, 0);
    lpref.newval(lpref.getkey("tcdepoq"), 10);
    lbg(300);
    cda(2, nullptr);
  }

 private:
  explicit Sheet(std::ifstream&& prefs) : ToMapp(prefs) {}
};

void BM_Interpolation(benchmark::State& state) {
  Sheet sheet;
  MatFullD nearest, positions;
  for (auto _ : state) sheet.cda_iv(sheet.getdat(), nearest, positions);
  state.SetItemsProcessed(state.iterations() * sheet.getdat().nrow());
}
BENCHMARK(BM_Interpolation)->Unit(benchmark::kMillisecond);

/// `nq` and `cc` with 50 epochs of 2,000 data on a rolled sheet, without loop lines and so without their
/// stress.
class Roll : public Mapping {
 public:
  static constexpr long epochs = 50;

  Roll() : Mapping(2000) {
    MatFullD m = rolled_sheet(2000);
    dataload(m, 0);
    set("vglink_p", 2);
    set("tcdepoq", epochs);
  }
  /// The rows of all shortest paths, one search after the other.
  std::vector<double> paths() const {
    std::vector<double> all;
    MatFullD row;
    for (long i = 0; i < prot.nrow(); ++i) {
      link.gdav(i, 1, row, no_bound);
      all.insert(all.end(), row.data(), row.data() + row.nrow());
    }
    return all;
  }
};

void BM_WholeCda(benchmark::State& state) {
  Roll roll;
  for (auto _ : state) {
    roll.nq();
    benchmark::DoNotOptimize(roll.cda(2, nullptr));
  }
}
BENCHMARK(BM_WholeCda)->Unit(benchmark::kMillisecond);

void BM_WholeCdaPlain(benchmark::State& state) {
  Roll roll;
  roll.nq();
  roll.cda(2, nullptr);
  for (auto _ : state) {
    roll.nq();
    const std::vector<double> rows = roll.paths();
    const double largest = *std::max_element(rows.begin(), rows.end());
    Plain plain(roll, rows.data());
    for (long t = 0; t < Roll::epochs; ++t) {
      const double share = static_cast<double>(t) / (Roll::epochs - 1);  // the shipped schedule
      const double slope = 0.95 / (2 * largest * std::pow(0.05, share));
      const auto linear = [slope](double x) { return x * slope < 1.0 ? 1.0 - x * slope : 0.0; };
      benchmark::DoNotOptimize(plain.epoch(linear, 0.5 * std::pow(0.02, share)));
    }
  }
}
BENCHMARK(BM_WholeCdaPlain)->Unit(benchmark::kMillisecond);

/// What it cannot do without, by plain loops: the four nearest prototypes of a datum twice, and of five
/// positions the nearest images.
void BM_InterpolationSearchesPlain(benchmark::State& state) {
  const Sheet sheet;
  const auto search = [](const MatFullD& rows, const double* x) {
    std::vector<std::pair<double, long>> all(static_cast<std::size_t>(rows.nrow()));
    for (long i = 0; i < rows.nrow(); ++i) {
      double sum = 0;
      for (long k = rows.ncol() - 1; k >= 0; --k) sum += (rows(i, k) - x[k]) * (rows(i, k) - x[k]);
      all[static_cast<std::size_t>(i)] = {std::sqrt(sum), i};
    }
    std::partial_sort(all.begin(), all.begin() + 4, all.end());
    benchmark::DoNotOptimize(all.data());
  };
  for (auto _ : state) {
    for (long i = 0; i < sheet.getdat().nrow(); ++i) {
      for (int s = 0; s < 2; ++s) search(sheet.getprot(), sheet.getdat().row(i));
      for (int s = 0; s < 5; ++s) search(sheet.getmprot(), sheet.getmprot().row(i % 300));
    }
  }
  state.SetItemsProcessed(state.iterations() * sheet.getdat().nrow());
}
BENCHMARK(BM_InterpolationSearchesPlain)->Unit(benchmark::kMillisecond);

/// Two dimensions. The plain loops are told nothing of the two and find all vectors.
void BM_Mds(benchmark::State& state) {
  Mapping mapping(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mapping.mds_cor());
}
BENCHMARK(BM_Mds)->Unit(benchmark::kMillisecond)->Arg(1000)->Arg(2000);

double plain_mds(const Mapping& mapping) {
  const long n = mapping.getprot().nrow();
  PlainEigen problem(n);
  std::vector<double> mean(static_cast<std::size_t>(n));
  double overall = 0;
  for (long i = n - 1; i >= 0; --i) {
    const double* input = mapping.input(i);
    double sum = 0;
    for (long j = n - 1; j >= 0; --j) {
      problem(i, j) = static_cast<float>(-0.5 * (input[j] * input[j]));
      sum += input[j] * input[j];
    }
    mean[static_cast<std::size_t>(i)] = sum / static_cast<double>(n);
    overall += sum / static_cast<double>(n * n);
  }
  for (long i = n - 1; i >= 0; --i) {
    const double own = mean[static_cast<std::size_t>(i)];
    for (long j = n - 1; j >= 0; --j)
      problem(i, j) -= static_cast<float>(0.5 * (overall - own - mean[static_cast<std::size_t>(j)]));
  }
  problem.solve();
  return problem.value(0);
}

void BM_MdsPlain(benchmark::State& state) {
  const Mapping mapping(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(plain_mds(mapping));
}
BENCHMARK(BM_MdsPlain)->Unit(benchmark::kMillisecond)->Arg(1000);  // 2000 takes minutes

}  // namespace
}  // namespace qvtx
