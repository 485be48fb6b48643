// Bins and statistics of pairs of distances. A search for a bin by halvings takes branches that nobody can
// predict; lanes take them as selections.

#include "mapping/kernels/god_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

static_assert(pair_block % lanes == 0);

/// Numbers of the bins, by the halvings of `ScQuan::getidx`.
inline Bits bins_of(Vec x, const BinScale& scale) {
  double half = (scale.high - scale.low) / 2;
  Vec middle = broadcast(scale.low + half);
  Bits bin{};
  for (long b = 0; b < scale.bits; ++b) {
    const Bits upper = x >= middle;
    bin = bin + bin - upper;  // true is -1
    half /= 2;
    middle += upper ? broadcast(half) : broadcast(-half);
  }
  return bin;
}

inline void store_bits(long* p, Bits v) { __builtin_memcpy(p, &v, sizeof v); }

inline void terms_of(Vec x, Vec y, const BinScale& x_bins, const BinScale& y_bins, PairTerms* out, long at) {
  const Bits counts = (x > 0.0) & (y >= 0.0);
  store_bits(out->row + at, bins_of(x, x_bins) | ~counts);
  store_bits(out->column + at, bins_of(y, y_bins));
  const Vec difference = y - x;
  store(out->square + at, difference * difference);
  store(out->ratio + at, y / x);
}

void pair_terms(const double* x, const double* y, long n, const BinScale& x_bins, const BinScale& y_bins,
                PairTerms* out) {
  long j = 0;
  for (; j + lanes <= n; j += lanes) terms_of(load(x + j), load(y + j), x_bins, y_bins, out, j);
  if (j == n) return;
  Vec last_x{}, last_y{};
  for (int l = 0; j + l < n; ++l) {
    last_x[l] = x[j + l];
    last_y[l] = y[j + l];
  }
  terms_of(last_x, last_y, x_bins, y_bins, out, j);
}

double largest(const double* x, long n, double least) {
  constexpr int chains = 4;  // hide the latency of the selections
  Vec top[chains];
  for (Vec& t : top) t = broadcast(least);
  long j = 0;
  for (; j + chains * lanes <= n; j += chains * lanes) {
    for (int c = 0; c < chains; ++c) {
      const Vec v = load(x + j + c * lanes);
      top[c] = v > top[c] ? v : top[c];
    }
  }
  for (; j < n; ++j) least = x[j] > least ? x[j] : least;
  for (const Vec& t : top)
    for (int l = 0; l < lanes; ++l) least = t[l] > least ? t[l] : least;
  return least;
}

}  // namespace

const GodKernels god_kernels = {largest, pair_terms};

}  // namespace qvtx::QVTX_ISA
