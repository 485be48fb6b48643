#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "graph/graph_paths.h"
#include "graph/matlinkd.h"
#include "graph_support.h"

namespace qvtx {
namespace {

using test::build;
using test::build_random;
using test::Edge;
using test::Numbers;

/// Distances between all nodes, -1 across components (Floyd and Warshall).
std::vector<std::vector<double>> all_distances(const MatLinkD& links) {
  const auto n = static_cast<std::size_t>(links.nnode());
  std::vector<std::vector<double>> d(n, std::vector<double>(n, no_bound));
  for (const Edge& e : test::edges_of(links)) {
    double& there = d[static_cast<std::size_t>(e.a)][static_cast<std::size_t>(e.b)];
    double& back = d[static_cast<std::size_t>(e.b)][static_cast<std::size_t>(e.a)];
    there = back = std::min(there, e.length);
  }
  for (std::size_t i = 0; i < n; ++i) d[i][i] = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) d[i][j] = std::min(d[i][j], d[i][k] + d[k][j]);
    }
  }
  for (auto& row : d) std::replace(row.begin(), row.end(), no_bound, -1.0);
  return d;
}

/// Checks a finished search: exact distances, order of settling, predecessors one link before.
void expect_paths(const MatLinkD& links, long src, const std::vector<double>& exact, const MatFullL& pred,
                  const MatFullD& dist, long settled) {
  const long n = links.nnode();
  ASSERT_EQ(exact, std::vector<double>(dist.data(), dist.data() + n));
  std::vector<std::pair<double, long>> order;
  for (long i = 0; i < n; ++i) {
    if (dist(i, 0) >= 0.0) order.emplace_back(dist(i, 0), i);
  }
  std::sort(order.begin(), order.end());
  ASSERT_EQ(static_cast<long>(order.size()), settled);
  std::set<long> seen;
  for (long s = 0; s < n; ++s) {
    const long u = pred(s, 1);
    ASSERT_EQ(s >= settled, u < 0);
    if (u < 0) continue;
    ASSERT_EQ(order[static_cast<std::size_t>(s)].first, dist(u, 0));
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
    seen.insert(u);
  }
}

TEST(ShortestPaths, AreThoseOfAllPairs) {
  Numbers numbers(10);
  MatLinkD links;
  MatFullL pred;
  MatFullD dist;
  for (long round = 0; round < 40; ++round) {
    const long n = 1 + numbers.below(45);
    build_random(links, n, 2 * n, 1 + 20 * (round % 3), numbers);
    const auto exact = all_distances(links);
    for (long src = 0; src < n; ++src) {
      const long settled = links.gdav(src, 1, pred, dist, no_bound);
      expect_paths(links, src, exact[static_cast<std::size_t>(src)], pred, dist, settled);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(ShortestPaths, EqualDistancesSettleByNumber) {
  MatLinkD links;
  build(links, 6, {{3, 5, 1.0}, {3, 0, 1.0}, {3, 4, 1.0}, {5, 1, 1.0}, {4, 1, 1.0}, {0, 2, 0.0}});
  MatFullL pred;
  MatFullD dist;
  EXPECT_EQ(6, links.gdav(3, 1, pred, dist, no_bound));
  const long order[] = {3, 0, 2, 4, 5, 1};
  for (long s = 0; s < 6; ++s) EXPECT_EQ(order[s], pred(s, 1));
  EXPECT_EQ(4, pred(1, 0));  // found from 4 first, 5 comes as late
}

/// Every source of a graph by both searches.
void expect_same_rows(const MatLinkD& links) {
  GraphPaths paths(links, 1);
  const long n = links.nnode();
  ASSERT_EQ(n, paths.nnode());
  std::vector<double> row(static_cast<std::size_t>(n));
  std::vector<long> path(static_cast<std::size_t>(2 * n));
  MatFullL pred;
  MatFullD dist;
  for (long src = 0; src < n; ++src) {
    ASSERT_EQ(links.gdav(src, 1, pred, dist, no_bound), paths.row(src, row.data(), path.data()));
    ASSERT_TRUE(std::equal(row.begin(), row.end(), dist.data()));
    ASSERT_TRUE(std::equal(path.begin(), path.end(), pred.data()));
    paths.row(src, row.data(), nullptr);
    ASSERT_TRUE(std::equal(row.begin(), row.end(), dist.data()));
  }
}

TEST(ShortestPaths, FlatSearchAgreesToTheBitAmongTies) {
  Numbers numbers(11);
  MatLinkD links;
  for (long round = 0; round < 30; ++round) {
    build_random(links, 80, 240, round % 4, numbers);
    if (round % 2 == 1) {
      for (long k = 0; k < links.nslot(); ++k) links.setvalue(k, 1, numbers.real());
    }
    expect_same_rows(links);
    if (HasFatalFailure()) return;
  }
}

TEST(ShortestPaths, OddLengthsDoNoHarm) {
  MatLinkD links;
  build(links, 6,
        {{0, 1, -2.0},
         {1, 2, 3.0},
         {2, 0, 1.0},
         {2, 3, no_bound},
         {3, 4, 1.0},
         {0, 5, -no_bound},
         {1, 5, 0.0}});
  links.setvalue(links.add_link(1, 3), 1, no_bound - no_bound);
  expect_same_rows(links);
}

TEST(ShortestPaths, NodeWithoutLinksReachesItself) {
  MatLinkD links;
  build(links, 3, {{0, 2, 1.5}});
  MatFullL pred;
  MatFullD dist;
  EXPECT_EQ(1, links.gdav(1, 1, pred, dist, no_bound));
  const double distances[] = {-1.0, 0.0, -1.0};
  EXPECT_TRUE(std::equal(distances, distances + 3, dist.data()));
  const long paths[] = {-1, 1, -1, -1, -1, -1};
  EXPECT_TRUE(std::equal(paths, paths + 6, pred.data()));
}

TEST(ShortestPaths, BoundLeavesProvisionalDistances) {
  // From 0: 1 at 1, 2 at 2 (over 1; 5 by the direct link), 3 at 4.
  MatLinkD links;
  build(links, 4, {{0, 1, 1.0}, {1, 2, 1.0}, {0, 2, 5.0}, {2, 3, 2.0}});
  struct Case {
    double bound;
    long settled;
    double distances[4];
  };
  const Case cases[] = {
      {0.0, 1, {0.0, 1.0, 5.0, -1.0}},    {0.9994, 1, {0.0, 1.0, 5.0, -1.0}},
      {0.9996, 2, {0.0, 1.0, 2.0, -1.0}}, {1.0, 2, {0.0, 1.0, 2.0, -1.0}},
      {2.0, 3, {0.0, 1.0, 2.0, 4.0}},     {4.0, 4, {0.0, 1.0, 2.0, 4.0}},
      {-1.0, 1, {0.0, 1.0, 5.0, -1.0}},
  };
  MatFullL pred;
  MatFullD dist;
  for (const Case& c : cases) {
    EXPECT_EQ(c.settled, links.gdav(0, 1, pred, dist, c.bound)) << c.bound;
    EXPECT_TRUE(std::equal(c.distances, c.distances + 4, dist.data())) << c.bound;
    EXPECT_EQ(c.distances[2] == 5.0 ? 0 : 1, pred(2, 0)) << c.bound;
    EXPECT_EQ(c.settled, std::count_if(pred.data(), pred.data() + 8,
                                       [&](const long& v) { return (&v - pred.data()) % 2 == 1 && v >= 0; }));
    MatFullD alone;
    EXPECT_EQ(c.settled, links.gdav(0, 1, alone, c.bound));
    EXPECT_TRUE(std::equal(c.distances, c.distances + 4, alone.data()));
  }
}

TEST(ShortestPaths, ExtremesOverAllPairs) {
  Numbers numbers(12);
  MatLinkD links;
  for (long round = 0; round < 20; ++round) {
    const long n = 2 + numbers.below(30);
    build_random(links, n, n, 5, numbers);
    const auto exact = all_distances(links);
    double least = 0.0, largest = 0.0;
    std::pair<long, long> nearest(-1, -1), farthest(-1, -1);
    for (long i = n - 1; i >= 0; --i) {
      for (long j = i - 1; j >= 0; --j) {
        const double d = exact[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
        if (d <= 0.0) continue;
        if (nearest.first < 0 || d < least) least = d, nearest = {i, j};
        if (farthest.first < 0 || d > largest) largest = d, farthest = {i, j};
      }
    }
    long i = 0, j = 0;
    ASSERT_EQ(largest, links.gdamax(1, i, j));
    ASSERT_EQ(farthest, std::make_pair(i, j));
    ASSERT_EQ(least, links.gdamin(1, i, j));
    ASSERT_EQ(nearest, std::make_pair(i, j));
  }
}

TEST(ShortestPathsDeathTest, ReportsTheArgument) {
  MatLinkD links;
  build(links, 2, {{0, 1, 1.0}});
  MatFullL pred;
  MatFullD dist;
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"class MatLinkT: error l1001\n.*argument 1 out of range : 2\n",
       [&] { links.gdav(2, 1, pred, dist, 1.0); }},
      {"class MatLinkT: error l1001\n.*argument 2 out of range : 3\n",
       [&] { links.gdav(0, 3, pred, dist, 1.0); }},
  };
  for (const auto& [expected, call] : cases) {
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          call();
        },
        testing::ExitedWithCode(0), expected);
  }
}

}  // namespace
}  // namespace qvtx
