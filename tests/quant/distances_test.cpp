// Distances between prototypes: in space, along the graph, and when they are computed again.

#include <cmath>
#include <functional>
#include <limits>
#include <set>

#include "quant/link_diameter.h"
#include "support/quantizer.h"

namespace qvtx {
namespace {

using test::fill;
using test::QuantizerTest;
using Matrix = std::vector<std::vector<double>>;

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

  std::size_t size() const { return static_cast<std::size_t>(vq.prot.nrow()); }

  /// Matrix with 0 on the diagonal, `none` elsewhere, and what `length` tells of every link.
  template <class Length>
  Matrix link_matrix(double none, Length length) const {
    Matrix d(size(), std::vector<double>(size(), none));
    for (std::size_t i = 0; i < size(); ++i) d[i][i] = 0.0;
    for (long k = 0; k < vq.link.nslot(); ++k) {
      if (!vq.link.live(k)) continue;
      const auto a = static_cast<std::size_t>(vq.link.end_a(k)),
                 b = static_cast<std::size_t>(vq.link.end_b(k));
      d[a][b] = d[b][a] = length(k);
    }
    return d;
  }

  /// All shortest paths by Floyd and Warshall.
  static void close_paths(Matrix& d) {
    for (std::size_t k = 0; k < d.size(); ++k) {
      for (std::size_t i = 0; i < d.size(); ++i) {
        for (std::size_t j = 0; j < d.size(); ++j) d[i][j] = std::min(d[i][j], d[i][k] + d[k][j]);
      }
    }
  }

  Matrix graph_distances() const {
    Matrix d = link_matrix(infinity, [this](long k) { return vq.link.getvalue(k, 1); });
    close_paths(d);
    return d;
  }
  Matrix link_counts() const {
    Matrix d = link_matrix(infinity, [](long) { return 1.0; });
    close_paths(d);
    return d;
  }
  double space_distance(std::size_t i, std::size_t j) const {
    return vq.prot.sdas(static_cast<long>(i), static_cast<long>(j), no_bound);
  }

  double real(const char* key) { return vq.getdpref().getval(vq.getdpref().getkey(key)); }

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

TEST_F(Distances, RowsAreThoseOfPlainReferences) {
  quantize(60, 3);
  ASSERT_EQ(1, vq.dist_ini(0));
  EXPECT_EQ(1, vq.done(VeQuan::dinidone));
  EXPECT_EQ(60, vq.npath());
  const Matrix reference = graph_distances();
  MatFullD scratch, scratch2;
  MatFullL paths;
  for (std::size_t i = 0; i < size(); ++i) {
    const long row = static_cast<long>(i);
    const double* const e = vq.space_row(row, scratch);
    for (std::size_t j = 0; j < size(); ++j) EXPECT_EQ(space_distance(i, j), e[j]);
    const double* const g = vq.graph_row(row, scratch);
    for (std::size_t j = 0; j < size(); ++j) {
      if (reference[i][j] == infinity) {
        EXPECT_EQ(-1.0, g[j]);
      } else {
        EXPECT_NEAR(reference[i][j], g[j], 1e-13);
      }
    }
    const long* const p = vq.path_row(row, paths, scratch2);
    EXPECT_EQ(row, p[1]);
    EXPECT_EQ(-1, p[2 * row]);
    for (std::size_t j = 0; j < size(); ++j) {
      const long before = p[2 * j];
      if (before < 0) continue;
      const long k = vq.link.get_link(before, static_cast<long>(j));
      ASSERT_GE(k, 0);
      EXPECT_EQ(g[j], g[before] + vq.link.getvalue(k, 1));
    }
  }
}

TEST_F(Distances, RangesAndLongestPathAreRecorded) {
  quantize(60, 3);
  vq.setkey("tdgb", 0.25);
  ASSERT_EQ(1, vq.dist_ini(0));
  const Matrix graph = graph_distances(), counts = link_counts();
  double lo[3] = {infinity, infinity, infinity}, hi[3] = {0.0, 0.0, 0.0}, hops = 0.0;
  for (std::size_t i = 0; i < size(); ++i) {
    for (std::size_t j = 0; j < size(); ++j) {
      if (i == j) continue;
      const double e = space_distance(i, j), g = graph[i][j];
      const double kinds[3] = {e, g, 0.75 * e + 0.25 * g};
      for (int c = 0; c < 3; ++c) {
        if (kinds[c] == infinity) continue;
        lo[c] = std::min(lo[c], kinds[c]);
        hi[c] = std::max(hi[c], kinds[c]);
      }
      if (counts[i][j] < infinity) hops = std::max(hops, counts[i][j]);
    }
  }
  const char* const smallest[3] = {"tdns", "tdng", "tdnm"};
  const char* const largest[3] = {"tdxs", "tdxg", "tdxm"};
  for (int c = 0; c < 3; ++c) {
    EXPECT_NEAR(lo[c], real(smallest[c]), 1e-13) << smallest[c];
    EXPECT_NEAR(hi[c], real(largest[c]), 1e-13) << largest[c];
  }
  EXPECT_EQ(static_cast<long>(hops), vq.getlpref().getval(vq.keys.tdxp));
}

TEST(LinkDiameter, IsTheLargestNumberOfLinksOnAShortestPath) {
  const auto diameter = [](long n, const std::vector<std::pair<long, long>>& pairs) {
    MatLinkD links(n, 3);
    if (n > 0) links.addrow(n);
    for (const auto& [i, j] : pairs) links.add_link(i, j);
    return link_diameter(links);
  };
  EXPECT_EQ(0, diameter(0, {}));
  EXPECT_EQ(0, diameter(3, {}));
  EXPECT_EQ(2, diameter(5, {{0, 1}, {0, 2}, {0, 3}})) << "a star and a single node";
  EXPECT_EQ(3, diameter(7, {{4, 6}, {0, 1}, {1, 2}, {2, 5}})) << "the longer one of two paths";
  std::vector<std::pair<long, long>> ring;
  for (long i = 0; i < 31; ++i) ring.emplace_back(i, (i + 1) % 31);
  EXPECT_EQ(15, diameter(31, ring));
  ring.pop_back();
  EXPECT_EQ(30, diameter(31, ring)) << "a path";
}

TEST_F(Distances, TheLongestPathIsThatOfAllPairs) {
  for (long n : {10L, 40L, 120L}) {
    for (long k : {1L, 2L, 4L}) {
      quantize(n, k);
      double longest = 0.0;
      for (const std::vector<double>& row : link_counts()) {
        for (double hops : row) longest = hops < infinity ? std::max(longest, hops) : longest;
      }
      EXPECT_EQ(static_cast<long>(longest), link_diameter(vq.link)) << n << ", " << k;
    }
  }
}

TEST_F(Distances, WithoutGraphDistancesTheMixIsTheSpace) {
  struct Case {
    long neighbours;
    double weight;
  };
  for (const Case& c : {Case{0, 1.0}, {3, 0.0}}) {
    quantize(20, c.neighbours);
    vq.setkey("tdgb", c.weight);
    ASSERT_EQ(1, vq.dist_ini(0));
    EXPECT_EQ(real("tdns"), real("tdnm"));
    EXPECT_EQ(real("tdxs"), real("tdxm"));
    EXPECT_EQ(0.0, vq.balance());
    EXPECT_EQ(c.neighbours == 0, real("tdxg") == 0.0);
    EXPECT_EQ(c.neighbours == 0, vq.getlpref().getval(vq.keys.tdxp) == 0);
  }
}

TEST_F(Distances, AnIsolatedPrototypeReachesItselfOnly) {
  load({{0.0}, {1.0}, {50.0}});
  vq.setkey("vglink_p", 1);
  vq.setkey("vleeps", 2.0);
  ASSERT_EQ(1, vq.nq());
  ASSERT_EQ(1, vq.dist_ini(0));
  MatFullD scratch, scratch2;
  MatFullL paths;
  const double* const g = vq.graph_row(2, scratch);
  EXPECT_EQ((std::vector<double>{-1.0, -1.0, 0.0}), std::vector<double>(g, g + 3));
  const long* const p = vq.path_row(2, paths, scratch2);
  EXPECT_EQ((std::vector<long>{-1, 2, -1, -1, -1, -1}), std::vector<long>(p, p + 6));
  EXPECT_EQ(1.0, real("tdxg")) << "pairs without a path do not count";
}

TEST_F(Distances, SinglePrototypesHaveNoRange) {
  load({{1.0}, {3.0}});
  ASSERT_EQ(1, vq.gc());
  ASSERT_EQ(1, vq.dist_ini(0));
  for (const char* key : {"tdns", "tdng", "tdnm", "tdxs", "tdxg", "tdxm"}) EXPECT_EQ(0.0, real(key)) << key;
}

TEST_F(Distances, RefusedBeforeTheLinkingStep) {
  load_uniform(20, 2);
  EXPECT_EQ(0, vq.dist_ini(0));
  ASSERT_EQ(1, vq.prot_ini(5, 0));
  EXPECT_EQ(0, vq.dist_ini(1));
}

TEST_F(Distances, ReportsRangesAndThenThatNothingChanged) {
  load({{0.0}, {1.0}, {3.0}});
  vq.setkey("vlnnbr", 1);
  vq.setkey("vglink_p", 2);
  ASSERT_EQ(1, vq.nq());
  vq.verbose = 1;
  console.take();
  ASSERT_EQ(1, vq.dist_ini(0));
  EXPECT_EQ("VeQuan.dist_ini: computing min. and max. distances (storing)\n" + std::string(60, '_') + "\n" +
                std::string(60, '^') +
                "\nVeQuan.space dist.: [  1.00,  3.00]\nVeQuan.mixed dist.: [  1.00,  3.00]\n"
                "VeQuan.graph dist.: [  1.00,  3.00]\n",
            console.take());
  ASSERT_EQ(1, vq.dist_ini(0));
  ASSERT_EQ(1, vq.dist_ini(1));
  EXPECT_EQ("VeQuan.dist_ini: distances already computed\nVeQuan.dist_ini: distances already computed\n",
            console.take());
  vq.setkey("tdgb", 0.5);
  ASSERT_EQ(1, vq.dist_ini(0));
  EXPECT_EQ(0u, console.take().find("VeQuan.dist_ini: computing min. and max. distances (reading)\n"));
}

TEST_F(Distances, AnythingTheyDependOnStartsAnotherComputation) {
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
    change();
    console.take();
    ASSERT_EQ(1, vq.dist_ini(0));
    EXPECT_EQ(std::string::npos, console.take().find("already")) << what;
    MatFullD scratch;
    EXPECT_EQ(space_distance(3, 5), vq.space_row(3, scratch)[5]) << what;
  }
}

TEST_F(Distances, StoredReadAndComputedRowsAreTheSame) {
  for (long type : {0L, 2L}) {
    quantize(40, 3);
    vq.setkey("tdgdtype", static_cast<double>(type));
    std::set<std::vector<double>> rows;
    for (long memory : {0L, 1L, 2L}) {
      vq.setkey("vgmemory", static_cast<double>(memory));
      ASSERT_EQ(1, vq.prot_fin("LBG", 1));
      ASSERT_EQ(1, vq.dist_ini(0));
      rows.insert(all_rows());
      MatFullD scratch;
      const bool stored = vq.space_row(7, scratch) != scratch.data();
      EXPECT_EQ(memory >= 1, stored);
    }
    ASSERT_EQ(1, vq.prot_fin("LBG", 1));
    ASSERT_EQ(1, vq.dist_ini(1));
    EXPECT_EQ(1, vq.done(VeQuan::dinidone));
    EXPECT_EQ(40, vq.npath());
    rows.insert(all_rows());
    EXPECT_EQ(1u, rows.size()) << "type " << type;
  }
}

TEST_F(Distances, LaplacianOfATreeGivesTheRootsOfItsPathLengths) {
  load({{0.0}, {1.0}, {2.0}, {3.0}, {50.0}, {51.0}});
  vq.setkey("vglink_p", 1);
  vq.setkey("vleeps", 1.0);
  vq.setkey("tdctdtwt", 0);
  vq.setkey("tdctdlnf", 0);
  vq.setkey("tdgdtype", 2);
  ASSERT_EQ(1, vq.nq());
  vq.verbose = 1;
  console.take();
  ASSERT_EQ(1, vq.dist_ini(0));
  EXPECT_EQ(0u, console.take().find("Computing the graph Laplacian: Pseudo-inverting the graph Laplacian ... "
                                    "done!\nVeQuan.space dist.: "));
  MatFullD scratch, scratch2;
  MatFullL paths;
  for (long i = 0; i < 6; ++i) {
    const double* const g = vq.graph_row(i, scratch);
    for (long j = 0; j < 6; ++j) {
      const bool connected = (i < 4) == (j < 4);
      EXPECT_NEAR(connected ? std::sqrt(static_cast<double>(std::abs(i - j))) : -1.0, g[j], 1e-12);
    }
  }
  const long* const p = vq.path_row(0, paths, scratch2);
  EXPECT_EQ((std::vector<long>{-1, 0, -1, 1, -1, 2, -1, 3, -1, -1, -1, -1}), std::vector<long>(p, p + 12));
  EXPECT_NEAR(std::sqrt(3.0), real("tdxg"), 1e-12);
  EXPECT_EQ(3, vq.getlpref().getval(vq.keys.tdxp));
}

}  // namespace
}  // namespace qvtx
