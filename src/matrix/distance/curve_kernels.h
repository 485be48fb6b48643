#pragma once
// The move of a row in the area class, one copy per instruction set. The bits are those of the derivatives in
// derivative_rules.h, each for the sums that MatFullD::move tells.

#include "base/kernel_choice.h"
#include "matrix/distance/move_kernels.h"

namespace qvtx {

struct CurveKernels {
  /// Moves the row by the exponent p > 0. False, and the row spoiled, when the derivatives do not lead
  /// nearer.
  bool (*move)(const OneMove& move, double p);
};

/// The loops of the instruction set in use.
const CurveKernels& curve_kernels();
QVTX_DECLARE_KERNEL(CurveKernels, curve_kernels)

}  // namespace qvtx
