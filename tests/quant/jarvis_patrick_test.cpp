// Jarvis-Patrick clustering against brute force, on planted clusters and on known classes.

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>

#include "support/quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

using Points = std::vector<std::vector<double>>;

/// Agreement of two partitions corrected for chance: 1 for equal ones, near 0 for unrelated ones (Hubert and
/// Arabie, 1985).
double adjusted_rand(const std::vector<long>& a, const std::vector<long>& b) {
  std::map<std::pair<long, long>, double> both;
  std::map<long, double> in_a, in_b;
  for (std::size_t i = 0; i < a.size(); ++i) ++both[{a[i], b[i]}], ++in_a[a[i]], ++in_b[b[i]];
  const auto pairs = [](double n) { return n * (n - 1.0) / 2.0; };
  double sum = 0.0, sum_a = 0.0, sum_b = 0.0;
  for (const auto& [key, n] : both) sum += pairs(n);
  for (const auto& [key, n] : in_a) sum_a += pairs(n);
  for (const auto& [key, n] : in_b) sum_b += pairs(n);
  const double expected = sum_a * sum_b / pairs(static_cast<double>(a.size()));
  return (sum - expected) / ((sum_a + sum_b) / 2.0 - expected);
}

/// The method once more, on the full matrix of distances. Everything is found by looking at all pairs.
struct Reference {
  Points x;
  long least = 1;
  std::vector<long> cluster;
  long count = 0;

  std::size_t size() const { return x.size(); }
  double squared(std::size_t i, std::size_t j) const {
    double sum = 0.0;
    for (std::size_t c = x[i].size(); c-- > 0;) sum += (x[i][c] - x[j][c]) * (x[i][c] - x[j][c]);
    return sum;
  }

  /// Data that got a cluster.
  void pass(long k, long s) {
    std::vector<std::size_t> left;
    for (std::size_t i = 0; i < size(); ++i) {
      if (cluster[i] < 0) left.push_back(i);
    }
    std::vector<std::vector<bool>> near(size(), std::vector<bool>(size(), false));
    for (const std::size_t i : left) {
      std::vector<std::pair<double, std::size_t>> others;
      for (const std::size_t j : left) {
        if (j != i) others.emplace_back(std::sqrt(squared(i, j)), j);
      }
      std::sort(others.begin(), others.end());
      for (std::size_t r = 0; r < others.size() && r < static_cast<std::size_t>(std::max(k, 1L)); ++r)
        near[i][others[r].second] = true;
    }
    const auto together = [&](std::size_t i, std::size_t j) {
      long shared = 0;
      for (const std::size_t q : left) shared += near[i][q] && near[j][q];
      return near[i][j] && near[j][i] && shared >= s;
    };
    std::vector<bool> seen(size(), false);
    for (const std::size_t start : left) {
      if (seen[start]) continue;
      std::vector<std::size_t> members{start};
      seen[start] = true;
      for (std::size_t m = 0; m < members.size(); ++m) {
        for (const std::size_t j : left) {
          if (seen[j] || !together(members[m], j)) continue;
          seen[j] = true;
          members.push_back(j);
        }
      }
      if (static_cast<long>(members.size()) < least) continue;
      for (const std::size_t i : members) cluster[i] = count;
      ++count;
    }
  }

  /// Numbers by the order asked for, and the rest with their nearest neighbours.
  void finish(long sort) {
    if (count == 0) {
      std::fill(cluster.begin(), cluster.end(), 0L);
      count = 1;
    }
    std::vector<long> sizes(static_cast<std::size_t>(count), 0), order(sizes.size());
    for (const long c : cluster) {
      if (c >= 0) ++sizes[static_cast<std::size_t>(c)];
    }
    const auto first = [&](long c) { return std::find(cluster.begin(), cluster.end(), c); };
    std::iota(order.begin(), order.end(), 0L);
    std::sort(order.begin(), order.end(), [&](long a, long b) {
      const long size_a = sizes[static_cast<std::size_t>(a)], size_b = sizes[static_cast<std::size_t>(b)];
      if (sort != 0 && size_a != size_b) return sort == 1 ? size_a > size_b : size_a < size_b;
      return first(a) < first(b);
    });
    std::vector<long> renamed = cluster;
    for (std::size_t i = 0; i < size(); ++i) {
      if (cluster[i] >= 0) renamed[i] = std::find(order.begin(), order.end(), cluster[i]) - order.begin();
    }
    cluster = renamed;
    for (std::size_t i = 0; i < size(); ++i) {
      if (renamed[i] >= 0) continue;
      std::size_t best = size();
      for (std::size_t j = 0; j < size(); ++j) {
        if (renamed[j] >= 0 && (best == size() || squared(i, j) < squared(i, best))) best = j;
      }
      cluster[i] = renamed[best];
    }
  }
};

class JarvisPatrickTest : public QuantizerTest {
 protected:
  std::vector<long> clusters() const { return {vq.bmu.data(), vq.bmu.data() + vq.bmu.nrow()}; }

  void schedule(const std::string& text) const {
    std::ofstream out("own.jpp");
    out << text;
  }

  /// Every prototype must be the mean of the data that a pass, and not the nearest neighbour, put into its
  /// cluster.
  void expect_means(const std::vector<long>& core) const {
    for (long k = 0; k < vq.prot.nrow(); ++k) {
      for (long c = 0; c < vq.dat.ncol(); ++c) {
        double sum = 0.0, n = 0.0;
        for (long i = 0; i < vq.dat.nrow(); ++i) {
          if (core[static_cast<std::size_t>(i)] != k) continue;
          sum += vq.dat(i, c);
          n += 1.0;
        }
        EXPECT_NEAR(sum / n, vq.prot(k, c), 1e-12 * (1.0 + std::fabs(sum / n)));
      }
    }
  }

  WorkingDirectory directory;
};

TEST_F(JarvisPatrickTest, PassesEqualBruteForce) {
  const struct {
    long n, d;
    bool lattice;  // many equal distances and duplicates
    long sort, least;
    std::vector<std::pair<long, long>> passes;
  } cases[] = {{150, 2, false, 0, 5, {{12, 5}}},
               {150, 2, false, 1, 3, {{10, 6}}},
               {150, 2, false, 2, 4, {{10, 5}, {8, 3}}},
               {120, 2, true, 1, 2, {{9, 4}, {5, 1}, {300, 0}}},
               {120, 3, true, 2, 1, {{6, 3}}},
               {120, 3, true, 0, 6, {{20, 15}, {1, 0}}},
               {90, 4, false, 0, 100, {{5, 2}}},  // no cluster is large enough
               {7, 1, false, 1, 2, {{50, 0}}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << c.n << " x " << c.d << ", order " << c.sort << ", k " << c.passes[0].first);
    MatFullD m;
    uniform_points(m, c.n, c.d, 11);
    if (c.lattice) {
      for (long i = 0; i < c.n * c.d; ++i) m.data()[i] = std::floor(8.0 * m.data()[i]);
    }
    Reference reference{rows_of(m), c.least, std::vector<long>(static_cast<std::size_t>(c.n), -1)};
    ASSERT_EQ(1, vq.dataload(m, 0));
    vq.setkey("vjpminc", static_cast<double>(c.least));
    vq.setkey("vjpsort", static_cast<double>(c.sort));
    std::string text, report;
    long e = 0;
    for (const auto& [k, s] : c.passes) {
      const long left = std::count(reference.cluster.begin(), reference.cluster.end(), -1L);
      const long before = reference.count;
      reference.pass(k, s);
      text += std::to_string(k) + ".4\t" + std::to_string(s) + ".3\t\n";
      report += "loop " + std::to_string(++e) + "/" + std::to_string(c.passes.size()) +
                "  k=" + std::to_string(std::min(k, std::max(left - 1, 0L))) + " s=" + std::to_string(s) +
                " clusters=" + std::to_string(reference.count - before) + " left=" +
                std::to_string(std::count(reference.cluster.begin(), reference.cluster.end(), -1L)) + "\n";
    }
    std::vector<long> core = reference.cluster;
    reference.finish(c.sort);
    for (std::size_t i = 0; i < core.size(); ++i) {
      if (core[i] >= 0 || reference.count == 1) core[i] = reference.cluster[i];
    }
    schedule(text);
    vq.verbose = 1;
    console.take();
    ASSERT_EQ(1, vq.jp("own.jpp"));
    vq.verbose = 0;
    const std::string said = console.take();
    EXPECT_NE(std::string::npos, said.find("VeQuan.jp: quantizing ... \n" + report)) << said << report;
    EXPECT_STREQ("Jarvis-Patrick", vq.getmethod());
    ASSERT_EQ(reference.count, vq.prot.nrow());
    EXPECT_EQ(reference.cluster, clusters());
    if (std::count(core.begin(), core.end(), -1L) == 0 || reference.count > 1) expect_means(core);
    ASSERT_EQ(reference.count, vq.hits.nrow());
    for (long k = 0; k < vq.hits.nrow(); ++k)
      EXPECT_EQ(std::count(reference.cluster.begin(), reference.cluster.end(), k), vq.hits(k, 0));
  }
}

/// Half circles, circles, linked rings and blobs, i mod 2 being the cluster of point i.
Points planted(const std::string& set, long n) {
  const auto noise = [](double deviation) {
    const double u = u_rand();
    return deviation * std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * u_rand());
  };
  Points x;
  for (long i = 0; i < n; ++i) {
    const bool second = i % 2 == 1;
    const double turn = 6.283185307179586 * u_rand(), half = turn / 2.0;
    if (set == "moons") {
      const double u = second ? 1.0 - std::cos(half) : std::cos(half);
      const double v = second ? 0.5 - std::sin(half) : std::sin(half);
      x.push_back({u + noise(0.05), v + noise(0.05)});
    } else if (set == "circles") {
      const double r = second ? 0.5 : 1.0;
      x.push_back({r * std::cos(turn) + noise(0.04), r * std::sin(turn) + noise(0.04)});
    } else if (set == "rings") {
      const double u = std::cos(turn), v = std::sin(turn);
      x.push_back({(second ? 1.0 + u : u) + noise(0.01), (second ? 0.0 : v) + noise(0.01),
                   (second ? v : 0.0) + noise(0.01)});
    } else {
      x.push_back({(second ? 8.0 : 0.0) + noise(1.0), noise(1.0)});
    }
  }
  return x;
}

TEST_F(JarvisPatrickTest, FindsPlantedClustersOfAnyShape) {
  for (const auto& [set, n] : std::initializer_list<std::pair<const char*, long>>{
           {"moons", 1000}, {"circles", 1000}, {"rings", 2000}, {"blobs", 60}}) {
    for (const unsigned long seed : {1UL, 2UL}) {
      SCOPED_TRACE(::testing::Message() << set << ", seed " << seed);
      setseed(seed);
      load(planted(set, n));
      ASSERT_EQ(1, vq.jp(nullptr));
      EXPECT_EQ(2, vq.prot.nrow());
      std::vector<long> truth(static_cast<std::size_t>(n));
      for (std::size_t i = 0; i < truth.size(); ++i) truth[i] = static_cast<long>(i % 2);
      EXPECT_GE(adjusted_rand(truth, clusters()), 0.99);
    }
  }
}

TEST_F(JarvisPatrickTest, AgreesWithKnownClasses) {
  const struct {
    const char* set;
    const char* passes;  // null: the keys
    long clusters;       // 0: any number
    double agreement;
  } cases[] = {{"iris", nullptr, 2, 0.55}, {"iris", "14\t7\t\n", 3, 0.70}, {"digits", nullptr, 0, 0.80}};
  for (const auto& c : cases) {
    const std::string base = std::string(QVTX_SOURCE_DIR "/examples/") + c.set;
    SCOPED_TRACE(base);
    ASSERT_EQ(1, vq.dataload((base + ".dat").c_str(), 0));
    MatFullL label;
    ASSERT_TRUE(label.load_asc((base + ".lab").c_str(), 0));
    if (c.passes) schedule(c.passes);
    ASSERT_EQ(1, vq.jp(c.passes ? "own.jpp" : nullptr));
    EXPECT_TRUE(c.clusters == 0 || c.clusters == vq.prot.nrow()) << vq.prot.nrow();
    EXPECT_GE(adjusted_rand({label.data(), label.data() + label.nrow()}, clusters()), c.agreement);
  }
}

TEST_F(JarvisPatrickTest, DefaultListsAreTwiceTheThreshold) {
  vq.verbose = 1;
  for (const auto& [n, shared, k] :
       std::initializer_list<std::array<long, 3>>{{40, 10, 20}, {40, 2, 10}, {8, 10, 7}, {1, 10, 0}}) {
    load_uniform(n, 2);
    vq.setkey("vjpshar", static_cast<double>(shared));
    console.take();
    ASSERT_EQ(1, vq.jp(nullptr));
    const std::string text = console.take();
    EXPECT_EQ(0U, text.find("VeQuan.jp: using default parameters (all neighbours)\nVeQuan.prot_ini: "))
        << text;
    EXPECT_NE(std::string::npos,
              text.find("loop 1/1  k=" + std::to_string(k) + " s=" + std::to_string(shared)))
        << text;
  }
}

TEST_F(JarvisPatrickTest, NewSamplesGoWithTheNearestDatum) {
  setseed(1);
  load(planted("circles", 1000));
  ASSERT_EQ(1, vq.jp(nullptr));
  MatFullD x;
  fill(x,
       {{0.0, 1.02}, {0.0, 0.47}, {-0.5, 0.0}, {0.71, -0.71}});  // the means of both clusters are near (0, 0)
  MatFullL code;
  ASSERT_EQ(1, vq.cod(x, code));
  const long outer = vq.bmu(0, 0);
  EXPECT_EQ((std::vector<std::vector<long>>{{outer}, {1 - outer}, {1 - outer}, {outer}}), rows_of(code));
}

TEST_F(JarvisPatrickTest, RefusesSchedulesAfterTheInitialisation) {
  load_uniform(60, 2);
  ASSERT_EQ(1, vq.lbg(9));
  vq.setkey("vgkeep_p", 1);
  for (const char* text : {"0.9\t\n", "5\t\n-3\t\n", "5\t-0.1\t\n", "5\t2\t\n0\t2\t\n"}) {
    schedule(text);
    EXPECT_EQ(0, vq.jp("own.jpp"));
    EXPECT_EQ("VeQuan.jp: k not parametric\n", console.take());
    EXPECT_EQ(0, vq.done(VeQuan::pfindone));
    EXPECT_EQ(1, vq.done(VeQuan::pinidone));
    EXPECT_EQ(0, vq.prot.nrow());
    EXPECT_EQ(0, vq.hits.nrow());
    // What is left can be saved and comes back.
    ASSERT_EQ(1, vq.save_vbf("left.vbf"));
    EXPECT_EQ(1, vq.load_vbf("left.vbf"));
  }
  schedule("0.9\t\n");
  std::ofstream("default.jpp") << "7\t\n";
  EXPECT_EQ(1, vq.jp("none.jpp")) << "the default file";
}

TEST_F(JarvisPatrickTest, DropsKeptPrototypes) {
  load_uniform(80, 2);
  ASSERT_EQ(1, vq.jp(nullptr));
  const auto expected = rows_of(vq.prot);
  ASSERT_EQ(1, vq.lbg(30));
  vq.setkey("vgkeep_p", 1);
  ASSERT_EQ(1, vq.jp(nullptr));
  EXPECT_EQ(expected, rows_of(vq.prot));
}

TEST_F(JarvisPatrickTest, NeedsData) {
  EXPECT_EQ(0, vq.jp(nullptr));
  EXPECT_EQ(0, vq.jp_itr(5, 2));
  MatFullD none(0, 2);
  ASSERT_EQ(1, vq.dataload(none, 1));
  EXPECT_EQ(0, vq.jp(nullptr));
  EXPECT_EQ(1, vq.jp_itr(5, 2));
}

}  // namespace
}  // namespace qvtx::test
