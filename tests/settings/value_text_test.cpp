#include "settings/value_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qvtx {
namespace {

constexpr long longest = std::numeric_limits<long>::max();

TEST(ValueText, RealsHaveTheDigitsThatTheyNeed) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0, "0"},
      {1, "1"},
      {-2.5, "-2.5"},
      {100000, "100000"},
      {1e6, "1e+06"},
      {0.1, "0.1"},
      {static_cast<double>(0.1f), "0.1"},  // what a preference file leaves of 0.1
      {static_cast<double>(1e-6f), "1e-06"},
      {static_cast<double>(1e30f), "1e+30"},
      {0.1234567, "0.1234567"},
      {1.0 / 3, "0.3333333333333333"},
      {static_cast<double>(1.0f / 3), "0.33333334"},
      {123456789, "123456789"},
      {1e300, "1e+300"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, value_text(c.value));
  EXPECT_EQ("-42", value_text(-42L));
}

TEST(ValueText, TextGivesTheValueBack) {
  for (double x = 1e-300; x < 1e300; x *= 9.87654321)
    EXPECT_EQ(x, std::strtod(value_text(x).c_str(), nullptr));
  for (float x = 1e-36f; x < 1e37f; x *= 3.14159f)
    EXPECT_EQ(x, std::strtof(value_text(static_cast<double>(x)).c_str(), nullptr));
}

TEST(NearestValue, IntegersRoundHalvesAwayFromZeroAndStopAtTheirRange) {
  const struct {
    double typed;
    long value;
    bool holds;
  } cases[] = {
      {4.6, 5, true},
      {4.5, 5, true},
      {-4.5, -5, true},
      {0.49999999999999994, 0, true},
      {1e300, longest, false},
      {-1e300, -longest - 1, false},
      {9223372036854775808.0, longest, false},
      {-9223372036854775808.0, -longest - 1, true},
      {9223372036854774784.0, 9223372036854774784L, true},
      {std::nan(""), 0, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value, nearest_value<long>(c.typed)) << c.typed;
    EXPECT_EQ(c.holds, representable<long>(c.typed)) << c.typed;
  }
  EXPECT_EQ(4.6, nearest_value<double>(4.6));
}

}  // namespace
}  // namespace qvtx
