// The pull of fixed points on a free one. The terms of a sum are made lane by lane and added one after the
// other, which keeps the bits of the plain loop: roots and divisions are the price, not the additions.

#include "mapping/kernels/interpolation_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

/// Targets handled at a time.
constexpr long block = 64;
/// Axes whose terms are added side by side.
constexpr int axes_at_once = 2;

/// A number of every target from j on, `beyond` in the lanes behind the last one.
inline Vec at(const double* p, long j, long n, double beyond) {
  if (j + lanes <= n) return load(p + j);
  Vec v = broadcast(beyond);
  for (int l = 0; j + l < n; ++l) v[l] = p[j + l];
  return v;
}

/// Adds the terms of `count` axes, block apart, to their sums.
template <int count>
inline void add_in_order(const double* terms, long m, double* sums) {
  double sum[count];
  for (int k = 0; k < count; ++k) sum[k] = sums[k];
  for (long j = 0; j < m; ++j)
    for (int k = 0; k < count; ++k) sum[k] += terms[k * block + j];
  for (int k = 0; k < count; ++k) sums[k] = sum[k];
}

/// Adds term(j, k), a vector for the targets from j on, to sums[k] for a block of targets.
template <class Term>
inline void add_block(const TargetView& targets, long first, double* sums, Term term) {
  const long m = targets.n - first < block ? targets.n - first : block;
  double terms[axes_at_once * block];
  for (long k = 0; k < targets.p; k += axes_at_once) {
    const int count = k + axes_at_once <= targets.p ? axes_at_once : 1;
    for (int c = 0; c < count; ++c)
      for (long j = 0; j < m; j += lanes) store(terms + c * block + j, term(j, k + c));
    if (count == axes_at_once) {
      add_in_order<axes_at_once>(terms, m, sums + k);
    } else {
      add_in_order<1>(terms, m, sums + k);
    }
  }
}

double weigh(const TargetView& targets, double* centre) {
  double total = 0;
  for (long first = 0; first < targets.n; first += block) {
    const long m = targets.n - first < block ? targets.n - first : block;
    double inverse[block];
    for (long j = 0; j < m; j += lanes)
      store(inverse + j, 1.0 / at(targets.distance, first + j, targets.n, 1.0));
    add_in_order<1>(inverse, m, &total);
    add_block(
        targets, first, centre, [&](long j, long k) __attribute__((always_inline)) {
          return at(targets.axes + k * targets.stride, first + j, targets.n, 0.0) /
                 at(targets.distance, first + j, targets.n, 1.0);
        });
  }
  return total;
}

void pull(const TargetView& targets, const double* point, double* mean) {
  for (long first = 0; first < targets.n; first += block) {
    const long m = targets.n - first < block ? targets.n - first : block;
    double scale[block];
    for (long j = 0; j < m; j += lanes) {
      Vec sum{};
      for (long k = targets.p - 1; k >= 0; --k) {
        const Vec t = point[k] - at(targets.axes + k * targets.stride, first + j, targets.n, 0.0);
        sum += t * t;
      }
      const Vec now = root(sum);
      store(scale + j, now > 0.0 ? 1.0 / now : Vec{});
    }
    add_block(
        targets, first, mean, [&](long j, long k) __attribute__((always_inline)) {
          return load(scale + j) *
                 (point[k] - at(targets.axes + k * targets.stride, first + j, targets.n, 0.0));
        });
  }
}

void enter(const double* graph, double entry, long n, double* input) {
  for (long j = 0; j < n; ++j) {
    const double path = entry + graph[j];
    const bool shorter = (input[j] < 0) | (path < input[j]);
    input[j] = (shorter & !(graph[j] < 0)) ? path : input[j];
  }
}

void correct(const double* input, const double* residual, double weight, long n, double* wanted) {
  for (long j = 0; j < n; ++j) wanted[j] += weight * (input[j] + residual[j]);
}

}  // namespace

const InterpolationKernels interpolation_kernels = {weigh, pull, enter, correct};

}  // namespace qvtx::QVTX_ISA
