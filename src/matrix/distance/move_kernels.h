#pragma once
// The moves of several rows towards one, a lane for each, one copy per instruction set. Each row has the bits
// of the plain loop over its coordinates, in which every one waits for the one before. Where few coordinates
// move, a row alone is as fast.

#include "base/kernel_choice.h"

namespace qvtx {

/// Rows that move together towards the row `to` of d numbers, row r by the step steps[r].
struct RowMoves {
  double* const* rows;  ///< n different ones
  const double* steps;
  long n;
  long d;
  const double* to;
  double* work;  ///< room for move_work(d) numbers
};

/// Numbers that a move of rows of d columns works in.
constexpr long move_work(long d) { return 2 * 32 * (d + 1); }

/// A row x of d numbers that moves by the step a towards the row y.
struct OneMove {
  double* x;
  const double* y;
  long d;
  double a;
  double* work;  ///< room for move_work(d) numbers, d less
};

struct MoveKernels {
  /// What MatFullD::move does with each of the rows in the Minkowski class, for the exponent p > 0, not 2.
  void (*together)(const RowMoves& moves, double p);
  /// The row alone, for p >= 8. False, and the row spoiled, when the derivatives do not lead nearer.
  bool (*largest_alone)(const OneMove& move);
};

/// The loops of the instruction set in use.
const MoveKernels& move_kernels();
QVTX_DECLARE_KERNEL(MoveKernels, move_kernels)

}  // namespace qvtx
