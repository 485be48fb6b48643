// Distances between images, the stress, and the moves of curvilinear component analysis.

#include "base/exponential.h"
#include "mapping/mapping_kernels.h"
#include "mapping/vector_lanes.h"

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
  for (long j = 0; j < images.n; j += lanes) store(d + j, root(squared<axes>(images, origin, j)));
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

// Curvilinear component analysis. One pivot's pass over all images is what an epoch consists of, and square
// roots, divisions and exponentials are its price. All neighbourhood functions fall below the least weight
// right behind the pivot's width, so a group of images that all lie beyond it (in the map and, if that
// counts, in the input) does not move: such groups are sorted out first, by squared distances, and the rest
// is done for the groups that are left.

/// Pairs with a smaller weight do not interact.
constexpr double least_weight = 0.05;
/// Where to cut, in widths. Behind 1 no function exceeds the least weight in exact arithmetic; the linear
/// one, the slowest, is below it by 0.95e-6 here, against rounding errors of some 1e-15.
constexpr double cut_margin = 1.000001;
/// Smallest squared cut. Squares below it lose digits, so that they cannot be told from the cut.
constexpr double least_square = 1e-290;

/// The images seen from the pivot: their axes, of which the compiler knows the number. By value, as
/// everything in the hot loop: what a vector store could change in memory would be read again after every
/// store.
template <int count>
struct FewAxes {
  double* axis[count];
  double origin[count];

  FewAxes(const ImageView& images, long i) {
    for (int k = 0; k < count; ++k) {
      axis[k] = images.axes + k * images.stride;
      origin[k] = axis[k][i];
    }
  }
  Vec squares(long first) const {
    Vec sum{};
    for (int k = count - 1; k >= 0; --k) {
      const Vec t = load(axis[k] + first) - origin[k];
      sum += t * t;
    }
    return sum;
  }
  void move(long first, Bits acts, Vec factor) const {
    for (int k = count - 1; k >= 0; --k) {
      const Vec y = load(axis[k] + first);
      store(axis[k] + first, acts ? y + (y - origin[k]) * factor : y);
    }
  }
};

/// The same for any number of axes.
struct ManyAxes {
  ImageView images;
  long i;

  Vec squares(long first) const { return squared<0>(images, images.axes + i, first); }
  void move(long first, Bits acts, Vec factor) const {
    for (long k = images.p - 1; k >= 0; --k) {
      double* axis = images.axes + k * images.stride;
      const Vec y = load(axis + first);
      store(axis + first, acts ? y + (y - axis[i]) * factor : y);
    }
  }
};

/// Output distances measured between the images.
template <class Axes>
struct MeasuredDistances {
  Axes axes;

  /// What a cut is compared with.
  Vec measure(long first) const { return axes.squares(first); }
  static Vec distance(Vec measure) { return root(measure); }
  static double limit(double cut) { return cut * cut < least_square ? least_square : cut * cut; }
};

/// Output distances that were computed before.
struct KnownDistances {
  const double* d;

  Vec measure(long first) const { return load(d + first); }
  static Vec distance(Vec measure) { return measure; }
  static double limit(double cut) { return cut; }
};

// Neighbourhood functions of a group of `parts` vectors. Exponentials are computed for several vectors side
// by side, to hide the latency of their polynomial.
constexpr int exponential_parts = 16 / lanes;

template <int parts>
inline void exponentials(Vec (&v)[parts]) {
  double x[parts * lanes];
  for (int i = 0; i < parts; ++i) store(x + i * lanes, v[i]);
  for (int l = 0; l < parts * lanes; ++l) x[l] = fixed_exp(x[l]);
  for (int i = 0; i < parts; ++i) v[i] = load(x + i * lanes);
}

struct Step {
  static constexpr int parts = 1;
  double width;
  void weigh(Vec (&x)[parts]) const { x[0] = x[0] <= width ? broadcast(1.0) : Vec{}; }
};
struct Linear {
  static constexpr int parts = 1;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    const Vec f = 1.0 - x[0] * scale;
    x[0] = f > 0.0 ? f : Vec{};
  }
};
struct Exponential {
  static constexpr int parts = exponential_parts;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (int i = 0; i < parts; ++i) x[i] *= scale;
    exponentials(x);
  }
};
struct Gaussian {
  static constexpr int parts = exponential_parts;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (int i = 0; i < parts; ++i) {
      const Vec t = x[i] * scale;
      x[i] = -3.0 * (t * t);
    }
    exponentials(x);
  }
};

/// How far an image goes, at weight and step 1, in units of its distance from the pivot.
inline Vec displacement(Vec from, Vec to) {
  const Bits nearer = to <= from;
  const Vec square = from * from;
  const Vec numerator = nearer ? (square - to * to) * 0.5 : from - to;
  return numerator / (nearer ? square : to);
}

/// Raises *dmax to the largest of a vector of distances.
inline void raise_to_largest(Vec distance, double* dmax) {
  for (int l = 0; l < lanes; ++l)
    if (distance[l] > *dmax) *dmax = distance[l];
}

/// One pivot's pass over the images; returns the number of active pairs.
template <class Neighbourhood, class Distances, class Axes>
long pass(const Neighbourhood neighbourhood, const Distances distances, const Axes axes,
          const CdaPivot& pivot, const double* input, long n, double* dmax) {
  constexpr int parts = Neighbourhood::parts;
  constexpr long group = parts * lanes;
  static_assert(image_padding % group == 0);
  const double cut = pivot.width * cut_margin;
  const double limit = Distances::limit(cut);
  const double share = pivot.input_share;
  const double step = pivot.step;
  Vec top{};     // largest measures of interacting pairs
  Bits moved{};  // minus the active pairs

  const auto move_group = [&](const double* inputs, long first) {
    Vec from[parts], to[parts], weight[parts];
    Bits within{};
    for (int i = 0; i < parts; ++i) {
      from[i] = load(inputs + i * lanes);
      to[i] = distances.measure(first + i * lanes);
      const Vec counted = from[i] < 0.0 ? Vec{} : to[i];
      top = counted > top ? counted : top;
      Bits beyond = to[i] > limit;  // which a NaN is not
      if (share > 0) beyond &= from[i] > cut;
      within |= ~beyond & (from[i] >= 0.0);
    }
    if (!any(within)) return;

    for (int i = 0; i < parts; ++i) weight[i] = to[i] = Distances::distance(to[i]);
    neighbourhood.weigh(weight);
    if (share > 0) {
      Vec input_weight[parts];
      for (int i = 0; i < parts; ++i) input_weight[i] = from[i];
      neighbourhood.weigh(input_weight);
      for (int i = 0; i < parts; ++i) weight[i] = share * input_weight[i] + (1.0 - share) * weight[i];
    }
    for (int i = 0; i < parts; ++i) {
      const Bits acts = (from[i] >= 0.0) & (to[i] > 0.0) & (weight[i] >= least_weight);
      axes.move(first + i * lanes, acts, displacement(from[i], to[i]) * weight[i] * step);
      moved += acts;  // true is -1
    }
  };

  long first = 0;
  for (; first + group <= n; first += group) move_group(input + first, first);
  if (first < n) {
    double rest[group];
    for (long l = 0; l < group; ++l) rest[l] = first + l < n ? input[first + l] : -1.0;
    move_group(rest, first);
  }
  raise_to_largest(Distances::distance(top), dmax);  // the root of the largest square is the largest root
  long active = 0;
  for (int l = 0; l < lanes; ++l) active -= static_cast<long>(moved[l]);
  return active;
}

template <class Neighbourhood>
long move_images(const Neighbourhood& neighbourhood, const CdaPivot& pivot, const double* input,
                 const double* d, const ImageView& images, double* dmax) {
  if (!d && images.p == 2) {
    const FewAxes<2> axes(images, pivot.i);
    return pass(neighbourhood, MeasuredDistances<FewAxes<2>>{axes}, axes, pivot, input, images.n, dmax);
  }
  const ManyAxes axes{images, pivot.i};
  if (!d) return pass(neighbourhood, MeasuredDistances<ManyAxes>{axes}, axes, pivot, input, images.n, dmax);
  return pass(neighbourhood, KnownDistances{d}, axes, pivot, input, images.n, dmax);
}

long cda_move(const CdaPivot& pivot, const double* input, const double* d, const ImageView& images,
              double* dmax) {
  switch (pivot.function) {
    case 1:
      return move_images(Linear{0.95 / pivot.width}, pivot, input, d, images, dmax);
    case 2:
      return move_images(Exponential{-3.0 / pivot.width}, pivot, input, d, images, dmax);
    case 3:
      return move_images(Gaussian{1.0 / pivot.width}, pivot, input, d, images, dmax);
    default:
      return move_images(Step{pivot.width}, pivot, input, d, images, dmax);
  }
}

}  // namespace

const MappingKernels mapping_table = {image_distances, stress, cda_move};

}  // namespace qvtx::QVTX_ISA
