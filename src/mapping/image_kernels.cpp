// Distances between images, and the stress.

#include "base/vector_lanes.h"
#include "mapping/mapping_kernels.h"

namespace qvtx::QVTX_ISA {

extern const MappingKernels mapping_table;

namespace {

static_assert(image_padding % lanes == 0 && stress_lanes % lanes == 0);

/// Squared distances of the images first .. first + lanes - 1 from the image with these coordinates, which
/// lie images.stride apart. axes: their number, where the compiler should know it; else 0.
template <int axes>
inline Vec squared(const ImageView& images, const double* origin, long first) {
  const double* y = images.axes + first;
  Vec sum{};
  for (long k = (axes > 0 ? axes : images.p) - 1; k >= 0; --k) {
    const Vec t = load(y + k * images.stride) - origin[k * images.stride];
    sum += t * t;
  }
  return sum;
}

template <int axes>
void all_distances(const ImageView& images, long i, double* d) {
  const double* origin = images.axes + i;
  for (long j = 0; j < images.n; j += lanes) store(d + j, fast_root(squared<axes>(images, origin, j)));
}

void image_distances(const ImageView& images, long i, double* d) {
  return images.p == 2 ? all_distances<2>(images, i, d) : all_distances<0>(images, i, d);
}

void stress(const double* input, const double* d, long n, StressSums* sums) {
  constexpr int parts = stress_lanes / lanes;
  Vec error[parts];
  Vec scale[parts];
  for (int part = 0; part < parts; ++part) {
    error[part] = load(sums->error + part * lanes);
    scale[part] = load(sums->scale + part * lanes);
  }
  long j = 0;
  for (; j + stress_lanes <= n; j += stress_lanes) {
    for (int part = 0; part < parts; ++part) {
      const Vec from = load(input + j + part * lanes);
      const Vec t = from - load(d + j + part * lanes);
      error[part] += from > 0.0 ? t * t / from : Vec{};
      scale[part] += from > 0.0 ? from : Vec{};
    }
  }
  for (int part = 0; part < parts; ++part) {
    store(sums->error + part * lanes, error[part]);
    store(sums->scale + part * lanes, scale[part]);
  }
  for (long l = 0; j + l < n; ++l) {
    const double from = input[j + l];
    if (!(from > 0)) continue;
    const double t = from - d[j + l];
    sums->error[l] += t * t / from;
    sums->scale[l] += from;
  }
}

}  // namespace

const MappingKernels mapping_table = {image_distances, stress};

}  // namespace qvtx::QVTX_ISA
