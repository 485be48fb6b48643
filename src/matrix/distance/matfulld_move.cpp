// The move of a row along the derivative of its distance to another.
//
// Every coordinate in turn changes the distance that the next one's derivative needs. Measured anew each
// time, a move would cost a distance per column; here the sum of the terms that stay as they are, taken from
// the first coordinate on before the move, is added to that of the moved ones, last to first.

#include <algorithm>
#include <cmath>
#include <vector>

#include "matrix/distance/curve_kernels.h"
#include "matrix/distance/derivative_rules.h"
#include "matrix/distance/distance_rules.h"
#include "matrix/distance/move_kernels.h"
#include "matrix/matfulld.h"

namespace qvtx {

using namespace distance;

namespace {

// What the terms 0 .. d - 1 add to a sum.
template <class Rule>
void addends(const Rule& rule, const ModulusTerms& terms, double* out) {
  for (long k = 0; k < terms.d; ++k) out[k] = rule.add(0.0, terms(k));
}
void addends(const Powers& rule, const ModulusTerms& terms, double* out) {
  for (long k = 0; k < terms.d; ++k) out[k] = terms(k);
  power_kernels().powers(out, terms.d, rule.p);
}

// below[k] for k = 0 .. d: the sum of the terms before k. Returns that of all as the distance takes it.
template <class Rule>
double sums_below(const Rule& rule, const ModulusTerms& terms, double* below) {
  const long d = terms.d;
  below[0] = 0.0;
  addends(rule, terms, below + 1);
  double sum = 0.0;
  for (long k = d; k > 0; --k) sum += below[k];
  for (long k = 1; k <= d; ++k) below[k] += below[k - 1];
  return sum;
}

double none_below(long) { return 0.0; }  // asked for by the exponents from 8 on alone

// Moves x and tells whether it came nearer; gives up as soon as it cannot any more.
template <class Rule>
bool move_by_terms(const Rule& rule, double p, const OneMove& move) {
  const ModulusTerms terms{move.x, move.y, move.d, p};
  double* const below = move.work;
  const double before = sums_below(rule, terms, below);
  double settled = 0.0;
  for (long k = move.d - 1; k >= 0; --k) {
    const double total = rule.finish(settled + below[k + 1]);
    move.x[k] -= move.a * terms.derivative(k, total, none_below);
    settled = rule.add(settled, terms(k));
    if (!(settled < before)) return false;
  }
  return true;
}

// For p = 1 the derivative is the whole distance, in many columns far more than a coordinate's own
// difference, so that many a move leads away. That is known after a few columns. Of those m < k that are
// left, each that moves at all (t_m > 0) ends at least a total_m - t_m away, and total_m is at least
// settled_k + below_{m+1}. Rounding: a coordinate errs by less than 2^-52 |x_m|, of which four times as much
// is allowed for, everything else by less than 2^-20 of the sums in up to 2^28 columns. Sums out of range are
// measured to the end.
bool move_by_moduli(const OneMove& move) {
  const auto [x, y, d, a, work] = move;
  const PairModulus term{x, y};
  double* const below = work;
  double* const moving = below + d + 1;  // of the coordinates m < k
  double* const least = moving + d;      // what they are away for certain, but for the share of settled_k
  double before = 0.0, sum = 0.0, count = 0.0, away = 0.0;
  for (long k = 0; k < d; ++k) {
    before += term(d - 1 - k);
    const double t = term(k);
    moving[k] = count;
    least[k] = away;
    below[k + 1] = sum += t;
    count += t > 0.0 ? a : 0.0;
    away += t > 0.0 ? a * sum - (t + 0x1p-50 * std::fabs(x[k])) : 0.0;
  }
  const double too_far = before < 0x1p+900 ? before * (1.0 + 0x1p-20) : no_bound;
  double settled = 0.0;
  for (long k = d - 1; k >= 0; --k) {
    const double difference = x[k] - y[k];
    if (difference != 0.0) x[k] -= a * std::copysign(settled + below[k + 1], difference);
    settled += term(k);
    if (!(settled < before)) return false;
    if (settled + (moving[k] * settled + least[k]) > too_far) return false;
  }
  return true;
}

bool move_by_cosine(const OneMove& move) {
  const long d = move.d;
  double* const x = move.x;
  const double* const y = move.y;
  double* const below_xx = move.work;
  double* const below_xy = below_xx + d + 1;
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
    x[k] -= move.a * cosine_derivative(xy + below_xy[k + 1], xx + below_xx[k + 1], yy, x[k], y[k]);
    xx += x[k] * x[k];
    xy += x[k] * y[k];
  }
  return cosine_of(xy, xx, yy) < before;
}

bool move_by_modulus(double p, const OneMove& move) {
  if (p == 1.0) return move_by_moduli(move);
  if (p == 0.5) return move_by_terms(Roots{}, p, move);
  if (p >= Metric::chebyshev_from) return move_kernels().largest_alone(move);
  if (p == std::floor(p)) return move_by_terms(WholePowers{static_cast<int>(p)}, p, move);
  return move_by_terms(Powers{p}, p, move);
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

// The move of another metric than the Euclidean one. With p = 0 nothing has a slope.
void move_nearer(const Metric& metric, double* x, const double* y, long d, double a) {
  double* const old = working_room(d);
  std::copy(x, x + d, old);
  const OneMove move{x, y, d, a, old + d};
  const bool nearer = metric.is_cosine()   ? move_by_cosine(move)
                      : metric.miex == 0.0 ? false
                      : metric.is_area()   ? curve_kernels().move(move, metric.miex)
                                           : move_by_modulus(metric.miex, move);
  if (nearer) return;
  std::copy(old, old + d, x);
  move_straight(x, y, d, a);
}

// Whether rows move together, several in a vector; fewer move as fast one after the other.
bool moves_together(const Metric& metric, long n) {
  return n >= 2 && metric.is_minkowski() && metric.miex > 0.0 && !metric.is_euclidean();
}

void check_pair(const MatFullD& m, long i, const MatFullD& b, long j) {
  if (i < 0 || i >= m.nrow()) m.ermessage('e', 57, 1, i);
  if (m.ncol() != b.ncol()) m.ermessage('e', 57, 2, b);
  if (j < 0 || j >= b.nrow()) b.ermessage('e', 57, 3, j);
}

}  // namespace

void MatFullD::move(long i, const MatFullD& b, long j, double a) {
  check_pair(*this, i, b, j);
  double* x = data() + i * ncol();
  const double* y = b.data() + j * ncol();
  const Metric metric = Metric::in_force();
  if (metric.is_euclidean()) return move_straight(x, y, ncol(), a);  // its derivative is the difference
  move_nearer(metric, x, y, ncol(), a);
}

void MatFullD::move(const long* rows, const double* steps, long n, const MatFullD& b, long j) {
  const Metric metric = Metric::in_force();
  if (!moves_together(metric, n)) {
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
    move_kernels().together({places, steps + first, count, ncol(), b.data() + j * b.ncol(), work},
                            metric.miex);
  }
}

}  // namespace qvtx
