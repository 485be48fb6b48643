#pragma once
// The inner loop of neural gas, one copy per instruction set.

namespace qvtx::gas {

/// Moves n rows of d columns in the blocks of PackedRows by row-wise steps and measures them where they come
/// to stand, in one pass: row i becomes row - steps[i] (row - x), coordinate by coordinate, unless steps[i]
/// is NaN, with which it stays; sums[i] = its squared distance to `next`, coordinates from the last to the
/// first. x and next hold d numbers; steps and sums one for every place of the blocks.
using MoveAndMeasure = void (*)(double* packed, long n, long d, const double* steps, const double* x,
                                const double* next, double* sums);

namespace baseline {
extern const MoveAndMeasure move_and_measure;
}
#if defined(__x86_64__)
namespace avx2 {
extern const MoveAndMeasure move_and_measure;
}
namespace avx512 {
extern const MoveAndMeasure move_and_measure;
}
#endif

/// The kernel of the instruction set in force.
MoveAndMeasure move_and_measure();

}  // namespace qvtx::gas
