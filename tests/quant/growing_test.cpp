#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

using GrowingTest = ReferenceTest;

TEST_F(GrowingTest, EpochsEqualThePlainLoop) {
  // On a lattice, 1 is a distance between data: a datum at the radius itself is within it.
  for (const double r : {0.2, 1.0, 10.0}) {
    SCOPED_TRACE(r);
    expect_equal_epochs(1, 1, [this, r](int) {
      reference.xn_epoch(r);
      ASSERT_EQ(1, vq.xn_itr(r));
    });
    expect_equal_epochs(1, 3, [this, r](int e) {
      const double a = 0.5 - 0.25 * e;
      reference.nw_epoch(r, a);
      ASSERT_EQ(1, vq.nw_itr(r, a));
      expect_report(" a=%6.3f #prot=%4ld chgd=%6ld", a, reference.nprot(), reference.chgd);
    });
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

TEST_F(GrowingTest, RefusesRadiusRateAndSchedule) {
  MatParaD good, steep, negative;
  fill(good, {{0.5}, {0.1}});
  fill(steep, {{1.5}});
  fill(negative, {{-0.5}});
  EXPECT_EQ(0, vq.xn(1.0)) << "no data";
  EXPECT_EQ(0, vq.nw(1.0, good)) << "no data";
  load_uniform(30, 2);
  for (const double r : {0.0, std::nan("")}) {
    EXPECT_EQ(0, vq.xn(r));
    EXPECT_EQ("VeQuan.xn: arad<=0.0\n", console.take());
    EXPECT_EQ(0, vq.done(VeQuan::pfindone));
    EXPECT_EQ(1, vq.nw(r, good)) << "the single initial prototype is finished";
    EXPECT_EQ("VeQuan.nw_itr: arad<=0.0\n", console.take());
    EXPECT_EQ(1, vq.prot.nrow());
  }
  EXPECT_EQ(1, vq.nw(1.0, steep));
  EXPECT_EQ("VeQuan.ng_itr: anow not parametric\n", console.take());  // shared with neural gas
  EXPECT_EQ(0, vq.nw(1.0, negative));
  EXPECT_EQ("VeQuan.nw: a not parametric\n", console.take());
}

TEST_F(GrowingTest, ScheduleComesFromTheFileThenTheDefaultThenTheKeys) {
  load_uniform(30, 2);
  vq.setkey("vnwepoq ", 4);
  expect_schedule_order(console, vq, "nw", "default.nwp",
                        [this](const char* file) { return vq.nw(0.5, file); });
}

}  // namespace
}  // namespace qvtx::test
