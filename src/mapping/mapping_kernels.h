#pragma once
// Hot loops of the mappings, compiled once per instruction set. Results do not depend on it.

#include "mapping/image_arrays.h"

namespace qvtx {

/// Partial sums of the stress: pair (i, j) goes to sum j mod 8, so that the result does not depend on how
/// many pairs a processor handles at once.
inline constexpr long stress_lanes = 8;
struct StressSums {
  double error[stress_lanes];  ///< sums of (D - d)^2 / D
  double scale[stress_lanes];  ///< sums of D
};

/// Input distances are n numbers, 0 for the own row; output distances and work rows that are
/// `ImageArrays::distance` have padding behind them.
struct MappingKernels {
  /// d[j] = Euclidean distance of image j from image i; coordinates summed from the last to the first. d:
  /// padded.
  void (*image_distances)(const ImageView& images, long i, double* d);
  /// Adds the pairs of an image with input distance D[j] > 0 to the sums, j increasing.
  void (*stress)(const double* input, const double* d, long n, StressSums* sums);
};

/// The loops of the instruction set in use.
const MappingKernels& mapping_kernels();

}  // namespace qvtx
