// Epochs of the methods that move prototypes datum by datum, and their moves alone, under other exponents
// than 2: on examples/digits.dat (1797 x 64), 20 prototypes.

#include <benchmark/benchmark.h>

#include <fstream>
#include <vector>

#include "base/random.h"
#include "preferences.h"
#include "quant/vequan.h"

namespace qvtx {
namespace {

constexpr long prototypes = 20;

/// The exponent is the benchmark's first argument, in tenths; 2 comes back in the end.
class Exponent {
 public:
  explicit Exponent(const benchmark::State& state) {
    MatFullD::miex = static_cast<double>(state.range(0)) / 10.0;
  }
  ~Exponent() { MatFullD::miex = 2.0; }
};

class Quantizer : public VeQuan {
 public:
  Quantizer() : Quantizer(default_preferences()) {
    setseed(default_seed);
    dataload(QVTX_SOURCE_DIR "/examples/digits.dat", 0);
  }

 private:
  explicit Quantizer(std::ifstream&& prefs) : VeQuan(prefs) {}
};

/// The methods' own schedules shortened to ten epochs.
template <class Start, class Epoch>
void run(benchmark::State& state, Start start, Epoch epoch) {
  const Exponent exponent(state);
  Quantizer vq;
  for (auto _ : state) {
    start(vq);
    for (int e = 0; e < 10; ++e) epoch(vq, 0.5 - 0.049 * e, 10.0 - 0.98 * e);
  }
  state.SetItemsProcessed(state.iterations() * 10 * vq.getdat().nrow());
}

void CompetitiveLearning(benchmark::State& state) {
  run(
      state, [](VeQuan& vq) { vq.prot_ini(prototypes, 0); },
      [](VeQuan& vq, double a, double) { vq.cl_itr(a); });
}
void NeuralGas(benchmark::State& state) {
  run(
      state, [](VeQuan& vq) { vq.prot_ini(prototypes, 0); },
      [](VeQuan& vq, double a, double l) { vq.ng_itr(a, l); });
}
void SelfOrganizingMap(benchmark::State& state) {
  run(
      state, [](VeQuan& vq) { vq.som_ini(prototypes, 1.0); },
      [](VeQuan& vq, double a, double l) { vq.som_itr(a, 0.5 * l); });
}

/// All prototypes move towards one datum after the other.
template <class Move>
void run_moves(benchmark::State& state, Move move) {
  const Exponent exponent(state);
  Quantizer vq;
  vq.prot_ini(prototypes, 0);
  MatFullD rows;
  long j = 0;
  for (auto _ : state) {
    if (j % 50 == 0) rows.copy(vq.getprot());
    move(rows, vq.getdat(), j++ % vq.getdat().nrow());
  }
  state.SetItemsProcessed(state.iterations() * prototypes);
}
void MovesTogether(benchmark::State& state) {
  std::vector<long> all;
  for (long k = 0; k < prototypes; ++k) all.push_back(k);
  const std::vector<double> steps(prototypes, 0.05);
  run_moves(state, [&](MatFullD& rows, const MatFullD& dat, long j) {
    rows.move(all.data(), steps.data(), prototypes, dat, j);
  });
}
/// Every derivative is measured anew, and the distance before and after the move.
void MovesPlain(benchmark::State& state) {
  run_moves(state, [](MatFullD& rows, const MatFullD& dat, long j) {
    MatFullD old;
    old.copy(rows);
    for (long i = 0; i < prototypes; ++i) {
      for (long k = rows.ncol() - 1; k >= 0; --k) rows(i, k) -= 0.05 * rows.dhssds(i, dat, j, k);
      if (rows.sdas(i, dat, j, no_bound) < old.sdas(i, dat, j, no_bound)) continue;
      for (long k = 0; k < rows.ncol(); ++k) rows(i, k) = old(i, k) - 0.05 * (old(i, k) - dat(j, k));
    }
  });
}

void exponents(benchmark::internal::Benchmark* b) {
  for (const long tenths : {20, 10, 30, 40, 70, 80}) b->Arg(tenths);
  b->Unit(benchmark::kMicrosecond);
}
BENCHMARK(CompetitiveLearning)->Apply(exponents);
BENCHMARK(NeuralGas)->Apply(exponents);
BENCHMARK(SelfOrganizingMap)->Apply(exponents);
BENCHMARK(MovesTogether)->Apply(exponents);
BENCHMARK(MovesPlain)->Apply(exponents);

}  // namespace
}  // namespace qvtx
