// Classical multidimensional scaling against what it must recover.

#include <algorithm>

#include "support/mapping.h"

namespace qvtx {
namespace {

using test::MappingTest;

class Mds : public MappingTest {
 protected:
  double image_distance(long i, long j) const { return tm.mprot.sdas(i, j, no_bound); }
  /// Sum of squares of an axis: its eigenvalue.
  double length(long axis) const {
    double sum = 0;
    for (long i = 0; i < tm.mprot.nrow(); ++i) sum += tm.mprot(i, axis) * tm.mprot(i, axis);
    return sum;
  }
};

TEST_F(Mds, RecoversConfigurationsInSpace) {
  for (const long n : {2L, 3L, 4L, 5L, 80L}) {
    prepare(n, 3, 0, 0.0);
    ASSERT_EQ(1, tm.mds(3)) << n;
    EXPECT_STREQ("Multidimensional Scaling", tm.getmname());
    EXPECT_EQ(1, tm.done(ToMapp::mfindone));
    if (n < 5) continue;  // flat: the surplus axes are rounding errors, or NaN
    const double largest = tm.real("tdxs");
    for (long i = 0; i < n; ++i) {
      for (long j = 0; j < i; ++j)
        EXPECT_NEAR(tm.prot.sdas(i, j, no_bound), image_distance(i, j), 1e-5 * largest);
    }
  }
}

TEST_F(Mds, AxesAreThePrincipalComponents) {
  prepare(60, 4, 0, 0.0);
  for (long i = 0; i < 60; ++i) {
    for (long k = 0; k < 4; ++k) tm.prot(i, k) *= static_cast<double>(k + 1);  // well separated variances
  }
  MatFullD stretched;
  stretched.copy(tm.prot);
  prototypes(tm, stretched, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(4, 1));
  MatFullD scores;
  scores.copy(tm.mprot);
  ASSERT_EQ(1, tm.mds(4));
  const double largest = tm.real("tdxs");
  for (long k = 0; k < 4; ++k) {
    double product = 0;
    for (long i = 0; i < 60; ++i) product += scores(i, k) * tm.mprot(i, k);
    const double sign = product < 0 ? -1 : 1;
    for (long i = 0; i < 60; ++i) EXPECT_NEAR(scores(i, k), sign * tm.mprot(i, k), 1e-5 * largest) << k;
  }
}

TEST_F(Mds, AxesAreEigenvectorsOfTheCentredMatrix) {
  // With graph distances pairs of different components count as nothing.
  for (const double w : {0.0, 0.5, 1.0}) {
    prepare(45, 3, 3, w, 3);
    ASSERT_EQ(3, tm.ncomp());
    ASSERT_EQ(1, tm.mds(2));
    const long n = 45;
    std::vector<std::vector<double>> b(45, std::vector<double>(45, 0.0));
    MatFullD graph_scratch;
    for (long i = 0; i < n; ++i) {
      const double* graph = tm.graph_row(i, graph_scratch);
      for (long j = 0; j < n; ++j) {
        if (w > 0 && tm.pidx(i, 0) != tm.pidx(j, 0)) continue;
        const double d = (1 - w) * tm.prot.sdas(i, j, no_bound) + (w > 0 ? w * graph[j] : 0.0);
        b[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = -0.5 * d * d;
      }
    }
    std::vector<double> mean(45, 0.0);
    double overall = 0;
    for (std::size_t i = 0; i < 45; ++i) {
      for (std::size_t j = 0; j < 45; ++j) mean[i] += b[i][j] / 45;
      overall += mean[i] / 45;
    }
    for (long k = 0; k < 2; ++k) {
      const double lambda = length(k);
      for (std::size_t i = 0; i < 45; ++i) {
        double product = 0;
        for (std::size_t j = 0; j < 45; ++j) {
          product += (b[i][j] - mean[i] - mean[j] + overall) * tm.mprot(static_cast<long>(j), k);
        }
        EXPECT_NEAR(lambda * tm.mprot(static_cast<long>(i), k), product,
                    1e-5 * lambda * std::sqrt(length(0)));
      }
    }
    EXPECT_GE(length(0), length(1));
  }
}

TEST_F(Mds, PrintsTheEigenvaluesAndLeavesSurplusAxesUndefined) {
  // The corners of a rectangle 2 x 6 round the origin: eigenvalues 36 and 4, and two that are 0.
  MatFullD points;
  test::fill(points, {{1, 3}, {1, -3}, {-1, 3}, {-1, -3}});
  prototypes(tm, points, 0);
  tm.verbose = 1;
  ASSERT_EQ(1, tm.dist_ini(0));
  console.take();
  ASSERT_EQ(1, tm.mds(6));
  const std::string text = console.take();
  const std::string head = "ToMapp.mds: mapping ... Eigenvalues:\n 36.00\n  4.00\n";
  const std::size_t begin = text.find(head);
  ASSERT_NE(std::string::npos, begin) << text;
  const std::string rest = text.substr(begin + head.size());
  EXPECT_EQ(std::string("done!\n"), rest.substr(rest.find("done!"), 6)) << rest;
  EXPECT_EQ(2, std::count(rest.begin(), rest.begin() + static_cast<long>(rest.find("done!")), '\n')) << rest;
  for (long i = 0; i < 4; ++i) {
    EXPECT_NEAR(3, std::fabs(tm.mprot(i, 0)), 1e-6);
    EXPECT_NEAR(1, std::fabs(tm.mprot(i, 1)), 1e-6);
    EXPECT_TRUE(std::isnan(tm.mprot(i, 4)) && std::isnan(tm.mprot(i, 5))) << "more axes than prototypes";
  }
}

TEST_F(Mds, RefusesFewerThanTwoPrototypesOrOneDimension) {
  prepare(1, 2, 0, 0.0);
  EXPECT_EQ(0, tm.mds(1));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  prepare_mapping(5, 2, 2, 0, 0.0);
  EXPECT_EQ(0, tm.mds(0));
  EXPECT_EQ(1, tm.done(ToMapp::minidone)) << "states are left alone";
}

}  // namespace
}  // namespace qvtx
