#include "quant/rank_sort.h"

#include <algorithm>

#include "matrix/distance/packed_rows.h"

namespace qvtx {

namespace {

/// A rank costs the tournament as much as this many rows cost the network.
constexpr long rows_per_rank = 24;
/// Equal distances come in swarms, as on lattices and among duplicates: a vain sort is not repeated at once.
constexpr int rest_after_close_call = 7;

}  // namespace

void RankSort::start(MatFullL& ridx, long m) {
  n_ = ridx.nrow();
  m_ = m;
  tree_.start(ridx);
  order_.start(std::min(n_, NumberOrder::largest_count));
  sums_.resize(static_cast<std::size_t>(PackedRows::places(n_)));
  sorts_ = m * rows_per_rank > n_ && n_ <= NumberOrder::largest_count;
  close_calls_ = 0;
}

long RankSort::rank() {
  if (!sorts_) return rank_by_tree();
  if (close_calls_ > 0) {
    --close_calls_;
    return rank_by_tree();
  }
  order_.sort(sums_.data());
  if (!order_.close()) return rank_by_order();
  close_calls_ = rest_after_close_call;
  return rank_by_tree();
}

long RankSort::rank_by_tree() {
  std::copy_n(sums_.data(), n_, tree_.leaves());
  const long winner = tree_.winner();
  tree_.rank(m_);
  return winner;
}

long RankSort::rank_by_order() {
  // When all but one have been exchanged into place, so has the last.
  if (m_ + 1 >= n_) {
    for (long r = 0; r < n_; ++r) tree_.set(r, order_.row(r));
  } else {
    for (long r = 0; r < m_; ++r) tree_.place(r, order_.row(r));
  }
  return order_.row(0);
}

}  // namespace qvtx
