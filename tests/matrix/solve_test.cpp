// Linear systems, diagonalisation by rotations and orthonormalisation, by the equations that they solve.

#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

using Solve = LinearAlgebra;

MatFullD symmetric(long n, unsigned long seed) {
  const MatFullD a = random_matrix(n, n, seed);
  return product(a, transposed(a));
}

TEST_F(Solve, LeavesTheSmallestResidual) {
  for (const auto& [m, n] : {std::pair{1L, 1L}, {5L, 5L}, {30L, 4L}, {4L, 9L}}) {
    const MatFullD a = random_matrix(m, n, 3), b = random_matrix(m, 3, 4);
    MatFullD x;
    x.solve(a, b, 0);
    ASSERT_EQ(x.nrow(), n);
    MatFullD residual = product(a, x);
    residual.assign(b, '-');
    EXPECT_LE(difference(product(transposed(a), residual), matrix(n, 3)), 1e-12) << m << " x " << n;
  }
}

TEST_F(Solve, TakesTheShortestOfManySolutionsAndInvertsWhenAsked) {
  MatFullD solution;
  solution.solve(matrix(2, 2, {1, 1, 2, 2}), matrix(2, 1, {4, 8}), 0);
  EXPECT_LE(difference(solution, matrix(2, 1, {2, 2})), 1e-14);
  const MatFullD a = symmetric(6, 5), x = random_matrix(6, 2, 6);
  solution.copy(a);
  solution.solve(solution, product(a, x), 1);
  EXPECT_LE(difference(solution, x), 1e-9);
}

TEST(SolveDeath, RefusesOtherShapes) {
  MatFullD x;
  const MatFullD wide = random_matrix(2, 3, 1);
  EXPECT_FATAL(x.solve(wide, matrix(3, 1), 0), "71");
  EXPECT_FATAL(x.solve(wide, matrix(2, 1), 1), "61");
  MatFullD values;
  x.copy(wide);
  EXPECT_FATAL(x.diago(values, 0), "51");
  EXPECT_FATAL(x.ortho(2L), "52");
}

TEST_F(Solve, DiagonalisesSymmetricMatrices) {
  for (const long n : {1L, 2L, 3L, 20L}) {
    const MatFullD a = symmetric(n, 7);
    MatFullD v = copy_of(a), values;
    v.diago(values, 1e-15);
    MatFullD scaled = copy_of(v);
    for (long i = 0; i < n; ++i)
      for (long k = 0; k < n; ++k) scaled(i, k) *= values(0, k);
    EXPECT_LE(difference(product(a, v), scaled), 1e-13 * static_cast<double>(n + 1)) << n;
    EXPECT_LE(difference(product(transposed(v), v), identity(n)), 1e-13) << n;
    for (long k = 1; k < n; ++k) EXPECT_GE(values(0, k - 1), values(0, k));
  }
  MatFullD exchange = matrix(2, 2, {0, 1, 1, 0}), values;
  exchange.diago(values, 0);
  EXPECT_LE(difference(values, matrix(1, 2, {1, -1})), epsilon);
}

TEST_F(Solve, OrthonormalRows) {
  const MatFullD a = random_matrix(5, 8, 8);
  MatFullD together = copy_of(a), in_turn = copy_of(a);
  together.ortho(1e-13);
  for (long k = 0; k < 5; ++k) in_turn.ortho(k);
  EXPECT_LE(difference(product(together, transposed(together)), identity(5)), 1e-13);
  EXPECT_LE(difference(product(in_turn, transposed(in_turn)), identity(5)), 1e-13);
  // The symmetric form is the polar factor: A is a symmetric positive matrix times it.
  const MatFullD factor = product(a, transposed(together));
  EXPECT_LE(difference(factor, transposed(factor)), 1e-12);
  // The other keeps the direction of the first row.
  EXPECT_NEAR(in_turn.dps(0, a, 0), std::sqrt(a.dps(0, 0)), 1e-13);
  EXPECT_EQ(console(), "");
  MatFullD dependent = matrix(2, 2, {1, 2, 2, 4});
  dependent.ortho(1e-13);
  EXPECT_EQ(console(), "MatFullD.ortho: no convergence!\n");
}

}  // namespace
}  // namespace qvtx::test
