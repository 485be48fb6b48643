// GoD criteria: how faithfully one set of distances follows another, as a histogram of distance pairs (a dy-dx picture,
// Demartines and Herault 1997) with statistics per bin.

#include <algorithm>

#include "base/scquan.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

enum class Measure { space, graph, image };

/// Largest positive entry of a row.
double row_maximum(const double* row, long n, double top) {
  for (long j = n - 1; j >= 0; --j) top = std::max(top, row[j]);
  return top;
}

/// Gives both axes bins of the same width: the longer axis keeps all bits, the maximum of the shorter one is raised to
/// the longer one's halved as often as possible, and each halving costs it a bit.
void share_bins(double longer, double& shorter, long& bits) {
  double half = longer;
  while (bits > 0 && !(half / 2 < shorter)) {
    half /= 2;
    --bits;
  }
  shorter = half;
}

}  // namespace

/// Rows of one kind of distance between prototypes or images.
class GodRows {
 public:
  GodRows(const ToMapp& mapping, Measure measure) : mapping_(mapping), measure_(measure) {}

  const double* row(long i) {
    if (measure_ == Measure::graph) return mapping_.graph_row(i, scratch_);
    if (measure_ == Measure::space) return mapping_.space_row(i, scratch_);
    mapping_.getmprot().sdav(i, scratch_, no_bound);
    return scratch_.data();
  }

  double maximum() {
    double top = 0;
    const long n = mapping_.getprot().nrow();
    for (long i = n - 1; i >= 0; --i) top = row_maximum(row(i), n, top);
    return top;
  }

 private:
  const ToMapp& mapping_;
  Measure measure_;
  MatFullD scratch_;
};

namespace {

/// Cumulates the columns 1 to 3 over the rows and turns sums into means and shares.
void finish_statistics(MatFullD& stats, double bin) {
  const long rows = stats.nrow();
  for (long r = 1; r < rows; ++r)
    for (long c = 1; c <= 3; ++c) stats(r, c) += stats(r - 1, c);
  const double pairs = stats(rows - 1, 3) > 0 ? stats(rows - 1, 3) : 1;
  for (long r = 0; r < rows; ++r) {
    stats(r, 0) = static_cast<double>(r) * bin + bin / 2;
    const double count = stats(r, 3);
    stats(r, 1) = count > 0 ? stats(r, 1) / count : 0;
    stats(r, 2) = count > 0 ? stats(r, 2) / count : 1;
    stats(r, 3) = count / pairs;
  }
}

}  // namespace

long ToMapp::god(int bits, MatSparT<long>& hist, MatFullD& stats, int curvilinear, int self) {
  if (!done(self ? pfindone : minidone)) return 0;
  if (lpref.getval(keys.vglink_p) == 0 && (self || curvilinear)) {
    refuse("god: no links available");
    self = 0;
    curvilinear = 0;
    if (!done(minidone)) return 0;
  }
  say("god: calculating ... ");
  GodRows across(*this, self ? Measure::graph : Measure::image);
  GodRows up(*this, !self && curvilinear ? Measure::graph : Measure::space);
  double x_top = across.maximum();
  double y_top = up.maximum();
  long x_bits = bits;
  long y_bits = bits;
  if (y_top < x_top) {
    share_bins(x_top, y_top, y_bits);
  } else {
    share_bins(y_top, x_top, x_bits);
  }
  const ScQuan x_bins(0, x_top, x_bits);
  const ScQuan y_bins(0, y_top, y_bits);
  hist.setdim(x_bins.bins(), y_bins.bins());
  stats.setdim(x_bins.bins(), 4);
  stats.setrows(x_bins.bins(), 0.0);
  for (long i = prot.nrow() - 1; i >= 0; --i) {
    const double* x = across.row(i);
    const double* y = up.row(i);
    for (long j = i - 1; j >= 0; --j) {
      if (!(x[j] > 0 && y[j] >= 0)) continue;
      const long r = x_bins.getidx(x[j]);
      hist.setval(r, y_bins.getidx(y[j]), 1, '+');
      double* sums = stats.row(r);
      sums[1] += (y[j] - x[j]) * (y[j] - x[j]);
      sums[2] += y[j] / x[j];
      sums[3] += 1;
    }
  }
  finish_statistics(stats, x_bins.width());
  if (verbose) {
    const long last = stats.nrow() - 1;
    os.ow("done!").nl();
    os.ow(prefix).ow("god: mquader= ").ow(stats(last, 1)).nl();
    os.ow(prefix).ow("god: linerty= ").ow(stats(last, 2)).nl();
  }
  return 1;
}

}  // namespace qvtx
