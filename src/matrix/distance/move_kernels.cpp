// Moves along the derivative of the distance. The coordinates of a row move one after the other, as each
// changes the distance that the next one's derivative needs; so the rows lie side by side, in lanes. The
// plain form, which says what is computed and why, is in matfulld_derivative.cpp.

#include "matrix/distance/move_kernels.h"

#include "base/power_kernels.h"
#include "base/vector_lanes.h"
#include "matrix/distance/whole_power_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int most_parts = 4;  // vectors side by side
static_assert(most_parts * lanes <= 32, "move_work");

inline Vec modulus(Vec v) { return (Vec)((Bits)v & (Bits{} + 0x7fffffffffffffffLL)); }

/// The value where a term and the total distance have one, else 0.
inline Vec where_sloped(Vec t, Vec total, Vec value) {
  const Bits flat = (t == Vec{}) | (total == Vec{});
  return flat ? Vec{} : value;
}

// `joined` adds a term to a sum, and a sum to a sum; `derivative` is that of half the squared distance with
// respect to the term t, `below` being what the coordinates before it add up to. Rules whose distance is a
// power of the sum have the exponent p; those that need powers for terms and derivatives, too, leave them to
// the group.
struct Moduli {
  static Vec term(Vec t) { return t; }
  static Vec joined(Vec s, Vec t) { return s + t; }
  static Vec derivative(Vec t, Vec total, Vec) { return where_sloped(t, total, total); }
};
struct Roots {
  static Vec term(Vec t) { return root(t); }
  static Vec joined(Vec s, Vec t) { return s + t; }
  static Vec finish(Vec s) { return s * s; }
  static Vec derivative(Vec t, Vec total, Vec) { return where_sloped(t, total, total * root(total / t)); }
};
template <int whole>
struct Powers {
  static constexpr double p = whole;
  static Vec term(Vec t) { return whole_power<whole>(t); }
  static Vec joined(Vec s, Vec t) { return s + t; }
  static Vec derivative(Vec t, Vec total, Vec) {
    return where_sloped(t, total, total * whole_power<whole - 1>(t / total));
  }
};
struct AnyPowers {
  double p;
  static Vec joined(Vec s, Vec t) { return s + t; }
};
struct Largest {
  static Vec term(Vec t) { return t > Vec{} ? t : Vec{}; }  // a NaN is passed over
  static Vec joined(Vec s, Vec t) { return t > s ? t : s; }
  static Vec derivative(Vec t, Vec total, Vec below) {
    const Bits sole = (t == total) & (t > below);
    return where_sloped(t, total, sole ? total : Vec{});
  }
};

template <class Rule>
constexpr bool has_power = requires(Rule rule) {
  rule.p;
};
template <class Rule>
constexpr bool has_terms = requires {
  &Rule::term;
};

/// Up to `width` rows, coordinate by coordinate.
template <class Rule, int parts>
class Group {
 public:
  static constexpr int width = parts * lanes;

  Group(const RowMoves& moves, const Rule& rule, long first)
      : rule_(rule),
        rows_(moves.rows + first),
        steps_(moves.steps + first),
        count_(moves.n - first < width ? moves.n - first : width),
        d_(moves.d),
        to_(moves.to),
        column_(moves.work),
        below_(moves.work + d_ * width) {}

  void move() {
    gather();
    sum_below();
    move_columns();
    scatter();
  }

 private:
  // Lanes without a row repeat the last one.
  void gather() {
    for (long l = 0; l < width; ++l) {
      const double* row = rows_[l < count_ ? l : count_ - 1];
      for (long k = 0; k < d_; ++k) column_[k * width + l] = row[k];
    }
  }

  // Row k of below_: what the terms before k add up to; before_: all, as the distance takes them.
  void sum_below() {
    for (long k = 0; k < d_; ++k)
      for (int i = 0; i < parts; ++i) {
        Vec t = modulus(load(column_ + k * width + i * lanes) - broadcast(to_[k]));
        if constexpr (has_terms<Rule>) t = Rule::term(t);
        store(below_ + (k + 1) * width + i * lanes, t);
      }
    if constexpr (!has_terms<Rule>) power_kernels.powers(below_ + width, d_ * width, rule_.p);
    for (int i = 0; i < parts; ++i) {
      Vec sum = {};
      for (long k = d_; k > 0; --k) sum = Rule::joined(sum, load(below_ + k * width + i * lanes));
      before_[i] = sum;
      sum = Vec{};
      store(below_ + i * lanes, sum);
      for (long k = 1; k <= d_; ++k) {
        double* place = below_ + k * width + i * lanes;
        sum = Rule::joined(sum, load(place));
        store(place, sum);
      }
    }
  }

  // Until no row can come nearer any more.
  void move_columns() {
    double steps[width];
    for (long l = 0; l < width; ++l) steps[l] = steps_[l < count_ ? l : count_ - 1];
    Vec step[parts];
    for (int i = 0; i < parts; ++i) {
      step[i] = load(steps + i * lanes);
      settled_[i] = Vec{};
      nearer_[i] = Bits{} - 1;
    }
    for (long k = d_ - 1; k >= 0; --k) {
      move_column(k, step);
      Bits left = {};
      for (int i = 0; i < parts; ++i) left |= nearer_[i];
      if (!any(left)) return;
    }
  }

  void move_column(long k, const Vec (&step)[parts]) {
    const Vec to = broadcast(to_[k]);
    double* column = column_ + k * width;
    const double* below = below_ + k * width;
    Vec x[parts], total[parts];
    Bits apart = {};
    for (int i = 0; i < parts; ++i) {
      x[i] = load(column + i * lanes);
      apart |= x[i] != to;
      total[i] = Rule::joined(settled_[i], load(below + width + i * lanes));
    }
    if (any(apart)) finish(total);
    Vec slope[parts], left[parts];
    for (int i = 0; i < parts; ++i) slope[i] = modulus(x[i] - to);
    derive(slope, total, below);
    for (int i = 0; i < parts; ++i) {
      x[i] -= step[i] * (x[i] - to < Vec{} ? -slope[i] : slope[i]);
      store(column + i * lanes, x[i]);
      left[i] = modulus(x[i] - to);
    }
    if constexpr (!has_terms<Rule>) raise(left, rule_.p);
    for (int i = 0; i < parts; ++i) {
      if constexpr (has_terms<Rule>) left[i] = Rule::term(left[i]);
      settled_[i] = Rule::joined(settled_[i], left[i]);
      nearer_[i] &= settled_[i] < before_[i];
    }
  }

  // Sums to distances.
  void finish(Vec (&total)[parts]) const {
    if constexpr (has_power<Rule>) raise(total, 1.0 / rule_.p);
    if constexpr (requires { &Rule::finish; })
      for (Vec& v : total) v = Rule::finish(v);
  }

  // Terms to derivatives.
  void derive(Vec (&t)[parts], const Vec (&total)[parts], const double* below) const {
    if constexpr (has_terms<Rule>) {
      for (int i = 0; i < parts; ++i) t[i] = Rule::derivative(t[i], total[i], load(below + i * lanes));
    } else {
      Vec share[parts];
      for (int i = 0; i < parts; ++i) share[i] = where_sloped(t[i], total[i], t[i] / total[i]);
      raise(share, rule_.p - 1.0);
      for (int i = 0; i < parts; ++i) t[i] = where_sloped(t[i], total[i], total[i] * share[i]);
    }
  }

  // Numbers to powers. Rows that are given up may have run far away: a 1 in their place needs no care. A 0 in
  // the place of a flat term's share meets no use of its power.
  void raise(Vec (&v)[parts], double y) const {
    double numbers[width];
    for (int i = 0; i < parts; ++i) store(numbers + i * lanes, nearer_[i] ? v[i] : broadcast(1.0));
    power_kernels.powers(numbers, width, y);
    for (int i = 0; i < parts; ++i) v[i] = load(numbers + i * lanes);
  }

  void scatter() const {
    for (long l = 0; l < count_; ++l) {
      double* row = rows_[l];
      if (nearer_[l / lanes][l % lanes] != 0) {
        for (long k = 0; k < d_; ++k) row[k] = column_[k * width + l];
      } else {
        for (long k = 0; k < d_; ++k) row[k] -= steps_[l] * (row[k] - to_[k]);
      }
    }
  }

  const Rule rule_;
  double* const* const rows_;
  const double* const steps_;
  const long count_;
  const long d_;
  const double* const to_;
  double* const column_;  // d x width: the rows as they move
  double* const below_;   // (d + 1) x width
  Vec before_[parts], settled_[parts];
  Bits nearer_[parts];
};

template <class Rule, int parts = most_parts>
void move(const RowMoves& moves, const Rule& rule, long first) {
  if constexpr (parts > 1)
    if (moves.n - first <= (parts - 1) * lanes) return move<Rule, parts - 1>(moves, rule, first);
  Group<Rule, parts>(moves, rule, first).move();
}

template <class Rule>
void move_all(const RowMoves& moves, const Rule& rule) {
  for (long first = 0; first < moves.n; first += most_parts * lanes) move(moves, rule, first);
}

void move_rows(const RowMoves& moves, double p) {
  if (p == 1.0) return move_all(moves, Moduli{});
  if (p == 0.5) return move_all(moves, Roots{});
  if (p >= 8.0) return move_all(moves, Largest{});
  if (p == 3.0) return move_all(moves, Powers<3>{});
  if (p == 4.0) return move_all(moves, Powers<4>{});
  if (p == 5.0) return move_all(moves, Powers<5>{});
  if (p == 6.0) return move_all(moves, Powers<6>{});
  if (p == 7.0) return move_all(moves, Powers<7>{});
  move_all(moves, AnyPowers{p});
}

// One row under the largest difference. A coordinate moves when its term exceeds those below it and is
// exceeded by none above it: of the coordinates [0, end) that are left this can be the lowest of the largest
// terms alone, and when that one stays, so do all below it.
class LargestAlone {
 public:
  explicit LargestAlone(const OneMove& move) : move_(move), terms_(move.work) {}

  bool move() {
    measure();
    long end = move_.d;
    double left = largest(0, end);
    const double before = left;
    double settled = 0.0;
    while (left > 0.0 && left >= settled) {
      const long k = place_of(left);
      settled = larger(settled, larger(largest(k + 1, end), moved(k)));
      end = k;
      left = largest(0, end);
    }
    return larger(settled, left) < before;
  }

 private:
  static double larger(double s, double t) { return t > s ? t : s; }

  // A coordinate that stays moves by the derivative 0, which takes the sign from -0.
  void measure() {
    long k = 0;
    for (; k + lanes <= move_.d; k += lanes) {
      const Vec x = load(move_.x + k), difference = x - load(move_.y + k);
      store(terms_ + k, modulus(difference));
      store(move_.x + k, x - broadcast(move_.a) * (difference < Vec{} ? broadcast(-0.0) : Vec{}));
    }
    for (; k < move_.d; ++k) {
      const double difference = move_.x[k] - move_.y[k];
      terms_[k] = __builtin_fabs(difference);
      move_.x[k] -= move_.a * (difference < 0.0 ? -0.0 : 0.0);
    }
  }

  double largest(long first, long end) const {
    Vec most = {};
    long k = first;
    for (; k + lanes <= end; k += lanes) {
      const Vec t = load(terms_ + k);
      most = t > most ? t : most;  // a NaN is passed over
    }
    double found = 0.0;
    for (; k < end; ++k) found = larger(found, terms_[k]);
    for (int l = 0; l < lanes; ++l) found = larger(found, most[l]);
    return found;
  }

  long place_of(double term) const {
    long k = 0;
    for (; k + lanes <= move_.d; k += lanes)
      if (const unsigned here = mask_of(load(terms_ + k) == broadcast(term)); here != 0)
        return k + __builtin_ctz(here);
    while (terms_[k] != term) ++k;
    return k;
  }

  // Coordinate k moves by its term. Returns the term that is left.
  double moved(long k) {
    double& x = move_.x[k];
    x -= move_.a * (x - move_.y[k] < 0.0 ? -terms_[k] : terms_[k]);
    return __builtin_fabs(x - move_.y[k]);
  }

  const OneMove move_;
  double* const terms_;
};

bool move_largest(const OneMove& move) { return LargestAlone(move).move(); }

}  // namespace

const MoveKernels move_kernels = {move_rows, move_largest};

}  // namespace qvtx::QVTX_ISA
