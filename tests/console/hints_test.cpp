// What the program tells of a map beyond its report, on standard error, and the rank figures.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "console/program.h"
#include "matrix/matfulld.h"

namespace qvtx::console {
namespace {

struct Hint {
  const char* session;
  const char* line;  ///< empty: none of the hints of a map
};

void PrintTo(const Hint& c, std::ostream* out) { *out << c.session; }

class Hints : public ::testing::TestWithParam<Hint> {};

/// Rows on a circle, x and y.
void write_circle(const Workplace& here) {
  std::string rows;
  for (int i = 0; i < 60; ++i) {
    const double angle = 6.283185307179586 * i / 60;
    rows += std::to_string(2.5 * std::cos(angle)) + "\t" + std::to_string(2.5 * std::sin(angle)) + "\n";
  }
  here.write("circle.dat", rows);
}

TEST_P(Hints, AreToldOnceOnStandardError) {
  const Hint& c = GetParam();
  Workplace here;
  for (const char* file : {"Qvtx.prf", "iris.dat", "wine.dat"}) here.bring(file);
  write_circle(here);
  const Result r = here.run(words(std::string(c.session) + " xt y"));
  ASSERT_EQ(r.status, 0);
  if (*c.line != '\0') {
    const std::size_t at = r.err.find(c.line);
    ASSERT_NE(at, std::string::npos) << r.err;
    EXPECT_EQ(r.err.find(c.line, at + 1), std::string::npos) << r.err;
    return;
  }
  for (const char* text : {"torn", "components", "standardise", "alone", "without value", "explain"})
    EXPECT_EQ(r.err.find(text), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(
    Session, Hints,
    ::testing::Values(
        Hint{"ld wine", "\n  variable 12 holds 99.8 % of the variance: standardise?\n"},
        Hint{"ld iris ng 30 cc mp m 2",
             "\n  there are 2 components: each has a map of its own, placed apart by tdccsfac\n"},
        Hint{"ld iris ng 30 md mp m 2",
             "\n  there are 2 components: distances between them count as 0 in md\n"},
        Hint{"ld iris nq cc mp m 2", " % of the data are alone with their prototype\n"},
        Hint{"ld circle km 15 cc mp m 2", "and more; vgteartt 0 keeps them\n"},
        Hint{"ld circle km 15 cc mp m 2", "\n  the stress is measured on the torn graph\n"},
        Hint{"ld circle km 15 md mp m 9", " without value: no positive eigenvalue is left for them\n"},
        Hint{"ld wine km 20 cc mp m 2 cc il", "\n  rank quality of the data on the map: space = 0."},
        Hint{"tv ld wine nq cc mp m 2", ""}));

/// Outside the Euclidean distance the error is no share of the variance.
TEST(Report, ExplainsVarianceByTheEuclideanDistanceAlone) {
  for (const auto& [metric, told] : {std::pair{"", true}, {"mx 1", false}, {"dc c", false}}) {
    Workplace here;
    for (const char* file : {"Qvtx.prf", "iris.dat"}) here.bring(file);
    const Result r = here.run(words(std::string(metric) + " ld iris km 5 xt y"));
    EXPECT_EQ(r.out.find("explained variance") != std::string::npos, told) << metric;
  }
}

TEST(Ranks, AreReportedAndSaved) {
  Workplace here;
  for (const char* file : {"Qvtx.prf", "iris.dat"}) here.bring(file);
  const Result r = here.run(words("ld iris ng 30 cc mp m 2 sm r xt y"));
  EXPECT_NE(r.out.find("\n  rank quality: space = 0."), std::string::npos);
  MatFullD curves;
  ASSERT_TRUE(curves.load_asc(here.path("r.rnk").c_str(), 0));
  EXPECT_EQ(curves.nrow(), 28);
  EXPECT_EQ(curves.ncol(), 3);
  EXPECT_EQ(curves(27, 0), 28);
}

}  // namespace
}  // namespace qvtx::console
