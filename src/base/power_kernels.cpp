// Powers of many numbers with one exponent, a lane for each. The formulas and so the bits are those of
// fixed_pow; numbers and results out of the normal range go through it.

#include "base/power_kernels.h"

#include "base/elementary.h"
#include "base/power_formula.h"
#include "base/vector_group.h"

namespace qvtx {
namespace QVTX_ISA {
namespace {

/// The bits of some vectors.
template <int count>
struct BitsGroup {
  WrappingBits part[count];

  template <class Operation>
  [[gnu::always_inline]] BitsGroup each(Operation operation) const {
    BitsGroup result;
    for (int i = 0; i < count; ++i) result.part[i] = operation(part[i]);
    return result;
  }
  [[gnu::always_inline]] BitsGroup operator+(std::uint64_t b) const {
    return each([=](WrappingBits a) { return a + b; });
  }
  [[gnu::always_inline]] BitsGroup operator-(std::uint64_t b) const {
    return each([=](WrappingBits a) { return a - b; });
  }
  [[gnu::always_inline]] BitsGroup operator&(std::uint64_t b) const {
    return each([=](WrappingBits a) { return a & b; });
  }
  [[gnu::always_inline]] BitsGroup operator|(std::uint64_t b) const {
    return each([=](WrappingBits a) { return a | b; });
  }
  [[gnu::always_inline]] BitsGroup operator>>(int b) const {
    return each([=](WrappingBits a) { return a >> b; });
  }
  [[gnu::always_inline]] BitsGroup operator<<(int b) const {
    return each([=](WrappingBits a) { return a << b; });
  }
  [[gnu::always_inline]] BitsGroup operator-(const BitsGroup& b) const {
    BitsGroup result;
    for (int i = 0; i < count; ++i) result.part[i] = part[i] - b.part[i];
    return result;
  }
};

#if defined(__AVX512F__)
/// A table in two columns, filled up to whole pairs of registers.
template <int entries>
struct Columns {
  static constexpr int size = (entries + 15) / 16 * 16;
  alignas(64) double high[size];
  alignas(64) double low[size];
};
template <int entries>
consteval Columns<entries> columns_of(const Pair (&table)[entries]) {
  Columns<entries> columns = {};
  for (int i = 0; i < entries; ++i) {
    columns.high[i] = table[i].high;
    columns.low[i] = table[i].low;
  }
  return columns;
}
constexpr Columns<46> log_columns = columns_of(log_table);
constexpr Columns<64> exp_columns = columns_of(exp_table);
inline const Columns<46>& columns(const Pair (&)[46]) { return log_columns; }
inline const Columns<64>& columns(const Pair (&)[64]) { return exp_columns; }

/// The numbers at the places that the lowest six bits tell: a permutation of two registers picks from 16, and
/// is faster than eight loads.
template <int size>
[[gnu::always_inline]] inline Vec picked(const double (&numbers)[size], WrappingBits bits) {
  static_assert(size == 48 || size == 64);
  const auto of_sixteen = [&](int first) {
    return _mm512_permutex2var_pd(_mm512_load_pd(numbers + first), (__m512i)bits,
                                  _mm512_load_pd(numbers + first + 8));
  };
  const __mmask8 odd = _mm512_test_epi64_mask((__m512i)bits, _mm512_set1_epi64(16));
  const __mmask8 upper = _mm512_test_epi64_mask((__m512i)bits, _mm512_set1_epi64(32));
  const Vec first = _mm512_mask_blend_pd(odd, of_sixteen(0), of_sixteen(16));
  Vec second = of_sixteen(32);
  if constexpr (size == 64) second = _mm512_mask_blend_pd(odd, second, of_sixteen(48));
  return _mm512_mask_blend_pd(upper, first, second);
}
template <int entries>
[[gnu::always_inline]] inline PairOf<Vec> entry_of(const Pair (&table)[entries], WrappingBits bits) {
  return {picked(columns(table).high, bits), picked(columns(table).low, bits)};
}
#else
template <int entries>
[[gnu::always_inline]] inline PairOf<Vec> entry_of(const Pair (&table)[entries], WrappingBits bits) {
  PairOf<Vec> found;
  for (int l = 0; l < lanes; ++l) {
    const Pair& p = table[static_cast<std::uint32_t>(bits[l])];
    found.high[l] = p.high;
    found.low[l] = p.low;
  }
  return found;
}
#endif

}  // namespace
}  // namespace QVTX_ISA

template <int count>
struct Access<QVTX_ISA::VecGroup<count>> {
  using Group = QVTX_ISA::VecGroup<count>;
  using Bits = QVTX_ISA::BitsGroup<count>;

  [[gnu::always_inline]] static Bits bits(const Group& x) {
    Bits bits;
    for (int i = 0; i < count; ++i) bits.part[i] = (QVTX_ISA::WrappingBits)x.part[i];
    return bits;
  }
  [[gnu::always_inline]] static Group number(const Bits& bits) {
    Group x;
    for (int i = 0; i < count; ++i) x.part[i] = (QVTX_ISA::Vec)bits.part[i];
    return x;
  }
  template <int entries>
  [[gnu::always_inline]] static PairOf<Group> entry(const Pair (&table)[entries], const Bits& bits) {
    PairOf<Group> found;
    for (int i = 0; i < count; ++i) {
      const auto entry = QVTX_ISA::entry_of(table, bits.part[i]);
      found.high.part[i] = entry.high;
      found.low.part[i] = entry.low;
    }
    return found;
  }
};

namespace QVTX_ISA {
namespace {

/// Some vectors' worth of numbers become their powers. 0 gives 0.
template <int count>
void raise(double* x, double y) {
  VecGroup<count> base;
  for (int i = 0; i < count; ++i) {
    const Vec v = load(x + i * lanes);
    base.part[i] = v == Vec{} ? broadcast(1.0) : v;
  }
  const PairOf<VecGroup<count>> product = times(logarithm(base, 0.0), y);
  const Scaled<VecGroup<count>> result = exponential(product);
  const VecGroup<count> value = (result.mantissa.high + result.mantissa.low) * power_of_two(result.shifted);
  for (int i = 0; i < count; ++i) {
    const Vec v = base.part[i], a = product.high.part[i];
    double* const place = x + i * lanes;
    if (all((v >= broadcast(0x1p-1022)) & (v < broadcast(__builtin_inf())) & (a >= broadcast(least_product)) &
            (a <= broadcast(largest_product)))) {
      store(place, load(place) == Vec{} ? Vec{} : value.part[i]);
    } else {
      for (int l = 0; l < lanes; ++l) place[l] = place[l] == 0.0 ? 0.0 : fixed_pow(place[l], y);
    }
  }
}

constexpr int most = lanes == 4 ? 1 : 4;  // vectors side by side; AVX2 lacks the registers

/// As many vectors as n numbers fill, up to `count`. Returns the numbers in them.
template <int count = most>
long raise_some(double* x, long n, double y) {
  if constexpr (count > 1)
    if (n < count * lanes) return raise_some<count - 1>(x, n, y);
  raise<count>(x, y);
  return count * lanes;
}

void powers(double* x, long n, double y) {
  long i = 0;
  while (i + lanes <= n) i += raise_some(x + i, n - i, y);
  if (i == n) return;
  double part[lanes];
  for (long l = 0; l < lanes; ++l) part[l] = i + l < n ? x[i + l] : 1.0;
  raise<1>(part, y);
  for (long l = 0; i + l < n; ++l) x[i + l] = part[l];
}

}  // namespace

const PowerKernels power_kernels = {powers};

}  // namespace QVTX_ISA
}  // namespace qvtx
