// Sessions on data of which some rows are not finite.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "console/program.h"
#include "matrix/matfulld.h"

namespace qvtx::console {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

class LeftOutSession : public ::testing::Test {
 protected:
  /// clean.dat: iris, binary; holed.dat: the same with rows 0 and 76 that are not finite.
  LeftOutSession() {
    here.bring("iris.dat");
    MatFullD iris, row(1, 4), holed(0, 4);
    iris.load_asc(here.path("iris.dat").c_str(), 0);
    row.setrows(1, nan_value);
    for (long i = 0; i < iris.nrow(); ++i) {
      if (i == 0 || i == 75) holed.addrow(row, 0);
      row(0, 0) = -std::numeric_limits<double>::infinity();
      holed.addrow(iris, i);
    }
    iris.save_bin(here.path("clean.dat").c_str(), 0);
    holed.save_bin(here.path("holed.dat").c_str(), 0);
  }
  /// The lines of a text file without the header's two, and without lines 0 and 76 when they are `left_out`.
  std::vector<std::string> lines(const std::string& name, bool left_out) const {
    std::istringstream text(here.read(name));
    std::vector<std::string> kept;
    std::string line;
    for (long i = -2; std::getline(text, line); ++i) {
      if (i < 0 || (left_out && (i == 0 || i == 76))) continue;
      kept.push_back(line);
    }
    return kept;
  }

  Workplace here;
};

TEST_F(LeftOutSession, MapsAndFiguresAreThoseOfTheOtherRows) {
  for (const std::string mapping : {"cc", "mm", "md", "it"}) {
    const std::string after = mapping == "md" ? "" : mapping + " il " + mapping + " rd mq sp ";
    for (const std::string data : {"clean", "holed"}) {
      const std::string session = "ld " + data + " km 20 " + mapping + " mp m 2 sm " + data + ' ' + after +
                                  (after.empty() ? "" : data) + " dd xt y";
      ASSERT_EQ(here.run(words(session)).status, 0);
    }
    for (const std::string file : {".pro", ".crv", ".map", ".lnk", ".mre"}) {
      if (after.empty() && file == ".mre") continue;
      EXPECT_EQ(here.read("clean" + file), here.read("holed" + file)) << mapping;
    }
    for (const std::string file : {".cod", ".prj", ".ppr", ".jrp"}) {
      if (after.empty() && file != ".cod") continue;
      EXPECT_EQ(lines("clean" + file, false), lines("holed" + file, true)) << mapping << file;
    }
    EXPECT_EQ(lines("holed.cod", false)[76], "        -1\t");
    EXPECT_EQ(lines("clean.clu", false), lines("holed.clu", true)) << mapping;
    EXPECT_EQ(lines("holed.clu", false)[76], "        -1\t        -1\t");
  }
  EXPECT_EQ(here.read("holed.log").find("nan"), std::string::npos) << here.read("holed.log");
}

TEST_F(LeftOutSession, ValidationSetMayHoldThem) {
  for (const std::string mapping : {"cc", "mm"}) {
    const Result r = here.run(words("ld clean km 20 " + mapping + " mp m 2 " + mapping + " iv holed " +
                                    mapping + " rd mq sp v cc il cc rd mq sp l xt y"));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.find("interpolation = nan"), std::string::npos) << r.out;
    EXPECT_EQ(lines("v.prj", false)[76], "       nan\t       nan\t") << mapping;
    if (mapping == "cc") {
      EXPECT_EQ(lines("l.prj", false), lines("v.prj", true));
      EXPECT_EQ(here.read("l.mre"), here.read("v.mre"));
      EXPECT_EQ(lines("holed.cod", false)[0], "        -1\t");
    }
  }
}

}  // namespace
}  // namespace qvtx::console
