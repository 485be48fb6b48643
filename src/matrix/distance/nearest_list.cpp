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
  if (full() && !nearer(candidate, last())) return;
  if (stays_sorted()) return insert(candidate);
  if (full()) {
    std::pop_heap(found_.begin(), found_.end(), nearer);
    found_.back() = candidate;
  } else {
    found_.push_back(candidate);
  }
  std::push_heap(found_.begin(), found_.end(), nearer);
}

void NearestList::insert(const Found& candidate) {
  if (!full()) found_.push_back(candidate);
  std::size_t place = found_.size() - 1;
  for (; place > 0 && nearer(candidate, found_[place - 1]); --place) found_[place] = found_[place - 1];
  found_[place] = candidate;
}

double NearestList::largest_sum(double distance) {
  // A sum not below the square of a distance has a root not below that distance, since rounding is monotone.
  // The square is rounded upwards.
  return distance * distance * (1 + 1e-15) + std::numeric_limits<double>::denorm_min();
}

void NearestList::sort() {
  if (!stays_sorted()) std::sort_heap(found_.begin(), found_.end(), nearer);
}

}  // namespace qvtx
