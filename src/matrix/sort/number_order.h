#pragma once
// The order of a count of numbers, found again and again.

#include <vector>

#include "matrix/sort/sort_kernels.h"

namespace qvtx {

/// Orders n numbers at a time with a sorting network, whose steps do not depend on the numbers: no branch is
/// mispredicted. The network sees the leading bits of the numbers alone, so that the result is an order of
/// all numbers but for neighbours that `close` reports; these stand in the order of their rows.
class NumberOrder {
 public:
  static constexpr long largest_count = 1L << 20;

  NumberOrder() = default;
  explicit NumberOrder(long n) { start(n); }
  NumberOrder(const NumberOrder&) = delete;
  NumberOrder& operator=(const NumberOrder&) = delete;

  /// n numbers are sorted from now on. Allocates what every sort needs, unless it is there from another
  /// count. REQUIRES: 1 <= n <= largest_count.
  void start(long n);

  /// numbers: n of them, not negative and no NaN. Numbers from 1e307 on (+infinity too) count as equal.
  void sort(const double* numbers) { close_ = kernels_->sort(numbers, n_, keys_, length_, row_bits_); }
  /// Whether two numbers of neighbouring ranks may agree in their leading bits, which are 31 or more. When
  /// not, they differ by more than 32 units in the last place.
  bool close() const { return close_; }
  /// Row of the number of rank r (from 0).
  long row(long r) const { return __builtin_bit_cast(long, keys_[place(r)]) & row_bits_; }

 private:
  long place(long r) const { return (r & (length_ - 1)) * kernels_->lanes + (r >> length_bits_); }

  const SortKernels* kernels_ = nullptr;
  long n_ = 0;
  long length_ = 8;  ///< of a column, 2^length_bits_
  int length_bits_ = 3;
  long row_bits_ = 0;
  std::vector<double> storage_;
  double* keys_ = nullptr;  ///< first cache line within the storage
  bool close_ = false;
};

}  // namespace qvtx
