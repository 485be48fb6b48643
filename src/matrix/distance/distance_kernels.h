#pragma once
// The inner loops of distances and nearest-row search, one copy per instruction set. Every sum has the bits
// of the plain loop: a vector lane holds one row and takes its coordinates from the last to the first.

#include "base/kernel_choice.h"

namespace qvtx {

/// Which rows a nearest-row search may not return: row `self` (-1: none) and, with `zero`, every row with sum
/// 0.
struct Exclusion {
  long self = -1;
  bool zero = false;
};

/// Kernels of one accumulation rule of the Minkowski class. `rows` is row-major, `packed` a
/// PackedRows::data(); n rows of d >= 1 columns; x a row of d numbers; sums holds n numbers and overlaps
/// nothing.
struct RuleKernels {
  /// sums[i] = sum of the terms of row i and x.
  void (*row_sums)(const double* rows, long n, long d, const double* x, double* sums);
  void (*packed_sums)(const double* packed, long n, long d, const double* x, double* sums);
  /// Downward scan of the rows with early abandoning: the row found, or n. `limit` is the threshold in the
  /// space of the sums; afterwards it is the sum of the row found.
  long (*row_nearest)(const double* rows, long n, long d, const double* x, Exclusion exclusion,
                      double& limit);
  long (*packed_nearest)(const double* packed, long n, long d, const double* x, double& limit);
};

struct DistanceKernels {
  RuleKernels squares;    // p = 2
  RuleKernels moduli;     // p = 1
  RuleKernels powers[5];  // p = 3 ... 7
  RuleKernels largest;    // p >= 8

  /// Sums of squares to distances, in place: roots, -1 for what is below 0 (abandoned), and one NaN for all.
  void (*roots)(double* sums, long n);
  /// Lists in rising order the places of those of n sums that can be among the k smallest of them: k or more,
  /// and every one that shares its root with the greatest of these, or is NaN. Returns how many; all for k >
  /// near_sets. places: room for n.
  long (*near)(const double* sums, long n, long k, int* places);
};
inline constexpr int near_sets = 16;

/// The loops of the instruction set in use.
const DistanceKernels& distance_kernels();
QVTX_DECLARE_KERNEL(DistanceKernels, distance_kernels)

}  // namespace qvtx
