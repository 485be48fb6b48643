// Interpolation and reconstruction on Sammon's stress of one point against fixed prototypes, by majorization (de Leeuw,
// "Applications of convex analysis to multidimensional scaling", 1977). The targets are corrected by the residual of the
// map at the nearby prototypes, so that a prototype stays where it is although the map is not perfect.

#include <algorithm>
#include <cmath>
#include <vector>

#include "mapping/affine_blend.h"
#include "mapping/input_distances.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

double distance(const double* a, const double* b, long n) {
  double sum = 0;
  for (long k = n - 1; k >= 0; --k) sum += (a[k] - b[k]) * (a[k] - b[k]);
  return std::sqrt(sum);
}

/// A fixed point and the distance that the free point should have from it.
struct Target {
  const double* at;
  double distance;
};

/// Moves point (n numbers) by one majorization step with factor a; the stress against the targets never rises.
void majorize(const std::vector<Target>& targets, double a, long n, double* point, std::vector<double>& mean) {
  mean.assign(static_cast<std::size_t>(n), 0.0);
  double total = 0;
  for (const Target& target : targets) {
    const double now = distance(point, target.at, n);
    const double pull = now > 0 ? target.distance / now : 0.0;
    for (long k = n - 1; k >= 0; --k) {
      mean[static_cast<std::size_t>(k)] += (target.at[k] + pull * (point[k] - target.at[k])) / target.distance;
    }
    total += 1.0 / target.distance;
  }
  if (!(total > 0)) return;
  for (long k = n - 1; k >= 0; --k) point[k] += a * (mean[static_cast<std::size_t>(k)] / total - point[k]);
}

/// Drops the rows of other components than the first row's and makes the weights sum up to 1 again.
void keep_component(BlendRows& rows, const MatFullL& component) {
  double sum = 0;
  for (std::size_t k = 0; k < rows.row.size(); ++k) {
    if (component.get(rows.row[k], 0) != component.get(rows.row[0], 0)) rows.weight[k] = 0;
    sum += rows.weight[k];
  }
  for (double& weight : rows.weight) weight = sum > 0 ? weight / sum : 0;
  if (!(sum > 0)) rows.weight[0] = 1;
}

}  // namespace

bool ToMapp::step_schedule(MatParaD& sched, const char* file, const char* default_file, const char* name,
                           long default_rows, double last) {
  if (!load_schedule(sched, file, default_file, static_cast<int>(verbose))) {
    if (verbose) os.fresh().ow(prefix).ow(name).ow(": using default parameters").nl();
    sched.setdim(default_rows, 1);
    sched.setrows(default_rows, 0.0);
    sched.set(3, 0, 1.0, last, 0, -1);
  }
  const std::string text(name);
  if (!sched.control(1)) {
    refuse((text + ": a not parametric").c_str());
    return false;
  }
  for (long t = 0; t < sched.nrow(); ++t) {
    if (sched.get(t, 0) <= 1) continue;
    refuse((text + ": anow not parametric").c_str());
    return false;
  }
  return true;
}

/// Distances of one sample from all prototypes, in the mix of space and graph distances in force.
class SampleDistances {
 public:
  SampleDistances(const ToMapp& mapping, double w)
      : mapping_(mapping), w_(w), stored_(mapping, w, true), mixed_(mapping.getprot().nrow(), 1) {
    mixed_.setrows(mapping.getprot().nrow(), 0.0);
  }

  /// nprot numbers; negative for prototypes of another component than `nearest` when graph distances are in use.
  const double* from(const MatFullD& data, long i, long nearest) {
    mapping_.getprot().sdav(data, i, space_, no_bound);
    if (w_ == 0) return space_.data();
    const long n = mixed_.nrow();
    double* mixed = mixed_.data();
    std::fill_n(mixed, n, -1.0);
    through(nearest);
    const MatLinkD& link = mapping_.getlink();
    for (long k = link.head(nearest); k >= 0; k = link.next(k, nearest)) through(link.other(k, nearest));
    for (long j = n - 1; j >= 0; --j)
      if (mixed[j] >= 0 && w_ < 1) mixed[j] = (1 - w_) * space_.data()[j] + w_ * mixed[j];
    return mixed;
  }

  const double* stored(long prototype) { return stored_.row(prototype); }

 private:
  /// Paths that enter the graph at prototype c.
  void through(long c) {
    const double* graph = mapping_.graph_row(c, graph_);
    double* best = mixed_.data();
    const double entry = space_.data()[c];
    for (long j = mixed_.nrow() - 1; j >= 0; --j) {
      if (graph[j] < 0) continue;
      const double path = entry + graph[j];
      if (best[j] < 0 || path < best[j]) best[j] = path;
    }
  }

  const ToMapp& mapping_;
  double w_;
  InputDistances stored_;
  MatFullD space_, graph_;
  MatFullD mixed_;
};

long ToMapp::sammon_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj, const char* file) {
  if (!can_interpolate("sammon_iv", data, prot.ncol())) return 0;
  MatParaD sched;
  if (!step_schedule(sched, file, "default.sam", "sammon_iv", 10, 0.1)) return 0;
  bar_begin("sammon_iv: interpolating ... ", data.nrow());
  const long n = prot.nrow();
  const long p = mprot.ncol();
  const double w = balance();
  AffineBlend blend(*this, mprot, lpref.getval(keys.vglink_p) != 0);
  if (data.nrow() > 0) blend.shrink();
  SampleDistances distances(*this, w);
  prj.setdim(data.nrow(), p);
  prj.setrows(data.nrow(), 0.0);
  ppr.setdim(data.nrow(), p);
  ppr.setrows(data.nrow(), 0.0);
  BlendRows rows;
  std::vector<double> wanted(static_cast<std::size_t>(n));
  std::vector<Target> targets;
  std::vector<double> mean;
  for (long i = data.nrow() - 1; i >= 0; --i) {
    double* y = prj.row(i);
    const bool finite = blend.position(data.row(i), y, rows);
    std::copy_n(finite ? mprot.row(rows.row[0]) : y, p, ppr.row(i));
    bar_step();
    if (!finite || rows.exact) continue;
    if (w > 0) keep_component(rows, pidx);
    const double* from = distances.from(data, i, rows.row[0]);
    std::fill(wanted.begin(), wanted.end(), 0.0);
    for (std::size_t k = 0; k < rows.row.size(); ++k) {
      if (rows.weight[k] == 0) continue;
      const long o = rows.row[k];
      const double* stored = distances.stored(o);
      for (long j = 0; j < n; ++j) {
        if (from[j] < 0) continue;
        const double in_map = distance(mprot.row(o), mprot.row(j), p);
        wanted[static_cast<std::size_t>(j)] += rows.weight[k] * (in_map + from[j] - stored[j]);
      }
    }
    targets.clear();
    for (long j = 0; j < n; ++j) {
      const double target = wanted[static_cast<std::size_t>(j)];
      if (from[j] >= 0 && target > 0) targets.push_back({mprot.row(j), target});
    }
    for (long t = 0; t < sched.nrow(); ++t) majorize(targets, sched.get(t, 0), p, y, mean);
  }
  bar_end();
  return 1;
}

long ToMapp::sammon_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp, const char* file) {
  if (!can_interpolate("sammon_rd", prj, mprot.ncol())) return 0;
  MatParaD sched;
  if (!step_schedule(sched, file, "default.rdp", "sammon_rd", 5, 0.2)) return 0;
  bar_begin("sammon_rd: reconstructing ... ", prj.nrow());
  const long p = mprot.ncol();
  const long d = prot.ncol();
  AffineBlend blend(*this, mprot, lpref.getval(keys.vglink_p) != 0);
  jrp.setdim(prj.nrow(), d);
  jrp.setrows(prj.nrow(), 0.0);
  tmp.setdim(prj.nrow(), d);
  tmp.setrows(prj.nrow(), 0.0);
  BlendRows rows;
  MatFullD near_distance;
  MatFullL near;
  MatFullD space;
  std::vector<Target> targets;
  std::vector<double> mean;
  for (long i = prj.nrow() - 1; i >= 0; --i) {
    const double* y = prj.row(i);
    double* x = jrp.row(i);
    const bool finite = blend.sample(y, x, rows);
    std::copy_n(finite ? prot.row(rows.row[0]) : x, d, tmp.row(i));
    bar_step();
    if (!finite || rows.exact) continue;
    mprot.nearest(prj, i, near_distance, near, 4 * p);
    targets.clear();
    for (long r = 0; r < near.nrow(); ++r) {
      const long j = near.get(r, 0);
      double target = 0;
      for (std::size_t k = 0; k < rows.row.size(); ++k) {
        const long o = rows.row[k];
        if (rows.weight[k] == 0) continue;
        const double* y_j = mprot.row(j);
        const double in_data = distance(prot.row(o), prot.row(j), d);
        target += rows.weight[k] * (in_data + distance(y, y_j, p) - distance(mprot.row(o), y_j, p));
      }
      if (target > 0) targets.push_back({prot.row(j), target});
    }
    for (long t = 0; t < sched.nrow(); ++t) majorize(targets, sched.get(t, 0), d, x, mean);
  }
  bar_end();
  return 1;
}

}  // namespace qvtx
