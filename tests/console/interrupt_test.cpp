// Ways out: Ctrl-C, signals, input and output that end, and what is kept of the analysis.

#include <gtest/gtest.h>

#include <csignal>

#include "console/terminal.h"

namespace qvtx::console {
namespace {

Workplace with_iris() {
  Workplace here;
  here.bring("iris.dat");
  return here;
}

/// Methods that would run for minutes.
const std::vector<std::string> endless = {"--set", "vngepoq=1000000", "--set", "tcdepoq=1000000"};

/// The snapshot that was recovered loads and holds this many prototypes.
void expect_recovered(const Workplace& here, const std::string& name, const std::string& prototypes) {
  here.write(name + ".dat", here.read("iris.dat"));
  const Result r = here.run(words("la " + name + " dd xt y"), "--strict");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find(prototypes), std::string::npos) << r.out;
}

class OnTerminal : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(CtrlC, OnTerminal, ::testing::Values("xterm", "dumb"));

TEST_P(OnTerminal, CtrlCGivesTheCommandUpAtEveryPrompt) {
  const Workplace here = with_iris();
  Terminal t(here, {}, false, GetParam());
  t.find(">> ");
  t.type("\x03");
  t.find("xt leaves");
  const char* const dialogues[][2] = {{"ld\n", "extension? "},
                                      {"ld\nnothing\n", "nothing.dat not found"},
                                      {"ld\niris\nkm\n", "(integer) ? "},
                                      {"dk\n", "[m|a] "},
                                      {"dk\nm\n", "(numeric) ? "},
                                      {"is\n", "[y|n] "},
                                      {"ms\n", "pref # "},
                                      {"ms\ns ", "pref # "},
                                      {"mx\n", "exponent:"},
                                      {"om\n9\n", "ratio "},
                                      {"st\n", "exension? "},
                                      {"sm\n", "extension? "},
                                      {"fc\n9\n", "fast? [0|1] "},
                                      {"xt\n", "[y|n] "}};
  for (const auto& [typed, prompt] : dialogues) {
    t.find(">> ");
    t.type(typed);
    t.find(prompt);
    t.type("\x03");
    t.find("given up");
  }
  t.find(">> ");
  t.type("st\nt\nxt\ny\n");
  EXPECT_EQ(t.end(), 0);
  EXPECT_EQ(here.read("t.trc"), "ld\niris\nxt\ny\n");
  EXPECT_TRUE(t.is_cooked());
}

TEST(CtrlC, EndsAMethodAfterTheEpochAtHandAndClosesIt) {
  const Workplace here = with_iris();
  Terminal t(here, endless);
  for (const char* method : {"ld\niris\nng\n20\n", "cc\nmp\nm\n2\n"}) {
    t.find(">> ");
    t.type(method);
    t.find(" 3/1000000 ");
    t.type("\x03");
    t.find("stopped by Ctrl-C");
  }
  t.find(">> ");
  t.type("sm\na\nxt\ny\n");
  EXPECT_EQ(t.end(), 0);
  EXPECT_NE(t.screen().find("Mapping: Curvilinear Component Analysis, 2 dimensions"), std::string::npos);
  EXPECT_TRUE(here.has("a.lnk"));
  EXPECT_FALSE(here.has("recovered.mbf")) << "it was saved";
}

/// 2000 rows near a wide strip, so that eigenvectors take a while, and distances with powers.
std::string strip() {
  std::string rows;
  for (int i = 0; i < 2000; ++i) {
    rows += std::to_string(i % 50 + 0.01 * (i * i % 89)) + " " + std::to_string(i / 50);
    for (int column = 0; column < 58; ++column) rows += " 0.00" + std::to_string(i * column % 7);
    rows += "\n";
  }
  return rows;
}

TEST(CtrlC, GivesUpDistancesAndEigenvectorsAndTheAnalysisStandsAsBefore) {
  const Workplace here;
  here.write("strip.dat", strip());
  const char* const given_up[][2] = {{"mx\n1.3\ncc\nmp\nm\n2\n", "^^"},
                                     {"mx\n2\nmd\nmp\nm\n40\n", "mds: mapping ... "}};
  const std::string stages[][3] = {{"ld\nstrip\nkm\n1500\n", "a", "b"}, {"cc\nmp\nm\n1\n", "c", "d"}};
  Terminal t(here, {"--set", "tcdepoq=2", "--set", "vlbgitr=1", "--set", "vgmemory=0"});
  for (const auto& [commands, before, after] : stages) {
    t.type(commands + "sm\n" + before + "\n");
    t.find("log saved");
    for (const auto& [command, place] : given_up) {
      t.type(command);
      t.find(place);
      t.type("\x03");
      t.find("given up");
    }
    t.type("sm\n" + after + "\n");
    t.find("log saved");
    for (const char* file : {".mbf", ".map", ".crv", ".log"})
      EXPECT_TRUE(here.read(after + file) == here.read(before + file)) << after << file;
  }
  t.type("km\n20\nsm\nend\nst\nt\nxt\ny\n");
  EXPECT_EQ(t.end(), 0);
  const std::string end = here.read("end.mbf");
  EXPECT_EQ(here.run({}, "--replay t.trc --strict").status, 0);
  EXPECT_TRUE(here.read("end.mbf") == end) << "the random numbers are those of a session without";
}

TEST(Signals, EndTheProgramAfterTheEpochAndKeepTheAnalysis) {
  const Workplace here = with_iris();
  here.write("recovered-2.mbf", "earlier");
  const char* const names[] = {"recovered", "recovered-3", "recovered-4"};
  const std::pair<int, bool> cases[] = {{SIGTERM, false}, {SIGHUP, false}, {SIGINT, true}};
  for (std::size_t k = 0; k < 3; ++k) {
    Terminal t(here, endless, cases[k].second);
    t.type("ld\niris\nng\n20\nhh\nhh\n");
    t.find(" 2/1000000 ");
    t.send(cases[k].first);
    EXPECT_EQ(t.end(), 128 + cases[k].first);
    EXPECT_NE(t.screen().find("it is in " + std::string(names[k]) + ".mbf and "), std::string::npos)
        << t.screen();
    EXPECT_EQ(t.screen().find("AVAILABLE"), std::string::npos) << "no command after the signal";
    expect_recovered(here, names[k], "20 prototypes");
  }
  EXPECT_EQ(here.read("recovered-2.mbf"), "earlier");
}

TEST(Signals, InterruptOnlyTheCommandOfAnInteractiveSession) {
  const Workplace here = with_iris();
  std::vector<std::string> options = endless;
  options.push_back("--interactive");
  Terminal t(here, options, true);
  t.type("ld\niris\nng\n20\n");
  t.find(" 2/1000000 ");
  t.send(SIGINT);
  t.find("stopped by Ctrl-C");
  t.type("cc\n");
  t.find("mp = mapping");
  t.send(SIGINT);
  t.find("given up");
  t.type("sm\na\nxt\ny\n");
  EXPECT_EQ(t.end(), 0);
  EXPECT_TRUE(here.has("a.pro"));
  EXPECT_FALSE(here.has("a.map"));
}

TEST(Signals, EndADialogueAtOnce) {
  const Workplace here = with_iris();
  Terminal t(here);
  t.type("ld\niris\nkm\n7\nsm\n");
  t.find("parameters:");
  t.send(SIGTERM);
  EXPECT_EQ(t.end(), 128 + SIGTERM);
  EXPECT_TRUE(t.is_cooked());
  expect_recovered(here, "recovered", "7 prototypes");
}

TEST(Recovery, WhatCtrlDLeavesWithoutAQuestion) {
#ifdef QVTX_LIBEDIT
  const char* const ready = "\r>> ";  // drawn by the editor, which hears the key from then on
#else
  const char* const ready = ">> ";
#endif
  const Workplace here = with_iris();
  Terminal t(here);
  t.type("ld\niris\nkm\n7\n");
  t.find("strength");
  t.type("xt\n");
  t.find("sm saves it");
  t.type("n\n");
  t.find(ready);
  t.type("\x04");
  EXPECT_EQ(t.end(), 0);
  expect_recovered(here, "recovered", "7 prototypes");
}

TEST(Recovery, WhatASessionLosesWithoutItsWill) {
  const struct {
    const char* session;
    const char* arguments;
    int status;
    const char* recovered;  // prototypes, or null when there is nothing to recover
  } cases[] = {
      {"ld iris km 7 sm", "", 1, "7 prototypes"},
      {"ld iris km 7 sm a ng", "", 1, nullptr},
      {"ld iris km", "", 1, nullptr},
      {"ld iris km 7 ld nothing", "", 1, "7 prototypes"},  // the data are not lost before others are there
      {"ld iris km 7", "", 0, nullptr},
      {"ld iris km 7 xt y", "", 0, nullptr},
      {"ld iris km 7 ng 5 xt y", "--set vngaini=0.1 --set vngafin=0.5", 0, "7 prototypes"},
  };
  for (const auto& c : cases) {
    const Workplace here = with_iris();
    const Result r = here.run(words(c.session), c.arguments);
    EXPECT_EQ(r.status, c.status) << c.session << r.err;
    EXPECT_EQ(here.has("recovered.mbf"), c.recovered != nullptr) << c.session;
    if (!c.recovered) continue;
    EXPECT_TRUE(r.err.ends_with("it is in recovered.mbf and recovered.trc\n")) << r.err;
    EXPECT_EQ(here.read("recovered.trc").substr(0, 8),
              std::string(c.arguments).empty() ? "ld\niris\n" : "#= set v");
    expect_recovered(here, "recovered", c.recovered);
  }
}

TEST(Recovery, TakesBackWhatAFatalErrorInterrupts) {
  const Workplace here = with_iris();
  std::string settings = here.read("Qvtx.prf");
  const std::size_t at = settings.find("p {tdccsfac}");  // asked for when a map has begun
  ASSERT_NE(at, std::string::npos);
  here.write("Qvtx.prf", settings.erase(at, settings.find('\n', at) - at + 1));
  const Result r = here.run(words("ld iris km 7 md mp m 2 cc mp m 3 xt y"));
  EXPECT_NE(r.err.find("  missing key: tdccsfac\n"), std::string::npos);
  EXPECT_EQ(here.read("recovered.trc"), "ld\niris\nkm\n7\nmd\nmp\nm\nn\n2\nxt\ny\n");
  const Result again = here.run(words("ld iris lm recovered dd xt y"));
  EXPECT_NE(again.out.find("Mapping: loaded, 2 dimensions"), std::string::npos) << again.out;
}

TEST(Output, AClosedOneEndsTheProgram) {
  const Workplace here = with_iris();
  const Result closed = here.run(words("xt y"), "", "f() { \"$@\" >&-; }; f");
  EXPECT_EQ(closed.status, 1);
  EXPECT_EQ(closed.err, "  standard output is closed\n");
  EXPECT_EQ(here.run(words("ld iris km 7 dd hh"), "", "f() { \"$@\" >/dev/full; }; f").status, 1);
}

}  // namespace
}  // namespace qvtx::console
