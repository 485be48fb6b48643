#include "base/ostr.h"

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <limits>
#include <sstream>

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

struct Case {
  const char* expected;
  std::function<void(Ostr&)> write;
};

void expect_text(const Case& c) {
  std::ostringstream text;
  Ostr o(text);
  c.write(o);
  EXPECT_EQ(text.str(), c.expected);
}

TEST(Ostr, WritesFieldsOfCharactersTextsAndNumbers) {
  const Case cases[] = {
      {"x", [](Ostr& o) { o.ow('x', 1); }},
      {"x", [](Ostr& o) { o.ow('x', -3); }},
      {"   x", [](Ostr& o) { o.ow('x', 4); }},
      {"abc  ", [](Ostr& o) { o.ow("abc", 5); }},
      {"abc", [](Ostr& o) { o.ow("abcdef", 3); }},
      {"abc", [](Ostr& o) { o.ow("abc", 0); }},
      {"  1.50", [](Ostr& o) { o.ow(1.5); }},
      {" -0.125", [](Ostr& o) { o.ow(-0.125, 7, 3); }},
      {"1.5", [](Ostr& o) { o.ow(1.5, 2, 1); }},
      {"1234567.00", [](Ostr& o) { o.ow(1234567.0); }},
      {"   inf  -inf   nan", [](Ostr& o) { o.ow(infinite).ow(-infinite).ow(-(infinite - infinite)); }},
      {"  7-12345", [](Ostr& o) { o.ow(7, 3).ow(-12345L, 2); }},
  };
  for (const Case& c : cases) expect_text(c);
}

TEST(Ostr, WritesTheLongestRealsLikeTheCLibrary) {
  for (const int decimals : {1, 200, 600}) {
    std::ostringstream text;
    Ostr(text).ow(-std::numeric_limits<double>::max(), 1, decimals);
    char expected[1200];
    std::snprintf(expected, sizeof expected, "%.*f", decimals, -std::numeric_limits<double>::max());
    EXPECT_EQ(text.str(), expected);
  }
}

TEST(Ostr, IgnoresAndKeepsTheFormatOfTheStream) {
  std::ostringstream text;
  text << std::setw(9) << std::setprecision(3) << std::hex << std::scientific;
  Ostr o(text);
  const auto flags = text.flags();
  o.ow("a").ow(255L).ow(0.5, 1, 1);
  EXPECT_EQ(text.str(), "a2550.5");
  EXPECT_EQ(text.flags(), flags);
  EXPECT_EQ(text.precision(), 3);
}

TEST(Ostr, SetsTheFlagsOfTheStream) {
  std::ostringstream text;
  Ostr o(text);
  const auto wanted = std::ios_base::fixed | std::ios_base::left | std::ios_base::internal;
  EXPECT_EQ(text.flags() & wanted, wanted);
  o.depth = 3;
  o.precision = 9;
  o.init();
  EXPECT_EQ(o.depth, 0);
  EXPECT_EQ(o.precision, 2);
}

TEST(Ostr, IndentsEachLineOnce) {
  std::ostringstream text;
  Ostr o(text);
  o.depth = 2;
  o.ow("a").ow("b").nl();
  o.fill = '.';
  o.noindent = 1;
  o.ow("c").nl();
  o.ow("d").fresh().fresh();
  {
    Indent deeper(o);
    o.lind();
  }
  EXPECT_EQ(text.str(), "    ab\nc\n....d\n......");
  EXPECT_EQ(o.depth, 2);
}

TEST(Ostr, TableHeaderEndsAtTheFirstSeparator) {
  std::ostringstream text;
  Ostr o(text);
  o.ow("title").tb(0);
  EXPECT_EQ(o.span, 1);
  o.total = 2;
  o.ow("h").tsep().ow("x").tsep().ow("y").te();
  EXPECT_EQ(text.str(), "title\nh |\n| x | y |\n");
  EXPECT_EQ(o.begun + o.span + o.total + o.count, 0);
}

TEST(Ostr, LoopCounterEndsThePreviousLine) {
  std::ostringstream text;
  Ostr o(text);
  o.depth = 1;
  o.ow("x").lb(1000);
  EXPECT_EQ(o.span, 4);
  o.lp(1).lp(1).lp(0).le();
  EXPECT_EQ(text.str(), "  x\n  loop    1/1000 \r  loop    2/1000 \n  loop    3/1000 \n");
  EXPECT_EQ(o.begun + o.span + o.total + o.count, 0);
}

TEST(Ostr, LoopCounterIsAsWideAsItsTotal) {
  const long spans[][2] = {{-4, 1}, {0, 1}, {9, 1}, {10, 2}, {99, 2}, {100, 3}, {999999, 6}, {1000000, 7}};
  for (const auto& [total, span] : spans) {
    std::ostringstream text;
    Ostr o(text);
    EXPECT_EQ(o.lb(total).span, span) << total;
  }
}

TEST(Ostr, ProgressBarPlacesEachMarkAsSoonAsItIsDue) {
  for (const long steps : {1L, 3L, 10L, 59L, 60L, 61L, 1000L}) {
    std::ostringstream text;
    Ostr o(text);
    o.wbb(steps, 100);
    const std::size_t above = text.str().size();
    EXPECT_EQ(text.str(), std::string(60, '_') + "\n");
    for (long k = 1; k <= steps; ++k) {
      o.wbp();
      const auto due = static_cast<std::size_t>((k * 60 + steps - 1) / steps);  // the share, rounded up
      EXPECT_EQ(text.str().substr(above), std::string(due, '^')) << k << " of " << steps;
    }
    EXPECT_EQ(o.wbp().wbe().stream, &text);
    EXPECT_EQ(text.str().substr(above), std::string(60, '^') + "\n");
    EXPECT_EQ(o.begun + o.span + o.total + o.count + o.marks, 0);
  }
}

TEST(Ostr, ProgressBarHasAtLeastTenMarks) {
  std::ostringstream text;
  Ostr(text).wbb(2, -1).wbp().wbp().wbp();
  EXPECT_EQ(text.str(), "__________\n^^^^^^^^^^");
}

TEST(EndProgramDeathTest, FlushesAndEndsWithStatusZero) {
  EXPECT_EXIT((os.stream = &std::cerr, os.ow("last words"), end_program()), testing::ExitedWithCode(0),
              testing::Eq("last words"));
}

}  // namespace
}  // namespace qvtx
