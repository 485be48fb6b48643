#include "mapping/kernels/image_arrays.h"

#include <algorithm>
#include <memory>

namespace qvtx {

void ImageArrays::load(const MatFullD& images) {
  if (images.nrow() != n_ || images.ncol() != p_) {
    const long stride = (images.nrow() + image_padding - 1) / image_padding * image_padding;
    const auto needed = static_cast<std::size_t>((images.ncol() + 1) * stride);
    storage_.assign(needed + image_padding, 0.0);
    n_ = images.nrow();  // not before there is room for it
    p_ = images.ncol();
    stride_ = stride;
    void* place = storage_.data();
    std::size_t room = storage_.size() * sizeof(double);
    begin_ = static_cast<double*>(
        std::align(image_padding * sizeof(double), needed * sizeof(double), place, room));
  }
  const double* y = images.data();
  for (long k = 0; k < p_; ++k) {
    double* axis = begin_ + k * stride_;
    for (long j = 0; j < n_; ++j) axis[j] = y[j * p_ + k];
    std::fill(axis + n_, axis + stride_, 0.0);  // an earlier mapping may have left anything
  }
}

void ImageArrays::store(MatFullD& images) const {
  double* y = images.data();
  for (long k = 0; k < p_; ++k) {
    const double* axis = begin_ + k * stride_;
    for (long j = 0; j < n_; ++j) y[j * p_ + k] = axis[j];
  }
}

}  // namespace qvtx
