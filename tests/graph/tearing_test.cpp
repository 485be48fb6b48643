#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <set>
#include <utility>
#include <vector>

#include "graph/matlinkd.h"
#include "graph_support.h"

namespace qvtx {
namespace {

using test::Edge;
using test::edges_of;
using test::Numbers;

constexpr double tau = 2.0 * std::numbers::pi;

/// Lengths of the shortest paths from root (Bellman and Ford).
std::vector<double> plain_paths(const std::vector<Edge>& edges, long n, long root) {
  std::vector<double> dist(static_cast<std::size_t>(n), no_bound);
  const auto at = [&](long i) -> double& { return dist[static_cast<std::size_t>(i)]; };
  at(root) = 0.0;
  for (std::vector<double> before; before != dist;) {
    before = dist;
    for (const Edge& e : edges) {
      at(e.a) = std::min(at(e.a), at(e.b) + e.length);
      at(e.b) = std::min(at(e.b), at(e.a) + e.length);
    }
  }
  return dist;
}

/// Links on the shortest path between two nodes over `edges`, -1 for none.
long plain_hops(std::vector<Edge> edges, long n, long from, long to) {
  for (Edge& e : edges) e.length = 1.0;
  const double hops = plain_paths(edges, n, from)[static_cast<std::size_t>(to)];
  return hops == no_bound ? -1 : static_cast<long>(hops);
}

/// Per node the lowest number of its component.
std::vector<long> components(const MatLinkD& links) {
  MatFullL comp;
  std::vector<long> first(static_cast<std::size_t>(links.connex(comp)), -1), lowest;
  for (long i = 0; i < comp.nrow(); ++i) {
    long& node = first[static_cast<std::size_t>(comp(i, 0))];
    if (node < 0) node = i;
    lowest.push_back(node);
  }
  return lowest;
}

/// Links the points that are at most `reach` apart; the lengths stand in column 1.
void build_geometric(MatLinkD& links, const MatFullD& points, double reach) {
  links.setdim(points.nrow(), 2);
  links.addrow(points.nrow());
  links.e_link(0, points, reach);
  links.setpos(points, 1);
}

// ---- Short cycles ----

TEST(Cycles, AreThoseOfAPlainSearch) {
  Numbers numbers(7);
  MatLinkD links;
  for (long round = 0; round < 40; ++round) {
    const long n = 3 + numbers.below(25);
    test::build_random(links, n, n + numbers.below(n), 3, numbers);
    for (long k = 0; k < links.nslot(); ++k) {
      if (!links.live(k)) continue;
      std::vector<Edge> others;
      for (long l = 0; l < links.nslot(); ++l) {
        if (l != k && links.live(l)) others.push_back({links.end_a(l), links.end_b(l), 0.0});
      }
      const long path = plain_hops(others, n, links.end_a(k), links.end_b(k));
      const long shortest = path < 0 ? 0 : path + 1;
      ASSERT_EQ(shortest, links.cycles(k, 1000));
      ASSERT_EQ(shortest, links.cycles(k, shortest));
      ASSERT_EQ(0, links.cycles(k, shortest - 1));
    }
    ASSERT_EQ(0, links.cycles(links.nslot(), 1000));
  }
}

// ---- Tearing, by its definition ----

/// Whether each edge (sorted by length, lengths all different) belongs to the tree of its component.
std::vector<bool> plain_tree(int tree, const std::vector<Edge>& edges, const std::vector<long>& comp,
                             const std::vector<long>& roots) {
  const long n = static_cast<long>(comp.size());
  std::vector<bool> chosen(edges.size(), false);
  if (tree == 1) {
    std::vector<Edge> forest;
    for (std::size_t e = 0; e < edges.size(); ++e) {
      chosen[e] = plain_hops(forest, n, edges[e].a, edges[e].b) < 0;
      if (chosen[e]) forest.push_back(edges[e]);
    }
    return chosen;
  }
  for (const long root : roots) {
    const std::vector<double> dist = plain_paths(edges, n, root);
    const auto at = [&](long i) { return dist[static_cast<std::size_t>(i)]; };
    for (std::size_t e = 0; e < edges.size(); ++e) {
      const auto& [a, b, length] = edges[e];
      if (at(a) == no_bound) continue;
      if (at(a) + length == at(b) || at(b) + length == at(a)) chosen[e] = true;
    }
  }
  return chosen;
}

/// Ends of the links that tearing should leave.
std::set<std::pair<long, long>> plain_tear(int tree, long cycle, long root, const MatFullD& points,
                                           const MatLinkD& links) {
  std::vector<Edge> edges = edges_of(links);
  std::sort(edges.begin(), edges.end(), [](const Edge& x, const Edge& y) { return x.length < y.length; });
  const std::vector<long> comp = components(links);
  std::map<long, long> nearest;  // per component
  for (long i = 0; i < points.nrow(); ++i) {
    long& best = nearest.try_emplace(comp[static_cast<std::size_t>(i)], i).first->second;
    if (points.sdas(root, i, no_bound) < points.sdas(root, best, no_bound)) best = i;
  }
  std::vector<long> roots;
  for (const auto& [component, node] : nearest) roots.push_back(node);
  const std::vector<bool> chosen = plain_tree(tree, edges, comp, roots);
  std::vector<Edge> present, absent;
  for (std::size_t e = 0; e < edges.size(); ++e) (chosen[e] ? present : absent).push_back(edges[e]);
  for (std::size_t before = absent.size() + 1; absent.size() < before;) {
    before = absent.size();
    std::vector<Edge> left;
    for (const Edge& e : absent) {
      const long hops = plain_hops(present, points.nrow(), e.a, e.b);
      (hops >= 0 && hops < cycle ? present : left).push_back(e);
    }
    absent.swap(left);
  }
  std::set<std::pair<long, long>> ends;
  for (const Edge& e : present) ends.emplace(e.a, e.b);
  return ends;
}

TEST(Tearing, LeavesTheLinksOfItsDefinition) {
  Numbers numbers(8);
  long cut_in_all = 0;
  for (long round = 0; round < 20; ++round) {
    const int tree = 1 + static_cast<int>(round % 2);
    const long cycle = 3 + round / 2 % 5, n = 40 + numbers.below(30), root = numbers.below(n);
    MatFullD points;
    test::uniform_points(points, n, 2, numbers);
    MatLinkD links;
    build_geometric(links, points, 0.17);
    const std::set<std::pair<long, long>> expected = plain_tear(tree, cycle, root, points, links);
    const std::vector<long> before = components(links);
    const long live = links.nlive(), cut = links.tear(tree, cycle, root, points);
    std::set<std::pair<long, long>> left;
    for (const Edge& e : edges_of(links)) {
      left.emplace(e.a, e.b);
      ASSERT_EQ(points.sdas(e.a, e.b, no_bound), e.length);
    }
    ASSERT_EQ(expected, left) << "tree " << tree << " cycle " << cycle;
    ASSERT_EQ(live - cut, links.nlive());
    ASSERT_EQ(before, components(links));
    cut_in_all += cut;
  }
  EXPECT_GT(cut_in_all, 0);  // the graphs do have long loops
}

// ---- Tearing opens tubes and rings ----

TEST(Tearing, OpensACylinder) {
  constexpr long around = 16, height = 9, n = around * height;
  for (const int tree : {1, 2}) {
    MatFullD points(n, 3);
    points.setrows(n, 0.0);
    Numbers numbers(9);
    for (long i = 0; i < n; ++i) {
      const double angle = tau * static_cast<double>(i % around) / around + 0.05 * numbers.real();
      points(i, 0) = std::cos(angle);
      points(i, 1) = std::sin(angle);
      points(i, 2) = 0.39 * static_cast<double>(i / around) + 0.05 * numbers.real();
    }
    MatLinkD links;
    build_geometric(links, points, 0.6);
    const long before = links.nlive(), cut = links.tear(tree, 10, n / 2, points);
    EXPECT_GE(cut, height);
    EXPECT_LT(cut, before / 4);
    EXPECT_EQ(std::vector<long>(n, 0), components(links));
    // Unrolled along a search tree, no link leads round the tube any more.
    MatFullL order, hops;
    links.nrav(0, order, hops, n);
    std::vector<double> unrolled(n, 0.0);
    const auto turn = [&](long i, long j) {
      return std::remainder(std::atan2(points(j, 1), points(j, 0)) - std::atan2(points(i, 1), points(i, 0)),
                            tau);
    };
    std::set<long> placed = {0};
    for (long r = 0; r < n; ++r) {
      const long u = order(r, 0);
      for (long k = links.head(u); k >= 0; k = links.next(k, u)) {
        const long v = links.other(k, u);
        const double angle = unrolled[static_cast<std::size_t>(u)] + turn(u, v);
        if (placed.insert(v).second) unrolled[static_cast<std::size_t>(v)] = angle;
        ASSERT_NEAR(angle, unrolled[static_cast<std::size_t>(v)], 1e-9) << "tree " << tree;
      }
    }
  }
}

TEST(Tearing, CutsEachOfTwoRingsOnce) {
  constexpr long n = 60;
  for (const int tree : {1, 2}) {
    MatFullD points(n, 3);
    points.setrows(n, 0.0);
    MatLinkD links;
    links.setdim(n, 2);
    links.addrow(n);
    for (long i = 0; i < n; ++i) {
      const long ring = i % 2;
      const double angle = tau * static_cast<double>(i / 2) / 30.0;
      points(i, 0) = std::cos(angle) + static_cast<double>(ring);
      points(i, 1 + ring) = std::sin(angle);
      links.add_link(i, (i + 2) % n);
    }
    links.setpos(points, 1);
    EXPECT_EQ(2, links.tear(tree, 10, 0, points)) << "tree " << tree;
    MatFullL comp;
    EXPECT_EQ(2, links.connex(comp));  // two strings: neither ring lost two links
    // Opposite the root: the ring of node 0 opens between the two nodes that are farthest from it.
    EXPECT_TRUE(tree == 1 || links.get_link(30, 28) < 0 || links.get_link(30, 32) < 0);
  }
}

}  // namespace
}  // namespace qvtx
