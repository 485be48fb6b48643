#pragma once
// The nearest rows of a search so far.

#include <vector>

namespace qvtx {

/// Keeps the k nearest of the rows offered to it, in whatever order they come: increasing distance, ties by
/// the lower row number, NaN last.
class NearestList {
 public:
  struct Found {
    double distance;
    long row;
  };

  /// Empties the list and sets how many rows it keeps. REQUIRES: k >= 1.
  void start(long k);
  void offer(double distance, long row);
  bool full() const { return static_cast<long>(found_.size()) == wanted_; }
  /// A row beyond this distance is none of the nearest any more. REQUIRES: full(), no `sort` since `start`.
  double farthest() const { return found_.front().distance; }
  /// No sum of squares above this one has a root below `farthest`; saves most roots. REQUIRES: as for
  /// `farthest`.
  double farthest_sum() const;
  /// Ends the search: afterwards the rows stand in order.
  void sort();

  long size() const { return static_cast<long>(found_.size()); }
  const Found& operator[](long rank) const { return found_[static_cast<std::size_t>(rank)]; }

 private:
  std::vector<Found> found_;  // a heap with the farthest on top, then sorted
  long wanted_ = 0;
};

}  // namespace qvtx
