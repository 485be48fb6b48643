// What the console shows, what it asks for, and the trace of what was typed.

#include <iomanip>

#include "base/prompts.h"
#include "base/support.h"
#include "base/time_left.h"

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

TEST(TimeLeft, IsToldInWholeUnitsThatDoNotPromiseTooMuch) {
  const std::pair<double, const char*> cases[] = {{0.2, "1 s"},     {12, "12 s"},      {120, "120 s"},
                                                  {120.5, "3 min"}, {7200, "120 min"}, {7201, "3 h"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(duration_text(seconds), text) << seconds;
}

TEST(Ostr, WritesFieldsLinesTablesAndCounters) {
  const struct {
    const char* expected;
    std::function<void(Ostr&)> write;
  } cases[] = {
      {"x   x", [](Ostr& o) { o.ow('x', -3).ow('x', 4); }},
      {"abc  abcabc", [](Ostr& o) { o.ow("abc", 5).ow("abcdef", 3).ow("abc", 0); }},
      {"  1.50 -0.1251.5", [](Ostr& o) { o.ow(1.5).ow(-0.125, 7, 3).ow(1.5, 2, 1); }},
      {"  0.00 -0.01 0.000", [](Ostr& o) { o.ow(-0.004).ow(-0.006).ow(-0.0, 6, 3); }},
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
  for (const long steps : {1L, 59L, 60L, 61L, 1000L}) {
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

TEST(Prompts, CommandIsTwoCharactersWithGapsBetween) {
  for (const char* typed : {"km", " k\tm", "\r\n k\r\nm\n"}) {
    const ConsoleRedirect console(typed);
    char c1 = 0, c2 = 0;
    EXPECT_TRUE(getc1c2(c1, c2)) << typed;
    EXPECT_EQ(std::string({c1, c2}), "km");
    EXPECT_FALSE(getc1c2(c1, c2)) << "end of input";
    EXPECT_EQ(comtrac, "km\n");
  }
}

TEST(Prompts, NumbersAreWholeWordsInRange) {
  const std::pair<const char*, long> integers[] = {
      {"0012", 12}, {"+7", 7}, {"2147483647", 2147483647}, {"-2147483648", -2147483648L}};
  const std::pair<const char*, double> reals[] = {
      {"-.25", -0.25}, {"3.", 3}, {"-2.5E-1", -0.25}, {"1e-400", 0}, {"5e-324", 5e-324}};
  long n = 0;
  double x = 0;
  for (const auto& [word, value] : integers) {
    EXPECT_TRUE(parse_long(word, n)) << word;
    EXPECT_EQ(n, value) << word;
  }
  for (const auto& [word, value] : reals) {
    EXPECT_TRUE(parse_double(word, x)) << word;
    EXPECT_EQ(x, value) << word;
  }
  n = 99;
  x = 99;
  for (const char* word :
       {"2147483648", "-2147483649", "99999999999999999999", "1.5", "12x", "-", "+-3", "0x10"})
    EXPECT_FALSE(parse_long(word, n)) << word;
  for (const char* word : {"1e400", "inf", "-nan", "0x1p3", "1,5", "1e", ".", "+-1", "1.5.2"})
    EXPECT_FALSE(parse_double(word, x)) << word;
  EXPECT_EQ(n, 99);
  EXPECT_EQ(x, 99);
}

TEST(Prompts, ConfirmAndAutomaticTraceEveryCharacterAndTheAnswer) {
  const struct {
    int (*ask)();
    const char* typed;
    int answer;
    const char* trace;
  } cases[] = {{confirm, "x\nq O", 1, "x\nq\nO\ny\n"},
               {confirm, "an", 0, "a\nn\nn\n"},
               {automatic, "ya", 1, "y\na\na\n"},
               {automatic, "M", 0, "M\nn\n"}};
  for (const auto& c : cases) {
    const ConsoleRedirect console(c.typed);
    EXPECT_EQ(c.ask(), c.answer) << c.typed;
    EXPECT_EQ(comtrac, c.trace) << c.typed;
  }
}

TEST(Trace, SavedTraceEndsWithTheExitCommandAndIsEmptiedEvenIfTheFileFails) {
  const test::Scratch scratch;
  for (const char* target : {"trace.trc", "no such directory/x.trc"}) {
    const ConsoleRedirect console;
    trace_word(comtrac, "km");
    EXPECT_EQ(trace_long(comtrac, 10), 3);
    EXPECT_EQ(trace_double(comtrac, -1234.5), 14);
    const bool saved = savetrc(target);
    EXPECT_EQ(console.err(), saved ? "  trace saved & reset!\n" : "") << target;
    EXPECT_EQ(comtrac, "");
  }
  EXPECT_EQ(test::read_file("trace.trc"), "km\n10\n-1.234500e+03\nxt\ny\n");
}

}  // namespace
}  // namespace qvtx
