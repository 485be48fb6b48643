#pragma once
// Hot loops of Sammon's mapping, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"
#include "mapping/kernels/image_arrays.h"

namespace qvtx {

/// Partial sums of a Newton pass: pair (i, j) goes to sum j mod 8; the sums are added up from the first to
/// the last.
inline constexpr long newton_lanes = 8;

/// A pair (i, j) counts when its input distance D and its output distance d are positive.
struct SammonKernels {
  /// gradient[k], curvature[k]: sums over the pairs that count of c t and c - (t t) v^3, where t is the
  /// coordinate k of image i minus that of image j, c = (D - d) r and v = D r with r = 1 / (D d): a single
  /// division gives both (D - d) / (D d) and 1 / d. v^3 = (v v) v.
  void (*newton)(const PairRow& row, const ImageView& images, double* gradient, double* curvature);
  /// Moves every image of a pair that counts away from or towards image i: y += (y - y_i) (step (D - d) / (d
  /// D)).
  void (*push)(const PairRow& row, double step, const ImageView& images);
};

/// The loops of the instruction set in use.
const SammonKernels& sammon_kernels();
QVTX_DECLARE_KERNEL(SammonKernels, sammon_kernels)

}  // namespace qvtx
