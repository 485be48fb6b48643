// The winner of a stimulus and the moves towards it.

#include "mapping/kernels/isotop_kernels.h"

#include "base/vector_group.h"

namespace qvtx::QVTX_ISA {
namespace {

/// Vectors of images compared side by side, to hide the latency of the comparisons.
constexpr int chains = 4;
/// Images handled at a time: their work rows stay in the first-level cache.
constexpr long block = 256;
/// Weight of an image that is not pulled. With 0 a -0 would lose its sign, and infinity become NaN.
constexpr double stays = __builtin_nan("");

/// The nearest image met so far.
struct Nearest {
  double square = __builtin_inf();
  long image;

  void take(double s, long j) {
    if (!(s < square) && !(s == square && j < image)) return;
    square = s;
    image = j;
  }
};

/// The same in each lane of a vector, which meets the images upwards.
struct NearestLanes {
  Vec square;
  Bits image;

  void take(Vec s, Bits j) {
    const Bits nearer = s < square;
    square = nearer ? s : square;
    image = nearer ? j : image;
  }
};

/// Squared distances of images. axes: their number, where the compiler should know it; else 0.
template <int axes>
struct Squares {
  const ImageView& images;
  const double* x;

  long count() const { return axes > 0 ? axes : images.p; }
  Vec of_lanes(long first) const {
    Vec sum{};
    for (long k = count() - 1; k >= 0; --k) {
      const Vec t = load(images.axes + k * images.stride + first) - x[k];
      sum += t * t;
    }
    return sum;
  }
  double of_one(long j) const {
    double sum = 0;
    for (long k = count() - 1; k >= 0; --k) {
      const double t = images.axes[k * images.stride + j] - x[k];
      sum += t * t;
    }
    return sum;
  }
};

template <int axes>
long nearest_by(const Squares<axes>& squares, long n) {
  NearestLanes best[chains];
  Bits number;
  for (int l = 0; l < lanes; ++l) number[l] = l;
  for (NearestLanes& lane : best) lane = {broadcast(__builtin_inf()), Bits{} + n};
  long j = 0;
  for (; j + chains * lanes <= n; j += chains * lanes) {
    for (int c = 0; c < chains; ++c) best[c].take(squares.of_lanes(j + c * lanes), number + (j + c * lanes));
  }
  Nearest found;
  found.image = n;
  for (const NearestLanes& lane : best)
    for (int l = 0; l < lanes; ++l) found.take(lane.square[l], static_cast<long>(lane.image[l]));
  for (; j < n; ++j) found.take(squares.of_one(j), j);
  return found.square < __builtin_inf() ? found.image : n;
}

long nearest(const ImageView& images, const double* x) {
  return images.p == 2 ? nearest_by(Squares<2>{images, x}, images.n)
                       : nearest_by(Squares<0>{images, x}, images.n);
}

/// weight[j] becomes exp(-3 (d[j] / width)^2) step.
inline void weigh(const double* d, long m, double width, double step, double* weight) {
  long j = 0;
  for (; j + group <= m; j += group) {
    Vec x[parts];
    for (int i = 0; i < parts; ++i) {
      const Vec rho = load(d + j + i * lanes) / width;
      x[i] = -3.0 * (rho * rho);
    }
    exponentials(x);
    for (int i = 0; i < parts; ++i) store(weight + j + i * lanes, x[i] * step);
  }
  for (; j < m; ++j) {
    const double rho = d[j] / width;
    weight[j] = fixed_exp(-3.0 * (rho * rho)) * step;
  }
}

void pull_near(const IsotopPull& pull, const ImageView& images) {
  const double width = pull.width;
  double weight[block];
  for (long first = 0; first < images.n; first += block) {
    const long m = images.n - first < block ? images.n - first : block;
    const double* d = pull.distance + first;
    weigh(d, m, width, pull.step, weight);
    for (long j = 0; j < m; ++j) {
      const bool near = (d[j] >= 0) & (d[j] <= width);
      weight[j] = near ? weight[j] : stays;
    }
    for (long k = images.p - 1; k >= 0; --k) {
      double* y = images.axes + k * images.stride + first;
      const double target = pull.x[k];
      for (long j = 0; j < m; ++j) {
        const double moved = y[j] + (target - y[j]) * weight[j];
        y[j] = weight[j] == weight[j] ? moved : y[j];
      }
    }
  }
}

void pull_listed(const IsotopPull& pull, const long* order, long m, const ImageView& images) {
  double distance[block];
  double weight[block];
  for (long first = 0; first < m; first += block) {
    const long count = m - first < block ? m - first : block;
    const long* image = order + 2 * first;
    for (long r = 0; r < count; ++r) distance[r] = pull.distance[image[2 * r + 1]];
    weigh(distance, count, pull.width, pull.step, weight);
    for (long k = images.p - 1; k >= 0; --k) {
      double* y = images.axes + k * images.stride;
      const double target = pull.x[k];
      for (long r = 0; r < count; ++r) {
        double& coordinate = y[image[2 * r + 1]];
        coordinate += (target - coordinate) * weight[r];
      }
    }
  }
}

}  // namespace

const IsotopKernels isotop_kernels = {nearest, pull_near, pull_listed};

}  // namespace qvtx::QVTX_ISA
