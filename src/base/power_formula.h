#pragma once
// The power's formulas, for numbers and for vectors of them: both have the same bits. What they ask of a type
// of numbers beside + - * / is below for double; kernel sources have it for their vectors
// (base/power_kernels.cpp). Usable from kernels: nothing of the standard library.
//
// Tang, "Table-driven implementation of the logarithm function in IEEE floating-point arithmetic", ACM Trans.
// Mathematical Software 16(4), 1990, and "... of the exponential function", 15(2), 1989. The tables are in
// power_tables.h.

#include <cstdint>

#include "base/power_tables.h"

namespace qvtx {

/// What the formulas ask of a kind of numbers: its bits, and back; the table's entry of the number that
/// stands in the lowest 32 bits.
template <class Real>
struct Access;
template <>
struct Access<double> {
  [[gnu::always_inline]] static std::uint64_t bits(double x) { return __builtin_bit_cast(std::uint64_t, x); }
  [[gnu::always_inline]] static double number(std::uint64_t bits) { return __builtin_bit_cast(double, bits); }
  template <int entries>
  [[gnu::always_inline]] static Pair entry(const Pair (&table)[entries], std::uint64_t bits) {
    return table[static_cast<std::uint32_t>(bits)];
  }
};

/// a + b exactly, for |a| >= |b| or a = 0.
template <class Real>
[[gnu::always_inline]] inline PairOf<Real> ordered_sum(const Real& a, const Real& b) {
  const Real sum = a + b;
  return {sum, b - (sum - a)};
}

/// The upper 26 bits of a.
template <class Real>
[[gnu::always_inline]] inline Real upper_half(const Real& a) {
  return Access<Real>::number(Access<Real>::bits(a) & 0xfffffffff8000000);
}

/// log(2^offset x) for a normal positive x, within 2^-66 of its size.
template <class Real>
[[gnu::always_inline]] inline PairOf<Real> logarithm(const Real& x, double offset) {
  // x = 2^k m with m in 46 / 64 ... 91 / 64, half a step more at both ends. The exponent field stands 1024
  // above k, and then in the last place of a number near 2^52: no conversion from integers, nor signed shift,
  // which SSE2 lacks.
  const auto biased = (Access<Real>::bits(x) + (0x4000000000000000 - 0x3fe6c00000000000)) >> 52;
  const Real m = Access<Real>::number(Access<Real>::bits(x) - (biased << 52) + 0x4000000000000000);
  const Real k = Access<Real>::number(biased | 0x4330000000000000) - (0x1p+52 + 1024 - offset);

  // m = c (1 + s) / (1 - s), c the nearest step: s = (m - c) / (m + c), |s| < 2^-7.4. The products of upper
  // halves are exact.
  const Real step = m * 64.0 + 0x1.8p+52;
  const Real c = (step - 0x1.8p+52) * 0x1p-6;
  const PairOf<Real> log_c = Access<Real>::entry(log_table, Access<Real>::bits(step) - log_first);
  const Real inverse = 1.0 / (m + c);
  const Real s = (m - c) * inverse;
  const Real s_upper = upper_half(s);
  const Real sum_upper = upper_half(m + c);
  const Real sum_lower = m - (sum_upper - c);
  const Real s_lower = (((m - c) - s_upper * sum_upper) - s_upper * sum_lower) * inverse;

  // log((1 + s) / (1 - s)) = 2 s + 2/3 s^3 + 2/5 s^5 + ..., the terms behind s below 2^-16 of it.
  const Real w = s * s;
  const Real q = (w * 0x1.999999999999ap-2 + 0x1.5555555555555p-1) +
                 (w * w) * (w * 0x1.c71c71c71c71cp-3 + 0x1.2492492492492p-2);
  const Real rest = s * (w * q);

  // k times the first part of log 2 (40 bits) is exact. Each sum is of a larger and a smaller number, or of
  // 0.
  const PairOf<Real> whole = ordered_sum(k * 0x1.62e42fefa4p-1, log_c.high);
  const PairOf<Real> total = ordered_sum(whole.high, 2.0 * s_upper);
  const Real lows = (whole.low + total.low) + (k * -0x1.8432a1b0e2634p-43 + log_c.low);
  return {total.high, lows + (2.0 * s_lower + rest)};
}

/// y log x, the first part exact to 52 bits, the second below 2^-24 of it.
template <class Real>
[[gnu::always_inline]] inline PairOf<Real> times(const PairOf<Real>& log_x, double y) {
  const Real upper = upper_half(log_x.high);
  const Real lower = (log_x.high - upper) + log_x.low;
  const double y_upper = upper_half(y);
  return {upper * y_upper, upper * (y - y_upper) + lower * y};
}

/// e^a = mantissa 2^k.
template <class Real>
struct Scaled {
  PairOf<Real> mantissa;  ///< 0.99 ... 2, within 2^-59
  Real shifted;           ///< its lowest bits are those of 64 k + 0 ... 63
};

/// The exponential of a product by `times`, |a| < 2^10.
template <class Real>
[[gnu::always_inline]] inline Scaled<Real> exponential(const PairOf<Real>& a) {
  // a = j ln 2 / 64 + r, |r| < 2^-7.4; j times the first part of ln 2 / 64 (35 bits) is exact, and so is the
  // difference.
  const Real shifted = a.high * 0x1.71547652b82fep+6 + 0x1.8p+52;
  const Real j = shifted - 0x1.8p+52;
  const Real r = a.high - j * 0x1.62e42fefcp-7;
  const Real tail = a.low - j * -0x1.c610ca86c3899p-43;
  const Real x = r + tail;
  const Real w = x * x;
  const Real q = (x * 0x1.5555555555555p-3 + 0.5) +
                 w * ((x * 0x1.1111111111111p-7 + 0x1.5555555555555p-5) + w * 0x1.6c16c16c16c17p-10);
  const Real growth = r + (tail + w * q);  // e^r - 1
  const PairOf<Real> root = Access<Real>::entry(exp_table, Access<Real>::bits(shifted) & 63);
  return {{root.high, root.low + root.high * growth}, shifted};
}

/// 2^k where 64 k + 0 ... 63 stands in the lowest bits, for a normal result.
template <class Real>
[[gnu::always_inline]] inline Real power_of_two(const Real& shifted) {
  return Access<Real>::number(((Access<Real>::bits(shifted) + (1023 << 6)) >> 6) << 52);
}

/// Products within these are powers in the normal range.
inline constexpr double least_product = -708;
inline constexpr double largest_product = 709;

}  // namespace qvtx
