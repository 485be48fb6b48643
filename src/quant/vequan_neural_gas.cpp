// Neural gas (Martinetz, Berkovich and Schulten, "Neural-gas network for vector quantization and its
// application to time-series prediction", IEEE Trans. Neural Networks 4, 1993): every datum moves the
// prototypes ranked by their distance to it, each by a step that decays with its rank. The ranking stops at
// three widths, where the step has fallen to exp(-3).

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "matrix/distance/metric.h"
#include "quant/epoch_memory.h"
#include "quant/gas_kernels.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// What an epoch works on, and what it counts.
struct GasEpoch {
  VeQuan& quantizer;
  const MatFullD& dat;
  MatFullD& prot;
  const MatFullL& order;
  CaptureBook book;
  OnlineWinners& winners;
  EpochMemory& memory;
  MatFullL& ridx;    // rank list, not reset between data: its order decides among equal distances
  MatFullD& dwork;   // nprot x 1: distances to the datum
  double a, l;       // step and width
  float lim;         // 3 l: the last rank that moves
  long changed = 0;  // data with another winner than before
  long adapted = 0;  // prototypes moved

  double step(long r) const { return a * fixed_exp(-static_cast<double>(r) / l); }
  long moving_ranks() const;
  const double* set_steps(long m);
  void move_winners();
  void move_ranks();
  void move_ranks_plainly();
  void measure(long d);
  void select_rank(long r);
};

/// Number of ranks that move: rank 0 and those not above lim, all in single precision, which decides whether
/// rank 3 l itself still moves.
long GasEpoch::moving_ranks() const {
  long m = 1;
  while (m < prot.nrow() && static_cast<float>(m) <= lim) ++m;
  return m;
}

/// The steps of the first m ranks.
const double* GasEpoch::set_steps(long m) {
  std::vector<double>& steps = memory.steps;
  steps.resize(static_cast<std::size_t>(prot.nrow()));  // a later epoch may move more ranks
  for (long r = 0; r < m; ++r) steps[static_cast<std::size_t>(r)] = step(r);
  return steps.data();
}

/// Too narrow a width for a neighbour: the winners alone move.
void GasEpoch::move_winners() {
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    changed += winners.capture(d, no_bound);
    winners.move(d, a, book.bmu(d, 0));
    ++adapted;
  }
}

/// On the packed copy of the prototypes, which are moved and measured for the next datum in one pass.
/// REQUIRES: Euclidean distance, winners.packed(), so that no prototype is created and every distance is
/// finite.
void GasEpoch::move_ranks() {
  constexpr double stays = std::numeric_limits<double>::quiet_NaN();
  const long n = prot.nrow(), ncol = prot.ncol();
  const long m = moving_ranks();
  PackedRows& packed = memory.packed;
  const double* const steps = set_steps(m);
  RankSort& ranks = memory.ranks;
  ranks.start(ridx, m);
  std::vector<double>& moves = memory.moves;
  moves.assign(static_cast<std::size_t>(PackedRows::places(n)), stays);
  const auto move_and_measure = gas_kernels().move_and_measure;
  const auto datum = [this](long i) { return dat.row(order(i, 0)); };
  const long last = dat.nrow() - 1;
  if (last >= 0)
    move_and_measure(packed.data(), n, ncol, moves.data(), datum(last), datum(last), ranks.sums());
  for (long i = last; i >= 0; --i) {
    changed += book.capture(order(i, 0), ranks.rank());
    for (long r = 0; r < m; ++r) moves[static_cast<std::size_t>(ridx.data()[r])] = steps[r];
    const double* next = datum(i > 0 ? i - 1 : i);
    move_and_measure(packed.data(), n, ncol, moves.data(), datum(i), next, ranks.sums());
    for (long r = 0; r < m; ++r) moves[static_cast<std::size_t>(ridx.data()[r])] = stays;
    adapted += m;
  }
  for (long k = 0; k < n; ++k) packed.get_row(k, prot.row(k));
}

/// The same for every distance: selected rank by rank, moved together.
void GasEpoch::move_ranks_plainly() {
  dwork.setdim(prot.nrow(), 1);
  dwork.setrows(prot.nrow());
  long m = 0;
  const double* steps = nullptr;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    measure(d);
    if (const long moving = moving_ranks(); moving > m) steps = set_steps(m = moving);
    for (long r = 0; r < m; ++r) select_rank(r);
    winners.move(d, steps, ridx.data(), m);
    adapted += m;
  }
}

/// Books the winner of datum d, and leaves all distances to it in dwork.
void GasEpoch::measure(long d) {
  if (!winners.packed()) {
    changed += quantizer.prot_bmu(d, no_bound);
    while (ridx.nrow() < prot.nrow()) {  // a created prototype (see searches_agree) joins at the end
      const long k = ridx.addrow() - 1;
      ridx(k, 0) = k;
    }
    prot.sdav(dat, d, dwork, no_bound);
    return;
  }
  double* const sums = dwork.data();
  winners.search().sums(dat.row(d), sums);
  changed += book.capture(d, std::min_element(sums, sums + prot.nrow()) - sums);
  winners.search().finish(sums);
}

/// Brings the nearest of the prototypes from place r of the list on to place r, the first among equals.
void GasEpoch::select_rank(long r) {
  long* const list = ridx.data();
  const double* const distance = dwork.data();
  long best = r;
  double smallest = no_bound;
  for (long q = r; q < ridx.nrow(); ++q) {
    const double x = distance[list[q]];
    if (x >= 0.0 && x < smallest) {
      smallest = x;
      best = q;
    }
  }
  std::swap(list[r], list[best]);
}

}  // namespace

long VeQuan::ng(long n, const char* file) {
  return ng(n, schedule_for(file, verbose,
                            {"default.ngp",
                             "ng: using default parameters",
                             "vngepoq",
                             {{"vngaini", "vngafin"}, {"vnglini", "vnglfin"}}}));
}

long VeQuan::ng(long n, const MatParaD& sched) {
  if (!prot_ini(n, static_cast<int>(lkey("vnginp"))) || prot.nrow() == 0) return 0;
  if (!sched.control(2)) {
    refuse("ng: al not parametric");
    return 0;
  }
  run_epochs("ng: quantizing ... ", sched.nrow(), [&](long e) { return ng_itr(sched(e, 0), sched(e, 1)); });
  return prot_fin("Neural Gas", 1);
}

long VeQuan::ng_itr(double a, double l) {
  if (!(a >= 0.0 && a <= 1.0)) {
    refuse("ng_itr: anow not parametric");
    return 0;
  }
  if (!(l >= 0.0)) {
    refuse("ng_itr: lnow not parametric");
    return 0;
  }
  ridx.setdim(prot.nrow(), 1);
  ridx.setrows(prot.nrow());
  ridx.setidx(0, 0, 1);
  if (integers["vgswap_d"]) shuffle(order);

  CaptureBook book{bmu, bmucnt, hits};
  OnlineWinners winners(*this, dat, prot, book, *workspace);
  const float lim = 3.0F * static_cast<float>(l);
  GasEpoch epoch{*this, dat, prot, order, book, winners, *workspace, ridx, dwork, a, l, lim};
  if (lim < 1.0F) {
    epoch.move_winners();
  } else if (winners.packed() && Metric::in_force().is_euclidean()) {
    epoch.move_ranks();
  } else {
    epoch.move_ranks_plainly();
  }

  const long lost = prot_rep(1);
  if (verbose) {
    os.ow(" a=").ow(a, 6, 3).ow(" l=").ow(l, 6, 3).ow(" lost=").ow(lost, 3).ow(" chgd=").ow(epoch.changed, 6);
    os.ow(" adap=").ow(epoch.adapted);
  }
  return 1;
}

}  // namespace qvtx
