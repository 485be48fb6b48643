#pragma once
// Hot loops of Isotop, compiled once per instruction set. Results do not depend on it.

#include "base/kernel_choice.h"
#include "mapping/kernels/image_arrays.h"

namespace qvtx {

/// How a stimulus pulls the images: image j by exp(-3 (distance[j] / width)^2) * step of its way to x.
struct IsotopPull {
  const double* x;         ///< the stimulus, p numbers
  const double* distance;  ///< n graph distances from the winner, negative where no path leads
  double width;
  double step;
};

struct IsotopKernels {
  /// Image nearest to x in the Euclidean distance, coordinates summed from the last to the first: the lowest
  /// number among equals, n when there is none. Images whose distance is NaN or infinite do not count.
  long (*nearest)(const ImageView& images, const double* x);
  /// Pulls the images with distances 0 .. width.
  void (*pull_near)(const IsotopPull& pull, const ImageView& images);
  /// Pulls the images order[1], order[3], ... (m different numbers). An image gets the same bits as by
  /// `pull_near`.
  void (*pull_listed)(const IsotopPull& pull, const long* order, long m, const ImageView& images);
};

/// The loops of the instruction set in use.
const IsotopKernels& isotop_kernels();
QVTX_DECLARE_KERNEL(IsotopKernels, isotop_kernels)

}  // namespace qvtx
