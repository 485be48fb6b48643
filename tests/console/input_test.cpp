// Input that ends, is no number, or names files that are missing or damaged.

#include <gtest/gtest.h>

#include "console/program.h"

namespace qvtx::console {
namespace {

TEST(EndOfInput, EndsTheProgramAtTheLoopPromptAndFailsInsideADialogue) {
  Workplace here;
  here.bring("iris.dat");
  struct Case {
    const char* input;
    int status;
  };
  for (const Case& c : {
           Case{"", 0},
           Case{"hh", 0},
           Case{"tv ", 0},
           Case{"ld iris ng 9", 0},
           Case{"x", 1},
           Case{"xt", 1},
           Case{"is", 1},
           Case{"mx", 1},
           Case{"dc", 1},
           Case{"ld", 1},
           Case{"ld nothing", 1},
           Case{"la nothing", 1},
           Case{"ms", 1},
           Case{"ms x", 1},
           Case{"ms s", 1},
           Case{"ms s 1", 1},
           Case{"ms x x", 0},
           Case{"ld iris km", 1},
           Case{"ld iris dk", 1},
           Case{"ld iris dk m", 1},
           Case{"ld iris dk a", 1},
           Case{"ld iris om 9", 1},
           Case{"ld iris lm nothing", 1},
           Case{"ld iris sm", 1},
           Case{"ld iris st", 1},
           Case{"ld iris xg", 1},
           Case{"ld iris fc 9", 0},  // the fast question counts as answered with 0
           Case{"ld iris ng 9 cc", 1},
           Case{"ld iris ng 9 cc m", 1},
           Case{"ld iris ng 9 cc mp", 1},
           Case{"ld iris ng 9 md mp m", 1},
           Case{"ld iris ng 9 md mp a", 1},
           Case{"ld iris ng 9 md mp m 2 bw", 1},
           Case{"ld iris ng 9 md mp m 2 bw 1", 1},
           Case{"ld iris ng 9 cc mp m 2 cc iv nothing", 1},
       }) {
    const Result r = here.feed(c.input);
    EXPECT_EQ(r.status, c.status) << c.input;
    EXPECT_EQ(occurrences(r.err, "unexpected end of input"), c.status) << c.input << "\n" << r.err;
  }
}

TEST(Numbers, AWordThatIsNoNumberGivesTheCommandUp) {
  Workplace here;
  here.bring("iris.dat");
  for (const char* session : {"ld iris km ten", "ld iris km 3.5", "ld iris km 99999999999", "ld iris dk m nan",
                              "ld iris dk a 1e999", "mx two", "ld iris om 9 wide", "ld iris ng 9 cc mp m 2x"}) {
    const Result r = here.run(words(std::string(session) + " hh xt y"));
    const std::string word = words(session).back();
    EXPECT_EQ(r.status, 0) << session;
    EXPECT_EQ(occurrences(r.err, "not a number: " + word + "\n"), 1) << session;
    EXPECT_EQ(occurrences(r.err, "AVAILABLE"), 1) << session;  // the loop goes on with the next command
  }
  // Nothing of such a command stays in the trace.
  ASSERT_EQ(here.run(words("ld iris km ten dk m far st t xt y")).status, 0);
  EXPECT_EQ(here.read("t.trc"), "ld\niris\nxt\ny\n");
}

TEST(Files, AskingForAFileGoesOnUntilOneLoads) {
  Workplace here;
  here.bring("iris.dat");
  here.write("empty.dat", "");
  here.write("short.dat", "3\t0\t0\n5\t0\t0\n1\t2\t3\n4\n");
  here.write("words.dat", "no numbers\n");
  const Result r = here.run(words("ld missing empty short words iris nq xt y"));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(occurrences(r.err, "  File name without extension? "), 5);
  EXPECT_NE(r.out.find("Data: 150 samples") == std::string::npos ? r.out.find("data copied") : 0, std::string::npos);
}

TEST(Files, DamagedAndForeignSnapshotsAreRefusedAndTheSessionGoesOn) {
  Workplace here;
  here.bring("iris.dat");
  here.bring("wine.dat");
  ASSERT_EQ(here.run(words("ld iris ng 12 cc mp m 2 sm good xt y")).status, 0);
  ASSERT_EQ(here.run(words("ld wine km 12 sm foreign xt y")).status, 0);
  const std::string good = here.read("good.mbf");
  for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{40}, good.size() / 2, good.size() - 1})
    here.write("cut" + std::to_string(length) + ".mbf", good.substr(0, length));
  for (const auto& entry : here.files()) {
    if (entry.substr(0, 3) != "cut" && entry != "foreign.mbf") continue;
    const std::string name = entry.substr(0, entry.find('.'));
    const Result r = here.run(words("ld iris lm " + name + " good cc mp m 3 xt y"));
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_NE(r.out.find("Mapping: Curvilinear Component Analysis, 3 dimensions"), std::string::npos) << name;
  }
  const Result r = here.run(words("ld iris lm foreign good xt y"));
  EXPECT_NE(r.out.find("size mismatch ... "), std::string::npos);
}

TEST(Files, AFailedSaveKeepsTheEarlierFile) {
  Workplace here;
  here.bring("iris.dat");
  std::filesystem::create_directory(here.path("sub"));
  here.write("sub/a.pro", "precious\n");
  std::filesystem::create_directory(here.path("sub/a.cod"));  // a directory in the way of the codes
  const Result r = here.run(words("ld iris km 5 sm missing/a sm sub/a xt y"));
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.err.find("  log failed!\n"), std::string::npos);
  EXPECT_NE(r.err.find("  log saved!\n"), std::string::npos);
  EXPECT_NE(here.read("sub/a.pro"), "precious\n");
  EXPECT_TRUE(std::filesystem::is_directory(here.path("sub/a.cod")));
}

}  // namespace
}  // namespace qvtx::console
