// Input that ends, is no number, or names files that are missing or damaged.

#include <gtest/gtest.h>

#include <sstream>

#include "console/program.h"

namespace qvtx::console {
namespace {

TEST(EndOfInput, EndsTheProgramAtTheLoopPromptAndFailsInsideADialogue) {
  Workplace here;
  here.bring("iris.dat");
  // By exit status, one session a line. The fast question of fc counts as answered with 0.
  const char* const sessions[2] = {
      "\nhh\ntv \nld iris ng 9\nms x x\nld iris fc 9",
      "x\nxt\nis\nmx\ndc\nld\nld nothing\nla nothing\nms\nms x\nms s\nms s 1\nms ?\nld iris km\nld iris dk\n"
      "ld iris dk m\nld iris dk a\nld iris om 9\nld iris lm nothing\nld iris sm\nld iris st\nld iris xg\n"
      "ld iris ng 9 cc\nld iris ng 9 cc m\nld iris ng 9 cc mp\nld iris ng 9 md mp m\nld iris ng 9 md mp a\n"
      "ld iris ng 9 md mp m 2 bw\nld iris ng 9 md mp m 2 bw 1\nld iris ng 9 cc mp m 2 cc iv nothing"};
  for (const int status : {0, 1}) {
    std::istringstream lines(sessions[status]);
    for (std::string session; std::getline(lines, session);) {
      const Result r = here.feed(session);
      EXPECT_EQ(r.status, status) << session;
      EXPECT_EQ(occurrences(r.err, "unexpected end of input"), status) << session << "\n" << r.err;
    }
  }
}

TEST(Numbers, AWordThatIsNoNumberGivesTheCommandUp) {
  Workplace here;
  here.bring("iris.dat");
  for (const char* session : {"ld iris km ten", "ld iris km 3.5", "ld iris km 99999999999",
                              "ld iris dk m nan", "ld iris dk a 1e999", "mx two", "ld iris om 9 wide",
                              "ld iris ng 9 cc mp m 2x", "ld iris ng 9 fc 9 x"}) {
    const Result r = here.run(words(std::string(session) + " hh xt y"));
    EXPECT_EQ(r.status, 0) << session;
    EXPECT_EQ(occurrences(r.err, "not a number: " + words(session).back() + "\n"), 1) << session;
    EXPECT_EQ(occurrences(r.err, "AVAILABLE"), 1) << session;  // the loop goes on with the next command
  }
  // Nothing of such a command stays in the trace.
  ASSERT_EQ(here.run(words("ld iris km ten dk m far st t xt y")).status, 0);
  EXPECT_EQ(here.read("t.trc"), "ld\niris\nxt\ny\n");
}

}  // namespace
}  // namespace qvtx::console
