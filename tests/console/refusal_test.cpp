// What standard error tells beyond the record.

#include <gtest/gtest.h>

#include <filesystem>

#include "console/program.h"
#include "matrix/matfulld.h"

namespace qvtx::console {
namespace {

TEST(Told, WhatWasReadAndWhyAFileWasRefused) {
  Workplace here;
  here.bring("iris.dat");
  here.bring("wine.dat");
  std::filesystem::create_directory(here.path("folder.dat"));
  here.write("na.dat", "5.1 3 1\n1 2 3\n4 NA 6\n7 8 9\n");
  here.write("sepal.dat", "sepal 1 2\n");
  MatFullD narrow(2, 3);
  narrow.setrows(2, 0.5);
  ASSERT_TRUE(narrow.save_bin(here.path("narrow.dat").c_str(), 0));
  here.write("default.ngp", "2 0\n2 0\n0.5 1\n0.1 0.1\n");
  ASSERT_EQ(here.run(words("ld wine km 5 sm wine xt y")).status, 0);
  here.write("cut.mbf", here.read("wine.mbf").substr(0, 12000));
  const std::pair<const char*, const char*> cases[] = {
      {"", "  read 92 settings\n"},
      {"ld iris", "  read 150 x 4, header\n"},
      {"ld narrow", "  read 2 x 3, binary\n"},
      {"ld na",
       "  read 2 x 3\n  na.dat:3: 'NA' in column 2 is not a number: 2 rows read, the rest of the file was "
       "left out\n"},
      {"tv ld na", "\n  na.dat:3: 'NA' in column 2 is not"},
      {"ld sepal iris", "  sepal.dat: line 1: 'sepal' is not a number\n"},
      {"ld iris ng 5", "  read 2 x 2, header\n"},
      {"ld iris km 5 md mp m 2 cc iv iris narrow", "  iris.dat: text where a binary matrix is needed\n"},
      {"ld iris km 5 md mp m 2 cc iv narrow", "  narrow.dat has 3 columns, the data have 4\n"},
      {"ld folder iris", "  folder.dat: Is a directory\n"},
      {"ld x y iris", "  y.dat: No such file or directory\n  files that fit: iris na narrow sepal wine\n"},
      {"ld iris lm wine x", "  wine.mbf belongs to data of 178 x 13, these are 150 x 4\n"},
      {"ld iris lm wine x", "\n  no file *.mbf fits\n"},
      {"ld wine lm cut", "  cut.mbf: cut off or damaged: code ages\n"},
  };
  for (const auto& [session, told] : cases) {
    const Result r = here.run(words(session));
    EXPECT_NE(r.err.find(told), std::string::npos) << session << "\n" << r.err;
  }
}

TEST(Told, WhyACommandWasRefused) {
  Workplace here;
  here.bring("iris.dat");
  here.write("iris.ngp", "2 0\n2 0\n0.5 9\n1.4 3\n");  // the second epoch's step is above 1
  here.write("iris.clp", "-1\n");
  const std::string prototypes = "ld iris km 5 ";
  const std::pair<std::string, const char*> cases[] = {
      {"ld iris ng 5", "  ng_itr: anow not parametric (a value of the schedule is out of its range)\n"},
      {"ld iris cl 5", "  cl made no prototypes: cl: a not parametric (a value of the schedule"},
      {"ms s vglink_p 0 x x " + prototypes + "md mp m 2 sg",
       "  god: no links available: distances in space instead\n"},
      {"km", "Bad command : km\n  km needs data: ld\n"},
      {"zz", "  there is no command zz: hh lists what there is\n"},
      {"cc mp",
       "  there is no command mp: hh lists what there is\n  answers to a command that was refused are"},
      {"quit", "Bad command : qu\n  a command has two letters: what follows qu is read as the next one\n"},
      {prototypes + "cc xt", "  xt is no choice of cc, which has mp, il, iv and rd\n"},
      {prototypes + "cc il", "  il needs a mapping: mp\n"},
      {prototypes + "md mp m 2 mm rd", "  rd needs projected data: il or iv\n"},
      {"ld iris km 0", "  km needs at least 1 prototype, not 0\n"},
      {prototypes + "mm mp m 6",
       "  a map of 5 prototypes with 4 variables has at most 5 dimensions, not 6\n"},
      {"dc q", "  there is no distance class q (m, a, c): it counts as m\n"},
      {"mx -1", "  an exponent is not negative: 2 stays\n"},
      {prototypes + "mm mp m 0", "  a map has at least 1 dimension, not 0\n"},
      {prototypes + "mm mp a 1.5", "  no number of dimensions reaches a confidence of 1.5\n"},
      {"ld iris km 1 md mp m 2", "  a map needs two prototypes, there is one\n"},
      {prototypes + "us mp", "  us needs the prototypes of a self-organizing map: om\n"},
      {prototypes + "md mp m 2 bw 9 x", "  prototype 9 is outside [0,4]\n"},
      {prototypes + "sm no/a", "  cannot write no/a.mbf: No such file or directory (and 6 more)\n"},
      {"ld iris st no/a",
       "  Filename without exension? \n  cannot write no/a.trc: No such file or directory\n"},
      {"tv", "  verbosity is off\n"},
  };
  for (const auto& [session, told] : cases) {
    const Result r = here.run(words(session));
    EXPECT_NE(r.err.find(told), std::string::npos) << session << "\n" << r.err;
    EXPECT_EQ(occurrences(r.err, "saved"), occurrences(r.err, "was not saved")) << session;
  }
}

#if !defined(__SANITIZE_ADDRESS__)  // which reserves more than any limit
TEST(Told, HowMuchMemoryACommandNeeds) {
  Workplace here;
  std::string lines;
  for (int i = 0; i < 4000; ++i) lines += std::to_string(i * 7 % 4000) + " " + std::to_string(i % 61) + "\n";
  here.write("many.dat", lines);
  here.bring("iris.dat");
  const std::pair<const char*, const char*> cases[] = {
      {"ld many nq md mp m 2",
       "  md: not enough memory (needs 128.0 MB): given up, the analysis is as it was\n"},
      {"ld iris km 5 ng 2000000000", "  ng: not enough memory (needs 64.0 GB): given up, "},
      {"ld iris km 5 md mp m 2000000000", "  md: not enough memory (needs 80.0 GB): given up, "},
  };
  for (const auto& [session, told] : cases) {
    const Result r = here.run(words(std::string(session) + " sm a xt y"), "", "ulimit -v 200000;");
    EXPECT_EQ(r.status, 0) << session;
    EXPECT_NE(r.err.find(told), std::string::npos) << session << "\n" << r.err;
    EXPECT_TRUE(here.has("a.crv")) << "the prototypes of before";
    EXPECT_FALSE(here.has("a.map"));
  }
}
#endif

TEST(Told, WhereAPreferenceFileCannotBeRead) {
  Workplace here;
  const std::pair<const char*, const char*> cases[] = {
      {"p {a} {b} 1 2\nv x\n", "  preference file, line 2: 'x' stands where a number was expected\n"},
      {"c {a}\n\nsetting 5\n",
       "  preference file, line 3: 'setting' stands where a command (p, v, h, c or x) was "
       "expected\n"},
      {"p {a} {b} 1 2\n", "  preference file, line 2: it ends where the end of a block (x) was expected\n"},
      {"p {a\n", "  preference file, line 2: it ends where a text in braces was expected\n"},
  };
  for (const auto& [text, told] : cases) {
    here.write("odd.prf", text);
    const Result r = here.run(words("xt y"), "odd.prf");
    EXPECT_EQ(r.err.find(told), 0u) << r.err;
    EXPECT_EQ(occurrences(r.err, "preference file"), 1) << r.err;
  }
}

}  // namespace
}  // namespace qvtx::console
