// Sammon's mapping against a plain loop.

#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

/// The steps of one pivot as plain loops; a Newton sum is made of 8 parts, pair (i, j) in part j mod 8.
struct ReferenceSammon : ReferenceMapping {
  using ReferenceMapping::ReferenceMapping;

  static double total(const double (&parts)[8]) { return std::accumulate(parts, parts + 8, 0.0); }

  void newton(long i, double a) {
    std::vector<double> distances;
    for (const auto& row : y) distances.push_back(distance(y[at(i)], row));
    const std::vector<double> from = y[at(i)];
    for (std::size_t k = 0; k < axes(); ++k) {
      double g[8] = {}, h[8] = {};
      for (long j = 0; j < n; ++j) {
        const double in = input(i, j), d = distances[at(j)];
        if (j == i || in <= 0 || d <= 0) continue;
        const double r = 1 / (in * d), c = (in - d) * r, v = in * r, t = from[k] - y[at(j)][k];
        g[j % 8] += c * t;
        h[j % 8] += c - t * t * (v * v * v);
      }
      if (total(h) > 0) y[at(i)][k] += a * total(g) / total(h);
      if (total(h) < 0) y[at(i)][k] -= a * total(g) / total(h);
    }
  }

  void push(long i, double a) {
    for (long j = n - 1; j >= 0; --j) {
      const double in = input(i, j), d = distance(y[at(i)], y[at(j)]);
      if (j == i || in <= 0 || d <= 0) continue;
      const double f = a * (in - d) / (d * in);
      for (std::size_t k = 0; k < axes(); ++k) y[at(j)][k] += (y[at(j)][k] - y[at(i)][k]) * f;
    }
  }
};

class Sammon : public ReferenceMappingTest {
 protected:
  /// Epochs of both passes.
  void compare(ReferenceSammon r) {
    constexpr double epochs[4][2] = {{0.5, 0.0}, {0.25, 0.51}, {1.0, 0.5}, {0.0, 1.0}};
    for (const auto& e : epochs) {
      r.epoch([&](long i) { e[1] > 0.5 ? r.push(i, e[0]) : r.newton(i, e[0]); });
    }
    expect_same(r, " a= 0.500 s=n a= 0.250 s=y a= 1.000 s=n a= 0.000 s=y", [&] {
      for (const auto& [a, s] : epochs) ASSERT_EQ(1, tm.sammon_itr(a, s));
    });
  }
};

TEST_F(Sammon, EpochsAreThoseOfThePlainLoop) {
  for (const double w : {0.0, 0.5, 1.0}) {
    for (const long clusters : {1L, 3L}) {
      prepare_mapping(67, 3, 2, 4, w, clusters);
      ASSERT_EQ(clusters, tm.ncomp());
      ReferenceSammon r(tm, w);
      r.shuffled = clusters == 1;
      compare(r);
      if (HasFatalFailure()) return;
    }
  }
  prepare_coincident();
  compare(ReferenceSammon(tm, 0.0));
  MatFullD::miex = 1;
  prepare_mapping(30, 3, 2, 3, 0.5);
  compare(ReferenceSammon(tm, 0.5));
  MatFullD::miex = 2;
  for (const auto& [n, p] :  // round the lanes and blocks of the kernels
       {std::pair{1L, 2L}, {2L, 1L}, {7L, 8L}, {8L, 9L}, {9L, 17L}, {256L, 1L}, {261L, 3L}}) {
    prepare_mapping(n, 2, p, 0, 0.0);
    compare(ReferenceSammon(tm, 0.0));
    if (HasFatalFailure()) return;
  }
}

TEST_F(Sammon, TheStochasticShareCountsOneEpochMore) {
  prepare(10, 2, 0, 0.0);
  tm.setkey("tsmepoq", 4);
  for (const auto& [share, passes] : {std::pair{0.0, "nnnn"},
                                      {0.1, "nnnn"},
                                      {0.125, "yynn"},
                                      {0.5, "yyyn"},
                                      {0.75, "yyyy"},
                                      {1.0, "yyyy"}}) {
    tm.setkey("tsmstoch", share);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, tm.sammon(2, nullptr));
    const std::string text = console.take();
    std::string found;
    for (std::size_t at = text.find(" s="); at != std::string::npos; at = text.find(" s=", at + 1))
      found += text[at + 3];
    EXPECT_EQ(passes, found) << share;
  }
}

}  // namespace
}  // namespace qvtx::test
