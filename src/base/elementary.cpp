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
const Pair log_table[] = {{-0x1.522ae0738a3d8p-2, 0x1.8f7e9b38a6979p-57},
                          {-0x1.3c25277333184p-2, 0x1.2ad27e50a8ec6p-56},
                          {-0x1.269621134db92p-2, -0x1.e0efadd9db02bp-56},
                          {-0x1.1178e8227e47cp-2, 0x1.0e63a5f01c691p-57},
                          {-0x1.f991c6cb3b379p-3, -0x1.f665066f980a2p-57},
                          {-0x1.d1037f2655e7bp-3, -0x1.60629242471a2p-57},
                          {-0x1.a93ed3c8ad9e3p-3, -0x1.bcafa9de97203p-57},
                          {-0x1.823c16551a3c2p-3, 0x1.1232ce70be781p-57},
                          {-0x1.5bf406b543db2p-3, 0x1.1f5b44c0df7e7p-61},
                          {-0x1.365fcb0159016p-3, -0x1.7d411a5b944adp-58},
                          {-0x1.1178e8227e47cp-3, 0x1.0e63a5f01c691p-58},
                          {-0x1.da727638446a2p-4, -0x1.401fa71733019p-58},
                          {-0x1.9335e5d594989p-4, 0x1.478a85704ccb7p-58},
                          {-0x1.4d3115d207eacp-4, -0x1.769f42c7842ccp-58},
                          {-0x1.08598b59e3a07p-4, 0x1.dd7009902bf32p-58},
                          {-0x1.894aa149fb343p-5, -0x1.a8be97660a23dp-60},
                          {-0x1.0415d89e74444p-5, -0x1.c05cf1d753622p-59},
                          {-0x1.0205658935847p-6, -0x1.27c8e8416e71fp-60},
                          {0, 0},
                          {0x1.fc0a8b0fc03e4p-7, -0x1.83092c59642a1p-62},
                          {0x1.f829b0e7833p-6, 0x1.33e3f04f1ef23p-60},
                          {0x1.77458f632dcfcp-5, 0x1.18d3ca87b9296p-59},
                          {0x1.f0a30c01162a6p-5, 0x1.85f325c5bbacdp-59},
                          {0x1.341d7961bd1d1p-4, -0x1.b599f227becbbp-58},
                          {0x1.6f0d28ae56b4cp-4, -0x1.906d99184b992p-58},
                          {0x1.a926d3a4ad563p-4, 0x1.942f48aa70ea9p-58},
                          {0x1.e27076e2af2e6p-4, -0x1.61578001e0162p-60},
                          {0x1.0d77e7cd08e59p-3, 0x1.9a5dc5e9030acp-57},
                          {0x1.29552f81ff523p-3, 0x1.301771c407dbfp-57},
                          {0x1.44d2b6ccb7d1ep-3, 0x1.9f4f6543e1f88p-57},
                          {0x1.5ff3070a793d4p-3, -0x1.bc60efafc6f6ep-58},
                          {0x1.7ab890210d909p-3, 0x1.be36b2d6a0608p-59},
                          {0x1.9525a9cf456b4p-3, 0x1.d904c1d4e2e26p-57},
                          {0x1.af3c94e80bff3p-3, -0x1.398cff3641985p-58},
                          {0x1.c8ff7c79a9a22p-3, -0x1.4f689f8434012p-57},
                          {0x1.e27076e2af2e6p-3, -0x1.61578001e0162p-59},
                          {0x1.fb9186d5e3e2bp-3, -0x1.caaae64f21acbp-57},
                          {0x1.0a324e27390e3p-2, 0x1.7dcfde8061c03p-56},
                          {0x1.1675cababa60ep-2, 0x1.ce63eab883717p-61},
                          {0x1.22941fbcf7966p-2, -0x1.76f5eb09628afp-56},
                          {0x1.2e8e2bae11d31p-2, -0x1.8f4cdb95ebdf9p-56},
                          {0x1.3a64c556945eap-2, -0x1.c68651945f97cp-57},
                          {0x1.4618bc21c5ec2p-2, 0x1.f42decdeccf1dp-56},
                          {0x1.51aad872df82dp-2, 0x1.3927ac19f55e3p-59},
                          {0x1.5d1bdbf5809cap-2, 0x1.4236383dc7fe1p-56},
                          {0x1.686c81e9b14afp-2, -0x1.ddea0f7f58e3dp-57}};

const Pair exp_table[] = {{1, 0},
                          {0x1.02c9a3e778061p+0, -0x1.19083535b085dp-56},
                          {0x1.059b0d3158574p+0, 0x1.d73e2a475b465p-55},
                          {0x1.0874518759bc8p+0, 0x1.186be4bb284ffp-57},
                          {0x1.0b5586cf9890fp+0, 0x1.8a62e4adc610bp-54},
                          {0x1.0e3ec32d3d1a2p+0, 0x1.03a1727c57b53p-59},
                          {0x1.11301d0125b51p+0, -0x1.6c51039449b3ap-54},
                          {0x1.1429aaea92dep+0, -0x1.32fbf9af1369ep-54},
                          {0x1.172b83c7d517bp+0, -0x1.19041b9d78a76p-55},
                          {0x1.1a35beb6fcb75p+0, 0x1.e5b4c7b4968e4p-55},
                          {0x1.1d4873168b9aap+0, 0x1.e016e00a2643cp-54},
                          {0x1.2063b88628cd6p+0, 0x1.dc775814a8495p-55},
                          {0x1.2387a6e756238p+0, 0x1.9b07eb6c70573p-54},
                          {0x1.26b4565e27cddp+0, 0x1.2bd339940e9d9p-55},
                          {0x1.29e9df51fdee1p+0, 0x1.612e8afad1255p-55},
                          {0x1.2d285a6e4030bp+0, 0x1.0024754db41d5p-54},
                          {0x1.306fe0a31b715p+0, 0x1.6f46ad23182e4p-55},
                          {0x1.33c08b26416ffp+0, 0x1.32721843659a6p-54},
                          {0x1.371a7373aa9cbp+0, -0x1.63aeabf42eae2p-54},
                          {0x1.3a7db34e59ff7p+0, -0x1.5e436d661f5e3p-56},
                          {0x1.3dea64c123422p+0, 0x1.ada0911f09ebcp-55},
                          {0x1.4160a21f72e2ap+0, -0x1.ef3691c309278p-58},
                          {0x1.44e086061892dp+0, 0x1.89b7a04ef80dp-59},
                          {0x1.486a2b5c13cdp+0, 0x1.3c1a3b69062fp-56},
                          {0x1.4bfdad5362a27p+0, 0x1.d4397afec42e2p-56},
                          {0x1.4f9b2769d2ca7p+0, -0x1.4b309d25957e3p-54},
                          {0x1.5342b569d4f82p+0, -0x1.07abe1db13cadp-55},
                          {0x1.56f4736b527dap+0, 0x1.9bb2c011d93adp-54},
                          {0x1.5ab07dd485429p+0, 0x1.6324c054647adp-54},
                          {0x1.5e76f15ad2148p+0, 0x1.ba6f93080e65ep-54},
                          {0x1.6247eb03a5585p+0, -0x1.383c17e40b497p-54},
                          {0x1.6623882552225p+0, -0x1.bb60987591c34p-54},
                          {0x1.6a09e667f3bcdp+0, -0x1.bdd3413b26456p-54},
                          {0x1.6dfb23c651a2fp+0, -0x1.bbe3a683c88abp-57},
                          {0x1.71f75e8ec5f74p+0, -0x1.16e4786887a99p-55},
                          {0x1.75feb564267c9p+0, -0x1.0245957316dd3p-54},
                          {0x1.7a11473eb0187p+0, -0x1.41577ee04992fp-55},
                          {0x1.7e2f336cf4e62p+0, 0x1.05d02ba15797ep-56},
                          {0x1.82589994cce13p+0, -0x1.d4c1dd41532d8p-54},
                          {0x1.868d99b4492edp+0, -0x1.fc6f89bd4f6bap-54},
                          {0x1.8ace5422aa0dbp+0, 0x1.6e9f156864b27p-54},
                          {0x1.8f1ae99157736p+0, 0x1.5cc13a2e3976cp-55},
                          {0x1.93737b0cdc5e5p+0, -0x1.75fc781b57ebcp-57},
                          {0x1.97d829fde4e5p+0, -0x1.d185b7c1b85d1p-54},
                          {0x1.9c49182a3f09p+0, 0x1.c7c46b071f2bep-56},
                          {0x1.a0c667b5de565p+0, -0x1.359495d1cd533p-54},
                          {0x1.a5503b23e255dp+0, -0x1.d2f6edb8d41e1p-54},
                          {0x1.a9e6b5579fdbfp+0, 0x1.0fac90ef7fd31p-54},
                          {0x1.ae89f995ad3adp+0, 0x1.7a1cd345dcc81p-54},
                          {0x1.b33a2b84f15fbp+0, -0x1.2805e3084d708p-57},
                          {0x1.b7f76f2fb5e47p+0, -0x1.5584f7e54ac3bp-56},
                          {0x1.bcc1e904bc1d2p+0, 0x1.23dd07a2d9e84p-55},
                          {0x1.c199bdd85529cp+0, 0x1.11065895048ddp-55},
                          {0x1.c67f12e57d14bp+0, 0x1.2884dff483cadp-54},
                          {0x1.cb720dcef9069p+0, 0x1.503cbd1e949dbp-56},
                          {0x1.d072d4a07897cp+0, -0x1.cbc3743797a9cp-54},
                          {0x1.d5818dcfba487p+0, 0x1.2ed02d75b3707p-55},
                          {0x1.da9e603db3285p+0, 0x1.c2300696db532p-54},
                          {0x1.dfc97337b9b5fp+0, -0x1.1a5cd4f184b5cp-54},
                          {0x1.e502ee78b3ff6p+0, 0x1.39e8980a9cc8fp-55},
                          {0x1.ea4afa2a490dap+0, -0x1.e9c23179c2893p-54},
                          {0x1.efa1bee615a27p+0, 0x1.dc7f486a4b6bp-54},
                          {0x1.f50765b6e454p+0, 0x1.9d3e12dd8a18bp-54},
                          {0x1.fa7c1819e90d8p+0, 0x1.74853f3a5931ep-55}};

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
