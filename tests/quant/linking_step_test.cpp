// The linking step: assignment, centring, linking rules, components, tearing, and the grid of a
// self-organizing map.

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <tuple>

#include "support/quantizer.h"

namespace qvtx {
namespace {

using test::fill;
using test::QuantizerTest;
using test::rows_of;
using test::uniform_points;
using Rows = std::vector<std::vector<double>>;
using Column = std::vector<std::vector<long>>;
/// Ends, strength, length, length in the map.
using Link = std::tuple<long, long, double, double, double>;

std::vector<Link> links_of(const MatLinkD& store) {
  std::vector<Link> links;
  for (long k = 0; k < store.nslot(); ++k) {
    if (!store.live(k)) continue;
    links.emplace_back(store.end_a(k), store.end_b(k), store.getvalue(k, 0), store.getvalue(k, 1),
                       store.getvalue(k, 2));
  }
  std::sort(links.begin(), links.end());
  return links;
}

class LinkingStep : public QuantizerTest {
 protected:
  LinkingStep() {
    vq.setkey("vgteartt", 0);
    vq.setkey("vglink_p", 2);
  }

  void set_prototypes(const Rows& rows) {
    ASSERT_EQ(1, vq.prot_ini(static_cast<long>(rows.size()), 3));
    fill(vq.prot, rows);
  }

  /// n data on a circle of radius 1, in order, and n / each prototypes at every each-th of them.
  void make_ring(long n, long each) {
    Rows data, prototypes;
    for (long i = 0; i < n; ++i) {
      const double angle = 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n);
      data.push_back({std::cos(angle), std::sin(angle)});
      if (i % each == 0) prototypes.push_back(data.back());
    }
    load(data);
    set_prototypes(prototypes);
  }

  /// A square grid as `som` makes it, on prototypes at `spacing` times the grid coordinates.
  void make_grid(long width, long length, double spacing) {
    Rows grid, prototypes;
    for (long k = 0; k < width * length; ++k) {
      grid.push_back({static_cast<double>(k % width), static_cast<double>(k / width)});
      prototypes.push_back({spacing * grid.back()[0], spacing * grid.back()[1]});
    }
    set_prototypes(prototypes);
    fill(vq.lwork, grid);
    vq.lwork2.setrows(1, 0);
    vq.lwork2(0, 0) = width;
    vq.lwork2(0, 1) = length;
    vq.link.setgrd(0, width, length, 0);
  }
};

TEST_F(LinkingStep, DataKeepTheirPrototypeOrGetTheNearestAndHitsAreCounted) {
  load({{0.0}, {1.0}, {9.0}, {10.0}});
  set_prototypes({{0.0}, {10.0}, {4.0}});
  vq.bmu(1, 0) = 2;  // valid, though not the nearest
  vq.bmu(2, 0) = 3;  // no prototype's number
  vq.hits(0, 0) = 77;
  ASSERT_EQ(1, vq.prot_fin("a label of more than thirty-one characters", 1));
  EXPECT_EQ((Column{{0}, {2}, {1}, {1}}), rows_of(vq.bmu));
  EXPECT_EQ((Column{{1}, {2}, {1}}), rows_of(vq.hits));
  EXPECT_STREQ("a label of more than thirty-one", vq.getmethod());
}

TEST_F(LinkingStep, EveryRuleLinksWithItsOwnParameters) {
  load_uniform(400, 2);
  vq.setkey("vleeps", 0.2);
  vq.setkey("vlnnbr", 3);
  vq.setkey("vlrtol", 0.4);
  vq.setkey("vldnbr", 1);
  vq.setkey("vldtol", 0.7);
  vq.setkey("vlhtol", 0.3);
  const std::vector<std::function<void(MatLinkD&)>> rules = {
      [](MatLinkD&) {},
      [this](MatLinkD& s) { s.e_link(0, vq.prot, 0.2); },
      [this](MatLinkD& s) { s.n_link(0, vq.prot, 3); },
      [this](MatLinkD& s) { s.r_link(0, vq.prot, 0.4); },
      [this](MatLinkD& s) { s.d_link(0, vq.prot, vq.dat, 1, 0.7); },
      [this](MatLinkD& s) { s.h_link(0, vq.prot, vq.dat, 0.3); },
  };
  for (const long n : {50L, 200L, 201L}) {  // rules that count data need twice as many of them
    ASSERT_EQ(1, vq.prot_ini(n, 0));
    for (std::size_t rule = 0; rule < rules.size(); ++rule) {
      vq.setkey("vglink_p", static_cast<double>(rule));
      ASSERT_EQ(1, vq.prot_fin("LBG", 1));
      MatLinkD expected(n, 3);
      expected.addrow(n);
      if (rule >= 4 && n > 200) {
        expected.n_link(0, vq.prot, 3);
      } else {
        rules[rule](expected);
      }
      expected.setpos(vq.prot, 1);
      EXPECT_EQ(links_of(expected), links_of(vq.link)) << "rule " << rule << ", " << n;
      EXPECT_EQ(rule == 0, links_of(vq.link).empty()) << "rule " << rule << ", " << n;
    }
  }
}

TEST_F(LinkingStep, ComponentsAreLabelledAndCounted) {
  load({{0.0}, {10.0}});
  vq.setkey("vlnnbr", 1);
  set_prototypes({{0.0}, {10.0}, {1.0}, {11.0}, {2.0}});
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ((Column{{0}, {1}, {0}, {1}, {0}}), rows_of(vq.getcomp()));
  EXPECT_EQ(2, vq.ncomp());
  EXPECT_EQ((Column{{3}, {2}}), rows_of(vq.getcompsize()));
  vq.setkey("vglink_p", 0);
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ(Column(5, {0}), rows_of(vq.getcomp())) << "nothing tells them apart";
  EXPECT_EQ((Column{{5}}), rows_of(vq.getcompsize()));
  EXPECT_EQ(0, vq.link.nlive());
}

TEST_F(LinkingStep, ATornRingIsAStringOfTheSameComponent) {
  make_ring(120, 3);
  vq.setkey("vglink_p", 1);
  vq.setkey("vleeps", 0.17);  // neighbours are 0.157 apart
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  ASSERT_EQ(40, vq.link.nlive());
  for (double tree : {1.0, 2.0}) {
    vq.setkey("vgteartt", tree);
    ASSERT_EQ(1, vq.prot_fin("LBG", 1));
    EXPECT_EQ(39, vq.link.nlive());
    EXPECT_EQ(1, vq.ncomp());
  }
  vq.setkey("vgtearcl", 40);
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ(40, vq.link.nlive()) << "a loop of 40 links is allowed";
}

TEST_F(LinkingStep, CentringMovesPrototypesWithDataToTheMeanOfTheirs) {
  load({{0.0, 0.0}, {2.0, 4.0}, {10.0, 10.0}});
  vq.setkey("vgcent_p", 1);
  const Rows first = {{1.0, 1.0}, {9.0, 9.0}, {50.0, 50.0}};
  set_prototypes(first);
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ((Rows{{1.0, 2.0}, {10.0, 10.0}, {50.0, 50.0}}), rows_of(vq.prot));
  set_prototypes(first);
  ASSERT_EQ(1, vq.prot_fin("Jarvis-Patrick", 1));
  EXPECT_EQ(first, rows_of(vq.prot));
  make_grid(2, 1, 3.0);
  const Rows grid = rows_of(vq.prot);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  EXPECT_EQ(grid, rows_of(vq.prot));
}

TEST_F(LinkingStep, AGridIsKeptWhateverTheRuleAndNeverTorn) {
  load_uniform(100, 2);
  make_grid(3, 2, 2.5);
  vq.setkey("vglink_p", 4);
  vq.setkey("vgteartt", 1);
  vq.setkey("vgtearcl", 3);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  const std::vector<Link> grid = {{0, 1, 1.0, 2.5, 1.0}, {0, 3, 1.0, 2.5, 1.0}, {1, 2, 1.0, 2.5, 1.0},
                                  {1, 4, 1.0, 2.5, 1.0}, {2, 5, 1.0, 2.5, 1.0}, {3, 4, 1.0, 2.5, 1.0},
                                  {4, 5, 1.0, 2.5, 1.0}};
  EXPECT_EQ(grid, links_of(vq.link));
  vq.setkey("vglink_p", 0);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  EXPECT_TRUE(links_of(vq.link).empty()) << "rule 0 removes them";
  vq.setkey("vglink_p", 1);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  EXPECT_EQ(grid, links_of(vq.link)) << "and another rule brings the whole grid back";
}

TEST_F(LinkingStep, APrototypeDeletedFromAGridTakesItsLinksAndCoordinatesAlong) {
  load({{0.0, 0.0}, {1.0, 0.0}, {2.0, 1.0}, {1.0, 1.0}, {0.0, 1.0}});
  make_grid(3, 2, 1.0);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  ASSERT_EQ(1, vq.protnbr(0));
  ASSERT_EQ(1, vq.protdel(0));  // node 2, at (2, 0): node 5 takes its number
  EXPECT_EQ((Rows{{0.0, 0.0}, {1.0, 0.0}, {2.0, 1.0}, {0.0, 1.0}, {1.0, 1.0}}), rows_of(vq.lwork));
  EXPECT_EQ(rows_of(vq.lwork), rows_of(vq.prot));
  EXPECT_EQ((std::vector<Link>{{0, 1, 1.0, 1.0, 1.0},
                               {0, 3, 1.0, 1.0, 1.0},
                               {1, 4, 1.0, 1.0, 1.0},
                               {2, 4, 1.0, 1.0, 1.0},
                               {3, 4, 1.0, 1.0, 1.0}}),
            links_of(vq.link));
}

TEST_F(LinkingStep, LocalPcaFollowsWhenAsked) {
  load_uniform(200, 2);
  ASSERT_EQ(1, vq.prot_ini(5, 0));
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ(0, vq.getlpca().ready());
  vq.setkey("vgdimloc", 1);
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  EXPECT_EQ(1, vq.getlpca().ready());
  EXPECT_EQ(5, vq.getlpca().nregion());
  ASSERT_EQ(1, vq.prot_ini(5, 0));
  EXPECT_EQ(0, vq.getlpca().ready());
}

}  // namespace
}  // namespace qvtx
