#pragma once
// The mapped prototypes axis by axis, the form that the hot loops of the mappings work on.

#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {

/// Rows of image arrays are padded to a multiple of so many numbers and begin on a boundary of as many, so
/// that kernels work on whole groups of vectors.
inline constexpr long image_padding = 32;

/// Raw view for kernels: coordinate k of image j is axes[k * stride + j], j < n, k < p. What lies between n
/// and stride is 0 after a load and may be overwritten.
struct ImageView {
  double* axes;
  long stride;
  long n;
  long p;
};

/// The distances of an image's pairs, for kernels that pass over them.
struct PairRow {
  long i;               ///< the image
  const double* input;  ///< input distances, n numbers, 0 for i itself, negative where there is none
  const double* d;      ///< output distances, padded; null: the Euclidean ones, which the loops measure
  const double* soon;   ///< n numbers that the next pass will want: fetched from memory meanwhile
};

/// Images by axis, and a work row. Load, let kernels change them, store. Not copyable: views point into it.
class ImageArrays {
 public:
  ImageArrays() = default;
  ImageArrays(const ImageArrays&) = delete;
  ImageArrays& operator=(const ImageArrays&) = delete;

  /// Copies images (n x p); keeps its storage when the size is unchanged.
  void load(const MatFullD& images);
  /// Copies the coordinates back into images, which must have the size that was loaded.
  void store(MatFullD& images) const;
  /// Valid until a load of another size.
  ImageView view() { return {begin_, stride_, n_, p_}; }
  /// Work row of n numbers and the padding.
  double* distance() { return begin_ + p_ * stride_; }

 private:
  std::vector<double> storage_;  ///< (p + 1) x stride, and room to align
  double* begin_ = nullptr;
  long stride_ = 0;
  long n_ = 0;
  long p_ = 0;
};

}  // namespace qvtx
