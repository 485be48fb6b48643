// The symmetric eigen solver: residuals, closed forms, orders, sorts and error reports.

#include "local/mgceigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "base/isa.h"
#include "base/ostr.h"
#include "base/random.h"

namespace qvtx {
namespace {

template <class Real>
using Rows = std::vector<std::vector<Real>>;

// A symmetric matrix from its lower triangle.
Rows<double> symmetric(int n, const std::function<double(int, int)>& element) {
  Rows<double> a(static_cast<size_t>(n), std::vector<double>(static_cast<size_t>(n)));
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) {
      a[static_cast<size_t>(i)][static_cast<size_t>(j)] = a[static_cast<size_t>(j)][static_cast<size_t>(i)] =
          element(i, j);
    }
  }
  return a;
}

double uniform() { return 2.0 * static_cast<double>(ul_rand()) / 4294967295.0 - 1.0; }

Rows<double> random_symmetric(int n, unsigned long seed) {
  setseed(seed);
  return symmetric(n, [](int, int) { return uniform(); });
}

template <class Real>
void fill(mgcEigenT<Real>& problem, const Rows<double>& a) {
  for (int i = 0; i < problem.size; ++i) {
    for (int j = 0; j < problem.size; ++j) {
      problem.mat[i][j] = static_cast<Real>(a[static_cast<size_t>(i)][static_cast<size_t>(j)]);
    }
  }
}

double norm(const Rows<double>& a) {
  double sum = 0;
  for (const auto& row : a) {
    for (const double x : row) sum += x * x;
  }
  return std::sqrt(sum);
}

// |A V - V diag| and |V'V - 1| over the first k columns, element by element.
template <class Real>
void check_pairs(const Rows<double>& a, const mgcEigenT<Real>& problem, int k, double tolerance,
                 const std::string& name) {
  const size_t n = a.size();
  double residual = 0;
  double skew = 0;
  for (int v = 0; v < k; ++v) {
    for (size_t i = 0; i < n; ++i) {
      double sum = -static_cast<double>(problem.diag[v]) * static_cast<double>(problem.mat[i][v]);
      for (size_t j = 0; j < n; ++j) sum += a[i][j] * static_cast<double>(problem.mat[j][v]);
      residual = std::max(residual, std::fabs(sum));
    }
    for (int u = 0; u <= v; ++u) {
      double sum = u == v ? -1 : 0;
      for (size_t i = 0; i < n; ++i)
        sum += static_cast<double>(problem.mat[i][u]) * static_cast<double>(problem.mat[i][v]);
      skew = std::max(skew, std::fabs(sum));
    }
  }
  EXPECT_LE(residual, tolerance * norm(a)) << name;
  EXPECT_LE(skew, tolerance * 10) << name;
}

struct Case {
  std::string name;
  Rows<double> matrix;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const int n : {2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 33, 64, 100, 300}) {
    all.push_back({"random " + std::to_string(n), random_symmetric(n, 7)});
  }
  all.push_back({"zero", symmetric(6, [](int, int) { return 0.0; })});
  all.push_back({"diagonal", symmetric(9, [](int i, int j) { return i == j ? (i * 5) % 9 : 0.0; })});
  all.push_back({"ones", symmetric(40, [](int, int) { return 1.0; })});
  all.push_back(
      {"blocks", symmetric(12, [](int i, int j) { return i / 3 == j / 3 ? 1.0 + (i == j) : 0.0; })});
  all.push_back(
      {"graded", symmetric(20, [](int i, int j) { return std::pow(10.0, -(i + j) / 2) / (1 + i - j); })});
  all.push_back({"graded upward",
                 symmetric(20, [](int i, int j) { return std::pow(10.0, (i + j) / 2 - 20) / (1 + i - j); })});
  all.push_back({"tridiagonal", symmetric(15, [](int i, int j) {
                   return i == j ? 2.0 : i - j == 1 ? -1.0 : 0.0;
                 })});
  all.push_back(
      {"order 3 without corner", symmetric(3, [](int i, int j) { return i - j == 2 ? 0.0 : 1.0 + i; })});
  return all;
}

class Eigen : public ::testing::Test {
 protected:
  void SetUp() override {
    home_ = std::filesystem::current_path();
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() / (std::string("qvtx_eigen_") + test->name());
    std::filesystem::create_directories(folder_);
    std::filesystem::current_path(folder_);
    mgcEigenD::error = 0;
    mgcEigen::error = 0;
  }
  void TearDown() override {
    set_isa_level(isa_best());
    std::filesystem::current_path(home_);
    std::filesystem::remove_all(folder_);
  }
  static std::string error_file() {
    std::ifstream in("eigen.err");
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  std::filesystem::path home_;
  std::filesystem::path folder_;
};

TEST_F(Eigen, VectorsSolveTheProblemInEveryOrderOfSorting) {
  for (const Case& test : cases()) {
    const int n = static_cast<int>(test.matrix.size());
    mgcEigenD plain(n), rising(n), falling(n);
    for (auto* problem : {&plain, &rising, &falling}) fill(*problem, test.matrix);
    plain.EigenStuff();
    rising.IncrSortEigenStuff();
    falling.DecrSortEigenStuff();
    check_pairs(test.matrix, plain, n, 1e-14, test.name);
    check_pairs(test.matrix, rising, n, 1e-14, test.name);
    check_pairs(test.matrix, falling, n, 1e-14, test.name);
    EXPECT_TRUE(std::is_sorted(rising.diag, rising.diag + n)) << test.name;
    EXPECT_TRUE(std::is_sorted(falling.diag, falling.diag + n, std::greater<double>())) << test.name;
    std::sort(plain.diag, plain.diag + n);
    EXPECT_TRUE(std::equal(plain.diag, plain.diag + n, rising.diag)) << test.name;
  }
  EXPECT_EQ(mgcEigenD::error, 0u);
}

TEST_F(Eigen, TheFloatClassSolvesInFloat) {
  for (const Case& test : cases()) {
    if (test.name.find("graded") == 0) continue;  // small elements vanish beside the float epsilon
    const int n = static_cast<int>(test.matrix.size());
    mgcEigen problem(n);
    fill(problem, test.matrix);
    problem.DecrSortEigenStuff();
    check_pairs(test.matrix, problem, n, 3e-6, test.name);
  }
  EXPECT_EQ(mgcEigen::error, 0u);
}

// Second differences: eigenvalues 4 sin^2(k pi / (2 (n + 1))).
TEST_F(Eigen, KnownEigenvalues) {
  for (const int n : {2, 3, 4, 50}) {
    mgcEigenD problem(n);
    fill(problem, symmetric(n, [](int i, int j) { return i == j ? 2.0 : i - j == 1 ? -1.0 : 0.0; }));
    problem.IncrSortEigenStuff();
    for (int k = 1; k <= n; ++k) {
      const double root = 2 * std::sin(k * M_PI / (2 * (n + 1)));
      EXPECT_NEAR(problem.diag[k - 1], root * root, 1e-14 * n) << n << ' ' << k;
    }
  }
}

TEST_F(Eigen, GradedMatricesKeepTheirSmallEigenvalues) {
  // Large elements last, as the reduction and the QL sweeps prefer: a scaled matrix D M D with a
  // well-conditioned M.
  constexpr int n = 12;
  const auto a = symmetric(n, [](int i, int j) { return std::pow(10.0, i + j - 22) * (i == j ? 2.0 : 0.5); });
  mgcEigenD problem(n);
  fill(problem, a);
  problem.IncrSortEigenStuff();
  EXPECT_GT(problem.diag[0], 0);
  EXPECT_NEAR(problem.diag[0] / 1e-22, 1.5, 0.4);
}

TEST_F(Eigen, ClosedFormsOfTheReduction) {
  const auto a = random_symmetric(3, 11);
  mgcEigenD problem(3);
  fill(problem, a);
  problem.Tridiagonal3(problem.mat, problem.diag, problem.subd);
  const double length = std::hypot(a[0][1], a[0][2]);
  EXPECT_EQ(problem.diag[0], a[0][0]);
  EXPECT_NEAR(problem.subd[0], length, 1e-15);
  EXPECT_EQ(problem.subd[2], 0);
  EXPECT_NEAR(problem.mat[1][1], a[0][1] / length, 1e-15);
  EXPECT_EQ(problem.mat[2][2], -problem.mat[1][1]);
  EXPECT_EQ(problem.mat[1][2], problem.mat[2][1]);

  mgcEigenD two(2);
  fill(two, {{1, 7}, {7, 3}});
  two.Tridiagonal2(two.mat, two.diag, two.subd);
  EXPECT_EQ(two.diag[1], 3);
  EXPECT_EQ(two.subd[0], 7);
  EXPECT_EQ(two.subd[1], 0);
  EXPECT_EQ(two.mat[0][1], 0);
}

// Q T Q' gives the matrix back, for the general form and for every order's own.
TEST_F(Eigen, TheReductionIsASimilarity) {
  for (const int n : {3, 4, 5, 8, 20, 70}) {
    const auto a = random_symmetric(n, 12);
    mgcEigenD problem(n);
    fill(problem, a);
    if (n == 3) {
      problem.Tridiagonal3(problem.mat, problem.diag, problem.subd);
    } else if (n == 4) {
      problem.Tridiagonal4(problem.mat, problem.diag, problem.subd);
    } else {
      problem.TridiagonalN(n, problem.mat, problem.diag, problem.subd);
    }
    EXPECT_EQ(problem.subd[n - 1], 0);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        double sum = 0;
        for (int k = 0; k < n; ++k) {
          sum += problem.mat[i][k] * problem.diag[k] * problem.mat[j][k];
          if (k == n - 1) continue;
          sum += problem.subd[k] *
                 (problem.mat[i][k] * problem.mat[j][k + 1] + problem.mat[i][k + 1] * problem.mat[j][k]);
        }
        EXPECT_NEAR(sum, a[static_cast<size_t>(i)][static_cast<size_t>(j)], 1e-13) << n;
      }
    }
  }
}

TEST_F(Eigen, LeadingPairsAreThoseOfTheFullForm) {
  for (const Case& test : cases()) {
    const int n = static_cast<int>(test.matrix.size());
    mgcEigenD full(n);
    fill(full, test.matrix);
    full.DecrSortEigenStuff();
    for (const int k : {0, 1, 2, 9, 40, n, n + 1}) {
      mgcEigenD leading(n);
      fill(leading, test.matrix);
      leading.DecrSortEigenStuff(k);
      EXPECT_TRUE(std::equal(full.diag, full.diag + n, leading.diag)) << test.name;
      double most = 0;
      for (int v = 0; v < std::min(k, n); ++v) {
        for (int i = 0; i < n; ++i) most = std::max(most, std::fabs(full.mat[i][v] - leading.mat[i][v]));
      }
      EXPECT_LE(most, 1e-12) << test.name << ' ' << k;
    }
  }
}

TEST_F(Eigen, ResultsHaveTheSameBitsAtEveryLevel) {
  const auto a = random_symmetric(75, 13);
  std::vector<double> first;
  for (const Isa level : {Isa::baseline, Isa::avx2, Isa::avx512}) {
    set_isa_level(level);
    mgcEigenD full(75), leading(75);
    mgcEigen small(75);
    fill(full, a);
    fill(leading, a);
    fill(small, a);
    full.DecrSortEigenStuff();
    leading.DecrSortEigenStuff(10);
    small.EigenStuff();
    std::vector<double> all(full.diag, full.diag + 75);
    for (int i = 0; i < 75; ++i) {
      all.insert(all.end(), full.mat[i], full.mat[i] + 75);
      all.insert(all.end(), leading.mat[i], leading.mat[i] + 10);
      all.insert(all.end(), small.mat[i], small.mat[i] + 75);
    }
    if (level == Isa::baseline) first = all;
    EXPECT_EQ(all, first);
  }
}

TEST_F(Eigen, ADiagonalMatrixIsOnlyPermuted) {
  const std::vector<double> values = {2, 9, 4, 9, 1};
  mgcEigenD problem(5);
  fill(problem, symmetric(5, [&](int i, int j) { return i == j ? values[static_cast<size_t>(i)] : 0.0; }));
  problem.DecrSortEigenStuff();
  EXPECT_EQ(std::vector<double>(problem.diag, problem.diag + 5), (std::vector<double>{9, 9, 4, 2, 1}));
  const int places[] = {1, 3, 2, 0, 4};  // equal values in their old order
  for (int v = 0; v < 5; ++v) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(problem.mat[i][v], i == places[v] ? 1 : 0) << i << ' ' << v;
  }
}

// Selection by exchanges, as one would write it down.
TEST_F(Eigen, SortsExchangeWholeColumns) {
  for (const bool rising : {false, true}) {
    setseed(3);
    constexpr int n = 12;
    mgcEigenD problem(n);
    std::vector<double> values(n);
    Rows<double> vectors(n, std::vector<double>(n));
    for (int i = 0; i < n; ++i) {
      values[static_cast<size_t>(i)] = problem.diag[i] = static_cast<double>(ul_rand() % 5);
      for (int j = 0; j < n; ++j)
        vectors[static_cast<size_t>(i)][static_cast<size_t>(j)] = problem.mat[i][j] = uniform();
    }
    for (size_t i = 0; i + 1 < n; ++i) {
      size_t best = i;
      for (size_t j = i + 1; j < n; ++j) {
        if (rising ? values[j] < values[best] : values[j] > values[best]) best = j;
      }
      std::swap(values[i], values[best]);
      for (auto& row : vectors) std::swap(row[i], row[best]);
    }
    if (rising) {
      problem.IncreasingSort(n, problem.diag, problem.mat);
    } else {
      problem.DecreasingSort(n, problem.diag, problem.mat);
    }
    EXPECT_EQ(values, std::vector<double>(problem.diag, problem.diag + n));
    for (int i = 0; i < n; ++i)
      EXPECT_EQ(vectors[static_cast<size_t>(i)], std::vector<double>(problem.mat[i], problem.mat[i] + n));
  }
}

TEST_F(Eigen, MatrixCopiesTheValues) {
  auto a = random_symmetric(6, 14);
  std::vector<double*> rows;
  for (auto& row : a) rows.push_back(row.data());
  mgcEigenD problem(6);
  problem.Matrix(rows.data()).DecrSortEigenStuff();
  check_pairs(a, problem, 6, 1e-14, "copied");
}

TEST_F(Eigen, AnOrderBelowTwoIsRefused) {
  mgcEigenD problem(1);
  EXPECT_EQ(problem.mat, nullptr);
  EXPECT_EQ(problem.diag, nullptr);
  EXPECT_EQ(problem.subd, nullptr);
  EXPECT_EQ(mgcEigenD::error, mgcEigenD::invalid_size);
  problem.DecrSortEigenStuff();
  problem.IncrSortEigenStuff();
  problem.DecrSortEigenStuff(1);
  EXPECT_EQ(error_file(), "mgcEigenD: invalid matrix size\n");
  mgcEigen small(0);
  EXPECT_EQ(error_file(), "mgcEigenD: invalid matrix size\nmgcEigen: invalid matrix size\n");
  EXPECT_EQ(mgcEigen::error, mgcEigen::invalid_size);
}

TEST_F(Eigen, NonFiniteInputEndsWithAReport) {
  auto a = random_symmetric(6, 15);
  a[3][1] = a[1][3] = std::numeric_limits<double>::quiet_NaN();
  mgcEigenD full(6), leading(6);
  fill(full, a);
  fill(leading, a);
  std::ostringstream text;
  std::ostream* const before = os.stream;
  os.stream = &text;
  mgcEigenD::verbose = 1;
  full.DecrSortEigenStuff();
  leading.DecrSortEigenStuff(2);
  mgcEigenD::verbose = 0;
  os.stream = before;
  const std::string line = "mgcEigenD: QL algorithm - exceeded maximum iterations\n";
  EXPECT_EQ(text.str(), line + line);
  EXPECT_FALSE(std::filesystem::exists("eigen.err"));
  EXPECT_EQ(mgcEigenD::error, mgcEigenD::ql_exceeded);
}

TEST_F(Eigen, ErrorBitsAndTheirTexts) {
  EXPECT_EQ(mgcEigenD::Number(0), -1);
  EXPECT_EQ(mgcEigenD::Number(mgcEigenD::invalid_size), 0);
  EXPECT_EQ(mgcEigenD::Number(mgcEigenD::ql_exceeded), 2);
  EXPECT_EQ(mgcEigenD::Number(0x80000000u), 31);
  mgcEigen::Report(mgcEigen::ql_exceeded);
  mgcEigen::Report(mgcEigen::allocation_failed);
  std::ostringstream out;
  mgcEigen::Report(out);
  EXPECT_EQ(out.str(), "mgcEigen: allocation failed\nmgcEigen: QL algorithm - exceeded maximum iterations\n");
  EXPECT_EQ(mgcEigen::error, 0u);
}

}  // namespace
}  // namespace qvtx
