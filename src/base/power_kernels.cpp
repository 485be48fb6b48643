// Powers of many numbers with one exponent, a lane for each. The formulas and so the bits are those of
// fixed_pow; numbers and results out of the normal range go through it.

#include "base/power_kernels.h"

#include "base/elementary.h"
#include "base/power_formula.h"
#include "base/vector_lanes.h"

namespace qvtx {

template <>
struct Access<QVTX_ISA::Vec> {
  using Vec = QVTX_ISA::Vec;
  typedef unsigned long long Unsigned __attribute__((vector_size(QVTX_ISA::register_bytes)));

  [[gnu::always_inline]] static Unsigned bits(Vec x) { return (Unsigned)x; }
  [[gnu::always_inline]] static Vec number(Unsigned bits) { return (Vec)bits; }
  [[gnu::always_inline]] static PairOf<Vec> entry(const Pair* table, Unsigned bits) {
    PairOf<Vec> found;
    for (int l = 0; l < QVTX_ISA::lanes; ++l) {
      const Pair& p = table[static_cast<std::uint32_t>(bits[l])];
      found.high[l] = p.high;
      found.low[l] = p.low;
    }
    return found;
  }
};

namespace QVTX_ISA {
namespace {

/// The powers of a vector; `rare` tells lanes where they are not to be used. 0 gives 0: y is positive.
inline Vec power(Vec x, double y, bool& rare) {
  const Bits zero = x == Vec{};
  const Vec base = zero ? broadcast(1.0) : x;
  const PairOf<Vec> product = times(logarithm(base, 0.0), y);
  rare = !all((base >= broadcast(0x1p-1022)) & (base < broadcast(__builtin_inf())) &
              (product.high >= broadcast(least_product)) & (product.high <= broadcast(largest_product)));
  const Scaled<Vec> result = exponential(product);
  const Vec value = (result.mantissa.high + result.mantissa.low) * power_of_two(result.shifted);
  return zero ? Vec{} : value;
}

/// A vector's worth of numbers becomes their powers.
inline void raise(double* x, double y) {
  bool rare;
  const Vec result = power(load(x), y, rare);
  if (!rare) return store(x, result);
  for (int l = 0; l < lanes; ++l) x[l] = fixed_pow(x[l], y);
}

void powers(double* x, long n, double y) {
  long i = 0;
  for (; i + lanes <= n; i += lanes) raise(x + i, y);
  if (i == n) return;
  double part[lanes];
  for (long l = 0; l < lanes; ++l) part[l] = i + l < n ? x[i + l] : 1.0;
  raise(part, y);
  for (long l = 0; i + l < n; ++l) x[i + l] = part[l];
}

}  // namespace

const PowerKernels power_kernels = {powers};

}  // namespace QVTX_ISA
}  // namespace qvtx
