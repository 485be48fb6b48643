#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using LbgTest = ReferenceTest;

TEST_F(LbgTest, EpochsEqualThePlainLoop) {
  const Case cases[] = {
      {.name = "uniform"},
      {.name = "lattice with ties", .lattice = true, .n = 30},
      {.name = "random start leaves dead prototypes", .n = 40, .how = 1, .dead_below = 2},
      {.name = "dead prototypes stay zero", .dim = 2, .n = 50, .how = 1, .replace = false},
      {.name = "one column", .dim = 1, .n = 9},
      {.name = "one prototype", .n = 1},
      {.name = "more prototypes than data", .ndata = 11, .n = 30},
      {.name = "all prototypes zero", .n = 8, .how = 3},
      {.name = "city block", .n = 17, .p = 1.0},
      {.name = "cubes", .n = 17, .p = 3.0},
      {.name = "largest coordinate", .lattice = true, .n = 17, .p = 8.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    start(c);
    vq.verbose = 1;
    console.take();
    for (int e = 0; e < 5; ++e) {
      EXPECT_EQ(reference.lbg_epoch(10), vq.lbg_itr(10));
      expect_same();
      expect_report(" lost=%3ld chgd=%6ld", reference.lost, reference.chgd);
    }
    vq.verbose = 0;
    os.fresh();
  }
}

TEST_F(LbgTest, DriverPrintsEveryEpochAndStopsAtTheRatio) {
  start({.name = "", .ndata = 60, .dim = 2, .n = 5});
  vq.setkey("vlbgitr ", 50);
  vq.setkey("vlbgxch ", 0.025);  // 1.5 data, rounded to 2
  vq.setkey("vgcent_p", 0);
  vq.setkey("vgerrors", 1);
  vq.verbose = 1;
  ASSERT_EQ(1, vq.lbg(5));

  reference.init(5, 0);
  std::string expected = "VeQuan.prot_ini: initializing prototypes ... done!\nVeQuan.lbg: quantizing ... \n";
  char line[120];
  for (int e = 1;; ++e) {
    const double error = reference.error();
    const bool on = reference.lbg_epoch(2);
    std::snprintf(line, sizeof line, "loop %2d/50  mE=%7.4f lost=%3ld chgd=%6ld\n", e, error, reference.lost,
                  reference.chgd);
    expected += line;
    if (!on) break;
    ASSERT_LT(e, 50);
  }
  const std::string printed = console.take();
  EXPECT_EQ(expected, printed.substr(0, expected.size()));
  EXPECT_EQ(0U, printed.substr(expected.size()).rfind("VeQuan.prot_fin: ", 0));
  EXPECT_EQ(reference.prot, rows_of(vq.prot));
  EXPECT_STREQ("LBG", vq.getmethod());
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

TEST_F(LbgTest, IterationCountBelowOneRunsOneEpoch) {
  load_uniform(80, 2);
  for (long itmax : {0, 1}) {
    SCOPED_TRACE(itmax);
    vq.setkey("vlbgitr ", static_cast<double>(itmax));
    ASSERT_EQ(1, vq.lbg(6));
    EXPECT_EQ(1, vq.bmucnt(0, 0) + vq.bmucnt(0, 1));
  }
}

TEST_F(LbgTest, NegativeLimitStandsForTheNumberOfPrototypes) {
  start({.name = "", .ndata = 40, .n = 40, .how = 4});
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

TEST_F(LbgTest, EpochWithoutPrototypesCreatesOne) {
  load({{1.0}, {3.0}});
  vq.setkey("vgrepl_p", 0);
  ASSERT_EQ(1, vq.prot_ini(0, 0));
  EXPECT_TRUE(vq.lbg_itr(0));
  ASSERT_EQ(1, vq.prot.nrow());
  EXPECT_EQ(2.0, vq.prot(0, 0));
}

TEST_F(LbgTest, RefusesWithoutDataOrPrototypes) {
  EXPECT_EQ(0, vq.lbg(5));
  load_uniform(20, 2);
  EXPECT_EQ(0, vq.lbg(0));
  EXPECT_EQ(0, vq.done(VeQuan::pfindone));
}

}  // namespace
}  // namespace qvtx::test
