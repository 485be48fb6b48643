// Principal components against the covariance and against the decomposition of the centred data.

#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

using PrincipalComponents = LinearAlgebra;

// C V' = V' diag(values) for the population covariance C, orthonormal rows, decreasing variances.
void check_components(const MatFullD& x, double tolerance) {
  const long d = x.ncol();
  MatFullD mean, vectors, values, covariance;
  x.pca(mean, vectors, values, d, 0);
  x.cov(covariance);
  const double top = values(0, 0);
  const MatFullD turned = product(vectors, product(covariance, transposed(vectors)));
  for (long i = 0; i < d; ++i) {
    for (long j = 0; j < d; ++j)
      EXPECT_NEAR(turned(i, j), i == j ? values(i, 0) : 0, tolerance * top) << i << ' ' << j;
    EXPECT_LE(values(i, 0), values(std::max(0L, i - 1), 0));
  }
  EXPECT_LE(difference(product(vectors, transposed(vectors)), identity(d)), tolerance);
  MatFullD average;
  x.avg(average);
  EXPECT_EQ(difference(mean, average), 0);
}

TEST_F(PrincipalComponents, ComponentsDiagonaliseTheCovariance) {
  const long shapes[][2] = {{2, 1}, {200, 10}, {129, 3}, {128, 17}, {1000, 30}, {8, 8}, {5, 9}, {2, 6}};
  for (const auto& [n, d] : shapes) {
    MatFullD x = random_matrix(n, d, 30);
    for (long i = 0; i < n; ++i) {
      for (long j = 0; j < d; ++j) x(i, j) = x(i, j) * static_cast<double>(1 + j % 4) + 100;
    }
    SCOPED_TRACE(std::to_string(n) + " x " + std::to_string(d));
    check_components(x, 1e-11);
  }
}

// The way over the triangle against the decomposition of the centred data themselves.
TEST_F(PrincipalComponents, TallDataHaveTheComponentsOfTheWholeMatrix) {
  const MatFullD x = random_matrix(700, 12, 31);
  MatFullD vectors, values, w, v;
  x.pca(vectors, values, 0, 0);
  MatFullD centred = copy_of(x);
  centred.center();
  centred.svd(w, v, 1e-6);
  const std::vector<double> expected = sorted_values(w);
  for (long c = 0; c < 12; ++c) {
    const double s = expected[static_cast<size_t>(c)];
    EXPECT_NEAR(values(c, 0), s * s / 700, 1e-13 * values(0, 0));
    const long best = std::find(w.data(), w.data() + 12, s) - w.data();
    double cosine = 0;
    for (long j = 0; j < 12; ++j) cosine += vectors(c, j) * v(j, best);
    EXPECT_NEAR(std::fabs(cosine), 1, 1e-12);
  }
}

TEST_F(PrincipalComponents, WideDataHaveTheBitsOfTheDecomposition) {
  const MatFullD x = random_matrix(6, 9, 32);
  MatFullD mean, vectors, values, w, v;
  x.pca(mean, vectors, values, 9, 0);
  MatFullD centred = copy_of(x);
  centred.center(mean);
  centred.svd(w, v, 1e-6);
  for (long c = 0; c < 9; ++c) {
    const long best = std::max_element(w.data(), w.data() + 9) - w.data();  // the first of equal ones
    EXPECT_EQ(values(c, 0), w(0, best) * w(0, best) / 6);
    for (long j = 0; j < 9; ++j) EXPECT_EQ(vectors(c, j), v(j, best));
    w(0, best) = -1;
  }
}

TEST_F(PrincipalComponents, NumberOfComponentsAndShorterForms) {
  const MatFullD x = random_matrix(50, 4, 33);
  MatFullD mean, vectors, values, vectors2, values2, values3;
  x.pca(mean, vectors, values, 4, 0);
  for (const long k : {0L, -3L, 5L}) {
    x.pca(vectors2, values2, k, 0);
    EXPECT_EQ(values2.nrow(), 4);
  }
  x.pca(vectors2, values2, 2, 0);
  x.pca(values3, 2, 1);
  ASSERT_EQ(vectors2.nrow(), 2);
  EXPECT_TRUE(same_bits(vectors2.data(), vectors.data(), 8));
  EXPECT_TRUE(same_bits(values2.data(), values.data(), 2));
  ASSERT_EQ(values3.nrow(), 2);
  EXPECT_TRUE(same_bits(values3.data(), values.data(), 2));
}

TEST_F(PrincipalComponents, ScaledDirectionsGiveUnitVariance) {
  MatFullD x =
      product(random_matrix(60, 2, 34), random_matrix(2, 3, 35));  // rank 2: one direction without variance
  MatFullD mean, vectors, values;
  x.pca(mean, vectors, values, 3, 1);
  EXPECT_EQ(values(2, 0), 0);
  x.center(mean);
  const MatFullD projected = product(x, transposed(vectors));
  MatFullD variances;
  projected.var(variances);
  EXPECT_NEAR(variances(0, 0), 1, 1e-12);
  EXPECT_NEAR(variances(0, 1), 1, 1e-12);
  EXPECT_NEAR(variances(0, 2), 0, 1e-12);
  EXPECT_NEAR(vectors.dps(2, 2), 1, 1e-12);  // left at length 1
}

TEST_F(PrincipalComponents, ComponentsOfExtremeAndConstantData) {
  for (const double scale : {1e-180, 1e-150, 1.0, 1e150}) {
    MatFullD x = random_matrix(40, 3, 36);
    MatFullD vectors, values, expected, scaled_vectors;
    x.pca(vectors, expected, 3, 0);
    x.assign(matrix(1, 1, {scale}), '*');
    x.pca(scaled_vectors, values, 3, 0);
    for (long c = 0; c < 3; ++c) {
      double cosine = 0;
      for (long j = 0; j < 3; ++j) cosine += vectors(c, j) * scaled_vectors(c, j);
      EXPECT_NEAR(std::fabs(cosine), 1, 1e-12) << scale;
      EXPECT_NEAR(std::sqrt(values(c, 0)) / scale, scale < 1e-160 ? 0 : std::sqrt(expected(c, 0)), 1e-13);
    }
  }
  MatFullD constant = matrix(9, 2);
  constant.setrows(0);
  constant.setrows(9, 3.5);
  MatFullD vectors, values;
  constant.pca(vectors, values, 2, 1);
  EXPECT_EQ(values(0, 0), 0);
  EXPECT_EQ(values(1, 0), 0);
  EXPECT_EQ(difference(product(vectors, transposed(vectors)), identity(2)), 0);
  EXPECT_EQ(console(), "");
}

TEST_F(PrincipalComponents, ComponentsOfNonFiniteDataReport) {
  MatFullD x = random_matrix(20, 3, 37);
  x(4, 1) = nan;
  MatFullD vectors, values;
  x.pca(vectors, values, 3, 1);
  EXPECT_GT(values.nnan(), 0);
  EXPECT_EQ(console().find("MatFullD.svd: svd received NaN\nMatFullD.svd: svd produced NaN\n"), 0u);
  EXPECT_TRUE(std::filesystem::exists("svd.bin"));
}

}  // namespace
}  // namespace qvtx::test
