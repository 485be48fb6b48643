// The derivative of the distance, and the move of a row along it.

#include <algorithm>
#include <cmath>
#include <vector>

#include "matrix/distance/distance_rules.h"
#include "matrix/distance/move_kernels.h"
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
double cosine_derivative(double xy, double xx, double yy, double x, double y) {
  if (xx * yy == 0.0) return 0.0;
  const double root = std::sqrt(xx * yy);
  return cosine_of(xy, xx, yy) * (xy / root * (x / xx) - y / root);
}

double derivative(const Metric& metric, const double* x, const double* y, long d, long k) {
  if (metric.is_cosine()) return cosine_derivative(dot(x, y, d), dot(x, x, d), dot(y, y, d), x[k], y[k]);
  if (metric.is_euclidean()) return x[k] - y[k];
  const double total = between(metric, x, y, d, no_bound);
  const auto of = [=](const auto& terms) {
    return terms.derivative(k, total, [&](long m) { return largest_below(terms, m); });
  };
  return metric.is_area() ? of(AreaTerms{x, y, d, metric.miex}) : of(ModulusTerms{x, y, d, metric.miex});
}

// ---- The move ----
// Every coordinate in turn changes the distance that the next one's derivative needs. Measured anew each
// time, a move would cost a distance per column; here the sum of the terms that stay as they are, taken from
// the first coordinate on before the move, is added to that of the moved ones.

// Two sums together.
template <class Rule>
double joined(const Rule&, double s, double t) {
  return s + t;
}
double joined(const Largest&, double s, double t) { return larger(s, t); }
double joined(const Smallest&, double s, double t) { return smaller(s, t); }

// What the terms 0 .. d - 1 add to a sum.
template <class Rule, class Terms>
void addends(const Rule& rule, const Terms& terms, long d, double* out) {
  for (long k = 0; k < d; ++k) out[k] = rule.add(0.0, terms(k));
}
template <class Terms>
void addends(const Powers& rule, const Terms& terms, long d, double* out) {
  for (long k = 0; k < d; ++k) out[k] = terms(k);
  power_kernels().powers(out, d, rule.p);
}

// below[k] for k = 0 .. d: the sum of the terms before k. Returns that of all as the distance takes it.
template <class Rule, class Terms>
double sums_below(const Rule& rule, const Terms& terms, long d, double* below) {
  below[0] = 0.0;
  addends(rule, terms, d, below + 1);
  double sum = 0.0;
  for (long k = d; k > 0; --k) sum = joined(rule, sum, below[k]);
  for (long k = 1; k <= d; ++k) below[k] = joined(rule, below[k - 1], below[k]);
  return sum;
}

// Moves x, the row of the terms, and tells whether it came nearer; gives up as soon as it cannot any more. A
// term is settled when no coordinate that it depends on is still to move.
template <class Rule, class Terms>
bool move_by_terms(const Rule& rule, const Terms& terms, double* x, double a, double* below) {
  const long d = terms.d, reach = Terms::reach;
  const double before = sums_below(rule, terms, d, below);
  double settled = 0.0;
  for (long k = d - 1; k >= -reach; --k) {
    if (k >= 0) {
      double sum = settled;
      for (long m = std::min(k + reach, d - 1); m > k - reach; --m) sum = rule.add(sum, terms(m));
      const double total = rule.finish(joined(rule, sum, below[k + 1 - reach]));
      x[k] -= a * terms.derivative(k, total, [=](long m) {  // asked for the largest term alone
        return m <= k ? below[m] : larger(below[k], terms(k));
      });
    }
    if (k + reach < d) settled = rule.add(settled, terms(k + reach));
    if (!(settled < before)) return false;
  }
  return true;
}

bool move_by_cosine(double* x, const double* y, long d, double a, double* below_xx, double* below_xy) {
  const double yy = dot(y, y, d);
  const double before = cosine_of(dot(x, y, d), dot(x, x, d), yy);
  below_xx[0] = below_xy[0] = 0.0;
  for (long k = 0; k < d; ++k) {
    below_xx[k + 1] = below_xx[k] + x[k] * x[k];
    below_xy[k + 1] = below_xy[k] + x[k] * y[k];
  }
  double xx = 0.0;
  double xy = 0.0;
  for (long k = d - 1; k >= 0; --k) {
    x[k] -= a * cosine_derivative(xy + below_xy[k + 1], xx + below_xx[k + 1], yy, x[k], y[k]);
    xx += x[k] * x[k];
    xy += x[k] * y[k];
  }
  return cosine_of(xy, xx, yy) < before;
}

void move_straight(double* x, const double* y, long d, double a) {
  for (long k = 0; k < d; ++k) x[k] -= a * (x[k] - y[k]);
}

// Room for the move of rows of d columns, kept: online methods move once per datum and prototype.
double* working_room(long d) {
  static thread_local std::vector<double> memory;
  const auto room = static_cast<std::size_t>(move_work(d));
  if (memory.size() < room) memory.resize(room);
  return memory.data();
}

// The move of another metric than the Euclidean one.
void move_nearer(const Metric& metric, double* x, const double* y, long d, double a) {
  const long room = d + 1;
  double* const old = working_room(d);
  double* const below = old + room;
  std::copy(x, x + d, old);
  const auto by_terms = [&](const auto& terms) {
    return with_rule(metric.miex, [&](const auto& rule) { return move_by_terms(rule, terms, x, a, below); });
  };
  const double p = metric.miex;
  const bool nearer = metric.is_cosine() ? move_by_cosine(x, y, d, a, below, below + room)
                      : metric.is_area() ? by_terms(AreaTerms{x, y, d, p})
                                         : by_terms(ModulusTerms{x, y, d, p});
  if (nearer) return;
  std::copy(old, old + d, x);
  move_straight(x, y, d, a);
}

// Fewer rows move as fast one after the other.
constexpr long least_together = 2;

// The kernel that moves rows together, or null where they move one after the other.
MoveKernels::Move moves_together(const Metric& metric) {
  const double p = metric.miex;
  if (!metric.has_plain_terms() || metric.is_euclidean()) return nullptr;
  if (metric.is_whole_power()) return move_kernels().powers[static_cast<int>(p) - 3];
  return p == 1.0 ? move_kernels().moduli : move_kernels().largest;
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
  if (metric.is_euclidean()) return move_straight(x, y, ncol(), a);  // its derivative is the difference
  move_nearer(metric, x, y, ncol(), a);
}

void MatFullD::move(const long* rows, const double* steps, long n, const MatFullD& b, long j) {
  const MoveKernels::Move together = moves_together(Metric::in_force());
  if (together == nullptr || n < least_together) {
    for (long r = 0; r < n; ++r) move(rows[r], b, j, steps[r]);
    return;
  }
  double* const work = working_room(ncol());
  constexpr long most = 32;
  double* places[most];
  for (long first = 0; first < n; first += most) {
    const long count = std::min(most, n - first);
    for (long r = 0; r < count; ++r) {
      check_pair(*this, rows[first + r], b, j);
      places[r] = data() + rows[first + r] * ncol();
    }
    together({places, steps + first, count, ncol(), b.data() + j * b.ncol(), work});
  }
}

}  // namespace qvtx
