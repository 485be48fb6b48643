#pragma once
// The first ranks of the prototypes by their distance to a datum, with the means that fit their count.

#include <vector>

#include "matrix/sort/number_order.h"
#include "quant/rank_tree.h"

namespace qvtx {

/// Brings the same count of ranks to the head of a rank list again and again, with the result of RankTree. A
/// few ranks leave a tournament one by one; many are found sooner by sorting all sums in a network. The
/// network knows nothing of the list, which decides among equal distances: the tournament also does when
/// neighbours are so close that their roots may coincide.
class RankSort {
 public:
  RankSort() = default;
  RankSort(MatFullL& ridx, long m) { start(ridx, m); }

  /// Ranks on this list (n x 1, a permutation of 0 .. n - 1) from now on, which must outlive the work and
  /// changes through it alone. m: ranks wanted. Allocates nothing when n is no larger than before. REQUIRES:
  /// 1 <= m <= n.
  void start(MatFullL& ridx, long m);

  /// The squared distances (finite, not negative), to be filled in before each `rank`: room for
  /// PackedRows::places(n).
  double* sums() { return sums_.data(); }
  /// Brings the m nearest rows to the head of the list, in order. Returns the row of the smallest sum, the
  /// lowest among equals.
  long rank();

 private:
  long rank_by_tree();
  long rank_by_order();

  long n_ = 0;
  long m_ = 0;
  RankTree tree_;
  NumberOrder order_;
  std::vector<double> sums_;
  bool sorts_ = false;
  int close_calls_ = 0;  ///< data for which the tournament is held at once, after one with close neighbours
};

}  // namespace qvtx
