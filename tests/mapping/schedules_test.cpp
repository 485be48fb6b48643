// What the projection methods with a schedule share: where it comes from, what is refused, what is reported.

#include "support/reference_mapping.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

struct Method {
  const char* name;
  const char* label;
  const char* default_file;
  const char* epochs;     ///< key
  const char* columns;    ///< what the message about a schedule calls it
  char second;            ///< the other parameter beside the step
  double smallest, step;  ///< an epoch's parameters: the smallest ones, and the first step too large
  double large;           ///< the first second parameter too large
};

constexpr Method methods[] = {
    {"cda", "Curvilinear Component Analysis", "default.cmp", "tcdepoq", "al", 'l', 1e-9, 1.1, 2.1},
    {"sammon", "Sammon's Nonlinear Mapping", "default.smp", "tsmepoq", "as", 's', 0.0, 1.1, 1.1},
    {"isotop", "Isotop", "default.cmp", "titepoq", "al", 'l', 0.0, 1.1, 1.1}};

class MappingSchedules : public ReferenceMappingTest {
 protected:
  template <class Schedule>
  long run(const Method& m, long dim, const Schedule& schedule) {
    return m.name[0] == 'c'   ? tm.cda(dim, schedule)
           : m.name[0] == 's' ? tm.sammon(dim, schedule)
                              : tm.isotop(dim, schedule);
  }
  long run(const Method& m, long dim, const Rows& rows) {
    MatParaD sched;
    fill(sched, rows);
    return run(m, dim, sched);
  }
  long epoch(const Method& m, double a, double second) {
    MatFullD sdev;
    fill(sdev, {{1.0, 1.0}});
    return m.name[0] == 'c'   ? tm.cda_itr(a, second)
           : m.name[0] == 's' ? tm.sammon_itr(a, second)
                              : tm.isotop_itr(sdev, a, second);
  }
};

TEST_F(MappingSchedules, ComeFromTheFileThenTheDefaultThenTheKeys) {
  prepare(10, 2, 3, 1.0);
  for (const Method& m : methods) {
    tm.setkey(m.epochs, 4);
    expect_schedule_order(
        console, tm, m.name, m.default_file, [&](const char* file) { ASSERT_EQ(1, run(m, 2, file)); },
        "ToMapp.", "mapping");
  }
}

TEST_F(MappingSchedules, ParametersOutOfRangeEndTheRunAndKeepTheMapping) {
  prepare_mapping(10, 2, 2, 3, 1.0);
  const Rows before = rows_of(tm.mprot);
  for (const Method& m : methods) {
    SCOPED_TRACE(m.name);
    const std::string message = std::string("ToMapp.") + m.name + "_itr: ";
    for (const double bad : {-0.1, m.smallest - 1e-9, m.step, no_bound, std::nan("")}) {
      EXPECT_EQ(0, epoch(m, bad, 0.5));
      EXPECT_EQ(message + "anow not parametric\n", console.take()) << bad;
    }
    for (const double bad : {-0.1, m.smallest - 1e-9, m.large, no_bound, std::nan("")}) {
      EXPECT_EQ(0, epoch(m, 0.5, bad));
      EXPECT_EQ(message + m.second + "now not parametric\n", console.take()) << bad;
    }
    EXPECT_EQ(before, rows_of(tm.mprot));
  }
  for (const Method& m : methods) {
    EXPECT_EQ(1, run(m, 2, {{0.5, 1.0}, {0.5, 2.5}, {0.5, 1.0}}));
    EXPECT_EQ(std::string("ToMapp.") + m.name + "_itr: " + m.second + "now not parametric\n", console.take());
    EXPECT_STREQ(m.label, tm.getmname());
  }
}

TEST_F(MappingSchedules, WhatDoesNotFitIsRefusedBeforeTheFirstEpoch) {
  for (const Method& m : methods) {
    prepare(10, 2, 3, 1.0);
    for (const Rows& rows : {Rows{{0.5}, {0.4}}, Rows{{0.5, 1}, {-0.1, 1}}, Rows{{0.5, 1}, {0.5, -1}}}) {
      EXPECT_EQ(0, run(m, 2, rows));
      EXPECT_EQ(std::string("ToMapp.") + m.name + ": " + m.columns + " not parametric\n", console.take());
      EXPECT_EQ(1, tm.done(ToMapp::minidone));
      EXPECT_EQ(0, tm.done(ToMapp::mfindone));
    }
    // Images of other prototypes are not used.
    MatFullD points;
    uniform_points(points, 12, 2, 5);
    prototypes(tm, points, 3);
    tm.setkey("vgkeep_p", 1);
    EXPECT_EQ(0, run(m, 2, Rows{{0.5, 1}}));
    EXPECT_EQ(0, epoch(m, 0.5, 0.5));
    EXPECT_EQ(0, tm.done(ToMapp::minidone));
    EXPECT_EQ(10, tm.mprot.nrow());
    tm.setkey("vgkeep_p", 0);
  }
}

}  // namespace
}  // namespace qvtx::test
