// Traces and scripts that are given to --replay.

#include <gtest/gtest.h>

#include "console/program.h"
#include "matrix/matfulld.h"

namespace qvtx::console {
namespace {

/// Sessions that together meet every prompt; results are saved on the way.
const char* const sessions[] = {
    // Numbers of more digits than the trace spells, in dialogues and menus; answers that are asked again.
    "ld nothing iris ms s 3 1 + 4 - 4 h 2 l ? x s 24 0.123456789 s 24 0.0000001234 x mx 1.2345678901 "
    "dc m dk m 0.87654321987 sm r/dk dk A 0.876543219 sm r/dka xn M 0.987654321 sm r/xn nw a 0.8 sm r/nw",
    // Settings by key. Seeds of both kinds, from the clock twice.
    "ms s vjpshar 3 h vjpsort x s tdctdakp 0.001 x "
    "is n ld iris ng 9 sm r/a is Y ng 9 sm r/b is q O cl 9 sm r/c is N fc 9 1 sm r/d xt n",
    "ld iris tv om 12 1.3 us mp sm r/om tv km 9 md mp a 0.9 bw 3 r/path cc mp m 2 ag cc il cc rd mq sp r/il "
    "cc iv iris binary sp r/iv mm mp m 2 mm il mm rd sp r/mm it mp m 1 sm r/it xg r/x jp rl lm r/it zz",
};

Workplace laboratory() {
  Workplace here;
  here.bring("iris.dat");
  MatFullD data;
  EXPECT_TRUE(data.load_asc(here.path("iris.dat").c_str(), 0));
  EXPECT_TRUE(data.save_bin(here.path("binary.dat").c_str(), 0));
  std::filesystem::create_directory(here.path("r"));
  return here;
}

TEST(Replay, ATraceRepeatsItsSessionToTheBit) {
  for (const std::string session : sessions) {
    const Workplace first = laboratory(), second = laboratory();
    const Result typed = first.run(words(session + " st t xt y"), "--seed 77 --set vgkeep_p=0");
    ASSERT_TRUE(first.has("t.trc")) << typed.err;
    second.write("t.trc", first.read("t.trc"));
    const Result repeated = second.run({}, "--replay t.trc");
    EXPECT_EQ(repeated.status, 0) << repeated.err;
    long files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(first.path("r"))) {
      const std::string name = "r/" + entry.path().filename().string();
      EXPECT_TRUE(first.read(name) == second.read(name)) << name;
      ++files;
    }
    EXPECT_GE(files, 20);
    // The two differ in the dialogue of the trace alone.
    EXPECT_EQ(typed.out, repeated.out);
  }
}

TEST(Replay, AScriptMayHoldCommentsAndSingleAnswers) {
  const Workplace here = laboratory();
  here.write("script",
             "# load, and quantize\nld\niris\n#ld nothing\nis\ny\nkm\n5\nmd\nmp\nm\n2\n#\nsm\nr/a\n#= other "
             "note\nxt\ny");
  const Result r = here.run({}, "--strict --replay script");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(here.has("r/a.lnk"));
}

TEST(Replay, WordsThatLookLikeCommentsAreKept) {
  const Workplace here = laboratory();
  ASSERT_EQ(here.run(words("ld iris km 5 sm #a st t xt y")).status, 0);
  std::filesystem::remove(here.path("#a.mbf"));
  EXPECT_EQ(here.run({}, "--replay t.trc --strict").status, 0);
  EXPECT_TRUE(here.has("#a.mbf"));
}

}  // namespace
}  // namespace qvtx::console
