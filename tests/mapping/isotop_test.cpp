// Isotop against a plain loop with predicted draws, its preparation, refusals and the links it keeps.

#include <filesystem>

#include "base/exponential.h"
#include "support/reference_mapping.h"
#include "support/schedule_files.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::ReferenceMapping;
using test::rows_of;
using Rows = ReferenceMapping::Rows;

/// One epoch as plain loops: the winner by comparing all images, the walk over the prototypes sorted anew.
struct ReferenceEpochs : ReferenceMapping {
  using ReferenceMapping::ReferenceMapping;
  bool around_images = false;
  double spacing = 0;          ///< "tdccsfac"
  double longest = 0;          ///< "tdxp"
  std::vector<double> length;  ///< mean link length, 0 without links
  std::vector<double> deviation;
  long dense = 0, sparse = 0, alone = 0;  ///< stimuli by how many images they moved

  double gaussian() {
    const double u1 = draws.uniform();
    const double u2 = draws.uniform();
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.2831853076 * u2);
  }

  std::vector<double> stimulus() {
    std::vector<double> x(axes());
    if (around_images) {
      const std::vector<double>& centre = y[at(draws.index(n))];
      for (std::size_t k = axes(); k-- > 0;) x[k] = centre[k] + gaussian();
      return x;
    }
    for (std::size_t k = axes(); k-- > 0;) x[k] = deviation[k] * gaussian();
    x[0] += 6 * spacing * static_cast<double>(draws.index(1 + *std::max_element(label.begin(), label.end())));
    return x;
  }

  long winner(const std::vector<double>& x) const {
    long best = 0;
    for (long j = 1; j < n; ++j) {
      if (distance(y[at(j)], x) < distance(y[at(best)], x)) best = j;
    }
    return best;
  }

  void pull(long i, const std::vector<double>& x, double weight) {
    for (std::size_t k = 0; k < axes(); ++k) y[at(i)][k] += (x[k] - y[at(i)][k]) * weight;
  }

  void walk(const std::vector<double>& x, double a, double l) {
    const long b = winner(x);
    const double width = length[at(b)] * l * longest;
    if (width == 0) {
      ++alone;
      return pull(b, x, a);
    }
    const std::vector<double>& g = graph[at(b)];
    std::vector<long> order(y.size());
    std::iota(order.begin(), order.end(), 0L);
    std::stable_sort(order.begin(), order.end(), [&](long i, long j) { return g[at(i)] < g[at(j)]; });
    long moved = 0;
    for (const long i : order) {
      if (g[at(i)] < 0) continue;
      const double rho = g[at(i)] / width;
      pull(i, x, fixed_exp(-3.0 * (rho * rho)) * a);
      ++moved;
      if (rho > 1) break;
    }
    ++(2 * moved > n ? dense : sparse);
  }

  void epoch(double a, double l) {
    for (long s = 0; s < n; ++s) walk(stimulus(), a, l);
    separate(6 * spacing);
  }
};

class Isotop : public MappingTest {
 protected:
  Isotop() { tm.setkey("titinm  ", 0); }

  ReferenceEpochs reference(bool around_images, const std::vector<double>& deviation) {
    ReferenceEpochs r(tm);
    r.around_images = around_images;
    r.deviation = deviation;
    r.spacing = tm.real("tdccsfac");
    r.longest = static_cast<double>(tm.getlpref().getval(tm.getlpref().getkey("tdxp")));
    for (long i = 0; i < r.n; ++i) {
      double sum = 0, links = 0;
      for (long k = tm.link.head(i); k >= 0; k = tm.link.next(k, i), ++links) sum += tm.link.getvalue(k, 1);
      r.length.push_back(links > 0 ? sum / links : 0.0);
    }
    return r;
  }

  /// Epochs of decreasing width from the same start with every instruction set.
  void compare(ReferenceEpochs& r) {
    tm.setkey("titmulst", r.around_images ? 1 : 0);
    MatFullD sdev;
    test::fill(sdev, {r.deviation});
    MatFullD start;
    start.copy(tm.mprot);
    const struct {
      double a, l;
      const char* report;
    } epochs[] = {{0.5, 1.0, " a= 0.500 l=  1.00     "},
                  {0.25, 0.25, " a= 0.250 l=  0.25     "},
                  {1.0, 0.05, " a= 1.000 l=  0.05     "},
                  {0.5, 0.0, " a= 0.500 l=  0.00     "}};
    std::string report;
    for (const auto& e : epochs) {
      r.epoch(e.a, e.l);
      report += e.report;
    }
    for (const Isa isa : test::instruction_sets()) {
      set_isa_level(isa);
      setseed(default_seed);
      tm.mprot.copy(start);
      tm.verbose = 1;
      for (const auto& e : epochs) ASSERT_EQ(1, tm.isotop_itr(sdev, e.a, e.l));
      tm.verbose = 0;
      const std::string where = "around images " + std::to_string(r.around_images) + ", n " +
                                std::to_string(r.n) + ", axes " + std::to_string(r.axes()) + ", set " +
                                std::to_string(static_cast<int>(isa));
      ASSERT_EQ(r.y, rows_of(tm.mprot)) << where;
      ASSERT_EQ(report, console.take()) << where;
    }
    tm.mprot.copy(start);
  }
};

TEST_F(Isotop, EpochsAreThoseOfThePlainLoop) {
  for (const bool around_images : {false, true}) {
    for (const long clusters : {1L, 3L}) {
      prepare_mapping(67, 3, 2, 4, 1.0, clusters);
      ASSERT_EQ(clusters, tm.ncomp());
      tm.mapr_rep(6.0);  // commits the spacing
      ReferenceEpochs r = reference(around_images, {1.0, 0.5});
      compare(r);
      if (HasFatalFailure()) return;
      EXPECT_EQ(clusters == 1, r.dense > 0);
      EXPECT_GT(r.sparse, 0);
      EXPECT_EQ(67, r.alone) << "a width factor of 0";
    }
  }
}

TEST_F(Isotop, SizesRoundTheLanesAndBlocksOfTheKernels) {
  for (const auto& [n, p] : {std::pair{2L, 1L}, {8L, 3L}, {9L, 2L}, {256L, 2L}, {263L, 1L}}) {
    prepare_mapping(n, 2, p, 3, 1.0);
    tm.mapr_rep(6.0);
    ReferenceEpochs r = reference(n % 2 == 0, std::vector<double>(static_cast<std::size_t>(p), 1.0));
    compare(r);
    if (HasFatalFailure()) return;
  }
}

TEST_F(Isotop, RowsThatAreNotStoredGiveTheSameMap) {
  for (const double type : {0.0, 2.0}) {
    tm.setkey("tdgdtype", type);
    Rows kept;
    for (const double memory : {2.0, 1.0, 0.0}) {
      tm.setkey("vgmemory", memory);
      prepare_mapping(40, 3, 2, 4, 1.0);
      tm.mapr_rep(6.0);
      ReferenceEpochs r = reference(false, {1.0, 1.0});
      compare(r);
      if (HasFatalFailure()) return;
      if (memory == 2) kept = r.y;
      EXPECT_EQ(kept, r.y) << type << " " << memory;
    }
  }
}

TEST_F(Isotop, AWinnerWithoutLinksMovesAlone) {
  MatFullD points;
  test::uniform_points(points, 12, 2, 3);
  ASSERT_EQ(1, tm.dataload(points, 1));
  tm.setkey("vglink_p", 1);
  tm.setkey("vleeps", 1e-6);
  tm.setkey("tdccsfac", 0);  // else every image is put back to its component's place
  ASSERT_EQ(1, tm.nq());
  ASSERT_EQ(0, tm.link.nlive());
  tm.setkey("tdgb", 1);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  test::uniform_points(tm.mprot, 12, 2, 7);
  tm.mapr_rep(6.0);
  ReferenceEpochs r = reference(false, {1.0, 1.0});
  compare(r);
  EXPECT_EQ(4 * 12, r.alone);
}

TEST_F(Isotop, TiesOfTheWinnerGoToTheLowestNumber) {
  // All images on one spot: prototype 0 wins and takes the others along, by weights that fall along the
  // chain.
  MatFullD points;
  test::fill(points, {{0, 0}, {1, 0}, {2.5, 0}, {4.5, 0}});
  prototypes(tm, points, 1);
  tm.setkey("tdgb", 1);
  tm.setkey("tdccsfac", 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(1, 2));
  tm.mapr_rep(6.0);
  ReferenceEpochs r = reference(false, {1.0});
  compare(r);
}

TEST_F(Isotop, OtherDistanceClassesFindTheWinner) {
  prepare_mapping(30, 3, 2, 4, 1.0);
  tm.mapr_rep(6.0);
  tm.setkey("titmulst", 0);
  MatFullD::miex = 8.0;  // the largest coordinate
  ReferenceEpochs r = reference(false, {1.0, 1.0});
  MatFullD sdev;
  test::fill(sdev, {{1.0, 1.0}});
  ASSERT_EQ(1, tm.isotop_itr(sdev, 0.5, 0.0));
  for (long s = 0; s < r.n; ++s) {
    const std::vector<double> x = r.stimulus();
    const auto largest = [&](long j) {
      return std::max(std::fabs(r.y[r.at(j)][0] - x[0]), std::fabs(r.y[r.at(j)][1] - x[1]));
    };
    long best = 0;
    for (long j = 1; j < r.n; ++j) best = largest(j) < largest(best) ? j : best;
    r.pull(best, x, 0.5);
  }
  r.separate(6 * r.spacing);
  EXPECT_EQ(r.y, rows_of(tm.mprot));
}

TEST_F(Isotop, ItNeedsLinksAndAGraphBalance) {
  const std::string advice = "Modify settings and rerun quantization step.\n";
  const struct {
    long links;
    double balance;
    const char* text;
  } cases[] = {{0, 1.0, "There are no links!\n"}, {3, 0.0, "Space/graph distances balance is zero!\n"}};
  for (const auto& c : cases) {
    prepare_mapping(10, 2, 2, c.links, 0.5);
    ASSERT_EQ(1, tm.mapr_fin("kept"));
    const Rows before = rows_of(tm.mprot);
    tm.setkey("tdgb", c.balance);
    for (const long verbose : {0L, 1L}) {
      tm.verbose = verbose;
      console.take();
      MatParaD sched;
      test::fill(sched, {{0.5, 0.5}});
      EXPECT_EQ(0, tm.isotop(2, sched));
      EXPECT_EQ(verbose ? c.text + advice : "", console.take());
    }
    tm.verbose = 0;
    EXPECT_EQ(1, tm.done(ToMapp::mfindone));
    EXPECT_STREQ("kept", tm.getmname());
    EXPECT_EQ(before, rows_of(tm.mprot));
  }
}

TEST_F(Isotop, AChangedBalanceIsMeasured) {
  prepare(30, 3, 4, 0.5);
  const double before = tm.real("tdxm");
  tm.setkey("tdgb", 1.0);
  MatFullD sdev;
  ASSERT_EQ(1, tm.isotop_ini(sdev, 2));
  EXPECT_NE(before, tm.real("tdxm"));
  EXPECT_EQ(tm.real("tdxg"), tm.real("tdxm"));
}

TEST_F(Isotop, DeviationsFollowThePrincipalComponents) {
  // Axes of variance 1, 16 and 4, up to a common factor.
  MatFullD points(8, 3);
  points.setrows(8, 0.0);
  for (long i = 0; i < 8; ++i) {
    points(i, 0) = i & 1 ? 1 : -1;
    points(i, 1) = i & 2 ? 4 : -4;
    points(i, 2) = i & 4 ? 2 : -2;
  }
  const struct {
    bool shaped;
    long dim;
    std::vector<double> deviations;
  } cases[] = {
      {false, 2, {1, 1}}, {true, 1, {1}}, {true, 3, {1, 0.5, 0.25}}, {true, 5, {1, 0.5, 0.25, 0, 0}}};
  prototypes(tm, points, 3);
  for (const auto& c : cases) {
    tm.setkey("titpcast", c.shaped);
    MatFullD sdev;
    ASSERT_EQ(1, tm.isotop_ini(sdev, c.dim));
    ASSERT_EQ(1, sdev.nrow());
    ASSERT_EQ(c.dim, sdev.ncol());
    for (long k = 0; k < c.dim; ++k)
      EXPECT_NEAR(c.deviations[static_cast<std::size_t>(k)], sdev(0, k), 1e-12);
  }
  // One spot has no shape.
  MatFullD spot(4, 3), sdev;
  spot.setrows(4, 1.0);
  prototypes(tm, spot, 2);
  ASSERT_EQ(1, tm.isotop_ini(sdev, 2));
  EXPECT_EQ((Rows{{1, 1}}), rows_of(sdev));
}

TEST_F(Isotop, AKeptMappingOfOtherDimensionGoesOn) {
  prepare_mapping(20, 3, 3, 4, 1.0);
  tm.setkey("vgkeep_p", 1);
  MatParaD sched;
  test::fill(sched, {{0.5, 0.5}});
  ASSERT_EQ(1, tm.isotop(2, sched));
  EXPECT_EQ(3, tm.mprot.ncol());
  EXPECT_STREQ("Isotop", tm.getmname());
}

TEST_F(Isotop, ParametersOutOfRangeEndTheRunAndKeepTheMapping) {
  prepare_mapping(10, 2, 2, 3, 1.0);
  const Rows before = rows_of(tm.mprot);
  MatFullD sdev;
  test::fill(sdev, {{1.0, 1.0}});
  for (const double bad : {-0.1, 1.1, no_bound, std::nan("")}) {
    EXPECT_EQ(0, tm.isotop_itr(sdev, bad, 0.5));
    EXPECT_EQ("ToMapp.isotop_itr: anow not parametric\n", console.take()) << bad;
    EXPECT_EQ(0, tm.isotop_itr(sdev, 0.5, bad));
    EXPECT_EQ("ToMapp.isotop_itr: lnow not parametric\n", console.take()) << bad;
  }
  EXPECT_EQ(before, rows_of(tm.mprot));
}

TEST_F(Isotop, SchedulesThatDoNotFitAreRefusedBeforeTheFirstEpoch) {
  prepare(10, 2, 3, 1.0);
  for (const Rows& rows : {Rows{{0.5}, {0.4}}, Rows{{0.5, 1}, {-0.1, 1}}, Rows{{0.5, 1}, {0.5, -1}}}) {
    MatParaD sched;
    test::fill(sched, rows);
    EXPECT_EQ(0, tm.isotop(2, sched));
    EXPECT_EQ("ToMapp.isotop: al not parametric\n", console.take());
    EXPECT_EQ(1, tm.done(ToMapp::minidone));
    EXPECT_EQ(0, tm.done(ToMapp::mfindone));
  }
  MatParaD good;
  test::fill(good, {{0.5, 1}});
  ASSERT_EQ(1, tm.isotop(2, good));
  MatFullD sdev;
  EXPECT_EQ(0, tm.isotop(0, good)) << "no dimension";
  EXPECT_EQ(0, tm.isotop_ini(sdev, 0));
  EXPECT_EQ(1, tm.done(ToMapp::mfindone)) << "which leaves the states alone";
}

TEST_F(Isotop, ReportsItsEpochs) {
  prepare(10, 2, 3, 1.0);
  tm.setkey("vgerrors", 1);
  tm.setkey("titepoq ", 2);
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.isotop(2, static_cast<const char*>(nullptr)));
  const std::string text = console.take();
  const std::string begin =
      "ToMapp.isotop: using default parameters\n"
      "ToMapp.dist_ini: distances already computed\n"
      "ToMapp.mapr_ini: initializing projected prototypes ... done!\n"
      "ToMapp.isotop: stimulation standard deviations:\n"
      "  1.000000\t  1.000000\t\n"
      "ToMapp.isotop: mapping ... \n";
  EXPECT_EQ(begin, text.substr(0, begin.size()));
  for (const char* part : {" E= ", " a= 0.500 l=  1.00     ", " a= 0.010 l=  0.10     ",
                           "\nToMapp.mapr_fin: linking ... done!\n"}) {
    EXPECT_NE(std::string::npos, text.find(part)) << text;
  }
}

TEST_F(Isotop, TakesTheFileThenTheDefaultFileThenTheKeys) {
  prepare(10, 2, 3, 1.0);
  const test::WorkingDirectory directory;
  tm.setkey("titepoq ", 4);
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
    std::filesystem::remove("default.cmp");
    if (c.has_file) test::write_schedule("own.sched", 2);
    if (c.has_default) test::write_schedule("default.cmp", 3);
    console.take();
    ASSERT_EQ(1, tm.isotop(2, c.given ? "own.sched" : nullptr));
    const std::string text = console.take();
    EXPECT_NE(std::string::npos, text.find(c.last)) << text;
    EXPECT_EQ(c.last[5] == '4', text.find("ToMapp.isotop: using default parameters\n") != std::string::npos)
        << text;
  }
}

TEST_F(Isotop, TheDefaultRunKeepsTheLinksOfASwissRoll) {
  test::OpenMapping mapping;
  test::quantize_swiss_roll(mapping);
  ASSERT_EQ(1, mapping.isotop(2, static_cast<const char*>(nullptr)));
  EXPECT_LE(mapping.mapr_err(1), 0.16);
}

}  // namespace
}  // namespace qvtx
