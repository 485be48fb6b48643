// Interpolation and reconstruction on Sammon's stress of one point against fixed prototypes, by majorization
// (de Leeuw, "Applications of convex analysis to multidimensional scaling", 1977). The targets are corrected
// by the residual of the map at the nearby prototypes, so that a prototype stays where it is although the map
// is not perfect.

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "base/interrupt.h"
#include "mapping/affine_blend.h"
#include "mapping/input_distances.h"
#include "mapping/kernels/interpolation_kernels.h"
#include "mapping/progress_bar.h"
#include "mapping/tomapp.h"

namespace qvtx {

namespace {

double distance(const double* a, const double* b, long n) {
  double sum = 0;
  for (long k = n - 1; k >= 0; --k) sum += (a[k] - b[k]) * (a[k] - b[k]);
  return std::sqrt(sum);
}

/// Fixed points and the distances that the free point should have from them. Keeps its storage.
class Targets {
 public:
  /// Forgets all targets; makes room for `most` of them with p coordinates.
  void clear(long most, long p) {
    stride_ = most;
    p_ = p;
    count_ = 0;
    const auto needed = static_cast<std::size_t>(most * p);
    if (axes_.size() < needed) axes_.resize(needed);
    if (distance_.size() < static_cast<std::size_t>(most)) distance_.resize(static_cast<std::size_t>(most));
  }
  void add(const double* point, double distance) {
    for (long k = 0; k < p_; ++k) axes_[static_cast<std::size_t>(k * stride_ + count_)] = point[k];
    distance_[static_cast<std::size_t>(count_++)] = distance;
  }
  TargetView view() const { return {axes_.data(), distance_.data(), stride_, count_, p_}; }

 private:
  std::vector<double> axes_, distance_;
  long stride_ = 0, p_ = 0, count_ = 0;
};

/// Moves point by one majorization step for every row of steps, with the factor in column 0; the stress
/// against the targets never rises. A step goes to the mean of the places, at the targets' distances in the
/// present directions, where the targets want the point, weighted by 1 / distance.
void majorize(const Targets& targets, const MatParaD& steps, double* point, std::vector<double>& scratch) {
  const InterpolationKernels& kernels = interpolation_kernels();
  const TargetView view = targets.view();
  const long n = view.p;
  scratch.assign(static_cast<std::size_t>(2 * n), 0.0);
  double* centre = scratch.data();
  double* mean = centre + n;
  const double total = kernels.weigh(view, centre);
  if (!(total > 0)) return;
  for (long t = 0; t < steps.nrow(); ++t) {
    std::copy_n(centre, n, mean);
    kernels.pull(view, point, mean);
    const double a = steps.get(t, 0);
    for (long k = n - 1; k >= 0; --k) point[k] += a * (mean[k] / total - point[k]);
  }
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

/// Rows of n numbers, one per prototype, of which the most recently made ones are kept. Samples of the same
/// neighbourhood, one after the other, ask for the same few.
class RowCache {
 public:
  explicit RowCache(std::size_t n)
      : place_(n, -1), capacity_(std::min(n, std::max(least_rows, most_numbers / n))), rows_(capacity_ * n) {}
  /// Row i, filled by make(row) unless it is there. Valid until the next call.
  template <class Make>
  const double* row(long i, Make make) {
    long& place = place_[static_cast<std::size_t>(i)];
    if (place < 0) {
      if (used_ == capacity_) {
        std::fill(place_.begin(), place_.end(), -1L);
        used_ = 0;
      }
      place = static_cast<long>(used_++);
      make(at(place));
    }
    return at(place);
  }

 private:
  static constexpr std::size_t least_rows = 64;
  static constexpr std::size_t most_numbers = 1UL << 22;  // 32 MiB
  double* at(long place) { return rows_.data() + static_cast<std::size_t>(place) * place_.size(); }

  std::vector<long> place_;  // of each prototype's row, -1: not there
  std::size_t capacity_;
  std::vector<double> rows_;
  std::size_t used_ = 0;
};

/// Rows of graph distances from prototypes; those that have to be computed are kept for a while.
class GraphRows {
 public:
  explicit GraphRows(const VeQuan& quantizer)
      : n_(quantizer.getprot().nrow()), distances_(quantizer, 1.0, true, room_) {
    if (!distances_.stored(0)) computed_.emplace(static_cast<std::size_t>(n_));
  }
  /// nprot distances, negative where there is none. Valid until the next call.
  const double* row(long i) {
    if (!computed_) return distances_.row(i);
    return computed_->row(i, [&](double* row) { std::copy_n(distances_.row(i), n_, row); });
  }

 private:
  long n_;
  RowRoom room_;
  InputDistances distances_;
  std::optional<RowCache> computed_;
};

/// The distances that a sample should have from the images of all prototypes.
class SampleTargets {
 public:
  /// images: n x p. w: weight of the graph distance.
  SampleTargets(const VeQuan& quantizer, const MatFullD& images, double w)
      : quantizer_(quantizer),
        images_(images),
        w_(w),
        residuals_(static_cast<std::size_t>(images.nrow())),
        wanted_(static_cast<std::size_t>(images.nrow())) {
    if (w > 0) graph_.emplace(quantizer);
  }

  /// Targets of row i of data, which mixes `rows`; none for prototypes of another component than rows.row[0]
  /// when graph distances count, and none that is not positive.
  void collect(const MatFullD& data, long i, BlendRows& rows, Targets& targets) {
    if (w_ > 0) keep_component(rows, quantizer_.getcomp());
    measure(data, i, rows.row[0]);
    std::fill(wanted_.begin(), wanted_.end(), 0.0);
    for (std::size_t k = 0; k < rows.row.size(); ++k) {
      if (rows.weight[k] > 0) add_residuals(rows.row[k], rows.weight[k]);
    }
    targets.clear(images_.nrow(), images_.ncol());
    for (long j = 0; j < images_.nrow(); ++j) {
      const double target = wanted_[static_cast<std::size_t>(j)];
      if (input_[static_cast<std::size_t>(j)] >= 0 && target > 0) targets.add(images_.row(j), target);
    }
  }

 private:
  double mixed(double space, double graph) const { return (1 - w_) * space + w_ * graph; }

  /// input_ becomes the sample's distances from all prototypes in the mix in force. The graph is entered at
  /// the nearest prototype or one linked with it, whichever is the shortest way.
  void measure(const MatFullD& data, long i, long nearest) {
    quantizer_.getprot().sdav(data, i, space_, no_bound);
    const double* space = space_.data();
    const std::size_t n = wanted_.size();
    input_.assign(space, space + n);
    if (w_ == 0) return;
    std::fill(input_.begin(), input_.end(), -1.0);
    enter(nearest);
    const MatLinkD& link = quantizer_.getlink();
    for (long k = link.head(nearest); k >= 0; k = link.next(k, nearest)) enter(link.other(k, nearest));
    for (std::size_t j = 0; j < n && w_ < 1; ++j) {
      if (input_[j] >= 0) input_[j] = mixed(space[j], input_[j]);
    }
  }
  void enter(long c) {
    interpolation_kernels().enter(graph_->row(c), space_(c, 0), static_cast<long>(input_.size()),
                                  input_.data());
  }

  /// For every prototype, how much farther it is from prototype o in the map than it should be.
  void residuals(long o, double* row) {
    const double* space = w_ < 1 ? quantizer_.space_row(o, row_scratch_) : nullptr;
    const double* graph = w_ > 0 ? graph_->row(o) : nullptr;
    for (long j = 0; j < images_.nrow(); ++j) {
      const double input = w_ == 0 ? space[j] : w_ < 1 ? mixed(space[j], graph[j]) : graph[j];
      row[j] = distance(images_.row(o), images_.row(j), images_.ncol()) - input;
    }
  }
  /// The residuals correct the distances, so that a sample at prototype o wants to be where o is.
  void add_residuals(long o, double weight) {
    const double* residual = residuals_.row(o, [&](double* row) { residuals(o, row); });
    interpolation_kernels().correct(input_.data(), residual, weight, static_cast<long>(wanted_.size()),
                                    wanted_.data());
  }

  const VeQuan& quantizer_;
  const MatFullD& images_;
  double w_;
  std::optional<GraphRows> graph_;
  RowCache residuals_;
  std::vector<double> input_, wanted_;  // n
  MatFullD space_, row_scratch_;
};

/// Row numbers of data, those with the same nearest prototype together.
std::vector<long> by_neighbourhood(const std::vector<BlendRows>& rows) {
  std::vector<long> order;
  for (std::size_t i = 0; i < rows.size(); ++i) order.push_back(static_cast<long>(i));
  std::stable_sort(order.begin(), order.end(), [&](long a, long b) {
    return rows[static_cast<std::size_t>(a)].row[0] < rows[static_cast<std::size_t>(b)].row[0];
  });
  return order;
}

/// The distances that the sample at position y, which mixes `rows`, should have from the prototypes whose
/// images are nearest to y; none that is not positive.
void collect_targets(const MatFullD& prototypes, const MatFullD& images, const double* y,
                     const BlendRows& rows, NeighbourSearch& near, Targets& targets) {
  const long p = images.ncol();
  const long d = prototypes.ncol();
  const long count = near.search(y, -1, 4 * p);
  targets.clear(count, d);
  for (long r = 0; r < count; ++r) {
    const long j = near.row(r);
    double target = 0;
    for (std::size_t k = 0; k < rows.row.size(); ++k) {
      if (!(rows.weight[k] > 0)) continue;
      const double* image = images.row(rows.row[k]);
      const double in_data = distance(prototypes.row(rows.row[k]), prototypes.row(j), d);
      target += rows.weight[k] * (in_data + near.distance(r) - distance(image, images.row(j), p));
    }
    if (target > 0) targets.add(prototypes.row(j), target);
  }
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

long ToMapp::sammon_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj, const char* file) {
  if (!can_interpolate("sammon_iv", data, prot.ncol())) return 0;
  MatParaD sched;
  if (!step_schedule(sched, file, "default.sam", "sammon_iv", 10, 0.1)) return 0;
  if (!rows_ready(balance())) return 0;
  ProgressBar bar(verbose != 0, prefix, "sammon_iv: interpolating ... ", data.nrow());
  const long p = mprot.ncol();
  AffineBlend blend(*this, mprot, wants_links());
  if (data.nrow() > 0) blend.shrink();
  prj.setdim(data.nrow(), p);
  prj.setrows(data.nrow());
  ppr.setdim(data.nrow(), p);
  ppr.setrows(data.nrow());
  std::vector<BlendRows> near(static_cast<std::size_t>(data.nrow()));
  for (long i = data.nrow() - 1; i >= 0; --i) {
    BlendRows& rows = near[static_cast<std::size_t>(i)];
    const bool finite = blend.position(data.row(i), prj.row(i), rows);
    std::copy_n(finite ? mprot.row(rows.row[0]) : prj.row(i), p, ppr.row(i));
    if (finite) continue;
    rows.exact = true;  // nothing moves it
    rows.row.assign(1, 0);
  }
  SampleTargets wanted(*this, mprot, balance());
  Targets targets;
  std::vector<double> scratch;
  for (const long i : by_neighbourhood(near)) {
    if (interrupted()) {  // a part of the rows would pass for all of them
      prj.setrows(0);
      ppr.setrows(0);
      return 0;
    }
    BlendRows& rows = near[static_cast<std::size_t>(i)];
    bar.step();
    if (rows.exact) continue;
    wanted.collect(data, i, rows, targets);
    majorize(targets, sched, prj.row(i), scratch);
  }
  return 1;
}

long ToMapp::sammon_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp, const char* file) {
  if (!can_interpolate("sammon_rd", prj, mprot.ncol())) return 0;
  MatParaD sched;
  if (!step_schedule(sched, file, "default.rdp", "sammon_rd", 5, 0.2)) return 0;
  ProgressBar bar(verbose != 0, prefix, "sammon_rd: reconstructing ... ", prj.nrow());
  const long d = prot.ncol();
  AffineBlend blend(*this, mprot, wants_links());
  jrp.setdim(prj.nrow(), d);
  jrp.setrows(prj.nrow());
  tmp.setdim(prj.nrow(), d);
  tmp.setrows(prj.nrow());
  BlendRows rows;
  NeighbourSearch near(mprot, Metric::euclidean());
  Targets targets;
  std::vector<double> scratch;
  for (long i = prj.nrow() - 1; i >= 0; --i) {
    if (interrupted()) {  // a part of the rows would pass for all of them
      jrp.setrows(0);
      tmp.setrows(0);
      return 0;
    }
    const double* y = prj.row(i);
    double* x = jrp.row(i);
    const bool finite = blend.sample(y, x, rows);
    std::copy_n(finite ? prot.row(rows.row[0]) : x, d, tmp.row(i));
    bar.step();
    if (!finite || rows.exact) continue;
    collect_targets(prot, mprot, y, rows, near, targets);
    majorize(targets, sched, x, scratch);
  }
  return 1;
}

}  // namespace qvtx
