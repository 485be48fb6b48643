// Shortest paths from all nodes, one by one over flat arrays and sixteen at a time, against the heap's
// search.

#include "graph/path_rows.h"

#include <cmath>
#include <limits>
#include <random>

#include "graph/path_trees.h"
#include "gtest/gtest.h"
#include "support/levels.h"

namespace qvtx {
namespace {

enum class Lengths { reals, lattice, near_ties, some_zero, tiny, odd };

double length(Lengths kind, std::mt19937& draws) {
  const auto k = static_cast<double>(draws() % 7);
  switch (kind) {
    case Lengths::reals:
      return std::ldexp(static_cast<double>(draws()), -32) + 1e-9;
    case Lengths::lattice:
      return 1.0 + std::fmod(k, 3.0);
    case Lengths::near_ties:  // sums agree but for rounding
      return 0.1 * (k + 1.0);
    case Lengths::some_zero:
      return k < 2.0 ? 0.0 : k;
    case Lengths::tiny:  // lost in a sum with a longer one
      return k < 2.0 ? 1e-30 : k;
    case Lengths::odd:
      return k < 1.0   ? std::numeric_limits<double>::quiet_NaN()
             : k < 2.0 ? std::numeric_limits<double>::infinity()
             : k < 3.0 ? 1e308
                       : 5e-324 * k;
  }
  return 0.0;
}

/// n nodes with about `degree` links each: double links, links of a node with itself, several components, and
/// a node linked with many.
void link(MatLinkD& links, long n, long degree, Lengths kind, std::mt19937& draws) {
  links.setdim(n, 2);
  links.addrow(n);
  for (long i = 7; i < n; i += 7) links.setvalue(links.add_link(7, i), 1, length(kind, draws));
  for (long e = 0; e < n * degree / 2; ++e) {
    const auto a = static_cast<long>(draws()) % n;
    const long step = static_cast<long>(draws()) % 9;
    const long b = draws() % 20 == 0 ? static_cast<long>(draws()) % n : std::min(a + step, n - 1);
    if (a % 50 != 49 && b % 50 != 49) links.setvalue(links.add_link(a, b), 1, length(kind, draws));
  }
}

/// The rows of one graph: distances, predecessors with settling order.
struct Rows {
  std::vector<std::vector<double>> dist;
  std::vector<std::vector<long>> pred;
};

Rows rows_of_single_searches(const MatLinkD& links) {
  Rows rows;
  MatFullD dist;
  MatFullL pred;
  for (long i = 0; i < links.nnode(); ++i) {
    links.gdav(i, 1, pred, dist, no_bound);
    rows.dist.emplace_back(dist.data(), dist.data() + links.nnode());
    rows.pred.emplace_back(pred.data(), pred.data() + 2 * links.nnode());
  }
  return rows;
}

Rows rows_of_flat_searches(const MatLinkD& links, bool with_pred) {
  GraphPaths paths(links, 1);
  const auto n = static_cast<std::size_t>(links.nnode());
  Rows rows{std::vector(n, std::vector<double>(n)), std::vector(n, std::vector<long>(2 * n))};
  for (std::size_t i = 0; i < n; ++i)
    paths.row(static_cast<long>(i), rows.dist[i].data(), with_pred ? rows.pred[i].data() : nullptr);
  return rows;
}

Rows rows_of_groups(const MatLinkD& links, bool with_pred) {
  PathRows paths(links, 1);
  const auto n = static_cast<std::size_t>(links.nnode());
  EXPECT_EQ(n, paths.order().size());
  Rows rows{std::vector(n, std::vector<double>(n)), std::vector(n, std::vector<long>(2 * n))};
  for (std::size_t first = 0; first < n; first += 16) {
    const std::size_t count = std::min<std::size_t>(16, n - first);
    const long* const sources = paths.order().data() + first;
    std::vector<double*> dist;
    std::vector<long*> pred;
    for (std::size_t s = 0; s < count; ++s) {
      dist.push_back(rows.dist[static_cast<std::size_t>(sources[s])].data());
      pred.push_back(rows.pred[static_cast<std::size_t>(sources[s])].data());
    }
    paths.rows(sources, static_cast<long>(count), dist.data(), with_pred ? pred.data() : nullptr);
  }
  return rows;
}

/// The distances, row by row in another order than that of the search.
std::vector<std::vector<double>> rows_of_trees(const MatLinkD& links) {
  const auto n = static_cast<std::size_t>(links.nnode());
  const std::unique_ptr<PathTrees> trees = PathTrees::plant(links, 1, n * n * 2);
  std::vector<std::vector<double>> rows(n, std::vector<double>(n, -2.0));
  for (std::size_t i = n; trees && i-- > 0;) trees->row(static_cast<long>(i), rows[i].data());
  return rows;
}

TEST(PathRowsTest, EqualsTheSearchFromEachNode) {
  std::mt19937 draws(1);
  for (const Lengths kind : {Lengths::reals, Lengths::lattice, Lengths::near_ties, Lengths::some_zero,
                             Lengths::tiny, Lengths::odd}) {
    for (const long n : {1L, 2L, 15L, 16L, 17L, 40L, 170L}) {
      MatLinkD links;
      link(links, n, n % 2 == 0 ? 6 : 2, kind, draws);
      const Rows expected = rows_of_single_searches(links), flat = rows_of_flat_searches(links, true);
      EXPECT_EQ(expected.dist, flat.dist);
      EXPECT_EQ(expected.pred, flat.pred);
      EXPECT_EQ(expected.dist, rows_of_flat_searches(links, false).dist);
      for (const Isa isa : test::instruction_sets()) {
        const test::Level level(isa);
        SCOPED_TRACE(testing::Message() << int(kind) << " n " << n << " isa " << int(isa));
        EXPECT_EQ(expected.dist, rows_of_groups(links, false).dist);
        const Rows rows = rows_of_groups(links, true);
        EXPECT_EQ(expected.dist, rows.dist);
        EXPECT_EQ(expected.pred, rows.pred);
        EXPECT_EQ(expected.dist, rows_of_trees(links));
      }
    }
  }
}

TEST(PathRowsTest, TreesKeepToTheirRoomAndCannotCountMoreLinksThanAByte) {
  MatLinkD links;
  links.setdim(300, 2);
  links.addrow(300);
  for (long i = 1; i < 254; ++i) links.setvalue(links.add_link(0, i), 1, 1.0);
  EXPECT_EQ(nullptr, PathTrees::plant(links, 1, 300 * 151 - 1));
  EXPECT_NE(nullptr, PathTrees::plant(links, 1, 300 * 151));
  for (long i = 254; i < 256; ++i) links.setvalue(links.add_link(0, i), 1, 1.0);
  EXPECT_EQ(nullptr, PathTrees::plant(links, 1, 300 * 151));
}

}  // namespace
}  // namespace qvtx
