// Column statistics.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <random>
#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

void fill(MatFullD& m, long columns, std::initializer_list<double> values) {
  m.setdim(static_cast<long>(values.size()) / columns, columns);
  m.setrows(m.nall(), 0);
  std::copy(values.begin(), values.end(), m.data());
}

/// Columns of different scale and offset.
void fill_random(MatFullD& m, long rows, long columns, unsigned seed) {
  std::mt19937 engine(seed);
  m.setdim(rows, columns);
  m.setrows(rows, 0);
  for (long k = 0; k < rows * columns; ++k) {
    m.data()[k] =
        std::ldexp(static_cast<double>(engine()) / 4294967296.0 - 0.3, static_cast<int>(k % columns % 9));
  }
}

void expect_values(const MatFullD& m, std::initializer_list<double> values) {
  ASSERT_EQ(m.nrow() * m.ncol(), static_cast<long>(values.size()));
  const double* x = m.data();
  for (const double value : values) EXPECT_EQ(*x++, value);
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
      MatFullD m, stats, mean, variance, covariance, kurtosis;
      fill_random(m, rows, columns, static_cast<unsigned>(rows + columns));
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
        for (long k = 0; k < columns; ++k) {
          EXPECT_EQ(covariance(j, k), row_mean(m, [&](long i) { return off(i, j) * off(i, k); }));
        }
        if (rows < 3) continue;
        const double fourth =
            row_mean(m, [&](long i) { return off(i, j) * off(i, j) * off(i, j) * off(i, j); });
        EXPECT_NEAR(kurtosis(0, j), fourth / (variance(0, j) * variance(0, j)), 1e-14);
      }
    }
  }
}

TEST(Statistics, ClosedForms) {
  MatFullD m, out;
  fill(m, 1, {1, 3, 2});
  m.mmm(out);
  expect_values(out, {2, 1, 3});
  fill(m, 1, {1, 3});
  m.var(out);
  expect_values(out, {1});
  m.kur(out);
  expect_values(out, {1});  // two points have the least kurtosis of all
  fill(m, 2, {0, 5, 0, 5, 0, 5, 4, 5});
  m.kur(out);
  EXPECT_NEAR(out(0, 0), 7.0 / 3, 1e-15);
  EXPECT_EQ(out(0, 1), 0);
  MatFullD about;
  fill(about, 2, {1, 1});
  fill(m, 2, {1, 2, 3, 4});
  m.cov(about, out);
  expect_values(out, {2, 3, 3, 5});
}

TEST(Statistics, NormalisedColumnsHaveMeanZeroAndDeviationOne) {
  MatFullD m, mean, variance;
  fill_random(m, 500, 6, 3);
  m.normal();
  m.avg(mean);
  m.var(variance);
  for (long j = 0; j < 6; ++j) {
    EXPECT_NEAR(mean(0, j), 0, 1e-14);
    EXPECT_NEAR(variance(0, j), 1, 1e-13);
  }
}

/// 0.1 has no exact sum: a mean off by one unit in the last place would turn the zeros into ones.
TEST(Statistics, ConstantColumnsAreCentredToZero) {
  for (const long rows : {3L, 10L, 100003L}) {
    MatFullD m(rows, 1);
    m.setrows(rows, 0.1);
    m.normal();
    EXPECT_EQ(m(m.minidx(0), 0), 0);
    EXPECT_EQ(m(m.maxidx(0), 0), 0);
  }
}

TEST(Statistics, CentringSubtractsTheGivenRow) {
  MatFullD m, about, scale;
  fill(m, 2, {1, 2, 3, 4});
  fill(about, 2, {1, 10});
  EXPECT_EQ(m.center(about), 2);
  expect_values(m, {0, -8, 2, -6});
  EXPECT_EQ(m.center(), 2);
  expect_values(m, {-1, -1, 1, 1});
  fill(scale, 2, {2, 0});
  m.normal(about, scale);
  expect_values(m, {-1, -11, 0, -9});
}

TEST(Statistics, QuantizationErrorAveragesOverTheRows) {
  MatFullD a, b;
  fill(a, 2, {1, 2, 3, 4});
  fill(b, 2, {2, 1, 4, 3});
  EXPECT_EQ(a.mqe(b), 2);
  EXPECT_EQ(MatFullD().mqe(MatFullD()), 0);
}

TEST(Statistics, NonFiniteValuesAreCountedAndStay) {
  MatFullD m, out;
  fill(m, 2, {1, nan, infinity, 4, -1, 2});
  EXPECT_EQ(m.nnan(), 2);
  EXPECT_EQ(MatFullD().nnan(), 0);
  m.mmm(out);
  EXPECT_EQ(out(0, 0), infinity);
  EXPECT_EQ(out(1, 0), -1);
  EXPECT_TRUE(std::isnan(out(0, 1)));
  EXPECT_EQ(out(1, 1), 2);
  EXPECT_EQ(out(2, 1), 4);
}

/// The death statement prints where the test framework looks.
#define EXPECT_ENDS(statement, text) \
  EXPECT_EXIT((os.stream = &std::cerr, statement), ::testing::ExitedWithCode(0), text)

TEST(StatisticsDeathTest, MisuseEndsTheProgram) {
  MatFullD m, wide, out;
  fill(m, 2, {1, 2, 3, 4});
  fill(wide, 3, {1, 2, 3});
  EXPECT_ENDS(MatFullD().mmm(out), "error m161");
  EXPECT_ENDS(MatFullD().avg(out), "error m161");
  EXPECT_ENDS(m.var(wide, out), "error s51\n  the dimensions of argument 0 and argument  1 differ");
  EXPECT_ENDS(m.cov(wide, out), "error s81");
  EXPECT_ENDS(m.center(wide), "error s91");
  EXPECT_ENDS(m.normal(wide, m), "error s92\n  the dimensions of argument 0 and argument  1 differ");
  EXPECT_ENDS(m.normal(m, wide), "error s92\n  the dimensions of argument 0 and argument  2 differ");
  EXPECT_ENDS(m.mqe(wide), "error s102");
}

}  // namespace
}  // namespace qvtx
