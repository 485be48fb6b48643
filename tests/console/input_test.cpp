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

TEST(Files, DamagedAndForeignOnesAreRefusedAndTheSessionGoesOn) {
  Workplace here;
  here.bring("iris.dat");
  here.bring("wine.dat");
  here.write("empty.dat", "");
  here.write("short.dat", "3\t0\t0\n5\t0\t0\n1\t2\t3\n4\n");
  here.write("words.dat", "no numbers\n");
  ASSERT_EQ(here.run(words("ld wine km 12 sm foreign xt y")).status, 0);
  const Result asked = here.run(words("ld missing empty short words iris ng 12 cc mp m 2 sm good xt y"));
  EXPECT_EQ(asked.status, 0);
  EXPECT_EQ(occurrences(asked.err, "  File name without extension? "), 5 + 1);
  const std::string good = here.read("good.mbf");
  std::string names;
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{3}, std::size_t{40}, good.size() / 2, good.size() - 1}) {
    names += "cut" + std::to_string(length) + " ";
    here.write("cut" + std::to_string(length) + ".mbf", good.substr(0, length));
  }
  const Result r = here.run(words("ld iris lm " + names + "foreign good cc mp m 3 xt y"));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(occurrences(r.err, "  File name without extension? "), 1 + 7);
  EXPECT_NE(r.out.find("size mismatch ... "), std::string::npos);
  EXPECT_NE(r.out.find("Mapping: Curvilinear Component Analysis, 3 dimensions"), std::string::npos);
}

}  // namespace
}  // namespace qvtx::console
