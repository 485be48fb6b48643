// The moves of curvilinear component analysis. One pivot's pass over all images is what an epoch consists of,
// and square roots, divisions and exponentials are its price.
//
// All neighbourhood functions fall below the least weight right behind the pivot's width, so a pair that lies
// beyond it (in the map and, if that counts, in the input) does not act. Such pairs are sorted out by their
// squared distances and the others packed together; every phase of the work is a loop of its own over a block
// of images, short enough that the processor works on many vectors at a time.

#include "mapping/pivot_kernels.h"

#include "base/exponential.h"
#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {

extern const PivotKernels pivot_table;

namespace {

/// Pairs with a smaller weight do not interact.
constexpr double least_weight = 0.05;
/// Where to cut, in widths. Behind 1 no function exceeds the least weight in exact arithmetic; the linear
/// one, the slowest, is below it by 0.95e-6 here, against rounding errors of some 1e-15.
constexpr double cut_margin = 1.000001;
/// Smallest squared cut. Squares below it lose digits, so that they cannot be told from the cut.
constexpr double least_square = 1e-290;

/// Images handled at a time: their work rows stay in the first-level cache.
constexpr long block = 256;
/// Vectors that a loop takes side by side at most.
constexpr int most_parts = 16 / lanes;
static_assert(image_padding % (most_parts * lanes) == 0 && block % image_padding == 0);

// ---- Where distances come from ----

/// The images seen from the pivot: their axes, of which the compiler knows the number. By value, as
/// everything in the hot loops: what a vector store could change in memory would be read again after every
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
  void move(long first, Mask acts, Vec factor) const {
    for (int k = count - 1; k >= 0; --k) {
      const Vec y = load(axis[k] + first);
      store(axis[k] + first, select(acts, y + (y - origin[k]) * factor, y));
    }
  }
};

/// The same for any number of axes.
struct ManyAxes {
  ImageView images;
  long i;

  Vec squares(long first) const {
    Vec sum{};
    for (long k = images.p - 1; k >= 0; --k) {
      const double* axis = images.axes + k * images.stride;
      const Vec t = load(axis + first) - axis[i];
      sum += t * t;
    }
    return sum;
  }
  void move(long first, Mask acts, Vec factor) const {
    for (long k = images.p - 1; k >= 0; --k) {
      double* axis = images.axes + k * images.stride;
      const Vec y = load(axis + first);
      store(axis + first, select(acts, y + (y - axis[i]) * factor, y));
    }
  }
};

/// Output distances measured between the images.
template <class Axes>
struct MeasuredDistances {
  Axes axes;

  /// What a cut is compared with.
  Vec measure(long first) const { return axes.squares(first); }
  static Vec distance(Vec measure) { return fast_root(measure); }
  /// The same bits, cheaper in a long loop, where the processor finds other work beside.
  static Vec slow_distance(Vec measure) { return root(measure); }
  static double limit(double cut) { return cut * cut < least_square ? least_square : cut * cut; }
};

/// Output distances that were computed before.
struct KnownDistances {
  const double* d;

  Vec measure(long first) const { return load(d + first); }
  static Vec distance(Vec measure) { return measure; }
  static Vec slow_distance(Vec measure) { return measure; }
  static double limit(double cut) { return cut; }
};

// ---- Neighbourhood functions of a group of `parts` vectors ----

// Exponentials are computed for several vectors side by side, to hide the latency of their polynomial.
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
  void weigh(Vec (&x)[parts]) const {
    x[0] = select(at_least(broadcast(width), x[0]), broadcast(1.0), Vec{});
  }
};
struct Linear {
  static constexpr int parts = 1;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    const Vec f = 1.0 - x[0] * scale;
    x[0] = select(above(f, Vec{}), f, Vec{});
  }
};
struct Exponential {
  static constexpr int parts = most_parts;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (int i = 0; i < parts; ++i) x[i] *= scale;
    exponentials(x);
  }
};
struct Gaussian {
  static constexpr int parts = most_parts;
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (int i = 0; i < parts; ++i) {
      const Vec t = x[i] * scale;
      x[i] = -3.0 * (t * t);
    }
    exponentials(x);
  }
};

// ---- Packing ----

/// Writes the lanes of a mask, close together; returns how many numbers were taken. Without an instruction
/// for it whole vectors are packed, those with a lane of the mask.
inline long pack(double* to, Vec v, unsigned mask) {
#if defined(__AVX512F__)
  store(to, _mm512_maskz_compress_pd(static_cast<__mmask8>(mask), v));
  return __builtin_popcount(mask);
#else
  store(to, v);
  return mask != 0 ? lanes : 0;
#endif
}

/// A packed number for a pair that does not act: a signalling NaN, which no arithmetic returns.
constexpr long long rests = 0x7ff0000000000001LL;
/// What `pack` wrote for a mask, back in its lanes, `rests` in those that were not packed.
inline Vec unpack(const double* from, unsigned mask) {
  const Vec none = (Vec)(Bits{} + rests);
#if defined(__AVX512F__)
  return _mm512_mask_expandloadu_pd(none, static_cast<__mmask8>(mask), from);
#else
  const Bits live = Bits{} - static_cast<long long>(mask != 0);  // a branch would be a guess
  return live ? load(from) : none;
#endif
}
/// The lanes of unpacked factors whose pairs act.
inline Mask unpacked(Vec factor) {
#if defined(__AVX512F__)
  return _mm512_cmpneq_epi64_mask(_mm512_castpd_si512(factor), _mm512_set1_epi64(rests));
#else
  return (Bits)factor != Bits{} + rests;
#endif
}
inline long count_of(Mask m) { return __builtin_popcount(mask_of(m)); }
inline long packed_count(unsigned mask) {
#if defined(__AVX512F__)
  return __builtin_popcount(mask);
#else
  return mask != 0 ? lanes : 0;
#endif
}

// ---- The pass ----

/// How far an image goes, at weight and step 1, in units of its distance from the pivot.
inline Vec displacement(Vec from, Vec to) {
  const Mask nearer = at_least(from, to);
  const Vec square = from * from;
  const Vec numerator = select(nearer, (square - to * to) * 0.5, from - to);
  return numerator / select(nearer, square, to);
}

/// Which pairs act.
inline Mask acting(Vec from, Vec to, Vec weight) {
  return static_cast<Mask>(at_least(from, Vec{}) & above(to, Vec{}) &
                           at_least(weight, broadcast(least_weight)));
}

/// The larger of the top and the measure of a pair, which counts when the pair interacts.
inline Vec larger(Vec top, Vec from, Vec measure) {
  const Vec counted = select(above(Vec{}, from), Vec{}, measure);
  return select(above(counted, top), counted, top);
}

/// One pivot's pass over the images.
template <class Neighbourhood, class Distances, class Axes>
class Pass {
 public:
  Pass(const Neighbourhood& neighbourhood, const Distances& distances, const Axes& axes,
       const CdaPivot& pivot)
      : neighbourhood_(neighbourhood),
        distances_(distances),
        axes_(axes),
        cut_(pivot.width * cut_margin),
        limit_(Distances::limit(cut_)),
        share_(pivot.input_share),
        step_(pivot.step) {}

  /// Handles the images first .. first + m - 1, m a multiple of the lanes.
  void run(const double* input, long first, long m) {
    const long count = sort_out(input, first, m);
    weigh(count);
    move(first, m);
  }
  /// The same in one loop, without sorting out: cheaper where nearly all pairs act.
  void run_crowded(const double* input, long first, long m) {
    constexpr long group = parts * lanes;
    const Distances distances = distances_;
    const Axes axes = axes_;
    const Neighbourhood neighbourhood = neighbourhood_;
    const double share = share_, step = step_;
    Vec top = top_;
    Vec count{};
    for (long j = 0; j < m; j += group) {
      Vec to[parts], weight[parts];
      for (int i = 0; i < parts; ++i) {
        to[i] = distances.measure(first + j + i * lanes);
        top = larger(top, load(input + j + i * lanes), to[i]);
        weight[i] = to[i] = Distances::slow_distance(to[i]);
      }
      neighbourhood.weigh(weight);
      if (share > 0) mix_input_weights(input + j, weight);
      for (int i = 0; i < parts; ++i) {
        const Vec from = load(input + j + i * lanes);
        const Mask acts = acting(from, to[i], weight[i]);
        axes.move(first + j + i * lanes, acts, displacement(from, to[i]) * weight[i] * step);
        count += select(acts, broadcast(1.0), Vec{});
      }
    }
    top_ = top;
    for (int l = 0; l < lanes; ++l) active_ += static_cast<long>(count[l]);
  }
  /// Raises *dmax to the largest distance of an interacting pair.
  void raise(double* dmax) const {
    const Vec distance = Distances::distance(top_);  // the root of the largest square is the largest root
    for (int l = 0; l < lanes; ++l)
      if (distance[l] > *dmax) *dmax = distance[l];
  }
  long active() const { return active_; }

 private:
  /// Packs the pairs that may act; returns how many numbers.
  long sort_out(const double* input, long first, long m) {
    const Distances distances = distances_;
    const double limit = limit_, cut = cut_, share = share_;
    Vec top = top_;
    long count = 0;
    for (long j = 0; j < m; j += lanes) {
      const Vec from = load(input + j);
      const Vec to = distances.measure(first + j);
      top = larger(top, from, to);
      Mask beyond = above(to, broadcast(limit));  // which a NaN is not
      if (share > 0) beyond &= above(from, broadcast(cut));
      const unsigned mask = mask_of(static_cast<Mask>(~beyond & at_least(from, Vec{})));
      pack(from_ + count, from, mask);
      count += pack(to_ + count, to, mask);
      masks_[j / lanes] = static_cast<unsigned char>(mask);
    }
    top_ = top;
    return count;
  }

  /// Turns measures into factors of the moves.
  void weigh(long count) {
    constexpr long group = parts * lanes;
    for (long j = count; j % group != 0; ++j) {
      from_[j] = -1.0;
      to_[j] = 1.0;
    }
    for (long j = 0; j < count; j += lanes) store(to_ + j, Distances::distance(load(to_ + j)));
    const Neighbourhood neighbourhood = neighbourhood_;
    const double share = share_, step = step_;
    long active = 0;
    for (long j = 0; j < count; j += group) {
      Vec weight[parts];
      for (int i = 0; i < parts; ++i) weight[i] = load(to_ + j + i * lanes);
      neighbourhood.weigh(weight);
      if (share > 0) mix_input_weights(from_ + j, weight);
      for (int i = 0; i < parts; ++i) {
        const Vec from = load(from_ + j + i * lanes);
        const Vec to = load(to_ + j + i * lanes);
        const Mask acts = acting(from, to, weight[i]);
        const Vec factor = displacement(from, to) * weight[i] * step;
        store(to_ + j + i * lanes, select(acts, factor, (Vec)(Bits{} + rests)));
        active += count_of(acts);
      }
    }
    active_ += active;
  }
  void mix_input_weights(const double* from, Vec (&weight)[Neighbourhood::parts]) const {
    Vec input_weight[parts];
    for (int i = 0; i < parts; ++i) input_weight[i] = load(from + i * lanes);
    neighbourhood_.weigh(input_weight);
    for (int i = 0; i < parts; ++i) weight[i] = share_ * input_weight[i] + (1.0 - share_) * weight[i];
  }

  void move(long first, long m) const {
    const Axes axes = axes_;
    const double* packed = to_;
    for (long j = 0; j < m; j += lanes) {
      const unsigned mask = masks_[j / lanes];
      const Vec factor = unpack(packed, mask);
      packed += packed_count(mask);
      axes.move(first + j, unpacked(factor), factor);
    }
  }

  static constexpr int parts = Neighbourhood::parts;

  const Neighbourhood neighbourhood_;
  const Distances distances_;
  const Axes axes_;
  const double cut_, limit_, share_, step_;
  Vec top_{};  // largest measures of interacting pairs
  long active_ = 0;
  alignas(64) double from_[block + most_parts * lanes];
  alignas(64) double to_[block + most_parts * lanes];
  unsigned char masks_[block / lanes];
};

template <class Neighbourhood, class Distances, class Axes>
long run_pass(const Neighbourhood& neighbourhood, const Distances& distances, const Axes& axes,
              const CdaPivot& pivot, const double* input, long n, double* dmax) {
  Pass<Neighbourhood, Distances, Axes> pass(neighbourhood, distances, axes, pivot);
  const auto run = [&](const double* from, long first, long m) {
    pivot.crowded ? pass.run_crowded(from, first, m) : pass.run(from, first, m);
  };
  const long whole = n / image_padding * image_padding;
  for (long first = 0; first < whole; first += block)
    run(input + first, first, whole - first < block ? whole - first : block);
  if (whole < n) {
    double rest[image_padding];
    for (long l = 0; l < image_padding; ++l) rest[l] = whole + l < n ? input[whole + l] : -1.0;
    run(rest, whole, image_padding);
  }
  pass.raise(dmax);
  return pass.active();
}

template <class Neighbourhood>
long move_images(const Neighbourhood& neighbourhood, const CdaPivot& pivot, const double* input,
                 const double* d, const ImageView& images, double* dmax) {
  if (!d && images.p == 2) {
    const FewAxes<2> axes(images, pivot.i);
    return run_pass(neighbourhood, MeasuredDistances<FewAxes<2>>{axes}, axes, pivot, input, images.n, dmax);
  }
  const ManyAxes axes{images, pivot.i};
  if (!d)
    return run_pass(neighbourhood, MeasuredDistances<ManyAxes>{axes}, axes, pivot, input, images.n, dmax);
  return run_pass(neighbourhood, KnownDistances{d}, axes, pivot, input, images.n, dmax);
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

const PivotKernels pivot_table = {cda_move};

}  // namespace qvtx::QVTX_ISA
