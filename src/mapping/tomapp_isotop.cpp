// Isotop (Lee, Archambeau, Verleysen, "Locally linear embedding versus Isotop", ESANN 2003): a
// self-organising process in the output space, with neighbourhoods measured along the graph of the
// prototypes.

#include <cmath>

#include "base/random.h"
#include "mapping/graph_order.h"
#include "mapping/kernels/isotop_kernels.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

/// Gap between components, in units of "tdccsfac".
constexpr double component_gap = 6.0;

/// How many of the prototypes in order lie within the width; all of them do where the list ends.
long within(const GraphOrder::Row& row, double width, long n) {
  long low = 0;  // distances do not decrease along the order, so that those within are its beginning
  for (long high = n; low < high;) {
    const long middle = low + (high - low) / 2;
    const long q = row.order[2 * middle + 1];
    const bool near = q >= 0 && row.distance[q] >= 0 && row.distance[q] <= width;
    (near ? low : high) = near ? middle + 1 : middle;
  }
  return low;
}

}  // namespace

long ToMapp::isotop(long dim, const char* file) {
  if (dim < 1) return 0;
  return isotop(dim, schedule_for(file, 1,
                                  {"default.cmp",
                                   "isotop: using default parameters",
                                   "titepoq ",
                                   {{"titaini ", "titafin "}, {"titlini ", "titlfin "}}}));
}

void ToMapp::advise(const char* text) const {
  if (!verbose) return;
  os.fresh().ow(text).nl();
  os.ow("Modify settings and rerun quantization step.").nl();
}

long ToMapp::isotop_ini(MatFullD& sdev, long dim) {
  if (dim < 1) return 0;
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
  stimulus_deviations(sdev);
  return 1;
}

void ToMapp::stimulus_deviations(MatFullD& sdev) {
  const long axes = mprot.ncol();  // those of a mapping that was kept may be others than asked for
  sdev.setdim(1, axes);
  sdev.setrows(1, 1.0);
  if (lkey("titpcast") == 0) return;
  MatFullD variances;
  prot.pca(variances, axes, 0);
  const double largest = std::sqrt(variances(0, 0));
  if (!(largest > 0)) return;  // prototypes on one spot have no shape
  // The prototypes do not spread along axes beyond their number of columns.
  for (long k = axes - 1; k >= 0; --k)
    sdev(0, k) = k < variances.nrow() ? std::sqrt(variances(k, 0)) / largest : 0.0;
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
  run_epochs("isotop: mapping ... ", sched.nrow(), {" E=", [this] { return mapr_err(1); }},
             [&](long t) { return isotop_itr(sdev, sched.get(t, 0), sched.get(t, 1)); });
  mapr_rep(component_gap);
  return mapr_fin("Isotop");
}

void ToMapp::draw_stimulus(const MatFullD& sdev, bool around_images, double* x) {
  const ImageView view = images.view();
  if (around_images) {
    const long q = draw_index(view.n);
    for (long k = view.p - 1; k >= 0; --k) x[k] = view.axes[k * view.stride + q] + gauss_rand();
    return;
  }
  for (long k = view.p - 1; k >= 0; --k) x[k] = sdev.get(0, k) * gauss_rand();
  const long component = draw_index(ncomp());
  x[0] += component_gap * dpref.getval(ktdccsfac) * static_cast<double>(component);
}

long ToMapp::nearest_image(const MatFullD& x) {
  if (euclidean_images()) return isotop_kernels().nearest(images.view(), x.data());
  images.store(mprot);
  const long q = mprot.nearest(x, 0, no_bound);
  return q < mprot.nrow() && mprot.sdas(q, x, 0, no_bound) < no_bound ? q : mprot.nrow();
}

const MatFullD& ToMapp::pull_widths(double lnow) {
  const double longest = static_cast<double>(lpref.getval(keys.tdxp));
  MatFullD& width = memory.width;
  width.setdim(mprot.nrow(), 1);
  width.setrows(mprot.nrow());
  for (long i = mprot.nrow() - 1; i >= 0; --i) {
    const long links = link.degree(i);
    width(i, 0) = links > 0 ? link.sum(i, 1) / static_cast<double>(links) * lnow * longest : 0.0;
  }
  return width;
}

void ToMapp::pull_towards(const MatFullD& x, long winner, double anow, double width, GraphOrder& graph) {
  const IsotopKernels& kernels = isotop_kernels();
  const ImageView view = images.view();
  const GraphOrder::Row row = graph.row(winner);
  if (!(width > 0)) {  // no links, or links without length: the winner moves alone
    kernels.pull_listed({x.data(), row.distance, 1.0, anow}, row.order, 1, view);
    return;
  }
  const IsotopPull pull = {x.data(), row.distance, width, anow};
  const long near = within(row, width, view.n);
  // The first one beyond the width moves too.
  const bool beyond = near < view.n && row.order[2 * near + 1] >= 0;
  // Every image moves once, by a weight of its own, so the order of the moves is free. Passing over all
  // images in their own order is cheaper per image than following the list.
  if (near < view.n / 2) {
    kernels.pull_listed(pull, row.order, near + (beyond ? 1 : 0), view);
    return;
  }
  kernels.pull_near(pull, view);
  if (beyond) kernels.pull_listed(pull, row.order + 2 * near, 1, view);
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
  const long n = mprot.nrow();
  if (n == 0 || n != prot.nrow()) return 0;  // a start that was refused leaves images of other prototypes
  const MatFullD& width = pull_widths(lnow);
  GraphOrder graph(*this, lpref.getval(keys.tdgdtype) != 0, memory);
  MatFullD& x = memory.stimulus;
  x.setdim(1, mprot.ncol());
  x.setrows(1, 0.0);
  images.load(mprot);
  for (long stimulus = n; stimulus > 0; --stimulus) {
    draw_stimulus(sdev, around_images, x.row(0));
    const long winner = nearest_image(x);
    // There is none when no image is finite.
    if (winner < n) pull_towards(x, winner, anow, width.get(winner, 0), graph);
  }
  images.store(mprot);
  if (verbose) os.ow(" a=").ow(anow, 6, 3).ow(" l=").ow(lnow).ow("     ");
  return mapr_rep(component_gap);
}

}  // namespace qvtx
