// Leading eigenpairs by block Lanczos: against the whole reduction, against what makes iterations fail, and
// its loops against plain ones.

#include "local/block_lanczos.h"

#include "local/lanczos_kernels.h"
#include "local/mgceigen.h"
#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

std::vector<const double*> rows_of(const MatFullD& a) {
  std::vector<const double*> rows;
  for (long i = 0; i < a.nrow(); ++i) rows.push_back(a.row(i));
  return rows;
}

/// The matrix with these eigenvalues whose vectors are the columns of a reflection.
MatFullD with_spectrum(const std::vector<double>& values) {
  const long n = static_cast<long>(values.size());
  MatFullD u = random_matrix(1, n, 3), q = identity(n), d = matrix(n, n);
  const double square = u.dps(0, 0);
  for (long i = 0; i < n; ++i) {
    d(i, i) = values[static_cast<size_t>(i)];
    for (long j = 0; j < n; ++j) q(i, j) -= 2 * u(0, i) * u(0, j) / square;
  }
  return product(product(q, d), q);
}

MatFullD found_vectors(const BlockLanczos& iteration, long n, long k) {
  MatFullD v = matrix(n, k);
  for (long c = 0; c < n * k; ++c) v(c % n, c / n) = iteration.vector(c / n)[c % n];
  return v;
}

class Lanczos : public LinearAlgebra {};

TEST_F(Lanczos, FindsLeadingPairsWhereTheyRepeatOrVanish) {
  struct Case {
    const char* name;
    std::vector<double> leading;
    double others;  // eigenvalues of the rest lie between -others and others
    long wanted;
  };
  for (const Case& c : {Case{"apart", {9, 5, 2, -8}, 0.1, 3}, Case{"equal", {5, 5, 5, 5, 5, 5, 5}, 0.1, 4},
                        Case{"one value", {1, 1, 1}, 0, 3}, Case{"zero", {}, 0, 2},
                        Case{"a pair among larger negative ones", {3, 3, -50, -40}, 0.1, 2}}) {
    SCOPED_TRACE(c.name);
    constexpr long n = 150;
    std::vector<double> values = c.leading;
    while (values.size() < n) values.push_back(c.others * std::cos(static_cast<double>(values.size())));
    const MatFullD a = with_spectrum(values);
    const std::vector<const double*> rows = rows_of(a);
    BlockLanczos iteration(rows.data(), n, c.wanted);
    ASSERT_TRUE(iteration.run());
    std::sort(values.rbegin(), values.rend());
    const MatFullD v = found_vectors(iteration, n, c.wanted);
    MatFullD scaled = copy_of(v);
    for (long k = 0; k < c.wanted; ++k) {
      EXPECT_NEAR(iteration.value(k), values[static_cast<size_t>(k)], 1e-12);
      for (long i = 0; i < n; ++i) scaled(i, k) *= iteration.value(k);
    }
    EXPECT_LE(difference(product(a, v), scaled), 1e-12);
    EXPECT_LE(difference(product(transposed(v), v), identity(c.wanted)), 1e-13);
  }
}

TEST_F(Lanczos, GivesUpWhereItDoesNotConverge) {
  MatFullD path = matrix(200, 200);  // its largest eigenvalues lie side by side
  for (long i = 1; i < 200; ++i) path(i, i - 1) = 1;
  const std::vector<const double*> rows = rows_of(path);
  EXPECT_FALSE(BlockLanczos(rows.data(), 200, 2).run());
  path(150, 3) = nan;
  EXPECT_FALSE(BlockLanczos(rows.data(), 200, 2).run());
}

/// Eight partial sums, folded, and what follows the last whole eight.
double plain_product(const double* x, const double* y, long eights, long n) {
  double sums[8] = {};
  for (long k = 0; k < eights; ++k) sums[k % 8] += x[k] * y[k];
  for (int half = 4; half > 0; half /= 2) {
    for (int i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  for (long k = eights; k < n; ++k) sums[0] += x[k] * y[k];
  return sums[0];
}

TEST_F(Lanczos, LoopsHaveTheBitsOfPlainOnesAtEveryLevel) {
  constexpr long count = 7;
  for (const long n : {1L, 7L, 8L, 9L, 31L, 64L, 77L}) {
    const MatFullD a = random_matrix(n, n, 1), x = random_matrix(count, n, 2), q = random_matrix(count, n, 3);
    MatFullD product = matrix(count, n), shares = matrix(1, count), sum = copy_of(x);
    for (long c = 0; c < count; ++c) {
      shares(0, c) = plain_product(q.row(c), x.row(0), n / 8 * 8, n);
      for (long k = 0; k < n; ++k) sum(0, k) += shares(0, c) * q(c, k);
      for (long j = 0; j < n; ++j) {
        product(c, j) = plain_product(a.row(j), x.row(c), j / 8 * 8, j + 1);
        for (long i = j + 1; i < n; ++i) product(c, j) += x(c, i) * a(i, j);
      }
    }
    for (const Isa level : instruction_sets()) {
      set_isa_level(level);
      MatFullD y = matrix(count, n), products = matrix(1, count), combined = copy_of(x);
      std::vector<double*> to;
      for (long c = 0; c < count; ++c) to.push_back(y.row(c));
      lanczos_kernels().multiply(rows_of(a).data(), n, rows_of(x).data(), to.data(), count);
      lanczos_kernels().project(rows_of(q).data(), count, x.row(0), n, products.data());
      lanczos_kernels().combine(rows_of(q).data(), count, products.data(), combined.row(0), n);
      EXPECT_TRUE(same_bits(y.data(), product.data(), count * n)) << n;
      EXPECT_TRUE(same_bits(products.data(), shares.data(), count)) << n;
      EXPECT_TRUE(same_bits(combined.data(), sum.data(), n)) << n;
    }
  }
}

}  // namespace
}  // namespace qvtx::test
