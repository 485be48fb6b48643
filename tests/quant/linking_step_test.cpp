// The linking step: assignment, centring, linking rules, components, tearing, and the grid of a
// self-organizing map.

#include <algorithm>
#include <array>
#include <functional>

#include "support/quantizer.h"

namespace qvtx::test {
namespace {

/// Links of length 1 on a grid, `length` long in space.
Rows grid_links(const std::vector<std::array<double, 2>>& ends, double length) {
  Rows links;
  for (const auto& [a, b] : ends) links.push_back({a, b, 1.0, length, 1.0});
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

  /// A square grid, 3 x 2, with prototypes at `spacing` times its coordinates.
  void make_grid(double spacing) {
    vq.setkey("vsomhexf", 0);
    vq.setkey("vsompcaf", 0);
    ASSERT_EQ(1, vq.som_ini(6, 1.5));
    for (long c = 0; c < 12; ++c) vq.prot.data()[c] = spacing * vq.lwork.data()[c];
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
  vq.setkey("vgcent_p", 0);
  vq.setkey("vleeps", 0.2);
  vq.setkey("vlnnbr", 5);
  vq.setkey("vlrtol", 0.4);
  vq.setkey("vldnbr", 1);
  vq.setkey("vldtol", 0.7);
  vq.setkey("vlhtol", 0.3);
  const std::vector<std::function<void(MatLinkD&)>> rules = {
      [](MatLinkD&) {},
      [this](MatLinkD& s) { s.e_link(0, vq.prot, 0.2); },
      [this](MatLinkD& s) { s.n_link(0, vq.prot, 5); },
      [this](MatLinkD& s) { s.r_link(0, vq.prot, 0.4); },
      [this](MatLinkD& s) { s.d_link(0, vq.prot, vq.dat, 1, 0.7); },
      [this](MatLinkD& s) { s.h_link(0, vq.prot, vq.dat, 0.3); },
  };
  for (const long n : {50L, 100L, 101L, 200L, 201L}) {
    ASSERT_EQ(1, vq.prot_ini(n, 0));
    for (std::size_t rule = 0; rule < rules.size(); ++rule) {
      vq.setkey("vglink_p", static_cast<double>(rule));
      ASSERT_EQ(1, vq.prot_fin("LBG", 1));
      MatLinkD expected(n, 3);
      expected.addrow(n);
      if (rule < 4 || n <= 100) {
        rules[rule](expected);
      } else {  // rules that count data want four for each prototype; nearly raw ones want more neighbours
        expected.n_link(0, vq.prot, n <= 200 ? 3 : 5);
      }
      expected.setpos(vq.prot, 1);
      EXPECT_EQ(links_of(expected), links_of(vq.link)) << "rule " << rule << ", " << n;
    }
  }
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
}

TEST_F(LinkingStep, AGridIsKeptWhateverTheRuleAndNeverTornOrCentred) {
  load_uniform(100, 2);
  vq.setkey("vgcent_p", 1);
  make_grid(2.5);
  const Rows prototypes = rows_of(vq.prot);
  vq.setkey("vgteartt", 1);
  vq.setkey("vgtearcl", 3);
  const auto grid = grid_links({{0, 1}, {0, 3}, {1, 2}, {1, 4}, {2, 5}, {3, 4}, {4, 5}}, 2.5);
  for (const double rule : {4.0, 0.0, 1.0}) {  // rule 0 removes the links, another one brings them back
    vq.setkey("vglink_p", rule);
    ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
    EXPECT_EQ(rule == 0 ? Rows() : grid, links_of(vq.link)) << rule;
  }
  EXPECT_EQ(prototypes, rows_of(vq.prot));
}

TEST_F(LinkingStep, APrototypeDeletedFromAGridTakesItsLinksAndCoordinatesAlong) {
  load({{0.0, 0.0}, {1.0, 0.0}, {2.0, 1.0}, {1.0, 1.0}, {0.0, 1.0}});
  make_grid(1.0);
  ASSERT_EQ(1, vq.prot_fin("Self-Organizing Map", 1));
  ASSERT_EQ(1, vq.protdel(0));  // node 2, at (2, 0): node 5 takes its number
  EXPECT_EQ((Rows{{0.0, 0.0}, {1.0, 0.0}, {2.0, 1.0}, {0.0, 1.0}, {1.0, 1.0}}), rows_of(vq.lwork));
  EXPECT_EQ(rows_of(vq.lwork), rows_of(vq.prot));
  EXPECT_EQ(grid_links({{0, 1}, {0, 3}, {1, 4}, {2, 4}, {3, 4}}, 1.0), links_of(vq.link));
}

}  // namespace
}  // namespace qvtx::test
