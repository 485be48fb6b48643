#include "base/random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <sstream>

namespace qvtx {
namespace {

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
  for (const unsigned long seed : {1UL, 4357UL, 4294967295UL, 4294967296UL + 17}) {
    std::mt19937 oracle = seeded_oracle(static_cast<std::uint32_t>(seed));
    setseed(seed);
    for (int k = 0; k < 3000; ++k) ASSERT_EQ(ul_rand(), oracle()) << "seed " << seed << ", number " << k;
  }
}

TEST(Random, UnseededGeneratorIsThatOfTheDefaultSeed) {
  setrandom({{}, 625});
  std::mt19937 oracle = seeded_oracle(4357);
  for (int k = 0; k < 700; ++k) ASSERT_EQ(ul_rand(), oracle());
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
  for (int k = 0; k < 100; ++k) EXPECT_EQ(u_rand(), static_cast<double>(words()) / 4294967295.0);
}

TEST(Random, GaussianTakesTwoUniformDrawsInOrderAndSavedStatesRepeatTheDraws) {
  setseed(31);
  const RandomState state = getrandom();
  const double u1 = u_rand(), u2 = u_rand();
  setrandom(state);
  EXPECT_EQ(gauss_rand(), std::sqrt(-2.0 * std::log(u1)) * std::cos(6.2831853076 * u2));
}

}  // namespace
}  // namespace qvtx
