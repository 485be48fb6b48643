#pragma once
// The exponential of the hot loops. The C library's differs by one unit in the last place between processors,
// so the methods whose results must not depend on the machine use this one.

#include <cstdint>

namespace qvtx {

/// e^x within 1 ulp of the true value for results in the normal range; 0 where the true value is below the
/// smallest normal number, +infinity on overflow, NaN for NaN. One sequence of operations without branches,
/// so that a compiler can vectorise a loop over it and every lane has the bits of the scalar form. Usable
/// from kernels: nothing of the standard library.
inline double fixed_exp(double x);

// What exponential_of asks of a type of numbers beside + - *. Groups of vectors have the same
// (vector_group.h).

/// 2^k mantissa, where the lowest bits of `shifted` hold k: by adding k to the exponent.
[[gnu::always_inline]] inline double scaled(double mantissa, double shifted) {
  const std::uint64_t exponent = __builtin_bit_cast(std::uint64_t, shifted) << 52;
  return __builtin_bit_cast(double, __builtin_bit_cast(std::uint64_t, mantissa) + exponent);
}

/// Logarithms of the smallest normal number, and of the largest number.
constexpr double least_exponent = -0x1.6232bdd7abcd2p+9;
constexpr double largest_exponent = 0x1.62e42fefa39efp+9;

/// e^x, given what the arithmetic made of it: that where it is in range, 0 or infinity where not, NaN for
/// NaN.
[[gnu::always_inline]] inline double in_range(double x, double power) {
  const double bounded = x < least_exponent ? 0.0 : power;
  return x <= largest_exponent ? bounded : x + __builtin_inf();
}

// Cody and Waite, "Software Manual for the Elementary Functions", 1980, chapter 6: x = k ln 2 + r with |r| <=
// ln 2 / 2, then e^x = 2^k e^r. The comments count the error in units of the last place (ulp) of the result.
template <class Real>
[[gnu::always_inline]] inline Real exponential_of(const Real& x) {
  // k is the integer nearest to x / ln 2. Adding 1.5 * 2^52 leaves no bits for a fraction, so that the
  // addition rounds, and k stands as a two's complement number in the lowest bits: no conversion to integer,
  // which SSE2 lacks.
  const Real shifted = x * 0x1.71547652b82fep+0 + 0x1.8p+52;
  const Real k = shifted - 0x1.8p+52;

  // ln 2 in two parts. The first has 32 bits, so that k times it and the difference are exact. The rounding
  // error of r goes to `tail`; without it, it would cost another quarter ulp.
  const Real high = x - k * 0x1.62e42feep-1;
  const Real low = k * 0x1.a39ef35793c76p-33;
  const Real r = high - low;
  const Real tail = (high - r) - low;

  // e^r = 1 + r + r^2/2 + r^3 q(r): the minimax polynomial of degree 12 for |r| <= 1.0002 ln 2 / 2.
  Real q = 0x1.20d17e36c0c7ap-29;
  q = q * r + 0x1.af7a45f0a0fefp-26;
  q = q * r + 0x1.27e40bd9a66cap-22;
  q = q * r + 0x1.71dde7a907ddep-19;
  q = q * r + 0x1.a01a01fc8f9b1p-16;
  q = q * r + 0x1.a01a01b6f8568p-13;
  q = q * r + 0x1.6c16c16c07e87p-10;
  q = q * r + 0x1.111111110e32cp-7;
  q = q * r + 0x1.555555555556fp-5;
  q = q * r + 0x1.555555555555dp-3;
  const Real square = r * r;
  // At most 1/2 ulp from this sum, 1/4 from the inner one, and less than 1/8 from the polynomial.
  const Real mantissa = 1.0 + (r + (tail + (0.5 * square + square * (r * q))));
  return in_range(x, scaled(mantissa, shifted));  // k overflows for no x that is in range
}

[[gnu::always_inline]] inline double fixed_exp(double x) { return exponential_of(x); }

}  // namespace qvtx
