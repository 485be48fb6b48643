// The exponential, the generator and the scalar quantizer.

#include <cfloat>

#include "base/elementary.h"
#include "base/exponential.h"
#include "base/random.h"
#include "base/scquan.h"
#include "base/support.h"

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
const double smallest = std::log(DBL_MIN);  // rounded upwards: its exponential is a normal number
const double largest = std::log(DBL_MAX);   // rounded downwards

// ---- The exponential ----

/// |fixed_exp(x) - e^x| in units of the last place of e^x.
double error_in_ulp(double x) {
  const long double truth = std::exp(static_cast<long double>(x));
  return static_cast<double>(std::fabs(fixed_exp(x) - truth) / std::ldexp(1.0L, std::ilogb(truth) - 52));
}

TEST(FixedExp, IsWithinOneUlpOfTheExtendedPrecisionValue) {
  if (LDBL_MANT_DIG <= DBL_MANT_DIG) GTEST_SKIP() << "long double is no better than double here";
  std::mt19937_64 words(20);
  double worst = std::fmax(error_in_ulp(smallest), error_in_ulp(largest));
  for (int k = 0; k < 2000000; ++k) {
    const double u = static_cast<double>(words() >> 11) * 0x1p-53;
    const double near_zero = std::ldexp(u - 0.5, -static_cast<int>(words() % 60));
    // The whole range, the neighbourhood of 0, and where the reduction changes from one k to the next.
    const double near_seam = (std::floor(u * 2040) - 1020.5) * 0.6931471805599453 + near_zero;
    for (const double x : {smallest + u * (largest - smallest), near_zero, near_seam})
      worst = std::fmax(worst, error_in_ulp(x));
  }
  EXPECT_LE(worst, 0.875);  // the bound that the comments in the definition add up to
}

TEST(FixedExp, SpecialValues) {
  for (const double x : {0.0, -0.0, DBL_TRUE_MIN}) EXPECT_EQ(fixed_exp(x), 1) << x;
  for (const double x : {infinite, DBL_MAX, std::nextafter(largest, infinite)}) {
    EXPECT_EQ(fixed_exp(x), infinite) << x;
    EXPECT_EQ(fixed_exp(-x), 0) << x;
  }
  EXPECT_EQ(fixed_exp(std::nextafter(smallest, -infinite)), 0);
  EXPECT_TRUE(std::isnan(fixed_exp(std::nan(""))));
}

// ---- The generator ----

/// The standard library's generator, put into the state that the 69069 rule gives.
std::mt19937 seeded_oracle(std::uint32_t seed) {
  std::stringstream state;
  std::uint64_t word = seed;
  for (int i = 0; i < 624; ++i, word = word * 69069 % 4294967296) state << word << ' ';
  state << 624;
  std::mt19937 oracle;
  state >> oracle;
  return oracle;
}

TEST(Random, IsMersenneTwisterSeededByTheMultiplierRule) {
  for (const unsigned long seed : {0UL, 1UL, 4294967295UL, 4294967296UL + 17}) {
    if (seed == 0) {
      setrandom({{}, 625});  // the unseeded state stands for the default seed
    } else {
      setseed(seed);
    }
    std::mt19937 oracle = seeded_oracle(seed == 0 ? 4357 : static_cast<std::uint32_t>(seed));
    for (int k = 0; k < 2000; ++k) ASSERT_EQ(ul_rand(), oracle()) << "seed " << seed << ", number " << k;
  }
}

// ---- The scalar quantizer ----

TEST(ScQuan, BinsAreClosedBelow) {
  ScQuan q(0, 1, 0);
  for (const long bits : {0L, 1L, 4L, 10L}) {
    q.setall(-3, 5, bits);  // bin boundaries are exact
    EXPECT_EQ(q.bins(), 1L << bits);
    for (long k = 0; k < q.bins(); ++k) {
      const double boundary = q.lb() + static_cast<double>(k) * q.width();
      EXPECT_EQ(q.getidx(boundary), k);
      EXPECT_EQ(q.getidx(std::nextafter(boundary + q.width(), q.lb())), k);
    }
    for (const double above : {q.ub(), infinite}) EXPECT_EQ(q.getidx(above), q.bins() - 1);
    EXPECT_EQ(q.getidx(-infinite), 0);
  }
}

TEST(Random, DerivedDrawsFollowTheWords) {
  setseed(99);
  std::mt19937 words = seeded_oracle(99);
  bool negative = false;
  for (const long n : {1L, 2L, 7L, 1000L, 2147483647L, 5000000000L, 3L, 10L, 10L, 10L}) {
    const auto word = static_cast<std::int32_t>(words());
    negative = negative || word < 0;
    EXPECT_EQ(draw_index(n), std::llabs(word % n)) << n;
  }
  EXPECT_TRUE(negative);  // the case in which the remainder needs its absolute value has occurred
  for (int k = 0; k < 9; ++k) EXPECT_EQ(u_rand(), static_cast<double>(words()) / 4294967295.0);
  const RandomState state = getrandom();
  const double u1 = u_rand(), u2 = u_rand();
  setrandom(state);
  EXPECT_EQ(gauss_rand(), std::sqrt(-2.0 * fixed_log(u1)) * fixed_cos(6.2831853076 * u2));
}

}  // namespace
}  // namespace qvtx
