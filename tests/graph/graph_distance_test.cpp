
#include "graph/graph_support.h"

namespace qvtx {
namespace {

using test::build;
using test::build_random;
using test::Edge;
using test::Numbers;

/// Distances between all nodes, -1 across components (Floyd and Warshall).
MatFullD all_distances(const MatLinkD& links) {
  const long n = links.nnode();
  MatFullD d(n, n);
  d.setrows(n, no_bound);
  for (const Edge& e : test::edges_of(links)) d(e.a, e.b) = d(e.b, e.a) = std::min(d(e.a, e.b), e.length);
  for (long i = 0; i < n; ++i) d(i, i) = 0.0;
  for (long k = 0; k < n; ++k) {
    for (long i = 0; i < n; ++i) {
      for (long j = 0; j < n; ++j) d(i, j) = std::min(d(i, j), d(i, k) + d(k, j));
    }
  }
  std::replace(d.data(), d.data() + n * n, no_bound, -1.0);
  return d;
}

/// Checks a search from src: exact distances, order of settling, predecessors one link before.
void expect_paths(const MatLinkD& links, long src, const double* exact) {
  const long n = links.nnode();
  MatFullL pred;
  MatFullD dist;
  const long settled = links.gdav(src, 1, pred, dist, no_bound);
  ASSERT_TRUE(std::equal(exact, exact + n, dist.data()));
  ASSERT_EQ(n - std::count(exact, exact + n, -1.0), settled);
  std::set<long> seen;
  for (long s = 0; s < n; ++s) {
    const long u = pred(s, 1);
    ASSERT_EQ(s >= settled, u < 0);
    if (u < 0) continue;
    ASSERT_TRUE(s == 0 || dist(pred(s - 1, 1), 0) <= dist(u, 0));
    const long before = pred(u, 0);
    ASSERT_EQ(u == src, before < 0);
    if (before >= 0) {
      ASSERT_TRUE(seen.count(before) == 1) << "settled before its predecessor";
      double step = no_bound;
      for (long k = links.head(u); k >= 0; k = links.next(k, u)) {
        if (links.other(k, u) == before) step = std::min(step, links.getvalue(k, 1));
      }
      ASSERT_EQ(dist(before, 0) + step, dist(u, 0));
    }
    ASSERT_TRUE(seen.insert(u).second);
  }
}

TEST(ShortestPaths, AreThoseOfAllPairsAndSoAreTheirExtremes) {
  Numbers numbers(10);
  MatLinkD links;
  for (long round = 0; round < 40; ++round) {
    const long n = 1 + numbers.below(45);
    build_random(links, n, 2 * n, 1 + 20 * (round % 3), numbers);
    const MatFullD exact = all_distances(links);
    double least = 0.0, largest = 0.0;
    std::pair<long, long> nearest(-1, -1), farthest(-1, -1), found;
    for (long src = n - 1; src >= 0; --src) {
      expect_paths(links, src, exact.row(src));
      if (HasFatalFailure()) return;
      for (long j = src - 1; j >= 0; --j) {
        const double d = exact(src, j);
        if (d <= 0.0) continue;
        if (nearest.first < 0 || d < least) least = d, nearest = {src, j};
        if (farthest.first < 0 || d > largest) largest = d, farthest = {src, j};
      }
    }
    ASSERT_EQ(largest, links.gdamax(1, found.first, found.second));
    ASSERT_EQ(farthest, found);
    ASSERT_EQ(least, links.gdamin(1, found.first, found.second));
    ASSERT_EQ(nearest, found);
  }
}

TEST(ShortestPaths, BoundLeavesProvisionalDistances) {
  // From 0: 1 at 1, 2 at 2 (over 1; 5 by the direct link), 3 at 4.
  MatLinkD links;
  build(links, 4, {{0, 1, 1.0}, {1, 2, 1.0}, {0, 2, 5.0}, {2, 3, 2.0}});
  const struct {
    double bound;
    long settled;
    double distances[4];
  } cases[] = {{-1.0, 1, {0.0, 1.0, 5.0, -1.0}},
               {0.9994, 1, {0.0, 1.0, 5.0, -1.0}},
               {0.9996, 2, {0.0, 1.0, 2.0, -1.0}},
               {2.0, 3, {0.0, 1.0, 2.0, 4.0}}};
  MatFullL pred;
  MatFullD dist, alone;
  for (const auto& c : cases) {
    EXPECT_EQ(c.settled, links.gdav(0, 1, pred, dist, c.bound)) << c.bound;
    EXPECT_EQ(c.settled, links.gdav(0, 1, alone, c.bound)) << c.bound;
    EXPECT_TRUE(std::equal(c.distances, c.distances + 4, dist.data())) << c.bound;
    EXPECT_TRUE(std::equal(c.distances, c.distances + 4, alone.data())) << c.bound;
    EXPECT_EQ(c.distances[2] == 5.0 ? 0 : 1, pred(2, 0)) << c.bound;
    EXPECT_EQ(-1, pred(c.settled, 1)) << c.bound;
  }
}

TEST(LinkLengths, AreTheShortestToEachDirectNeighbour) {
  MatLinkD links;
  build(links, 4, {{0, 1, 3.0}, {1, 0, 2.0}, {0, 2, 5.0}, {2, 3, 1.0}});
  MatFullD dist;
  EXPECT_EQ(3, links.gdnv(0, 1, dist));
  EXPECT_EQ((std::vector{0.0, 2.0, 5.0, -1.0}), test::contents(dist));
  EXPECT_FATAL(links.gdnv(4, 1, dist), "1005");
  EXPECT_FATAL(links.gdnv(0, 3, dist), "1005");
}

}  // namespace
}  // namespace qvtx
