// Isotop (Lee, Archambeau, Verleysen, "Locally linear embedding versus Isotop", ESANN 2003): a
// self-organising process in the output space, with neighbourhoods measured along the graph of the
// prototypes.

#include <cmath>

#include "base/random.h"
#include "mapping/graph_order.h"
#include "mapping/kernels/isotop_kernels.h"
#include "mapping/tomapp.h"
#include "matrix/distance/metric.h"

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

/// Two lines of advice when the settings do not let Isotop run.
void advise(const char* text) {
  os.fresh().ow(text).nl();
  os.ow("Modify settings and rerun quantization step.").nl();
}

/// Scales the deviations (1 x p, all 1) like the principal components of the prototypes.
void shape_deviations(const MatFullD& prototypes, MatFullD& sdev) {
  MatFullD variances;
  prototypes.pca(variances, sdev.ncol(), 0);
  const double largest = std::sqrt(variances(0, 0));
  if (!(largest > 0)) return;  // prototypes on one spot have no shape
  // The prototypes do not spread along axes beyond their number of columns.
  for (long k = sdev.ncol() - 1; k >= 0; --k)
    sdev(0, k) = k < variances.nrow() ? std::sqrt(variances(k, 0)) / largest : 0.0;
}

/// The random points that pull the images.
struct Stimuli {
  const MatFullD& deviation;  ///< 1 x p, for those round the origin of a component
  bool around_images;         ///< or each round an image, with deviation 1
  double gap;                 ///< between the origins
  long components;

  /// Draws the p coordinates of x.
  void draw(const ImageView& view, double* x) const {
    if (around_images) {
      const long q = draw_index(view.n);
      for (long k = view.p - 1; k >= 0; --k) x[k] = view.axes[k * view.stride + q] + gauss_rand();
      return;
    }
    for (long k = view.p - 1; k >= 0; --k) x[k] = deviation.get(0, k) * gauss_rand();
    x[0] += gap * static_cast<double>(draw_index(components));
  }
};

/// The image nearest to x (1 x p) in the class in force, n when none is at a finite distance. `plain` is
/// written where the kernels do not measure.
long nearest_image(ImageArrays& images, const MatFullD& x, MatFullD& plain) {
  if (Metric::in_force().is_euclidean()) return isotop_kernels().nearest(images.view(), x.data());
  images.store(plain);
  const long q = plain.nearest(x, 0, no_bound);
  return q < plain.nrow() && plain.sdas(q, x, 0, no_bound) < no_bound ? q : plain.nrow();
}

/// How far along the graph a winner takes others along: its mean link length times the factor, 0 without
/// links.
double pull_width(const MatLinkD& link, long winner, double lnow, double longest) {
  const long links = link.degree(winner);
  return links > 0 ? link.sum(winner, 1) / static_cast<double>(links) * lnow * longest : 0.0;
}

/// Moves the winner, whose graph row is given, and the images within the width towards x.
void pull_towards(const double* x, const GraphOrder::Row& row, double anow, double width,
                  const ImageView& view) {
  const IsotopKernels& kernels = isotop_kernels();
  if (!(width > 0)) {  // no links, or links without length: the winner moves alone
    kernels.pull_listed({x, row.distance, 1.0, anow}, row.order, 1, view);
    return;
  }
  const IsotopPull pull = {x, row.distance, width, anow};
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

}  // namespace

long ToMapp::isotop(long dim, const char* file) {
  if (dim < 1) return 0;
  return isotop(dim, schedule_for(file, 1,
                                  {"default.cmp",
                                   "isotop: using default parameters",
                                   "titepoq",
                                   {{"titaini", "titafin"}, {"titlini", "titlfin"}}}));
}

long ToMapp::isotop_ini(MatFullD& sdev, long dim) {
  if (dim < 1) return 0;
  if (!wants_links()) {
    if (verbose) advise("There are no links!");
    return 0;
  }
  if (dkey("tdgb") == 0) {
    if (verbose) advise("Space/graph distances balance is zero!");
    return 0;
  }
  if (!dist_ini(0)) return 0;
  if (!mapr_ini(dim, static_cast<int>(lkey("titinm")))) return 0;
  sdev.setdim(1, mprot.ncol());  // the axes of a mapping that was kept may be others than asked for
  sdev.setrows(1, 1.0);
  if (lkey("titpcast") != 0) shape_deviations(prot, sdev);
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
  memory.orders.assign(static_cast<std::size_t>(prot.nrow()), {});
  run_epochs("isotop: mapping ... ", sched.nrow(), {" E=", [this] { return mapr_err(1); }},
             [&](long t) { return isotop_itr(sdev, sched.get(t, 0), sched.get(t, 1)); });
  memory.orders.clear();
  mapr_rep(component_gap);
  return mapr_fin("Isotop");
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
  // A start that was refused leaves images of other prototypes.
  if (n == 0 || n != prot.nrow() || !rows_ready(1.0)) return 0;
  const double longest = static_cast<double>(integers["tdxp"]);
  const Stimuli stimuli{sdev, around_images, component_gap * reals["tdccsfac"], ncomp()};
  GraphOrder graph(*this, integers["tdgdtype"] != 0, memory);
  MatFullD& x = memory.stimulus;
  x.setdim(1, mprot.ncol());
  x.setrows(1, 0.0);
  ImageArrays& images = memory.images;
  images.load(mprot);
  const ImageView view = images.view();
  for (long stimulus = n; stimulus > 0; --stimulus) {
    stimuli.draw(view, x.row(0));
    const long winner = nearest_image(images, x, mprot);
    if (winner >= n) continue;  // no image is finite
    pull_towards(x.data(), graph.row(winner), anow, pull_width(link, winner, lnow, longest), view);
  }
  images.store(mprot);
  if (verbose) os.ow(" a=").ow(anow, 6, 3).ow(" l=").ow(lnow).ow("     ");
  return mapr_rep(component_gap);
}

}  // namespace qvtx
