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
// respect to the term t, `below` being what the coordinates before it add up to.
struct Moduli {
  static constexpr int power = 1;
  static Vec term(Vec t) { return t; }
  static Vec joined(Vec s, Vec t) { return s + t; }
  static Vec derivative(Vec t, Vec total, Vec) { return where_sloped(t, total, total); }
};
template <int p>
struct Powers {
  static constexpr int power = p;
  static Vec term(Vec t) { return whole_power<p>(t); }
  static Vec joined(Vec s, Vec t) { return s + t; }
  static Vec derivative(Vec t, Vec total, Vec) {
    return where_sloped(t, total, total * whole_power<p - 1>(t / total));
  }
};
struct Largest {
  static constexpr int power = 1;
  static Vec term(Vec t) { return t > Vec{} ? t : Vec{}; }  // a NaN is passed over
  static Vec joined(Vec s, Vec t) { return t > s ? t : s; }
  static Vec derivative(Vec t, Vec total, Vec below) {
    const Bits sole = (t == total) & (t > below);
    return where_sloped(t, total, sole ? total : Vec{});
  }
};

/// Up to `width` rows, coordinate by coordinate.
template <class Rule, int parts>
class Group {
 public:
  static constexpr int width = parts * lanes;

  Group(const RowMoves& moves, long first)
      : rows_(moves.rows + first),
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
    for (int i = 0; i < parts; ++i) {
      Vec sum = {};
      for (long k = d_ - 1; k >= 0; --k) {
        const Vec t = Rule::term(modulus(load(column_ + k * width + i * lanes) - broadcast(to_[k])));
        store(below_ + (k + 1) * width + i * lanes, t);
        sum = Rule::joined(sum, t);
      }
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
    if (Rule::power > 1 && any(apart)) take_roots(total);
    for (int i = 0; i < parts; ++i) {
      const Vec difference = x[i] - to;
      const Vec slope = Rule::derivative(modulus(difference), total[i], load(below + i * lanes));
      x[i] -= step[i] * (difference < Vec{} ? -slope : slope);
      store(column + i * lanes, x[i]);
      settled_[i] = Rule::joined(settled_[i], Rule::term(modulus(x[i] - to)));
      nearer_[i] &= settled_[i] < before_[i];
    }
  }

  // Sums to distances. Rows that are given up may have run far away: a 1 in their place needs no care.
  void take_roots(Vec (&total)[parts]) const {
    double sums[width];
    for (int i = 0; i < parts; ++i) store(sums + i * lanes, nearer_[i] ? total[i] : broadcast(1.0));
    power_kernels.powers(sums, width, 1.0 / Rule::power);
    for (int i = 0; i < parts; ++i) total[i] = load(sums + i * lanes);
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
void move(const RowMoves& moves, long first) {
  if constexpr (parts > 1)
    if (moves.n - first <= (parts - 1) * lanes) return move<Rule, parts - 1>(moves, first);
  Group<Rule, parts>(moves, first).move();
}

template <class Rule>
void move_all(const RowMoves& moves) {
  for (long first = 0; first < moves.n; first += most_parts * lanes) move<Rule>(moves, first);
}

}  // namespace

const MoveKernels move_kernels = {
    move_all<Moduli>,
    {move_all<Powers<3>>, move_all<Powers<4>>, move_all<Powers<5>>, move_all<Powers<6>>, move_all<Powers<7>>},
    move_all<Largest>};

}  // namespace qvtx::QVTX_ISA
