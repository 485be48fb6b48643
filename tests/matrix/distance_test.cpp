// Norms, distances, extreme pairs, the derivative of the distance and the move along it.

#include "matrix/distance_support.h"
#include "support/reference_move.h"

namespace qvtx {
namespace {

using namespace test;

/// Every form of the distances between the rows of a and of b.
void expect_distances(const MatFullD& a, const MatFullD& b, double bound) {
  const Reference plain;
  MatFullD to_rows, own, all;
  a.sdam(b, all);
  ASSERT_EQ(a.nrow(), all.nrow());
  ASSERT_EQ(b.nrow(), all.ncol());
  for (long j = 0; j < b.nrow(); ++j) {
    a.sdav(b, j, to_rows, bound);
    ASSERT_EQ(a.nrow(), to_rows.nrow());
    for (long i = 0; i < a.nrow(); ++i) {
      const double expected = plain.distance(a, i, b, j, bound);
      ASSERT_TRUE(same_bits(expected, to_rows(i, 0)));
      ASSERT_TRUE(same_bits(expected, a.sdas(i, b, j, bound)));
      ASSERT_TRUE(bound != no_bound || same_bits(expected, all(i, j)));
    }
  }
  for (const long i : {0L, a.nrow() / 2}) {
    if (i >= a.nrow()) continue;
    a.sdav(i, own, bound);
    ASSERT_TRUE(same_bits(plain.norm(a, i, bound), a.sdas(i, bound)));
    for (long r = 0; r < a.nrow(); ++r) {
      const double expected = plain.distance(a, r, a, i, bound);
      ASSERT_TRUE(same_bits(r == i ? 0.0 : expected, own(r, 0)));
      ASSERT_TRUE(same_bits(expected, a.sdas(r, i, bound)));
    }
  }
}

// Every column count up to two vectors and more, every number of rows around the width of the packed blocks.
TEST(Distance, EveryFormHasTheBitsOfThePlainLoopOnEveryInstructionSet) {
  for (const Isa isa : instruction_sets())
    for (const Case& c : all_cases)
      for (const Fill fill : all_fills)
        for (const long cols : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 64}) {
          const Level level(isa);
          const Settings settings(c.kind, c.p);
          const bool packed = c.kind == 'm' && (c.p == 2 || c.p == 1 || c.p > 8);
          if (!packed && (isa != Isa::baseline || cols % 5 > 2)) continue;  // one loop for all of them
          for (const long rows : {0, 1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 71}) {
            if (!packed && rows != 9) continue;
            const MatFullD a = filled(rows, cols, fill, 4), b = filled(packed ? 2 : 5, cols, fill, 3);
            for (const double bound : {no_bound, 2.0, 0.5, 0.0, -1.0, 1e-3, nan_value}) {
              SCOPED_TRACE(testing::Message() << describe(c) << " " << rows << " x " << cols << " isa "
                                              << int(isa) << " bound " << bound);
              expect_distances(a, b, bound);
            }
          }
        }
}

TEST(Distance, OutMayBeAnOperand) {
  const MatFullD rows = filled(12, 1, Fill::reals, 7);
  MatFullD a, b, c;
  for (MatFullD* m : {&a, &b, &c}) m->copy(rows);
  a.sdav(a, 3, a, no_bound);
  rows.sdav(b, 3, b, no_bound);
  c.sdam(c, c);
  for (long i = 0; i < 12; ++i) {
    const double expected = rows.sdas(i, 3, no_bound);
    EXPECT_EQ(expected, a(i, 0)) << i;
    EXPECT_EQ(expected, b(i, 0)) << i;
    EXPECT_EQ(expected, c(i, 3)) << i;
  }
}

/// The smallest or largest distance of two rows and its pair, the first met when i and then j run downward.
std::pair<double, std::pair<long, long>> plain_extreme(const MatFullD& a, bool smallest) {
  const Reference plain;
  std::pair<long, long> pair(-1, -1);
  double best = 0;
  for (long i = a.nrow() - 1; i >= 0; --i)
    for (long j = i - 1; j >= 0; --j) {
      const double d = plain.distance(a, i, a, j, no_bound);
      if (std::isnan(d) || (pair.first >= 0 && !(smallest ? d < best : d > best))) continue;
      best = d;
      pair = {i, j};
    }
  return {best, pair};
}

TEST(Distance, ExtremePairsAreTheFirstMetDownward) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const long rows : {0, 1, 2, 3, 17, 33}) {
        SCOPED_TRACE(testing::Message() << describe(c) << " rows " << rows);
        const Settings settings(c.kind, c.p);
        const MatFullD a = filled(rows, 3, fill, 8);
        std::pair<long, long> found;
        const auto [least, near] = plain_extreme(a, true);
        EXPECT_TRUE(same_bits(least, a.sdamin(found.first, found.second)));
        EXPECT_EQ(near, found);
        const auto [largest, far] = plain_extreme(a, false);
        EXPECT_TRUE(same_bits(largest, a.sdamax(found.first, found.second)));
        EXPECT_EQ(far, found);
        EXPECT_TRUE(same_bits(largest, a.sdamax()));
      }
}

TEST(Distance, DerivativeMatchesFiniteDifferences) {
  for (const Case& c : all_cases) {
    if (c.p == 0) continue;
    const Settings settings(c.kind, c.p);
    const Reference plain;
    MatFullD a = filled(4, 6, Fill::reals, 9);
    const MatFullD b = filled(3, 6, Fill::reals, 10);
    for (long cell = 0; cell < 72; ++cell) {
      const long i = cell / 18, j = cell / 6 % 3, k = cell % 6;
      const double x = a(i, k), h = 1e-6, exact = a.dhssds(i, b, j, k);
      a(i, k) = x + h;
      const double above = plain.distance(a, i, b, j, no_bound);
      a(i, k) = x - h;
      const double below = plain.distance(a, i, b, j, no_bound);
      a(i, k) = x;
      // Central differences err by rounding, about d^2 epsilon / h, and by h^2 times a third derivative.
      const double expected = (above * above - below * below) / (4 * h);
      EXPECT_NEAR(expected, exact, 1e-7 * (1.0 + above * above)) << describe(c) << " " << i << j << k;
    }
  }
}

TEST(Distance, DerivativeIsZeroWhereTheDistanceHasNoSlope) {
  const MatFullD a = matrix_of({{1, 2, 0}, {0, 0, 0}, {5, 2, 4}}), b = matrix_of({{1, 2, 0}, {1, 2, 3}});
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    for (long k = 0; k < 3; ++k) EXPECT_EQ(0.0, a.dhssds(0, b, 0, k)) << describe(c);  // the same row
    const bool zero_row = c.kind == 'c' || c.p == 0;
    const double flat = zero_row ? a.dhssds(1, b, 1, 0) : a.dhssds(2, b, 1, 1);  // or the same coordinate
    EXPECT_EQ(0.0, flat) << describe(c);
  }
  // The largest coordinate alone, the lowest column among equals.
  const Settings settings('m', 8.0);
  const double expected[] = {0, -3, 0};
  for (long k = 0; k < 3; ++k)
    EXPECT_EQ(expected[k], matrix_of({{1, -3, 3}}).dhssds(0, matrix_of({{0, 0, 0}}), 0, k));
}

/// Row 1 moves by derivatives that are each measured anew, and straight where that does not lead nearer. True
/// when the derivatives led there.
bool measured_move(MatFullD& m, const MatFullD& b, double a) {
  const Reference plain;
  const double before = plain.distance(m, 1, b, 1, no_bound);
  MatFullD old;
  old.copy(m);
  for (long k = m.ncol() - 1; k >= 0; --k) m(1, k) -= a * m.dhssds(1, b, 1, k);
  if (plain.distance(m, 1, b, 1, no_bound) < before) return true;
  for (long k = 0; k < m.ncol(); ++k) m(1, k) = old(1, k) - a * (old(1, k) - b(1, k));
  return false;
}

TEST(Distance, MovesAlongTheDerivativeOrStraightWhereThatDoesNotLeadNearer) {
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    long along = 0, straight = 0;
    for (const long cols : {c.kind == 'c' ? 2 : 1, 3, 8, 21})  // one column has no angle
      for (const double a : {0.01, 0.3, 0.7, 1.0}) {
        SCOPED_TRACE(testing::Message() << describe(c) << " columns " << cols << " step " << a);
        MatFullD moved = filled(3, cols, Fill::reals, 11), expected;
        const MatFullD b = filled(2, cols, Fill::reals, 12);
        expected.copy(moved);
        const double before = moved.sdas(1, b, 1, no_bound);
        moved.move(1, b, 1, a);
        EXPECT_TRUE(moved.sdas(1, b, 1, no_bound) < before || c.p == 0);
        ++(measured_move(expected, b, a) ? along : straight);
        // The sum of the terms is the same but for its order, which the exponents 2 and infinity do not feel.
        const double rounding = c.p == 2 && c.kind == 'm' ? 0.0 : 1e-12;
        for (long k = 0; k < 3 * cols; ++k) EXPECT_NEAR(expected.data()[k], moved.data()[k], rounding);
      }
    EXPECT_TRUE(c.p > 1 || c.kind == 'c' || straight > 0) << describe(c);
    EXPECT_EQ(c.p != 0, along > 0) << describe(c);
  }
}

// Rows of one sign and those that leave at once, too: short cuts are taken there.
TEST(Distance, MovesHaveTheBitsOfThePlainLoop) {
  for (const Isa isa : instruction_sets())
    for (const Case& c : all_cases)
      for (const Fill fill : all_fills)
        for (const long cols : {1, 2, 3, 7, 8, 9, 17, 40})
          for (const double a : {0.0, 0.01, 0.1, 0.5, 1.0}) {
            if (c.kind == 'c') continue;  // has one form
            const Level level(isa);
            const Settings settings(c.kind, c.p);
            SCOPED_TRACE(testing::Message()
                         << describe(c) << " columns " << cols << " step " << a << " isa " << int(isa));
            const MatFullD b = filled(1, cols, fill, 15);
            MatFullD moved = filled(6, cols, fill, 16), expected;
            for (long i = 0; i < 3; ++i)
              for (long k = 0; k < cols; ++k)
                moved(i, k) = b(0, k) + 0.1 * moved(i, k) + (i == 2 ? 0.4 : 0.0);
            expected.copy(moved);
            for (long i = 0; i < 6; ++i) {
              moved.move(i, b, 0, a);
              plain_move(expected.row(i), b.row(0), cols, a);
            }
            for (long e = 0; e < 6 * cols; ++e) {
              const double found = moved.data()[e], wanted = expected.data()[e];
              ASSERT_TRUE(same_bits(wanted, found) || (std::isnan(wanted) && std::isnan(found))) << e;
            }
          }
}

TEST(Distance, MovingTogetherHasTheBitsOfMovingOneByOne) {
  for (const Isa isa : instruction_sets())
    for (const Case& c : all_cases)
      for (const Fill fill : all_fills)
        for (const long n : {1, 2, 7, 8, 9, 24, 33, 70}) {
          const Level level(isa);
          const Settings settings(c.kind, c.p);
          SCOPED_TRACE(testing::Message() << describe(c) << " " << n << " rows, isa " << int(isa));
          MatFullD together = filled(n, 5, fill, 13), single;
          const MatFullD b = filled(9, 5, fill, 14);
          std::vector<long> rows;
          std::vector<double> steps;
          for (long r = n - 1; r >= 0; r -= 1 + r % 2) {  // some stay
            rows.push_back(r);
            steps.push_back(0.1 * static_cast<double>(r % 11));
          }
          for (long j = 0; j < b.nrow(); ++j) {
            single.copy(together);
            together.move(rows.data(), steps.data(), std::ssize(rows), b, j);
            for (std::size_t r = 0; r < rows.size(); ++r) single.move(rows[r], b, j, steps[r]);
            for (long e = 0; e < n * 5; ++e)
              ASSERT_TRUE(same_bits(single.data()[e], together.data()[e]) || std::isnan(single.data()[e]))
                  << e;
          }
        }
}

TEST(DistanceDeathTest, ArgumentsOutOfRange) {
  const MatFullD m = matrix_of({{1, 2}, {3, 4}});
  EXPECT_FATAL(m.sdas(0, -1, no_bound), "e27\n.*argument 2 out of range : -1");
  EXPECT_FATAL(m.nearest(m, 2, no_bound), "e67\n.*argument 2 out of range : 2");
}

}  // namespace
}  // namespace qvtx
