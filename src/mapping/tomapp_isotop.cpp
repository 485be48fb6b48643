// Isotop (Lee, Archambeau, Verleysen, "Locally linear embedding versus Isotop", ESANN 2003): a self-organising process
// in the output space, with neighbourhoods measured along the graph of the prototypes.

#include <cmath>

#include "base/exponential.h"
#include "base/random.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

/// Gap between components, in units of "tdccsfac".
constexpr double component_gap = 6.0;

}  // namespace

long ToMapp::isotop(long dim, const char* file) {
  if (dim < 1) return 0;
  MatParaD sched;
  if (file && load_schedule(sched, file, "default.cmp", 1)) return isotop(dim, sched);
  if (verbose) os.fresh().ow(prefix).ow("isotop: using default parameters").nl();
  const long epochs = lkey("titepoq ");
  sched.setdim(epochs, 2);
  sched.setrows(epochs, 0.0);
  const double aini = dkey("titaini ");
  const double afin = dkey("titafin ");
  const double lini = dkey("titlini ");
  const double lfin = dkey("titlfin ");
  sched.set(3, 0, aini, afin, 0, -1);
  sched.set(3, 1, lini, lfin, 0, -1);
  return isotop(dim, sched);
}

void ToMapp::advise(const char* text) const {
  if (!verbose) return;
  os.fresh().ow(text).nl();
  os.ow("Modify settings and rerun quantization step.").nl();
}

long ToMapp::isotop_ini(MatFullD& sdev, long dim) {
  if (lpref.getval(keys.vglink_p) == 0) {
    advise("There are no links!");
    return 0;
  }
  if (dpref.commit(keys.tdgb) == 0) {
    advise("Space/graph distances balance is zero!");
    return 0;
  }
  if (!dist_ini(0)) return 0;
  if (!mapr_ini(dim, static_cast<int>(lkey("titinm  ")))) return 0;
  const bool shaped = lkey("titpcast") != 0;
  sdev.setdim(1, dim);
  sdev.setrows(1, 0.0);
  MatFullD variances;
  if (shaped) prot.pca(variances, dim, 0);
  const double largest = shaped ? std::sqrt(variances(0, 0)) : 0;
  for (long k = dim - 1; k >= 0; --k) {
    if (!(largest > 0)) {
      sdev(0, k) = 1;
    } else if (k < variances.nrow()) {
      sdev(0, k) = std::sqrt(variances(k, 0)) / largest;
    }
  }
  return 1;
}

long ToMapp::isotop(long dim, const MatParaD& sched) {
  if (dim < 1) return 0;
  MatFullD sdev;
  if (!isotop_ini(sdev, dim)) return 0;
  if (!sched.control(2)) {
    refuse("isotop: al not parametric");
    return 0;
  }
  if (verbose) {
    os.fresh().ow(prefix).ow("isotop: stimulation standard deviations:").nl();
    sdev.show(os, 0);
  }
  mapr_rep(component_gap);
  progress_begin("isotop: mapping ... ", sched.nrow());
  for (long t = 0; t < sched.nrow(); ++t) {
    mapping_progress(" E=", false);
    if (!isotop_itr(sdev, sched.get(t, 0), sched.get(t, 1))) break;
  }
  progress_end();
  mapr_rep(component_gap);
  return mapr_fin("Isotop");
}

void ToMapp::draw_stimulus(const MatFullD& sdev, bool around_images, double* x) {
  const long p = mprot.ncol();
  if (around_images) {
    const double* y = mprot.row(draw_index(mprot.nrow()));
    for (long k = p - 1; k >= 0; --k) x[k] = y[k] + gauss_rand();
    return;
  }
  for (long k = p - 1; k >= 0; --k) x[k] = sdev.get(0, k) * gauss_rand();
  const long component = draw_index(ncomp());
  x[0] += component_gap * dpref.getval(ktdccsfac) * static_cast<double>(component);
}

void ToMapp::pull_towards(const double* x, long winner, double anow, double lnow) {
  const long p = mprot.ncol();
  const long n = mprot.nrow();
  const long links = link.degree(winner);
  const double length = links > 0 ? link.sum(winner, 1) / static_cast<double>(links) : 0;
  const double width = length * lnow * static_cast<double>(lpref.getval(keys.tdxp));
  if (!(width > 0)) {
    double* y = mprot.row(winner);
    for (long k = p - 1; k >= 0; --k) y[k] += (x[k] - y[k]) * anow;
    return;
  }
  const double* distance = graph_row(winner, graph_scratch);
  const long* path = path_row(winner, path_scratch, path_distance_scratch);
  for (long r = 0; r < n; ++r) {
    const long q = path[2 * r + 1];
    if (q < 0 || q >= n || distance[q] < 0) break;
    const double rho = distance[q] / width;
    const double weight = fixed_exp(-3.0 * (rho * rho)) * anow;
    double* y = mprot.data() + q * p;
    for (long k = p - 1; k >= 0; --k) y[k] += (x[k] - y[k]) * weight;
    if (rho > 1) break;
  }
}

long ToMapp::isotop_itr(MatFullD& sdev, double anow, double lnow) {
  const bool around_images = lkey("titmulst") != 0;
  if (!(anow >= 0 && anow <= 1)) {
    refuse("isotop_itr: anow not parametric");
    return 0;
  }
  if (!(lnow >= 0 && lnow <= 1)) {
    refuse("isotop_itr: lnow not parametric");
    return 0;
  }
  MatFullD x(1, mprot.ncol());
  x.setrows(1, 0.0);
  for (long stimulus = mprot.nrow(); stimulus > 0; --stimulus) {
    draw_stimulus(sdev, around_images, x.row(0));
    const long winner = mprot.nearest(x, 0, no_bound);
    if (winner < mprot.nrow()) pull_towards(x.row(0), winner, anow, lnow);
  }
  if (verbose) os.ow(" a=").ow(anow, 6, 3).ow(" l=").ow(lnow).ow("     ");
  return mapr_rep(component_gap);
}

}  // namespace qvtx
