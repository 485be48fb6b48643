#include "base/ostr.h"

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <limits>
#include <sstream>

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

TEST(Ostr, WritesFieldsLinesTablesAndCounters) {
  const struct {
    const char* expected;
    std::function<void(Ostr&)> write;
  } cases[] = {
      {"x   x", [](Ostr& o) { o.ow('x', -3).ow('x', 4); }},
      {"abc  abcabc", [](Ostr& o) { o.ow("abc", 5).ow("abcdef", 3).ow("abc", 0); }},
      {"  1.50 -0.1251.5", [](Ostr& o) { o.ow(1.5).ow(-0.125, 7, 3).ow(1.5, 2, 1); }},
      {"   inf  -inf   nan", [](Ostr& o) { o.ow(infinite).ow(-infinite).ow(-(infinite - infinite)); }},
      {"  7-12345", [](Ostr& o) { o.ow(7, 3).ow(-12345L, 2); }},
      {"    ab\nc\n....d\n......",
       [](Ostr& o) {
         o.depth = 2;
         o.ow("a").ow("b").nl();
         o.fill = '.';
         o.noindent = 1;
         o.ow("c").nl().ow("d").fresh().fresh();
         const Indent deeper(o);
         o.lind();
       }},
      {"title\nh |\n| x | y |\n",
       [](Ostr& o) {
         o.ow("title").tb(0);
         o.total = 2;
         o.ow("h").tsep().ow("x").tsep().ow("y").te();
       }},
      {"x\nloop    1/1000 \rloop    2/1000 \nloop    3/1000 \n",
       [](Ostr& o) { o.ow("x").lb(1000).lp(1).lp(1).lp(0).le(); }},
  };
  for (const auto& c : cases) {
    std::ostringstream text;
    text << std::setw(9) << std::setprecision(3) << std::hex << std::scientific;  // none of it may show
    Ostr o(text);
    c.write(o);
    EXPECT_EQ(text.str(), c.expected);
  }
}

TEST(Ostr, ProgressBarPlacesEachMarkAsSoonAsItIsDue) {
  for (const long steps : {1L, 3L, 59L, 60L, 61L, 1000L}) {
    std::ostringstream text;
    Ostr o(text);
    o.wbb(steps, 100);
    for (long k = 1; k <= steps; ++k) {
      o.wbp();
      const auto due = static_cast<std::size_t>((k * 60 + steps - 1) / steps);  // the share, rounded up
      EXPECT_EQ(text.str(), std::string(60, '_') + "\n" + std::string(due, '^')) << k << " of " << steps;
    }
  }
}

TEST(EndProgramDeathTest, FlushesAndEndsWithStatusZero) {
  EXPECT_EXIT((os.stream = &std::cerr, os.ow("last words"), end_program()), testing::ExitedWithCode(0),
              testing::Eq("last words"));
}

}  // namespace
}  // namespace qvtx
