#include "matrix/distance/nearest_list.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

bool nearer(const NearestList::Found& a, const NearestList::Found& b) {
  if (a.distance < b.distance || b.distance < a.distance) return a.distance < b.distance;
  const bool nan_a = std::isnan(a.distance);
  const bool nan_b = std::isnan(b.distance);
  return nan_a != nan_b ? nan_b : a.row < b.row;
}

}  // namespace

void NearestList::start(long k) {
  found_.clear();
  wanted_ = k;
}

void NearestList::offer(double distance, long row) {
  const Found candidate = {distance, row};
  if (full()) {
    if (!nearer(candidate, found_.front())) return;
    std::pop_heap(found_.begin(), found_.end(), nearer);
    found_.back() = candidate;
  } else {
    found_.push_back(candidate);
  }
  std::push_heap(found_.begin(), found_.end(), nearer);
}

double NearestList::farthest_sum() const {
  // A sum not below the square of the farthest distance has a root not below that distance, since rounding is
  // monotone. The square is rounded upwards.
  return farthest() * farthest() * (1 + 1e-15) + std::numeric_limits<double>::denorm_min();
}

void NearestList::sort() { std::sort_heap(found_.begin(), found_.end(), nearer); }

}  // namespace qvtx
