// Norms, distances, extreme pairs, the derivative of the distance and the move along it.

#include <iostream>

#include "matrix/distance_support.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

using namespace test;

const double bounds[] = {no_bound, 3.0, 1.0, 0.0, -1.0, 1e-3, nan_value};

TEST(Distance, EveryFormHasTheBitsOfThePlainLoop) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const long cols : {1L, 2L, 3L, 7L, 16L, 21L}) {
        SCOPED_TRACE(describe(c) + " columns " + std::to_string(cols));
        const Settings settings(c.kind, c.p);
        const Reference plain;
        const MatFullD a = filled(11, cols, fill, 1), b = filled(5, cols, fill, 2);
        for (const double bound : bounds)
          for (long i = 0; i < a.nrow(); ++i) {
            MatFullD own;
            a.sdav(i, own, bound);
            for (long r = 0; r < a.nrow(); ++r)
              EXPECT_TRUE(same_bits(r == i ? 0.0 : plain.distance(a, r, a, i, bound), own(r, 0)));
            EXPECT_TRUE(same_bits(plain.norm(a, i, bound), a.sdas(i, bound)));
            for (long j = 0; j < b.nrow(); ++j) {
              EXPECT_TRUE(same_bits(plain.distance(a, i, b, j, bound), a.sdas(i, b, j, bound)));
              EXPECT_TRUE(same_bits(plain.distance(a, i, a, j, bound), a.sdas(i, j, bound)));
            }
          }
      }
}

// Every column count up to two vectors and more, every number of rows around the width of the packed blocks.
TEST(Distance, VectorsOfRowsHaveTheBitsOfThePlainLoopOnEveryInstructionSet) {
  for (const Isa isa : all_levels)
    for (const double p : {2.0, 1.0, 8.0})
      for (const Fill fill : all_fills)
        for (const long cols : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 64}) {
          const Level level(isa);
          const Settings settings('m', p);
          const Reference plain;
          const MatFullD b = filled(2, cols, fill, 3);
          for (const long rows : {0, 1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 71}) {
            SCOPED_TRACE(testing::Message() << p << ": " << rows << " x " << cols << " isa " << int(isa));
            const MatFullD a = filled(rows, cols, fill, 4);
            MatFullD out, all;
            a.sdam(b, all);
            ASSERT_EQ(rows, all.nrow());
            for (const double bound : {2.0, 0.5, no_bound}) {
              a.sdav(b, 1, out, bound);
              ASSERT_EQ(rows, out.nrow());
              for (long i = 0; i < rows; ++i) {
                const double expected = plain.distance(a, i, b, 1, bound);
                ASSERT_TRUE(same_bits(expected, out(i, 0))) << i << " bound " << bound;
                ASSERT_TRUE(bound != no_bound || same_bits(expected, all(i, 1))) << i;
              }
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
    EXPECT_TRUE(expected == a(i, 0) && expected == b(i, 0) && expected == c(i, 3)) << i;
  }
}

TEST(Distance, ExtremePairsAreTheFirstMetDownward) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const long rows : {0, 1, 2, 3, 17, 33}) {
        SCOPED_TRACE(testing::Message() << describe(c) << " rows " << rows);
        const Settings settings(c.kind, c.p);
        const Reference plain;
        const MatFullD a = filled(rows, 3, fill, 8);
        long pair[2][2] = {{-1, -1}, {-1, -1}};
        double best[2] = {0, 0};
        for (long i = rows - 1; i >= 0; --i)
          for (long j = i - 1; j >= 0; --j)
            for (int s = 0; s < 2; ++s) {
              const double d = plain.distance(a, i, a, j, no_bound);
              if (std::isnan(d) || (pair[s][0] >= 0 && !(s ? d < best[s] : d > best[s]))) continue;
              best[s] = d;
              pair[s][0] = i;
              pair[s][1] = j;
            }
        EXPECT_TRUE(same_bits(best[0], a.sdamax()));
        for (int s = 0; s < 2; ++s) {
          long i, j;
          EXPECT_TRUE(same_bits(best[s], s ? a.sdamin(i, j) : a.sdamax(i, j)));
          EXPECT_TRUE(pair[s][0] == i && pair[s][1] == j) << i << " " << j;
        }
      }
}

TEST(Distance, DerivativeMatchesFiniteDifferences) {
  for (const Case& c : all_cases) {
    if (c.p == 0) continue;
    const Settings settings(c.kind, c.p);
    const Reference plain;
    MatFullD a = filled(4, 6, Fill::reals, 9);
    const MatFullD b = filled(3, 6, Fill::reals, 10);
    for (long i = 0; i < a.nrow(); ++i)
      for (long j = 0; j < b.nrow(); ++j)
        for (long k = 0; k < a.ncol(); ++k) {
          const double x = a(i, k), h = 1e-6;
          const double exact = a.dhssds(i, b, j, k);
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
    EXPECT_EQ(0.0, zero_row ? a.dhssds(1, b, 1, 0) : a.dhssds(2, b, 1, 1))
        << describe(c);  // the same coordinate
  }
  // The largest coordinate alone, the lowest column among equals.
  const Settings settings('m', 8.0);
  const MatFullD x = matrix_of({{1, -3, 3}});
  const double expected[] = {0, -3, 0};
  for (long k = 0; k < 3; ++k) EXPECT_EQ(expected[k], x.dhssds(0, matrix_of({{0, 0, 0}}), 0, k));
}

TEST(Distance, MoveTakesTheLastCoordinateFirstOnTheRowAsMoved) {
  for (const Case& c : all_cases)
    for (const long cols : {1, 3, 8, 21}) {
      const Settings settings(c.kind, c.p);
      MatFullD moved = filled(3, cols, Fill::reals, 11), expected;
      const MatFullD b = filled(2, cols, Fill::reals, 12);
      expected.copy(moved);
      moved.move(1, b, 1, 0.3);
      for (long k = cols - 1; k >= 0; --k) expected(1, k) -= 0.3 * expected.dhssds(1, b, 1, k);
      for (long i = 0; i < 3; ++i)
        for (long k = 0; k < cols; ++k) EXPECT_TRUE(same_bits(expected(i, k), moved(i, k))) << describe(c);
    }
}

TEST(DistanceDeathTest, ArgumentsOutOfRange) {
  const MatFullD m = matrix_of({{1, 2}, {3, 4}});
  const auto status = ::testing::ExitedWithCode(0);
  EXPECT_EXIT((os.stream = &std::cerr, m.sdas(0, -1, no_bound)), status,
              "e27\n.*argument 2 out of range : -1");
  EXPECT_EXIT((os.stream = &std::cerr, m.nearest(m, 2, no_bound)), status,
              "e67\n.*argument 2 out of range : 2");
}

}  // namespace
}  // namespace qvtx
