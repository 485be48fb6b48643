#include "mapping/rank_quality.h"

#include <algorithm>
#include <limits>

#include "matrix/sort/number_order.h"

namespace qvtx {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::size_t at(long i) { return static_cast<std::size_t>(i); }

/// Ranks of the rows by their distance to one of them.
class Ranking {
 public:
  explicit Ranking(long n) : n_(n), order_(n), numbers_(at(n)), rows_(at(n)), ranks_(at(n)) {}

  /// Ranks the rows but for `own`, whose rank becomes 0.
  void rank(const double* distances, long own) {
    for (long j = 0; j < n_; ++j)
      numbers_[at(j)] = distances[j] >= 0 ? std::max(0.0, distances[j]) : infinity;
    order_.sort(numbers_.data());
    for (long r = 0; r < n_; ++r) insert(r, order_.row(r));
    int rank = 0;
    for (const long row : rows_)
      if (row != own) ranks_[at(row)] = ++rank;
    ranks_[at(own)] = 0;
  }
  int operator[](long j) const { return ranks_[at(j)]; }

 private:
  /// Puts a row behind the first r in order. The network has seen the leading bits alone, so that a row moves
  /// past few others if any.
  void insert(long r, long row) {
    const double number = numbers_[at(row)];
    for (; r > 0; --r) {
      const long before = rows_[at(r - 1)];
      const double other = numbers_[at(before)];
      if (other < number || (other == number && before < row)) break;
      rows_[at(r)] = before;
    }
    rows_[at(r)] = row;
  }

  long n_;
  NumberOrder order_;
  std::vector<double> numbers_;
  std::vector<long> rows_;  ///< in the order of their numbers
  std::vector<int> ranks_;
};

/// What the figures of one space are made of: whole numbers, so that the order of counting does not matter.
class Counts {
 public:
  explicit Counts(long n) : n_(n), k_(trusted_neighbours(n)), together_(at(n)) {}

  void add(const Ranking& space, const Ranking& map) {
    for (long j = 0; j < n_; ++j) {
      const int in_space = space[j];
      const int in_map = map[j];
      ++together_[at(std::max(in_space, in_map))];
      if (in_map <= k_ && in_space > k_) intruded_ += in_space - k_;
      if (in_space <= k_ && in_map > k_) missed_ += in_map - k_;
    }
  }

  RankQuality quality() const {
    RankQuality quality;
    const auto others = static_cast<double>(n_ - 1);
    double sum = 0;
    double weights = 0;
    long kept = 0;  // pairs among the K nearest in both
    for (long neighbours = 1; neighbours <= n_ - 2; ++neighbours) {
      kept += together_[at(neighbours)];
      const auto k = static_cast<double>(neighbours);
      const double share = static_cast<double>(kept) / static_cast<double>(neighbours * n_);
      quality.curve.push_back((others * share - k) / (others - k));
      sum += quality.curve.back() / k;
      weights += 1 / k;
    }
    quality.area = sum / weights;
    const double most = static_cast<double>(n_ * k_ * (2 * n_ - 3 * k_ - 1)) / 2;
    quality.trustworthiness = 1 - static_cast<double>(intruded_) / most;
    quality.continuity = 1 - static_cast<double>(missed_) / most;
    return quality;
  }

 private:
  long n_;
  long k_;
  std::vector<long> together_;  ///< pairs by the larger of their ranks; at 0 the rows themselves
  long intruded_ = 0;           ///< ranks beyond k in the space of those up to k in the map
  long missed_ = 0;             ///< and the other way round
};

}  // namespace

long trusted_neighbours(long n) { return std::min(12L, (n - 1) / 2); }

std::vector<RankQuality> rank_quality(long n, const std::vector<RowOfDistances>& spaces,
                                      const RowOfDistances& map) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  if (n < 3) return std::vector<RankQuality>(spaces.size(), RankQuality{{}, none, none, none});
  Ranking in_map(n);
  Ranking in_space(n);
  std::vector<Counts> counts(spaces.size(), Counts(n));
  for (long i = n - 1; i >= 0; --i) {
    in_map.rank(map(i), i);
    for (std::size_t s = 0; s < spaces.size(); ++s) {
      in_space.rank(spaces[s](i), i);
      counts[s].add(in_space, in_map);
    }
  }
  std::vector<RankQuality> qualities;
  qualities.reserve(counts.size());
  for (const Counts& c : counts) qualities.push_back(c.quality());
  return qualities;
}

}  // namespace qvtx
