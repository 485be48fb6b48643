// The command line.

#include <gtest/gtest.h>

#include "console/program.h"

namespace qvtx::console {
namespace {

TEST(Options, WrongOnesAreNamedInOneLine) {
  Workplace here;
  here.bring("iris.dat");
  const std::pair<const char*, const char*> cases[] = {
      {"--nonsense", "  unknown option --nonsense: qvtx --help lists the options\n"},
      {"-x", "  unknown option -x: qvtx --help lists the options\n"},
      {"a b", "  too many arguments: 'b': qvtx --help lists the options\n"},
      {"iris.dat", "  iris.dat looks like data, not like a preference file: --data NAME loads NAME.dat\n"},
      {"--set vglink_p=9", "  --set vglink_p=9: out of range [0,5]\n"},
      {"--set vglink_p=two", "  --set vglink_p=two: 'two' is not a number\n"},
      {"--set nothing=1", "  --set nothing=1: there is no such setting\n"},
      {"--set vlnbr=1", "  --set vlnbr=1: there is no such setting (vlnnbr, vldnbr?)\n"},
      {"--replay .", "  --replay .: Is a directory\n"},
      {"--set vglink_p", "  --set vglink_p: it takes KEY=VALUE\n"},
      {"--seed 0", "  --seed 0: it takes a number in [1,4294967295]\n"},
      {"--seed", "  --seed needs a value: N\n"},
      {"--strict=1", "  --strict takes no value: qvtx --help lists the options\n"},
      {"--replay nothing", "  --replay nothing: No such file or directory\n"},
  };
  for (const auto& [arguments, message] : cases) {
    const Result r = here.run(words("xt y"), arguments);
    EXPECT_EQ(r.status, 2) << arguments;
    EXPECT_EQ(r.err, message);
    EXPECT_EQ(r.out, "") << arguments;
  }
}

TEST(Options, StartTheSessionAsItsCommandsWould) {
  Workplace here;
  here.bring("iris.dat");
  const Result typed = here.run(words("ld iris tv ng 9 is y ng 9 sm a xt y"));  // the usual seed
  const Result given = here.run(words("ng 9 sm b xt y"), "--data iris --quiet --seed=4357 -- Qvtx.prf");
  EXPECT_EQ(given.status, 0) << given.err;
  EXPECT_EQ(here.read("a.mbf"), here.read("b.mbf"));
  for (const std::string& quiet : {typed.out, given.out}) EXPECT_EQ(quiet.find("loop"), std::string::npos);
  EXPECT_EQ(given.err.find("  read "), std::string::npos);
  ASSERT_EQ(here.run(words("ld iris ng 9 sm c xt y"), "--seed 5 --set vglink_p=0").status, 0);
  EXPECT_NE(here.read("a.pro"), here.read("c.pro"));
  EXPECT_LT(here.read("c.crv").size(), here.read("a.crv").size()) << "no links";
}

TEST(Strict, EndsAtTheFirstTrouble) {
  Workplace here;
  here.bring("iris.dat");
  here.write("iris.ngp", "2 0\n2 0\n0.5 9\n1.4 3\n");  // the second epoch's step is above 1
  for (const char* trouble :
       {"zz", "km", "ld iris ng 9", "ld nothing", "ld iris km ten", "ld iris km 0", "ld iris sm missing/a",
        "ld iris st missing/a", "ld iris lm nothing", "la iris", "ld iris km 5 mm mp m 0",
        "ld iris km 5 us mp", "ld iris km 5 md mp m 2 bw 5 x", "ld iris km 5 cc il", "ms s none 1 x x",
        "ms s vglink_p 9 x x", "ld iris nw m 0", "ld iris xg a"}) {
    const Result strict = here.run(words(std::string(trouble) + " hh"), "--strict");
    EXPECT_EQ(strict.status, 1) << trouble;
    EXPECT_EQ(occurrences(strict.err, "AVAILABLE"), 0) << trouble;
  }
  EXPECT_EQ(here.run(words("ld iris km 5 md mp m 2 bw 4 x sm a st a xt y"), "--strict").status, 0);
}

}  // namespace
}  // namespace qvtx::console
