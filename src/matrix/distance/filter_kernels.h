#pragma once
// The search of nearest rows in single precision, one copy per instruction set. It never decides wrongly:
// where the rounding errors leave more rows than can be told apart, exact distances do.

#include "base/kernel_choice.h"

namespace qvtx {

/// Rows prepared for a search in single precision (NearestFilter builds it): which rows can be the nearest at
/// all. The rows are the centred ones, c - centre, with |c - centre| <= radius.
struct FilterTable {
  const double* rows;    // n x d, as they are
  const double* centre;  // d numbers
  const float* packed;   // the centred rows in blocks of filter_block by coordinate, 0 beyond the last row
  const float* half_squares;  // |c - centre|^2 / 2, +infinity beyond the last row
  double radius;
  long n, d;
};
inline constexpr long filter_block = 16;   // rows of a block, the floats of the widest vector
inline constexpr long filter_queries = 4;  // samples searched at a time
inline constexpr long filter_groups = 64;  // of rows whose smallest scores bound those of the nearest rows
// Within these the bound on the rounding errors of single precision holds.
inline constexpr double filter_min_radius = 1e-15;
inline constexpr double filter_max_radius = 1e15;
inline constexpr long filter_max_columns = 1L << 16;

struct FilterKernels {
  /// idx[q] = nearest row of the table (the one of RuleKernels::row_nearest for p = 2 without limit) for
  /// `count` samples of d numbers, or -1 where the filter does not decide. `work`: filter_queries (d + n
  /// rounded up to a block) floats.
  void (*search)(const FilterTable& table, const double* samples, long count, long* idx, float* work);
  /// centred = x - centre in single precision (d numbers); returns |x - centre|.
  double (*centre)(const FilterTable& table, const double* x, float* centred);
  /// Scores of filter_queries centred samples against the rows of `blocks` blocks from the first one on:
  /// filter_block x blocks numbers for each sample.
  void (*score)(const FilterTable& table, long first_block, long blocks, const float* centred, float* scores);
  /// For a row of the table with |row - centre| = length: none of the k rows nearest to it, others than
  /// itself and with all that tie, has a score above the result. It comes from its scores against any rows,
  /// `count` of them, a multiple of filter_block; the largest number where they do not tell, as for k >=
  /// filter_groups.
  float (*nearest_limit)(const FilterTable& table, double length, const float* scores, long count, long k);
  /// Lists the places of the scores up to the limit among `count` of them, a multiple of filter_block, in
  /// rising order; returns how many there are.
  long (*select)(const float* scores, long count, float limit, int* places);
  /// No row whose sum of squares, from the last coordinate to the first, is at most `sum` has a score above
  /// the result, for a sample with |x - centre| = length. REQUIRES: length <= filter_max_radius.
  float (*limit)(const FilterTable& table, double length, double sum);
};

/// The loops of the instruction set in use.
const FilterKernels& filter_kernels();
QVTX_DECLARE_KERNEL(FilterKernels, filter_kernels)

}  // namespace qvtx
