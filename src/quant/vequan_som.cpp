// Self-organizing map (Kohonen, "Self-organized formation of topologically correct feature maps", Biological Cybernetics
// 43, 1982; Self-Organizing Maps, 3rd ed., 2001, for the batch rule and the start on the principal plane). Topographic
// error: Kiviluoto, "Topology preservation in self-organizing maps", ICNN 1996.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

#include "base/exponential.h"
#include "quant/vequan.h"
#include "quant/winners.h"

namespace qvtx {

namespace {

struct GridSize {
  long width;
  long length;
};

/// Rectangle of about n nodes with width / length near the ratio, the width not below the length.
GridSize grid_size(long n, double ratio) {
  const double nodes = static_cast<double>(std::max(n, 1L));
  const double shape = std::clamp(ratio, 1.0, nodes);
  const double length = std::max(std::floor(std::sqrt(nodes / shape) + 0.5), 1.0);
  const double width = std::max(std::floor(nodes / length + 0.5), 1.0);
  return {static_cast<long>(std::max(width, length)), static_cast<long>(std::min(width, length))};
}

/// Distance of two nodes on the grid, from integers, so that neighbours are at distance 1 exactly.
double grid_distance(long i, long j, long width, bool hexagonal) {
  const long row_i = i / width;
  const long row_j = j / width;
  const long v = row_i - row_j;
  const long columns = i % width - j % width;
  if (!hexagonal) return std::sqrt(static_cast<double>(columns * columns + v * v));
  const long u = 2 * columns + row_i % 2 - row_j % 2;
  return std::sqrt(static_cast<double>(u * u + 3 * v * v)) / 2;
}

/// Neighbourhood function of the grid distance.
class GridNeighbourhood {
 public:
  GridNeighbourhood(double width, bool gaussian) : width_(width), gaussian_(gaussian) {}
  double operator()(double distance) const {
    if (width_ == 0) return distance == 0 ? 1.0 : 0.0;
    if (!gaussian_) return distance <= width_ ? 1.0 : 0.0;
    if (distance > 3 * width_) return 0.0;
    const double t = distance / width_;
    return fixed_exp(-0.5 * (t * t));
  }

 private:
  double width_;
  bool gaussian_;
};

/// The coordinate of node k on an axis, scaled to -1..1 over the map; 0 when the map has no extent there.
double scaled_coordinate(const MatFullD& grid, const MatFullD& extremes, long k, long axis) {
  const double low = extremes.get(1, axis);
  const double high = extremes.get(2, axis);
  return high > low ? 2 * (grid.get(k, axis) - low) / (high - low) - 1 : 0;
}

}  // namespace

long VeQuan::som(long n, double ratio, const char* file) {
  MatParaD loaded;
  if (file && load_schedule(loaded, file, "default.omp", static_cast<int>(verbose))) return som(n, ratio, loaded);
  say_line("som: using default parameters");
  MatParaD sched(0, 2);
  sched.additer(lkey("vsomepoq"));
  const double aini = dkey("vsomaini");
  const double afin = dkey("vsomafin");
  const double lini = dkey("vsomlini");
  const double lfin = dkey("vsomlfin");
  sched.set(3, 0, aini, afin, 0, -1);
  sched.set(3, 1, lini, lfin, 0, -1);
  return som(n, ratio, sched);
}

long VeQuan::som(long n, double ratio, const MatParaD& sched) {
  if (!som_ini(n, ratio)) return 0;
  if (!sched.control(2)) {
    refuse("som: al not parametric");
    return 0;
  }
  progress_begin("som: quantizing ... ", std::max(sched.nrow(), 1L));
  for (long e = 0; e < sched.nrow(); ++e) {
    progress_step(" mE=", &VeQuan::prot_err);
    if (!som_itr(sched(e, 0), sched(e, 1))) break;
  }
  progress_end();
  if (verbose) os.fresh().ow(prefix).ow("som: topographic error= ").ow(som_tst(), 1, 4).nl();
  return prot_fin("Self-Organizing Map", 1);
}

long VeQuan::som_ini(long n, double ratio) {
  const bool hexagonal = lkey("vsomhexf") != 0;
  const bool principal = lkey("vsompcaf") != 0;
  const long first = lkey("vsominp ");
  lkey("vsomrule");
  lkey("vsomgnhf");
  const GridSize size = grid_size(n, ratio);
  const long nodes = size.width * size.length;
  const bool kept = lkey("vgkeep_p") != 0 && prot.nrow() > 0;
  if (kept && prot.nrow() != nodes) {
    say_line("som: sizes don't agree!");
    return 0;
  }
  if (!done(datadone) || dat.nrow() == 0) return 0;
  // Copying all data (4) would not give the map its number of nodes.
  const int how = principal ? 3 : static_cast<int>(first == 4 ? 0 : first);
  if (!prot_ini(nodes, how)) return 0;
  make_grid(size.width, size.length, hexagonal);
  link.setgrd(0, size.width, size.length, hexagonal);
  if (principal && !kept) start_on_principal_plane();
  return 1;
}

void VeQuan::make_grid(long width, long length, bool hexagonal) {
  const long n = width * length;
  lwork.setdim(n, 2);
  lwork.setrows(n, 0.0);
  for (long k = n - 1; k >= 0; --k) {
    const long row = k / width;
    const auto column = static_cast<double>(k % width);
    lwork(k, 0) = hexagonal ? column + 0.5 * static_cast<double>(row % 2) : column;
    lwork(k, 1) = hexagonal ? static_cast<double>(row) * (std::sqrt(3.0) / 2) : static_cast<double>(row);
  }
  lwork2.setdim(1, 3);
  lwork2.setrows(1);
  lwork2(0, 0) = width;
  lwork2(0, 1) = length;
  lwork2(0, 2) = hexagonal ? 1 : 0;
  order_grid();
}

void VeQuan::order_grid() {
  const long n = lwork.nrow();
  const long width = lwork2(0, 0);
  const bool hexagonal = lwork2(0, 2) != 0;
  lvor.setdim(2 * n);
  dvor.setdim(2 * n);
  std::vector<double> distance(static_cast<std::size_t>(n));
  std::vector<long> nodes(static_cast<std::size_t>(n));
  for (long k = 0; k < n; ++k) {
    for (long j = 0; j < n; ++j) distance[static_cast<std::size_t>(j)] = grid_distance(k, j, width, hexagonal);
    std::iota(nodes.begin(), nodes.end(), 0L);
    std::stable_sort(nodes.begin(), nodes.end(), [&](long a, long b) {
      return distance[static_cast<std::size_t>(a)] < distance[static_cast<std::size_t>(b)];
    });
    MatFullL& list = lvor[2 * k];
    MatFullD& away = dvor[2 * k];
    list.setdim(n, 1);
    list.setrows(n);
    away.setdim(n, 1);
    away.setrows(n);
    for (long r = 0; r < n; ++r) {
      list(r, 0) = nodes[static_cast<std::size_t>(r)];
      away(r, 0) = distance[static_cast<std::size_t>(list(r, 0))];
    }
  }
}

void VeQuan::start_on_principal_plane() {
  MatFullD mean;
  MatFullD directions;
  MatFullD variances;
  MatFullD extremes;
  dat.pca(mean, directions, variances, std::min(dat.ncol(), 2L), 0);
  lwork.mmm(extremes);
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    prot.copy(k, mean, 0);
    for (long a = directions.nrow() - 1; a >= 0; --a) {
      const double step = std::sqrt(3 * variances(a, 0)) * scaled_coordinate(lwork, extremes, k, a);
      for (long c = prot.ncol() - 1; c >= 0; --c) prot(k, c) += step * directions(a, c);
    }
  }
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
  if (!done(pinidone) || lwork.nrow() != prot.nrow() || lwork2.nrow() == 0) return 0;
  const bool gaussian = lpref.getval(lpref.getkey("vsomgnhf")) != 0;
  const bool batch = lpref.getval(lpref.getkey("vsomrule")) != 0;
  const long changed = batch ? som_batch(l, gaussian) : som_online(a, l, gaussian);
  const long lost = prot_rep(0);  // dead nodes are only counted: replacing them would destroy the order
  if (verbose) {
    os.ow(" a=").ow(a, 6, 3).ow(" l=").ow(l, 6, 3);
    os.ow(" lost=").ow(lost, 3).ow(" chgd=").ow(changed, 6);
  }
  return 1;
}

long VeQuan::som_online(double a, double l, bool gaussian) {
  const GridNeighbourhood neighbourhood(l, gaussian);
  if (lpref.getval(keys.vgswap_d) != 0) shuffle(order);
  OnlineWinners winners(*this, dat, prot, {bmu, bmucnt, hits});
  long changed = 0;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long d = order(i, 0);
    changed += winners.capture(d, no_bound);
    const long k = bmu(d, 0);
    const long* node = lvor[2 * k].data();
    const double* away = dvor[2 * k].data();
    for (long r = 0; r < prot.nrow(); ++r) {
      const double h = neighbourhood(away[r]);
      if (!(h > 0)) break;
      winners.move(d, a * h, node[r]);
    }
  }
  return changed;
}

long VeQuan::som_batch(double l, bool gaussian) {
  const GridNeighbourhood neighbourhood(l, gaussian);
  const long n = prot.nrow();
  const long d = prot.ncol();
  long changed = 0;
  if (searches_agree(dat, prot)) {
    BatchWinners winners(dat, prot, {bmu, bmucnt, hits});
    for (long i = dat.nrow() - 1; i >= 0; --i) changed += winners.capture(i);
  } else {
    for (long i = dat.nrow() - 1; i >= 0; --i) changed += prot_bmu(i, no_bound);
  }
  // Data are summed per winner first: the weights depend on the winner alone.
  MatFullD sums(n, d);
  sums.setrows(n, 0.0);
  std::vector<double> count(static_cast<std::size_t>(n), 0.0);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long k = bmu(i, 0);
    double* sum = sums.row(k);
    const double* x = dat.row(i);
    for (long c = d - 1; c >= 0; --c) sum[c] += x[c];
    count[static_cast<std::size_t>(k)] += 1;
  }
  std::vector<double> mean(static_cast<std::size_t>(d));
  for (long j = n - 1; j >= 0; --j) {
    std::fill(mean.begin(), mean.end(), 0.0);
    double weight = 0;
    const long* node = lvor[2 * j].data();
    const double* away = dvor[2 * j].data();
    for (long r = 0; r < n; ++r) {
      const double h = neighbourhood(away[r]);
      if (!(h > 0)) break;
      weight += h * count[static_cast<std::size_t>(node[r])];
      const double* sum = sums.row(node[r]);
      for (long c = d - 1; c >= 0; --c) mean[static_cast<std::size_t>(c)] += h * sum[c];
    }
    if (!(weight > 0)) continue;
    for (long c = d - 1; c >= 0; --c) prot(j, c) = mean[static_cast<std::size_t>(c)] / weight;
  }
  return changed;
}

double VeQuan::som_tst() {
  if (!done(pinidone) || lwork.nrow() != prot.nrow() || prot.nrow() == 0 || link.nlive() == 0) return -1;
  if (prot.nrow() < 2 || dat.nrow() == 0) return 0;
  long errors = 0;
  MatFullD distance;
  MatFullL two;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    prot.nearest(dat, i, distance, two, 2);
    errors += two.nrow() < 2 || link.get_link(two(0, 0), two(1, 0)) < 0;
  }
  return static_cast<double>(errors) / static_cast<double>(dat.nrow());
}

}  // namespace qvtx
