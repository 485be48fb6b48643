#include "matrix/distance/nearest_filter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

namespace qvtx::distance {

void NearestFilter::assign(const double* rows, long n, long d) {
  usable_ = false;
  table_ = FilterTable{rows, nullptr, nullptr, nullptr, 0.0, n, d};
  padded_ = (n + filter_block - 1) / filter_block * filter_block;
  if (n < 1 || d > filter_max_columns || !allocate()) return;
  set_centre();
  pack();
  usable_ = table_.radius >= filter_min_radius && table_.radius <= filter_max_radius;  // false for NaN
}

bool NearestFilter::allocate() {
  const long floats = padded_ * table_.d + padded_ + filter_queries * (table_.d + padded_) + filter_block;
  if (!storage_ || room_ < floats) {
    storage_.reset();
    storage_.reset(new (std::nothrow) float[static_cast<std::size_t>(floats)]);
    room_ = floats;
  }
  if (!storage_) return false;
  centre_.resize(static_cast<std::size_t>(table_.d));
  // Blocks start on cache lines, which a block of 16 floats fills.
  const auto over = reinterpret_cast<std::uintptr_t>(storage_.get()) % 64 / sizeof(float);
  packed_ = storage_.get() + (over == 0 ? 0 : filter_block - static_cast<long>(over));
  half_squares_ = packed_ + padded_ * table_.d;
  work_ = half_squares_ + padded_;
  table_.centre = centre_.data();
  table_.packed = packed_;
  table_.half_squares = half_squares_;
  return true;
}

// The mean of the rows: scores about it lose the fewest digits. Any centre would be right.
void NearestFilter::set_centre() {
  std::fill(centre_.begin(), centre_.end(), 0.0);
  double* centre = centre_.data();
  for (long i = 0; i < table_.n; ++i)
    for (long k = 0; k < table_.d; ++k) centre[k] += table_.rows[i * table_.d + k];
  for (long k = 0; k < table_.d; ++k) centre[k] /= static_cast<double>(table_.n);
}

void NearestFilter::pack() {
  std::fill(packed_, half_squares_, 0.0f);
  std::fill(half_squares_, work_, std::numeric_limits<float>::infinity());
  double largest = 0.0;
  for (long i = 0; i < table_.n; ++i) {
    float* place = packed_ + i / filter_block * filter_block * table_.d + i % filter_block;
    double square = 0.0;
    for (long k = 0; k < table_.d; ++k) {
      const double difference = table_.rows[i * table_.d + k] - table_.centre[k];
      square += difference * difference;
      place[k * filter_block] = static_cast<float>(difference);
    }
    half_squares_[i] = static_cast<float>(0.5 * square);
    largest = square <= largest ? largest : square;  // a NaN stays
  }
  table_.radius = std::sqrt(largest);
}

void NearestFilter::search(const double* samples, long count, long* idx) {
  filter_kernels().search(table_, samples, count, idx, work_);
}

}  // namespace qvtx::distance
