// The symmetric eigen solver: residuals, closed forms, orders, sorts, error reports, and the record of the QL
// iteration.

#include "local/mgceigen.h"

#include "local/implicit_ql.h"
#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

/// A symmetric matrix from its lower triangle.
MatFullD symmetric(long n, const std::function<double(long, long)>& element) {
  MatFullD a = matrix(n, n);
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j <= i; ++j) a(i, j) = a(j, i) = element(i, j);
  }
  return a;
}

MatFullD random_symmetric(long n, unsigned long seed) {
  const MatFullD a = random_matrix(n, n, seed);
  return symmetric(n, [&](long i, long j) { return a(i, j); });
}

template <class Real>
void fill(mgcEigenT<Real>& problem, const MatFullD& a) {
  std::vector<std::vector<Real>> copies;
  std::vector<Real*> rows;
  for (long i = 0; i < a.nrow(); ++i) copies.emplace_back(a.row(i), a.row(i) + a.ncol());
  for (auto& copy : copies) rows.push_back(copy.data());
  problem.Matrix(rows.data());
}

template <class Real>
MatFullD vectors(const mgcEigenT<Real>& problem, long k) {
  MatFullD v = matrix(problem.size, k);
  for (long i = 0; i < problem.size; ++i) std::copy(problem.mat[i], problem.mat[i] + k, v.row(i));
  return v;
}

/// A V = V diag and V'V = 1, element by element.
template <class Real>
void check_pairs(const MatFullD& a, const mgcEigenT<Real>& problem, double tolerance) {
  const MatFullD v = vectors(problem, problem.size);
  MatFullD scaled = copy_of(v);
  for (long i = 0; i < a.nrow(); ++i) {
    for (long j = 0; j < a.ncol(); ++j) scaled(i, j) *= static_cast<double>(problem.diag[j]);
  }
  double squares = 0;
  for (long i = 0; i < a.nrow(); ++i) squares += a.dps(i, i);
  EXPECT_LE(difference(product(a, v), scaled), tolerance * std::sqrt(squares));
  EXPECT_LE(difference(product(transposed(v), v), identity(a.nrow())), tolerance * 10);
}

struct Case {
  std::string name;
  MatFullD matrix;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const long n : {2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 33, 64, 100, 300})
    all.push_back({"random " + std::to_string(n), random_symmetric(n, 7)});
  const auto add = [&](const char* name, long n, const std::function<double(long, long)>& element) {
    all.push_back({name, symmetric(n, element)});
  };
  add("zero", 6, [](long, long) { return 0.0; });
  add("diagonal", 9, [](long i, long j) { return i == j ? static_cast<double>(i * 5 % 9) : 0.0; });
  add("ones", 40, [](long, long) { return 1.0; });
  add("blocks", 12, [](long i, long j) { return i / 3 == j / 3 ? 1.0 + (i == j) : 0.0; });
  const auto hilbert = [](long i, long j) { return 1.0 / static_cast<double>(1 + i - j); };
  add("graded", 20, [&](long i, long j) { return std::pow(10.0, -(i + j) / 2) * hilbert(i, j); });
  add("graded upward", 20, [&](long i, long j) { return std::pow(10.0, (i + j) / 2 - 20) * hilbert(i, j); });
  add("order 3 without corner", 3,
      [](long i, long j) { return i - j == 2 ? 0.0 : static_cast<double>(1 + i); });
  add("tridiagonal", 15, [](long i, long j) { return i == j ? 2.0 : i - j == 1 ? -1.0 : 0.0; });
  return all;
}

class Eigen : public LinearAlgebra {
 protected:
  Eigen() { mgcEigenD::error = mgcEigen::error = 0; }
};

TEST_F(Eigen, VectorsSolveTheProblemInEveryOrderOfSorting) {
  for (const Case& test : cases()) {
    SCOPED_TRACE(test.name);
    const int n = static_cast<int>(test.matrix.nrow());
    mgcEigenD plain(n), rising(n), falling(n);
    mgcEigen small(n);
    for (auto* problem : {&plain, &rising, &falling}) fill(*problem, test.matrix);
    fill(small, test.matrix);
    plain.EigenStuff();
    rising.IncrSortEigenStuff();
    falling.DecrSortEigenStuff();
    small.DecrSortEigenStuff();
    for (auto* problem : {&plain, &rising, &falling}) check_pairs(test.matrix, *problem, 1e-14);
    // Small elements vanish beside the epsilon of float.
    if (test.name.find("graded") != 0) check_pairs(test.matrix, small, 3e-6);
    std::sort(plain.diag, plain.diag + n);
    EXPECT_TRUE(std::equal(plain.diag, plain.diag + n, rising.diag));
    EXPECT_TRUE(std::equal(rising.diag, rising.diag + n, std::reverse_iterator(falling.diag + n)));
    // The leading pairs alone.
    for (const int k : {0, 1, 2, 9, 40, n, n + 1}) {
      mgcEigenD leading(n);
      fill(leading, test.matrix);
      leading.DecrSortEigenStuff(k);
      EXPECT_TRUE(std::equal(falling.diag, falling.diag + n, leading.diag));
      const int kept = std::min(k, n);
      if (kept == 0) continue;
      EXPECT_LE(difference(vectors(falling, kept), vectors(leading, kept)), 1e-12) << k;
    }
  }
  EXPECT_EQ(mgcEigenD::error, 0u);
  EXPECT_EQ(mgcEigen::error, 0u);
}

// Large elements last, as the reduction and the sweeps prefer: D M D with a well-conditioned M.
TEST_F(Eigen, GradedMatricesKeepTheirSmallEigenvalues) {
  mgcEigenD graded(12);
  fill(graded, symmetric(12, [](long i, long j) {
         return std::pow(10.0, static_cast<double>(i + j - 22)) * (i == j ? 2.0 : 0.5);
       }));
  graded.IncrSortEigenStuff();
  EXPECT_NEAR(graded.diag[0] / 1e-22, 1.5, 0.4);
}

TEST_F(Eigen, ResultsHaveTheSameBitsAtEveryLevel) {
  const MatFullD a = random_symmetric(75, 13);
  MatFullD first[3];
  for (const Isa level : instruction_sets()) {
    set_isa_level(level);
    mgcEigenD full(75), leading(75);
    mgcEigen small(75);
    fill(full, a);
    fill(leading, a);
    fill(small, a);
    full.DecrSortEigenStuff();
    leading.DecrSortEigenStuff(10);
    small.EigenStuff();
    const MatFullD found[] = {vectors(full, 75), vectors(leading, 10), vectors(small, 75)};
    for (int k = 0; k < 3; ++k) {
      if (level == Isa::baseline) first[k].copy(found[k]);
      EXPECT_EQ(difference(found[k], first[k]), 0) << k;
    }
  }
}

TEST_F(Eigen, ErrorsAreReported) {
  mgcEigenD problem(1);
  EXPECT_EQ(problem.mat, nullptr);
  EXPECT_EQ(problem.diag, nullptr);
  EXPECT_EQ(problem.subd, nullptr);
  EXPECT_EQ(mgcEigenD::error, mgcEigenD::invalid_size);
  problem.DecrSortEigenStuff();
  problem.IncrSortEigenStuff();
  problem.DecrSortEigenStuff(1);
  EXPECT_EQ(read_file("eigen.err"), "mgcEigenD: invalid matrix size\n");

  MatFullD a = random_symmetric(6, 15);
  a(3, 1) = a(1, 3) = nan;
  mgcEigenD full(6), leading(6);
  fill(full, a);
  fill(leading, a);
  mgcEigenD::verbose = 1;
  full.DecrSortEigenStuff();
  leading.DecrSortEigenStuff(2);
  mgcEigenD::verbose = 0;
  const std::string line = "mgcEigenD: QL algorithm - exceeded maximum iterations\n";
  EXPECT_EQ(console(), line + line);
  EXPECT_EQ(mgcEigenD::error, mgcEigenD::invalid_size | mgcEigenD::ql_exceeded);
  EXPECT_EQ(mgcEigenD::Number(0), -1);
  EXPECT_EQ(mgcEigenD::Number(0x80000000u), 31);
  std::ostringstream out;
  mgcEigenD::Report(out);
  EXPECT_EQ(out.str(), "mgcEigenD: invalid matrix size\n" + line);
  EXPECT_EQ(mgcEigenD::error, 0u);
}

// The record of the iteration gives the same bits however it is kept.
TEST(QLHistory, MultipliesTheRotationsInStretchesOfAnyLength) {
  constexpr long n = 60;
  for (const long k : {1L, 8L, 9L, n}) {
    MatFullD whole;
    for (const long stretch : {1L << 22, 1L, 50L, 1000L}) {
      MatFullD diag = random_matrix(1, n, 1), coupling = random_matrix(1, n, 2);
      coupling(0, n - 1) = 0;
      QLHistory<double> history(stretch);
      EXPECT_EQ(history.run(n, diag.data(), coupling.data()), ImplicitQL<double>::State::converged);
      VectorPanels<double> panels(n, k);
      for (long v = 0; v < k; ++v) panels.at(v, v) = 1;
      history.multiply(panels);
      MatFullD z = matrix(n, k);
      for (long c = 0; c < n * k; ++c) z.data()[c] = panels.at(c / k, c % k);
      if (whole.nrow() == 0) whole.copy(z);
      EXPECT_EQ(difference(z, whole), 0) << k << ' ' << stretch;
    }
  }
}

}  // namespace
}  // namespace qvtx::test
