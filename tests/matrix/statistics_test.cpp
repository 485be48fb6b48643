// Column statistics and random contents.

#include "matrix/linear_support.h"

namespace qvtx {
namespace {

using test::contents;
using test::matrix;
using test::nan;
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr double untouched = -99;

/// Columns of different scale and offset.
MatFullD scaled_columns(long rows, long columns) {
  MatFullD m = test::random_matrix(rows, columns, static_cast<unsigned long>(rows + columns));
  for (long k = 0; k < rows * columns; ++k)
    m.data()[k] = std::ldexp(m.data()[k] + 0.4, static_cast<int>(k % columns % 9));
  return m;
}

/// Sum of term(row) over the rows from the last to the first, divided by the number of rows.
double row_mean(const MatFullD& m, const std::function<long double(long)>& term) {
  long double sum = 0;
  for (long i = m.nrow() - 1; i >= 0; --i) sum += term(i);
  return static_cast<double>(sum / static_cast<long double>(m.nrow()));
}

TEST(Statistics, AgreeWithPlainLoopsToTheBit) {
  for (const long rows : {1L, 2L, 3L, 1000L}) {
    for (const long columns : {1L, 2L, 7L}) {
      const MatFullD m = scaled_columns(rows, columns);
      MatFullD stats, mean, variance, covariance, kurtosis;
      m.mmm(stats);
      m.avg(mean);
      m.var(variance);
      m.cov(covariance);
      m.kur(kurtosis);
      ASSERT_EQ(stats.nrow(), 3);
      ASSERT_EQ(covariance.nrow(), columns);
      for (long j = 0; j < columns; ++j) {
        const auto off = [&](long i, long k) { return static_cast<long double>(m(i, k) - mean(0, k)); };
        EXPECT_EQ(mean(0, j), row_mean(m, [&](long i) { return m(i, j); }));
        EXPECT_EQ(stats(0, j), mean(0, j));
        EXPECT_EQ(stats(1, j), m(m.minidx(j), j));
        EXPECT_EQ(stats(2, j), m(m.maxidx(j), j));
        EXPECT_EQ(variance(0, j), row_mean(m, [&](long i) { return off(i, j) * off(i, j); }));
        for (long k = 0; k < columns; ++k)
          EXPECT_EQ(covariance(j, k), row_mean(m, [&](long i) { return off(i, j) * off(i, k); }));
        if (rows < 3) continue;
        const double fourth = row_mean(m, [&](long i) { return std::pow(off(i, j), 4); });
        EXPECT_NEAR(kurtosis(0, j), fourth / (variance(0, j) * variance(0, j)), 1e-14);
      }
    }
  }
}

TEST(Statistics, ClosedForms) {
  MatFullD out;
  matrix(2, 1, {1, 3}).kur(out);
  EXPECT_EQ(out(0, 0), 1);  // two points have the least kurtosis of all
  matrix(4, 2, {0, 5, 0, 5, 0, 5, 4, 5}).kur(out);
  EXPECT_NEAR(out(0, 0), 7.0 / 3, 1e-15);
  EXPECT_EQ(out(0, 1), 0);
  matrix(2, 2, {1, 2, 3, 4}).cov(matrix(1, 2, {1, 1}), out);
  EXPECT_EQ(contents(out), (std::vector<double>{2, 3, 3, 5}));
  EXPECT_EQ(matrix(2, 2, {1, 2, 3, 4}).mqe(matrix(2, 2, {2, 1, 4, 3})), 2);
  EXPECT_EQ(MatFullD().mqe(MatFullD()), 0);
  MatFullD m = matrix(2, 2, {1, 2, 3, 4});
  const MatFullD about = matrix(1, 2, {1, 10});
  EXPECT_EQ(m.center(about), 2);
  EXPECT_EQ(contents(m), (std::vector<double>{0, -8, 2, -6}));
  EXPECT_EQ(m.center(), 2);
  EXPECT_EQ(contents(m), (std::vector<double>{-1, -1, 1, 1}));
  m.normal(about, matrix(1, 2, {2, 0}));
  EXPECT_EQ(contents(m), (std::vector<double>{-1, -11, 0, -9}));
}

/// 0.1 has no exact sum: a mean off by one unit in the last place would turn the zeros into ones.
TEST(Statistics, NormalisedColumnsHaveMeanZeroAndDeviationOneOrZero) {
  for (const long rows : {3L, 10L, 500L, 100003L}) {
    MatFullD m = scaled_columns(rows, 3), mean, variance;
    for (long i = 0; i < rows; ++i) m(i, 1) = 0.1;
    m.normal();
    m.avg(mean);
    m.var(variance);
    for (const long j : {0, 2}) {
      EXPECT_NEAR(mean(0, j), 0, 1e-14);
      EXPECT_NEAR(variance(0, j), 1, 1e-13);
    }
    EXPECT_EQ(m(m.minidx(1), 1), 0);
    EXPECT_EQ(m(m.maxidx(1), 1), 0);
  }
}

TEST(StatisticsDeathTest, MisuseEndsTheProgram) {
  const MatFullD wide = matrix(1, 3, {1, 2, 3});
  MatFullD m = matrix(2, 2, {1, 2, 3, 4}), out;
  EXPECT_FATAL(MatFullD().mmm(out), "error m161");
  EXPECT_FATAL(m.var(wide, out), "error s51\n  the dimensions of argument 0 and argument  1 differ");
  EXPECT_FATAL(m.cov(wide, out), "error s81");
  EXPECT_FATAL(m.center(wide), "error s91");
  EXPECT_FATAL(m.normal(m, wide), "error s92\n  the dimensions of argument 0 and argument  2 differ");
  EXPECT_FATAL(m.mqe(wide), "error s102");
}

// ---- Random contents ----

MatFullD sheet(long rows, long cols, double value) {
  MatFullD m(rows, cols);
  m.setrows(rows, value);
  return m;
}

TEST(Statistics, NonFiniteValuesAreCountedAndStay) {
  const MatFullD m = matrix(3, 2, {1, nan, infinity, 4, -1, 2});
  MatFullD out;
  EXPECT_EQ(m.nnan(), 2);
  m.mmm(out);
  EXPECT_TRUE(std::isnan(out(0, 1)));
  out(0, 1) = out(2, 0) = 0;
  EXPECT_EQ(contents(out), (std::vector<double>{infinity, 0, -1, 2, 0, 4}));
}

TEST(RandomFill, DrawsRowsAndColumnsFromTheLast) {
  const struct {
    long r0, r1, c0, c1;    // as given
    long row_end, col_end;  // last row and column meant
  } cases[] = {{0, -1, 0, -1, 4, 3}, {1, 2, 1, 2, 2, 2}, {4, 99, 3, 99, 4, 3}};
  for (const int kind : {0, 1})
    for (const auto& c : cases) {
      MatFullD m = sheet(5, 4, untouched), expected = sheet(5, 4, untouched);
      setseed(8);
      m.random(kind, -1, 3, c.r0, c.r1, c.c0, c.c1);
      const std::uint32_t next = ul_rand();
      setseed(8);
      for (long i = c.row_end; i >= c.r0; --i) {
        for (long j = c.col_end; j >= c.c0; --j)
          expected(i, j) = kind == 0 ? -1 + 4.0 * u_rand() : -1 + 3.0 * gauss_rand();
      }
      EXPECT_EQ(contents(m), contents(expected)) << kind;
      EXPECT_EQ(ul_rand(), next);  // not one draw more
    }
  // Each column can have its own bounds.
  MatFullD m = sheet(3, 2, untouched);
  setseed(9);
  m.random(0, matrix(1, 2, {4, -5}), matrix(1, 2, {4, 5}), 1, -1);
  setseed(9);
  for (long i = 2; i >= 1; --i) {
    EXPECT_EQ(m(i, 1), -5 + 10.0 * u_rand());
    EXPECT_EQ(m(i, 0), 4);
    u_rand();
  }
  EXPECT_EQ(m(0, 0), untouched);
}

TEST(RandomRows, GrowTheMatrixAndLeaveTheRowsBefore) {
  MatFullD m = sheet(3, 1, untouched);
  m.raseli(sheet(20, 1, 4), 2, 21);
  ASSERT_EQ(m.nrow(), 23);
  EXPECT_EQ(std::count(m.data(), m.data() + 23, untouched), 2);
}

}  // namespace
}  // namespace qvtx
