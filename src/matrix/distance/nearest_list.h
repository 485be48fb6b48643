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
  long wanted() const { return wanted_; }
  bool full() const { return static_cast<long>(found_.size()) == wanted_; }
  /// A row beyond this distance is none of the nearest any more. REQUIRES: full(), no `sort` since `start`.
  double farthest() const { return last().distance; }
  /// No sum of squares above this one has a root up to the distance; saves most roots.
  static double largest_sum(double distance);
  /// That of `farthest`. REQUIRES: as for `farthest`.
  double farthest_sum() const { return largest_sum(farthest()); }
  /// Ends the search: afterwards the rows stand in order.
  void sort();

  long size() const { return static_cast<long>(found_.size()); }
  const Found& operator[](long rank) const { return found_[static_cast<std::size_t>(rank)]; }

 private:
  /// Few rows are kept in order from the start, which costs less than a heap.
  bool stays_sorted() const { return wanted_ <= 16; }
  const Found& last() const { return stays_sorted() ? found_.back() : found_.front(); }
  void insert(const Found& candidate);

  std::vector<Found> found_;  // else a heap with the farthest on top, then sorted
  long wanted_ = 0;
};

}  // namespace qvtx
