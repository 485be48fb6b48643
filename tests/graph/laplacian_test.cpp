#include "graph/laplacian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "graph/graph_paths.h"
#include "graph_support.h"

namespace qvtx {
namespace {

using test::build;
using test::Edge;
using test::Numbers;

using Square = std::vector<std::vector<double>>;

/// Distances from the pseudo-inverse of the Laplacian of n connected nodes: with 1 / n added everywhere,
/// which cancels out of the distances, it is a plain inverse (Gauss and Jordan).
Square plain_distances(const Square& affinity) {
  const std::size_t n = affinity.size();
  Square a(n, std::vector<double>(2 * n, 0.0)), out = affinity;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      a[i][j] += 1.0 / static_cast<double>(n) - affinity[i][j];
      a[i][i] += affinity[i][j];
    }
    a[i][n + i] = 1.0;
  }
  for (std::size_t p = 0; p < n; ++p) {
    for (std::size_t c = 2 * n; c-- > p;) a[p][c] /= a[p][p];
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t c = 2 * n; c-- > p && i != p;) a[i][c] -= a[i][p] * a[p][c];
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      out[i][j] = i == j ? 0.0 : std::sqrt(a[i][n + i] + a[j][n + j] - a[i][n + j] - a[j][n + i]);
    }
  }
  return out;
}

int distances(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& options, MatFullD& out) {
  GraphLaplacian laplacian(links, points, options);
  laplacian.affinities();
  laplacian.normalize();
  return laplacian.distances(out);
}

const LaplacianOptions plain_resistance = {2, 0, false, 1.0};

/// A path of n nodes in a line, or a ring, all links of length 1.
void build_line(MatLinkD& links, MatFullD& points, long n, bool ring) {
  std::vector<Edge> edges;
  for (long i = 0; i + 1 < n; ++i) edges.push_back({i, i + 1, 1.0});
  if (ring) edges.push_back({n - 1, 0, 1.0});
  build(links, n, edges);
  points.setdim(n, 1);
  points.setrows(n, 0.0);
  for (long i = 0; i < n; ++i) points(i, 0) = static_cast<double>(i);
}

TEST(Laplacian, PathsAndRingsHaveTheResistanceOfTheirLinks) {
  MatLinkD links;
  MatFullD points, out;
  for (const long n : {3L, 4L, 19L, 50L}) {
    for (const bool ring : {false, true}) {
      build_line(links, points, n, ring);
      ASSERT_EQ(1, distances(links, points, plain_resistance, out));
      for (long i = 0; i < n; ++i) {
        for (long j = 0; j < n; ++j) {
          const auto m = static_cast<double>(std::abs(i - j)), all = static_cast<double>(n);
          const double square = ring ? m * (all - m) / all : m;  // two ways in parallel, or one
          ASSERT_NEAR(std::sqrt(square), out(i, j), 1e-9 * std::sqrt(all)) << n << (ring ? " ring" : " path");
        }
      }
    }
  }
}

/// The affinities once more, for one component.
Square plain_affinities(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& o) {
  const long n = links.nnode();
  GraphPaths paths(links, 1);
  std::vector<double> along(static_cast<std::size_t>(n));
  double mean = 0.0;
  for (const Edge& e : test::edges_of(links)) mean += e.length / static_cast<double>(links.nlive());
  Square a(along.size(), std::vector<double>(along.size(), 0.0));
  for (long i = 0; i < n; ++i) {
    paths.row(i, along.data(), nullptr);
    for (long j = 0; j < n; ++j) {
      const bool linked = links.get_link(i, j) >= 0;
      const double dist = o.type == 3 ? along[static_cast<std::size_t>(j)] : points.sdas(i, j, no_bound);
      const double gauss = std::exp(-0.5 * std::pow(dist / (o.width * mean), 2.0));
      double& cell = a[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
      if (i != j && (linked || o.weight == 2))
        cell = o.weight == 0 ? 1.0 : linked ? std::max(gauss, 1e-10) : gauss;
    }
  }
  std::vector<double> degree;
  for (const auto& row : a) degree.push_back(std::accumulate(row.begin(), row.end(), 0.0));
  for (std::size_t i = 0; i < a.size() && o.scale; ++i) {
    for (std::size_t j = 0; j < a.size(); ++j) a[i][j] /= std::sqrt(degree[i]) * std::sqrt(degree[j]);
  }
  return a;
}

TEST(Laplacian, EveryConstructionAgreesWithThePseudoInverse) {
  Numbers numbers(13);
  MatFullD points, out;
  test::uniform_points(points, 30, 2, numbers);
  MatLinkD links(30, 2);
  links.addrow(30);
  links.n_link(0, points, 6);
  links.setpos(points, 1);
  MatFullL comp;
  ASSERT_EQ(1, links.connex(comp));
  for (const long type : {2, 3}) {
    for (const long weight : {0, 1, 2}) {
      for (const bool scale : {false, true}) {
        const LaplacianOptions options = {type, weight, scale, scale ? 0.7 : 3.0};
        ASSERT_EQ(1, distances(links, points, options, out));
        const Square expected = plain_distances(plain_affinities(links, points, options));
        for (long i = 0; i < 30; ++i) {
          for (long j = 0; j < 30; ++j) {
            const double d = expected[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
            ASSERT_NEAR(d, out(i, j), 1e-9 * d) << type << weight << scale << " " << i << " " << j;
            ASSERT_EQ(out(i, j), out(j, i));
          }
        }
      }
    }
  }
}

TEST(Laplacian, ComponentsStandByThemselves) {
  // A triangle of nodes 1, 3, 5, a link of 0 and 4 a thousand times as long, and node 2 alone.
  MatLinkD links;
  build(links, 6, {{1, 3, 1.0}, {3, 5, 1.0}, {5, 1, 1.0}, {0, 4, 1000.0}});
  MatFullD points(6, 1), out;
  points.setrows(6, 0.0);
  points(4, 0) = 1000.0;
  points(3, 0) = 1.0;
  for (const long weight : {0, 1, 2}) {
    ASSERT_EQ(1, distances(links, points, {2, weight, false, 1.0}, out));
    const double link = weight == 0 ? 1.0 : std::exp(-0.5);
    EXPECT_NEAR(1.0 / std::sqrt(link), out(0, 4), 1e-12) << "the unit is the component's own mean length";
    for (const long other : {1, 2, 3, 5}) EXPECT_EQ(-1.0, out(0, other));
    EXPECT_EQ(0.0, out(2, 2));
    EXPECT_EQ(-1.0, out(2, 4));
  }
}

TEST(Laplacian, FarNeighboursStayLinked) {
  MatLinkD links;
  MatFullD points, out;
  build_line(links, points, 5, false);
  points(4, 0) = 1000.0;
  links.setpos(points, 1);
  ASSERT_EQ(1, distances(links, points, {2, 1, false, 0.01}, out));
  // The affinity 1e-10 stands beside numbers near 1 in the Laplacian, which leaves it six digits.
  EXPECT_NEAR(1e5, out(3, 4), 0.1);
}

TEST(Laplacian, RefusesWhatHasNoInverse) {
  MatLinkD links;
  MatFullD points, out;
  build_line(links, points, 4, true);
  EXPECT_EQ(0, distances(links, points, {2, 1, true, 0.0}, out));
  points(2, 0) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(0, distances(links, points, {2, 1, true, 1.0}, out));
  EXPECT_EQ(0, distances(links, points, {2, 2, false, 1.0}, out));
  EXPECT_EQ(1, distances(links, points, {3, 2, false, 1.0}, out));  // lengths alone are sound
}

}  // namespace
}  // namespace qvtx
