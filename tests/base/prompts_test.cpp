#include "base/prompts.h"

#include <gtest/gtest.h>

#include <map>

#include "base/console_redirect.h"

namespace qvtx {
namespace {

TEST(Prompts, CommandIsTwoCharactersWithGapsBetween) {
  for (const char* typed : {"km", " k\tm", "\r\n k\r\nm\n"}) {
    const ConsoleRedirect console(typed);
    char c1 = 0, c2 = 0;
    EXPECT_TRUE(getc1c2(c1, c2)) << typed;
    EXPECT_EQ(std::string({c1, c2}), "km");
    EXPECT_EQ(comtrac, "km\n");
    EXPECT_FALSE(getc1c2(c1, c2)) << "end of input";
    EXPECT_EQ(comtrac, "km\n");
  }
}

TEST(Prompts, NumbersAreWholeWordsInRange) {
  using Integers = std::map<const char*, long>;
  using Reals = std::map<const char*, double>;
  for (const auto& [word, value] :
       Integers{{"0012", 12}, {"+7", 7}, {"2147483647", 2147483647}, {"-2147483648", -2147483648L}}) {
    long v = 99;
    EXPECT_TRUE(parse_long(word, v) && v == value) << word;
  }
  for (const auto& [word, value] :
       Reals{{"-.25", -0.25}, {"3.", 3}, {"-2.5E-1", -0.25}, {"1e-400", 0}, {"5e-324", 5e-324}}) {
    double v = 99;
    EXPECT_TRUE(parse_double(word, v) && v == value) << word;
  }
  for (const char* word :
       {"2147483648", "-2147483649", "99999999999999999999", "1.5", "12x", "-", "+-3", "0x10"}) {
    long v = 99;
    EXPECT_TRUE(!parse_long(word, v) && v == 99) << word;
  }
  for (const char* word : {"1e400", "inf", "-nan", "0x1p3", "1,5", "1e", ".", "+-1", "1.5.2"}) {
    double v = 99;
    EXPECT_TRUE(!parse_double(word, v) && v == 99) << word;
  }
}

TEST(Prompts, WordThatIsNoNumberIsReadWholeAndChangesNothing) {
  ConsoleRedirect console("12abc 1e999 5 0.000125");
  long n = 3;
  double x = 4;
  EXPECT_FALSE(getlong(n));
  EXPECT_FALSE(getdouble(x));
  EXPECT_TRUE(n == 3 && x == 4 && comtrac.empty());
  EXPECT_EQ(console.err(), "\nnot a number: 12abc\n\nnot a number: 1e999\n");
  EXPECT_TRUE(getlong(n) && getdouble(x));
  EXPECT_EQ(n, 5);
  EXPECT_EQ(comtrac, "5\n1.250000e-04\n");
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

TEST(PromptsDeathTest, EndOfInputInsideADialogueEndsTheProgram) {
  const auto expect_end = [](const char* typed, const auto& ask) {
    std::istringstream in(typed);
    EXPECT_EXIT((is = Istr(in), ask()), testing::ExitedWithCode(1), "unexpected end of input\n$") << typed;
  };
  char a, b;
  std::string name;
  long n;
  double x;
  expect_end("k\n", [&] { getc1c2(a, b); });
  expect_end("", [&] { getsub(a, b); });
  expect_end("", [&] { getfile(name); });
  expect_end("\r", [&] { getlong(n); });
  expect_end("", [&] { getdouble(x); });
  expect_end("qx", [] { confirm(); });
  expect_end("y", [] { automatic(); });
}

}  // namespace
}  // namespace qvtx
