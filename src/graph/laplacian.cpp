#include "graph/laplacian.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/exponential.h"
#include "base/interrupt.h"
#include "graph/graph_paths.h"

namespace qvtx {

namespace {

constexpr double least_affinity = 1e-10;
/// Share of the time of an inversion that goes to the look at the pivots ahead of it.
constexpr double pivot_share = 0.7;

/// Makes m size x size and fills it. A matrix without memory throws here what the vectors do.
void fill_square(MatFullD& m, long size, double value) {
  if (m.setdim(size, std::max(size, 1L)) != size) throw std::bad_alloc();  // a column even without rows
  m.setrows(size, value);
}

/// Row sums of a square matrix, each from the last column to the first.
std::vector<double> row_sums(const MatFullD& a) {
  std::vector<double> sums(static_cast<std::size_t>(a.nrow()), 0.0);
  for (long i = a.nrow() - 1; i >= 0; --i) {
    const double* row = a.data() + i * a.ncol();
    double sum = 0.0;
    for (long j = a.ncol() - 1; j >= 0; --j) sum += row[j];
    sums[static_cast<std::size_t>(i)] = sum;
  }
  return sums;
}

/// Turns affinities a into L + (c / n) J: L the Laplacian, n its size, c = trace(L) / n, J all ones. L is 0
/// on the constant vector and positive definite across it, so that the sum is positive definite, and its
/// inverse is the pseudo-inverse of L plus J / (c n). (L - J / n would do as well but for being indefinite: a
/// pivot of its elimination can vanish, and does for a ring of 5, 10, 28 or 42 nodes.)
void to_definite_laplacian(MatFullD& a) {
  const long n = a.nrow();
  const std::vector<double> degree = row_sums(a);
  double trace = 0.0;
  for (long i = n - 1; i >= 0; --i) trace += degree[static_cast<std::size_t>(i)];
  const double shift = trace / static_cast<double>(n) / static_cast<double>(n);
  for (long i = n - 1; i >= 0; --i) {
    double* row = a.data() + i * n;
    for (long j = n - 1; j >= 0; --j) row[j] = shift - row[j];
    row[i] = shift + degree[static_cast<std::size_t>(i)];
  }
}

double cube(double x) { return x * x * x; }

/// Whether every pivot of the symmetric matrix a is positive, the ones that its inversion without pivoting
/// divides by.
bool positive_pivots(const MatFullD& a, const Progress& progress) {
  const long n = a.nrow();
  std::vector<double> rest(a.data(), a.data() + n * n);
  for (long k = 0; k < n; ++k) {
    interruption_point();
    const double* pivot = rest.data() + k * n;
    if (!(pivot[k] > 0.0)) return false;
    for (long i = k + 1; i < n; ++i) {
      double* row = rest.data() + i * n;
      const double factor = pivot[i] / pivot[k];
      for (long j = i; j < n; ++j) row[j] -= factor * pivot[j];  // the upper triangle is enough
    }
    tell_share(progress, 1 - cube(static_cast<double>(n - k - 1) / static_cast<double>(n)));
  }
  return true;
}

}  // namespace

GraphLaplacian::GraphLaplacian(const MatLinkD& links, const MatFullD& points, const LaplacianOptions& options)
    : links_(links), points_(points), options_(options), place_(static_cast<std::size_t>(links.nnode())) {
  if (links.nvalue() < 2) links.ermessage('l', 1004, 1, links.nvalue());
  if (points.nrow() != links.nnode()) links.ermessage('l', 1004, 2, points.nrow());
  MatFullL comp;
  members_.resize(static_cast<std::size_t>(links.connex(comp)));
  for (long i = 0; i < links.nnode(); ++i) {
    std::vector<long>& members = members_[static_cast<std::size_t>(comp.data()[i])];
    place_[static_cast<std::size_t>(i)] = static_cast<long>(members.size());
    members.push_back(i);
  }
}

// ---- Affinities ----

/// Mean length of the links between the members of a component, 0 without links.
double GraphLaplacian::mean_length(const std::vector<long>& members) const {
  double sum = 0.0;
  long links = 0;
  for (auto i = members.rbegin(); i != members.rend(); ++i) {
    for (long k = links_.head(*i); k >= 0; k = links_.next(k, *i)) {
      if (links_.other(k, *i) >= *i) continue;  // every link once, from its larger end
      sum += links_.getvalue(k, 1);
      ++links;
    }
  }
  return links > 0 ? sum / static_cast<double>(links) : 0.0;
}

void GraphLaplacian::fill_block(const std::vector<long>& members, MatFullD& block,
                                const DistanceRow& row) const {
  const long size = static_cast<long>(members.size());
  fill_square(block, size, 0.0);
  const double unit = options_.width * mean_length(members);
  const auto affinity = [unit](double dist) {
    const double x = dist == 0.0 ? 0.0 : dist / unit;  // duplicates: 0 even when all links have length 0
    return fixed_exp(-0.5 * x * x);
  };
  const auto put = [&block, size](long i, long j, double a) {
    block.data()[i * size + j] = block.data()[j * size + i] = a;
  };
  for (long i = size - 1; i >= 0; --i) {
    interruption_point();
    const long node = members[static_cast<std::size_t>(i)];
    const double* dist = row(node);
    if (options_.weight > 1) {
      for (long j = i - 1; j >= 0; --j) put(i, j, affinity(dist[members[static_cast<std::size_t>(j)]]));
    }
    for (long k = links_.head(node); k >= 0; k = links_.next(k, node)) {
      const long other = links_.other(k, node);
      if (other >= node) continue;
      const double a = options_.weight < 1 ? 1.0 : affinity(dist[other]);
      put(i, place_[static_cast<std::size_t>(other)], a < least_affinity ? least_affinity : a);
    }
  }
}

void GraphLaplacian::affinities() {
  MatFullD space;
  std::vector<double> path(place_.size());
  GraphPaths paths(links_, 1);
  const DistanceRow row = [&](long i) -> const double* {
    if (options_.type == 3) {
      paths.row(i, path.data(), nullptr);
      return path.data();
    }
    points_.sdav(i, space, no_bound);
    if (space.nrow() != points_.nrow()) throw std::bad_alloc();
    return space.data();
  };
  blocks_ = std::vector<MatFullD>(members_.size());
  for (std::size_t c = 0; c < members_.size(); ++c) fill_block(members_[c], blocks_[c], row);
}

void GraphLaplacian::normalize() {
  if (!options_.scale) return;
  for (MatFullD& block : blocks_) {
    std::vector<double> root = row_sums(block);
    if (root.size() < 2) continue;  // a node alone has no affinity to divide
    for (double& r : root) r = std::sqrt(r);
    for (long i = block.nrow() - 1; i >= 0; --i) {
      double* row = block.data() + i * block.ncol();
      for (long j = block.ncol() - 1; j >= 0; --j) {
        row[j] /= root[static_cast<std::size_t>(i)] * root[static_cast<std::size_t>(j)];
      }
    }
  }
}

// ---- Distances ----

int GraphLaplacian::distances(MatFullD& out, const Progress& progress) {
  if (!(options_.width > 0.0)) return 0;
  const long n = static_cast<long>(place_.size());
  fill_square(out, n, -1.0);
  for (long i = 0; i < n; ++i) out.data()[i * n + i] = 0.0;
  double work = 0, done = 0;
  for (const std::vector<long>& members : members_) work += cube(static_cast<double>(members.size()));
  for (std::size_t c = 0; c < members_.size(); ++c) {
    const std::vector<long>& members = members_[c];
    MatFullD& inverse = blocks_[c];
    if (members.size() < 2) continue;
    to_definite_laplacian(inverse);
    const double part = cube(static_cast<double>(members.size())) / work;
    const auto after = [&](double share) { tell_share(progress, done + part * share); };
    if (!positive_pivots(inverse, [&](double share) { after(pivot_share * share); })) return 0;
    inverse.inv([&](double share) { after(pivot_share + (1 - pivot_share) * share); });
    done += part;
    const long size = inverse.nrow();
    // The J / (c n) still in every element drops out of l(i, i) + l(j, j) - 2 l(i, j).
    const auto l = [&inverse, size](long i, long j) { return inverse.data()[i * size + j]; };
    for (long i = size - 1; i >= 0; --i) {
      for (long j = i - 1; j >= 0; --j) {
        const double square = l(i, i) + l(j, j) - 2.0 * l(i, j);
        if (!std::isfinite(square)) return 0;
        const long a = members[static_cast<std::size_t>(i)], b = members[static_cast<std::size_t>(j)];
        out.data()[a * n + b] = out.data()[b * n + a] = square > 0.0 ? std::sqrt(square) : 0.0;
      }
    }
  }
  return 1;
}

}  // namespace qvtx
