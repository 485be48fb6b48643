#pragma once
// Interpolation and reconstruction once more, written from their formulas over vectors: ranks, affine maps,
// shares, weights, and the steps of Sammon's variant. Nothing is shared with the program.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace qvtx::test {

using Row = std::vector<double>;
using Rows = std::vector<Row>;
using Lists = std::vector<std::vector<std::size_t>>;

inline Row difference(const Row& a, const Row& b) {
  Row d(a);
  for (std::size_t k = 0; k < d.size(); ++k) d[k] -= b[k];
  return d;
}
inline double norm(const Row& a) { return std::sqrt(std::inner_product(a.begin(), a.end(), a.begin(), 0.0)); }
inline double euclidean(const Row& a, const Row& b) { return norm(difference(a, b)); }
inline double city_block(const Row& a, const Row& b) {
  double sum = 0;
  for (const double x : difference(a, b)) sum += std::fabs(x);
  return sum;
}

/// sum over r of u_r v_r'.
inline Rows outer(const Rows& u, const Rows& v) {
  Rows m(u[0].size(), Row(v[0].size(), 0.0));
  for (std::size_t r = 0; r < u.size(); ++r) {
    for (std::size_t i = 0; i < m.size(); ++i) {
      for (std::size_t j = 0; j < m[i].size(); ++j) m[i][j] += u[r][i] * v[r][j];
    }
  }
  return m;
}
inline Rows transposed(const Rows& a) {
  Rows m(a[0].size(), Row(a.size()));
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t j = 0; j < a[i].size(); ++j) m[j][i] = a[i][j];
  }
  return m;
}
inline double trace(const Rows& m) {
  double sum = 0;
  for (std::size_t i = 0; i < m.size(); ++i) sum += m[i][i];
  return sum;
}
/// (m + 0.01 trace / n I)^-1 b by elimination, which needs no pivots.
inline Rows solve_with_ridge(Rows m, Rows b) {
  const std::size_t n = m.size();
  const double ridge = 0.01 * trace(m) / static_cast<double>(n);
  for (std::size_t i = 0; i < n; ++i) m[i][i] += ridge;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t r = 0; r < n; ++r) {
      const double factor = m[r][i] / m[i][i];
      if (r == i) continue;
      for (std::size_t c = 0; c < n; ++c) m[r][c] -= factor * m[i][c];
      for (std::size_t c = 0; c < b[r].size(); ++c) b[r][c] -= factor * b[i][c];
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (double& x : b[i]) x /= m[i][i];
  }
  return b;
}

class ReferenceBlend {
 public:
  using Metric = double (*)(const Row&, const Row&);
  struct Mixed {
    std::vector<std::size_t> row;
    Row weight;
  };

  /// graph: the neighbours of every prototype.
  ReferenceBlend(const Rows& prototypes, const Rows& images, const Lists& graph, Metric metric)
      : x(prototypes), y(images), share(x.size(), 1.0), graph_(graph), metric_(metric), none_(x.size(), 1.0) {
    trust_x_ = trust_of(x, metric);
    trust_y_ = trust_of(y, euclidean);
    for (std::size_t i = 0; i < x.size(); ++i) fit(i);
  }

  Row position(const Row& q, Mixed& mixed) const {
    return carry(q, x, y, metric_, trust_y_, inverse_, share, reach_y_, mixed);
  }
  Row sample(const Row& q, Mixed& mixed) const {
    return carry(q, y, x, euclidean, trust_x_, forward_, none_, reach_x_, mixed);
  }

  void shrink(const Rows& data) {
    const Row shares{1, 0.7, 0.4, 0.2, 0};
    Rows error(x.size(), Row(shares.size(), 0.0));
    Mixed mixed, back;
    for (std::size_t s = 0; s < shares.size(); ++s) {
      std::fill(share.begin(), share.end(), shares[s]);
      for (const Row& datum : data) {
        const Row rebuilt = sample(position(datum, mixed), back);
        error[mixed.row[0]][s] += std::pow(euclidean(datum, rebuilt), 2);
      }
    }
    for (std::size_t i = 0; i < x.size(); ++i) {
      const auto least = std::min_element(error[i].begin(), error[i].end());
      share[i] = shares[static_cast<std::size_t>(least - error[i].begin())];
    }
  }

  /// Numbers by increasing distance from q.
  static std::vector<std::size_t> by_distance(const Row& q, const Rows& points, Metric metric) {
    std::vector<std::size_t> order(points.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return metric(q, points[a]) < metric(q, points[b]);
    });
    return order;
  }

  Rows x, y;
  Row share;

 private:
  std::size_t p() const { return y[0].size(); }

  /// Whether one of two points is among the 4 p nearest others of the other one.
  std::vector<std::vector<bool>> trust_of(const Rows& points, Metric metric) const {
    std::vector<std::vector<bool>> trust(x.size(), std::vector<bool>(x.size(), false));
    for (std::size_t i = 0; i < x.size(); ++i) {
      trust[i][i] = true;
      std::size_t rank = 0;
      for (const std::size_t j : by_distance(points[i], points, metric)) {
        if (j != i && ++rank <= 4 * p()) trust[i][j] = trust[j][i] = true;
      }
    }
    return trust;
  }

  std::vector<std::size_t> neighbours(std::size_t i) const {
    std::vector<bool> in(x.size(), false);
    for (const std::size_t j : graph_[i]) in[j] = trust_y_[i][j];
    const std::vector<bool> first = in;
    if (static_cast<std::size_t>(std::count(in.begin(), in.end(), true)) < p() + 1) {
      for (std::size_t r = 0; r < x.size(); ++r) {
        if (!first[r]) continue;
        for (const std::size_t j : graph_[r]) in[j] = in[j] || (j != i && trust_y_[i][j]);
      }
    }
    std::vector<std::size_t> near;
    for (std::size_t j = 0; j < x.size(); ++j) {
      if (in[j] && y[j] != y[i]) near.push_back(j);
    }
    return near;
  }

  void fit(std::size_t i) {
    forward_.emplace_back(x[0].size(), Row(p(), 0.0));
    inverse_.emplace_back(p(), Row(x[0].size(), 0.0));
    reach_x_.push_back(0);
    reach_y_.push_back(0);
    Rows a, c;
    for (const std::size_t r : neighbours(i)) {
      a.push_back(difference(y[r], y[i]));
      c.push_back(difference(x[r], x[i]));
      const double l = norm(a.back());
      reach_y_[i] = std::max(reach_y_[i], l);
      reach_x_[i] = std::max(reach_x_[i], norm(c.back()));
      for (double& v : a.back()) v /= l;
      for (double& v : c.back()) v /= l;
    }
    if (a.empty()) return;
    const Rows across = solve_with_ridge(outer(a, a), outer(a, c));  // p x d
    const Rows m = transposed(across);
    const Rows square = outer(m, m);
    if (trace(square) == 0) return;
    forward_[i] = m;
    inverse_[i] = solve_with_ridge(square, across);
  }

  Row carry(const Row& q, const Rows& a, const Rows& b, Metric metric,
            const std::vector<std::vector<bool>>& trust, const std::vector<Rows>& maps, const Row& shares,
            const Row& reach, Mixed& mixed) const {
    const std::vector<std::size_t> o = by_distance(q, a, metric);
    const std::size_t k_last = std::min(p() + 1, a.size() - 1);
    mixed = {{o[0]}, {1.0}};
    if (a.size() == 1 || metric(q, a[o[0]]) == 0) return b[o[0]];
    mixed = {{o.begin(), o.begin() + static_cast<std::ptrdiff_t>(k_last)}, Row(k_last, 0.0)};
    const double end = metric(q, a[o[k_last]]);
    for (std::size_t k = 0; k < k_last; ++k) {
      const double d = metric(q, a[o[k]]);
      if (trust[o[0]][o[k]]) mixed.weight[k] = std::pow((end - d) / (end * d), 2);
    }
    const double sum = std::accumulate(mixed.weight.begin(), mixed.weight.end(), 0.0);
    Row result(b[0].size(), 0.0);
    for (std::size_t k = 0; k < k_last; ++k) {
      mixed.weight[k] = sum > 0 ? mixed.weight[k] / sum : k == 0 ? 1.0 : 0.0;
      const Row away = difference(q, a[o[k]]);
      Row step;
      for (const Row& line : maps[o[k]])
        step.push_back(shares[o[k]] * std::inner_product(line.begin(), line.end(), away.begin(), 0.0));
      const double taken = norm(step);
      const double cut = taken > reach[o[k]] ? reach[o[k]] / taken : 1.0;
      for (std::size_t i = 0; i < step.size(); ++i)
        result[i] += mixed.weight[k] * (b[o[k]][i] + cut * step[i]);
    }
    return result;
  }

  Lists graph_;
  Metric metric_;
  Row none_;  ///< no share
  Row reach_x_, reach_y_;
  std::vector<Rows> forward_, inverse_;
  std::vector<std::vector<bool>> trust_x_, trust_y_;
};

/// Fixed points and the distances that a free one should have from them.
struct Targets {
  Rows at;
  Row distance;

  void add(const Row& point, double wanted) {
    if (!(wanted > 0)) return;
    at.push_back(point);
    distance.push_back(wanted);
  }
  double stress(const Row& y) const {
    double sum = 0;
    for (std::size_t t = 0; t < at.size(); ++t)
      sum += std::pow(distance[t] - euclidean(y, at[t]), 2) / distance[t];
    return sum;
  }
  /// One step of y towards the targets, by the share a; the stress must not rise.
  void step(double a, Row& y) const {
    const double before = stress(y);
    Row mean(y.size(), 0.0);
    double total = 0;
    for (std::size_t t = 0; t < at.size(); ++t) {
      const double d = euclidean(y, at[t]);
      for (std::size_t k = 0; k < y.size(); ++k)
        mean[k] += (at[t][k] + (d > 0 ? distance[t] / d * (y[k] - at[t][k]) : 0.0)) / distance[t];
      total += 1 / distance[t];
    }
    for (std::size_t k = 0; k < y.size(); ++k) y[k] += a * (mean[k] / total - y[k]);
    EXPECT_LE(stress(y), before * (1 + 1e-12));
  }
};

}  // namespace qvtx::test
