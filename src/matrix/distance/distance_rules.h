#pragma once
// The distances in their plain form: how one coordinate's term enters the sum for each exponent, the terms of
// the Minkowski and the area class, and the loop with early abandoning. This is the definition that every
// kernel is compared with.

#include <cmath>
#include <limits>
#include <type_traits>

#include "base/elementary.h"
#include "base/power_kernels.h"
#include "matrix/distance/distance_kernels.h"
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
/// t^p for p = 1 ... 7, by the binary digits of p: (t^1 t^2) t^4 of those it has.
inline double whole_power(double t, int p) {
  const double square = t * t;
  return ((p & 1) != 0 ? t : 1.0) * ((p & 2) != 0 ? square : 1.0) * ((p & 4) != 0 ? square * square : 1.0);
}
struct WholePowers {  // p = 3 ... 7
  int p;
  double add(double s, double t) const { return s + whole_power(t, p); }
  double transform(double bound) const { return whole_power(bound, p); }
  double finish(double s) const { return fixed_pow(s, 1.0 / p); }
};
struct Powers {  // every other p
  double p;
  double add(double s, double t) const { return s + fixed_pow(t, p); }
  double transform(double bound) const { return fixed_pow(bound, p); }
  double finish(double s) const { return fixed_pow(s, 1.0 / p); }
};

/// Calls use(rule) with the rule of the exponent p and returns its result.
template <class Use>
auto with_rule(double p, Use use) {
  if (p == 2.0) return use(Squares{});
  if (p == 1.0) return use(Moduli{});
  if (p == 0.5) return use(Roots{});
  if (p == 0.0) return use(Smallest{});
  if (p >= Metric::chebyshev_from) return use(Largest{});
  if (p == std::floor(p)) return use(WholePowers{static_cast<int>(p)});
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

/// The same for other powers, which are faster several at a time.
template <class Terms>
double accumulate(const Powers& rule, const Terms& terms, long ncol, double start, double limit) {
  constexpr long most = 16;
  double block[most];
  double sum = start;
  for (long first = ncol; first > 0;) {
    const long count = first < most ? first : most;
    first -= count;
    for (long k = 0; k < count; ++k) block[k] = terms(first + k);
    power_kernels().powers(block, count, rule.p);
    for (long k = count - 1; k >= 0; --k) {
      sum += block[k];
      if (sum > limit) return abandoned;
    }
  }
  return sum;
}

/// The sums of many rows for such a power, the terms of several short rows at a time. terms_of(i) gives the
/// terms of row i; the rows are asked for downward.
template <class TermsOf>
class PowerSums {
 public:
  PowerSums(const Powers& rule, const TermsOf& terms_of, long ncol)
      : rule_(rule), terms_of_(terms_of), ncol_(ncol), at_once_(ncol <= longest ? room / ncol : 0) {}

  /// What `accumulate` gives for row i.
  double operator()(long i, double limit) {
    if (at_once_ == 0) return accumulate(rule_, terms_of_(i), ncol_, 0.0, limit);
    if (i < first_ || i >= end_) fill(i);
    const double* powers = powers_ + (i - first_) * ncol_;
    double sum = 0.0;
    for (long k = ncol_ - 1; k >= 0; --k) {
      sum += powers[k];
      if (sum > limit) return abandoned;
    }
    return sum;
  }

 private:
  static constexpr long longest = 16;
  static constexpr long room = 128;

  void fill(long last) {
    first_ = last + 1 < at_once_ ? 0 : last + 1 - at_once_;
    end_ = last + 1;
    for (long i = first_; i < end_; ++i) {
      const auto terms = terms_of_(i);
      for (long k = 0; k < ncol_; ++k) powers_[(i - first_) * ncol_ + k] = terms(k);
    }
    power_kernels().powers(powers_, (end_ - first_) * ncol_, rule_.p);
  }

  Powers rule_;
  TermsOf terms_of_;
  long ncol_;
  long at_once_;  // rows, 0 when they are long
  long first_ = 0;
  long end_ = 0;
  double powers_[room];
};

/// sum_of(i, limit): the sum of the terms of row i by the rule, or `abandoned`. To be asked for downward.
template <class Rule, class TermsOf>
auto row_sums(const Rule& rule, const TermsOf& terms_of, long ncol) {
  return [=](long i, double limit) { return accumulate(rule, terms_of(i), ncol, 0.0, limit); };
}
template <class TermsOf>
auto row_sums(const Powers& rule, const TermsOf& terms_of, long ncol) {
  return PowerSums<TermsOf>(rule, terms_of, ncol);
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

/// Whether a rule's root is a power, which is faster several at a time.
template <class Rule>
inline constexpr bool has_power_root = std::is_same_v<Rule, Powers> || std::is_same_v<Rule, WholePowers>;

/// Sums to distances, in place.
template <class Rule>
void finish_rows(const Rule& rule, double* sums, long n) {
  for (long i = n - 1; i >= 0; --i) sums[i] = distance_of(rule, sums[i]);
}
template <class Rule>
requires has_power_root<Rule>
void finish_rows(const Rule& rule, double* sums, long n) {
  constexpr long most = 64;
  double roots[most];
  for (long first = 0; first < n; first += most) {
    const long count = n - first < most ? n - first : most;
    for (long i = 0; i < count; ++i) roots[i] = larger(0.0, sums[first + i]);
    power_kernels().powers(roots, count, 1.0 / rule.p);
    for (long i = 0; i < count; ++i) {
      double& sum = sums[first + i];
      sum = sum >= 0.0 ? roots[i] : distance_of(rule, sum);
    }
  }
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
