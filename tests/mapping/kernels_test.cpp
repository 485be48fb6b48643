// Hot loops beside plain ones, bit for bit, with every instruction set.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "base/isa.h"
#include "base/random.h"
#include "base/scquan.h"
#include "mapping/kernels/cda_kernels.h"
#include "mapping/kernels/god_kernels.h"
#include "mapping/kernels/interpolation_kernels.h"
#include "mapping/kernels/sammon_kernels.h"
#include "mapping/kernels/stress_kernels.h"
#include "matrix/matfulld.h"

namespace qvtx::test {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// The same number to the last bit, any NaN for a NaN.
bool same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

std::vector<double> uniform(long n, double low, double high) {
  std::vector<double> x(static_cast<std::size_t>(n));
  for (double& v : x) v = low + (high - low) * u_rand();
  return x;
}

class Kernels : public ::testing::TestWithParam<Isa> {
 protected:
  void SetUp() override {
    if (GetParam() > isa_best()) GTEST_SKIP();
    set_isa_level(GetParam());
    setseed(default_seed);
  }
  void TearDown() override { set_isa_level(isa_best()); }
};
INSTANTIATE_TEST_SUITE_P(All, Kernels, ::testing::Values(Isa::baseline, Isa::avx2, Isa::avx512));

// An image stays where it is only if its output distance is its input distance to the last bit: the step
// makes a move of any other. The roots of sums a^2 + b^2 that lie next to the middle between two numbers are
// the hard ones: with b = 2^-26 k the sum 1 + k^2 2^-52 is exact, and so is the square of a number of 26
// bits.
TEST_P(Kernels, DistancesAreRoundedRoots) {
  std::vector<double> a = {0.0, 0x1p-537, 0x1p-540, 0x1p-480, 0x1p-479, 0x1p511, 1e-160};
  std::vector<double> b(a.size(), 0.0);
  for (long k = 1; k < 3000; ++k) {
    const double scale = std::ldexp(1.0, static_cast<int>(k % 1000) - 530);
    a.push_back(scale * (k % 2 == 0 ? 1.0 : 1.5));
    b.push_back(scale * 0x1p-26 * static_cast<double>(k / 4));
    a.push_back(scale * std::floor(u_rand() * 0x1p26));
    b.push_back(k % 3 == 0 ? scale : 0.0);
    a.push_back(scale * u_rand());
    b.push_back(scale * u_rand());
  }
  const auto n = static_cast<long>(a.size());
  MatFullD images(n, 2);
  images.setrows(n, 0.0);
  for (long j = 0; j < n; ++j) {
    images(j, 0) = a[static_cast<std::size_t>(j)];
    images(j, 1) = b[static_cast<std::size_t>(j)];
  }
  std::vector<double> input;
  for (long j = 0; j < n; ++j)
    input.push_back(std::sqrt(images(j, 1) * images(j, 1) + images(j, 0) * images(j, 0)));
  for (const bool crowded : {false, true}) {
    ImageArrays arrays;
    arrays.load(images);
    const PairRow row{0, input.data(), nullptr, input.data()};
    double dmax = 0;
    cda_kernels().move({0, 0x1p600, 0.0, 0x1p400, crowded}, row, arrays.view(), &dmax);
    MatFullD moved;
    moved.copy(images);
    arrays.store(moved);
    for (long j = 0; j < n; ++j) {
      ASSERT_TRUE(same(moved(j, 0), images(j, 0)) && same(moved(j, 1), images(j, 1)))
          << images(j, 0) << ' ' << images(j, 1);
    }
    ASSERT_EQ(*std::max_element(input.begin(), input.end()), dmax);
  }
}

// More images than a block has, some of which do not interact.
TEST_P(Kernels, APivotMovesTheImagesOfAllBlocks) {
  constexpr long n = 4173, pivot = 2050;
  constexpr double width = 0.3, step = 0.4;
  MatFullD images(n, 2), plain;
  images.setrows(n, 0.0);
  images.random(0, 0.0, 1.0, 0, -1, 0, -1);
  const std::vector<double> input = uniform(n, -0.1, 1.0);
  plain.copy(images);
  double top = 0;
  long count = 0;
  for (long j = 0; j < n; ++j) {
    const double x = images(j, 0) - images(pivot, 0), y = images(j, 1) - images(pivot, 1);
    const double from = input[static_cast<std::size_t>(j)], to = std::sqrt(y * y + x * x);
    if (from >= 0) top = std::max(top, to);
    if (from < 0 || to <= 0 || to > width) continue;
    const double s = to <= from ? (from * from - to * to) * 0.5 / (from * from) : (from - to) / to;
    for (long k = 0; k < 2; ++k) plain(j, k) += (images(j, k) - images(pivot, k)) * (s * step);
    ++count;
  }
  for (const bool crowded : {false, true}) {
    ImageArrays arrays;
    arrays.load(images);
    const PairRow row{pivot, input.data(), nullptr, input.data()};
    double dmax = 0;
    EXPECT_EQ(count, cda_kernels().move({0, width, 0.0, step, crowded}, row, arrays.view(), &dmax));
    EXPECT_EQ(top, dmax);
    MatFullD moved;
    moved.copy(images);
    arrays.store(moved);
    for (long j = 0; j < n; ++j)
      ASSERT_TRUE(moved(j, 0) == plain(j, 0) && moved(j, 1) == plain(j, 1)) << j << ' ' << crowded;
  }
}

TEST_P(Kernels, WhatLiesBehindTheImagesDoesNotCount) {
  for (const long n : {5L, 37L}) {
    MatFullD images(n, 2);
    images.setrows(n, 0.0);
    images.random(0, 0.0, 1.0, 0, -1, 0, -1);
    std::vector<double> input = uniform(n, 0.1, 1.0), expected;
    input[2] = 0.0;
    const PairRow row{2, input.data(), nullptr, input.data()};
    for (const double behind : {0.0, nan, infinity}) {
      ImageArrays arrays;
      arrays.load(images);
      const ImageView view = arrays.view();
      for (long k = 0; k < 2; ++k)
        std::fill(view.axes + k * view.stride + n, view.axes + (k + 1) * view.stride, behind);
      std::vector<double> found(4, 0.0);
      sammon_kernels().newton(row, view, &found[0], &found[2]);
      StressSums sums{};
      stress_kernels().add(row, view, &sums);
      found.insert(found.end(), sums.error, sums.error + stress_lanes);
      found.insert(found.end(), sums.scale, sums.scale + stress_lanes);
      found.push_back(0.0);
      cda_kernels().move({1, 0.7, 0.0, 0.1, true}, row, view, &found.back());
      sammon_kernels().push(row, 0.1, view);
      MatFullD moved;
      moved.copy(images);
      arrays.store(moved);
      found.insert(found.end(), moved.data(), moved.data() + 2 * n);
      if (expected.empty()) expected = found;
      ASSERT_EQ(expected, found) << n << ' ' << behind;
    }
  }
}

TEST_P(Kernels, PairTermsFollowTheScalarQuantizer) {
  for (const long n : {1L, 7L, 8L, 9L, 250L, pair_block}) {
    std::vector<double> x = uniform(n, -0.1, 1.3), y = uniform(n, -0.1, 1.3);
    const double odd[] = {0.0, 0.5, 0.25, nan, infinity, -0.0, 1.0, 5e-324};
    for (long j = 0; j < n && j < 8; ++j) (j % 2 == 0 ? x : y)[static_cast<std::size_t>(j)] = odd[j];
    for (const long bits : {0L, 1L, 7L}) {
      const ScQuan across(0, 1.0, bits), up(0, 1.2, bits);
      PairTerms terms;
      god_kernels().pair_terms(x.data(), y.data(), n, {0, 1.0, bits}, {0, 1.2, bits}, &terms);
      double top = 0.5;
      for (long j = 0; j < n; ++j) {
        const double u = x[static_cast<std::size_t>(j)], v = y[static_cast<std::size_t>(j)];
        top = u > top ? u : top;
        ASSERT_EQ(terms.row[j], u > 0 && v >= 0 ? across.getidx(u) : -1);
        if (terms.row[j] < 0) continue;
        ASSERT_EQ(terms.column[j], up.getidx(v));
        ASSERT_TRUE(same(terms.square[j], (v - u) * (v - u)) && same(terms.ratio[j], v / u));
      }
      ASSERT_TRUE(same(god_kernels().largest(x.data(), n, 0.5), top));
    }
  }
}

TEST_P(Kernels, PullOnAPointAddsInOrder) {
  for (const long n : {0L, 1L, 9L, 63L, 64L, 65L, 200L}) {
    for (const long p : {1L, 2L, 3L, 5L}) {
      std::vector<double> axes = uniform(n * p, -1, 1);
      const std::vector<double> wanted = uniform(n, 0.1, 2), here = uniform(p, -1, 1);
      for (long k = 0; k < p && n > 8; ++k)  // one target on the point
        axes[static_cast<std::size_t>(k * n + 8)] = here[static_cast<std::size_t>(k)];
      std::vector<double> centre(static_cast<std::size_t>(p), 0.0);
      std::vector<double> mean(centre), plain_centre(centre), plain_mean(centre);
      double total = 0;
      for (long j = 0; j < n; ++j) {
        const auto at = [&](long k) { return axes[static_cast<std::size_t>(k * n + j)]; };
        const double d = wanted[static_cast<std::size_t>(j)];
        double square = 0;
        for (long k = p - 1; k >= 0; --k) {
          const double t = here[static_cast<std::size_t>(k)] - at(k);
          square += t * t;
        }
        const double scale = square > 0 ? 1 / std::sqrt(square) : 0.0;
        total += 1 / d;
        for (long k = p - 1; k >= 0; --k) {
          plain_centre[static_cast<std::size_t>(k)] += at(k) / d;
          plain_mean[static_cast<std::size_t>(k)] += scale * (here[static_cast<std::size_t>(k)] - at(k));
        }
      }
      const TargetView view = {axes.data(), wanted.data(), n, n, p};
      EXPECT_TRUE(same(interpolation_kernels().weigh(view, centre.data()), total));
      interpolation_kernels().pull(view, here.data(), mean.data());
      EXPECT_EQ(centre, plain_centre) << n << ' ' << p;
      EXPECT_EQ(mean, plain_mean) << n << ' ' << p;
    }
  }
}

TEST_P(Kernels, WaysIntoTheGraph) {
  const double graph[] = {-1, 0, 1, 2, -1, 3, 0.5, 4, 2};
  std::vector<double> input = {-1, -1, 5, 1, 7, -1, 0.2, 4.5, 2.5};
  interpolation_kernels().enter(graph, 0.5, 9, input.data());
  EXPECT_EQ(input, (std::vector<double>{-1, 0.5, 1.5, 1, 7, 3.5, 0.2, 4.5, 2.5}));
}

}  // namespace
}  // namespace qvtx::test
