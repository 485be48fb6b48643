// Logarithm, cosine and power.

#include "base/elementary.h"

#include <cfloat>
#include <cstring>

#include "base/isa.h"
#include "base/power_kernels.h"
#include "base/support.h"

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
const double nan = std::nan("");

/// |value - truth| in units of the last place that a double of that size has.
double error_in_ulp(double value, long double truth) {
  const int place = std::max(std::ilogb(truth), -1022) - 52;
  return static_cast<double>(std::fabs(value - truth) / std::ldexp(1.0L, place));
}

/// Numbers between 0 and 1, of all sizes, and on both sides of 1.
class Draws {
 public:
  double unit() { return static_cast<double>(words_() >> 11) * 0x1p-53; }
  int below(int n) { return static_cast<int>(words_() % static_cast<unsigned>(n)); }
  double any_size() { return std::ldexp(1 + unit(), below(2098) - 1074); }
  double near_one() { return 1 + std::ldexp(unit() - 0.5, -below(52)); }

 private:
  std::mt19937_64 words_{17};
};

class Elementary : public ::testing::Test {
 protected:
  void SetUp() override {
    if (LDBL_MANT_DIG < 64) GTEST_SKIP() << "long double is no better than double here";
  }
  Draws draw_;
};

TEST_F(Elementary, LogarithmIsRoundedFromTheExtendedValue) {
  double worst = 0;
  for (int k = 0; k < 250000; ++k)
    for (const double x : {draw_.any_size(), draw_.near_one(), draw_.unit() + DBL_TRUE_MIN})
      if (x != 1) worst = std::max(worst, error_in_ulp(fixed_log(x), std::log(static_cast<long double>(x))));
  EXPECT_LE(worst, 0.51);
}

TEST_F(Elementary, CosineIsRoundedFromTheExtendedValue) {
  double worst = 0;
  for (int k = 0; k < 250000; ++k) {
    const double zero = (draw_.below(600000) + 0.5) * 3.14159265358979323846;
    const double near_zero = zero + std::ldexp(draw_.unit() - 0.5, -draw_.below(60));
    for (const double x : {draw_.unit() * 6.2831853076, (draw_.unit() - 0.5) * 0x1p+21, near_zero / 2}) {
      if (std::fabs(x) > largest_angle) continue;
      worst = std::max(worst, error_in_ulp(fixed_cos(x), std::cos(static_cast<long double>(x))));
    }
  }
  EXPECT_LE(worst, 0.51);
}

TEST_F(Elementary, PowerIsRoundedFromTheExtendedValue) {
  double worst = 0;
  double worst_below = 0;
  for (int k = 0; k < 250000; ++k)
    for (const double x : {draw_.any_size(), draw_.near_one(), 10 * draw_.unit()}) {
      if (x == 1 || x == 0) continue;
      const double whole_range = 1500 / std::fabs(std::log(x));
      const double y = (draw_.unit() - 0.5) * (k % 2 == 0 ? whole_range : 16);
      const long double truth = std::pow(static_cast<long double>(x), static_cast<long double>(y));
      if (truth > DBL_MAX) continue;
      double& most = truth < DBL_MIN ? worst_below : worst;
      most = std::max(most, error_in_ulp(fixed_pow(x, y), truth));
    }
  EXPECT_LE(worst, 0.52);
  EXPECT_LE(worst_below, 0.52);
}

TEST(ElementaryValues, ExactResults) {
  EXPECT_EQ(fixed_log(1), 0);
  EXPECT_EQ(fixed_cos(0), 1);
  for (const double x : {2.0, 3.0, 5.0, 7.0, 10.0, 17.0, 0.5, 0.125}) {
    double product = x;
    for (int n = 1; product <= 0x1p+40; ++n, product *= x) {
      if (product < 0x1p-40) break;
      EXPECT_EQ(fixed_pow(x, n), product) << x << '^' << n;
      EXPECT_EQ(fixed_pow(-x, n), n % 2 == 0 ? product : -product) << x << '^' << n;
      const double root = (n & (n - 1)) == 0 ? fixed_pow(product, 1.0 / n) : x;  // 1 / n is exact
      EXPECT_EQ(root, x) << product << ", root " << n;
    }
  }
}

TEST(ElementaryValues, SpecialCasesOfPowers) {
  const struct {
    double x, y, expected;
  } cases[] = {{nan, 0, 1},
               {1, nan, 1},
               {nan, 1, nan},
               {2, nan, nan},
               {1, infinite, 1},
               {-1, -infinite, 1},
               {2, infinite, infinite},
               {0.5, infinite, 0},
               {-2, infinite, infinite},
               {2, -infinite, 0},
               {0.5, -infinite, infinite},
               {0, 2.5, 0},
               {0, -2.5, infinite},
               {-0.0, 3, -0.0},
               {-0.0, 4, 0},
               {-0.0, -3, -infinite},
               {-0.0, -4, infinite},
               {infinite, 0.1, infinite},
               {infinite, -0.1, 0},
               {-infinite, 3, -infinite},
               {-infinite, -3, -0.0},
               {-infinite, 2.5, infinite},
               {-2, 0.5, nan},
               {-1, 0x1p+60, 1},
               {-1, 0x1p+52 + 1, -1},
               {-3, 0x1p+53, infinite},
               {2, 1024, infinite},
               {2, 1023, 0x1p+1023},
               {2, -1074, DBL_TRUE_MIN},
               {2, -1076, 0},
               {DBL_TRUE_MIN, 1, DBL_TRUE_MIN},
               {DBL_MAX, 1, DBL_MAX},
               {2, -1022, DBL_MIN},
               {1 + DBL_EPSILON, 1e300, infinite},
               {1 - DBL_EPSILON, 1e300, 0},
               {DBL_MAX, 1e-300, 1},
               {3, DBL_TRUE_MIN, 1}};
  for (const auto& c : cases) {
    const double value = fixed_pow(c.x, c.y);
    SCOPED_TRACE(std::to_string(c.x) + "^" + std::to_string(c.y));
    EXPECT_EQ(std::isnan(value), std::isnan(c.expected));
    if (std::isnan(c.expected)) continue;
    EXPECT_EQ(value, c.expected);
    EXPECT_EQ(std::signbit(value), std::signbit(c.expected));
  }
}

TEST(ElementaryValues, SpecialCasesOfLogarithmAndCosine) {
  for (const double zero : {0.0, -0.0}) EXPECT_EQ(fixed_log(zero), -infinite);
  EXPECT_EQ(fixed_log(infinite), infinite);
  EXPECT_EQ(fixed_cos(-1.25), fixed_cos(1.25));
  EXPECT_TRUE(std::isfinite(fixed_cos(-largest_angle)));
  for (const double x : {-1.0, -infinite, nan, -DBL_TRUE_MIN}) EXPECT_TRUE(std::isnan(fixed_log(x))) << x;
  for (const double x : {infinite, nan, largest_angle + 1}) EXPECT_TRUE(std::isnan(fixed_cos(x))) << x;
}

TEST(Powers, HaveTheBitsOfTheSinglePowerAtEveryLevel) {
  Draws draw;
  for (int round = 0; round < 3000; ++round) {
    std::vector<double> x(static_cast<std::size_t>(1 + draw.below(70)));
    for (double& v : x) v = round % 3 == 0 ? draw.any_size() : 9 * draw.unit();
    const double odd[] = {0, infinite, nan, DBL_TRUE_MIN, DBL_MAX, 1};
    if (round % 2 == 0) x[x.size() / 2] = odd[draw.below(6)];
    const double y =
        round % 5 == 0 ? std::ldexp(draw.unit() + 0.5, draw.below(120) - 60) : 8 * draw.unit() - 1;
    std::vector<double> expected = x;
    for (double& v : expected) v = v == 0 ? 0 : fixed_pow(v, y);
    for (const Isa level : {Isa::baseline, Isa::avx2, Isa::avx512}) {
      set_isa_level(level);
      std::vector<double> powers = x;
      power_kernels().powers(powers.data(), static_cast<long>(x.size()), y);
      ASSERT_EQ(std::memcmp(powers.data(), expected.data(), x.size() * sizeof(double)), 0) << y;
    }
  }
  set_isa_level(isa_best());
}

}  // namespace
}  // namespace qvtx
