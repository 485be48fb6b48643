#pragma once
// Hot loops of the GoD criteria, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"

namespace qvtx {

/// What `ScQuan::getidx` starts from: its bounds and bits.
struct BinScale {
  double low;
  double high;
  long bits;
};

/// Pairs of distances handled at a time.
inline constexpr long pair_block = 256;

/// What a block of pairs adds to the criteria.
struct PairTerms {
  long row[pair_block];       ///< bin of x, -1 for a pair that does not count
  long column[pair_block];    ///< bin of y
  double square[pair_block];  ///< (y - x)^2
  double ratio[pair_block];   ///< y / x
};

struct GodKernels {
  /// The largest of n numbers and `least`; NaN counts for nothing.
  double (*largest)(const double* x, long n, double least);
  /// Fills the first n (at most pair_block) terms. A pair counts when x > 0 and y >= 0.
  void (*pair_terms)(const double* x, const double* y, long n, const BinScale& x_bins, const BinScale& y_bins,
                     PairTerms* out);
};

/// The loops of the instruction set in use.
const GodKernels& god_kernels();
QVTX_DECLARE_KERNEL(GodKernels, god_kernels)

}  // namespace qvtx
