// Distances between prototypes: in space, along the graph, and when they are computed again.

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <set>

#include "quant/link_diameter.h"
#include "quant/range_kernels.h"
#include "support/levels.h"
#include "support/quantizer.h"

namespace qvtx::test {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

class Distances : public QuantizerTest {
 protected:
  Distances() { vq.setkey("vgteartt", 0); }

  /// n prototypes drawn from 4 n uniform data, linked with their k nearest neighbours.
  void quantize(long n, long k) {
    load_uniform(4 * n, 3);
    vq.setkey("vglink_p", k > 0 ? 2 : 0);
    vq.setkey("vlnnbr", static_cast<double>(std::max(k, 1L)));
    ASSERT_EQ(1, vq.prot_ini(n, 0));
    ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  }

  /// All shortest paths, by the search from each prototype; -1: none.
  Rows paths() const {
    Rows d;
    MatFullD dist;
    MatFullL before;
    for (long i = 0; i < vq.prot.nrow(); ++i) {
      vq.link.gdav(i, 1, before, dist, no_bound);
      d.emplace_back(dist.data(), dist.data() + dist.nrow());
    }
    return d;
  }
  double space_distance(long i, long j) const { return vq.prot.sdas(i, j, no_bound); }

  /// Every row as the quantizer tells it: space, graph and path rows, one after the other.
  std::vector<double> all_rows() const {
    std::vector<double> rows;
    MatFullD scratch, scratch2;
    MatFullL paths;
    const long n = vq.prot.nrow();
    for (long i = 0; i < n; ++i) {
      const double* const e = vq.space_row(i, scratch);
      rows.insert(rows.end(), e, e + n);
      const double* const g = vq.graph_row(i, scratch);
      rows.insert(rows.end(), g, g + n);
      const long* const p = vq.path_row(i, paths, scratch2);
      for (long c = 0; c < 2 * n; ++c) rows.push_back(static_cast<double>(p[c]));
    }
    return rows;
  }
};

/// The smallest and the largest positive number of some rows.
std::pair<double, double> range_of(const Rows& rows) {
  std::pair<double, double> range = {infinity, 0.0};
  for (const auto& row : rows) {
    for (const double x : row) {
      if (x > 0.0) range = {std::min(range.first, x), std::max(range.second, x)};
    }
  }
  return range;
}

TEST_F(Distances, RowsAndRangesAreThoseOfPlainReferences) {
  const long n = 60;
  quantize(n, 3);
  vq.setkey("tdgb", 0.25);
  ASSERT_EQ(1, vq.dist_ini(0));
  EXPECT_EQ(n, vq.npath());
  const Rows graph = paths();
  Rows space = graph, mixed = graph;
  MatFullD scratch, scratch2, scratch3;
  MatFullL path;
  for (long i = 0; i < n; ++i) {
    const double* const e = vq.space_row(i, scratch);
    const double* const g = vq.graph_row(i, scratch2);
    const long* const p = vq.path_row(i, path, scratch3);
    EXPECT_EQ(i, p[1]);
    EXPECT_EQ(-1, p[2 * i]);
    for (long j = 0; j < n; ++j) {
      const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
      space[a][b] = space_distance(i, j);
      EXPECT_EQ(space[a][b], e[j]);
      EXPECT_EQ(graph[a][b], g[j]);
      if (graph[a][b] > 0.0) mixed[a][b] = 0.75 * e[j] + 0.25 * graph[a][b];
      const long before = p[2 * j];
      if (before < 0) continue;
      const long k = vq.link.get_link(before, j);
      ASSERT_GE(k, 0);
      EXPECT_EQ(g[j], g[before] + vq.link.getvalue(k, 1));
    }
  }
  const std::pair<const Rows*, std::pair<const char*, const char*>> kinds[] = {
      {&space, {"tdns", "tdxs"}}, {&graph, {"tdng", "tdxg"}}, {&mixed, {"tdnm", "tdxm"}}};
  for (const auto& [rows, keys] : kinds) {
    EXPECT_NEAR(range_of(*rows).first, vq.real(keys.first), 1e-13) << keys.first;
    EXPECT_NEAR(range_of(*rows).second, vq.real(keys.second), 1e-13) << keys.second;
  }
  EXPECT_EQ(link_diameter(vq.link), vq.number("tdxp"));
}

TEST(LinkDiameter, IsTheLargestNumberOfLinksOnAShortestPath) {
  for (int round = 0; round < 1000; ++round) {
    const long n = 1 + draw_index(24);
    MatLinkD links(n, 3);
    links.addrow(n);
    for (long k = 0; k < n + n / 4; ++k) links.add_link(draw_index(n), draw_index(n));
    long largest = 0;
    MatFullL order, hops;
    for (long i = 0; i < n; ++i) {
      links.nrav(i, order, hops, n);
      largest = std::max(largest, hops(order(order.nrow() - 1, 0), 0));
    }
    ASSERT_EQ(largest, link_diameter(links)) << round;
  }
}

TEST_F(Distances, AnythingTheyDependOnStartsAnotherComputation) {
  EXPECT_EQ(0, vq.dist_ini(0)) << "not linked";
  quantize(20, 3);
  vq.verbose = 1;
  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"exponent", [] { MatFullD::miex = 1.0; }},
      {"class", [] { MatFullD::mesp = 'a'; }},
      {"Laplacian width", [this] { vq.setkey("tdctdakp", 2.0); }},
      {"graph distance", [this] { vq.setkey("tdgdtype", 2); }},
      {"linking", [this] { vq.prot_fin("LBG", 1); }},
  };
  for (const auto& [what, change] : changes) {
    ASSERT_EQ(1, vq.dist_ini(0));
    console.take();
    ASSERT_EQ(1, vq.dist_ini(1));
    EXPECT_EQ("VeQuan.dist_ini: distances already computed\n", console.take());
    change();
    ASSERT_EQ(1, vq.dist_ini(0));
    EXPECT_EQ(std::string::npos, console.take().find("already")) << what;
    MatFullD scratch;
    EXPECT_EQ(space_distance(3, 5), vq.space_row(3, scratch)[5]) << what;
  }
}

TEST_F(Distances, StoredReadAndComputedRowsAreTheSame) {
  for (const auto& [type, balance] : {std::pair{0L, 0.5}, {0L, 1.0}, {2L, 0.5}}) {
    quantize(40, 3);
    vq.setkey("tdgdtype", static_cast<double>(type));
    vq.setkey("tdgb", balance);
    std::set<std::vector<double>> rows;
    for (long memory : {0L, 1L, 2L}) {
      vq.setkey("vgmemory", static_cast<double>(memory));
      ASSERT_EQ(1, vq.prot_fin("LBG", 1));
      ASSERT_EQ(1, vq.dist_ini(0));
      rows.insert(all_rows());
      EXPECT_EQ(memory >= 1 && balance < 1.0, vq.space_stored(7));
      EXPECT_EQ(memory >= 1 || type == 2, vq.graph_stored(7));
      EXPECT_EQ(memory == 2, vq.path_stored(7));
    }
    ASSERT_EQ(1, vq.prot_fin("LBG", 1));
    ASSERT_EQ(1, vq.dist_ini(1));
    rows.insert(all_rows());
    EXPECT_FALSE(vq.graph_stored(7)) << "reading stores nothing";
    EXPECT_EQ(1u, rows.size()) << "type " << type;
  }
}

TEST_F(Distances, LaplacianOfAPathGivesTheRootsOfItsLengths) {
  load({{0.0}, {1.0}, {2.0}, {50.0}});
  vq.setkey("vglink_p", 1);
  vq.setkey("vleeps", 1.0);
  for (const char* key : {"tdctdtwt", "tdctdlnf"}) vq.setkey(key, 0);
  vq.setkey("tdgdtype", 2);
  ASSERT_EQ(1, vq.nq());
  ASSERT_EQ(1, vq.dist_ini(0));
  MatFullD scratch;
  MatFullL path;
  for (long i = 0; i < 3; ++i) {
    const double* const g = vq.graph_row(i, scratch);
    for (long j = 0; j < 3; ++j) EXPECT_NEAR(std::sqrt(static_cast<double>(std::abs(i - j))), g[j], 1e-12);
    EXPECT_EQ(-1.0, g[3]) << "another component";
  }
  const long* const p = vq.path_row(0, path, scratch);
  EXPECT_EQ((std::vector<long>{-1, 0, -1, 1, -1, 2, -1, -1}), std::vector<long>(p, p + 8));
  EXPECT_NEAR(std::sqrt(2.0), vq.real("tdxg"), 1e-12);
  EXPECT_EQ(2, vq.number("tdxp"));
}

/// The ranges by single comparisons.
PairRange plain_range(const std::vector<double>& numbers) {
  PairRange range{infinity, 0.0};
  for (const double v : numbers) {
    if (v > 0.0 && v < range.min) range.min = v;
    if (v > range.max) range.max = v;
  }
  return range;
}

TEST(RangeKernels, EqualPlainComparisonsInEveryLane) {
  std::mt19937 draws(2);
  const double odd[] = {-1.0, 0.0, std::nan(""), infinity, 5e-324, 1e-3, 7.0};
  for (const Isa isa : instruction_sets()) {
    const Level level(isa);
    for (std::size_t n = 0; n < 75; ++n) {
      std::vector<double> e(n), g(n), mixed(n);
      for (std::size_t j = 0; j < n; ++j) {
        e[j] = odd[draws() % (n % 2 == 0 ? 7 : 3)];
        g[j] = odd[draws() % 7];
        mixed[j] = g[j] > 0.0 ? (1.0 - 0.25) * e[j] + 0.25 * g[j] : 0.0;
      }
      PairRange own{infinity, 0.0}, mix{infinity, 0.0};
      range_kernels().widen(e.data(), static_cast<long>(n), &own.min, &own.max);
      range_kernels().widen_mixed(e.data(), g.data(), 0.25, static_cast<long>(n), &mix.min, &mix.max);
      EXPECT_EQ(plain_range(e).min, own.min);
      EXPECT_EQ(plain_range(e).max, own.max);
      EXPECT_EQ(plain_range(mixed).min, mix.min);
      EXPECT_EQ(plain_range(mixed).max, mix.max);
    }
  }
}

}  // namespace
}  // namespace qvtx::test
