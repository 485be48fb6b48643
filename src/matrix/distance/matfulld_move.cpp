// The move of a row along the derivative of its distance to another.
//
// Every coordinate in turn changes the distance that the next one's derivative needs. Measured anew each
// time, a move would cost a distance per column; here the sum of the terms that stay as they are, taken from
// the first coordinate on before the move, is added to that of the moved ones, last to first.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "matrix/distance/curve_kernels.h"
#include "matrix/distance/derivative_rules.h"
#include "matrix/distance/distance_rules.h"
#include "matrix/distance/move_kernels.h"
#include "matrix/matfulld.h"
#include "matrix/shapes.h"

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

// As integers, so that no compiler takes the one for the other and waits for it.
bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
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

// What the derivatives for a whole exponent 3 to 7 have in common, total^(2-p), guessed from the sum alone.
template <int p>
class SteepnessGuess {
 public:
  SteepnessGuess(double sum, double total)
      : sum_(sum), inverse_(1.0 / sum), steepness_(total * total * inverse_) {}

  // (1 - z)^-e, e = 1 - 2 / p, by its series: sums change little from column to column.
  double operator()(double sum) const {
    constexpr double e = 1.0 - 2.0 / p;
    constexpr double c2 = e * (e + 1) / 2, c3 = c2 * (e + 2) / 3, c4 = c3 * (e + 3) / 4,
                     c5 = c4 * (e + 4) / 5, c6 = c5 * (e + 5) / 6, c7 = c6 * (e + 6) / 7;
    const double z = (sum_ - sum) * inverse_, z2 = z * z;
    return steepness_ *
           (((1.0 + e * z) + z2 * (c2 + c3 * z)) + (z2 * z2) * ((c4 + c5 * z) + z2 * (c6 + c7 * z)));
  }

  // Not at every column: the next ones do not wait for this one's total.
  void learn(long k, double sum, double total) {
    if (k % 4 != 0) return;
    sum_ = next_sum_;
    inverse_ = 1.0 / sum_;
    steepness_ = next_total_ * next_total_ * inverse_;
    next_sum_ = sum;
    next_total_ = total;
  }

 private:
  double sum_, inverse_, steepness_;
  double next_sum_ = sum_, next_total_ = std::sqrt(steepness_ * sum_);
};
template <>
class SteepnessGuess<4> {
 public:
  SteepnessGuess(double, double) {}
  double operator()(double sum) const { return 1.0 / std::sqrt(sum); }
  void learn(long, double, double) {}
};

// The root in the derivative takes most of the time, and the next column waits for it. So the row goes where
// a guess leads, and the root tells afterwards whether the guess was right to the bit: mostly it is, for the
// step is small beside the coordinate, and processors go on along the branch that is mostly taken.
//
// A function of its own: its frame, in that of all exponents, would slow the moves of short rows by half.
template <int p>
[[gnu::noinline]] bool move_by_guess(const OneMove& move) {
  const auto [x, y, d, a, work] = move;
  const WholePowers rule{p};
  double* const below = work;
  const double before = sums_below(rule, ModulusTerms{x, y, d, p}, below);
  SteepnessGuess<p> steepness(before, rule.finish(before));
  double settled = 0.0;
  for (long k = d - 1; k >= 0; --k) {
    const double sum = settled + below[k + 1];
    const double difference = x[k] - y[k];
    const double t = std::fabs(difference);
    double moved = x[k] - std::copysign(a * whole_power(t, p - 1) * steepness(sum), difference);
    const double total = rule.finish(sum);
    const double slope = t == 0.0 || total == 0.0 ? 0.0 : total * whole_power(t / total, p - 1);
    const double exact = x[k] - a * (difference < 0.0 ? -slope : slope);
    if (!same_bits(moved, exact)) [[unlikely]]
      moved = exact;
    steepness.learn(k, sum, total);
    x[k] = moved;
    settled = rule.add(settled, std::fabs(moved - y[k]));
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
  if (p == 3.0) return move_by_guess<3>(move);
  if (p == 4.0) return move_by_guess<4>(move);
  if (p == 5.0) return move_by_guess<5>(move);
  if (p == 6.0) return move_by_guess<6>(move);
  if (p == 7.0) return move_by_guess<7>(move);
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

}  // namespace

void MatFullD::move(long i, const MatFullD& b, long j, double a) {
  require_pair(*this, i, b, j);
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
      require_pair(*this, rows[first + r], b, j);
      places[r] = data() + rows[first + r] * ncol();
    }
    move_kernels().together({places, steps + first, count, ncol(), b.data() + j * b.ncol(), work},
                            metric.miex);
  }
}

}  // namespace qvtx
