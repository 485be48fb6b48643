#include "settings/matpara.h"

#include <limits>
#include <vector>

#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::Console;
using settings_test::console_to_stderr;
using settings_test::Folder;

std::vector<double> column(int kind, double first, double last, long rows, long fidx = 0, long lidx = -1) {
  MatParaD schedule(0, 2);
  schedule.additer(rows);
  schedule.set(kind, 1, first, last, fidx, lidx);
  std::vector<double> values;
  for (long i = 0; i < rows; ++i) {
    EXPECT_EQ(0, schedule(i, 0)) << "the other column changed";
    values.push_back(schedule(i, 1));
  }
  return values;
}

void expect_near(const std::vector<double>& expected, const std::vector<double>& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(expected[i], actual[i], 1e-15) << "row " << i;
}

TEST(MatPara, LawsMeetTheirClosedForms) {
  expect_near({1, .9, .8, .7, .6, .5, .4, .3, .2, .1, 0}, column(1, 1, 0, 11));
  expect_near({1, .1, .01}, column(2, 1, .01, 3));
  expect_near({1, .5}, column(3, 1, .5, 2));
  expect_near({1, 2. / 3, .5}, column(3, 1, .5, 3));
  expect_near({1, 1. / 2, 1. / 3, 1. / 4, 1. / 5}, column(3, 1, .2, 5));
  expect_near({1, 0, 0, 0}, column(3, 1, 0, 4));
  expect_near({1, 0, 0, 0}, column(2, 1, 0, 4));
}

TEST(MatPara, EqualValuesFillAConstantWhateverTheLaw) {
  for (int kind : {0, 1, 2, 3, 7}) {
    expect_near({2, 2, 2}, column(kind, 2, 2, 3));
    expect_near({0, 0, 0}, column(kind, 0, 0, 3));
  }
  expect_near({0, 0, 0}, column(4, 2, 1, 3));  // no such law
}

TEST(MatPara, LawsCountFromRowZeroEvenIfTheColumnStartsLater) {
  expect_near({0, 0, 0, -.5, 0}, column(1, 1, .5, 5, 2, 3));
  expect_near({0, .75, .5, .25}, column(1, 1, .5, 4, 1, 3));
  expect_near({0, 1. / 2, 1. / 3, 1. / 4}, column(3, 1, 1. / 3, 4, 1, 3));
  expect_near({0, .1, .01, .001}, column(2, 1, .01, 4, 1, 3));
  expect_near({1, .5, 0, 0}, column(1, 1, .5, 4, 0, 1));
  expect_near({1, .75, .5}, column(1, 1, .5, 3, 0, 99));
}

TEST(MatPara, EndsAreExactAndRowsNeverRise) {
  const double starts[] = {1, 0.5, 0.7, 10, 2, 1 + 1e-15, 0.1};
  const double shares[] = {0.999999999999999, 0.99, 0.2, 0.013, 1e-7};
  for (int kind : {1, 2, 3}) {
    for (double first : starts) {
      for (double share : shares) {
        const std::vector<double> values = column(kind, first, first * share, 1000);
        EXPECT_EQ(first, values.front());
        EXPECT_EQ(first * share, values.back());
        for (double v : values) {
          EXPECT_LE(v, first) << kind;
          EXPECT_GE(v, first * share) << kind;
        }
      }
    }
  }
}

TEST(MatPara, RowsAreAddedAndRemovedAtTheEnd) {
  MatParaD schedule(0, 1);
  EXPECT_EQ(10, schedule.additer(10));
  schedule.set(1, 0, 9, 0, 0, -1);
  EXPECT_EQ(8, schedule.additer(-2));
  EXPECT_EQ(2, schedule(7, 0));
  EXPECT_EQ(8, schedule.additer(0));
  EXPECT_EQ(9, schedule.additer(1));
  EXPECT_EQ(0, schedule(8, 0));
  EXPECT_EQ(0, schedule.additer(-100));
  EXPECT_EQ(0, schedule.additer(std::numeric_limits<long>::min()));
}

TEST(MatPara, ControlLooksForNegativeValuesInTheFirstColumns) {
  MatParaD schedule(0, 3);
  schedule.additer(4);
  schedule(2, 1) = -1e-300;
  EXPECT_EQ(1, schedule.control(0));
  EXPECT_EQ(1, schedule.control(1));
  EXPECT_EQ(0, schedule.control(2));
  EXPECT_EQ(0, schedule.control(3));
  schedule(2, 1) = 0;
  EXPECT_EQ(1, schedule.control(3));
  EXPECT_EQ(0, schedule.control(4));
}

TEST(MatParaDeathTest, ArgumentErrorsEndTheProgramInTheirOrder) {
  const struct {
    long col;
    double first, last;
    long fidx, lidx;
    const char* message;
  } cases[] = {
      {2, 1, 0, 0, 4, "error m191\n +value of argument 2 out of range : 2\n"},
      {-1, 1, 0, 9, 4, "value of argument 2 out of range : -1\n"},
      {0, 1, 0, 5, 4, "error m191\n +value of argument 5 out of range : 5\n"},
      {0, 1, 0, -1, 4, "value of argument 5 out of range : -1\n"},
      {0, -1, -2, 4, 4, "error m191\n +lidx<=fidx\n"},
      {0, -1, -2, 4, -7, "lidx<=fidx\n"},
      {0, 1, 0, 3, 2, "lidx<=fidx\n"},
      {0, -1, -2, 0, 4, "fval<0.00\n"},
      {0, -1, -1, 0, 4, "fval<0.00\n"},
      {0, 1, -2, 0, 4, "lval<0.00\n"},
      {0, 0.5, 1, 0, 4, "error m191\n +fval<lval\n"},
  };
  for (const auto& c : cases) {
    MatParaD schedule(0, 2);
    schedule.additer(5);
    EXPECT_EXIT((console_to_stderr(), schedule.set(3, c.col, c.first, c.last, c.fidx, c.lidx)),
                ::testing::ExitedWithCode(0), c.message)
        << c.message;
  }
}

TEST(LoadSchedule, FirstFileWithACompleteRowIsTaken) {
  const Folder folder;
  const std::string given = folder.write("given", "0.5\t0.25\t\n"),
                    fallback = folder.write("fallback", "0.75\t\n");
  const std::string words = folder.write("words", "no numbers\n"), empty = folder.write("empty", "");
  const std::string cut = folder.write("cut", "     2\t     0\t\n     3\t     0\t\n0.5 0.5\n"),
                    missing = folder.file("missing");
  const struct {
    const char *file, *default_file;
    double expected;  // first value; -1: nothing loads
  } cases[] = {
      {given.c_str(), fallback.c_str(), 0.5},    {nullptr, fallback.c_str(), 0.75},
      {missing.c_str(), fallback.c_str(), 0.75}, {empty.c_str(), fallback.c_str(), 0.75},
      {cut.c_str(), fallback.c_str(), 0.75},     {words.c_str(), fallback.c_str(), 0.75},
      {missing.c_str(), empty.c_str(), -1},      {nullptr, nullptr, -1},
  };
  for (const auto& c : cases) {
    const Console console;
    MatParaD schedule(3, 1);
    schedule.additer(3);
    EXPECT_EQ(c.expected >= 0, load_schedule(schedule, c.file, c.default_file, 0)) << c.file;
    ASSERT_EQ(c.expected >= 0 ? 1 : 0, schedule.nrow()) << c.file;
    if (schedule.nrow() > 0) {
      EXPECT_EQ(c.expected, schedule(0, 0));
    }
    EXPECT_EQ("", console.text());
  }
}

}  // namespace
}  // namespace qvtx
