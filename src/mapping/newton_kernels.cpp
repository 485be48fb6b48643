// The passes of Sammon's mapping round one image. Square roots and divisions are their price, so that a pair
// takes one of each.

#include "base/vector_lanes.h"
#include "mapping/sammon_kernels.h"

namespace qvtx::QVTX_ISA {

extern const SammonKernels sammon_table;

namespace {

static_assert(image_padding % newton_lanes == 0 && newton_lanes % lanes == 0);

/// Vectors that hold one partial sum of each kind.
constexpr int parts = newton_lanes / lanes;

/// Output distances from an image, measured. axes: their number, where the compiler should know it; else 0.
template <int axes>
struct MeasuredDistances {
  const ImageView& images;
  const double* origin;

  Vec at(long first) const {
    const double* y = images.axes + first;
    Vec sum{};
    for (long k = (axes > 0 ? axes : images.p) - 1; k >= 0; --k) {
      const Vec t = load(y + k * images.stride) - origin[k * images.stride];
      sum += t * t;
    }
    return root(sum);
  }
};

/// Output distances that were computed before.
struct KnownDistances {
  const double* d;
  Vec at(long first) const { return load(d + first); }
};

/// Calls body(j, D) for every group of eight pairs, those from j on; D: their input distances, 0 beyond the
/// last pair.
template <class Body>
inline void for_groups(const double* input, long n, Body body) {
  long j = 0;
  for (; j + newton_lanes <= n; j += newton_lanes) body(j, input + j);
  if (j == n) return;
  double rest[newton_lanes] = {};
  for (long l = 0; j + l < n; ++l) rest[l] = input[j + l];
  body(j, rest);
}

/// What all axes of a pair share; 0 where the pair does not count.
struct Terms {
  Vec slope;  // (D - d) / (D d)
  Vec cube;   // 1 / d^3
};

inline Terms terms(Vec from, Vec to) {
  const Bits counts = (from > 0.0) & (to > 0.0);
  const Vec r = 1.0 / (from * to);
  const Vec v = from * r;
  return {counts ? (from - to) * r : Vec{}, counts ? v * v * v : Vec{}};
}

/// Partial sums of one axis.
struct AxisSums {
  Vec gradient[parts];
  Vec curvature[parts];

  void add(int part, const Terms& pair, Vec t) {
    gradient[part] += pair.slope * t;
    curvature[part] += pair.slope - t * t * pair.cube;
  }
};

double total(const Vec (&sums)[parts]) {
  double sum = 0;
  for (int part = 0; part < parts; ++part)
    for (int l = 0; l < lanes; ++l) sum += sums[part][l];
  return sum;
}

/// Few axes: all sums stay in registers.
template <int axes, class Distances>
void newton_few(const Distances& distances, const double* origin, const double* input,
                const ImageView& images, double* gradient, double* curvature) {
  AxisSums sums[axes] = {};
  for_groups(
      input, images.n, [&](long first, const double* from) __attribute__((always_inline)) {
        for (int part = 0; part < parts; ++part) {
          const long j = first + part * lanes;
          const Terms pair = terms(load(from + part * lanes), distances.at(j));
          for (int k = 0; k < axes; ++k)
            sums[k].add(part, pair, origin[k * images.stride] - load(images.axes + k * images.stride + j));
        }
      });
  for (int k = 0; k < axes; ++k) {
    gradient[k] = total(sums[k].gradient);
    curvature[k] = total(sums[k].curvature);
  }
}

/// Axes whose partial sums are kept at a time; more take another pass over the pairs.
constexpr long axes_at_once = 8;

/// Many axes: their sums stay in memory.
template <class Distances>
void newton_many(const Distances& distances, const double* origin, const double* input,
                 const ImageView& images, double* gradient, double* curvature) {
  for (long low = 0; low < images.p; low += axes_at_once) {
    const long axes = images.p - low < axes_at_once ? images.p - low : axes_at_once;
    AxisSums sums[axes_at_once] = {};
    for_groups(
        input, images.n, [&](long first, const double* from) __attribute__((always_inline)) {
          for (int part = 0; part < parts; ++part) {
            const long j = first + part * lanes;
            const Terms pair = terms(load(from + part * lanes), distances.at(j));
            for (long k = 0; k < axes; ++k) {
              const long axis = (low + k) * images.stride;
              sums[k].add(part, pair, origin[axis] - load(images.axes + axis + j));
            }
          }
        });
    for (long k = 0; k < axes; ++k) {
      gradient[low + k] = total(sums[k].gradient);
      curvature[low + k] = total(sums[k].curvature);
    }
  }
}

void newton(long i, const double* input, const double* d, const ImageView& images, double* gradient,
            double* curvature) {
  const double* origin = images.axes + i;
  if (d) return newton_many(KnownDistances{d}, origin, input, images, gradient, curvature);
  if (images.p == 2)
    return newton_few<2>(MeasuredDistances<2>{images, origin}, origin, input, images, gradient, curvature);
  if (images.p == 3)
    return newton_few<3>(MeasuredDistances<3>{images, origin}, origin, input, images, gradient, curvature);
  newton_many(MeasuredDistances<0>{images, origin}, origin, input, images, gradient, curvature);
}

template <class Distances>
void push_by(const Distances& distances, const double* origin, double step, const double* input,
             const ImageView& images) {
  for_groups(
      input, images.n, [&](long first, const double* group) __attribute__((always_inline)) {
        for (int part = 0; part < parts; ++part) {
          const long j = first + part * lanes;
          const Vec from = load(group + part * lanes);
          const Vec to = distances.at(j);
          const Bits counts = (from > 0.0) & (to > 0.0);
          const Vec factor = counts ? step * (from - to) / (to * from) : Vec{};
          for (long k = images.p - 1; k >= 0; --k) {
            double* place = images.axes + k * images.stride + j;
            const Vec y = load(place);
            store(place, y + (y - origin[k * images.stride]) * factor);
          }
        }
      });
}

void push(long i, double step, const double* input, const double* d, const ImageView& images) {
  const double* origin = images.axes + i;  // does not move: its own factor is 0
  if (d) return push_by(KnownDistances{d}, origin, step, input, images);
  if (images.p == 2) return push_by(MeasuredDistances<2>{images, origin}, origin, step, input, images);
  push_by(MeasuredDistances<0>{images, origin}, origin, step, input, images);
}

}  // namespace

const SammonKernels sammon_table = {newton, push};

}  // namespace qvtx::QVTX_ISA
