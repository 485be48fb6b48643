#include "settings/value_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace qvtx {
namespace {

constexpr long longest = std::numeric_limits<long>::max();

TEST(ValueText, RealsHaveTheDigitsThatTheyNeed) {
  const std::pair<double, const char*> cases[] = {{-2.5, "-2.5"},
                                                  {1e6, "1e+06"},
                                                  {1.0 / 3, "0.3333333333333333"},
                                                  {static_cast<double>(1.0f / 3), "0.33333334"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(text, value_text(value));
  EXPECT_EQ("-42", value_text(-42L));
}

TEST(ValueText, TextGivesTheValueBack) {
  for (double x = 1e-300; x < 1e300; x *= 9.87654321)
    EXPECT_EQ(x, std::strtod(value_text(x).c_str(), nullptr));
  for (float x = 1e-36f; x < 1e37f; x *= 3.14159f)
    EXPECT_EQ(x, std::strtof(value_text(static_cast<double>(x)).c_str(), nullptr));
}

TEST(NearestValue, IntegersRoundHalvesAwayFromZeroAndStopAtTheirRange) {
  const std::tuple<double, long, bool> cases[] = {{4.5, 5, true},
                                                  {-4.5, -5, true},
                                                  {0.49999999999999994, 0, true},
                                                  {0x1p63, longest, false},
                                                  {-0x1p63, -longest - 1, true},
                                                  {std::nan(""), 0, false}};
  for (const auto& [typed, value, holds] : cases) {
    EXPECT_EQ(value, nearest_value<long>(typed)) << typed;
    EXPECT_EQ(holds, representable<long>(typed)) << typed;
  }
  EXPECT_EQ(4.6, nearest_value<double>(4.6));
}

}  // namespace
}  // namespace qvtx
