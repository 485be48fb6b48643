// The interactive editor, as transcripts: what is typed, what is printed, what the trace keeps.

#include "settings/matpref.h"
#include "settings/settings_support.h"

namespace qvtx {
namespace {

struct Session {
  MatPrefT<long> table{5};
  std::string printed, errors, trace = "ms\n";
  long traced = 0;

  Session() {
    table.addkey("vglink_p", "rule", 0, 5);
    table.addkey("vngepoq ", "epochs", 2, 1000000);
    table.sethlp(0, 0, "none");
    table.sethlp(0, 4, "d_link");
    table.sethlp(0, 9, "beyond");
  }

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
  }
};

TEST(Menu, TranscriptAndTrace) {
  Session session;
  session.type("s 0 4.4 s1 2.5 s 1 1e300 h0 S s 2 + 1\r\n? x");
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    pref.   0 [vglink_p]: value set to            4 (d_link)\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to            3\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value 1e+300 out of range [2,1000000]\n"
      "    pref # \n"
      "    pref.   0: value meanings\n"
      "      value      4 means d_link\n"
      "      value      0 means none\n"
      "\n"
      "      actual value =            0\n"
      "      future value =            4\n"
      "    pref # \n"
      "    Bad command: S\n"
      "    pref # \n"
      "    pref. 2 does not exist!\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to      1000000\n"
      "    pref # \n"
      "    exit=> 'x' or 'b'   set => 's' <key> ' ' <value>\n"
      "    list=> 'l'          min => '-' <key>\n"
      "    help=> 'h' <key>    max => '+' <key>\n"
      "    pref # \n",
      session.printed);
  EXPECT_EQ(static_cast<long>(session.trace.size()) - 3, session.traced);
  EXPECT_EQ(2, session.table.getval(1)) << "only future values change";
}

TEST(Menu, ReplayOfTheTraceGivesTheSameTable) {
  Session session, again;
  session.type("s 1 77 ? h 0 l - 0 s 9 s 0 3 s 0 x y x");
  again.type(session.trace.substr(3));
  for (long k = 0; k < 2; ++k) EXPECT_EQ(session.table.getfut(k), again.table.getfut(k));
  EXPECT_EQ(session.trace, again.trace);
}

TEST(MenuDeathTest, EndOfInputEndsTheProgram) {
  for (const char* typed : {"", "s", "s 1 ", "?"}) {
    Session session;
    std::istringstream input(typed);
    Istr in(input);
    EXPECT_EXIT(session.table.menu(os, in, &session.trace), ::testing::ExitedWithCode(1),
                "unexpected end of input")
        << typed;
  }
}

}  // namespace
}  // namespace qvtx
