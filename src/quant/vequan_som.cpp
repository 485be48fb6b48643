// Self-organizing map (Kohonen, "Self-organized formation of topologically correct feature maps", Biological
// Cybernetics 43, 1982; Self-Organizing Maps, 3rd ed., 2001, for the batch rule and the start on the
// principal plane). Topographic error: Kiviluoto, "Topology preservation in self-organizing maps", ICNN 1996.

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "base/exponential.h"
#include "matrix/distance/neighbour_search.h"
#include "quant/centroids.h"
#include "quant/epoch_memory.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

struct GridSize {
  long width;
  long length;
  long nodes() const { return width * length; }
};

/// Rectangle of about n nodes with width / length near the ratio, the width not below the length.
GridSize grid_size(long n, double ratio) {
  const double nodes = static_cast<double>(std::max(n, 1L));
  const double shape = ratio >= 1 ? std::min(ratio, nodes) : 1.0;  // 1 for NaN too
  const double length = std::max(std::floor(std::sqrt(nodes / shape) + 0.5), 1.0);
  const double width = std::max(std::floor(nodes / length + 0.5), 1.0);
  return {static_cast<long>(std::max(width, length)), static_cast<long>(std::min(width, length))};
}

/// The grid as coordinates; whole numbers behind them, so that neighbours are at distance 1 exactly. The
/// coordinates alone tell them: nodes do not stay in the order of the rows when some are deleted.
class GridDistance {
 public:
  GridDistance(const MatFullD& grid, bool hexagonal) : hexagonal_(hexagonal) {
    for (long k = 0; k < grid.nrow(); ++k) {
      const double x = grid(k, 0);
      const double y = grid(k, 1);
      column_.push_back(std::round(hexagonal ? 2 * x : x));
      row_.push_back(std::round(hexagonal ? y / row_height() : y));
    }
  }
  /// Distance between two rows of a hexagonal grid.
  static double row_height() { return std::sqrt(3.0) / 2; }
  double operator()(long i, long j) const {
    const double u = column_[static_cast<std::size_t>(i)] - column_[static_cast<std::size_t>(j)];
    const double v = row_[static_cast<std::size_t>(i)] - row_[static_cast<std::size_t>(j)];
    const double distance = hexagonal_ ? std::sqrt(u * u + 3 * (v * v)) / 2 : std::sqrt(u * u + v * v);
    // A damaged snapshot may hold any coordinates.
    return distance >= 0 ? distance : std::numeric_limits<double>::infinity();
  }

 private:
  bool hexagonal_;
  std::vector<double> column_;  // on a hexagonal grid in half steps
  std::vector<double> row_;
};

/// Neighbourhood function of the grid distance.
class Neighbourhood {
 public:
  Neighbourhood(double width, bool gaussian) : width_(width), gaussian_(gaussian) {}
  double operator()(double distance) const {
    if (width_ == 0) return distance == 0 ? 1.0 : 0.0;
    if (!gaussian_) return distance <= width_ ? 1.0 : 0.0;
    if (!(distance <= 3 * width_)) return 0.0;
    const double t = distance / width_;
    return fixed_exp(-0.5 * (t * t));
  }
  /// Values for a column of increasing distances, as long as they are positive, into `out` (room for all).
  /// Returns how many these are.
  long values(const MatFullD& distances, double* out) const {
    for (long r = 0; r < distances.nrow(); ++r) {
      out[r] = (*this)(distances(r, 0));
      if (!(out[r] > 0)) return r;
    }
    return distances.nrow();
  }

 private:
  double width_;
  bool gaussian_;
};

/// The grid of a map, in the matrices of the quantizer that hold it.
struct Grid {
  MatFullD& place;            // nodes x 2: coordinates
  MatFullL& size;             // 1 x 3: width, length, hexagonal
  MatStorT<MatFullL>& nodes;  // entry 2 k: all nodes in the order of their distance from node k,
  MatStorT<MatFullD>& away;   // and these distances

  void lay_out(GridSize grid, bool hexagonal);
  /// Fills `nodes` and `away`. False when out of memory.
  bool order();
  bool ordered() const;
};

void Grid::lay_out(GridSize grid, bool hexagonal) {
  const long n = grid.nodes();
  place.setdim(n, 2);
  place.setrows(n, 0.0);
  for (long k = n - 1; k >= 0; --k) {
    const long row = k / grid.width;
    const double shift = hexagonal && row % 2 != 0 ? 0.5 : 0.0;
    const double height = hexagonal ? GridDistance::row_height() : 1.0;
    place(k, 0) = static_cast<double>(k % grid.width) + shift;
    place(k, 1) = static_cast<double>(row) * height;
  }
  size.setdim(1, 3);
  size.setrows(1);
  size(0, 0) = grid.width;
  size(0, 1) = grid.length;
  size(0, 2) = hexagonal ? 1 : 0;
}

bool Grid::order() {
  const long n = place.nrow();
  const GridDistance distance(place, size(0, 2) != 0);
  nodes.setdim(2 * n);
  away.setdim(2 * n);
  if (nodes.size() != 2 * n || away.size() != 2 * n) return false;
  std::vector<std::pair<double, long>> near(static_cast<std::size_t>(n));
  for (long k = 0; k < n; ++k) {
    for (long j = 0; j < n; ++j) near[static_cast<std::size_t>(j)] = {j == k ? 0.0 : distance(k, j), j};
    std::sort(near.begin(), near.end());
    MatFullL& list = nodes[2 * k];
    MatFullD& distances = away[2 * k];
    list.setdim(n, 1);
    list.setrows(n);
    distances.setdim(n, 1);
    distances.setrows(n);
    if (list.nrow() != n || distances.nrow() != n) return false;
    for (long r = 0; r < n; ++r) {
      distances.data()[r] = near[static_cast<std::size_t>(r)].first;
      list.data()[r] = near[static_cast<std::size_t>(r)].second;
    }
  }
  return true;
}

bool Grid::ordered() const {
  // A snapshot does not hold the lists, and after a deletion there are too many.
  const long n = place.nrow();
  return nodes.size() == 2 * n && away.size() == 2 * n && nodes[0].nrow() == n && away[2 * n - 2].nrow() == n;
}

/// The coordinate of node k on an axis, scaled to -1..1 over the map; 0 when the map has no extent there.
double scaled_coordinate(const MatFullD& grid, const MatFullD& extremes, long k, long axis) {
  const double low = extremes.get(1, axis);
  const double high = extremes.get(2, axis);
  return high > low ? 2 * (grid.get(k, axis) - low) / (high - low) - 1 : 0;
}

/// Lays the prototypes out on the plane of the data's first principal components as the grid is.
void start_on_principal_plane(const MatFullD& dat, const MatFullD& grid, MatFullD& prot) {
  MatFullD mean, directions, variances, extremes;
  dat.pca(mean, directions, variances, std::min(dat.ncol(), 2L), 0);
  grid.mmm(extremes);
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    prot.copy(k, mean, 0);
    // sqrt(3) deviations to either side: the span of a uniform distribution of this variance.
    for (long a = directions.nrow() - 1; a >= 0; --a) {
      const double step = std::sqrt(3 * variances(a, 0)) * scaled_coordinate(grid, extremes, k, a);
      for (long c = prot.ncol() - 1; c >= 0; --c) prot(k, c) += step * directions(a, c);
    }
  }
}

/// What an epoch works on. Either rule returns the number of data whose winner changed.
struct MapEpoch {
  VeQuan& quantizer;
  const MatFullD& dat;
  MatFullD& prot;
  const MatFullL& order;
  CaptureBook book;
  const Grid& grid;
  const Neighbourhood neighbourhood;
  EpochMemory& memory;

  long online(double a);
  long batch();
  /// Books the winner of every datum.
  long assign();
};

/// REQUIRES: room for nprot x nprot numbers in memory.influence.
long MapEpoch::online(double a) {
  const long n = prot.nrow();
  memory.reach.assign(static_cast<std::size_t>(n), -1);
  std::vector<double>& steps = memory.steps;
  steps.resize(static_cast<std::size_t>(n));
  OnlineWinners winners(quantizer, dat, prot, book, memory);
  long changed = 0;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    // Found and booked as prot_bmu does it, but without ever creating a prototype: a map has no node for it.
    const long k = winners.nearest(d);
    changed += book.capture(d, k);
    double* h = memory.influence.data() + k * n;
    long& reach = memory.reach[static_cast<std::size_t>(k)];
    if (reach < 0) reach = neighbourhood.values(grid.away[2 * k], h);
    const long* node = grid.nodes[2 * k].data();
    for (long r = 0; r < reach; ++r) steps[static_cast<std::size_t>(r)] = a * h[r];
    winners.move(d, steps.data(), node, reach);
  }
  return changed;
}

long MapEpoch::assign() {
  long changed = 0;
  if (searches_agree(dat, prot)) {
    BatchWinners winners(dat, prot, book, memory);
    for (long i = dat.nrow() - 1; i >= 0; --i) changed += winners.capture(i);
  } else {
    const OnlineWinners winners(quantizer, dat, prot, book, memory);
    for (long i = dat.nrow() - 1; i >= 0; --i) changed += book.capture(i, winners.nearest(i));
  }
  return changed;
}

long MapEpoch::batch() {
  const long changed = assign();
  // The weights depend on the winner alone, so the data are summed by winner first.
  MatFullD& sums = memory.sums;
  sums.copy(prot);
  sum_by_prototype(dat, book.bmu, sums);
  std::vector<double>& count = memory.counts;
  count.assign(static_cast<std::size_t>(prot.nrow()), 0.0);
  for (long i = 0; i < dat.nrow(); ++i) ++count[static_cast<std::size_t>(book.bmu(i, 0))];
  std::vector<double>& mean = memory.mean;
  mean.resize(static_cast<std::size_t>(prot.ncol()));
  std::vector<double>& weights = memory.weights;
  weights.resize(static_cast<std::size_t>(prot.nrow()));
  for (long j = prot.nrow() - 1; j >= 0; --j) {
    std::fill(mean.begin(), mean.end(), 0.0);
    double weight = 0;
    const long* node = grid.nodes[2 * j].data();
    const long reach = neighbourhood.values(grid.away[2 * j], weights.data());
    for (long r = 0; r < reach; ++r) {
      const double h = weights[static_cast<std::size_t>(r)];
      const double* sum = sums.row(node[r]);
      weight += h * count[static_cast<std::size_t>(node[r])];
      for (std::size_t c = mean.size(); c-- > 0;) mean[c] += h * sum[c];
    }
    if (!(weight > 0)) continue;
    for (std::size_t c = mean.size(); c-- > 0;) prot.row(j)[c] = mean[c] / weight;
  }
  return changed;
}

}  // namespace

long VeQuan::som(long n, double ratio, const char* file) {
  return som(n, ratio,
             schedule_for(file, verbose,
                          {"default.omp",
                           "som: using default parameters",
                           "vsomepoq",
                           {{"vsomaini", "vsomafin"}, {"vsomlini", "vsomlfin"}}}));
}

long VeQuan::som(long n, double ratio, const MatParaD& sched) {
  if (!som_ini(n, ratio)) return 0;
  if (!sched.control(2)) {
    refuse("som: al not parametric");
    return 0;
  }
  run_epochs("som: quantizing ... ", sched.nrow(), [&](long e) { return som_itr(sched(e, 0), sched(e, 1)); });
  if (verbose) os.fresh().ow(prefix).ow("som: topographic error= ").ow(som_tst(), 1, 4).nl();
  return prot_fin(som_name, 1);
}

long VeQuan::som_ini(long n, double ratio) {
  const bool hexagonal = lkey("vsomhexf") != 0;
  const bool principal = lkey("vsompcaf") != 0;
  const long first = lkey("vsominp");
  lkey("vsomrule");
  lkey("vsomgnhf");
  const GridSize size = grid_size(n, ratio);
  const long nodes = size.nodes();
  const bool kept = lkey("vgkeep_p") != 0 && prot.nrow() > 0;
  if (kept && prot.nrow() != nodes) {
    say_line("som: sizes don't agree!");
    return 0;
  }
  // A copy of the data (4) would not have the map's number of nodes.
  const int how = principal ? 3 : static_cast<int>(first == 4 ? 0 : first);
  if (!prot_ini(nodes, how)) return 0;
  Grid grid{lwork, lwork2, lvor, dvor};
  grid.lay_out(size, hexagonal);
  if (!grid.order()) return 0;
  link.setgrd(0, size.width, size.length, hexagonal);
  if (principal && !kept && dat.nrow() > 0) start_on_principal_plane(dat, lwork, prot);
  return 1;
}

long VeQuan::som_itr(double a, double l) {
  if (!(a >= 0 && a <= 1)) {
    refuse("som_itr: anow not parametric");
    return 0;
  }
  if (!(l >= 0)) {
    refuse("som_itr: lnow not parametric");
    return 0;
  }
  if (!done(pinidone) || !has_grid() || lwork2.nrow() == 0) return 0;
  Grid grid{lwork, lwork2, lvor, dvor};
  if (!grid.ordered() && !grid.order()) return 0;
  const bool gaussian = integers["vsomgnhf"] != 0;
  const bool batch = integers["vsomrule"] != 0;
  const long n = prot.nrow();
  if (!batch && workspace->influence.setdim(n, n) != n) return 0;  // out of memory
  if (!batch && integers["vgswap_d"] != 0) shuffle(order);
  MapEpoch epoch{*this, dat, prot, order, {bmu, bmucnt, hits}, grid, Neighbourhood(l, gaussian), *workspace};
  const long changed = batch ? epoch.batch() : epoch.online(a);
  const long lost = prot_rep(0);  // dead nodes are only counted: replacing them would destroy the order
  if (verbose) {
    os.ow(" a=").ow(a, 6, 3).ow(" l=").ow(l, 6, 3);
    os.ow(" lost=").ow(lost, 3).ow(" chgd=").ow(changed, 6);
  }
  return 1;
}

double VeQuan::som_tst() {
  const long n = prot.nrow();
  const bool grid = n > 0 && lwork.nrow() == n && link.nnode() == n && (n == 1 || link.nlive() > 0);
  if (!done(pinidone) || !grid) return -1;
  if (n == 1 || dat.nrow() == 0) return 0;
  long errors = 0;
  NeighbourSearch search(prot);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    search.search(dat.row(i), -1, 2);
    errors += link.get_link(search.row(0), search.row(1)) < 0;
  }
  return static_cast<double>(errors) / static_cast<double>(dat.nrow());
}

}  // namespace qvtx
