#pragma once
// Hot loop of curvilinear component analysis, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"
#include "mapping/kernels/image_arrays.h"

namespace qvtx {

/// One pivot of curvilinear component analysis.
struct CdaPivot {
  int function;        ///< neighbourhood function: 1 linear, 2 exponential, 3 Gaussian, any other: step
  double width;        ///< the pivot's neighbourhood width
  double input_share;  ///< 0..1: how much the weight follows the input distance
  double step;         ///< step factor
  bool crowded;        ///< many pairs are likely to act; chooses between two ways to the same result
};

struct CdaKernels {
  /// Moves every image away from or towards the pivot, which is the image of the row. Raises *dmax to the
  /// largest output distance of an interacting pair; returns the number of active pairs.
  ///
  /// With D and d the distances and f = `function` of `width`, the weight W is share f(D) + (1 - share) f(d);
  /// a pair with W >= 0.05 and d > 0 is active, and y += (y - y_i) (s W step), s = (D^2 - d^2) 0.5 / D^2 for
  /// d <= D, else (D - d) / d. Functions, in this order of operations: 1 - x (0.95 / width), not below 0;
  /// exp(x (-3 / width)); exp(-3 (t t)), t = x (1 / width); 1 for x <= width, else 0.
  long (*move)(const CdaPivot& pivot, const PairRow& row, const ImageView& images, double* dmax);
};

/// The loops of the instruction set in use.
const CdaKernels& cda_kernels();
QVTX_DECLARE_KERNEL(CdaKernels, cda_kernels)

}  // namespace qvtx
