#include "quant/rank_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

constexpr double out = std::numeric_limits<double>::infinity();  // of the tournament

/// Sums with the same rounded root differ by less than this factor, by two units in the last place at most.
constexpr double same_root = 1.0 + 4.0 * std::numeric_limits<double>::epsilon();

}  // namespace

void RankTree::start(MatFullL& ridx) {
  ridx_ = &ridx;
  const long n = ridx.nrow();
  levels_.clear();
  long size = 0;
  for (long width = n; width > 1; width = levels_.back().half) {
    levels_.push_back({size, (width + 1) / 2});
    size += 2 * levels_.back().half;
  }
  root_ = size;
  nodes_.assign(static_cast<std::size_t>(size + 1), out);
  place_.resize(static_cast<std::size_t>(n));
  for (long r = 0; r < n; ++r) place_[static_cast<std::size_t>(ridx(r, 0))] = r;
  tied_.clear();
  tied_.reserve(static_cast<std::size_t>(n));
}

long RankTree::winner() {
  for (const Level& level : levels_) {
    const double* low = nodes_.data() + level.first;
    const double* high = low + level.half;
    double* up = nodes_.data() + level.first + 2 * level.half;
    for (long i = 0; i < level.half; ++i) up[i] = low[i] < high[i] ? low[i] : high[i];
  }
  return take_tied();
}

void RankTree::rank(long m) {
  const auto earlier = [this](long a, long b) {
    return place_[static_cast<std::size_t>(a)] < place_[static_cast<std::size_t>(b)];
  };
  for (long r = 0; r < m; ++r) {
    if (tied_.empty()) take_tied();
    // The exchange of rank r may move a tied row, so the first of them is looked for anew at every rank.
    const auto first = std::min_element(tied_.begin(), tied_.end(), earlier);
    const long k = *first;
    *first = tied_.back();
    tied_.pop_back();
    place(r, k);
  }
}

long RankTree::take() {
  double* nodes = nodes_.data();
  const double smallest = nodes[root_];
  long i = 0;
  for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
    // A mask instead of a branch: which child holds the number cannot be predicted.
    i += level->half & -static_cast<long>(nodes[level->first + i] > smallest);
  }
  const long leaf = i;
  nodes[leaf] = out;
  // The number that rises stays in a register, so that no step waits for the store of the one before.
  double rising = out;
  for (const Level& level : levels_) {
    const long sibling = i < level.half ? i + level.half : i - level.half;
    const double other = nodes[level.first + sibling];
    rising = rising < other ? rising : other;
    i = i < sibling ? i : sibling;
    nodes[level.first + 2 * level.half + i] = rising;
  }
  return leaf;
}

long RankTree::take_tied() {
  tied_.clear();
  const double smallest = nodes_[static_cast<std::size_t>(root_)];
  long lowest = ridx_->nrow();
  for (;;) {
    const double sum = nodes_[static_cast<std::size_t>(root_)];
    const bool tied =
        sum == smallest || (sum <= smallest * same_root && std::sqrt(sum) == std::sqrt(smallest));
    if (!tied || sum == out) return lowest;
    tied_.push_back(take());
    if (sum == smallest) lowest = std::min(lowest, tied_.back());
  }
}

void RankTree::place(long r, long k) {
  const long from = place_[static_cast<std::size_t>(k)];
  const long displaced = ridx_->data()[r];
  set(r, k);
  set(from, displaced);
}

}  // namespace qvtx
