// Logarithm, cosine and power in pairs of numbers.
//
// Dekker, "A floating-point technique for extending the available precision", Numerische Mathematik 18, 1971:
// a pair is the unevaluated sum of two numbers, the second at most half an ulp of the first. Tables and
// reductions: Tang, "Table-driven implementation of the logarithm function in IEEE floating-point
// arithmetic", ACM Trans. Mathematical Software 16(4), 1990, and "... of the exponential function", 15(2),
// 1989; Cody and Waite, "Software Manual for the Elementary Functions", 1980, chapter 8, for the cosine. The
// comments give errors as powers of two.

#include "base/elementary.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/power_formula.h"

namespace qvtx {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// a + b exactly.
Pair exact_sum(double a, double b) {
  const double sum = a + b;
  const double part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

/// a b within 2^-105 of it.
Pair exact_product(double a, double b) {
  const double product = a * b;
  const double a1 = upper_half(a), a2 = a - a1;
  const double b1 = upper_half(b), b2 = b - b1;
  return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

/// a b and a + b within 2^-100; of the sum where |a| >= |b|.
Pair product(Pair a, Pair b) {
  const Pair p = exact_product(a.high, b.high);
  return ordered_sum(p.high, p.low + (a.high * b.low + a.low * b.high));
}
Pair sum(Pair a, Pair b) {
  const Pair s = ordered_sum(a.high, b.high);
  return ordered_sum(s.high, s.low + (a.low + b.low));
}

/// The integer nearest to x, |x| < 2^51: the addition leaves no bits for a fraction.
double nearest_integer(double x) { return (x + 0x1.8p+52) - 0x1.8p+52; }

// ---- Power ----

/// 2^k for a normal result.
double power_of_two(std::int64_t k) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(k + 1023) << 52);
}

/// (high + low) 2^k for a pair near 1 ... 2, rounded once.
double scaled(Pair sum, std::int64_t k) {
  if (k > -1021 && k <= 1022) return (sum.high + sum.low) * power_of_two(k);
  const Pair a = ordered_sum(sum.high, sum.low);
  if (k > 1022) return (a.high + a.low) * 0x1p+1022 * power_of_two(k - 1022);
  if (k >= -1021 || (k == -1022 && a.high >= 1)) return (a.high + a.low) * power_of_two(k);
  if (k < -1080) return 0;
  // Below the normal range the last place is 2^-1074. The anchor has it too, before scaling, and so has its
  // sum with a number that is smaller: adding the anchor rounds there.
  const double anchor = power_of_two(52 - 1074 - k);
  const Pair anchored = ordered_sum(anchor, a.high);
  const double rounded = (anchored.high + (anchored.low + a.low)) - anchor;
  return rounded * power_of_two(k + 100) * 0x1p-100;
}

/// log x for a positive finite x.
Pair log_of(double x) { return x < 0x1p-1022 ? logarithm(x * 0x1p+54, -54) : logarithm(x, 0); }

/// x^y for a positive finite x and 2^-64 <= |y| <= 2^64.
double power(double x, double y) {
  const Pair product = times(log_of(x), y);
  if (product.high > 710) return infinity;
  if (product.high < -746) return 0;
  const Scaled<double> result = exponential(product);
  const double j = result.shifted - 0x1.8p+52;
  return scaled(result.mantissa, static_cast<std::int64_t>(j) >> 6);
}

bool is_whole(double y) { return std::trunc(y) == y; }
bool is_odd(double y) { return std::fabs(y) < 0x1p+53 && is_whole(y) && !is_whole(y / 2); }

/// The limit of m^y for m or y beyond all bounds: infinity where both pull the same way, else 0.
double extreme(bool above_one, bool positive_exponent) {
  return above_one == positive_exponent ? infinity : 0;
}

/// x^y where `power` does not apply.
double rare_power(double x, double y) {
  const double m = std::fabs(x);
  if (y == 0 || x == 1) return 1;
  if (x != x || y != y) return not_a_number;
  if (m == 1 && std::fabs(y) == infinity) return 1;
  if (std::signbit(x) && m > 0 && m < infinity && !is_whole(y)) return not_a_number;
  const double sign = std::signbit(x) && is_odd(y) ? -1 : 1;
  if (m == 0 || m == infinity) return sign * extreme(m > 0, y > 0);
  if (m == 1) return sign;
  if (std::fabs(y) > 0x1p+64) return sign * extreme(m > 1, y > 0);  // |log m| >= 2^-53
  return std::fabs(y) < 0x1p-64 ? 1 : sign * power(m, y);           // |log m| < 2^10
}

// ---- Cosine ----

/// 1 + w (first + w (second + w rest)) for w <= (pi / 4)^2; `rest` stands for terms below 2^-11 of the sum.
Pair series(Pair w, Pair first, Pair second, double rest) {
  const Pair inner = sum(second, {w.high * rest, 0});
  const Pair outer = sum(first, product(w, inner));
  return sum({1, 0}, product(w, outer));
}

/// Taylor's series of sin r / r and of cos r, w = r^2.
Pair sine_ratio(Pair w) {
  double q = 0x1.952c77030ad4ap-49;
  q = q * w.high - 0x1.ae7f3e733b81fp-41;
  q = q * w.high + 0x1.6124613a86d09p-33;
  q = q * w.high - 0x1.ae64567f544e4p-26;
  q = q * w.high + 0x1.71de3a556c734p-19;
  q = q * w.high - 0x1.a01a01a01a01ap-13;
  return series(w, {-0x1.5555555555555p-3, -0x1.5555555555555p-57},
                {0x1.1111111111111p-7, 0x1.1111111111111p-63}, q);
}
Pair cosine(Pair w) {
  double q = -0x1.6827863b97d97p-53;
  q = q * w.high + 0x1.ae7f3e733b81fp-45;
  q = q * w.high - 0x1.93974a8c07c9dp-37;
  q = q * w.high + 0x1.1eed8eff8d898p-29;
  q = q * w.high - 0x1.27e4fb7789f5cp-22;
  q = q * w.high + 0x1.a01a01a01a01ap-16;
  q = q * w.high - 0x1.6c16c16c16c17p-10;
  return series(w, {-0.5, 0}, {0x1.5555555555555p-5, 0x1.5555555555555p-59}, q);
}

}  // namespace

double fixed_log(double x) {
  if (!(x > 0 && x < infinity)) return x == 0 ? -infinity : x == infinity ? infinity : not_a_number;
  const Pair log_x = log_of(x);
  return log_x.high + log_x.low;
}

double fixed_pow(double x, double y) {
  const double size = std::fabs(y);
  const bool plain = x > 0 && x < infinity && size >= 0x1p-64 && size <= 0x1p+64;
  return plain ? power(x, y) : rare_power(x, y);
}

double fixed_cos(double x) {
  const double size = std::fabs(x);
  if (!(size <= largest_angle)) return not_a_number;
  // size = q pi / 2 + r. The parts of pi / 2 have 32 bits, but for the last: q times each is exact.
  const double q = nearest_integer(size * 0x1.45f306dc9c883p-1);
  const auto quarter = static_cast<int>(q);
  const Pair second = exact_sum(size - q * 0x1.921fb544p+0, -(q * 0x1.0b4611a6p-34));
  const Pair third = exact_sum(second.high, -(q * 0x1.3198a2ep-69));
  const Pair r = ordered_sum(third.high, third.low + (second.low - q * 0x1.b839a252049c1p-104));
  const Pair w = product(r, r);
  const bool odd = (quarter & 1) != 0;
  const Pair value = odd ? product(r, sine_ratio(w)) : cosine(w);
  const bool negative = ((quarter + 1) & 2) != 0;  // cos r, -sin r, -cos r, sin r
  return negative ? -value.high : value.high;
}

}  // namespace qvtx
