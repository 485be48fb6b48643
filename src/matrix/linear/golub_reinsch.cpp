#include "matrix/linear/golub_reinsch.h"

#include <algorithm>
#include <cmath>

#include "base/ostr.h"
#include "matrix/linear/linear_kernels.h"

namespace qvtx {
namespace {

constexpr int max_iterations = 30;

// Length of (a, b) without overflow or underflow in between.
double hypotenuse(double a, double b) {
  const double x = std::fabs(a);
  const double y = std::fabs(b);
  if (x > y) return x * std::sqrt(1 + (y / x) * (y / x));
  return y == 0 ? 0 : y * std::sqrt(1 + (x / y) * (x / y));
}

// The rotation that turns (f, h) into (z, 0): c f + s h = z, the result. Any rotation does for a zero vector.
double plane_rotation(double f, double h, double& c, double& s) {
  const double z = hypotenuse(f, h);
  c = z == 0 ? 1 : f / z;
  s = z == 0 ? 0 : h / z;
  return z;
}

double absolute_sum(const double* x, long n) {
  double sum = 0;
  for (long k = 0; k < n; ++k) sum += std::fabs(x[k]);
  return sum;
}

// Turns x (n elements) into the Householder vector that maps it onto its first axis; `h` becomes minus half
// the squared length of the vector, the result is the length of the image with its sign, both for x divided
// by `scale`.
double householder(double* x, long n, double scale, double& h) {
  for (long k = 0; k < n; ++k) x[k] /= scale;
  const double squares = linear_kernels().dot(x, x, n);
  const double f = x[0];
  const double g = f < 0 ? std::sqrt(squares) : -std::sqrt(squares);
  h = f * g - squares;
  x[0] = f - g;
  return g;
}

}  // namespace

void GolubReinsch::run(double* w, double* vt, bool left) {
  w_ = w;
  vt_ = vt;
  const size_t n = static_cast<size_t>(n_);
  e_.assign(n, 0);
  sums_.assign(n, 0);
  column_.assign(static_cast<size_t>(m_), 0);
  std::fill_n(w, n, 0.0);
  for (long i = 0; i < std::min(m_, n_); ++i) {
    reduce_column(i);
    reduce_row(i);
  }
  norm_ = 0;
  for (long i = 0; i < n_; ++i)
    norm_ = std::max(norm_, std::fabs(w_[i]) + std::fabs(e_[static_cast<size_t>(i)]));
  if (vt_ != nullptr) accumulate_right();
  if (left) {
    accumulate_left();
    rotations_.assign(n * n, 0);
    for (size_t i = 0; i < n; ++i) rotations_[i * n + i] = 1;
  }
  for (long k = n_ - 1; k >= 0; --k) diagonalize(k);
  if (left) multiply_left();
}

// Makes column i zero below the diagonal by a reflection from the left; the column keeps the Householder
// vector.
void GolubReinsch::reduce_column(long i) {
  const long rows = m_ - i;
  double* x = column_.data();
  double* corner = a_ + i * n_ + i;
  for (long k = 0; k < rows; ++k) x[k] = corner[k * n_];
  const double scale = absolute_sum(x, rows);
  if (scale == 0) return;
  double h;
  const double g = householder(x, rows, scale, h);
  const long others = n_ - i - 1;
  if (others > 0) {
    const LinearKernels& kernels = linear_kernels();
    double* factors = sums_.data();
    std::fill_n(factors, others, 0.0);
    kernels.multiply_add(factors, others, x, 0, 1, corner + 1, n_, 1, rows, others, 1);  // A' x
    for (long j = 0; j < others; ++j) factors[j] /= h;
    kernels.multiply_add(corner + 1, n_, x, 1, 1, factors, others, rows, 1, others, 1);  // A + x factors'
  }
  for (long k = 0; k < rows; ++k) corner[k * n_] = scale * x[k];
  w_[i] = scale * g;
}

// Makes row i zero right of the superdiagonal by a reflection from the right; the row keeps the Householder
// vector.
void GolubReinsch::reduce_row(long i) {
  const long cols = n_ - i - 1;
  if (cols == 0) return;
  double* x = a_ + i * n_ + i + 1;
  const double scale = absolute_sum(x, cols);
  if (scale == 0) return;
  double h;
  const double g = householder(x, cols, scale, h);
  double* factors = sums_.data();
  for (long k = 0; k < cols; ++k) factors[k] = x[k] / h;
  linear_kernels().reflect_rows(x + n_, n_, m_ - i - 1, cols, x, factors);
  for (long k = 0; k < cols; ++k) x[k] *= scale;
  e_[static_cast<size_t>(i + 1)] = scale * g;
}

void GolubReinsch::accumulate_right() {
  for (long i = n_ - 1; i >= 0; --i) {
    double* row = vt_ + i * n_;
    const long l = i + 1;
    const double g = l < n_ ? e_[static_cast<size_t>(l)] : 0;
    if (g != 0) {
      const double* x = a_ + i * n_;
      for (long j = l; j < n_; ++j) row[j] = (x[j] / x[l]) / g;  // two divisions: their product may underflow
      linear_kernels().reflect_rows(vt_ + l * n_ + l, n_, n_ - l, n_ - l, x + l, row + l);
    }
    for (long j = l; j < n_; ++j) row[j] = vt_[j * n_ + i] = 0;
    row[i] = 1;
  }
}

void GolubReinsch::accumulate_left() {
  for (long i = std::min(m_, n_) - 1; i >= 0; --i) {
    const long rows = m_ - i;
    const long others = n_ - i - 1;
    double* corner = a_ + i * n_ + i;
    double* x = column_.data();
    std::fill_n(corner + 1, others, 0.0);
    if (w_[i] == 0) {
      for (long k = 0; k < rows; ++k) corner[k * n_] = 0;
      corner[0] = 1;
      continue;
    }
    const double g = w_[i];
    for (long k = 0; k < rows; ++k) x[k] = corner[k * n_];
    if (others > 0) {
      const LinearKernels& kernels = linear_kernels();
      double* factors = sums_.data();
      std::fill_n(factors, others, 0.0);
      kernels.multiply_add(factors, others, x + 1, 0, 1, corner + n_ + 1, n_, 1, rows - 1, others, 1);
      for (long j = 0; j < others; ++j) factors[j] = (factors[j] / x[0]) / g;
      kernels.multiply_add(corner + 1, n_, x, 1, 1, factors, others, rows, 1, others, 1);
    }
    for (long k = 0; k < rows; ++k) corner[k * n_] = x[k] / g;
    corner[0] += 1;
  }
}

// True when x does not count beside the norm. A comparison with a NaN makes everything negligible, so that
// non-finite input passes through without a single iteration.
bool GolubReinsch::negligible(double x) const { return !(std::fabs(x) + norm_ > norm_); }

// Brings the value k to convergence.
void GolubReinsch::diagonalize(long k) {
  for (int iteration = 1;; ++iteration) {
    long l;
    if (find_split(k, l)) cancel(l, k);
    if (l == k) break;
    if (iteration == max_iterations) {
      os.fresh().ow("MatFullD.svd: no convergence in 30 SVD iterations").nl();
      break;
    }
    sweep(l, k);
  }
  if (!(w_[k] < 0)) return;
  w_[k] = -w_[k];
  if (vt_ == nullptr) return;
  for (long j = 0; j < n_; ++j) vt_[k * n_ + j] = -vt_[k * n_ + j];
}

// Looks for the beginning l of the block that ends at k. True when the block starts below a negligible value,
// whose superdiagonal element then has to be cancelled.
bool GolubReinsch::find_split(long k, long& l) const {
  for (l = k; l > 0; --l) {
    if (negligible(e_[static_cast<size_t>(l)])) return false;
    if (negligible(w_[l - 1])) return true;
  }
  return false;
}

// Chases e_[l] out of the block l..k, which hangs below the negligible value l - 1.
void GolubReinsch::cancel(long l, long k) {
  double c = 0;
  double s = 1;
  for (long i = l; i <= k; ++i) {
    double& e = e_[static_cast<size_t>(i)];
    const double f = s * e;
    e *= c;
    if (negligible(f)) return;
    const double g = w_[i];
    const double h = hypotenuse(f, g);
    w_[i] = h;
    c = g / h;
    s = -f / h;
    rotate_left(l - 1, i, c, s);
  }
}

// One QR step on the block l..k, shifted by the eigenvalue of its last 2 x 2 minor. The shift is computed
// from ratios, so that the scale of the data does not matter.
void GolubReinsch::sweep(long l, long k) {
  double* e = e_.data();
  double x = w_[l];
  double y = w_[k - 1];
  double z = w_[k];
  double g = e[k - 1];
  double h = e[k];
  double f = 0.5 * (((g + z) / h) * ((g - z) / y) + y / h - h / y);
  f = x - (z / x) * z + (h / x) * (y / (f + std::copysign(hypotenuse(f, 1), f)) - h);
  double c = 1;
  double s = 1;
  for (long j = l; j < k; ++j) {
    const long i = j + 1;
    g = c * e[i];
    h = s * e[i];
    y = w_[i];
    e[j] = plane_rotation(f, h, c, s);
    f = x * c + g * s;
    g = g * c - x * s;
    h = y * s;
    y *= c;
    rotate_right(j, i, c, s);
    w_[j] = plane_rotation(f, h, c, s);
    f = c * g + s * y;
    x = c * y - s * g;
    rotate_left(j, i, c, s);
  }
  e[l] = 0;
  e[k] = f;
  w_[k] = x;
}

void GolubReinsch::rotate_left(long i, long j, double c, double s) {
  if (rotations_.empty()) return;
  linear_kernels().rotate(rotations_.data() + i * n_, rotations_.data() + j * n_, c, s, n_);
}

void GolubReinsch::rotate_right(long i, long j, double c, double s) {
  if (vt_ == nullptr) return;
  linear_kernels().rotate(vt_ + i * n_, vt_ + j * n_, c, s, n_);
}

// U = U R, R the product of the left rotations.
void GolubReinsch::multiply_left() {
  constexpr long block = 32;
  const size_t n = static_cast<size_t>(n_);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < i; ++j) std::swap(rotations_[i * n + j], rotations_[j * n + i]);
  }
  std::vector<double> copy(static_cast<size_t>(block) * n);
  for (long i = 0; i < m_; i += block) {
    const long rows = std::min(block, m_ - i);
    double* u = a_ + i * n_;
    std::copy_n(u, rows * n_, copy.data());
    std::fill_n(u, rows * n_, 0.0);
    linear_kernels().multiply_add(u, n_, copy.data(), n_, 1, rotations_.data(), n_, rows, n_, n_, 1);
  }
}

}  // namespace qvtx
