// Distances between the prototypes: in space, along the graph, and their mix.

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <vector>

#include "graph/laplacian.h"
#include "graph/path_rows.h"
#include "matrix/distance/row_search.h"
#include "quant/link_diameter.h"
#include "quant/vequan.h"

namespace qvtx {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Smallest and largest positive number met.
struct Extremes {
  double min = infinity;
  double max = 0.0;

  void take(double v) {
    if (!(v > 0.0)) return;
    if (v < min) min = v;
    if (v > max) max = v;
  }
  void take(const double* row, long n) {
    for (long j = 0; j < n; ++j) take(row[j]);
  }
  void close() {
    if (max == 0.0) min = 0.0;  // nothing met
  }
};

}  // namespace

/// One pass over all prototypes: rows are read back or computed, stored where that is asked for, and
/// measured.
class VeQuan::DistancePass {
 public:
  /// memory: 0 no row is stored, 1 distance rows, 2 path rows too.
  DistancePass(VeQuan& quantizer, long memory)
      : vq_(quantizer),
        memory_(memory),
        n_(quantizer.prot.nrow()),
        search_(quantizer.prot),
        graph_rows_(at(n_), nullptr) {
    graph_ = vq_.lpref.getval(vq_.keys.vglink_p) != 0;
    linked_ = graph_ && vq_.link.nlive() > 0;
    weight_ = linked_ ? vq_.balance() : 0.0;
    laplacian_ = vq_.has_laplacian();
    if (graph_ && !laplacian_) routes_ = std::make_unique<PathRows>(vq_.link, 1);
  }

  /// Visits every prototype and calls `after` behind each. Shortest paths set the order: their rows come in
  /// groups. The ranges do not depend on it.
  template <class After>
  void run(After after) {
    if (!routes_) {
      for (long i = n_ - 1; i >= 0; --i, after()) take(i);
      return;
    }
    const long* const nodes = routes_->order().data();
    for (long first = 0; first < n_; first += PathRows::group) {
      const long count = std::min(PathRows::group, n_ - first);
      find_paths(nodes + first, count);
      for (long s = 0; s < count; ++s, after()) take(nodes[first + s]);
    }
  }

  void close() {
    space_.close();
    graph_range_.close();
    mixed_.close();
    if (!(weight_ > 0.0)) mixed_ = space_;
  }

  const Extremes& space_range() const { return space_; }
  const Extremes& graph_range() const { return graph_range_; }
  const Extremes& mixed_range() const { return mixed_; }

 private:
  void take(long i) {
    const double* const e = space(i);
    space_.take(e, n_);
    if (!graph_) return;
    const double* const g = graph(i);
    if (!linked_) return;
    graph_range_.take(g, n_);
    if (weight_ > 0.0) mix(e, g);
  }

  const double* space(long i) {
    MatFullD& stored = vq_.sdist[i];
    if (stored.nrow() == n_ && n_ > 0) return stored.data();
    MatFullD& row = memory_ >= 1 ? stored : space_scratch_;
    if (search_.usable()) {
      row.setdim(n_, 1);
      row.setrows(n_, 0.0);
      search_.distances(vq_.prot.row(i), row.data());
    } else {
      vq_.prot.sdav(i, row, no_bound);
    }
    row(i, 0) = 0.0;
    return row.data();
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
      graph_rows_[at(i)] = vq_.gdist[i].data();
      if (vq_.gdist[i].nrow() == n_ && !(stores_paths && vq_.paths[i].nrow() != n_)) continue;
      if (stores_paths) pred[rows] = fresh_row(vq_.paths[i], 2, -1L);
      dist[rows] = memory_ >= 1 ? fresh_row(vq_.gdist[i], 1, -1.0) : scratch_row(s);
      graph_rows_[at(i)] = dist[rows];
      missing[rows++] = i;
    }
    if (rows == 0) return;
    routes_->rows(missing.data(), static_cast<long>(rows), dist.data(), stores_paths ? pred.data() : nullptr);
  }

  template <class Matrix, class T>
  T* fresh_row(Matrix& row, long columns, T fill) {
    row.setdim(n_, columns);
    row.setrows(n_, fill);
    return row.data();
  }

  double* scratch_row(long s) {
    graph_scratch_.resize(at(n_ * PathRows::group));
    return graph_scratch_.data() + s * n_;
  }

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }

  /// The graph row; from the Laplacian, also the path row where it is stored.
  const double* graph(long i) {
    if (!laplacian_) return graph_rows_[at(i)];
    if (memory_ >= 2 && vq_.paths[i].nrow() != n_) order_by_distance(vq_.gdist[i], i, vq_.paths[i]);
    return vq_.gdist[i].data();
  }

  void mix(const double* e, const double* g) {
    const double w = weight_;
    for (long j = 0; j < n_; ++j) {
      if (g[j] > 0.0) mixed_.take((1.0 - w) * e[j] + w * g[j]);
    }
  }

  VeQuan& vq_;
  const long memory_;
  const long n_;
  RowSearch search_;
  bool graph_ = false;      // "vglink_p" asks for links
  bool linked_ = false;     // and there are some
  bool laplacian_ = false;  // their distances come from the Laplacian
  double weight_ = 0.0;
  std::unique_ptr<PathRows> routes_;
  std::vector<const double*> graph_rows_;  // rows along the links of the group in hand
  std::vector<double> graph_scratch_;      // the same where they are not stored
  MatFullD space_scratch_;
  Extremes space_, graph_range_, mixed_;
};

int VeQuan::dist_ini(int quick) {
  const long k = step(dinidone);
  const bool current = distances_current();
  if (current && state.getflag(k) && !key_changed(dpref, "tdgb") && mixed_weight == balance()) {
    say_line("dist_ini: distances already computed");
    return state.setflag(k);
  }
  if (!state.shutflag(k)) return 0;
  if (!current) forget_distances();
  size_distance_stores();
  if (quick) return state.setflag(k);
  dkey("tdgb");
  for (const char* key : {"tdgdtype", "tdctdtwt", "tdctdlnf"}) lkey(key);
  dkey("tdctdakp");
  if (has_laplacian() && !current && !laplacian_rows(true)) {
    forget_distances();
    return 0;
  }
  measure_distances();
  dac = signature();
  mixed_weight = balance();
  dist_valid = true;
  return state.setflag(k);
}

VeQuan::DistanceSignature VeQuan::signature() const {
  return {prot.nrow() * prot.ncol() * link.nlive(), MatFullD::mesp, MatFullD::miex};
}

template <class T>
bool VeQuan::key_changed(const MatPrefT<T>& table, const char* key) {
  return table.changed(table.getkey(key));
}

bool VeQuan::distances_current() const {
  return dist_valid && dac == signature() && !key_changed(lpref, "tdgdtype") &&
         !key_changed(lpref, "tdctdtwt") && !key_changed(lpref, "tdctdlnf") &&
         !key_changed(dpref, "tdctdakp");
}

void VeQuan::forget_distances() {
  paths.setdim(0);
  gdist.setdim(0);
  sdist.setdim(0);
  dist_valid = false;
}

void VeQuan::size_distance_stores() {
  paths.setdim(prot.nrow());
  gdist.setdim(prot.nrow());
  sdist.setdim(prot.nrow());
}

void VeQuan::measure_distances() {
  const long n = prot.nrow();
  const long memory = lkey("vgmemory");
  const bool bar = verbose && !has_laplacian();
  if (bar) {
    const bool reading = memory == 0 || dist_valid;  // rows kept from the last computation
    os.ow(prefix).ow("dist_ini: computing min. and max. distances (").ow(reading ? "reading)" : "storing)");
    os.wbb(n, 60);
  }
  DistancePass pass(*this, memory);
  pass.run([bar] {
    if (bar) os.wbp();
  });
  if (bar) os.wbe();
  pass.close();
  record("tdns", pass.space_range().min);
  record("tdng", pass.graph_range().min);
  record("tdnm", pass.mixed_range().min);
  record("tdxs", pass.space_range().max);
  record("tdxg", pass.graph_range().max);
  record("tdxm", pass.mixed_range().max);
  lkey("tdxp");
  lpref.newval(keys.tdxp, lpref.getval(keys.vglink_p) != 0 ? link_diameter(link) : 0);
  lkey("tdxp");
  print_range("space", "tdns", "tdxs");
  print_range("mixed", "tdnm", "tdxm");
  print_range("graph", "tdng", "tdxg");
}

void VeQuan::record(const char* key, double value) {
  dkey(key);  // a missing key is reported by its name
  dpref.newval(dpref.getkey(key), value);
  dkey(key);
}

void VeQuan::print_range(const char* name, const char* min, const char* max) const {
  if (!verbose) return;
  os.ow(prefix).ow(name).ow(" dist.: [").ow(dpref.getval(dpref.getkey(min)));
  os.ow(",").ow(dpref.getval(dpref.getkey(max))).ow("]").nl();
}

double VeQuan::balance() const { return lpref.getval(keys.vglink_p) != 0 ? dpref.getval(keys.tdgb) : 0.0; }

bool VeQuan::has_laplacian() const {
  return lpref.getval(keys.vglink_p) != 0 && lpref.getval(keys.tdgdtype) != 0;
}

bool VeQuan::laplacian_rows(bool announce) const {
  const LaplacianOptions options = {lpref.getval(keys.tdgdtype), lpref.getval(lpref.getkey("tdctdtwt")),
                                    lpref.getval(lpref.getkey("tdctdlnf")) != 0,
                                    dpref.getval(dpref.getkey("tdctdakp"))};
  if (announce) say_piece("Computing the graph Laplacian: ");
  GraphLaplacian laplacian(link, prot, options);
  laplacian.affinities();
  if (options.scale) {
    if (announce) say_piece("Normalizing the graph Laplacian ... ");
    laplacian.normalize();
  }
  if (announce) say_piece("Pseudo-inverting the graph Laplacian ... ");
  MatFullD distances;
  const bool regular = laplacian.distances(distances) != 0;
  if (announce && regular) say_end("done!");
  if (announce && !regular) refuse("dist_ini: singular Laplacian");
  const long n = prot.nrow();
  gdist.setdim(n);
  for (long i = 0; i < n; ++i) {
    MatFullD& row = gdist[i];
    row.setdim(n, 1);
    row.setrows(n, -1.0);
    if (regular) {
      std::copy_n(distances.row(i), n, row.data());
    } else {
      std::fill_n(row.data(), n, -1.0);
      row(i, 0) = 0.0;
    }
  }
  return regular;
}

const double* VeQuan::space_row(long i, MatFullD& scratch) const {
  if (i < sdist.size() && sdist[i].nrow() == prot.nrow()) return sdist[i].data();
  prot.sdav(i, scratch, no_bound);
  return scratch.data();
}

const double* VeQuan::graph_row(long i, MatFullD& scratch) const {
  if (i < gdist.size() && gdist[i].nrow() == prot.nrow()) return gdist[i].data();
  if (has_laplacian()) {
    laplacian_rows(false);
    return gdist[i].data();
  }
  link.gdav(i, 1, scratch, no_bound);
  return scratch.data();
}

const long* VeQuan::path_row(long i, MatFullL& scratch, MatFullD& scratch2) const {
  if (i < paths.size() && paths[i].nrow() == prot.nrow()) return paths[i].data();
  if (has_laplacian()) {
    MatFullD distances;
    graph_row(i, scratch2);
    distances.copy(gdist[i]);
    order_by_distance(distances, i, scratch);
  } else {
    link.gdav(i, 1, scratch, scratch2, no_bound);
  }
  return scratch.data();
}

void VeQuan::order_by_distance(const MatFullD& distances, long i, MatFullL& path) {
  const long n = distances.nrow();
  MatFullD column(n, 1);
  column.copy(distances);
  for (long j = 0; j < n; ++j) {
    if (column(j, 0) < 0.0) column(j, 0) = infinity;  // another component
  }
  column(i, 0) = -1.0;  // ahead of its duplicates
  MatFullL sorted;
  column.potsort(0, sorted);
  path.setdim(n, 2);
  path.setrows(n, -1);
  for (long s = 0; s < n; ++s) {
    const long j = sorted(s, 0);
    path(s, 0) = -1;
    path(s, 1) = column(j, 0) < infinity ? j : -1;
  }
}

}  // namespace qvtx
