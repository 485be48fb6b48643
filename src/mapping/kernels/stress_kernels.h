#pragma once
// The hot loop of the stress, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"
#include "mapping/kernels/image_arrays.h"

namespace qvtx {

/// Partial sums of the stress: pair (i, j) goes to sum j mod 8, so that the result does not depend on how
/// many pairs a processor handles at once.
inline constexpr long stress_lanes = 8;
struct StressSums {
  double error[stress_lanes];  ///< sums of (D - d)^2 / D
  double scale[stress_lanes];  ///< sums of D
};

struct StressKernels {
  /// Adds the pairs of an image that have an input distance above 0 to the sums, j increasing.
  void (*add)(const PairRow& row, const ImageView& images, StressSums* sums);
};

/// The loops of the instruction set in use.
const StressKernels& stress_kernels();
QVTX_DECLARE_KERNEL(StressKernels, stress_kernels)

}  // namespace qvtx
