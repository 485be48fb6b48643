#pragma once
// The first ranks of the prototypes by their distance to a datum, without sorting them all.

#include <vector>

#include "matrix/matfulll.h"

namespace qvtx {

/// A tournament over n squared distances: the leaves hold the numbers, every node above the smaller of its
/// two children, the top the smallest of all. Taking the smallest costs log2 n steps, so that m ranks take
/// n + m log n steps instead of the n m of a selection sort, and hardly a square root is drawn.
///
/// The result is that of a partial selection sort over the distances (the rounded roots) on a rank list that
/// lives on from datum to datum: for r = 0, 1, ... the entry with the smallest distance among ridx(r) ..
/// ridx(n - 1), the first in the list among equals, is exchanged with ridx(r). A larger sum never has a
/// smaller root, but sums that differ in their last bits can share one; so the rows of a common root leave
/// the tournament together and are ranked by their places in the list.
class RankTree {
 public:
  RankTree() = default;
  explicit RankTree(MatFullL& ridx) { start(ridx); }

  /// Works on this rank list (n x 1, a permutation of 0 .. n - 1) from now on, as a new tree would but in the
  /// storage that it has when that suffices. The list must outlive the work. REQUIRES: n > 0.
  void start(MatFullL& ridx);

  /// The n leaves, to be filled with squared distances (finite, not negative) before each `winner`.
  double* leaves() { return nodes_.data(); }
  /// Holds the tournament. Returns the row of the smallest squared distance, the lowest row among equals.
  long winner();
  /// Brings the m nearest rows to the head of the rank list, in order. Once after each `winner`.
  /// REQUIRES: m <= n.
  void rank(long m);

  /// Exchanges row k with the entry of rank r, which someone else has found.
  void place(long r, long k);
  /// Row k is the entry of rank r. For callers that set all ranks.
  void set(long r, long k) {
    ridx_->data()[r] = k;
    place_[static_cast<std::size_t>(k)] = r;
  }

 private:
  /// A level of 2 half nodes; node i of the level above has the children i and i + half.
  struct Level {
    long first;
    long half;
  };

  /// Takes the row that holds the root's number out of the tournament.
  long take();
  /// Fills tied_ with every row left whose distance equals that of the root. Returns the lowest row that
  /// holds the root's number itself.
  long take_tied();

  MatFullL* ridx_ = nullptr;
  std::vector<long> place_;    // place_[k]: where row k stands in the rank list
  std::vector<double> nodes_;  // all levels, leaves first, each padded to an even number with +infinity
  std::vector<Level> levels_;  // all but the root's
  long root_ = 0;              // number of the root in nodes_
  std::vector<long> tied_;     // rows of equal distance, taken and not yet ranked
};

}  // namespace qvtx
