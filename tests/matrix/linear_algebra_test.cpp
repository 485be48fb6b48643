// Singular values and inverse: properties, closed forms, and plain loops as references; the hot
// loops against plain ones, bit for bit, at every instruction set.

#include "matrix/linear/golub_reinsch.h"
#include "matrix/linear/linear_kernels.h"
#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

// ---- Singular values ----

/// U diag(w) V' against the input, orthogonality of V, and of U's columns that belong to positive values.
void check_svd(const MatFullD& a) {
  MatFullD u = copy_of(a), w, v;
  u.svd(w, v, 0);
  const long n = a.ncol();
  ASSERT_EQ(w.nrow(), 1);
  ASSERT_EQ(w.ncol(), n);
  ASSERT_EQ(v.nrow(), n);
  MatFullD scaled = copy_of(u);
  scaled.assign(w, '*');
  const double size = static_cast<double>(std::max(a.nrow(), n)), top = sorted_values(w)[0];
  EXPECT_LE(difference(product(scaled, transposed(v)), a), 8 * size * epsilon * top);
  EXPECT_LE(difference(product(transposed(v), v), identity(n)), 8 * size * epsilon);
  const MatFullD gram = product(transposed(u), u);
  for (long i = 0; i < n; ++i) {
    EXPECT_GE(w(0, i), 0);
    for (long j = 0; j < n; ++j) {
      if (w(0, i) <= 1e-10 * top || w(0, j) <= 1e-10 * top) continue;
      EXPECT_NEAR(gram(i, j), i == j ? 1 : 0, 8 * size * epsilon);
    }
  }
}

TEST_F(LinearAlgebra, SvdRebuildsTheMatrixFromOrthogonalFactors) {
  std::vector<MatFullD> cases;
  for (const auto& [m, n] :
       {std::pair{1L, 1L}, {2, 1}, {1, 4}, {2, 2}, {5, 5}, {40, 7}, {33, 33}, {4, 19}, {100, 64}})
    cases.push_back(random_matrix(m, n, 17));
  cases.push_back(matrix(4, 3));
  cases.push_back(matrix(3, 3, {5, 0, 0, 0, 1e-9, 0, 0, 0, 2}));
  cases.push_back(matrix(4, 4, {1, 2, 0, 0, 0, 0, 3, 0, 0, 0, 1, 4, 0, 0, 0, 2}));  // zero on the bidiagonal
  cases.push_back(product(random_matrix(30, 3, 1), random_matrix(3, 12, 2)));       // rank 3
  for (const double scale : {1e-200, 1e200}) {
    cases.push_back(random_matrix(8, 5, 4));
    cases.back().assign(matrix(1, 1, {scale}), '*');
  }
  for (const MatFullD& a : cases) {
    SCOPED_TRACE(&a - cases.data());
    check_svd(a);
    // Right vectors and values alone have the bits of the full form.
    const long m = a.nrow(), n = a.ncol();
    MatFullD full = copy_of(a), right = copy_of(a), alone = copy_of(a), w[3], vt[2];
    for (MatFullD& values : w) values = matrix(1, n);
    for (MatFullD& vectors : vt) vectors = matrix(n, n);
    GolubReinsch(full.data(), m, n).full(w[0].data(), vt[0].data());
    GolubReinsch(right.data(), m, n).right(w[1].data(), vt[1].data());
    GolubReinsch(alone.data(), m, n).values(w[2].data());
    EXPECT_EQ(difference(w[0], w[1]), 0);
    EXPECT_EQ(difference(w[0], w[2]), 0);
    EXPECT_EQ(difference(vt[0], vt[1]), 0);
  }
  EXPECT_EQ(console(), "");
}

TEST_F(LinearAlgebra, SvdCutsValuesUpToTheToleranceAndLeavesAnEmptyMatrix) {
  MatFullD a = product(random_matrix(6, 1, 8), random_matrix(1, 4, 9)), w, v;
  a.svd(w, v, 1e-10);
  EXPECT_EQ(std::count(w.data(), w.data() + 4, 0.0), 3);
  MatFullD b = matrix(2, 2, {4, 0, 0, 1}), empty(0, 3);
  b.svd(w, v, 0.25);  // the limit itself is cut
  empty.svd(w, v, 0);
  EXPECT_EQ(sorted_values(w), (std::vector<double>{4, 0}));
}

TEST_F(LinearAlgebra, SvdOfNonFiniteNumbersEndsAndReports) {
  for (const auto& [m, n] : {std::pair{3L, 3L}, {6, 2}, {2, 5}, {1, 1}}) {
    for (const double bad : {nan, no_bound}) {
      MatFullD a = random_matrix(m, n, 5), w, v, saved;
      a(m - 1, n / 2) = bad;
      const MatFullD input = copy_of(a);
      a.svd(w, v, 0);
      ASSERT_EQ(saved.load_bin("svd.bin", 0), 1);
      EXPECT_TRUE(same_bits(saved.data(), input.data(), m * n));
      std::filesystem::remove("svd.bin");
    }
  }
  const std::string reports =
      "MatFullD.svd: svd received NaN\nMatFullD.svd: svd produced NaN\nsaving binary file svd.bin";
  EXPECT_EQ(console().find(reports), 0u);
  EXPECT_EQ(console().find("no convergence"), std::string::npos);
}

// ---- Inverse ----

TEST_F(LinearAlgebra, InverseTimesTheMatrixIsTheIdentity) {
  for (const long n : {1L, 2L, 3L, 31L, 32L, 33L, 64L, 100L}) {
    MatFullD a = random_matrix(n, n, 6);
    for (long i = 0; i < n; ++i) a(i, i) += static_cast<double>(n);
    const double rounding = static_cast<double>(n) * 1e-14;
    MatFullD inverse = copy_of(a);
    double q = -1;
    inverse.inv(q);
    EXPECT_GE(q, n == 1 ? 0 : std::numeric_limits<double>::denorm_min()) << n;
    EXPECT_LT(q, rounding) << n;
    EXPECT_LE(difference(product(a, inverse), identity(n)), q + rounding / 40) << n;
  }
  MatFullD zero = matrix(1, 1, {0}), empty, swap = matrix(2, 2, {0, 1, 1, 0});
  EXPECT_EQ(zero.inv()(0, 0), 0);
  double q = 5;
  EXPECT_EQ(&empty.inv(q), &empty);
  EXPECT_EQ(q, 0);
  swap.inv(q);  // a vanishing pivot is not caught and shows in the accuracy
  EXPECT_TRUE(std::isnan(q));
}

TEST_F(LinearAlgebra, AnInversionTellsItsShareUpToTheWhole) {
  for (const long n : {2, 31, 32, 33, 100}) {
    std::vector<double> shares = {0};
    identity(n).inv([&](double share) { shares.push_back(share); });
    EXPECT_EQ(std::adjacent_find(shares.begin(), shares.end(), std::greater_equal<>()), shares.end()) << n;
    EXPECT_DOUBLE_EQ(shares.back(), 1) << n;
  }
}

TEST(LinearAlgebraDeathTest, ShapeErrorsEndTheProgram) {
  MatFullD a = matrix(2, 3, {1, 2, 3, 4, 5, 6}), empty(0, 3), out;
  EXPECT_FATAL(a.inv(), "error a61\n.*the dimensions of argument 0 and argument  0 differ");
  EXPECT_FATAL(a.colrot(0, -1, 1, 0), "error a182\n.*value of argument 2 out of range : -1");
  EXPECT_FATAL(a.rowrot(2, 0, 1, 0), "error a181\n.*value of argument 1 out of range : 2");
  EXPECT_FATAL(empty.pca(out, 1, 0), "error a7\n.*value of argument 0");
}

// ---- The hot loops ----

/// Sum of products in `lanes` partial sums, which are added by halves.
double plain_dot(const double* x, const double* y, long n, long lanes) {
  double sums[16] = {};
  for (long i = 0; i < n; ++i) sums[i % lanes] += x[i] * y[i];
  for (long half = lanes / 2; half > 0; half /= 2) {
    for (long i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  return sums[0];
}

TEST_F(LinearAlgebra, DotHasTheBitsOfThePlainLoopAtEveryLevel) {
  const MatFullD a = random_matrix(2, 100, 3);
  for (const Isa level : instruction_sets()) {
    set_isa_level(level);
    for (const long n : {0L, 1L, 7L, 15L, 16L, 17L, 31L, 32L, 33L, 100L})
      EXPECT_EQ(linear_kernels().dot(a.row(0), a.row(1), n), plain_dot(a.row(0), a.row(1), n, 16)) << n;
  }
}

/// c less the product of a and b, whose terms are taken off in the order of k from `first` in steps of
/// `step`.
void plain_multiply_subtract(MatFullD& c, const MatFullD& a, const MatFullD& b, long first, long step,
                             long inner) {
  for (long t = 0; t < inner; ++t) {
    const long k = first + step * t;
    for (long i = 0; i < c.nrow(); ++i)
      for (long j = 0; j < c.ncol(); ++j) c(i, j) -= a(i, k) * b(k, j);
  }
}

TEST_F(LinearAlgebra, MultiplyAddHasTheBitsOfThePlainLoopAtEveryLevel) {
  const long sizes[][3] = {{1, 1, 1}, {3, 5, 7}, {4, 300, 16}, {5, 257, 33}, {9, 2, 50}, {2, 0, 5}};
  for (const auto& [rows, inner, cols] : sizes) {
    const MatFullD a = random_matrix(rows, inner + 1, 1), b = random_matrix(inner + 1, cols, 2),
                   start = random_matrix(rows, cols, 3);
    for (const long step : {1, -1}) {  // k increasing, and k decreasing through negative steps
      const long first = step < 0 ? inner - 1 : 0;
      MatFullD expected = copy_of(start);
      plain_multiply_subtract(expected, a, b, first, step, inner);
      for (const Isa level : instruction_sets()) {
        set_isa_level(level);
        MatFullD c = copy_of(start);
        linear_kernels().multiply_add(c.data(), cols, a.data() + first, inner + 1, step,
                                      b.data() + first * cols, step * cols, rows, inner, cols, -1);
        EXPECT_TRUE(same_bits(c.data(), expected.data(), rows * cols)) << rows << ' ' << inner << ' ' << cols;
      }
    }
  }
}

/// The same reflections with plain loops; row i of the block holds column i of the rows to absorb.
void plain_absorb(MatFullD& r, MatFullD& block) {
  for (long i = 0; i < r.ncol(); ++i) {
    double& corner = r(i, i);
    const double squares = plain_dot(block.row(i), block.row(i), qr_block_rows, 8);
    if (squares < qr_negligible) continue;
    const double norm = std::sqrt(corner * corner + squares), beta = corner < 0 ? norm : -norm;
    const double head = corner - beta;
    corner = beta;
    for (long j = i + 1; j < r.ncol(); ++j) {
      const double dot = plain_dot(block.row(i), block.row(j), qr_block_rows, 8);
      const double factor = (head * r(i, j) + dot) * (1 / (beta * head));
      r(i, j) += factor * head;
      for (long k = 0; k < qr_block_rows; ++k) block(j, k) += factor * block(i, k);
    }
  }
}

TEST_F(LinearAlgebra, AbsorbRowsHasTheBitsOfThePlainLoopAtEveryLevel) {
  for (const long n : {1L, 4L, 5L, 10L}) {
    MatFullD expected = matrix(n, n);
    for (const unsigned long part : {1UL, 2UL}) {
      MatFullD block = random_matrix(n, qr_block_rows, part);
      plain_absorb(expected, block);
    }
    for (const Isa level : instruction_sets()) {
      set_isa_level(level);
      MatFullD r = matrix(n, n);
      for (const unsigned long part : {1UL, 2UL})
        linear_kernels().absorb_rows(r.data(), random_matrix(n, qr_block_rows, part).data(), n);
      EXPECT_TRUE(same_bits(r.data(), expected.data(), n * n)) << n;
    }
  }
}

}  // namespace
}  // namespace qvtx::test
