#include "mapping/sammon_kernels.h"

namespace qvtx::QVTX_ISA {

extern const SammonKernels sammon_table;

namespace {

constexpr long block = 256;
static_assert(block % newton_lanes == 0);

/// c = (D - d) / (D d) and 1 / d^3 of m pairs, 0 for pairs that do not count.
void pair_terms(const double* input, const double* d, long m, double* c, double* cube) {
  for (long j = 0; j < m; ++j) {
    const bool counts = (input[j] > 0) & (d[j] > 0);
    const double slope = (input[j] - d[j]) / (input[j] * d[j]);
    const double inverse = 1.0 / (d[j] * d[j] * d[j]);
    c[j] = counts ? slope : 0.0;
    cube[j] = counts ? inverse : 0.0;
  }
}

/// Adds m pairs to the partial sums of one axis; entries up to the next multiple of the lanes are 0.
void add_axis(const double* y, double origin, const double* c, const double* cube, long m, double* gradient,
              double* curvature) {
  double g[newton_lanes];
  double h[newton_lanes];
  for (long l = 0; l < newton_lanes; ++l) {
    g[l] = gradient[l];
    h[l] = curvature[l];
  }
  const long whole = m - m % newton_lanes;
  for (long j = 0; j < whole; j += newton_lanes) {
    for (long l = 0; l < newton_lanes; ++l) {
      const double t = origin - y[j + l];
      g[l] += c[j + l] * t;
      h[l] += c[j + l] - t * t * cube[j + l];
    }
  }
  for (long j = whole; j < m; ++j) {
    const double t = origin - y[j];
    g[j - whole] += c[j] * t;
    h[j - whole] += c[j] - t * t * cube[j];
  }
  for (long l = 0; l < newton_lanes; ++l) {
    gradient[l] = g[l];
    curvature[l] = h[l];
  }
}

double total(const double* lanes) {
  double sum = 0;
  for (long l = 0; l < newton_lanes; ++l) sum += lanes[l];
  return sum;
}

/// Axes whose partial sums are kept at a time; more axes take another pass over the pairs.
constexpr long axes_at_once = 8;

void newton(long i, const double* input, const double* d, const ImageView& images, double* gradient,
            double* curvature) {
  double c[block];
  double cube[block];
  for (long low = 0; low < images.p; low += axes_at_once) {
    const long axes = images.p - low < axes_at_once ? images.p - low : axes_at_once;
    double g[axes_at_once * newton_lanes] = {};
    double h[axes_at_once * newton_lanes] = {};
    for (long first = 0; first < images.n; first += block) {
      const long m = images.n - first < block ? images.n - first : block;
      pair_terms(input + first, d + first, m, c, cube);
      for (long k = 0; k < axes; ++k) {
        const double* y = images.axes + (low + k) * images.stride;
        add_axis(y + first, y[i], c, cube, m, g + k * newton_lanes, h + k * newton_lanes);
      }
    }
    for (long k = 0; k < axes; ++k) {
      gradient[low + k] = total(g + k * newton_lanes);
      curvature[low + k] = total(h + k * newton_lanes);
    }
  }
}

void push(long i, double step, const double* input, const double* d, const ImageView& images) {
  double factor[block];
  for (long first = 0; first < images.n; first += block) {
    const long m = images.n - first < block ? images.n - first : block;
    const double* from = input + first;
    const double* to = d + first;
    for (long j = 0; j < m; ++j) {
      const bool counts = (from[j] > 0) & (to[j] > 0);
      const double f = step * (from[j] - to[j]) / (to[j] * from[j]);
      factor[j] = counts ? f : 0.0;
    }
    for (long k = images.p - 1; k >= 0; --k) {
      double* y = images.axes + k * images.stride + first;
      const double origin = images.axes[k * images.stride + i];
      for (long j = 0; j < m; ++j) y[j] += (y[j] - origin) * factor[j];
    }
  }
}

}  // namespace

const SammonKernels sammon_table = {newton, push};

}  // namespace qvtx::QVTX_ISA
