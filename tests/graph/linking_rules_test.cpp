
#include "graph/graph_support.h"

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

/// The k rows nearest to every row, within (1 + tol) times the first distance that is not 0.
Strengths plain_n_link(const MatFullD& points, std::size_t k, double tol) {
  Strengths s;
  for (long i = 0; i < points.nrow(); ++i) {
    const auto order = by_distance(points, points, i, i);
    double reference = 0.0;
    for (std::size_t r = 0; r < k; ++r) {
      if (reference == 0.0) reference = order[r].first;
      if (order[r].first <= (1.0 + tol) * reference) strengthen(s, i, order[r].second);
    }
  }
  return s;
}

Strengths plain_d_link(const MatFullD& points, const MatFullD& data, std::size_t k, double tol) {
  Strengths s;
  for (long i = 0; i < data.nrow(); ++i) {
    const auto order = by_distance(points, data, i, -1);
    double reference = 0.0;
    for (std::size_t r = 1; r <= k; ++r) {
      if (reference == 0.0) reference = order[r].first;
      if (order[r].first <= (1.0 + tol) * reference) strengthen(s, order[0].second, order[r].second);
    }
  }
  return s;
}

Strengths plain_h_link(const MatFullD& points, const MatFullD& data, double tol) {
  Strengths all = plain_d_link(points, data, 1, 0.0);
  std::map<long, double> strongest;
  for (const auto& [pair, strength] : all) {
    for (const long end : {pair.first, pair.second}) strongest[end] = std::max(strongest[end], strength);
  }
  std::erase_if(all, [&](const auto& link) {
    const auto& [pair, strength] = link;
    return strength < tol * strongest[pair.first] && strength < tol * strongest[pair.second];
  });
  return all;
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
    constexpr double any = 1e300;
    const double eps = lattice ? 1.0 : 0.3;  // on the lattice many pairs lie at exactly 1
    const std::tuple<const char*, std::function<void(MatLinkD&)>, Strengths> cases[] = {
        {"e", [&](MatLinkD& links) { links.e_link(1, p, eps); }, plain_e_link(p, eps)},
        {"n", [&](MatLinkD& links) { links.n_link(1, p, 4); }, plain_n_link(p, 4, any)},
        {"n, too few", [&](MatLinkD& links) { links.n_link(1, p, 0); }, plain_n_link(p, 1, any)},
        {"n, too many", [&](MatLinkD& links) { links.n_link(1, p, 1000); }, plain_n_link(p, 39, any)},
        {"r", [&](MatLinkD& links) { links.r_link(1, p, 0.5); }, plain_n_link(p, 39, 0.5)},
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
  data.setrows(2, 0.0);
  const std::function<void(MatLinkD&)> rules[] = {
      [&](MatLinkD& links) { links.e_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.n_link(0, points, 3); },
      [&](MatLinkD& links) { links.r_link(0, points, 10.0); },
      [&](MatLinkD& links) { links.d_link(0, points, data, 3, 10.0); },
      [&](MatLinkD& links) { links.h_link(0, points, data, 0.0); }};
  for (const long n : {4L, 1L}) {
    points.setrows(n, 0.0);
    for (long i = 0; i < n; ++i) points(i, 0) = i == 1 ? std::nan("") : static_cast<double>(i);
    data(1, 0) = n > 1 ? std::nan("") : 0.0;
    for (const auto& rule : rules) {
      MatLinkD links(n, 1);
      links.addrow(n);
      rule(links);
      EXPECT_EQ(n > 1, links.nlive() > 0);
      EXPECT_EQ(0, links.degree(n > 1 ? 1 : 0));
    }
  }
}

}  // namespace
}  // namespace qvtx
