// Principal components against the covariance.

#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

using PrincipalComponents = LinearAlgebra;

/// |cos| of the angle between two rows of unit length.
double cosine(const MatFullD& a, long i, const MatFullD& b, long j) { return std::fabs(a.dps(i, b, j)); }

// V C V' = diag(values) for the population covariance C, orthonormal rows, decreasing variances.
TEST_F(PrincipalComponents, ComponentsDiagonaliseTheCovariance) {
  const long shapes[][2] = {{2, 1}, {200, 10}, {129, 3}, {128, 17}, {1000, 30}, {8, 8}, {5, 9}, {2, 6}};
  for (const auto& [n, d] : shapes) {
    SCOPED_TRACE(std::to_string(n) + " x " + std::to_string(d));
    MatFullD x = random_matrix(n, d, 30), mean, vectors, values, covariance, average;
    for (long c = 0; c < n * d; ++c) x.data()[c] = x.data()[c] * static_cast<double>(1 + c % d % 4) + 100;
    x.pca(mean, vectors, values, d, 0);
    x.cov(covariance);
    x.avg(average);
    EXPECT_EQ(difference(mean, average), 0);
    MatFullD diagonal = identity(d);
    diagonal.assign(values, '*');
    const MatFullD turned = product(vectors, product(covariance, transposed(vectors)));
    EXPECT_LE(difference(turned, diagonal), 1e-11 * values(0, 0));
    EXPECT_LE(difference(product(vectors, transposed(vectors)), identity(d)), 1e-11);
    EXPECT_TRUE(std::is_sorted(values.data(), values.data() + d, std::greater<>()));
  }
}

TEST_F(PrincipalComponents, NumberOfComponentsAndShorterForms) {
  const MatFullD x = random_matrix(50, 4, 33);
  MatFullD mean, vectors, values, vectors2, values2;
  x.pca(mean, vectors, values, 4, 0);
  for (const long k : {0L, -3L, 5L, 2L}) {
    const long kept = k == 2 ? 2 : 4;
    x.pca(vectors2, values2, k, 0);
    ASSERT_EQ(vectors2.nrow(), kept) << k;
    ASSERT_EQ(values2.nrow(), kept) << k;
    EXPECT_TRUE(same_bits(vectors2.data(), vectors.data(), kept * 4));
    EXPECT_TRUE(same_bits(values2.data(), values.data(), kept));
    x.pca(values2, k, 1);
    ASSERT_EQ(values2.nrow(), kept);
    EXPECT_TRUE(same_bits(values2.data(), values.data(), kept));
  }
}

TEST_F(PrincipalComponents, ScaledDirectionsGiveUnitVariance) {
  // Rank 2 but for a millionth: one direction counts as without variance and is left at length 1.
  MatFullD x = product(random_matrix(60, 2, 34), random_matrix(2, 3, 35)), mean, vectors, values, variances;
  for (long c = 0; c < 180; ++c) x.data()[c] += 1e-8 * u_rand();
  x.pca(mean, vectors, values, 3, 1);
  x.center(mean);
  product(x, transposed(vectors)).var(variances);
  EXPECT_LE(difference(variances, matrix(1, 3, {1, 1, 0})), 1e-12);
  EXPECT_EQ(values(2, 0), 0);
  EXPECT_NEAR(vectors.dps(2, 2), 1, 1e-12);
}

TEST_F(PrincipalComponents, OfExtremeConstantAndNonFiniteData) {
  MatFullD vectors, values;
  for (const double scale : {1e-180, 1e-150, 1e150}) {
    MatFullD x = random_matrix(40, 3, 36), expected, scaled_vectors;
    x.pca(vectors, expected, 3, 0);
    x.assign(matrix(1, 1, {scale}), '*');
    x.pca(scaled_vectors, values, 3, 0);
    for (long c = 0; c < 3; ++c) {
      EXPECT_NEAR(cosine(vectors, c, scaled_vectors, c), 1, 1e-12) << scale;
      EXPECT_NEAR(std::sqrt(values(c, 0)) / scale, scale < 1e-160 ? 0 : std::sqrt(expected(c, 0)), 1e-13);
    }
  }
  matrix(9, 2, std::vector<double>(18, 3.5)).pca(vectors, values, 2, 1);
  EXPECT_EQ(sorted_values(values)[0], 0);
  EXPECT_EQ(difference(product(vectors, transposed(vectors)), identity(2)), 0);
  EXPECT_EQ(console(), "");
}

}  // namespace
}  // namespace qvtx::test
