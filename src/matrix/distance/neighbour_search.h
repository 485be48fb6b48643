#pragma once
// The k nearest rows of a matrix for one sample after the other.

#include <optional>
#include <vector>

#include "matrix/distance/nearest_list.h"
#include "matrix/distance/packed_rows.h"
#include "matrix/distance/row_distances.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// Searches the rows (n x d) of one matrix, which must outlive the search and stay as they are. What can be
/// prepared is prepared once, and a query allocates nothing. The rows found and their distances are those of
/// `MatFullD::nearest` with k in the metric of the search: increasing distance, ties by the lower row number,
/// NaN last.
class NeighbourSearch {
 public:
  explicit NeighbourSearch(const MatFullD& rows, const Metric& metric = Metric::in_force());

  /// Finds the k rows nearest to the sample x (d numbers; may be a row of the matrix), row `self` (-1: none)
  /// left out. Returns how many there are: fewer than k when the matrix has no more, 0 for k < 1.
  long search(const double* x, long self, long k);
  /// Number and distance of the row of rank r in the last search. REQUIRES: 0 <= r < its result.
  long row(long r) const { return found_[r].row; }
  double distance(long r) const { return found_[r].distance; }
  /// All rows found in the last search.
  const NearestList& list() const { return found_; }
  /// The rows being searched.
  const MatFullD& rows() const { return rows_; }

 private:
  void search_sums(const double* x, long self, long wanted);
  void search_distances(const double* x, long self);

  const MatFullD& rows_;
  PackedRows squares_;                              // for Euclidean distances, empty without room for them
  std::optional<distance::PreparedRows> prepared_;  // for other distances
  std::vector<double> scratch_;                     // sums of a chunk of rows, or all distances
  std::vector<int> places_;                         // of the near ones among the sums of a chunk
  NearestList found_;
};

}  // namespace qvtx
