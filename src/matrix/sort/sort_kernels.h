#pragma once
// Sorting of numbers with row numbers in their lowest bits, one copy per instruction set.

#include "base/kernel_choice.h"

namespace qvtx {

/// Numbers up to here have their place; larger ones follow them in the order of their rows.
inline constexpr double largest_sorted = 1e307;

/// A sorting network over `lanes` columns, each `length` numbers long.
struct SortKernels {
  int lanes;  ///< numbers side by side
  /// Fills keys (lanes x length) with the n numbers (not negative, no NaN; from `largest_sorted` on they
  /// count as equal), the bits of `rows` (2^b - 1 >= lanes x length - 1, b >= 5) replaced by the row number,
  /// and sorts them: the key of rank r is then at keys[r % length * lanes + r / length]. Returns whether two
  /// neighbours of the first n ranks, or rank n and the one before, may be less than 2^b units in the last
  /// place apart. REQUIRES: length a power of two, at least 8; n <= lanes x length; keys on a cache line.
  bool (*sort)(const double* numbers, long n, double* keys, long length, long long rows);
};

/// The loops of the instruction set in use.
const SortKernels& sort_kernels();
QVTX_DECLARE_KERNEL(SortKernels, sort_kernels)

}  // namespace qvtx
