#pragma once
// The k nearest rows of every row of a matrix.

#include <functional>
#include <vector>

#include "matrix/distance/nearest_filter.h"
#include "matrix/distance/nearest_list.h"
#include "matrix/matfulld.h"

namespace qvtx {

/// What NeighbourSearch finds for each row of the matrix, itself left out, in the distance class and exponent
/// in force. Under the Euclidean distance many rows search together: scores in single precision, for which
/// the rows pass through the nearest cache once for all of them, leave few candidates, and exact distances
/// decide. Memory: the rows once more in single precision, and 64 lists of k rows.
class AllNeighbours {
 public:
  /// The rows must outlive the object and stay as they are.
  explicit AllNeighbours(const MatFullD& rows);

  /// Calls take(i, list) for every row i, upwards, with its min(k, n - 1) nearest rows in order. REQUIRES: k
  /// >= 1.
  using Take = std::function<void(long i, const NearestList& list)>;
  void search(long k, const Take& take);

 private:
  /// A row that searches.
  struct Query {
    NearestList list;
    double length;  ///< distance from the centre of the filter
    double sum;     ///< no sum above is of use
    float score;    ///< and no score above this one
  };

  void search_one_by_one(long k, const Take& take);
  void search_batch(long first, long count, long k);
  void scan_chunk(long first_block, long blocks, long first, long count);
  void scan_scores(Query& query, long self, long first_row, const float* scores, long count);

  const MatFullD& rows_;
  distance::NearestFilter filter_;
  std::vector<Query> queries_;
  std::vector<float> centred_, scores_;
};

}  // namespace qvtx
