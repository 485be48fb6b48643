// Distances and nearest-row search on vectors of rows.
//
// Why a scan by groups of rows finds the row of the plain scan, which visits row after row downward, abandons
// a row as soon as its partial sum exceeds the threshold, and lowers the threshold to the sum of every row
// that it takes:
//  - The terms are >= 0, so that without a NaN the partial sums never fall (rounded addition and maximum
//    are monotone): a row is abandoned exactly when its complete sum exceeds the threshold. Hence complete
//    sums may be compared afterwards, row by row downward.
//  - A group is given up early only when the partial sums of all its rows exceed the threshold at the
//    group's start. The plain scan abandons the first of them there; it leaves the threshold as it is, so
//    it abandons the others as well. That holds whatever numbers, or NaN, the columns not yet visited hold.
//  - When the complete sum of a row is NaN, the row may or may not have been abandoned before the NaN came
//    in. Such a group is scanned by the plain loop. (A maximum passes over NaN terms, in the plain loop
//    too, and is never NaN.) A NaN threshold, left by a NaN row, exceeds nothing and is exceeded by
//    nothing, in both forms.

#include "matrix/distance/distance_kernels.h"

#include "base/vector_lanes.h"
#include "matrix/distance/packed_block.h"
#include "matrix/distance/whole_power_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int block_rows = packed_block_rows;
constexpr int block_vectors = block_rows / lanes;  // vectors that hold one coordinate of a block
constexpr int group_blocks = lanes == 2 ? 2 : 4;   // blocks side by side, to hide the latency of additions
constexpr long check_step = 8;                     // coordinates between two tests whether to give up

inline Vec modulus(Vec v) { return (Vec)((Bits)v & (Bits{} + 0x7fffffffffffffffLL)); }
inline double modulus(double v) { return __builtin_fabs(v); }

// How the difference of one coordinate enters the sum, for vectors and for single rows.
struct Squares {
  template <class T>
  static T add(T sum, T difference) {
    return sum + difference * difference;
  }
};
struct Moduli {
  template <class T>
  static T add(T sum, T difference) {
    return sum + modulus(difference);
  }
};
template <int p>
struct Powers {
  template <class T>
  static T add(T sum, T difference) {
    return sum + whole_power<p>(modulus(difference));
  }
};
struct Largest {
  template <class T>
  static T add(T sum, T difference) {
    const T term = modulus(difference);
    return term > sum ? term : sum;
  }
};

// Whether every lane exceeds the limit. False for a lane that is NaN.
inline bool all_above(Vec v, double limit) { return all(v > broadcast(limit)); }

template <int count>
bool all_above(const Vec (&v)[count], double limit) {
  for (int i = 0; i < count; ++i)
    if (!all_above(v[i], limit)) return false;
  return true;
}

// Packed blocks: one load is one coordinate of several rows.
struct Packed {
  const double* data;
  long d;

  double at(long i, long k) const { return data[(i / block_rows * d + k) * block_rows + i % block_rows]; }

  // Sums of `blocks` blocks from row `first` on, or false when all of them exceed the limit.
  template <class Rule, int blocks>
  bool sums(long first, const double* x, double limit, Vec (&sum)[blocks * block_vectors]) const {
    const double* block = data + first * d;
    for (Vec& s : sum) s = Vec{};
    for (long k = d; k > 0;) {
      const long stop = k > check_step ? k - check_step : 0;
      while (k > stop) {
        --k;
        const Vec xk = broadcast(x[k]);
        for (int b = 0; b < blocks; ++b)
          for (int v = 0; v < block_vectors; ++v) {
            Vec& s = sum[b * block_vectors + v];
            s = Rule::add(s, load(block + (b * d + k) * block_rows + v * lanes) - xk);
          }
      }
      if (all_above(sum, limit)) return false;
    }
    return true;
  }
};

// Turns the rows of a square of numbers into its columns.
#if defined(__AVX512F__)
inline void transpose(Vec (&r)[8]) {
  Vec t[8], u[8];
  for (int i = 0; i < 8; i += 2) {
    t[i] = __builtin_shufflevector(r[i], r[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    t[i + 1] = __builtin_shufflevector(r[i], r[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  for (int i = 0; i < 8; i += 4)
    for (int j = i; j < i + 2; ++j) {
      u[j] = __builtin_shufflevector(t[j], t[j + 2], 0, 1, 8, 9, 4, 5, 12, 13);
      u[j + 2] = __builtin_shufflevector(t[j], t[j + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
  for (int j = 0; j < 4; ++j) {
    r[j] = __builtin_shufflevector(u[j], u[j + 4], 0, 1, 2, 3, 8, 9, 10, 11);
    r[j + 4] = __builtin_shufflevector(u[j], u[j + 4], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}
#elif defined(__AVX2__)
inline void transpose(Vec (&r)[4]) {
  const Vec a = __builtin_shufflevector(r[0], r[1], 0, 4, 2, 6);
  const Vec b = __builtin_shufflevector(r[0], r[1], 1, 5, 3, 7);
  const Vec c = __builtin_shufflevector(r[2], r[3], 0, 4, 2, 6);
  const Vec e = __builtin_shufflevector(r[2], r[3], 1, 5, 3, 7);
  r[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
  r[1] = __builtin_shufflevector(b, e, 0, 1, 4, 5);
  r[2] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
  r[3] = __builtin_shufflevector(b, e, 2, 3, 6, 7);
}
#else
inline void transpose(Vec (&r)[2]) {
  const Vec low = __builtin_shufflevector(r[0], r[1], 0, 2);
  r[1] = __builtin_shufflevector(r[0], r[1], 1, 3);
  r[0] = low;
}
#endif

// Row-major storage: squares of numbers are transposed in registers.
struct RowMajor {
  const double* data;
  long n;
  long d;

  double at(long i, long k) const { return data[i * d + k]; }

  // Sums of the block of rows from `first` on, or false when all of them exceed the limit. Lanes beyond the
  // last row repeat that row.
  template <class Rule>
  bool sums(long first, const double* x, double limit, Vec (&sum)[block_vectors]) const {
    const double* row[block_rows];
    for (int i = 0; i < block_rows; ++i) row[i] = data + (first + i < n ? first + i : n - 1) * d;
    for (Vec& s : sum) s = Vec{};
    long k = d;
    while (k >= lanes) {
      const long stop = k > check_step ? k - check_step : 0;
      for (; k - lanes >= stop; k -= lanes) add_square<Rule>(row, k - lanes, x, sum);
      if (all_above(sum, limit)) return false;
    }
    while (k > 0) add_column<Rule>(row, --k, x, sum);
    return !all_above(sum, limit);
  }

 private:
  template <class Rule>
  static void add_square(const double* const (&row)[block_rows], long k, const double* x,
                         Vec (&sum)[block_vectors]) {
    for (int v = 0; v < block_vectors; ++v) {
      Vec square[lanes];
      for (int i = 0; i < lanes; ++i) square[i] = load(row[v * lanes + i] + k);
      transpose(square);
      for (int c = lanes - 1; c >= 0; --c) sum[v] = Rule::add(sum[v], square[c] - broadcast(x[k + c]));
    }
  }
  template <class Rule>
  static void add_column(const double* const (&row)[block_rows], long k, const double* x,
                         Vec (&sum)[block_vectors]) {
    for (int v = 0; v < block_vectors; ++v) {
      Vec column;
      for (int i = 0; i < lanes; ++i) column[i] = row[v * lanes + i][k];
      sum[v] = Rule::add(sum[v], column - broadcast(x[k]));
    }
  }
};

// State of a downward scan.
struct Scan {
  const double* x;
  Exclusion exclusion;
  double limit;
  long found;

  void offer(long row, double sum) {
    if (sum > limit || row == exclusion.self || (exclusion.zero && sum == 0.0)) return;
    found = row;
    limit = sum;
  }
};

// The plain scan of rows first .. first + count - 1.
template <class Rule, class Source>
void scan_plainly(const Source& source, long first, long count, Scan& scan) {
  for (long i = first + count - 1; i >= first; --i) {
    double sum = 0.0;
    long k = source.d;
    while (k > 0) {
      --k;
      sum = Rule::add(sum, source.at(i, k) - scan.x[k]);
      if (sum > scan.limit) break;
    }
    scan.offer(i, sum);
  }
}

// Selection among complete sums.
template <class Rule, class Source, int count>
void select(const Source& source, const Vec (&sum)[count], long first, long rows, Scan& scan) {
  double values[count * lanes];
  for (int v = 0; v < count; ++v) store(values + v * lanes, sum[v]);
  const long valid = rows - first < count * lanes ? rows - first : count * lanes;
  for (long i = 0; i < valid; ++i)
    if (values[i] != values[i]) return scan_plainly<Rule>(source, first, valid, scan);
  for (long i = valid - 1; i >= 0; --i) scan.offer(first + i, values[i]);
}

template <class Rule>
long row_nearest(const double* rows, long n, long d, const double* x, Exclusion exclusion, double& limit) {
  const RowMajor source{rows, n, d};
  Scan scan{x, exclusion, limit, n};
  for (long first = (n - 1) / block_rows * block_rows; n > 0 && first >= 0; first -= block_rows) {
    Vec sum[block_vectors];
    if (source.sums<Rule>(first, x, scan.limit, sum)) select<Rule>(source, sum, first, n, scan);
  }
  limit = scan.limit;
  return scan.found;
}

template <class Rule, int blocks>
void scan_packed(const Packed& source, long first, long n, Scan& scan) {
  Vec sum[blocks * block_vectors];
  if (source.sums<Rule, blocks>(first, scan.x, scan.limit, sum)) select<Rule>(source, sum, first, n, scan);
}

template <class Rule>
long packed_nearest(const double* packed, long n, long d, const double* x, double& limit) {
  const Packed source{packed, d};
  Scan scan{x, Exclusion{}, limit, n};
  long block = (n + block_rows - 1) / block_rows;
  while (block % group_blocks != 0) scan_packed<Rule, 1>(source, --block * block_rows, n, scan);
  while (block > 0) {
    block -= group_blocks;
    scan_packed<Rule, group_blocks>(source, block * block_rows, n, scan);
  }
  limit = scan.limit;
  return scan.found;
}

// No partial sum exceeds +infinity: the limit of sums that are wanted whole.
constexpr double no_limit = __builtin_inf();

template <int count>
void put(const Vec (&sum)[count], long first, long n, double* sums) {
  if (first + count * lanes <= n) {
    for (int v = 0; v < count; ++v) store(sums + first + v * lanes, sum[v]);
    return;
  }
  double values[count * lanes];
  for (int v = 0; v < count; ++v) store(values + v * lanes, sum[v]);
  for (long i = first; i < n; ++i) sums[i] = values[i - first];
}

template <class Rule>
void row_sums(const double* rows, long n, long d, const double* x, double* sums) {
  const RowMajor source{rows, n, d};
  for (long first = 0; first < n; first += block_rows) {
    Vec sum[block_vectors];
    source.sums<Rule>(first, x, no_limit, sum);
    put(sum, first, n, sums);
  }
}

template <class Rule, int blocks>
void put_packed(const Packed& source, long first, long n, const double* x, double* sums) {
  Vec sum[blocks * block_vectors];
  source.sums<Rule, blocks>(first, x, no_limit, sum);
  put(sum, first, n, sums);
}

template <class Rule>
void packed_sums(const double* packed, long n, long d, const double* x, double* sums) {
  const Packed source{packed, d};
  constexpr long group_rows = group_blocks * block_rows;
  long first = 0;
  for (; first + group_rows <= n; first += group_rows)
    put_packed<Rule, group_blocks>(source, first, n, x, sums);
  for (; first < n; first += block_rows) put_packed<Rule, 1>(source, first, n, x, sums);
}

template <class Rule>
constexpr RuleKernels rule_kernels() {
  return {row_sums<Rule>, packed_sums<Rule>, row_nearest<Rule>, packed_nearest<Rule>};
}

inline Vec distances_of(Vec sum) {
  const Vec distance = sum < Vec{} ? broadcast(-1.0) : root(sum);
  return sum == sum ? distance : broadcast(__builtin_nan(""));
}

void roots(double* sums, long n) {
  long i = 0;
  for (; i + lanes <= n; i += lanes) store(sums + i, distances_of(load(sums + i)));
  double rest[lanes] = {};
  for (long l = i; l < n; ++l) rest[l - i] = sums[l];
  store(rest, distances_of(load(rest)));
  for (long l = i; l < n; ++l) sums[l] = rest[l - i];
}

// At least k of the n sums do not exceed the result: the largest among the smallest of k sets of them.
double sum_of_enough(const double* sums, long n, long k) {
  constexpr int vectors = near_sets / lanes;
  Vec least[vectors];
  for (Vec& v : least) v = broadcast(no_limit);
  long i = 0;
  for (; i + near_sets <= n; i += near_sets)
    for (int v = 0; v < vectors; ++v) {
      const Vec sum = load(sums + i + v * lanes);
      least[v] = sum < least[v] ? sum : least[v];
    }
  double set[near_sets];
  for (int v = 0; v < vectors; ++v) store(set + v * lanes, least[v]);
  for (; i < n; ++i) set[i % near_sets] = sums[i] < set[i % near_sets] ? sums[i] : set[i % near_sets];
  double largest = 0.0;
  for (long first = 0; first < k; ++first) {
    double smallest = no_limit;
    for (long l = first; l < near_sets; l += k) smallest = set[l] < smallest ? set[l] : smallest;
    largest = smallest > largest ? smallest : largest;
  }
  return largest;
}

long near(const double* sums, long n, long k, int* places) {
  double limit = no_limit;
  if (k <= near_sets) {
    const double root = __builtin_sqrt(sum_of_enough(sums, n, k));
    limit = root * root * (1 + 1e-15) + 5e-324;  // no sum above has this root
  }
  long count = 0;
  long i = 0;
  for (; i + lanes <= n; i += lanes) {
    const unsigned beyond = mask_of(above(load(sums + i), broadcast(limit)));
    for (unsigned within = ~beyond & ((1u << lanes) - 1); within != 0; within &= within - 1)
      places[count++] = static_cast<int>(i + __builtin_ctz(within));
  }
  for (; i < n; ++i)
    if (!(sums[i] > limit)) places[count++] = static_cast<int>(i);
  return count;
}

}  // namespace

const DistanceKernels distance_kernels = {
    rule_kernels<Squares>(),
    rule_kernels<Moduli>(),
    {rule_kernels<Powers<3>>(), rule_kernels<Powers<4>>(), rule_kernels<Powers<5>>(),
     rule_kernels<Powers<6>>(), rule_kernels<Powers<7>>()},
    rule_kernels<Largest>(),
    roots,
    near};

}  // namespace qvtx::QVTX_ISA
