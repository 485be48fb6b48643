#pragma once
// The derivative of half the squared distance with respect to one coordinate, in its plain form.

#include <cmath>

#include "matrix/distance/distance_rules.h"

namespace qvtx::distance {

inline double sign(double v) { return static_cast<double>(v > 0.0) - static_cast<double>(v < 0.0); }

// Largest of the terms below coordinate m, 0 without any.
template <class Terms>
double largest_below(const Terms& terms, long m) {
  double largest = 0.0;
  for (long k = 0; k < m; ++k) largest = larger(largest, terms(k));
  return largest;
}

// Derivative of half the squared distance `total` with respect to the term t of one coordinate,
// for the exponent p: total^(2-p) t^(p-1), written as total (t / total)^(p-1) so that no power leaves the
// range of double; 0 where the term or the distance is. below() is the largest term of a lower coordinate.
template <class Below>
double term_derivative(double p, double t, double total, const Below& below) {
  if (p == 0.0 || total == 0.0 || t == 0.0) return 0.0;
  if (p == 2.0) return t;
  if (p == 1.0) return total;
  if (p == 0.5) return total * std::sqrt(total / t);
  if (p >= Metric::chebyshev_from) return t == total && t > below() ? total : 0.0;
  if (p == std::floor(p)) return total * whole_power(t / total, static_cast<int>(p) - 1);
  return total * fixed_pow(t / total, p - 1.0);
}

// Partial derivatives of half_interval(n, v): where the signs differ it is v^2 / (|n| + |v|).
inline double half_interval_by_sample(double n, double v) {
  if (!(n * v < 0.0)) return sign(v);
  const double width = std::fabs(n - v);
  return sign(v) * (std::fabs(v) / width) * ((std::fabs(n) + width) / width);
}
inline double half_interval_by_neighbour(double n, double v) {
  if (!(n * v < 0.0)) return 0.0;
  const double share = v / std::fabs(n - v);
  return -sign(n) * share * share;
}

// The terms of the Minkowski class: a coordinate enters its own alone. `derivative` is that of half the
// squared distance `total`, with below(m) the largest term of a coordinate below m.
struct ModulusTerms {
  static constexpr long reach = 0;
  const double* x;
  const double* y;
  long d;
  double p;

  double operator()(long k) const { return PairModulus{x, y}(k); }
  template <class Below>
  double derivative(long k, double total, const Below& below) const {
    return term_derivative(p, (*this)(k), total, [&] { return below(k); }) * sign(x[k] - y[k]);
  }
};

// Those of the area class: a sample of the curve enters its own term and, as a neighbour, those beside it.
struct AreaTerms {
  static constexpr long reach = 1;
  const double* x;
  const double* y;
  long d;
  double p;

  double operator()(long k) const { return PairArea{x, y, d}(k); }
  template <class Below>
  double derivative(long k, double total, const Below& below) const {
    const PairCurve curve{x, y};
    const auto by_term = [&](long m) {
      return 0.5 * term_derivative(p, (*this)(m), total, [&] { return below(m); });
    };
    const double v = curve(k);
    double own = 0.0;
    double others = 0.0;
    for (const long m : {k + 1, k - 1}) {
      const bool inside = m >= 0 && m < d;
      own += half_interval_by_sample(inside ? curve(m) : 0.0, v);
      if (inside) others += by_term(m) * half_interval_by_neighbour(v, curve(m));
    }
    return -(by_term(k) * own + others);  // the curve is y - x
  }
};

// The same for the cosine distance of rows with these dot products, y_k and x_k being one coordinate of each.
inline double cosine_derivative(double xy, double xx, double yy, double x, double y) {
  if (xx * yy == 0.0) return 0.0;
  const double root = std::sqrt(xx * yy);
  return cosine_of(xy, xx, yy) * (xy / root * (x / xx) - y / root);
}

}  // namespace qvtx::distance
