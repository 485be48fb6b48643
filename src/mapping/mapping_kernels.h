#pragma once
// Hot loops of the mappings, compiled once per instruction set. Results do not depend on it.

#include "mapping/image_arrays.h"

namespace qvtx {

/// Partial sums of the stress: pair (i, j) goes to sum j mod 8, so that the result does not depend on how many
/// pairs a processor handles at once.
inline constexpr long stress_lanes = 8;
struct StressSums {
  double error[stress_lanes];  ///< sums of (D - d)^2 / D
  double scale[stress_lanes];  ///< sums of D
};

/// One pivot of curvilinear component analysis.
struct CdaPivot {
  long i;              ///< the pivot
  int function;        ///< neighbourhood function: 1 linear, 2 exponential, 3 Gaussian, any other: step
  double width;        ///< the pivot's neighbourhood width
  double input_share;  ///< 0..1: how much the weight follows the input distance
  double step;         ///< step factor
};

struct MappingKernels {
  /// d[j] = Euclidean distance of image j from image i; coordinates summed from the last to the first.
  void (*image_distances)(const ImageView& images, long i, double* d);
  /// Adds the pairs (i, j), j != i, with input distance D[j] > 0 to the sums, j increasing.
  void (*stress)(const double* input, const double* d, long i, long n, StressSums* sums);
  /// Moves every image away from or towards the pivot, given the input distances from the pivot (negative: the pair
  /// does not interact) and the output distances d. Raises *dmax to the largest output distance of an interacting pair;
  /// returns the number of active pairs.
  long (*cda_move)(const CdaPivot& pivot, const double* input, const double* d, const ImageView& images, double* dmax);
};

/// The loops of the instruction set in use.
const MappingKernels& mapping_kernels();

}  // namespace qvtx
