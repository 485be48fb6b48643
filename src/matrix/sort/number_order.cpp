#include "matrix/sort/number_order.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace qvtx {

namespace {

constexpr std::size_t line_keys = 8;  // keys of a cache line

}  // namespace

void NumberOrder::start(long n) {
  kernels_ = &sort_kernels();
  n_ = n;
  length_bits_ = 3;
  for (length_ = 8; length_ * kernels_->lanes < n; length_ *= 2) ++length_bits_;
  const auto count = static_cast<std::size_t>(length_ * kernels_->lanes);
  row_bits_ = static_cast<long>(std::max(std::bit_ceil(count), std::size_t{32}) - 1);
  storage_.resize(count + line_keys);
  const auto over = reinterpret_cast<std::uintptr_t>(storage_.data()) / sizeof(double) % line_keys;
  keys_ = storage_.data() + (line_keys - over) % line_keys;
}

}  // namespace qvtx
