#pragma once
// Hot loops of interpolation, which moves one point among fixed ones; compiled once per instruction set.
// Results do not depend on it.

#include "base/kernel_choice.h"

namespace qvtx {

/// Fixed points axis by axis, and the distances that the free point should have from them: coordinate k of
/// point j is axes[k * stride + j], j < n, k < p. All distances are positive.
struct TargetView {
  const double* axes;
  const double* distance;
  long stride;
  long n;
  long p;
};

/// Sums run over the targets in their order.
struct InterpolationKernels {
  /// centre[k] += the coordinates over the distances; returns the sum of 1 / distance.
  double (*weigh)(const TargetView& targets, double* centre);
  /// mean[k] += s (point[k] - the targets' coordinate), s = 1 / their distance from the point, 0 for none;
  /// coordinates summed from the last to the first.
  void (*pull)(const TargetView& targets, const double* point, double* mean);
  /// Lowers input[j] (negative: no way yet) to entry + graph[j] where that is shorter; negative graph
  /// distances lead nowhere.
  void (*enter)(const double* graph, double entry, long n, double* input);
  /// wanted[j] += weight (input[j] + residual[j]).
  void (*correct)(const double* input, const double* residual, double weight, long n, double* wanted);
};

/// The loops of the instruction set in use.
const InterpolationKernels& interpolation_kernels();
QVTX_DECLARE_KERNEL(InterpolationKernels, interpolation_kernels)

}  // namespace qvtx
