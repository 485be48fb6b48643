// Principal component analysis.
//
// Tall data are first reduced to a triangle R by a Householder QR decomposition that takes a block of rows at
// a time: R has the singular values and the right vectors of the centred data, and neither a copy of the data
// nor the left vectors are needed (T. F. Chan, "An improved algorithm for computing the singular value
// decomposition", ACM TOMS 8, 1982).

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "matrix/linear/golub_reinsch.h"
#include "matrix/linear/linear_kernels.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

constexpr double tolerance = 1e-6;  // smaller singular values, relative to the largest, count as 0

// Largest elements of a triangle for which `absorb_rows` has neither overflowed nor lost anything to
// underflow.
constexpr double triangle_min = 1e-130;
constexpr double triangle_max = 1e130;

bool all_finite(const double* x, long n) {
  return std::all_of(x, x + n, [](double value) { return std::isfinite(value); });
}

// Singular values and right vectors of a centred data set.
struct Decomposition {
  MatFullD values;                 // n x 1
  std::vector<double> directions;  // n x n, row i belongs to value i; empty when not wanted
};

// Columns of the centred rows first..first+count-1, in the layout of `absorb_rows`.
void fill_block(const MatFullD& x, const double* mean, long first, long count, double* block) {
  const long n = x.ncol();
  std::fill_n(block, n * qr_block_rows, 0.0);
  for (long i = 0; i < count; ++i) {
    const double* row = x.data() + (first + i) * n;
    for (long j = 0; j < n; ++j) block[j * qr_block_rows + i] = row[j] - mean[j];
  }
}

// r (n x n) becomes the triangle of the centred data; false when it is of no use: the data are not finite,
// all equal to their mean, or of a size that wants the scaling of the decomposition proper.
bool reduce_to_triangle(const MatFullD& x, const double* mean, std::vector<double>& r) {
  const long n = x.ncol();
  r.assign(static_cast<size_t>(n * n), 0);
  std::vector<double> rows(static_cast<size_t>(n * qr_block_rows));
  for (long first = 0; first < x.nrow(); first += qr_block_rows) {
    fill_block(x, mean, first, std::min(qr_block_rows, x.nrow() - first), rows.data());
    linear_kernels().absorb_rows(r.data(), rows.data(), n);
  }
  if (!all_finite(r.data(), n * n)) return false;
  double largest = 0;
  for (const double value : r) largest = std::max(largest, std::fabs(value));
  return largest > triangle_min && largest < triangle_max;
}

// Decomposes the m x n array a, which is destroyed, without left vectors; false when the result is not
// finite.
bool decompose_array(double* a, long m, long n, bool vectors, Decomposition& out) {
  double* w = out.values.data();
  GolubReinsch decomposition(a, m, n);
  if (vectors) {
    out.directions.resize(static_cast<size_t>(n * n));
    decomposition.right(w, out.directions.data());
  } else {
    decomposition.values(w);
  }
  if (!all_finite(w, n) || !all_finite(out.directions.data(), static_cast<long>(out.directions.size())))
    return false;
  const double limit = tolerance * *std::max_element(w, w + n);
  for (long j = 0; j < n; ++j) {
    if (w[j] <= limit) w[j] = 0;
  }
  return true;
}

// The same through `svd`, which reports non-finite numbers and keeps the input that led to them.
void decompose_and_report(MatFullD& centred, Decomposition& out) {
  MatFullD w;
  MatFullD v;
  centred.svd(w, v, tolerance);
  v.tsp();
  std::copy_n(w.data(), w.ncol(), out.values.data());
  out.directions.assign(v.data(), v.data() + v.nrow() * v.ncol());
}

void decompose(const MatFullD& x, const MatFullD& mean, bool vectors, Decomposition& out) {
  const long n = x.ncol();
  out.values.setdim(n, 1);
  out.values.setrows(n, 0);
  if (x.nrow() > n) {
    std::vector<double> triangle;
    if (reduce_to_triangle(x, mean.data(), triangle) && decompose_array(triangle.data(), n, n, vectors, out))
      return;
  }
  MatFullD centred;
  centred.copy(x);
  centred.center(mean);
  if (centred.nnan() == 0) {
    if (decompose_array(centred.data(), centred.nrow(), n, vectors, out)) return;
    centred.copy(x);
    centred.center(mean);
  }
  decompose_and_report(centred, out);
}

// Takes the k largest values in decreasing order, the first among equals, into `values` as variances and
// their directions into `vectors` (may be null).
void select_components(Decomposition& from, long k, long nrow, bool scale, MatFullD* vectors,
                       MatFullD& values) {
  const long n = from.values.nrow();
  const double count = static_cast<double>(nrow);
  values.setdim(k, 1);
  values.setrows(k, 0);
  if (vectors != nullptr) {
    vectors->setdim(k, n);
    vectors->setrows(k, 0);
  }
  for (long c = 0; c < k; ++c) {
    const long best = from.values.maxidx(0);
    double& chosen = from.values.data()[best];
    // A value that was taken before is the largest only where the others are NaN.
    const double value = chosen < 0 ? std::numeric_limits<double>::quiet_NaN() : chosen;
    chosen = -1;
    values.data()[c] = value * value / count;
    if (vectors == nullptr) continue;
    double* direction = vectors->data() + c * n;
    std::copy_n(from.directions.data() + best * n, n, direction);
    if (!scale || !(value > 0)) continue;
    for (long j = 0; j < n; ++j) direction[j] = direction[j] * std::sqrt(count) / value;
  }
}

void analyse(const MatFullD& x, MatFullD& mean, MatFullD* vectors, MatFullD& values, long k, int scale) {
  if (x.nrow() == 0) x.ermessage('a', 7, 0, 0);
  if (k < 1 || k > x.ncol()) k = x.ncol();
  const long nrow = x.nrow();
  x.avg(mean);
  Decomposition decomposition;
  decompose(x, mean, vectors != nullptr, decomposition);
  select_components(decomposition, k, nrow, scale != 0, vectors, values);
}

}  // namespace

void MatFullD::pca(MatFullD& mean, MatFullD& vectors, MatFullD& values, long k, int scale) const {
  analyse(*this, mean, &vectors, values, k, scale);
}

void MatFullD::pca(MatFullD& vectors, MatFullD& values, long k, int scale) const {
  MatFullD mean;
  analyse(*this, mean, &vectors, values, k, scale);
}

void MatFullD::pca(MatFullD& values, long k, int scale) const {
  MatFullD mean;
  analyse(*this, mean, nullptr, values, k, scale);
}

}  // namespace qvtx
