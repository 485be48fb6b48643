#include "settings/matpara.h"

#include "base/support.h"

namespace qvtx {
namespace {

std::vector<double> column(int kind, double first, double last, long rows, long fidx = 0, long lidx = -1) {
  MatParaD schedule(0, 2);
  EXPECT_EQ(rows, schedule.additer(rows));
  schedule.set(kind, 1, first, last, fidx, lidx);
  EXPECT_EQ(0, schedule.sum(0, 0)) << "the other column changed";
  std::vector<double> values;
  for (long i = 0; i < rows; ++i) values.push_back(schedule(i, 1));
  return values;
}

TEST(MatPara, LawsMeetTheirClosedForms) {
  const std::pair<std::vector<double>, std::vector<double>> cases[] = {
      {{1, .9, .8, .7, .6, .5, .4, .3, .2, .1, 0}, column(1, 1, 0, 11)},
      {{1, .1, .01}, column(2, 1, .01, 3)},
      {{1, 1. / 2, 1. / 3, 1. / 4, 1. / 5}, column(3, 1, .2, 5)},
      {{1, 0, 0, 0}, column(2, 1, 0, 4)},
      {{1, 0, 0, 0}, column(3, 1, 0, 4)},
      // Equal values make a constant, whatever the law.
      {{2, 2, 2}, column(7, 2, 2, 3)},
      {{0, 0, 0}, column(3, 0, 0, 3)},
      {{0, 0, 0}, column(4, 2, 1, 3)},  // no such law
      // The laws count from row zero even if the column starts later.
      {{0, 0, 0, -.5, 0}, column(1, 1, .5, 5, 2, 3)},
      {{0, 1. / 2, 1. / 3, 1. / 4}, column(3, 1, 1. / 3, 4, 1, 3)},
      {{0, .1, .01, .001}, column(2, 1, .01, 4, 1, 3)},
      {{1, .5, 0, 0}, column(1, 1, .5, 4, 0, 1)},
      {{1, .75, .5}, column(1, 1, .5, 3, 0, 99)}};
  for (const auto& [expected, actual] : cases) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_NEAR(expected[i], actual[i], 1e-15) << &expected - &cases[0].first << " row " << i;
  }
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
    EXPECT_FATAL(schedule.set(3, col, first, last, fidx, 4), message);
}

}  // namespace
}  // namespace qvtx
