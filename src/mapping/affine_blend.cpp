#include "mapping/affine_blend.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

/// Share of the mean diagonal that is added to it, so that the fits stay solvable with few or aligned neighbours.
constexpr double ridge = 0.01;
/// Neighbours in rank that trust each other, per dimension of the map.
constexpr long trusted_per_axis = 4;

double length(const double* x, long n) {
  double sum = 0;
  for (long k = n - 1; k >= 0; --k) sum += x[k] * x[k];
  return std::sqrt(sum);
}

void add_ridge(MatFullD& m) {
  double trace = 0;
  for (long k = m.nrow() - 1; k >= 0; --k) trace += m(k, k);
  const double share = ridge * (trace / static_cast<double>(m.nrow()));
  for (long k = m.nrow() - 1; k >= 0; --k) m(k, k) += share;
}

/// y += scale * m x for a row-major rows x cols matrix, cut to the length `reach`; step: scratch of `rows` numbers.
void add_step(const std::vector<double>& m, const double* x, long rows, long cols, double scale, double reach,
              double* step, double* y) {
  for (long r = rows - 1; r >= 0; --r) {
    double sum = 0;
    for (long c = cols - 1; c >= 0; --c) sum += m[static_cast<std::size_t>(r * cols + c)] * x[c];
    step[r] = scale * sum;
  }
  const double taken = length(step, rows);
  const double cut = taken > reach ? reach / taken : 1.0;
  for (long r = rows - 1; r >= 0; --r) y[r] += cut * step[r];
}

}  // namespace

Trust::Trust(const MatFullD& points, long reach) : near_(static_cast<std::size_t>(points.nrow())) {
  MatFullD distance;
  MatFullL nearest;
  for (long i = 0; i < points.nrow(); ++i) {
    points.nearest(points, i, distance, nearest, reach);
    auto& list = near_[static_cast<std::size_t>(i)];
    list.assign(nearest.data(), nearest.data() + nearest.nrow());
    std::sort(list.begin(), list.end());
  }
}

bool Trust::lists(long i, long j) const {
  const auto& list = near_[static_cast<std::size_t>(i)];
  return std::binary_search(list.begin(), list.end(), j);
}

bool Trust::operator()(long i, long j) const { return i == j || lists(i, j) || lists(j, i); }

AffineBlend::AffineBlend(const VeQuan& quantizer, const MatFullD& images, bool linked)
    : quantizer_(quantizer),
      prototypes_(quantizer.getprot()),
      images_(images),
      linked_(linked),
      trust_map_(images, trusted_per_axis * images.ncol()),
      trust_data_(quantizer.getprot(), trusted_per_axis * images.ncol()),
      local_(static_cast<std::size_t>(images.nrow())),
      step_(static_cast<std::size_t>(std::max(images.ncol(), quantizer.getprot().ncol()))) {
  for (long i = images_.nrow() - 1; i >= 0; --i) fit(i, neighbours(i, trust_map_));
}

std::vector<long> AffineBlend::graph_neighbours(long i) const {
  MatFullL list;
  if (linked_) {
    quantizer_.getlink().degree(i, list);
  } else {
    MatFullD distance;
    prototypes_.nearest(prototypes_, i, distance, list, 2 * (images_.ncol() + 1));
  }
  return {list.data(), list.data() + list.nrow()};
}

std::vector<long> AffineBlend::neighbours(long i, const Trust& trust) const {
  std::vector<long> near = graph_neighbours(i);
  std::erase_if(near, [&](long j) { return !trust(i, j); });
  if (static_cast<long>(near.size()) < images_.ncol() + 1) {
    const std::vector<long> first = near;
    for (const long r : first)
      for (const long j : graph_neighbours(r))
        if (j != i && trust(i, j)) near.push_back(j);
  }
  const long p = images_.ncol();
  std::erase_if(near, [&](long j) { return j == i || std::equal(images_.row(i), images_.row(i) + p, images_.row(j)); });
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  return near;
}

void AffineBlend::fit(long i, const std::vector<long>& near) {
  const long p = images_.ncol();
  const long d = prototypes_.ncol();
  Local& local = local_[static_cast<std::size_t>(i)];
  local.forward.assign(static_cast<std::size_t>(d * p), 0.0);
  local.inverse.assign(static_cast<std::size_t>(p * d), 0.0);
  // Unit steps in the map (a) and the steps in the data that go with them (c).
  const long m = static_cast<long>(near.size());
  if (m == 0) return;
  MatFullD a(m, p);
  MatFullD c(m, d);
  a.setrows(m, 0.0);
  c.setrows(m, 0.0);
  for (long r = m - 1; r >= 0; --r) {
    const long j = near[static_cast<std::size_t>(r)];
    for (long k = p - 1; k >= 0; --k) a(r, k) = images_(j, k) - images_(i, k);
    for (long k = d - 1; k >= 0; --k) c(r, k) = prototypes_(j, k) - prototypes_(i, k);
    const double in_map = length(a.row(r), p);
    local.reach_map = std::max(local.reach_map, in_map);
    local.reach_data = std::max(local.reach_data, length(c.row(r), d));
    for (long k = p - 1; k >= 0; --k) a(r, k) /= in_map;
    for (long k = d - 1; k >= 0; --k) c(r, k) /= in_map;
  }
  // forward = (c'a) (a'a + ridge)^-1, inverse = (forward' forward + ridge)^-1 forward'.
  MatFullD gram;
  MatFullD cross;
  gram.atb(a, a);
  add_ridge(gram);
  gram.inv();
  cross.atb(a, c);  // p x d
  MatFullD forward_t;
  forward_t.atb(gram, cross);  // gram is symmetric: p x d, the transpose of the forward map
  MatFullD forward;
  forward.copy(forward_t);
  forward.tsp();  // d x p
  MatFullD square;
  square.atb(forward, forward);
  double trace = 0;
  for (long k = p - 1; k >= 0; --k) trace += square(k, k);
  if (!(trace > 0)) return;
  add_ridge(square);
  square.inv();
  MatFullD inverse;
  inverse.atb(square, forward_t);
  std::copy_n(forward.data(), d * p, local.forward.begin());
  std::copy_n(inverse.data(), p * d, local.inverse.begin());
}

bool AffineBlend::choose(const MatFullD& points, const double* q, const Trust& trust, bool data_space,
                         BlendRows& rows) {
  const long n = points.nrow();
  const long dimension = points.ncol();
  rows.exact = false;
  // Distances: in the data the class in force, in the map always Euclidean.
  distance_.setdim(n, 1);
  distance_.setrows(n);
  if (data_space) {
    query_.setdim(1, dimension);
    query_.setrows(1);
    std::copy_n(q, dimension, query_.data());
    points.sdav(query_, 0, distance_, no_bound);
  } else {
    for (long i = n - 1; i >= 0; --i) {
      const double* y = points.data() + i * dimension;
      double sum = 0;
      for (long k = dimension - 1; k >= 0; --k) sum += (q[k] - y[k]) * (q[k] - y[k]);
      distance_.data()[i] = std::sqrt(sum);
    }
  }
  // The mixed rows, and one more whose distance is where their weights end.
  const double* distance = distance_.data();
  const std::size_t wanted = static_cast<std::size_t>(std::min(images_.ncol() + 1, n - 1)) + 1;
  std::vector<long>& order = rows.row;
  order.clear();
  for (long i = 0; i < n; ++i) {
    if (!std::isfinite(distance[i])) return false;
    if (order.size() == wanted && !(distance[i] < distance[order.back()])) continue;
    if (order.size() == wanted) order.pop_back();
    auto place = order.end();
    while (place != order.begin() && distance[i] < distance[*(place - 1)]) --place;
    order.insert(place, i);
  }
  const double first = distance[order.front()];
  const double end = distance[order.back()];
  rows.exact = first == 0 || n == 1;
  if (n > 1) order.pop_back();
  rows.weight.assign(order.size(), 0.0);
  if (rows.exact) {
    order.resize(1);
    rows.weight.assign(1, 1.0);
    return true;
  }
  double sum = 0;
  for (std::size_t k = 0; k < order.size(); ++k) {
    if (!trust(order.front(), order[k])) continue;
    const double at = distance[order[k]];
    const double root = (end - at) / (end * at);
    rows.weight[k] = root * root;
    sum += rows.weight[k];
  }
  if (!(sum > 0)) {
    rows.weight.assign(order.size(), 0.0);
    rows.weight[0] = 1;
    sum = 1;
  }
  for (double& weight : rows.weight) weight /= sum;
  return true;
}

bool AffineBlend::position(const double* x, double* y, BlendRows& rows) {
  const long p = images_.ncol();
  const long d = prototypes_.ncol();
  std::fill_n(y, p, 0.0);
  if (!choose(prototypes_, x, trust_map_, true, rows)) {
    std::fill_n(y, p, std::numeric_limits<double>::quiet_NaN());
    return false;
  }
  if (rows.exact) {
    std::copy_n(images_.row(rows.row[0]), p, y);
    return true;
  }
  std::vector<double> difference(static_cast<std::size_t>(d));
  std::vector<double> there(static_cast<std::size_t>(p));
  for (std::size_t k = 0; k < rows.row.size(); ++k) {
    if (rows.weight[k] == 0) continue;
    const long o = rows.row[k];
    const Local& local = local_[static_cast<std::size_t>(o)];
    for (long c = d - 1; c >= 0; --c) difference[static_cast<std::size_t>(c)] = x[c] - prototypes_(o, c);
    std::copy_n(images_.row(o), p, there.begin());
    add_step(local.inverse, difference.data(), p, d, local.share, local.reach_map, step_.data(), there.data());
    for (long c = p - 1; c >= 0; --c) y[c] += rows.weight[k] * there[static_cast<std::size_t>(c)];
  }
  return true;
}

bool AffineBlend::sample(const double* y, double* x, BlendRows& rows) {
  const long p = images_.ncol();
  const long d = prototypes_.ncol();
  std::fill_n(x, d, 0.0);
  if (!choose(images_, y, trust_data_, false, rows)) {
    std::fill_n(x, d, std::numeric_limits<double>::quiet_NaN());
    return false;
  }
  if (rows.exact) {
    std::copy_n(prototypes_.row(rows.row[0]), d, x);
    return true;
  }
  std::vector<double> difference(static_cast<std::size_t>(p));
  std::vector<double> there(static_cast<std::size_t>(d));
  for (std::size_t k = 0; k < rows.row.size(); ++k) {
    if (rows.weight[k] == 0) continue;
    const long o = rows.row[k];
    const Local& local = local_[static_cast<std::size_t>(o)];
    for (long c = p - 1; c >= 0; --c) difference[static_cast<std::size_t>(c)] = y[c] - images_(o, c);
    std::copy_n(prototypes_.row(o), d, there.begin());
    add_step(local.forward, difference.data(), d, p, 1.0, local.reach_data, step_.data(), there.data());
    for (long c = d - 1; c >= 0; --c) x[c] += rows.weight[k] * there[static_cast<std::size_t>(c)];
  }
  return true;
}

void AffineBlend::shrink() {
  constexpr double shares[] = {1, 0.7, 0.4, 0.2, 0};
  const MatFullD& data = quantizer_.getdat();
  if (data.nrow() == 0) return;
  const std::size_t n = local_.size();
  const long d = data.ncol();
  MatFullL nearest;
  prototypes_.nearest_all(data, nearest);
  std::vector<double> best(n, std::numeric_limits<double>::infinity());
  std::vector<double> chosen(n, 1.0);
  std::vector<double> position_of(static_cast<std::size_t>(images_.ncol()));
  std::vector<double> back(static_cast<std::size_t>(d));
  BlendRows rows;
  for (const double share : shares) {
    for (Local& local : local_) local.share = share;
    std::vector<double> error(n, 0.0);
    for (long i = data.nrow() - 1; i >= 0; --i) {
      const long owner = nearest(i, 0);
      if (owner < 0 || owner >= static_cast<long>(n)) continue;
      if (!position(data.row(i), position_of.data(), rows)) continue;
      sample(position_of.data(), back.data(), rows);
      double sum = 0;
      for (long c = d - 1; c >= 0; --c) {
        const double t = data(i, c) - back[static_cast<std::size_t>(c)];
        sum += t * t;
      }
      error[static_cast<std::size_t>(owner)] += sum;
    }
    // Shares come in decreasing order, so a tie keeps the larger one.
    for (std::size_t k = 0; k < n; ++k) {
      if (error[k] >= best[k]) continue;
      best[k] = error[k];
      chosen[k] = share;
    }
  }
  for (std::size_t k = 0; k < n; ++k) local_[k].share = chosen[k];
}

}  // namespace qvtx
