// The move of a row in the area class. A sample of the difference curve enters the terms of three
// coordinates, its own and, where the curve crosses zero in between, those beside it; what two samples have
// in common is computed once. Signs of the curve change at random, so that nothing branches on them.

#include "matrix/distance/curve_kernels.h"

#include "base/elementary.h"
#include "base/power_kernels.h"
#include "base/vector_lanes.h"
#include "matrix/distance/whole_power_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

// Both neighbours of a sample, or both halves of an interval.
typedef double Two __attribute__((vector_size(16)));

template <class T>
inline T modulus(T v) {
  typedef long long SameBits __attribute__((vector_size(sizeof(T))));
  return (T)((SameBits)v & (SameBits{} + 0x7fffffffffffffffLL));
}

inline double sign(double v) { return v > 0.0 ? 1.0 : v < 0.0 ? -1.0 : 0.0; }
inline double larger(double s, double t) { return t > s ? t : s; }

template <class T>
inline T half_interval(T n, T v) {
  const T crossed = v * v / modulus(n - v);
  return n * v < T{} ? crossed : modulus(v);
}

// The same for two samples that are neighbours, each for the other.
inline Two half_intervals(double u, double w) {
  if (u * w < 0.0) return half_interval(Two{w, u}, Two{u, w});
  return modulus(Two{u, w});
}

// The partial derivatives of half_interval(n, v), of its sample v and of its neighbour n.
inline double by_sample(double n, double v) {
  if (!(n * v < 0.0)) return sign(v);
  const double width = __builtin_fabs(n - v);
  return sign(v) * (__builtin_fabs(v) / width) * ((__builtin_fabs(n) + width) / width);
}
inline double by_neighbour(double n, double v) {
  if (!(n * v < 0.0)) return 0.0;
  const double share = v / __builtin_fabs(n - v);
  return -sign(n) * share * share;
}

constexpr int near = 3;  // terms that a sample enters: above, own, below

// `addends`: what terms add to a sum, in place. `derivatives`: those of half the squared distance `total`
// with respect to three terms, in place; below: the largest term before each.
struct Moduli {
  static double joined(double s, double t) { return s + t; }
  void addends(double*, long) const {}
  static double finish(double s) { return s; }
  static double derivative(double, double total, double) { return total; }
};
struct Squares {
  static double joined(double s, double t) { return s + t; }
  void addends(double* t, long n) const {
    for (long k = 0; k < n; ++k) t[k] *= t[k];
  }
  static double finish(double s) { return __builtin_sqrt(s); }
  static double derivative(double t, double, double) { return t; }
};
struct Roots {
  static double joined(double s, double t) { return s + t; }
  void addends(double* t, long n) const {
    for (long k = 0; k < n; ++k) t[k] = __builtin_sqrt(t[k]);
  }
  static double finish(double s) { return s * s; }
  static double derivative(double t, double total, double) { return total * __builtin_sqrt(total / t); }
};
template <int p>
struct WholePowers {
  static double joined(double s, double t) { return s + t; }
  void addends(double* t, long n) const {
    for (long k = 0; k < n; ++k) t[k] = whole_power<p>(t[k]);
  }
  static double finish(double s) { return fixed_pow(s, 1.0 / p); }
  static double derivative(double t, double total, double) { return total * whole_power<p - 1>(t / total); }
};
struct Largest {
  static double joined(double s, double t) { return larger(s, t); }
  void addends(double* t, long n) const {
    for (long k = 0; k < n; ++k) t[k] = larger(0.0, t[k]);
  }
  static double finish(double s) { return s; }
  static double derivative(double t, double total, double below) {
    return __builtin_expect(t == total && t > below, 0) ? total : 0.0;
  }
};
struct Powers {
  double p;
  static double joined(double s, double t) { return s + t; }
  void addends(double* t, long n) const { power_kernels.powers(t, n, p); }
  double finish(double s) const { return fixed_pow(s, 1.0 / p); }
};

template <class Rule>
inline void derivatives(const Rule&, double total, const double (&below)[near], double (&t)[near]) {
  // To branch on the total, which is rarely 0, keeps it out of the chain where a derivative does not need it.
  const bool flat = __builtin_expect(total == 0.0, 0);
  for (int i = 0; i < near; ++i) {
    double slope = 0.0;
    if (!flat) slope = Rule::derivative(t[i], total, below[i]);
    t[i] = t[i] == 0.0 ? 0.0 : slope;
  }
}
inline void derivatives(const Powers& rule, double total, const double (&)[near], double (&t)[near]) {
  double share[near];
  for (int i = 0; i < near; ++i) share[i] = total == 0.0 ? 0.0 : t[i] / total;
  power_kernels.powers(share, near, rule.p - 1.0);
  for (int i = 0; i < near; ++i) t[i] = total == 0.0 || t[i] == 0.0 ? 0.0 : total * share[i];
}

inline bool all_flat(const double (&by_term)[near]) {
  return by_term[0] == 0.0 && by_term[1] == 0.0 && by_term[2] == 0.0;
}
/// Not so large that 0 times a share of it could be NaN.
inline bool sized(double v) { return __builtin_fabs(v) < 0x1p+1000; }

template <class Rule>
class CurveMove {
 public:
  CurveMove(const OneMove& move, const Rule& rule)
      : move_(move),
        rule_(rule),
        curve_(move.work + 1),
        lower_(curve_ + move.d + margin),
        terms_(lower_ + move.d + margin),
        below_(terms_ + move.d + margin) {}

  bool move() {
    measure();
    const double before = sum_below();
    // Of the term above the sample k: its upper half interval. It is complete when k has moved.
    double upper = 0.0;
    double complete = 0.0;
    double settled = 0.0;
    for (long k = move_.d - 1; k >= 0; --k) {
      const Two halves = half_intervals(curve_[k], curve_[k + 1]);
      double t[near] = {0.5 * (upper + halves[1]), 0.5 * (halves[0] + lower_[k]), complete};
      const double above = t[0], own = t[1];
      rule_.addends(t, near);
      settled = Rule::joined(settled, t[2]);
      if (!(settled < before)) return false;
      const double sum = Rule::joined(Rule::joined(settled, t[0]), t[1]);
      move_sample(k, rule_.finish(Rule::joined(sum, below_[k])), above, own);
      const Two moved = half_intervals(curve_[k], curve_[k + 1]);
      complete = 0.5 * (upper + moved[1]);
      upper = moved[0];
    }
    double t[2] = {complete, 0.5 * (upper + __builtin_fabs(curve_[0]))};
    rule_.addends(t, 2);
    return Rule::joined(Rule::joined(settled, t[0]), t[1]) < before;
  }

 private:
  static constexpr long margin = lanes + 2;  // the curve is 0 beyond its ends

  // The curve, its terms and the half intervals towards lower columns. No term is before the first.
  void measure() {
    const long d = move_.d;
    curve_[-1] = 0.0;
    for (long k = 0; k < d; ++k) curve_[k] = move_.y[k] - move_.x[k];
    for (long k = d; k <= d + lanes; ++k) curve_[k] = 0.0;
    for (long k = 0; k < d; k += lanes) {
      const Vec v = load(curve_ + k), lower = half_interval(load(curve_ + k - 1), v);
      store(lower_ + k, lower);
      store(terms_ + k, 0.5 * (half_interval(load(curve_ + k + 1), v) + lower));
    }
    terms_[-1] = 0.0;
  }

  // below_[k] for k = 0 .. d: what the terms before k add up to. Returns all, as the distance takes them.
  double sum_below() {
    const long d = move_.d;
    double* const own = below_ + 1;
    for (long k = 0; k < d; ++k) own[k] = terms_[k];
    rule_.addends(own, d);
    double sum = 0.0;
    for (long k = d - 1; k >= 0; --k) sum = Rule::joined(sum, own[k]);
    below_[-1] = below_[0] = 0.0;
    for (long k = 0; k < d; ++k) own[k] = Rule::joined(below_[k], own[k]);
    return sum;
  }

  // Sample k by the derivative for the distance `total`, where the terms of k + 1 and k are `above` and
  // `own`.
  void move_sample(long k, double total, double above, double own) {
    double by_term[near] = {above, own, terms_[k - 1]};
    derivatives(rule_, total, {larger(below_[k], own), below_[k], below_[k - 1]}, by_term);
    const double v = curve_[k], above_v = curve_[k + 1], below_v = curve_[k - 1];
    if (all_flat(by_term) && sized(v) && sized(above_v) && sized(below_v)) {
      move_.x[k] += 0.0;  // a step of 0 takes the sign from -0, no more
      return;
    }
    const double by_own = 0.0 + by_sample(above_v, v) + by_sample(below_v, v);
    const double by_others =
        0.0 + (0.5 * by_term[0]) * by_neighbour(v, above_v) + (0.5 * by_term[2]) * by_neighbour(v, below_v);
    move_.x[k] -= move_.a * -((0.5 * by_term[1]) * by_own + by_others);
    curve_[k] = move_.y[k] - move_.x[k];
  }

  const OneMove move_;
  const Rule rule_;
  double* const curve_;  // -1 ... d + lanes
  double* const lower_;
  double* const terms_;  // -1 ... d - 1
  double* const below_;  // -1 ... d
};

template <class Rule>
bool move_by(const Rule& rule, const OneMove& move) {
  return CurveMove<Rule>(move, rule).move();
}

bool move_curve(const OneMove& move, double p) {
  if (p == 2.0) return move_by(Squares{}, move);
  if (p == 1.0) return move_by(Moduli{}, move);
  if (p == 0.5) return move_by(Roots{}, move);
  if (p >= 8.0) return move_by(Largest{}, move);
  if (p == 3.0) return move_by(WholePowers<3>{}, move);
  if (p == 4.0) return move_by(WholePowers<4>{}, move);
  if (p == 5.0) return move_by(WholePowers<5>{}, move);
  if (p == 6.0) return move_by(WholePowers<6>{}, move);
  if (p == 7.0) return move_by(WholePowers<7>{}, move);
  return move_by(Powers{p}, move);
}

}  // namespace

const CurveKernels curve_kernels = {move_curve};

}  // namespace qvtx::QVTX_ISA
