// The interactive editor, as transcripts: what is typed, what is printed, what the trace keeps.

#include <limits>

#include "settings/matpref.h"
#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::console_to_stderr;

template <class T>
struct Session {
  MatPrefT<T> table{5};
  std::string printed, errors, trace = "ms\n";
  long traced = 0;

  /// Types a text into the menu.
  void type(const std::string& text) {
    std::istringstream input(text);
    std::ostringstream output;
    Istr in(input);
    Ostr o(output);
    o.depth = 1;
    ::testing::internal::CaptureStderr();
    traced = table.menu(o, in, &trace);
    errors = ::testing::internal::GetCapturedStderr();
    printed = output.str();
    EXPECT_EQ(1, o.depth);
  }
};

Session<long> integers() {
  Session<long> session;
  session.table.addkey("vglink_p", "rule", 0, 5);
  session.table.addkey("vngepoq ", "epochs", 2, 1000000);
  session.table.sethlp(0, 0, "none");
  session.table.sethlp(0, 4, "d_link");
  session.table.sethlp(0, 9, "beyond");
  return session;
}

TEST(Menu, IntegersAreRoundedAndNamed) {
  Session<long> session = integers();
  session.type("s 0 4.4 s1 2.5 s 1 1 - 0 + 1\r\nx");
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    pref.   0 [vglink_p]: value set to            4 (d_link)\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to            3\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value 1 out of range [2,1000000]\n"
      "    pref # \n"
      "    pref.   0 [vglink_p]: value set to            0 (none)\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to      1000000\n"
      "    pref # \n",
      session.printed);
  EXPECT_EQ("ms\ns0 4.400000 \ns1 2.500000 \ns1 1.000000 \n-0 \n+1 \nx\n", session.trace);
  EXPECT_EQ(static_cast<long>(session.trace.size()) - 3, session.traced);
  EXPECT_EQ(1000000, session.table.getfut(1));
  EXPECT_EQ(2, session.table.getval(1));
}

TEST(Menu, RealsShowTheDigitsThatTheyNeed) {
  Session<double> session;
  session.table.addkey("tdgb", "balance", static_cast<double>(1e-6f), static_cast<double>(0.1f));
  session.type("s 0 0.05 s 0 0.123456789 - 0 + 0 b");
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    pref.   0 [tdgb]: value set to         0.05\n"
      "    pref # \n"
      "    pref.   0 [tdgb]: value 0.123456789 out of range [1e-06,0.1]\n"
      "    pref # \n"
      "    pref.   0 [tdgb]: value set to        1e-06\n"
      "    pref # \n"
      "    pref.   0 [tdgb]: value set to          0.1\n"
      "    pref # \n",
      session.printed);
  EXPECT_EQ("ms\ns0 0.050000 \ns0 0.123457 \n-0 \n+0 \nb\n", session.trace);
  EXPECT_EQ(static_cast<double>(0.1f), session.table.getfut(0));
}

TEST(Menu, HelpListsMeaningsInRangeNewestFirst) {
  Session<long> session = integers();
  session.table.newval(0, 4);
  session.type("h0 ? q");
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    pref.   0: value meanings\n"
      "      value      4 means d_link\n"
      "      value      0 means none\n"
      "\n"
      "      actual value =            0\n"
      "      future value =            4\n"
      "    pref # \n"
      "    exit=> 'x' or 'b'   set => 's' <key> ' ' <value>\n"
      "    list=> 'l'          min => '-' <key>\n"
      "    help=> 'h' <key>    max => '+' <key>\n"
      "    pref # \n",
      session.printed);
  EXPECT_EQ("ms\nh0 ?q\n", session.trace);
}

TEST(Menu, ListStandsAtTheDepthOfTheCaller) {
  Session<long> session = integers();
  session.type("lx");
  std::ostringstream listing;
  Ostr o(listing);
  o.depth = 1;
  session.table.show(o);
  EXPECT_EQ("\n    Type '?' to display menu\n    pref # \n" + listing.str() + "    pref # \n",
            session.printed);
  EXPECT_EQ("ms\nlx\n", session.trace);
}

TEST(Menu, UnknownCommandsAndEntriesReturnToThePrompt) {
  Session<long> session = integers();
  session.type("S s 2 - -1 x");
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    Bad command: S\n"
      "    pref # \n"
      "    pref. 2 does not exist!\n"
      "    pref # \n"
      "    pref. -1 does not exist!\n"
      "    pref # \n",
      session.printed);
  EXPECT_EQ("ms\ns2 --1 x\n", session.trace);
}

TEST(Menu, CommandWithAWordThatIsNoNumberLeavesNoTrace) {
  const struct {
    const char* typed;
    const char* errors;
  } cases[] = {
      {"s zero x", "not a number: zero\n"},
      {"h 0x1 x", "not a number: 0x1\n"},
      {"s 1 five x", "not a number: five\n"},
      {"s 1 5y x", "not a number: 5y\n"},
      {"s 1 inf x", "not a number: inf\n"},
      {"+ 1.5 x", "not a number: 1.5\n"},
      {"- 99999999999 x", "not a number: 99999999999\n"},
  };
  for (const auto& c : cases) {
    Session<long> session = integers();
    session.type(c.typed);
    EXPECT_EQ(c.errors, session.errors) << c.typed;
    EXPECT_EQ("ms\nx\n", session.trace) << c.typed;
    EXPECT_EQ(2, session.table.getfut(1)) << c.typed;
  }
}

TEST(Menu, ValueBeyondTheIntegersIsRefusedAsTyped) {
  Session<long> session = integers();
  session.table.addkey("widest", "", 0, std::numeric_limits<long>::max());
  session.type("s 2 1e300 x");
  EXPECT_NE(std::string::npos, session.printed.find("value 1e+300 out of range [0,9223372036854775807]\n"));
  EXPECT_EQ(0, session.table.getfut(2));
}

TEST(Menu, ReplayOfTheTraceGivesTheSameTable) {
  Session<long> session = integers(), again = integers();
  session.type("s 1 77 ? h 0 l - 0 s 9 s 0 3 s 0 x y x");
  again.type(session.trace.substr(3));
  for (long k = 0; k < 2; ++k) EXPECT_EQ(session.table.getfut(k), again.table.getfut(k));
  EXPECT_EQ(session.trace, again.trace);
}

TEST(Menu, EmptyTableAndMissingTrace) {
  MatPrefT<long> empty(5);
  std::istringstream input("x");
  std::ostringstream output;
  Istr in(input);
  Ostr o(output);
  std::string trace;
  EXPECT_EQ(0, empty.menu(o, in, &trace));
  EXPECT_EQ("", output.str() + trace);
  Session<long> session = integers();
  EXPECT_EQ(0, session.table.menu(o, in, nullptr));
}

TEST(MenuDeathTest, EndOfInputEndsTheProgram) {
  for (const char* typed : {"", "s", "s 1 ", "?"}) {
    Session<long> session = integers();
    std::istringstream input(typed);
    std::ostringstream output;
    Istr in(input);
    Ostr o(output);
    EXPECT_EXIT(session.table.menu(o, in, &session.trace), ::testing::ExitedWithCode(1),
                "unexpected end of input")
        << typed;
  }
}

}  // namespace
}  // namespace qvtx
