#include "matrix/partition_agreement.h"

#include <algorithm>

namespace qvtx {

namespace {

/// Pairs of n things; exact far beyond any number of rows that fits a matrix file.
double pairs(long n) { return static_cast<double>(n) * static_cast<double>(n - 1) / 2; }

template <class Groups>
double pairs_within(const Groups& groups) {
  double sum = 0;
  for (const auto& group : groups) sum += pairs(group.second);
  return sum;
}

}  // namespace

PartitionAgreement::PartitionAgreement(const MatFullL& clusters, long column, const MatFullL& classes) {
  for (long i = 0; i < clusters.nrow(); ++i) {
    const long a = clusters.get(i, column), b = classes.get(i, 0);
    if (a < 0 || b < 0) continue;
    ++count_;
    ++cells_[{a, b}];
    ++clusters_[a];
    ++classes_[b];
  }
}

std::optional<double> PartitionAgreement::adjusted_rand() const {
  const double all = pairs(count_);
  const double a = pairs_within(clusters_), b = pairs_within(classes_);
  if (count_ < 2 || (a == b && (a == 0 || a == all))) return {};
  const double expected = a * b / all;
  return (pairs_within(cells_) - expected) / ((a + b) / 2 - expected);
}

std::optional<double> PartitionAgreement::purity() const {
  if (count_ == 0) return {};
  Sizes largest;
  for (const auto& [cell, size] : cells_) largest[cell.first] = std::max(largest[cell.first], size);
  long sum = 0;
  for (const auto& [cluster, size] : largest) sum += size;
  return static_cast<double>(sum) / static_cast<double>(count_);
}

}  // namespace qvtx
