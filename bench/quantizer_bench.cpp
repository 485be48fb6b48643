// One epoch of the iterative quantization methods, each beside a plain loop with the same result.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "base/random.h"
#include "preferences.h"
#include "quant/vequan.h"

namespace qvtx {
namespace {

/// The shipped settings, but dead prototypes stay and the data come in order, as in the plain loops.
class Quantizer : public VeQuan {
 public:
  Quantizer(long ndata, long dim, long nprot) : Quantizer(default_preferences()) {
    setseed(default_seed);
    MatFullD m(ndata, dim);
    m.setrows(ndata);
    m.random(0, 0.0, 1.0, 0, -1, 0, -1);
    dataload(m, 0);
    for (const char* key : {"vgswap_d", "vgrepl_p"}) getlpref().newval(getlpref().getkey(key), 0);
    prot_ini(nprot, 0);
  }

 private:
  explicit Quantizer(std::ifstream&& prefs) : VeQuan(prefs) {}
};

/// The plain loops, for the Euclidean distance.
struct Plain {
  long n, d, m;
  std::vector<double> x, p, distance;
  std::vector<long> bmu, ranks;

  Plain(const VeQuan& vq) : n(vq.getdat().nrow()), d(vq.getdat().ncol()), m(vq.getprot().nrow()) {
    x.assign(vq.getdat().data(), vq.getdat().data() + n * d);
    p.assign(vq.getprot().data(), vq.getprot().data() + m * d);
    distance.resize(static_cast<std::size_t>(m));
    bmu.assign(static_cast<std::size_t>(n), -1);
    ranks.resize(static_cast<std::size_t>(m));
  }

  double squared(const double* a, const double* b, double limit) const {
    double s = 0.0;
    for (long j = d - 1; j >= 0 && !(s > limit); --j) s += (a[j] - b[j]) * (a[j] - b[j]);
    return s;
  }

  /// The previous winner, if there is one, bounds the search: few rows are visited to their last coordinate.
  long winner(long i) {
    const double* a = x.data() + i * d;
    long& k = bmu[static_cast<std::size_t>(i)];
    const double unbounded = std::numeric_limits<double>::infinity();
    return k = nearest(a, k < 0 ? unbounded : squared(p.data() + k * d, a, unbounded));
  }

  long nearest(const double* a, double limit = std::numeric_limits<double>::infinity()) const {
    long found = m;
    for (long k = m - 1; k >= 0; --k) {
      const double s = squared(p.data() + k * d, a, limit);
      if (s > limit) continue;
      limit = s;
      found = k;
    }
    return found;
  }

  void move(long k, const double* a, double h) {
    double* row = p.data() + k * d;
    for (long j = d - 1; j >= 0; --j) row[j] -= h * (row[j] - a[j]);
  }

  void lbg_epoch() {
    std::vector<double> hits(static_cast<std::size_t>(m), 0.0);
    for (long i = n - 1; i >= 0; --i) bmu[static_cast<std::size_t>(i)] = nearest(x.data() + i * d);
    std::fill(p.begin(), p.end(), 0.0);
    for (long i = n - 1; i >= 0; --i) {
      const long k = bmu[static_cast<std::size_t>(i)];
      hits[static_cast<std::size_t>(k)] += 1.0;
      for (long j = 0; j < d; ++j)
        p[static_cast<std::size_t>(k * d + j)] += x[static_cast<std::size_t>(i * d + j)];
    }
    for (long k = 0; k < m; ++k) {
      const double count = std::max(hits[static_cast<std::size_t>(k)], 1.0);
      for (long j = 0; j < d; ++j) p[static_cast<std::size_t>(k * d + j)] /= count;
    }
  }

  void assign() {
    for (long i = n - 1; i >= 0; --i) bmu[static_cast<std::size_t>(i)] = nearest(x.data() + i * d);
  }

  void cl_epoch(double a) {
    for (long i = n - 1; i >= 0; --i) move(winner(i), x.data() + i * d, a);
  }

  void fcl_epoch(double a) {
    std::vector<double> mean(static_cast<std::size_t>(m), 0.0);
    for (long i = n - 1; i >= 0; --i) {
      const double* row = x.data() + i * d;
      const long k = winner(i);
      move(k, row, a);
      const double moved = std::sqrt(squared(p.data() + k * d, row, std::numeric_limits<double>::infinity()));
      mean[static_cast<std::size_t>(k)] += 0.03 * (moved - mean[static_cast<std::size_t>(k)]);
    }
  }

  /// From the first prototype on: a datum farther than r from all becomes the next one. Rate 0: running
  /// means.
  void growing_epoch(double r, double a) {
    std::vector<double> hits(1, 0.0);
    m = 1;
    p.resize(static_cast<std::size_t>(d));
    for (long i = n - 1; i >= 0; --i) {
      const double* row = x.data() + i * d;
      const long k = nearest(row, r * r * 1.001);
      if (k == m) {
        p.insert(p.end(), row, row + d);
        hits.push_back(0.0);
        ++m;
      }
      hits[static_cast<std::size_t>(k)] += 1.0;
      move(k, row, a > 0.0 ? a : 1.0 / hits[static_cast<std::size_t>(k)]);
    }
  }

  void ng_epoch(double a, double l) {
    std::iota(ranks.begin(), ranks.end(), 0L);
    for (long i = n - 1; i >= 0; --i) {
      const double* row = x.data() + i * d;
      bmu[static_cast<std::size_t>(i)] = nearest(row);
      for (long k = 0; k < m; ++k) {
        distance[static_cast<std::size_t>(k)] =
            std::sqrt(squared(p.data() + k * d, row, std::numeric_limits<double>::infinity()));
      }
      const auto closer = [this](long i1, long i2) {
        return distance[static_cast<std::size_t>(i1)] < distance[static_cast<std::size_t>(i2)];
      };
      for (long r = 0; r < m && static_cast<double>(r) <= 3.0 * l; ++r) {
        std::swap(*std::min_element(ranks.begin() + r, ranks.end(), closer),
                  ranks[static_cast<std::size_t>(r)]);
        move(ranks[static_cast<std::size_t>(r)], row, a * fixed_exp(-static_cast<double>(r) / l));
      }
    }
  }
};

/// Time per datum. Arguments: data, columns, prototypes, and for neural gas ten times the width.
template <class Epoch>
void run(benchmark::State& state, Epoch epoch) {
  for (auto _ : state) {
    epoch();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

Quantizer quantizer(const benchmark::State& state) {
  return {state.range(0), state.range(1), state.range(2)};
}

void Lbg(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.lbg_itr(0); });
}
void LbgPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.lbg_epoch(); });
}
void Assignment(benchmark::State& state) {
  const Quantizer vq = quantizer(state);
  MatFullL winners;
  run(state, [&] { vq.getprot().nearest_all(vq.getdat(), winners); });
}
void AssignmentPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.assign(); });
}
void Cl(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.cl_itr(0.05); });
}
void ClPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.cl_epoch(0.05); });
}
// With the diagnosis, so that every datum is searched for.
void Fcl(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.fcl_itr(0.05, 0); });
}
void FclPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.fcl_epoch(0.05); });
}

// The growing methods: the last argument is 1000 times the radius, chosen so that there are about as many
// prototypes as the argument before it says.
void Xn(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] {
    vq.prot_ini(1, 0);
    vq.xn_itr(static_cast<double>(state.range(3)) / 1000.0);
  });
  state.counters["prototypes"] = static_cast<double>(vq.getprot().nrow());
}
void Nw(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] {
    vq.prot_ini(1, 0);
    vq.nw_itr(static_cast<double>(state.range(3)) / 1000.0, 0.05);
  });
  state.counters["prototypes"] = static_cast<double>(vq.getprot().nrow());
}
void growing_plain(benchmark::State& state, double a) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.growing_epoch(static_cast<double>(state.range(3)) / 1000.0, a); });
  state.counters["prototypes"] = static_cast<double>(plain.m);
}
void XnPlain(benchmark::State& state) { growing_plain(state, 0.0); }
void NwPlain(benchmark::State& state) { growing_plain(state, 0.05); }

void Ng(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.ng_itr(0.05, static_cast<double>(state.range(3)) / 10.0); });
}
void NgPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.ng_epoch(0.05, static_cast<double>(state.range(3)) / 10.0); });
}

// Ten epochs whose widths fall from 66 to 0.5.
template <class Gas>
void gas_schedule(benchmark::State& state, Gas gas) {
  run(state, [&] {
    for (int e = 0; e < 10; ++e) gas(0.3 * std::pow(0.1, e / 9.0), 66.0 * std::pow(0.5 / 66.0, e / 9.0));
  });
}
void NgSchedule(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  gas_schedule(state, [&](double a, double l) { vq.ng_itr(a, l); });
}
void NgSchedulePlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  gas_schedule(state, [&](double a, double l) { plain.ng_epoch(a, l); });
}

void batch_sizes(benchmark::internal::Benchmark* b) {
  b->Args({20000, 8, 200})->Args({100000, 16, 256})->Args({20000, 64, 1000})->Unit(benchmark::kMillisecond);
}
void online_sizes(benchmark::internal::Benchmark* b) {
  b->Args({20000, 8, 200})->Args({20000, 16, 500})->Unit(benchmark::kMillisecond);
}
void growing_sizes(benchmark::internal::Benchmark* b) {
  b->Args({20000, 16, 500, 1100})->Unit(benchmark::kMillisecond);
}
void gas_sizes(benchmark::internal::Benchmark* b) {
  for (int width : {1000, 660, 300, 100, 50, 20, 5}) b->Args({20000, 8, 200, width});
  b->Args({20000, 3, 1000, 1000})->Unit(benchmark::kMillisecond);
}

BENCHMARK(Lbg)->Apply(batch_sizes);
BENCHMARK(LbgPlain)->Apply(batch_sizes);
BENCHMARK(Assignment)->Apply(batch_sizes);
BENCHMARK(AssignmentPlain)->Apply(batch_sizes);
BENCHMARK(Cl)->Apply(online_sizes);
BENCHMARK(ClPlain)->Apply(online_sizes);
BENCHMARK(Fcl)->Apply(online_sizes);
BENCHMARK(FclPlain)->Apply(online_sizes);
BENCHMARK(Xn)->Apply(growing_sizes);
BENCHMARK(XnPlain)->Apply(growing_sizes);
BENCHMARK(Nw)->Apply(growing_sizes);
BENCHMARK(NwPlain)->Apply(growing_sizes);
BENCHMARK(Ng)->Apply(gas_sizes);
BENCHMARK(NgPlain)->Apply(gas_sizes);
BENCHMARK(NgSchedule)->Args({20000, 8, 200})->Unit(benchmark::kMillisecond);
BENCHMARK(NgSchedulePlain)->Args({20000, 8, 200})->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvtx
