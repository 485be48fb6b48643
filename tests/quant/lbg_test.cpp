#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using LbgTest = ReferenceTest;

TEST_F(LbgTest, EpochsEqualThePlainLoop) {
  for (const long n : {20L, 1L}) {
    expect_equal_epochs(n, 5, [this](int) {
      EXPECT_EQ(reference.lbg_epoch(10), vq.lbg_itr(10));
      expect_report(" lost=%3ld chgd=%6ld", reference.lost, reference.chgd);
    });
  }
}

TEST_F(LbgTest, DriverStopsAtTheRatio) {
  start({.name = "", .ndata = 60, .dim = 2, .n = 5});
  vq.setkey("vlbgitr ", 50);
  vq.setkey("vlbgxch ", 0.025);  // 1.5 data, rounded to 2
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.lbg(5));
  reference.init(5, 0);
  int epochs = 1;
  while (reference.lbg_epoch(2)) ++epochs;
  ASSERT_LT(epochs, 50);
  EXPECT_EQ(reference.prot, rows_of(vq.prot));
  EXPECT_STREQ("LBG", vq.getmethod());
  vq.setkey("vlbgitr ", 0);
  ASSERT_EQ(1, vq.lbg(5));
  EXPECT_EQ(1, vq.bmucnt(0, 0) + vq.bmucnt(0, 1)) << "one epoch at least";
}

TEST_F(LbgTest, ErrorNeverRisesWithoutReplacement) {
  load_uniform(400, 4);
  vq.setkey("vgrepl_p", 0);
  ASSERT_EQ(1, vq.prot_ini(25, 0));
  double before = vq.prot_err();
  for (bool on = true; on;) {
    on = vq.lbg_itr(0);
    const double after = vq.prot_err();
    EXPECT_LE(after, before * (1.0 + 1e-12));
    before = after;
  }
}

TEST_F(LbgTest, NegativeLimitStandsForTheNumberOfPrototypes) {
  start({.name = "", .ndata = 40, .n = 40});
  EXPECT_FALSE(vq.lbg_itr(-1));  // every datum finds itself: 40 changes are not above 40
  start({.name = "", .ndata = 40, .n = 39});
  EXPECT_TRUE(vq.lbg_itr(-1));
}

TEST_F(LbgTest, HugeAndUndefinedNumbersTakeThePlainWay) {
  load({{1e200, 0.0}, {-1e200, 1.0}, {0.0, 2.0}, {1.0, std::nan("")}});
  ASSERT_EQ(1, vq.prot_ini(0, 4));
  MatFullL plain;
  plain.setrows(4);
  for (long i = 0; i < 4; ++i) plain(i, 0) = vq.prot.nearest(vq.dat, i, no_bound);
  vq.lbg_itr(0);
  EXPECT_EQ(rows_of(plain), rows_of(vq.bmu));
}

TEST_F(LbgTest, RefusesWithoutDataOrPrototypes) {
  EXPECT_EQ(0, vq.lbg(5));
  load_uniform(20, 2);
  EXPECT_EQ(0, vq.lbg(0));
  EXPECT_EQ(0, vq.done(VeQuan::pfindone));
}

}  // namespace
}  // namespace qvtx::test
