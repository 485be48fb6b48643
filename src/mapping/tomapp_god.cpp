// GoD criteria: how faithfully one set of distances follows another, as a histogram of distance pairs (the
// dy-dx picture of Demartines and Herault, "Curvilinear component analysis", IEEE Trans. Neural Networks
// 8(1), 1997) with statistics per bin.

#include <optional>
#include <vector>

#include "base/scquan.h"
#include "mapping/input_distances.h"
#include "mapping/kernels/god_kernels.h"
#include "mapping/tomapp.h"
#include "matrix/distance/row_distances.h"

namespace qvtx {

namespace {

enum class Measure { space, graph, image };

/// Distances of one kind, row by row.
class DistanceRows {
 public:
  DistanceRows(const ToMapp& mapping, Measure measure)
      : images_(mapping.getmprot()), n_(mapping.getprot().nrow()) {
    if (measure == Measure::image) {
      prepared_.emplace(Metric::in_force(), images_.data(), n_, images_.ncol());
      scratch_.setdim(n_, 1);
      scratch_.setrows(n_);
    } else {
      input_.emplace(mapping, measure == Measure::graph ? 1.0 : 0.0, true, room_);
      input_->ask_in_order(nullptr);
    }
  }

  /// Distances from prototype i to those with lower numbers, at least. Valid until the next call.
  const double* row(long i) {
    if (input_) return input_->row(i);
    prepared_->distances(images_.row(i), i, scratch_.data());
    return scratch_.data();
  }

  /// The largest distance of a pair, taken from the row of its higher number; 0 for none.
  double maximum() {
    double top = 0;
    for (long i = n_ - 1; i >= 0; --i) top = god_kernels().largest(row(i), i, top);
    return top;
  }

 private:
  const MatFullD& images_;
  long n_;
  RowRoom room_;
  std::optional<InputDistances> input_;
  std::optional<distance::PreparedRows> prepared_;
  MatFullD scratch_;
};

/// One axis of the histogram: bins over 0 .. top.
struct Axis {
  double top;
  long bits;
};

/// Gives both axes bins of the same width: the longer axis keeps its bits, the top of the shorter one becomes
/// the longer one's halved as long as that stays at or above it, and every halving costs it a bit.
void share_width(const Axis& longer, Axis& shorter) {
  double top = longer.top;
  while (shorter.bits > 0 && !(top / 2 < shorter.top)) {
    top /= 2;
    --shorter.bits;
  }
  shorter.top = top;
}

/// Counts pairs in a sparse histogram by way of a dense table, since finding a cell of a well filled row of
/// the former takes a walk along its list. The cells come into being in the same order.
class PairCounter {
 public:
  explicit PairCounter(MatSparT<long>& hist) : hist_(hist) {
    if (hist.nrow() <= most_cells / hist.ncol())
      counts_.assign(static_cast<std::size_t>(hist.nrow() * hist.ncol()), 0);
  }
  /// Puts what was counted into the histogram.
  void finish() {
    for (const std::size_t cell : occupied_) {
      const long place = static_cast<long>(cell);
      hist_.setval(place / hist_.ncol(), place % hist_.ncol(), counts_[cell], '+');
    }
  }
  PairCounter(const PairCounter&) = delete;
  PairCounter& operator=(const PairCounter&) = delete;

  void add(long r, long c) {
    if (counts_.empty()) {
      hist_.setval(r, c, 1, '+');
      return;
    }
    const auto cell = static_cast<std::size_t>(r * hist_.ncol() + c);
    if (counts_[cell]++ == 0) occupied_.push_back(cell);
  }

 private:
  static constexpr long most_cells = 1L << 18;  ///< 512 x 512

  MatSparT<long>& hist_;
  std::vector<long> counts_;  ///< all cells row by row, empty when they are too many
  std::vector<std::size_t>
      occupied_;  ///< numbers of the cells that are not 0, in the order of their first pair
};

/// Cumulates columns 1 to 3 over the rows and turns sums into means and shares; column 0: the bins' centres.
void finish_statistics(MatFullD& stats, double bin) {
  const long rows = stats.nrow();
  for (long r = 1; r < rows; ++r)
    for (long c = 1; c <= 3; ++c) stats(r, c) += stats(r - 1, c);
  const double pairs = stats(rows - 1, 3) > 0 ? stats(rows - 1, 3) : 1;
  for (long r = 0; r < rows; ++r) {
    const double count = stats(r, 3);
    stats(r, 0) = static_cast<double>(r) * bin + bin / 2;
    stats(r, 1) = count > 0 ? stats(r, 1) / count : 0;
    stats(r, 2) = count > 0 ? stats(r, 2) / count : 1;
    stats(r, 3) = count / pairs;
  }
}

/// Counts the first n pairs of a block, from the last to the first.
void add_pairs(const PairTerms& terms, long n, PairCounter& counter, MatFullD& stats) {
  for (long j = n - 1; j >= 0; --j) {
    const long r = terms.row[j];
    if (r < 0) continue;  // one spot, or no path
    counter.add(r, terms.column[j]);
    double* sums = stats.row(r);
    sums[1] += terms.square[j];
    sums[2] += terms.ratio[j];
    sums[3] += 1;
  }
}

/// Fills histogram and statistics from distances across (x) and up (y).
bool count_pairs(DistanceRows& across, DistanceRows& up, long n, long bits, MatSparT<long>& hist,
                 MatFullD& stats) {
  Axis x_axis = {across.maximum(), bits};
  Axis y_axis = {up.maximum(), bits};
  if (y_axis.top < x_axis.top) {
    share_width(x_axis, y_axis);
  } else {
    share_width(y_axis, x_axis);
  }
  const ScQuan x_bins(0, x_axis.top, x_axis.bits);
  const ScQuan y_bins(0, y_axis.top, y_axis.bits);
  stats.setdim(x_bins.bins(), 4);
  stats.setrows(x_bins.bins(), 0.0);
  if (!hist.setdim(x_bins.bins(), y_bins.bins()) || stats.nrow() != x_bins.bins()) return false;
  PairCounter counter(hist);
  const BinScale x_scale = {x_bins.lb(), x_bins.ub(), x_bins.bits()};
  const BinScale y_scale = {y_bins.lb(), y_bins.ub(), y_bins.bits()};
  for (long i = n - 1; i >= 0; --i) {
    const double* x = across.row(i);
    const double* y = up.row(i);
    for (long end = i; end > 0;) {
      const long first = (end - 1) / pair_block * pair_block;
      PairTerms terms;
      god_kernels().pair_terms(x + first, y + first, end - first, x_scale, y_scale, &terms);
      add_pairs(terms, end - first, counter, stats);
      end = first;
    }
  }
  counter.finish();
  finish_statistics(stats, x_bins.width());
  return true;
}

}  // namespace

long ToMapp::god(int bits, MatSparT<long>& hist, MatFullD& stats, int curvilinear, int self) {
  if (!done(self ? pfindone : minidone)) return 0;
  if (!wants_links() && (self || curvilinear)) {
    refuse("god: no links available");
    self = 0;
    curvilinear = 0;
    if (!done(minidone)) return 0;  // the self variant needs no images, the one that replaces it does
  }
  if (!rows_ready(self || curvilinear ? 1.0 : 0.0)) return 0;
  say("god: calculating ... ");
  DistanceRows across(*this, self ? Measure::graph : Measure::image);
  DistanceRows up(*this, !self && curvilinear ? Measure::graph : Measure::space);
  if (!count_pairs(across, up, prot.nrow(), bits, hist, stats)) {
    say_end("failed!");
    return 0;
  }
  if (verbose) {
    const long last = stats.nrow() - 1;
    const bool any = stats(last, 3) > 0;
    const auto mean = [&](long c) { return any ? std::optional(stats(last, c)) : std::nullopt; };
    os.ow("done!").nl();
    os.ow(prefix).ow("god: mquader= ").ow(mean(1)).nl();
    os.ow(prefix).ow("god: linerty= ").ow(mean(2)).nl();
  }
  return 1;
}

}  // namespace qvtx
