#pragma once
// Powers of many numbers with one exponent, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"

namespace qvtx {

struct PowerKernels {
  /// x[i] becomes fixed_pow(x[i], y) for n numbers, to the bit, but several at a time. REQUIRES: x[i] >= 0 or
  /// NaN, 0 < |y| <= 2^64. A power of 0 is 0, also where y is negative.
  void (*powers)(double* x, long n, double y);
};

/// The loops of the instruction set in use.
const PowerKernels& power_kernels();

QVTX_DECLARE_KERNEL(PowerKernels, power_kernels)

}  // namespace qvtx
