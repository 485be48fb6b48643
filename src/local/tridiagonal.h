#pragma once
// Householder reduction of a symmetric matrix to tridiagonal form.

#include "base/progress.h"

namespace qvtx {

/// A = Q T Q' for the symmetric matrix a (order n, only the lower triangle is read), by the method of Martin,
/// Reinsch and Wilkinson (1968), last row first: row i is cleared left of its element i - 1 by a reflection
/// of the first i coordinates. diag: diagonal of T; subd[i] couples i and i + 1, subd[n - 1] = 0. Afterwards
/// row i of a holds the vector u_i (i elements) and h[i] half its squared length, 0 when nothing was
/// reflected; Q = (1 - u_{n-1} u_{n-1}' / h[n-1]) ... (1 - u_2 u_2' / h[2]).
template <class Real>
void reduce_to_tridiagonal(long n, Real* const* a, Real* diag, Real* subd, Real* h, const Progress& progress);

/// Replaces the reflections that `reduce_to_tridiagonal` left in a by the n x n matrix Q.
template <class Real>
void form_transform(long n, Real* const* a, const Real* h);

extern template void reduce_to_tridiagonal(long, double* const*, double*, double*, double*, const Progress&);
extern template void reduce_to_tridiagonal(long, float* const*, float*, float*, float*, const Progress&);
extern template void form_transform(long, double* const*, const double*);
extern template void form_transform(long, float* const*, const float*);

}  // namespace qvtx
