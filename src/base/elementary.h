#pragma once
// Logarithm, cosine and power. The C library's differ by one unit in the last place between processors and
// between its versions; these have the same bits wherever double is IEEE 754 binary64 and nothing is
// contracted. The exponential of the hot loops is in base/exponential.h; square roots are correctly rounded
// everywhere.
//
// All three compute with pairs of numbers and round once, so that a result that a double holds exactly comes
// out exact. Special cases are those of C99, annex F; every NaN is the same one.

namespace qvtx {

/// Natural logarithm, within 0.51 ulp. -infinity for 0 and -0, NaN below.
double fixed_log(double x);

/// Cosine, within 0.51 ulp for |x| <= `largest_angle`; NaN beyond, where an argument in radians has lost what
/// it stood for. Nothing in the program comes near it.
double fixed_cos(double x);
inline constexpr double largest_angle = 0x1p+20;

/// x^y, within 0.52 ulp, also where the result is below the normal range. Whole exponents are treated like
/// the others.
double fixed_pow(double x, double y);

}  // namespace qvtx
