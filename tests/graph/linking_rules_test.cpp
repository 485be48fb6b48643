#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "graph/matlinkd.h"
#include "graph_support.h"

namespace qvtx {
namespace {

using test::Numbers;

/// What a rule should leave: the strength of every linked pair.
using Strengths = std::map<std::pair<long, long>, double>;

void strengthen(Strengths& s, long i, long j) { s[std::minmax(i, j)] += 1.0; }

Strengths strengths_of(const MatLinkD& links, long col) {
  Strengths s;
  for (long k = 0; k < links.nslot(); ++k) {
    if (links.live(k)) s[{links.end_a(k), links.end_b(k)}] += links.getvalue(k, col);
  }
  return s;
}

/// Rows of `points` by increasing distance from row j of b, ties by number; `skip` is left out.
std::vector<std::pair<double, long>> by_distance(const MatFullD& points, const MatFullD& b, long j,
                                                 long skip) {
  std::vector<std::pair<double, long>> order;
  for (long i = 0; i < points.nrow(); ++i) {
    if (i != skip) order.emplace_back(points.sdas(i, b, j, no_bound), i);
  }
  std::sort(order.begin(), order.end());
  return order;
}

Strengths plain_e_link(const MatFullD& points, double eps) {
  Strengths s;
  for (long i = 0; i < points.nrow(); ++i) {
    for (long j = 0; j < i; ++j) {
      if (points.sdas(i, j, no_bound) <= eps) strengthen(s, i, j);
    }
  }
  return s;
}

Strengths plain_n_link(const MatFullD& points, long k) {
  Strengths s;
  for (long i = 0; i < points.nrow(); ++i) {
    const auto order = by_distance(points, points, i, i);
    for (long r = 0; r < k; ++r) strengthen(s, i, order[static_cast<std::size_t>(r)].second);
  }
  return s;
}

Strengths plain_r_link(const MatFullD& points, double tol) {
  Strengths s;
  for (long i = 0; i < points.nrow(); ++i) {
    const auto order = by_distance(points, points, i, i);
    double reference = 0.0;
    for (const auto& [d, j] : order) {
      if (reference == 0.0) reference = d;
      if (d <= (1.0 + tol) * reference) strengthen(s, i, j);
    }
  }
  return s;
}

Strengths plain_d_link(const MatFullD& points, const MatFullD& data, long k, double tol) {
  Strengths s;
  for (long i = 0; i < data.nrow(); ++i) {
    const auto order = by_distance(points, data, i, -1);
    double reference = 0.0;
    for (std::size_t r = 1; r <= static_cast<std::size_t>(k); ++r) {
      if (reference == 0.0) reference = order[r].first;
      if (order[r].first <= (1.0 + tol) * reference) strengthen(s, order[0].second, order[r].second);
    }
  }
  return s;
}

Strengths plain_h_link(const MatFullD& points, const MatFullD& data, double tol) {
  const Strengths all = plain_d_link(points, data, 1, 0.0);
  std::map<long, double> strongest;
  for (const auto& [pair, strength] : all) {
    strongest[pair.first] = std::max(strongest[pair.first], strength);
    strongest[pair.second] = std::max(strongest[pair.second], strength);
  }
  Strengths kept;
  for (const auto& [pair, strength] : all) {
    if (strength >= tol * strongest[pair.first] || strength >= tol * strongest[pair.second])
      kept[pair] = strength;
  }
  return kept;
}

/// Points and data; those on a coarse lattice give ties and duplicates, the others none.
class LinkingRules : public testing::TestWithParam<bool> {
 protected:
  LinkingRules() {
    Numbers numbers(6);
    const auto fill = [&](MatFullD& m, long n) {
      test::uniform_points(m, n, 2, numbers);
      for (long c = 0; c < 2 * n && GetParam(); ++c) m.data()[c] = std::floor(6.0 * m.data()[c]);
    };
    fill(points_, 40);
    fill(data_, 300);
    links_.setdim(40, 2);
    links_.addrow(40);
  }
  Strengths linked() const { return strengths_of(links_, 1); }

  MatFullD points_, data_;
  MatLinkD links_;
};

TEST_P(LinkingRules, WithinADistance) {
  const double eps = GetParam() ? 1.0 : 0.3;  // on the lattice many pairs lie at exactly 1
  links_.e_link(1, points_, eps);
  EXPECT_EQ(plain_e_link(points_, eps), linked());
  links_.e_link(1, points_, 0.0);
  links_.e_link(1, points_, -1.0);
  EXPECT_EQ(plain_e_link(points_, eps), linked());
}

TEST_P(LinkingRules, NearestNeighbours) {
  links_.n_link(1, points_, 4);
  EXPECT_EQ(plain_n_link(points_, 4), linked());
}

TEST_P(LinkingRules, NeighbourCountIsClamped) {
  links_.n_link(1, points_, 0);
  EXPECT_EQ(plain_n_link(points_, 1), linked());
  MatLinkD all(40, 2);
  all.addrow(40);
  all.n_link(1, points_, 1000);
  EXPECT_EQ(40 * 39 / 2, all.nlive());
  for (const auto& [pair, strength] : strengths_of(all, 1)) EXPECT_EQ(2.0, strength);
}

TEST_P(LinkingRules, WithinATolerance) {
  links_.r_link(1, points_, 0.5);
  EXPECT_EQ(plain_r_link(points_, 0.5), linked());
}

TEST_P(LinkingRules, BetweenTheNearestOfEveryDatum) {
  links_.d_link(1, points_, data_, 3, 0.5);
  const Strengths once = plain_d_link(points_, data_, 3, 0.5);
  EXPECT_EQ(once, linked());
  links_.d_link(1, points_, data_, 3, 0.5);  // strengths add up
  for (const auto& [pair, strength] : linked()) EXPECT_EQ(2.0 * once.at(pair), strength);
}

TEST_P(LinkingRules, StrongPairsOfTheData) {
  links_.h_link(1, points_, data_, 0.7);
  EXPECT_EQ(plain_h_link(points_, data_, 0.7), linked());
  EXPECT_LT(linked().size(), plain_h_link(points_, data_, 0.0).size());
}

TEST_P(LinkingRules, LengthsAreTheDistances) {
  links_.n_link(1, points_, 3);
  links_.del_link(5);
  links_.setpos(points_, 0);
  for (long k = 0; k < links_.nslot(); ++k) {
    if (!links_.live(k)) continue;
    EXPECT_EQ(points_.sdas(links_.end_a(k), links_.end_b(k), no_bound), links_.getvalue(k, 0));
  }
}

INSTANTIATE_TEST_SUITE_P(Points, LinkingRules, testing::Values(false, true),
                         [](const auto& points) { return points.param ? "Lattice" : "Uniform"; });

TEST(LinkingRulesOfDuplicates, LinkThemAll) {
  MatFullD points(3, 1), data(1, 1);
  points.setrows(3, 2.0);
  data.setrows(1, 0.0);
  const Strengths all = {{{0, 1}, 2.0}, {{0, 2}, 2.0}, {{1, 2}, 2.0}};
  MatLinkD links(3, 1);
  links.addrow(3);
  links.r_link(0, points, 0.5);
  EXPECT_EQ(all, strengths_of(links, 0));
  links.d_link(0, points, data, 2, 0.5);
  EXPECT_EQ(3.0, links.getvalue(links.get_link(0, 1), 0));
  EXPECT_EQ(3.0, links.getvalue(links.get_link(0, 2), 0));
  EXPECT_EQ(2.0, links.getvalue(links.get_link(1, 2), 0));
}

TEST(LinkingRulesOfFewPoints, LeaveASinglePointAlone) {
  MatFullD points(1, 1), data(2, 1);
  points.setrows(1, 0.0);
  data.setrows(2, 1.0);
  MatLinkD links(1, 1);
  links.addrow(1);
  links.e_link(0, points, 1.0);
  links.n_link(0, points, 3);
  links.r_link(0, points, 1.0);
  links.d_link(0, points, data, 2, 1.0);
  links.h_link(0, points, data, 0.5);
  links.setgrd(0, 1, 1, 1);
  EXPECT_EQ(0, links.nlive());
}

TEST(LinkingRulesOfUnknownPoints, LeaveThemAlone) {
  MatFullD points(4, 1), data(2, 1);
  points.setrows(4, 0.0);
  data.setrows(2, 0.0);
  for (long i = 0; i < 4; ++i) points(i, 0) = static_cast<double>(i);
  points(1, 0) = data(1, 0) = std::nan("");
  const std::function<void(MatLinkD&)> rules[] = {
      [&](MatLinkD& links) { links.e_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.n_link(0, points, 3); },
      [&](MatLinkD& links) { links.r_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.d_link(0, points, data, 3, 10.0); },
      [&](MatLinkD& links) { links.h_link(0, points, data, 0.0); },
  };
  for (const auto& rule : rules) {
    MatLinkD links(4, 1);
    links.addrow(4);
    rule(links);
    EXPECT_EQ(0, links.degree(1));
    EXPECT_GT(links.nlive(), 0);
  }
}

TEST(GridLinks, JoinTheNodesAtDistanceOne) {
  const std::pair<long, long> sizes[] = {{1, 1}, {7, 1}, {1, 5}, {2, 2}, {5, 4}, {4, 7}};
  for (const auto& [width, length] : sizes) {
    for (const int hex : {0, 1}) {
      const long n = width * length;
      MatFullD grid(n, 2);
      grid.setrows(n, 0.0);
      for (long k = 0; k < n; ++k) {
        const auto row = static_cast<double>(k / width), column = static_cast<double>(k % width);
        grid(k, 0) = hex != 0 ? column + 0.5 * static_cast<double>(k / width % 2) : column;
        grid(k, 1) = hex != 0 ? row * std::sqrt(3.0) / 2.0 : row;
      }
      MatLinkD links(n, 2);
      links.addrow(n);
      links.setgrd(0, width, length, hex);
      EXPECT_EQ(plain_e_link(grid, 1.0 + 1e-9), strengths_of(links, 0))
          << width << " x " << length << " hex " << hex;
    }
  }
}

TEST(LinkingRulesDeathTest, ReportsTheRuleAndTheArgument) {
  MatFullD points(2, 2), data(1, 3);
  points.setrows(2, 0.0);
  data.setrows(1, 0.0);
  MatLinkD links(3, 1);
  links.addrow(3);
  MatLinkD fits(2, 1);
  fits.addrow(2);
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"error l91\n.*argument 1 out of range : 1\n", [&] { links.e_link(1, points, 1.0); }},
      {"error l91\n.*argument 2 out of range : 2\n", [&] { links.e_link(0, points, 1.0); }},
      {"error l92\n.*argument 1 out of range : -1\n", [&] { links.n_link(-1, points, 1); }},
      {"error l93\n.*argument 2 out of range : 2\n", [&] { links.r_link(0, points, 1.0); }},
      {"error l94\n.*argument 3 out of range : 3\n", [&] { fits.d_link(0, points, data, 1, 1.0); }},
      {"error l95\n.*argument 2 out of range : 4\n", [&] { links.setgrd(0, 2, 2, 0); }},
      {"error l96\n.*argument 3 out of range : 3\n", [&] { fits.h_link(0, points, data, 1.0); }},
      {"error l97\n.*argument 2 out of range : 1\n", [&] { fits.setpos(points, 1); }},
  };
  for (const auto& [expected, call] : cases) {
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          call();
        },
        testing::ExitedWithCode(0), expected);
  }
}

}  // namespace
}  // namespace qvtx
