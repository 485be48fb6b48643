// Sammon's mapping against a plain loop, its schedules and refusals, and the stress it reaches.

#include <filesystem>

#include "support/reference_mapping.h"
#include "support/schedule_files.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::ReferenceMapping;
using test::rows_of;
using Rows = ReferenceMapping::Rows;

/// One epoch as a plain loop over pairs; a Newton sum is made of 8 parts, pair (i, j) in part j mod 8.
struct ReferenceEpochs : ReferenceMapping {
  using ReferenceMapping::ReferenceMapping;
  double w = 0, gap = 0;
  bool shuffled = true;
  std::vector<long> order;

  /// Not positive where the pair does not count.
  double input(long i, long j) const {
    if (w == 0) return space[at(i)][at(j)];
    if (label[at(i)] != label[at(j)]) return -1;
    return w == 1 ? graph[at(i)][at(j)] : (1 - w) * space[at(i)][at(j)] + w * graph[at(i)][at(j)];
  }

  static double total(const double (&parts)[8]) { return std::accumulate(parts, parts + 8, 0.0); }

  void newton(long i, double a) {
    std::vector<double> distances;
    for (const auto& row : y) distances.push_back(distance(y[at(i)], row));
    const std::vector<double> from = y[at(i)];
    for (std::size_t k = 0; k < axes(); ++k) {
      double g[8] = {}, h[8] = {};
      for (long j = 0; j < n; ++j) {
        const double in = input(i, j), d = distances[at(j)];
        if (j == i || in <= 0 || d <= 0) continue;
        const double r = 1 / (in * d), c = (in - d) * r, v = in * r, t = from[k] - y[at(j)][k];
        g[j % 8] += c * t;
        h[j % 8] += c - t * t * (v * v * v);
      }
      if (total(h) > 0) y[at(i)][k] += a * total(g) / total(h);
      if (total(h) < 0) y[at(i)][k] -= a * total(g) / total(h);
    }
  }

  void push(long i, double a) {
    for (long j = n - 1; j >= 0; --j) {
      const double in = input(i, j), d = distance(y[at(i)], y[at(j)]);
      if (j == i || in <= 0 || d <= 0) continue;
      const double f = a * (in - d) / (d * in);
      for (std::size_t k = 0; k < axes(); ++k) y[at(j)][k] += (y[at(j)][k] - y[at(i)][k]) * f;
    }
  }

  void epoch(double a, bool stochastic) {
    for (long p = n - 1; shuffled && p >= 0; --p) std::swap(order[at(p)], order[at(draws.index(n))]);
    for (long p = n - 1; p >= 0; --p) {
      if (stochastic) {
        push(order[at(p)], a);
      } else {
        newton(order[at(p)], a);
      }
    }
    separate(gap);
  }
};

class Sammon : public MappingTest {
 protected:
  ReferenceEpochs reference(double w) const {
    ReferenceEpochs r(tm);
    r.w = w;
    r.order.resize(static_cast<std::size_t>(r.n));
    std::iota(r.order.begin(), r.order.end(), 0L);
    r.gap = w > 0 ? tm.real("tdxm") * tm.real("tdccsfac") : 0.0;
    return r;
  }

  /// Epochs of both passes from the same start with every instruction set.
  void compare(ReferenceEpochs r) {
    tm.setkey("tgswap_p", r.shuffled ? 1 : 0);
    const struct {
      double a, s;
      const char* report;
    } epochs[] = {{0.5, 0.0, " a= 0.500 s=n"},
                  {0.25, 0.51, " a= 0.250 s=y"},
                  {1.0, 0.5, " a= 1.000 s=n"},
                  {0.0, 1.0, " a= 0.000 s=y"}};
    MatFullD start;
    start.copy(tm.mprot);
    std::string report;
    for (const auto& e : epochs) {
      r.epoch(e.a, e.s > 0.5);
      report += e.report;
    }
    for (const Isa isa : test::instruction_sets()) {
      set_isa_level(isa);
      setseed(default_seed);
      tm.mprot.copy(start);
      for (long i = 0; i < r.n; ++i) tm.mpidx(i, 0) = i;
      tm.verbose = 1;
      for (const auto& e : epochs) ASSERT_EQ(1, tm.sammon_itr(e.a, e.s));
      tm.verbose = 0;
      const std::string where = "w " + std::to_string(r.w) + ", n " + std::to_string(r.n) + ", axes " +
                                std::to_string(r.axes()) + ", set " + std::to_string(static_cast<int>(isa));
      ASSERT_EQ(r.y, rows_of(tm.mprot)) << where;
      ASSERT_EQ(r.order, std::vector<long>(tm.mpidx.data(), tm.mpidx.data() + r.n)) << where;
      ASSERT_EQ(report, console.take()) << where;
    }
  }
};

TEST_F(Sammon, EpochsAreThoseOfThePlainLoop) {
  for (const double w : {0.0, 0.5, 1.0}) {
    for (const long clusters : {1L, 3L}) {
      prepare_mapping(67, 3, 2, 4, w, clusters);
      ASSERT_EQ(clusters, tm.ncomp());
      ReferenceEpochs r = reference(w);
      r.shuffled = clusters == 1;
      compare(r);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(Sammon, SizesRoundTheLanesAndBlocksOfTheKernels) {
  for (const auto& [n, p] :
       {std::pair{1L, 2L}, {2L, 1L}, {7L, 8L}, {8L, 9L}, {9L, 17L}, {256L, 1L}, {261L, 3L}}) {
    prepare_mapping(n, 2, p, 0, 0.0);
    compare(reference(0.0));
    if (HasFatalFailure()) return;
  }
}

TEST_F(Sammon, CoincidentImagesAndPrototypesDoNotCount) {
  MatFullD points;
  test::fill(points, {{0, 0}, {0, 0}, {1, 0}, {0, 1}, {1, 1}, {1, 1}, {2, 0}, {2, 1}, {0, 2}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  test::fill(tm.mprot, {{0, 0}, {3, 1}, {1, 1}, {1, 1}, {1, 1}, {2, 2}, {0, 0}, {0.5, 0}, {0, 0}});
  compare(reference(0.0));
}

TEST_F(Sammon, AStartAtOneSpotNeverMoves) {
  prepare(20, 3, 3, 1.0);
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  ASSERT_EQ(1, tm.sammon_itr(0.5, 0.0));
  ASSERT_EQ(1, tm.sammon_itr(0.5, 1.0));
  EXPECT_EQ(Rows(20, {0.0, 0.0}), rows_of(tm.mprot));
}

TEST_F(Sammon, TwoPrototypesMoveAsComputedByHand) {
  // Distance 2, images 1 apart on the first axis. With c = (D - d) / (D d) the slope of that axis is c - 1/d
  // = -1/D.
  MatFullD points;
  test::fill(points, {{0, 0}, {2, 0}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  tm.setkey("tgswap_p", 0);
  tm.mprot(1, 0) = 1;
  ASSERT_EQ(1, tm.sammon_itr(0.5, 0));
  EXPECT_NEAR(1.5, tm.mprot(1, 0), 1e-15);
  EXPECT_NEAR(-0.25, tm.mprot(0, 0), 1e-15);
  // The true distance: c = 0, and the second axis has no slope at all.
  test::fill(tm.mprot, {{0, 5}, {2, 5}});
  ASSERT_EQ(1, tm.sammon_itr(0.5, 0));
  EXPECT_EQ((Rows{{0, 5}, {2, 5}}), rows_of(tm.mprot));
}

TEST_F(Sammon, OtherDistanceClassesMeasureTheImagesToo) {
  MatFullD::miex = 1.0;
  prepare_mapping(30, 3, 2, 0, 0.0);
  tm.setkey("tgswap_p", 0);
  Rows y = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.sammon_itr(0.5, 1));
  for (std::size_t i = 30; i-- > 0;) {
    for (std::size_t j = 0; j < 30; ++j) {
      if (j == i) continue;
      const double to = std::fabs(y[i][0] - y[j][0]) + std::fabs(y[i][1] - y[j][1]);
      const double from = tm.prot.sdas(static_cast<long>(i), static_cast<long>(j), no_bound);
      for (std::size_t k = 0; k < 2; ++k) y[j][k] += (y[j][k] - y[i][k]) * 0.5 * (from - to) / (to * from);
    }
  }
  for (std::size_t i = 0; i < 30; ++i) {
    for (std::size_t k = 0; k < 2; ++k)
      EXPECT_NEAR(y[i][k], tm.mprot(static_cast<long>(i), static_cast<long>(k)), 1e-11);
  }
}

TEST_F(Sammon, ParametersOutOfRangeEndTheRunAndKeepTheMapping) {
  prepare_mapping(10, 2, 2, 0, 0.0);
  const Rows before = rows_of(tm.mprot);
  for (const double bad : {-0.1, 1.1, no_bound, std::nan("")}) {
    EXPECT_EQ(0, tm.sammon_itr(bad, 0.0));
    EXPECT_EQ("ToMapp.sammon_itr: anow not parametric\n", console.take()) << bad;
    EXPECT_EQ(0, tm.sammon_itr(0.5, bad));
    EXPECT_EQ("ToMapp.sammon_itr: snow not parametric\n", console.take()) << bad;
  }
  EXPECT_EQ(before, rows_of(tm.mprot));
  MatParaD sched;
  test::fill(sched, {{0.5, 0}, {0.5, 1.5}, {0.5, 0}});
  EXPECT_EQ(1, tm.sammon(2, sched));
  EXPECT_EQ("ToMapp.sammon_itr: snow not parametric\n", console.take());
  EXPECT_STREQ("Sammon's Nonlinear Mapping", tm.getmname());
}

TEST_F(Sammon, SchedulesThatDoNotFitAreRefusedBeforeTheFirstEpoch) {
  prepare(10, 2, 0, 0.0);
  for (const Rows& rows : {Rows{{0.5}, {0.4}}, Rows{{0.5, 0}, {-0.1, 0}}, Rows{{0.5, 0}, {0.5, -1}}}) {
    MatParaD sched;
    test::fill(sched, rows);
    EXPECT_EQ(0, tm.sammon(2, sched));
    EXPECT_EQ("ToMapp.sammon: as not parametric\n", console.take());
    EXPECT_EQ(1, tm.done(ToMapp::minidone));
    EXPECT_EQ(0, tm.done(ToMapp::mfindone));
  }
  MatParaD good;
  test::fill(good, {{0.5, 0}});
  ASSERT_EQ(1, tm.sammon(2, good));
  EXPECT_EQ(0, tm.sammon(0, good)) << "no dimension";
  EXPECT_EQ(1, tm.done(ToMapp::mfindone)) << "which leaves the states alone";
}

TEST_F(Sammon, AMappingOfOtherPrototypesIsNotUsed) {
  prepare_mapping(10, 2, 2, 0, 0.0);
  MatFullD points;
  test::uniform_points(points, 12, 2, 5);
  prototypes(tm, points, 0);
  tm.setkey("vgkeep_p", 1);
  MatParaD sched;
  test::fill(sched, {{0.5, 0}});
  EXPECT_EQ(0, tm.sammon(2, sched));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  EXPECT_EQ(0, tm.sammon_itr(0.5, 0));
}

TEST_F(Sammon, TheStochasticShareCountsOneEpochMore) {
  prepare(10, 2, 0, 0.0);
  tm.setkey("tsmepoq ", 4);
  tm.setkey("vgerrors", 1);
  const struct {
    double share;
    const char* passes;
  } cases[] = {{0, "nnnn"}, {0.1, "nnnn"}, {0.125, "yynn"}, {0.5, "yyyn"}, {0.75, "yyyy"}, {1, "yyyy"}};
  for (const auto& c : cases) {
    tm.setkey("tsmstoch", c.share);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, tm.sammon(2, static_cast<const char*>(nullptr)));
    const std::string text = console.take();
    std::string passes;
    for (std::size_t at = text.find(" s="); at != std::string::npos; at = text.find(" s=", at + 1))
      passes += text[at + 3];
    EXPECT_EQ(c.passes, passes) << c.share;
    const std::string begin =
        "ToMapp.sammon: using default parameters\n"
        "ToMapp.dist_ini: distances already computed\n"
        "ToMapp.mapr_ini: initializing projected prototypes ... done!\n"
        "ToMapp.sammon: mapping ... \n";
    EXPECT_EQ(begin, text.substr(0, begin.size()));
    for (const char* part :
         {" E= ", " a= 0.500 s=", " a= 0.200 s=", "\nToMapp.mapr_fin: checking links ... done!\n"}) {
      EXPECT_NE(std::string::npos, text.find(part)) << text;
    }
  }
}

TEST_F(Sammon, TakesTheFileThenTheDefaultFileThenTheKeys) {
  prepare(10, 2, 0, 0.0);
  const test::WorkingDirectory directory;
  tm.setkey("tsmepoq ", 4);
  tm.verbose = 1;
  const struct {
    bool given, has_file, has_default;
    const char* last;
  } cases[] = {{true, true, true, "loop 2/2 "},
               {true, false, true, "loop 3/3 "},
               {true, false, false, "loop 4/4 "},
               {false, true, true, "loop 4/4 "}};
  for (const auto& c : cases) {
    std::filesystem::remove("own.sched");
    std::filesystem::remove("default.smp");
    if (c.has_file) test::write_schedule("own.sched", 2);
    if (c.has_default) test::write_schedule("default.smp", 3);
    console.take();
    ASSERT_EQ(1, tm.sammon(2, c.given ? "own.sched" : nullptr));
    const std::string text = console.take();
    EXPECT_NE(std::string::npos, text.find(c.last)) << text;
    EXPECT_EQ(c.last[5] == '4', text.find("ToMapp.sammon: using default parameters\n") != std::string::npos)
        << text;
  }
}

TEST_F(Sammon, NewtonPassesReachTheMinimumOfASheet) {
  // Distances of a plane in three dimensions can be kept without loss, from a distorted start too.
  MatFullD points;
  test::uniform_points(points, 60, 2, 4);
  MatFullD sheet(60, 3);
  sheet.setrows(60, 0.0);
  for (long i = 0; i < 60; ++i) {
    sheet(i, 0) = points(i, 0);
    sheet(i, 1) = points(i, 1);
    sheet(i, 2) = points(i, 0) - points(i, 1);
  }
  prototypes(tm, sheet, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  tm.mprot.copy(points);
  EXPECT_GT(tm.mapr_err(), 0.02);
  for (int epoch = 0; epoch < 200; ++epoch) ASSERT_EQ(1, tm.sammon_itr(0.4, 0));
  EXPECT_LT(tm.mapr_err(), 1e-12);
}

TEST_F(Sammon, TheDefaultRunUnrollsASwissRoll) {
  test::OpenMapping mapping;
  test::quantize_swiss_roll(mapping);
  ASSERT_EQ(1, mapping.sammon(2, static_cast<const char*>(nullptr)));
  EXPECT_LE(mapping.mapr_err(), 0.008);
}

}  // namespace
}  // namespace qvtx
