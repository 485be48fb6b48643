#pragma once
// The mapped prototypes axis by axis, the form that the hot loops of the mappings work on.

#include "matrix/matfulld.h"

namespace qvtx {

/// Raw view for kernels: coordinate k of image j is axes[k * stride + j], j < n, k < p.
struct ImageView {
  double* axes;
  long stride;
  long n;
  long p;
};

/// True when distances between images are Euclidean in the class and exponent in force.
inline bool euclidean_images() { return MatFullD::mesp != 'a' && MatFullD::mesp != 'c' && MatFullD::miex == 2.0; }

class ImageArrays {
 public:
  /// Copies images (n x p); keeps its storage when the size is unchanged.
  void load(const MatFullD& images);
  /// Copies the coordinates back into images, which must have the size that was loaded.
  void store(MatFullD& images) const;
  ImageView view() { return {axes_.data(), axes_.ncol(), n_, axes_.nrow()}; }
  /// Work row of n numbers.
  double* distance() { return distance_.data(); }

 private:
  MatFullD axes_;      ///< p x n
  MatFullD distance_;  ///< n x 1
  long n_ = 0;
};

}  // namespace qvtx
