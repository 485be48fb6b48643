// Start-up, the typical run, what each state allows, and what the trace holds.

#include <gtest/gtest.h>

#include "console/program.h"
#include "matrix/matfulld.h"

namespace qvtx::console {
namespace {

/// A session that ends with the data, the prototypes, and so on, up to the stage asked for.
const std::string load = "ld iris ";
const std::string quantize = load + "ng 20 ";
const std::string project = quantize + "cc mp m 2 ";
const std::string interpolate = project + "cc il ";
const std::string reconstruct = interpolate + "cc rd ";
const std::string leave = " xt y";

Workplace with_iris() {
  Workplace here;
  here.bring("iris.dat");
  return here;
}

TEST(StartUp, ArgumentsAndPreferenceFile) {
  Workplace here;
  for (const auto& [arguments, status, text] :  // somewhere on either stream
       {std::tuple{"--version", 0, "qvtx "},
        {"--help", 0, "usage: qvtx"},
        {"", 0, "Version: 20060502"},
        {"no.prf", 1, "Preference file no.prf is missing!\n"},
        {"Qvtx.prf surplus", 2, "  too many arguments: 'surplus'"}}) {
    const Result r = here.feed("", arguments);
    EXPECT_EQ(r.status, status) << arguments;
    EXPECT_NE((r.out + r.err).find(text), std::string::npos) << arguments;
  }
  std::filesystem::remove(here.path("Qvtx.prf"));
  const Result r = here.feed("xt\ny\n");
  EXPECT_EQ(r.out, "Preference file Qvtx.prf is missing!\n");
  EXPECT_EQ(r.err, "  run qvtx --init\n");
  EXPECT_EQ(r.status, 1);
}

TEST(StartUp, InitWritesAScratchOnce) {
  Workplace here;
  const std::string shipped = here.read("Qvtx.prf");
  std::filesystem::remove(here.path("Qvtx.prf"));
  EXPECT_EQ(here.feed("", "--init").status, 0);
  EXPECT_EQ(here.files(), (std::vector<std::string>{"Qvtx.prf", "default.rdp", "default.sam"}));
  EXPECT_EQ(here.read("Qvtx.prf"), shipped);
  std::filesystem::remove(here.path("default.sam"));
  EXPECT_EQ(here.feed("", "--init").status, 1);
  EXPECT_FALSE(here.has("default.sam"));
}

TEST(Session, TypicalRunSavesEverythingAndTheTrace) {
  Workplace here = with_iris();
  const Result r = here.run(words(project + "sm a st a" + leave));
  EXPECT_EQ(r.status, 0);
  for (const char* name : {"a.mbf", "a.pro", "a.cod", "a.ind", "a.crv", "a.map", "a.lnk", "a.clu", "a.log"})
    EXPECT_TRUE(here.has(name)) << name;
  EXPECT_NE(r.err.find("Save Mapping parameters:\n  File name without extension? \n  log saved!\n"),
            std::string::npos);
  EXPECT_NE(r.err.find("  Filename without exension? \n  trace saved & reset!\n"), std::string::npos);
  EXPECT_NE(r.out.find("ToMapp.ng: using default parameters"), std::string::npos);
  EXPECT_EQ(here.read("a.trc"), "ld\niris\nng\n20\ncc\nmp\nm\nn\n2\nsm\na\nxt\ny\n");
}

TEST(Session, AValidationSetTakesThePlaceOfTheDataOnceItIsInterpolated) {
  Workplace here = with_iris();
  const auto load_text = [&](const std::string& name) {
    MatFullD m;
    EXPECT_TRUE(m.load_asc(here.path(name).c_str(), 0)) << name;
    return m;
  };
  const MatFullD data = load_text("iris.dat");
  MatFullD few, narrow(10, 3);
  few.copy(data);
  few.setrows(50);
  narrow.setrows(10, 1.0);
  ASSERT_EQ(few.save_bin(here.path("few.dat").c_str(), 0), 1);
  ASSERT_EQ(narrow.save_bin(here.path("narrow.dat").c_str(), 0), 1);
  // The text file is no binary one: the name is asked for again. A set of other columns is refused.
  const Result r =
      here.run(words(project + "cc iv iris few cc rd mq sp v cc il mq cc iv narrow cc rd sp l" + leave));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(occurrences(r.err, "Bad command : mq\n"), 1) << "nothing is reconstructed from it";
  EXPECT_NE(r.out.find("ToMapp.cda_iv: sizes don't agree!\n"), std::string::npos);
  for (const auto& [name, reference] : {std::pair<std::string, const MatFullD*>("v", &few), {"l", &data}}) {
    const MatFullD rebuilt = load_text(name + ".jrp");
    ASSERT_EQ(rebuilt.nrow(), reference->nrow());
    EXPECT_NEAR(reference->mqe(rebuilt), load_text(name + ".mre")(0, 0), 1e-5) << name;
  }
  const MatFullD position = load_text("v.prj"), learnt = load_text("l.prj"), code = load_text("few.cod");
  ASSERT_EQ(code.nrow(), 50);
  for (long c = 0; c < 100; ++c) EXPECT_EQ(position.data()[c], learnt.data()[c]) << "the same samples";
  EXPECT_FALSE(here.has("narrow.cod"));
}

TEST(Session, HelpListsWhatTheStateAllows) {
  Workplace here = with_iris();
  const std::string general =
      "\nAVAILABLE COMMANDS IN CURRENT STATE ...\nGeneral :\n  xt = eXiT\n  is = Initialize Seed\n"
      "  tv = Toggle Verbosity\n  ms = Modify Settings\n  dd = Display Details\n  la = Load All (.dat & "
      ".mbf)\n"
      "  ld = Load Data file\n";
  const std::string data =
      "  lm = Load Mapping file\n  sm = Save Mapping file as ...\n  st = Save Trace\nQuantization :\n"
      "  nq = No Quantization\n  gc = G-Center (for GPCA)\n  km = K-Means (or LBG)\n  dk = Dynamic K-means\n"
      "  xn = EXIN PLN\n  nw = Neural Water\n  cl = Comp. Learning\n  fc = Fast CL\n  ng = Neural Gas\n"
      "  om = self-Organizing Map\n  jp = Jarvis-Patrick method\n";
  const std::string prototypes =
      "Dimension Reduction :\n  us = Unfold Self-organizing map\n  md = MultiDimensional Scaling\n"
      "  mm = Sammon Mapping\n  cc = Curvilinear Component Analysis\n  it = IsoTop\nGoD :\n  sg = Self-God\n";
  const std::string mapping = "  eg = Eucl.God\n  cg = Curv.God\n  ag = All Gods\n";
  const std::string all = general + data + prototypes + mapping + "  sp = Save Proj./deproj. data\n";
  for (const auto& [session, listing] :
       {std::pair{std::string(), general},
        {load, general + data},
        {quantize, general + data + prototypes},
        {project, general + data + prototypes + mapping},
        {interpolate, all},
        {reconstruct, all + "  mq = Mean Quad. error\n"},
        // A new mapping forgets the interpolation, a new data set everything.
        {reconstruct + "md mp m 2 ", general + data + prototypes + mapping},
        {reconstruct + "ld iris ", general + data}}) {
    const Result r = here.run(words(session + "hh" + leave));
    EXPECT_EQ(r.status, 0) << session;
    EXPECT_NE(r.err.find(">> \n" + listing + ">> "), std::string::npos) << session << "\n" << r.err;
  }
}

TEST(Session, HelpCountsLostAndCopiedPrototypes) {
  Workplace here;
  // Three prototypes on three data; one lies on a datum's duplicate and gets nothing.
  here.write("few.dat", "2\t0\n4\t0\n0.5\t0\n0.5\t0\n5\t5\n9\t0\n");
  const Result r = here.run(words("ld few nq hh rl hh" + leave));
  EXPECT_NE(r.err.find("  rl = Remove Lost prototypes (1)\n  rc = Remove Copy prototypes (2)\n"),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("1 lost prototypes removed. \n"), std::string::npos);
  EXPECT_EQ(occurrences(r.err, "Remove Lost prototypes"), 1);
}

TEST(Session, LoadedMapIsAMapStill) {
  Workplace here = with_iris();
  ASSERT_EQ(here.run(words("ld iris om 32 2 sm iris" + leave)).status, 0);
  // Losing its dead nodes, it keeps the links of the grid, which becomes its mapping.
  const Result fresh = here.run(words("ld iris om 32 2 rl us mp" + leave));
  const Result loaded = here.run(words("la iris rl us mp" + leave));
  for (const char* text : {"Links: rule 4 (grid)", "Mapping: Self-Organizing Map", "stress = "}) {
    const auto line = [text](const std::string& out) {
      const std::size_t at = out.rfind(text);
      return at == std::string::npos ? "" : out.substr(at, out.find('\n', at) - at);
    };
    EXPECT_NE(line(fresh.out), "") << text;
    EXPECT_EQ(line(loaded.out), line(fresh.out));
  }
}

}  // namespace
}  // namespace qvtx::console
