#pragma once
// What the passes over all pairs of an image have in common: groups of vectors, and the output distances in
// them. For sources called *_kernels.cpp only.

#include "base/vector_group.h"
#include "mapping/kernels/image_arrays.h"

namespace qvtx::QVTX_ISA {

static_assert(image_padding % group == 0);

/// Output distances from an image, measured. axes: their number, where the compiler should know it; else 0.
template <int axes>
struct MeasuredDistances {
  const ImageView& images;
  const double* origin;  ///< coordinates of the image, images.stride apart

  void get(long first, Vec (&to)[parts]) const {
    for (int part = 0; part < parts; ++part) {
      const double* y = images.axes + first + part * lanes;
      Vec sum{};
      for (long k = (axes > 0 ? axes : images.p) - 1; k >= 0; --k) {
        const Vec t = load(y + k * images.stride) - origin[k * images.stride];
        sum += t * t;
      }
      to[part] = sum;
    }
    fast_roots<1>(to);
  }
};

/// Output distances that were computed before.
struct KnownDistances {
  const double* d;
  void get(long first, Vec (&to)[parts]) const {
    for (int part = 0; part < parts; ++part) to[part] = load(d + first + part * lanes);
  }
};

/// Calls body(j, from) for every group of pairs, those from j on, with their input distances, 0 beyond the
/// last pair. soon: n numbers that the next pass will want.
template <class Body>
[[gnu::always_inline]] inline void for_groups(const double* input, const double* soon, long n, Body body) {
  Vec from[parts];
  long j = 0;
  for (; j + group <= n; j += group) {
    for (int part = 0; part < parts; ++part) {
      from[part] = load(input + j + part * lanes);
      __builtin_prefetch(soon + j + part * lanes, 0, 2);
    }
    body(j, from);
  }
  if (j == n) return;
  double rest[group] = {};
  for (long l = 0; j + l < n; ++l) rest[l] = input[j + l];
  for (int part = 0; part < parts; ++part) from[part] = load(rest + part * lanes);
  body(j, from);
}

}  // namespace qvtx::QVTX_ISA
