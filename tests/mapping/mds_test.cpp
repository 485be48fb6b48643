// Classical multidimensional scaling against its equations.

#include <algorithm>

#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

class Mds : public MappingTest {
 protected:
  /// -D^2 / 2 with the means of rows and columns taken away.
  static Rows centred_matrix(const ReferenceMapping& r) {
    Rows b(r.y.size(), std::vector<double>(r.y.size()));
    std::vector<double> mean(b.size(), 0.0);
    double overall = 0;
    for (std::size_t i = 0; i < b.size(); ++i) {
      for (std::size_t j = 0; j < b.size(); ++j) {
        const double d = std::max(r.input(static_cast<long>(i), static_cast<long>(j)), 0.0);
        b[i][j] = -0.5 * d * d;
        mean[i] += b[i][j] / static_cast<double>(b.size());
      }
      overall += mean[i] / static_cast<double>(b.size());
    }
    for (std::size_t i = 0; i < b.size(); ++i) {
      for (std::size_t j = 0; j < b.size(); ++j) b[i][j] += overall - mean[i] - mean[j];
    }
    return b;
  }
  /// Sum of squares of an axis: its eigenvalue.
  double length(long axis) const {
    double sum = 0;
    for (long i = 0; i < tm.mprot.nrow(); ++i) sum += tm.mprot(i, axis) * tm.mprot(i, axis);
    return sum;
  }
};

TEST_F(Mds, AxesAreEigenvectorsOfTheCentredMatrix) {
  // With graph distances pairs of different components count as nothing.
  for (const double w : {0.0, 0.5, 1.0}) {
    prepare(45, 3, 3, w, 3);
    ASSERT_EQ(3, tm.ncomp());
    ASSERT_EQ(1, tm.mds(2));
    const Rows b = centred_matrix(ReferenceMapping(tm, w)), y = rows_of(tm.mprot);
    for (std::size_t k = 0; k < 2; ++k) {
      const double lambda = length(static_cast<long>(k));
      for (std::size_t i = 0; i < y.size(); ++i) {
        double product = 0;
        for (std::size_t j = 0; j < y.size(); ++j) product += b[i][j] * y[j][k];
        EXPECT_NEAR(lambda * y[i][k], product, 1e-5 * lambda * std::sqrt(length(0)));
      }
    }
    EXPECT_GE(length(0), length(1));
  }
}

TEST_F(Mds, PrintsTheEigenvaluesAndLeavesSurplusAxesUndefined) {
  // The corners of a rectangle 2 x 6 round the origin: eigenvalues 36 and 4, and two that are 0.
  MatFullD points;
  fill(points, {{1, 3}, {1, -3}, {-1, 3}, {-1, -3}});
  prototypes(tm, points, 0);
  tm.verbose = 1;
  ASSERT_EQ(1, tm.dist_ini(0));
  console.take();
  ASSERT_EQ(1, tm.mds(6));
  const std::string text = console.take();
  const std::size_t begin = text.find("ToMapp.mds: mapping ... Eigenvalues:\n 36.00\n  4.00\n");
  ASSERT_NE(std::string::npos, begin) << text;
  EXPECT_EQ(7, std::count(text.begin() + static_cast<long>(begin), text.end(), '\n')) << text;
  for (long i = 0; i < 4; ++i) {
    EXPECT_NEAR(3, std::fabs(tm.mprot(i, 0)), 1e-6);
    EXPECT_NEAR(1, std::fabs(tm.mprot(i, 1)), 1e-6);
    for (const long axis : {4L, 5L}) EXPECT_TRUE(std::isnan(tm.mprot(i, axis))) << "beyond the prototypes";
  }
}

/// A point of a rolled sheet for every row of numbers between 0 and 1.
void swiss_roll(MatFullD& m, long n) {
  uniform_points(m, n, 3, 5);
  for (long i = 0; i < n; ++i) {
    const double angle = 4.7 + 9.4 * m(i, 0);
    m(i, 0) = angle * std::cos(angle);
    m(i, 1) *= 21;
    m(i, 2) = angle * std::sin(angle);
  }
}

// More than 16 axes ask for the whole reduction.
TEST_F(Mds, IterationFindsTheAxesOfTheWholeReduction) {
  constexpr long n = 1200;
  MatFullD points;
  swiss_roll(points, n);
  prototypes(tm, points, 9);
  tm.setkey("tdgb", 1);
  ASSERT_EQ(1, tm.mds(17));
  const Rows whole = rows_of(tm.mprot);
  double shown = 0;
  for (long k = 0; k < 17; ++k) shown += length(k);
  const double positive = shown / tm.getspectrum().share, lengths[] = {length(0), length(1)};
  ASSERT_EQ(1, tm.mds(2));
  EXPECT_TRUE(tm.getspectrum().at_most);
  EXPECT_GE(tm.getspectrum().share, (lengths[0] + lengths[1]) / positive);
  for (long k = 0; k < 2; ++k) {
    EXPECT_NEAR(1, length(k) / lengths[k], 1e-12);
    const std::size_t c = static_cast<std::size_t>(k);
    double largest = 0, difference = 0;
    for (long i = 0; i < n; ++i)
      if (std::fabs(tm.mprot(i, k)) > std::fabs(largest)) largest = tm.mprot(i, k);
    const double sign = whole[0][c] * tm.mprot(0, k) < 0 ? -1 : 1;
    for (long i = 0; i < n; ++i)
      difference =
          std::max(difference, std::fabs(sign * whole[static_cast<std::size_t>(i)][c] - tm.mprot(i, k)));
    EXPECT_GT(largest, 0);
    EXPECT_LE(difference, 1e-8 * std::sqrt(lengths[k]));
  }
}

// The largest eigenvalues, those of 2 on the diagonal and 1 beside it, crowd at 4.
TEST_F(Mds, WholeReductionFollowsAnIterationThatFails) {
  constexpr long n = 1001;
  MatFullD points(n, n + 1);
  points.setrows(n, 0.0);
  for (long i = 0; i < n; ++i) points(i, i) = points(i, i + 1) = 1;
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  ASSERT_EQ(1, tm.mds_cor());
  EXPECT_FALSE(tm.getspectrum().at_most);
  EXPECT_NEAR(4, length(0), 1e-4);
}

TEST_F(Mds, RefusesFewerThanTwoPrototypesOrOneDimension) {
  prepare(1, 2, 0, 0.0);
  EXPECT_EQ(0, tm.mds(1));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  prepare(2, 2, 0, 0.0);
  EXPECT_EQ(1, tm.mds(1));
  prepare_mapping(5, 2, 2, 0, 0.0);
  EXPECT_EQ(0, tm.mds(0));
  EXPECT_EQ(1, tm.done(ToMapp::minidone)) << "states are left alone";
}

}  // namespace
}  // namespace qvtx::test
