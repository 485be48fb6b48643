#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

class GrowingTest : public ReferenceTest {
 protected:
  static std::vector<Case> cases() {
    return {
        {.name = "uniform", .n = 1},
        {.name = "in order", .n = 1, .shuffled = false},
        {.name = "lattice with ties", .lattice = true, .n = 1},
        {.name = "one column", .dim = 1, .n = 2},
        {.name = "city block", .dim = 2, .n = 1, .p = 1.0},
        {.name = "cubes", .n = 1, .p = 3.0},
        {.name = "largest coordinate", .lattice = true, .n = 1, .p = 8.0},
    };
  }
};

TEST_F(GrowingTest, ExinEqualsThePlainLoop) {
  for (const Case& c : cases()) {
    // On a lattice, 1 is a distance between data: a datum at the radius itself is within it.
    for (const double r : {0.2, 1.0, 10.0}) {
      SCOPED_TRACE(::testing::Message() << c.name << ", radius " << r);
      start(c);
      reference.xn_epoch(r);
      ASSERT_EQ(1, vq.xn_itr(r));
      expect_same();
    }
  }
}

TEST_F(GrowingTest, NeuralWaterEqualsThePlainLoop) {
  for (const Case& c : cases()) {
    for (const double r : {0.2, 1.0}) {
      SCOPED_TRACE(::testing::Message() << c.name << ", radius " << r);
      start(c);
      vq.verbose = 1;
      console.take();
      for (const double a : {0.5, 0.25, 0.0}) {
        const double step = c.p == 1.0 ? a / 4.0 : a;
        reference.nw_epoch(r, step);
        ASSERT_EQ(1, vq.nw_itr(r, step));
        expect_same();
        expect_report(" a=%6.3f #prot=%4ld chgd=%6ld", step, reference.nprot(), reference.chgd);
      }
      vq.verbose = 0;
      os.fresh();
    }
  }
}

TEST_F(GrowingTest, RadiusMarginDecidesWhetherADatumIsAPrototype) {
  // The search admits squared distances up to 1.001 times the squared radius.
  for (const auto& [x, n] : {std::pair(1.0004, 1L), std::pair(1.0006, 2L)}) {
    load({{0.0}, {x}});
    vq.setkey("vgswap_d", 0);
    ASSERT_EQ(1, vq.prot_ini(1, 3));
    ASSERT_EQ(1, vq.nw_itr(1.0, 0.0));
    EXPECT_EQ(n, vq.prot.nrow());
  }
}

TEST_F(GrowingTest, WideRadiusGivesTheMeanOfTheData) {
  load_uniform(100, 3);
  EXPECT_EQ(0, vq.xn(100.0)) << "its result is no success";
  ASSERT_EQ(1, vq.prot.nrow());
  EXPECT_EQ(1, vq.done(VeQuan::pfindone));
  EXPECT_STREQ("EXIN PLN", vq.getmethod());
  for (long j = 0; j < 3; ++j) EXPECT_NEAR(vq.dat.sum(j, 0) / 100.0, vq.prot(0, j), 1e-13);
}

TEST_F(GrowingTest, NarrowRadiusMakesEveryDatumAPrototype) {
  load_uniform(60, 2);
  MatParaD sched;
  fill(sched, {{0.0}});
  ASSERT_EQ(1, vq.nw(1e-9, sched));
  EXPECT_STREQ("Neural Water", vq.getmethod());
  auto data = rows_of(vq.dat);
  auto prototypes = rows_of(vq.prot);
  std::sort(data.begin(), data.end());
  std::sort(prototypes.begin(), prototypes.end());
  EXPECT_EQ(data, prototypes);
}

TEST_F(GrowingTest, RefusesRadiusRateAndSchedule) {
  load_uniform(30, 2);
  for (const double r : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(0, vq.xn(r));
    EXPECT_EQ("VeQuan.xn: arad<=0.0\n", console.take());
    EXPECT_EQ(0, vq.done(VeQuan::pfindone));
    MatParaD sched;
    fill(sched, {{0.5}, {0.1}});
    EXPECT_EQ(1, vq.nw(r, sched)) << "the single initial prototype is finished";
    EXPECT_EQ("VeQuan.nw_itr: arad<=0.0\n", console.take());
    EXPECT_EQ(1, vq.prot.nrow());
  }
  MatParaD sched;
  fill(sched, {{1.5}});
  EXPECT_EQ(1, vq.nw(1.0, sched));
  EXPECT_EQ("VeQuan.ng_itr: anow not parametric\n", console.take());  // shared with neural gas
  fill(sched, {{-0.5}});
  EXPECT_EQ(0, vq.nw(1.0, sched));
  EXPECT_EQ("VeQuan.nw: a not parametric\n", console.take());
}

TEST_F(GrowingTest, RefusesWithoutData) {
  EXPECT_EQ(0, vq.xn(1.0));
  EXPECT_EQ(0, vq.nw(1.0, nullptr));
  EXPECT_EQ(0, vq.done(VeQuan::pinidone));
}

TEST_F(GrowingTest, ExinReportsItsStart) {
  load_uniform(30, 2);
  vq.verbose = 1;
  console.take();
  vq.xn(1.0);
  const std::string text = console.take();
  EXPECT_EQ(0U, text.find("VeQuan.prot_ini: initializing prototypes ... done!\nVeQuan.xn: quantizing ... \n"
                          "VeQuan.prot_fin: "))
      << text;
}

TEST_F(GrowingTest, ScheduleComesFromTheFileThenTheDefaultThenTheKeys) {
  load_uniform(30, 2);
  vq.setkey("vnwepoq ", 4);
  expect_schedule_order(console, vq, "nw", "default.nwp",
                        [this](const char* file) { return vq.nw(0.5, file); });
}

}  // namespace
}  // namespace qvtx::test
