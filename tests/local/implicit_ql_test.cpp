// The QL iteration with its record of rotations.

#include "local/implicit_ql.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/random.h"

namespace qvtx {
namespace {

std::vector<double> random_values(long n, unsigned long seed) {
  setseed(seed);
  std::vector<double> values(static_cast<size_t>(n));
  for (double& x : values) x = static_cast<double>(ul_rand()) / 4294967295.0;
  return values;
}

// Vectors after the multiplication; the rotations are kept in stretches of the given length.
std::vector<double> multiplied(long n, long k, long stretch) {
  std::vector<double> diag = random_values(n, 1);
  std::vector<double> subd = random_values(n, 2);
  subd.back() = 0;
  QLHistory<double> history(stretch);
  EXPECT_EQ(history.run(n, diag.data(), subd.data()), ImplicitQL<double>::State::converged);
  VectorPanels<double> vectors(n, k);
  for (long v = 0; v < k; ++v) vectors.at(v, v) = 1;
  history.multiply(vectors);
  std::vector<double> out;
  for (long v = 0; v < k; ++v) {
    for (long i = 0; i < n; ++i) out.push_back(vectors.at(i, v));
  }
  return out;
}

TEST(QLHistoryTest, StretchesDoNotChangeTheVectors) {
  for (const long k : {1L, 8L, 9L, 40L}) {
    const std::vector<double> whole = multiplied(60, k, 1L << 22);
    for (const long stretch : {1L, 50L, 1000L})
      EXPECT_EQ(multiplied(60, k, stretch), whole) << k << ' ' << stretch;
  }
}

// Columns of Z e_v, taken one rotation at a time from the record.
TEST(QLHistoryTest, MultipliesTheRecordedRotations) {
  constexpr long n = 25;
  std::vector<double> diag = random_values(n, 1);
  std::vector<double> subd = random_values(n, 2);
  subd.back() = 0;
  ImplicitQL<double> iteration(n, diag.data(), subd.data());
  RecordedRotations<double> rotations;
  while (iteration.sweep(rotations) == ImplicitQL<double>::State::running) {
  }
  std::vector<double> z(n * n, 0);
  for (size_t i = 0; i < n; ++i) z[i * n + i] = 1;
  for (const RotationSweep& sweep : rotations.sweeps) {
    for (long i = sweep.last - 1; i >= sweep.first; --i) {
      const PlaneRotation<double> r = rotations.list[static_cast<size_t>(sweep.start + sweep.last - 1 - i)];
      for (long row = 0; row < n; ++row) {
        double& x = z[static_cast<size_t>(row * n + i)];
        double& y = z[static_cast<size_t>(row * n + i + 1)];
        const double old = x;
        x = r.c * old - r.s * y;
        y = r.s * old + r.c * y;
      }
    }
  }
  const std::vector<double> vectors = multiplied(n, n, 1L << 22);
  for (size_t v = 0; v < n; ++v) {
    for (size_t i = 0; i < n; ++i) EXPECT_NEAR(vectors[v * n + i], z[i * n + v], 1e-13);
  }
  // Z diag Z' is the tridiagonal matrix.
  const std::vector<double> diagonal = random_values(n, 1);
  const std::vector<double> coupling = random_values(n, 2);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j <= i; ++j) {
      double sum = 0;
      for (size_t v = 0; v < n; ++v) sum += z[i * n + v] * diag[v] * z[j * n + v];
      EXPECT_NEAR(sum, i == j ? diagonal[i] : i - j == 1 ? coupling[j] : 0, 1e-13);
    }
  }
}

TEST(ImplicitQLTest, AMatrixWithoutCouplingsNeedsNoSweep) {
  std::vector<double> diag = {3, 1, 2};
  std::vector<double> subd = {0, 0, 0};
  RecordedRotations<double> rotations;
  EXPECT_EQ(ImplicitQL<double>(3, diag.data(), subd.data()).sweep(rotations),
            ImplicitQL<double>::State::converged);
  EXPECT_EQ(rotations.size(), 0);
}

}  // namespace
}  // namespace qvtx
