#include "settings/matpara.h"

#include <limits>
#include <tuple>
#include <vector>

#include "settings/settings_support.h"

namespace qvtx {
namespace {

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
  expect_near({1, 2. / 3, .5}, column(3, 1, .5, 3));
  expect_near({1, 1. / 2, 1. / 3, 1. / 4, 1. / 5}, column(3, 1, .2, 5));
  for (int kind : {2, 3}) expect_near({1, 0, 0, 0}, column(kind, 1, 0, 4));
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
  for (int kind : {1, 2, 3})
    for (double first : {1., 0.7, 10., 1 + 1e-15})
      for (double share : {0.999999999999999, 0.99, 0.2, 0.013, 1e-7}) {
        const std::vector<double> values = column(kind, first, first * share, 1000);
        EXPECT_TRUE(first == values.front() && first * share == values.back()) << kind;
        for (double v : values) EXPECT_TRUE(first * share <= v && v <= first) << kind << " " << v;
      }
}

TEST(MatParaDeathTest, ArgumentErrorsEndTheProgramInTheirOrder) {
  MatParaD schedule(0, 2);
  schedule.additer(5);
  const std::tuple<long, double, double, long, const char*> cases[] = {
      {2, 1, 0, 0, "error m191\n +value of argument 2 out of range : 2\n"},
      {0, 1, 0, 5, "error m191\n +value of argument 5 out of range : 5\n"},
      {0, -1, -2, 4, "lidx<=fidx\n"},
      {0, -1, -2, 0, "fval<0.00\n"},
      {0, 0.5, 1, 0, "error m191\n +fval<lval\n"}};
  for (const auto& [col, first, last, fidx, message] : cases)
    EXPECT_EXIT((console_to_stderr(), schedule.set(3, col, first, last, fidx, 4)),
                ::testing::ExitedWithCode(0), message);
}

TEST(LoadSchedule, FirstFileWithACompleteRowIsTaken) {
  const Folder folder;
  const std::string given = folder.write("given", "0.5\t0.25\t\n"), missing = folder.file("missing"),
                    fallback = folder.write("fallback", "0.75\t\n"), empty = folder.write("empty", ""),
                    cut = folder.write("cut", "     2\t     0\t\n     3\t     0\t\n0.5 0.5\n");
  const std::tuple<const char*, const char*, double> cases[] = {
      // and the first value; -1: nothing loads

      {given.c_str(), fallback.c_str(), 0.5},    {nullptr, fallback.c_str(), 0.75},
      {missing.c_str(), fallback.c_str(), 0.75}, {empty.c_str(), fallback.c_str(), 0.75},
      {cut.c_str(), fallback.c_str(), 0.75},     {missing.c_str(), empty.c_str(), -1},
  };
  for (const auto& [file, default_file, expected] : cases) {
    MatParaD schedule(3, 1);
    schedule.additer(3);
    EXPECT_EQ(expected >= 0, load_schedule(schedule, file, default_file, 0));
    ASSERT_EQ(expected >= 0 ? 1 : 0, schedule.nrow());
    EXPECT_TRUE(expected < 0 || schedule(0, 0) == expected) << expected;
  }
}

}  // namespace
}  // namespace qvtx
