// A sorting network in vector registers. Positive doubles are ordered like their bit patterns, so that a row
// number in the lowest bits travels along with its number and no index has to be moved.
//
// The keys stand in as many columns as a register has lanes. Each column is sorted by itself, register
// against register; then columns are merged two by two with Batcher's bitonic merger ("Sorting networks and
// their applications", AFIPS Spring Joint Computer Conference 32, 1968) in the form whose first step compares
// mirrored places, so that all comparators point the same way. Only that step and the few that compare whole
// columns move numbers across lanes.

#include "matrix/sort/sort_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

inline Vec smaller(Vec a, Vec b) {
#if defined(__AVX512F__)
  return _mm512_mask_min_pd(a, 0xff, a, b);
#elif defined(__AVX2__)
  return _mm256_min_pd(a, b);
#elif defined(__SSE2__)
  return _mm_min_pd(a, b);
#else
  return a < b ? a : b;
#endif
}

inline Vec larger(Vec a, Vec b) {
#if defined(__AVX512F__)
  return _mm512_mask_max_pd(a, 0xff, a, b);
#elif defined(__AVX2__)
  return _mm256_max_pd(a, b);
#elif defined(__SSE2__)
  return _mm_max_pd(a, b);
#else
  return a < b ? b : a;
#endif
}

inline void compare(Vec& low, Vec& high) {
  const Vec a = low;
  low = smaller(a, high);
  high = larger(a, high);
}

// Lane l takes the number of lane l ^ distance.
template <int distance>
inline Vec exchanged(Vec v) {
#if defined(__AVX512F__)
  return __builtin_shufflevector(v, v, 0 ^ distance, 1 ^ distance, 2 ^ distance, 3 ^ distance, 4 ^ distance,
                                 5 ^ distance, 6 ^ distance, 7 ^ distance);
#elif defined(__AVX2__)
  return __builtin_shufflevector(v, v, 0 ^ distance, 1 ^ distance, 2 ^ distance, 3 ^ distance);
#else
  return __builtin_shufflevector(v, v, 0 ^ distance, 1 ^ distance);
#endif
}

// The lanes that hold the smaller numbers when lane l is compared with lane l ^ distance.
template <int distance>
inline Bits low_lanes() {
  constexpr int top = distance >= 4 ? 4 : distance >= 2 ? 2 : 1;
  Bits low;
  for (int l = 0; l < lanes; ++l) low[l] = (l & top) != 0 ? 0 : -1;
  return low;
}

// Eight registers at a time stay in registers: lane by lane, the network of 19 comparators.
inline void sort_eight(Vec (&v)[8]) {
  compare(v[0], v[2]), compare(v[1], v[3]), compare(v[4], v[6]), compare(v[5], v[7]);
  compare(v[0], v[4]), compare(v[1], v[5]), compare(v[2], v[6]), compare(v[3], v[7]);
  compare(v[0], v[1]), compare(v[2], v[3]), compare(v[4], v[5]), compare(v[6], v[7]);
  compare(v[2], v[4]), compare(v[3], v[5]);
  compare(v[1], v[4]), compare(v[3], v[6]);
  compare(v[1], v[2]), compare(v[3], v[4]), compare(v[5], v[6]);
}

// Comparators at the distances 4, 2 and 1.
inline void clean_eight(Vec (&v)[8]) {
  for (int i = 0; i < 4; ++i) compare(v[i], v[i + 4]);
  for (int i = 0; i < 8; i += 4) compare(v[i], v[i + 2]), compare(v[i + 1], v[i + 3]);
  for (int i = 0; i < 8; i += 2) compare(v[i], v[i + 1]);
}

template <void (*step)(Vec (&)[8])>
inline void eight_by_eight(Vec* v, long count) {
  for (long first = 0; first < count; first += 8) {
    Vec r[8];
    for (int i = 0; i < 8; ++i) r[i] = v[first + i];
    step(r);
    for (int i = 0; i < 8; ++i) v[first + i] = r[i];
  }
}

// Sorts every lane of runs of `run` registers, each bitonic.
void clean_columns(Vec* v, long count, long run) {
  for (long half = run / 2; half >= 8; half /= 2)
    for (long first = 0; first < count; first += 2 * half)
      for (long i = first; i < first + half; ++i) compare(v[i], v[i + half]);
  eight_by_eight<clean_eight>(v, count);
}

void sort_columns(Vec* v, long count) {
  eight_by_eight<sort_eight>(v, count);
  for (long run = 16; run <= count; run *= 2) {
    for (long first = 0; first < count; first += run)
      for (long i = 0; i < run / 2; ++i) compare(v[first + i], v[first + run - 1 - i]);
    clean_columns(v, count, run);
  }
}

// The first step of a merger of columns: rank against mirrored rank.
template <int distance>
void compare_mirrored(Vec* v, long count) {
  const Bits low = low_lanes<distance>();
  for (long i = 0; i < count / 2; ++i) {
    Vec& a = v[i];
    Vec& b = v[count - 1 - i];
    const Vec other_a = exchanged<distance>(a), other_b = exchanged<distance>(b);
    a = low ? smaller(a, other_b) : larger(a, other_b);
    b = low ? smaller(b, other_a) : larger(b, other_a);
  }
}

template <int distance>
void compare_columns(Vec* v, long count) {
  const Bits low = low_lanes<distance>();
  for (long i = 0; i < count; ++i) {
    const Vec other = exchanged<distance>(v[i]);
    v[i] = low ? smaller(v[i], other) : larger(v[i], other);
  }
}

void merge_columns(Vec* v, long count) {
  compare_mirrored<1>(v, count);
  clean_columns(v, count, count);
#if defined(__AVX2__)
  compare_mirrored<3>(v, count);
  compare_columns<1>(v, count);
  clean_columns(v, count, count);
#endif
#if defined(__AVX512F__)
  compare_mirrored<7>(v, count);
  compare_columns<2>(v, count);
  compare_columns<1>(v, count);
  clean_columns(v, count, count);
#endif
}

void fill(const double* numbers, long n, double* keys, long count, long long rows) {
  Bits row;
  for (int l = 0; l < lanes; ++l) row[l] = l;
  long i = 0;
  for (; i + lanes <= n; i += lanes, row += lanes)
    store(keys + i, (Vec)(((Bits)smaller(load(numbers + i), broadcast(largest_sorted)) & ~rows) | row));
  const long long last = __builtin_bit_cast(long long, largest_sorted) & ~rows;
  for (; i < count; ++i) {
    // Places without a row follow all others, each farther than `rows` from the next one.
    long long bits = last + (i - n + 1) * 4 * (rows + 1);
    if (i < n)
      bits = __builtin_bit_cast(long long, numbers[i] < largest_sorted ? numbers[i] : largest_sorted) & ~rows;
    keys[i] = __builtin_bit_cast(double, bits | i);
  }
}

bool close_neighbours(const Vec* v, long count, long long rows) {
  const int shift = __builtin_popcountll(static_cast<unsigned long long>(rows));
  Bits close = {};
  for (long i = 0; i + 1 < count; ++i) close |= ((Bits)v[i + 1] >> shift) - ((Bits)v[i] >> shift) < 2;
  if (any(close)) return true;
  const Bits ends = (Bits)v[count - 1] >> shift, starts = (Bits)v[0] >> shift;
  for (int l = 0; l + 1 < lanes; ++l)
    if (starts[l + 1] - ends[l] < 2) return true;
  return false;
}

bool sort(const double* numbers, long n, double* keys, long length, long long rows) {
  fill(numbers, n, keys, length * lanes, rows);
  Vec* v = reinterpret_cast<Vec*>(keys);
  sort_columns(v, length);
  merge_columns(v, length);
  return close_neighbours(v, length, rows);
}

}  // namespace

const SortKernels sort_kernels = {lanes, sort};

}  // namespace qvtx::QVTX_ISA
