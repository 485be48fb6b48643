// Sammon's nonlinear mapping (Sammon, "A nonlinear mapping for data structure analysis", IEEE Trans.
// Computers C-18, 1969), with the pseudo-Newton step of that paper and a stochastic pass round a pivot.

#include <cmath>

#include "mapping/kernels/sammon_kernels.h"
#include "mapping/pair_rows.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

/// A Newton pass over all images in presentation order. sums: room to work in.
void newton_steps(PairRows& rows, const MatFullL& order, double anow, MatFullD& sums) {
  const ImageView view = rows.view();
  sums.setdim(2, view.p);
  sums.setrows(2, 0.0);
  double* gradient = sums.row(0);
  double* curvature = sums.row(1);
  for (long position = view.n - 1; position >= 0; --position) {
    const PairRow row = rows.row_at(order, position);
    sammon_kernels().newton(row, view, gradient, curvature);
    for (long k = view.p - 1; k >= 0; --k) {
      double& y = view.axes[k * view.stride + row.i];
      if (curvature[k] > 0) y += anow * gradient[k] / curvature[k];
      if (curvature[k] < 0) y -= anow * gradient[k] / curvature[k];
    }
  }
}

/// A stochastic pass.
void push_from_pivots(PairRows& rows, const MatFullL& order, double anow) {
  const ImageView view = rows.view();
  for (long position = view.n - 1; position >= 0; --position) {
    sammon_kernels().push(rows.row_at(order, position), anow, view);
  }
}

}  // namespace

long ToMapp::sammon(long dim, const char* file) {
  if (dim < 1) return 0;
  MatParaD sched;
  if (file && load_schedule(sched, file, "default.smp", 1)) return sammon(dim, sched);
  say_line("sammon: using default parameters");
  const long epochs = lkey("tsmepoq");
  sched.setdim(epochs, 2);
  sched.setrows(epochs, 0.0);
  const double first = dkey("tsmaini");
  const double last = dkey("tsmafin");
  sched.set(3, 0, first, last, 0, -1);
  sched.set(1, 1, 0, 0, 0, -1);
  const long stochastic = std::lround(static_cast<double>(epochs) * dkey("tsmstoch"));
  // The selector counts rows from 0 to `stochastic` inclusive: one epoch more than the share says.
  if (stochastic > 0) sched.set(1, 1, 1, 1, 0, stochastic);
  return sammon(dim, sched);
}

long ToMapp::sammon(long dim, const MatParaD& sched) {
  if (dim < 1) return 0;
  const int start = static_cast<int>(lkey("tsminm"));
  if (!dist_ini(0)) return 0;
  if (!mapr_ini(dim, start)) return 0;
  if (!sched.control(2)) {
    refuse("sammon: as not parametric");
    return 0;
  }
  const PlantedPaths planted(memory.distances);
  run_epochs("sammon: mapping ... ", sched.nrow(), {" E=", [this] { return mapr_err(); }},
             [&](long t) { return sammon_itr(sched.get(t, 0), sched.get(t, 1)); });
  return mapr_fin("Sammon's Nonlinear Mapping");
}

long ToMapp::sammon_itr(double anow, double snow) {
  if (!(anow >= 0 && anow <= 1)) {
    refuse("sammon_itr: anow not parametric");
    return 0;
  }
  if (!(snow >= 0 && snow <= 1)) {
    refuse("sammon_itr: snow not parametric");
    return 0;
  }
  // A start that was refused leaves images of other prototypes.
  if (mprot.nrow() != prot.nrow() || mpidx.nrow() != prot.nrow() || !rows_ready(balance())) return 0;
  const bool stochastic = snow > 0.5;
  shuffle_images();
  PairRows rows(*this, balance(), true, mprot, memory, &mpidx);
  if (stochastic) {
    push_from_pivots(rows, mpidx, anow);
  } else {
    newton_steps(rows, mpidx, anow, memory.sums);
  }
  rows.store();
  if (verbose) os.ow(" a=").ow(anow, 6, 3).ow(" s=").ow(stochastic ? 'y' : 'n');
  return mapr_rep(separation());
}

}  // namespace qvtx
