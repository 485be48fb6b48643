// Online winner-take-all quantizers: competitive learning (Rumelhart and Zipser, "Feature discovery by
// competitive learning", Cognitive Science 9, 1985) and a fast variant that skips the search for data whose
// winner is stable and keeps, as frequency-sensitive learning does (Ahalt et al., Neural Networks 3, 1990), a
// running mean per prototype.

#include <iostream>
#include <string>

#include "base/interrupt.h"
#include "base/prompts.h"
#include "base/trace.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// Presentations with the same winner after which `fcl` trusts it.
constexpr long stable_after = 8;
/// Weight of the newest distance in the running mean of a prototype's distances.
constexpr double distance_gain = 0.03;

/// The fast flag, asked from the user. The end of the input, or a word that is no integer (it is named on
/// standard error), counts as 0. The flag in force is traced in every case, so that a replayed trace answers
/// the question.
int ask_fast(const char* prefix) {
  prompt(std::string(prefix) + "fcl: fast? [0|1] ");
  std::string word;
  long fast = 0;
  const bool typed = is.getword(word);
  end_answer();
  if (typed && !parse_long(word, fast)) {
    std::cerr << "not a number: " << word << '\n' << std::flush;
    throw GivenUp();
  }
  std::cerr.flush();
  trace_long(comtrac, fast);
  return fast != 0;
}

/// prot(k) += a (dat(d) - prot(k)), whatever the distance class.
void move_straight(MatFullD& prot, long k, const MatFullD& dat, long d, double a) {
  const double* x = dat.row(d);
  double* p = prot.row(k);
  for (long j = prot.ncol() - 1; j >= 0; --j) p[j] += a * (x[j] - p[j]);
}

/// What an epoch of `fcl` counts.
struct Counts {
  long changed = 0;    // data with another winner than before
  long shortcuts = 0;  // searches skipped
  long errors = 0;  // skipped searches that would have found another winner (known only when they are made)

  /// 100 errors / shortcuts, the product in single precision.
  float error_rate() const {
    if (shortcuts == 0) return 0.0F;
    return 100.0F * static_cast<float>(errors) / static_cast<float>(shortcuts);
  }
};

}  // namespace

long VeQuan::cl(long n, const char* file) {
  return cl(
      n, schedule_for(file, verbose,
                      {"default.clp", "cl: using default parameters", "vclepoq", {{"vclaini", "vclafin"}}}));
}

long VeQuan::cl(long n, const MatParaD& sched) {
  if (!prot_ini(n, static_cast<int>(lkey("vclinp"))) || prot.nrow() == 0) return 0;
  if (!sched.control(1)) {
    refuse("cl: a not parametric");
    return 0;
  }
  run_epochs("cl: quantizing ... ", sched.nrow(), [&](long e) { return cl_itr(sched(e, 0)); });
  return prot_fin("Competitive Learning", 1);
}

long VeQuan::cl_itr(double a) {
  if (!(a >= 0.0 && a <= 1.0)) {
    refuse("cl_itr: anow not parametric");
    return 0;
  }
  if (integers["vgswap_d"]) shuffle(order);
  OnlineWinners winners(*this, dat, prot, {bmu, bmucnt, hits}, *workspace);
  long chgd = 0;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    chgd += winners.capture(d, no_bound);
    winners.move(d, a, bmu(d, 0));
  }
  const long lost = prot_rep(1);
  if (verbose) os.ow(" a=").ow(a, 6, 3).ow(" lost=").ow(lost, 3).ow(" chgd=").ow(chgd, 6);
  return 1;
}

long VeQuan::fcl(long n, const char* file) {
  return fcl(
      n,
      schedule_for(file, verbose,
                   {"default.clp", "fcl: using default parameters", "vfclepoq", {{"vfclaini", "vfclafin"}}}));
}

long VeQuan::fcl(long n, const MatParaD& sched) {
  if (!prot_ini(n, static_cast<int>(lkey("vfclinp"))) || prot.nrow() == 0) return 0;
  if (!sched.control(1)) {
    refuse("fcl: a not parametric");
    return 0;
  }
  const int fast = ask_fast(prefix);
  run_epochs("fcl: quantizing ... ", sched.nrow(), [&](long e) { return fcl_itr(sched(e, 0), fast); });
  return prot_fin("Freq.sens. CL", 1);
}

long VeQuan::fcl_itr(double a, int fast) {
  if (!(a >= 0.0 && a <= 1.0)) {
    refuse("fcl_itr: anow not parametric");
    return 0;
  }
  if (integers["vgswap_d"]) shuffle(order);
  CaptureBook book{bmu, bmucnt, hits};
  OnlineWinners winners(*this, dat, prot, book, *workspace);
  Counts counts;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    if (bmucnt(d, 1) <= stable_after) {
      counts.changed += book.capture(d, winners.nearest(d));
    } else {
      // A wrong winner is counted, not corrected: the diagnosis must not change the result.
      const bool wrong = !fast && winners.nearest(d) != bmu(d, 0);
      ++counts.shortcuts;
      counts.errors += wrong;
      counts.changed += wrong;
      book.capture(d, bmu(d, 0));
    }
    const long k = bmu(d, 0);
    move_straight(prot, k, dat, d, a);
    winners.moved(k);
    ddis(d, 0) = prot.sdas(k, dat, d, no_bound);
    pval(k, 0) += distance_gain * (ddis(d, 0) - pval(k, 0));
  }
  const long lost = prot_rep(1);
  if (verbose) {
    os.ow(" a=").ow(a, 6, 3).ow(" lost=").ow(lost, 3).ow(" chgd=").ow(counts.changed, 6);
    os.ow(" %err=").ow(static_cast<double>(counts.error_rate())).ow(" #shc=").ow(counts.shortcuts);
  }
  return 1;
}

}  // namespace qvtx
