// The passes of Sammon's mapping round one image. Square roots and divisions are their price, so that a pair
// takes one of each.

#include "mapping/kernels/sammon_kernels.h"

#include "mapping/kernels/image_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

static_assert(group % newton_lanes == 0 && newton_lanes % lanes == 0);

/// Vectors that hold one partial sum of each kind.
constexpr int sum_parts = newton_lanes / lanes;

inline Mask pairs_that_count(Vec from, Vec to) {
  return static_cast<Mask>(above(from, Vec{}) & above(to, Vec{}));
}

/// What all axes of a pair share; 0 where the pair does not count.
struct Terms {
  Mask counts[parts];
  Vec slope[parts];  // (D - d) / (D d)
  Vec cube[parts];   // 1 / d^3

  Terms(const Vec (&from)[parts], const Vec (&to)[parts]) {
    for (int i = 0; i < parts; ++i) slope[i] = 1.0 / (from[i] * to[i]);
    for (int i = 0; i < parts; ++i) {
      counts[i] = pairs_that_count(from[i], to[i]);
      const Vec r = slope[i];
      const Vec v = from[i] * r;
      slope[i] = select(counts[i], (from[i] - to[i]) * r, Vec{});
      cube[i] = select(counts[i], v * v * v, Vec{});
    }
  }
};

/// Partial sums of one axis.
struct AxisSums {
  Vec gradient[sum_parts];
  Vec curvature[sum_parts];

  /// y: the axis of the images of the group.
  void add(const Terms& pairs, double origin, const double* y) {
    for (int i = 0; i < parts; ++i) {
      // Images and padding may be infinite or NaN, which a factor of 0 would not silence.
      const Vec t = select(pairs.counts[i], origin - load(y + i * lanes), Vec{});
      gradient[i % sum_parts] += pairs.slope[i] * t;
      curvature[i % sum_parts] += pairs.slope[i] - t * t * pairs.cube[i];
    }
  }
};

double total(const Vec (&sums)[sum_parts]) {
  double sum = 0;
  for (int part = 0; part < sum_parts; ++part)
    for (int l = 0; l < lanes; ++l) sum += sums[part][l];
  return sum;
}

/// Adds up `count` axes from `low` on. axes: their number, where the compiler should know it, so that all
/// sums stay in registers; else 0 and `count` at most `axes_at_once`.
constexpr long axes_at_once = 8;
template <int axes, class Distances>
void add_axes(const Distances& distances, const PairRow& row, const ImageView& images, long low, long count,
              double* gradient, double* curvature) {
  constexpr long most = axes > 0 ? axes : axes_at_once;
  const long stride = images.stride;
  double* first = images.axes + low * stride;
  AxisSums sums[most] = {};
  for_groups(
      row.input, row.soon, images.n, [&](long j, const Vec(&from)[parts]) __attribute__((always_inline)) {
        Vec to[parts];
        distances.get(j, to);
        const Terms pairs(from, to);
        for (long k = 0; k < (axes > 0 ? axes : count); ++k)
          sums[k].add(pairs, first[k * stride + row.i], first + k * stride + j);
      });
  for (long k = 0; k < count; ++k) {
    gradient[low + k] = total(sums[k].gradient);
    curvature[low + k] = total(sums[k].curvature);
  }
}

/// Any number of axes, some at a time.
template <class Distances>
void newton_many(const Distances& distances, const PairRow& row, const ImageView& images, double* gradient,
                 double* curvature) {
  for (long low = 0; low < images.p; low += axes_at_once) {
    const long count = images.p - low < axes_at_once ? images.p - low : axes_at_once;
    add_axes<0>(distances, row, images, low, count, gradient, curvature);
  }
}

void newton(const PairRow& row, const ImageView& images, double* gradient, double* curvature) {
  const double* origin = images.axes + row.i;
  if (row.d) return newton_many(KnownDistances{row.d}, row, images, gradient, curvature);
  if (images.p == 2)
    return add_axes<2>(MeasuredDistances<2>{images, origin}, row, images, 0, 2, gradient, curvature);
  if (images.p == 3)
    return add_axes<3>(MeasuredDistances<3>{images, origin}, row, images, 0, 3, gradient, curvature);
  newton_many(MeasuredDistances<0>{images, origin}, row, images, gradient, curvature);
}

template <class Distances>
void push_by(const Distances& distances, double step, const PairRow& row, const ImageView& images) {
  const double* origin = images.axes + row.i;  // does not move: its own pair does not count
  for_groups(
      row.input, row.soon, images.n, [&](long first, const Vec(&from)[parts]) __attribute__((always_inline)) {
        Vec to[parts];
        distances.get(first, to);
        Mask counts[parts];
        for (int i = 0; i < parts; ++i) {
          counts[i] = pairs_that_count(from[i], to[i]);
          to[i] = step * (from[i] - to[i]) / (to[i] * from[i]);
        }
        for (long k = images.p - 1; k >= 0; --k) {
          double* axis = images.axes + k * images.stride + first;
          const double here = origin[k * images.stride];
          for (int i = 0; i < parts; ++i) {
            const Vec y = load(axis + i * lanes);
            store(axis + i * lanes, select(counts[i], y + (y - here) * to[i], y));
          }
        }
      });
}

void push(const PairRow& row, double step, const ImageView& images) {
  const double* origin = images.axes + row.i;
  if (row.d) return push_by(KnownDistances{row.d}, step, row, images);
  if (images.p == 2) return push_by(MeasuredDistances<2>{images, origin}, step, row, images);
  push_by(MeasuredDistances<0>{images, origin}, step, row, images);
}

}  // namespace

const SammonKernels sammon_kernels = {newton, push};

}  // namespace qvtx::QVTX_ISA
