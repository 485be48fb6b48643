// Curvilinear component analysis (Demartines and Herault, "Curvilinear component analysis", IEEE Trans.
// Neural Networks 8(1), 1997); with graph distances curvilinear distance analysis (Lee, Lendasse, Verleysen,
// "Curvilinear distance analysis versus Isomap", ESANN 2002).

#include <cmath>

#include "mapping/kernels/cda_kernels.h"
#include "mapping/pair_rows.h"
#include "mapping/tomapp.h"

namespace qvtx {

long ToMapp::cda(long dim, const char* file) {
  if (dim < 1) return 0;
  return cda(dim, schedule_for(file, 1,
                               {"default.cmp",
                                "cda: using default parameters",
                                "tcdepoq",
                                {{"tcdaini", "tcdafin"}, {"tcdlini", "tcdlfin"}}}));
}

long ToMapp::cda(long dim, const MatParaD& sched) {
  if (dim < 1) return 0;
  if (!dist_ini(0)) return 0;
  nbwidth.setdim(prot.nrow(), 1);
  nbwidth.setrows(prot.nrow(), reals["tdxm"]);
  lkey("tcdnwt");
  lkey("tcdnwf");
  mapr_ini(dim, static_cast<int>(lkey("tcdinm")));
  if (!sched.control(2)) {
    refuse("cda: al not parametric");
    return 0;
  }
  const PlantedPaths planted(memory.distances);
  run_epochs("cda: mapping ... ", sched.nrow(), {" E=", [this] { return mapr_err(); }},
             [&](long t) { return cda_itr(sched.get(t, 0), sched.get(t, 1)); });
  return mapr_fin("Curvilinear Component Analysis");
}

void ToMapp::shuffle_images() {
  if (lkey("tgswap_p") != 0) shuffle(mpidx);
}

double ToMapp::separation() const { return reals["tdgb"] > 0 ? reals["tdxm"] : 0; }

long ToMapp::cda_itr(double anow, double lnow) {
  if (!(anow > 0 && anow <= 1)) {
    refuse("cda_itr: anow not parametric");
    return 0;
  }
  if (!(lnow > 0 && lnow <= 2)) {
    refuse("cda_itr: lnow not parametric");
    return 0;
  }
  // A start that was refused leaves images of other prototypes.
  if (mprot.nrow() != prot.nrow() || mpidx.nrow() != prot.nrow() || !rows_ready(balance())) return 0;
  const bool adaptive = lkey("tcdnwt") != 0;
  CdaPivot pivot{};
  pivot.function = static_cast<int>(lkey("tcdnwf"));
  pivot.input_share = dkey("tcdlmds");
  pivot.step = anow;
  // From which share of pairs on it pays to handle all: measured; exponentials are worth avoiding longer.
  const double crowd = pivot.function == 2 || pivot.function == 3 ? 0.4 : 0.2;
  shuffle_images();

  const long n = prot.nrow();
  const CdaKernels& kernels = cda_kernels();
  PairRows rows(*this, balance(), false, mprot, memory, &mpidx);
  double dmax = 0;
  double total = 0;
  for (long position = n - 1; position >= 0; --position) {
    const PairRow row = rows.row_at(mpidx, position);
    pivot.width = adaptive ? nbwidth(row.i, 0) : lnow * reals["tdxm"];
    const long active = kernels.move(pivot, row, rows.view(), &dmax);
    pivot.crowded = static_cast<double>(active) > crowd * static_cast<double>(n);
    if (adaptive) {
      const double members = static_cast<double>(compsize.get(pidx.get(row.i, 0), 0));
      pivot.width *= std::sqrt(lnow / (static_cast<double>(active + 1) / members));
    }
    nbwidth(row.i, 0) = pivot.width;
    total += static_cast<double>(active);
  }
  rows.store();
  if (verbose) {
    os.ow(" a=").ow(anow, 6, 3).ow(" l=").ow(lnow, 6, 3);
    os.ow(" (").ow(total / static_cast<double>(n * n), 6, 3).ow(") d=").ow(dmax, 6, 3);
  }
  return mapr_rep(separation());
}

}  // namespace qvtx
