// Jarvis-Patrick clustering against brute force.

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <set>

#include "support/quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

/// The method once more, by looking at all pairs.
struct Reference {
  Rows x;
  long least = 1;
  std::vector<long> cluster = std::vector<long>(x.size(), -1);  ///< -1: none yet
  long count = 0;

  long left() const { return std::count(cluster.begin(), cluster.end(), -1L); }
  double squared(std::size_t i, std::size_t j) const {
    double sum = 0.0;
    for (std::size_t c = x[i].size(); c-- > 0;) sum += (x[i][c] - x[j][c]) * (x[i][c] - x[j][c]);
    return sum;
  }

  void pass(long k, long s) {
    std::vector<std::size_t> left, set(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      if (cluster[i] < 0) left.push_back(i);
    }
    std::vector<std::set<std::size_t>> near(x.size());
    for (const std::size_t i : left) {
      std::set<std::pair<double, std::size_t>> others;
      for (const std::size_t j : left) {
        if (j != i) others.emplace(std::sqrt(squared(i, j)), j);
      }
      for (const auto& [distance, j] : others) {
        if (near[i].size() < static_cast<std::size_t>(std::max(k, 1L))) near[i].insert(j);
      }
    }
    const auto together = [&](std::size_t i, std::size_t j) {
      const auto in_j = [&](std::size_t q) { return near[j].count(q) > 0; };
      return near[i].count(j) && near[j].count(i) && std::count_if(near[i].begin(), near[i].end(), in_j) >= s;
    };
    std::iota(set.begin(), set.end(), std::size_t{0});  // every set bears the number of its lowest member
    for (bool changed = true; changed;) {
      changed = false;
      for (const std::size_t i : left) {
        for (const std::size_t j : left) {
          if (set[j] < set[i] && together(i, j)) set[i] = set[j], changed = true;
        }
      }
    }
    for (const std::size_t i : left) {
      if (set[i] != i || std::count(set.begin(), set.end(), i) < least) continue;
      for (const std::size_t j : left) cluster[j] = set[j] == i ? count : cluster[j];
      ++count;
    }
  }

  /// Numbers the clusters in the order asked for; without one, all data become one.
  void order(long sort) {
    if (count == 0) std::fill(cluster.begin(), cluster.end(), 0L);
    count = std::max(count, 1L);
    std::vector<std::array<long, 3>> order;  // by size, then by the first member
    for (long c = 0; c < count; ++c) {
      const long size = std::count(cluster.begin(), cluster.end(), c);
      const long first = std::find(cluster.begin(), cluster.end(), c) - cluster.begin();
      order.push_back({sort == 0 ? 0 : sort == 1 ? -size : size, first, c});
    }
    std::sort(order.begin(), order.end());
    for (long& label : cluster) {
      const auto entry = [label](const auto& e) { return e[2] == label; };
      if (label >= 0) label = std::find_if(order.begin(), order.end(), entry) - order.begin();
    }
  }

  /// Means of the data that have a cluster.
  Rows means() const {
    Rows sums(static_cast<std::size_t>(count), std::vector<double>(x[0].size(), 0.0));
    for (std::size_t i = 0; i < x.size(); ++i) {
      const double size = static_cast<double>(std::count(cluster.begin(), cluster.end(), cluster[i]));
      for (std::size_t c = 0; c < x[i].size() && cluster[i] >= 0; ++c)
        sums[static_cast<std::size_t>(cluster[i])][c] += x[i][c] / size;
    }
    return sums;
  }

  /// The rest joins the first of the nearest data with a cluster.
  void adopt() {
    const std::vector<long> known = cluster;
    for (std::size_t i = 0; i < x.size(); ++i) {
      std::size_t best = i;
      for (std::size_t j = 0; j < x.size() && known[i] < 0; ++j) {
        if (known[j] >= 0 && (best == i || squared(i, j) < squared(i, best))) best = j;
      }
      cluster[i] = known[best];
    }
  }
};

class JarvisPatrickTest : public QuantizerTest {
 protected:
  std::vector<long> clusters() const { return {vq.bmu.data(), vq.bmu.data() + vq.bmu.nrow()}; }
  Scratch directory;
};

TEST_F(JarvisPatrickTest, PassesEqualBruteForce) {
  const struct {
    long n, d;
    bool lattice;  // many equal distances and duplicates
    long sort, least;
    std::vector<std::pair<long, long>> passes;
  } cases[] = {{150, 2, false, 0, 5, {{12, 5}}},
               {150, 2, false, 2, 4, {{10, 5}, {8, 3}}},
               {120, 2, true, 1, 2, {{9, 4}, {5, 1}, {300, 0}}},
               {120, 3, true, 2, 1, {{6, 3}}},
               {120, 3, true, 0, 6, {{20, 15}, {1, 0}}},
               {90, 4, false, 0, 100, {{5, 2}}},  // no cluster is large enough
               {7, 1, false, 1, 2, {{50, 0}}}};
  vq.verbose = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.n << " x " << c.d << ", k " << c.passes[0].first);
    MatFullD m;
    uniform_points(m, c.n, c.d, 11);
    for (long i = 0; i < c.n * c.d && c.lattice; ++i) m.data()[i] = std::floor(8.0 * m.data()[i]);
    Reference reference{rows_of(m), c.least};
    long epoch = 0;
    std::ofstream schedule("own.jpp");
    std::ostringstream report;
    report << "VeQuan.jp: quantizing ... \n";
    for (const auto& [k, s] : c.passes) {
      const long before = reference.left(), known = reference.count;
      reference.pass(k, s);
      schedule << k << ".4\t" << s << ".3\t\n";
      report << "loop " << ++epoch << '/' << c.passes.size()
             << "  k=" << std::min(k, std::max(before - 1, 0L)) << " s=" << s
             << " clusters=" << reference.count - known << " left=" << reference.left() << '\n';
    }
    schedule.close();
    reference.order(c.sort);
    const Rows means = reference.means();
    reference.adopt();

    ASSERT_EQ(1, vq.dataload(m, 0));
    vq.setkey("vjpminc", static_cast<double>(c.least));
    vq.setkey("vjpsort", static_cast<double>(c.sort));
    console.take();
    ASSERT_EQ(1, vq.jp("own.jpp"));
    const std::string said = console.take();
    EXPECT_NE(std::string::npos, said.find(report.str())) << said << report.str();
    EXPECT_STREQ("Jarvis-Patrick", vq.getmethod());
    ASSERT_EQ(reference.count, vq.prot.nrow());
    EXPECT_EQ(reference.cluster, clusters());
    for (long k = 0; k < vq.hits.nrow(); ++k) {
      EXPECT_EQ(std::count(reference.cluster.begin(), reference.cluster.end(), k), vq.hits(k, 0));
      for (long j = 0; j < c.d; ++j) {
        const double mean = means[static_cast<std::size_t>(k)][static_cast<std::size_t>(j)];
        EXPECT_NEAR(mean, vq.prot(k, j), 1e-12 * (1.0 + std::fabs(mean)));
      }
    }
  }
}

TEST_F(JarvisPatrickTest, RefusesSchedulesAfterTheInitialisation) {
  EXPECT_EQ(0, vq.jp(nullptr)) << "no data";
  EXPECT_EQ(0, vq.jp_itr(5, 2));
  load_uniform(60, 2);
  ASSERT_EQ(1, vq.lbg(9));
  vq.setkey("vgkeep_p", 1);
  for (const char* text : {"0.9\t\n", "5\t\n-3\t\n", "5\t-0.1\t\n", "5\t2\t\n0\t2\t\n"}) {
    std::ofstream("own.jpp") << text;
    EXPECT_EQ(0, vq.jp("own.jpp"));
    EXPECT_EQ("VeQuan.jp: k not parametric\n", console.take());
    EXPECT_EQ(0, vq.done(VeQuan::pfindone));
    EXPECT_EQ(1, vq.done(VeQuan::pinidone));
    EXPECT_EQ(0, vq.prot.nrow());
    EXPECT_STREQ("", vq.getmethod());
    // What is left can be saved and comes back.
    ASSERT_EQ(1, vq.save_vbf("left.vbf"));
    EXPECT_EQ(1, vq.load_vbf("left.vbf"));
  }
  std::ofstream("default.jpp") << "7\t\n";
  EXPECT_EQ(1, vq.jp("none.jpp")) << "the default file";
}

}  // namespace
}  // namespace qvtx::test
