// Dynamic K-means: starts from two prototypes and splits every one whose cell is too wide, as the splitting
// start of Linde, Buzo and Gray (IEEE Trans. Communications 28, 1980) does, but cell by cell until the cells
// fit a radius.

#include <algorithm>
#include <cmath>

#include "base/random.h"
#include "quant/centroids.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

/// Ratio by which the two halves of a split prototype are pulled apart along one coordinate.
constexpr double split_ratio = 1.000001;

}  // namespace

long VeQuan::dlbg(double r) {
  if (!prot_ini(2, 0) || prot.nrow() == 0) return 0;
  const long itmax = std::max(lkey("vdlbgitr"), 1L);
  const long maxchg = std::lround(static_cast<double>(dat.nrow()) * dkey("vdlbgxch"));
  run_epochs("dlbg: quantizing ... ", itmax, [&](long) { return dlbg_itr(r, maxchg); });
  return prot_fin("dLBG", 1);
}

bool VeQuan::dlbg_itr(double r, long maxchg) {
  r = std::fabs(r);
  if (maxchg < 0) maxchg = prot.nrow();
  if (integers["vgswap_d"]) shuffle(order);

  // pval(k) sums the distances of the data that prototype k captures, in their order of presentation.
  long chgd = 0;
  const auto present = [&](auto capture) {
    for (long i = dat.nrow() - 1; i >= 0; --i) {
      const long d = order(i, 0);
      chgd += capture(d);
      const long k = bmu(d, 0);
      pval(k, 0) += prot.sdas(k, dat, d, no_bound);
    }
  };
  if (searches_agree(dat, prot)) {
    BatchWinners winners(dat, prot, {bmu, bmucnt, hits}, *workspace);
    present([&](long d) { return winners.capture(d); });
  } else {
    present([&](long d) { return prot_bmu(d, no_bound); });
  }

  sum_by_prototype(dat, bmu, prot);
  // Prototypes that are appended by a split are not visited.
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    const long captured = hits(k, 0);
    if (captured > 0) {
      divide_row(prot, k, captured);
      if (pval(k, 0) > r * static_cast<double>(captured)) {
        const long m = prot.addrow(prot, k) - 1;
        pval.setrows(m + 1, 0.0);
        hits.setrows(m + 1, 0L);
        const long j = draw_index(prot.ncol());
        prot(k, j) *= split_ratio;
        prot(m, j) /= split_ratio;
      }
    }
    pval(k, 0) = 0.0;
  }

  const long lost = prot_rep(1);
  if (verbose) os.ow(" #prot= ").ow(prot.nrow(), 4).ow(" lost=").ow(lost, 3).ow(" chgd=").ow(chgd, 6);
  return chgd > maxchg;
}

}  // namespace qvtx
