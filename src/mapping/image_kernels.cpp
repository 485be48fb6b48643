// Distances between images, the stress, and the moves of curvilinear component analysis.

#include "base/exponential.h"
#include "mapping/mapping_kernels.h"

namespace qvtx::QVTX_ISA {

extern const MappingKernels mapping_table;

namespace {

/// Pairs handled at a time: their work rows stay in the first-level cache.
constexpr long block = 256;
/// Pairs with a smaller weight do not interact.
constexpr double least_weight = 0.05;

void image_distances(const ImageView& images, long i, double* d) {
  for (long first = 0; first < images.n; first += block) {
    const long m = images.n - first < block ? images.n - first : block;
    double* out = d + first;
    for (long j = 0; j < m; ++j) out[j] = 0;
    for (long k = images.p - 1; k >= 0; --k) {
      const double* y = images.axes + k * images.stride + first;
      const double pivot = images.axes[k * images.stride + i];
      for (long j = 0; j < m; ++j) {
        const double t = y[j] - pivot;
        out[j] += t * t;
      }
    }
    for (long j = 0; j < m; ++j) out[j] = __builtin_sqrt(out[j]);
  }
}

void add_pair(const double* input, const double* d, long i, long j, StressSums* sums) {
  const double from = input[j];
  if (j == i || !(from > 0)) return;
  const double t = from - d[j];
  sums->error[j % stress_lanes] += t * t / from;
  sums->scale[j % stress_lanes] += from;
}

/// Pairs first .. last - 1 without a pair (i, i) among them; first is a multiple of the lanes.
void add_pairs(const double* input, const double* d, long first, long last, StressSums* sums) {
  StressSums s = *sums;
  for (long j = first; j + stress_lanes <= last; j += stress_lanes) {
    for (long l = 0; l < stress_lanes; ++l) {
      const double from = input[j + l];
      const double t = from - d[j + l];
      const bool counts = from > 0;
      s.error[l] += counts ? t * t / from : 0.0;
      s.scale[l] += counts ? from : 0.0;
    }
  }
  *sums = s;
  for (long j = last - (last - first) % stress_lanes; j < last; ++j) add_pair(input, d, -1, j, sums);
}

void stress(const double* input, const double* d, long i, long n, StressSums* sums) {
  const long own = i - i % stress_lanes;  // the group of lanes that holds the pair (i, i)
  const long after = own + stress_lanes < n ? own + stress_lanes : n;
  add_pairs(input, d, 0, own, sums);
  for (long j = own; j < after; ++j) add_pair(input, d, i, j, sums);
  add_pairs(input, d, after, n, sums);
}

struct Step {
  double width;
  double operator()(double x) const { return x <= width ? 1.0 : 0.0; }
};
struct Linear {
  double scale;
  double operator()(double x) const {
    const double f = 1.0 - x * scale;
    return f > 0 ? f : 0.0;
  }
};
struct Exponential {
  double scale;
  double operator()(double x) const { return fixed_exp(x * scale); }
};
struct Gaussian {
  double scale;
  double operator()(double x) const {
    const double t = x * scale;
    return fixed_exp(-3.0 * (t * t));
  }
};

/// Weights of m pairs; share: of the input distance.
template <class F>
void weights(const F& neighbourhood, double share, const double* input, const double* d, long m, double* weight) {
  if (share == 0) {
    for (long j = 0; j < m; ++j) weight[j] = neighbourhood(d[j]);
  } else {
    const double rest = 1.0 - share;
    for (long j = 0; j < m; ++j) weight[j] = share * neighbourhood(input[j]) + rest * neighbourhood(d[j]);
  }
}

double largest(const double* input, const double* d, long m) {
  double top[8] = {};
  long j = 0;
  for (; j + 8 <= m; j += 8) {
    for (long l = 0; l < 8; ++l) {
      const double x = input[j + l] < 0 ? 0.0 : d[j + l];
      top[l] = x > top[l] ? x : top[l];
    }
  }
  for (; j < m; ++j) {
    const double x = input[j] < 0 ? 0.0 : d[j];
    top[0] = x > top[0] ? x : top[0];
  }
  for (long l = 1; l < 8; ++l) top[0] = top[l] > top[0] ? top[l] : top[0];
  return top[0];
}

/// Turns weights into steps of the images; 0 weight marks a pair that does not interact. Returns the active pairs.
long steps(double step, const double* input, const double* d, long m, double* weight, double* move) {
  long active = 0;
  for (long j = 0; j < m; ++j) {
    const double from = input[j];
    const double to = d[j];
    const bool acts = (from >= 0) & (to > 0) & (weight[j] >= least_weight);
    const bool away = to <= from;
    const double square = from * from;
    const double numerator = away ? (square - to * to) * 0.5 : from - to;
    const double denominator = away ? square : to;
    move[j] = numerator / denominator * weight[j] * step;
    weight[j] = acts ? 1.0 : 0.0;
    active += acts ? 1 : 0;
  }
  return active;
}

template <class F>
long move_images(const F& neighbourhood, const CdaPivot& pivot, const double* input, const double* d,
                 const ImageView& images, double* dmax) {
  double weight[block];
  double move[block];
  long active = 0;
  for (long first = 0; first < images.n; first += block) {
    const long m = images.n - first < block ? images.n - first : block;
    const double top = largest(input + first, d + first, m);
    if (top > *dmax) *dmax = top;
    weights(neighbourhood, pivot.input_share, input + first, d + first, m, weight);
    const long acting = steps(pivot.step, input + first, d + first, m, weight, move);
    if (acting == 0) continue;
    active += acting;
    for (long k = images.p - 1; k >= 0; --k) {
      double* y = images.axes + k * images.stride + first;
      const double origin = images.axes[k * images.stride + pivot.i];
      for (long j = 0; j < m; ++j) {
        const double moved = y[j] + (y[j] - origin) * move[j];
        y[j] = weight[j] > 0 ? moved : y[j];
      }
    }
  }
  return active;
}

long cda_move(const CdaPivot& pivot, const double* input, const double* d, const ImageView& images, double* dmax) {
  switch (pivot.function) {
    case 1: return move_images(Linear{0.95 / pivot.width}, pivot, input, d, images, dmax);
    case 2: return move_images(Exponential{-3.0 / pivot.width}, pivot, input, d, images, dmax);
    case 3: return move_images(Gaussian{1.0 / pivot.width}, pivot, input, d, images, dmax);
    default: return move_images(Step{pivot.width}, pivot, input, d, images, dmax);
  }
}

}  // namespace

const MappingKernels mapping_table = {image_distances, stress, cda_move};

}  // namespace qvtx::QVTX_ISA
