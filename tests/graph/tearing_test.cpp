#include "graph/graph_support.h"

namespace qvtx {
namespace {

using test::Edge;
using test::edges_of;
using test::Numbers;

std::size_t at(long i) { return static_cast<std::size_t>(i); }

/// Links on the shortest path between two nodes over `edges`, -1 for none.
long plain_hops(const std::vector<Edge>& edges, long n, long from, long to) {
  MatLinkD links;
  MatFullL order, hops;
  test::build(links, n, edges);
  links.nrav(from, order, hops, n);
  return hops(to, 0);
}

/// Per node the lowest number of its component.
std::vector<long> components(const MatLinkD& links) {
  MatFullL comp;
  std::vector<long> first(at(links.connex(comp)), -1), lowest;
  for (long i = 0; i < comp.nrow(); ++i) {
    long& node = first[at(comp(i, 0))];
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

TEST(Cycles, AreTheShortestThroughALink) {
  MatLinkD links;  // a ring of five with a chord that makes a triangle, and a tail
  test::build(links, 6, {{0, 1, 1}, {1, 2, 1}, {2, 3, 1}, {3, 4, 1}, {4, 0, 1}, {0, 2, 1}, {4, 5, 1}});
  const long shortest[] = {3, 3, 4, 4, 4, 3, 0, 0};  // of the last none: there is no such link
  for (long k = 0; k < 8; ++k) {
    EXPECT_EQ(shortest[k], links.cycles(k, shortest[k]));
    EXPECT_EQ(0, links.cycles(k, shortest[k] - 1));
  }
}

// ---- Tearing, by its definition ----

using Pairs = std::set<std::pair<long, long>>;

/// Ends of the links in the tree of root's component.
void add_tree(Pairs& chosen, int tree, const MatLinkD& links, long root) {
  MatFullL before;
  MatFullD dist;
  if (tree == 1) {
    links.mst(root, 1, before);
  } else {
    links.gdav(root, 1, before, dist, no_bound);
  }
  for (long i = 0; i < links.nnode(); ++i) {
    if (before(i, 0) >= 0) chosen.insert(std::minmax(i, before(i, 0)));
  }
}

/// The longest loop, in links, that tearing leaves in the component of node `far`.
long plain_longest(const MatLinkD& links, long far, long cycle) {
  MatFullL order, hops;
  for (int sweep = 0; sweep < 3; ++sweep) {
    links.nrav(far, order, hops, links.nnode());
    for (long i = links.nnode() - 1; i >= 0; --i) {
      if (hops(i, 0) > hops(far, 0) || (hops(i, 0) == hops(far, 0) && i < far)) far = i;
    }
  }
  return std::max(cycle, static_cast<long>(std::floor(0.4 * static_cast<double>(hops(far, 0)))));
}

/// Ends of the links that tearing should leave.
Pairs plain_tear(int tree, long cycle, long root, const MatFullD& points, const MatLinkD& links) {
  const std::vector<long> comp = components(links);
  std::map<long, long> nearest;  // per component
  for (long i = 0; i < points.nrow(); ++i) {
    long& best = nearest.try_emplace(comp[at(i)], i).first->second;
    if (points.sdas(root, i, no_bound) < points.sdas(root, best, no_bound)) best = i;
  }
  Pairs chosen;
  std::map<long, long> longest;
  for (const auto& [component, node] : nearest) {
    add_tree(chosen, tree, links, node);
    longest[component] = plain_longest(links, node, cycle);
  }
  std::vector<Edge> present, absent;
  for (const Edge& e : edges_of(links)) (chosen.count({e.a, e.b}) > 0 ? present : absent).push_back(e);
  for (std::size_t before = absent.size() + 1; absent.size() < before;) {
    before = absent.size();
    std::vector<Edge> left;
    for (const Edge& e : absent) {
      const long hops = plain_hops(present, points.nrow(), e.a, e.b);
      (hops >= 0 && hops < longest[comp[at(e.a)]] ? present : left).push_back(e);
    }
    absent.swap(left);
  }
  chosen.clear();
  for (const Edge& e : present) chosen.emplace(e.a, e.b);
  return chosen;
}

TEST(Tearing, LeavesTheLinksOfItsDefinition) {
  Numbers numbers(8);
  long cut_in_all = 0;
  for (long round = 0; round < 20; ++round) {
    const int tree = 1 + static_cast<int>(round % 2);
    const long cycle = 3 + round / 2 % 5, n = 80 + numbers.below(60), root = numbers.below(n);
    MatFullD points;
    test::uniform_points(points, n, 2, numbers);
    for (long i = 1; i < n; i += 2) points(i, 0) += 2.0;  // two parts, each with loops of its own
    MatLinkD links;
    build_geometric(links, points, 0.17);
    const Pairs expected = plain_tear(tree, cycle, root, points, links);
    const std::vector<long> before = components(links);
    const long live = links.nlive();
    ASSERT_EQ(0, links.tear(0, cycle, root, points));
    ASSERT_EQ(live, links.nlive());
    const long cut = links.tear(tree, cycle, root, points);
    Pairs left;
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

}  // namespace
}  // namespace qvtx
