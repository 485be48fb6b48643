// Neural gas (Martinetz, Berkovich and Schulten, "Neural-gas network for vector quantization and its
// application to time-series prediction", IEEE Trans. Neural Networks 4, 1993): every datum moves the
// prototypes ranked by their distance to it, each by a step that decays with its rank. The ranking stops at
// three widths, where the step has fallen to exp(-3).

#include <algorithm>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "quant/rank_tree.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// What an epoch works on, and what it counts.
struct GasEpoch {
  VeQuan& quantizer;
  const MatFullD& dat;
  const MatFullD& prot;
  const MatFullL& order;
  CaptureBook book;
  OnlineWinners& winners;
  MatFullL& ridx;    // rank list, not reset between data: its order decides among equal distances
  MatFullD& dwork;   // nprot x 1: distances to the datum
  double a, l;       // step and width
  float lim;         // 3 l: the last rank that moves
  long changed = 0;  // data with another winner than before
  long adapted = 0;  // prototypes moved

  double step(long r) const { return a * fixed_exp(-static_cast<double>(r) / l); }
  long moving_ranks() const;
  void move_winners();
  void move_ranks();
  void move_ranks_plainly();
  void select_rank(long r);
};

/// Number of ranks that move: rank 0 and those not above lim, all in single precision, which decides whether
/// rank 3 l itself still moves.
long GasEpoch::moving_ranks() const {
  long m = 1;
  while (m < prot.nrow() && static_cast<float>(m) <= lim) ++m;
  return m;
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

/// REQUIRES: winners.packed(), so that no prototype is created and every distance is finite.
void GasEpoch::move_ranks() {
  const long m = moving_ranks();
  std::vector<double> steps;
  for (long r = 0; r < m; ++r) steps.push_back(step(r));
  RankTree tree(ridx);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    winners.search().squared_distances(dat.row(d), tree.leaves());
    changed += book.capture(d, tree.winner());
    tree.rank(m);
    const long* k = ridx.data();
    for (double h : steps) winners.move(d, h, *k++);
    adapted += m;
  }
}

/// The same through the quantizer's own operations, for every distance class.
void GasEpoch::move_ranks_plainly() {
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    changed += quantizer.prot_bmu(d, no_bound);
    while (ridx.nrow() < prot.nrow()) {  // a created prototype (see searches_agree) joins at the end
      const long k = ridx.addrow() - 1;
      ridx(k, 0) = k;
    }
    prot.sdav(dat, d, dwork, no_bound);
    const long m = moving_ranks();
    for (long r = 0; r < m; ++r) {
      select_rank(r);
      quantizer.prot_mov(d, step(r), ridx(r, 0));
    }
    adapted += m;
  }
}

/// Brings the nearest of the prototypes from place r of the list on to place r, the first among equals.
void GasEpoch::select_rank(long r) {
  long best = r;
  double smallest = no_bound;
  for (long q = r; q < ridx.nrow(); ++q) {
    const double x = dwork(ridx(q, 0), 0);
    if (x >= 0.0 && x < smallest) {
      smallest = x;
      best = q;
    }
  }
  std::swap(ridx(r, 0), ridx(best, 0));
}

}  // namespace

long VeQuan::ng(long n, const char* file) {
  MatParaD loaded;
  if (file && load_schedule(loaded, file, "default.ngp", static_cast<int>(verbose))) return ng(n, loaded);
  say_line("ng: using default parameters");
  MatParaD sched(0, 2);
  sched.additer(lkey("vngepoq "));
  const double afirst = dkey("vngaini ");
  sched.set(3, 0, afirst, dkey("vngafin "), 0, -1);
  const double lfirst = dkey("vnglini ");
  sched.set(3, 1, lfirst, dkey("vnglfin "), 0, -1);
  return ng(n, sched);
}

long VeQuan::ng(long n, const MatParaD& sched) {
  if (!prot_ini(n, static_cast<int>(lkey("vnginp  "))) || prot.nrow() == 0) return 0;
  if (!sched.control(2)) {
    refuse("ng: al not parametric");
    return 0;
  }
  progress_begin("ng: quantizing ... ", std::max(sched.nrow(), 1L));
  for (long e = 0;; ++e) {
    progress_step(" mE=", &VeQuan::prot_err);
    if (!ng_itr(sched(e, 0), sched(e, 1)) || e + 1 >= sched.nrow()) break;
  }
  progress_end();
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
  if (lpref.getval(keys.vgswap_d)) shuffle(order);

  CaptureBook book{bmu, bmucnt, hits};
  OnlineWinners winners(*this, dat, prot, book);
  const float lim = 3.0F * static_cast<float>(l);
  GasEpoch epoch{*this, dat, prot, order, book, winners, ridx, dwork, a, l, lim};
  if (lim < 1.0F) {
    epoch.move_winners();
  } else if (winners.packed()) {
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
