#include "base/exponential.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "base/isa.h"

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
const double smallest = std::log(DBL_MIN);  // rounded upwards: its exponential is a normal number
const double largest = std::log(DBL_MAX);   // rounded downwards

/// |value - e^x| in units of the last place of e^x.
double error_in_ulp(double x, double value) {
  const long double truth = std::exp(static_cast<long double>(x));
  return static_cast<double>(std::fabs(value - truth) / std::ldexp(1.0L, std::ilogb(truth) - 52));
}

TEST(FixedExp, IsWithinOneUlpOfTheExtendedPrecisionValue) {
  if (LDBL_MANT_DIG <= DBL_MANT_DIG) GTEST_SKIP() << "long double is no better than double here";
  std::mt19937_64 words(20);
  double worst = 0;
  for (int k = 0; k < 2000000; ++k) {
    const double u = static_cast<double>(words() >> 11) * 0x1p-53;
    const int halvings = static_cast<int>(words() % 60);
    // The whole range, the neighbourhood of 0, and where the reduction changes from one k to the next.
    const double near_seam =
        (std::floor(u * 2040) - 1020.5) * 0.6931471805599453 + std::ldexp(u - 0.5, -halvings);
    for (const double x : {smallest + u * (largest - smallest), std::ldexp(u - 0.5, -halvings), near_seam}) {
      worst = std::fmax(worst, error_in_ulp(x, fixed_exp(x)));
    }
  }
  EXPECT_LE(worst, 0.875);  // the bound that the comments in the definition add up to
}

TEST(FixedExp, EndsOfTheRangeAndSpecialValues) {
  for (const double end : {largest, smallest}) EXPECT_LE(error_in_ulp(end, fixed_exp(end)), 1) << end;
  for (const double x : {0.0, -0.0, DBL_TRUE_MIN}) EXPECT_EQ(fixed_exp(x), 1) << x;
  for (const double x : {infinite, DBL_MAX, std::nextafter(largest, infinite)}) {
    EXPECT_EQ(fixed_exp(x), infinite) << x;
    EXPECT_EQ(fixed_exp(-x), 0) << x;
  }
  EXPECT_EQ(fixed_exp(std::nextafter(smallest, -infinite)), 0);
  EXPECT_TRUE(std::isnan(fixed_exp(std::nan(""))));
}

// The same loop for every instruction set, as in the kernels.
void exp_plain(double* out, const double* x, long n) {
  for (long i = 0; i < n; ++i) out[i] = fixed_exp(x[i]);
}
#if defined(__x86_64__)
__attribute__((target("avx2"))) void exp_avx2(double* out, const double* x, long n) {
  for (long i = 0; i < n; ++i) out[i] = fixed_exp(x[i]);
}
__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl"))) void exp_avx512(double* out, const double* x,
                                                                              long n) {
  for (long i = 0; i < n; ++i) out[i] = fixed_exp(x[i]);
}
#else
constexpr auto exp_avx2 = exp_plain, exp_avx512 = exp_plain;
#endif

TEST(FixedExp, LoopsHaveTheBitsOfTheScalarForm) {
  std::mt19937_64 words(7);
  std::vector<double> x;
  for (int k = 0; k < 100003; ++k) x.push_back(static_cast<double>(words() >> 11) * 0x1p-53 * 1600 - 800);
  for (const double special : {infinite, -infinite, 0.0, largest, smallest, DBL_MAX, -DBL_MAX})
    x.push_back(special);
  std::vector<double> expected;
  for (const volatile double& one : x) expected.push_back(fixed_exp(one));  // volatile: one at a time
  const struct {
    Isa level;
    void (*run)(double*, const double*, long);
  } loops[] = {{Isa::baseline, exp_plain}, {Isa::avx2, exp_avx2}, {Isa::avx512, exp_avx512}};
  for (const auto& loop : loops) {
    if (loop.level > isa_best()) continue;
    std::vector<double> out(x.size());
    loop.run(out.data(), x.data(), static_cast<long>(x.size()));
    EXPECT_EQ(std::memcmp(out.data(), expected.data(), x.size() * sizeof(double)), 0)
        << "level " << static_cast<int>(loop.level);
  }
}

}  // namespace
}  // namespace qvtx
