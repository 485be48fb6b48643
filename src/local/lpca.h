#pragma once
// Local principal component analysis: the intrinsic dimension of the data around each prototype.

#include "graph/matlinkd.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// Splits the data by prototype, widens every region by those of the prototype's neighbours in the graph,
/// takes the principal components of each and summarises how much of the variance the first c of them explain
/// (K. Fukunaga and D. R. Olsen, "An algorithm for finding intrinsic dimensionality of data", IEEE Trans.
/// Computers C-20, 1971).
///
/// A region's profile p[c], c = 0..d, is the share of its variance in the c leading components: p[0] = 0,
/// p[d] = 1. A region without variance, or with no more samples than columns (underdetermined), counts as
/// explained by none: p is 1 throughout. Regions weigh by their number of samples.
class LPCA {
 public:
  /// data: N x d; bmu: N x 1, the region of each row (negative: none); links: graph on the regions. Regions
  /// without a node, or of an empty store, are not widened; two links to one neighbour count its samples
  /// twice. Returns 1, or 0 (and not ready) when the row counts differ. Reads all three, changes none.
  long init(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links);
  /// Without widening.
  long init(const MatFullD& data, const MatFullL& bmu);
  /// One global analysis: all rows in region 0.
  long init(const MatFullD& data);

  /// Smallest c with stats(row, c) >= pct; -1 when none, or when not ready. Fatal: row outside 0..4.
  long getdim(double pct, long row) const;
  /// stats(row, c); -1 when not ready or c is outside 0..d. Fatal: row outside 0..4.
  double getpct(long c, long row) const;
  /// Copies the statistics when ready; returns 0 in every case.
  long getstats(MatFullD& out) const;
  /// Saves the statistics as a text matrix with header; 0 when not ready or on failure.
  long save_asc(const char* file) const;
  /// The block of the detail report (lpca_show.cpp): regions, and at level > 0 the table of the statistics
  /// and the dimension. Nothing when not ready.
  void show(Ostr& o, int level) const;
  /// Marks the analysis as not computed.
  void clear();
  void duplicate(const LPCA& other);
  void swap(LPCA& other) noexcept;

  long ready() const { return ready_; }
  /// 5 x (d + 1): minimum, lower mean, weighted mean, upper mean, maximum of the profiles. The lower (upper)
  /// mean is that of the regions below (above) the weighted mean.
  const MatFullD& stats() const { return stats_; }
  /// Of the last analysis: regions, and how many of them were underdetermined.
  long nregion() const { return nregion_; }
  long nunder() const { return nunder_; }

  long verbose = 1;  ///< non-zero: progress messages on the console

 private:
  void analyse(const MatFullD& data, const MatFullL& bmu, const MatLinkD& links, MatFullD& profiles,
               MatFullL& weights);
  void summarise(const MatFullD& profiles, const MatFullL& weights);

  MatFullD stats_;
  long ready_ = 0;
  long nregion_ = 0;
  long nunder_ = 0;
};

}  // namespace qvtx
