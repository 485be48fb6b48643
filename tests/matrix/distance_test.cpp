// Norms, distances, extreme pairs, the derivative of the distance and the move along it.

#include <iostream>

#include "matrix/distance_support.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

using namespace test;

const double bounds[] = {no_bound, 3.0, 1.0, 0.0, -1.0, 1e-3, nan_value};

TEST(Distance, WorkedExamples) {
  const MatFullD m = matrix_of({{0, 0}, {3, 4}});
  EXPECT_EQ(5.0, m.sdas(0, 1, no_bound));
  EXPECT_EQ(5.0, m.sdas(0, 1, 4.998));  // the margin of 1.001 lets it pass
  EXPECT_EQ(-1.0, m.sdas(0, 1, 4.997));
  const struct {
    Case settings;
    double norm, distance;
  } rows[] = {{{'m', 1}, 7, 7}, {{'m', 8}, 4, 4}, {{'m', 0}, 3, 0}, {{'m', 2}, 5, 5}};
  for (const auto& row : rows) {
    const Settings settings(row.settings.kind, row.settings.p);
    EXPECT_EQ(row.norm, m.sdas(1, no_bound)) << describe(row.settings);
    EXPECT_EQ(row.distance, m.sdas(0, 1, no_bound)) << describe(row.settings);
  }
  const Settings area('a', 1.0);
  EXPECT_EQ(1.5, matrix_of({{2, 3}, {3, 2}}).sdas(0, 1, no_bound));  // 0.75 for each of the samples 1, -1
}

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
            for (const double bound : {no_bound, 2.0, 0.5}) {
              a.sdav(b, 1, out, bound);
              ASSERT_EQ(rows, out.nrow());
              for (long i = 0; i < rows; ++i)
                ASSERT_TRUE(same_bits(plain.distance(a, i, b, 1, bound), out(i, 0)))
                    << i << " bound " << bound;
            }
            for (long i = 0; i < rows; ++i)
              ASSERT_TRUE(same_bits(plain.distance(a, i, b, 1, no_bound), all(i, 1)));
          }
        }
}

TEST(Distance, OneToAllKeepsBoundAndOwnRow) {
  for (const Case& c : all_cases) {
    SCOPED_TRACE(describe(c));
    const Settings settings(c.kind, c.p);
    const Reference plain;
    const MatFullD a = filled(19, 5, Fill::specials, 5);
    for (const double bound : {no_bound, 2.0, 0.4})
      for (long i = 0; i < a.nrow(); ++i) {
        MatFullD out;
        a.sdav(i, out, bound);
        ASSERT_EQ(a.nrow(), out.nrow());
        ASSERT_EQ(1, out.ncol());
        for (long r = 0; r < a.nrow(); ++r)
          ASSERT_TRUE(same_bits(r == i ? 0.0 : plain.distance(a, r, a, i, bound), out(r, 0)))
              << i << " " << r;
      }
  }
}

TEST(Distance, NormsOfAllRows) {
  for (const Case& c : all_cases) {
    if (c.kind == 'c') continue;
    SCOPED_TRACE(describe(c));
    const Settings settings(c.kind, c.p);
    MatFullD a = filled(9, 4, Fill::specials, 6), out;
    a.sdav(out, 1.5);
    ASSERT_EQ(9, out.nrow());
    for (long i = 0; i < 9; ++i) EXPECT_TRUE(same_bits(a.sdas(i, 1.5), out(i, 0)));
  }
}

TEST(Distance, CosineNormsClearTheHeadOfTheMatrix) {
  const Settings settings('c', 2.0);
  MatFullD a = matrix_of({{1, 2}, {3, 4}, {5, 6}}), out;
  a.sdav(out, no_bound);
  EXPECT_EQ(3, out.nrow());
  EXPECT_EQ(1, out.ncol());
  const double expected[] = {0, 0, 0, 4, 5, 6};
  for (long c = 0; c < 6; ++c) EXPECT_EQ(expected[c], a.data()[c]);
}

TEST(Distance, CosineOfZeroRowsIsOneAndNeverNegative) {
  const Settings settings('c', 2.0);
  const MatFullD a = matrix_of({{0, 0}, {0.1, 0.7}, {0.3, 2.1}, {-7, 1}, {0.7, -0.1}});
  EXPECT_EQ(1.0, a.sdas(0, 1, no_bound));
  EXPECT_EQ(1.0, a.sdas(0, 0, no_bound));
  EXPECT_EQ(1.0, a.sdas(1, 3, 0.01));  // orthogonal, and no bound applies
  for (long i = 1; i < a.nrow(); ++i)
    for (long j = 1; j < a.nrow(); ++j) EXPECT_LE(0.0, a.sdas(i, j, no_bound));
}

TEST(Distance, OutMayBeAnOperand) {
  const MatFullD rows = filled(12, 1, Fill::reals, 7);
  MatFullD expected, a, b;
  rows.sdav(rows, 3, expected, no_bound);
  a.copy(rows);
  a.sdav(a, 3, a, no_bound);
  b.copy(rows);
  rows.sdav(b, 3, b, no_bound);
  for (long i = 0; i < rows.nrow(); ++i) {
    EXPECT_EQ(expected(i, 0), a(i, 0));
    EXPECT_EQ(expected(i, 0), b(i, 0));
  }
  a.copy(rows);
  a.sdam(a, a);
  ASSERT_EQ(12, a.ncol());
  EXPECT_EQ(0, [&] {
    MatFullD none;
    rows.sdam(MatFullD(0, 1), none);
    return none.nrow();
  }());
  for (long i = 0; i < 12; ++i) EXPECT_EQ(expected(i, 0), a(i, 3));
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
        long i, j;
        EXPECT_TRUE(same_bits(best[0], a.sdamax(i, j)));
        EXPECT_EQ(pair[0][0], i);
        EXPECT_EQ(pair[0][1], j);
        EXPECT_TRUE(same_bits(best[0], a.sdamax()));
        EXPECT_TRUE(same_bits(best[1], a.sdamin(i, j)));
        EXPECT_EQ(pair[1][0], i);
        EXPECT_EQ(pair[1][1], j);
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

TEST(Distance, DerivativeStaysFiniteForTinyAndHugeDifferences) {
  const Settings settings('m', 7.0);
  const MatFullD origin = matrix_of({{0, 0}});
  for (const double scale : {1e-40, 1e40}) {
    const MatFullD a = matrix_of({{scale, scale}});
    // Two equal coordinates: d = 2^(1/7) scale, derivative d^(-5) scale^6. The root takes the exponent 1/7
    // rounded, which a sum of 1e280 turns into a relative error of 645 * 2^-56 in d.
    EXPECT_NEAR(std::pow(2.0, -5.0 / 7.0), a.dhssds(0, origin, 0, 0) / scale, 1e-13);
  }
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
  const auto fatal = [](auto action, const char* report) {
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          action();
        },
        ::testing::ExitedWithCode(0), report);
  };
  const MatFullD m = matrix_of({{1, 2}, {3, 4}}), other = matrix_of({{1, 2, 3}});
  MatFullD out;
  fatal([&] { (void)m.sdas(2, no_bound); }, "error e27\n.*argument 1 out of range : 2");
  fatal([&] { (void)m.sdas(0, -1, no_bound); }, "error e27\n.*argument 2 out of range : -1");
  fatal([&] { (void)m.sdas(0, m, 2, no_bound); }, "error e27\n.*argument 3 out of range : 2");
  fatal([&] { (void)m.sdas(0, other, 0, no_bound); }, "error e27\n.*argument 0 and argument  2 differ");
  fatal([&] { m.sdav(5, out, no_bound); }, "error e37\n.*argument 1 out of range : 5");
  fatal([&] { m.sdav(m, 5, out, no_bound); }, "error e37\n.*argument 2 out of range : 5");
  fatal([&] { m.sdam(other, out); }, "error e47\n.*argument 0 and argument  1 differ");
  fatal([&] { (void)m.dhssds(0, m, 0, 2); }, "error e57\n.*argument 4 out of range : 2");
  fatal([&] { (void)m.dhssds(0, m, 2, 0); }, "error e57\n.*argument 3 out of range : 2");
}

}  // namespace
}  // namespace qvtx
