// Growing online quantizers, driven by a radius: a datum farther than the radius from every prototype becomes
// a new one. EXIN makes a single pass in which each prototype is the running mean of its data (a sequential
// K-means in the sense of MacQueen, 1967, with leaders); Neural Water makes epochs with a scheduled rate.

#include "base/interrupt.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

long VeQuan::xn(double r) {
  if (!prot_ini(1, 0)) return 0;
  say_line("xn: quantizing ... ");
  if (xn_itr(r)) prot_fin("EXIN PLN", 1);
  return 0;
}

long VeQuan::xn_itr(double r) {
  if (!(r > 0.0)) {
    refuse("xn: arad<=0.0");
    return 0;
  }
  if (integers["vgswap_d"]) shuffle(order);
  OnlineWinners winners(*this, dat, prot, {bmu, bmucnt, hits}, *workspace);
  for (long i = dat.nrow() - 1; i >= 0 && !interrupted(); --i) {
    const long d = order(i, 0);
    winners.capture(d, r);
    const long k = bmu(d, 0);
    winners.move(d, 1.0 / static_cast<double>(hits(k, 0)), k);
  }
  return 1;
}

long VeQuan::nw(double r, const char* file) {
  return nw(
      r, schedule_for(file, verbose,
                      {"default.nwp", "nw: using default parameters", "vnwepoq", {{"vnwaini", "vnwafin"}}}));
}

long VeQuan::nw(double r, const MatParaD& sched) {
  if (!prot_ini(1, 0)) return 0;
  if (!sched.control(1)) {
    refuse("nw: a not parametric");
    return 0;
  }
  run_epochs("nw: quantizing ... ", sched.nrow(), [&](long e) { return nw_itr(r, sched(e, 0)); });
  return prot_fin("Neural Water", 1);
}

long VeQuan::nw_itr(double r, double a) {
  if (!(r > 0.0)) {
    refuse("nw_itr: arad<=0.0");
    return 0;
  }
  if (!(a >= 0.0 && a <= 1.0)) {
    refuse("ng_itr: anow not parametric");  // the text of neural gas serves both
    return 0;
  }
  if (integers["vgswap_d"]) shuffle(order);
  OnlineWinners winners(*this, dat, prot, {bmu, bmucnt, hits}, *workspace);
  long chgd = 0;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    chgd += winners.capture(d, r);
    winners.move(d, a, bmu(d, 0));
  }
  if (verbose) os.ow(" a=").ow(a, 6, 3).ow(" #prot=").ow(prot.nrow(), 4).ow(" chgd=").ow(chgd, 6);
  return 1;
}

}  // namespace qvtx
