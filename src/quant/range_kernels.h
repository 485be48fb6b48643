#pragma once
// Smallest and largest of many distances, one copy per instruction set.

#include "base/kernel_choice.h"

namespace qvtx {

struct RangeKernels {
  /// least = the smaller of it and the smallest positive one of n numbers; most = the larger of it and the
  /// largest of all. A NaN is neither.
  void (*widen)(const double* numbers, long n, double* least, double* most);
  /// The same with the mix of two rows, (1 - w) space + w graph where graph is positive, else 0.
  void (*widen_mixed)(const double* space, const double* graph, double w, long n, double* least,
                      double* most);
};

/// The loops of the instruction set in use.
const RangeKernels& range_kernels();
QVTX_DECLARE_KERNEL(RangeKernels, range_kernels)

}  // namespace qvtx
