#include "quant/pair_distances.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "base/interrupt.h"
#include "graph/path_rows.h"
#include "matrix/distance/row_search.h"
#include "quant/link_diameter.h"
#include "quant/range_kernels.h"

namespace qvtx {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Smallest and largest positive number met.
class Extremes {
 public:
  void take(const double* row, long n) { range_kernels().widen(row, n, &min_, &max_); }
  void take_mixed(const double* space, const double* graph, double w, long n) {
    range_kernels().widen_mixed(space, graph, w, n, &min_, &max_);
  }
  PairRange range() const { return {max_ == 0.0 ? 0.0 : min_, max_}; }

 private:
  double min_ = infinity, max_ = 0.0;
};

/// Makes m rows x columns, filled. A matrix that finds no memory says so on the console; for the caller it is
/// what the vectors beside it throw.
template <class Matrix, class T>
T* fill(Matrix& m, long rows, long columns, T value) {
  if (m.setdim(rows, columns) != rows) throw std::bad_alloc();
  m.setrows(rows, value);
  return m.data();
}

/// The distances of all nodes (n x n) from the Laplacian; false, and `all` undefined, when it is singular.
bool laplacian_distances(const MatFullD& points, const MatLinkD& links, const LaplacianOptions& options,
                         const std::function<void(const char*)>& announce, const Progress& progress,
                         MatFullD& all) {
  announce("Computing the graph Laplacian: ");
  GraphLaplacian laplacian(links, points, options);
  laplacian.affinities();
  if (options.scale) {
    announce("Normalizing the graph Laplacian ... ");
    laplacian.normalize();
  }
  announce("Pseudo-inverting the graph Laplacian ... ");
  return laplacian.distances(all, progress) != 0;
}

/// Row i of such distances; of a singular Laplacian, one that reaches node i alone.
void laplacian_row(const MatFullD& all, bool regular, long i, long n, MatFullD& row) {
  double* const out = fill(row, n, 1, -1.0);
  if (regular) std::copy_n(all.row(i), n, out);
  out[i] = 0.0;
}

/// The path row that stands for Laplacian distances: column 1 lists i, then the others by distance.
void order_by_distance(const double* distances, long i, long n, MatFullL& path) {
  MatFullD column;
  double* const key = fill(column, n, 1, 0.0);
  for (long j = 0; j < n; ++j) key[j] = distances[j] < 0.0 ? infinity : distances[j];  // another component
  key[i] = -1.0;  // ahead of its duplicates
  MatFullL sorted;
  column.potsort(0, sorted);
  if (sorted.nrow() != n) throw std::bad_alloc();
  fill(path, n, 2, -1L);
  for (long s = 0; s < n; ++s) {
    const long j = sorted(s, 0);
    if (key[j] < infinity) path(s, 1) = j;
  }
}

}  // namespace

/// One pass over all prototypes: rows are read back or computed, stored where that is asked for, and
/// measured. Throws std::bad_alloc.
class PairDistances::Pass {
 public:
  Pass(PairDistances& pairs, const PairRules& rules)
      : pairs_(pairs),
        points_(pairs.points_),
        n_(points_.nrow()),
        memory_(rules.memory),
        stores_space_(rules.stores_space()),
        graph_(rules.linked),
        linked_(rules.linked && pairs.links_.nlive() > 0),
        laplacian_(rules.laplacian.has_value()),
        weight_(linked_ ? rules.balance : 0.0),
        search_(points_),
        squares_(rules.linked && rules.balance == 1.0 && search_.usable() &&
                 Metric::in_force().is_euclidean()),
        graph_rows_(at(n_), nullptr) {
    if (graph_ && !laplacian_) routes_ = std::make_unique<PathRows>(pairs.links_, 1);
    if (n_ == 0) return;
    if (stores_space_ && !pairs.space_stored(0)) pairs.space_.expect(n_, 1);
    if (routes_ && memory_ >= 1 && !pairs.graph_stored(0)) pairs.graph_.expect(n_, 1);
    if (graph_ && memory_ >= 2 && !pairs.path_stored(0)) pairs.paths_.expect(n_, 2);
  }

  /// Visits every prototype and calls `after` behind each. Shortest paths set the order: their rows come in
  /// groups. The ranges do not depend on it.
  void run(const std::function<void()>& after) {
    if (!routes_) {
      for (long i = n_ - 1; i >= 0; --i, after()) {
        interruption_point();
        take(i);
      }
      return;
    }
    const long* const nodes = routes_->order().data();
    for (long first = 0; first < n_; first += PathRows::group) {
      const long count = std::min(PathRows::group, n_ - first);
      interruption_point();
      find_paths(nodes + first, count);
      for (long s = 0; s < count; ++s, after()) take(nodes[first + s]);
    }
  }

  PairRanges ranges() const {
    PairRange space = space_.range();
    if (squares_) space = {std::sqrt(space.min), std::sqrt(space.max)};
    return {space, along_.range(), weight_ > 0.0 ? mixed_.range() : space,
            graph_ ? link_diameter(pairs_.links_) : 0};
  }

 private:
  void take(long i) {
    const double* const e = space(i);
    space_.take(e, n_);
    if (!graph_) return;
    const double* const g = graph(i);
    if (!linked_) return;
    along_.take(g, n_);
    if (weight_ > 0.0) mixed_.take_mixed(e, g, weight_, n_);
  }

  /// Squares where only the range matters: in a mix without a share of them they count as the distances do.
  const double* space(long i) {
    if (!squares_ && pairs_.space_stored(i)) return pairs_.space_[i].data();
    MatFullD& row = stores_space_ ? pairs_.space_[i] : space_scratch_;
    double* const out = fill(row, n_, 1, 0.0);
    if (squares_) {
      search_.sums(points_.row(i), out);
    } else if (search_.usable()) {
      search_.distances(points_.row(i), out);
    } else {
      points_.sdav(i, row, no_bound);
    }
    out[i] = 0.0;
    return out;
  }

  /// Computes the rows along the links of a group of prototypes but for those that are stored.
  void find_paths(const long* sources, long count) {
    const bool stores_paths = memory_ >= 2;
    std::array<long, PathRows::group> missing;
    std::array<double*, PathRows::group> dist;
    std::array<long*, PathRows::group> pred;
    std::size_t rows = 0;
    for (long s = 0; s < count; ++s) {
      const long i = sources[s];
      graph_rows_[at(i)] = pairs_.graph_[i].data();
      if (pairs_.graph_stored(i) && !(stores_paths && !pairs_.path_stored(i))) continue;
      if (stores_paths) pred[rows] = fill(pairs_.paths_[i], n_, 2, -1L);
      dist[rows] = memory_ >= 1 ? fill(pairs_.graph_[i], n_, 1, -1.0) : scratch_row(s);
      graph_rows_[at(i)] = dist[rows];
      missing[rows++] = i;
    }
    if (rows == 0) return;
    routes_->rows(missing.data(), static_cast<long>(rows), dist.data(), stores_paths ? pred.data() : nullptr);
  }

  double* scratch_row(long s) {
    graph_scratch_.resize(at(n_ * PathRows::group));
    return graph_scratch_.data() + s * n_;
  }

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }

  /// The graph row; from the Laplacian, also the path row where it is stored.
  const double* graph(long i) {
    if (!laplacian_) return graph_rows_[at(i)];
    const double* const row = pairs_.graph_[i].data();
    if (memory_ >= 2 && !pairs_.path_stored(i)) order_by_distance(row, i, n_, pairs_.paths_[i]);
    return row;
  }

  PairDistances& pairs_;
  const MatFullD& points_;
  const long n_;
  const long memory_;
  const bool stores_space_;
  const bool graph_;      // distances along the links count
  const bool linked_;     // and there are links
  const bool laplacian_;  // those distances come from the Laplacian
  const double weight_;
  RowSearch search_;
  const bool squares_;  // `space` gives squared distances
  std::unique_ptr<PathRows> routes_;
  std::vector<const double*> graph_rows_;  // rows along the links of the group in hand
  std::vector<double> graph_scratch_;      // the same where they are not stored
  MatFullD space_scratch_;
  Extremes space_, along_, mixed_;
};

PairDistances::PairDistances(const MatFullD& points, const MatLinkD& links, AskRules rules)
    : points_(points), links_(links), rules_(std::move(rules)) {}

const double* PairDistances::space_row(long i, MatFullD& scratch) const {
  if (space_stored(i)) return space_[i].data();
  points_.sdav(i, scratch, no_bound);
  return scratch.data();
}

const double* PairDistances::graph_row(long i, MatFullD& scratch) const {
  if (graph_stored(i)) return graph_[i].data();
  if (const PairRules rules = rules_(); rules.laplacian) {
    MatFullD all;
    const bool regular = laplacian_distances(
        points_, links_, *rules.laplacian, [](const char*) {}, {}, all);
    laplacian_row(all, regular, i, points_.nrow(), scratch);
  } else {
    links_.gdav(i, 1, scratch, no_bound);
  }
  return scratch.data();
}

const long* PairDistances::path_row(long i, MatFullL& scratch, MatFullD& scratch2) const {
  if (path_stored(i)) return paths_[i].data();
  if (rules_().laplacian) {
    order_by_distance(graph_row(i, scratch2), i, points_.nrow(), scratch);
  } else {
    links_.gdav(i, 1, scratch, scratch2, no_bound);
  }
  return scratch.data();
}

bool PairDistances::make_room() {
  const long n = points_.nrow();
  return paths_.setdim(n) == n && graph_.setdim(n) == n && space_.setdim(n) == n;
}

double PairDistances::bytes_needed() const {
  const auto n = static_cast<double>(points_.nrow());
  const PairRules rules = rules_();
  double numbers = 0;  // per pair
  if (rules.stores_space()) numbers += 1;
  if (rules.memory >= 1 && rules.linked) numbers += 1;
  if (rules.memory >= 2 && rules.linked) numbers += 2;
  if (rules.laplacian && !(points_.nrow() > 0 && graph_stored(0))) numbers += rules.memory >= 1 ? 2 : 3;
  return numbers * n * n * sizeof(double);
}

void PairDistances::forget() {
  drop_rows();
  mark_.measured = false;
}

void PairDistances::drop_rows() {
  ++mark_.version;
  paths_.setdim(0);
  graph_.setdim(0);
  space_.setdim(0);
  mark_.kept = false;
}

void PairDistances::go_back(const Mark& mark) noexcept {
  const bool untouched = mark_.version == mark.version;
  if (!untouched) drop_rows();
  const long version = mark_.version;
  mark_ = mark;
  mark_.version = version;
  mark_.kept = untouched && mark.kept;
}

PairDistances::Outcome PairDistances::keep_laplacian(const std::function<void(const char*)>& announce,
                                                     const Progress& progress) {
  const long n = points_.nrow();
  ++mark_.version;
  try {
    MatFullD all;
    const bool regular = laplacian_distances(points_, links_, *rules_().laplacian, announce, progress, all);
    if (graph_.setdim(n) != n) return Outcome::no_memory;
    graph_.expect(n, 1);
    for (long i = 0; i < n; ++i) laplacian_row(all, regular, i, n, graph_[i]);
    return regular ? Outcome::done : Outcome::singular;
  } catch (const std::bad_alloc&) {
    graph_.setdim(0);
    return Outcome::no_memory;
  }
}

std::optional<PairRanges> PairDistances::measure(const std::function<void()>& progress) {
  const PairRules rules = rules_();
  ++mark_.version;
  try {
    Pass pass(*this, rules);
    pass.run(progress);
    const PairRanges ranges = pass.ranges();
    mark_.measured_for = signature();
    mark_.balance = rules.balance;
    mark_.measured = mark_.kept = true;
    return ranges;
  } catch (const std::bad_alloc&) {
    forget();
    return std::nullopt;
  } catch (const GivenUp&) {  // rows of two measurements must not stand side by side
    drop_rows();
    if (!make_room()) forget();
    throw;
  }
}

PairDistances::Signature PairDistances::signature() const {
  return {points_.nrow() * points_.ncol() * links_.nlive(), Metric::in_force()};
}

}  // namespace qvtx
