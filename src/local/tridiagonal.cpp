#include "local/tridiagonal.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/interrupt.h"
#include "local/cache_lines.h"
#include "local/eigen_kernels.h"

namespace qvtx {
namespace {

template <class Real>
Real inner_product(const Real* x, const Real* y, long n) {
  Real sum = 0;
  for (long k = 0; k < n; ++k) sum += x[k] * y[k];
  return sum;
}

// Turns the first i elements of row i into its Householder vector; returns the new element beside the
// diagonal. h is 0 when there is nothing to clear.
template <class Real>
Real make_reflection(Real* row, long i, Real& h) {
  h = 0;
  Real scale = 0;
  for (long k = 0; k < i - 1; ++k) scale += std::fabs(row[k]);
  if (scale == 0) return row[i - 1];
  scale += std::fabs(row[i - 1]);
  for (long k = 0; k < i; ++k) row[k] /= scale;
  h = inner_product(row, row, i);
  const Real f = row[i - 1];
  const Real g = f < 0 ? std::sqrt(h) : -std::sqrt(h);
  h -= f * g;
  row[i - 1] = f - g;
  return scale * g;
}

}  // namespace

// The update of the remaining triangle, a -= u q' + q u', waits until the next vector x is known, so that it
// shares one pass over the triangle with the product p = a x.
template <class Real>
void reduce_to_tridiagonal(long n, Real* const* a, Real* diag, Real* subd, Real* h,
                           const Progress& progress) {
  const size_t stride = row_stride<Real>(static_cast<size_t>(n));
  std::vector<Real> room(4 * stride + line_size_of<Real>, 0);
  Real *u = first_on_line(room.data()), *q = u + stride, *x = q + stride, *p = x + stride;
  subd[n - 1] = 0;
  for (long i = n - 1; i >= 1; --i) {
    interruption_point();
    const double rest = static_cast<double>(i + 1) / static_cast<double>(n);
    tell_share(progress, 1 - rest * rest * rest);
    Real* row = a[i];
    const Real ui = u[i];
    const Real qi = q[i];
    for (size_t k = 0; k <= static_cast<size_t>(i); ++k) row[k] -= ui * q[k] + qi * u[k];
    diag[i] = row[i];
    subd[i - 1] = make_reflection(row, i, h[i]);
    if (h[i] == 0) {
      std::fill_n(x, i, Real(0));
    } else {
      std::copy_n(row, i, x);
    }
    eigen_kernels<Real>().update_multiply(a, i, u, q, x, p);
    std::swap(u, x);
    if (h[i] == 0) {
      std::fill_n(q, i, Real(0));
      continue;
    }
    for (size_t k = 0; k < static_cast<size_t>(i); ++k) p[k] /= h[i];
    const Real half = inner_product(u, p, i) / (h[i] + h[i]);
    for (size_t k = 0; k < static_cast<size_t>(i); ++k) q[k] = p[k] - half * u[k];
  }
  diag[0] = a[0][0];
  h[0] = 0;
}

// Panels of unit vectors take the reflections; they read a packed copy, since Q takes the place of the
// vectors.
template <class Real>
void form_transform(long n, Real* const* a, const Real* h) {
  const size_t size = static_cast<size_t>(n);
  std::vector<Real> packed(size * (size - 1) / 2);
  std::vector<const Real*> vectors(size);
  Real* to = packed.data();
  for (long i = 0; i < n; ++i) {
    vectors[static_cast<size_t>(i)] = to;
    to = std::copy_n(a[i], i, to);
  }
  constexpr long lanes = panel_lines * line_vectors<Real>;
  std::vector<Real> panel(size * lanes);
  for (long first = 0; first < n; first += lanes) {
    const long count = std::min(lanes, n - first);
    std::fill(panel.begin(), panel.end(), Real(0));
    for (long c = 0; c < count; ++c) panel[static_cast<size_t>((first + c) * lanes + c)] = 1;
    // Reflection i leaves the axes from i on alone.
    eigen_kernels<Real>().reflect(panel.data(), panel_lines, vectors.data(), h, first + 1, n);
    for (long i = 0; i < n; ++i) std::copy_n(panel.data() + i * lanes, count, a[i] + first);
  }
}

template void reduce_to_tridiagonal(long, double* const*, double*, double*, double*, const Progress&);
template void reduce_to_tridiagonal(long, float* const*, float*, float*, float*, const Progress&);
template void form_transform(long, double* const*, const double*);
template void form_transform(long, float* const*, const float*);

}  // namespace qvtx
