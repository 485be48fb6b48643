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

using Numbers = std::vector<double>;

/// The same number to the last bit, any NaN for a NaN.
bool same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

Numbers uniform(long n, double low, double high) {
  Numbers x(static_cast<std::size_t>(n));
  for (double& v : x) v = low + (high - low) * u_rand();
  return x;
}

/// What the loops over pairs return, and the images that they leave.
Numbers everything(const PairRow& row, const ImageView& view) {
  Numbers found(5, 0.0);
  sammon_kernels().newton(row, view, &found[0], &found[2]);
  cda_kernels().move({1, 0.7, 0.0, 0.1, true}, row, view, &found[4]);
  sammon_kernels().push(row, 0.1, view);
  StressSums sums{};
  stress_kernels().add(row, view, &sums);
  found.insert(found.end(), sums.error, sums.error + stress_lanes);
  found.insert(found.end(), sums.scale, sums.scale + stress_lanes);
  for (long k = 0; k < view.p; ++k)
    found.insert(found.end(), view.axes + k * view.stride, view.axes + k * view.stride + view.n);
  return found;
}

/// The loops of interpolation over all targets, in their order.
struct PlainPoint {
  double total = 0;
  Numbers centre, mean;

  PlainPoint(const TargetView& targets, const Numbers& here) : centre(here.size()), mean(here.size()) {
    for (long j = 0; j < targets.n; ++j) {
      const auto way = [&](std::size_t k) { return here[k] - axis(targets, k)[j]; };
      double square = 0;
      for (std::size_t k = here.size(); k-- > 0;) square += way(k) * way(k);
      const double scale = square > 0 ? 1 / std::sqrt(square) : 0.0;
      total += 1 / targets.distance[j];
      for (std::size_t k = 0; k < here.size(); ++k) {
        centre[k] += axis(targets, k)[j] / targets.distance[j];
        mean[k] += scale * way(k);
      }
    }
  }
  static const double* axis(const TargetView& targets, std::size_t k) {
    return targets.axes + static_cast<long>(k) * targets.stride;
  }
};

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
  Numbers a = {0.0, 0x1p-537, 0x1p-540, 0x1p-480, 0x1p-479, 0x1p511, 1e-160};
  Numbers b(a.size(), 0.0);
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
  Numbers input;
  for (std::size_t j = 0; j < a.size(); ++j) {
    images(static_cast<long>(j), 0) = a[j];
    images(static_cast<long>(j), 1) = b[j];
    input.push_back(std::sqrt(b[j] * b[j] + a[j] * a[j]));
  }
  for (const bool crowded : {false, true}) {
    ImageArrays arrays;
    arrays.load(images);
    const PairRow row{0, input.data(), nullptr, input.data()};
    double dmax = 0;
    cda_kernels().move({0, 0x1p600, 0.0, 0x1p400, crowded}, row, arrays.view(), &dmax);
    MatFullD moved;
    moved.copy(images);
    arrays.store(moved);
    for (long c = 0; c < 2 * n; ++c) ASSERT_TRUE(same(moved.data()[c], images.data()[c])) << c;
    ASSERT_EQ(*std::max_element(input.begin(), input.end()), dmax);
  }
}

TEST_P(Kernels, WhatLiesBehindTheImagesDoesNotCount) {
  for (const long n : {5L, 37L}) {
    MatFullD images(n, 2);
    images.setrows(n, 0.0);
    images.random(0, 0.0, 1.0, 0, -1, 0, -1);
    Numbers input = uniform(n, 0.1, 1.0), expected;
    input[2] = 0.0;
    for (const double behind : {0.0, nan, infinity}) {
      ImageArrays arrays;
      arrays.load(images);
      const ImageView view = arrays.view();
      for (long k = 0; k < 2; ++k)
        std::fill(view.axes + k * view.stride + n, view.axes + (k + 1) * view.stride, behind);
      const Numbers found = everything({2, input.data(), nullptr, input.data()}, view);
      if (expected.empty()) expected = found;
      ASSERT_EQ(expected, found) << n << ' ' << behind;
    }
  }
}

TEST_P(Kernels, PairTermsFollowTheScalarQuantizer) {
  for (const long n : {1L, 7L, 8L, 9L, 250L, pair_block}) {
    Numbers x = uniform(n, -0.1, 1.3), y = uniform(n, -0.1, 1.3);
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
        ASSERT_TRUE(same(terms.square[j], (v - u) * (v - u)));
        ASSERT_TRUE(same(terms.ratio[j], v / u));
      }
      ASSERT_TRUE(same(god_kernels().largest(x.data(), n, 0.5), top));
    }
  }
}

TEST_P(Kernels, PullOnAPointAddsInOrder) {
  for (const long n : {0L, 1L, 9L, 63L, 64L, 65L, 200L}) {
    for (const long p : {1L, 2L, 3L, 5L}) {
      Numbers axes = uniform(n * p, -1, 1);
      const Numbers wanted = uniform(n, 0.1, 2), here = uniform(p, -1, 1);
      for (std::size_t k = 0; k < here.size() && n > 8; ++k)  // one target on the point
        axes[k * static_cast<std::size_t>(n) + 8] = here[k];
      const TargetView view = {axes.data(), wanted.data(), n, n, p};
      const PlainPoint plain(view, here);
      Numbers centre(here.size()), mean(here.size());
      EXPECT_EQ(interpolation_kernels().weigh(view, centre.data()), plain.total);
      interpolation_kernels().pull(view, here.data(), mean.data());
      EXPECT_EQ(centre, plain.centre) << n << ' ' << p;
      EXPECT_EQ(mean, plain.mean) << n << ' ' << p;
    }
  }
}

}  // namespace
}  // namespace qvtx::test
