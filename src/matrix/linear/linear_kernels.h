#pragma once
// The hot loops of the dense linear algebra, one copy per instruction set. Every copy gives the same bits:
// where a sum runs over the lanes of a vector, the number of partial sums is fixed here and belongs to the
// definition.

#include "base/kernel_choice.h"

namespace qvtx {

/// Rows of a block that `absorb_rows` takes; a multiple of 8. Part of the definition of its result.
inline constexpr long qr_block_rows = 128;
/// Squared length below which `absorb_rows` takes the part of a column in the block for zero: its square
/// would underflow. The caller makes sure that the triangle as a whole is far above its root.
inline constexpr double qr_negligible = 1e-290;

struct LinearKernels {
  /// Sum of x[i] y[i] in 16 partial sums: element i belongs to sum i mod 16; the sums are folded by halves.
  double (*dot)(const double* x, const double* y, long n);

  /// c += sign a b for row-major c (rows x cols) and b (inner x cols). Element (i, k) of a is at
  /// a[i a_row + k a_step]; steps may be negative. Every element of c adds its products one by one, k
  /// increasing, so that a long product may be cut anywhere along k. No overlap of c with a or b. sign: 1 or
  /// -1.
  void (*multiply_add)(double* c, long c_row, const double* a, long a_row, long a_step, const double* b,
                       long b_row, long rows, long inner, long cols, double sign);

  /// row += (row . x) y for every row of a (rows x cols, `a_row` apart); the dot product is `dot`.
  void (*reflect_rows)(double* a, long a_row, long rows, long cols, const double* x, const double* y);

  /// Plane rotation of two vectors: (x, y) becomes (c x + s y, c y - s x).
  void (*rotate)(double* x, double* y, double c, double s, long n);

  /// Householder QR of the triangle r (n x n, row-major) on top of a block of further rows: r becomes the new
  /// triangle. The block is stored by column, column j at block + j qr_block_rows; unused rows hold 0. The
  /// block is destroyed. Sums over the rows of a block: 8 partial sums, row i in sum i mod 8.
  void (*absorb_rows)(double* r, double* block, long n);
};

/// The loops of the instruction set in use.
const LinearKernels& linear_kernels();
QVTX_DECLARE_KERNEL(LinearKernels, linear_kernels)

}  // namespace qvtx
