#pragma once
// Sorting of numbers with row numbers in their lowest bits, one copy per instruction set.

namespace qvtx::sorting {

/// A sorting network over `lanes` columns, each `length` numbers long.
struct SortKernel {
  int lanes;  ///< numbers side by side
  /// Fills keys (lanes x length) with the n numbers (not negative, no NaN; from `largest_number` on they
  /// count as equal), the bits of `rows` (2^b - 1 >= lanes x length - 1, b >= 5) replaced by the row number,
  /// and sorts them: the key of rank r is then at keys[r % length * lanes + r / length]. Returns whether two
  /// neighbours of the first n ranks, or rank n and the one before, may be less than 2^b units in the last
  /// place apart. REQUIRES: length a power of two, at least 8; n <= lanes x length; keys on a cache line.
  bool (*sort)(const double* numbers, long n, double* keys, long length, long long rows);
};

/// Numbers up to here have their place; larger ones follow them in the order of their rows.
constexpr double largest_number = 1e307;

namespace baseline {
extern const SortKernel sort_kernel;
}
#if defined(__x86_64__)
namespace avx2 {
extern const SortKernel sort_kernel;
}
namespace avx512 {
extern const SortKernel sort_kernel;
}
#endif

}  // namespace qvtx::sorting
