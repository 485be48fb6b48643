// K-means with a fixed number of prototypes: the generalized Lloyd algorithm (Linde, Buzo and Gray, "An
// algorithm for vector quantizer design", IEEE Trans. Communications 28, 1980; Lloyd, "Least squares
// quantization in PCM", IEEE Trans. Information Theory 28, 1982).

#include <algorithm>
#include <cmath>

#include "quant/centroids.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

long VeQuan::lbg(long n) {
  if (!prot_ini(n, static_cast<int>(lkey("vlbginp"))) || prot.nrow() == 0) return 0;
  const long itmax = std::max(lkey("vlbgitr"), 1L);
  const long maxchg = std::lround(static_cast<double>(dat.nrow()) * dkey("vlbgxch"));
  run_epochs("lbg: quantizing ... ", itmax, [&](long) { return lbg_itr(maxchg); });
  return prot_fin("LBG", 1);
}

bool VeQuan::lbg_itr(long maxchg) {
  if (maxchg < 0) maxchg = prot.nrow();
  long chgd = 0;
  if (searches_agree(dat, prot)) {
    BatchWinners winners(dat, prot, {bmu, bmucnt, hits}, *workspace);
    for (long i = dat.nrow() - 1; i >= 0; --i) chgd += winners.capture(order(i, 0));
  } else {
    for (long i = dat.nrow() - 1; i >= 0; --i) chgd += prot_bmu(order(i, 0), no_bound);
  }
  sum_by_prototype(dat, bmu, prot);
  // A prototype without data keeps the zero vector; replacing it is left to prot_rep.
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    if (hits(k, 0) > 0) divide_row(prot, k, hits(k, 0));
  }
  const long lost = prot_rep(1);
  if (verbose) os.ow(" lost=").ow(lost, 3).ow(" chgd=").ow(chgd, 6);
  return chgd > maxchg;
}

}  // namespace qvtx
