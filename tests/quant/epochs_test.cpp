// The epochs of the iterative methods against plain loops, bit for bit, and what the methods reach.

#include "base/istr.h"
#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using EpochTest = ReferenceTest;

TEST_F(EpochTest, KMeans) {
  for (const long n : {20L, 1L}) {
    expect_equal_epochs(n, 5, [this](int) {
      EXPECT_EQ(reference.lbg_epoch(10), vq.lbg_itr(10));
      expect_report(" lost=%3ld chgd=%6ld", reference.lost, reference.chgd);
    });
  }
}

TEST_F(EpochTest, DynamicKMeans) {
  expect_equal_epochs(2, 6, [this](int e) {
    const double r = e % 2 == 0 ? 0.3 : -0.3;  // the sign does not count
    EXPECT_EQ(reference.dlbg_epoch(r, 10), vq.dlbg_itr(r, 10));
    expect_report(" #prot= %4ld lost=%3ld chgd=%6ld", reference.nprot(), reference.lost, reference.chgd);
  });
}

TEST_F(EpochTest, CompetitiveLearning) {
  const double rates[] = {0.5, 0.3, 0.1, 0.0, 1.0};
  for (const long n : {20L, 1L}) {
    expect_equal_epochs(n, 5, [&](int e) {
      reference.cl_epoch(rates[e]);
      ASSERT_EQ(1, vq.cl_itr(rates[e]));
      expect_report(" a=%6.3f lost=%3ld chgd=%6ld", rates[e], reference.lost, reference.chgd);
    });
  }
}

TEST_F(EpochTest, FastCompetitiveLearning) {
  for (const int fast : {0, 1}) {
    long shortcuts = 0, errors = 0;
    expect_equal_epochs(20, 25, [&](int e) {
      const double a = e < 15 ? 0.9 : 0.1;  // large steps make some shortcuts wrong
      reference.fcl_epoch(a, fast != 0);
      ASSERT_EQ(1, vq.fcl_itr(a, fast));
      const float rate = 100.0F * static_cast<float>(reference.errors) /
                         static_cast<float>(std::max(reference.shortcuts, 1L));
      expect_report(" a=%6.3f lost=%3ld chgd=%6ld %%err=%6.2f #shc=%ld", a, reference.lost, reference.chgd,
                    static_cast<double>(rate), reference.shortcuts);
      shortcuts += reference.shortcuts;
      errors += reference.errors;
    });
    EXPECT_LT(0, shortcuts);
    EXPECT_EQ(fast == 0, errors > 0);
  }
}

TEST_F(EpochTest, GrowingMethods) {
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

TEST_F(EpochTest, NeuralGas) {
  // The widths reach all prototypes, stop on a rank, on a rank in single precision only, below rank 1,
  // between.
  const double widths[] = {100.0, 4.0, 1.0, 0.33333333, 0.2, 0.0, 2.4};
  for (const long n : {25L, 2L, 1L}) {
    expect_equal_epochs(n, 7, [&](int e) {
      const double a = 0.5, l = widths[e];  // dyadic, so that lattices keep their ties for a while
      reference.ng_epoch(a, l);
      ASSERT_EQ(1, vq.ng_itr(a, l));
      expect_report(" a=%6.3f l=%6.3f lost=%3ld chgd=%6ld adap=%ld", a, l, reference.lost, reference.chgd,
                    reference.adapted);
    });
  }
}

TEST_F(EpochTest, HugeAndUndefinedNumbersTakeThePlainWay) {
  load({{1e151, 0.0}, {-1e151, 1.0}, {0.0, 2.0}, {1.0, 3.0}});
  ASSERT_EQ(1, vq.prot_ini(0, 4));
  vq.prot(3, 1) = std::nan("");
  MatFullL plain;
  plain.setrows(4);
  for (long i = 0; i < 4; ++i) plain(i, 0) = vq.prot.nearest(vq.dat, i, no_bound);
  vq.lbg_itr(0);
  EXPECT_EQ(rows_of(plain), rows_of(vq.bmu));
  ASSERT_EQ(1, vq.prot_ini(3, 0));
  EXPECT_EQ(1, vq.ng_itr(0.5, 2.0));
  EXPECT_EQ(3, vq.prot.nrow());
}

TEST_F(EpochTest, KMeansStopsAtItsLimits) {
  vq.setkey("vgcent_p", 0);
  vq.setkey("vlbginp", 0);
  for (const long most : {1L, 2L, 3L, 4L, 5L, 6L, 7L, 8L}) {
    start({.name = "", .ndata = 60, .dim = 2, .n = 5});
    vq.setkey("vlbgitr", 50);
    vq.setkey("vlbgxch", (static_cast<double>(most) - 0.4) / 60.0);  // changed data, rounded
    ASSERT_EQ(1, vq.lbg(5));
    reference.init(5, 0);
    while (reference.lbg_epoch(most)) {
    }
    EXPECT_EQ(reference.prot, rows_of(vq.prot)) << most;
  }
  EXPECT_STREQ("LBG", vq.getmethod());
  for (const long limit : {0L, 2L}) {
    vq.setkey("vlbgitr", static_cast<double>(limit));
    ASSERT_EQ(1, vq.lbg(5));
    const long presentations = vq.bmucnt(0, 0) + vq.bmucnt(0, 1);
    EXPECT_EQ(std::max(limit, 1L), presentations) << "one epoch at least";
  }
  start({.name = "", .ndata = 40, .n = 40});
  EXPECT_FALSE(vq.lbg_itr(-1)) << "every datum finds itself: 40 changes are not above 40";
  start({.name = "", .ndata = 40, .n = 39});
  EXPECT_TRUE(vq.lbg_itr(-1));
}

TEST_F(EpochTest, DynamicKMeansFitsTheCellsToTheRadius) {
  load_uniform(300, 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.dlbg(0.2));
  EXPECT_STREQ("dLBG", vq.getmethod());
  for (long k = 0; k < vq.prot.nrow(); ++k) {
    double sum = 0.0;
    for (long i = 0; i < 300; ++i) sum += vq.bmu(i, 0) == k ? vq.prot.sdas(k, vq.dat, i, no_bound) : 0.0;
    EXPECT_LE(sum, 0.2 * static_cast<double>(vq.hits(k, 0)) * (1.0 + 1e-9));
  }
  ASSERT_EQ(1, vq.dlbg(10.0));
  EXPECT_EQ(2, vq.prot.nrow());
}

TEST_F(EpochTest, FastFlagIsAskedFor) {
  load_uniform(200, 1);
  MatParaD sched;
  fill(sched, Rows(14, {0.9}));
  vq.verbose = 1;
  const Istr before = is;
  for (const auto& [answer, fast] : {std::pair("1\n", true), {"0\n", false}, {"-3\n", true}, {"", false}}) {
    std::istringstream in(answer);
    is = Istr(in);
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(1, vq.fcl(8, sched));
    EXPECT_EQ("VeQuan.fcl: fast? [0|1] \n", ::testing::internal::GetCapturedStderr()) << answer;
    EXPECT_STREQ("Freq.sens. CL", vq.getmethod());
    // Only the search that the fast flag skips can tell a wrong shortcut.
    const std::string text = console.take();
    long clean = 0;
    for (std::size_t at = 0; (at = text.find("%err=  0.00", at)) != std::string::npos; ++at) ++clean;
    EXPECT_EQ(fast, clean == 14) << answer;
  }
  is = before;
}

}  // namespace
}  // namespace qvtx::test
