#pragma once
// The pairs of images that an epoch passes over, with both of their distances.

#include "mapping/input_distances.h"

namespace qvtx {

/// One pass over the pairs of every image, in the form of the kernels. Input distances are those of
/// InputDistances. Output distances are measured by the kernels where they are Euclidean; in another class or
/// exponent they come from the plain form of the images.
class PairRows {
 public:
  /// Takes the images (nprot x p) into work storage. w, across: as for InputDistances. images and memory must
  /// outlive the object; memory serves one object at a time. order (n x 1): that in which `row_at` will pass;
  /// without it the rows are asked for from the last image to the first.
  PairRows(const VeQuan& prototypes, double w, bool across, MatFullD& images, MappingMemory& memory,
           const MatFullL* order = nullptr);

  /// The images at work.
  ImageView view() { return arrays_.view(); }
  /// The pairs of image i; `next` is the image of the next call. Valid until then.
  PairRow row(long i, long next);
  /// The pairs of the image at a position of the presentation order (n x 1), which runs down to 0.
  PairRow row_at(const MatFullL& order, long position);
  /// Writes the images at work back.
  void store() { arrays_.store(images_); }

 private:
  InputDistances input_;
  MatFullD& images_;
  ImageArrays& arrays_;
  MatFullD& plain_;  ///< nprot x 1
};

}  // namespace qvtx
