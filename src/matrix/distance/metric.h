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
  /// Whole exponent 3 to 7: a term of the sum is a product, and the distance a root.
  constexpr bool is_whole_power() const {
    return miex >= 3.0 && miex < chebyshev_from && miex == static_cast<int>(miex);
  }
  /// Minkowski with a whole exponent or infinity: the terms of a sum are differences or products of them.
  constexpr bool has_plain_terms() const {
    return is_minkowski() && (miex == 1.0 || miex == 2.0 || is_whole_power() || miex >= chebyshev_from);
  }
  /// Compares what is written: metrics that differ may still give the same distances.
  bool operator==(const Metric&) const = default;
};

}  // namespace qvtx
