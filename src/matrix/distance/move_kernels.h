#pragma once
// The moves of several rows towards one, a lane for each, one copy per instruction set. Each row has the bits
// of the plain loop over its coordinates, in which every one waits for the one before.

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

/// What MatFullD::move does with each of the rows, by the rule of the Minkowski class.
struct MoveKernels {
  using Move = void (*)(const RowMoves& moves);
  Move moduli;     // p = 1
  Move powers[5];  // p = 3 ... 7
  Move largest;    // p >= 8
};

/// The loops of the instruction set in use.
const MoveKernels& move_kernels();
QVTX_DECLARE_KERNEL(MoveKernels, move_kernels)

}  // namespace qvtx
