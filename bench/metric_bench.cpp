// Epochs of the methods that move prototypes datum by datum, and their moves alone, under other exponents
// than 2: on examples/digits.dat (1797 x 64), 20 prototypes. One move against one distance, in every class.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
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
/// Pairs of rows of random numbers.
class Pairs {
 public:
  static constexpr long count = 200;

  explicit Pairs(long columns) {
    setseed(default_seed);
    for (MatFullD* m : {&first_, &to_}) {
      m->setdim(count, columns);
      m->setrows(count, 0.0);
      for (long c = 0; c < count * columns; ++c) m->data()[c] = u_rand();
    }
    rows_.copy(first_);
  }

  /// The sum of their distances.
  double distances() const {
    double sum = 0.0;
    for (long i = 0; i < count; ++i) sum += rows_.sdas(i, to_, i, no_bound);
    return sum;
  }
  void move(double step) {
    for (long i = 0; i < count; ++i) rows_.move(i, to_, i, step);
  }
  /// Twenty rows at a time towards one.
  void move_together(double step) {
    const std::vector<double> steps(prototypes, step);
    long rows[prototypes];
    for (long first = 0; first < count; first += prototypes) {
      for (long r = 0; r < prototypes; ++r) rows[r] = first + r;
      rows_.move(rows, steps.data(), prototypes, to_, first);
    }
  }
  void move_back() { rows_.copy(first_); }

 private:
  MatFullD rows_, first_, to_;
};

using Clock = std::chrono::steady_clock;
double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The move of a row by a step towards another, and its time over that of the distance between the two. The
/// arguments are the exponent in tenths, the columns, the step in hundredths and the class. Both are timed in
/// turn, and the best times of many turns count: other programs disturb each of them.
template <class Move>
void run_pairs(benchmark::State& state, Move move) {
  const Exponent exponent(state);
  MatFullD::mesp = static_cast<char>(state.range(3));
  Pairs pairs(state.range(1));
  double moving = no_bound, measuring = no_bound;
  for (auto _ : state) {
    pairs.move_back();
    const auto start = Clock::now();
    benchmark::DoNotOptimize(pairs.distances());
    measuring = std::min(measuring, seconds_since(start));
    const auto middle = Clock::now();
    move(pairs, static_cast<double>(state.range(2)) / 100.0);
    const double time = seconds_since(middle);
    moving = std::min(moving, time);
    state.SetIterationTime(time);
  }
  MatFullD::mesp = 'm';
  state.counters["move_ns"] = 1e9 * moving / Pairs::count;
  state.counters["distance_ns"] = 1e9 * measuring / Pairs::count;
  state.counters["ratio"] = moving / measuring;
}
void OneMove(benchmark::State& state) {
  run_pairs(state, [](Pairs& pairs, double step) { pairs.move(step); });
}
void OneOfTwenty(benchmark::State& state) {
  run_pairs(state, [](Pairs& pairs, double step) { pairs.move_together(step); });
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
void moves_of_every_class(benchmark::internal::Benchmark* b) {
  const auto add = [b](char kind, long tenths) {
    for (const long columns : {8, 64})
      for (const long hundredths : {50, 5}) b->Args({tenths, columns, hundredths, kind});
  };
  for (const char kind : {'m', 'a'})
    for (const long tenths : {5, 6, 10, 12, 20, 30, 40, 80, 90}) add(kind, tenths);
  add('c', 20);
  b->UseManualTime();
}
BENCHMARK(CompetitiveLearning)->Apply(exponents);
BENCHMARK(NeuralGas)->Apply(exponents);
BENCHMARK(SelfOrganizingMap)->Apply(exponents);
BENCHMARK(MovesTogether)->Apply(exponents);
BENCHMARK(MovesPlain)->Apply(exponents);
BENCHMARK(OneMove)->Apply(moves_of_every_class);
BENCHMARK(OneOfTwenty)->Apply(moves_of_every_class);

}  // namespace
}  // namespace qvtx
