#pragma once
// What the tests of the linear algebra share: small matrices, plain products, and a console that is caught.

#include <cstring>

#include "base/random.h"
#include "base/support.h"
#include "support/levels.h"

namespace qvtx::test {

inline constexpr double epsilon = std::numeric_limits<double>::epsilon();
inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Numbers between -1 and 1; every seed gives the same matrix everywhere.
inline MatFullD random_matrix(long m, long n, unsigned long seed) {
  setseed(seed);
  MatFullD a = matrix(m, n);
  for (long i = 0; i < m * n; ++i) a.data()[i] = 2.0 * static_cast<double>(ul_rand()) / 4294967295.0 - 1.0;
  return a;
}

inline MatFullD copy_of(const MatFullD& a) {
  MatFullD b;
  b.copy(a);
  return b;
}

inline MatFullD product(const MatFullD& a, const MatFullD& b) {
  MatFullD c = matrix(a.nrow(), b.ncol());
  for (long i = 0; i < a.nrow(); ++i) {
    for (long k = 0; k < a.ncol(); ++k) {
      for (long j = 0; j < b.ncol(); ++j) c(i, j) += a(i, k) * b(k, j);
    }
  }
  return c;
}

inline MatFullD transposed(const MatFullD& a) {
  MatFullD b = copy_of(a);
  b.tsp();
  return b;
}

inline double difference(const MatFullD& a, const MatFullD& b) {
  EXPECT_EQ(a.nrow(), b.nrow());
  EXPECT_EQ(a.ncol(), b.ncol());
  double most = 0;
  for (long i = 0; i < a.nrow() * a.ncol(); ++i) {
    const double d = std::fabs(a.data()[i] - b.data()[i]);
    if (!(d <= most)) most = d;
  }
  return most;
}

inline MatFullD identity(long n) {
  MatFullD a = matrix(n, n);
  for (long i = 0; i < n; ++i) a(i, i) = 1;
  return a;
}

inline bool same_bits(const double* a, const double* b, long n) {
  return std::memcmp(a, b, static_cast<size_t>(n) * sizeof(double)) == 0;
}

inline std::vector<double> sorted_values(const MatFullD& w) {
  std::vector<double> values(w.data(), w.data() + w.nrow() * w.ncol());
  std::sort(values.rbegin(), values.rend());
  return values;
}

/// Catches the console and runs in an empty directory of its own.
class LinearAlgebra : public ::testing::Test {
 protected:
  ~LinearAlgebra() override { set_isa_level(isa_best()); }
  std::string console() const { return console_.out(); }

 private:
  Scratch scratch_;
  ConsoleRedirect console_;
};

}  // namespace qvtx::test
