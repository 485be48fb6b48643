#include "mapping/image_arrays.h"

namespace qvtx {

void ImageArrays::load(const MatFullD& images) {
  n_ = images.nrow();
  const long p = images.ncol();
  if (axes_.nrow() != p || axes_.ncol() != n_) {
    axes_.setdim(p, n_ > 0 ? n_ : 1);
    axes_.setrows(p);
    distance_.setdim(n_, 1);
    distance_.setrows(n_);
  }
  const double* y = images.data();
  for (long k = 0; k < p; ++k) {
    double* axis = axes_.data() + k * axes_.ncol();
    for (long j = 0; j < n_; ++j) axis[j] = y[j * p + k];
  }
}

void ImageArrays::store(MatFullD& images) const {
  const long p = images.ncol();
  double* y = images.data();
  for (long k = 0; k < p; ++k) {
    const double* axis = axes_.data() + k * axes_.ncol();
    for (long j = 0; j < n_; ++j) y[j * p + k] = axis[j];
  }
}

}  // namespace qvtx
