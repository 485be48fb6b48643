#pragma once
// Hot loops of Sammon's mapping, compiled once per instruction set.

#include "mapping/image_arrays.h"

namespace qvtx {

/// Partial sums of a Newton pass: pair (i, j) goes to sum j mod 8.
inline constexpr long newton_lanes = 8;

struct SammonKernels {
  /// gradient[k], curvature[k]: sums over the pairs (i, j) with D[j] > 0 and d[j] > 0 of c t and c - t^2 / d^3, where
  /// c = (D - d) / (D d) and t is the difference of the images on axis k. Input distances D, output distances d.
  void (*newton)(long i, const double* input, const double* d, const ImageView& images, double* gradient,
                 double* curvature);
  /// Moves every other image away from or towards image i by step (D - d) / (d D) of the difference.
  void (*push)(long i, double step, const double* input, const double* d, const ImageView& images);
};

const SammonKernels& sammon_kernels();

}  // namespace qvtx
