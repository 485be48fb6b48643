#pragma once
// How well two partitions of the same things agree: figures for clusters beside known classes.

#include <map>
#include <optional>
#include <utility>

#include "matrix/matfulll.h"

namespace qvtx {

/// The contingency table of two partitions. Labels are any integers and mean no more than equal or not; a
/// thing with a negative label in either partition takes no part.
class PartitionAgreement {
 public:
  /// clusters, classes: n rows each; the labels stand in column `column` and in column 0.
  /// REQUIRES: as many rows in both, a column that exists.
  PartitionAgreement(const MatFullL& clusters, long column, const MatFullL& classes);

  /// Things that take part.
  long count() const { return count_; }
  /// Share of pairs that are together in both partitions, corrected for chance (Hubert and Arabie, "Comparing
  /// partitions", Journal of Classification 2, 1985, eq. 5): 1 for equal partitions, 0 on average for random
  /// ones of the same sizes, negative below that; symmetric. No value for fewer than two things, and where
  /// both partitions keep all things together, or both all apart: the formula is 0 / 0 there.
  std::optional<double> adjusted_rand() const;
  /// Share of the things that belong to the most frequent class of their cluster, above 0 to 1; 1 for
  /// clusters of single things, so it says little where there are many clusters. No value without things.
  std::optional<double> purity() const;

 private:
  using Sizes = std::map<long, long>;

  long count_ = 0;
  std::map<std::pair<long, long>, long> cells_;  ///< things by cluster and class
  Sizes clusters_, classes_;
};

}  // namespace qvtx
