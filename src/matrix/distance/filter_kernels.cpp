// Nearest rows of many samples: a search in single precision leaves a few candidates, exact distances decide.
//
// With the centre m, X = |x - m| and R >= |c - m| for every row c, the squared distance is X^2 + 2 q(c) where
// q(c) = |c - m|^2 / 2 - (x - m).(c - m) is the score. Let u = 2^-24.
//
// Error of a score in single precision, E = u (d + 4) (R^2 / 2 + X R) with a tenth to spare: the rounding of
// the centred numbers costs 2 u X R, that of the half square u R^2 / 2, and the d products and subtractions,
// each rounded at most once, gamma(d + 1) (R^2 / 2 + X R) in whatever order (Higham, Accuracy and Stability
// of Numerical Algorithms, 2002, section 3.1; a fused multiply-add errs less). filter_max_columns keeps
// gamma(n) below 1.01 n u. filter_min_radius keeps underflow, at most d 2^-149 (1 + X + R), below the tenth.
//
// The row w that the plain scan finds has the smallest sum in double precision. Such a sum is the squared
// distance but for a factor 1 +- e, e = 1.01 (d + 2) 2^-53. For the row s with the smallest score that means
// |x - w|^2 <= |x - s|^2 (1 + 2.1 e), so q(w) <= q(s) + 1.1 e (X + R)^2, and the computed score of w exceeds
// that of s by at most 2 E + 1.1 e (X + R)^2. All rows within this slack are candidates; w is among them, and
// the plain scan of the candidates alone takes w, since leaving out rows that it does not end on changes no
// later choice: w is the lowest row with the smallest sum. There is no NaN: a sample with X beyond
// filter_max_radius, infinite or NaN is left undecided.

#include "matrix/distance/filter_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

#if defined(__AVX512F__)
constexpr int tile_blocks = 4;  // blocks x queries of scores kept in registers
constexpr int tile_queries = 4;
#elif defined(__AVX2__)
constexpr int tile_blocks = 1;
constexpr int tile_queries = 4;
#else
constexpr int tile_blocks = 1;
constexpr int tile_queries = 2;
#endif
constexpr int block_vectors = static_cast<int>(filter_block) / float_lanes;
constexpr int max_candidates = 32;  // more of them: rows in a heap, where the exact scan is as good

inline FloatVec subtract_product(FloatVec sum, float a, FloatVec b) {
#if defined(__AVX512F__)
  return _mm512_fnmadd_ps(a - FloatVec{}, b, sum);
#else
  return sum - a * b;
#endif
}

inline FloatVec smaller(FloatVec a, FloatVec b) { return a < b ? a : b; }

inline float smallest_lane(FloatVec v) {
  float values[float_lanes];
  store(values, v);
  for (int width = float_lanes / 2; width > 0; width /= 2)
    for (int l = 0; l < width; ++l) values[l] = values[l] < values[l + width] ? values[l] : values[l + width];
  return values[0];
}

// Bit l is set where lane l is at most the limit.
inline unsigned at_most(FloatVec v, float limit) {
#if defined(__AVX512F__)
  return _mm512_cmp_ps_mask(v, limit - FloatVec{}, _CMP_LE_OQ);
#elif defined(__AVX2__)
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(v, limit - FloatVec{}, _CMP_LE_OQ)));
#elif defined(__SSE2__)
  return static_cast<unsigned>(_mm_movemask_ps(_mm_cmple_ps(v, limit - FloatVec{})));
#else
  unsigned bits = 0;
  for (int l = 0; l < float_lanes; ++l) bits |= static_cast<unsigned>(v[l] <= limit) << l;
  return bits;
#endif
}

// Scores of `blocks` blocks for `queries` samples, and the smallest of every lane. x: centred samples, d
// numbers apart; scores: `padded` numbers apart.
// Called out of line it would cost a fifth more.
template <int blocks, int queries>
[[gnu::always_inline]] inline void score_tile(const FilterTable& table, long block, const float* x,
                                              long padded, float* scores, FloatVec* smallest) {
  constexpr int width = blocks * block_vectors;
  const long d = table.d;
  const float* packed = table.packed + block * filter_block * d;
  FloatVec score[queries][width];
  for (int v = 0; v < width; ++v) {
    const FloatVec half = load(table.half_squares + block * filter_block + v * float_lanes);
    for (int q = 0; q < queries; ++q) score[q][v] = half;
  }
  for (long k = 0; k < d; ++k) {
    FloatVec row[width];
    for (int b = 0; b < blocks; ++b)
      for (int v = 0; v < block_vectors; ++v)
        row[b * block_vectors + v] = load(packed + (b * d + k) * filter_block + v * float_lanes);
    for (int q = 0; q < queries; ++q)
      for (int v = 0; v < width; ++v) score[q][v] = subtract_product(score[q][v], x[q * d + k], row[v]);
  }
  for (int q = 0; q < queries; ++q)
    for (int v = 0; v < width; ++v) {
      store(scores + q * padded + block * filter_block + v * float_lanes, score[q][v]);
      smallest[q] = smaller(smallest[q], score[q][v]);
    }
}

// Centres a sample in single precision; returns |x - m|.
double centre_sample(const FilterTable& table, const double* x, float* centred) {
  double square = 0.0;
  for (long k = 0; k < table.d; ++k) {
    const double difference = x[k] - table.centre[k];
    square += difference * difference;
    centred[k] = static_cast<float>(difference);
  }
  return __builtin_sqrt(square);
}

// Largest error of a score.
double score_error(const FilterTable& table, double length) {
  const double n = static_cast<double>(table.d);
  return 1.1 * 0x1p-24 * (n + 4.0) * table.radius * (0.5 * table.radius + length);
}

// Largest score that one of the k nearest rows can have when k rows have scores up to `score`, rounded up.
float candidate_limit(const FilterTable& table, double length, float score) {
  const double n = static_cast<double>(table.d);
  const double reach = length + table.radius;
  const double limit = static_cast<double>(score) + 2.0 * score_error(table, length) +
                       1.3 * 0x1p-53 * (n + 4.0) * reach * reach;
  return static_cast<float>(limit + __builtin_fabs(limit) * 0x1p-23);
}

// The plain scan of the candidates: their rows downward, the sums from the last coordinate to the first.
long exact_nearest(const FilterTable& table, const double* x, const long* candidates, int count) {
  double limit = __builtin_inf();
  long found = -1;
  for (int c = count - 1; c >= 0; --c) {
    const double* row = table.rows + candidates[c] * table.d;
    double sum = 0.0;
    for (long k = table.d - 1; k >= 0 && sum <= limit; --k) {
      const double difference = row[k] - x[k];
      sum += difference * difference;
    }
    if (sum > limit) continue;
    limit = sum;
    found = candidates[c];
  }
  return found;
}

long decide(const FilterTable& table, const double* x, const float* scores, long padded, float limit) {
  long candidates[max_candidates + float_lanes];
  int count = 0;
  for (long first = 0; first < padded; first += float_lanes) {
    for (unsigned bits = at_most(load(scores + first), limit); bits != 0; bits &= bits - 1)
      candidates[count++] = first + __builtin_ctz(bits);
    if (count > max_candidates) return -1;
  }
  return count == 1 ? candidates[0] : exact_nearest(table, x, candidates, count);
}

void search_group(const FilterTable& table, const double* samples, long count, long* idx, float* work) {
  const long blocks = (table.n + filter_block - 1) / filter_block;
  const long padded = blocks * filter_block;
  float* centred = work;
  float* scores = work + filter_queries * table.d;
  double length[filter_queries];
  FloatVec smallest[filter_queries];
  for (long q = 0; q < filter_queries; ++q) {
    const long sample = q < count ? q : count - 1;
    length[q] = centre_sample(table, samples + sample * table.d, centred + q * table.d);
    smallest[q] = __builtin_inff() - FloatVec{};
  }
  for (long q = 0; q < filter_queries; q += tile_queries) {
    const float* x = centred + q * table.d;
    float* out = scores + q * padded;
    long b = 0;
    for (; b + tile_blocks <= blocks; b += tile_blocks)
      score_tile<tile_blocks, tile_queries>(table, b, x, padded, out, smallest + q);
    for (; b < blocks; ++b) score_tile<1, tile_queries>(table, b, x, padded, out, smallest + q);
  }
  for (long q = 0; q < count; ++q) {
    const float limit = candidate_limit(table, length[q], smallest_lane(smallest[q]));
    idx[q] = length[q] <= filter_max_radius
                 ? decide(table, samples + q * table.d, scores + q * padded, padded, limit)
                 : -1;
  }
}

void search_all(const FilterTable& table, const double* samples, long count, long* idx, float* work) {
  for (long first = 0; first < count; first += filter_queries)
    search_group(table, samples + first * table.d,
                 count - first < filter_queries ? count - first : filter_queries, idx + first, work);
}

void score_blocks(const FilterTable& table, long first_block, long blocks, const float* centred,
                  float* scores) {
  FilterTable part = table;
  part.packed += first_block * filter_block * table.d;
  part.half_squares += first_block * filter_block;
  FloatVec smallest[filter_queries];
  for (FloatVec& s : smallest) s = FloatVec{};
  for (long q = 0; q < filter_queries; q += tile_queries) {
    const float* x = centred + q * table.d;
    float* out = scores + q * blocks * filter_block;
    long b = 0;
    for (; b + tile_blocks <= blocks; b += tile_blocks)
      score_tile<tile_blocks, tile_queries>(part, b, x, blocks * filter_block, out, smallest);
    for (; b < blocks; ++b) score_tile<1, tile_queries>(part, b, x, blocks * filter_block, out, smallest);
  }
}

// The rows fall into groups by their places. Groups with a score up to the limit have a row each, so k + 1 of
// them have k rows other than the one that searches.
float limit_of_nearest(const FilterTable& table, double length, const float* scores, long count, long k) {
  constexpr int vectors = static_cast<int>(filter_groups) / float_lanes;
  constexpr float none = 0x1.fffffep127f;
  FloatVec smallest[vectors];
  for (FloatVec& s : smallest) s = none - FloatVec{};
  for (long first = 0; first < count; first += filter_groups)
    for (int v = 0; v < vectors && first + v * float_lanes < count; ++v)
      smallest[v] = smaller(smallest[v], load(scores + first + v * float_lanes));
  float limit = none;
  for (const FloatVec& s : smallest)
    for (int l = 0; l < float_lanes; ++l) {
      int reached = 0;
      for (const FloatVec& other : smallest) reached += __builtin_popcount(at_most(other, s[l]));
      if (reached > k && s[l] < limit) limit = s[l];
    }
  return limit < none ? candidate_limit(table, length, limit) : none;
}

long select_places(const float* scores, long count, float limit, int* places) {
  long found = 0;
  for (long first = 0; first < count; first += float_lanes)
    for (unsigned bits = at_most(load(scores + first), limit); bits != 0; bits &= bits - 1)
      places[found++] = static_cast<int>(first) + __builtin_ctz(bits);
  return found;
}

// The exact score of such a row is (|x - c|^2 - X^2) / 2, where both squares are known but for their
// rounding.
float limit_of_sum(const FilterTable& table, double length, double sum) {
  const double square = length * length;
  const double exact =
      0.5 * (sum - square) + 4.0 * 0x1p-53 * (static_cast<double>(table.d) + 4.0) * (sum + square);
  const double limit = exact + score_error(table, length);
  return static_cast<float>(limit + __builtin_fabs(limit) * 0x1p-23);
}

}  // namespace

const FilterKernels filter_kernels = {search_all,       centre_sample, score_blocks,
                                      limit_of_nearest, select_places, limit_of_sum};

}  // namespace qvtx::QVTX_ISA
