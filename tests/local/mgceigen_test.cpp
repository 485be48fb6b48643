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
      EXPECT_TRUE(kept == 0 || difference(vectors(falling, kept), vectors(leading, kept)) <= 1e-12) << k;
    }
  }
  EXPECT_EQ(mgcEigenD::error + mgcEigen::error, 0u);
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

// Q T Q' gives the matrix back, for the general form and for every order's own.
TEST_F(Eigen, TheReductionIsASimilarity) {
  for (const int n : {2, 3, 4, 5, 8, 20, 70}) {
    const MatFullD a = random_symmetric(n, 12);
    mgcEigenD problem(n);
    fill(problem, a);
    if (n == 2) problem.Tridiagonal2(problem.mat, problem.diag, problem.subd);
    if (n == 3) problem.Tridiagonal3(problem.mat, problem.diag, problem.subd);
    if (n == 4) problem.Tridiagonal4(problem.mat, problem.diag, problem.subd);
    if (n > 4) problem.TridiagonalN(n, problem.mat, problem.diag, problem.subd);
    const MatFullD q = vectors(problem, n),
                   t = symmetric(n, [&](long i, long j) {
                     return i == j ? problem.diag[i] : i - j == 1 ? problem.subd[j] : 0.0;
                   });
    EXPECT_LE(difference(product(q, product(t, transposed(q))), a), 1e-13) << n;
    EXPECT_EQ(problem.subd[n - 1], 0);
    EXPECT_TRUE(n != 2 || (problem.diag[1] == a(1, 1) && problem.subd[0] == a(0, 1)));
    if (n != 3) continue;
    const double length = std::hypot(a(0, 1), a(0, 2));
    EXPECT_EQ(problem.diag[0], a(0, 0));
    EXPECT_NEAR(problem.subd[0], length, 1e-15);
    EXPECT_NEAR(q(1, 1), a(0, 1) / length, 1e-15);
    EXPECT_TRUE(q(2, 2) == -q(1, 1) && q(1, 2) == q(2, 1));
  }
}

TEST_F(Eigen, ResultsHaveTheSameBitsAtEveryLevel) {
  const MatFullD a = random_symmetric(75, 13);
  MatFullD first[3];
  for (const Isa level : levels()) {
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

// Selection by exchanges, as one would write it down.
TEST_F(Eigen, SortsExchangeWholeColumns) {
  constexpr int n = 12;
  for (const bool rising : {false, true}) {
    MatFullD plain = random_matrix(n, n, 3), values = matrix(1, n);
    mgcEigenD problem(n);
    fill(problem, plain);
    for (int i = 0; i < n; ++i) problem.diag[i] = values(0, i) = static_cast<double>(ul_rand() % 5);
    for (long i = 0; i + 1 < n; ++i) {
      long best = i;
      for (long j = i + 1; j < n; ++j) {
        if (rising ? values(0, j) < values(0, best) : values(0, j) > values(0, best)) best = j;
      }
      std::swap(values(0, i), values(0, best));
      for (long row = 0; row < n; ++row) std::swap(plain(row, i), plain(row, best));
    }
    if (rising) {
      problem.IncreasingSort(n, problem.diag, problem.mat);
    } else {
      problem.DecreasingSort(n, problem.diag, problem.mat);
    }
    EXPECT_TRUE(same_bits(values.data(), problem.diag, n));
    EXPECT_EQ(difference(plain, vectors(problem, n)), 0);
  }
}

TEST_F(Eigen, ErrorsAreReported) {
  mgcEigenD problem(1);
  EXPECT_TRUE(problem.mat == nullptr && problem.diag == nullptr && problem.subd == nullptr);
  EXPECT_EQ(mgcEigenD::error, mgcEigenD::invalid_size);
  problem.DecrSortEigenStuff();
  problem.IncrSortEigenStuff();
  problem.DecrSortEigenStuff(1);
  const mgcEigen small(0);
  EXPECT_EQ(read_file("eigen.err"), "mgcEigenD: invalid matrix size\nmgcEigen: invalid matrix size\n");

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
  for (const auto& [bit, number] : {std::pair{0u, -1}, {1u, 0}, {4u, 2}, {0x80000000u, 31}})
    EXPECT_EQ(mgcEigenD::Number(bit), number);
  std::ostringstream out;
  mgcEigenD::Report(out);
  EXPECT_EQ(out.str(), "mgcEigenD: invalid matrix size\n" + line);
  EXPECT_EQ(mgcEigenD::error, 0u);
}

// The record of the iteration, multiplied to unit vectors, gives Z with Z diag Z' = T, however it is kept.
TEST(QLHistory, MultipliesTheRotationsInStretchesOfAnyLength) {
  constexpr long n = 60;
  for (const long k : {1L, 8L, 9L, n}) {
    MatFullD whole;
    for (const long stretch : {1L << 22, 1L, 50L, 1000L}) {
      MatFullD diag = random_matrix(1, n, 1), coupling = random_matrix(1, n, 2);
      coupling(0, n - 1) = 0;
      const MatFullD t = symmetric(n, [&](long i, long j) {
        return i == j ? diag(0, i) : i - j == 1 ? coupling(0, j) : 0.0;
      });
      QLHistory<double> history(stretch);
      EXPECT_EQ(history.run(n, diag.data(), coupling.data()), ImplicitQL<double>::State::converged);
      VectorPanels<double> panels(n, k);
      for (long v = 0; v < k; ++v) panels.at(v, v) = 1;
      history.multiply(panels);
      MatFullD z = matrix(n, k);
      for (long c = 0; c < n * k; ++c) z.data()[c] = panels.at(c / k, c % k);
      if (whole.nrow() == 0) whole.copy(z);
      EXPECT_EQ(difference(z, whole), 0) << k << ' ' << stretch;
      if (k < n) continue;
      MatFullD scaled = copy_of(z);
      scaled.assign(diag, '*');
      EXPECT_LE(difference(product(scaled, transposed(z)), t), 1e-13);
    }
  }
}

}  // namespace
}  // namespace qvtx::test
