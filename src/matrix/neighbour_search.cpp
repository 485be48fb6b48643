#include "matrix/neighbour_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

/// Rows measured at a time: their sums stay in the nearest cache. A multiple of PackedRows::block_rows.
constexpr long chunk_rows = 512;

bool euclidean_in_force() { return distance::distance_class() == 'm' && MatFullD::miex == 2.0; }

}  // namespace

NeighbourSearch::NeighbourSearch(const MatFullD& rows, Metric metric) : rows_(rows) {
  const long n = rows.nrow();
  if (metric == Metric::euclidean || euclidean_in_force()) {
    if (n > 0) squares_.assign(rows.data(), n, rows.ncol());
    scratch_.resize(chunk_rows);
  } else {
    prepared_.emplace(rows.data(), n, rows.ncol());
    scratch_.resize(static_cast<std::size_t>(n));
  }
}

bool NeighbourSearch::nearer(const Found& a, const Found& b) {
  if (a.distance < b.distance || b.distance < a.distance) return a.distance < b.distance;
  const bool nan_a = std::isnan(a.distance);
  const bool nan_b = std::isnan(b.distance);
  return nan_a != nan_b ? nan_b : a.row < b.row;
}

long NeighbourSearch::search(const double* x, long self, long k) {
  found_.clear();
  const long n = rows_.nrow();
  if (k < 1 || n == 0) return 0;
  const auto wanted = static_cast<std::size_t>(std::min(k, n));
  found_.reserve(wanted);
  if (prepared_) {
    search_distances(x, self, wanted);
  } else {
    search_sums(x, self, wanted);
  }
  std::sort_heap(found_.begin(), found_.end(), nearer);
  return static_cast<long>(found_.size());
}

/// Keeps the candidate when it is one of the nearest so far: a heap with the farthest on top.
void NeighbourSearch::offer(const Found& candidate, std::size_t wanted) {
  if (found_.size() == wanted) {
    if (!nearer(candidate, found_.front())) return;
    std::pop_heap(found_.begin(), found_.end(), nearer);
    found_.back() = candidate;
  } else {
    found_.push_back(candidate);
  }
  std::push_heap(found_.begin(), found_.end(), nearer);
}

void NeighbourSearch::search_distances(const double* x, long self, std::size_t wanted) {
  prepared_->distances(x, rows_.nrow(), scratch_.data());
  for (long i = 0; i < rows_.nrow(); ++i) {
    const double distance = scratch_[static_cast<std::size_t>(i)];
    if (found_.size() == wanted && distance > found_.front().distance) continue;
    if (i != self) offer({distance, i}, wanted);
  }
}

void NeighbourSearch::search_sums(const double* x, long self, std::size_t wanted) {
  const distance::RuleKernels& squares = distance::kernels().squares;
  const long n = rows_.nrow();
  const long d = rows_.ncol();
  double* sums = scratch_.data();
  // Most roots need not be taken: a sum not below the square of the farthest distance has a root not below
  // that distance, since rounding is monotonic. The limit is that square, rounded upwards.
  double limit = no_bound;
  for (long first = 0; first < n; first += chunk_rows) {
    const long count = std::min(chunk_rows, n - first);
    if (squares_.size() == n) {
      squares.packed_sums(squares_.data() + first * d, count, d, x, sums);
    } else {
      squares.row_sums(rows_.data() + first * d, count, d, x, sums);
    }
    for (long i = 0; i < count; ++i) {
      if (sums[i] > limit || first + i == self) continue;
      offer({std::sqrt(sums[i]), first + i}, wanted);
      if (found_.size() < wanted) continue;
      const double farthest = found_.front().distance;
      limit = farthest * farthest * (1 + 1e-15) + std::numeric_limits<double>::denorm_min();
    }
  }
}

}  // namespace qvtx
