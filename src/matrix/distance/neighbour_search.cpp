#include "matrix/distance/neighbour_search.h"

#include <algorithm>
#include <cmath>

namespace qvtx {

namespace {

/// Rows measured at a time: their sums stay in the nearest cache. A multiple of PackedRows::block_rows.
constexpr long chunk_rows = 512;

}  // namespace

NeighbourSearch::NeighbourSearch(const MatFullD& rows, const Metric& metric) : rows_(rows) {
  const long n = rows.nrow();
  if (metric.is_euclidean()) {
    if (n > 0) squares_.assign(rows.data(), n, rows.ncol());
    scratch_.resize(chunk_rows);
    places_.resize(chunk_rows);
  } else {
    prepared_.emplace(metric, rows.data(), n, rows.ncol());
    scratch_.resize(static_cast<std::size_t>(n));
  }
}

long NeighbourSearch::search(const double* x, long self, long k) {
  const long wanted = std::clamp(k, 1L, std::max(rows_.nrow(), 1L));
  found_.start(wanted);
  if (k < 1 || rows_.nrow() == 0) return 0;
  if (prepared_) {
    search_distances(x, self);
  } else {
    search_sums(x, self, wanted);
  }
  found_.sort();
  return found_.size();
}

void NeighbourSearch::search_distances(const double* x, long self) {
  prepared_->distances(x, rows_.nrow(), scratch_.data());
  for (long i = 0; i < rows_.nrow(); ++i) {
    const double distance = scratch_[static_cast<std::size_t>(i)];
    if (found_.full() && distance > found_.farthest()) continue;
    if (i != self) found_.offer(distance, i);
  }
}

void NeighbourSearch::search_sums(const double* x, long self, long wanted) {
  const RuleKernels& squares = distance_kernels().squares;
  const long n = rows_.nrow();
  const long d = rows_.ncol();
  double* sums = scratch_.data();
  double limit = no_bound;
  for (long first = 0; first < n; first += chunk_rows) {
    const long count = std::min(chunk_rows, n - first);
    if (squares_.size() == n) {
      squares.packed_sums(squares_.data() + first * d, count, d, x, sums);
    } else {
      squares.row_sums(rows_.data() + first * d, count, d, x, sums);
    }
    // Row `self` may be one of the near ones.
    const long near = distance_kernels().near(sums, count, wanted + (self >= 0 ? 1 : 0), places_.data());
    for (long c = 0; c < near; ++c) {
      const long i = places_[static_cast<std::size_t>(c)];
      if (sums[i] > limit || first + i == self) continue;
      found_.offer(std::sqrt(sums[i]), first + i);
      if (found_.full()) limit = found_.farthest_sum();
    }
  }
}

}  // namespace qvtx
