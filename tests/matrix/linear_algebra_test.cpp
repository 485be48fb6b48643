// Singular values, inverse and rotations: properties, closed forms, and plain loops as references.

#include <iostream>
#include <utility>

#include "matrix/golub_reinsch.h"
#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

// ---- Singular values ----

// U diag(w) V' against the input, orthogonality of V, and of U's columns that belong to positive values.
void check_svd(const MatFullD& a, const std::string& name) {
  MatFullD u = copy_of(a);
  MatFullD w;
  MatFullD v;
  u.svd(w, v, 0);
  const long n = a.ncol();
  ASSERT_EQ(w.nrow(), 1) << name;
  ASSERT_EQ(w.ncol(), n) << name;
  ASSERT_EQ(v.nrow(), n) << name;
  MatFullD scaled = copy_of(u);
  scaled.assign(w, '*');
  const double size = static_cast<double>(std::max(a.nrow(), n));
  const double top = *std::max_element(w.data(), w.data() + n);
  EXPECT_LE(difference(product(scaled, transposed(v)), a), 8 * size * epsilon * top) << name;
  EXPECT_LE(difference(product(transposed(v), v), identity(n)), 8 * size * epsilon) << name;
  const MatFullD gram = product(transposed(u), u);
  for (long i = 0; i < n; ++i) {
    EXPECT_GE(w(0, i), 0) << name;
    for (long j = 0; j < n; ++j) {
      if (w(0, i) <= 1e-10 * top || w(0, j) <= 1e-10 * top) continue;
      EXPECT_NEAR(gram(i, j), i == j ? 1 : 0, 8 * size * epsilon) << name;
    }
  }
}

TEST_F(LinearAlgebra, SvdRebuildsTheMatrixFromOrthogonalFactors) {
  const long shapes[][2] = {{1, 1}, {2, 1}, {1, 4}, {2, 2}, {5, 5}, {40, 7}, {33, 33}, {4, 19}, {100, 64}};
  for (const auto& [m, n] : shapes) {
    check_svd(random_matrix(m, n, 17), std::to_string(m) + " x " + std::to_string(n));
  }
  check_svd(matrix(4, 3), "zero");
  check_svd(matrix(3, 3, {5, 0, 0, 0, 1e-9, 0, 0, 0, 2}), "diagonal");
  check_svd(matrix(4, 4, {1, 2, 0, 0, 0, 0, 3, 0, 0, 0, 1, 4, 0, 0, 0, 2}), "zero on the bidiagonal");
  MatFullD deficient = product(random_matrix(30, 3, 1), random_matrix(3, 12, 2));
  check_svd(deficient, "rank 3");
  for (const double scale : {1e-200, 1e200}) {
    MatFullD a = random_matrix(8, 5, 4);
    a.assign(matrix(1, 1, {scale}), '*');
    check_svd(a, "scaled");
  }
  EXPECT_EQ(console(), "");
}

TEST_F(LinearAlgebra, SvdOfTheIdentity) {
  MatFullD u = identity(2);
  MatFullD w;
  MatFullD v;
  u.svd(w, v, 0);
  EXPECT_NEAR(w(0, 0), 1, epsilon);
  EXPECT_NEAR(w(0, 1), 1, epsilon);
  EXPECT_NEAR(std::fabs(u(0, 0) * u(1, 1) - u(0, 1) * u(1, 0)), 1, 4 * epsilon);
  EXPECT_NEAR(std::fabs(v(0, 0) * v(1, 1) - v(0, 1) * v(1, 0)), 1, 4 * epsilon);
}

// The Hilbert-like closed form: the n x n upper triangle of ones has the singular values 1 / (2 cos(k pi /
// (2n + 1))).
TEST_F(LinearAlgebra, SvdOfTheTriangleOfOnesHasItsKnownValues) {
  constexpr long n = 20;
  MatFullD a = matrix(n, n);
  for (long i = 0; i < n; ++i) {
    for (long j = i; j < n; ++j) a(i, j) = 1;
  }
  MatFullD w;
  MatFullD v;
  a.svd(w, v, 0);
  const std::vector<double> values = sorted_values(w);
  for (long k = 1; k <= n; ++k) {
    const double expected = 1 / (2 * std::cos(static_cast<double>(k) * M_PI / (2 * n + 1)));
    EXPECT_NEAR(values[static_cast<size_t>(n - k)], expected, 40 * epsilon * values[0]) << k;
  }
}

TEST_F(LinearAlgebra, SvdCutsValuesBelowTheTolerance) {
  MatFullD a = product(random_matrix(6, 1, 8), random_matrix(1, 4, 9));
  MatFullD w;
  MatFullD v;
  a.svd(w, v, 1e-10);
  EXPECT_EQ(std::count(w.data(), w.data() + 4, 0.0), 3);
  MatFullD b = matrix(2, 2, {4, 0, 0, 1});
  b.svd(w, v, 0.25);  // the limit itself is cut
  EXPECT_EQ(sorted_values(w), (std::vector<double>{4, 0}));
}

TEST_F(LinearAlgebra, SvdOfAnEmptyMatrixTouchesNothing) {
  MatFullD empty(0, 3);
  MatFullD w = matrix(1, 2, {7, 8});
  MatFullD v = matrix(1, 1, {9});
  empty.svd(w, v, 0);
  EXPECT_EQ(w(0, 1), 8);
  EXPECT_EQ(v(0, 0), 9);
}

TEST_F(LinearAlgebra, SvdOfNonFiniteNumbersEndsAndReports) {
  const long shapes[][2] = {{3, 3}, {6, 2}, {2, 5}, {1, 1}};
  for (const auto& [m, n] : shapes) {
    for (const double bad : {nan, std::numeric_limits<double>::infinity()}) {
      MatFullD a = random_matrix(m, n, 5);
      a(m - 1, n / 2) = bad;
      const MatFullD input = copy_of(a);
      MatFullD w;
      MatFullD v;
      a.svd(w, v, 0);
      MatFullD saved;
      ASSERT_EQ(saved.load_bin("svd.bin", 0), 1);
      EXPECT_TRUE(same_bits(saved.data(), input.data(), m * n));
      std::filesystem::remove("svd.bin");
    }
  }
  EXPECT_EQ(console().find(
                "MatFullD.svd: svd received NaN\nMatFullD.svd: svd produced NaN\nsaving binary file svd.bin"),
            0u);
  EXPECT_EQ(console().find("no convergence"), std::string::npos);
}

TEST_F(LinearAlgebra, RightVectorsAndValuesAloneHaveTheBitsOfTheFullForm) {
  for (const auto& [m, n] : {std::pair<long, long>{30, 12}, {12, 30}}) {
    const MatFullD a = random_matrix(m, n, 21);
    std::vector<double> w[3], vt[2];
    for (auto& values : w) values.resize(static_cast<size_t>(n));
    for (auto& vectors : vt) vectors.resize(static_cast<size_t>(n * n));
    MatFullD copies[3];
    for (auto& copy : copies) copy.copy(a);
    GolubReinsch(copies[0].data(), m, n).full(w[0].data(), vt[0].data());
    GolubReinsch(copies[1].data(), m, n).right(w[1].data(), vt[1].data());
    GolubReinsch(copies[2].data(), m, n).values(w[2].data());
    EXPECT_EQ(w[0], w[1]);
    EXPECT_EQ(w[0], w[2]);
    EXPECT_EQ(vt[0], vt[1]);
  }
}

// ---- Inverse ----

// The definition: Crout's factors, both triangles inverted, U inverse times L inverse; sums as the library
// orders them.
MatFullD plain_inverse(const MatFullD& a) {
  const long n = a.nrow();
  MatFullD f = copy_of(a);
  for (long i = 0; i < n; ++i) {
    for (long r = i; r < n; ++r) {
      for (long k = 0; k < i; ++k) f(r, i) -= f(r, k) * f(k, i);
    }
    for (long c = i + 1; c < n; ++c) {
      for (long k = 0; k < i; ++k) f(i, c) -= f(i, k) * f(k, c);
      f(i, c) /= f(i, i);
    }
  }
  MatFullD lower = matrix(n, n);
  MatFullD upper = identity(n);
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < i; ++j) {
      for (long k = j; k < i; ++k) lower(i, j) -= f(i, k) * lower(k, j);
      lower(i, j) /= f(i, i);
    }
    lower(i, i) = 1 / f(i, i);
  }
  for (long i = n - 1; i >= 0; --i) {
    for (long j = i + 1; j < n; ++j) {
      for (long k = j; k > i; --k) upper(i, j) -= f(i, k) * upper(k, j);
    }
  }
  MatFullD out = matrix(n, n);
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < n; ++j) {
      for (long k = n - 1; k >= std::max(i, j); --k) out(i, j) += upper(i, k) * lower(k, j);
    }
  }
  return out;
}

TEST_F(LinearAlgebra, InverseIsThatOfCroutsFactorsToTheBit) {
  for (const long n : {2L, 3L, 31L, 32L, 33L, 64L, 100L}) {
    MatFullD a = random_matrix(n, n, 6);
    for (long i = 0; i < n; ++i) a(i, i) += static_cast<double>(n);
    const MatFullD expected = plain_inverse(a);
    MatFullD inverse = copy_of(a);
    double q = -1;
    inverse.inv(q);
    EXPECT_EQ(difference(inverse, expected), 0) << n;
    EXPECT_GT(q, 0) << n;
    EXPECT_LT(q, static_cast<double>(n) * 1e-14) << n;
    EXPECT_LE(difference(product(a, inverse), identity(n)), q + static_cast<double>(n) * epsilon) << n;
  }
}

TEST_F(LinearAlgebra, InverseOfSmallMatrices) {
  MatFullD zero = matrix(1, 1, {0});
  EXPECT_EQ(zero.inv()(0, 0), 0);
  MatFullD four = matrix(1, 1, {4});
  EXPECT_EQ(four.inv()(0, 0), 0.25);
  MatFullD empty;
  double q = 5;
  EXPECT_EQ(&empty.inv(q), &empty);
  EXPECT_EQ(q, 0);
  MatFullD two = matrix(2, 2, {2, 1, 1, 1});
  two.inv();
  EXPECT_EQ(difference(two, matrix(2, 2, {1, -1, -1, 2})), 0);
}

TEST_F(LinearAlgebra, AVanishingPivotIsNotCaughtAndShowsInTheAccuracy) {
  MatFullD a = matrix(2, 2, {0, 1, 1, 0});
  double q = 0;
  a.inv(q);
  EXPECT_TRUE(std::isnan(q));
}

// ---- Rotations ----

TEST_F(LinearAlgebra, RotationsOfColumnsAndRows) {
  MatFullD a = matrix(1, 2, {1, 2});
  a.colrot(0, 1, 0, 1);
  EXPECT_EQ(a(0, 0), -2);
  EXPECT_EQ(a(0, 1), 1);
  MatFullD b = random_matrix(4, 5, 2);
  MatFullD c = transposed(b);
  b.colrot(3, 1, 0.6, 0.8);
  c.rowrot(3, 1, 0.6, 0.8);
  EXPECT_EQ(difference(transposed(b), c), 0);
  b.colrot(3, 1, 0.6, -0.8);
  EXPECT_LE(difference(b, random_matrix(4, 5, 2)), 4 * epsilon);
}

TEST(LinearAlgebraDeathTest, ShapeErrorsEndTheProgram) {
  const auto on_error = [] { os.stream = &std::cerr; };
  MatFullD a = matrix(2, 3, {1, 2, 3, 4, 5, 6});
  MatFullD empty(0, 3);
  MatFullD out;
  const auto ok = ::testing::ExitedWithCode(0);
  EXPECT_EXIT((on_error(), a.inv()), ok, "error a61");
  EXPECT_EXIT((on_error(), a.inv()), ok, "the dimensions of argument 0 and argument  0 differ");
  EXPECT_EXIT((on_error(), a.colrot(3, 0, 1, 0)), ok,
              "error a182(.|\n)*value of argument 1 out of range : 3");
  EXPECT_EXIT((on_error(), a.colrot(0, -1, 1, 0)), ok,
              "error a182(.|\n)*value of argument 2 out of range : -1");
  EXPECT_EXIT((on_error(), a.rowrot(0, 2, 1, 0)), ok,
              "error a181(.|\n)*value of argument 2 out of range : 2");
  EXPECT_EXIT((on_error(), empty.pca(out, 1, 0)), ok, "error a7(.|\n)*value of argument 0");
}

}  // namespace
}  // namespace qvtx::test
