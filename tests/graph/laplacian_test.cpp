#include "graph/laplacian.h"

#include "graph/graph_paths.h"
#include "graph/graph_support.h"
#include "matrix/linear_support.h"

namespace qvtx {
namespace {

using test::build;
using test::Edge;
using test::matrix;
using test::Numbers;

int distances(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& options, MatFullD& out) {
  GraphLaplacian laplacian(links, points, options);
  laplacian.affinities();
  laplacian.normalize();
  return laplacian.distances(out);
}

/// The affinities once more, for one component.
MatFullD plain_affinities(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& o) {
  const long n = links.nnode();
  GraphPaths paths(links, 1);
  MatFullD along = matrix(1, n), a = matrix(n, n), degree = matrix(n, 1);
  double mean = 0.0;
  for (const Edge& e : test::edges_of(links)) mean += e.length / static_cast<double>(links.nlive());
  for (long i = 0; i < n; ++i) {
    paths.row(i, along.data(), nullptr);
    for (long j = 0; j < n; ++j) {
      const bool linked = links.get_link(i, j) >= 0;
      const double dist = o.type == 3 ? along(0, j) : points.sdas(i, j, no_bound);
      const double gauss = std::exp(-0.5 * std::pow(dist / (o.width * mean), 2.0));
      if (i != j && (linked || o.weight == 2))
        a(i, j) = o.weight == 0 ? 1.0 : linked ? std::max(gauss, 1e-10) : gauss;
    }
    degree(i, 0) = a.sum(i, 1);
  }
  for (long c = 0; c < n * n && o.scale; ++c) a.data()[c] /= std::sqrt(degree(c / n, 0) * degree(c % n, 0));
  return a;
}

/// Distances from the pseudo-inverse of the Laplacian of n connected nodes: with 1 / n added everywhere,
/// which cancels out of the distances, it is a plain inverse.
MatFullD plain_distances(const MatFullD& affinity) {
  const long n = affinity.nrow();
  MatFullD a = matrix(n, n), out = matrix(n, n);
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < n; ++j) {
      a(i, j) += 1.0 / static_cast<double>(n) - affinity(i, j);
      a(i, i) += affinity(i, j);
    }
  }
  a.inv();
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < n; ++j) out(i, j) = i == j ? 0.0 : std::sqrt(a(i, i) + a(j, j) - a(i, j) - a(j, i));
  }
  return out;
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
        const MatFullD expected = plain_distances(plain_affinities(links, points, options));
        for (long c = 0; c < 900; ++c) {
          ASSERT_NEAR(expected.data()[c], out.data()[c], 1e-9 * expected.data()[c])
              << type << weight << scale;
          ASSERT_EQ(out.data()[c], out(c % 30, c / 30));
        }
      }
    }
  }
}

TEST(Laplacian, ComponentsStandByThemselves) {
  // A triangle of nodes 1, 3, 5, a link of 0 and 4 a thousand times as long, and node 2 alone.
  MatLinkD links;
  build(links, 6, {{1, 3, 1.0}, {3, 5, 1.0}, {5, 1, 1.0}, {0, 4, 1000.0}});
  const MatFullD points = matrix(6, 1, {0.0, 0.0, 0.0, 1.0, 1000.0, 0.0});
  MatFullD out;
  for (const long weight : {0, 1, 2}) {
    ASSERT_EQ(1, distances(links, points, {2, weight, false, 1.0}, out));
    const double link = weight == 0 ? 1.0 : std::exp(-0.5);
    EXPECT_NEAR(1.0 / std::sqrt(link), out(0, 4), 1e-12) << "the unit is the component's own mean length";
    for (const long other : {1, 2, 3, 5}) EXPECT_EQ(-1.0, out(0, other));
    EXPECT_EQ(0.0, out(2, 2));
    EXPECT_EQ(-1.0, out(2, 4));
  }
}

TEST(Laplacian, FarNeighboursStayLinkedAndWhatHasNoInverseIsRefused) {
  MatLinkD links;
  MatFullD points = matrix(5, 1, {0.0, 1.0, 2.0, 3.0, 1000.0}), out;
  build(links, 5, {{0, 1, 1.0}, {1, 2, 1.0}, {2, 3, 1.0}, {3, 4, 997.0}});
  ASSERT_EQ(1, distances(links, points, {2, 1, false, 0.01}, out));
  // The affinity 1e-10 stands beside numbers near 1 in the Laplacian, which leaves it six digits.
  EXPECT_NEAR(1e5, out(3, 4), 0.1);
  EXPECT_EQ(0, distances(links, points, {2, 1, true, 0.0}, out));
  points(2, 0) = test::nan;
  EXPECT_EQ(0, distances(links, points, {2, 1, true, 1.0}, out));
  EXPECT_EQ(0, distances(links, points, {2, 2, false, 1.0}, out));
  EXPECT_EQ(1, distances(links, points, {3, 2, false, 1.0}, out));  // lengths alone are sound
}

}  // namespace
}  // namespace qvtx
