// One epoch of the iterative quantization methods, each beside a plain loop with the same result.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "base/random.h"
#include "quant/vequan.h"

namespace qvtx {
namespace {

/// The shipped settings, but dead prototypes stay and the data come in order, as in the plain loops.
class Quantizer : public VeQuan {
 public:
  Quantizer(long ndata, long dim, long nprot) : Quantizer(preferences()) {
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
  static std::ifstream preferences() {
    return std::ifstream(std::filesystem::path(__FILE__).parent_path() / "../examples/Qvtx.prf");
  }
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
    bmu.resize(static_cast<std::size_t>(n));
    ranks.resize(static_cast<std::size_t>(m));
  }

  double squared(const double* a, const double* b, double limit) const {
    double s = 0.0;
    for (long j = d - 1; j >= 0 && !(s > limit); --j) s += (a[j] - b[j]) * (a[j] - b[j]);
    return s;
  }

  long nearest(const double* a) const {
    double limit = std::numeric_limits<double>::infinity();
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

  void cl_epoch(double a) {
    for (long i = n - 1; i >= 0; --i) move(nearest(x.data() + i * d), x.data() + i * d, a);
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

void LbgEpoch(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.lbg_itr(0); });
}
void LbgEpochPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.lbg_epoch(); });
}
void ClEpoch(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.cl_itr(0.05); });
}
void ClEpochPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.cl_epoch(0.05); });
}
void NgEpoch(benchmark::State& state) {
  Quantizer vq = quantizer(state);
  run(state, [&] { vq.ng_itr(0.05, static_cast<double>(state.range(3)) / 10.0); });
}
void NgEpochPlain(benchmark::State& state) {
  Plain plain(quantizer(state));
  run(state, [&] { plain.ng_epoch(0.05, static_cast<double>(state.range(3)) / 10.0); });
}

void sizes(benchmark::internal::Benchmark* b) {
  for (const auto& shape : {std::pair(8, 200), std::pair(64, 200), std::pair(3, 1000)}) {
    b->Args({20000, shape.first, shape.second});
  }
  b->Unit(benchmark::kMillisecond);
}
void gas_sizes(benchmark::internal::Benchmark* b) {
  for (int width : {100, 10, 2}) b->Args({20000, 8, 200, width});
  b->Args({20000, 3, 1000, 100})->Unit(benchmark::kMillisecond);
}

BENCHMARK(LbgEpoch)->Apply(sizes);
BENCHMARK(LbgEpochPlain)->Apply(sizes);
BENCHMARK(ClEpoch)->Apply(sizes);
BENCHMARK(ClEpochPlain)->Apply(sizes);
BENCHMARK(NgEpoch)->Apply(gas_sizes);
BENCHMARK(NgEpochPlain)->Apply(gas_sizes);

}  // namespace
}  // namespace qvtx
