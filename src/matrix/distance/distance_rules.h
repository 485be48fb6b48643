#pragma once
// The distances in their plain form: how one coordinate's term enters the sum for each exponent, the terms of
// the Minkowski and the area class, and the loop with early abandoning. This is the definition that every
// kernel is compared with.

#include <cmath>
#include <limits>

#include "matrix/distance/metric.h"

namespace qvtx::distance {

inline double larger(double s, double t) { return t > s ? t : s; }   // a NaN term is passed over
inline double smaller(double s, double t) { return t < s ? t : s; }  // likewise

/// A rule adds the term t >= 0 of one coordinate to the sum s (`add`), takes a bound into the space of the
/// sums
/// (`transform`) and a complete sum to the distance (`finish`).
struct Squares {  // p = 2, Euclidean
  static double add(double s, double t) { return s + t * t; }
  static double transform(double bound) { return bound * bound; }
  static double finish(double s) { return std::sqrt(s); }
};
struct Moduli {  // p = 1, city block
  static double add(double s, double t) { return s + t; }
  static double transform(double bound) { return bound; }
  static double finish(double s) { return s; }
};
struct Roots {  // p = 0.5
  static double add(double s, double t) { return s + std::sqrt(t); }
  static double transform(double bound) { return std::sqrt(bound); }
  static double finish(double s) { return s * s; }
};
struct Smallest {  // p = 0
  static double add(double s, double t) { return smaller(s, t); }
  static double transform(double bound) { return bound; }
  static double finish(double s) { return s; }
};
struct Largest {  // p >= 8, Chebyshev
  static double add(double s, double t) { return larger(s, t); }
  static double transform(double bound) { return bound; }
  static double finish(double s) { return s; }
};
struct Powers {  // every other p
  double p;
  double add(double s, double t) const { return s + std::pow(t, p); }
  double transform(double bound) const { return std::pow(bound, p); }
  double finish(double s) const { return std::pow(s, 1.0 / p); }
};

/// Calls use(rule) with the rule of the exponent p and returns its result.
template <class Use>
auto with_rule(double p, Use use) {
  if (p == 2.0) return use(Squares{});
  if (p == 1.0) return use(Moduli{});
  if (p == 0.5) return use(Roots{});
  if (p == 0.0) return use(Smallest{});
  if (p >= Metric::chebyshev_from) return use(Largest{});
  return use(Powers{p});
}

/// Terms |x_k - y_k| of two rows.
struct PairModulus {
  const double* x;
  const double* y;
  double operator()(long k) const { return std::fabs(x[k] - y[k]); }
};
/// Terms |x_k| of a norm.
struct NormModulus {
  const double* x;
  double operator()(long k) const { return std::fabs(x[k]); }
};

/// Half-interval between the sample v of a difference curve and its neighbour n: where the curve crosses zero
/// in between, v's share of the two triangles.
inline double half_interval(double n, double v) {
  return n * v < 0.0 ? v * v / std::fabs(n - v) : std::fabs(v);
}

/// Terms of the area class for the curve d(0) ... d(ncol - 1), which is 0 beyond its ends.
template <class Curve>
double area_term(const Curve& d, long ncol, long k) {
  const double v = d(k);
  const double above = k + 1 < ncol ? d(k + 1) : 0.0;
  const double below = k > 0 ? d(k - 1) : 0.0;
  return 0.5 * (half_interval(above, v) + half_interval(below, v));
}
/// Difference curve y - x of two rows.
struct PairCurve {
  const double* x;
  const double* y;
  double operator()(long k) const { return y[k] - x[k]; }
};
struct PairArea {
  const double* x;
  const double* y;
  long ncol;
  double operator()(long k) const { return area_term(PairCurve{x, y}, ncol, k); }
};
struct NormArea {
  const double* x;
  long ncol;
  double operator()(long k) const {
    return area_term([row = x](long c) { return row[c]; }, ncol, k);
  }
};

inline constexpr double abandoned = -1.0;

/// Sum of the terms from the last coordinate to the first, or `abandoned` as soon as it exceeds the limit. A
/// sum that became NaN exceeds nothing, so a NaN met before the limit is returned as NaN.
template <class Rule, class Terms>
double accumulate(const Rule& rule, const Terms& terms, long ncol, double start, double limit) {
  double sum = start;
  for (long k = ncol - 1; k >= 0; --k) {
    sum = rule.add(sum, terms(k));
    if (sum > limit) return abandoned;
  }
  return sum;
}

/// The margin keeps a distance equal to the bound from being abandoned through rounding.
inline constexpr double bound_margin = 1.001;

template <class Rule>
double limit_of(const Rule& rule, double bound) {
  return rule.transform(bound) * bound_margin;
}

/// Complete or abandoned sum to distance or -1. Every NaN leaves as the same NaN: its sign would otherwise
/// depend on the operand order that the compiler chose, and would show in text files.
template <class Rule>
double distance_of(const Rule& rule, double sum) {
  if (sum != sum) return std::numeric_limits<double>::quiet_NaN();
  return sum < 0.0 ? abandoned : rule.finish(sum);
}

/// Dot product from the last coordinate to the first, with the bits of `MatFullT::dps`.
inline double dot(const double* x, const double* y, long ncol) {
  double sum = 0.0;
  for (long k = ncol - 1; k >= 0; --k) sum += x[k] * y[k];
  return sum;
}

/// Cosine distance from the three dot products; 1 with a zero row (or one whose square underflows), never
/// below 0.
inline double cosine_of(double xy, double xx, double yy) {
  if (xx == 0.0 || yy == 0.0 || xx * yy == 0.0) return 1.0;
  const double distance = 1.0 - xy / std::sqrt(xx * yy);
  if (distance != distance) return std::numeric_limits<double>::quiet_NaN();
  return distance < 0.0 ? 0.0 : distance;
}

}  // namespace qvtx::distance
