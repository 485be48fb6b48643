#include "base/prompts.h"

#include <gtest/gtest.h>

#include "base/console_redirect.h"

namespace qvtx {
namespace {

TEST(Prompts, CommandIsTwoCharactersWithGapsBetween) {
  for (const char* typed : {"km", " k\tm", "\r\n k\r\nm\n"}) {
    ConsoleRedirect console(typed);
    char c1 = 0, c2 = 0;
    EXPECT_TRUE(getc1c2(c1, c2)) << typed;
    EXPECT_EQ(std::string({c1, c2}), "km");
    EXPECT_EQ(comtrac, "km\n");
    EXPECT_EQ(console.err(), ">> \n");
  }
}

TEST(Prompts, CommandAtEndOfInputIsFalseAndLeavesNoTrace) {
  ConsoleRedirect console(" \r\n");
  char c1 = 'a', c2 = 'b';
  EXPECT_FALSE(getc1c2(c1, c2));
  EXPECT_FALSE(getc1c2(c1, c2));
  EXPECT_EQ(comtrac, "");
}

TEST(Prompts, SingleCharacterReturnsTheTraceLength) {
  ConsoleRedirect console("\n c");
  comtrac = "dc\n";
  char c = 0;
  EXPECT_EQ(getc1(c), 5);
  EXPECT_EQ(c, 'c');
  EXPECT_EQ(comtrac, "dc\nc\n");
}

TEST(Prompts, FileNameHasAnyLength) {
  const std::string longest(5000, 'n');
  ConsoleRedirect console(longest + "\r\nnext");
  std::string name;
  EXPECT_EQ(getfile(name), 5001);
  EXPECT_EQ(name, longest);
  EXPECT_EQ(comtrac, longest + "\n");
  EXPECT_EQ(console.err(), "  File name without extension? \n");
  EXPECT_EQ(console.rest(), "\r\nnext");
}

TEST(Prompts, IntegerWords) {
  const struct {
    const char* word;
    bool accepted;
    long value;
  } cases[] = {{"0", true, 0},
               {"+7", true, 7},
               {"-12", true, -12},
               {"0012", true, 12},
               {"2147483647", true, 2147483647},
               {"-2147483648", true, -2147483648L},
               {"2147483648", false, 0},
               {"-2147483649", false, 0},
               {"99999999999999999999", false, 0},
               {"1.5", false, 0},
               {"12x", false, 0},
               {"x12", false, 0},
               {"+", false, 0},
               {"-", false, 0},
               {"+-3", false, 0},
               {"--3", false, 0},
               {"0x10", false, 0}};
  for (const auto& c : cases) {
    long v = 99;
    EXPECT_EQ(parse_long(c.word, v), c.accepted) << c.word;
    EXPECT_EQ(v, c.accepted ? c.value : 99) << c.word;
  }
}

TEST(Prompts, RealWords) {
  const struct {
    const char* word;
    bool accepted;
    double value;
  } cases[] = {{"0", true, 0},           {"+0.5", true, 0.5},      {"-.25", true, -0.25}, {"3.", true, 3},
               {"1e3", true, 1000},      {"-2.5E-1", true, -0.25}, {"1e+2", true, 100},   {"1e-400", true, 0},
               {"5e-324", true, 5e-324}, {"1e400", false, 0},      {"inf", false, 0},     {"-nan", false, 0},
               {"0x1p3", false, 0},      {"1,5", false, 0},        {"1e", false, 0},      {".", false, 0},
               {"+-1", false, 0},        {"1.5.2", false, 0}};
  for (const auto& c : cases) {
    double v = 99;
    EXPECT_EQ(parse_double(c.word, v), c.accepted) << c.word;
    EXPECT_EQ(v, c.accepted ? c.value : 99) << c.word;
  }
}

TEST(Prompts, NumbersAreTraced) {
  ConsoleRedirect console("42 0.000125");
  long n = 0;
  double x = 0;
  EXPECT_TRUE(getlong(n));
  EXPECT_TRUE(getdouble(x));
  EXPECT_EQ(n, 42);
  EXPECT_EQ(x, 0.000125);
  EXPECT_EQ(comtrac, "42\n1.250000e-04\n");
  EXPECT_EQ(console.err(), "\n\n");
}

TEST(Prompts, WordThatIsNoNumberIsReadWholeAndChangesNothing) {
  ConsoleRedirect console("12abc 1e999 5");
  long n = 3;
  double x = 4;
  EXPECT_FALSE(getlong(n));
  EXPECT_FALSE(getdouble(x));
  EXPECT_EQ(n, 3);
  EXPECT_EQ(x, 4);
  EXPECT_EQ(comtrac, "");
  EXPECT_EQ(console.err(), "\nnot a number: 12abc\n\nnot a number: 1e999\n");
  EXPECT_TRUE(getlong(n));
  EXPECT_EQ(n, 5);
}

TEST(Prompts, ConfirmAndAutomaticTraceEveryCharacterAndTheAnswer) {
  const struct {
    int (*ask)();
    const char* typed;
    int answer;
    const char* trace;
  } cases[] = {{confirm, "x\nq O", 1, "x\nq\nO\ny\n"},
               {confirm, "y", 1, "y\ny\n"},
               {confirm, "Y", 1, "Y\ny\n"},
               {confirm, "o", 1, "o\ny\n"},
               {confirm, "N", 0, "N\nn\n"},
               {confirm, "an", 0, "a\nn\nn\n"},
               {automatic, "A", 1, "A\na\n"},
               {automatic, "ya", 1, "y\na\na\n"},
               {automatic, "m", 0, "m\nn\n"},
               {automatic, "M", 0, "M\nn\n"}};
  for (const auto& c : cases) {
    ConsoleRedirect console(c.typed);
    EXPECT_EQ(c.ask(), c.answer) << c.typed;
    EXPECT_EQ(comtrac, c.trace) << c.typed;
  }
}

TEST(Prompts, QuestionIsPrintedOnceAndEachReadEndsTheLine) {
  ConsoleRedirect console("qy zm");
  confirm();
  automatic();
  EXPECT_EQ(console.err(), "[y|n] \n\n  Manual or Automatic ? [m|a] \n\n");
}

TEST(PromptsDeathTest, EndOfInputInsideADialogueEndsTheProgram) {
  const struct {
    const char* typed;
    void (*ask)();
  } cases[] = {{"k\n",
                [] {
                  char a, b;
                  getc1c2(a, b);
                }},
               {"",
                [] {
                  char a, b;
                  getsub(a, b);
                }},
               {" ",
                [] {
                  char c;
                  getc1(c);
                }},
               {"",
                [] {
                  std::string s;
                  getfile(s);
                }},
               {"\r",
                [] {
                  long v;
                  getlong(v);
                }},
               {"",
                [] {
                  double v;
                  getdouble(v);
                }},
               {"qx", [] { confirm(); }},
               {"y", [] { automatic(); }}};
  for (const auto& c : cases) {
    std::istringstream in(c.typed);
    EXPECT_EXIT((is = Istr(in), c.ask()), testing::ExitedWithCode(1), "unexpected end of input\n$")
        << c.typed;
  }
}

}  // namespace
}  // namespace qvtx
