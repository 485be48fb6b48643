#pragma once
// The hot loops of the symmetric eigen solver, one copy per instruction set, all with the same bits.

#include "base/kernel_choice.h"

namespace qvtx {

/// A plane rotation: (x, y) becomes (c x - s y, s x + c y).
template <class Real>
struct PlaneRotation {
  Real c;
  Real s;
};

/// One sweep of the QL iteration: rotations of the planes (i, i + 1) for i = last - 1 down to first, in this
/// order from number `start` of a list.
struct RotationSweep {
  long first;
  long last;
  long start;
};

/// Vectors that a panel holds side by side, in units of a cache line.
template <class Real>
inline constexpr long line_vectors = 64 / static_cast<long>(sizeof(Real));
inline constexpr long panel_lines = 4;

/// A panel is an n x (lines * line_vectors) array, row-major: one vector per column, 1 to `panel_lines` lines
/// wide. Vectors of a panel never mix.
template <class Real>
struct EigenKernels {
  /// The step of the tridiagonal reduction, one pass over the lower triangle a (n rows, row j with elements
  /// 0..j): a_jk -= u_j q_k + q_j u_k, then p = a x for the symmetric matrix. Element k of a row product
  /// belongs to partial sum k mod line_vectors, the part of the last, incomplete line is added behind them.
  void (*update_multiply)(Real* const* a, long n, const Real* u, const Real* q, const Real* x, Real* p);

  /// Applies the reflections 1 - u_i u_i' / h_i, i increasing from first to n - 1, to the vectors of a panel.
  /// u_i has i elements; h_i = 0: no reflection.
  void (*reflect)(Real* panel, long lines, const Real* const* u, const Real* h, long first, long n);

  /// The columns of a matrix, held as the rows of a panel, take the rotations of all sweeps in order.
  void (*rotate_columns)(Real* panel, long lines, const PlaneRotation<Real>* list,
                         const RotationSweep* sweeps, long count);

  /// Multiplies the vectors of a panel by the product of the rotations, the last one first. The same matrix
  /// as the one that `rotate_columns` multiplies from the right.
  void (*multiply_rotations)(Real* panel, long lines, const PlaneRotation<Real>* list,
                             const RotationSweep* sweeps, long count);
};

/// The loops of the instruction set in use, for double and float.
template <class Real>
const EigenKernels<Real>& eigen_kernels();
template <>
const EigenKernels<double>& eigen_kernels();
template <>
const EigenKernels<float>& eigen_kernels();
QVTX_DECLARE_KERNEL(EigenKernels<double>, eigen_kernels_double)
QVTX_DECLARE_KERNEL(EigenKernels<float>, eigen_kernels_float)

}  // namespace qvtx
