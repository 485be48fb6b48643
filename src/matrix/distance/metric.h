#pragma once
// The metric: distance class and Minkowski exponent together.

#include "matrix/matfulld.h"

namespace qvtx {

/// A distance class with its exponent. The user changes the one in force between two commands, so code that
/// measures many rows asks for it once, ahead of its loops, and what outlives a command keeps the metric that
/// it was made for.
struct Metric {
  /// Exponents from here on stand for infinity: the largest coordinate alone counts (Chebyshev).
  static constexpr double chebyshev_from = 8.0;

  char mesp = 'm';    ///< class: 'a' area between curves, 'c' cosine, anything else Minkowski
  double miex = 2.0;  ///< exponent of the classes Minkowski and area

  /// That of `MatFullD::mesp` and `MatFullD::miex`.
  static Metric in_force() { return {MatFullD::mesp, MatFullD::miex}; }
  static constexpr Metric euclidean() { return {}; }

  constexpr bool is_area() const { return mesp == 'a'; }
  constexpr bool is_cosine() const { return mesp == 'c'; }
  constexpr bool is_minkowski() const { return !is_area() && !is_cosine(); }
  constexpr bool is_euclidean() const { return is_minkowski() && miex == 2.0; }
  /// Minkowski with exponent 1, 2 or infinity: the terms of a sum need neither powers nor roots.
  constexpr bool is_free_of_powers() const {
    return is_minkowski() && (miex == 1.0 || miex == 2.0 || miex >= chebyshev_from);
  }
  /// Compares what is written: metrics that differ may still give the same distances.
  bool operator==(const Metric&) const = default;
};

}  // namespace qvtx
