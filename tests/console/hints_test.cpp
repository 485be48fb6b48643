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
  for (const char* file : {"Qvtx.prf", "iris.dat", "iris.lab", "wine.dat"}) here.bring(file);
  here.write("wine.lab", here.read("iris.lab"));
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
        Hint{"ld circle km 15 cc mp m 2", "\n  1 link was torn, of length 1.28; vgteartt 0 keeps it\n"},
        Hint{"ld circle km 15 cc mp m 2", "\n  the stress is measured without the "},
        Hint{"ld circle km 15 cc mp m 2 tv dd tv", "that was torn\n"},
        Hint{"ld iris km 9 mx 1", "\n  the links keep their lengths until the next quantization\n"},
        Hint{"ld iris km 9 dc c dc m", "\n  the links keep their lengths until the next quantization\n"},
        Hint{"ld circle km 15 md mp m 9", " without value: no positive eigenvalue is left for them\n"},
        Hint{"ld wine km 20 cc mp m 2 cc il", "\n  rank quality of the data on the map: space = 0."},
        Hint{"ld iris ng 30 sm other lm other dd",
             "\n  iris.lab and the components: adjusted Rand index = 0.568, purity = 0.667\n"},
        Hint{"ld iris gc dd",
             "\n  iris.lab and the prototypes: adjusted Rand index = 0.000, purity = 0.333\n"},
        Hint{"ld wine km 9 dd", "\n  wine.lab does not hold one integer for each of the 178 data\n"},
        Hint{"tv ld wine nq cc mp m 2", ""}));

/// Outside the Euclidean distance the error is no share of the variance.
TEST(Report, NamesAnotherMetricAndExplainsVarianceByTheEuclideanOneAlone) {
  const std::pair<const char*, std::string> cases[] = {{"", ""},
                                                       {"mx 1.25", "class: m (Minkowski), exponent 1.25\n"},
                                                       {"dc a", "class: a (area), exponent 2\n"},
                                                       {"dc c", "class: c (cosine)\n"}};
  for (const auto& [metric, named] : cases) {
    Workplace here;
    here.bring("iris.dat");
    const Result r = here.run(words(std::string(metric) + " ld iris km 5 xt y"));
    EXPECT_EQ(occurrences(r.out, "explained variance"), named.empty() ? 1 : 0) << metric;
    EXPECT_EQ(occurrences(r.out, "Distance class: "), named.empty() ? 0 : 1) << metric;
    EXPECT_NE(r.out.find(named), std::string::npos) << r.out;
  }
}

TEST(Report, HasDashesForFiguresWithoutAPair) {
  Workplace here;
  here.bring("iris.dat");
  const Result axes = here.run(words("ld iris km 6 md mp m 9 ag dd xt y")),
               one = here.run(words("ld iris gc sg dd xt y"));
  for (const char* text :
       {"\n  stress = -, lost neighbours = -, lost links = -\n", "\n  8              | no value\n",
        "god: linerty=      -\n", "GoD: Euclidean, 0 pairs\n  mean squared difference = -, mean ratio = -\n"})
    EXPECT_NE(axes.out.find(text), std::string::npos) << text << axes.out;
  EXPECT_NE(one.out.find("god: mquader=      -\n"), std::string::npos) << one.out;
  for (const char* nonsense : {"nan", "inf "})
    EXPECT_EQ(axes.out.find(nonsense), std::string::npos) << axes.out;
}

TEST(Report, ForgetsTheGraphsOfTheAnalysisBeforeALoad) {
  Workplace here;
  here.bring("iris.dat");
  const Result r = here.run(words("ld iris km 6 md mp m 2 ag sm a lm a dd xt y"));
  EXPECT_NE(r.out.find("Mapping: loaded"), std::string::npos);
  EXPECT_EQ(r.out.find("GoD:"), std::string::npos);
}

TEST(Report, TellsHugeNumbersByPowersOfTen) {
  Workplace here;
  here.write("huge.dat", "1e300 -4e15\n1e300 0\n");
  const Result r = here.run(words("ld huge dd xt y"));
  EXPECT_NE(r.out.find("\n  0              | 1.00e+300 | "), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\n  1              | -4.00e+15 | -4.00e+15 | -2.00e+15 |   0.00 |   0.00 |\n"),
            std::string::npos)
      << r.out;
}

}  // namespace
}  // namespace qvtx::console
