#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using DlbgTest = ReferenceTest;

TEST_F(DlbgTest, EpochsEqualThePlainLoop) {
  const Case cases[] = {
      {.name = "uniform", .n = 2},
      {.name = "in order", .n = 2, .shuffled = false},
      {.name = "lattice with ties", .lattice = true, .n = 2},
      {.name = "no replacement", .n = 2, .replace = false},
      {.name = "one column", .dim = 1, .n = 3},
      {.name = "cubes", .n = 2, .p = 3.0},
      {.name = "largest coordinate", .n = 2, .p = 9.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    start(c);
    vq.verbose = 1;
    console.take();
    for (int e = 0; e < 6; ++e) {
      const double r = e % 2 == 0 ? 0.3 : -0.3;  // the sign does not count
      EXPECT_EQ(reference.dlbg_epoch(r, 10), vq.dlbg_itr(r, 10));
      expect_same();
      expect_report(" #prot= %4ld lost=%3ld chgd=%6ld", reference.nprot(), reference.lost, reference.chgd);
    }
    vq.verbose = 0;
    os.fresh();
  }
}

TEST_F(DlbgTest, WideRadiusKeepsTwoPrototypes) {
  load_uniform(100, 3);
  ASSERT_EQ(1, vq.dlbg(10.0));
  EXPECT_EQ(2, vq.prot.nrow());
  EXPECT_STREQ("dLBG", vq.getmethod());
}

TEST_F(DlbgTest, CellsThatAllExceedTheRadiusDoubleInNumber) {
  load_uniform(400, 3);
  vq.setkey("vgrepl_p", 0);
  ASSERT_EQ(1, vq.prot_ini(2, 0));
  for (long n : {4, 8, 16}) {
    vq.dlbg_itr(1e-6, 0);
    EXPECT_EQ(n, vq.prot.nrow());
    EXPECT_EQ(n, vq.pval.nrow());
    EXPECT_EQ(n, vq.hits.nrow());
  }
}

TEST_F(DlbgTest, CellsFitTheRadiusInTheEnd) {
  load_uniform(300, 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.dlbg(0.2));
  for (long k = 0; k < vq.prot.nrow(); ++k) {
    double sum = 0.0;
    for (long i = 0; i < vq.dat.nrow(); ++i)
      sum += vq.bmu(i, 0) == k ? vq.prot.sdas(k, vq.dat, i, no_bound) : 0.0;
    EXPECT_LE(sum, 0.2 * static_cast<double>(vq.hits(k, 0)) * (1.0 + 1e-9));
  }
}

TEST_F(DlbgTest, RefusesWithoutData) { EXPECT_EQ(0, vq.dlbg(1.0)); }

}  // namespace
}  // namespace qvtx::test
