// Self-organizing map: its grid, both rules against plain loops, the topographic error by brute force.

#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

/// Distance of two nodes on the grid, from their numbers.
double grid_distance(long i, long j, long width, bool hexagonal) {
  const long v = i / width - j / width;
  const long u = 2 * (i % width - j % width) + (hexagonal ? i / width % 2 - j / width % 2 : 0);
  const long scaled = u * u + (hexagonal ? 3 : 4) * v * v;
  return std::sqrt(static_cast<double>(scaled)) / 2.0;
}

/// The neighbourhood function between all nodes.
ReferenceQuantizer::Rows neighbourhood(long width, long length, bool hexagonal, bool gaussian, double l) {
  const long n = width * length;
  ReferenceQuantizer::Rows h(static_cast<std::size_t>(n));
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < n; ++j) {
      const double d = grid_distance(i, j, width, hexagonal);
      double value = d <= l ? 1.0 : 0.0;
      if (gaussian && l > 0.0) {
        const double t = d / l;
        value = d <= 3.0 * l ? fixed_exp(-0.5 * (t * t)) : 0.0;
      }
      h[static_cast<std::size_t>(i)].push_back(value);
    }
  }
  return h;
}

class SomTest : public ReferenceTest {
 protected:
  /// A grid of width x length nodes, hexagonal or square.
  void lay_out(long width, long length, bool hexagonal) {
    vq.setkey("vsomhexf", hexagonal);
    ASSERT_EQ(1, vq.som_ini(width * length, static_cast<double>(width) / static_cast<double>(length)));
    ASSERT_EQ(width, vq.lwork2(0, 0));
    ASSERT_EQ(length, vq.lwork2(0, 1));
    for (long k = 0; k < width * length; ++k) {
      const bool odd = hexagonal && k / width % 2 == 1;
      EXPECT_EQ(static_cast<double>(k % width) + (odd ? 0.5 : 0.0), vq.lwork(k, 0));
      EXPECT_DOUBLE_EQ(static_cast<double>(k / width) * (hexagonal ? std::sqrt(3.0) / 2.0 : 1.0),
                       vq.lwork(k, 1));
    }
  }

  /// The share of the data whose two nearest nodes are no neighbours on the grid.
  double topographic_error(long width, bool hexagonal) const {
    double errors = 0;
    if (reference.nprot() < 2) return 0;
    for (const auto& x : reference.dat) {
      std::vector<std::pair<double, long>> all;
      for (const auto& node : reference.prot) {
        double sum = 0.0;
        for (std::size_t c = 0; c < x.size(); ++c) sum += std::pow(node[c] - x[c], 2);
        all.emplace_back(sum, static_cast<long>(all.size()));
      }
      std::sort(all.begin(), all.end());
      errors += grid_distance(all[0].second, all[1].second, width, hexagonal) != 1.0;
    }
    return errors / static_cast<double>(reference.dat.size());
  }
};

TEST_F(SomTest, GridSizesFollowNumberAndRatio) {
  load_uniform(20, 2);
  const struct {
    long n;
    double ratio;
    long width, length;
  } cases[] = {{100, 1.0, 10, 10}, {100, 2.0, 14, 7},       {300, 1.0, 18, 17}, {7, 1.0, 3, 2},
               {100, 1e9, 100, 1}, {100, 0.01, 10, 10},     {0, 5.0, 1, 1},     {-3, -1.0, 1, 1},
               {2, 1.0, 2, 1},     {12, std::nan(""), 4, 3}};
  for (const auto& c : cases) {
    ASSERT_EQ(1, vq.som_ini(c.n, c.ratio));
    EXPECT_EQ((Column{{c.width, c.length, 1}}), rows_of(vq.lwork2)) << c.n << ", " << c.ratio;
    EXPECT_EQ(c.width * c.length, vq.prot.nrow());
  }
}

TEST_F(SomTest, OnlineEpochsEqualThePlainLoop) {
  const struct {
    Case data;
    long width, length;
    bool hexagonal, gaussian;
  } cases[] = {
      {{.name = "hexagonal, Gaussian"}, 5, 4, true, true},
      {{.name = "square, Gaussian, in order", .shuffled = false}, 6, 3, false, true},
      {{.name = "hexagonal, bubble", .lattice = true}, 5, 5, true, false},
      {{.name = "square, bubble", .lattice = true, .dim = 2, .dead_below = 2}, 4, 4, false, false},
      {{.name = "string in many columns", .ndata = 60, .dim = 17}, 12, 1, true, true},
      {{.name = "one node", .dim = 1}, 1, 1, true, true},
      {{.name = "cubes", .ndata = 60, .p = 3.0}, 3, 3, true, true},
  };
  vq.setkey("vsompcaf", 0);
  vq.setkey("vsominp", 4);  // counts as 0: data drawn at random
  for (const auto& c : cases) {
    SCOPED_TRACE(c.data.name);
    start(c.data);
    vq.setkey("vsomgnhf", c.gaussian);
    lay_out(c.width, c.length, c.hexagonal);
    reference.init(c.width * c.length, 0);
    reference.replace = false;
    expect_same();
    vq.verbose = 1;
    console.take();
    for (const double l : {100.0, 3.0, 1.0, 0.4, 0.0, 2.0 / 3.0}) {
      reference.som_epoch(0.25, neighbourhood(c.width, c.length, c.hexagonal, c.gaussian, l));
      ASSERT_EQ(1, vq.som_itr(0.25, l));
      expect_same();
      expect_report(" a=%6.3f l=%6.3f lost=%3ld chgd=%6ld", 0.25, l, reference.lost, reference.chgd);
      if (c.data.p != 2.0) continue;
      EXPECT_EQ(topographic_error(c.width, c.hexagonal), vq.som_tst());
    }
    vq.verbose = 0;
    os.fresh();
  }
}

TEST_F(SomTest, BatchEpochsEqualThePlainSums) {
  vq.setkey("vsompcaf", 0);
  vq.setkey("vsominp", 0);
  vq.setkey("vsomrule", 1);
  for (const int variant : {0, 1, 2, 3, 4}) {
    SCOPED_TRACE(variant);
    const bool hexagonal = variant & 1, gaussian = variant & 2;
    start({.name = "", .dim = 4, .p = variant < 4 ? 2.0 : 3.0});
    vq.setkey("vsomgnhf", gaussian);
    lay_out(6, 5, hexagonal);
    reference.init(30, 0);
    reference.replace = false;
    for (const double l : {3.0, 1.2, 0.0}) {
      reference.som_batch_epoch(neighbourhood(6, 5, hexagonal, gaussian, l));
      ASSERT_EQ(1, vq.som_itr(0.7, l));
      for (long k = 0; k < 30; ++k) {
        for (long c = 0; c < 4; ++c) {
          double& expected = reference.prot[static_cast<std::size_t>(k)][static_cast<std::size_t>(c)];
          EXPECT_NEAR(expected, vq.prot(k, c), 1e-12);
          expected = vq.prot(k, c);  // later winners must not depend on the last bits
        }
      }
      expect_same();
    }
  }
}

TEST_F(SomTest, StartsOnThePrincipalPlane) {
  // Four clusters at (+-3, +-1) round (10, 20, 5) along known axes: variances 9 and 1.
  const double middle[] = {10.0, 20.0, 5.0}, first[] = {0.6, 0.8, 0.0}, second[] = {0.8, -0.6, 0.0};
  Rows rows;
  for (const double u : {-3.0, 3.0}) {
    for (const double v : {-1.0, 1.0}) {
      rows.push_back({10.0 + u * first[0] + v * second[0], 20.0 + u * first[1] + v * second[1], 5.0});
    }
  }
  load(rows);
  lay_out(5, 3, false);
  const double sign_u = vq.prot(4, 0) > vq.prot(0, 0) ? 1.0 : -1.0;
  const double sign_v = vq.prot(10, 0) > vq.prot(0, 0) ? 1.0 : -1.0;
  for (long k = 0; k < 15; ++k) {
    const double u = sign_u * std::sqrt(27.0) * (static_cast<double>(k % 5) / 2.0 - 1.0);
    const double v = sign_v * std::sqrt(3.0) * (static_cast<double>(k / 5) - 1.0);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(middle[c] + u * first[c] + v * second[c], vq.prot(k, c), 1e-9);
  }
  // A string of one column has no second axis.
  load({{1.0}, {3.0}, {5.0}});
  lay_out(3, 1, true);
  EXPECT_NEAR(3.0, vq.prot(1, 0), 1e-12);
  EXPECT_NEAR(std::sqrt(8.0), std::fabs(vq.prot(0, 0) - 3.0), 1e-12);
}

TEST_F(SomTest, TrainingGoesOnAfterASnapshot) {
  load_uniform(200, 2);
  const Scratch directory;
  vq.setkey("vgswap_d", 0);
  ASSERT_EQ(1, vq.som(24, 1.5, nullptr));
  ASSERT_EQ(1, vq.save_vbf("map.vbf"));
  ASSERT_EQ(1, vq.som_itr(0.3, 1.5));
  const auto expected = rows_of(vq.prot);
  ASSERT_EQ(1, vq.som(24, 4.0, nullptr)) << "another grid meanwhile";
  ASSERT_EQ(1, vq.load_vbf("map.vbf"));
  ASSERT_EQ(1, vq.som_itr(0.3, 1.5));
  EXPECT_EQ(expected, rows_of(vq.prot));
}

TEST_F(SomTest, DeletedNodesLeaveTheOthersTheirPlaces) {
  load_uniform(150, 2);
  vq.setkey("vsompcaf", 0);
  vq.setkey("vgswap_d", 0);
  lay_out(5, 4, true);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  vq.hits(3, 0) = vq.hits(12, 0) = 7777;
  std::vector<long> node(20);
  std::iota(node.begin(), node.end(), 0L);
  ASSERT_EQ(2, vq.protdel(7777));
  for (const std::size_t k : {12U, 3U}) {  // the last takes the place of a deleted one
    std::swap(node[k], node.back());
    node.pop_back();
  }
  ASSERT_EQ(1, vq.som_itr(0.3, 1.5));
  for (std::size_t k = 0; k < 18; ++k) {
    const auto list = 2 * static_cast<long>(k);
    for (long r = 0; r < 18; ++r) {
      const long j = node[static_cast<std::size_t>(vq.lvor[list](r, 0))];
      EXPECT_EQ(grid_distance(node[k], j, 5, true), vq.dvor[list](r, 0));
    }
  }
}

TEST_F(SomTest, KeptPrototypesMustFitTheGrid) {
  load_uniform(60, 2);
  ASSERT_EQ(1, vq.lbg(12));
  const auto before = rows_of(vq.prot);
  vq.setkey("vgkeep_p", 1);
  vq.verbose = 1;
  console.take();
  EXPECT_EQ(0, vq.som(20, 1.0, MatParaD(0, 2)));
  EXPECT_EQ("VeQuan.som: sizes don't agree!\n", console.take());
  vq.verbose = 0;
  ASSERT_EQ(1, vq.som_ini(12, 1.3));
  EXPECT_EQ(before, rows_of(vq.prot));
  EXPECT_EQ(4, vq.lwork2(0, 0));
}

}  // namespace
}  // namespace qvtx::test
