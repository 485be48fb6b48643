#pragma once
// The inner loop of neural gas, one copy per instruction set.

#include "base/kernel_choice.h"

namespace qvtx {

struct GasKernels {
  /// Moves n rows of d columns in the blocks of PackedRows by row-wise steps and measures them where they
  /// come to stand, in one pass: row i becomes row - steps[i] (row - x), coordinate by coordinate, unless
  /// steps[i] is NaN, with which it stays; sums[i] = its squared distance to `next`, coordinates from the
  /// last to the first. x and next hold d numbers; steps and sums one for every place of the blocks.
  void (*move_and_measure)(double* packed, long n, long d, const double* steps, const double* x,
                           const double* next, double* sums);
};

/// The loops of the instruction set in use.
const GasKernels& gas_kernels();
QVTX_DECLARE_KERNEL(GasKernels, gas_kernels)

}  // namespace qvtx
