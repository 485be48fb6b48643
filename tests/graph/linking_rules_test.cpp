#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <tuple>
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

// Points and data on a coarse lattice give ties and duplicates, the uniform ones none.
TEST(LinkingRules, LinkWhatTheirDefinitionsTell) {
  for (const bool lattice : {false, true}) {
    Numbers numbers(6);
    MatFullD p, d;
    test::uniform_points(p, 40, 2, numbers);
    test::uniform_points(d, 300, 2, numbers);
    for (MatFullD* m : {&p, &d}) {
      for (long c = 0; c < 2 * m->nrow() && lattice; ++c) m->data()[c] = std::floor(6.0 * m->data()[c]);
    }
    const double eps = lattice ? 1.0 : 0.3;  // on the lattice many pairs lie at exactly 1
    const std::tuple<const char*, std::function<void(MatLinkD&)>, Strengths> cases[] = {
        {"e", [&](MatLinkD& links) { links.e_link(1, p, eps); }, plain_e_link(p, eps)},
        {"n", [&](MatLinkD& links) { links.n_link(1, p, 4); }, plain_n_link(p, 4)},
        {"n, too few", [&](MatLinkD& links) { links.n_link(1, p, 0); }, plain_n_link(p, 1)},
        {"n, too many", [&](MatLinkD& links) { links.n_link(1, p, 1000); }, plain_n_link(p, 39)},
        {"r", [&](MatLinkD& links) { links.r_link(1, p, 0.5); }, plain_r_link(p, 0.5)},
        {"d", [&](MatLinkD& links) { links.d_link(1, p, d, 3, 0.5); }, plain_d_link(p, d, 3, 0.5)},
        {"h", [&](MatLinkD& links) { links.h_link(1, p, d, 0.7); }, plain_h_link(p, d, 0.7)}};
    for (const auto& [name, rule, expected] : cases) {
      MatLinkD links(40, 2);
      links.addrow(40);
      rule(links);
      ASSERT_EQ(expected, strengths_of(links, 1)) << name << " " << lattice;
      if (*name == 'd') {
        Strengths twice = expected;
        for (auto& [pair, strength] : twice) strength *= 2.0;
        rule(links);
        EXPECT_EQ(twice, strengths_of(links, 1));
      }
      links.setpos(p, 0);
      for (long k = 0; k < links.nslot(); ++k) {
        if (!links.live(k)) continue;
        ASSERT_EQ(p.sdas(links.end_a(k), links.end_b(k), no_bound), links.getvalue(k, 0));
      }
    }
  }
}

TEST(LinkingRules, LeaveSinglesAndUnknownPointsAlone) {
  MatFullD points(4, 1), data(2, 1);
  const std::function<void(MatLinkD&)> rules[] = {
      [&](MatLinkD& links) { links.e_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.n_link(0, points, 3); },
      [&](MatLinkD& links) { links.r_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.d_link(0, points, data, 3, 10.0); },
      [&](MatLinkD& links) { links.h_link(0, points, data, 0.0); },
  };
  for (const long n : {4L, 1L}) {
    points.setdim(n, 1);
    points.setrows(n, 0.0);
    data.setrows(2, 0.0);
    for (long i = 0; i < n; ++i) points(i, 0) = static_cast<double>(i);
    if (n > 1) points(1, 0) = data(1, 0) = std::nan("");
    for (const auto& rule : rules) {
      MatLinkD links(n, 1);
      links.addrow(n);
      rule(links);
      EXPECT_EQ(n > 1, links.nlive() > 0);
      EXPECT_EQ(0, links.degree(n > 1 ? 1 : 0));
    }
  }
}

TEST(GridLinks, JoinTheNodesAtDistanceOne) {
  const std::pair<long, long> sizes[] = {{1, 1}, {7, 1}, {1, 5}, {5, 4}};
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

}  // namespace
}  // namespace qvtx
