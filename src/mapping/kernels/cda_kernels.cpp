// The moves of curvilinear component analysis. One pivot's pass over all images is what an epoch consists of,
// and square roots, divisions and exponentials are its price.
//
// All neighbourhood functions fall below the least weight right behind the pivot's width, so a pair that lies
// beyond it (in the map and, if that counts, in the input) does not act. Where few pairs act, they are picked
// out by their squared distances, and the others cost no more than these. The rows of input distances come
// from far in memory, each once an epoch: the next one is called for while this one is worked on.

#include "mapping/kernels/cda_kernels.h"

#include "base/vector_group.h"

namespace qvtx::QVTX_ISA {
namespace {

/// Pairs with a smaller weight do not interact.
constexpr double least_weight = 0.05;
/// Where to cut, in widths. Behind 1 no function exceeds the least weight in exact arithmetic; the linear
/// one, the slowest, is below it by 0.95e-6 here, against rounding errors of some 1e-15.
constexpr double cut_margin = 1.000001;
/// Smallest squared cut. Squares below it lose digits, so that they cannot be told from the cut.
constexpr double least_square = 1e-290;

/// Images of which the pairs that act are picked out at a time.
constexpr long block = 2048;
static_assert(image_padding % group == 0 && block % image_padding == 0);

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
  void move_one(long j, double factor) const {
    for (int k = count - 1; k >= 0; --k) axis[k][j] += (axis[k][j] - origin[k]) * factor;
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
  void move_one(long j, double factor) const {
    for (long k = images.p - 1; k >= 0; --k) {
      double* axis = images.axes + k * images.stride;
      axis[j] += (axis[j] - axis[i]) * factor;
    }
  }
};

/// Output distances measured between the images.
template <class Axes>
struct MeasuredDistances {
  Axes axes;

  /// What a cut is compared with.
  Vec measure(long first) const { return axes.squares(first); }
  static void distances(Vec (&measures)[parts]) { fast_roots<2>(measures); }
  static Vec distance(Vec measure) { return root(measure); }
  static double limit(double cut) { return cut * cut < least_square ? least_square : cut * cut; }
};

/// Output distances that were computed before.
struct KnownDistances {
  const double* d;

  Vec measure(long first) const { return load(d + first); }
  static void distances(Vec (&)[parts]) {}
  static Vec distance(Vec measure) { return measure; }
  static double limit(double cut) { return cut; }
};

// ---- Neighbourhood functions of a group ----

struct Step {
  double width;
  void weigh(Vec (&x)[parts]) const {
    for (Vec& v : x) v = select(at_least(broadcast(width), v), broadcast(1.0), Vec{});
  }
};
struct Linear {
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (Vec& v : x) {
      const Vec f = 1.0 - v * scale;
      v = select(above(f, Vec{}), f, Vec{});
    }
  }
};
struct Exponential {
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (Vec& v : x) v *= scale;
    exponentials(x);
  }
};
struct Gaussian {
  double scale;
  void weigh(Vec (&x)[parts]) const {
    for (Vec& v : x) {
      const Vec t = v * scale;
      v = -3.0 * (t * t);
    }
    exponentials(x);
  }
};

/// Multiplies factors by the weights of the output distances, and takes out pairs of too small a weight.
template <class Neighbourhood>
inline void apply(const Neighbourhood& neighbourhood, const Vec (&to)[parts], Vec (&factor)[parts],
                  Mask (&acts)[parts]) {
  Vec weight[parts];
  for (int i = 0; i < parts; ++i) weight[i] = to[i];
  neighbourhood.weigh(weight);
  for (int i = 0; i < parts; ++i) {
    acts[i] &= at_least(weight[i], broadcast(least_weight));
    factor[i] *= weight[i];
  }
}
/// All weights are 1.
inline void apply(const Step& step, const Vec (&to)[parts], Vec (&)[parts], Mask (&acts)[parts]) {
  for (int i = 0; i < parts; ++i) acts[i] &= at_least(broadcast(step.width), to[i]);
}
/// Weights that are clipped at 0 are too small anyway.
inline void apply(const Linear& linear, const Vec (&to)[parts], Vec (&factor)[parts], Mask (&acts)[parts]) {
  for (int i = 0; i < parts; ++i) {
    const Vec weight = 1.0 - to[i] * linear.scale;
    acts[i] &= at_least(weight, broadcast(least_weight));
    factor[i] *= weight;
  }
}

// ---- Picking out ----

/// Writes the lanes of a mask, close together, and the numbers of these lanes, the first of which has the
/// number `first`. What lies behind them in a vector's length is overwritten. Returns how many they are.
inline long pick(double* to, int* numbers, Vec v, long first, unsigned mask) {
#if defined(__AVX512F__)
  const auto lanes_of_mask = static_cast<__mmask8>(mask);
  store(to, _mm512_maskz_compress_pd(lanes_of_mask, v));
  const __m256i all =
      _mm256_add_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), _mm256_set1_epi32(static_cast<int>(first)));
  _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(numbers), _mm256_maskz_compress_epi32(lanes_of_mask, all));
  return __builtin_popcount(mask);
#else
  long count = 0;
  for (int l = 0; l < lanes; ++l) {
    to[count] = v[l];
    numbers[count] = static_cast<int>(first) + l;
    count += mask >> l & 1;
  }
  return count;
#endif
}

// ---- The pass ----

/// How far images go, at weight and step 1, in units of their distance from the pivot.
[[gnu::always_inline]] inline void displacements(const Vec (&from)[parts], const Vec (&to)[parts],
                                                 Vec (&result)[parts]) {
  Vec divisor[parts];
  for (int i = 0; i < parts; ++i) {
    const Mask nearer = at_least(from[i], to[i]);
    divisor[i] = select(nearer, from[i] * from[i], to[i]);
    result[i] = select(nearer, (divisor[i] - to[i] * to[i]) * 0.5, from[i] - to[i]);
  }
  for (int i = 0; i < parts; ++i) result[i] /= divisor[i];
}

/// The larger of the top and the measure of a pair, which counts when the pair interacts.
inline Vec larger(Vec top, Vec from, Vec measure) {
#if defined(__AVX512F__)
  const __mmask8 interacts = _mm512_cmp_pd_mask(from, Vec{}, _CMP_NLT_UQ);
  return _mm512_mask_max_pd(top, interacts, measure, top);  // the second of two, if one is NaN
#else
  const Vec counted = select(above(Vec{}, from), Vec{}, measure);
  return select(above(counted, top), counted, top);
#endif
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

  /// Handles the images first .. first + m - 1, m a multiple of the padding. soon: m numbers that the next
  /// pass will want.
  void run(const double* input, const double* soon, long first, long m) {
    const long count = sort_out(input, soon, first, m);
    for (long k = 0; k < count; ++k) from_[k] = input[numbers_[k]];
    const double* measures = measures_;
    for_factors(
        from_, count, [=](long k, Vec) { return load(measures + k); },
        [=, this](long k, Mask acts, Vec factor) {
          double factors[lanes];
          store(factors, factor);
          for (unsigned left = mask_of(acts); left != 0; left &= left - 1) {
            const int l = __builtin_ctz(left);
            axes_.move_one(first + numbers_[k + l], factors[l]);
          }
        });
  }
  /// The same without sorting out: cheaper where many pairs act.
  void run_crowded(const double* input, const double* soon, long first, long m) {
    const Distances distances = distances_;
    const Axes axes = axes_;
    Vec top = top_;
    for_factors(
        input, m,
        [=, &top](long j, Vec from) {
          const Vec measure = distances.measure(first + j);
          top = larger(top, from, measure);
          __builtin_prefetch(soon + j, 0, 2);
          return measure;
        },
        [=](long j, Mask acts, Vec factor) { axes.move(first + j, acts, factor); });
    top_ = top;
  }
  /// Raises *dmax to the largest distance of an interacting pair.
  void raise(double* dmax) const {
    const Vec distance = Distances::distance(top_);  // the root of the largest square is the largest root
    for (int l = 0; l < lanes; ++l)
      if (distance[l] > *dmax) *dmax = distance[l];
  }
  long active() const { return active_; }

 private:
  /// Picks out the pairs that may act, and fills up the last group with pairs that do not; returns how many
  /// there are, those of the fill included.
  long sort_out(const double* input, const double* soon, long first, long m) {
    const Distances distances = distances_;
    const double limit = limit_, cut = cut_, share = share_;
    Vec top = top_;
    long count = 0;
    for (long j = 0; j < m; j += lanes) {
      const Vec from = load(input + j);
      const Vec to = distances.measure(first + j);
      top = larger(top, from, to);
      __builtin_prefetch(soon + j, 0, 2);
      Mask beyond = above(to, broadcast(limit));  // which a NaN is not
      if (share > 0) beyond &= above(from, broadcast(cut));
      const unsigned mask = mask_of(static_cast<Mask>(~beyond & at_least(from, Vec{})));
      count += pick(measures_ + count, numbers_ + count, to, j, mask);
    }
    top_ = top;
    for (; count % group != 0; ++count) {
      measures_[count] = 0.0;
      numbers_[count] = 0;
    }
    return count;
  }

  /// Calls move(j, acts, factor) for every vector of `count` pairs, a multiple of the group: which of them
  /// act, and how far. measure(j, from) tells the measures of the vector's output distances.
  template <class Measure, class Move>
  [[gnu::always_inline]] void for_factors(const double* input, long count, Measure measure, Move move) {
    const Neighbourhood neighbourhood = neighbourhood_;
    const double share = share_, step = step_;
    long active = 0;
    for (long j = 0; j < count; j += group) {
      Vec from[parts], to[parts], factor[parts];
      Mask acts[parts];
      for (int i = 0; i < parts; ++i) from[i] = load(input + j + i * lanes);
      for (int i = 0; i < parts; ++i) to[i] = measure(j + i * lanes, from[i]);
      Distances::distances(to);
      displacements(from, to, factor);
      for (int i = 0; i < parts; ++i) acts[i] = at_least(from[i], Vec{}) & above(to[i], Vec{});
      if (share > 0) {
        apply_mixed(neighbourhood, share, from, to, factor, acts);
      } else {
        apply(neighbourhood, to, factor, acts);
      }
      for (int i = 0; i < parts; ++i) {
        move(j + i * lanes, acts[i], factor[i] * step);
        active += __builtin_popcount(mask_of(acts[i]));
      }
    }
    active_ += active;
  }
  static void apply_mixed(const Neighbourhood& neighbourhood, double share, const Vec (&from)[parts],
                          const Vec (&to)[parts], Vec (&factor)[parts], Mask (&acts)[parts]) {
    Vec input_weight[parts], weight[parts];
    for (int i = 0; i < parts; ++i) input_weight[i] = from[i];
    for (int i = 0; i < parts; ++i) weight[i] = to[i];
    neighbourhood.weigh(input_weight);
    neighbourhood.weigh(weight);
    for (int i = 0; i < parts; ++i) {
      const Vec mixed = share * input_weight[i] + (1.0 - share) * weight[i];
      acts[i] &= at_least(mixed, broadcast(least_weight));
      factor[i] *= mixed;
    }
  }

  static constexpr long room = block + group;

  const Neighbourhood neighbourhood_;
  const Distances distances_;
  const Axes axes_;
  const double cut_, limit_, share_, step_;
  Vec top_{};  // largest measures of interacting pairs
  long active_ = 0;
  // Of the pairs picked out:
  double measures_[room];
  double from_[room];
  int numbers_[room];
};

template <class Neighbourhood, class Distances, class Axes>
long run_pass(const Neighbourhood& neighbourhood, const Distances& distances, const Axes& axes,
              const CdaPivot& pivot, const PairRow& row, long n, double* dmax) {
  Pass<Neighbourhood, Distances, Axes> pass(neighbourhood, distances, axes, pivot);
  const auto run = [&](const double* from, const double* soon, long first, long m) {
    pivot.crowded ? pass.run_crowded(from, soon, first, m) : pass.run(from, soon, first, m);
  };
  const long whole = n / image_padding * image_padding;
  for (long first = 0; first < whole; first += block)
    run(row.input + first, row.soon + first, first, whole - first < block ? whole - first : block);
  if (whole < n) {
    double rest[image_padding];
    for (long l = 0; l < image_padding; ++l) rest[l] = whole + l < n ? row.input[whole + l] : -1.0;
    run(rest, rest, whole, image_padding);
  }
  pass.raise(dmax);
  return pass.active();
}

template <class Neighbourhood>
long move_images(const Neighbourhood& neighbourhood, const CdaPivot& pivot, const PairRow& row,
                 const ImageView& images, double* dmax) {
  if (!row.d && images.p == 2) {
    const FewAxes<2> axes(images, row.i);
    return run_pass(neighbourhood, MeasuredDistances<FewAxes<2>>{axes}, axes, pivot, row, images.n, dmax);
  }
  const ManyAxes axes{images, row.i};
  if (!row.d)
    return run_pass(neighbourhood, MeasuredDistances<ManyAxes>{axes}, axes, pivot, row, images.n, dmax);
  return run_pass(neighbourhood, KnownDistances{row.d}, axes, pivot, row, images.n, dmax);
}

long cda_move(const CdaPivot& pivot, const PairRow& row, const ImageView& images, double* dmax) {
  switch (pivot.function) {
    case 1:
      return move_images(Linear{0.95 / pivot.width}, pivot, row, images, dmax);
    case 2:
      return move_images(Exponential{-3.0 / pivot.width}, pivot, row, images, dmax);
    case 3:
      return move_images(Gaussian{1.0 / pivot.width}, pivot, row, images, dmax);
    default:
      return move_images(Step{pivot.width}, pivot, row, images, dmax);
  }
}

}  // namespace

const CdaKernels cda_kernels = {cda_move};

}  // namespace qvtx::QVTX_ISA
