#include "mapping/affine_blend.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace qvtx {

namespace {

/// Share of the mean diagonal that is added to it, so that the fits stay solvable with few or aligned
/// neighbours.
constexpr double ridge = 0.01;
/// Neighbours in rank that trust each other, per dimension of the map.
constexpr long trusted_per_axis = 4;

double length(const double* x, long n) {
  double sum = 0;
  for (long k = n - 1; k >= 0; --k) sum += x[k] * x[k];
  return std::sqrt(sum);
}

double trace(const MatFullD& m) {
  double sum = 0;
  for (long k = m.nrow() - 1; k >= 0; --k) sum += m(k, k);
  return sum;
}

/// The inverse of a positive semidefinite matrix with the ridge on its diagonal.
void invert_with_ridge(MatFullD& m) {
  const double share = ridge * (trace(m) / static_cast<double>(m.nrow()));
  for (long k = m.nrow() - 1; k >= 0; --k) m(k, k) += share;
  m.inv();
}

/// step = m x for a row-major rows x cols matrix.
void multiply(const double* m, const double* x, long rows, long cols, double* step) {
  for (long r = rows - 1; r >= 0; --r) {
    double sum = 0;
    for (long c = cols - 1; c >= 0; --c) sum += m[r * cols + c] * x[c];
    step[r] = sum;
  }
}

/// The steps from row i to its neighbours, one per row.
void steps_from(const MatFullD& points, long i, const std::vector<long>& near, MatFullD& steps) {
  const long n = static_cast<long>(near.size());
  steps.setdim(n, points.ncol());
  steps.setrows(n, 0.0);
  for (long r = n - 1; r >= 0; --r) {
    const long j = near[static_cast<std::size_t>(r)];
    for (long k = points.ncol() - 1; k >= 0; --k) steps(r, k) = points(j, k) - points(i, k);
  }
}

double longest(const MatFullD& steps) {
  double reach = 0;
  for (long r = steps.nrow() - 1; r >= 0; --r) reach = std::max(reach, length(steps.row(r), steps.ncol()));
  return reach;
}

void sort_unique(std::vector<long>& list) {
  std::sort(list.begin(), list.end());
  list.erase(std::unique(list.begin(), list.end()), list.end());
}

}  // namespace

Trust::Trust(NeighbourSearch& points, long reach)
    : reach_(std::min(reach, points.rows().nrow() - 1)),
      near_(static_cast<std::size_t>(points.rows().nrow() * reach_)) {
  for (long i = 0; i < points.rows().nrow(); ++i) {
    points.search(points.rows().row(i), i, reach_);
    const auto list = near_.begin() + i * reach_;
    for (long r = 0; r < reach_; ++r) list[r] = points.row(r);
    std::sort(list, list + reach_);
  }
}

bool Trust::lists(long i, long j) const {
  const auto list = near_.begin() + i * reach_;
  return std::binary_search(list, list + reach_, j);
}

AffineBlend::Direction::Direction(const MatFullD& source, const MatFullD& target)
    : from(source),
      to(target),
      maps(static_cast<std::size_t>(source.nrow() * target.ncol() * source.ncol()), 0.0),
      reach(static_cast<std::size_t>(source.nrow()), 0.0),
      share(static_cast<std::size_t>(source.nrow()), 1.0) {}

AffineBlend::AffineBlend(const VeQuan& quantizer, const MatFullD& images, bool linked)
    : quantizer_(quantizer),
      prototypes_(quantizer.getprot()),
      images_(images),
      linked_(linked),
      data_search_(prototypes_),
      map_search_(images_, Metric::euclidean()),
      data_trust_(data_search_, trusted_per_axis * images.ncol()),
      map_trust_(map_search_, trusted_per_axis * images.ncol()),
      to_map_(prototypes_, images_),
      to_data_(images_, prototypes_),
      difference_(static_cast<std::size_t>(std::max(images.ncol(), prototypes_.ncol()))),
      step_(difference_.size()),
      sample_(static_cast<std::size_t>(prototypes_.ncol())) {
  if (!linked_) nearest_prototypes();
  for (long i = images_.nrow() - 1; i >= 0; --i) fit(i);
}

void AffineBlend::nearest_prototypes() {
  const long n = prototypes_.nrow();
  const long k = std::min(2 * (images_.ncol() + 1), n - 1);
  if (k < 1) return;
  nearest_.setdim(n, k);
  nearest_.setrows(n);
  for (long i = 0; i < n; ++i) {
    data_search_.search(prototypes_.row(i), i, k);
    for (long r = 0; r < k; ++r) nearest_(i, r) = data_search_.row(r);
  }
}

std::vector<long> AffineBlend::graph_neighbours(long i) const {
  std::vector<long> list;
  if (linked_) {
    const MatLinkD& link = quantizer_.getlink();
    for (long k = link.head(i); k >= 0; k = link.next(k, i)) list.push_back(link.other(k, i));
  } else if (nearest_.nrow() > 0) {
    list.assign(nearest_.row(i), nearest_.row(i) + nearest_.ncol());
  }
  return list;
}

std::vector<long> AffineBlend::neighbours(long i) const {
  std::vector<long> near = graph_neighbours(i);
  std::erase_if(near, [&](long j) { return j == i || !map_trust_(i, j); });
  sort_unique(near);
  if (static_cast<long>(near.size()) < images_.ncol() + 1) {
    const std::vector<long> first = near;
    for (const long r : first) {
      for (const long j : graph_neighbours(r)) {
        if (j != i && map_trust_(i, j)) near.push_back(j);
      }
    }
    sort_unique(near);
  }
  // Images in the same place give no direction.
  std::erase_if(near, [&](long j) {
    const double* y = images_.row(i);
    return std::equal(y, y + images_.ncol(), images_.row(j));
  });
  return near;
}

void AffineBlend::fit(long i) {
  const std::vector<long> near = neighbours(i);
  if (near.empty()) return;
  MatFullD a, c;
  steps_from(images_, i, near, a);
  steps_from(prototypes_, i, near, c);
  to_map_.reach[static_cast<std::size_t>(i)] = longest(a);
  to_data_.reach[static_cast<std::size_t>(i)] = longest(c);
  // Unit steps in the map, and what goes with them in the data.
  for (long r = a.nrow() - 1; r >= 0; --r) {
    const double in_map = length(a.row(r), a.ncol());
    for (long k = a.ncol() - 1; k >= 0; --k) a(r, k) /= in_map;
    for (long k = c.ncol() - 1; k >= 0; --k) c(r, k) /= in_map;
  }
  // Transposes throughout: forward' = (a'a + ridge)^-1 (a'c), p x d.
  MatFullD gram, cross, forward, square, inverse;
  gram.atb(a, a);
  invert_with_ridge(gram);
  cross.atb(a, c);
  forward.atb(gram, cross);
  MatFullD transposed;
  transposed.copy(forward);
  transposed.tsp();
  square.atb(transposed, transposed);
  if (!(trace(square) > 0)) return;  // the neighbours lie at the prototype, or are not finite
  // inverse = (forward' forward + ridge)^-1 forward', p x d.
  invert_with_ridge(square);
  inverse.atb(square, forward);
  std::copy_n(transposed.data(), transposed.nrow() * transposed.ncol(), to_data_.map(i));
  std::copy_n(inverse.data(), inverse.nrow() * inverse.ncol(), to_map_.map(i));
}

bool AffineBlend::choose(NeighbourSearch& search, const Trust& trust, const double* q,
                         BlendRows& rows) const {
  const MatFullD& points = search.rows();
  const long mixed = std::min(images_.ncol() + 1, points.nrow() - 1);
  const long found = search.search(q, -1, mixed + 1);
  if (!std::isfinite(search.distance(found - 1))) return false;
  // A point that is a row, or cannot be told from the nearest one. Cosine distances between equal rows need
  // not be 0.
  long exact = search.distance(0) == 0 || mixed == 0 ? search.row(0) : -1;
  for (long k = found - 1; k >= 0; --k) {
    if (std::equal(q, q + points.ncol(), points.row(search.row(k)))) exact = search.row(k);
  }
  rows.exact = exact >= 0;
  rows.row.clear();
  rows.weight.clear();
  if (rows.exact) {
    rows.row.push_back(exact);
    rows.weight.push_back(1.0);
    return true;
  }
  const double first = search.distance(0);
  const double end = search.distance(mixed);
  double sum = 0;
  for (long k = 0; k < mixed; ++k) {
    const double at = search.distance(k);
    // Multiplied by first^2, which the quotient by the sum takes out again: nothing can overflow.
    const double root = (end - at) / end * (first / at);
    const double weight = trust(search.row(0), search.row(k)) ? root * root : 0.0;
    rows.row.push_back(search.row(k));
    rows.weight.push_back(weight);
    sum += weight;
  }
  if (sum > 0) {
    for (double& weight : rows.weight) weight /= sum;
  } else {
    rows.weight[0] = 1;
  }
  return true;
}

void AffineBlend::step_from_rows(const Direction& way, const double* q, const BlendRows& rows) {
  const long n = way.to.ncol();
  const long m = way.from.ncol();
  steps_.resize(std::max(steps_.size(), rows.row.size() * static_cast<std::size_t>(n)));
  double* step = steps_.data();
  for (std::size_t k = 0; !rows.exact && k < rows.row.size(); ++k, step += n) {
    if (rows.weight[k] == 0) continue;
    const double* a = way.from.row(rows.row[k]);
    for (long c = m - 1; c >= 0; --c) difference_[static_cast<std::size_t>(c)] = q[c] - a[c];
    multiply(way.map(rows.row[k]), difference_.data(), n, m, step);
  }
}

template <class ShareOf>
void AffineBlend::mix_steps(const Direction& way, const BlendRows& rows, ShareOf share_of, double* result) {
  const long n = way.to.ncol();
  if (rows.exact) {
    std::copy_n(way.to.row(rows.row[0]), n, result);
    return;
  }
  std::fill_n(result, n, 0.0);
  const double* whole = steps_.data();
  for (std::size_t k = 0; k < rows.row.size(); ++k, whole += n) {
    if (rows.weight[k] == 0) continue;
    const long o = rows.row[k];
    const double* b = way.to.row(o);
    const double share = share_of(o);
    for (long c = 0; c < n; ++c) step_[static_cast<std::size_t>(c)] = share * whole[c];
    const double taken = length(step_.data(), n);
    const double reach = way.reach[static_cast<std::size_t>(o)];
    const double cut = taken > reach ? reach / taken : 1.0;
    for (long c = n - 1; c >= 0; --c)
      result[c] += rows.weight[k] * (b[c] + cut * step_[static_cast<std::size_t>(c)]);
  }
}

void AffineBlend::mix(const Direction& way, const double* q, const BlendRows& rows, double* result) {
  step_from_rows(way, q, rows);
  mix_steps(
      way, rows, [&way](long o) { return way.share[static_cast<std::size_t>(o)]; }, result);
}

bool AffineBlend::position(const double* x, double* y, BlendRows& rows) {
  const bool finite = choose(data_search_, map_trust_, x, rows);
  if (finite) {
    mix(to_map_, x, rows, y);
  } else {
    std::fill_n(y, images_.ncol(), std::numeric_limits<double>::quiet_NaN());
  }
  return finite;
}

bool AffineBlend::sample(const double* y, double* x, BlendRows& rows) {
  const bool finite = choose(map_search_, data_trust_, y, rows);
  if (finite) {
    mix(to_data_, y, rows, x);
  } else {
    std::fill_n(x, prototypes_.ncol(), std::numeric_limits<double>::quiet_NaN());
  }
  return finite;
}

double AffineBlend::reconstruction_error(const double* x, const double* y) {
  sample(y, sample_.data(), back_);
  double sum = 0;
  for (long c = prototypes_.ncol() - 1; c >= 0; --c) {
    const double t = x[c] - sample_[static_cast<std::size_t>(c)];
    sum += t * t;
  }
  return sum;
}

void AffineBlend::shrink() {
  constexpr std::array<double, 5> shares = {1, 0.7, 0.4, 0.2, 0};  // decreasing: a tie keeps the larger one
  const MatFullD& data = quantizer_.getused();
  const auto n = static_cast<std::size_t>(prototypes_.nrow());
  const auto axes = static_cast<std::size_t>(images_.ncol());
  position_.resize(shares.size() * axes);
  std::array<std::vector<double>, shares.size()> error;
  for (std::vector<double>& of_share : error) of_share.assign(n, 0.0);
  BlendRows rows;
  for (long i = data.nrow() - 1; i >= 0; --i) {
    // What a datum mixes does not depend on the shares.
    if (!choose(data_search_, map_trust_, data.row(i), rows)) continue;
    const double* const x = data.row(i);
    step_from_rows(to_map_, x, rows);
    for (std::size_t s = 0; s < shares.size(); ++s)  // all of them before the steps give way to those back
      mix_steps(
          to_map_, rows, [share = shares[s]](long) { return share; }, &position_[s * axes]);
    for (std::size_t s = 0; s < shares.size(); ++s)
      error[s][static_cast<std::size_t>(rows.row[0])] += reconstruction_error(x, &position_[s * axes]);
  }
  for (std::size_t k = 0; k < n; ++k) {
    double least = std::numeric_limits<double>::infinity();
    to_map_.share[k] = 1.0;
    for (std::size_t s = 0; s < shares.size(); ++s) {
      if (!(error[s][k] < least)) continue;
      least = error[s][k];
      to_map_.share[k] = shares[s];
    }
  }
}

}  // namespace qvtx
