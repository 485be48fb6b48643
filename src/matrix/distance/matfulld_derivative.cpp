// The derivative of the distance, and the move of a row along it.

#include <cmath>

#include "matrix/distance/distance_rules.h"
#include "matrix/distance/row_distances.h"
#include "matrix/matfulld.h"

namespace qvtx {

using namespace distance;

namespace {

void check_pair(const MatFullD& m, long i, const MatFullD& b, long j) {
  if (i < 0 || i >= m.nrow()) m.ermessage('e', 57, 1, i);
  if (m.ncol() != b.ncol()) m.ermessage('e', 57, 2, b);
  if (j < 0 || j >= b.nrow()) b.ermessage('e', 57, 3, j);
}

double sign(double v) { return static_cast<double>(v > 0.0) - static_cast<double>(v < 0.0); }

// Lowest coordinate with the largest term.
template <class Terms>
long largest_term(const Terms& terms, long d) {
  long best = 0;
  for (long k = 1; k < d; ++k)
    if (terms(k) > terms(best)) best = k;
  return best;
}

// Derivative of half the squared distance `total` with respect to the term of coordinate m,
// for the exponent p: total^(2-p) t^(p-1), written as total (t / total)^(p-1) so that no power leaves the
// range of double; 0 where the term or the distance is.
template <class Terms>
double term_derivative(double p, const Terms& terms, long d, long m, double total) {
  const double t = terms(m);
  if (p == 0.0 || total == 0.0 || t == 0.0) return 0.0;
  if (p == 2.0) return t;
  if (p == 1.0) return total;
  if (p == 0.5) return total * std::sqrt(total / t);
  if (p >= Metric::chebyshev_from) return m == largest_term(terms, d) ? total : 0.0;
  if (p == std::floor(p)) return total * whole_power(t / total, static_cast<int>(p) - 1);
  return total * fixed_pow(t / total, p - 1.0);
}

// Partial derivatives of half_interval(n, v): where the signs differ it is v^2 / (|n| + |v|).
double half_interval_by_sample(double n, double v) {
  if (!(n * v < 0.0)) return sign(v);
  const double width = std::fabs(n - v);
  return sign(v) * (std::fabs(v) / width) * ((std::fabs(n) + width) / width);
}
double half_interval_by_neighbour(double n, double v) {
  if (!(n * v < 0.0)) return 0.0;
  const double share = v / std::fabs(n - v);
  return -sign(n) * share * share;
}

// A sample of the curve enters its own term and, as a neighbour, those beside it.
double area_derivative(const Metric& metric, const double* x, const double* y, long d, long k) {
  const PairArea terms{x, y, d};
  const PairCurve curve{x, y};
  const double total = between(metric, x, y, d, no_bound);
  const double v = curve(k);
  double own = 0.0;
  double others = 0.0;
  for (const long m : {k + 1, k - 1}) {
    const bool inside = m >= 0 && m < d;
    own += half_interval_by_sample(inside ? curve(m) : 0.0, v);
    if (inside)
      others +=
          0.5 * term_derivative(metric.miex, terms, d, m, total) * half_interval_by_neighbour(v, curve(m));
  }
  return -(0.5 * term_derivative(metric.miex, terms, d, k, total) * own + others);  // the curve is y - x
}

double cosine_derivative(const double* x, const double* y, long d, long k) {
  const double xx = dot(x, x, d);
  const double yy = dot(y, y, d);
  if (xx * yy == 0.0) return 0.0;
  const double xy = dot(x, y, d);
  const double root = std::sqrt(xx * yy);
  return cosine_of(xy, xx, yy) * (xy / root * (x[k] / xx) - y[k] / root);
}

double derivative(const Metric& metric, const double* x, const double* y, long d, long k) {
  if (metric.is_cosine()) return cosine_derivative(x, y, d, k);
  if (metric.is_area()) return area_derivative(metric, x, y, d, k);
  if (metric.is_euclidean()) return x[k] - y[k];
  const double total = between(metric, x, y, d, no_bound);
  return term_derivative(metric.miex, PairModulus{x, y}, d, k, total) * sign(x[k] - y[k]);
}

}  // namespace

double MatFullD::dhssds(long i, const MatFullD& b, long j, long k) const {
  check_pair(*this, i, b, j);
  if (k < 0 || k >= ncol()) ermessage('e', 57, 4, k);
  return derivative(Metric::in_force(), data() + i * ncol(), b.data() + j * ncol(), ncol(), k);
}

void MatFullD::move(long i, const MatFullD& b, long j, double a) {
  check_pair(*this, i, b, j);
  double* x = data() + i * ncol();
  const double* y = b.data() + j * ncol();
  const Metric metric = Metric::in_force();
  if (metric.is_euclidean()) {  // the coordinates do not depend on each other
    for (long k = 0; k < ncol(); ++k) x[k] -= a * (x[k] - y[k]);
    return;
  }
  for (long k = ncol() - 1; k >= 0; --k) x[k] -= a * derivative(metric, x, y, ncol(), k);
}

}  // namespace qvtx
