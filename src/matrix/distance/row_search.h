#pragma once
// Nearest-row search and distances for methods that ask datum by datum while their prototypes change slowly.

#include "matrix/distance/distance_kernels.h"
#include "matrix/distance/metric.h"
#include "matrix/distance/packed_rows.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// Searches the rows (prototypes) of one matrix for one sample after the other. It keeps a copy of the rows
/// packed for the vector units, several times as fast as the searches of MatFullD and with the same bits; the
/// caller tells it which rows have moved. Class Minkowski with a whole exponent or one from 8 on.
///
///     RowSearch search(prot);
///     const long k = search.usable() ? search.nearest(dat.row(i)) : prot.nearest(dat, i, no_bound);
///     prot.move(k, dat, i, a);
///     search.update_row(k);
///
/// The matrix must outlive the search, and so must a storage that the caller lends. All members but `usable`
/// REQUIRE usable().
class RowSearch {
 public:
  /// Packs the rows in use. Does not pack (and is not usable) under other distances.
  explicit RowSearch(const MatFullD& rows) : RowSearch(rows, own_) {}
  /// The same with the packed copy in a storage that is used again from search to search.
  RowSearch(const MatFullD& rows, PackedRows& storage);
  RowSearch(const RowSearch&) = delete;
  RowSearch& operator=(const RowSearch&) = delete;

  /// Whether the packed copy may be used: the distance in force when the rows were packed, which the search
  /// keeps, has kernels, and the storage could be allocated. Ask again after every `add_row`; after a change
  /// of the distance class or exponent build another search.
  bool usable() const { return packed_ok_; }
  /// Number of rows searched.
  long size() const { return packed_.size(); }

  /// Row k of the matrix has changed. REQUIRES: 0 <= k < size().
  void update_row(long k);
  /// Rows were appended to the matrix: takes in those beyond size(). Amortised O(columns) for each.
  void add_row();
  /// Takes all rows anew (after rows were removed or rearranged).
  void rebuild();

  /// Row nearest to the sample x (as many numbers as the matrix has columns; no row of the matrix itself), as
  /// `MatFullD::nearest(b, j, no_bound)` tells: the lowest row number among equals, size() without rows.
  long nearest(const double* x) const;
  /// The same, and the distance to that row in `distance` (+infinity without rows), with the bits of
  /// `MatFullD::sdas`.
  long nearest(const double* x, double& distance) const;
  /// out[i] = distance from x to row i for every i < size(), with the bits of `MatFullD::sdav(b, j, out,
  /// no_bound)`.
  void distances(const double* x, double* out) const;
  /// out[i] = the sum of the terms, before the root: under the Euclidean distance the squared distance.
  void sums(const double* x, double* out) const;
  /// Sums to distances, in place.
  void finish(double* sums) const;

 private:
  const MatFullD& rows_;
  Metric metric_;
  const RuleKernels* kernels_ = nullptr;
  PackedRows own_;  // used unless the caller lends one
  PackedRows& packed_;
  bool packed_ok_ = false;
};

}  // namespace qvtx
