#pragma once
// The hot loops of the block Lanczos iteration, one copy per instruction set, all with the same bits.

#include "base/kernel_choice.h"

namespace qvtx {

/// Vectors have n elements and lie anywhere. A product of two vectors has eight partial sums, element k going
/// to sum k mod 8; sum i + 4 is added to sum i, then i + 2, then i + 1, and the elements behind the last
/// whole eight are added one by one.
struct LanczosKernels {
  /// y_c = a x_c for `count` vectors and a symmetric matrix, of which row j is read up to its element j.
  /// Element j of a result is the product of that part of the row (as above, but eights end at j rounded down
  /// to eight), to which the elements below it in column j are added in increasing order.
  void (*multiply)(const double* const* a, long n, const double* const* x, double* const* y, long count);

  /// products[v] = q_v x for `count` vectors q_v.
  void (*project)(const double* const* q, long count, const double* x, long n, double* products);

  /// x += the sum of factors[v] q_v, added to each element in increasing v.
  void (*combine)(const double* const* q, long count, const double* factors, double* x, long n);
};

/// The loops of the instruction set in use.
const LanczosKernels& lanczos_kernels();
QVTX_DECLARE_KERNEL(LanczosKernels, lanczos_kernels)

}  // namespace qvtx
